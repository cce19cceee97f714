//===- tests/fuzz/Utf32Fuzz.cpp - UTF-32 decoding, both byte orders -------===//
//
// Any four bytes are a code, and every code goes back to its four bytes.
#include "FuzzSupport.h"

using namespace base::core;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  for (const TextEncoding *encoding : {TextEncoding::getUTF32LE(), TextEncoding::getUTF32BE()}) {
    fuzz::checkRoundTrip(*encoding, data, size, 0xFFFFFFFF);
    const std::vector<uint32_t> codes = fuzz::decodeAll(*encoding, data, size);
    FUZZ_CHECK(codes.size() == size / 4);
    FUZZ_CHECK(fuzz::encodeAll(*encoding, codes) ==
               std::string(reinterpret_cast<const char *>(data), size / 4 * 4));
  }
  return 0;
}
