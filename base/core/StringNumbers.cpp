//===- base/core/StringNumbers.cpp - Integers read from text --------------===//
//
// The four integer parsers are one walk. Forward from the start: "-" toggles the sign
// (so "--5" is 5), whitespace is skipped, and the first code that is a digit of the
// radix starts the number. Backward from the end: trailing whitespace is skipped, then
// every code down to that start must be a digit, each worth its place value. Sums wrap
// without a check ("4294967296" is 0 as a 32-bit number), "+" is not accepted, and a
// control code below the radix counts as a digit where the number starts (Char::isDigit),
// so a tab before a 5 gives 5 + (9 - 48) * 10 = -385. The unsigned parsers refuse a
// minus sign in front of the first digit. Every failure throws NumberFormatException
// with the whole text.
//
//===----------------------------------------------------------------------===//
#include "base/core/Exception.h"
#include "base/core/String.h"

namespace base::core {

namespace {

[[noreturn]] void notANumber(const String &text) { throw NumberFormatException(text); }

template <class Unsigned, bool AcceptsMinus> Unsigned parse(const String &text, int radix) {
  const unsigned long length = text.getLength();
  if (length == 0)
    notANumber(text);
  const Char *chars = text.getStringBuffer()->getChars();
  bool negative = false;
  unsigned long start = 0;
  for (;; ++start) {
    if (start == length)
      notANumber(text);
    const Char c = chars[start];
    if (c.code() == '-')
      negative = !negative;
    else if (c.isDigit(radix))
      break;
    else if (!c.isWhitespace())
      notANumber(text);
  }
  if (!AcceptsMinus && negative)
    notANumber(text);
  unsigned long i = length;
  // Trailing whitespace; a run of it that reaches the start is no number.
  while (i > start && chars[i - 1].isWhitespace())
    --i;
  if (i == start)
    notANumber(text);
  Unsigned sum = 0, place = 1;
  while (i-- > start) {
    const Char c = chars[i].asLowerCase();
    if (!c.isDigit(radix))
      notANumber(text);
    const int64_t code = c.code();
    sum += static_cast<Unsigned>(code < 97 ? code - 48 : code - 87) * place;
    place *= static_cast<Unsigned>(radix);
  }
  return negative ? static_cast<Unsigned>(0 - sum) : sum;
}

} // namespace

int32_t String::asInt32(int radix) const {
  return static_cast<int32_t>(parse<uint32_t, true>(*this, radix));
}
uint32_t String::asUInt32(int radix) const { return parse<uint32_t, false>(*this, radix); }
int64_t String::asInt64(int radix) const {
  return static_cast<int64_t>(parse<uint64_t, true>(*this, radix));
}
uint64_t String::asUInt64(int radix) const { return parse<uint64_t, false>(*this, radix); }

} // namespace base::core
