//===- base/core/StdStreams.h - Streams over the standard library's -------===//
//
// Adapters from the standard library's streams, behind the process's getIn, getOut and
// getError. The adapted stream is not owned: it is neither closed nor deleted here.
//
//===----------------------------------------------------------------------===//
#ifndef BASE_CORE_STDSTREAMS_H
#define BASE_CORE_STDSTREAMS_H

#include "base/core/Locks.h"
#include "base/core/OutputStream.h"

#include <istream>
#include <ostream>

namespace base::core {

/// Reads a std::istream. A call first takes what the stream has ready without waiting;
/// only when that is nothing does it wait for a full block, and a block that meets the
/// end of the stream is reported as the end, its bytes dropped. After a complete
/// waiting read the call reports what is ready behind it, read into the start of the
/// buffer, and the waited-for bytes are lost. Streams whose buffer reports what is
/// ready (files, strings) are read whole; for terminals and pipes without such a
/// buffer, read the std::istream directly.
class StdInputStream : public InputStream {
public:
  /// `closeOnDestruction` is kept for callers and has no effect.
  StdInputStream(std::istream *stream, bool closeOnDestruction) noexcept
      : _stream(stream), _streamFlag(closeOnDestruction) {}
  /// IOException "Error reading from stream" when the stream fails.
  unsigned long readBytes(unsigned char *buffer, unsigned long count) override;

private:
  std::istream *_stream;
  [[maybe_unused]] bool _streamFlag;
};

/// Writes a std::ostream; safe for several threads, and a line from writeLine is never
/// torn by another thread's. Once the stream has failed every write throws
/// IOException "Error writing data": nothing clears its state.
class StdOutputStream : public OutputStream {
public:
  /// `closeOnDestruction` is kept for callers and has no effect.
  StdOutputStream(std::ostream *stream, bool closeOnDestruction) noexcept
      : _stream(stream), _streamFlag(closeOnDestruction) {}
  void writeBytes(const unsigned char *bytes, unsigned long count) override;
  void writeLine(const String &text, const TextEncoding *encoding) override;
  void writeLine(const char *text, const TextEncoding *encoding) override;
  void flush() override;
  using OutputStream::writeLine;

private:
  std::ostream *_stream;
  [[maybe_unused]] bool _streamFlag;
  // Recursive: writeLine holds it while its writes take it again.
  RecursiveMutex _mutex;
};

} // namespace base::core

#endif // BASE_CORE_STDSTREAMS_H
