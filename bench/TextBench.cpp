//===- bench/TextBench.cpp - Text of base::core against the standard library ===//
//
// Decoding UTF-8 into a String against a plain decoding loop into std::u32string; a
// message built with StringBuilder, and a String copy, against std::u32string; the
// integer parser against strtol and from_chars. Each pair does the same work.
//
//===----------------------------------------------------------------------===//
#include "base/core/String.h"
#include "base/core/StringBuilder.h"
#include "bench/RatioReporter.h"

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <string>

using base::core::String;
using base::core::StringBuilder;

namespace {

// 1000 bytes: mostly ASCII with two- and three-byte sequences, as in file names and labels.
const std::string &text() {
  static const std::string t = [] {
    std::string s;
    while (s.size() < 990)
      s += "Snare \xC3\xA9t\xC3\xA9 \xE2\x82\xAC 12 ";
    return s;
  }();
  return t;
}

std::u32string plainDecode(const std::string &s) {
  std::u32string out;
  out.reserve(s.size());
  for (size_t i = 0; i < s.size();) {
    const auto b = static_cast<unsigned char>(s[i]);
    const int n = b < 0x80 ? 1 : b < 0xE0 ? 2 : b < 0xF0 ? 3 : 4;
    char32_t c = n == 1 ? b : b & (0xFF >> (n + 1));
    for (int k = 1; k < n && i + k < s.size(); ++k)
      c = c << 6 | (static_cast<unsigned char>(s[i + k]) & 0x3F);
    out.push_back(c);
    i += n;
  }
  return out;
}

void decodeOurs(benchmark::State &state) {
  for (auto _ : state)
    benchmark::DoNotOptimize(String(text()));
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text().size()));
}

void decodePlain(benchmark::State &state) {
  for (auto _ : state)
    benchmark::DoNotOptimize(plainDecode(text()));
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(text().size()));
}

// A message of 100 characters from six texts and two numbers, ending in a String, against
// the same pieces added to a std::u32string (the numbers formatted by snprintf and widened).
template <bool MakeString> void messageOurs(benchmark::State &state) {
  const String file("kick-snare-hat.wav");
  int i = 0;
  for (auto _ : state) {
    StringBuilder b;
    b + "Transient number " + ++i + " found at " + 1.25 + " seconds in the file " + file +
        ", on channel 1 of 2, strength well above the floor";
    if (MakeString)
      benchmark::DoNotOptimize(String(b));
    else
      benchmark::DoNotOptimize(b.getConstBuffer());
  }
}

std::u32string widened(const char *text) {
  std::u32string out;
  while (*text != 0)
    out += static_cast<char32_t>(*text++);
  return out;
}

void messageStd(benchmark::State &state) {
  const std::u32string file = U"kick-snare-hat.wav";
  int i = 0;
  for (auto _ : state) {
    char number[64];
    std::u32string m;
    m += U"Transient number ";
    std::snprintf(number, sizeof number, "%d", ++i);
    m += widened(number);
    m += U" found at ";
    std::snprintf(number, sizeof number, "%g", 1.25);
    m += widened(number);
    m += U" seconds in the file ";
    m += file;
    m += U", on channel 1 of 2, strength well above the floor";
    benchmark::DoNotOptimize(m);
  }
}

void copyOurs(benchmark::State &state) {
  const String text(std::string(100, 'x'));
  for (auto _ : state) {
    String copy(text);
    benchmark::DoNotOptimize(copy);
  }
}

void copyStd(benchmark::State &state) {
  const std::u32string text(100, U'x');
  for (auto _ : state) {
    std::u32string copy(text);
    benchmark::DoNotOptimize(copy);
  }
}

void parseOurs(benchmark::State &state) {
  const String number("-1234567");
  for (auto _ : state)
    benchmark::DoNotOptimize(number.asInt32(10));
}

void parseStrtol(benchmark::State &state) {
  const char *number = "-1234567";
  for (auto _ : state)
    benchmark::DoNotOptimize(std::strtol(number, nullptr, 10));
}

void parseFromChars(benchmark::State &state) {
  const std::string number = "-1234567";
  for (auto _ : state) {
    int value = 0;
    std::from_chars(number.data(), number.data() + number.size(), value);
    benchmark::DoNotOptimize(value);
  }
}

BENCHMARK(decodeOurs)->Name("utf8_1000_bytes/ours");
BENCHMARK(decodePlain)->Name("utf8_1000_bytes/plain");
BENCHMARK(messageOurs<true>)->Name("message_100_to_String/ours");
BENCHMARK(messageStd)->Name("message_100_to_String/u32string");
BENCHMARK(messageOurs<false>)->Name("message_100_in_builder/ours");
BENCHMARK(messageStd)->Name("message_100_in_builder/u32string");
BENCHMARK(copyOurs)->Name("copy_100/ours");
BENCHMARK(copyStd)->Name("copy_100/u32string");
BENCHMARK(parseOurs)->Name("parse_int32/ours");
BENCHMARK(parseStrtol)->Name("parse_int32/strtol");
BENCHMARK(parseFromChars)->Name("parse_int32/from_chars");

} // namespace

RATIO_BENCHMARK_MAIN();
