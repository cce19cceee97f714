//===- base/core/String.h - Immutable text of code points -----------------===//
//
// A `String` is an immutable sequence of `Char`s (one code point each) behind a shared,
// counted, exact-fit buffer. Lengths, indexes and substrings count code points. Copies
// cost one atomic add; a conversion costs at most two allocations, because every String
// is put together in a StringBuilder on the stack and then copied once.
//
// The empty string has no buffer at all: every path that gives no characters leaves the
// pointer null, and isEmpty() looks only at that pointer.
//
// Comparing with a `const char*` returns the opposite sign of comparing with a String
// for texts that differ in a character ("abc" as a String against the text "abd" gives a
// positive result, and operator< false); the length cases agree. Callers depend on it.
//
//===----------------------------------------------------------------------===//
#ifndef BASE_CORE_STRING_H
#define BASE_CORE_STRING_H

#include "base/core/Char.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace base::core {

class StringBuilder;
class TextEncoding;

/// The shared storage of a String: `size` elements, the last of them a terminating zero.
/// Never changed once filled.
class StringBuffer {
public:
  /// Room for `size` elements, count 0. Throws std::bad_alloc when there is no memory.
  explicit StringBuffer(int size);
  /// The builder's text and its terminating zero, count 0.
  explicit StringBuffer(const StringBuilder &builder);
  ~StringBuffer();
  StringBuffer(const StringBuffer &) = delete;
  StringBuffer &operator=(const StringBuffer &) = delete;

  [[nodiscard]] const Char *getChars() const noexcept { return _chars; }
  [[nodiscard]] Char *getChars() noexcept { return _chars; }
  /// Elements, the terminating zero included.
  [[nodiscard]] int getSize() const noexcept { return _size; }
  [[nodiscard]] int32_t getRefCount() const noexcept { return _refCount.load(); }
  int32_t incrementRefCount() const noexcept { return _refCount.fetch_add(1) + 1; }
  /// Releases one count of `buffer`, which may be null; the last one deletes it.
  static void decrementRefCount(const StringBuffer *buffer) noexcept;

private:
  Char *_chars;
  int32_t _size;
  mutable std::atomic<int32_t> _refCount{0};
};

class String {
public:
  /// The answer of every search that finds nothing, and the open end of substring.
  static constexpr unsigned long NoIndex = 0x7FFFFFFF;
  static const String EMPTY;

  String() noexcept = default;
  /// UTF-8 to the first zero byte; null is the empty string. Invalid bytes throw the
  /// decoder's IOException, a sequence cut off by the end EOSException.
  String(const char *text);
  /// `encoding->byteLen(text)` bytes of `text` in `encoding`.
  String(const char *text, const TextEncoding *encoding);
  /// `byteCount` bytes in `encoding`; a decoded 0 ends the text.
  String(const void *data, int byteCount, const TextEncoding *encoding);
  /// UTF-16 little-endian units to the first zero unit; surrogate pairs are joined.
  String(const unsigned short *text);
  /// 32-bit codes to the first zero.
  String(const unsigned int *codes);
  /// Exactly `count` codes, zeros included.
  String(const Char *chars, unsigned long count);
  /// UTF-8 to the first zero byte of the text.
  String(const std::string &text);
  /// Each byte as its decimal digits, without separators: {65, 66} gives "6566". This is
  /// not a decoding.
  explicit String(const std::vector<unsigned char> &bytes);
  explicit String(const std::vector<Char> &chars);
  String(const StringBuilder &builder);
  /// Shares `buffer`, which may be null.
  explicit String(const StringBuffer *buffer) noexcept;
  String(const String &other) noexcept;
  String(String &&other) noexcept : _buffer(std::exchange(other._buffer, nullptr)) {}
  /// Wide standard strings have no conversion: use the UTF-8, UTF-16 or UTF-32 forms.
  String(const std::wstring &) = delete;
  ~String() { StringBuffer::decrementRefCount(_buffer); }

  String &operator=(const String &other) noexcept;
  String &operator=(String &&other) noexcept;
  /// Releases the old buffer and shares `buffer`, without testing whether they are the
  /// same (so assigning a String's own buffer needs another holder of it).
  void assign(StringBuffer *buffer) noexcept;

  [[nodiscard]] static String fromInt(int value);
  [[nodiscard]] static String fromBool(bool value);
  /// "%g" of the value widened to double, and ".0" when that has no ".": 2 gives "2.0",
  /// 1e+20 "1e+20.0", infinity "inf.0".
  [[nodiscard]] static String fromFloat(float value);
  [[nodiscard]] static String fromDouble(double value);
  /// The native code page of this platform is UTF-8.
  [[nodiscard]] static String createFromNativeCodePage(const char *text);

  [[nodiscard]] unsigned long getLength() const noexcept {
    return _buffer != nullptr ? static_cast<unsigned long>(_buffer->getSize() - 1) : 0;
  }
  [[nodiscard]] bool isEmpty() const noexcept { return _buffer == nullptr; }
  /// The code at `index`; the terminating zero at the length, and 0 beyond it.
  [[nodiscard]] Char getCharAt(unsigned long index) const noexcept {
    return _buffer != nullptr && index < static_cast<unsigned long>(_buffer->getSize())
               ? _buffer->getChars()[index]
               : Char();
  }
  [[nodiscard]] Char operator[](unsigned long index) const noexcept { return getCharAt(index); }
  [[nodiscard]] const StringBuffer *getStringBuffer() const noexcept { return _buffer; }

  /// Receiver's code minus the other's at the first difference; a longer receiver gives
  /// 1, a shorter -1.
  [[nodiscard]] int compareTo(const String &other) const noexcept;
  /// The argument's code minus the receiver's at the first difference (the opposite sign
  /// of the String form); a longer receiver gives 1, a shorter -1. `text` is UTF-8.
  [[nodiscard]] int compareTo(const char *text) const;
  [[nodiscard]] int compareToIgnoreCase(const String &other) const noexcept;
  [[nodiscard]] int compareToIgnoreCase(const char *text) const;

  [[nodiscard]] bool operator==(const String &o) const noexcept { return compareTo(o) == 0; }
  [[nodiscard]] bool operator!=(const String &o) const noexcept { return compareTo(o) != 0; }
  [[nodiscard]] bool operator<(const String &o) const noexcept { return compareTo(o) < 0; }
  [[nodiscard]] bool operator<=(const String &o) const noexcept { return compareTo(o) <= 0; }
  [[nodiscard]] bool operator>(const String &o) const noexcept { return compareTo(o) > 0; }
  [[nodiscard]] bool operator>=(const String &o) const noexcept { return compareTo(o) >= 0; }
  [[nodiscard]] bool operator==(const char *t) const { return compareTo(t) == 0; }
  [[nodiscard]] bool operator!=(const char *t) const { return compareTo(t) != 0; }
  [[nodiscard]] bool operator<(const char *t) const { return compareTo(t) < 0; }
  [[nodiscard]] bool operator<=(const char *t) const { return compareTo(t) <= 0; }
  [[nodiscard]] bool operator>(const char *t) const { return compareTo(t) > 0; }
  [[nodiscard]] bool operator>=(const char *t) const { return compareTo(t) >= 0; }

  /// The first `c` at or after `from`, else NoIndex.
  [[nodiscard]] unsigned long indexOf(Char c, unsigned long from = 0) const noexcept;
  /// The first match at or after `from`; an empty needle matches at `from`. NoIndex for
  /// an empty receiver and for `from` beyond length minus the needle's length.
  [[nodiscard]] unsigned long indexOf(const String &needle, unsigned long from = 0) const noexcept;
  [[nodiscard]] unsigned long lastIndexOf(Char c) const noexcept;
  [[nodiscard]] bool startsWith(const String &prefix) const noexcept;
  [[nodiscard]] bool endsWith(const String &suffix) const noexcept;
  /// An empty argument is contained in everything, a longer one in nothing.
  [[nodiscard]] bool contains(const String &part) const noexcept;
  /// min(to - from, length - from) codes from `from`, counted in signed 32 bits: a count
  /// below 1 gives the empty string.
  [[nodiscard]] String substring(unsigned long from, unsigned long to = NoIndex) const;
  /// Appends the pieces between separators, from `from` on. After a match the search goes
  /// on one code further, also for a longer separator, whose rest then starts the next
  /// piece. Adjacent separators give an empty piece, a trailing one none.
  void separate(std::vector<String> &pieces, const String &separator,
                unsigned long from = 0) const;
  void separate(std::vector<String> &pieces, Char separator, unsigned long from = 0) const;

  /// UTF-8; codes above 10FFFF are left out.
  [[nodiscard]] std::string getStdString() const;
  /// UTF-16 units, to the first zero unit.
  [[nodiscard]] std::u16string getUTF16LEString() const;

  /// Integer parsers, see StringNumbers.cpp. They throw NumberFormatException.
  [[nodiscard]] int32_t asInt32(int radix = 10) const;
  [[nodiscard]] uint32_t asUInt32(int radix = 10) const;
  [[nodiscard]] int64_t asInt64(int radix = 10) const;
  [[nodiscard]] uint64_t asUInt64(int radix = 10) const;
  /// atof of the UTF-8 form: text that is no number gives 0, nothing throws.
  [[nodiscard]] float asFloat() const;
  [[nodiscard]] double asDouble() const;

  /// True when no code is in "a" to "z" (the empty string included).
  [[nodiscard]] bool isUpperCase() const noexcept;
  /// True when no code is in "A" to "Z" (the empty string included).
  [[nodiscard]] bool isLowerCase() const noexcept;
  [[nodiscard]] bool isASCII() const noexcept;
  [[nodiscard]] String asLowerCase() const;
  [[nodiscard]] String asUpperCase() const;
  /// The five XML entities for " & ' < >.
  [[nodiscard]] String asEscapedXmlString() const;
  /// h = h * 33 + c from 5381, in 64 bits.
  [[nodiscard]] uint64_t hash() const noexcept;

private:
  [[nodiscard]] const Char *chars() const noexcept {
    return _buffer != nullptr ? _buffer->getChars() : nullptr;
  }
  template <class Fold> int compareWith(const String &other, Fold fold) const noexcept;
  template <class Fold> int compareWith(const char *text, Fold fold) const;
  template <class Separator>
  void separateBy(std::vector<String> &pieces, const Separator &separator,
                  unsigned long from) const;

  StringBuffer *_buffer = nullptr;
};

/// Equality reads the same from either side.
[[nodiscard]] inline bool operator==(const char *text, const String &s) { return s == text; }
[[nodiscard]] inline bool operator!=(const char *text, const String &s) { return s != text; }

} // namespace base::core

/// For unordered containers: String::hash().
template <> struct std::hash<base::core::String> {
  size_t operator()(const base::core::String &s) const noexcept { return s.hash(); }
};

#endif // BASE_CORE_STRING_H
