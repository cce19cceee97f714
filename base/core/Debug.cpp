//===- base/core/Debug.cpp - Assertion sites -------------------------------===//
#include "base/core/Debug.h"

#include "base/core/Platform.h"

#include <cstdio>

namespace base::core {

const bool ARE_ASSERTIONS_ENABLED = true;

std::string getAssertionErrorMessage(const std::string &condition, const std::string &message,
                                     const char *file, int line) {
  std::string text = "Assertion failed in process " + std::to_string(currentProcessId());
  text += "\n\nCondition: " + condition;
  if (!message.empty())
    text += "\n" + message;
  text += "\n\nFile: ";
  text += file;
  text += "\nLine: " + std::to_string(line);
  text += "\n\n(stack trace not available on this platform)";
  return text;
}

void assertionFailed(const std::string &condition, const std::string &message, const char *file,
                     int line) {
  const std::string text = getAssertionErrorMessage(condition, message, file, line);
  std::fprintf(stderr, "%s\n", text.c_str());
  std::fflush(stderr);
}

} // namespace base::core
