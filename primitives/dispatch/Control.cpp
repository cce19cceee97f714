//===- primitives/dispatch/Control.cpp - MXCSR and x87 control -------------===//
#include "primitives/dispatch/dispatch.h"

#include <xmmintrin.h>

namespace {

unsigned short readControl() {
  unsigned short cw;
  __asm__ volatile("fnstcw %0" : "=m"(cw));
  return cw;
}

void writeControl(unsigned short cw) { __asm__ volatile("fldcw %0" : : "m"(cw)); }

unsigned short readStatus() {
  unsigned short sw;
  __asm__ volatile("fnstsw %0" : "=m"(sw));
  return sw;
}

void clearExceptions() { __asm__ volatile("fnclex"); }

// x87 exception bits 0..5 (invalid, denormal, zero divide, overflow, underflow,
// inexact) and their places in the abstract layout.
constexpr unsigned int Exceptions[6][2] = {{0x01, 0x10}, {0x02, 0x80000}, {0x04, 0x08},
                                           {0x08, 0x04}, {0x10, 0x02},   {0x20, 0x01}};

unsigned int exceptionsToAbstract(unsigned int x87) {
  unsigned int a = 0;
  for (const auto &e : Exceptions)
    if (x87 & e[0])
      a |= e[1];
  return a;
}

unsigned int toAbstract(unsigned int cw) {
  unsigned int a = exceptionsToAbstract(cw);
  a |= (cw & 0xC00) >> 2; // rounding
  // Precision: double is 0x10000, extended 0; single ought to read as 0x20000 but its
  // bit is not set, so it reads back as extended.
  if ((cw & 0x300) == 0x200)
    a |= 0x10000;
  if (cw & 0x1000)
    a |= 0x40000;
  return a;
}

unsigned int fromAbstract(unsigned int a, unsigned int cw) {
  cw &= ~0x1F3Fu;
  for (const auto &e : Exceptions)
    if (a & e[1])
      cw |= e[0];
  cw |= (a & 0x300) << 2;
  switch (a & 0x30000) {
  case 0: cw |= 0x300; break;
  case 0x10000: cw |= 0x200; break;
  default: break; // single: precision bits 0
  }
  if (a & 0x40000)
    cw |= 0x1000;
  return cw;
}

} // namespace

extern "C" {

unsigned int ipp_clear_ssx(void) {
  const unsigned int old = _mm_getcsr();
  _mm_setcsr(0x1F80);
  return old;
}

unsigned int ps_get_ssx(void) { return _mm_getcsr(); }

unsigned int ps_set_ssx(unsigned int value, unsigned int mask) {
  const unsigned int old = _mm_getcsr();
  _mm_setcsr((value & mask) | (old & ~mask));
  return old;
}

void ipp_set_cw_ssx(unsigned int value) { _mm_setcsr(value); }

unsigned int ipp_set_rc_ssx(unsigned int rounding) {
  const unsigned int old = _mm_getcsr();
  if ((old & 0x6000) != (rounding & 0x6000))
    _mm_setcsr((old & ~0x6000u) | (rounding & 0x6000));
  return old;
}

int ipp_tst_daz_ssx(void) {
  alignas(16) unsigned char area[512] = {};
  __builtin_ia32_fxsave(area);
  const unsigned int mxcsrMask =
      area[28] | (area[29] << 8) | (area[30] << 16) | (static_cast<unsigned int>(area[31]) << 24);
  return (mxcsrMask >> 6) & 1;
}

unsigned int ps_get_cw_fpu(void) { return readControl(); }

unsigned int ps_set_cw_fpu(unsigned int value, unsigned int mask) {
  const unsigned int old = readControl();
  writeControl(static_cast<unsigned short>((value & mask) | (old & ~mask)));
  return old;
}

void ipp_set_cw_fpu(unsigned int value) { writeControl(static_cast<unsigned short>(value)); }

unsigned int ipp_set_rcpc_fpu(unsigned int value) { return ps_set_cw_fpu(value, 0xF00); }

unsigned int ps_get_sw_fpu(void) { return readStatus(); }

unsigned int ps_clear_fpu(void) {
  const unsigned int old = readStatus();
  clearExceptions();
  return old;
}

unsigned int ipp_control87(unsigned int value, unsigned int mask) {
  const unsigned int cw = readControl();
  const unsigned int wanted = (value & mask) | (toAbstract(cw) & ~mask);
  writeControl(static_cast<unsigned short>(fromAbstract(wanted, cw)));
  return toAbstract(readControl());
}

unsigned int ipp_status87(void) { return exceptionsToAbstract(readStatus()); }

unsigned int ipp_clear87(void) {
  const unsigned int old = exceptionsToAbstract(readStatus());
  clearExceptions();
  return old;
}

} // extern "C"
