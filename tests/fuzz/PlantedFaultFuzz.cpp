//===- tests/fuzz/PlantedFaultFuzz.cpp - A target that fails on purpose ----===//
//
// The fuzz script's own test: with PLANTED_FAULT set to crash, leak or timeout, this
// target does that on its first non-empty input, and the script must fail and name the
// file it kept. Without the variable it does nothing. Never in the script's default list.
//
//===----------------------------------------------------------------------===//
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const char *const fault = std::getenv("PLANTED_FAULT");
  if (fault == nullptr || size == 0)
    return 0;
  if (std::strcmp(fault, "crash") == 0) {
    volatile int *nowhere = nullptr;
    return *nowhere;
  }
  if (std::strcmp(fault, "leak") == 0) {
    auto *lost = static_cast<uint8_t *>(std::malloc(64));
    lost[0] = data[0];
    asm volatile("" : : "r"(lost) : "memory"); // keeps the allocation from being dropped
  }
  if (std::strcmp(fault, "timeout") == 0)
    for (;;)
      sleep(1);
  return 0;
}
