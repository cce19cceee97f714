//===- tests/base_core/TextEncodingTest.cpp - The nine encodings -----------===//
#include "base/core/Exception.h"
#include "base/core/MemoryStreams.h"
#include "base/core/String.h"
#include "base/core/TextEncoding.h"

#include <gtest/gtest.h>

#include <iconv.h>


using namespace base::core;

namespace {
// The message of the IOException `act` raises ("End of stream" for an EOSException), or "".
template <class Act> std::string failureOf(Act act) {
  try {
    act();
  } catch (const IOException &e) {
    return e.getMessage().getStdString();
  }
  return "";
}

std::string bytes(std::initializer_list<int> list) { return std::string(list.begin(), list.end()); }

void encode(const TextEncoding &encoding, const std::vector<uint32_t> &codes, std::string &bytes) {
  StdStringOutputStream out(&bytes);
  out.allocatedOnStack();
  for (uint32_t code : codes)
    encoding.writeChar(code, &out);
}

void decode(const TextEncoding &encoding, const std::string &bytes, std::vector<uint32_t> &codes) {
  MemoryInputStream in(reinterpret_cast<const unsigned char *>(bytes.data()), bytes.size(), &encoding);
  in.allocatedOnStack();
  while (!in.isEndOfStream())
    codes.push_back(in.readChar().code());
}

// glibc's converter, as an implementation independent of ours.
std::string iconvFromUTF32LE(const std::vector<uint32_t> &codes, const char *to) {
  iconv_t cd = iconv_open(to, "UTF-32LE"); // when it fails, so does the iconv call below
  std::string in(reinterpret_cast<const char *>(codes.data()), 4 * codes.size()), out(4 * in.size(), '\0');
  char *src = in.data(), *dst = out.data();
  size_t srcLeft = in.size(), dstLeft = out.size();
  EXPECT_NE(iconv(cd, &src, &srcLeft, &dst, &dstLeft), size_t(-1));
  iconv_close(cd);
  out.resize(out.size() - dstLeft);
  return out;
}
} // namespace

TEST(TextEncoding, EveryCodeTheyHoldAgreesWithIconvBothWays) {
  // Pairs led by D800 read back as two units (pinned below), so 10000 to 103FF are left out.
  std::vector<uint32_t> scalars;
  for (uint32_t c = 0; c <= 0x10FFFF; ++c)
    if (c < 0xD800 || (c > 0xDFFF && c < 0x10000) || c >= 0x10400)
      scalars.push_back(c);
  const struct { const TextEncoding &encoding; const char *iconvName; uint32_t count; } cases[] = {
      {gUTF8, "UTF-8", 0},       {gUTF16LE, "UTF-16LE", 0},  {gUTF16BE, "UTF-16BE", 0},
      {gUTF32LE, "UTF-32LE", 0}, {gUTF32BE, "UTF-32BE", 0},  {gASCII, "ASCII", 0x80},
      {gSafeASCII, "ASCII", 0x80}, {gExtendedASCII, "LATIN1", 0x100}, {gLatin1, "LATIN1", 0x100}};
  for (const auto &c : cases) {
    const std::vector<uint32_t> codes(scalars.begin(), c.count ? scalars.begin() + c.count : scalars.end());
    const std::string expected = iconvFromUTF32LE(codes, c.iconvName);
    std::string written;
    std::vector<uint32_t> read;
    encode(c.encoding, codes, written);
    decode(c.encoding, expected, read);
    EXPECT_TRUE(written == expected) << c.iconvName;
    EXPECT_TRUE(read == codes) << c.iconvName;
  }
}

// Bytes read to codes, or codes written to bytes; failure: the message of the IOException.
TEST(TextEncoding, WhatDoesNotFitBothWays) {
  enum { Read, Write };
  const struct { int way; const TextEncoding &encoding; std::string bytes; std::vector<uint32_t> codes;
                 const char *failure = ""; } cases[] = {
      {Read, gUTF8, bytes({0x80}), {}, "Invalid UTF8 encoding"},
      {Read, gUTF8, bytes({'a', 0xC3, 0x28}), {'a'}, "Invalid UTF8 encoding"},
      {Read, gUTF8, bytes({0xE2, 0x82}), {}, "End of stream"},
      // Kept: overlongs, surrogates and codes above 10FFFF decode; above 10FFFF nothing is written.
      {Read, gUTF8, bytes({0xC0, 0x80}), {0}},
      {Read, gUTF8, bytes({0xED, 0xA0, 0x80}), {0xD800}},
      {Read, gUTF8, bytes({0xF7, 0xBF, 0xBF, 0xBF}), {0x1FFFFF}},
      {Write, gUTF8, "", {0x110000}},
      {Write, gUTF8, bytes({0xED, 0xA0, 0x80}), {0xD800}},
      {Read, gASCII, bytes({'a', 0xE9}), {'a'}, "Invalid ASCII byte: e9"},
      {Write, gASCII, "", {0xE9}, "Character '\xC3\xA9' cannot be encoded in ASCII format"},
      {Read, gSafeASCII, bytes({0x80, 0xFF}), {'?', '?'}},
      {Write, gSafeASCII, "?", {0xE9}},
      {Write, gLatin1, "?", {0x100}},
      {Write, gExtendedASCII, "", {0x100}, "Character '\xC4\x80' cannot be encoded in Extended ASCII format"},
      {Read, gUTF16LE, bytes({0x00, 0xD8, 'a', 0}), {0xD800, 'a'}}, // kept: no pair from D800
      {Read, gUTF16BE, bytes({0xD8, 0x01, 0x00, 0x41}), {0x10441}}, // the second unit unchecked
      {Read, gUTF16LE, bytes({0x3D, 0xD8}), {}, "End of stream"},
      {Write, gUTF16LE, bytes({0x00, 0xDC}), {0xDC00}},
      {Read, gUTF32BE, bytes({0xFF, 0xFF, 0xFF, 0xFF}), {0xFFFFFFFF}},
      {Read, gUTF32LE, bytes({1, 0, 0}), {}, "End of stream"},
      {Write, gUTF32BE, bytes({0x00, 0x11, 0x00, 0x00}), {0x110000}}};
  for (size_t i = 0; i < std::size(cases); ++i) {
    const auto &c = cases[i];
    std::string written;
    std::vector<uint32_t> read;
    const auto run = [&] { c.way ? encode(c.encoding, c.codes, written) : decode(c.encoding, c.bytes, read); };
    EXPECT_EQ(failureOf(run), c.failure) << "case " << i;
    EXPECT_TRUE(c.way == Read ? read == c.codes : written == c.bytes) << "case " << i;
  }
  // Kept: a surrogate pair takes 4 bytes, yet UTF-16 answers 2.
  EXPECT_EQ(TextEncoding::getUTF16LE()->getMaxCharSizeInBytes(), 2);
  EXPECT_EQ(TextEncoding::getUTF16BE()->getMaxCharSizeInBytes(), 2);
  EXPECT_EQ(TextEncoding::utf32ByteLen(U""), 0u);
}

TEST(TextEncoding, ReadStringStopRules) {
  // terminator -1: readString. A failure's message stands for the text.
  const struct { std::string in; int maxChars, terminator; const char *text; unsigned long left; } cases[] = {
      {"abc", 2, -1, "ab", 1},  {"abc", 0, -1, "", 3},  {"abc", -2, -1, "", 3}, {"abcd", 2, 'c', "ab", 2},
      {bytes({'a', 0, 'b'}), -1, -1, "a", 1},          {bytes({'a', 0, 'b'}), -1, '\n', "a", 1},
      {bytes({'a', 0xC0, 0x80, 'b'}), -1, -1, "a", 1}, // an overlong zero ends it too
      {bytes({'a', 0xE2, 0x82}), -1, -1, "a", 0},      // the cut character is dropped
      {bytes({'a', 0x80}), -1, -1, "Invalid UTF8 encoding", 0}}; // and the text before bad bytes lost
  for (const auto &c : cases) {
    MemoryInputStream in(reinterpret_cast<const unsigned char *>(c.in.data()), c.in.size());
    in.allocatedOnStack();
    std::string text;
    const std::string failure = failureOf([&] {
      text = (c.terminator < 0 ? gUTF8.readString(&in, c.maxChars)
                               : gUTF8.readStringUptoChar(&in, uint32_t(c.terminator), c.maxChars))
                 .getStdString();
    });
    unsigned char rest[8];
    EXPECT_EQ(failure.empty() ? text : failure, c.text) << c.in << " " << c.maxChars;
    EXPECT_EQ(in.readBytes(rest, sizeof rest), c.left) << c.in << " " << c.maxChars;
  }
}
