//===- base/core/Atomic.h - Barriered atomic integer operations -----------===//
//
// The platform layer for the counts that objects, strings and sample stores share
// between threads. Every operation is one read-modify-write with full ordering on
// both sides, so a count that reaches zero is seen only after every write made
// through the references that went before it.
//
//===----------------------------------------------------------------------===//
#ifndef BASE_CORE_ATOMIC_H
#define BASE_CORE_ATOMIC_H

#include <atomic>
#include <cstdint>

namespace base::core {

/// Adds `delta` to `value` and returns the new value. Wraps at 32 bits.
inline int32_t atomicAdd32Barrier(int32_t delta, std::atomic<int32_t> &value) noexcept {
  const int32_t old = value.fetch_add(delta, std::memory_order_seq_cst);
  return static_cast<int32_t>(static_cast<uint32_t>(old) + static_cast<uint32_t>(delta));
}

/// Stores `desired` into `value` if it holds `expected`; returns whether it did.
inline bool atomicCompareAndSwap32Barrier(int32_t expected, int32_t desired,
                                          std::atomic<int32_t> &value) noexcept {
  return value.compare_exchange_strong(expected, desired, std::memory_order_seq_cst);
}

} // namespace base::core

#endif // BASE_CORE_ATOMIC_H
