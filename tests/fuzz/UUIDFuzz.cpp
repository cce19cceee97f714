//===- tests/fuzz/UUIDFuzz.cpp - UUID parsing -----------------------------===//
//
// The parser accepts exactly what it can print: an accepted text is the printed form up
// to the case of its digits, and the printed form parses to the same value.
#include "FuzzSupport.h"

#include "base/core/String.h"
#include "base/core/UUID.h"

using namespace base::core;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  // Latin-1 gives every byte a code, so texts of exactly 36 codes are common.
  const String text(data, static_cast<int>(size), &gLatin1);
  UUID uuid;
  try {
    uuid = UUID(text);
  } catch (const InvalidUUIDException &e) {
    FUZZ_CHECK(e.getUUID() == text);
    return 0;
  }
  const String printed = uuid.asString();
  FUZZ_CHECK(printed == text.asLowerCase());
  FUZZ_CHECK(UUID(printed) == uuid);
  return 0;
}
