//===- tests/engine/AudioBufferOperationsTest.cpp - Whole-buffer arithmetic --===//
// A scalar model of the skeletons, bit for bit over 1 to 4 channels and every state mix.
#include "base/core/Exception.h"
#include "engine/core/AudioBuffer.h"
#include "tests/support/AudioBuffers.h"
#include "tests/support/Bits.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <utility>
#include <vector>

using engine::AudioBuffer;
using testsupport::BufferPtr;
using testsupport::bitsOf;
using testsupport::floatOf;
using testsupport::floats;
using testsupport::makeBuffer;
using V = std::vector<float>;

namespace {

const float NaN = std::numeric_limits<float>::quiet_NaN();
constexpr float C = 0.75f, D = -0.5f;
constexpr uint32_t Frames = 5; // never a whole number of vectors but for 4 channels
constexpr int Floats = 32;     // the result and what lies behind it

float mask(bool holds) { return floatOf(holds ? 0xFFFFFFFFu : 0u); }
float fmin(float a, float b) { return a < b ? a : b; }
float fmax(float a, float b) { return a > b ? a : b; }
float fand(float a, float b) { return floatOf(bitsOf(a) & bitsOf(b)); }
float f_or(float a, float b) { return floatOf(bitsOf(a) | bitsOf(b)); }
float fxor(float a, float b) { return floatOf(bitsOf(a) ^ bitsOf(b)); }

float at(const AudioBuffer &b, size_t i) { return b.samples()[b.frameStride == 0 ? i % 4 : i]; } // as a step reads it

using Want = std::pair<uint32_t, V>; // frameStride and the first Floats floats
// All compressed: replicated but for 3 channels; mixed with 3 channels: only the state changes.
Want modelOf(const AudioBuffer &y, bool all, bool any, size_t count, const std::function<float(size_t)> &lane) {
  const uint32_t ch = y.numChannels;
  Want w{all ? 0 : ch, floats(y, Floats)};
  for (size_t i = 0; all && i < (ch == 3 ? 4 : 8); ++i)
    w.second[i] = lane(ch == 3 ? i : i % ch);
  for (size_t i = 0; !all && (!any || ch != 3) && i < (count + 3) / 4 * 4; ++i)
    w.second[i] = lane(i);
  return w;
}

BufferPtr build(uint32_t channels, bool compressed, uint32_t seed) {
  const float values[] = {0.5f, -1.25f, 3.0f, NaN, -0.0f, 2.0f, 1.3f, 7.5f, -3.0f, 0.0f, 1.0f};
  BufferPtr b = makeBuffer(64, channels);
  for (uint32_t i = 0; i < 64; ++i)
    b->samples()[i] = values[(i * (seed + 2) + seed) % 11];
  b->afterWrite(compressed);
  return b;
}

bool sameFloats(const AudioBuffer &b, const Want &w) {
  return b.frameStride == w.first && std::memcmp(b.samples(), w.second.data(), Floats * sizeof(float)) == 0;
}

BufferPtr pattern(uint32_t channels, V values, bool compressed) { return testsupport::bufferOf(channels, values, compressed, 99.0f); }

enum Kind { Two, Three, InPlace }; // InPlace: `this` is the left operand
struct Row {
  const char *name;
  void (*call)(AudioBuffer &y, const AudioBuffer &a, const AudioBuffer &b, const AudioBuffer &m);
  float (*step)(float a, float b, float m);
  Kind kind;
};
#define ROW(kind, call, step)                                                                                      \
  Row { #call, [](AudioBuffer &y, const AudioBuffer &a, const AudioBuffer &b, const AudioBuffer &m) {              \
    (void)a, (void)m, y.call; }, [](float a, float b, float m) { (void)m; return step; }, kind }
struct Scalar {
  const char *name;
  void (*call)(AudioBuffer &y, const AudioBuffer &a);
  float (*step)(float); // null: the member returns without a store
  bool inPlace;
};
#define SCALAR(inPlace, call, step) \
  Scalar { #call, [](AudioBuffer &y, const AudioBuffer &a) { (void)a, y.call; }, [](float x) { return step; }, inPlace }
#define NEUTRAL(call) Scalar { #call, [](AudioBuffer &y, const AudioBuffer &) { y.call; }, nullptr, true }

} // namespace

// The members of the operand skeleton: this = step(a, b), step(a, b, m) or step(this, b).
TEST(AudioBufferOperations, MembersFollowTheModel) {
  const Row rows[] = {
      ROW(Two, addTo(a, b, Frames), a + b), ROW(Two, subTo(a, b, Frames), a - b), ROW(Two, minTo(a, b, Frames), fmin(a, b)),
      ROW(Two, maxTo(a, b, Frames), fmax(a, b)), ROW(Two, ANDTo(a, b, Frames), fand(a, b)), ROW(Two, ORTo(a, b, Frames), f_or(a, b)),
      ROW(Two, XORTo(a, b, Frames), fxor(a, b)), ROW(Two, maddTo(a, C, b, Frames), a * C + b),
      ROW(Two, maddTo(a, b, C, Frames), a * b + C), ROW(Two, addThenMultiplyTo(a, b, C, Frames), (a + b) * C),
      // The "not" relations compare as written, not as negations: NaN fails all but notEqual.
      ROW(Two, equal(a, b, Frames), mask(a == b)), ROW(Two, notEqual(a, b, Frames), mask(a != b)),
      ROW(Two, greaterThan(a, b, Frames), mask(b < a)), ROW(Two, greaterThanOrEqual(a, b, Frames), mask(b <= a)),
      ROW(Two, lessThan(a, b, Frames), mask(a < b)), ROW(Two, lessThanOrEqual(a, b, Frames), mask(a <= b)),
      ROW(Two, notGreaterThan(a, b, Frames), mask(a <= b)), ROW(Two, notGreaterThanOrEqual(a, b, Frames), mask(a < b)),
      ROW(Two, notLessThan(a, b, Frames), mask(b <= a)), ROW(Two, notLessThanOrEqual(a, b, Frames), mask(b < a)),
      ROW(Three, maddTo(a, b, m, Frames), a * b + m),
      ROW(Three, SELECTTo(a, b, m, Frames), floatOf((bitsOf(a) & ~bitsOf(m)) | (bitsOf(b) & bitsOf(m)))),
      ROW(InPlace, add(b, Frames), a + b), ROW(InPlace, sub(b, Frames), a - b), ROW(InPlace, mul(b, Frames), a * b),
      ROW(InPlace, subSelf(b, Frames), b - a), ROW(InPlace, min(b, Frames), fmin(a, b)), ROW(InPlace, max(b, Frames), fmax(a, b)),
      ROW(InPlace, AND(b, Frames), fand(a, b)), ROW(InPlace, OR(b, Frames), f_or(a, b)), ROW(InPlace, XOR(b, Frames), fxor(a, b)),
  };
  for (const Row &r : rows)
    for (uint32_t channels = 1; channels <= 4; ++channels)
      for (int states = 0; states < (r.kind == Three ? 8 : 4); ++states) {
        SCOPED_TRACE(testing::Message() << r.name << ", " << channels << " channels, compressed operands " << states);
        BufferPtr y = build(channels, r.kind == InPlace && (states & 1), 0), a = build(channels, states & 1, 1),
                  b = build(channels, states & 2, 2), m = build(channels, states & 4, 3);
        const AudioBuffer &left = r.kind == InPlace ? *y : *a;
        const bool all = (states & 1) && (states & 2) && (r.kind != Three || (states & 4));
        const Want want = modelOf(*y, all, states != 0, channels * Frames,
                                  [&](size_t i) { return r.step(at(left, i), at(*b, i), at(*m, i)); });
        r.call(*y, *a, *b, *m);
        EXPECT_TRUE(sameFloats(*y, want));
      }
  // A compressed neutral operand (a NaN counts as zero) returns without touching `this`.
  const std::pair<void (AudioBuffer::*)(const AudioBuffer &, uint32_t), float> neutrals[] = {
      {&AudioBuffer::add, 0.0f}, {&AudioBuffer::sub, 0.0f}, {&AudioBuffer::AND, 0.0f},
      {&AudioBuffer::OR, 0.0f},  {&AudioBuffer::XOR, 0.0f}, {&AudioBuffer::mul, 1.0f}};
  for (const auto &[call, neutral] : neutrals)
    for (uint32_t channels = 1; channels <= 4; ++channels)
      for (int states = 0; states < 4; ++states) {
        BufferPtr z = build(channels, states & 1, 0), operand = build(channels, true, 0);
        std::fill_n(operand->samples(), 8, states & 2 ? NaN : neutral == 0.0f ? -0.0f : neutral);
        const Want before{z->frameStride, floats(*z, Floats)};
        ((*z).*call)(*operand, Frames);
        EXPECT_TRUE(sameFloats(*z, before)) << channels << " channels, neutral " << neutral << ", states " << states;
      }
  // The scalar skeleton's members, from a compressed or a sample source.
  const Scalar scalars[] = {
      SCALAR(false, addTo(a, C, Frames), x + C), SCALAR(false, subTo(a, C, Frames), x - C), SCALAR(false, subTo(C, a, Frames), C - x),
      SCALAR(false, mulTo(a, C, Frames), x * C), SCALAR(false, minTo(a, C, Frames), fmin(x, C)), SCALAR(false, maxTo(a, C, Frames), fmax(x, C)),
      SCALAR(false, ANDTo(a, C, Frames), fand(x, C)), SCALAR(false, ORTo(a, 0.0f, Frames), x), SCALAR(false, XORTo(a, C, Frames), fxor(x, C)),
      SCALAR(false, sqrtTo(a, Frames), std::sqrt(x)), SCALAR(false, powerOfTo(a, 3, Frames), (x * x) * x),
      SCALAR(false, addThenMultiplyTo(a, C, D, Frames), (x + C) * D), SCALAR(false, MultiplyThenAddTo(a, C, D, Frames), x * C + D),
      SCALAR(false, NOTTo(a, Frames), x), // a copy, kept: it does not invert
      SCALAR(true, add(C, Frames), x + C), SCALAR(true, mul(C, Frames), x * C), SCALAR(true, AND(C, Frames), fand(x, C)),
      SCALAR(true, min(C, Frames), fmin(x, C)), SCALAR(true, subSelf(C, Frames), C - x), SCALAR(true, powerOf(4, Frames), (x * x) * (x * x)),
      SCALAR(true, limitRange(-1.0f, 1.0f, Frames), fmin(fmax(x, -1.0f), 1.0f)),
      SCALAR(true, addThenMultiply(C, D, Frames), (x + C) * D), SCALAR(true, MultiplyThenAdd(C, D, Frames), x * C + D),
      // Neutral constants (NaN among them) return at once; AND with 0 doing so is kept.
      NEUTRAL(add(0.0f, Frames)), NEUTRAL(add(NaN, Frames)), NEUTRAL(mul(1.0f, Frames)),
      NEUTRAL(AND(0.0f, Frames)), NEUTRAL(XOR(-0.0f, Frames)),
  };
  for (const Scalar &r : scalars)
    for (uint32_t channels = 1; channels <= 4; ++channels)
      for (bool compressed : {false, true}) {
        BufferPtr y = build(channels, r.inPlace && compressed, 0), a = build(channels, compressed, 1);
        const AudioBuffer &source = r.inPlace ? *y : *a;
        const Want want = r.step ? modelOf(*y, compressed, compressed, channels * (compressed ? 1 : Frames),
                                           [&](size_t i) { return r.step(source.samples()[i]); })
                                 : Want{y->frameStride, floats(*y, Floats)};
        r.call(*y, *a);
        EXPECT_TRUE(sameFloats(*y, want)) << r.name << ", " << channels << " channels, compressed " << compressed;
      }
}

// Stereo by mono: <2, 1>, the mono mix of mulTo and mul, and addScalar, exactly n frames;
// mulTo<2, 1> alone runs in whole groups of four frames, into what lies past frame n.
TEST(AudioBufferOperations, StereoByMono) {
  using Mix = void (*)(AudioBuffer &y, const AudioBuffer &a, const AudioBuffer &b);
  const struct {
    Mix call;
    bool multiplies;
    uint32_t written; // frames
  } mixes[] = {
      {[](AudioBuffer &y, const AudioBuffer &a, const AudioBuffer &b) { y.addTo<2, 1>(a, b, Frames); }, false, Frames},
      {[](AudioBuffer &y, const AudioBuffer &a, const AudioBuffer &b) { y.mulTo<2, 1>(a, b, Frames); }, true, 8},
      {[](AudioBuffer &y, const AudioBuffer &a, const AudioBuffer &b) { y.mulTo(b, a, Frames); }, true, Frames}, // mono first
      {[](AudioBuffer &y, const AudioBuffer &, const AudioBuffer &b) { y.addScalar(b, Frames); }, false, Frames},
      {[](AudioBuffer &y, const AudioBuffer &, const AudioBuffer &b) { y.mul(b, Frames); }, true, Frames}};
  const V stereo = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, mono = {10, 20, 30, 40, 50};
  for (int states = 0; states < 4; ++states)
    for (size_t k = 0; k < std::size(mixes); ++k) {
      const bool ca = states & 1, cb = states & 2;
      BufferPtr y = k < 3 ? pattern(2, {}, false) : pattern(2, stereo, ca), a = pattern(2, stereo, ca), b = pattern(1, mono, cb);
      const auto s = [&](size_t i) { return ca ? stereo[i % 2] : i < stereo.size() ? stereo[i] : 99.0f; };
      const auto m = [&](size_t f) { return cb ? mono[0] : f < mono.size() ? mono[f] : 99.0f; };
      V want;
      for (size_t i = 0; i < (ca && cb ? 8 : 2 * mixes[k].written); ++i)
        want.push_back(mixes[k].multiplies ? s(i) * m(i / 2) : s(i) + m(i / 2));
      mixes[k].call(*y, *a, *b);
      EXPECT_EQ(Want(y->frameStride, floats(*y, want.size())), Want(ca && cb ? 0 : 2, want)) << "mix " << k << ", states " << states;
      EXPECT_EQ(y->samples()[2 * mixes[k].written], 99.0f) << "mix " << k << ", states " << states;
    }
  // One channel: sample by sample, exactly n, each side moving by its own frameStride (b is
  // read as a mono operand with a stride of 2; a compressed this re-reads its constant).
  const struct {
    bool add, compressed;
    V want;
  } monos[] = {{true, false, {101, 104, 107, 99}}, {false, false, {99, 98, 97, 99}}, {true, true, {101, 103, 105, 100}}};
  for (const auto &c : monos) {
    BufferPtr self = pattern(1, c.compressed ? V{100} : V{100, 101, 102}, c.compressed), b = pattern(2, {1, 2, 3, 4, 5, 6}, false);
    c.add ? self->addScalar(*b, 3) : self->subScalar(*b, 3);
    EXPECT_EQ(Want(self->frameStride, floats(*self, 4)), Want(1, c.want)) << c.add << c.compressed;
  }
  // mulTo<2, 1> clears for a silent compressed operand; addTo<2, 1> has no such shortcut.
  BufferPtr y = makeBuffer(64, 2), silent = pattern(1, {0.0f}, true), a = pattern(2, stereo, false);
  y->mulTo<2, 1>(*a, *silent, Frames);
  EXPECT_EQ(Want(y->frameStride, floats(*y, 8)), Want(0, V(8, 0.0f)));
  y->addTo<2, 1>(*a, *silent, Frames);
  EXPECT_EQ(Want(y->frameStride, floats(*y, 10)), Want(2, stereo));
  // Above two channels the mix gives up, leaving the samples as they were.
  BufferPtr four = pattern(4, V(32, 9.0f), false);
  four->mulTo(*a, *pattern(1, mono, false), Frames);
  EXPECT_EQ(floats(*four, 32), V(32, 9.0f));
}

// The fixed-channel forms, and the assertion of powerOf.
TEST(AudioBufferOperations, WorkedCases) {
  // <1, 1> fills eight floats from lane 0; with <2, 2> the template's channels decide.
  BufferPtr mono = makeBuffer(64, 1), pairs = makeBuffer(64, 3), acc = pattern(2, {1, 1}, true);
  mono->maxTo<1, 1>(*pattern(1, {3}, true), *pattern(1, {4}, true), Frames);
  EXPECT_EQ(floats(*mono, 8), V(8, 4.0f));
  pairs->subTo<2, 2>(*pattern(2, {5, 6}, true), *pattern(2, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, false), Frames);
  EXPECT_EQ(Want(pairs->frameStride, floats(*pairs, 4)), Want(2, {4, 4, 2, 2}));
  acc->madd<2, 1>(*pattern(2, {2, 3}, true), *pattern(1, {10}, true), Frames);
  EXPECT_EQ(floats(*acc, 4), (V{21, 31, 21, 31}));

  BufferPtr p = pattern(1, {2, 3, 4, 5, 6}, false);
  testing::internal::CaptureStderr();
  EXPECT_THROW(p->powerOf(5, Frames), base::core::AssertionFailedException);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("Not implemented"), std::string::npos);
  EXPECT_EQ(floats(*p, 5), (V{2, 3, 4, 5, 6}));

}
