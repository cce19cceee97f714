//===- tests/engine/VectorKernelsTest.cpp - Free kernels on arrays and buffers ===//
#include "engine/core/VectorKernels.h"
#include "tests/support/AudioBuffers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <vector>
#include <xmmintrin.h>

using engine::AudioBuffer;
using testsupport::BufferPtr;
using testsupport::makeBuffer;

namespace {

const float NaN = std::numeric_limits<float>::quiet_NaN();
const float Inf = std::numeric_limits<float>::infinity();
constexpr float Sentinel = -7777.0f;

// 16-byte aligned floats: `values`, then the sentinel up to 64 floats.
struct alignas(16) Block {
  float f[64];
  explicit Block(std::vector<float> values = {}) {
    std::fill_n(f, 64, Sentinel);
    std::copy(values.begin(), values.end(), f);
  }
};

std::vector<float> ramp(int count, float start, float step) {
  std::vector<float> v;
  for (int i = 0; i < count; ++i)
    v.push_back(start + step * static_cast<float>(i));
  return v;
}

bool same(float a, float b) { return std::memcmp(&a, &b, sizeof a) == 0 || (a != a && b != b); }

BufferPtr constant(float v, uint32_t channels = 1) {
  return testsupport::bufferOf(channels, std::vector<float>(8, v), true, 0.0f, 16);
}

BufferPtr samples(std::vector<float> v) { return testsupport::bufferOf(1, v, false, 0.0f, 16); }

} // namespace

// The six operations in their four array forms against their plain reading, at lengths
// around a group: whole groups written ((n - 1) / 8 + 1 of them), nothing behind, nothing
// at all for n < 1. Division goes through the refined estimate: a few ulps, not the bits.
TEST(VectorKernels, ArrayFormsWriteWholeGroups) {
  using Three = void (*)(const float *, const float *, float *, int);
  using Two = void (*)(const float *, float *, int);
  using WithC = void (*)(const float *, float, float *, int);
  using InPlaceC = void (*)(float, float *, int);
  struct Row {
    const char *name;
    Three three;
    Two two;
    WithC withC;
    InPlaceC inPlaceC;
    float (*plain)(float, float);
  } rows[] = {
      {"add", engine::add, engine::add, engine::addc, engine::addc, [](float a, float b) { return a + b; }},
      {"sub", engine::sub, engine::sub, engine::subc, engine::subc, [](float a, float b) { return a - b; }},
      {"mul", engine::mul, engine::mul, engine::mulc, engine::mulc, [](float a, float b) { return a * b; }},
      {"div", engine::div, engine::div, engine::divc, engine::divc, [](float a, float b) { return a / b; }},
      {"min", engine::min, engine::min, engine::minc, engine::minc, [](float a, float b) { return a < b ? a : b; }},
      {"max", engine::max, engine::max, engine::maxc, engine::maxc, [](float a, float b) { return a > b ? a : b; }},
  };
  const std::vector<float> a = ramp(48, -3.3f, 0.37f), b = ramp(48, 5.1f, -0.29f);
  const float c = 1.7f;
  for (const Row &r : rows)
    for (int n : {-3, 0, 1, 7, 8, 9, 40}) {
      SCOPED_TRACE(testing::Message() << r.name << " n=" << n);
      const int written = n < 1 ? 0 : ((n - 1) / 8 + 1) * 8;
      Block three, two(b), withC, inPlaceC(a);
      r.three(Block(a).f, Block(b).f, three.f, n);
      r.two(Block(a).f, two.f, n);
      r.withC(Block(a).f, c, withC.f, n);
      r.inPlaceC(c, inPlaceC.f, n);
      const bool exact = std::string(r.name) != "div";
      auto expect = [&](float got, float want, bool computed, int i) {
        if (!computed) {
          EXPECT_TRUE(same(got, want)) << "i " << i << " written";
          return;
        }
        EXPECT_TRUE(exact ? same(got, want) : std::fabs(got - want) <= std::fabs(want) * 0x1p-21f)
            << "i " << i << ": " << got << " vs " << want;
      };
      for (int i = 0; i < 48; ++i) {
        const bool in = i < written;
        expect(three.f[i], in ? r.plain(a[i], b[i]) : Sentinel, in, i);
        expect(two.f[i], in ? r.plain(b[i], a[i]) : b[i], in, i); // y = y op a
        expect(withC.f[i], in ? r.plain(a[i], c) : Sentinel, in, i);
        expect(inPlaceC.f[i], in ? r.plain(a[i], c) : a[i], in, i);
      }
      EXPECT_EQ(three.f[48], Sentinel);
    }
  // min and max give the second operand of the instruction where a lane is NaN.
  Block x({NaN, 1, NaN, 1, 0, 0, 0, 0}), y({1, NaN, 1, NaN, 0, 0, 0, 0}), out;
  engine::min(x.f, y.f, out.f, 1);
  EXPECT_TRUE(out.f[0] == 1.0f && std::isnan(out.f[1]));
  engine::max(y.f, x.f, out.f, 1);
  EXPECT_TRUE(std::isnan(out.f[0]) && out.f[1] == 1.0f);
}

// Constant in, constant out for one scalar operation; the operand orders that differ
// between the sample and the constant paths are kept as they stand.
TEST(VectorKernels, BufferFormsAndTheirReversals) {
  auto value = [](const BufferPtr &b) { return b->frameStride == 0 ? b->samples()[7] : b->samples()[5]; };
  BufferPtr out = constant(0.0f);
  // Both readers constant: the constant, whatever n; one reader of samples and n = 0:
  // nothing stored, yet the output is in sample state.
  engine::add(constant(2.0f)->reader(), constant(3.0f)->reader(), out->writer(), 0);
  EXPECT_EQ(out->frameStride, 0u);
  EXPECT_EQ(value(out), 5.0f);
  engine::add(constant(2.0f)->reader(), samples(ramp(16, 1, 0))->reader(), out->writer(), 0);
  EXPECT_EQ(out->frameStride, 1u);
  EXPECT_EQ(out->samples()[0], 5.0f);

  // sub / div reader into writer: samples y - a, y / a; constants a - y, a / y.
  struct Reversal {
    void (*kernel)(engine::AudioBufferReader, engine::AudioBufferWriter, int);
    float a, y, constantResult, sampleResult;
  } reversals[] = {{engine::sub, 3.0f, 1.0f, 2.0f, -2.0f}, {engine::div, 4.0f, 1.0f, 4.0f, 0.25f}};
  for (const Reversal &r : reversals) {
    BufferPtr yc = constant(r.y), ys = samples(std::vector<float>(16, r.y));
    r.kernel(constant(r.a)->reader(), yc->writer(), 16);
    r.kernel(constant(r.a)->reader(), ys->writer(), 16);
    EXPECT_EQ(value(yc), r.constantResult);
    EXPECT_NEAR(value(ys), r.sampleResult, 1e-6f);
    EXPECT_EQ(ys->frameStride, 1u);
  }
  // subc / divc: y - c, y / c on arrays; c - y, c / y on a writer, in both of its paths.
  Block arr(std::vector<float>(8, 8.0f));
  engine::subc(2.0f, arr.f, 1);
  EXPECT_EQ(arr.f[0], 6.0f);
  engine::divc(2.0f, arr.f, 1);
  EXPECT_NEAR(arr.f[0], 3.0f, 1e-6f);
  for (bool compressedWriter : {true, false}) {
    BufferPtr s = compressedWriter ? constant(8.0f) : samples(std::vector<float>(16, 8.0f));
    engine::subc(2.0f, s->writer(), 16);
    EXPECT_EQ(value(s), -6.0f);
    engine::divc(3.0f, s->writer(), 16);
    EXPECT_NEAR(value(s), -0.5f, 1e-6f);
    engine::subc(s->writer(), 1.0f, 16); // the extra form: y - c
    EXPECT_NEAR(value(s), -1.5f, 1e-6f);
    engine::subc(1.0f, constant(4.0f)->reader(), s->writer(), 16); // c - a
    EXPECT_EQ(value(s), -3.0f);
    EXPECT_EQ(s->frameStride, 0u);
  }
  // One over zero: exactly +inf as a constant, NaN through the estimate.
  BufferPtr q = constant(0.0f);
  engine::div(constant(1.0f)->reader(), constant(0.0f)->reader(), q->writer(), 8);
  EXPECT_EQ(value(q), Inf);
  engine::div(samples(std::vector<float>(16, 1.0f))->reader(), samples(std::vector<float>(16, 0.0f))->reader(),
              q->writer(), 8);
  EXPECT_TRUE(std::isnan(value(q)));

  // A writer stands for channel 0 of a compressed stereo buffer: the result is mono.
  BufferPtr stereo = constant(0.0f, 2);
  std::copy_n(std::vector<float>{1, 2, 1, 2, 1, 2, 1, 2}.data(), 8, stereo->samples());
  engine::addc(10.0f, stereo->writer(), 4);
  EXPECT_EQ(std::vector<float>(stereo->samples(), stereo->samples() + 8), std::vector<float>(8, 11.0f));

  // madd: constant only if all three are; otherwise a constant writer stands in for y.
  BufferPtr m = constant(1.0f);
  engine::madd(constant(2.0f)->reader(), constant(3.0f)->reader(), m->writer(), 0u);
  EXPECT_EQ(value(m), 7.0f);
  engine::madd(constant(2.0f)->reader(), samples(std::vector<float>(16, 3.0f))->reader(), m->writer(), 16u);
  EXPECT_EQ(m->frameStride, 1u);
  EXPECT_EQ(m->samples()[15], 13.0f);
}

// The estimates within their bound in both paths; the exact operations to the bit; the
// range limit with its lower bound first.
TEST(VectorKernels, UnaryForms) {
  const std::vector<float> x = {0.3f, 1.0f, 7.5f, 1e-3f, 123456.0f, 2.0f, 0.77f, 9e9f};
  using Unary = void (*)(const float *, float *, int);
  struct Row {
    Unary array;
    void (*writer)(engine::AudioBufferWriter, int);
    double (*exact)(double);
    double bound; // relative; 0: the bits of the float operation
  } rows[] = {{engine::rcp, engine::rcp, [](double v) { return 1.0 / v; }, 1.5 * 0x1p-12},
              {engine::rcpsqrt, engine::rcpsqrt, [](double v) { return 1.0 / std::sqrt(v); }, 1.5 * 0x1p-12},
              {engine::sqrt, engine::sqrt, [](double v) { return double(std::sqrt(float(v))); }, 0.0},
              {engine::square, engine::square, [](double v) { return double(float(v) * float(v)); }, 0.0}};
  for (const Row &r : rows) {
    Block y;
    r.array(Block(x).f, y.f, 8);
    for (int i = 0; i < 8; ++i) {
      BufferPtr b = constant(x[static_cast<std::size_t>(i)]);
      r.writer(b->writer(), 3);
      for (float got : {y.f[i], b->samples()[7]}) {
        const double want = r.exact(x[static_cast<std::size_t>(i)]);
        EXPECT_LE(std::fabs(got - want), r.bound * want) << x[static_cast<std::size_t>(i)];
      }
    }
  }
  Block abs({-0.0f, -5.0f, NaN, -Inf, 3.0f});
  engine::abs(abs.f, 1);
  EXPECT_TRUE(same(abs.f[0], 0.0f) && abs.f[1] == 5.0f && std::isnan(abs.f[2]) && abs.f[3] == Inf);

  Block limited({NaN, -3.0f, 0.5f, 3.0f, -Inf, Inf, -1.0f, 1.0f});
  engine::limitRange(limited.f, -1.0f, 1.0f, 8);
  EXPECT_EQ(std::vector<float>(limited.f, limited.f + 8), (std::vector<float>{-1, -1, 0.5f, 1, -1, 1, -1, 1}));
  BufferPtr nan = constant(NaN);
  engine::limitRange(nan->writer(), -1.0f, 1.0f, 8);
  EXPECT_EQ(nan->samples()[7], -1.0f);
}

// Round in the caller's mode, trunc towards zero, floor and ceil in their own mode for the
// call only; through a 32-bit integer, so out of range and NaN give -2^31 and ceil(-0.5)
// is +0.
TEST(VectorKernels, RoundingFamily) {
  const std::vector<float> x = {2.5f, 3.5f, -0.5f, -1.5f, 3e9f, NaN, 0.7f, -2.7f};
  using Unary = void (*)(const float *, float *, int);
  const float Low = -2147483648.0f;
  const std::pair<Unary, std::vector<float>> rows[] = {
      {engine::round, {2, 4, -0.0f, -2, Low, Low, 1, -3}},
      {engine::trunc, {2, 3, 0, -1, Low, Low, 0, -2}},
      {engine::floor, {2, 3, -1, -2, Low, Low, 0, -3}},
      {engine::ceil, {3, 4, 0, -1, Low, Low, 1, -2}},
  };
  // The control bits; the conversions raise the sticky exception flags (the low six).
  auto control = [] { return _mm_getcsr() & ~0x3Fu; };
  const unsigned int caller = control();
  for (const auto &[f, want] : rows) {
    Block y;
    f(Block(x).f, y.f, 8);
    for (int i = 0; i < 8; ++i)
      EXPECT_TRUE(same(y.f[i], want[static_cast<std::size_t>(i)] == 0.0f ? 0.0f : want[static_cast<std::size_t>(i)]))
          << i << ": " << y.f[i];
    f(x.data(), y.f, 0); // the mode is restored on the path that does nothing too
    EXPECT_EQ(control(), caller);
  }
  // round follows the caller's mode; floor leaves it as it was.
  _mm_setcsr((caller & ~0x6000u) | 0x6000u);
  Block z({2.9f, -2.9f});
  engine::round(z.f, 1);
  engine::floor(Block({-0.5f}).f, z.f + 8, 1);
  EXPECT_EQ(control(), (caller & ~0x6000u) | 0x6000u);
  _mm_setcsr(caller);
  EXPECT_EQ(z.f[0], 2.0f);
  EXPECT_EQ(z.f[1], -2.0f);
  EXPECT_EQ(z.f[8], -1.0f);
}

// Whole parts of all eight; the fractions of the first four lanes, twice.
TEST(VectorKernels, ModfRepeatsTheFirstFractions) {
  Block fractions;
  alignas(16) int whole[8];
  engine::modf(Block({1.5f, 2.25f, 3.75f, 4.0f, 5.5f, 6.5f, 7.5f, 8.5f}).f, fractions.f, whole, 8);
  EXPECT_EQ(std::vector<int>(whole, whole + 8), (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8}));
  EXPECT_EQ(std::vector<float>(fractions.f, fractions.f + 8),
            (std::vector<float>{0.5f, 0.25f, 0.75f, 0, 0.5f, 0.25f, 0.75f, 0}));
}

// The copies and block writes and what each may touch beyond n.
TEST(VectorKernels, CopiesAndBlocks) {
  const std::vector<float> x = ramp(24, 1, 1);
  struct Row {
    const char *name;
    void (*run)(const float *source, float *y, int n);
    int source;  // offset into the source block: the unaligned forms start one float in
    int touched; // floats written for n = 5
  } rows[] = {{"cpy", engine::cpy, 0, 8},
              {"cpy_unaligned", engine::cpy_unaligned, 1, 8},
              {"zero_block", [](const float *, float *y, int n) { engine::zero_block(y, n); }, 0, 5},
              {"init_block", [](const float *, float *y, int n) { engine::init_block(0.0f, y, n); }, 0, 8},
              {"add_unaligned", engine::add_unaligned, 1, 8},
              {"add_scalar", engine::add_scalar, 1, 5}};
  for (const Row &r : rows) {
    Block y(std::vector<float>(16, 0.5f)), source(x);
    r.run(source.f + r.source, y.f, 5);
    for (int i = 0; i < 16; ++i) {
      const bool adds = std::string(r.name).rfind("add", 0) == 0, zeroes = r.name[0] != 'c';
      const float moved = adds ? 0.5f + x[static_cast<std::size_t>(i + 1)] : zeroes ? 0.0f : x[static_cast<std::size_t>(i + r.source)];
      EXPECT_EQ(y.f[i], i < r.touched ? moved : 0.5f) << r.name << " " << i;
    }
  }
  // add_scalar: a group of four, then two one at a time.
  Block y(std::vector<float>(16, 1.0f));
  engine::add_scalar(Block(x).f + 1, y.f, 6);
  EXPECT_EQ(std::vector<float>(y.f, y.f + 8), (std::vector<float>{3, 4, 5, 6, 7, 8, 1, 1}));
}
