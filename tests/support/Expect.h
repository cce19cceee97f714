//===- tests/support/Expect.h - Expectations on base::core failures --------===//
#ifndef TESTS_SUPPORT_EXPECT_H
#define TESTS_SUPPORT_EXPECT_H

#include "base/core/Exception.h"

#include <gtest/gtest.h>

#include <functional>

namespace testsupport {

/// `action` throws IOException with exactly `message`.
inline void expectIOException(const std::function<void()> &action, const char *message) {
  try {
    action();
    ADD_FAILURE() << "no exception; expected " << message;
  } catch (const base::core::IOException &e) {
    EXPECT_EQ(e.getMessage(), message);
  }
}

} // namespace testsupport

#endif // TESTS_SUPPORT_EXPECT_H
