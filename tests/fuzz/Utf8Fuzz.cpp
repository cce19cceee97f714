//===- tests/fuzz/Utf8Fuzz.cpp - UTF-8 decoding ---------------------------===//
//
// Decoding survives any bytes; what decodes encodes and decodes to the same codes (codes
// above 10FFFF decode but are not written); the inline decoder the builder uses agrees
// with the stream decoder code for code; a String of the bytes holds the codes up to
// the first zero.
#include "FuzzSupport.h"

#include "base/core/String.h"

using namespace base::core;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::checkRoundTrip(gUTF8, data, size, 0x10FFFF);

  const std::vector<uint32_t> codes = fuzz::decodeAll(gUTF8, data, size);
  std::vector<uint32_t> inline_;
  const unsigned char *next = data;
  try {
    while (next < data + size)
      inline_.push_back(UTF8Encoding::decode(next, data + size).code());
  } catch (const IOException &) {
  }
  FUZZ_CHECK(inline_ == codes);

  try {
    const String text(data, static_cast<int>(size), &gUTF8);
    for (unsigned long i = 0; i < text.getLength(); ++i)
      FUZZ_CHECK(text[i].code() == codes[i] && codes[i] != 0);
  } catch (const IOException &) {
  }
  return 0;
}
