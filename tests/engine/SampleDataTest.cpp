//===- tests/engine/SampleDataTest.cpp - Block store, holder and delay ring ===//
#include "engine/core/dsp/Delay.h"
#include "engine/core/dsp/SampleData.h"
#include "engine/core/dsp/SampleDataPtr.h"

#include "base/core/Exception.h"
#include "tests/support/AudioBuffers.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <thread>
#include <type_traits>
#include <vector>

using namespace engine;

static_assert(!std::is_copy_constructible_v<SampleData>, "a store is shared by holders only");
static_assert(!std::is_copy_constructible_v<SampleDataPtr>, "holders change hands by reset");

static std::vector<float> samples(const float *p, int from, int to) { return {p + from, p + to}; }

// Length rounded up to 8 samples of 4 bytes, plus 128 bytes of guard; areas stream-major,
// adjacent and 16-byte aligned, zero from guard to guard. No channels or no streams
// allocate nothing; beyond the 12 x 2 pointer table the store keeps what fits.
TEST(SampleData, LayoutGuardsAndAlignment) {
  for (auto [length, bytes] : {std::pair{0ull, 128u}, {5ull, 160u}, {8ull, 160u}, {9ull, 192u}})
    EXPECT_EQ(SampleData::channelAreaBytes(length), bytes) << length;
  SampleData s(9, 2, 3);
  for (unsigned int st = 0; st < 3; ++st)
    for (unsigned int c = 0; c < 2; ++c) {
      float *p = s.data(c, st);
      EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 16, 0u);
      EXPECT_EQ(reinterpret_cast<char *>(p) - reinterpret_cast<char *>(s.data(0, 0)), (st * 2 + c) * 192);
      EXPECT_EQ(samples(p, -16, 32), std::vector<float>(48, 0.0f));
    }
  EXPECT_EQ(SampleData(100, 0, 4).data(0, 0), nullptr);
  SampleData wide(16, 3, 13);
  EXPECT_EQ(std::pair(wide.numChannels(), wide.numStreams()), std::pair(2u, 12u));
  wide.data(1, 11)[15] = 1.0f;
}

// A count of 0 changes nothing; addData adds whole groups of 8 (a count of 10 adds 16),
// also from an offset that is no multiple of 4; clear leaves the guards alone. Interleaved
// buffers meet stream 0 only, the partial form writing from the start of `out`.
TEST(SampleData, BlockOperations) {
  SampleData a(32, 1, 2), b(32, 1, 2), c(16, 1, 1);
  for (int i = 0; i < 64; ++i) {
    a.data(0, i / 32)[i % 32] = static_cast<float>(i % 32 + 100 * (i / 32));
    b.data(0, i / 32)[i % 32] = 1.0f;
  }
  b.copyData(&a, 0, 0, 0);
  b.addData(&a, 0, 0, 0);
  b.zeroData(0, 0);
  EXPECT_EQ(samples(b.data(0, 1), 0, 32), std::vector<float>(32, 1.0f));
  b.addData(&a, 4, 8, 10);
  for (unsigned int st = 0; st < 2; ++st)
    for (int i = 0; i < 32; ++i)
      EXPECT_EQ(b.data(0, st)[i], i >= 8 && i < 24 ? float(i - 3 + 100 * st) : 1.0f) << st << " " << i;
  c.addData(&a, 1, 3, 8);
  EXPECT_EQ(samples(c.data(0, 0), 2, 11), (std::vector<float>{0, 1, 2, 3, 4, 5, 6, 7, 8}));
  b.copyData(&a, 30, 0, 2);
  EXPECT_EQ(samples(b.data(0, 0), 0, 3), (std::vector<float>{30.0f, 31.0f, 1.0f}));
  EXPECT_EQ(b.data(0, 1)[1], 131.0f);
  b.zeroData(28, 4);
  EXPECT_EQ(samples(b.data(0, 1), 27, 32), (std::vector<float>{1.0f, 0, 0, 0, 0}));
  b.data(0, 1)[32] = b.data(0, 1)[-1] = 7.0f;
  b.clear();
  EXPECT_EQ(samples(b.data(0, 0), 0, 32), std::vector<float>(32, 0.0f));
  EXPECT_EQ(samples(b.data(0, 1), 0, 32), std::vector<float>(32, 0.0f));
  EXPECT_EQ(std::pair(b.data(0, 1)[-1], b.data(0, 1)[32]), std::pair(7.0f, 7.0f));

  SampleData s(3, 2, 2);
  float in[] = {1, 2, 3, 4, 5, 6}, out[6] = {};
  s.fromInterleavedBuffer(in);
  EXPECT_EQ(samples(s.data(1, 0), 0, 3), (std::vector<float>{2, 4, 6}));
  EXPECT_EQ(s.data(0, 1)[0], 0.0f);
  s.toInterleavedBuffer(out, 1, 2);
  EXPECT_EQ(samples(out, 0, 6), (std::vector<float>{3, 4, 5, 6, 0, 0}));
}

// A reset to the store already held keeps the count; the last release deletes the store,
// not the first; freeData deletes whatever the count and leaves the holder null. On two
// threads the count stays exact. The sanitizer builds see a premature or missed delete.
TEST(SampleDataPtr, Counting) {
  auto *store = new SampleData(8, 1, 1);
  SampleDataPtr first(store);
  {
    SampleDataPtr second(store);
    second.reset(store);
    EXPECT_EQ(store->refCount().load(), 2);
  }
  EXPECT_EQ(store->refCount().load(), 1);
  auto churn = [store] {
    for (int i = 0; i < 20000; ++i)
      SampleDataPtr{store}.release();
  };
  std::thread t1(churn), t2(churn);
  t1.join();
  t2.join();
  EXPECT_EQ(store->refCount().load(), 1);
  first.reset(new SampleData(8, 1, 1));
  first.release();
  first.release(); // releasing null is harmless
  SampleDataPtr only(new SampleData(4, 1, 1));
  only.freeData();
  EXPECT_EQ(only.get(), nullptr);
}

// The smallest power of two not below the delay and at least 8 frames, with a 4-float
// guard, born zeroed.
TEST(SampleDelay, RingSizes) {
  struct Case { unsigned int maxDelay, channels, length, allocated; } cases[] = {
      {0, 1, 8, 12},         {1, 1, 8, 12},          {3, 1, 8, 12},          {9, 1, 16, 20},
      {4096, 1, 4096, 4100}, {65536, 1, 65536, 65540}, {5000, 2, 8192, 16388}, {4097, 1, 8192, 8196}};
  for (const Case &c : cases) {
    SampleDelay d(c.maxDelay, c.channels);
    EXPECT_EQ(d.length(), c.length) << c.maxDelay;
    EXPECT_EQ(d.allocatedFloats(), c.allocated) << c.maxDelay;
    EXPECT_EQ(samples(d.buffer(), 0, int(c.allocated)), std::vector<float>(c.allocated, 0.0f)) << c.maxDelay;
  }
}

// A tick reads before it writes, so a delay of 0, like one of the ring's length, gives the
// value of a whole ring ago. A new delay takes effect at once on the same history; silence
// outputs zeros while it stores the input. A delay beyond the ring is a broken invariant:
// the assertion route throws before the time is stored.
TEST(SampleDelay, TickSilenceAndTheRingsLimit) {
  for (unsigned int delay : {0u, 8u}) {
    SampleDelay d(8, 1);
    d.setDelayTime(delay);
    for (int i = 0; i < 24; ++i)
      EXPECT_EQ(d.tick(float(i + 1)), i < 8 ? 0.0f : float(i - 7)) << delay << " " << i;
  }
  SampleDelay d(16, 1);
  d.setDelayTime(1);
  for (int i = 0; i < 10; ++i)
    d.tick(static_cast<float>(i));
  d.setDelayTime(4);
  d.setTimeToSilence(3);
  const float want[] = {0, 0, 0, 9, 10, 11};
  for (int i = 0; i < 6; ++i)
    EXPECT_EQ(d.tick(static_cast<float>(i + 10)), want[i]) << i;
  d.setDelayTime(2);
  EXPECT_EQ(d.tick(16.0f), 14.0f);
  testing::internal::CaptureStderr();
  EXPECT_THROW(d.setDelayTime(17), base::core::AssertionFailedException);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("Condition: time <= _cbufLen"), std::string::npos);
  EXPECT_EQ(d.tick(17.0f), 15.0f);
}

// Whole blocks through the ring against an ideal delay of a ramp, wrapping it many times:
// the grouped paths and their guard must agree with the frame path.
TEST(SampleDelay, BlocksAgreeWithAnIdealDelay) {
  struct Case {
    unsigned int channels, delay, block;
  } cases[] = {{2, 5, 4}, {2, 7, 2}, {1, 4, 8}, {1, 9, 4}, {2, 3, 4}, {1, 5, 3}, {3, 6, 5}};
  for (const Case &c : cases) {
    SCOPED_TRACE(::testing::Message() << c.channels << " channels, delay " << c.delay << ", block " << c.block);
    SampleDelay delay(16, c.channels);
    delay.setDelayTime(c.delay);
    testsupport::BufferPtr in = testsupport::makeBuffer(c.block, c.channels),
                           out = testsupport::makeBuffer(c.block, c.channels);
    auto value = [&](int frame, unsigned int ch) { return static_cast<float>(frame * 10 + int(ch) + 1); };
    for (int b = 0, frame = 0; b < 40; ++b) {
      float *x = in->getRawDataAndSetUncompressed();
      for (unsigned int f = 0; f < c.block; ++f)
        for (unsigned int ch = 0; ch < c.channels; ++ch)
          x[f * c.channels + ch] = value(frame + int(f), ch);
      delay.process(*in, *out, c.block);
      for (unsigned int f = 0; f < c.block; ++f, ++frame)
        for (unsigned int ch = 0; ch < c.channels; ++ch) {
          const int source = frame - int(c.delay);
          ASSERT_EQ(out->samples()[f * c.channels + ch], source < 0 ? 0.0f : value(source, ch)) << frame;
        }
    }
  }
  // A compressed input is one frame repeated; the output comes out whole.
  SampleDelay stereo(8, 2);
  stereo.setDelayTime(4);
  testsupport::BufferPtr out = testsupport::makeBuffer(8, 2);
  for (int i = 0; i < 2; ++i)
    stereo.process(*testsupport::bufferOf(2, {0.25f, -0.5f}, true, 7.0f, 16), *out, 4);
  EXPECT_EQ(out->frameStride, 2u);
  EXPECT_EQ(testsupport::floats(*out, 8), (std::vector<float>{.25f, -.5f, .25f, -.5f, .25f, -.5f, .25f, -.5f}));
  // Silence for three frames of a block, while they are stored all the same.
  SampleDelay mono(8, 1);
  mono.setDelayTime(2);
  mono.setTimeToSilence(3);
  testsupport::BufferPtr in = testsupport::makeBuffer(8, 1), o = testsupport::makeBuffer(8, 1);
  for (int i = 0; i < 8; ++i)
    in->getRawDataAndSetUncompressed()[i] = static_cast<float>(i + 1);
  mono.process(*in, *o, 8);
  EXPECT_EQ(mono.timeToSilence(), 0u);
  EXPECT_EQ(testsupport::floats(*o, 8), (std::vector<float>{0, 0, 0, 2, 3, 4, 5, 6}));
  EXPECT_EQ(std::vector<float>(mono.buffer(), mono.buffer() + 8), testsupport::floats(*in, 8));
}

// The store reads a compressed buffer as its one frame repeated, and a full one through its stride.
TEST(SampleData, FromAudioBufferReadsThroughTheStride) {
  SampleData store(10, 2, 1);
  store.fromAudioBuffer(*testsupport::bufferOf(2, {0.25f, -0.5f}, true, 7.0f, 16));
  for (int i = 0; i < 10; ++i)
    ASSERT_TRUE(store.data(0, 0)[i] == 0.25f && store.data(1, 0)[i] == -0.5f) << i;
  testsupport::BufferPtr b = testsupport::makeBuffer(10, 2);
  float *x = b->getRawDataAndSetUncompressed();
  for (int i = 0; i < 20; ++i)
    x[i] = static_cast<float>(i);
  store.fromAudioBuffer(*b);
  EXPECT_EQ(store.data(0, 0)[9], 18.0f);
  EXPECT_EQ(store.data(1, 0)[9], 19.0f);
}
