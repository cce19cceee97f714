//===- base/core/MD5.h - The MD5 digest of RFC 1321 ------------------------===//
//
// Names, not security: MD5 turns a resource name of any length into a short fixed one.
//
//   MD5 md5;
//   md5.appendData(text, length);   // as often as needed
//   unsigned char digest[16];
//   md5.calculate(digest);          // the object is finished after this
//
//===----------------------------------------------------------------------===//
#ifndef BASE_CORE_MD5_H
#define BASE_CORE_MD5_H

#include <cstdint>

namespace base::core {

class MD5 {
public:
  MD5() noexcept;
  void appendData(const void *data, unsigned long size) noexcept;
  /// Pads as RFC 1321 prescribes and writes the 16 bytes of the digest.
  void calculate(unsigned char *digest) noexcept;

private:
  const unsigned char *transform(const unsigned char *data, unsigned long size) noexcept;

  uint32_t _lo = 0; // the byte count so far: its low 29 bits
  uint32_t _hi = 0; // and the bits above
  uint32_t _a, _b, _c, _d;
  unsigned char _buffer[64];
};

} // namespace base::core

#endif // BASE_CORE_MD5_H
