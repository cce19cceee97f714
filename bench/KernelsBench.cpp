//===- bench/KernelsBench.cpp - Block kernels against plain loops ----------===//
//
// The array kernels against the same loop compiled at -O3 (and cpy against memcpy),
// the buffer forms on mono sample buffers, and on compressed buffers at 64 and 65536
// frames, where a whole block costs one scalar operation.
//
//===----------------------------------------------------------------------===//
#include "bench/PlainLoops.h"
#include "bench/RatioReporter.h"
#include "engine/core/VectorKernels.h"

#include <cstdlib>
#include <cstring>
#include <memory>

namespace {

constexpr int N = 4096;

// Three arrays in one block, at different offsets within a page, so that neither loop
// form meets the processor's false store-to-load dependences between addresses 4 KiB apart.
struct Arrays {
  float *block, *a, *b, *y;
  Arrays() {
    block = static_cast<float *>(std::aligned_alloc(4096, 4 * N * sizeof(float)));
    a = block;
    b = block + N + 256;
    y = block + 2 * N + 512;
    for (int i = 0; i < N; ++i) {
      a[i] = 0.001f * static_cast<float>(i);
      b[i] = 1.0f + 0.0005f * static_cast<float>(i % 97);
    }
  }
  ~Arrays() { std::free(block); }
  Arrays(const Arrays &) = delete;
  Arrays &operator=(const Arrays &) = delete;
};

template <class F> void run(benchmark::State &state, F &&f) {
  Arrays x;
  for (auto _ : state) {
    f(x);
    benchmark::DoNotOptimize(x.y);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * N * 4);
}

void addOurs(benchmark::State &s) { run(s, [](Arrays &x) { engine::add(x.a, x.b, x.y, N); }); }
void addPlain(benchmark::State &s) { run(s, [](Arrays &x) { plainAdd(x.a, x.b, x.y, N); }); }
void mulOurs(benchmark::State &s) { run(s, [](Arrays &x) { engine::mul(x.a, x.b, x.y, N); }); }
void mulPlain(benchmark::State &s) { run(s, [](Arrays &x) { plainMul(x.a, x.b, x.y, N); }); }
void cpyOurs(benchmark::State &s) { run(s, [](Arrays &x) { engine::cpy(x.a, x.y, N); }); }
void cpyPlain(benchmark::State &s) { run(s, [](Arrays &x) { plainCpy(x.a, x.y, N); }); }
void cpyMemcpy(benchmark::State &s) {
  run(s, [](Arrays &x) { std::memcpy(x.y, x.a, N * sizeof(float)); });
}
BENCHMARK(addOurs)->Name("add_4096/ours");
BENCHMARK(addPlain)->Name("add_4096/plain");
BENCHMARK(mulOurs)->Name("mul_4096/ours");
BENCHMARK(mulPlain)->Name("mul_4096/plain");
template <class F> void reduction(benchmark::State &state, F &&f) {
  Arrays x;
  for (auto _ : state)
    benchmark::DoNotOptimize(f(x.a));
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * N * 4);
}
void sumOurs(benchmark::State &s) { reduction(s, [](const float *a) { return engine::sum(a, N); }); }
void sumPlain(benchmark::State &s) { reduction(s, [](const float *a) { return plainSum(a, N); }); }
void maxOurs(benchmark::State &s) { reduction(s, [](const float *a) { return engine::max(a, N); }); }
void maxPlain(benchmark::State &s) { reduction(s, [](const float *a) { return plainMax(a, N); }); }
BENCHMARK(sumOurs)->Name("sum_4096/ours");
BENCHMARK(sumPlain)->Name("sum_4096/plain");
BENCHMARK(maxOurs)->Name("max_4096/ours");
BENCHMARK(maxPlain)->Name("max_4096/plain");
// The approximations next to the accurate functions they stand in for, per element.
template <class F> void curve(benchmark::State &state, F &&f) {
  Arrays x;
  for (int i = 0; i < 1024; ++i)
    x.a[i] = 0.01f + 0.002f * static_cast<float>(i);
  for (auto _ : state) {
    f(x.a, x.y);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * 1024);
}
void softClip(benchmark::State &s) {
  curve(s, [](const float *a, float *y) { engine::cpy(a, y, 1024); engine::soft_clip(y, 1024); });
}
void tanh7(benchmark::State &s) {
  curve(s, [](const float *a, float *y) { engine::cpy(a, y, 1024); engine::tanhApprox7(y, 1024); });
}
void tanhAccurate(benchmark::State &s) { curve(s, [](const float *a, float *y) { engine::tanhA24(a, y, 1024); }); }
void log2Fast(benchmark::State &s) { curve(s, [](const float *a, float *y) { engine::log2Approx(a, y, 1024); }); }
void log10Accurate(benchmark::State &s) { curve(s, [](const float *a, float *y) { engine::log10A24(a, y, 1024); }); }
void pow2Fast(benchmark::State &s) { curve(s, [](const float *a, float *y) { engine::pow2Approx(a, y, 1024); }); }
void expAccurate(benchmark::State &s) { curve(s, [](const float *a, float *y) { engine::expA24(a, y, 1024); }); }
BENCHMARK(softClip)->Name("soft_clip_1024/ours");
BENCHMARK(tanhAccurate)->Name("soft_clip_1024/tanhA24");
BENCHMARK(tanh7)->Name("tanhApprox7_1024/ours");
BENCHMARK(tanhAccurate)->Name("tanhApprox7_1024/tanhA24");
BENCHMARK(log2Fast)->Name("log2Approx_1024/ours");
BENCHMARK(log10Accurate)->Name("log2Approx_1024/log10A24");
BENCHMARK(pow2Fast)->Name("pow2Approx_1024/ours");
BENCHMARK(expAccurate)->Name("pow2Approx_1024/expA24");
BENCHMARK(cpyOurs)->Name("cpy_4096/ours");
BENCHMARK(cpyPlain)->Name("cpy_4096/plain");
BENCHMARK(cpyMemcpy)->Name("cpy_4096/memcpy");

struct Free {
  void operator()(engine::AudioBuffer *b) const { std::free(b); }
};

// Buffer forms: y = a * b over `frames` mono frames, the inputs compressed or not; the
// sample case against the plain loop over the same floats.
void buffers(benchmark::State &state, bool compressed, bool plain) {
  const auto frames = static_cast<uint32_t>(state.range(0));
  std::unique_ptr<engine::AudioBuffer, Free> a(engine::AudioBuffer::create(frames, 1)),
      b(engine::AudioBuffer::create(frames, 1)), y(engine::AudioBuffer::create(frames, 1));
  for (engine::AudioBuffer *buffer : {a.get(), b.get()}) {
    float *x = buffer->getRawDataAndSetUncompressed();
    for (uint32_t i = 0; i < frames; ++i)
      x[i] = 0.25f + 0.001f * static_cast<float>(i % 101);
    buffer->afterWrite(compressed);
  }
  for (auto _ : state) {
    if (plain)
      plainMul(a->samples(), b->samples(), y->samples(), static_cast<int>(frames));
    else
      engine::mul(a->reader(), b->reader(), y->writer(), static_cast<int>(frames));
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * frames);
}
BENCHMARK_CAPTURE(buffers, samples, false, false)->Name("mul_buffer_4096/ours")->Arg(4096);
BENCHMARK_CAPTURE(buffers, plain, false, true)->Name("mul_buffer_4096/plain")->Arg(4096);
BENCHMARK_CAPTURE(buffers, constant, true, false)->Name("mul_buffer_compressed")->Arg(64)->Arg(65536);


// The buffer family's skeletons on sample buffers (4096 frames, mono and stereo) against
// the plain loop over the same floats; on compressed operands; and the neutral return.
// The buffers of one case, placed in one block at different offsets within a page, as the
// arrays above.
struct Buffers {
  void *block;
  engine::AudioBuffer *a, *b, *y, *mono;
  Buffers(uint32_t frames, uint32_t channels) {
    const uint32_t size = engine::AudioBuffer::getRequiredTotalSize(frames, channels) + 1024;
    block = std::aligned_alloc(4096, (4 * size_t{size} + 8191) / 4096 * 4096);
    auto *base = static_cast<char *>(block);
    a = engine::AudioBuffer::createOnStack(frames, channels, base);
    b = engine::AudioBuffer::createOnStack(frames, channels, base + size + 1024);
    y = engine::AudioBuffer::createOnStack(frames, channels, base + 2 * size + 2048);
    mono = engine::AudioBuffer::createOnStack(frames, 1, base + 3 * size + 3072);
    for (engine::AudioBuffer *buffer : {a, b, y, mono}) {
      float *x = buffer->getRawDataAndSetUncompressed();
      for (uint32_t i = 0; i < frames * buffer->numChannels; ++i)
        x[i] = 0.25f + 0.001f * static_cast<float>(i % 101);
    }
  }
  ~Buffers() { std::free(block); }
  Buffers(const Buffers &) = delete;
  Buffers &operator=(const Buffers &) = delete;
};

void family(benchmark::State &state, uint32_t channels, int form) {
  const uint32_t frames = 4096;
  Buffers buffers(frames, channels);
  engine::AudioBuffer *a = buffers.a, *b = buffers.b, *y = buffers.y, *mono = buffers.mono;
  const int count = static_cast<int>(frames * channels);
  for (auto _ : state) {
    switch (form) {
    case 0: y->addTo(*a, *b, frames); break;
    case 1: plainAdd(a->samples(), b->samples(), y->samples(), count); break;
    case 2: y->addTo(*a, 0.5f, frames); break;
    case 3: y->maddTo(*a, *b, *b, frames); break;
    case 4: y->mulTo<2, 1>(*a, *mono, frames); break;
    case 5: plainMadd(a->samples(), b->samples(), b->samples(), y->samples(), count); break;
    case 6: plainStereoByMono(a->samples(), mono->samples(), y->samples(), static_cast<int>(frames)); break;
    }
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * count);
}
BENCHMARK_CAPTURE(family, addTo_mono, 1, 0)->Name("addTo_mono_4096/ours");
BENCHMARK_CAPTURE(family, plain_mono, 1, 1)->Name("addTo_mono_4096/plain");
BENCHMARK_CAPTURE(family, addTo_stereo, 2, 0)->Name("addTo_stereo_4096/ours");
BENCHMARK_CAPTURE(family, plain_stereo, 2, 1)->Name("addTo_stereo_4096/plain");
BENCHMARK_CAPTURE(family, scalar_mono, 1, 2)->Name("addTo_c_mono_4096/ours");
BENCHMARK_CAPTURE(family, scalar_plain, 1, 1)->Name("addTo_c_mono_4096/plain");
BENCHMARK_CAPTURE(family, madd_stereo, 2, 3)->Name("maddTo_stereo_4096/ours");
BENCHMARK_CAPTURE(family, madd_plain, 2, 5)->Name("maddTo_stereo_4096/plain");
BENCHMARK_CAPTURE(family, by_mono, 2, 4)->Name("mulTo21_4096/ours");
BENCHMARK_CAPTURE(family, by_mono_plain, 2, 6)->Name("mulTo21_4096/plain");

// Compressed operands: one step whatever the length; a neutral operand: no step at all.
void familyConstant(benchmark::State &state, bool neutral) {
  const auto frames = static_cast<uint32_t>(state.range(0));
  std::unique_ptr<engine::AudioBuffer, Free> a(engine::AudioBuffer::create(frames, 2)),
      y(engine::AudioBuffer::create(frames, 2));
  a->clear();
  if (!neutral)
    a->add(0.5f, frames);
  y->afterWrite(false);
  for (auto _ : state) {
    if (neutral)
      y->add(*a, frames);
    else
      y->addTo(*a, *a, frames);
    benchmark::ClobberMemory();
  }
}
BENCHMARK_CAPTURE(familyConstant, compressed, false)->Name("addTo_compressed")->Arg(64)->Arg(65536);
BENCHMARK_CAPTURE(familyConstant, neutral, true)->Name("add_neutral")->Arg(64)->Arg(65536);

} // namespace

RATIO_BENCHMARK_MAIN();
