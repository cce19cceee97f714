//===- base/core/Base64.cpp - Base64 text of bytes -------------------------===//
#include "base/core/Base64.h"

#include <climits>
#include <cstdio>
#include <cstdlib>

namespace base::core {

char *base64Encode(const void *data, int size, int *outSize, const char *alphabet) {
  const long long count = size > 0 ? size : 0;
  const long long pad = count % 3 == 0 ? 0 : 3 - count % 3;
  const long long length = (count + pad) * 4 / 3;
  *outSize = length <= INT_MAX ? static_cast<int>(length) : 0;
  char *text = length <= INT_MAX ? static_cast<char *>(std::malloc(size_t(length) + 1)) : nullptr;
  if (text == nullptr) {
    std::puts("ERROR: base64 could not allocate enough memory.");
    std::puts("I must stop because I could not get enough");
    return nullptr;
  }

  const auto *in = static_cast<const unsigned char *>(data);
  char *out = text;
  long long left = count;
  for (; left >= 3; left -= 3, in += 3, out += 4) {
    const unsigned group = unsigned(in[0]) << 16 | unsigned(in[1]) << 8 | in[2];
    out[0] = alphabet[group >> 18];
    out[1] = alphabet[group >> 12 & 63];
    out[2] = alphabet[group >> 6 & 63];
    out[3] = alphabet[group & 63];
  }
  if (left > 0) {
    const unsigned group = unsigned(in[0]) << 16 | (left == 2 ? unsigned(in[1]) << 8 : 0);
    out[0] = alphabet[group >> 18];
    out[1] = alphabet[group >> 12 & 63];
    out[2] = left == 2 ? alphabet[group >> 6 & 63] : '=';
    out[3] = '=';
    out += 4;
  }
  *out = '\0';
  return text;
}

char *base64Encode(const void *data, int size, int *outSize) {
  return base64Encode(data, size, outSize,
                      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
}

} // namespace base::core
