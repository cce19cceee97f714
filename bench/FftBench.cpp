//===- bench/FftBench.cpp - Our real FFT and filter bank against FFTW ------===//
//
// Forward then inverse real transforms, out of place with a work buffer, against FFTW's
// r2c and c2r plans (FFTW_MEASURE) on the same data in the same run; and the filter
// bank's workload for one 65536-sample block: per 7936 samples one forward transform and
// five products with inverse transforms.
//
//===----------------------------------------------------------------------===//
#include "RatioReporter.h"

#include "engine/core/dsp/SampleData.h"
#include "engine/core/dsp/firFilterbank.h"
#include "primitives/dispatch/dispatch.h"
#include "primitives/fft/FftSpec.h"
#include "primitives/fft/fft.h"

#include <fftw3.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

std::vector<float> noise(std::size_t n) {
  std::vector<float> v(n);
  uint32_t s = 7;
  for (float &x : v) {
    s = s * 1664525u + 1013904223u;
    x = static_cast<float>(static_cast<int32_t>(s)) * (1.0f / 2147483648.0f);
  }
  return v;
}

void oursRoundTrip(benchmark::State &state, int order, bool wide) {
  primitives::fft::useWidePath(wide);
  const std::size_t n = std::size_t{1} << order;
  ippsFFTSpec_R_32f *spec = nullptr;
  ippsFFTInitAlloc_R_32f(&spec, order, ippFFTDivInverse, 1);
  int bufferSize = 0;
  ippsFFTGetBufSize_R_32f(spec, &bufferSize);
  unsigned char *buffer = ippsMalloc_8u(bufferSize);
  const std::vector<float> in = noise(n);
  float *spectrum = reinterpret_cast<float *>(ippsMalloc_8u(static_cast<int>(n * 4)));
  float *out = reinterpret_cast<float *>(ippsMalloc_8u(static_cast<int>(n * 4)));
  for (auto _ : state) {
    ippsFFTFwd_RToPerm_32f(in.data(), spectrum, spec, buffer);
    ippsFFTInv_PermToR_32f(spectrum, out, spec, buffer);
    benchmark::ClobberMemory();
  }
  ippsFree(out);
  ippsFree(spectrum);
  ippsFree(buffer);
  ippsFFTFree_R_32f(spec);
  primitives::fft::useWidePath(true);
}

void fftwRoundTrip(benchmark::State &state, int order) {
  const int n = 1 << order;
  float *in = fftwf_alloc_real(static_cast<size_t>(n));
  float *out = fftwf_alloc_real(static_cast<size_t>(n));
  fftwf_complex *spectrum = fftwf_alloc_complex(static_cast<size_t>(n / 2 + 1));
  fftwf_plan fwd = fftwf_plan_dft_r2c_1d(n, in, spectrum, FFTW_MEASURE);
  fftwf_plan inv = fftwf_plan_dft_c2r_1d(n, spectrum, out, FFTW_MEASURE);
  const std::vector<float> data = noise(static_cast<std::size_t>(n));
  std::copy(data.begin(), data.end(), in);
  for (auto _ : state) {
    fftwf_execute(fwd);
    fftwf_execute(inv);
    benchmark::ClobberMemory();
  }
  fftwf_destroy_plan(fwd);
  fftwf_destroy_plan(inv);
  fftwf_free(in);
  fftwf_free(out);
  fftwf_free(spectrum);
}

constexpr unsigned int Block = 65536;
constexpr unsigned int Good = 8192 - 257 + 1;

void oursFilterbank(benchmark::State &state) {
  const float cutOffs[] = {200.0f, 800.0f, 2000.0f, 5000.0f};
  engine::firFilterbank bank;
  bank.init(5, 1, 257, 0, cutOffs, 44100.0f, false);
  engine::SampleData in(Block, 1, 1), prev(Block, 1, 1), next(Block, 1, 1), out(Block, 1, 5);
  const std::vector<float> data = noise(Block);
  in.fromInterleavedBuffer(data.data());
  for (auto _ : state) {
    bank.filter(&in, &out, &prev, &next);
    benchmark::ClobberMemory();
  }
}

// The same transforms and products with FFTW: r2c of each 8192-point window, five
// complex products with the kernels' spectra, five c2r.
void fftwFilterbank(benchmark::State &state) {
  const int n = 8192;
  float *window = fftwf_alloc_real(n), *result = fftwf_alloc_real(n);
  fftwf_complex *spectrum = fftwf_alloc_complex(n / 2 + 1), *product = fftwf_alloc_complex(n / 2 + 1);
  std::vector<std::vector<float>> kernels(5, std::vector<float>(2 * (n / 2 + 1), 0.5f));
  fftwf_plan fwd = fftwf_plan_dft_r2c_1d(n, window, spectrum, FFTW_MEASURE);
  fftwf_plan inv = fftwf_plan_dft_c2r_1d(n, product, result, FFTW_MEASURE);
  const std::vector<float> data = noise(Block + n);
  std::vector<float> out(5 * std::size_t{Block});
  for (auto _ : state) {
    for (unsigned int pos = 0; pos < Block; pos += Good) {
      const unsigned int count = std::min(Good, Block - pos);
      std::copy(data.begin() + pos, data.begin() + pos + n, window);
      fftwf_execute(fwd);
      for (int b = 0; b < 5; ++b) {
        const float *k = kernels[static_cast<size_t>(b)].data();
        for (int i = 0; i <= n / 2; ++i) {
          const float ar = spectrum[i][0], ai = spectrum[i][1];
          product[i][0] = ar * k[2 * i] - ai * k[2 * i + 1];
          product[i][1] = ar * k[2 * i + 1] + ai * k[2 * i];
        }
        fftwf_execute(inv);
        std::copy(result + 256, result + 256 + count, out.begin() + b * Block + pos);
      }
    }
    benchmark::ClobberMemory();
  }
  fftwf_destroy_plan(fwd);
  fftwf_destroy_plan(inv);
  fftwf_free(window);
  fftwf_free(result);
  fftwf_free(spectrum);
  fftwf_free(product);
}

const bool registered = [] {
  for (int order : {10, 13, 16}) {
    const std::string name = "RealFFT_order" + std::to_string(order) + "/";
    benchmark::RegisterBenchmark((name + "ours").c_str(), oursRoundTrip, order, true);
    benchmark::RegisterBenchmark((name + "fftw").c_str(), fftwRoundTrip, order);
    // The 128-bit core, which processors without AVX run.
    const std::string narrow = "RealFFT_order" + std::to_string(order) + "_sse2/";
    benchmark::RegisterBenchmark((narrow + "ours").c_str(), oursRoundTrip, order, false);
    benchmark::RegisterBenchmark((narrow + "fftw").c_str(), fftwRoundTrip, order);
  }
  // No order may cost more than the next larger one: each small order against it.
  for (int order = 0; order <= 9; ++order) {
    const std::string name = "RealFFT_order" + std::to_string(order) + "_vs_next/";
    benchmark::RegisterBenchmark((name + "ours").c_str(), oursRoundTrip, order, true);
    benchmark::RegisterBenchmark((name + "order" + std::to_string(order + 1)).c_str(),
                                 oursRoundTrip, order + 1, true);
  }
  benchmark::RegisterBenchmark("FilterBank_65536/ours", oursFilterbank);
  benchmark::RegisterBenchmark("FilterBank_65536/fftw", fftwFilterbank);
  return true;
}();

} // namespace

RATIO_BENCHMARK_MAIN();
