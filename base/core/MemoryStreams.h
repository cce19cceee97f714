//===- base/core/MemoryStreams.h - Streams over memory and std::string ----===//
//
// Streams over memory the caller owns. They hold a position without a lock and belong
// to one thread. String conversions use them as locals, marked by allocatedOnStack().
//
//===----------------------------------------------------------------------===//
#ifndef BASE_CORE_MEMORYSTREAMS_H
#define BASE_CORE_MEMORYSTREAMS_H

#include "base/core/OutputStream.h"

#include <string>

namespace base::core {

/// Reads `size` bytes from `data`.
class MemoryInputStream : public InputStream {
public:
  MemoryInputStream(const unsigned char *data, unsigned long size,
                    const TextEncoding *encoding = nullptr) noexcept
      : InputStream(encoding), _data(data), _size(size) {}
  unsigned long readBytes(unsigned char *buffer, unsigned long count) override;
  [[nodiscard]] bool isEndOfStream() const noexcept { return _position == _size; }

private:
  const unsigned char *_data;
  unsigned long _size;
  unsigned long _position = 0;
};

/// Writes into `size` bytes at `data`; a write that does not fit throws IOException
/// "End of valid memory area reached". A block that does not fit writes nothing.
class MemoryOutputStream : public OutputStream {
public:
  MemoryOutputStream(unsigned char *data, unsigned long size,
                     const TextEncoding *encoding = nullptr) noexcept
      : OutputStream(encoding), _data(data), _size(size) {}
  void writeByte(unsigned char byte) override;
  void writeBytes(const unsigned char *bytes, unsigned long count) override;
  [[nodiscard]] unsigned long getPosition() const noexcept { return _position; }

private:
  unsigned char *_data;
  unsigned long _size;
  unsigned long _position = 0;
};

/// Appends to a std::string. It answers that its encoding cannot change, and does not
/// enforce that answer: setTextEncoding still works.
class StdStringOutputStream : public OutputStream {
public:
  explicit StdStringOutputStream(std::string *target) noexcept : _target(target) {}
  void writeBytes(const unsigned char *bytes, unsigned long count) override;
  [[nodiscard]] bool canChangeTextEncoding() const override { return false; }

private:
  std::string *_target;
};

} // namespace base::core

#endif // BASE_CORE_MEMORYSTREAMS_H
