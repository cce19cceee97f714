//===- base/core/Platform.cpp - The operating system, behind one small door ===//
#include "base/core/Platform.h"

#include <immintrin.h>
#include <unistd.h>

namespace base::core {

int currentProcessId() noexcept { return static_cast<int>(getpid()); }

unsigned long long monotonicNanos() noexcept {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<unsigned long long>(now.tv_sec) * 1000000000ull +
         static_cast<unsigned long long>(now.tv_nsec);
}

void pauseProcessor() noexcept { _mm_pause(); }

// Condition waits time out against CLOCK_MONOTONIC, so that a change of the wall clock
// neither shortens nor stretches a relative wait.
timespec deadlineAfter(const timespec &relative) noexcept {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  timespec deadline{now.tv_sec + relative.tv_sec, now.tv_nsec + relative.tv_nsec};
  if (deadline.tv_nsec >= 1000000000L) {
    deadline.tv_nsec -= 1000000000L;
    ++deadline.tv_sec;
  }
  return deadline;
}

void useDeadlineClock(pthread_condattr_t &attributes) noexcept {
  pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
}

} // namespace base::core
