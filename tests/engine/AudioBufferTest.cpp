//===- tests/engine/AudioBufferTest.cpp - Buffer model and its bridges -----===//
#include "engine/core/AudioBuffer.h"
#include "tests/support/AudioBuffers.h"
#include "engine/core/dsp/Delay.h"
#include "engine/core/dsp/SampleData.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <vector>

using engine::AudioBuffer;
using testsupport::BufferPtr;
using testsupport::makeBuffer;

namespace {

const float NaN = std::numeric_limits<float>::quiet_NaN();

// A compressed buffer whose pattern is the given floats and whose stale samples are 7.
BufferPtr compressed(uint32_t channels, std::vector<float> pattern) {
  return testsupport::bufferOf(channels, pattern, true, 7.0f, 16);
}

} // namespace

TEST(AudioBuffer, Sizes) {
  using engine::getRequiredBufferSize;
  EXPECT_EQ(AudioBuffer::getRequiredTotalSize(1024, 2), 8224u);
  EXPECT_EQ(AudioBuffer::getRequiredTotalSize64(1024, 2), 16416u);
  EXPECT_EQ(AudioBuffer::getRequiredTotalSize(1, 1), 64u);
  EXPECT_EQ(AudioBuffer::getRequiredTotalSize(0, 2), 32u);
  EXPECT_EQ(getRequiredBufferSize(3, 1, 4), 32u);
  EXPECT_EQ(getRequiredBufferSize(9, 1, 4), 64u);
  // The frame-channel product is formed in 32 bits, the byte count cut back to 32 bits.
  EXPECT_EQ(getRequiredBufferSize(65536, 65536, 4), 0u);
  EXPECT_EQ(getRequiredBufferSize(1u << 30, 1, 8), 0u);
}

TEST(AudioBuffer, CreationClearsThePatternOrItsFirstHalf) {
  // create clears all eight floats, even of a buffer with no frames.
  for (uint32_t frames : {0u, 1u, 100u}) {
    BufferPtr b = makeBuffer(frames, 1);
    EXPECT_EQ(b->frameStride, 0u);
    EXPECT_EQ(testsupport::floats(*b, 8), std::vector<float>(8, 0.0f));
    EXPECT_TRUE(b->compressedValueEquals(0.0f));
  }
  // createOnStack and the constructor on dirty memory clear only the first 16 bytes.
  alignas(16) unsigned char memory[256];
  std::memset(memory, 0x41, sizeof memory); // 0x41414141 is 12.078431f
  AudioBuffer *b = AudioBuffer::createOnStack(8, 1, memory);
  EXPECT_EQ(b->bytesPerSample, 4u);
  EXPECT_EQ(testsupport::floats(*b, 8),
            (std::vector<float>{0, 0, 0, 0, 12.078431f, 12.078431f, 12.078431f, 12.078431f}));
  EXPECT_FALSE(b->isBufferStateValid());

  // The copy constructor copies nothing.
  BufferPtr source = compressed(2, {0.5f, -0.5f});
  const AudioBuffer copy(*source);
  EXPECT_EQ(copy.numChannels + copy.numFrames + copy.bytesPerSample + copy.frameStride, 0u);
  EXPECT_EQ(testsupport::floats(copy, 4), std::vector<float>(4, 0.0f));

  BufferPtr wide(AudioBuffer::create64(4, 2));
  EXPECT_EQ(wide->bytesPerSample, 8u);
  EXPECT_EQ(wide->getRawData64ForReading()[1], 0.0);
}

TEST(AudioBuffer, DeclaringWrites) {
  const float v[4] = {1, 2, 3, 4};
  BufferPtr b = makeBuffer(16, 4);
  std::fill_n(b->samples(), 8, 9.0f);
  b->afterCompressedWrite<4>(v); // the caller computed floats 0 to 3 in place
  EXPECT_EQ(testsupport::floats(*b, 8), (std::vector<float>{9, 9, 9, 9, 1, 2, 3, 4}));
  b->afterCompressedWrite<2>(v);
  EXPECT_EQ(testsupport::floats(*b, 8), (std::vector<float>{1, 2, 1, 2, 1, 2, 1, 2}));
  b->afterCompressedWrite<1>(v);
  EXPECT_EQ(testsupport::floats(*b, 8), std::vector<float>(8, 1.0f));
  EXPECT_EQ(b->frameStride, 0u);
  b->afterFullWrite<2>();
  EXPECT_EQ(b->frameStride, 2u);

  struct Case {
    uint32_t channels;
    std::vector<float> after;
  } cases[] = {{1, {1, 1, 1, 1, 1, 1, 1, 1}},
               {2, {1, 2, 1, 2, 1, 2, 1, 2}},
               {3, {1, 2, 3, 4, 5, 6, 7, 8}}, // nothing replicates three channels
               {4, {1, 2, 3, 4, 1, 2, 3, 4}}};
  for (const Case &c : cases) {
    BufferPtr x = makeBuffer(8, c.channels);
    for (int i = 0; i < 8; ++i)
      x->samples()[i] = static_cast<float>(i + 1);
    x->afterWrite(false);
    EXPECT_EQ(x->frameStride, c.channels);
    x->afterWrite(true);
    EXPECT_EQ(x->frameStride, 0u);
    EXPECT_EQ(testsupport::floats(*x, 8), c.after) << c.channels;
    EXPECT_TRUE(x->isBufferStateValid());
  }

  BufferPtr s = compressed(2, {3.0f, 4.0f});
  s->setUncompressedValue(0.5f, 3);
  EXPECT_EQ(s->frameStride, 2u);
  EXPECT_EQ(testsupport::floats(*s, 7), (std::vector<float>{.5f, .5f, .5f, .5f, .5f, .5f, 3}));

  // A writer is a snapshot of channel 0.
  const engine::AudioBufferWriter w = compressed(2, {0.25f, 0.5f})->writer();
  EXPECT_TRUE(w.compressed);
  EXPECT_EQ(w.compressedValue, 0.25f);
  EXPECT_FALSE(s->writer().compressed);
  EXPECT_EQ(s->writer().compressedValue, 0.0f);
}

TEST(AudioBuffer, BulkMoves) {
  alignas(16) float source[16];
  for (int i = 0; i < 16; ++i)
    source[i] = static_cast<float>(i + 1);

  // Counts go up to whole groups of eight; a count below 1 still declares samples.
  BufferPtr b = compressed(1, {0.0f});
  b->importFromFloatPtr(source, 0);
  EXPECT_EQ(b->frameStride, 1u);
  EXPECT_EQ(b->samples()[0], 0.0f);
  b->importFromFloatPtr(source, 5);
  EXPECT_EQ(testsupport::floats(*b, 9), (std::vector<float>{1, 2, 3, 4, 5, 6, 7, 8, 7}));

  alignas(16) float out[16];
  std::fill_n(out, 16, -1.0f);
  compressed(2, {0.25f, 0.5f})->expandTo(out, 9); // channel 0 throughout
  EXPECT_EQ(std::vector<float>(out, out + 16),
            (std::vector<float>{.25f, .25f, .25f, .25f, .25f, .25f, .25f, .25f, .25f, .25f,
                                .25f, .25f, .25f, .25f, .25f, .25f}));

  BufferPtr d = makeBuffer(16, 2);
  d->copyTo(*compressed(2, {0.25f, 0.5f}), 16);
  EXPECT_EQ(d->frameStride, 0u);
  EXPECT_EQ(testsupport::floats(*d, 8), (std::vector<float>{.25f, .5f, .25f, .5f, .25f, .5f, .25f, .5f}));
  d->copyTo(*b, 4);
  EXPECT_EQ(d->frameStride, 2u);
  EXPECT_EQ(testsupport::floats(*d, 8), (std::vector<float>{1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST(AudioBuffer, ClearChannel) {
  // Silent compressed buffers (zero as a float: -0 and NaN count) get no store at all,
  // not even into the stale samples.
  for (float zero : {0.0f, -0.0f, NaN}) {
    BufferPtr b = compressed(1, {zero});
    b->clearChannel(0, 8, 10);
    EXPECT_EQ(b->samples()[9], 7.0f);
  }
  // Elsewhere the stores land where they fall, pattern included, and the state stays.
  BufferPtr c = compressed(2, {1.0f, 2.0f});
  c->clearChannel(1, 0, 2);
  EXPECT_EQ(c->frameStride, 0u);
  EXPECT_EQ(testsupport::floats(*c, 8), (std::vector<float>{1, 0, 1, 0, 1, 2, 1, 2}));
  c->clearChannel(2, 0, 4);  // no such channel
  c->clearChannel(-1, 0, 4); // compared unsigned
  c->clearChannel(0, 3, 3);  // empty range
  c->clearChannel(0, -5, 1); // frames before the first are not the buffer's
  EXPECT_EQ(testsupport::floats(*c, 8), (std::vector<float>{0, 0, 1, 0, 1, 2, 1, 2}));
  EXPECT_EQ(c->numChannels, 2u);
}

TEST(AudioBuffer, QueriesAndChecks) {
  const float above1 = std::nextafter(1.0f, 2.0f);
  BufferPtr zeros = makeBuffer(8, 1);
  (void)zeros->getRawDataAndSetUncompressed();
  EXPECT_FALSE(zeros->compressedValueEquals(0.0f));
  EXPECT_FALSE(zeros->compressedValueEquals(0.0f, 100));

  EXPECT_TRUE(compressed(1, {above1})->compressedValueEquals(1.0f, 1));
  EXPECT_FALSE(compressed(1, {above1})->compressedValueEquals(1.0f, 0));
  EXPECT_TRUE(compressed(1, {-0.0f})->compressedValueEquals(0.0f));
  EXPECT_FALSE(compressed(1, {-0.0f})->compressedValueEquals(0.0f, 1000));
  EXPECT_TRUE(compressed(1, {NaN})->compressedValueEquals(3.0f)); // unordered passes
  EXPECT_FALSE(compressed(2, {1.0f, 2.0f})->compressedValueEquals(1.0f));
  EXPECT_TRUE(compressed(0, {})->compressedValueEquals(5.0f));

  BufferPtr v = makeBuffer(65536, 8);
  EXPECT_TRUE(v->isBufferStateValid());
  for (uint32_t AudioBuffer::*field : {&AudioBuffer::frameStride, &AudioBuffer::numChannels,
                                       &AudioBuffer::bytesPerSample}) {
    BufferPtr x = makeBuffer(4, 2);
    (*x).*field = 9;
    EXPECT_FALSE(x->isBufferStateValid());
  }
  BufferPtr big = makeBuffer(65537, 1);
  EXPECT_FALSE(big->isBufferStateValid());
  BufferPtr odd = compressed(4, {1, 2, 3, 4});
  odd->samples()[6] = NaN; // a NaN mismatches nothing
  EXPECT_TRUE(odd->isBufferStateValid());
  odd->samples()[7] = 5.0f;
  EXPECT_FALSE(odd->isBufferStateValid());

  BufferPtr r = compressed(2, {1e6f, -1e6f});
  r->samples()[8] = 2e6f;
  EXPECT_TRUE(r->areRangesValid(16)); // a compressed buffer is one frame
  r->afterWrite(false);
  EXPECT_TRUE(r->areRangesValid(4));
  EXPECT_FALSE(r->areRangesValid(5));
  EXPECT_FALSE(compressed(1, {std::nextafter(-1e6f, -2e6f)})->areRangesValid(1));
  EXPECT_FALSE(compressed(1, {NaN})->areRangesValid(1));
}

// An ideal delay by `delay` frames of a ramp, compared frame for frame, through enough
// blocks to wrap the ring many times: the grouped paths and their guard must agree with
// the frame path.
TEST(SampleDelayBlocks, AgreeWithAnIdealDelay) {
  struct Case {
    unsigned int channels, delay, block;
  } cases[] = {{2, 5, 4}, {2, 7, 2}, {1, 4, 8}, {1, 9, 4}, {2, 3, 4}, {1, 5, 3}, {3, 6, 5}};
  for (const Case &c : cases) {
    SCOPED_TRACE(::testing::Message() << c.channels << " channels, delay " << c.delay
                                      << ", block " << c.block);
    engine::SampleDelay delay(16, c.channels);
    delay.setDelayTime(c.delay);
    BufferPtr in = makeBuffer(c.block, c.channels), out = makeBuffer(c.block, c.channels);
    int frame = 0;
    for (int b = 0; b < 40; ++b) {
      float *x = in->getRawDataAndSetUncompressed();
      for (unsigned int f = 0; f < c.block; ++f)
        for (unsigned int ch = 0; ch < c.channels; ++ch)
          x[f * c.channels + ch] = static_cast<float>((frame + int(f)) * 10 + int(ch) + 1);
      delay.process(*in, *out, c.block);
      for (unsigned int f = 0; f < c.block; ++f, ++frame)
        for (unsigned int ch = 0; ch < c.channels; ++ch) {
          const int source = frame - int(c.delay);
          ASSERT_EQ(out->samples()[f * c.channels + ch],
                    source < 0 ? 0.0f : static_cast<float>(source * 10 + int(ch) + 1))
              << "frame " << frame;
        }
    }
  }
}

TEST(SampleDelayBlocks, CompressedInputAndSilence) {
  engine::SampleDelay delay(8, 2);
  delay.setDelayTime(4);
  BufferPtr out = makeBuffer(8, 2);
  for (int i = 0; i < 2; ++i)
    delay.process(*compressed(2, {0.25f, -0.5f}), *out, 4);
  EXPECT_EQ(out->frameStride, 2u);
  EXPECT_EQ(testsupport::floats(*out, 8),
            (std::vector<float>{.25f, -.5f, .25f, -.5f, .25f, -.5f, .25f, -.5f}));

  // Silence for three frames, while they are stored all the same.
  engine::SampleDelay mono(8, 1);
  mono.setDelayTime(2);
  mono.setTimeToSilence(3);
  BufferPtr in = makeBuffer(8, 1), o = makeBuffer(8, 1);
  float *x = in->getRawDataAndSetUncompressed();
  for (int i = 0; i < 8; ++i)
    x[i] = static_cast<float>(i + 1);
  mono.process(*in, *o, 8);
  EXPECT_EQ(mono.timeToSilence(), 0u);
  EXPECT_EQ(testsupport::floats(*o, 8), (std::vector<float>{0, 0, 0, 2, 3, 4, 5, 6}));
  EXPECT_EQ(std::vector<float>(mono.buffer(), mono.buffer() + 8), testsupport::floats(*in, 8));
}

TEST(SampleDataBridge, FromAudioBufferReadsThroughTheStride) {
  engine::SampleData store(10, 2, 1);
  store.fromAudioBuffer(*compressed(2, {0.25f, -0.5f}));
  for (int i = 0; i < 10; ++i)
    ASSERT_TRUE(store.data(0, 0)[i] == 0.25f && store.data(1, 0)[i] == -0.5f) << i;

  BufferPtr b = makeBuffer(10, 2);
  float *x = b->getRawDataAndSetUncompressed();
  for (int i = 0; i < 20; ++i)
    x[i] = static_cast<float>(i);
  store.fromAudioBuffer(*b);
  EXPECT_EQ(store.data(0, 0)[9], 18.0f);
  EXPECT_EQ(store.data(1, 0)[9], 19.0f);
}
