//===- base/core/StringBuilder.h - Text put together on the stack ---------===//
//
// The mutable companion of String, meant to be a local: its first 2048 Chars are inside
// the object (8 KiB), so the usual message or conversion touches no heap. Past that it
// moves to the heap and never moves back: a single character goes in while capacity >
// length + 1, so 2047 characters stay inline and the 2048th moves the text to 8192
// elements. Every growth takes max(2 * needed, 4 * capacity).
//
// After every append the element at the length is zero, so getConstBuffer() is a
// terminated text. Numbers go through printf formats: "%d" for int and (kept so) for
// unsigned int, whose values from 2147483648 on print negative; "%lld"/"%llu" for the
// 64-bit types; other radixes "%x"/"%llx"; floating point "%g" with ".0" added when the
// text has no ".".
//
// A char literal is an int to the overloads: append Char('x') for the character.
//
// Copying a builder gives an EMPTY builder: the source is not looked at. Nothing copies a
// builder on purpose; a copy made by accident starts from nothing rather than sharing
// storage.
//
//===----------------------------------------------------------------------===//
#ifndef BASE_CORE_STRINGBUILDER_H
#define BASE_CORE_STRINGBUILDER_H

#include "base/core/Char.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace base::core {

class Object;
class String;
class StringBuffer;
class TextEncoding;
class UUID;

class StringBuilder {
public:
  static constexpr int InlineCapacity = 2048;

  StringBuilder() noexcept;
  StringBuilder(const char *text);
  StringBuilder(const unsigned short *text);
  StringBuilder(const unsigned int *codes);
  StringBuilder(const String &text);
  /// An empty builder: nothing of `other` is copied.
  StringBuilder(const StringBuilder &other) noexcept;
  StringBuilder &operator=(const StringBuilder &) = delete;
  ~StringBuilder();

  [[nodiscard]] int size() const noexcept { return _length; }
  [[nodiscard]] int getLength() const noexcept { return _length; }
  [[nodiscard]] int sizeIncludingTerminatingZero() const noexcept { return _length + 1; }
  [[nodiscard]] bool isEmpty() const noexcept { return _length == 0; }
  [[nodiscard]] int getCapacity() const noexcept { return _capacity; }
  [[nodiscard]] bool isOnHeap() const noexcept { return _heapChars != nullptr; }
  [[nodiscard]] const Char *getConstBuffer() const noexcept {
    return _heapChars != nullptr ? _heapChars : _inlineChars;
  }
  [[nodiscard]] Char *getBuffer() noexcept {
    return _heapChars != nullptr ? _heapChars : _inlineChars;
  }

  /// Length 0; the storage, inline or heap, is kept.
  void clear() noexcept;
  /// Sets the length to `position` and terminates there. It does not compare with the
  /// old length; a position past the storage is taken as its last element.
  void deleteFrom(unsigned long position) noexcept;
  /// Terminates at the length, for code that filled getBuffer() itself.
  void setTerminatingZero() noexcept { getBuffer()[_length] = Char(); }
  /// Nothing up to 2048 or when the capacity already reaches `count`; else grow(count).
  void reserve(unsigned long count);
  [[nodiscard]] bool hasToGrow(int count) const noexcept { return _capacity <= count; }
  /// Capacity max(2 * count, 4 * capacity), the inline text moved to the heap.
  /// Throws std::bad_alloc when there is no memory, std::length_error beyond 2^31 - 1.
  void grow(int count);
  void toLowerCase() noexcept;
  void toUpperCase() noexcept;

  /// Decodes `byteCount` bytes in `encoding`; a decoded 0 ends the append. Invalid bytes
  /// throw the encoding's IOException with the text before them appended.
  StringBuilder &append(const void *data, int byteCount, const TextEncoding *encoding);
  StringBuilder &append(const char *text);
  StringBuilder &append(const unsigned short *text);
  StringBuilder &append(const unsigned short *text, int count);
  StringBuilder &append(const unsigned int *codes);
  /// Exactly `count` codes, zeros included; none below 1.
  StringBuilder &append(const unsigned int *codes, int count);
  StringBuilder &append(const Char *chars, int count);
  /// `c`, `count` times; none below 1.
  StringBuilder &append(Char c, int count = 1);
  StringBuilder &append(const String &text);
  StringBuilder &append(const StringBuffer *buffer);
  StringBuilder &append(const std::string &text);
  StringBuilder &append(bool value);
  StringBuilder &append(int value, int radix = 10);
  StringBuilder &append(unsigned int value, int radix = 10);
  StringBuilder &append(long long value, int radix = 10);
  StringBuilder &append(unsigned long long value, int radix = 10);
  StringBuilder &append(long value, int radix = 10) {
    return append(static_cast<long long>(value), radix);
  }
  StringBuilder &append(unsigned long value, int radix = 10) {
    return append(static_cast<unsigned long long>(value), radix);
  }
  StringBuilder &append(float value);
  StringBuilder &append(double value);
  /// "null", or the object's asString().
  StringBuilder &append(const Object *object);
  StringBuilder &appendNativeCodePage(const char *text) { return append(text); }
  StringBuilder &appendLine() { return append(Char(10)); }
  StringBuilder &appendLine(const String &text);
  /// "0x" and exactly 8 lower-case hexadecimal digits.
  StringBuilder &appendHexInt32(int value);
  /// "0x" and exactly 16 digits.
  StringBuilder &appendHexAddress(const void *value);
  /// "0x" and the low `byteCount` bytes as 2 * byteCount digits; "0x" alone below 1.
  StringBuilder &appendHexAddress(const void *value, int byteCount);

  StringBuilder &operator+(const char *text) { return append(text); }
  StringBuilder &operator+(const unsigned short *text) { return append(text); }
  StringBuilder &operator+(const unsigned int *codes) { return append(codes); }
  StringBuilder &operator+(Char c) { return append(c); }
  StringBuilder &operator+(const String &text) { return append(text); }
  /// The text form of UUID::asString.
  StringBuilder &operator+(const UUID &uuid);
  StringBuilder &operator+(const std::string &text) { return append(text); }
  StringBuilder &operator+(bool value) { return append(value); }
  StringBuilder &operator+(int value) { return append(value); }
  StringBuilder &operator+(unsigned int value) { return append(value); }
  StringBuilder &operator+(long value) { return append(value); }
  StringBuilder &operator+(unsigned long value) { return append(value); }
  StringBuilder &operator+(long long value) { return append(value); }
  StringBuilder &operator+(unsigned long long value) { return append(value); }
  StringBuilder &operator+(float value) { return append(value); }
  StringBuilder &operator+(double value) { return append(value); }
  StringBuilder &operator+(const Object *object) { return append(object); }
  StringBuilder &operator+(std::nullptr_t) { return append("nullptr"); }

private:
  /// Makes room for `count` more elements beside the terminating zero.
  void makeRoom(int count) {
    if (_capacity <= _length + count)
      grow(_length + count);
  }
  template <unsigned Base> StringBuilder &appendInteger(bool negative, uint64_t magnitude);
  StringBuilder &appendFloating(double value);
  StringBuilder &appendHex(uint64_t bits, int byteCount);

  Char _inlineChars[InlineCapacity];
  Char *_heapChars = nullptr;
  int32_t _length = 0;
  int32_t _capacity = InlineCapacity;
};

} // namespace base::core

#endif // BASE_CORE_STRINGBUILDER_H
