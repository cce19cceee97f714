//===- engine/core/dsp/firFilterbank.cpp - FIR band splitter ---------------===//
#include "engine/core/dsp/firFilterbank.h"

#include "engine/core/dsp/FirDesign.h"
#include "primitives/simd/sse2.h"

#include <algorithm>
#include <cmath>

namespace engine {

namespace {

constexpr unsigned int Group = 16; // outputs per pass of the kernel: four vectors

// out[0..15] = sum over k < taps of reversed[k] * x[k..k+15]. Four independent sums keep
// the adder busy; every product is rounded before it is added.
void convolveGroup(const float *x, const float *reversed, unsigned int taps, float *out) {
  vfloat a0 = vzero_vf(), a1 = vzero_vf(), a2 = vzero_vf(), a3 = vzero_vf();
  for (unsigned int k = 0; k < taps; ++k) {
    const vfloat h = vload_vf_p(reversed + 4 * std::size_t{k});
    const float *xk = x + k;
    a0 = vadd_vf_vf_vf(a0, vmul_vf_vf_vf(h, vloadu_vf_p(xk)));
    a1 = vadd_vf_vf_vf(a1, vmul_vf_vf_vf(h, vloadu_vf_p(xk + 4)));
    a2 = vadd_vf_vf_vf(a2, vmul_vf_vf_vf(h, vloadu_vf_p(xk + 8)));
    a3 = vadd_vf_vf_vf(a3, vmul_vf_vf_vf(h, vloadu_vf_p(xk + 12)));
  }
  vstoreu_v_p_vf(out, a0);
  vstoreu_v_p_vf(out + 4, a1);
  vstoreu_v_p_vf(out + 8, a2);
  vstoreu_v_p_vf(out + 12, a3);
}

// One output: sum over k < taps of reversed[k] * x[k], by four lanes of four partial
// sums and the last taps one by one (never reading x past the window: a zero tap times a
// NaN beyond it would still be NaN). For the outputs that do not fill a group of 16.
float convolveOne(const float *x, const float *reversed, unsigned int taps) {
  vfloat a0 = vzero_vf(), a1 = vzero_vf(), a2 = vzero_vf(), a3 = vzero_vf();
  unsigned int k = 0;
  for (; k + 16 <= taps; k += 16) {
    a0 = vadd_vf_vf_vf(a0, vmul_vf_vf_vf(vload_vf_p(reversed + k), vloadu_vf_p(x + k)));
    a1 = vadd_vf_vf_vf(a1, vmul_vf_vf_vf(vload_vf_p(reversed + k + 4), vloadu_vf_p(x + k + 4)));
    a2 = vadd_vf_vf_vf(a2, vmul_vf_vf_vf(vload_vf_p(reversed + k + 8), vloadu_vf_p(x + k + 8)));
    a3 = vadd_vf_vf_vf(a3, vmul_vf_vf_vf(vload_vf_p(reversed + k + 12), vloadu_vf_p(x + k + 12)));
  }
  for (; k + 4 <= taps; k += 4)
    a0 = vadd_vf_vf_vf(a0, vmul_vf_vf_vf(vload_vf_p(reversed + k), vloadu_vf_p(x + k)));
  alignas(16) float lanes[4];
  vstore_v_p_vf(lanes, vadd_vf_vf_vf(vadd_vf_vf_vf(a0, a1), vadd_vf_vf_vf(a2, a3)));
  float sum = (lanes[0] + lanes[1]) + (lanes[2] + lanes[3]);
  for (; k < taps; ++k)
    sum += reversed[k] * x[k];
  return sum;
}

// The samples of `channel` in stream 0, or null where the store has none.
const float *channelOf(const SampleData *store, unsigned int channel) {
  if (!store || channel >= store->numChannels() || store->numStreams() == 0)
    return nullptr;
  return store->data(channel, 0);
}

// dest[i] = x[first + i] for i < count, where x is channel `channel` of the input,
// continued before its start by the end of `previous` and behind its end by the start of
// `next`, and by zeros where they are null or too short.
void extendedSamples(const SampleData *input, const SampleData *previous, const SampleData *next,
                     unsigned int channel, long long first, std::size_t count, float *dest) {
  const float *in = channelOf(input, channel);
  const float *before = channelOf(previous, channel);
  const float *behind = channelOf(next, channel);
  const long long inLength = in ? static_cast<long long>(input->length()) : 0;
  const long long beforeLength = before ? static_cast<long long>(previous->length()) : 0;
  const long long behindLength = behind ? static_cast<long long>(next->length()) : 0;
  const long long end = first + static_cast<long long>(count);
  std::fill(dest, dest + count, 0.0f);
  // Source `from` holds the positions lo .. hi - 1, its element 0 at position lo.
  auto copy = [&](const float *from, long long lo, long long hi) {
    const long long a = std::max(lo, first), b = std::min(hi, end);
    if (from && a < b)
      std::copy(from + (a - lo), from + (b - lo), dest + (a - first));
  };
  copy(before, -beforeLength, 0);
  copy(in, 0, inLength);
  copy(behind, inLength, inLength + behindLength);
}

} // namespace

firFilterbank::firFilterbank()
    : _fft(Order), _chunk(1u << Order), _spectrum(1u << Order), _product(1u << Order) {}

void firFilterbank::init(unsigned int numBands, unsigned int numChannels,
                         unsigned int kernelLength, unsigned int lookAhead, const float *cutOffs,
                         float sampleRate, bool) {
  _numBands = numBands;
  _numChannels = numChannels;
  _kernelLength = kernelLength;
  _lookAhead = lookAhead;
  const unsigned int m = kernelLength;

  // One float of room more than the taps: a high-pass of length 0 still adds its 1 at
  // index 0.
  _kernels.assign(std::size_t{numBands} * m + 1, 0.0f);
  for (unsigned int b = 0; b < numBands; ++b) {
    float *h = _kernels.data() + std::size_t{b} * m;
    if (numBands == 1) {
      // A single band has no cut-off to design from; it is the whole signal: the sum of
      // all bands of any split, an impulse at the centre.
      if (m > 0)
        h[m >> 1] = 1.0f;
    } else if (b == 0) {
      firCoeffLowPass(h, m, cutOffs[0], sampleRate);
    } else if (b == numBands - 1) {
      firCoeffHighPass(h, m, cutOffs[numBands - 2], sampleRate);
    } else {
      firCoeffBandPass(h, m, cutOffs[b - 1], cutOffs[b], sampleRate);
    }
  }

  // The symmetric Hamming window over M points, in double, narrowed to float.
  constexpr double Pi = 3.141592653589793;
  const double step = 1.0 / static_cast<double>(m - 1);
  for (unsigned int n = 0; n < m; ++n) {
    const auto w =
        static_cast<float>(0.54 - std::cos(static_cast<double>(n) * 2.0 * Pi * step) * 0.46);
    for (unsigned int b = 0; b < numBands; ++b)
      _kernels[std::size_t{b} * m + n] *= w;
  }

  _reversed.assign(std::size_t{numBands} * m * 4 + 4, 0.0f);
  for (unsigned int b = 0; b < numBands; ++b)
    for (unsigned int k = 0; k < m; ++k)
      for (unsigned int lane = 0; lane < 4; ++lane)
        _reversed[(std::size_t{b} * m + k) * 4 + lane] = _kernels[std::size_t{b} * m + (m - 1 - k)];
  const std::size_t padded = (std::size_t{m} + 3) / 4 * 4;
  _taps.assign(std::size_t{numBands} * padded + 4, 0.0f);
  for (unsigned int b = 0; b < numBands; ++b)
    for (unsigned int k = 0; k < m; ++k)
      _taps[b * padded + k] = _kernels[std::size_t{b} * m + (m - 1 - k)];

  // The kernels' spectra, zero-padded to the transform length. Kernels longer than the
  // transform have none: filter() takes the direct form for them.
  const unsigned int n = _fft.size();
  _spectra.allocate(std::max(numBands, 1u) * n);
  _kernelFFT.assign(numBands, nullptr);
  _sized.clear();
  if (m > n)
    return;
  for (unsigned int b = 0; b < numBands; ++b)
    _kernelFFT[b] = _spectra.data() + std::size_t{b} * n;
  kernelSpectra(_fft, _spectra.data());

  // The smaller transforms, from the first with room for a kernel and one more output.
  _sized.resize(Order);
  for (unsigned int order = 1; order < Order; ++order) {
    if ((1u << order) < m + 1)
      continue;
    _sized[order] = std::make_unique<Sized>(order);
    _sized[order]->spectra.allocate(std::max(numBands, 1u) << order);
    kernelSpectra(_sized[order]->fft, _sized[order]->spectra.data());
  }
}

void firFilterbank::kernelSpectra(fftF32Real &fft, float *spectra) {
  const unsigned int n = fft.size();
  for (unsigned int b = 0; b < _numBands; ++b) {
    float *pad = _chunk.data();
    std::fill(pad, pad + n, 0.0f);
    std::copy(kernel(b), kernel(b) + _kernelLength, pad);
    fft.FFTfwdPerm(pad, spectra + std::size_t{b} * n);
  }
}

void firFilterbank::filterDirect(const SampleData *input, SampleData *output,
                                 const SampleData *previous, const SampleData *next) {
  const unsigned long long length = output->length();
  const unsigned int bands = std::min(_numBands, output->numStreams());
  const unsigned int channels = std::min(_numChannels, output->numChannels());
  const unsigned int m = _kernelLength;
  const unsigned long long whole = length / Group * Group;
  const std::size_t padded = (std::size_t{m} + 3) / 4 * 4;
  // Whole groups of 16 outputs read M - 1 + 16 inputs past each group's start.
  const std::size_t size = (length + Group - 1) / Group * Group + m;
  if (_extended.size() < size)
    _extended.resize(size);

  for (unsigned int c = 0; c < channels; ++c) {
    extendedSamples(input, previous, next, c,
                    static_cast<long long>(_lookAhead) - (static_cast<long long>(m) - 1), size,
                    _extended.data());
    const float *x = _extended.data();
    for (unsigned int b = 0; b < bands; ++b) {
      const float *reversed = _reversed.data() + std::size_t{b} * m * 4;
      float *out = output->data(c, b);
      for (unsigned long long n = 0; n < whole; n += Group)
        convolveGroup(x + n, reversed, m, out + n);
      const float *taps = _taps.data() + std::size_t{b} * padded;
      for (unsigned long long n = whole; n < length; ++n)
        out[n] = convolveOne(x + n, taps, m);
    }
  }
}

void firFilterbank::filter(const SampleData *input, SampleData *output, const SampleData *previous,
                           const SampleData *next) {
  const unsigned int n = _fft.size(), m = _kernelLength;
  const unsigned long long length = output->length();
  if (m == 0 || m > n || length < DirectBelow) {
    filterDirect(input, output, previous, next);
    return;
  }
  // A block that one smaller transform holds, with the kernel's history, takes that one.
  for (unsigned int order = 1; order < Order; ++order)
    if (_sized[order] && length + m - 1 <= (1ull << order)) {
      filterPass(_sized[order]->fft, _sized[order]->spectra.data(), input, output, previous,
                 next, 0, length);
      return;
    }
  // Last chunk first: a whole chunk after the first then takes its transform's output in
  // place, the kernel's history in front of it landing where the chunk before, filtered
  // next, will write.
  const unsigned long long good = n - m + 1; // outputs per transform
  for (unsigned long long pos = (length - 1) / good * good;; pos -= good) {
    filterPass(_fft, _spectra.data(), input, output, previous, next, pos,
               std::min(good, length - pos));
    if (pos == 0)
      break;
  }
}

void firFilterbank::filterPass(fftF32Real &fft, const float *spectra, const SampleData *input,
                               SampleData *output, const SampleData *previous,
                               const SampleData *next, unsigned long long pos,
                               unsigned long long count) {
  const unsigned int n = fft.size(), m = _kernelLength;
  const unsigned int bands = std::min(_numBands, output->numStreams());
  const unsigned int channels = std::min(_numChannels, output->numChannels());
  const long long start = static_cast<long long>(pos) + 1 - static_cast<long long>(m) + _lookAhead;
  for (unsigned int c = 0; c < channels; ++c) {
    // The block itself where the transform's window lies inside it; otherwise the window
    // gathered from the block and its neighbours, and zeros beyond them, so that no block
    // length makes a read run outside the stores.
    const float *in = channelOf(input, c);
    const float *window;
    if (in && start >= 0 && static_cast<unsigned long long>(start) + n <= input->length()) {
      window = in + start;
    } else {
      extendedSamples(input, previous, next, c, start, n, _chunk.data());
      window = _chunk.data();
    }
    fft.FFTfwdPerm(window, _spectrum.data());
    // A whole chunk (its n outputs end within the store) with room in front of it takes the
    // inverse transform there directly (the caller goes from the last chunk to the first);
    // others through a copy.
    const bool direct = pos >= m - 1 && count == n - m + 1;
    for (unsigned int b = 0; b < bands; ++b) {
      ippsMulPerm_32f(spectra + std::size_t{b} * n, _spectrum.data(), _product.data(),
                      static_cast<int>(n));
      float *out = output->data(c, b) + pos;
      if (direct) {
        fft.FFTinvPerm(_product.data(), out - (m - 1));
      } else {
        fft.FFTinvPerm(_product.data(), _product.data());
        std::copy(_product.data() + (m - 1), _product.data() + (m - 1) + count, out);
      }
    }
  }
}

} // namespace engine
