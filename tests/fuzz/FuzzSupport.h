//===- tests/fuzz/FuzzSupport.h - What the fuzz targets share -------------===//
#ifndef TESTS_FUZZ_FUZZSUPPORT_H
#define TESTS_FUZZ_FUZZSUPPORT_H

#include "base/core/Exception.h"
#include "base/core/InputStream.h"
#include "base/core/MemoryStreams.h"
#include "base/core/TextEncoding.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace fuzz {

/// A broken property: libFuzzer keeps the input that caused it.
#define FUZZ_CHECK(condition)                                                             \
  do {                                                                                   \
    if (!(condition)) {                                                                  \
      std::fprintf(stderr, "property broken: %s (%s:%d)\n", #condition, __FILE__, __LINE__); \
      std::abort();                                                                      \
    }                                                                                    \
  } while (0)

/// Every code `encoding` reads from `bytes`, to the end or to the first failure; zero
/// codes included, which the String forms would stop at.
inline std::vector<uint32_t> decodeAll(const base::core::TextEncoding &encoding,
                                       const unsigned char *bytes, size_t size) {
  base::core::MemoryInputStream in(bytes, size, &encoding);
  in.allocatedOnStack();
  std::vector<uint32_t> codes;
  try {
    while (!in.isEndOfStream())
      codes.push_back(in.readChar().code());
  } catch (const base::core::IOException &) {
  }
  return codes;
}

inline std::string encodeAll(const base::core::TextEncoding &encoding,
                             const std::vector<uint32_t> &codes) {
  std::string bytes;
  base::core::StdStringOutputStream out(&bytes);
  out.allocatedOnStack();
  for (uint32_t code : codes)
    encoding.writeChar(code, &out);
  return bytes;
}

/// Decoding, encoding and decoding again gives the codes of the first decoding that the
/// encoding can write.
inline void checkRoundTrip(const base::core::TextEncoding &encoding, const unsigned char *bytes,
                           size_t size, uint32_t largestWritable) {
  std::vector<uint32_t> codes = decodeAll(encoding, bytes, size);
  codes.erase(std::remove_if(codes.begin(), codes.end(),
                             [&](uint32_t c) { return c > largestWritable; }),
              codes.end());
  const std::string again = encodeAll(encoding, codes);
  FUZZ_CHECK(decodeAll(encoding, reinterpret_cast<const unsigned char *>(again.data()),
                       again.size()) == codes);
}

} // namespace fuzz

#endif // TESTS_FUZZ_FUZZSUPPORT_H
