//===- tests/engine/DelayTest.cpp - Power-of-two delay ring ----------------===//
#include "engine/core/dsp/Delay.h"

#include "base/core/Exception.h"

#include <gtest/gtest.h>

using engine::SampleDelay;

TEST(SampleDelay, RingSizes) {
  struct Case {
    unsigned int maxDelay, channels, length, allocated;
  } cases[] = {{0, 1, 8, 12},          {1, 1, 8, 12},          {3, 1, 8, 12},
               {9, 1, 16, 20},         {4096, 1, 4096, 4100},  {65536, 1, 65536, 65540},
               {5000, 2, 8192, 16388}, {4097, 1, 8192, 8196}};
  for (const Case &c : cases) {
    SampleDelay d(c.maxDelay, c.channels);
    EXPECT_EQ(d.length(), c.length) << c.maxDelay;
    EXPECT_EQ(d.allocatedFloats(), c.allocated) << c.maxDelay;
    EXPECT_EQ(d.delayTime(), 0u);
    EXPECT_EQ(d.writeIndex(), 0u);
    for (unsigned int i = 0; i < c.allocated; ++i)
      ASSERT_EQ(d.buffer()[i], 0.0f);
  }
}

TEST(SampleDelay, Tick) {
  SampleDelay d(8, 1);
  d.setDelayTime(3);
  // Three zeros from the young ring, then the input three ticks late.
  for (int i = 0; i < 20; ++i)
    EXPECT_EQ(d.tick(static_cast<float>(i + 1)), i < 3 ? 0.0f : static_cast<float>(i - 2)) << i;

  // A delay of 0 reads before it writes, at the index about to be written: the value from
  // one whole ring ago. A delay equal to the ring's length does the same.
  for (unsigned int delay : {0u, 8u}) {
    SampleDelay r(8, 1);
    r.setDelayTime(delay);
    for (int i = 0; i < 24; ++i)
      EXPECT_EQ(r.tick(static_cast<float>(i + 1)), i < 8 ? 0.0f : static_cast<float>(i - 7))
          << delay << " " << i;
  }

  // A change of delay takes effect at once, on the same history.
  SampleDelay j(16, 1);
  j.setDelayTime(1);
  for (int i = 0; i < 10; ++i)
    j.tick(static_cast<float>(i));
  j.setDelayTime(4);
  EXPECT_EQ(j.tick(10.0f), 6.0f);
}

TEST(SampleDelay, TimeToSilence) {
  SampleDelay d(8, 1);
  d.setDelayTime(2);
  d.tick(1.0f);
  d.tick(2.0f);
  d.setTimeToSilence(3);
  // Three zeros while storing, then the delayed values, the silent frames' inputs included.
  EXPECT_EQ(d.tick(3.0f), 0.0f);
  EXPECT_EQ(d.tick(4.0f), 0.0f);
  EXPECT_EQ(d.tick(5.0f), 0.0f);
  EXPECT_EQ(d.timeToSilence(), 0u);
  EXPECT_EQ(d.tick(6.0f), 4.0f);
  EXPECT_EQ(d.tick(7.0f), 5.0f);
}

// A delay beyond the ring is a broken invariant: the assertion route throws before the
// time is stored.
TEST(SampleDelay, DelayBeyondTheRingIsAnAssertion) {
  SampleDelay d(8, 1);
  d.setDelayTime(3);
  testing::internal::CaptureStderr();
  try {
    d.setDelayTime(9);
    ADD_FAILURE();
  } catch (const base::core::AssertionFailedException &e) {
    EXPECT_NE(e.getMessage().getStdString().find("Condition: time <= _cbufLen"), std::string::npos);
  }
  (void)testing::internal::GetCapturedStderr();
  EXPECT_EQ(d.delayTime(), 3u);
}
