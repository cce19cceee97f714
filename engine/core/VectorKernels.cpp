//===- engine/core/VectorKernels.cpp - Arithmetic on blocks of floats ------===//
#include "engine/core/VectorKernels.h"

#include "primitives/simd/sse2.h"

namespace engine {

void cpy(const float *a, float *y, int n) {
  for (int i = 0; i < n; i += 8) {
    vstore_v_p_vf(y + i, vload_vf_p(a + i));
    vstore_v_p_vf(y + i + 4, vload_vf_p(a + i + 4));
  }
}

void init_block(float c, float *y, int n) {
  const vfloat v = vcast_vf_f(c);
  for (int i = 0; i < n; i += 8) {
    vstore_v_p_vf(y + i, v);
    vstore_v_p_vf(y + i + 4, v);
  }
}

} // namespace engine
