//===- base/core/Platform.cpp - The operating system, behind one small door ===//
#include "base/core/Platform.h"

#include <unistd.h>

namespace base::core {

int currentProcessId() noexcept { return static_cast<int>(getpid()); }

} // namespace base::core
