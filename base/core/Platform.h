//===- base/core/Platform.h - The operating system, behind one small door -===//
//
// Everything in base::core that asks the operating system something goes through
// these functions, so that the rest of the library is the same on every platform.
//
//===----------------------------------------------------------------------===//
#ifndef BASE_CORE_PLATFORM_H
#define BASE_CORE_PLATFORM_H

#include <pthread.h>

#include <istream>
#include <ctime>
#include <string>

namespace base::core {

/// Standard input for the core's own reading. std::cin, kept in step with C stdio, never
/// reports input as ready; this stream's buffer reads descriptor 0 and reports what the
/// descriptor holds, waiting for input when there is none yet. Made on first use.
[[nodiscard]] std::istream &processInput();
/// Frees the stream of processInput, which a later call makes again.
void releaseProcessInput();
/// The id of this process.
[[nodiscard]] int currentProcessId() noexcept;
/// The folder of this process's program file, links followed (/proc/self/exe), without a
/// trailing slash; empty when the system does not say.
[[nodiscard]] std::string executableFolder();

/// CLOCK_MONOTONIC in nanoseconds: the host-time clock of audio code on this platform.
[[nodiscard]] unsigned long long monotonicNanos() noexcept;
/// The processor's spin-wait hint, once.
void pauseProcessor() noexcept;

/// The absolute time, on the clock the condition variables wait on (CLOCK_MONOTONIC),
/// that lies `relative` after now: relative waits become waits for a deadline.
[[nodiscard]] timespec deadlineAfter(const timespec &relative) noexcept;

/// Makes the condition variables created with `attributes` time their waits on the clock
/// of deadlineAfter.
void useDeadlineClock(pthread_condattr_t &attributes) noexcept;

} // namespace base::core

#endif // BASE_CORE_PLATFORM_H
