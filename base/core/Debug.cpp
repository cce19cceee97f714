//===- base/core/Debug.cpp - The assertion route ----------------------------===//
#include "base/core/Debug.h"

#include "base/core/DebugMessageDialog.h"
#include "base/core/Exception.h"
#include "base/core/Platform.h"
#include "base/core/System.h"

#include <cstdlib>
#include <deque>
#include <stack>

namespace base::core {

const bool ARE_ASSERTIONS_ENABLED = true;
bool didAttachDebugger = false;

namespace {

// Made on first use and destroyed at exit, so that a site that fails while other
// libraries load finds it ready.
std::stack<AssertionInteractionMode, std::deque<AssertionInteractionMode>> &modeStack() {
  static std::stack<AssertionInteractionMode, std::deque<AssertionInteractionMode>> stack;
  return stack;
}

bool topIs(AssertionInteractionMode mode) {
  return !modeStack().empty() && modeStack().top() == mode;
}

class DebugStaticInitializer {
public:
  DebugStaticInitializer() {
    (void)modeStack();
    didAttachDebugger = checkHasAttachedDebugger();
  }
};

// Load order: the plug-in's adapter (200), this (201), String (202), System (203).
__attribute__((init_priority(201))) const DebugStaticInitializer debugStaticInitializer;

} // namespace

AssertionInteractionMode getAssertionInteractionMode() {
  return modeStack().empty() ? AssertionInteractionModeDefault : modeStack().top();
}

void pushAssertionInteractionMode(AssertionInteractionMode mode) { modeStack().push(mode); }

void popAssertionInteractionMode() {
  // Popping an empty std::stack is undefined; an empty stack stays empty.
  if (!modeStack().empty())
    modeStack().pop();
}

void disableInteractiveAsserts() { pushAssertionInteractionMode(AssertionInteractionModeNone); }

String getStackTrace() { return String("(stack trace not available on this platform)"); }

String getAssertionErrorMessage(const String &condition, const String &message, const char *file,
                                int line) {
  StringBuilder text("Assertion failed in process ");
  text + currentProcessId() + "\n\nCondition: " + condition;
  if (!message.isEmpty())
    text + "\n" + message;
  text + "\n\nFile: " + file + "\nLine: " + line + "\n\n" + getStackTrace();
  return text;
}

bool assertionFailed(const String &condition, const String &message, const char *file, int line,
                     bool *ignoreAlways) {
  const String report = getAssertionErrorMessage(condition, message, file, line);
  if (!topIs(AssertionInteractionModeNone)) {
    getError()->writeLine(report);
    getError()->flush();
  }
  if (*ignoreAlways)
    return false;

  bool ask;
  if (topIs(AssertionInteractionModeNone))
    ask = false;
  else if (topIs(AssertionInteractionModeAlways))
    ask = true;
  else
    ask = didAttachDebugger || getBoolEnvVar(String("INTERACTIVE_ASSERTS"), false);
  if (!ask) {
    if (didAttachDebugger)
      return true;
    throw AssertionFailedException(report);
  }

  DebugMessageDialog dialog;
  dialog.setTitle(String("Assertion Failed"));
  dialog.setMessage(report);
  dialog.setSize(800, 400);
  dialog.addOption(String("Skip"), 0);
  dialog.addOption(String("Skip Always"), 1);
  dialog.addOption(String("Throw"), 2);
  dialog.addOption(String("Abort"), 3);
  dialog.addOption(String("Break"), 4);
  dialog.setDefaultOptionId(4);
  switch (dialog.show()) {
  case 0:
    return false;
  case 1:
    *ignoreAlways = true;
    return false;
  case 2:
    throw AssertionFailedException(report);
  case 3:
    std::abort();
  case 4:
    launchDebuggerIfNeeded();
    return true;
  default:
    getError()->writeLine("Unknown option chosen");
    getError()->flush();
    launchDebuggerIfNeeded();
    return true;
  }
}

void assertionIgnored(const String &condition, const String &message, const char *file,
                      int line) {
  // The builder form: the text, flush, a line feed, flush.
  getError()->writeLine(StringBuilder("Assertion ignored: ") +
                        getAssertionErrorMessage(condition, message, file, line));
}

void releaseCheckFailed(const String &condition, const String &message, const char *file,
                        int line) {
  getError()->writeLine(getAssertionErrorMessage(condition, message, file, line));
  getError()->flush();
  std::abort();
}

void doNothing() {}
void initWindowsCRTDebugSettings() {}

} // namespace base::core
