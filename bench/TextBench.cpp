//===- bench/TextBench.cpp - Text of base::core against the standard library ===//
//
// Decoding UTF-8 into a String against a plain decoding loop into std::u32string; 1 MB of
// mixed text decoded and encoded against glibc's iconv; a message built with
// StringBuilder, and a String copy, against std::u32string; the integer parser against
// strtol and from_chars; MD5 of 64 MB against the md5sum program. Each pair does the
// same work.
//
//===----------------------------------------------------------------------===//
#include "base/core/MD5.h"
#include "base/core/String.h"
#include "base/core/StringBuilder.h"
#include "bench/RatioReporter.h"

#include <iconv.h>
#include <unistd.h>

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

// 1 MB of text in several scripts: one to four bytes a character.
const std::string &mixedText() {
  static const std::string t = [] {
    const std::string piece = "Kick and snare, caf\xC3\xA9 \xC3\xA0 la cr\xC3\xA8me; "
                              "\xCE\xB1\xCE\xBB\xCF\x86\xCE\xB1 \xD0\xB1\xD0\xB0\xD1\x80\xD0\xB0\xD0\xB1\xD0\xB0\xD0\xBD "
                              "\xE9\xBC\x93\xE3\x81\xA8\xE3\x82\xB7\xE3\x83\xB3\xE3\x83\x90\xE3\x83\xAB "
                              "\xF0\x9F\xA5\x81\xF0\x9F\x8E\xB5 120 BPM\n";
    std::string s;
    while (s.size() + piece.size() <= (1u << 20))
      s += piece;
    return s;
  }();
  return t;
}

// Converts with iconv into a buffer of room enough, as a caller of iconv would.
class Converter {
public:
  Converter(const char *to, const char *from) : _cd(iconv_open(to, from)) {}
  ~Converter() { iconv_close(_cd); }
  size_t operator()(const std::string &in, std::string &out) {
    char *src = const_cast<char *>(in.data()), *dst = out.data();
    size_t srcLeft = in.size(), dstLeft = out.size();
    iconv(_cd, &src, &srcLeft, &dst, &dstLeft);
    return out.size() - dstLeft;
  }

private:
  iconv_t _cd;
};

void decodeMixedOurs(benchmark::State &state) {
  for (auto _ : state)
    benchmark::DoNotOptimize(String(mixedText()));
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(mixedText().size()));
}

void decodeMixedIconv(benchmark::State &state) {
  Converter convert("UTF-32LE", "UTF-8");
  std::string out(4 * mixedText().size(), '\0');
  for (auto _ : state)
    benchmark::DoNotOptimize(convert(mixedText(), out));
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(mixedText().size()));
}

void encodeMixedOurs(benchmark::State &state) {
  const String text(mixedText());
  for (auto _ : state)
    benchmark::DoNotOptimize(text.getStdString());
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(mixedText().size()));
}

void encodeMixedIconv(benchmark::State &state) {
  std::string codes(4 * mixedText().size(), '\0');
  codes.resize(Converter("UTF-32LE", "UTF-8")(mixedText(), codes));
  Converter convert("UTF-8", "UTF-32LE");
  std::string out(mixedText().size(), '\0');
  for (auto _ : state)
    benchmark::DoNotOptimize(convert(codes, out));
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(mixedText().size()));
}

const std::string &md5Input() {
  static const std::string data = [] {
    std::string d(64u << 20, '\0');
    uint32_t x = 12345;
    for (char &c : d) {
      x = x * 1664525 + 1013904223;
      c = static_cast<char>(x >> 24);
    }
    return d;
  }();
  return data;
}

void md5Ours(benchmark::State &state) {
  for (auto _ : state) {
    base::core::MD5 md5;
    md5.appendData(md5Input().data(), md5Input().size());
    unsigned char digest[16];
    md5.calculate(digest);
    benchmark::DoNotOptimize(digest);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(md5Input().size()));
}

// md5sum reads the same bytes from a file in the page cache.
void md5Program(benchmark::State &state) {
  char path[] = "/tmp/text_bench_md5_XXXXXX";
  const int fd = mkstemp(path);
  if (fd < 0 || write(fd, md5Input().data(), md5Input().size()) !=
                    static_cast<ssize_t>(md5Input().size())) {
    state.SkipWithError("cannot write the input file");
    return;
  }
  close(fd);
  const std::string command = std::string("md5sum ") + path + " >/dev/null";
  for (auto _ : state)
    if (std::system(command.c_str()) != 0)
      state.SkipWithError("md5sum failed");
  unlink(path);
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(md5Input().size()));
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
BENCHMARK(decodeMixedOurs)->Name("utf8_decode_1MB/ours");
BENCHMARK(decodeMixedIconv)->Name("utf8_decode_1MB/iconv");
BENCHMARK(encodeMixedOurs)->Name("utf8_encode_1MB/ours");
BENCHMARK(encodeMixedIconv)->Name("utf8_encode_1MB/iconv");
BENCHMARK(md5Ours)->Name("md5_64MB/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(md5Program)->Name("md5_64MB/md5sum")->Unit(benchmark::kMillisecond)->UseRealTime();
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
