//===- base/core/Base64.h - Base64 text of bytes ---------------------------===//
#ifndef BASE_CORE_BASE64_H
#define BASE_CORE_BASE64_H

namespace base::core {

/// The base64 text of `size` bytes (RFC 4648), padded with "=" and without line breaks,
/// from malloc and zero-terminated: the caller frees it. `*outSize` is its length, set
/// also when the allocation fails; then two lines go to the standard output and the
/// result is null. A negative `size` encodes nothing; a text longer than an int can
/// count is treated as a failed allocation.
[[nodiscard]] char *base64Encode(const void *data, int size, int *outSize, const char *alphabet);

/// With the alphabet "A" to "Z", "a" to "z", "0" to "9", "+" and "/".
[[nodiscard]] char *base64Encode(const void *data, int size, int *outSize);

} // namespace base::core

#endif // BASE_CORE_BASE64_H
