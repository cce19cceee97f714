//===- base/core/StringBuilder.cpp - Text put together on the stack -------===//
#include "base/core/StringBuilder.h"

#include "base/core/MemoryStreams.h"
#include "base/core/Object.h"
#include "base/core/String.h"
#include "base/core/TextEncoding.h"
#include "base/core/UUID.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>

namespace base::core {

namespace {

/// |value| without overflow for the most negative value.
template <class Signed> uint64_t magnitude(Signed value) {
  return value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value);
}

template <class Unit> int unitsBeforeZero(const Unit *text) {
  int count = 0;
  while (text[count] != 0)
    ++count;
  return count;
}

} // namespace

StringBuilder::StringBuilder() noexcept {
  // One block clear: an element loop over the 8 KiB costs more than the usual message.
  std::memset(static_cast<void *>(_inlineChars), 0, sizeof _inlineChars);
}
StringBuilder::StringBuilder(const char *text) : StringBuilder() { append(text); }
StringBuilder::StringBuilder(const unsigned short *text) : StringBuilder() { append(text); }
StringBuilder::StringBuilder(const unsigned int *codes) : StringBuilder() { append(codes); }
StringBuilder::StringBuilder(const String &text) : StringBuilder() { append(text); }
StringBuilder::StringBuilder(const StringBuilder &) noexcept : StringBuilder() {}
StringBuilder::~StringBuilder() { std::free(_heapChars); }

void StringBuilder::clear() noexcept {
  _length = 0;
  getBuffer()[0] = Char();
}

void StringBuilder::deleteFrom(unsigned long position) noexcept {
  // Past the storage the terminating zero would be written outside it.
  _length = static_cast<int32_t>(std::min(position, static_cast<unsigned long>(_capacity - 1)));
  setTerminatingZero();
}

void StringBuilder::reserve(unsigned long count) {
  if (count <= static_cast<unsigned long>(InlineCapacity) ||
      static_cast<unsigned long>(_capacity) >= count)
    return;
  if (count > static_cast<unsigned long>(std::numeric_limits<int32_t>::max()))
    throw std::length_error("StringBuilder: more than 2^31 - 1 characters");
  grow(static_cast<int>(count));
}

void StringBuilder::grow(int count) {
  // The growth rule in 64 bits: the signed 32-bit product would overflow for texts of a
  // quarter of the largest length.
  constexpr int64_t largest = std::numeric_limits<int32_t>::max();
  int64_t capacity = std::max(2 * static_cast<int64_t>(count), 4 * static_cast<int64_t>(_capacity));
  if (capacity > largest) {
    if (count >= largest)
      throw std::length_error("StringBuilder: more than 2^31 - 1 characters");
    capacity = largest;
  }
  const size_t bytes = sizeof(Char) * static_cast<size_t>(capacity);
  if (_heapChars != nullptr) {
    auto *moved = static_cast<Char *>(std::realloc(_heapChars, bytes));
    if (moved == nullptr)
      throw std::bad_alloc();
    _heapChars = moved;
  } else {
    auto *chars = static_cast<Char *>(std::malloc(bytes));
    if (chars == nullptr)
      throw std::bad_alloc();
    std::copy(_inlineChars, _inlineChars + InlineCapacity, chars);
    _heapChars = chars;
  }
  _capacity = static_cast<int32_t>(capacity);
}

void StringBuilder::toLowerCase() noexcept {
  Char *chars = getBuffer();
  std::transform(chars, chars + _length, chars, [](Char c) { return c.asLowerCase(); });
}

void StringBuilder::toUpperCase() noexcept {
  Char *chars = getBuffer();
  std::transform(chars, chars + _length, chars, [](Char c) { return c.asUpperCase(); });
}

StringBuilder &StringBuilder::append(const void *data, int byteCount,
                                     const TextEncoding *encoding) {
  // A negative count would read as an enormous unsigned size.
  if (byteCount < 1)
    return *this;
  makeRoom(byteCount / encoding->getMinCharSizeInBytes());
  if (encoding == &gUTF8) {
    // UTF-8 decoded in place, exactly as UTF8Encoding::readChar reads it from a stream.
    // Every byte gives at most one Char, so the room made above holds them all.
    const auto *next = static_cast<const unsigned char *>(data);
    const unsigned char *end = next + byteCount;
    Char *out = getBuffer() + _length;
    try {
      while (next != end) {
        const Char c = UTF8Encoding::decode(next, end);
        if (c.code() == 0)
          break;
        *out++ = c;
      }
    } catch (...) {
      _length = static_cast<int32_t>(out - getBuffer());
      setTerminatingZero();
      throw;
    }
    _length = static_cast<int32_t>(out - getBuffer());
    setTerminatingZero();
    return *this;
  }
  MemoryInputStream stream(static_cast<const unsigned char *>(data),
                           static_cast<unsigned long>(byteCount), encoding);
  stream.allocatedOnStack();
  while (!stream.isEndOfStream()) {
    const Char c = stream.readChar();
    if (c.code() == 0)
      break;
    append(c);
  }
  return *this;
}

StringBuilder &StringBuilder::append(const char *text) {
  // Null appends nothing: strlen would read from address 0.
  if (text == nullptr)
    return *this;
  return append(text, static_cast<int>(std::strlen(text)), &gUTF8);
}

StringBuilder &StringBuilder::append(const unsigned short *text) {
  return text != nullptr ? append(text, unitsBeforeZero(text)) : *this;
}

StringBuilder &StringBuilder::append(const unsigned short *text, int count) {
  if (count < 1)
    return *this;
  if (_capacity <= _length + count)
    grow(2 * (_length + count));
  return append(text, 2 * count, &gUTF16LE);
}

StringBuilder &StringBuilder::append(const unsigned int *codes) {
  return codes != nullptr ? append(codes, unitsBeforeZero(codes)) : *this;
}

StringBuilder &StringBuilder::append(const unsigned int *codes, int count) {
  if (count < 1)
    return *this;
  makeRoom(count);
  std::memcpy(static_cast<void *>(getBuffer() + _length), codes, sizeof(Char) * static_cast<size_t>(count));
  _length += count;
  setTerminatingZero();
  return *this;
}

StringBuilder &StringBuilder::append(const Char *chars, int count) {
  static_assert(sizeof(Char) == sizeof(unsigned int), "a Char is its code");
  return append(reinterpret_cast<const unsigned int *>(chars), count);
}

StringBuilder &StringBuilder::append(Char c, int count) {
  if (count < 1)
    return *this;
  makeRoom(count);
  Char *chars = getBuffer() + _length;
  std::fill(chars, chars + count, c);
  _length += count;
  setTerminatingZero();
  return *this;
}

StringBuilder &StringBuilder::append(const String &text) {
  return append(text.getStringBuffer());
}

StringBuilder &StringBuilder::append(const StringBuffer *buffer) {
  return buffer != nullptr ? append(buffer->getChars(), buffer->getSize() - 1) : *this;
}

StringBuilder &StringBuilder::append(const std::string &text) { return append(text.c_str()); }

StringBuilder &StringBuilder::append(bool value) { return append(value ? "true" : "false"); }

// The integer forms print what printf's "%d", "%lld", "%llu", "%x" and "%llx" print,
// digit by digit: a call of printf costs more than the rest of a usual message.
StringBuilder &StringBuilder::append(int value, int radix) {
  return radix == 10 ? appendInteger<10>(value < 0, magnitude(value))
                     : appendInteger<16>(false, static_cast<uint32_t>(value));
}

StringBuilder &StringBuilder::append(unsigned int value, int radix) {
  // Decimal as "%d" for the unsigned type too: values from 2^31 on print negative, as
  // they always have in this system's texts.
  return radix == 10 ? append(static_cast<int>(value), 10) : appendInteger<16>(false, value);
}

StringBuilder &StringBuilder::append(long long value, int radix) {
  return radix == 10 ? appendInteger<10>(value < 0, magnitude(value))
                     : appendInteger<16>(false, static_cast<uint64_t>(value));
}

StringBuilder &StringBuilder::append(unsigned long long value, int radix) {
  return radix == 10 ? appendInteger<10>(false, value) : appendInteger<16>(false, value);
}

template <unsigned Base>
StringBuilder &StringBuilder::appendInteger(bool negative, uint64_t magnitude) {
  static constexpr char digits[] = "0123456789abcdef";
  Char text[21];
  int first = 21;
  do {
    text[--first] = Char(digits[magnitude % Base]);
    magnitude /= Base;
  } while (magnitude != 0);
  if (negative)
    text[--first] = Char('-');
  return append(text + first, 21 - first);
}

StringBuilder &StringBuilder::append(float value) { return appendFloating(value); }
StringBuilder &StringBuilder::append(double value) { return appendFloating(value); }

StringBuilder &StringBuilder::appendFloating(double value) {
  char text[256];
  std::snprintf(text, sizeof text, "%g", value);
  append(text);
  return std::strchr(text, '.') == nullptr ? append(".0") : *this;
}

StringBuilder &StringBuilder::append(const Object *object) {
  return object == nullptr ? append("null") : append(object->asString());
}

StringBuilder &StringBuilder::appendLine(const String &text) {
  append(text);
  return appendLine();
}

StringBuilder &StringBuilder::appendHexInt32(int value) {
  return appendHex(static_cast<uint32_t>(value), 4);
}

StringBuilder &StringBuilder::appendHexAddress(const void *value) {
  return appendHexAddress(value, 8);
}

StringBuilder &StringBuilder::appendHexAddress(const void *value, int byteCount) {
  return appendHex(static_cast<uint64_t>(reinterpret_cast<uintptr_t>(value)), byteCount);
}

StringBuilder &StringBuilder::appendHex(uint64_t bits, int byteCount) {
  static constexpr char digits[] = "0123456789abcdef";
  append("0x");
  // Bytes beyond the eight of the value are zeros.
  for (int i = 2 * byteCount - 1; i >= 0; --i)
    append(Char(i < 16 ? digits[(bits >> (4 * i)) & 15] : '0'));
  return *this;
}

StringBuilder &StringBuilder::operator+(const UUID &uuid) {
  char text[37];
  uuid.format(text);
  return append(text);
}

} // namespace base::core
