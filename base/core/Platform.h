//===- base/core/Platform.h - The operating system, behind one small door -===//
//
// Everything in base::core that asks the operating system something goes through
// these functions, so that the rest of the library is the same on every platform.
//
//===----------------------------------------------------------------------===//
#ifndef BASE_CORE_PLATFORM_H
#define BASE_CORE_PLATFORM_H

namespace base::core {

/// The id of this process.
[[nodiscard]] int currentProcessId() noexcept;

} // namespace base::core

#endif // BASE_CORE_PLATFORM_H
