//===- tests/base_core/AssertionTest.cpp - Assertion sites and atomics -----===//
#include "base/core/Atomic.h"
#include "base/core/Debug.h"
#include "base/core/Platform.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <thread>

TEST(Assertion, ReportAndContinue) {
  int reached = 0;
  testing::internal::CaptureStderr();
  BASE_ASSERT(1 + 1 == 3, "arithmetic");
  ++reached;
  BASE_ASSERT(reached == 1, "not printed");
  const std::string report = testing::internal::GetCapturedStderr();
  EXPECT_EQ(reached, 1);
  const std::string pid = std::to_string(base::core::currentProcessId());
  EXPECT_EQ(report.rfind("Assertion failed in process " + pid + "\n\nCondition: 1 + 1 == 3\n"
                         "arithmetic\n\nFile: ",
                         0),
            0u)
      << report;
  EXPECT_NE(report.find("\nLine: "), std::string::npos);
  EXPECT_NE(report.find("\n\n(stack trace not available on this platform)\n"), std::string::npos);

  // Without a message, only the blank line of "\n\nFile: " follows the condition.
  const std::string bare = base::core::getAssertionErrorMessage("x", "", "f.cpp", 7);
  EXPECT_EQ(bare.substr(bare.find("Condition")),
            "Condition: x\n\nFile: f.cpp\nLine: 7\n\n(stack trace not available on this platform)");
}

TEST(Atomic, AddReturnsTheNewValueAndWraps) {
  std::atomic<int32_t> v{5};
  EXPECT_EQ(base::core::atomicAdd32Barrier(3, v), 8);
  EXPECT_EQ(base::core::atomicAdd32Barrier(-8, v), 0);
  v = INT_MAX;
  EXPECT_EQ(base::core::atomicAdd32Barrier(1, v), INT_MIN);
  EXPECT_FALSE(base::core::atomicCompareAndSwap32Barrier(0, 1, v));
  EXPECT_TRUE(base::core::atomicCompareAndSwap32Barrier(INT_MIN, 1, v));
  EXPECT_EQ(v.load(), 1);

  std::atomic<int32_t> count{0};
  auto add = [&count] {
    for (int i = 0; i < 50000; ++i)
      base::core::atomicAdd32Barrier(1, count);
  };
  std::thread a(add), b(add);
  a.join();
  b.join();
  EXPECT_EQ(count.load(), 100000);
}
