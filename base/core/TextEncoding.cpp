//===- base/core/TextEncoding.cpp - Code points to bytes and back ---------===//
#include "base/core/TextEncoding.h"

#include "base/core/Exception.h"
#include "base/core/InputStream.h"
#include "base/core/OutputStream.h"
#include "base/core/StringBuilder.h"

#include <cstring>

namespace base::core {

const UTF8Encoding gUTF8;
const ASCIIEncoding gASCII;
const SafeASCIIEncoding gSafeASCII;
const ExtendedASCIIEncoding gExtendedASCII;
const Latin1Encoding gLatin1;
const UTF16LEEncoding gUTF16LE;
const UTF16BEEncoding gUTF16BE;
const UTF32LEEncoding gUTF32LE;
const UTF32BEEncoding gUTF32BE;

const TextEncoding *TextEncoding::getUTF8() { return &gUTF8; }
const TextEncoding *TextEncoding::getASCII() { return &gASCII; }
const TextEncoding *TextEncoding::getSafeASCII() { return &gSafeASCII; }
const TextEncoding *TextEncoding::getExtendedASCII() { return &gExtendedASCII; }
const TextEncoding *TextEncoding::getLatin1() { return &gLatin1; }
const TextEncoding *TextEncoding::getUTF16LE() { return &gUTF16LE; }
const TextEncoding *TextEncoding::getUTF16BE() { return &gUTF16BE; }
const TextEncoding *TextEncoding::getUTF32LE() { return &gUTF32LE; }
const TextEncoding *TextEncoding::getUTF32BE() { return &gUTF32BE; }
const TextEncoding *TextEncoding::getOSDefault() { return &gUTF8; }
const TextEncoding *TextEncoding::getOSAPIDefault() { return &gUTF8; }
const TextEncoding *TextEncoding::getStringEncoding() { return &gUTF32LE; }

namespace {

template <class Unit> unsigned long bytesBeforeZero(const void *text) {
  if (text == nullptr)
    return 0;
  const auto *units = static_cast<const Unit *>(text);
  unsigned long count = 0;
  while (units[count] != 0)
    ++count;
  return count * sizeof(Unit);
}

} // namespace

unsigned long TextEncoding::utf16ByteLen(const void *text) {
  return bytesBeforeZero<uint16_t>(text);
}
unsigned long TextEncoding::utf32ByteLen(const void *text) {
  return bytesBeforeZero<uint32_t>(text);
}

void TextEncoding::writeString(const String &text, OutputStream *stream) const {
  for (unsigned long i = 0; i < text.getLength(); ++i)
    writeChar(text[i], stream);
}

void TextEncoding::writeString(const char *text, OutputStream *stream) const {
  if (text == nullptr)
    return;
  const auto *next = reinterpret_cast<const unsigned char *>(text);
  const unsigned char *end = next + std::strlen(text);
  while (next != end)
    writeChar(UTF8Encoding::decode(next, end), stream);
}

namespace {

/// Reads by `encoding` until a code 0 or `stop` (neither kept), `maxChars` characters, or
/// the end of the stream, which ends the text without an error. A `maxChars` of -1 is no
/// limit, other values below 1 read nothing.
template <class Stop>
String readUntil(const TextEncoding &encoding, InputStream *stream, int maxChars, Stop stop) {
  if (maxChars != -1 && maxChars < 1)
    return String();
  StringBuilder text;
  try {
    for (int count = 0; maxChars == -1 || count < maxChars; ++count) {
      const Char c = encoding.readChar(stream);
      if (c.code() == 0 || stop(c))
        break;
      text.append(c);
    }
  } catch (const EOSException &) {
  }
  return text;
}

} // namespace

String TextEncoding::readString(InputStream *stream, int maxChars) const {
  return readUntil(*this, stream, maxChars, [](Char) { return false; });
}

String TextEncoding::readStringUptoChar(InputStream *stream, Char terminator,
                                        int maxChars) const {
  return readUntil(*this, stream, maxChars, [terminator](Char c) { return c == terminator; });
}

namespace {

/// Bytes in the sequence that `lead` starts; 0 when it starts none.
int utf8SequenceLength(unsigned char lead) noexcept {
  if (lead < 0x80)
    return 1;
  if ((lead & 0xE0) == 0xC0)
    return 2;
  if ((lead & 0xF0) == 0xE0)
    return 3;
  if ((lead & 0xF8) == 0xF0)
    return 4;
  return 0;
}

[[noreturn]] void invalidUTF8() { throw IOException("Invalid UTF8 encoding"); }

/// The code of a whole sequence whose length `lead` gave.
Char utf8Combine(unsigned char lead, const unsigned char *rest, int length) {
  static constexpr unsigned char leadBits[] = {0, 0x7F, 0x1F, 0x0F, 0x07};
  uint32_t code = lead & leadBits[length];
  for (int i = 0; i < length - 1; ++i) {
    if ((rest[i] & 0xC0) != 0x80)
      invalidUTF8();
    code = code << 6 | (rest[i] & 0x3F);
  }
  return Char(code);
}

} // namespace

Char UTF8Encoding::decodeSequence(const unsigned char *&next, const unsigned char *end) {
  const unsigned char lead = *next++;
  const int length = utf8SequenceLength(lead);
  if (length == 0)
    invalidUTF8();
  if (end - next < length - 1) {
    // As from a stream: the rest is consumed and the end reached inside the sequence.
    next = end;
    throw EOSException();
  }
  const Char c = utf8Combine(lead, next, length);
  next += length - 1;
  return c;
}

void UTF8Encoding::writeChar(Char c, OutputStream *stream) const {
  unsigned char bytes[4];
  const int length = encode(c, bytes);
  for (int i = 0; i < length; ++i)
    stream->writeByte(bytes[i]);
}

Char UTF8Encoding::readChar(InputStream *stream) const {
  const unsigned char lead = stream->readByte();
  const int length = utf8SequenceLength(lead);
  if (length == 0)
    invalidUTF8();
  unsigned char rest[3];
  for (int i = 0; i < length - 1; ++i)
    rest[i] = stream->readByte();
  return utf8Combine(lead, rest, length);
}

unsigned long UTF8Encoding::byteLen(const void *text) const {
  return bytesBeforeZero<char>(text);
}

namespace {

[[noreturn]] void unencodable(Char c, const char *format) {
  throw IOException(StringBuilder("Character '") + c + "' cannot be encoded in " + format +
                    " format");
}

} // namespace

Char ASCIIEncoding::readChar(InputStream *stream) const {
  const unsigned char byte = stream->readByte();
  if (byte >= 128)
    throw IOException(StringBuilder("Invalid ASCII byte: ").append(static_cast<int>(byte), 16));
  return Char(byte);
}

void ASCIIEncoding::writeChar(Char c, OutputStream *stream) const {
  if (c.code() >= 128)
    unencodable(c, "ASCII");
  stream->writeByte(static_cast<unsigned char>(c.code()));
}

Char SafeASCIIEncoding::readChar(InputStream *stream) const {
  const unsigned char byte = stream->readByte();
  return Char(byte < 128 ? byte : '?');
}

void SafeASCIIEncoding::writeChar(Char c, OutputStream *stream) const {
  stream->writeByte(static_cast<unsigned char>(c.code() <= 127 ? c.code() : '?'));
}

Char ExtendedASCIIEncoding::readChar(InputStream *stream) const {
  return Char(stream->readByte());
}

void ExtendedASCIIEncoding::writeChar(Char c, OutputStream *stream) const {
  if (c.code() >= 256)
    unencodable(c, "Extended ASCII");
  stream->writeByte(static_cast<unsigned char>(c.code()));
}

Char Latin1Encoding::readChar(InputStream *stream) const { return Char(stream->readByte()); }

void Latin1Encoding::writeChar(Char c, OutputStream *stream) const {
  stream->writeByte(static_cast<unsigned char>(c.code() <= 255 ? c.code() : '?'));
}

unsigned long ASCIIEncoding::byteLen(const void *text) const { return gUTF8.byteLen(text); }
unsigned long SafeASCIIEncoding::byteLen(const void *t) const { return gUTF8.byteLen(t); }
unsigned long ExtendedASCIIEncoding::byteLen(const void *t) const { return gUTF8.byteLen(t); }
unsigned long Latin1Encoding::byteLen(const void *text) const { return gUTF8.byteLen(text); }

namespace {

template <int Bytes, bool BigEndian> void writeUnit(uint32_t unit, OutputStream *stream) {
  for (int i = 0; i < Bytes; ++i) {
    const int shift = 8 * (BigEndian ? Bytes - 1 - i : i);
    stream->writeByte(static_cast<unsigned char>(unit >> shift));
  }
}

template <int Bytes, bool BigEndian> uint32_t readUnit(InputStream *stream) {
  uint32_t unit = 0;
  for (int i = 0; i < Bytes; ++i) {
    const int shift = 8 * (BigEndian ? Bytes - 1 - i : i);
    unit |= static_cast<uint32_t>(stream->readByte()) << shift;
  }
  return unit;
}

} // namespace

template <int UnitBytes, bool BigEndian>
void UnitEncoding<UnitBytes, BigEndian>::writeChar(Char c, OutputStream *stream) const {
  const uint32_t code = c.code();
  if (UnitBytes == 4 || code < 0x10000) {
    writeUnit<UnitBytes, BigEndian>(code, stream);
    return;
  }
  const uint32_t v = code - 0x10000;
  writeUnit<2, BigEndian>(0xD800 + (v >> 10), stream);
  writeUnit<2, BigEndian>(0xDC00 + (v & 0x3FF), stream);
}

template <int UnitBytes, bool BigEndian>
Char UnitEncoding<UnitBytes, BigEndian>::readChar(InputStream *stream) const {
  const uint32_t unit = readUnit<UnitBytes, BigEndian>(stream);
  // Pairs start at D801: a lone D800 is read as itself.
  if (UnitBytes == 4 || unit < 0xD801 || unit > 0xDBFF)
    return Char(unit);
  const uint32_t second = readUnit<2, BigEndian>(stream);
  return Char(1024 * (unit & 0x3FF) + (second & 0x3FF) + 0x10000);
}

template class UnitEncoding<2, false>;
template class UnitEncoding<2, true>;
template class UnitEncoding<4, false>;
template class UnitEncoding<4, true>;

} // namespace base::core
