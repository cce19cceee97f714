//===- engine/core/dsp/FFT.h - Real FFT of a fixed order -------------------===//
//
// engine::fftF32Real owns the setup (with its tables) and the work buffer of one real transform
// of 2^order points. Forward transforms are unscaled, inverse ones divide by the length,
// so forward then inverse returns the input. Spectrum layouts (Perm, Pack) are those of
// primitives/fft/fft.h. One object serves one thread at a time: the work buffer is
// shared by its calls. Results are the primitives' statuses, which nothing needs to read.
//
//===----------------------------------------------------------------------===//
#ifndef ENGINE_CORE_DSP_FFT_H
#define ENGINE_CORE_DSP_FFT_H

#include "primitives/fft/fft.h"

namespace engine {

class fftF32Real {
public:
  explicit fftF32Real(unsigned int order);
  ~fftF32Real();
  fftF32Real(const fftF32Real &) = delete;
  fftF32Real &operator=(const fftF32Real &) = delete;

  int FFTfwdPerm(const float *in, float *out);
  int FFTinvPerm(const float *in, float *out);
  int FFTfwdPack(const float *in, float *out);
  int FFTinvPack(const float *in, float *out);
  int FFTfwdPack(float *inOut);
  int FFTinvPack(float *inOut);

  /// The transform length, 2^order.
  [[nodiscard]] unsigned int size() const { return 1u << _order; }
  /// Floats that the multiplications below run over: twice size().
  [[nodiscard]] unsigned int lengthOfComplexBufferPerm() const { return 2u << _order; }
  [[nodiscard]] unsigned int lengthOfComplexBufferPack() const { return 2u << _order; }

  /// Spectrum products over lengthOfComplexBufferPerm() floats: arrays must hold that many.
  int multiplyComplexPerm(const float *a, float *inOut);
  int multiplyComplexPerm(const float *a, const float *b, float *out);
  int multiplyComplexPack(const float *a, float *inOut);
  int multiplyComplexPack(const float *a, const float *b, float *out);
  /// inOut = a times conj(inOut).
  int multiplyComplexConjPack(const float *a, float *inOut);

private:
  ippsFFTSpec_R_32f *_spec = nullptr;
  unsigned char *_buffer = nullptr;
  unsigned int _order;
};

} // namespace engine

#endif // ENGINE_CORE_DSP_FFT_H
