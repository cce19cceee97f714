//===- tests/engine/AudioBufferOperationsTest.cpp - Whole-buffer arithmetic --===//
//
// The family against a plain scalar model of its skeletons: every member of a table over
// 1 to 4 channels and every mix of compressed and sample operands, compared bit for bit,
// the untouched floats behind the result included.
//
//===----------------------------------------------------------------------===//
#include "base/core/Exception.h"
#include "engine/core/AudioBuffer.h"
#include "tests/support/AudioBuffers.h"
#include "tests/support/Bits.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <vector>

using engine::AudioBuffer;
using testsupport::BufferPtr;
using testsupport::makeBuffer;
using testsupport::bitsOf;
using testsupport::floatOf;

namespace {

const float NaN = std::numeric_limits<float>::quiet_NaN();
constexpr uint32_t Frames = 5; // 5 frames: never a whole number of vectors but for 4 channels
constexpr int Floats = 32;     // compared: the result and what lies behind it

float mask(bool holds) { return floatOf(holds ? 0xFFFFFFFFu : 0u); }

// A buffer's floats and state as the model sees them.
struct Model {
  uint32_t channels, stride;
  std::vector<float> f;
  bool compressed() const { return stride == 0; }
  float at(size_t i) const { return compressed() ? f[i % 4] : f[i]; }
  // The pattern of a compressed result: replicated for 1, 2 and 4 channels.
  void replicate() {
    stride = 0;
    if (channels == 1 || channels == 2 || channels == 4)
      for (size_t i = channels; i < 8; ++i)
        f[i] = f[i % channels];
  }
};

Model model(const AudioBuffer &b) {
  return {b.numChannels, b.frameStride, std::vector<float>(b.samples(), b.samples() + Floats)};
}

// The operand skeleton (two or three operands) and the scalar skeleton, from their rules.
void operandsModel(Model &y, std::vector<Model> ops, const std::function<float(size_t, const std::vector<Model> &)> &step) {
  bool all = true, any = false;
  for (const Model &m : ops) {
    all = all && m.compressed();
    any = any || m.compressed();
  }
  if (all) {
    for (size_t i = 0; i < 4; ++i)
      y.f[i] = step(i, ops);
    if (y.channels == 4)
      std::copy_n(y.f.begin(), 4, y.f.begin() + 4);
    y.replicate();
    return;
  }
  y.stride = y.channels;
  if (any && !(y.channels == 1 || y.channels == 2 || y.channels == 4))
    return;
  for (size_t i = 0; i < (y.channels * Frames + 3) / 4 * 4; ++i)
    y.f[i] = step(i, ops);
}

void scalarModel(Model &y, const Model &a, const std::function<float(float)> &step) {
  const size_t count = a.compressed() ? y.channels : y.channels * Frames;
  for (size_t i = 0; i < (count + 3) / 4 * 4; ++i)
    y.f[i] = step(a.f[i]);
  if (a.compressed())
    y.replicate();
  else
    y.stride = y.channels;
}

BufferPtr build(uint32_t channels, bool compressed, uint32_t seed) {
  const float values[] = {0.5f, -1.25f, 3.0f, NaN, -0.0f, 2.0f, 1.3f, 7.5f, -3.0f, 0.0f, 1.0f};
  BufferPtr b = makeBuffer(64, channels);
  for (int i = 0; i < 64; ++i)
    b->samples()[i] = values[(static_cast<uint32_t>(i) * (seed + 2) + seed) % 11];
  b->afterWrite(compressed);
  return b;
}

bool sameFloats(const AudioBuffer &b, const Model &m) {
  if (b.frameStride != m.stride)
    return false;
  for (int i = 0; i < Floats; ++i)
    if (bitsOf(b.samples()[i]) != bitsOf(m.f[static_cast<size_t>(i)]))
      return false;
  return true;
}

using F2 = float (*)(float, float);
float fadd(float a, float b) { return a + b; }
float fsub(float a, float b) { return a - b; }
float fmul(float a, float b) { return a * b; }
float fmin(float a, float b) { return a < b ? a : b; }
float fmax(float a, float b) { return a > b ? a : b; }
float fand(float a, float b) { return floatOf(bitsOf(a) & bitsOf(b)); }
float f_or(float a, float b) { return floatOf(bitsOf(a) | bitsOf(b)); }
float fxor(float a, float b) { return floatOf(bitsOf(a) ^ bitsOf(b)); }

} // namespace

// The members of the operand skeleton: this = step(a, b) or step(a, b, m).
TEST(AudioBufferOperations, OperandMembersFollowTheModel) {
  const float c = 0.75f;
  struct Row {
    const char *name;
    std::function<void(AudioBuffer &, const AudioBuffer &, const AudioBuffer &, const AudioBuffer &)> call;
    std::function<float(float, float, float)> step;
  } rows[] = {
      {"addTo", [](auto &y, auto &a, auto &b, auto &) { y.addTo(a, b, Frames); }, [](float a, float b, float) { return a + b; }},
      {"subTo", [](auto &y, auto &a, auto &b, auto &) { y.subTo(a, b, Frames); }, [](float a, float b, float) { return a - b; }},
      {"minTo", [](auto &y, auto &a, auto &b, auto &) { y.minTo(a, b, Frames); }, [](float a, float b, float) { return fmin(a, b); }},
      {"maxTo", [](auto &y, auto &a, auto &b, auto &) { y.maxTo(a, b, Frames); }, [](float a, float b, float) { return fmax(a, b); }},
      {"ANDTo", [](auto &y, auto &a, auto &b, auto &) { y.ANDTo(a, b, Frames); }, [](float a, float b, float) { return fand(a, b); }},
      {"ORTo", [](auto &y, auto &a, auto &b, auto &) { y.ORTo(a, b, Frames); }, [](float a, float b, float) { return f_or(a, b); }},
      {"XORTo", [](auto &y, auto &a, auto &b, auto &) { y.XORTo(a, b, Frames); }, [](float a, float b, float) { return fxor(a, b); }},
      {"equal", [](auto &y, auto &a, auto &b, auto &) { y.equal(a, b, Frames); }, [](float a, float b, float) { return mask(a == b); }},
      {"notEqual", [](auto &y, auto &a, auto &b, auto &) { y.notEqual(a, b, Frames); }, [](float a, float b, float) { return mask(a != b); }},
      {"greaterThan", [](auto &y, auto &a, auto &b, auto &) { y.greaterThan(a, b, Frames); }, [](float a, float b, float) { return mask(b < a); }},
      {"greaterThanOrEqual", [](auto &y, auto &a, auto &b, auto &) { y.greaterThanOrEqual(a, b, Frames); }, [](float a, float b, float) { return mask(b <= a); }},
      {"lessThan", [](auto &y, auto &a, auto &b, auto &) { y.lessThan(a, b, Frames); }, [](float a, float b, float) { return mask(a < b); }},
      {"lessThanOrEqual", [](auto &y, auto &a, auto &b, auto &) { y.lessThanOrEqual(a, b, Frames); }, [](float a, float b, float) { return mask(a <= b); }},
      {"notGreaterThan", [](auto &y, auto &a, auto &b, auto &) { y.notGreaterThan(a, b, Frames); }, [](float a, float b, float) { return mask(a <= b); }},
      {"notGreaterThanOrEqual", [](auto &y, auto &a, auto &b, auto &) { y.notGreaterThanOrEqual(a, b, Frames); }, [](float a, float b, float) { return mask(a < b); }},
      {"notLessThan", [](auto &y, auto &a, auto &b, auto &) { y.notLessThan(a, b, Frames); }, [](float a, float b, float) { return mask(b <= a); }},
      {"notLessThanOrEqual", [](auto &y, auto &a, auto &b, auto &) { y.notLessThanOrEqual(a, b, Frames); }, [](float a, float b, float) { return mask(b < a); }},
      {"maddTo(a, c, b)", [c](auto &y, auto &a, auto &b, auto &) { y.maddTo(a, c, b, Frames); }, [c](float a, float b, float) { return a * c + b; }},
      {"maddTo(a, b, c)", [c](auto &y, auto &a, auto &b, auto &) { y.maddTo(a, b, c, Frames); }, [c](float a, float b, float) { return a * b + c; }},
      {"addThenMultiplyTo(a, b, c)", [c](auto &y, auto &a, auto &b, auto &) { y.addThenMultiplyTo(a, b, c, Frames); }, [c](float a, float b, float) { return (a + b) * c; }},
      {"maddTo(a, b, d)", [](auto &y, auto &a, auto &b, auto &m) { y.maddTo(a, b, m, Frames); }, [](float a, float b, float d) { return a * b + d; }},
      {"SELECTTo", [](auto &y, auto &a, auto &b, auto &m) { y.SELECTTo(a, b, m, Frames); }, [](float a, float b, float m) { return floatOf((bitsOf(a) & ~bitsOf(m)) | (bitsOf(b) & bitsOf(m))); }},
  };
  for (const Row &r : rows) {
    const bool three = std::string(r.name) == "maddTo(a, b, d)" || std::string(r.name) == "SELECTTo";
    for (uint32_t channels = 1; channels <= 4; ++channels)
      for (int states = 0; states < (three ? 8 : 4); ++states) {
        SCOPED_TRACE(testing::Message() << r.name << ", " << channels << " channels, compressed operands " << states);
        BufferPtr y = build(channels, false, 0), a = build(channels, states & 1, 1), b = build(channels, states & 2, 2),
                  m = build(channels, three && (states & 4), 3);
        Model want = model(*y);
        std::vector<Model> ops = {model(*a), model(*b)};
        if (three)
          ops.push_back(model(*m));
        operandsModel(want, ops, [&](size_t i, const std::vector<Model> &o) {
          return r.step(o[0].at(i), o[1].at(i), three ? o[2].at(i) : 0.0f);
        });
        r.call(*y, *a, *b, *m);
        EXPECT_TRUE(sameFloats(*y, want));
      }
  }
}

// The in-place members (this = step(this, b), with their neutral operands) and the scalar
// skeleton's members (one buffer and floats), this compressed or not.
TEST(AudioBufferOperations, InPlaceAndScalarMembersFollowTheModel) {
  const float c = 0.75f, d = -0.5f;
  struct InPlace {
    const char *name;
    void (AudioBuffer::*call)(const AudioBuffer &, uint32_t);
    F2 step; // step(this, b)
    float neutral; // NaN: no neutral test
  } inPlace[] = {{"add", &AudioBuffer::add, fadd, 0.0f},       {"sub", &AudioBuffer::sub, fsub, 0.0f},
                 {"AND", &AudioBuffer::AND, fand, 0.0f},       {"OR", &AudioBuffer::OR, f_or, 0.0f},
                 {"XOR", &AudioBuffer::XOR, fxor, 0.0f},       {"min", &AudioBuffer::min, fmin, NaN},
                 {"max", &AudioBuffer::max, fmax, NaN},        {"mul", &AudioBuffer::mul, fmul, 1.0f},
                 {"subSelf", &AudioBuffer::subSelf, [](float y, float b) { return b - y; }, NaN}};
  struct Scalar {
    const char *name;
    std::function<void(AudioBuffer &, const AudioBuffer &)> call; // a is this for in-place rows
    std::function<float(float)> step;
    bool inPlace;
    float neutralC; // the in-place scalar forms that return at once for this c
  } scalars[] = {
      {"addTo(a, c)", [c](auto &y, auto &a) { y.addTo(a, c, Frames); }, [c](float x) { return x + c; }, false, NaN},
      {"subTo(a, c)", [c](auto &y, auto &a) { y.subTo(a, c, Frames); }, [c](float x) { return x - c; }, false, NaN},
      {"subTo(c, a)", [c](auto &y, auto &a) { y.subTo(c, a, Frames); }, [c](float x) { return c - x; }, false, NaN},
      {"mulTo(a, c)", [c](auto &y, auto &a) { y.mulTo(a, c, Frames); }, [c](float x) { return x * c; }, false, NaN},
      {"minTo(a, c)", [c](auto &y, auto &a) { y.minTo(a, c, Frames); }, [c](float x) { return fmin(x, c); }, false, NaN},
      {"maxTo(a, c)", [c](auto &y, auto &a) { y.maxTo(a, c, Frames); }, [c](float x) { return fmax(x, c); }, false, NaN},
      {"ANDTo(a, c)", [c](auto &y, auto &a) { y.ANDTo(a, c, Frames); }, [c](float x) { return fand(x, c); }, false, NaN},
      {"ORTo(a, 0)", [](auto &y, auto &a) { y.ORTo(a, 0.0f, Frames); }, [](float x) { return x; }, false, NaN},
      {"XORTo(a, c)", [c](auto &y, auto &a) { y.XORTo(a, c, Frames); }, [c](float x) { return fxor(x, c); }, false, NaN},
      {"NOTTo", [](auto &y, auto &a) { y.NOTTo(a, Frames); }, [](float x) { return x; }, false, NaN},
      {"sqrtTo", [](auto &y, auto &a) { y.sqrtTo(a, Frames); }, [](float x) { return std::sqrt(x); }, false, NaN},
      {"powerOfTo 3", [](auto &y, auto &a) { y.powerOfTo(a, 3, Frames); }, [](float x) { return (x * x) * x; }, false, NaN},
      {"addThenMultiplyTo", [=](auto &y, auto &a) { y.addThenMultiplyTo(a, c, d, Frames); }, [=](float x) { return (x + c) * d; }, false, NaN},
      {"MultiplyThenAddTo", [=](auto &y, auto &a) { y.MultiplyThenAddTo(a, c, d, Frames); }, [=](float x) { return x * c + d; }, false, NaN},
      {"add(c)", [c](auto &y, auto &) { y.add(c, Frames); }, [c](float x) { return x + c; }, true, NaN},
      {"mul(c)", [c](auto &y, auto &) { y.mul(c, Frames); }, [c](float x) { return x * c; }, true, NaN},
      {"AND(c)", [c](auto &y, auto &) { y.AND(c, Frames); }, [c](float x) { return fand(x, c); }, true, NaN},
      {"min(c)", [c](auto &y, auto &) { y.min(c, Frames); }, [c](float x) { return fmin(x, c); }, true, NaN},
      {"subSelf(c)", [c](auto &y, auto &) { y.subSelf(c, Frames); }, [c](float x) { return c - x; }, true, NaN},
      {"limitRange", [](auto &y, auto &) { y.limitRange(-1.0f, 1.0f, Frames); }, [](float x) { return fmin(fmax(x, -1.0f), 1.0f); }, true, NaN},
      {"addThenMultiply", [=](auto &y, auto &) { y.addThenMultiply(c, d, Frames); }, [=](float x) { return (x + c) * d; }, true, NaN},
      {"MultiplyThenAdd", [=](auto &y, auto &) { y.MultiplyThenAdd(c, d, Frames); }, [=](float x) { return x * c + d; }, true, NaN},
      {"powerOf 4", [](auto &y, auto &) { y.powerOf(4, Frames); }, [](float x) { return (x * x) * (x * x); }, true, NaN},
      {"add(0) returns", [](auto &y, auto &) { y.add(0.0f, Frames); }, nullptr, true, 0.0f},
      {"add(NaN) returns", [](auto &y, auto &) { y.add(NaN, Frames); }, nullptr, true, NaN},
      {"mul(1) returns", [](auto &y, auto &) { y.mul(1.0f, Frames); }, nullptr, true, 1.0f},
      {"AND(0) returns", [](auto &y, auto &) { y.AND(0.0f, Frames); }, nullptr, true, 0.0f},
      {"XOR(-0) returns", [](auto &y, auto &) { y.XOR(-0.0f, Frames); }, nullptr, true, 0.0f},
  };
  for (uint32_t channels = 1; channels <= 4; ++channels)
    for (int states = 0; states < 4; ++states) {
      SCOPED_TRACE(testing::Message() << channels << " channels, compressed " << states);
      for (const InPlace &r : inPlace) {
        BufferPtr y = build(channels, states & 1, 0), b = build(channels, states & 2, 2);
        Model want = model(*y);
        operandsModel(want, {model(*y), model(*b)},
                      [&](size_t i, const std::vector<Model> &o) { return r.step(o[0].at(i), o[1].at(i)); });
        ((*y).*r.call)(*b, Frames);
        EXPECT_TRUE(sameFloats(*y, want)) << r.name;
        // A compressed neutral operand: nothing touched, whatever the state.
        if (std::isnan(r.neutral))
          continue;
        BufferPtr z = build(channels, states & 1, 0), neutral = build(channels, true, 0);
        std::fill_n(neutral->samples(), 8, states & 2 ? NaN : r.neutral == 0.0f ? -0.0f : r.neutral);
        const Model before = model(*z);
        ((*z).*r.call)(*neutral, Frames);
        EXPECT_TRUE(sameFloats(*z, before)) << r.name << " with a neutral operand";
      }
      if (states & 2)
        continue;
      for (const Scalar &r : scalars) {
        BufferPtr y = build(channels, false, 0), a = build(channels, states & 1, 1);
        AudioBuffer &source = r.inPlace ? *y : *a;
        if (r.inPlace)
          y->afterWrite(states & 1);
        Model want = model(*y);
        if (r.step)
          scalarModel(want, model(source), r.step);
        r.call(*y, *a);
        EXPECT_TRUE(sameFloats(*y, want)) << r.name;
      }
    }
}

namespace {
BufferPtr pattern(uint32_t channels, std::vector<float> values, bool compressed) {
  return testsupport::bufferOf(channels, values, compressed, 99.0f);
}
} // namespace

// Stereo by mono: the channel forms <2, 1>, the mono mix of mulTo and mul, addScalar.
TEST(AudioBufferOperations, StereoByMono) {
  const std::vector<float> stereo = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, mono = {10, 20, 30, 40, 50};
  for (bool compressedA : {false, true})
    for (bool compressedB : {false, true}) {
      SCOPED_TRACE(testing::Message() << compressedA << compressedB);
      BufferPtr a = pattern(2, stereo, compressedA), b = pattern(1, mono, compressedB);
      std::vector<float> sum, product;
      for (size_t f = 0; f < Frames; ++f)
        for (size_t ch = 0; ch < 2; ++ch) {
          const float x = stereo[compressedA ? ch : 2 * f + ch], m = mono[compressedB ? 0 : f];
          sum.push_back(x + m);
          product.push_back(x * m);
        }
      const size_t count = compressedA && compressedB ? 8 : 2 * Frames;
      auto expect = [&](const AudioBuffer &y, const std::vector<float> &want, const char *what) {
        EXPECT_EQ(y.frameStride, compressedA && compressedB ? 0u : 2u) << what;
        for (size_t i = 0; i < count; ++i)
          EXPECT_EQ(y.samples()[i], want[i % want.size()]) << what << " " << i;
        EXPECT_EQ(y.samples()[2 * Frames + 1], 99.0f) << what << ": exactly n frames";
      };
      BufferPtr y = pattern(2, {}, false);
      y->addTo<2, 1>(*a, *b, Frames);
      expect(*y, sum, "addTo<2, 1>");
      y->mulTo<2, 1>(*a, *b, Frames);
      expect(*y, product, "mulTo<2, 1>");
      y->mulTo(*b, *a, Frames); // the mono operand first: the same mix
      expect(*y, product, "mulTo mix");
      BufferPtr z = pattern(2, stereo, compressedA);
      z->addScalar(*b, Frames);
      expect(*z, sum, "addScalar");
      BufferPtr w = pattern(2, stereo, compressedA);
      w->mul(*b, Frames);
      expect(*w, product, "mul mix");
    }
  // mulTo<2, 1> clears for a silent compressed operand; addTo<2, 1> still runs.
  BufferPtr y = makeBuffer(64, 2), silent = pattern(1, {0.0f}, true), a = pattern(2, stereo, false);
  y->mulTo<2, 1>(*a, *silent, Frames);
  EXPECT_EQ(y->frameStride, 0u);
  EXPECT_EQ(testsupport::floats(*y, 8), std::vector<float>(8, 0.0f));
  y->addTo<2, 1>(*a, *silent, Frames);
  EXPECT_EQ(y->frameStride, 2u);
  EXPECT_EQ(testsupport::floats(*y, 10), stereo);
  // Above two channels the mix gives up, leaving the samples as they were.
  BufferPtr four = pattern(4, std::vector<float>(32, 9.0f), false);
  four->mulTo(*a, *pattern(1, mono, false), Frames);
  EXPECT_EQ(testsupport::floats(*four, 32), std::vector<float>(32, 9.0f));
}

// The cases the family's users meet first.
TEST(AudioBufferOperations, WorkedCases) {
  BufferPtr y = makeBuffer(64, 2);
  y->addTo(*pattern(2, {1, 2}, true), *pattern(2, {10, 20}, true), Frames);
  EXPECT_EQ(testsupport::floats(*y, 8), (std::vector<float>{11, 22, 11, 22, 11, 22, 11, 22}));
  BufferPtr s = pattern(2, {1, 2}, true);
  s->subSelf(3.0f, Frames);
  EXPECT_EQ(testsupport::floats(*s, 8), (std::vector<float>{2, 1, 2, 1, 2, 1, 2, 1}));
  // A mask from greaterThan selects, and all-compressed operands keep the result so.
  BufferPtr m = makeBuffer(64, 2), sel = makeBuffer(64, 2);
  m->greaterThan(*pattern(2, {5, NaN}, true), *pattern(2, {1, 1}, true), Frames);
  sel->SELECTTo(*pattern(2, {-1, -1}, true), *pattern(2, {7, 7}, true), *m, Frames);
  EXPECT_EQ(sel->frameStride, 0u);
  EXPECT_EQ(testsupport::floats(*sel, 4), (std::vector<float>{7, -1, 7, -1}));
  // The <1, 1> and <2, 2> forms never give up; <1, 1> fills eight floats from lane 0.
  BufferPtr mono = makeBuffer(64, 1);
  mono->maxTo<1, 1>(*pattern(1, {3}, true), *pattern(1, {4}, true), Frames);
  EXPECT_EQ(testsupport::floats(*mono, 8), std::vector<float>(8, 4.0f));
  BufferPtr pairs = makeBuffer(64, 3); // the template's channels decide, not this buffer's
  pairs->subTo<2, 2>(*pattern(2, {5, 6}, true), *pattern(2, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}, false), Frames);
  EXPECT_EQ(pairs->frameStride, 2u);
  EXPECT_EQ(testsupport::floats(*pairs, 4), (std::vector<float>{4, 4, 2, 2}));
  BufferPtr acc = pattern(2, {1, 1}, true);
  acc->madd<2, 1>(*pattern(2, {2, 3}, true), *pattern(1, {10}, true), Frames);
  EXPECT_EQ(testsupport::floats(*acc, 4), (std::vector<float>{21, 31, 21, 31}));

  // An exponent without a form is an assertion, and changes nothing.
  BufferPtr p = pattern(1, {2, 3, 4, 5, 6}, false);
  testing::internal::CaptureStderr();
  EXPECT_THROW(p->powerOf(5, Frames), base::core::AssertionFailedException);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("Not implemented"), std::string::npos);
  EXPECT_EQ(testsupport::floats(*p, 5), (std::vector<float>{2, 3, 4, 5, 6}));
  // The estimates: within their bound, not to the bit.
  BufferPtr r = pattern(1, {0.3f, 7.5f, 1e-3f, 123456.0f, 2.0f}, false);
  BufferPtr q = makeBuffer(64, 1);
  q->rsqrtTo(*r, Frames);
  r->rcp(Frames);
  const float x[] = {0.3f, 7.5f, 1e-3f, 123456.0f, 2.0f};
  for (size_t i = 0; i < Frames; ++i) {
    EXPECT_NEAR(r->samples()[i] * x[i], 1.0, 1.5 * 0x1p-12) << i;
    EXPECT_NEAR(q->samples()[i] * std::sqrt(double(x[i])), 1.0, 1.5 * 0x1p-12) << i;
  }
}
