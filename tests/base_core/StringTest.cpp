//===- tests/base_core/StringTest.cpp - String, its builder and its parsers ===//
#include "base/core/Exception.h"
#include "base/core/String.h"
#include "base/core/StringBuilder.h"
#include "base/core/TextEncoding.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdio>
#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <thread>
#include <vector>

using namespace base::core;

namespace {
std::vector<uint32_t> codesOf(const String &s) {
  std::vector<uint32_t> codes;
  for (unsigned long i = 0; i < s.getLength(); ++i)
    codes.push_back(s[i].code());
  return codes;
}
std::string text(const StringBuilder &b) { return String(b).getStdString(); }
} // namespace

TEST(String, Construction) {
  const unsigned short utf16[] = {'a', 0xD83D, 0xDE00, 0xD800, 'b', 0};
  const unsigned int utf32[] = {'x', 0x10FFFF, 0};
  const Char withZero[] = {'a', 0, 'b'};
  const struct {
    const char *name;
    String value;
    std::vector<uint32_t> codes;
  } cases[] = {
      {"UTF-8", String("a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"), {'a', 0xE9, 0x20AC, 0x1F600}},
      // Overlongs and surrogates pass; a decoded 0 (C0 80) ends the text.
      {"lenient UTF-8", String("\xC1\x81\xED\xA0\x80\xC0\x80z"), {'A', 0xD800}},
      {"std::string", String(std::string("ab\0c", 4)), {'a', 'b'}},
      {"UTF-16 pairs from D801 only", String(utf16), {'a', 0x1F600, 0xD800, 'b'}},
      {"UTF-32", String(utf32), {'x', 0x10FFFF}},
      {"codes with a zero", String(withZero, 3), {'a', 0, 'b'}},
      {"bytes as decimal digits", String(std::vector<unsigned char>{65, 66, 7}), {'6', '5', '6', '6', '7'}},
      {"UTF-16BE bytes", String("\x00h\x00i", 4, &gUTF16BE), {'h', 'i'}},
      {"Latin-1 bytes", String("\xE9", &gLatin1), {0xE9}},
  };
  for (const auto &c : cases)
    EXPECT_EQ(codesOf(c.value), c.codes) << c.name;

  // Every empty result has no buffer at all.
  for (const String &empty : {String(""), String(static_cast<const char *>(nullptr)),
                              String(std::string()), String(std::vector<Char>()),
                              String(StringBuilder()), String("\xC0\x80z")}) {
    EXPECT_EQ(empty.getStringBuffer(), nullptr);
    EXPECT_EQ(empty, String::EMPTY);
  }
  EXPECT_EQ(String("abc")[3].code(), 0u);
  EXPECT_EQ(String()[7].code(), 0u);

  EXPECT_THROW(String("a\x80"), IOException);
  EXPECT_THROW(String("\xF8\x80\x80\x80\x80"), IOException);
  EXPECT_THROW(String("\xE2\x82" "a"), IOException); // a continuation byte is checked
  EXPECT_THROW(String("\xE2\x82"), EOSException);    // the text ends inside a sequence
}

TEST(String, CopiesShareOneBuffer) {
  String a("shared");
  String b(a), c;
  c = b;
  EXPECT_EQ(a.getStringBuffer(), c.getStringBuffer());
  EXPECT_EQ(a.getStringBuffer()->getRefCount(), 3);
  c = c;
  b = String("other");
  EXPECT_EQ(a.getStringBuffer()->getRefCount(), 2);
  String moved(std::move(c));
  EXPECT_TRUE(c.isEmpty());
  EXPECT_EQ(a.getStringBuffer()->getRefCount(), 2);
  // Copies made and dropped in two threads at once (ThreadSanitizer watches the count).
  std::thread other([&a] {
    for (int i = 0; i < 20000; ++i)
      String copy(a);
  });
  for (int i = 0; i < 20000; ++i)
    String copy(moved);
  other.join();
  EXPECT_EQ(a.getStringBuffer()->getRefCount(), 2);
}

// The text form compares argument minus receiver, the String form receiver minus argument.
TEST(String, ComparisonSigns) {
  const struct {
    const char *receiver, *other;
    int withString, withText;
  } cases[] = {
      {"abc", "abd", -1, 1},   {"abd", "abc", 1, -1}, {"abc", "abc", 0, 0},
      {"abc", "ab", 1, 1},     {"ab", "abc", -1, -1}, {"", "a", -1, -1},
      {"a", "", 1, 1},         {"", "", 0, 0},        {"\xC3\xA9", "e", 0xE9 - 'e', 'e' - 0xE9},
  };
  for (const auto &c : cases) {
    const String receiver(c.receiver);
    EXPECT_EQ(receiver.compareTo(String(c.other)), c.withString) << c.receiver << " " << c.other;
    EXPECT_EQ(receiver.compareTo(c.other), c.withText) << c.receiver << " " << c.other;
  }
  EXPECT_FALSE(String("abc") < "abd");
  EXPECT_TRUE(String("abc") < String("abd"));
  EXPECT_EQ(String("ABC").compareToIgnoreCase(String("abd")), -1);
  EXPECT_EQ(String("ABC").compareToIgnoreCase("abd"), 1);
  EXPECT_EQ(String("ABC").compareToIgnoreCase("abc"), 0);
  EXPECT_THROW((void)(String("a") == "\xFF"), IOException);
}

TEST(String, SearchAndSubstring) {
  const String abc("abc"), empty;
  const unsigned long no = String::NoIndex;
  const struct {
    unsigned long got, expected;
  } cases[] = {
      {abc.indexOf(Char('c'), 1), 2},  {abc.indexOf(Char('a'), 1), no},
      {abc.indexOf(Char('a'), 10), no}, {empty.indexOf(Char('a')), no},
      {abc.indexOf(String(), 2), 2},   {abc.indexOf(String(), 3), 3},
      {abc.indexOf(String(), 4), no},  {abc.indexOf(String("bc")), 1},
      {abc.indexOf(String("bc"), 2), no}, {abc.indexOf(String("abcd")), no},
      {empty.indexOf(String()), no},   {String("abab").lastIndexOf(Char('b')), 3},
      {abc.lastIndexOf(Char('z')), no},
  };
  for (size_t i = 0; i < std::size(cases); ++i)
    EXPECT_EQ(cases[i].got, cases[i].expected) << "case " << i;

  EXPECT_EQ(abc.substring(1), "bc");
  EXPECT_EQ(abc.substring(1, 2), "b");
  EXPECT_TRUE(abc.substring(5).isEmpty());
  EXPECT_TRUE(abc.substring(2, 1).isEmpty());
  EXPECT_TRUE(abc.substring(0x100000001ul).isEmpty());
  EXPECT_EQ(abc.substring(0, 0x100000002ul), "ab"); // the count is taken in 32 bits
  EXPECT_TRUE(empty.substring(0).isEmpty());

  for (const char *part : {"", "b", "bc", "abc"})
    EXPECT_TRUE(abc.contains(part)) << part;
  EXPECT_FALSE(abc.contains("abcd"));
  EXPECT_FALSE(empty.contains("a"));
  EXPECT_TRUE(empty.contains(""));
  EXPECT_TRUE(abc.endsWith("bc") && abc.endsWith("") && !abc.endsWith("zabc"));
  EXPECT_FALSE(abc.startsWith("abcd"));
}

TEST(String, Separate) {
  const struct {
    const char *text, *separator;
    unsigned long from;
    std::vector<std::string> pieces;
  } cases[] = {
      {"a,,b", ",", 0, {"a", "", "b"}},
      {"a,", ",", 0, {"a"}},
      {",a", ",", 0, {"", "a"}},
      {"", ",", 0, {}},
      {"a,b", ",", 2, {"b"}},
      // The search goes on one code behind a match, also for a longer separator.
      {"a::b", "::", 0, {"a", ":b"}},
      {"ab", "", 0, {"", ""}},
  };
  for (const auto &c : cases) {
    std::vector<String> pieces;
    String(c.text).separate(pieces, String(c.separator), c.from);
    std::vector<std::string> got;
    for (const String &piece : pieces)
      got.push_back(piece.getStdString());
    EXPECT_EQ(got, c.pieces) << c.text << " at " << c.separator;
    if (std::string(c.separator).size() == 1) {
      std::vector<String> byChar;
      String(c.text).separate(byChar, Char(c.separator[0]), c.from);
      EXPECT_EQ(byChar, pieces) << c.text;
    }
  }
}

TEST(String, ConversionsAndForms) {
  const struct {
    String got;
    const char *expected;
  } cases[] = {
      {String::fromFloat(2), "2.0"},
      {String::fromDouble(0.5), "0.5"},
      {String::fromDouble(1e20), "1e+20.0"},
      {String::fromDouble(-INFINITY), "-inf.0"},
      {String::fromFloat(0.1f), "0.1"},
      {String::fromInt(-7), "-7"},
      {String::fromBool(false), "false"},
      {String("<a href='x'>&\"").asEscapedXmlString(), "&lt;a href=&apos;x&apos;&gt;&amp;&quot;"},
      {String("Mixed 1\xC3\x89").asLowerCase(), "mixed 1\xC3\x89"},
      {String("Mixed 1\xC3\xA9").asUpperCase(), "MIXED 1\xC3\xA9"},
  };
  for (const auto &c : cases)
    EXPECT_EQ(c.got.getStdString(), c.expected);
  EXPECT_TRUE(String().asEscapedXmlString().isEmpty());

  EXPECT_EQ(String("a").hash(), 5381u * 33 + 'a');
  EXPECT_EQ(String().hash(), 5381u);
  EXPECT_EQ(std::hash<String>()(String("a")), String("a").hash());
  EXPECT_TRUE("abc" == String("abc") && "abd" != String("abc"));
  EXPECT_EQ(String(" 2.5e1x").asDouble(), 25.0);
  EXPECT_EQ(String("x").asFloat(), 0.0f);
  EXPECT_TRUE(String("AB1").isUpperCase() && !String("aB").isUpperCase());
  EXPECT_TRUE(String("ab1").isLowerCase() && String().isLowerCase() && !String("aB").isLowerCase());
  EXPECT_FALSE(String("\xC3\xA9").isASCII());

  // Out through UTF-8 and UTF-16: codes above 10FFFF have no UTF-8 form, and the UTF-16
  // text stops at a zero unit.
  const unsigned int codes[] = {'a', 0xE9, 0x1F600, 0x110000, 0};
  EXPECT_EQ(String(codes).getStdString(), "a\xC3\xA9\xF0\x9F\x98\x80");
  EXPECT_EQ(String(codes).getUTF16LEString(), (std::u16string{'a', 0xE9, 0xD83D, 0xDE00, 0xDC00, 0xDC00}));
  const Char zero[] = {'a', 0, 'b'};
  EXPECT_EQ(String(zero, 3).getUTF16LEString(), u"a");
  const std::u16string back = String("\xF0\x9F\x98\x80").getUTF16LEString();
  EXPECT_EQ(codesOf(String(reinterpret_cast<const unsigned short *>(back.c_str()))),
            std::vector<uint32_t>{0x1F600});
}

TEST(String, IntegerParsers) {
  using Parse = std::function<long long(const String &)>;
  const Parse int32 = [](const String &s) { return s.asInt32(10); };
  const Parse hex32 = [](const String &s) { return s.asInt32(16); };
  const Parse uint32 = [](const String &s) { return (long long)s.asUInt32(10); };
  const Parse int64 = [](const String &s) { return s.asInt64(10); };
  const Parse uint64 = [](const String &s) { return (long long)s.asUInt64(16); };
  const struct {
    const char *name;
    const Parse &parse;
    const char *text;
    long long expected;
  } good[] = {
      {"int32", int32, " 42\n", 42},
      {"int32", int32, "--5", 5},
      {"int32", int32, "- 5", -5},
      {"int32", int32, "-2147483648", INT32_MIN},
      {"int32 wraps", int32, "4294967296", 0},
      {"int32 tab is a digit", int32, "\t5", -385},
      {"int64 tab is a digit", int64, "\t5", -385},
      {"hex lower", hex32, "ff", 255},
      {"hex upper", hex32, "FF", 255},
      {"uint32", uint32, "4294967295", 4294967295LL},
      {"int64", int64, "-9223372036854775808", INT64_MIN},
      {"int64 no wrap at 32", int64, "4294967296", 4294967296LL},
      {"uint64", uint64, "ffffffffffffffff", -1},
  };
  for (const auto &c : good)
    EXPECT_EQ(c.parse(String(c.text)), c.expected) << c.name << " '" << c.text << "'";

  const struct {
    const Parse &parse;
    const char *text;
  } bad[] = {
      {int32, ""},   {int32, "-"},     {int32, "1 2"},  {int32, "+1"}, {int32, "1-"},
      {int32, "x1"}, {uint32, "-1"},   {uint64, "- 1"}, {hex32, "fg"}, {int32, "   "},
  };
  for (const auto &c : bad) {
    try {
      (void)c.parse(String(c.text));
      ADD_FAILURE() << "'" << c.text << "' parsed";
    } catch (const NumberFormatException &e) {
      EXPECT_EQ(e.getText(), c.text);
      EXPECT_EQ(e.getMessage(), (StringBuilder("Invalid number: ") + c.text));
    }
  }
}

TEST(StringBuilder, StorageAndGrowth) {
  StringBuilder b;
  EXPECT_EQ(b.size(), 0);
  EXPECT_EQ(b.getConstBuffer()[0].code(), 0u);
  for (int i = 0; i < 2047; ++i)
    b.append(Char('a' + i % 26));
  EXPECT_FALSE(b.isOnHeap());
  b.append(Char('!'));
  EXPECT_TRUE(b.isOnHeap());
  EXPECT_EQ(b.getCapacity(), 8192);
  EXPECT_EQ(b.getConstBuffer()[2047].code(), uint32_t('!'));
  EXPECT_EQ(b.getConstBuffer()[2048].code(), 0u);
  EXPECT_EQ(b.getConstBuffer()[2046].code(), uint32_t('a' + 2046 % 26));
  // 20000 at once: max(2 * 22048, 4 * 8192).
  b.append(Char('z'), 20000);
  EXPECT_EQ(b.getCapacity(), 44096);
  b.clear();
  EXPECT_TRUE(b.isOnHeap());
  EXPECT_EQ(b.getCapacity(), 44096);

  StringBuilder small("text");
  small.reserve(2048);
  small.reserve(3000);
  EXPECT_EQ(small.getCapacity(), 8192);
  EXPECT_EQ(text(small), "text");
  small.deleteFrom(2);
  EXPECT_EQ(text(small), "te");
  small.append(Char('x'), 0).append(Char('x'), -3);
  EXPECT_EQ(small.size(), 2);

  const StringBuilder copy(small);
  EXPECT_TRUE(copy.isEmpty());
  EXPECT_FALSE(copy.isOnHeap());
}

TEST(StringBuilder, AppendForms) {
  const unsigned short utf16[] = {'h', 0xD83D, 0xDE00, 0};
  const unsigned int codes[] = {'c', 0, 'd'};
  const struct {
    std::string got, expected;
  } cases[] = {
      {text(StringBuilder().append(1.0)), "1.0"},
      {text(StringBuilder().append(0.1f)), "0.1"},
      {text(StringBuilder() + 1e308 * 10), "inf.0"},
      {text(StringBuilder() + 3000000000u), "-1294967296"},
      {text(StringBuilder().append(3000000000u, 16)), "b2d05e00"},
      {text(StringBuilder().append(-1, 16)), "ffffffff"},
      {text(StringBuilder() + -5LL + 18446744073709551615ULL), "-518446744073709551615"},
      {text(StringBuilder().append(255LL, 2)), "ff"},
      {text(StringBuilder() + true + false), "truefalse"},
      {text(StringBuilder().appendHexInt32(255)), "0x000000ff"},
      {text(StringBuilder().appendHexInt32(-1)), "0xffffffff"},
      {text(StringBuilder().appendHexAddress((const void *)171, 1)), "0xab"},
      {text(StringBuilder().appendHexAddress((const void *)0x1234, 0)), "0x"},
      {text(StringBuilder().appendHexAddress((const void *)0x1234)), "0x0000000000001234"},
      {text(StringBuilder().appendHexAddress((const void *)0x1234, 10)), "0x" + std::string(16, '0') + "1234"},
      {text(StringBuilder() + utf16), "h\xF0\x9F\x98\x80"},
      {text(StringBuilder().append(codes, 3)).size() == 3 ? "3" : "?", "3"},
      {text(StringBuilder() + codes), "c"},
      {text(StringBuilder().appendLine(String("l")).appendLine()), "l\n\n"},
      {text(StringBuilder() + std::string("s") + String("S") + Char(0xE9)), "sS\xC3\xA9"},
      {text(StringBuilder("MiXed").append("!") ), "MiXed!"},
  };
  for (size_t i = 0; i < std::size(cases); ++i)
    EXPECT_EQ(cases[i].got, cases[i].expected) << "case " << i;

  // The integer forms print exactly what their printf formats print.
  char expected[64];
  for (long long v : {0LL, 1LL, -1LL, 9LL, 10LL, 255LL, 2147483647LL, -2147483648LL, 4294967295LL,
                      1234567890123LL, LLONG_MAX, LLONG_MIN}) {
    const auto i = static_cast<int>(v);
    const auto u = static_cast<unsigned int>(v);
    const auto ull = static_cast<unsigned long long>(v);
    const std::pair<std::string, std::string> forms[] = {
        {text(StringBuilder().append(i)), (std::snprintf(expected, 64, "%d", i), expected)},
        {text(StringBuilder().append(i, 16)), (std::snprintf(expected, 64, "%x", u), expected)},
        {text(StringBuilder().append(u)), (std::snprintf(expected, 64, "%d", i), expected)},
        {text(StringBuilder().append(u, 8)), (std::snprintf(expected, 64, "%x", u), expected)},
        {text(StringBuilder().append(v)), (std::snprintf(expected, 64, "%lld", v), expected)},
        {text(StringBuilder().append(v, 16)), (std::snprintf(expected, 64, "%llx", v), expected)},
        {text(StringBuilder().append(ull)), (std::snprintf(expected, 64, "%llu", ull), expected)},
        {text(StringBuilder().append(ull, 2)), (std::snprintf(expected, 64, "%llx", ull), expected)},
    };
    for (const auto &[got, want] : forms)
      EXPECT_EQ(got, want) << v;
  }

  StringBuilder folded("MiXed 9");
  folded.toUpperCase();
  EXPECT_EQ(text(folded), "MIXED 9");
  folded.toLowerCase();
  EXPECT_EQ(text(folded), "mixed 9");

  // Invalid bytes leave what came before them appended.
  StringBuilder partial;
  EXPECT_THROW(partial.append("ok\xFFno"), IOException);
  EXPECT_EQ(text(partial), "ok");
}
