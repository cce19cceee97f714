//===- tests/plugin/RobustnessTest.cpp - Any input, no crash ---------------===//
// Every run, through the module as hosts load it, finishes with well-formed features (and,
// under the sanitizer build, without a stray read or write).
#include "tests/support/FakeDialog.h"
#include "tests/support/LoadedPlugin.h"
#include "tests/support/Signals.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace {

using L = std::numeric_limits<float>;
constexpr float Inf = L::infinity(), NaN = L::quiet_NaN();

// A sample from its index and a noise value in [-1, 1).
using Content = float (*)(std::size_t n, float noise);
const Content Noise = [](std::size_t n, float x) { return (n / 3000) % 3 == 0 ? x * 0.5f : x * 0.01f; };
const Content Specials = [](std::size_t n, float x) {
  const float specials[] = {NaN, Inf, -Inf, -0.0f, L::max()};
  return n % 97 == 0 ? specials[(n / 97) % 5] : x * 0.3f;
};
const Content Denormals = [](std::size_t, float x) { return x * L::denorm_min() * 1000.0f; };
const Content Silence = [](std::size_t, float) { return 0.0f; };
const Content FullScale = [](std::size_t, float x) { return x > 0.0f ? 1.0f : -1.0f; };
const Content Dc = [](std::size_t n, float) { return n < 20000 ? 0.0f : 0.75f; };

// Blocks are stamped at 44.1 kHz whatever the rate: the checks hold for any stamps.
void runPlugin(float rate, std::size_t block, std::size_t step, std::size_t length, Content content,
               float floorDb = -60.0f, float threshold = 12.0f) {
  auto plugin = testsupport::ready(rate, block, step);
  plugin->setParameter("NoiseFloor", floorDb);
  plugin->setParameter("RaiseThreshold", threshold);
  std::vector<float> s(length);
  testsignals::Lcg lcg{7};
  for (std::size_t n = 0; n < length; ++n)
    s[n] = content(n, lcg.next());
  testsupport::expectWellFormed(testsignals::runBlocks(*plugin, s, block, step));
}

} // namespace


// A floor of 0 lets the followers reach zero: infinities and NaNs run through the curves.
TEST(Robustness, HostileSamples) {
  const Content contents[] = {Noise, Specials, Denormals, Silence, FullScale, Dc};
  for (float floorDb : {-60.0f, -1000.0f})
    for (int i = 0; i < 6; ++i) {
      SCOPED_TRACE(testing::Message() << "content " << i << ", floor " << floorDb);
      runPlugin(44100.0f, 4096, 4096, 44100 * 3, contents[i], floorDb);
    }
}

// A step below the block: hosts then hand overlapping blocks. No block or input asks the
// developer unless one asked for it: no dialog, nothing on standard output.
TEST(Robustness, BlockAndStepSizes) {
  testsupport::FakeDialog dialog;
  unsetenv("INTERACTIVE_ASSERTS");
  testing::internal::CaptureStdout();
  for (std::size_t block : {1u, 7u, 64u, 256u, 1024u, 7936u, 65536u, 100000u}) {
    SCOPED_TRACE(block);
    const std::size_t length = block < 64 ? 22050 : 44100 * 2;
    runPlugin(44100.0f, block, block, length, Noise);
    runPlugin(44100.0f, block, block, length, Specials);
    if (block > 1)
      runPlugin(44100.0f, block, block / 2 + 1, length, Noise);
    runPlugin(8000.0f, block, block, length, Denormals);
  }
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_TRUE(dialog.calls().empty());
}

// Rates no host should give (zero, negative, NaN, infinite) neither crash nor divide by zero.
TEST(Robustness, SampleRates) {
  for (float rate : {8000.0f, 11025.0f, 22050.0f, 44100.0f, 48000.0f, 96000.0f, 192000.0f, 44099.7f,
                     0.0f, 0.5f, -44100.0f, NaN, Inf}) {
    SCOPED_TRACE(rate);
    const bool usual = rate >= 8000.0f;
    runPlugin(rate, usual ? 8192 : 1024, usual ? 8192 : 1024,
              usual ? static_cast<std::size_t>(rate) * 2 : 20000, Noise);
  }
}

TEST(Robustness, ParametersAtAndBeyondTheirRanges) {
  for (float threshold : {0.0f, 100.0f, -50.0f, 1000.0f, Inf, NaN})
    for (float floorDb : {-100.0f, -20.0f, -1000.0f, 40.0f, -Inf, NaN}) {
      SCOPED_TRACE(testing::Message() << threshold << " " << floorDb);
      runPlugin(44100.0f, 4096, 4096, 44100, Noise, floorDb, threshold);
    }
}

// A host may hand no buffer at all; the block then counts as silence.
TEST(Robustness, MissingInputBuffer) {
  auto d = testsupport::ready(44100.0f, 1024);
  EXPECT_TRUE(d->process(nullptr, Vamp::RealTime()).empty());
  const float *none[] = {nullptr};
  EXPECT_TRUE(d->process(none, Vamp::RealTime(0, 23219955)).empty());
  EXPECT_TRUE(d->getRemainingFeatures().empty());
}
