//===- bench/VecmathBench.cpp - Vector maths against the C library ---------===//
//
// Each function over an array of 1024 floats, against the C library's scalar float
// function over the same array, in one run; and the same with the 128-bit kernels.
//
//===----------------------------------------------------------------------===//
#include "RatioReporter.h"

#include "primitives/vecmath/LogExp.h"
#include "primitives/vecmath/vecmath.h"

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

namespace {

constexpr int Length = 1024;

std::vector<float> inputs(float lo, float hi) {
  std::vector<float> v(Length);
  uint32_t s = 12345;
  for (float &x : v) {
    s = s * 1664525u + 1013904223u;
    x = lo + (hi - lo) * static_cast<float>(s >> 8) * (1.0f / 16777216.0f);
  }
  return v;
}

void ours(benchmark::State &state, IppStatus (*f)(const float *, float *, int), float lo, float hi,
          bool wide) {
  primitives::vecmath::useWideMath(wide);
  const std::vector<float> in = inputs(lo, hi);
  std::vector<float> out(Length);
  for (auto _ : state) {
    f(in.data(), out.data(), Length);
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * Length);
  primitives::vecmath::useWideMath(true);
}

void libc(benchmark::State &state, float (*f)(float), float lo, float hi) {
  const std::vector<float> in = inputs(lo, hi);
  std::vector<float> out(Length);
  for (auto _ : state) {
    for (int i = 0; i < Length; ++i)
      out[static_cast<size_t>(i)] = f(in[static_cast<size_t>(i)]);
    benchmark::DoNotOptimize(out.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * Length);
}

struct Case {
  const char *name;
  IppStatus (*ours)(const float *, float *, int);
  float (*libc)(float);
  float lo, hi;
};

const Case Cases[] = {
    {"Ln", ippsLn_32f_A24, logf, 0.001f, 1000.0f},
    {"Log10", ippsLog10_32f_A24, log10f, 0.001f, 1000.0f},
    {"Exp", ippsExp_32f_A24, expf, -80.0f, 80.0f},
    {"Sin", ippsSin_32f_A24, sinf, -100.0f, 100.0f},
    {"Cos", ippsCos_32f_A24, cosf, -100.0f, 100.0f},
    {"Tan", ippsTan_32f_A24, tanf, -100.0f, 100.0f},
    {"Atan", ippsAtan_32f_A24, atanf, -100.0f, 100.0f},
    {"Sinh", ippsSinh_32f_A24, sinhf, -80.0f, 80.0f},
    {"Cosh", ippsCosh_32f_A24, coshf, -80.0f, 80.0f},
    {"Tanh", ippsTanh_32f_A24, tanhf, -10.0f, 10.0f},
    {"SinSmall", ippsSin_32f_A24, sinf, -3.2f, 3.2f},
    {"CosSmall", ippsCos_32f_A24, cosf, -3.2f, 3.2f},
    // Beyond 100 the sine and cosine reduce their arguments in double.
    {"SinLarge", ippsSin_32f_A24, sinf, -5000.0f, 5000.0f},
    {"CosLarge", ippsCos_32f_A24, cosf, -5000.0f, 5000.0f},
};

const bool registered = [] {
  for (const Case &c : Cases) {
    const std::string name = std::string(c.name) + "_1024/";
    benchmark::RegisterBenchmark((name + "ours").c_str(), ours, c.ours, c.lo, c.hi, true);
    benchmark::RegisterBenchmark((name + "glibc").c_str(), libc, c.libc, c.lo, c.hi);
    // The 128-bit kernels, which processors without AVX2 run.
    const std::string narrow = std::string(c.name) + "_1024_sse2/";
    benchmark::RegisterBenchmark((narrow + "ours").c_str(), ours, c.ours, c.lo, c.hi, false);
    benchmark::RegisterBenchmark((narrow + "glibc").c_str(), libc, c.libc, c.lo, c.hi);
  }
  return true;
}();

} // namespace

RATIO_BENCHMARK_MAIN();
