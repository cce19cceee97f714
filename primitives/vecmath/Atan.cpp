//===- primitives/vecmath/Atan.cpp - The arc tangent -----------------------===//
#include "primitives/vecmath/Atan.h"
#include "primitives/vecmath/LogExp.h"

using namespace primitives::vecmath;

extern "C" IppStatus own_ipps_sAtan_EXHAynn(const float *src, float *dst, int len) {
  if (wideMath())
    return atanWide(src, dst, len);
  return run<AtanKernelT<Lanes128>, CheckOrder::PointersFirst>(src, dst, len);
}
