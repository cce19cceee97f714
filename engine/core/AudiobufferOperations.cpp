//===- engine/core/AudiobufferOperations.cpp - Arithmetic on whole buffers -===//
//
// The member family of AudioBuffer that computes whole buffers. Four skeletons carry all
// of it: the operand skeleton (two or three buffers, four lanes at a time), the scalar
// skeleton (one buffer and broadcast floats), the stereo-by-mono walk of the <2, 1> forms
// and the mono mix of mulTo. Each member is one line: a skeleton and its four-lane step.
//
//===----------------------------------------------------------------------===//
#include "engine/core/AudioBuffer.h"

#include "base/core/Debug.h"
#include "primitives/simd/sse2.h"

#include <cstddef>
#include <cstring>

namespace engine {
namespace {

using std::size_t;

// An operand as the skeletons see it: its floats and its frameStride (0: compressed, so
// its first four floats are read again and again).
struct Operand {
  const float *p;
  uint32_t stride;
};

Operand of(const AudioBuffer &b) { return {b.samples(), b.frameStride}; }

// `this` as an operand of an in-place member. A compressed pattern is copied first, since
// the pass writes over it while it is still being read.
struct Self {
  alignas(16) float pattern[8];
  Operand operator()(const AudioBuffer &y) {
    if (y.frameStride != 0 || y.numChannels == 0)
      return of(y);
    std::memcpy(pattern, y.samples(), sizeof pattern);
    return {pattern, 0};
  }
};

bool isReplicable(uint32_t channels) { return channels == 1 || channels == 2 || channels == 4; }

// Compressed and each channel's constant neither below nor above v, so NaN passes; a
// buffer without channels passes too.
bool isNeutral(const AudioBuffer &b, float v) {
  if (b.frameStride != 0)
    return false;
  for (uint32_t c = 0; c < b.numChannels; ++c)
    if (b.samples()[c] < v || b.samples()[c] > v)
      return false;
  return true;
}
bool isNeutral(float c, float v) { return !(c < v) && !(c > v); }

// A compressed result: four floats, replicated for `channels` (4: into floats 4 to 7; 2:
// the first pair into all four; 1: float 0 into all eight; others: the four alone).
void storeConstant(AudioBuffer &y, uint32_t channels, vfloat r) {
  float *out = y.samples();
  vstore_v_p_vf(out, r);
  y.frameStride = 0;
  if (channels == 4)
    vstore_v_p_vf(out + 4, r);
  else if (channels == 2 || channels == 1)
    for (uint32_t i = channels; i < 8; ++i)
      out[i] = out[i % channels];
}

// An operand on the move: four floats a vector, or none when compressed.
struct Walk {
  const float *p;
  size_t step;
  explicit Walk(Operand o) : p(o.p), step(o.stride != 0 ? 4 : 0) {}
  vfloat next() {
    const vfloat v = vload_vf_p(p);
    p += step;
    return v;
  }
};

// `vectors` results of the step to out, two a pass after an odd one.
template <class Step, class... Walks>
void walk(size_t vectors, float *out, Step step, Walks... in) {
  if (vectors & 1) {
    vstore_v_p_vf(out, step(in.next()...));
    out += 4;
  }
  for (size_t v = vectors & 1; v < vectors; v += 2, out += 8) {
    const vfloat r0 = step(in.next()...);
    vstore_v_p_vf(out, r0);
    vstore_v_p_vf(out + 4, step(in.next()...));
  }
}

// The operand skeleton: all operands compressed give a compressed result for one step;
// a compressed operand among sample ones gives up where the pattern is not a whole number
// of frames (unless the caller's channel count is fixed); otherwise numChannels * n floats
// in whole vectors, each operand walking four floats a vector or standing still.
template <class Step, class... Ops>
void operands(AudioBuffer &y, uint32_t channels, bool mayGiveUp, uint32_t n, Step step, Ops... ops) {
  if ((... && (ops.stride == 0)))
    return storeConstant(y, channels, step(vload_vf_p(ops.p)...));
  if (mayGiveUp && !isReplicable(channels) && (... || (ops.stride == 0))) {
    y.frameStride = channels;
    return;
  }
  const size_t vectors = (size_t{channels} * n + 3) / 4;
  float *out = y.samples();
  walk(vectors, out, step, Walk(ops)...);
  y.frameStride = channels;
}

template <class Step, class... Ops> void generic(AudioBuffer &y, uint32_t n, Step step, Ops... ops) {
  operands(y, y.numChannels, true, n, step, ops...);
}

// The scalar skeleton: numChannels * n floats of a (one frame's worth if a is compressed,
// which leaves this compressed and replicated as afterWrite does).
template <class Step> void scalar(AudioBuffer &y, Operand a, uint32_t n, Step step) {
  const size_t count = a.stride == 0 ? y.numChannels : size_t{y.numChannels} * n;
  float *out = y.samples();
  for (size_t v = 0; v < (count + 3) / 4; ++v)
    vstore_v_p_vf(out + 4 * v, step(vload_vf_p(a.p + 4 * v)));
  y.afterWrite(a.stride == 0);
}

// The <2, 1> walk: each stereo frame of the stereo operands with the mono operand's sample of
// that frame in both lanes, two frames at a time after an odd one; every operand moves by
// its own frameStride per frame, so a compressed one re-reads its value. The usual strides
// of sample buffers (2 for stereo, 1 for mono) load whole vectors.
template <bool Usual> struct Frames2 {
  const float *p;
  uint32_t stride;
  explicit Frames2(Operand o) : p(o.p), stride(Usual ? 2 : o.stride) {}
  vfloat one() const { return vload2_vf_p_p(p, p); } // lanes 2 and 3 unused
  vfloat two() const { return Usual ? vloadu_vf_p(p) : vload2_vf_p_p(p, p + stride); }
  void advance(uint32_t frames) { p += size_t{frames} * stride; }
};
template <bool Usual> struct Mono2 {
  const float *p;
  uint32_t stride;
  explicit Mono2(Operand o) : p(o.p), stride(Usual ? 1 : o.stride) {}
  vfloat one() const { return vcast_vf_f(p[0]); }
  vfloat two() const {
    if (Usual) {
      const vfloat m = vload2_vf_p_p(p, p);
      return vunpacklo_vf_vf_vf(m, m);
    }
    return vset_vf_f_f_f_f(p[0], p[0], p[stride], p[stride]);
  }
  // Four frames' samples: lanes 0 and 1 pair with the first two frames, 2 and 3 with the next.
  vfloat four() const {
    return Usual ? vloadu_vf_p(p) : vset_vf_f_f_f_f(p[0], p[stride], p[2 * stride], p[3 * stride]);
  }
  void advance(uint32_t frames) { p += size_t{frames} * stride; }
};

// Whole groups (mulTo<2, 1> alone) run four frames to a group from the first, so that up to
// three frames past n are written too; otherwise exactly n frames.
template <bool WholeGroups = false, class Step, class... Stereo>
void stereoByMono(AudioBuffer &y, uint32_t n, Step step, Operand monoOperand, Stereo... stereoOperands) {
  if (monoOperand.stride == 0 && (... && (stereoOperands.stride == 0)))
    return storeConstant(y, 2, step(vload_vf_p(stereoOperands.p)..., vcast_vf_f(monoOperand.p[0])));
  float *out = y.samples();
  auto run = [&](auto mono, auto... stereo) {
    if (!WholeGroups && (n & 1)) {
      vstore2_v_p_vf(out, step(stereo.one()..., mono.one()));
      (stereo.advance(1), ...);
      mono.advance(1);
      out += 2;
    }
    uint32_t f = WholeGroups ? 0 : n & 1;
    for (; WholeGroups ? f < n : f + 4 <= n; f += 4, out += 8) {
      const vfloat m = mono.four();
      const vfloat r0 = step(stereo.two()..., vunpacklo_vf_vf_vf(m, m));
      (stereo.advance(2), ...);
      const vfloat r1 = step(stereo.two()..., vunpackhi_vf_vf_vf(m, m));
      (stereo.advance(2), ...);
      mono.advance(4);
      vstoreu_v_p_vf(out, r0);
      vstoreu_v_p_vf(out + 4, r1);
    }
    if (!WholeGroups && f < n)
      vstoreu_v_p_vf(out, step(stereo.two()..., mono.two()));
  };
  if (monoOperand.stride == 1 && (... && (stereoOperands.stride == 2)))
    run(Mono2<true>(monoOperand), Frames2<true>(stereoOperands)...);
  else
    run(Mono2<false>(monoOperand), Frames2<false>(stereoOperands)...);
  y.frameStride = 2;
}

// One channel with a mono operand, sample by sample: exactly n samples, each side moving by
// its own frameStride (0 re-reads a compressed value), four at a time while four remain.
template <class Step> void monoBySample(AudioBuffer &y, uint32_t n, Step step, Operand self, Operand b) {
  auto four = [](Operand o, uint32_t i) {
    const float *p = o.p + size_t{i} * o.stride;
    return o.stride == 1 ? vloadu_vf_p(p) : vset_vf_f_f_f_f(p[0], p[o.stride], p[2 * o.stride], p[3 * o.stride]);
  };
  float *out = y.samples();
  uint32_t i = 0;
  for (; i + 4 <= n; i += 4)
    vstoreu_v_p_vf(out + i, step(four(self, i), four(b, i)));
  for (; i < n; ++i) {
    alignas(16) float r[4];
    vstore_v_p_vf(r, step(vcast_vf_f(self.p[size_t{i} * self.stride]), vcast_vf_f(b.p[size_t{i} * b.stride])));
    out[i] = r[0];
  }
  y.frameStride = 1;
}

// mulTo and mul with a mono operand and a this of two or more channels: the mono one
// scales each channel of the other; above two channels nothing is computed.
template <class Step>
bool monoMix(AudioBuffer &y, Operand a, uint32_t aChannels, Operand b, uint32_t bChannels,
             uint32_t n, Step step) {
  if (y.numChannels < 2 || (aChannels != 1 && bChannels != 1))
    return false;
  const Operand mono = aChannels == 1 ? a : b, other = aChannels == 1 ? b : a;
  if (mono.stride == 0 && other.stride == 0)
    storeConstant(y, y.numChannels, step(vcast_vf_f(mono.p[0]), vload_vf_p(other.p)));
  else if (y.numChannels == 2 && n != 0)
    stereoByMono(y, n, step, mono, other);
  else
    y.frameStride = y.numChannels;
  return true;
}

// ---- Steps: four lanes in, four out, each a plain single-precision operation.

struct Add {
  vfloat operator()(vfloat a, vfloat b) const { return vadd_vf_vf_vf(a, b); }
};
struct Sub {
  vfloat operator()(vfloat a, vfloat b) const { return vsub_vf_vf_vf(a, b); }
};
struct Mul {
  vfloat operator()(vfloat a, vfloat b) const { return vmul_vf_vf_vf(a, b); }
};
struct Min {
  vfloat operator()(vfloat a, vfloat b) const { return vmin_vf_vf_vf(a, b); }
};
struct Max {
  vfloat operator()(vfloat a, vfloat b) const { return vmax_vf_vf_vf(a, b); }
};
struct And {
  vfloat operator()(vfloat a, vfloat b) const { return vand_vf_vf_vf(a, b); }
};
struct Or {
  vfloat operator()(vfloat a, vfloat b) const { return vor_vf_vf_vf(a, b); }
};
struct Xor {
  vfloat operator()(vfloat a, vfloat b) const { return vxor_vf_vf_vf(a, b); }
};
struct Equal {
  vfloat operator()(vfloat a, vfloat b) const { return veq_vm_vf_vf(a, b); }
};
struct NotEqual {
  vfloat operator()(vfloat a, vfloat b) const { return vneq_vm_vf_vf(a, b); }
};
struct Less {
  vfloat operator()(vfloat a, vfloat b) const { return vlt_vm_vf_vf(a, b); }
};
struct LessOrEqual {
  vfloat operator()(vfloat a, vfloat b) const { return vle_vm_vf_vf(a, b); }
};
// b op a.
template <class Step> struct Flip {
  vfloat operator()(vfloat a, vfloat b) const { return Step()(b, a); }
};
// a * b + d.
struct MulAdd {
  vfloat operator()(vfloat a, vfloat b, vfloat d) const {
    return vadd_vf_vf_vf(vmul_vf_vf_vf(a, b), d);
  }
};
// b where the mask is set, a where it is clear.
struct Select {
  vfloat operator()(vfloat a, vfloat b, vfloat mask) const {
    return vor_vf_vf_vf(vandnot_vf_vf_vf(mask, a), vand_vf_vf_vf(b, mask));
  }
};
// The step with a broadcast float on the right (a op c) or on the left (c op a).
template <class Step> struct Right {
  vfloat c;
  explicit Right(float value) : c(vcast_vf_f(value)) {}
  vfloat operator()(vfloat a) const { return Step()(a, c); }
};
template <class Step> struct Left {
  vfloat c;
  explicit Left(float value) : c(vcast_vf_f(value)) {}
  vfloat operator()(vfloat a) const { return Step()(c, a); }
};
struct Move {
  vfloat operator()(vfloat a) const { return a; }
};

// The powers, so that four is rounded as two squarings.
vfloat square(vfloat x) { return vmul_vf_vf_vf(x, x); }
vfloat cube(vfloat x) { return vmul_vf_vf_vf(vmul_vf_vf_vf(x, x), x); }
vfloat fourth(vfloat x) { return square(square(x)); }
using Power = vfloat (*)(vfloat);
Power powerFor(unsigned int exponent) {
  switch (exponent) {
  case 2:
    return square;
  case 3:
    return cube;
  case 4:
    return fourth;
  default:
    BASE_ASSERT(false, "Not implemented");
    return nullptr;
  }
}

} // namespace

// ---- Two buffers.

#define ENGINE_TWO_OPERANDS(name, Step)                                                  \
  void AudioBuffer::name(const AudioBuffer &a, const AudioBuffer &b, uint32_t n) {        \
    generic(*this, n, Step(), of(a), of(b));                                            \
  }
ENGINE_TWO_OPERANDS(addTo, Add)
ENGINE_TWO_OPERANDS(subTo, Sub)
ENGINE_TWO_OPERANDS(minTo, Min)
ENGINE_TWO_OPERANDS(maxTo, Max)
ENGINE_TWO_OPERANDS(ANDTo, And)
ENGINE_TWO_OPERANDS(ORTo, Or)
ENGINE_TWO_OPERANDS(XORTo, Xor)
ENGINE_TWO_OPERANDS(equal, Equal)
ENGINE_TWO_OPERANDS(notEqual, NotEqual)
ENGINE_TWO_OPERANDS(greaterThan, Flip<Less>)
ENGINE_TWO_OPERANDS(greaterThanOrEqual, Flip<LessOrEqual>)
ENGINE_TWO_OPERANDS(lessThan, Less)
ENGINE_TWO_OPERANDS(lessThanOrEqual, LessOrEqual)
ENGINE_TWO_OPERANDS(notGreaterThan, LessOrEqual)
ENGINE_TWO_OPERANDS(notGreaterThanOrEqual, Less)
ENGINE_TWO_OPERANDS(notLessThan, Flip<LessOrEqual>)
ENGINE_TWO_OPERANDS(notLessThanOrEqual, Flip<Less>)
#undef ENGINE_TWO_OPERANDS

void AudioBuffer::mulTo(const AudioBuffer &a, const AudioBuffer &b, uint32_t n) {
  if (!monoMix(*this, of(a), a.numChannels, of(b), b.numChannels, n, Mul()))
    generic(*this, n, Mul(), of(a), of(b));
}

void AudioBuffer::maddTo(const AudioBuffer &a, const AudioBuffer &b, const AudioBuffer &d,
                         uint32_t n) {
  generic(*this, n, MulAdd(), of(a), of(b), of(d));
}
void AudioBuffer::maddTo(const AudioBuffer &a, float c, const AudioBuffer &b, uint32_t n) {
  const vfloat vc = vcast_vf_f(c);
  generic(*this, n, [vc](vfloat x, vfloat y) { return MulAdd()(x, vc, y); }, of(a), of(b));
}
void AudioBuffer::maddTo(const AudioBuffer &a, const AudioBuffer &b, float c, uint32_t n) {
  const vfloat vc = vcast_vf_f(c);
  generic(*this, n, [vc](vfloat x, vfloat y) { return MulAdd()(x, y, vc); }, of(a), of(b));
}
void AudioBuffer::addThenMultiplyTo(const AudioBuffer &a, const AudioBuffer &b, float c,
                                    uint32_t n) {
  const vfloat vc = vcast_vf_f(c);
  generic(*this, n, [vc](vfloat x, vfloat y) { return vmul_vf_vf_vf(vadd_vf_vf_vf(x, y), vc); },
          of(a), of(b));
}
void AudioBuffer::SELECTTo(const AudioBuffer &a, const AudioBuffer &b, const AudioBuffer &mask,
                           uint32_t n) {
  generic(*this, n, Select(), of(a), of(b), of(mask));
}

// ---- In place with a buffer. The neutral test comes first and touches nothing.

#define ENGINE_IN_PLACE(name, Step, test)                                                \
  void AudioBuffer::name(const AudioBuffer &b, uint32_t n) {                             \
    if (test)                                                                            \
      return;                                                                            \
    Self self;                                                                           \
    generic(*this, n, Step(), self(*this), of(b));                                      \
  }
ENGINE_IN_PLACE(add, Add, isNeutral(b, 0.0f))
ENGINE_IN_PLACE(sub, Sub, isNeutral(b, 0.0f))
ENGINE_IN_PLACE(AND, And, isNeutral(b, 0.0f))
ENGINE_IN_PLACE(OR, Or, isNeutral(b, 0.0f))
ENGINE_IN_PLACE(XOR, Xor, isNeutral(b, 0.0f))
ENGINE_IN_PLACE(min, Min, false)
ENGINE_IN_PLACE(max, Max, false)
ENGINE_IN_PLACE(subSelf, Flip<Sub>, false)
#undef ENGINE_IN_PLACE

void AudioBuffer::mul(const AudioBuffer &b, uint32_t n) {
  if (isNeutral(b, 1.0f))
    return;
  Self self;
  const Operand y = self(*this);
  if (!monoMix(*this, y, numChannels, of(b), b.numChannels, n, Mul()))
    generic(*this, n, Mul(), y, of(b));
}

// One mono operand added to or subtracted from each channel.
#define ENGINE_MONO_OPERAND(name, Step)                                                  \
  void AudioBuffer::name(const AudioBuffer &b, uint32_t n) {                             \
    if (isNeutral(b, 0.0f))                                                              \
      return;                                                                            \
    Self self;                                                                           \
    const Operand y = self(*this);                                                       \
    if (y.stride == 0 && b.frameStride == 0)                                             \
      storeConstant(*this, numChannels, Step()(vload_vf_p(y.p), vcast_vf_f(b.samples()[0]))); \
    else if (numChannels == 1)                                                           \
      monoBySample(*this, n, Step(), y, of(b));                                          \
    else if (numChannels == 2)                                                           \
      stereoByMono(*this, n, Step(), of(b), y);                                          \
    else                                                                                 \
      frameStride = numChannels;                                                         \
  }
ENGINE_MONO_OPERAND(addScalar, Add)
ENGINE_MONO_OPERAND(subScalar, Sub)
#undef ENGINE_MONO_OPERAND

void AudioBuffer::madd(const AudioBuffer &a, const AudioBuffer &b, uint32_t n) {
  Self self;
  generic(*this, n, MulAdd(), of(a), of(b), self(*this));
}
void AudioBuffer::madd(const AudioBuffer &a, float c, uint32_t n) {
  const vfloat vc = vcast_vf_f(c);
  Self self;
  generic(*this, n, [vc](vfloat x, vfloat y) { return MulAdd()(x, vc, y); }, of(a), self(*this));
}

// ---- One buffer and floats.

#define ENGINE_SCALAR(name, Form, Step)                                                  \
  void AudioBuffer::name(const AudioBuffer &a, float c, uint32_t n) {                    \
    scalar(*this, of(a), n, Form<Step>(c));                                              \
  }
ENGINE_SCALAR(addTo, Right, Add)
ENGINE_SCALAR(subTo, Right, Sub)
ENGINE_SCALAR(mulTo, Right, Mul)
ENGINE_SCALAR(minTo, Right, Min)
ENGINE_SCALAR(maxTo, Right, Max)
ENGINE_SCALAR(ANDTo, Right, And)
ENGINE_SCALAR(ORTo, Right, Or)
ENGINE_SCALAR(XORTo, Right, Xor)
#undef ENGINE_SCALAR

void AudioBuffer::subTo(float c, const AudioBuffer &a, uint32_t n) {
  scalar(*this, of(a), n, Left<Sub>(c));
}
void AudioBuffer::NOTTo(const AudioBuffer &a, uint32_t n) { scalar(*this, of(a), n, Move()); }
void AudioBuffer::rcpTo(const AudioBuffer &a, uint32_t n) { scalar(*this, of(a), n, vrcp_vf_vf); }
void AudioBuffer::rsqrtTo(const AudioBuffer &a, uint32_t n) {
  scalar(*this, of(a), n, vrsqrt_vf_vf);
}
void AudioBuffer::sqrtTo(const AudioBuffer &a, uint32_t n) { scalar(*this, of(a), n, vsqrt_vf_vf); }
void AudioBuffer::addThenMultiplyTo(const AudioBuffer &a, float c, float d, uint32_t n) {
  const vfloat vc = vcast_vf_f(c), vd = vcast_vf_f(d);
  scalar(*this, of(a), n, [=](vfloat x) { return vmul_vf_vf_vf(vadd_vf_vf_vf(x, vc), vd); });
}
void AudioBuffer::MultiplyThenAddTo(const AudioBuffer &a, float c, float d, uint32_t n) {
  const vfloat vc = vcast_vf_f(c), vd = vcast_vf_f(d);
  scalar(*this, of(a), n, [=](vfloat x) { return MulAdd()(x, vc, vd); });
}
void AudioBuffer::powerOfTo(const AudioBuffer &a, unsigned int exponent, uint32_t n) {
  if (const Power power = powerFor(exponent))
    scalar(*this, of(a), n, power);
}

// ---- In place with floats.

#define ENGINE_SCALAR_IN_PLACE(name, test, step)                                         \
  void AudioBuffer::name(float c, uint32_t n) {                                          \
    if (test)                                                                            \
      return;                                                                            \
    Self self;                                                                           \
    scalar(*this, self(*this), n, step);                                                \
  }
ENGINE_SCALAR_IN_PLACE(add, isNeutral(c, 0.0f), Right<Add>(c))
ENGINE_SCALAR_IN_PLACE(mul, isNeutral(c, 1.0f), Right<Mul>(c))
ENGINE_SCALAR_IN_PLACE(AND, isNeutral(c, 0.0f), Right<And>(c))
ENGINE_SCALAR_IN_PLACE(OR, isNeutral(c, 0.0f), Right<Or>(c))
ENGINE_SCALAR_IN_PLACE(XOR, isNeutral(c, 0.0f), Right<Xor>(c))
ENGINE_SCALAR_IN_PLACE(min, false, Right<Min>(c))
ENGINE_SCALAR_IN_PLACE(max, false, Right<Max>(c))
ENGINE_SCALAR_IN_PLACE(subSelf, false, Left<Sub>(c))
#undef ENGINE_SCALAR_IN_PLACE

void AudioBuffer::addThenMultiply(float c, float d, uint32_t n) {
  Self self;
  const vfloat vc = vcast_vf_f(c), vd = vcast_vf_f(d);
  scalar(*this, self(*this), n, [=](vfloat x) { return vmul_vf_vf_vf(vadd_vf_vf_vf(x, vc), vd); });
}
void AudioBuffer::MultiplyThenAdd(float c, float d, uint32_t n) {
  Self self;
  const vfloat vc = vcast_vf_f(c), vd = vcast_vf_f(d);
  scalar(*this, self(*this), n, [=](vfloat x) { return MulAdd()(x, vc, vd); });
}
void AudioBuffer::limitRange(float lo, float hi, uint32_t n) {
  Self self;
  const vfloat vlo = vcast_vf_f(lo), vhi = vcast_vf_f(hi);
  scalar(*this, self(*this), n,
         [=](vfloat x) { return vmin_vf_vf_vf(vmax_vf_vf_vf(x, vlo), vhi); });
}
void AudioBuffer::rcp(uint32_t n) {
  Self self;
  scalar(*this, self(*this), n, vrcp_vf_vf);
}
void AudioBuffer::rsqrt(uint32_t n) {
  Self self;
  scalar(*this, self(*this), n, vrsqrt_vf_vf);
}
void AudioBuffer::powerOf(unsigned int exponent, uint32_t n) {
  Self self;
  if (const Power power = powerFor(exponent))
    scalar(*this, self(*this), n, power);
}

// ---- The channel-specialised forms.

namespace {
template <int D, int S, class Step>
void channelForm(AudioBuffer &y, const AudioBuffer &a, const AudioBuffer &b, uint32_t n, Step step) {
  static_assert((D == 1 && S == 1) || (D == 2 && S == 2) || (D == 2 && S == 1),
                "the forms are <1, 1>, <2, 2> and <2, 1>");
  if constexpr (D == 2 && S == 1)
    stereoByMono(y, n, step, of(b), of(a));
  else
    operands(y, D, false, n, step, of(a), of(b));
}
} // namespace

#define ENGINE_CHANNEL_FORM(name, Step)                                                  \
  template <int D, int S>                                                                \
  void AudioBuffer::name(const AudioBuffer &a, const AudioBuffer &b, uint32_t n) {        \
    channelForm<D, S>(*this, a, b, n, Step());                                           \
  }
ENGINE_CHANNEL_FORM(addTo, Add)
ENGINE_CHANNEL_FORM(subTo, Sub)
ENGINE_CHANNEL_FORM(minTo, Min)
ENGINE_CHANNEL_FORM(maxTo, Max)
ENGINE_CHANNEL_FORM(ANDTo, And)
ENGINE_CHANNEL_FORM(ORTo, Or)
ENGINE_CHANNEL_FORM(XORTo, Xor)
#undef ENGINE_CHANNEL_FORM

// <2, 1> clears this when either operand is compressed silence, and otherwise runs in whole
// groups of eight output floats.
template <int D, int S>
void AudioBuffer::mulTo(const AudioBuffer &a, const AudioBuffer &b, uint32_t n) {
  if constexpr (D == 2 && S == 1) {
    if (isNeutral(b, 0.0f) || isNeutral(a, 0.0f))
      return clear();
    stereoByMono<true>(*this, n, Mul(), of(b), of(a));
  } else {
    channelForm<D, S>(*this, a, b, n, Mul());
  }
}

// this = a * b + this, this walking with a.
template <int D, int S>
void AudioBuffer::madd(const AudioBuffer &a, const AudioBuffer &b, uint32_t n) {
  Self self;
  const Operand y = self(*this);
  if constexpr (D == 2 && S == 1)
    stereoByMono(*this, n, [](vfloat x, vfloat t, vfloat m) { return MulAdd()(x, m, t); }, of(b),
                 of(a), y);
  else
    operands(*this, D, false, n, MulAdd(), of(a), of(b), y);
}

#define ENGINE_INSTANTIATE(D, S)                                                         \
  template void AudioBuffer::addTo<D, S>(const AudioBuffer &, const AudioBuffer &, uint32_t); \
  template void AudioBuffer::subTo<D, S>(const AudioBuffer &, const AudioBuffer &, uint32_t); \
  template void AudioBuffer::mulTo<D, S>(const AudioBuffer &, const AudioBuffer &, uint32_t); \
  template void AudioBuffer::madd<D, S>(const AudioBuffer &, const AudioBuffer &, uint32_t);  \
  template void AudioBuffer::minTo<D, S>(const AudioBuffer &, const AudioBuffer &, uint32_t); \
  template void AudioBuffer::maxTo<D, S>(const AudioBuffer &, const AudioBuffer &, uint32_t); \
  template void AudioBuffer::ANDTo<D, S>(const AudioBuffer &, const AudioBuffer &, uint32_t); \
  template void AudioBuffer::ORTo<D, S>(const AudioBuffer &, const AudioBuffer &, uint32_t);  \
  template void AudioBuffer::XORTo<D, S>(const AudioBuffer &, const AudioBuffer &, uint32_t);
ENGINE_INSTANTIATE(1, 1)
ENGINE_INSTANTIATE(2, 2)
ENGINE_INSTANTIATE(2, 1)
#undef ENGINE_INSTANTIATE

} // namespace engine
