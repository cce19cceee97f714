//===- tests/fuzz/Utf16Fuzz.cpp - UTF-16 decoding, both byte orders -------===//
//
// Every unit sequence decodes, lone surrogates and unchecked second units included, and
// what decodes encodes and decodes to the same codes.
#include "FuzzSupport.h"

using namespace base::core;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  fuzz::checkRoundTrip(gUTF16LE, data, size, 0xFFFFFFFF);
  fuzz::checkRoundTrip(gUTF16BE, data, size, 0xFFFFFFFF);
  // The orders mirror each other: swapping the bytes of each unit swaps the encoding.
  std::vector<uint8_t> swapped(data, data + size);
  for (size_t i = 0; i + 1 < size; i += 2)
    std::swap(swapped[i], swapped[i + 1]);
  FUZZ_CHECK(fuzz::decodeAll(gUTF16LE, data, size) ==
             fuzz::decodeAll(gUTF16BE, swapped.data(), size));
  return 0;
}
