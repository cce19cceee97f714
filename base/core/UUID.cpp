//===- base/core/UUID.cpp - 16-byte identifiers ----------------------------===//
#include "base/core/UUID.h"

#include "base/core/Exception.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace base::core {

namespace {

// Where each byte's two digits start in the text form.
constexpr unsigned kDigitPositions[16] = {0, 2, 4, 6, 9, 11, 14, 16, 19, 21, 24, 26, 28, 30, 32, 34};
constexpr unsigned kDashPositions[4] = {8, 13, 18, 23};

int hexValue(Char c) noexcept {
  const uint32_t code = c.code();
  if (code >= '0' && code <= '9')
    return int(code - '0');
  if (code >= 'a' && code <= 'f')
    return int(code - 'a' + 10);
  if (code >= 'A' && code <= 'F')
    return int(code - 'A' + 10);
  return -1;
}

} // namespace

UUID::UUID(const String &text) : _bytes{} {
  if (text.getLength() != 36 ||
      !std::all_of(std::begin(kDashPositions), std::end(kDashPositions),
                   [&](unsigned p) { return text[p] == Char('-'); }))
    throw InvalidUUIDException(text);
  for (int i = 0; i < 16; ++i) {
    const int high = hexValue(text[kDigitPositions[i]]);
    const int low = hexValue(text[kDigitPositions[i] + 1]);
    if (high < 0 || low < 0)
      throw InvalidUUIDException(text);
    _bytes[i] = static_cast<unsigned char>(high << 4 | low);
  }
}

UUID::UUID(unsigned long long mostSignificant, unsigned long long leastSignificant) noexcept {
  for (int i = 0; i < 8; ++i) {
    _bytes[i] = static_cast<unsigned char>(mostSignificant >> (56 - 8 * i));
    _bytes[8 + i] = static_cast<unsigned char>(leastSignificant >> (56 - 8 * i));
  }
}

UUID::UUID(const unsigned char *bytes) noexcept { std::memcpy(_bytes, bytes, sizeof _bytes); }

bool UUID::isInitialized() const noexcept {
  return std::any_of(std::begin(_bytes), std::end(_bytes), [](unsigned char b) { return b != 0; });
}

unsigned long long UUID::getMostSignificantBits() const noexcept {
  unsigned long long bits = 0;
  for (int i = 0; i < 8; ++i)
    bits = bits << 8 | _bytes[i];
  return bits;
}

unsigned long long UUID::getLeastSignificantBits() const noexcept {
  unsigned long long bits = 0;
  for (int i = 8; i < 16; ++i)
    bits = bits << 8 | _bytes[i];
  return bits;
}

void UUID::format(char text[37]) const noexcept {
  static constexpr char kDigits[] = "0123456789abcdef";
  for (int i = 0; i < 16; ++i) {
    text[kDigitPositions[i]] = kDigits[_bytes[i] >> 4];
    text[kDigitPositions[i] + 1] = kDigits[_bytes[i] & 15];
  }
  for (unsigned p : kDashPositions)
    text[p] = '-';
  text[36] = '\0';
}

String UUID::asString() const {
  char text[37];
  format(text);
  return String(text);
}

bool UUID::operator==(const UUID &other) const noexcept {
  return std::memcmp(_bytes, other._bytes, sizeof _bytes) == 0;
}

UUID UUID::generate() {
  UUID uuid;
  for (int i = 0; i < 16; i += 2) {
    const unsigned first = static_cast<unsigned>(std::rand()) & 0xFF;
    const unsigned second = static_cast<unsigned>(std::rand()) & 0xFF;
    const unsigned word = (first | second << 8) ^ (static_cast<unsigned>(std::time(nullptr)) & 0xFFFF);
    uuid._bytes[i] = static_cast<unsigned char>(word);
    uuid._bytes[i + 1] = static_cast<unsigned char>(word >> 8);
  }
  uuid._bytes[7] = static_cast<unsigned char>((uuid._bytes[7] & 0x0F) | 0x40);
  uuid._bytes[9] = static_cast<unsigned char>((uuid._bytes[9] & 0x3F) | 0x80);
  return uuid;
}

} // namespace base::core
