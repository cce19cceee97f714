//===- base/core/MD5.cpp - The MD5 digest of RFC 1321 ----------------------===//
#include "base/core/MD5.h"

#include <cstring>

namespace base::core {

namespace {

// The four auxiliary functions of RFC 1321, F and G in forms with one operation less.
inline uint32_t f(uint32_t x, uint32_t y, uint32_t z) { return z ^ (x & (y ^ z)); }
inline uint32_t g(uint32_t x, uint32_t y, uint32_t z) { return y ^ (z & (x ^ y)); }
inline uint32_t h(uint32_t x, uint32_t y, uint32_t z) { return x ^ y ^ z; }
inline uint32_t i(uint32_t x, uint32_t y, uint32_t z) { return y ^ (x | ~z); }

inline uint32_t rotateLeft(uint32_t v, int s) { return v << s | v >> (32 - s); }

inline uint32_t loadLittleEndian(const unsigned char *p) {
  return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24;
}

inline void storeLittleEndian(unsigned char *p, uint32_t v) {
  p[0] = static_cast<unsigned char>(v);
  p[1] = static_cast<unsigned char>(v >> 8);
  p[2] = static_cast<unsigned char>(v >> 16);
  p[3] = static_cast<unsigned char>(v >> 24);
}

} // namespace

#define BASE_CORE_MD5_STEP(fn, a, b, c, d, x, t, s)                                       \
  a += fn(b, c, d) + (x) + (t);                                                          \
  a = rotateLeft(a, s) + b

MD5::MD5() noexcept : _a(0x67452301), _b(0xefcdab89), _c(0x98badcfe), _d(0x10325476) {}

// Processes whole 64-byte blocks; returns the end of the last one.
const unsigned char *MD5::transform(const unsigned char *data, unsigned long size) noexcept {
  uint32_t a = _a, b = _b, c = _c, d = _d;
  for (; size >= 64; size -= 64, data += 64) {
    uint32_t x[16];
    for (int k = 0; k < 16; ++k)
      x[k] = loadLittleEndian(data + 4 * k);
    const uint32_t savedA = a, savedB = b, savedC = c, savedD = d;

    BASE_CORE_MD5_STEP(f, a, b, c, d, x[0], 0xd76aa478, 7);
    BASE_CORE_MD5_STEP(f, d, a, b, c, x[1], 0xe8c7b756, 12);
    BASE_CORE_MD5_STEP(f, c, d, a, b, x[2], 0x242070db, 17);
    BASE_CORE_MD5_STEP(f, b, c, d, a, x[3], 0xc1bdceee, 22);
    BASE_CORE_MD5_STEP(f, a, b, c, d, x[4], 0xf57c0faf, 7);
    BASE_CORE_MD5_STEP(f, d, a, b, c, x[5], 0x4787c62a, 12);
    BASE_CORE_MD5_STEP(f, c, d, a, b, x[6], 0xa8304613, 17);
    BASE_CORE_MD5_STEP(f, b, c, d, a, x[7], 0xfd469501, 22);
    BASE_CORE_MD5_STEP(f, a, b, c, d, x[8], 0x698098d8, 7);
    BASE_CORE_MD5_STEP(f, d, a, b, c, x[9], 0x8b44f7af, 12);
    BASE_CORE_MD5_STEP(f, c, d, a, b, x[10], 0xffff5bb1, 17);
    BASE_CORE_MD5_STEP(f, b, c, d, a, x[11], 0x895cd7be, 22);
    BASE_CORE_MD5_STEP(f, a, b, c, d, x[12], 0x6b901122, 7);
    BASE_CORE_MD5_STEP(f, d, a, b, c, x[13], 0xfd987193, 12);
    BASE_CORE_MD5_STEP(f, c, d, a, b, x[14], 0xa679438e, 17);
    BASE_CORE_MD5_STEP(f, b, c, d, a, x[15], 0x49b40821, 22);

    BASE_CORE_MD5_STEP(g, a, b, c, d, x[1], 0xf61e2562, 5);
    BASE_CORE_MD5_STEP(g, d, a, b, c, x[6], 0xc040b340, 9);
    BASE_CORE_MD5_STEP(g, c, d, a, b, x[11], 0x265e5a51, 14);
    BASE_CORE_MD5_STEP(g, b, c, d, a, x[0], 0xe9b6c7aa, 20);
    BASE_CORE_MD5_STEP(g, a, b, c, d, x[5], 0xd62f105d, 5);
    BASE_CORE_MD5_STEP(g, d, a, b, c, x[10], 0x02441453, 9);
    BASE_CORE_MD5_STEP(g, c, d, a, b, x[15], 0xd8a1e681, 14);
    BASE_CORE_MD5_STEP(g, b, c, d, a, x[4], 0xe7d3fbc8, 20);
    BASE_CORE_MD5_STEP(g, a, b, c, d, x[9], 0x21e1cde6, 5);
    BASE_CORE_MD5_STEP(g, d, a, b, c, x[14], 0xc33707d6, 9);
    BASE_CORE_MD5_STEP(g, c, d, a, b, x[3], 0xf4d50d87, 14);
    BASE_CORE_MD5_STEP(g, b, c, d, a, x[8], 0x455a14ed, 20);
    BASE_CORE_MD5_STEP(g, a, b, c, d, x[13], 0xa9e3e905, 5);
    BASE_CORE_MD5_STEP(g, d, a, b, c, x[2], 0xfcefa3f8, 9);
    BASE_CORE_MD5_STEP(g, c, d, a, b, x[7], 0x676f02d9, 14);
    BASE_CORE_MD5_STEP(g, b, c, d, a, x[12], 0x8d2a4c8a, 20);

    BASE_CORE_MD5_STEP(h, a, b, c, d, x[5], 0xfffa3942, 4);
    BASE_CORE_MD5_STEP(h, d, a, b, c, x[8], 0x8771f681, 11);
    BASE_CORE_MD5_STEP(h, c, d, a, b, x[11], 0x6d9d6122, 16);
    BASE_CORE_MD5_STEP(h, b, c, d, a, x[14], 0xfde5380c, 23);
    BASE_CORE_MD5_STEP(h, a, b, c, d, x[1], 0xa4beea44, 4);
    BASE_CORE_MD5_STEP(h, d, a, b, c, x[4], 0x4bdecfa9, 11);
    BASE_CORE_MD5_STEP(h, c, d, a, b, x[7], 0xf6bb4b60, 16);
    BASE_CORE_MD5_STEP(h, b, c, d, a, x[10], 0xbebfbc70, 23);
    BASE_CORE_MD5_STEP(h, a, b, c, d, x[13], 0x289b7ec6, 4);
    BASE_CORE_MD5_STEP(h, d, a, b, c, x[0], 0xeaa127fa, 11);
    BASE_CORE_MD5_STEP(h, c, d, a, b, x[3], 0xd4ef3085, 16);
    BASE_CORE_MD5_STEP(h, b, c, d, a, x[6], 0x04881d05, 23);
    BASE_CORE_MD5_STEP(h, a, b, c, d, x[9], 0xd9d4d039, 4);
    BASE_CORE_MD5_STEP(h, d, a, b, c, x[12], 0xe6db99e5, 11);
    BASE_CORE_MD5_STEP(h, c, d, a, b, x[15], 0x1fa27cf8, 16);
    BASE_CORE_MD5_STEP(h, b, c, d, a, x[2], 0xc4ac5665, 23);

    BASE_CORE_MD5_STEP(i, a, b, c, d, x[0], 0xf4292244, 6);
    BASE_CORE_MD5_STEP(i, d, a, b, c, x[7], 0x432aff97, 10);
    BASE_CORE_MD5_STEP(i, c, d, a, b, x[14], 0xab9423a7, 15);
    BASE_CORE_MD5_STEP(i, b, c, d, a, x[5], 0xfc93a039, 21);
    BASE_CORE_MD5_STEP(i, a, b, c, d, x[12], 0x655b59c3, 6);
    BASE_CORE_MD5_STEP(i, d, a, b, c, x[3], 0x8f0ccc92, 10);
    BASE_CORE_MD5_STEP(i, c, d, a, b, x[10], 0xffeff47d, 15);
    BASE_CORE_MD5_STEP(i, b, c, d, a, x[1], 0x85845dd1, 21);
    BASE_CORE_MD5_STEP(i, a, b, c, d, x[8], 0x6fa87e4f, 6);
    BASE_CORE_MD5_STEP(i, d, a, b, c, x[15], 0xfe2ce6e0, 10);
    BASE_CORE_MD5_STEP(i, c, d, a, b, x[6], 0xa3014314, 15);
    BASE_CORE_MD5_STEP(i, b, c, d, a, x[13], 0x4e0811a1, 21);
    BASE_CORE_MD5_STEP(i, a, b, c, d, x[4], 0xf7537e82, 6);
    BASE_CORE_MD5_STEP(i, d, a, b, c, x[11], 0xbd3af235, 10);
    BASE_CORE_MD5_STEP(i, c, d, a, b, x[2], 0x2ad7d2bb, 15);
    BASE_CORE_MD5_STEP(i, b, c, d, a, x[9], 0xeb86d391, 21);

    a += savedA;
    b += savedB;
    c += savedC;
    d += savedD;
  }
  _a = a;
  _b = b;
  _c = c;
  _d = d;
  return data;
}

#undef BASE_CORE_MD5_STEP

void MD5::appendData(const void *data, unsigned long size) noexcept {
  const auto *bytes = static_cast<const unsigned char *>(data);
  const uint32_t savedLo = _lo;
  _lo = (savedLo + static_cast<uint32_t>(size)) & 0x1fffffff;
  if (_lo < savedLo)
    ++_hi;
  _hi += static_cast<uint32_t>(size >> 29);

  const unsigned long used = savedLo & 0x3f;
  if (used != 0) {
    const unsigned long room = 64 - used;
    if (size < room) {
      std::memcpy(_buffer + used, bytes, size);
      return;
    }
    std::memcpy(_buffer + used, bytes, room);
    bytes += room;
    size -= room;
    transform(_buffer, 64);
  }
  if (size >= 64) {
    bytes = transform(bytes, size & ~0x3ful);
    size &= 0x3f;
  }
  if (size > 0)
    std::memcpy(_buffer, bytes, size);
}

void MD5::calculate(unsigned char *digest) noexcept {
  unsigned long used = _lo & 0x3f;
  _buffer[used++] = 0x80;
  if (64 - used < 8) {
    std::memset(_buffer + used, 0, 64 - used);
    transform(_buffer, 64);
    used = 0;
  }
  std::memset(_buffer + used, 0, 56 - used);
  // The length in bits, as 64 bits least significant first.
  storeLittleEndian(_buffer + 56, _lo << 3);
  storeLittleEndian(_buffer + 60, _hi);
  transform(_buffer, 64);
  storeLittleEndian(digest, _a);
  storeLittleEndian(digest + 4, _b);
  storeLittleEndian(digest + 8, _c);
  storeLittleEndian(digest + 12, _d);
}

} // namespace base::core
