//===- base/core/Streams.cpp - Byte streams and the memory streams --------===//
#include "base/core/Exception.h"
#include "base/core/InputStream.h"
#include "base/core/MemoryStreams.h"
#include "base/core/OutputStream.h"
#include "base/core/StringBuilder.h"
#include "base/core/TextEncoding.h"

#include <algorithm>
#include <cstring>

namespace base::core {

InputStream::InputStream(const TextEncoding *encoding) noexcept
    : _textEncoding(encoding != nullptr ? encoding : &gUTF8) {}

unsigned char InputStream::readByte() {
  unsigned char byte;
  if (readBytes(&byte, 1) == 0)
    throw EOSException();
  return byte;
}

void InputStream::skipBytes(unsigned long count) {
  unsigned char block[1024];
  while (count > 0) {
    const unsigned long read = readBytes(block, std::min(count, sizeof block));
    if (read == 0)
      throw EOSException();
    count -= read;
  }
}

void InputStream::readReqBytes(unsigned char *buffer, unsigned long count) {
  unsigned long total = readBytes(buffer, count);
  if (total == 0)
    throw EOSException();
  // A later attempt that gives nothing is no failure: the loop asks again, so a stream
  // that ends inside an item keeps it spinning.
  while (total < count)
    total += readBytes(buffer + total, count - total);
}

void InputStream::setTextEncoding(const TextEncoding *encoding) {
  _textEncoding = encoding != nullptr ? encoding : &gUTF8;
}

Char InputStream::readChar(const TextEncoding *encoding) { return encoding->readChar(this); }
Char InputStream::readChar() { return readChar(_textEncoding); }

String InputStream::readStringUptoChar(const TextEncoding *encoding, Char terminator,
                                       int maxChars) {
  return encoding->readStringUptoChar(this, terminator, maxChars);
}
String InputStream::readStringUptoChar(Char terminator, int maxChars) {
  return readStringUptoChar(_textEncoding, terminator, maxChars);
}
String InputStream::readString(const TextEncoding *encoding, int maxChars) {
  return encoding->readString(this, maxChars);
}
String InputStream::readString(int maxChars) { return readString(_textEncoding, maxChars); }
String InputStream::readLine(const TextEncoding *encoding) {
  return readStringUptoChar(encoding, Char(10), -1);
}
String InputStream::readLine() { return readLine(_textEncoding); }

OutputStream::OutputStream(const TextEncoding *encoding) noexcept
    : _textEncoding(encoding != nullptr ? encoding : &gUTF8) {}

void OutputStream::writeByte(unsigned char byte) { writeBytes(&byte, 1); }

void OutputStream::setTextEncoding(const TextEncoding *encoding) {
  _textEncoding = encoding != nullptr ? encoding : &gUTF8;
}

void OutputStream::writeString(const String &text, const TextEncoding *encoding) {
  encoding->writeString(text, this);
}
void OutputStream::writeString(const String &text) { writeString(text, _textEncoding); }
void OutputStream::writeString(const char *text, const TextEncoding *encoding) {
  encoding->writeString(text, this);
}
void OutputStream::writeString(const char *text) { writeString(text, _textEncoding); }
void OutputStream::writeChar(Char c, const TextEncoding *encoding) {
  encoding->writeChar(c, this);
}
void OutputStream::writeChar(Char c) { writeChar(c, _textEncoding); }

void OutputStream::writeLine(const String &text, const TextEncoding *encoding) {
  writeString(text, encoding);
  writeChar(Char(10), encoding);
  flush();
}

void OutputStream::writeLine(const char *text, const TextEncoding *encoding) {
  writeString(text, encoding);
  writeChar(Char(10), encoding);
  flush();
}

void OutputStream::writeLine(const String &text) { writeLine(text, _textEncoding); }

void OutputStream::writeLine(const StringBuilder &text, const TextEncoding *encoding) {
  const Char *chars = text.getConstBuffer();
  for (int i = 0; i < text.getLength(); ++i)
    writeChar(chars[i], encoding);
  flush();
}

void OutputStream::writeLine(const StringBuilder &text) {
  writeLine(text, _textEncoding);
  writeChar(Char(10));
  flush();
}

void OutputStream::writeLine(const char *text) {
  writeLine(text, _textEncoding);
  flush();
}

void OutputStream::writeLine() {
  writeChar(Char(10));
  flush();
}

unsigned long MemoryInputStream::readBytes(unsigned char *buffer, unsigned long count) {
  const unsigned long taken = std::min(_size - _position, count);
  if (taken > 0)
    std::memcpy(buffer, _data + _position, taken);
  _position += taken;
  return taken;
}

void MemoryOutputStream::writeByte(unsigned char byte) {
  if (_position == _size)
    throw IOException("End of valid memory area reached");
  _data[_position++] = byte;
}

void MemoryOutputStream::writeBytes(const unsigned char *bytes, unsigned long count) {
  if (count == 0)
    return;
  if (count > _size - _position)
    throw IOException("End of valid memory area reached");
  std::memcpy(_data + _position, bytes, count);
  _position += count;
}

void StdStringOutputStream::writeBytes(const unsigned char *bytes, unsigned long count) {
  _target->append(reinterpret_cast<const char *>(bytes), count);
}

} // namespace base::core
