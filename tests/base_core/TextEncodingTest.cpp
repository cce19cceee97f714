//===- tests/base_core/TextEncodingTest.cpp - The nine encodings -----------===//
#include "base/core/Exception.h"
#include "base/core/MemoryStreams.h"
#include "base/core/String.h"
#include "base/core/TextEncoding.h"

#include <gtest/gtest.h>

#include <iconv.h>

#include <cstdint>
#include <string>
#include <vector>

using namespace base::core;

namespace {

std::string encode(const TextEncoding &encoding, const std::vector<uint32_t> &codes) {
  std::string bytes;
  StdStringOutputStream out(&bytes);
  out.allocatedOnStack();
  for (uint32_t code : codes)
    encoding.writeChar(code, &out);
  return bytes;
}

std::vector<uint32_t> decode(const TextEncoding &encoding, const std::string &bytes) {
  MemoryInputStream in(reinterpret_cast<const unsigned char *>(bytes.data()), bytes.size(),
                       &encoding);
  in.allocatedOnStack();
  std::vector<uint32_t> codes;
  while (!in.isEndOfStream())
    codes.push_back(in.readChar().code());
  return codes;
}

// glibc's converter, as an implementation independent of ours.
std::string iconvFromUTF32LE(const std::vector<uint32_t> &codes, const char *to) {
  iconv_t cd = iconv_open(to, "UTF-32LE");
  EXPECT_NE(cd, reinterpret_cast<iconv_t>(-1));
  std::string in(reinterpret_cast<const char *>(codes.data()), 4 * codes.size());
  std::string out(4 * in.size(), '\0');
  char *src = in.data(), *dst = out.data();
  size_t srcLeft = in.size(), dstLeft = out.size();
  EXPECT_NE(iconv(cd, &src, &srcLeft, &dst, &dstLeft), size_t(-1));
  iconv_close(cd);
  out.resize(out.size() - dstLeft);
  return out;
}

std::vector<uint32_t> range(uint32_t first, uint32_t last) {
  std::vector<uint32_t> codes;
  for (uint32_t c = first; c <= last; ++c)
    codes.push_back(c);
  return codes;
}

std::string bytes(std::initializer_list<int> list) {
  std::string s;
  for (int b : list)
    s.push_back(static_cast<char>(b));
  return s;
}

} // namespace

TEST(TextEncoding, EveryScalarValueAgreesWithIconvBothWays) {
  std::vector<uint32_t> scalars = range(0, 0xD7FF);
  const std::vector<uint32_t> upper = range(0xE000, 0x10FFFF);
  scalars.insert(scalars.end(), upper.begin(), upper.end());
  ASSERT_EQ(scalars.size(), 1112064u);
  const struct {
    const TextEncoding &encoding;
    const char *iconvName;
  } cases[] = {{gUTF8, "UTF-8"},       {gUTF16LE, "UTF-16LE"}, {gUTF16BE, "UTF-16BE"},
               {gUTF32LE, "UTF-32LE"}, {gUTF32BE, "UTF-32BE"}};
  // Pairs are read from the high unit D801 on, so the codes 10000 to 103FF, whose
  // pairs start with D800, read back as their two units.
  std::vector<uint32_t> utf16Read;
  for (uint32_t c : scalars) {
    if (c >= 0x10000 && c < 0x10400) {
      utf16Read.push_back(0xD800);
      utf16Read.push_back(0xDC00 + (c & 0x3FF));
    } else {
      utf16Read.push_back(c);
    }
  }
  for (const auto &c : cases) {
    SCOPED_TRACE(c.iconvName);
    const std::string expected = iconvFromUTF32LE(scalars, c.iconvName);
    EXPECT_TRUE(encode(c.encoding, scalars) == expected);
    const bool utf16 = c.encoding.getMinCharSizeInBytes() == 2;
    EXPECT_TRUE(decode(c.encoding, expected) == (utf16 ? utf16Read : scalars));
  }
}

TEST(TextEncoding, SingleByteFormsRoundTripWhatTheyHold) {
  const struct {
    const TextEncoding &encoding;
    uint32_t last;
  } cases[] = {{gASCII, 0x7F}, {gSafeASCII, 0x7F}, {gExtendedASCII, 0xFF}, {gLatin1, 0xFF}};
  for (const auto &c : cases) {
    const std::vector<uint32_t> codes = range(0, c.last);
    const std::string written = encode(c.encoding, codes);
    ASSERT_EQ(written.size(), codes.size());
    for (size_t i = 0; i < codes.size(); ++i)
      EXPECT_EQ(static_cast<unsigned char>(written[i]), codes[i]);
    EXPECT_TRUE(decode(c.encoding, written) == codes);
  }
}

// What each encoding does with what does not fit, reading.
TEST(TextEncoding, ReadingBadAndOddInput) {
  const uint32_t kIO = 0xFFFFFFF0, kEOS = 0xFFFFFFF1; // stand for the exceptions
  const struct {
    const char *name;
    const TextEncoding &encoding;
    std::string in;
    std::vector<uint32_t> codes; // read to the end; an exception stands last
    const char *message = nullptr;
  } cases[] = {
      {"UTF-8 stray continuation", gUTF8, bytes({0x80}), {kIO}, "Invalid UTF8 encoding"},
      {"UTF-8 bad continuation", gUTF8, bytes({'a', 0xC3, 0x28}), {'a', kIO}, "Invalid UTF8 encoding"},
      {"UTF-8 five-byte lead", gUTF8, bytes({0xF8, 0x80, 0x80, 0x80}), {kIO}},
      {"UTF-8 byte FF", gUTF8, bytes({0xFF}), {kIO}},
      {"UTF-8 truncated", gUTF8, bytes({0xE2, 0x82}), {kEOS}},
      {"UTF-8 truncated four", gUTF8, bytes({0xF0, 0x9F, 0x98}), {kEOS}},
      {"UTF-8 overlong zero", gUTF8, bytes({0xC0, 0x80}), {0}},
      {"UTF-8 overlong slash", gUTF8, bytes({0xE0, 0x80, 0xAF}), {'/'}},
      {"UTF-8 surrogate", gUTF8, bytes({0xED, 0xA0, 0x80}), {0xD800}},
      {"UTF-8 above 10FFFF", gUTF8, bytes({0xF4, 0x90, 0x80, 0x80}), {0x110000}},
      {"UTF-8 largest four-byte", gUTF8, bytes({0xF7, 0xBF, 0xBF, 0xBF}), {0x1FFFFF}},
      {"ASCII high byte", gASCII, bytes({'a', 0xE9}), {'a', kIO}, "Invalid ASCII byte: e9"},
      {"SafeASCII high byte", gSafeASCII, bytes({0x80, 0xFF}), {'?', '?'}},
      {"ExtendedASCII high byte", gExtendedASCII, bytes({0xE9}), {0xE9}},
      {"Latin-1 high byte", gLatin1, bytes({0xFF}), {0xFF}},
      {"UTF-16LE lone D800", gUTF16LE, bytes({0x00, 0xD8, 'a', 0}), {0xD800, 'a'}},
      {"UTF-16BE pair", gUTF16BE, bytes({0xD8, 0x3D, 0xDE, 0x00}), {0x1F600}},
      {"UTF-16BE second unit unchecked", gUTF16BE, bytes({0xD8, 0x01, 0x00, 0x41}), {0x10441}},
      {"UTF-16LE lone low surrogate", gUTF16LE, bytes({0x00, 0xDC}), {0xDC00}},
      {"UTF-16LE pair cut short", gUTF16LE, bytes({0x3D, 0xD8}), {kEOS}},
      {"UTF-16LE odd byte", gUTF16LE, bytes({'a'}), {kEOS}},
      {"UTF-32BE any value", gUTF32BE, bytes({0xFF, 0xFF, 0xFF, 0xFF}), {0xFFFFFFFF}},
      {"UTF-32LE cut short", gUTF32LE, bytes({1, 0, 0}), {kEOS}},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.name);
    MemoryInputStream in(reinterpret_cast<const unsigned char *>(c.in.data()), c.in.size(),
                         &c.encoding);
    in.allocatedOnStack();
    std::vector<uint32_t> codes;
    try {
      while (!in.isEndOfStream())
        codes.push_back(in.readChar().code());
    } catch (const EOSException &) {
      codes.push_back(kEOS);
    } catch (const IOException &e) {
      codes.push_back(kIO);
      if (c.message != nullptr) {
        EXPECT_EQ(e.getMessage(), c.message);
      }
    }
    EXPECT_EQ(codes, c.codes);
  }
}

// What each encoding does with a code it cannot hold, writing.
TEST(TextEncoding, WritingWhatDoesNotFit) {
  const struct {
    const TextEncoding &encoding;
    uint32_t code;
    std::string out;
    const char *message; // of the IOException, when one is raised
  } cases[] = {
      {gUTF8, 0x110000, "", nullptr},
      {gUTF8, 0xD800, bytes({0xED, 0xA0, 0x80}), nullptr},
      {gASCII, 0xE9, "", "Character '\xC3\xA9' cannot be encoded in ASCII format"},
      {gSafeASCII, 0xE9, "?", nullptr},
      {gLatin1, 0xE9, bytes({0xE9}), nullptr},
      {gLatin1, 0x100, "?", nullptr},
      {gExtendedASCII, 0x100, "", "Character '\xC4\x80' cannot be encoded in Extended ASCII format"},
      {gUTF16BE, 0x1F600, bytes({0xD8, 0x3D, 0xDE, 0x00}), nullptr},
      {gUTF16LE, 0xDC00, bytes({0x00, 0xDC}), nullptr},
      {gUTF32BE, 0x110000, bytes({0x00, 0x11, 0x00, 0x00}), nullptr},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.code);
    std::string out;
    StdStringOutputStream stream(&out);
    stream.allocatedOnStack();
    try {
      c.encoding.writeChar(c.code, &stream);
      EXPECT_EQ(c.message, nullptr);
    } catch (const IOException &e) {
      ASSERT_NE(c.message, nullptr);
      EXPECT_EQ(e.getMessage().getStdString(), c.message);
    }
    EXPECT_EQ(out, c.out);
  }
}

TEST(TextEncoding, SizesAndLengths) {
  // A surrogate pair takes 4 bytes, yet UTF-16 answers 2.
  EXPECT_EQ(TextEncoding::getUTF16LE()->getMaxCharSizeInBytes(), 2);
  EXPECT_EQ(TextEncoding::getUTF16BE()->getMaxCharSizeInBytes(), 2);
  EXPECT_EQ(TextEncoding::getStringEncoding(), &gUTF32LE);

  const char narrow[] = "ab\xC3\xA9";
  const char16_t wide16[] = u"ab\U0001F600";
  const char32_t wide32[] = U"abc";
  EXPECT_EQ(gUTF8.byteLen(narrow), 4u);
  EXPECT_EQ(gUTF16BE.byteLen(wide16), 8u);
  EXPECT_EQ(gUTF32LE.byteLen(wide32), 12u);
  EXPECT_EQ(TextEncoding::utf32ByteLen(U""), 0u);
}

TEST(TextEncoding, ReadStringStopRules) {
  const struct {
    std::string in;
    int maxChars;
    int terminator; // -1: readString
    const char *text;
    size_t left; // bytes the read leaves in the stream
  } cases[] = {
      {"abc", -1, -1, "abc", 0},
      {"abc", 2, -1, "ab", 1},
      {"abc", 0, -1, "", 3},
      {"abc", -2, -1, "", 3},
      {bytes({'a', 0, 'b'}), -1, -1, "a", 1},
      {bytes({'a', 0xC0, 0x80, 'b'}), -1, -1, "a", 1}, // an overlong zero ends it too
      {bytes({'a', 0xE2, 0x82}), -1, -1, "a", 0},      // the cut character is dropped
      {"a\r\nb", -1, '\n', "a\r", 1},
      {"ab", -1, '\n', "ab", 0},
      {"abcd", 2, 'c', "ab", 2},
      {bytes({'a', 0, 'b'}), -1, '\n', "a", 1},
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.in + " " + std::to_string(c.maxChars));
    MemoryInputStream in(reinterpret_cast<const unsigned char *>(c.in.data()), c.in.size());
    in.allocatedOnStack();
    const String text = c.terminator < 0
                            ? gUTF8.readString(&in, c.maxChars)
                            : gUTF8.readStringUptoChar(&in, uint32_t(c.terminator), c.maxChars);
    EXPECT_EQ(text.getStdString(), c.text);
    unsigned char rest[8];
    EXPECT_EQ(c.left == 0 ? 0 : in.readBytes(rest, sizeof rest), c.left);
  }

  // Invalid bytes pass through, and the text read before them is lost.
  const std::string bad = bytes({'a', 0x80});
  MemoryInputStream in(reinterpret_cast<const unsigned char *>(bad.data()), bad.size());
  in.allocatedOnStack();
  EXPECT_THROW((void)gUTF8.readString(&in, -1), IOException);
}
