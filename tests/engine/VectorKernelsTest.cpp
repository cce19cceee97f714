//===- tests/engine/VectorKernelsTest.cpp - Free kernels on arrays and buffers ===//
#include "engine/core/VectorKernels.h"
#include "tests/support/AudioBuffers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <string>
#include <utility>
#include <vector>
#include <xmmintrin.h>

using testsupport::BufferPtr;
using V = std::vector<float>;

namespace {

const float NaN = std::numeric_limits<float>::quiet_NaN(), Inf = std::numeric_limits<float>::infinity();
constexpr float Sentinel = -7777.0f;

struct alignas(16) Block { // `values`, then the sentinel
  float f[64];
  explicit Block(const V &values = {}) {
    std::fill_n(f, 64, Sentinel);
    std::copy(values.begin(), values.end(), f);
  }
};

V ramp(int count, float start, float step) {
  V v(size_t(count), start);
  for (int i = 0; i < count; ++i)
    v[size_t(i)] += step * static_cast<float>(i);
  return v;
}

bool same(float a, float b) { return std::memcmp(&a, &b, sizeof a) == 0 || (a != a && b != b); }

BufferPtr constant(float v, uint32_t channels = 1) { return testsupport::bufferOf(channels, V(8, v), true, 0.0f, 16); }
BufferPtr samples(const V &v) { return testsupport::bufferOf(1, v, false, 0.0f, 16); }
float value(const BufferPtr &b) { return b->samples()[b->frameStride == 0 ? 7 : 5]; } // a pattern float, or a sample
using W = engine::AudioBufferWriter;
template <class F> BufferPtr into(BufferPtr y, F op) { return op(y->writer()), std::move(y); }

} // namespace

// (n - 1) / 8 + 1 whole groups written, nothing behind, nothing for n < 1; div a few ulps.
TEST(VectorKernels, ArrayFormsWriteWholeGroups) {
  struct Row {
    const char *name;
    void (*three)(const float *, const float *, float *, int), (*two)(const float *, float *, int);
    void (*withC)(const float *, float, float *, int), (*inPlaceC)(float, float *, int); // y - c, y / c: kept
    float (*plain)(float, float);
  } rows[] = {
#define KERNEL(op, expr) {#op, engine::op, engine::op, engine::op##c, engine::op##c, [](float a, float b) { return expr; }}
      KERNEL(add, a + b), KERNEL(sub, a - b), KERNEL(mul, a * b), KERNEL(div, a / b), KERNEL(min, a < b ? a : b),
      KERNEL(max, a > b ? a : b)};
#undef KERNEL
  const V a = ramp(48, -3.3f, 0.37f), b = ramp(48, 5.1f, -0.29f);
  const float c = 1.7f;
  for (const Row &r : rows)
    for (int n : {-3, 0, 1, 7, 8, 9, 40}) {
      SCOPED_TRACE(testing::Message() << r.name << " n=" << n);
      Block three, two(b), withC, inPlaceC(a);
      r.three(Block(a).f, Block(b).f, three.f, n);
      r.two(Block(a).f, two.f, n);
      r.withC(Block(a).f, c, withC.f, n);
      r.inPlaceC(c, inPlaceC.f, n);
      const int written = n < 1 ? 0 : ((n - 1) / 8 + 1) * 8;
      const float tolerance = std::string(r.name) == "div" ? 0x1p-21f : 0.0f;
      auto expect = [&](float got, float want, float untouched, int i) {
        EXPECT_TRUE(i >= written ? same(got, untouched) : same(got, want) || std::fabs(got - want) < std::fabs(want) * tolerance)
            << "i " << i << ": " << got << " vs " << want;
      };
      for (int i = 0; i < 48; ++i) {
        expect(three.f[i], r.plain(a[i], b[i]), Sentinel, i);
        expect(two.f[i], r.plain(b[i], a[i]), b[i], i); // y = y op a
        expect(withC.f[i], r.plain(a[i], c), Sentinel, i);
        expect(inPlaceC.f[i], r.plain(a[i], c), a[i], i);
      }
      EXPECT_EQ(three.f[48], Sentinel);
    }
  // min and max give the second operand of the instruction where a lane is NaN.
  Block x({NaN, 1}), y({1, NaN}), lo, hi;
  engine::min(x.f, y.f, lo.f, 1);
  engine::max(y.f, x.f, hi.f, 1);
  EXPECT_TRUE(lo.f[0] == 1.0f && std::isnan(lo.f[1]) && std::isnan(hi.f[0]) && hi.f[1] == 1.0f);
}

// Either state of the writer; the operand orders that differ between the paths are kept.
TEST(VectorKernels, BufferFormsAndTheirReversals) {
  for (bool cw : {true, false}) {
    auto y = [cw](float v) { return cw ? constant(v) : samples(V(16, v)); };
    const uint32_t own = cw ? 0u : 1u;
    const float estimate = cw ? 0.0f : 1e-6f; // the constant paths divide exactly
    struct Case {
      const char *name;
      BufferPtr y;
      uint32_t stride;
      float want, tolerance = 0.0f;
    } cases[] = {
        {"add(R, R, W) constants, n 0", into(y(0), [](W w) { engine::add(constant(2)->reader(), constant(3)->reader(), w, 0); }), 0, 5},
        {"add(R, R, W) a sample reader, n 0: no store", into(y(5), [](W w) { engine::add(constant(2)->reader(), samples(V(16, 1))->reader(), w, 0); }), 1, 5},
        {"sub(R, W): a - y constant, y - a samples", into(y(1), [](W w) { engine::sub(constant(3)->reader(), w, 16); }), own, cw ? 2.0f : -2.0f},
        {"div(R, W): a / y constant, y / a samples", into(y(1), [](W w) { engine::div(constant(4)->reader(), w, 16); }), own, cw ? 4.0f : 0.25f, estimate},
        {"subc(c, W): c - y", into(y(8), [](W w) { engine::subc(2.0f, w, 16); }), own, -6.0f},
        {"divc(c, W): c / y", into(y(-6), [](W w) { engine::divc(3.0f, w, 16); }), own, -0.5f, estimate},
        {"subc(W, c): y - c", into(y(-0.5f), [](W w) { engine::subc(w, 1.0f, 16); }), own, -1.5f},
        {"subc(c, R, W): c - a", into(y(0), [](W w) { engine::subc(1.0f, constant(4.0f)->reader(), w, 16); }), 0, -3.0f},
        {"madd: a constant writer stands in for y", into(y(1), [](W w) { engine::madd(constant(2)->reader(), samples(V(16, 3))->reader(), w, 16u); }), 1, 7},
        {"madd all constant", into(y(1), [](W w) { engine::madd(constant(2)->reader(), constant(3)->reader(), w, 16u); }), own, 7},
        {"div 1 / 0 constant: +inf", into(y(0), [](W w) { engine::div(constant(1)->reader(), constant(0)->reader(), w, 8); }), 0, Inf},
        {"div 1 / 0 samples: NaN from the estimate", into(y(0), [](W w) { engine::div(samples(V(16, 1))->reader(), samples(V(16, 0))->reader(), w, 8); }), 1, NaN},
    };
    for (const Case &c : cases)
      EXPECT_TRUE(c.y->frameStride == c.stride && (same(value(c.y), c.want) || std::fabs(value(c.y) - c.want) <= c.tolerance))
          << c.name << (cw ? ", constant writer: " : ", sample writer: ") << c.y->frameStride << " " << value(c.y);
  }
  // A writer stands for channel 0 of a compressed stereo buffer: the result is mono.
  BufferPtr stereo = testsupport::bufferOf(2, {1, 2, 1, 2, 1, 2, 1, 2}, true, 0.0f, 16);
  engine::addc(10.0f, stereo->writer(), 4);
  EXPECT_EQ(testsupport::floats(*stereo, 8), V(8, 11.0f));
}

// Estimates within their bound in both paths; the lower limit goes first, so NaN gives it.
TEST(VectorKernels, UnaryForms) {
  const V x = {0.3f, 1.0f, 7.5f, 1e-3f, 123456.0f, 2.0f, 0.77f, 9e9f};
  struct Row {
    void (*array)(const float *, float *, int), (*writer)(engine::AudioBufferWriter, int);
    double (*exact)(double), bound; // bound relative; 0: the bits of the float operation
  } rows[] = {{engine::rcp, engine::rcp, [](double v) { return 1.0 / v; }, 1.5 * 0x1p-12},
              {engine::rcpsqrt, engine::rcpsqrt, [](double v) { return 1.0 / std::sqrt(v); }, 1.5 * 0x1p-12},
              {engine::sqrt, engine::sqrt, [](double v) { return double(std::sqrt(float(v))); }, 0.0},
              {engine::square, engine::square, [](double v) { return double(float(v) * float(v)); }, 0.0}};
  for (const Row &r : rows) {
    Block y;
    r.array(Block(x).f, y.f, 8);
    for (size_t i = 0; i < 8; ++i)
      for (float got : {y.f[i], value(into(constant(x[i]), [&](W w) { r.writer(w, 3); }))})
        EXPECT_LE(std::fabs(got - r.exact(x[i])), r.bound * r.exact(x[i])) << x[i];
  }
  Block abs({-0.0f, -5.0f, NaN, -Inf, 3.0f}), limited({NaN, -3.0f, 0.5f, 3.0f, -Inf, Inf, -1.0f, 1.0f});
  engine::abs(abs.f, 1);
  EXPECT_TRUE(same(abs.f[0], 0.0f) && abs.f[1] == 5.0f && std::isnan(abs.f[2]) && abs.f[3] == Inf);
  engine::limitRange(limited.f, -1.0f, 1.0f, 8);
  EXPECT_EQ(V(limited.f, limited.f + 8), (V{-1, -1, 0.5f, 1, -1, 1, -1, 1}));
  EXPECT_EQ(value(into(constant(NaN), [](W w) { engine::limitRange(w, -1.0f, 1.0f, 8); })), -1.0f);
}

// Through an int32: NaN and out of range give -2^31, ceil(-0.5) +0; floor, ceil own their mode.
TEST(VectorKernels, RoundingFamilyAndModf) {
  const V x = {2.5f, 3.5f, -0.5f, -1.5f, 3e9f, NaN, 0.7f, -2.7f};
  const float Low = -2147483648.0f;
  const std::pair<void (*)(const float *, float *, int), V> rows[] = {
      {engine::round, {2, 4, -0.0f, -2, Low, Low, 1, -3}}, {engine::trunc, {2, 3, 0, -1, Low, Low, 0, -2}},
      {engine::floor, {2, 3, -1, -2, Low, Low, 0, -3}}, {engine::ceil, {3, 4, 0, -1, Low, Low, 1, -2}}};
  auto control = [] { return _mm_getcsr() & ~0x3Fu; }; // not the sticky flags the conversions raise
  const unsigned int caller = control();
  for (const auto &[f, want] : rows) {
    Block y;
    f(Block(x).f, y.f, 8);
    for (size_t i = 0; i < 8; ++i)
      EXPECT_TRUE(same(y.f[i], want[i] == 0.0f ? 0.0f : want[i])) << i << ": " << y.f[i];
    f(x.data(), y.f, 0); // restored on the path that does nothing too
    EXPECT_EQ(control(), caller);
  }
  _mm_setcsr((caller & ~0x6000u) | 0x6000u); // towards zero
  Block z({2.9f, -2.9f});
  engine::round(z.f, 1);
  engine::floor(Block({-0.5f}).f, z.f + 8, 1); // its own mode, then the caller's again
  EXPECT_EQ(control(), (caller & ~0x6000u) | 0x6000u);
  _mm_setcsr(caller);
  EXPECT_EQ((V{z.f[0], z.f[1], z.f[8]}), (V{2, -2, -1}));
  // Kept: modf gives whole parts of all eight, but the first four lanes' fractions twice.
  Block fractions;
  alignas(16) int whole[8];
  engine::modf(Block({1.5f, 2.25f, 3.75f, 4.0f, 5.5f, 6.5f, 7.5f, 8.5f}).f, fractions.f, whole, 8);
  EXPECT_EQ(std::vector<int>(whole, whole + 8), (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8}));
  EXPECT_EQ(V(fractions.f, fractions.f + 8), (V{0.5f, 0.25f, 0.75f, 0, 0.5f, 0.25f, 0.75f, 0}));
}

// What each copy and block write may touch beyond n = 5.
TEST(VectorKernels, CopiesBlocksAndReductions) {
  const V x = ramp(24, 1, 1);
  struct Row {
    const char *name;
    void (*run)(const float *source, float *y, int n);
    int source, touched; // the unaligned forms start one float in
    bool adds;
  } rows[] = {{"cpy", engine::cpy, 0, 8, false}, {"cpy_unaligned", engine::cpy_unaligned, 1, 8, false},
              {"zero_block", [](const float *, float *y, int n) { engine::zero_block(y, n); }, 0, 5, false},
              {"init_block", [](const float *, float *y, int n) { engine::init_block(0.0f, y, n); }, 0, 8, false},
              {"add_unaligned", engine::add_unaligned, 1, 8, true}, {"add_scalar", engine::add_scalar, 1, 5, true}};
  for (const Row &r : rows) {
    Block y(V(16, 0.5f)), source(x);
    r.run(source.f + r.source, y.f, 5);
    for (size_t i = 0; i < 16; ++i)
      EXPECT_EQ(y.f[i], i >= size_t(r.touched) ? 0.5f : r.adds ? 0.5f + x[i + 1] : r.name[0] == 'c' ? x[i + size_t(r.source)] : 0.0f)
          << r.name << " " << i;
  }
  // Reductions: exact n; the fixed order (lanes 2, 3 onto 0, 1, 1 onto 0, the tail) sums big to 3.
  alignas(16) const float big[8] = {1e8f, 1.0f, -1e8f, 1.0f, 1.0f}, y[8] = {1, 2, 3, 4, 5, -7, 0.5f, -0.25f};
  using namespace engine;
  EXPECT_EQ((V{sum(big, 5), sumabs_unaligned(big, 5), sum(y, 5), sum(y, 0), sumabs(y, 6), max(y, 7), max(y, 0),
               max_unaligned(y, 5), max_unaligned(y + 1, 3), min(y, 6), min(y, -1), maxabs(y, 8), minabs(y, 8), minabs(y, 0),
               rms(y, 2), rms_unaligned(y, 4)}),
            (V{3, 2e8f + 3, 15, 0, 22, 5, -Inf, 5, 4, -7, Inf, 7, 0.25f, Inf, std::sqrt(2.5f), std::sqrt(7.5f)}));
  EXPECT_TRUE(std::isnan(rms(y, 0)));
}
