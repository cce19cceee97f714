//===- tests/base_core/ValueToolsTest.cpp - UUID, MD5 and base64 -----------===//
#include "base/core/Base64.h"
#include "base/core/Exception.h"
#include "base/core/MD5.h"
#include "base/core/StringBuilder.h"
#include "base/core/UUID.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

using namespace base::core;

namespace {

std::string hex(const unsigned char *bytes, int count) {
  static const char digits[] = "0123456789abcdef";
  std::string text;
  for (int i = 0; i < count; ++i)
    text += {digits[bytes[i] >> 4], digits[bytes[i] & 15]};
  return text;
}

std::string md5Of(const std::string &data, size_t pieceGrowth = 0) {
  MD5 md5;
  if (pieceGrowth == 0) {
    md5.appendData(data.data(), data.size());
  } else {
    // Uneven pieces: 0, 1, 2, ... bytes, growing by pieceGrowth, so every offset within
    // a block is met.
    size_t at = 0;
    for (size_t piece = 0; at < data.size(); piece += pieceGrowth) {
      const size_t n = std::min(piece % 200, data.size() - at);
      md5.appendData(data.data() + at, n);
      at += n;
    }
  }
  unsigned char digest[16];
  md5.calculate(digest);
  return hex(digest, 16);
}

std::string base64(const std::string &data, int *outSize) {
  char *text = base64Encode(data.data(), static_cast<int>(data.size()), outSize);
  std::string result(text);
  std::free(text);
  return result;
}

} // namespace

TEST(MD5, RFC1321TestSuiteAndUnevenPieces) {
  const struct {
    std::string in;
    const char *digest;
  } cases[] = {
      {"", "d41d8cd98f00b204e9800998ecf8427e"},
      {"a", "0cc175b9c0f1b6a831c399e269772661"},
      {"abc", "900150983cd24fb0d6963f7d28e17f72"},
      {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
      {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789",
       "d174ab98d277d9f5a5611c2c9f419d9f"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       "57edf4a22be3c955ac49da2e2107b67a"},
      {std::string(1000000, 'a'), "7707d6ae4e027c70eea2a935c2296f21"},
      {std::string(55, 'x'), "04364420e25c512fd958a70738aa8f72"}, // pad fits the block
      {std::string(56, 'x'), "668a72d5ba17f08e62dabcafad6db14b"}, // pad needs a second
  };
  for (const auto &c : cases) {
    SCOPED_TRACE(c.in.substr(0, 20));
    EXPECT_EQ(md5Of(c.in), c.digest);
    EXPECT_EQ(md5Of(c.in, 1), c.digest);
    EXPECT_EQ(md5Of(c.in, 7), c.digest);
  }
}

TEST(Base64, RFC4648VectorsAndAlphabets) {
  const struct {
    std::string in;
    const char *out;
  } cases[] = {{"", ""},         {"f", "Zg=="},         {"fo", "Zm8="},     {"foo", "Zm9v"},
               {"foob", "Zm9vYg=="}, {"fooba", "Zm9vYmE="}, {"foobar", "Zm9vYmFy"},
               {"a", "YQ=="},    {"ab", "YWI="},        {"abc", "YWJj"},
               {std::string("\xFB\xFF\x00", 3), "+/8A"}};
  for (const auto &c : cases) {
    int size = -1;
    EXPECT_EQ(base64(c.in, &size), c.out);
    EXPECT_EQ(size, static_cast<int>(std::string(c.out).size()));
  }

  // The fill character stays "=" whatever the alphabet.
  int size = 0;
  char *url = base64Encode("\xFB\xFF", 2, &size,
                           "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_");
  EXPECT_STREQ(url, "-_8=");
  std::free(url);
  // No line breaks, however long.
  EXPECT_EQ(base64(std::string(3000, 'q'), &size).find('\n'), std::string::npos);
  EXPECT_EQ(size, 4000);
  char *none = base64Encode("x", -5, &size);
  EXPECT_STREQ(none, "");
  std::free(none);
}

TEST(UUID, TextForms) {
  const UUID lower(String("00112233-4455-6677-8899-aabbccddeeff"));
  const UUID upper(String("00112233-4455-6677-8899-AABBCCDDEEFF"));
  EXPECT_EQ(lower, upper);
  EXPECT_EQ(upper.asString(), "00112233-4455-6677-8899-aabbccddeeff");
  EXPECT_EQ(lower.getMostSignificantBits(), 0x0011223344556677u);
  EXPECT_EQ(lower.getLeastSignificantBits(), 0x8899aabbccddeeffu);
  EXPECT_EQ(UUID(0x0011223344556677u, 0x8899aabbccddeeffu), lower);
  EXPECT_EQ(UUID(1, 2).getLeastSignificantBits(), 2u);
  EXPECT_EQ(UUID(1, 2).getMostSignificantBits(), 1u);
  EXPECT_EQ(UUID(lower.getBytes()), lower);
  StringBuilder builder("id ");
  builder + lower;
  EXPECT_EQ(String(builder), "id 00112233-4455-6677-8899-aabbccddeeff");

  for (const char *bad : {"00112233-4455-6677-8899-aabbccddeef",   // 35
                          "00112233-4455-6677-8899-aabbccddeeff0", // 37
                          "", "00112233_4455-6677-8899-aabbccddeeff",
                          "00112233-4455-6677-8899-aabbccddeefg",
                          "0011223-34455-6677-8899-aabbccddeeff"}) {
    SCOPED_TRACE(bad);
    try {
      (void)UUID(String(bad));
      ADD_FAILURE();
    } catch (const InvalidUUIDException &e) {
      EXPECT_EQ(e.getUUID(), bad);
      EXPECT_EQ(e.getMessage(), String((std::string("Invalid UUID: ") + bad).c_str()));
    }
  }

  unsigned char lastOnly[16] = {};
  EXPECT_FALSE(UUID().isInitialized());
  lastOnly[15] = 1;
  EXPECT_TRUE(UUID(lastOnly).isInitialized());
  EXPECT_NE(UUID(lastOnly), UUID());
}

TEST(UUID, GeneratorLayout) {
  // Each pair of bytes is two rand() bytes, little-endian, XORed with the time; the
  // version and variant marks land on bytes 7 and 9, one later than RFC 4122's.
  for (int attempt = 0; attempt < 5; ++attempt) {
    std::srand(77);
    const time_t before = std::time(nullptr);
    const UUID uuid = UUID::generate();
    if (std::time(nullptr) != before)
      continue; // a second turned over between the two readings
    std::srand(77);
    unsigned char expected[16];
    for (int i = 0; i < 16; i += 2) {
      const unsigned first = unsigned(std::rand()) & 0xFF;
      const unsigned word = (first | (unsigned(std::rand()) & 0xFF) << 8) ^
                            (unsigned(before) & 0xFFFF);
      expected[i] = static_cast<unsigned char>(word);
      expected[i + 1] = static_cast<unsigned char>(word >> 8);
    }
    expected[7] = static_cast<unsigned char>((expected[7] & 0x0F) | 0x40);
    expected[9] = static_cast<unsigned char>((expected[9] & 0x3F) | 0x80);
    EXPECT_EQ(uuid, UUID(expected));
    break;
  }
  for (int i = 0; i < 50; ++i) {
    const std::string text = UUID::generate().asString().getStdString();
    EXPECT_EQ(text[16], '4');
    EXPECT_NE(std::string("89ab").find(text[21]), std::string::npos);
  }
}
