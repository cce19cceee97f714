//===- tests/engine/SampleDataTest.cpp - Block store and its holder --------===//
#include "engine/core/dsp/SampleData.h"
#include "engine/core/dsp/SampleDataPtr.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <thread>
#include <type_traits>
#include <vector>

using engine::SampleData;
using engine::SampleDataPtr;

static_assert(!std::is_copy_constructible_v<SampleData>, "a store is shared by holders only");
static_assert(!std::is_copy_constructible_v<SampleDataPtr>, "holders change hands by reset");

TEST(SampleData, LayoutGuardsAndAlignment) {
  // length rounded up to 8 samples, 4 bytes each, 128 bytes of guard.
  EXPECT_EQ(SampleData::channelAreaBytes(5), 160u);
  EXPECT_EQ(SampleData::channelAreaBytes(8), 160u);
  EXPECT_EQ(SampleData::channelAreaBytes(9), 192u);
  EXPECT_EQ(SampleData::channelAreaBytes(0), 128u);

  SampleData s(9, 2, 3);
  EXPECT_EQ(s.length(), 9u);
  EXPECT_EQ(s.numChannels(), 2u);
  EXPECT_EQ(s.numStreams(), 3u);
  // Areas are stream-major and adjacent; every sample pointer is 16-byte aligned; all of
  // each area, guards included, starts at zero.
  for (unsigned int st = 0; st < 3; ++st)
    for (unsigned int c = 0; c < 2; ++c) {
      float *p = s.data(c, st);
      EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 16, 0u);
      EXPECT_EQ(reinterpret_cast<char *>(p) - reinterpret_cast<char *>(s.data(0, 0)),
                static_cast<std::ptrdiff_t>((st * 2 + c) * 192));
      for (int i = -16; i < 32; ++i)
        EXPECT_EQ(p[i], 0.0f);
      EXPECT_EQ(s.stream(st)[c], p);
      EXPECT_EQ(s.getDataPtrAtIndex(c, st, 5, 99), p + 5);
    }

  // No channels or no streams: nothing allocated, no pointer set.
  SampleData empty(100, 0, 4);
  EXPECT_EQ(empty.data(0, 0), nullptr);
  // Beyond the 12 x 2 pointer table, the store keeps what fits.
  SampleData wide(16, 3, 13);
  EXPECT_EQ(wide.numChannels(), 2u);
  EXPECT_EQ(wide.numStreams(), 12u);
  wide.data(1, 11)[15] = 1.0f;
}

TEST(SampleData, CopyAddZeroAndClear) {
  SampleData a(32, 1, 2), b(32, 1, 2);
  for (unsigned int st = 0; st < 2; ++st)
    for (int i = 0; i < 32; ++i) {
      a.data(0, st)[i] = static_cast<float>(i + 100 * st);
      b.data(0, st)[i] = 1.0f;
    }

  // A count of 0 changes nothing.
  b.copyData(&a, 0, 0, 0);
  b.addData(&a, 0, 0, 0);
  b.zeroData(0, 0);
  for (int i = 0; i < 32; ++i)
    EXPECT_EQ(b.data(0, 1)[i], 1.0f);

  // addData works in groups of 8: a count of 10 adds 16 samples.
  b.addData(&a, 4, 8, 10);
  for (int i = 0; i < 32; ++i) {
    const bool added = i >= 8 && i < 24;
    EXPECT_EQ(b.data(0, 0)[i], added ? 1.0f + static_cast<float>(i - 4) : 1.0f) << i;
    EXPECT_EQ(b.data(0, 1)[i], added ? 101.0f + static_cast<float>(i - 4) : 1.0f) << i;
  }
  // An offset that is no multiple of 4 still adds the right samples.
  SampleData c(16, 1, 1);
  c.addData(&a, 1, 3, 8);
  EXPECT_EQ(c.data(0, 0)[2], 0.0f);
  EXPECT_EQ(c.data(0, 0)[3], 1.0f);
  EXPECT_EQ(c.data(0, 0)[10], 8.0f);

  b.copyData(&a, 30, 0, 2);
  EXPECT_EQ(b.data(0, 0)[0], 30.0f);
  EXPECT_EQ(b.data(0, 1)[1], 131.0f);
  EXPECT_EQ(b.data(0, 0)[2], 1.0f);

  b.zeroData(28, 4);
  EXPECT_EQ(b.data(0, 1)[27], 1.0f);
  EXPECT_EQ(b.data(0, 1)[28], 0.0f);
  EXPECT_EQ(b.data(0, 1)[31], 0.0f);

  // clear leaves the guards alone.
  b.data(0, 0)[32] = 7.0f;
  b.data(0, 0)[-1] = 7.0f;
  b.clear();
  for (int i = 0; i < 32; ++i)
    EXPECT_EQ(b.data(0, 0)[i], 0.0f);
  EXPECT_EQ(b.data(0, 0)[32], 7.0f);
  EXPECT_EQ(b.data(0, 0)[-1], 7.0f);
}

TEST(SampleData, Interleaving) {
  SampleData s(3, 2, 2);
  const float in[] = {1, 2, 3, 4, 5, 6};
  s.fromInterleavedBuffer(in);
  EXPECT_EQ(std::vector<float>(s.data(1, 0), s.data(1, 0) + 3), (std::vector<float>{2, 4, 6}));
  EXPECT_EQ(s.data(0, 1)[0], 0.0f); // only stream 0
  float out[6] = {};
  s.toInterleavedBuffer(out);
  EXPECT_EQ(std::vector<float>(out, out + 6), std::vector<float>(in, in + 6));
  float part[2] = {};
  s.toInterleavedBuffer(part, 1, 1);
  EXPECT_EQ(std::vector<float>(part, part + 2), (std::vector<float>{3, 4}));
}

TEST(SampleDataPtr, Counting) {
  auto *store = new SampleData(8, 1, 1);
  EXPECT_EQ(store->refCount().load(), 0);
  SampleDataPtr first(store);
  EXPECT_EQ(store->refCount().load(), 1);
  {
    SampleDataPtr second;
    EXPECT_FALSE(second);
    second.reset(store);
    EXPECT_EQ(store->refCount().load(), 2);
    second.reset(store); // the same store again changes nothing
    EXPECT_EQ(store->refCount().load(), 2);
  } // released by the first of two holders: the store lives on
  EXPECT_EQ(store->refCount().load(), 1);
  store->data(0, 0)[0] = 1.0f;
  first.reset(new SampleData(8, 1, 1)); // the second release deletes the old store
  EXPECT_EQ(first->refCount().load(), 1);
  first.release();
  EXPECT_EQ(first.get(), nullptr);
  first.release(); // releasing null is harmless

  SampleDataPtr only(new SampleData(4, 1, 1));
  only.freeData();
  EXPECT_EQ(only.get(), nullptr);
}

// Holders on two threads: the count stays exact, so the store is deleted once, by the last.
TEST(SampleDataPtr, CountsAcrossThreads) {
  auto *store = new SampleData(8, 1, 1);
  SampleDataPtr keeper(store);
  auto churn = [store] {
    for (int i = 0; i < 20000; ++i) {
      SampleDataPtr p(store);
      p.release();
    }
  };
  std::thread t1(churn), t2(churn);
  t1.join();
  t2.join();
  EXPECT_EQ(store->refCount().load(), 1);
}
