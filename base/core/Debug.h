//===- base/core/Debug.h - The assertion route ------------------------------===//
//
// BASE_ASSERT(condition, message) reports a broken invariant in base::core and engine.
// What a failed site does depends on the mode on top of the interaction stack, on an
// attached debugger and on the environment:
//
//   mode on top        | report on getError() | then
//   None               | no                   | debugger attached: break; else throw
//   Default (or empty) | yes                  | debugger attached or INTERACTIVE_ASSERTS
//                      |                      | is "true": ask; else throw
//   Always             | yes                  | ask
//
// "Throw" is AssertionFailedException with the report. "Ask" shows the developer dialog
// (DebugMessageDialog.h) with Skip, Skip Always, Throw, Abort and Break. After "Skip
// Always" the site reports "Assertion ignored: " and the report on every later failure,
// whatever the mode, and never asks or breaks. A host process therefore never sees a
// question unless a developer set INTERACTIVE_ASSERTS=true, pushed the Always mode, or
// attached a debugger.
//
//===----------------------------------------------------------------------===//
#ifndef BASE_CORE_DEBUG_H
#define BASE_CORE_DEBUG_H

#include "base/core/String.h"
#include "base/core/StringBuilder.h"

#include <cstdint>

namespace base::core {

enum AssertionInteractionMode : int32_t {
  AssertionInteractionModeNone = 0,
  AssertionInteractionModeDefault = 1,
  AssertionInteractionModeAlways = 2,
};

/// Read by every assertion site before it does anything.
extern const bool ARE_ASSERTIONS_ENABLED;
/// Whether a debugger is with this process: found at load, and set for good once the
/// developer attaches one through launchDebuggerIfNeeded.
extern bool didAttachDebugger;

/// The mode on top of the stack; Default when it is empty. The stack is plain data: a
/// program that changes it from several threads orders that itself.
[[nodiscard]] AssertionInteractionMode getAssertionInteractionMode();
void pushAssertionInteractionMode(AssertionInteractionMode mode);
/// The stack must not be empty.
void popAssertionInteractionMode();
/// Pushes None, for good unless the caller pops it.
void disableInteractiveAsserts();

/// "(stack trace not available on this platform)".
[[nodiscard]] String getStackTrace();
/// The report: the process, the condition, the message when there is one, file, line
/// and stack trace.
[[nodiscard]] String getAssertionErrorMessage(const String &condition, const String &message,
                                              const char *file, int line);
/// A failed site that is not silenced. True when the caller must break into the debugger.
/// May throw AssertionFailedException, or end the process when the developer chooses
/// Abort.
bool assertionFailed(const String &condition, const String &message, const char *file, int line,
                     bool *ignoreAlways);
/// A failed site that "Skip Always" silenced: reported, nothing more.
void assertionIgnored(const String &condition, const String &message, const char *file,
                      int line);
/// Reports and ends the process.
[[noreturn]] void releaseCheckFailed(const String &condition, const String &message,
                                     const char *file, int line);
/// Empty on this platform.
void doNothing();
void initWindowsCRTDebugSettings();

} // namespace base::core

/// The processor's breakpoint trap.
#define BASE_DEBUG_BREAK() __asm__ volatile("int3")

#define BASE_ASSERT(condition, message)                                                  \
  do {                                                                                   \
    if (!(condition) && ::base::core::ARE_ASSERTIONS_ENABLED) {                          \
      static bool ignoreThisAssert = false;                                              \
      const ::base::core::String assertMessage(::base::core::StringBuilder() + (message)); \
      if (ignoreThisAssert)                                                              \
        ::base::core::assertionIgnored(::base::core::String(#condition), assertMessage,  \
                                       __FILE__, __LINE__);                              \
      else if (::base::core::assertionFailed(::base::core::String(#condition),           \
                                             assertMessage, __FILE__, __LINE__,          \
                                             &ignoreThisAssert))                         \
        BASE_DEBUG_BREAK();                                                              \
    }                                                                                    \
  } while (0)

// The constant condition "false" with a prefixed message; neither ends the process.
/// A system call that must not fail has failed.
#define BASE_FATAL_STATE(text)                                                           \
  BASE_ASSERT(false, ::base::core::String(::base::core::StringBuilder("Fatal state: ") + (text)))
/// A value is outside its enumeration.
#define BASE_ILLEGAL_STATE(text)                                                         \
  BASE_ASSERT(false, ::base::core::String(::base::core::StringBuilder("Illegal state: ") + (text)))

#endif // BASE_CORE_DEBUG_H
