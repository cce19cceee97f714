//===- tests/engine/AudioBufferTest.cpp - Buffers, their formats and measures ===//
#include "engine/core/AudioBuffer.h"
#include "tests/support/AudioBuffers.h"
#include "tests/support/Bits.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <numeric>
#include <utility>
#include <vector>

using engine::AudioBuffer;
using testsupport::BufferPtr;
using testsupport::floats;
using testsupport::makeBuffer;
using V = std::vector<float>;
using Bools = std::vector<bool>;
using State = std::pair<uint32_t, V>; // frameStride and the first floats

namespace {

const float NaN = std::numeric_limits<float>::quiet_NaN();

BufferPtr compressed(uint32_t channels, const V &pattern) { return testsupport::bufferOf(channels, pattern, true, 7.0f, 16); } // stale samples 7
BufferPtr filled(uint32_t channels, const V &v) { return testsupport::bufferOf(channels, v, false); }
State state(const AudioBuffer &b, size_t n) { return {b.frameStride, floats(b, n)}; }
const int Mono[] = {0}, Stereo[] = {0, 1};

} // namespace

TEST(AudioBuffer, SizesAndCreation) {
  using engine::getRequiredBufferSize;
  // The frame-channel product is formed in 32 bits, the byte count cut back to 32 bits.
  EXPECT_EQ((std::vector<uint32_t>{AudioBuffer::getRequiredTotalSize(1024, 2), AudioBuffer::getRequiredTotalSize64(1024, 2),
                                   AudioBuffer::getRequiredTotalSize(1, 1), AudioBuffer::getRequiredTotalSize(0, 2),
                                   getRequiredBufferSize(3, 1, 4), getRequiredBufferSize(9, 1, 4),
                                   getRequiredBufferSize(65536, 65536, 4), getRequiredBufferSize(1u << 30, 1, 8)}),
            (std::vector<uint32_t>{8224, 16416, 64, 32, 32, 64, 0, 0}));
  // create clears eight floats, createOnStack only four; the copy constructor copies nothing.
  for (uint32_t frames : {0u, 1u, 100u})
    EXPECT_EQ(state(*makeBuffer(frames, 1), 8), State(0, V(8, 0.0f))) << frames;
  alignas(16) unsigned char memory[256];
  std::memset(memory, 0x41, sizeof memory); // 0x41414141 is 12.078431f
  AudioBuffer *b = AudioBuffer::createOnStack(8, 1, memory);
  EXPECT_EQ(floats(*b, 8), (V{0, 0, 0, 0, 12.078431f, 12.078431f, 12.078431f, 12.078431f}));
  EXPECT_TRUE(b->bytesPerSample == 4 && !b->isBufferStateValid());
  const AudioBuffer copy(*compressed(2, {0.5f, -0.5f}));
  EXPECT_EQ(copy.numChannels + copy.numFrames + copy.bytesPerSample + copy.frameStride, 0u);
  EXPECT_EQ(floats(copy, 4), V(4, 0.0f));
  EXPECT_EQ(BufferPtr(AudioBuffer::create64(4, 2))->bytesPerSample, 8u);
}

TEST(AudioBuffer, DeclaringWrites) {
  const float v[4] = {1, 2, 3, 4};
  BufferPtr b = makeBuffer(16, 4);
  std::fill_n(b->samples(), 8, 9.0f);
  b->afterCompressedWrite<4>(v); // the caller computed floats 0 to 3 in place
  EXPECT_EQ(state(*b, 8), State(0, {9, 9, 9, 9, 1, 2, 3, 4}));
  b->afterCompressedWrite<2>(v);
  EXPECT_EQ(floats(*b, 8), (V{1, 2, 1, 2, 1, 2, 1, 2}));
  // afterWrite(true) replicates whole frames; nothing replicates three channels.
  const V after[] = {V(8, 1), {1, 2, 1, 2, 1, 2, 1, 2}, {1, 2, 3, 4, 5, 6, 7, 8}, {1, 2, 3, 4, 1, 2, 3, 4}};
  for (uint32_t channels = 1; channels <= 4; ++channels) {
    BufferPtr x = makeBuffer(8, channels);
    std::iota(x->samples(), x->samples() + 8, 1.0f);
    x->afterWrite(true);
    EXPECT_EQ(state(*x, 8), State(0, after[channels - 1])) << channels;
    EXPECT_TRUE(x->isBufferStateValid());
    x->afterWrite(false);
    EXPECT_EQ(x->frameStride, channels);
  }
  BufferPtr s = compressed(2, {3.0f, 4.0f});
  s->setUncompressedValue(0.5f, 3);
  EXPECT_EQ(state(*s, 7), State(2, {.5f, .5f, .5f, .5f, .5f, .5f, 3}));
  // A writer is a snapshot of channel 0.
  const engine::AudioBufferWriter w = compressed(2, {0.25f, 0.5f})->writer();
  EXPECT_TRUE(w.compressed && w.compressedValue == 0.25f);
  EXPECT_TRUE(!s->writer().compressed && s->writer().compressedValue == 0.0f);
}

TEST(AudioBuffer, BulkMovesClearChannelAndChecks) {
  alignas(16) float source[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10};
  // Counts go up to whole groups of eight; a count below 1 still declares samples.
  BufferPtr b = compressed(1, {0.0f});
  b->importFromFloatPtr(source, 0);
  EXPECT_EQ(state(*b, 1), State(1, {0}));
  b->importFromFloatPtr(source, 5);
  EXPECT_EQ(floats(*b, 9), (V{1, 2, 3, 4, 5, 6, 7, 8, 7}));
  BufferPtr d = makeBuffer(16, 2);
  d->copyTo(*compressed(2, {0.25f, 0.5f}), 16);
  EXPECT_EQ(state(*d, 8), State(0, {.25f, .5f, .25f, .5f, .25f, .5f, .25f, .5f}));
  d->copyTo(*b, 4);
  EXPECT_EQ(state(*d, 8), State(2, {1, 2, 3, 4, 5, 6, 7, 8}));
  // clearChannel: silent compressed buffers (-0 and NaN count) get no store at all.
  for (float zero : {0.0f, -0.0f, NaN}) {
    BufferPtr z = compressed(1, {zero});
    z->clearChannel(0, 8, 10);
    EXPECT_EQ(z->samples()[9], 7.0f);
  }
  // Elsewhere the stores land where they fall, pattern included, and the state stays.
  BufferPtr c = compressed(2, {1.0f, 2.0f});
  c->clearChannel(1, 0, 2);
  EXPECT_EQ(state(*c, 8), State(0, {1, 0, 1, 0, 1, 2, 1, 2}));
  c->clearChannel(-1, 0, 4); // compared unsigned: no such channel
  c->clearChannel(0, -5, 1); // frames before the first are not the buffer's
  EXPECT_EQ(floats(*c, 8), (V{0, 0, 1, 0, 1, 2, 1, 2}));
  // compressedValueEquals: never true of a sample buffer; its unit form tells +0 from -0.
  const float above1 = std::nextafter(1.0f, 2.0f);
  BufferPtr zeros = filled(1, {});
  EXPECT_EQ((Bools{zeros->compressedValueEquals(0.0f), zeros->compressedValueEquals(0.0f, 100),
                   compressed(1, {above1})->compressedValueEquals(1.0f, 1), compressed(1, {above1})->compressedValueEquals(1.0f, 0),
                   compressed(1, {-0.0f})->compressedValueEquals(0.0f), compressed(1, {-0.0f})->compressedValueEquals(0.0f, 1000),
                   compressed(1, {NaN})->compressedValueEquals(3.0f), compressed(2, {1.0f, 2.0f})->compressedValueEquals(1.0f),
                   compressed(0, {})->compressedValueEquals(5.0f)}),
            (Bools{false, false, true, false, true, false, true, false, true}));

  // Debugging checks: a NaN mismatches no pattern float, but fails the +-1e6 range.
  BufferPtr wide = makeBuffer(4, 2), odd = compressed(4, {1, 2, 3, 4}), odder = compressed(4, {1, 2, 3, 4});
  wide->numChannels = 9;
  odd->samples()[6] = NaN;
  odder->samples()[7] = 5.0f;
  const V range = {1e6f, -1e6f, 1e6f, -1e6f, 1e6f, -1e6f, 1e6f, -1e6f, 2e6f};
  EXPECT_EQ((Bools{makeBuffer(65536, 8)->isBufferStateValid(), makeBuffer(65537, 1)->isBufferStateValid(), wide->isBufferStateValid(),
                   odd->isBufferStateValid(), odder->isBufferStateValid(), compressed(2, range)->areRangesValid(16), filled(2, range)->areRangesValid(4),
                   filled(2, range)->areRangesValid(5), compressed(1, {std::nextafter(-1e6f, -2e6f)})->areRangesValid(1), compressed(1, {NaN})->areRangesValid(1)}),
            (Bools{true, false, false, true, false, true, true, false, false, false}));
}

// Over one frame when compressed, and at least 8 floats; sum is the sum of magnitudes, kept.
TEST(AudioBuffer, MeasuresSilenceAndLevels) {
  BufferPtr c = compressed(2, {1, -3});
  for (uint32_t n : {1u, 100u})
    EXPECT_EQ((V{c->sum(n), c->mean(n), c->max(n), c->min(n), c->maxabs(n), c->minabs(n)}), (V{16, -1, 1, -3, 3, 1})) << n;
  BufferPtr s = filled(1, {2, 2, 2, 9, 9, 9, 9, 9});
  EXPECT_EQ((V{s->max(3), s->mean(3)}), (V{9, 51.0f / 8}));
  // isQuiet's bound 0x37800074 is inclusive; isQuieterThan counts floats, kept apart from it.
  const float quiet = testsupport::floatOf(0x37800074u), above = std::nextafter(quiet, 1.0f);
  BufferPtr zeros = filled(2, {}), stereo = filled(2, {0, 0, 0, 0.5f});
  EXPECT_EQ((Bools{zeros->isSilent(), zeros->isQuiet(4), compressed(2, {-0.0f, NaN})->isSilent(),
                   filled(1, {quiet, -quiet})->isQuiet(2), filled(1, {0, above})->isQuiet(2), compressed(1, {NaN})->isQuiet(9),
                   stereo->isQuieterThan(3, 0.1f), stereo->isQuieterThan(4, 0.1f),
                   compressed(2, {0.0f, 0.5f})->isQuieterThan(8, 0.1f), zeros->isQuieterThan(1, -0.1f)}),
            (Bools{false, true, true, true, false, false, true, false, true, false}));
  BufferPtr db = filled(1, {0, -20, 20}), lin = filled(1, {0, 1, 10, -5}), constant = compressed(1, {2.5f}), ramp = compressed(2, {});
  db->dbToLinear(3);
  EXPECT_EQ(db->samples()[0], 1.0f);
  EXPECT_NEAR(db->samples()[1], 0.1f, 1e-7f);
  EXPECT_NEAR(db->samples()[2], 10.0f, 1e-5f);
  lin->linearToDb(4);
  EXPECT_EQ(floats(*lin, 4), (V{-300, 0, 20, -300}));
  constant->round(1);
  EXPECT_EQ(state(*constant, 8), State(0, V(8, 2.0f)));
  // Kept: the ramp starts four increments past `start`, and ends mono.
  ramp->fillWithClippedRamp(0, 1, -100, 100, 4);
  EXPECT_EQ(state(*ramp, 4), State(1, {4, 5, 6, 7}));
  ramp->fillWithClippedRamp(0, 1, 0, 5, 8);
  EXPECT_EQ(floats(*ramp, 8), (V{4, 5, 5, 5, 5, 5, 5, 5}));
}

// Vector path (8 frames, identity) and scalar (7, exact count) alike: truncation, NaN the
// lowest value, and Int32 wrapping at +1.0 as designed; Int24 low byte first.
TEST(AudioBufferFormats, IntegersAndTheInt24Layout) {
  const int32_t Low = std::numeric_limits<int32_t>::min();
  const struct {
    float in;
    int32_t i16, i24, i32;
  } rows[] = {{1.0f, 32767, 8388607, Low}, {-1.0f, -32768, -8388608, Low}, {1.5f, 32767, 8388607, Low},
              {0.5f, 16384, 4194304, 1073741824}, {NaN, -32768, -8388608, Low}, {0.99996f, 32766, 8388272, 2147397760},
              {0.99999994f, 32767, 8388607, 2147483520}, {1.0f / 65536, 0, 128, 32768}, {-1.0f / 65536, 0, -128, -32768},
              {0x1p-23f, 0, 1, 256}, {-0x1p-24f, 0, 0, -128}, {-0.5f, -16384, -4194304, -1073741824}, {2.0f, 32767, 8388607, Low},
              {-2.0f, -32768, -8388608, Low}, {-3.0f, -32768, -8388608, Low}, {-0.0f, 0, 0, 0}};
  V in;
  for (const auto &r : rows)
    in.push_back(r.in);
  for (uint32_t frames : {8u, 7u}) {
    std::vector<short> i16(16, 99);
    std::vector<char> i24(48, 99);
    std::vector<int> i32(16, 99);
    filled(2, in)->toInterleavedInt16Data(i16.data(), frames, 2, Stereo);
    filled(2, in)->toInterleavedInt24Data(i24.data(), frames, 2, Stereo);
    filled(2, in)->toInterleavedInt32Data(i32.data(), frames, 2, Stereo);
    for (size_t i = 0; i < 16; ++i) {
      const bool w = i < 2 * frames; // the rest untouched
      const int32_t got24 = static_cast<unsigned char>(i24[3 * i]) | static_cast<unsigned char>(i24[3 * i + 1]) << 8 | static_cast<signed char>(i24[3 * i + 2]) * 65536;
      EXPECT_EQ((std::vector<int32_t>{i16[i], got24, i32[i]}), (std::vector<int32_t>{w ? rows[i].i16 : 99, w ? rows[i].i24 : 0x636363, w ? rows[i].i32 : 99}))
          << rows[i].in << ", " << frames << " frames";
    }
  }
  // Imports through vectors and tail; Int24 ignores the map (kept); Float32 copies groups of 8.
  BufferPtr b = makeBuffer(8, 2), m = makeBuffer(8, 1);
  const short pcm16[] = {-32768, 32767, 0, 1, -1, 16384, -16384, 3, 32767, -32768};
  b->fromInterleavedInt16Data(pcm16, 5, 2, Stereo);
  EXPECT_EQ(state(*b, 10), State(2, {-1, 32767 * 0x1p-15f, 0, 0x1p-15f, -0x1p-15f, .5f, -.5f, 3 * 0x1p-15f, 32767 * 0x1p-15f, -1}));
  const int pcm32[] = {std::numeric_limits<int>::min(), 1 << 30, 1, -1, 3, -(1 << 29)};
  b->fromInterleavedInt32Data(pcm32, 3, 2, Stereo);
  EXPECT_EQ(floats(*b, 6), (V{-1, .5f, 0x1p-31f, -0x1p-31f, 3 * 0x1p-31f, -.25f}));
  const char pcm24[] = {'\xFF', '\xFF', '\x7F', '\x00', '\x00', '\x80', '\x00', '\x01', '\x00', '\xFF', '\xFF', '\xFF'};
  const int swapped[] = {1, 0};
  b->fromInterleavedInt24Data(pcm24, 2, 5, swapped);
  EXPECT_EQ(state(*b, 4), State(2, {8388607 * 0x1p-23f, -1.0f, 256 * 0x1p-23f, -0x1p-23f}));
  const float source[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  m->fromInterleavedFloat32Data(source, 5, 1, Mono);
  EXPECT_EQ(state(*m, 8), State(1, {1, 2, 3, 4, 5, 6, 7, 8}));
}

// A foreign frame wider than the buffer: the scatter leaves the other positions alone.
TEST(AudioBufferFormats, ChannelMapsAndFloatExports) {
  V wide(24), out(24, -1.0f);
  for (size_t i = 0; i < wide.size(); ++i)
    wide[i] = static_cast<float>(i) / 32;
  const int picked[] = {4, 5}, reversed[] = {1, 0};
  BufferPtr b = makeBuffer(8, 2);
  b->fromInterleavedFloat32Data(wide.data(), 4, 6, picked);
  EXPECT_EQ(floats(*b, 8), (V{4 / 32.f, 5 / 32.f, 10 / 32.f, 11 / 32.f, 16 / 32.f, 17 / 32.f, 22 / 32.f, 23 / 32.f}));
  b->toInterleavedFloat32Data(out.data(), 4, 6, picked, false);
  for (size_t i = 0; i < 24; ++i)
    EXPECT_EQ(out[i], i % 6 >= 4 ? wide[i] : -1.0f) << i;
  std::vector<short> pcm(16, 0); // a compressed buffer scatters its constants
  compressed(2, {0.5f, -0.5f})->toInterleavedInt16Data(pcm.data(), 8, 2, reversed);
  for (size_t f = 0; f < 8; ++f)
    EXPECT_TRUE(pcm[2 * f] == -16384 && pcm[2 * f + 1] == 16384) << f;
  // Exact count with the identity map; the clip raises first, so NaN gives -1.
  BufferPtr f = filled(1, {NaN, 2.0f, -3.0f, 0.25f, -1.0f, 1.0f, 0.5f, -0.0f, NaN});
  V clipped(12, 9.0f), pattern(11, 9.0f);
  f->toInterleavedFloat32Data(clipped.data() + 1, 9, 1, Mono, true); // unaligned on purpose
  EXPECT_EQ(V(clipped.begin() + 1, clipped.end()), (V{-1, 1, -1, 0.25f, -1, 1, 0.5f, -0.0f, -1, 9, 9}));
  f->toInterleavedFloat32Data(clipped.data(), 5, 1, Mono, false);
  EXPECT_TRUE(std::isnan(clipped[0]) && clipped[1] == 2.0f && clipped[2] == -3.0f);
  compressed(2, {0.25f, -0.75f})->toInterleavedFloat32Data(pattern.data(), 5, 2, Stereo, false);
  EXPECT_EQ(pattern, (V{.25f, -.75f, .25f, -.75f, .25f, -.75f, .25f, -.75f, .25f, -.75f, 9}));
}

// Kept: the range check's maximum misses the last two frames of each step of four.
TEST(AudioBufferFormats, ChannelArraysAndMixing) {
  alignas(16) float left[8] = {1, 2, 3, 4, 5, 6, 0, 0}, right[8] = {-1, -2, -3, -4, -5, -6, 0, 0};
  alignas(16) float quiet[8] = {0, 0, 0.5f, 0.25f, 0, 0, 0, 0.75f}, zeros[8] = {};
  const float *channels[] = {left, right}, *oddity[] = {quiet, zeros}, *silent[] = {zeros + 4, zeros + 4};
  BufferPtr b = makeBuffer(8, 2);
  EXPECT_EQ(b->fromChannelArrayWithMaxAsOutput(channels, 6), 6.0f);
  EXPECT_EQ(state(*b, 12), State(2, {1, -1, 2, -2, 3, -3, 4, -4, 5, -5, 6, -6}));
  b->fromChannelArrayWithRangeCheck(oddity, 8);
  EXPECT_EQ(state(*b, 8), State(0, V(8, 0.0f)));
  EXPECT_EQ(b->fromChannelArrayWithMaxAsOutput(oddity, 8), 0.75f);
  zeros[3] = -0.125f; // a negative sample anywhere is seen
  b->fromChannelArrayWithRangeCheck(oddity, 8);
  EXPECT_TRUE(b->frameStride == 2 && b->fromChannelArrayWithMaxAsOutput(silent, 4) == 0.0f);
  float outLeft[8], outRight[8], *outs[] = {outLeft, outRight};
  compressed(2, {1, 2})->toChannelArray(outs, 7);
  EXPECT_TRUE(V(outLeft, outLeft + 7) == V(7, 1.0f) && V(outRight, outRight + 7) == V(7, 2.0f));
  compressed(1, {3, 4, 5})->toChannelArray(outs, 3); // mono: the raw floats, stale included
  EXPECT_EQ(V(outLeft, outLeft + 3), (V{3, 3, 3}));
  // Mixing keeps the constant form and otherwise walks the samples.
  BufferPtr mono = makeBuffer(8, 1), stereo = makeBuffer(8, 2);
  mono->fromStereoToMono(*compressed(2, {1.0f, 0.5f}), 8);
  stereo->fromMonoToStereo(*compressed(1, {0.5f}), 8);
  EXPECT_EQ((std::vector<State>{state(*mono, 8), state(*stereo, 8)}), (std::vector<State>{{0, V(8, 0.75f)}, {0, V(8, 0.5f)}}));
  mono->fromStereoToMono(*filled(2, {1, 3, 2, 4, -1, 1, 8, 0, 5, 5}), 5);
  stereo->fromMonoToStereo(*filled(1, {1, 2, 3, 4, 5}), 5);
  EXPECT_EQ((std::vector<State>{state(*mono, 5), state(*stereo, 10)}), (std::vector<State>{{1, {2, 3, 0, 4, 5}}, {2, {1, 1, 2, 2, 3, 3, 4, 4, 5, 5}}}));
}
