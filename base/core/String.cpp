//===- base/core/String.cpp - Immutable text of code points ---------------===//
#include "base/core/String.h"

#include "base/core/MemoryStreams.h"
#include "base/core/StringBuilder.h"
#include "base/core/TextEncoding.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

namespace base::core {

// Load order: the plug-in's adapter (200), Debug (201), this (202), System (203).
__attribute__((init_priority(202))) const String String::EMPTY;

StringBuffer::StringBuffer(int size)
    : _chars(static_cast<Char *>(std::malloc(sizeof(Char) * static_cast<size_t>(size)))),
      _size(size) {
  if (_chars == nullptr)
    throw std::bad_alloc();
}

StringBuffer::StringBuffer(const StringBuilder &builder)
    : StringBuffer(builder.sizeIncludingTerminatingZero()) {
  std::copy(builder.getConstBuffer(), builder.getConstBuffer() + _size, _chars);
}

StringBuffer::~StringBuffer() { std::free(_chars); }

void StringBuffer::decrementRefCount(const StringBuffer *buffer) noexcept {
  if (buffer != nullptr && buffer->_refCount.fetch_sub(1) == 1)
    delete buffer;
}

namespace {

/// The buffer of a finished builder, with a count of 1; null for no text.
StringBuffer *bufferOf(const StringBuilder &builder) {
  if (builder.isEmpty())
    return nullptr;
  auto *buffer = new StringBuffer(builder);
  buffer->incrementRefCount();
  return buffer;
}

} // namespace

String::String(const char *text) : _buffer(bufferOf(StringBuilder(text))) {}

String::String(const char *text, const TextEncoding *encoding) {
  // byteLen of null would walk from address 0.
  if (text != nullptr) {
    StringBuilder builder;
    builder.append(text, static_cast<int>(encoding->byteLen(text)), encoding);
    _buffer = bufferOf(builder);
  }
}

String::String(const void *data, int byteCount, const TextEncoding *encoding) {
  StringBuilder builder;
  builder.append(data, byteCount, encoding);
  _buffer = bufferOf(builder);
}

String::String(const unsigned short *text) : _buffer(bufferOf(StringBuilder(text))) {}

String::String(const unsigned int *codes) : _buffer(bufferOf(StringBuilder(codes))) {}

String::String(const Char *chars, unsigned long count) {
  StringBuilder builder;
  builder.append(chars, static_cast<int>(count));
  _buffer = bufferOf(builder);
}

String::String(const std::string &text) : String(text.c_str()) {}

String::String(const std::vector<unsigned char> &bytes) {
  StringBuilder builder;
  for (unsigned char byte : bytes)
    builder.append(static_cast<int>(byte));
  _buffer = bufferOf(builder);
}

String::String(const std::vector<Char> &chars) : String(chars.data(), chars.size()) {}

String::String(const StringBuilder &builder) : _buffer(bufferOf(builder)) {}

String::String(const StringBuffer *buffer) noexcept
    : _buffer(const_cast<StringBuffer *>(buffer)) {
  if (_buffer != nullptr)
    _buffer->incrementRefCount();
}

String::String(const String &other) noexcept : String(other._buffer) {}

String &String::operator=(const String &other) noexcept {
  if (other._buffer != _buffer)
    assign(other._buffer);
  return *this;
}

String &String::operator=(String &&other) noexcept {
  if (this != &other) {
    StringBuffer::decrementRefCount(_buffer);
    _buffer = std::exchange(other._buffer, nullptr);
  }
  return *this;
}

void String::assign(StringBuffer *buffer) noexcept {
  StringBuffer::decrementRefCount(_buffer);
  _buffer = buffer;
  if (_buffer != nullptr)
    _buffer->incrementRefCount();
}

String String::fromInt(int value) { return StringBuilder().append(value); }
String String::fromBool(bool value) { return StringBuilder().append(value); }
String String::fromFloat(float value) { return StringBuilder().append(value); }
String String::fromDouble(double value) { return StringBuilder().append(value); }
String String::createFromNativeCodePage(const char *text) { return String(text); }

namespace {

struct Exact {
  Char operator()(Char c) const noexcept { return c; }
};
struct Folded {
  Char operator()(Char c) const noexcept { return c.asLowerCase(); }
};

int difference(Char a, Char b) noexcept { return static_cast<int>(a.code() - b.code()); }

} // namespace

template <class Fold> int String::compareWith(const String &other, Fold fold) const noexcept {
  const unsigned long length = getLength(), otherLength = other.getLength();
  for (unsigned long i = 0; i < length; ++i) {
    if (i >= otherLength)
      return 1;
    const Char a = fold(chars()[i]), b = fold(other.chars()[i]);
    if (a != b)
      return difference(a, b);
  }
  return length == otherLength ? 0 : -1;
}

template <class Fold> int String::compareWith(const char *text, Fold fold) const {
  // A null text is read as the empty one.
  const auto *next = reinterpret_cast<const unsigned char *>(text != nullptr ? text : "");
  const unsigned char *end = next + std::strlen(reinterpret_cast<const char *>(next));
  const unsigned long length = getLength();
  for (unsigned long i = 0;; ++i) {
    if (next == end)
      return i < length ? 1 : 0;
    if (i >= length)
      return -1;
    const Char a = fold(UTF8Encoding::decode(next, end)), b = fold(chars()[i]);
    if (a != b)
      return difference(a, b);
  }
}

int String::compareTo(const String &other) const noexcept { return compareWith(other, Exact()); }
int String::compareTo(const char *text) const { return compareWith(text, Exact()); }
int String::compareToIgnoreCase(const String &other) const noexcept {
  return compareWith(other, Folded());
}
int String::compareToIgnoreCase(const char *text) const { return compareWith(text, Folded()); }

unsigned long String::indexOf(Char c, unsigned long from) const noexcept {
  const unsigned long length = getLength();
  for (unsigned long i = from; i < length; ++i)
    if (chars()[i] == c)
      return i;
  return NoIndex;
}

unsigned long String::indexOf(const String &needle, unsigned long from) const noexcept {
  const unsigned long n = needle.getLength(), length = getLength();
  if (isEmpty() || n > length || from > length - n)
    return NoIndex;
  for (unsigned long i = from; i <= length - n; ++i)
    if (std::equal(needle.chars(), needle.chars() + n, chars() + i))
      return i;
  return NoIndex;
}

unsigned long String::lastIndexOf(Char c) const noexcept {
  for (unsigned long i = getLength(); i-- > 0;)
    if (chars()[i] == c)
      return i;
  return NoIndex;
}

bool String::startsWith(const String &prefix) const noexcept {
  const unsigned long n = prefix.getLength();
  return n == 0 || (n <= getLength() && std::equal(prefix.chars(), prefix.chars() + n, chars()));
}

bool String::endsWith(const String &suffix) const noexcept {
  const unsigned long n = suffix.getLength(), length = getLength();
  return n == 0 ||
         (n <= length && std::equal(suffix.chars(), suffix.chars() + n, chars() + length - n));
}

bool String::contains(const String &part) const noexcept {
  // A part longer than the receiver would run the search past its end.
  return part.isEmpty() || (part.getLength() <= getLength() && indexOf(part) != NoIndex);
}

String String::substring(unsigned long from, unsigned long to) const {
  const unsigned long length = getLength();
  // A start at or past the end has no codes; beyond 2^31 the signed count below could
  // wrap to a positive one.
  if (from >= length)
    return String();
  const int32_t rest = static_cast<int32_t>(length - from);
  const int32_t count = to == NoIndex ? rest : std::min(static_cast<int32_t>(to - from), rest);
  if (count < 1)
    return String();
  return String(chars() + from, static_cast<unsigned long>(count));
}

template <class Separator>
void String::separateBy(std::vector<String> &pieces, const Separator &separator,
                        unsigned long from) const {
  for (unsigned long position = from; position < getLength();) {
    const unsigned long found = indexOf(separator, position);
    pieces.push_back(substring(position, found));
    if (found == NoIndex)
      return;
    position = found + 1;
  }
}

void String::separate(std::vector<String> &pieces, const String &separator,
                      unsigned long from) const {
  separateBy(pieces, separator, from);
}

void String::separate(std::vector<String> &pieces, Char separator, unsigned long from) const {
  separateBy(pieces, separator, from);
}

std::string String::getStdString() const {
  // Two passes: the exact size first, so the text is allocated once and written in place.
  const Char *begin = chars(), *end = begin + getLength();
  size_t size = 0;
  for (const Char *c = begin; c != end; ++c) {
    const uint32_t code = c->code();
    size += code <= 0x10FFFF ? 1u + (code >= 0x80) + (code >= 0x800) + (code >= 0x10000) : 0u;
  }
  std::string text(size, '\0');
  auto *out = reinterpret_cast<unsigned char *>(text.data());
  for (const Char *c = begin; c != end; ++c) {
    if (c->code() < 0x80)
      *out++ = static_cast<unsigned char>(c->code());
    else
      out += UTF8Encoding::encode(*c, out);
  }
  return text;
}

std::u16string String::getUTF16LEString() const {
  // Four bytes for a pair per code and the terminating unit.
  std::vector<unsigned char> bytes(4 * getLength() + 2);
  MemoryOutputStream stream(bytes.data(), bytes.size(), &gUTF16LE);
  stream.allocatedOnStack();
  stream.writeString(*this);
  stream.writeChar(Char());
  std::u16string units;
  for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto unit = static_cast<char16_t>(bytes[i] | bytes[i + 1] << 8);
    if (unit == 0)
      break;
    units.push_back(unit);
  }
  return units;
}

float String::asFloat() const { return static_cast<float>(asDouble()); }
double String::asDouble() const { return std::atof(getStdString().c_str()); }

bool String::isUpperCase() const noexcept {
  return std::all_of(chars(), chars() + getLength(), [](Char c) { return c.isUpperCase(); });
}
bool String::isLowerCase() const noexcept {
  return std::all_of(chars(), chars() + getLength(), [](Char c) { return c.isLowerCase(); });
}
bool String::isASCII() const noexcept {
  return std::all_of(chars(), chars() + getLength(), [](Char c) { return c.isASCII(); });
}

String String::asLowerCase() const {
  StringBuilder builder(*this);
  builder.toLowerCase();
  return builder;
}

String String::asUpperCase() const {
  StringBuilder builder(*this);
  builder.toUpperCase();
  return builder;
}

String String::asEscapedXmlString() const {
  // The empty string (no buffer) has nothing to escape.
  StringBuilder builder;
  for (unsigned long i = 0; i < getLength(); ++i) {
    switch (chars()[i].code()) {
    case '"': builder.append("&quot;"); break;
    case '&': builder.append("&amp;"); break;
    case '\'': builder.append("&apos;"); break;
    case '<': builder.append("&lt;"); break;
    case '>': builder.append("&gt;"); break;
    default: builder.append(chars()[i]);
    }
  }
  return builder;
}

uint64_t String::hash() const noexcept {
  uint64_t h = 5381;
  for (unsigned long i = 0; i < getLength(); ++i)
    h = h * 33 + chars()[i].code();
  return h;
}

} // namespace base::core
