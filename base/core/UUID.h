//===- base/core/UUID.h - 16-byte identifiers ------------------------------===//
//
// A 16-byte identifier in the order of its text form, 8-4-4-4-12 lower-case hex digits.
// The all-zero value means "not set".
//
//===----------------------------------------------------------------------===//
#ifndef BASE_CORE_UUID_H
#define BASE_CORE_UUID_H

#include "base/core/String.h"

namespace base::core {

class UUID {
public:
  UUID() noexcept : _bytes{} {}
  UUID(const UUID &) noexcept = default;
  UUID &operator=(const UUID &) noexcept = default;
  /// 36 characters, 8-4-4-4-12 hex digits of either case; InvalidUUIDException with the
  /// whole text otherwise.
  explicit UUID(const String &text);
  /// Bytes 0 to 7 from `mostSignificant`, 8 to 15 from `leastSignificant`, most
  /// significant byte first.
  UUID(unsigned long long mostSignificant, unsigned long long leastSignificant) noexcept;
  /// Copies 16 bytes.
  explicit UUID(const unsigned char *bytes) noexcept;

  [[nodiscard]] bool isInitialized() const noexcept;
  [[nodiscard]] unsigned long long getMostSignificantBits() const noexcept;
  [[nodiscard]] unsigned long long getLeastSignificantBits() const noexcept;
  [[nodiscard]] const unsigned char *getBytes() const noexcept { return _bytes; }
  /// "00112233-4455-6677-8899-aabbccddeeff".
  [[nodiscard]] String asString() const;
  /// The text form into `text`, which has room for 36 characters and a terminator.
  void format(char text[37]) const noexcept;
  [[nodiscard]] bool operator==(const UUID &other) const noexcept;
  [[nodiscard]] bool operator!=(const UUID &other) const noexcept { return !(*this == other); }

  /// A new value from rand(), which nothing here seeds, mixed with the time. The version
  /// digit 4 is the third digit of the third group and the variant digit (8, 9, a or b)
  /// the third of the fourth group, one byte later than RFC 4122 puts them; identifiers
  /// already handed out depend on that layout.
  [[nodiscard]] static UUID generate();

private:
  unsigned char _bytes[16];
};

} // namespace base::core

#endif // BASE_CORE_UUID_H
