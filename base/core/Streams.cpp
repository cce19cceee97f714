//===- base/core/Streams.cpp - Byte streams and the memory streams --------===//
#include "base/core/Debug.h"
#include "base/core/Exception.h"
#include "base/core/InputStream.h"
#include "base/core/MemoryStreams.h"
#include "base/core/OutputStream.h"
#include "base/core/StringBuilder.h"
#include "base/core/TextEncoding.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace base::core {

namespace {

template <class T> T fromBigEndian(const unsigned char *bytes) {
  std::make_unsigned_t<T> value = 0;
  for (unsigned i = 0; i < sizeof(T); ++i)
    value = value << 8 | bytes[i];
  return T(value);
}

template <class T> T fromLittleEndian(const unsigned char *bytes) {
  std::make_unsigned_t<T> value = 0;
  for (unsigned i = sizeof(T); i-- > 0;)
    value = value << 8 | bytes[i];
  return T(value);
}

template <class T> T fromNative(const unsigned char *bytes) {
  T value;
  std::memcpy(&value, bytes, sizeof value);
  return value;
}

template <class T> void writeBigEndian(OutputStream &stream, T value) {
  const auto bits = std::make_unsigned_t<T>(value);
  for (unsigned i = sizeof(T); i-- > 0;)
    stream.writeByte(static_cast<unsigned char>(bits >> (8 * i)));
}

template <class T> void writeLittleEndian(OutputStream &stream, T value) {
  const auto bits = std::make_unsigned_t<T>(value);
  for (unsigned i = 0; i < sizeof(T); ++i)
    stream.writeByte(static_cast<unsigned char>(bits >> (8 * i)));
}

// Big or Little; any other mode writes nothing.
template <class T> void writeInMode(OutputStream &stream, T value, EndianMode mode) {
  if (mode == EndianMode::Big)
    writeBigEndian(stream, value);
  else if (mode == EndianMode::Little)
    writeLittleEndian(stream, value);
}

template <class T> void writeNative(OutputStream &stream, T value) {
  unsigned char bytes[sizeof(T)];
  std::memcpy(bytes, &value, sizeof value);
  stream.writeBytes(bytes, sizeof bytes);
}

constexpr unsigned kNotASCIIBit = 0x80000000u;

} // namespace

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

String InputStream::readBinaryString() {
  const auto prefix = static_cast<unsigned>(readInt32());
  const unsigned long count = prefix & ~kNotASCIIBit;
  if (count == 0)
    return String::EMPTY;
  const bool ascii = (prefix & kNotASCIIBit) == 0;
  const unsigned long byteCount = ascii ? count : 2 * count;
  const TextEncoding *encoding = ascii ? static_cast<const TextEncoding *>(&gASCII) : &gUTF16BE;

  // Short texts, the common case, need no heap.
  unsigned char local[1023];
  std::unique_ptr<unsigned char, decltype(&std::free)> heap(nullptr, &std::free);
  unsigned char *data = local;
  if (byteCount > sizeof local) {
    heap.reset(static_cast<unsigned char *>(std::malloc(byteCount)));
    if (heap == nullptr) {
      char message[80];
      std::snprintf(message, sizeof message, "Could not allocate %llu bytes for reading a string",
                    static_cast<unsigned long long>(byteCount));
      throw IOException(message);
    }
    data = heap.get();
  }
  readReqBytes(data, byteCount);
  if (byteCount <= static_cast<unsigned long>(INT_MAX))
    return String(data, static_cast<int>(byteCount), encoding);
  // Beyond an int's count of bytes the same decoding, by the stream form.
  MemoryInputStream bytes(data, byteCount, encoding);
  bytes.allocatedOnStack();
  return bytes.readString(-1);
}

int InputStream::readInt32() { return readInt32(_endianMode); }

int InputStream::readInt32(EndianMode mode) {
  unsigned char bytes[4];
  readReqBytes(bytes, sizeof bytes);
  switch (mode) {
  case EndianMode::Big:
    return fromBigEndian<int>(bytes);
  case EndianMode::Little:
    return fromLittleEndian<int>(bytes);
  default:
    return fromNative<int>(bytes);
  }
}

int InputStream::readInt32BE() { return readInt32(EndianMode::Big); }
int InputStream::readInt32LE() { return readInt32(EndianMode::Little); }
int InputStream::readInt32Native() { return readInt32(EndianMode::Native); }

long long InputStream::readInt64Native() {
  unsigned char bytes[8];
  readReqBytes(bytes, sizeof bytes);
  return fromNative<long long>(bytes);
}

bool InputStream::readBool() {
  switch (readByte()) {
  case 0:
    return false;
  case 1:
    return true;
  default:
    throw IOException("Unexpected value for bool");
  }
}

float InputStream::readFloat() {
  unsigned char bytes[4];
  readReqBytes(bytes, sizeof bytes);
  return fromNative<float>(bytes);
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

void OutputStream::writeBinaryString(const String &text) {
  const bool ascii = text.isASCII();
  const auto count = static_cast<unsigned>(text.getLength());
  writeInt32(static_cast<int>(count | (ascii ? 0 : kNotASCIIBit)));
  writeString(text, ascii ? static_cast<const TextEncoding *>(&gASCII) : &gUTF16BE);
}

void OutputStream::writeInt32(int value) {
  switch (_endianMode) {
  case EndianMode::Big:
  case EndianMode::Little:
    writeInt32(value, _endianMode);
    return;
  case EndianMode::Native:
    writeInt32Native(value);
    return;
  }
  BASE_ILLEGAL_STATE("Unknown endian mode");
}

void OutputStream::writeInt32(int value, EndianMode mode) { writeInMode(*this, value, mode); }

void OutputStream::writeInt32LE(int value) { writeLittleEndian(*this, value); }
void OutputStream::writeInt32BE(int value) { writeBigEndian(*this, value); }
void OutputStream::writeInt64LE(long long value) { writeLittleEndian(*this, value); }
void OutputStream::writeInt64BE(long long value) { writeBigEndian(*this, value); }

void OutputStream::writeInt64(long long value, EndianMode mode) {
  writeInMode(*this, value, mode);
}

void OutputStream::writeInt32Native(int value) { writeNative(*this, value); }
void OutputStream::writeInt64Native(long long value) { writeNative(*this, value); }
void OutputStream::writeBool(bool value) { writeByte(value ? 1 : 0); }
void OutputStream::writeFloat(float value) { writeNative(*this, value); }

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
