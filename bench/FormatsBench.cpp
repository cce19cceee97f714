//===- bench/FormatsBench.cpp - Sample formats against plain loops ---------===//
//
// Stereo blocks of 4096 frames in and out of Int16 and Int24 with the identity map,
// against the conversion loop a caller would write, compiled at -O3. Throughput counts
// the float bytes.
//
//===----------------------------------------------------------------------===//
#include "bench/PlainLoops.h"
#include "bench/RatioReporter.h"
#include "engine/core/AudioBuffer.h"

#include <cstdlib>
#include <memory>
#include <vector>

namespace {

constexpr uint32_t Frames = 4096, Channels = 2, Count = Frames * Channels;
const int Identity[] = {0, 1};

struct Free {
  void operator()(engine::AudioBuffer *b) const { std::free(b); }
};

struct Setup {
  std::unique_ptr<engine::AudioBuffer, Free> buffer{engine::AudioBuffer::create(Frames, Channels)};
  std::vector<short> int16 = std::vector<short>(Count);
  std::vector<char> int24 = std::vector<char>(Count * 3);
  Setup() {
    float *x = buffer->getRawDataAndSetUncompressed();
    for (uint32_t i = 0; i < Count; ++i)
      x[i] = 0.9f * static_cast<float>(static_cast<int>(i * 2654435761u >> 8) % 20001 - 10000) / 10000.0f;
    buffer->toInterleavedInt16Data(int16.data(), Frames, Channels, Identity);
    buffer->toInterleavedInt24Data(int24.data(), Frames, Channels, Identity);
  }
};

template <class F> void run(benchmark::State &state, F &&f) {
  Setup s;
  for (auto _ : state) {
    f(s);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * Count * sizeof(float));
}

void fromInt16Ours(benchmark::State &st) {
  run(st, [](Setup &s) { s.buffer->fromInterleavedInt16Data(s.int16.data(), Frames, Channels, Identity); });
}
void fromInt16Plain(benchmark::State &st) {
  run(st, [](Setup &s) { plainFromInt16(s.int16.data(), s.buffer->samples(), Count); });
}
void toInt16Ours(benchmark::State &st) {
  run(st, [](Setup &s) { s.buffer->toInterleavedInt16Data(s.int16.data(), Frames, Channels, Identity); });
}
void toInt16Plain(benchmark::State &st) {
  run(st, [](Setup &s) { plainToInt16(s.buffer->samples(), s.int16.data(), Count); });
}
void fromInt24Ours(benchmark::State &st) {
  run(st, [](Setup &s) { s.buffer->fromInterleavedInt24Data(s.int24.data(), Frames, Channels, Identity); });
}
void fromInt24Plain(benchmark::State &st) {
  run(st, [](Setup &s) {
    plainFromInt24(reinterpret_cast<const unsigned char *>(s.int24.data()), s.buffer->samples(), Count);
  });
}
void toInt24Ours(benchmark::State &st) {
  run(st, [](Setup &s) { s.buffer->toInterleavedInt24Data(s.int24.data(), Frames, Channels, Identity); });
}
void toInt24Plain(benchmark::State &st) {
  run(st, [](Setup &s) {
    plainToInt24(s.buffer->samples(), reinterpret_cast<unsigned char *>(s.int24.data()), Count);
  });
}

BENCHMARK(fromInt16Ours)->Name("from_int16_stereo/ours");
BENCHMARK(fromInt16Plain)->Name("from_int16_stereo/plain");
BENCHMARK(toInt16Ours)->Name("to_int16_stereo/ours");
BENCHMARK(toInt16Plain)->Name("to_int16_stereo/plain");
BENCHMARK(fromInt24Ours)->Name("from_int24_stereo/ours");
BENCHMARK(fromInt24Plain)->Name("from_int24_stereo/plain");
BENCHMARK(toInt24Ours)->Name("to_int24_stereo/ours");
BENCHMARK(toInt24Plain)->Name("to_int24_stereo/plain");

} // namespace

RATIO_BENCHMARK_MAIN();
