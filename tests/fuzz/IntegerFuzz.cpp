//===- tests/fuzz/IntegerFuzz.cpp - The four integer parsers --------------===//
//
// The first byte picks a radix from 2 to 36. Any text either parses or throws
// NumberFormatException, and a parsed value prints, in radix 10, as the standard library
// prints it, to a text that parses back to it.
#include "FuzzSupport.h"

#include "base/core/String.h"
#include "base/core/StringBuilder.h"

#include <string>
#include <type_traits>

using namespace base::core;

namespace {

template <class T, class Parse> void check(const String &text, int radix, Parse parse) {
  T value;
  try {
    value = parse(text, radix);
  } catch (const NumberFormatException &) {
    return;
  }
  // Widened: the builder prints a 32-bit unsigned value as "%d" would.
  StringBuilder printed;
  printed + static_cast<std::conditional_t<std::is_signed_v<T>, long long, unsigned long long>>(value);
  FUZZ_CHECK(parse(String(printed), 10) == value);
  FUZZ_CHECK(String(printed).getStdString() == std::to_string(value));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size == 0)
    return 0;
  const int radix = 2 + data[0] % 35;
  const String text(data + 1, static_cast<int>(size - 1), &gLatin1);
  check<int32_t>(text, radix, [](const String &s, int r) { return s.asInt32(r); });
  check<uint32_t>(text, radix, [](const String &s, int r) { return s.asUInt32(r); });
  check<int64_t>(text, radix, [](const String &s, int r) { return s.asInt64(r); });
  check<uint64_t>(text, radix, [](const String &s, int r) { return s.asUInt64(r); });
  return 0;
}
