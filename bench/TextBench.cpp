//===- bench/TextBench.cpp - Text of base::core against the standard library ===//
//
// Decoding UTF-8 into a String against a plain decoding loop into std::u32string, a
// message built with StringBuilder against std::string with snprintf, and the integer
// parser against strtol. Each pair does the same work per iteration.
//
//===----------------------------------------------------------------------===//
#include "base/core/String.h"
#include "base/core/StringBuilder.h"
#include "bench/RatioReporter.h"

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

void messageOurs(benchmark::State &state) {
  int i = 0;
  for (auto _ : state)
    benchmark::DoNotOptimize(String(StringBuilder("Transient ") + ++i + " at " + 1.25 + " s"));
}

void messagePlain(benchmark::State &state) {
  int i = 0;
  for (auto _ : state) {
    char number[64];
    std::string s = "Transient ";
    std::snprintf(number, sizeof number, "%d", ++i);
    s += number;
    s += " at ";
    std::snprintf(number, sizeof number, "%g", 1.25);
    s += number;
    s += " s";
    benchmark::DoNotOptimize(s);
  }
}

void parseOurs(benchmark::State &state) {
  const String number(" -1234567");
  for (auto _ : state)
    benchmark::DoNotOptimize(number.asInt32(10));
}

void parsePlain(benchmark::State &state) {
  const char *number = " -1234567";
  for (auto _ : state)
    benchmark::DoNotOptimize(std::strtol(number, nullptr, 10));
}

BENCHMARK(decodeOurs)->Name("utf8_1000_bytes/ours");
BENCHMARK(decodePlain)->Name("utf8_1000_bytes/plain");
BENCHMARK(messageOurs)->Name("message/ours");
BENCHMARK(messagePlain)->Name("message/snprintf");
BENCHMARK(parseOurs)->Name("parse_int32/ours");
BENCHMARK(parsePlain)->Name("parse_int32/strtol");

} // namespace

RATIO_BENCHMARK_MAIN();
