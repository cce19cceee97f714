//===- engine/core/VectorKernels.cpp - Arithmetic on blocks of floats ------===//
//
// Every kernel is one line over a handful of skeletons: the skeletons own the walk (groups
// of eight floats, two groups per pass, the reader strides, the compressed shortcuts and
// the state of the output), and a lane operation says what happens to four lanes and, in
// the constant paths, to one float.
//
//===----------------------------------------------------------------------===//
#include "engine/core/VectorKernels.h"

#include "primitives/simd/sse2.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

namespace engine {
namespace {

using std::size_t;

// Calls group(i) for the first float i of each group of eight that `count` floats need,
// ascending; two groups per pass, the odd one first.
template <class Group> inline void forGroups(size_t count, Group &&group) {
  if (count == 0)
    return;
  const size_t end = ((count - 1) / 8 + 1) * 8;
  size_t i = 0;
  if (end & 8) {
    group(i);
    i = 8;
  }
  for (; i < end; i += 16) {
    group(i);
    group(i + 8);
  }
}

template <class Group> inline void forGroups(int n, Group &&group) {
  if (n > 0)
    forGroups(static_cast<size_t>(n), group);
}

// A reader walks its buffer by frameStride * 4 floats per four lanes: a compressed buffer
// (stride 0) gives its pattern again and again. The stride is taken when the walk starts,
// after the output's state is set (the output may be the reader's own buffer); nothing in
// a walk can change it, so it stands for re-reading it at every step.
struct Cursor {
  const float *p;
  size_t step;
  explicit Cursor(AudioBufferReader r) : p(r.data), step(size_t{r.buffer->frameStride} * 4) {}
  vfloat next() {
    const vfloat v = vload_vf_p(p);
    p += step;
    return v;
  }
};

bool isCompressed(AudioBufferReader r) { return r.buffer->frameStride == 0; }

void setConstant(AudioBufferWriter y, float r) {
  y.buffer->frameStride = 0;
  const vfloat v = vcast_vf_f(r);
  vstore_v_p_vf(y.data, v);
  vstore_v_p_vf(y.data + 4, v);
}

void setSamples(AudioBufferWriter y) { y.buffer->frameStride = y.buffer->numChannels; }

// The writer's own four lanes at i: its samples, or its constant when it was compressed
// (the stale samples behind a constant are not read).
vfloat writerLanes(AudioBufferWriter y, size_t i) {
  return y.compressed ? vcast_vf_f(y.compressedValue) : vload_vf_p(y.data + i);
}

// ---- Lane operations: v on four lanes, s on one float in the constant paths.

struct Add {
  vfloat v(vfloat a, vfloat b) const { return vadd_vf_vf_vf(a, b); }
  float s(float a, float b) const { return a + b; }
};
struct Sub {
  vfloat v(vfloat a, vfloat b) const { return vsub_vf_vf_vf(a, b); }
  float s(float a, float b) const { return a - b; }
};
struct Mul {
  vfloat v(vfloat a, vfloat b) const { return vmul_vf_vf_vf(a, b); }
  float s(float a, float b) const { return a * b; }
};
// The vector path multiplies by the estimate refined once, in this order; the constant
// path divides exactly. A zero divisor gives NaN in the first, an infinity in the second.
struct Div {
  vfloat v(vfloat a, vfloat d) const {
    const vfloat e = vrcp_vf_vf(d);
    const vfloat t = vsub_vf_vf_vf(vcast_vf_f(1.0f), vmul_vf_vf_vf(d, e));
    return vmul_vf_vf_vf(a, vadd_vf_vf_vf(vmul_vf_vf_vf(t, e), e));
  }
  float s(float a, float b) const { return a / b; }
};
// Where a lane is NaN, the second operand wins, in both paths.
struct Min {
  vfloat v(vfloat a, vfloat b) const { return vmin_vf_vf_vf(a, b); }
  float s(float a, float b) const { return a < b ? a : b; }
};
struct Max {
  vfloat v(vfloat a, vfloat b) const { return vmax_vf_vf_vf(a, b); }
  float s(float a, float b) const { return a > b ? a : b; }
};
// b op a, for the forms whose scalar stands on the other side.
template <class Op> struct Flip {
  vfloat v(vfloat a, vfloat b) const { return Op().v(b, a); }
  float s(float a, float b) const { return Op().s(b, a); }
};

struct Rcp {
  vfloat v(vfloat a) const { return vrcp_vf_vf(a); }
  float s(float a) const { return vrcp_f_f(a); }
};
struct Rsqrt {
  vfloat v(vfloat a) const { return vrsqrt_vf_vf(a); }
  float s(float a) const { return vrsqrt_f_f(a); }
};
struct Sqrt {
  vfloat v(vfloat a) const { return vsqrt_vf_vf(a); }
  float s(float a) const { return std::sqrt(a); }
};
struct Square {
  vfloat v(vfloat a) const { return vmul_vf_vf_vf(a, a); }
  float s(float a) const { return a * a; }
};
struct Copy {
  vfloat v(vfloat a) const { return a; }
  float s(float a) const { return a; }
};
struct Abs {
  vfloat v(vfloat a) const { return vabs_vf_vf(a); }
  float s(float a) const { return std::fabs(a); }
};
// The lower bound first: max gives its second operand, lo, for a NaN lane.
struct Limit {
  float lo, hi;
  vfloat v(vfloat a) const {
    return vmin_vf_vf_vf(vmax_vf_vf_vf(a, vcast_vf_f(lo)), vcast_vf_f(hi));
  }
  float s(float a) const {
    const float m = a > lo ? a : lo;
    return m < hi ? m : hi;
  }
};
// Through a 32-bit integer: nearest in the current mode (Round) or towards zero (Trunc).
struct Round {
  vfloat v(vfloat a) const { return vcvt_vf_vi(vcvt_vi_vf(a)); }
};
struct Trunc {
  vfloat v(vfloat a) const { return vcvt_vf_vi(vcvtt_vi_vf(a)); }
};

// ---- Array skeletons.

template <class Op> void arrays(Op op, const float *a, const float *b, float *y, int n) {
  forGroups(n, [=](size_t i) {
    const vfloat a0 = vload_vf_p(a + i), a1 = vload_vf_p(a + i + 4);
    const vfloat b0 = vload_vf_p(b + i), b1 = vload_vf_p(b + i + 4);
    vstore_v_p_vf(y + i, op.v(a0, b0));
    vstore_v_p_vf(y + i + 4, op.v(a1, b1));
  });
}

template <class Op> void arrayScalar(Op op, const float *a, float c, float *y, int n) {
  const vfloat vc = vcast_vf_f(c);
  forGroups(n, [=](size_t i) {
    const vfloat a0 = vload_vf_p(a + i), a1 = vload_vf_p(a + i + 4);
    vstore_v_p_vf(y + i, op.v(a0, vc));
    vstore_v_p_vf(y + i + 4, op.v(a1, vc));
  });
}

template <class Op> void unaryArray(Op op, const float *a, float *y, int n) {
  forGroups(n, [=](size_t i) {
    const vfloat a0 = vload_vf_p(a + i), a1 = vload_vf_p(a + i + 4);
    vstore_v_p_vf(y + i, op.v(a0));
    vstore_v_p_vf(y + i + 4, op.v(a1));
  });
}

// ---- Buffer skeletons.

template <class Op>
void readers(Op op, AudioBufferReader a, AudioBufferReader b, AudioBufferWriter y, int n) {
  if (isCompressed(a) && isCompressed(b))
    return setConstant(y, op.s(a.data[0], b.data[0]));
  setSamples(y);
  Cursor ca(a), cb(b);
  forGroups(n, [&](size_t i) {
    const vfloat a0 = ca.next(), a1 = ca.next(), b0 = cb.next(), b1 = cb.next();
    vstore_v_p_vf(y.data + i, op.v(a0, b0));
    vstore_v_p_vf(y.data + i + 4, op.v(a1, b1));
  });
}

// Samples: y op a. Both constant: a op y.
template <class Op> void readerIntoWriter(Op op, AudioBufferReader a, AudioBufferWriter y, int n) {
  if (isCompressed(a) && y.compressed)
    return setConstant(y, op.s(a.data[0], y.compressedValue));
  setSamples(y);
  Cursor ca(a);
  forGroups(n, [&](size_t i) {
    const vfloat a0 = ca.next(), a1 = ca.next();
    const vfloat y0 = writerLanes(y, i), y1 = writerLanes(y, i + 4);
    vstore_v_p_vf(y.data + i, op.v(y0, a0));
    vstore_v_p_vf(y.data + i + 4, op.v(y1, a1));
  });
}

template <class Op> void readerScalar(Op op, AudioBufferReader a, float c, AudioBufferWriter y, int n) {
  if (isCompressed(a))
    return setConstant(y, op.s(a.data[0], c));
  setSamples(y);
  const vfloat vc = vcast_vf_f(c);
  Cursor ca(a);
  forGroups(n, [&](size_t i) {
    const vfloat a0 = ca.next(), a1 = ca.next();
    vstore_v_p_vf(y.data + i, op.v(a0, vc));
    vstore_v_p_vf(y.data + i + 4, op.v(a1, vc));
  });
}

// c op y, in both paths.
template <class Op> void scalarIntoWriter(Op op, float c, AudioBufferWriter y, int n) {
  if (y.compressed)
    return setConstant(y, op.s(c, y.compressedValue));
  setSamples(y);
  arrayScalar(Flip<Op>(), y.data, c, y.data, n);
}

template <class Op> void unaryReader(Op op, AudioBufferReader a, AudioBufferWriter y, int n) {
  if (isCompressed(a))
    return setConstant(y, op.s(a.data[0]));
  setSamples(y);
  Cursor ca(a);
  forGroups(n, [&](size_t i) {
    const vfloat a0 = ca.next(), a1 = ca.next();
    vstore_v_p_vf(y.data + i, op.v(a0));
    vstore_v_p_vf(y.data + i + 4, op.v(a1));
  });
}

// A writer made on a sample buffer is updated in place; its state is already right.
template <class Op> void unaryWriter(Op op, AudioBufferWriter y, int n) {
  if (y.compressed)
    return setConstant(y, op.s(y.compressedValue));
  unaryArray(op, y.data, y.data, n);
}

// The caller's floating-point control word, with the rounding control changed for the
// lifetime of the guard.
class RoundingMode {
public:
  explicit RoundingMode(unsigned int mode) : _saved(vgetcsr_u()) {
    vsetcsr_v_u((_saved & ~VCSR_ROUND_MASK) | mode);
  }
  ~RoundingMode() { vsetcsr_v_u(_saved); }
  RoundingMode(const RoundingMode &) = delete;
  RoundingMode &operator=(const RoundingMode &) = delete;

private:
  unsigned int _saved;
};

} // namespace

#define ENGINE_BINARY_KERNEL(op, Op)                                                     \
  void op(const float *a, const float *b, float *y, int n) { arrays(Op(), a, b, y, n); } \
  void op(const float *a, float *y, int n) { arrays(Op(), y, a, y, n); }                \
  void op##c(const float *a, float c, float *y, int n) { arrayScalar(Op(), a, c, y, n); } \
  void op##c(float c, float *y, int n) { arrayScalar(Op(), y, c, y, n); }                \
  void op(AudioBufferReader a, AudioBufferReader b, AudioBufferWriter y, int n) {        \
    readers(Op(), a, b, y, n);                                                           \
  }                                                                                      \
  void op(AudioBufferReader a, AudioBufferWriter y, int n) { readerIntoWriter(Op(), a, y, n); } \
  void op##c(AudioBufferReader a, float c, AudioBufferWriter y, int n) {                 \
    readerScalar(Op(), a, c, y, n);                                                      \
  }                                                                                      \
  void op##c(float c, AudioBufferWriter y, int n) { scalarIntoWriter(Op(), c, y, n); }
ENGINE_BINARY_KERNEL(add, Add)
ENGINE_BINARY_KERNEL(sub, Sub)
ENGINE_BINARY_KERNEL(mul, Mul)
ENGINE_BINARY_KERNEL(div, Div)
ENGINE_BINARY_KERNEL(min, Min)
ENGINE_BINARY_KERNEL(max, Max)
#undef ENGINE_BINARY_KERNEL

void subc(float c, AudioBufferReader a, AudioBufferWriter y, int n) {
  readerScalar(Flip<Sub>(), a, c, y, n);
}
void subc(AudioBufferWriter y, float c, int n) { scalarIntoWriter(Flip<Sub>(), c, y, n); }

#define ENGINE_UNARY_KERNEL(f, Op)                                                       \
  void f(const float *a, float *y, int n) { unaryArray(Op(), a, y, n); }                 \
  void f(float *y, int n) { unaryArray(Op(), y, y, n); }                                 \
  void f(AudioBufferReader a, AudioBufferWriter y, int n) { unaryReader(Op(), a, y, n); } \
  void f(AudioBufferWriter y, int n) { unaryWriter(Op(), y, n); }
ENGINE_UNARY_KERNEL(rcp, Rcp)
ENGINE_UNARY_KERNEL(rcpsqrt, Rsqrt)
ENGINE_UNARY_KERNEL(sqrt, Sqrt)
ENGINE_UNARY_KERNEL(square, Square)
#undef ENGINE_UNARY_KERNEL

void abs(const float *a, float *y, int n) { unaryArray(Abs(), a, y, n); }
void abs(float *y, int n) { unaryArray(Abs(), y, y, n); }

void limitRange(float *y, float lo, float hi, int n) { unaryArray(Limit{lo, hi}, y, y, n); }
void limitRange(const float *a, float *y, float lo, float hi, int n) {
  unaryArray(Limit{lo, hi}, a, y, n);
}
void limitRange(AudioBufferWriter y, float lo, float hi, int n) {
  unaryWriter(Limit{lo, hi}, y, n);
}
void limitRange(AudioBufferReader a, AudioBufferWriter y, float lo, float hi, int n) {
  unaryReader(Limit{lo, hi}, a, y, n);
}

void madd(const float *a, const float *b, float *y, int n) {
  forGroups(n, [=](size_t i) {
    vstore_v_p_vf(y + i, vadd_vf_vf_vf(vload_vf_p(y + i),
                                       vmul_vf_vf_vf(vload_vf_p(a + i), vload_vf_p(b + i))));
    vstore_v_p_vf(y + i + 4, vadd_vf_vf_vf(vload_vf_p(y + i + 4),
                                           vmul_vf_vf_vf(vload_vf_p(a + i + 4), vload_vf_p(b + i + 4))));
  });
}

void maddc(const float *a, float c, float *y, int n) {
  const vfloat vc = vcast_vf_f(c);
  forGroups(n, [=](size_t i) {
    vstore_v_p_vf(y + i, vadd_vf_vf_vf(vload_vf_p(y + i), vmul_vf_vf_vf(vload_vf_p(a + i), vc)));
    vstore_v_p_vf(y + i + 4,
                  vadd_vf_vf_vf(vload_vf_p(y + i + 4), vmul_vf_vf_vf(vload_vf_p(a + i + 4), vc)));
  });
}

void madd(AudioBufferReader a, AudioBufferReader b, AudioBufferWriter y, unsigned int n) {
  if (isCompressed(a) && isCompressed(b) && y.compressed)
    return setConstant(y, a.data[0] * b.data[0] + y.compressedValue);
  setSamples(y);
  Cursor ca(a), cb(b);
  forGroups(size_t{n}, [&](size_t i) {
    const vfloat a0 = ca.next(), a1 = ca.next(), b0 = cb.next(), b1 = cb.next();
    const vfloat y0 = writerLanes(y, i), y1 = writerLanes(y, i + 4);
    vstore_v_p_vf(y.data + i, vadd_vf_vf_vf(vmul_vf_vf_vf(a0, b0), y0));
    vstore_v_p_vf(y.data + i + 4, vadd_vf_vf_vf(vmul_vf_vf_vf(a1, b1), y1));
  });
}

// Whole groups; the C library's block copy moves them with the widest stores the
// processor has. Overlapping ranges keep the ascending order of the vector loop.
void cpy(const float *a, float *y, int n) {
  if (n < 1)
    return;
  const size_t count = (static_cast<size_t>(n - 1) / 8 + 1) * 8;
  const auto from = reinterpret_cast<std::uintptr_t>(a), to = reinterpret_cast<std::uintptr_t>(y);
  const size_t bytes = count * sizeof(float);
  if (to + bytes <= from || from + bytes <= to)
    std::memcpy(y, a, bytes);
  else if (y != a)
    unaryArray(Copy(), a, y, n);
}
void cpy(AudioBufferReader a, AudioBufferWriter y, int n) { unaryReader(Copy(), a, y, n); }

void cpy_unaligned(const float *a, float *y, int n) {
  forGroups(n, [=](size_t i) {
    const vfloat a0 = vloadu_vf_p(a + i), a1 = vloadu_vf_p(a + i + 4);
    vstore_v_p_vf(y + i, a0);
    vstore_v_p_vf(y + i + 4, a1);
  });
}

void zero_block(float *y, int n) {
  if (n < 1)
    return;
  const size_t whole = static_cast<size_t>(n) & ~size_t{7};
  std::memset(y, 0, whole * sizeof(float));
  std::memset(y + whole, 0, (static_cast<size_t>(n) - whole) * sizeof(float));
}

void init_block(float c, float *y, int n) {
  const vfloat v = vcast_vf_f(c);
  forGroups(n, [=](size_t i) {
    vstore_v_p_vf(y + i, v);
    vstore_v_p_vf(y + i + 4, v);
  });
}

void round(const float *a, float *y, int n) { unaryArray(Round(), a, y, n); }
void round(float *y, int n) { unaryArray(Round(), y, y, n); }
void trunc(const float *a, float *y, int n) { unaryArray(Trunc(), a, y, n); }
void trunc(float *y, int n) { unaryArray(Trunc(), y, y, n); }

void floor(const float *a, float *y, int n) {
  const RoundingMode down(VCSR_ROUND_DOWN);
  unaryArray(Round(), a, y, n);
}
void floor(float *y, int n) { floor(y, y, n); }
void ceil(const float *a, float *y, int n) {
  const RoundingMode up(VCSR_ROUND_UP);
  unaryArray(Round(), a, y, n);
}
void ceil(float *y, int n) { ceil(y, y, n); }

// The first four lanes' fractions go to both halves of the group.
void modf(const float *a, float *fractions, int *whole, int n) {
  forGroups(n, [=](size_t i) {
    const vfloat a0 = vload_vf_p(a + i), a1 = vload_vf_p(a + i + 4);
    const vint w0 = vcvtt_vi_vf(a0), w1 = vcvtt_vi_vf(a1);
    vstore_v_pi_vi(whole + i, w0);
    vstore_v_pi_vi(whole + i + 4, w1);
    const vfloat f0 = vsub_vf_vf_vf(a0, vcvt_vf_vi(w0));
    vstore_v_p_vf(fractions + i, f0);
    vstore_v_p_vf(fractions + i + 4, f0);
  });
}

void add_unaligned(const float *a, float *y, int n) {
  for (size_t i = 0; n > 0 && i < static_cast<size_t>(n); i += 4)
    vstore_v_p_vf(y + i, vadd_vf_vf_vf(vload_vf_p(y + i), vloadu_vf_p(a + i)));
}

void add_scalar(const float *a, float *y, int n) {
  if (n < 1)
    return;
  const int whole = n & ~3;
  if (whole > 0)
    add_unaligned(a, y, whole);
  for (int i = whole; i < n; ++i)
    y[i] += a[i];
}

// ---- Reductions.

namespace {

// Four lanes take op(acc, in(x)) over the first n & ~3 floats; lanes 2 and 3 are folded onto
// 0 and 1, lane 1 onto lane 0; the last one to three floats follow in order.
template <bool Aligned, class Op, class In> float reduce(const float *a, int n, float start, Op op, In in) {
  if (n <= 0)
    return start;
  const size_t whole = static_cast<size_t>(n) & ~size_t{3};
  vfloat acc = vcast_vf_f(start);
  for (size_t i = 0; i < whole; i += 4)
    acc = op.v(acc, in.v(Aligned ? vload_vf_p(a + i) : vloadu_vf_p(a + i)));
  alignas(16) float lane[4];
  vstore_v_p_vf(lane, acc);
  float r = op.s(op.s(lane[0], lane[2]), op.s(lane[1], lane[3]));
  for (size_t i = whole; i < static_cast<size_t>(n); ++i)
    r = op.s(r, in.s(a[i]));
  return r;
}

constexpr float Infinity = std::numeric_limits<float>::infinity();

// The division by n and the root come last; an empty range is 0 / 0.
template <bool Aligned> float rootMeanSquare(const float *a, int n) {
  if (n <= 0)
    return std::numeric_limits<float>::quiet_NaN();
  return std::sqrt(reduce<Aligned>(a, n, 0.0f, Add(), Square()) / static_cast<float>(n));
}

} // namespace

float sum(const float *a, int n) { return reduce<true>(a, n, 0.0f, Add(), Copy()); }
float sumabs(const float *a, int n) { return reduce<true>(a, n, 0.0f, Add(), Abs()); }
float sumabs_unaligned(const float *a, int n) { return reduce<false>(a, n, 0.0f, Add(), Abs()); }
float max(const float *a, int n) { return reduce<true>(a, n, -Infinity, Max(), Copy()); }
float max_unaligned(const float *a, int n) { return reduce<false>(a, n, -Infinity, Max(), Copy()); }
float min(const float *a, int n) { return reduce<true>(a, n, Infinity, Min(), Copy()); }
float maxabs(const float *a, int n) { return reduce<true>(a, n, 0.0f, Max(), Abs()); }
float minabs(const float *a, int n) { return reduce<true>(a, n, Infinity, Min(), Abs()); }

float rms(const float *a, int n) { return rootMeanSquare<true>(a, n); }
float rms_unaligned(const float *a, int n) { return rootMeanSquare<false>(a, n); }

} // namespace engine
