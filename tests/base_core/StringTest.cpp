//===- tests/base_core/StringTest.cpp - String, builder, parsers, value tools ===//
#include "base/core/Base64.h"
#include "base/core/Exception.h"
#include "base/core/MD5.h"
#include "base/core/String.h"
#include "base/core/StringBuilder.h"
#include "base/core/TextEncoding.h"
#include "base/core/UUID.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdlib>

using namespace base::core;

namespace {
std::vector<uint32_t> codesOf(const String &s) {
  std::vector<uint32_t> codes;
  for (unsigned long i = 0; i < s.getLength(); ++i)
    codes.push_back(s[i].code());
  return codes;
}
std::string text(const StringBuilder &b) { return String(b).getStdString(); }
std::string base64(const void *data, int size, int *outSize, const char *alphabet = nullptr) {
  char *encoded = alphabet ? base64Encode(data, size, outSize, alphabet) : base64Encode(data, size, outSize);
  std::string result(encoded);
  std::free(encoded);
  return result;
}
} // namespace

TEST(String, ConstructionAndSharing) {
  const unsigned short utf16[] = {'a', 0xD83D, 0xDE00, 0xD800, 'b', 0};
  const Char withZero[] = {'a', 0, 'b'};
  const struct { const char *name; String value; std::vector<uint32_t> codes; } cases[] = {
      {"UTF-8", String("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"), {'a', 0xE9, 0x20AC, 0x1F600}},
      // Overlongs and surrogates pass; a decoded 0 (C0 80) ends the text.
      {"lenient UTF-8", String("\xC1\x81\xED\xA0\x80\xC0\x80z"), {'A', 0xD800}},
      {"std::string", String(std::string("ab\0c", 4)), {'a', 'b'}},
      {"UTF-16 pairs from D801 only", String(utf16), {'a', 0x1F600, 0xD800, 'b'}},
      {"codes with a zero", String(withZero, 3), {'a', 0, 'b'}},
      // Kept: bytes become their decimal digits, not a decoding.
      {"bytes as decimal digits", String(std::vector<unsigned char>{65, 66, 7}), {'6', '5', '6', '6', '7'}},
      {"UTF-16BE bytes", String("\x00h\x00i", 4, &gUTF16BE), {'h', 'i'}},
  };
  for (const auto &c : cases)
    EXPECT_EQ(codesOf(c.value), c.codes) << c.name;

  // Every empty result has no buffer at all.
  for (const String &empty : {String(""), String(static_cast<const char *>(nullptr)),
                              String(std::vector<Char>()), String(StringBuilder()), String("\xC0\x80z")}) {
    EXPECT_EQ(empty.getStringBuffer(), nullptr);
    EXPECT_EQ(empty, String::EMPTY);
  }
  EXPECT_EQ(String()[7].code(), 0u);
  EXPECT_THROW(String("\xE2\x82" "a"), IOException); // a continuation byte is checked
  EXPECT_THROW(String("\xE2\x82"), EOSException);    // the text ends inside a sequence

  String a("shared"), b(a), c;
  c = b;
  c = c; // a release before the retain would free the buffer here
  EXPECT_EQ(a.getStringBuffer()->getRefCount(), 3);
  b = String("other");
  EXPECT_EQ(a.getStringBuffer()->getRefCount(), 2);
}

// Kept: the text form compares argument minus receiver, the String form receiver minus argument.
TEST(String, ComparisonSearchAndSeparate) {
  const struct { const char *receiver, *other; int withString, withText; } signs[] = {
      {"abc", "abd", -1, 1}, {"abd", "abc", 1, -1}, {"abc", "abc", 0, 0}, {"abc", "ab", 1, 1},
      {"ab", "abc", -1, -1}, {"", "a", -1, -1},     {"\xC3\xA9", "e", 0xE9 - 'e', 'e' - 0xE9}};
  for (const auto &c : signs) {
    EXPECT_EQ(String(c.receiver).compareTo(String(c.other)), c.withString) << c.receiver << "/" << c.other;
    EXPECT_EQ(String(c.receiver).compareTo(c.other), c.withText) << c.receiver << "/" << c.other;
  }
  EXPECT_TRUE(String("abc") < String("abd") && !(String("abc") < "abd"));
  EXPECT_EQ(String("ABC").compareToIgnoreCase(String("abd")), -1);
  EXPECT_EQ(String("ABC").compareToIgnoreCase("abd"), 1);
  EXPECT_THROW((void)(String("a") == "\xFF"), IOException);

  const String abc("abc"), empty;
  const unsigned long no = String::NoIndex;
  const unsigned long found[][2] = {
      {abc.indexOf(Char('c'), 1), 2},   {abc.indexOf(Char('a'), 1), no},    {abc.indexOf(Char('a'), 10), no},
      {empty.indexOf(Char('a')), no},   {abc.indexOf(String(), 3), 3},      {abc.indexOf(String(), 4), no},
      {abc.indexOf(String("bc")), 1},   {abc.indexOf(String("bc"), 2), no}, {abc.indexOf(String("abcd")), no},
      {empty.indexOf(String()), no},    {String("abab").lastIndexOf(Char('b')), 3}};
  for (size_t i = 0; i < std::size(found); ++i)
    EXPECT_EQ(found[i][0], found[i][1]) << "case " << i;

  EXPECT_EQ(abc.substring(1), "bc");
  EXPECT_TRUE(abc.substring(5).isEmpty() && abc.substring(2, 1).isEmpty());
  EXPECT_TRUE(abc.substring(0x100000001ul).isEmpty());
  EXPECT_EQ(abc.substring(0, 0x100000002ul), "ab"); // the count is taken in 32 bits
  EXPECT_TRUE(abc.contains("") && abc.contains("bc") && abc.contains("abc") && empty.contains(""));
  EXPECT_TRUE(abc.endsWith("") && !abc.endsWith("zabc") && !abc.startsWith("abcd"));

  // Pieces joined, each followed by "|". Kept: the search goes on one code behind a match.
  const struct { const char *text, *separator; unsigned long from; const char *pieces; } cases[] = {
      {"a,,b", ",", 0, "a||b|"}, {"a,", ",", 0, "a|"}, {",a", ",", 0, "|a|"}, {"", ",", 0, ""},
      {"a,b", ",", 2, "b|"},     {"a::b", "::", 0, "a|:b|"}, {"ab", "", 0, "||"}};
  for (const auto &c : cases) {
    std::vector<String> pieces;
    String(c.text).separate(pieces, String(c.separator), c.from);
    std::string got;
    for (const String &piece : pieces)
      got += piece.getStdString() + "|";
    EXPECT_EQ(got, c.pieces) << c.text << " at " << c.separator;
  }
}

TEST(String, ConversionsAndForms) {
  const std::pair<String, const char *> cases[] = {
      {String::fromFloat(2), "2.0"},             {String::fromDouble(1e20), "1e+20.0"},
      {String::fromDouble(-INFINITY), "-inf.0"}, {String::fromFloat(0.1f), "0.1"},
      {String("<a href='x'>&\"").asEscapedXmlString(), "&lt;a href=&apos;x&apos;&gt;&amp;&quot;"},
      {String("Mixed 1\xC3\x89").asLowerCase(), "mixed 1\xC3\x89"},
      {String("aB\xC3\xA9").asUpperCase(), "AB\xC3\xA9"}};
  for (const auto &[got, expected] : cases)
    EXPECT_EQ(got.getStdString(), expected);
  EXPECT_TRUE(String("a").hash() == 5381u * 33 + 'a' && String().hash() == 5381u);
  EXPECT_TRUE(String().isLowerCase() && String("AB1").isUpperCase() && !String("aB").isUpperCase());

  // Kept: codes above 10FFFF have no UTF-8 form. The UTF-16 text stops at a zero unit.
  const unsigned int codes[] = {'a', 0xE9, 0x1F600, 0x110000, 0};
  EXPECT_EQ(String(codes).getStdString(), "a\xC3\xA9\xF0\x9F\x98\x80");
  EXPECT_EQ(String(codes).getUTF16LEString(), (std::u16string{'a', 0xE9, 0xD83D, 0xDE00, 0xDC00, 0xDC00}));
  const Char zero[] = {'a', 0, 'b'};
  EXPECT_EQ(String(zero, 3).getUTF16LEString(), u"a");
}

TEST(String, IntegerParsers) {
  using Parse = long long (*)(const String &);
  const Parse i32 = [](const String &s) -> long long { return s.asInt32(10); };
  const Parse x32 = [](const String &s) -> long long { return s.asInt32(16); };
  const Parse u32 = [](const String &s) -> long long { return s.asUInt32(10); };
  const Parse i64 = [](const String &s) -> long long { return s.asInt64(10); };
  const Parse x64 = [](const String &s) -> long long { return (long long)s.asUInt64(16); };
  const long long bad = LLONG_MAX; // stands for NumberFormatException
  const struct { Parse parse; const char *text; long long expected; } cases[] = {
      {i32, " 42\n", 42}, {i32, "--5", 5}, {i32, "- 5", -5}, {x32, "fF", 255}, {x64, "ffffffffffffffff", -1},
      {i32, "\t5", -385}, {i64, "\t5", -385}, // kept: a tab is a digit
      {i32, "-2147483648", INT32_MIN}, {i32, "4294967296", 0}, {u32, "4294967295", 4294967295LL}, // wraps
      {i64, "-9223372036854775808", INT64_MIN}, {i64, "4294967296", 4294967296LL},
      {i32, "", bad},   {i32, "-", bad},  {i32, "1 2", bad}, {i32, "+1", bad},  {i32, "x1", bad},
      {u32, "-1", bad}, {x64, "- 1", bad}, {x32, "fg", bad}, {i32, "   ", bad}};
  for (const auto &c : cases) {
    try {
      EXPECT_EQ(c.parse(String(c.text)), c.expected) << "'" << c.text << "'";
    } catch (const NumberFormatException &e) {
      EXPECT_EQ(c.expected, bad) << "'" << c.text << "'";
      EXPECT_EQ(e.getText(), c.text);
      EXPECT_EQ(e.getMessage(), (StringBuilder("Invalid number: ") + c.text));
    }
  }
}

TEST(StringBuilder, StorageGrowthAndAppendForms) {
  StringBuilder b;
  EXPECT_EQ(b.getConstBuffer()[0].code(), 0u);
  for (int i = 0; i < 2047; ++i)
    b.append(Char('a' + i % 26));
  EXPECT_FALSE(b.isOnHeap());
  b.append(Char('!'));
  EXPECT_TRUE(b.isOnHeap() && b.getCapacity() == 8192);
  EXPECT_EQ(text(b).substr(2045), "rs!"); // copied intact and terminated
  b.append(Char('z'), 20000); // max(2 * 22048, 4 * 8192)
  EXPECT_EQ(b.getCapacity(), 44096);
  b.clear();
  EXPECT_TRUE(b.isOnHeap() && b.getCapacity() == 44096);

  StringBuilder small("text");
  small.deleteFrom(2);
  small.append(Char('x'), 0).append(Char('x'), -3);
  EXPECT_EQ(text(small), "te");
  const StringBuilder copy(small); // kept: a copy starts empty
  EXPECT_TRUE(copy.isEmpty() && !copy.isOnHeap());

  const unsigned short utf16[] = {'h', 0xD83D, 0xDE00, 0};
  const unsigned int codes[] = {'c', 0, 'd'};
  EXPECT_EQ(StringBuilder().append(codes, 3).size(), 3);
  // Integers as their printf formats print them: "%d" and "%x" for both 32-bit types.
  const std::pair<std::string, std::string> cases[] = {
      {text(StringBuilder().append(INT_MIN)), "-2147483648"},
      {text(StringBuilder() + 3000000000u), "-1294967296"}, // kept: "%d" for unsigned too
      {text(StringBuilder().append(-1, 16)), "ffffffff"},
      {text(StringBuilder() + 0LL + LLONG_MIN), "0-9223372036854775808"},
      {text(StringBuilder().append(LLONG_MIN, 16)), "8000000000000000"},
      {text(StringBuilder() + 18446744073709551615ULL), "18446744073709551615"},
      {text(StringBuilder().append(1234567890123ULL, 2)), "11f71fb04cb"},
      {text(StringBuilder() + 1e308 * 10), "inf.0"},
      {text(StringBuilder().appendHexInt32(255)), "0x000000ff"},
      {text(StringBuilder().appendHexAddress((const void *)171, 1)), "0xab"},
      {text(StringBuilder().appendHexAddress((const void *)0x1234, 0)), "0x"},
      {text(StringBuilder().appendHexAddress((const void *)0x1234, 10)), "0x" + std::string(16, '0') + "1234"},
      {text(StringBuilder() + utf16 + codes), "h\xF0\x9F\x98\x80" "c"},
      {text(StringBuilder() + std::string("s") + String("S") + Char(0xE9)), "sS\xC3\xA9"}};
  for (size_t i = 0; i < std::size(cases); ++i)
    EXPECT_EQ(cases[i].first, cases[i].second) << "case " << i;

  // Invalid bytes leave what came before them appended.
  StringBuilder partial;
  EXPECT_THROW(partial.append("ok\xFFno"), IOException);
  EXPECT_EQ(text(partial), "ok");
}

// Fed whole, then in pieces of 0, g, 2g, ... bytes (mod 200), so every offset within a block is met.
TEST(ValueTools, MD5Base64AndUUID) {
  const std::pair<std::string, const char *> digests[] = {
      {"", "d41d8cd98f00b204e9800998ecf8427e"},
      {std::string(1000000, 'a'), "7707d6ae4e027c70eea2a935c2296f21"},
      {std::string(55, 'x'), "04364420e25c512fd958a70738aa8f72"}, // the padding fits the block
      {std::string(56, 'x'), "668a72d5ba17f08e62dabcafad6db14b"}}; // the padding needs a second
  for (const auto &[in, digest] : digests)
    for (size_t growth : {0, 1, 7}) {
      MD5 md5;
      for (size_t at = 0, piece = 0; at < in.size(); piece += growth) {
        const size_t n = std::min(growth ? piece % 200 : in.size(), in.size() - at);
        md5.appendData(in.data() + at, n);
        at += n;
      }
      unsigned char bytes[16];
      md5.calculate(bytes);
      char hex[33];
      for (int i = 0; i < 16; ++i)
        std::snprintf(hex + 2 * i, 3, "%02x", bytes[i]);
      EXPECT_STREQ(hex, digest) << in.substr(0, 20) << " growth " << growth;
    }

  const std::pair<std::string, const char *> encodings[] = {
      {"", ""},         {"f", "Zg=="},         {"fo", "Zm8="},          {"foo", "Zm9v"},
      {"foob", "Zm9vYg=="}, {"fooba", "Zm9vYmE="}, {"foobar", "Zm9vYmFy"},
      {std::string("\xFB\xFF\x00", 3), "+/8A"}};
  for (const auto &[in, out] : encodings) {
    int size = -1;
    EXPECT_EQ(base64(in.data(), static_cast<int>(in.size()), &size), out);
    EXPECT_EQ(size, static_cast<int>(std::string(out).size()));
  }
  int size = 0;
  // Kept: the fill character stays "=" whatever the alphabet. No line breaks, however long.
  EXPECT_EQ(base64("\xFB\xFF", 2, &size, "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_"),
            "-_8=");
  EXPECT_EQ(base64(std::string(3000, 'q').c_str(), 3000, &size).find('\n'), std::string::npos);
  EXPECT_EQ(size, 4000);
  EXPECT_EQ(base64("x", -5, &size), "");

  const UUID lower(String("00112233-4455-6677-8899-aabbccddeeff"));
  EXPECT_EQ(UUID(String("00112233-4455-6677-8899-AABBCCDDEEFF")), lower);
  EXPECT_EQ(UUID(0x0011223344556677u, 0x8899aabbccddeeffu), lower);
  EXPECT_EQ(UUID(lower.getMostSignificantBits(), lower.getLeastSignificantBits()), lower);
  EXPECT_EQ(String(StringBuilder("id ") + lower), "id 00112233-4455-6677-8899-aabbccddeeff");
  for (const char *bad : {"00112233-4455-6677-8899-aabbccddeef", "00112233-4455-6677-8899-aabbccddeeff0", "",
                          "00112233_4455-6677-8899-aabbccddeeff", "00112233-4455-6677-8899-aabbccddeefg",
                          "0011223-34455-6677-8899-aabbccddeeff"}) {
    try {
      (void)UUID(String(bad));
      ADD_FAILURE() << bad;
    } catch (const InvalidUUIDException &e) {
      EXPECT_EQ(e.getUUID(), bad);
      EXPECT_EQ(e.getMessage(), String((std::string("Invalid UUID: ") + bad).c_str()));
    }
  }
  const unsigned char lastOnly[16] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
  EXPECT_TRUE(UUID(lastOnly).isInitialized() && !UUID().isInitialized());

  // Kept: the version and variant marks land on bytes 7 and 9, one later than RFC 4122's.
  EXPECT_NE(UUID::generate(), UUID::generate());
  for (int i = 0; i < 50; ++i) {
    const std::string text = UUID::generate().asString().getStdString();
    EXPECT_EQ(text[16], '4');
    EXPECT_NE(std::string("89ab").find(text[21]), std::string::npos);
  }
}
