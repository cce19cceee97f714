//===- base/core/StdStreams.cpp - Streams over the standard library's -----===//
#include "base/core/StdStreams.h"

#include "base/core/Exception.h"

#include <algorithm>
#include <limits>

namespace base::core {

namespace {

std::streamsize toStreamSize(unsigned long count) {
  return static_cast<std::streamsize>(
      std::min<unsigned long>(count, std::numeric_limits<std::streamsize>::max()));
}

} // namespace

unsigned long StdInputStream::readBytes(unsigned char *buffer, unsigned long count) {
  char *target = reinterpret_cast<char *>(buffer);
  if (_stream->eof())
    return 0;
  const std::streamsize ready = _stream->readsome(target, toStreamSize(count));
  if (ready > 0)
    return static_cast<unsigned long>(ready);
  _stream->read(target, toStreamSize(count));
  if (_stream->eof())
    return 0;
  if (_stream->fail())
    throw IOException("Error reading from stream");
  return static_cast<unsigned long>(std::max<std::streamsize>(
      _stream->readsome(target, toStreamSize(count)), 0));
}

void StdOutputStream::writeBytes(const unsigned char *bytes, unsigned long count) {
  LockGuard guard(_mutex);
  _stream->write(reinterpret_cast<const char *>(bytes), toStreamSize(count));
  if (_stream->rdstate() != std::ios_base::goodbit)
    throw IOException("Error writing data");
}

void StdOutputStream::writeLine(const String &text, const TextEncoding *encoding) {
  LockGuard guard(_mutex);
  OutputStream::writeLine(text, encoding);
}

void StdOutputStream::writeLine(const char *text, const TextEncoding *encoding) {
  LockGuard guard(_mutex);
  OutputStream::writeLine(text, encoding);
}

void StdOutputStream::flush() {
  LockGuard guard(_mutex);
  _stream->flush();
}

} // namespace base::core
