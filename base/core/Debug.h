//===- base/core/Debug.h - Assertion sites ---------------------------------===//
//
// `BASE_ASSERT(condition, message)` reports a broken invariant. The report names the
// process, the condition's source text, the message, the file and the line, goes to
// the standard error stream, and the caller then continues behind the assertion.
//
//===----------------------------------------------------------------------===//
#ifndef BASE_CORE_DEBUG_H
#define BASE_CORE_DEBUG_H

#include <string>

namespace base::core {

/// Read by every assertion site before it does anything.
extern const bool ARE_ASSERTIONS_ENABLED;

/// The report text of a failed assertion. `message` may be empty.
[[nodiscard]] std::string getAssertionErrorMessage(const std::string &condition,
                                                   const std::string &message,
                                                   const char *file, int line);

/// Writes the report of a failed assertion to the standard error stream and returns,
/// so that the caller continues behind the site.
void assertionFailed(const std::string &condition, const std::string &message,
                     const char *file, int line);

} // namespace base::core

#define BASE_ASSERT(condition, message)                                                  \
  do {                                                                                   \
    if (!(condition) && ::base::core::ARE_ASSERTIONS_ENABLED)                            \
      ::base::core::assertionFailed(#condition, (message), __FILE__, __LINE__);          \
  } while (0)

// The constant condition "false" with a prefixed message; neither ends the process.
/// A system call that must not fail has failed.
#define BASE_FATAL_STATE(text) BASE_ASSERT(false, std::string("Fatal state: ") + (text))
/// A value is outside its enumeration.
#define BASE_ILLEGAL_STATE(text) BASE_ASSERT(false, std::string("Illegal state: ") + (text))

#endif // BASE_CORE_DEBUG_H
