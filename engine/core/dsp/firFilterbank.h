//===- engine/core/dsp/firFilterbank.h - FIR band splitter -----------------===//
//
// Splits a block into bands with windowed-sinc FIR kernels: a low-pass at the first
// cut-off, band-passes between neighbouring cut-offs and a high-pass at the last one.
// The bands add up to the input delayed by (M - 1) / 2 samples, up to the windowing.
//
//   output[b][c][n] = sum over j < M of h[b][j] * x[c][n + lookAhead - j]
//
// where x is the input block extended by the end of `previous` and the start of `next`
// (zeros where a neighbour is null or too short). With a lookAhead of 0 the filter is
// causal and every band lags its input by the group delay of (M - 1) / 2 samples, 128 for
// 257 taps; nothing compensates for it.
//
// Gain: 1 in each pass band. `filter` works by overlap-save with a real FFT of 8192
// points: per channel and per 8192 - M + 1 outputs, one forward transform and, per band,
// one spectrum product and one inverse transform. A block that needs fewer points takes
// the smallest power of two that holds it and the kernel's M - 1 samples of history, and
// a block shorter than DirectBelow outputs the direct form, so a short block costs about
// its length, not a whole 8192-point chunk; the results differ only by rounding.
// `filterDirect` evaluates the formula term by term (numBands * M multiply-adds per
// output); it is the reference the FFT form is checked against, and serves kernels longer
// than the transform.
//
// Lifecycle: construct (which sets up the transform), `init` (again at will: it replaces
// the kernels), then any number of `filter` calls. Nothing is kept between `filter` calls
// but the kernels. One object serves one thread at a time: the transform's work buffer
// and the scratch arrays are the object's.
//
//===----------------------------------------------------------------------===//
#ifndef ENGINE_CORE_DSP_FIRFILTERBANK_H
#define ENGINE_CORE_DSP_FIRFILTERBANK_H

#include "engine/core/dsp/Array.h"
#include "engine/core/dsp/FFT.h"
#include "engine/core/dsp/SampleData.h"

#include <memory>
#include <vector>

namespace engine {

class firFilterbank {
public:
  /// Sets up the real FFT of order 13, whatever the kernels will be.
  firFilterbank();
  ~firFilterbank() = default;
  firFilterbank(const firFilterbank &) = delete;
  firFilterbank &operator=(const firFilterbank &) = delete;

  /// Designs `numBands` kernels of `kernelLength` taps from the `numBands - 1` rising
  /// cut-offs in hertz, each multiplied by a symmetric Hamming window. The last argument
  /// is accepted and ignored.
  void init(unsigned int numBands, unsigned int numChannels, unsigned int kernelLength,
            unsigned int lookAhead, const float *cutOffs, float sampleRate, bool = false);

  /// Fills stream b of `output`, channel by channel, with band b of `input` (stream 0),
  /// over the length of `output`. `previous` and `next` give the samples before and
  /// behind the block and may be null. Any block length works, and nothing outside the
  /// given stores is read.
  void filter(const SampleData *input, SampleData *output, const SampleData *previous,
              const SampleData *next);
  /// The same, summed term by term.
  void filterDirect(const SampleData *input, SampleData *output, const SampleData *previous,
                    const SampleData *next);

  [[nodiscard]] unsigned int numBands() const { return _numBands; }
  [[nodiscard]] unsigned int kernelLength() const { return _kernelLength; }
  [[nodiscard]] unsigned int numChannels() const { return _numChannels; }
  [[nodiscard]] unsigned int lookAhead() const { return _lookAhead; }
  /// The windowed kernel of band `band`: kernelLength() taps.
  [[nodiscard]] const float *kernel(unsigned int band) const {
    return _kernels.data() + std::size_t{band} * _kernelLength;
  }
  /// The spectra of the kernels, zero-padded to the transform length, in Perm layout.
  [[nodiscard]] const float *const *kernelFFT() const { return _kernelFFT.data(); }

  /// Blocks shorter than this are summed term by term: below it the direct form costs
  /// less than the smallest transform (bench/PluginBench's block cases: blocks of 16 and
  /// of 64 cost about the same by the two forms).
  static constexpr unsigned int DirectBelow = 48;

private:
  static constexpr unsigned int Order = 13;

  // A transform of fewer points, for blocks that need no more, with the kernels' spectra
  // at its size.
  struct Sized {
    explicit Sized(unsigned int order) : fft(order) {}
    fftF32Real fft;
    float_array spectra; // [numBands][2^order]
  };
  // The kernels' spectra, zero-padded to the size of `fft`, into `spectra`.
  void kernelSpectra(fftF32Real &fft, float *spectra);
  // One pass of overlap-save: `count` outputs from `pos` on, by `fft` and `spectra`.
  void filterPass(fftF32Real &fft, const float *spectra, const SampleData *input,
                  SampleData *output, const SampleData *previous, const SampleData *next,
                  unsigned long long pos, unsigned long long count);

  std::vector<float *> _kernelFFT; // [numBands] -> the band's spectrum in _spectra
  unsigned int _numBands = 0;
  unsigned int _kernelLength = 0;
  unsigned int _numChannels = 0;
  unsigned int _lookAhead = 0;
  fftF32Real _fft;
  std::vector<float> _kernels;  // [numBands][M], windowed
  std::vector<float> _reversed; // [numBands][M][4]: tap M - 1 - k of each band, in all lanes
  std::vector<float> _taps;     // [numBands][M rounded up to 4]: tap M - 1 - k, then zeros
  std::vector<float> _extended; // direct form: one channel's input with M - 1 samples before
  float_array _spectra;         // [numBands][N]
  float_array _chunk;           // the transform's input where it is not the block itself
  float_array _spectrum;        // the chunk's spectrum
  float_array _product;         // one band's product, then its inverse transform
  std::vector<std::unique_ptr<Sized>> _sized; // [order]: the smaller transforms, or null
};

} // namespace engine

#endif // ENGINE_CORE_DSP_FIRFILTERBANK_H
