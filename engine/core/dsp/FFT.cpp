//===- engine/core/dsp/FFT.cpp - Real FFT of a fixed order -----------------===//
#include "engine/core/dsp/FFT.h"

#include "primitives/dispatch/dispatch.h"

namespace engine {

fftF32Real::fftF32Real(unsigned int order) : _order(order) {
  ippsFFTInitAlloc_R_32f(&_spec, static_cast<int>(order), ippFFTDivInverse, 1);
  int size = 0;
  ippsFFTGetBufSize_R_32f(_spec, &size);
  _buffer = ippsMalloc_8u(size);
}

fftF32Real::~fftF32Real() {
  ippsFFTFree_R_32f(_spec);
  ippsFree(_buffer);
}

int fftF32Real::FFTfwdPerm(const float *in, float *out) { return ippsFFTFwd_RToPerm_32f(in, out, _spec, _buffer); }
int fftF32Real::FFTinvPerm(const float *in, float *out) { return ippsFFTInv_PermToR_32f(in, out, _spec, _buffer); }
int fftF32Real::FFTfwdPack(const float *in, float *out) { return ippsFFTFwd_RToPack_32f(in, out, _spec, _buffer); }
int fftF32Real::FFTinvPack(const float *in, float *out) { return ippsFFTInv_PackToR_32f(in, out, _spec, _buffer); }
int fftF32Real::FFTfwdPack(float *inOut) { return ippsFFTFwd_RToPack_32f_I(inOut, _spec, _buffer); }
int fftF32Real::FFTinvPack(float *inOut) { return ippsFFTInv_PackToR_32f_I(inOut, _spec, _buffer); }

int fftF32Real::multiplyComplexPerm(const float *a, float *inOut) {
  return ippsMulPerm_32f_I(a, inOut, static_cast<int>(lengthOfComplexBufferPerm()));
}
int fftF32Real::multiplyComplexPerm(const float *a, const float *b, float *out) {
  return ippsMulPerm_32f(a, b, out, static_cast<int>(lengthOfComplexBufferPerm()));
}
int fftF32Real::multiplyComplexPack(const float *a, float *inOut) {
  return ippsMulPack_32f_I(a, inOut, static_cast<int>(lengthOfComplexBufferPack()));
}
int fftF32Real::multiplyComplexPack(const float *a, const float *b, float *out) {
  return ippsMulPack_32f(a, b, out, static_cast<int>(lengthOfComplexBufferPack()));
}
int fftF32Real::multiplyComplexConjPack(const float *a, float *inOut) {
  return ippsMulPackConj_32f_I(a, inOut, static_cast<int>(lengthOfComplexBufferPack()));
}

} // namespace engine
