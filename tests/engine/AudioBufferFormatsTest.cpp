//===- tests/engine/AudioBufferFormatsTest.cpp - Sample formats, arrays, mixing ===//
#include "engine/core/AudioBuffer.h"
#include "tests/support/AudioBuffers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <vector>

using engine::AudioBuffer;
using testsupport::BufferPtr;
using testsupport::makeBuffer;

namespace {

const float NaN = std::numeric_limits<float>::quiet_NaN();

BufferPtr filled(uint32_t channels, std::vector<float> v, bool compressed = false) {
  return testsupport::bufferOf(channels, v, compressed);
}

// 24-bit little-endian samples back to integers.
std::vector<int32_t> int24s(const std::vector<char> &bytes) {
  std::vector<int32_t> v;
  for (std::size_t i = 0; i + 2 < bytes.size(); i += 3)
    v.push_back(static_cast<unsigned char>(bytes[i]) | static_cast<unsigned char>(bytes[i + 1]) << 8 |
                static_cast<signed char>(bytes[i + 2]) * 65536);
  return v;
}

const int Mono[] = {0}, Stereo[] = {0, 1};

} // namespace

// Each value exported alone through the vector path (8 frames, identity) and the scalar
// one (7 frames): both give the table's integer. Truncation, no rounding; Int32 wraps at
// +1.0 and a NaN gives the lowest value everywhere.
TEST(AudioBufferFormats, IntegerExportLimits) {
  const int32_t Low = std::numeric_limits<int32_t>::min();
  struct Row {
    int bits;
    float sample;
    int32_t want;
  } rows[] = {{16, 1.0f, 32767},          {16, -1.0f, -32768},       {16, 1.5f, 32767},
              {16, 0.99996f, 32766},      {16, 1.0f / 65536, 0},     {16, -1.0f / 65536, 0},
              {16, NaN, -32768},          {24, 1.0f, 8388607},       {24, -1.0f, -8388608},
              {24, -0.5f, -4194304},      {24, NaN, -8388608},       {24, -3.0f, -8388608},
              {32, 1.0f, Low},            {32, 0.5f, 1073741824},    {32, -1.0f, Low},
              {32, 2.0f, Low},            {32, -2.0f, Low},          {32, NaN, Low},
              {32, 0.99999994f, 2147483520}};
  for (const Row &r : rows)
    for (uint32_t frames : {8u, 7u}) {
      SCOPED_TRACE(testing::Message() << "Int" << r.bits << " " << r.sample << ", " << frames << " frames");
      BufferPtr b = filled(1, std::vector<float>(8, r.sample));
      std::vector<int32_t> got;
      if (r.bits == 16) {
        std::vector<short> out(8, 99);
        b->toInterleavedInt16Data(out.data(), frames, 1, Mono);
        got.assign(out.begin(), out.end());
      } else if (r.bits == 24) {
        std::vector<char> out(24, 99);
        b->toInterleavedInt24Data(out.data(), frames, 1, Mono);
        got = int24s(out);
      } else {
        std::vector<int> out(8, 99);
        b->toInterleavedInt32Data(out.data(), frames, 1, Mono);
        got.assign(out.begin(), out.end());
      }
      for (uint32_t i = 0; i < frames; ++i)
        EXPECT_EQ(got[i], r.want) << i;
      if (frames == 7) { // exact count
        EXPECT_EQ(got[7], r.bits == 24 ? (99 << 16 | 99 << 8 | 99) : 99);
      }
    }
}

// Imports scale by a power of two; Int24 reads its own layout whatever the map says.
TEST(AudioBufferFormats, ImportsAndTheInt24Layout) {
  BufferPtr b(AudioBuffer::create(8, 2));
  const short pcm16[] = {-32768, 32767, 0, 1};
  b->fromInterleavedInt16Data(pcm16, 2, 2, Stereo);
  EXPECT_EQ(testsupport::floats(*b, 4), (std::vector<float>{-1.0f, 32767.0f / 32768, 0, 1.0f / 32768}));
  const int pcm32[] = {std::numeric_limits<int>::min(), 1 << 30, 1, -1};
  b->fromInterleavedInt32Data(pcm32, 2, 2, Stereo);
  EXPECT_EQ(testsupport::floats(*b, 4), (std::vector<float>{-1.0f, 0.5f, 0x1p-31f, -0x1p-31f}));
  const char pcm24[] = {'\xFF', '\xFF', '\x7F', '\x00', '\x00', '\x80', '\x00', '\x01', '\x00', '\xFF', '\xFF', '\xFF'};
  const int swapped[] = {1, 0};
  b->fromInterleavedInt24Data(pcm24, 2, 5, swapped);
  EXPECT_EQ(b->frameStride, 2u);
  EXPECT_EQ(testsupport::floats(*b, 4), (std::vector<float>{8388607 * 0x1p-23f, -1.0f, 256 * 0x1p-23f, -0x1p-23f}));
}

// A foreign frame wider than the buffer: the gather picks its positions, the scatter leaves
// the others as they were; a compressed buffer scatters its constants.
TEST(AudioBufferFormats, ChannelMaps) {
  std::vector<float> wide(24);
  for (std::size_t i = 0; i < wide.size(); ++i)
    wide[i] = static_cast<float>(i) / 32;
  const int picked[] = {4, 5};
  BufferPtr b(AudioBuffer::create(8, 2));
  b->fromInterleavedFloat32Data(wide.data(), 4, 6, picked);
  EXPECT_EQ(testsupport::floats(*b, 8), (std::vector<float>{4 / 32.f, 5 / 32.f, 10 / 32.f, 11 / 32.f, 16 / 32.f,
                                               17 / 32.f, 22 / 32.f, 23 / 32.f}));
  std::vector<float> out(24, -1.0f);
  b->toInterleavedFloat32Data(out.data(), 4, 6, picked, false);
  for (std::size_t i = 0; i < 24; ++i)
    EXPECT_EQ(out[i], i % 6 >= 4 ? wide[i] : -1.0f) << i;

  const int reversed[] = {1, 0};
  std::vector<short> pcm(16, 0);
  filled(2, {0.5f, -0.5f}, true)->toInterleavedInt16Data(pcm.data(), 8, 2, reversed);
  for (std::size_t f = 0; f < 8; ++f)
    EXPECT_TRUE(pcm[2 * f] == -16384 && pcm[2 * f + 1] == 16384) << f;
}

// Float exports: an exact count with the identity map, the clip raising first (NaN: -1),
// and a compressed pattern repeated.
TEST(AudioBufferFormats, FloatExports) {
  BufferPtr b = filled(1, {NaN, 2.0f, -3.0f, 0.25f, -1.0f, 1.0f, 0.5f, -0.0f, NaN});
  std::vector<float> out(12, 9.0f);
  b->toInterleavedFloat32Data(out.data() + 1, 9, 1, Mono, true); // unaligned on purpose
  EXPECT_EQ(std::vector<float>(out.begin() + 1, out.end()),
            (std::vector<float>{-1, 1, -1, 0.25f, -1, 1, 0.5f, -0.0f, -1, 9, 9}));
  b->toInterleavedFloat32Data(out.data(), 5, 1, Mono, false);
  EXPECT_TRUE(std::isnan(out[0]) && out[1] == 2.0f && out[2] == -3.0f);

  std::vector<float> pattern(11, 9.0f);
  filled(2, {0.25f, -0.75f}, true)->toInterleavedFloat32Data(pattern.data(), 5, 2, Stereo, false);
  for (std::size_t i = 0; i < 10; ++i)
    EXPECT_EQ(pattern[i], i % 2 ? -0.75f : 0.25f) << i;
  EXPECT_EQ(pattern[10], 9.0f);
}

// Every format and back, through the vector paths (16 frames) and the scalar ones (13):
// within one step of the format.
TEST(AudioBufferFormats, RoundTripsWithinOneStep) {
  std::vector<float> x(32);
  uint32_t seed = 3;
  for (float &v : x) {
    seed = seed * 1664525u + 1013904223u;
    v = static_cast<float>(static_cast<int32_t>(seed)) * 0x1p-31f;
  }
  for (uint32_t frames : {16u, 13u}) {
    BufferPtr in = filled(2, x), back(AudioBuffer::create(16, 2));
    auto check = [&](float step, const char *format) {
      for (std::size_t i = 0; i < 2 * frames; ++i)
        ASSERT_LE(std::fabs(back->samples()[i] - x[i]), step) << format << " " << frames << " " << i;
    };
    std::vector<float> f32(32);
    in->toInterleavedFloat32Data(f32.data(), frames, 2, Stereo, false);
    back->fromInterleavedFloat32Data(f32.data(), frames, 2, Stereo);
    check(0.0f, "Float32");
    std::vector<short> i16(32);
    in->toInterleavedInt16Data(i16.data(), frames, 2, Stereo);
    back->fromInterleavedInt16Data(i16.data(), frames, 2, Stereo);
    check(0x1p-15f, "Int16");
    std::vector<char> i24(96);
    in->toInterleavedInt24Data(i24.data(), frames, 2, Stereo);
    back->fromInterleavedInt24Data(i24.data(), frames, 2, Stereo);
    check(0x1p-23f, "Int24");
    std::vector<int> i32(32);
    in->toInterleavedInt32Data(i32.data(), frames, 2, Stereo);
    back->fromInterleavedInt32Data(i32.data(), frames, 2, Stereo);
    check(0x1p-24f, "Int32"); // the float's own rounding is the larger step here
  }
}

// Per-channel arrays; the range check's maximum sees only the first two frames of each step
// of four, so positive samples in the last two frames alone pass as silence.
TEST(AudioBufferFormats, ChannelArrays) {
  alignas(16) float left[8] = {1, 2, 3, 4, 5, 6, 0, 0}, right[8] = {-1, -2, -3, -4, -5, -6, 0, 0};
  const float *channels[] = {left, right};
  BufferPtr b(AudioBuffer::create(8, 2));
  EXPECT_EQ(b->fromChannelArrayWithMaxAsOutput(channels, 6), 6.0f);
  EXPECT_EQ(testsupport::floats(*b, 12), (std::vector<float>{1, -1, 2, -2, 3, -3, 4, -4, 5, -5, 6, -6}));
  EXPECT_EQ(b->frameStride, 2u);

  alignas(16) float quiet[8] = {0, 0, 0.5f, 0.25f, 0, 0, 0, 0.75f}, zeros[8] = {};
  const float *oddity[] = {quiet, zeros};
  b->fromChannelArrayWithRangeCheck(oddity, 8);
  EXPECT_EQ(b->frameStride, 0u);
  EXPECT_EQ(testsupport::floats(*b, 8), std::vector<float>(8, 0.0f));
  EXPECT_EQ(b->fromChannelArrayWithMaxAsOutput(oddity, 8), 0.75f);
  zeros[3] = -0.125f; // a negative sample anywhere is seen
  b->fromChannelArrayWithRangeCheck(oddity, 8);
  EXPECT_EQ(b->frameStride, 2u);
  const float *silent[] = {zeros + 4, zeros + 4};
  EXPECT_EQ(b->fromChannelArrayWithMaxAsOutput(silent, 4), 0.0f);

  float outLeft[8], outRight[8];
  float *outs[] = {outLeft, outRight};
  filled(2, {1, 2}, true)->toChannelArray(outs, 7);
  EXPECT_EQ(std::vector<float>(outLeft, outLeft + 7), std::vector<float>(7, 1.0f));
  EXPECT_EQ(std::vector<float>(outRight, outRight + 7), std::vector<float>(7, 2.0f));
  filled(1, {3, 4, 5}, true)->toChannelArray(outs, 3); // mono: the raw floats, stale included
  EXPECT_EQ(std::vector<float>(outLeft, outLeft + 3), (std::vector<float>{3, 3, 3}));
}

// Mixing keeps the constant form and otherwise walks the samples.
TEST(AudioBufferFormats, StereoToMonoAndBack) {
  BufferPtr mono(AudioBuffer::create(8, 1)), stereo(AudioBuffer::create(8, 2));
  mono->fromStereoToMono(*filled(2, {1.0f, 0.5f}, true), 8);
  EXPECT_EQ(mono->frameStride, 0u);
  EXPECT_EQ(testsupport::floats(*mono, 8), std::vector<float>(8, 0.75f));
  mono->fromStereoToMono(*filled(2, {1, 3, 2, 4, -1, 1, 8, 0, 5, 5}), 5);
  EXPECT_EQ(mono->frameStride, 1u);
  EXPECT_EQ(testsupport::floats(*mono, 5), (std::vector<float>{2, 3, 0, 4, 5}));

  stereo->fromMonoToStereo(*filled(1, {0.5f}, true), 8);
  EXPECT_EQ(stereo->frameStride, 0u);
  EXPECT_EQ(testsupport::floats(*stereo, 8), std::vector<float>(8, 0.5f));
  stereo->fromMonoToStereo(*filled(1, {1, 2, 3, 4, 5}), 5);
  EXPECT_EQ(stereo->frameStride, 2u);
  EXPECT_EQ(testsupport::floats(*stereo, 10), (std::vector<float>{1, 1, 2, 2, 3, 3, 4, 4, 5, 5}));
}
