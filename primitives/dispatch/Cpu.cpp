//===- primitives/dispatch/Cpu.cpp - Feature detection and set selection ---===//
#include "primitives/dispatch/Cpuid.h"
#include "primitives/dispatch/dispatch.h"

#include <cpuid.h>

extern "C" {
unsigned int ippJumpIndexForMergedLibs = 0;
unsigned long long ownFeatures = 0;
int ownFeaturesAreValid = 0;
unsigned long long ownFeaturesMask = 7;
}

namespace {

int cacheSize = 0;
IppStatus ownStatus = 1; // 1: not asked yet

void processorCpuid(uint32_t leaf, uint32_t subleaf, uint32_t regs[4]) {
  __cpuid_count(leaf, subleaf, regs[0], regs[1], regs[2], regs[3]);
}

uint64_t processorXgetbv(uint32_t xcr) {
  uint32_t lo, hi;
  __asm__ volatile("xgetbv" : "=a"(lo), "=d"(hi) : "c"(xcr));
  return (static_cast<uint64_t>(hi) << 32) | lo;
}

primitives::dispatch::CpuidSource cpuidSource = processorCpuid;
primitives::dispatch::XgetbvSource xgetbvSource = processorXgetbv;

bool bit(uint32_t word, int n) { return (word >> n) & 1u; }

struct Regs {
  uint32_t r[4];
  uint32_t eax() const { return r[0]; }
  uint32_t ebx() const { return r[1]; }
  uint32_t ecx() const { return r[2]; }
  uint32_t edx() const { return r[3]; }
};

Regs query(uint32_t leaf, uint32_t subleaf = 0) {
  Regs q{};
  primitives::dispatch::cpuid(leaf, subleaf, q.r);
  return q;
}

unsigned long long detectFeatures() {
  const Regs l1 = query(1);
  const uint32_t edx = l1.edx(), ecx = l1.ecx();
  unsigned long long m = 0;
  auto set = [&m](bool on, int n) {
    if (on)
      m |= 1ull << n;
  };
  set(bit(edx, 23), 0);
  set(bit(edx, 25), 1);
  set(bit(edx, 26), 2);
  set(bit(ecx, 0), 3);
  set(bit(ecx, 9), 4);
  set(bit(ecx, 22), 5);
  set(bit(ecx, 19), 6);
  set(bit(ecx, 20), 7);
  set(bit(ecx, 28), 8);
  if (bit(ecx, 27) && bit(ecx, 28))
    set(ipp_is_avx_extension() != 0, 9);
  set(bit(ecx, 25), 10);
  set(bit(ecx, 1), 11);
  if ((l1.eax() & 0xF00) == 0xB00)
    set(bit(query(0x20000001).edx(), 1), 12);
  set(bit(ecx, 30), 13);
  set(bit(ecx, 29), 14);
  if (query(0).eax() >= 7) {
    const uint32_t ebx7 = query(7, 0).ebx();
    set(bit(ecx, 12) && bit(ebx7, 5) && bit(ebx7, 3) && bit(ebx7, 8), 15);
    set(bit(ebx7, 19), 16);
    set(bit(ebx7, 18), 17);
  }
  if (query(0x80000000).eax() >= 0x80000001)
    set(bit(query(0x80000001).ecx(), 8), 18);
  set((l1.eax() & 0xFF0) == 0xB10, 31);
  return m;
}

// The sets of ippInitCpu: mask and index per processor code.
struct Forced {
  unsigned long long mask;
  unsigned int index;
};

bool forcedSet(unsigned int cpu, Forced &f) {
  switch (cpu) {
  case 0: case 96: f = {7, 0}; return true;
  case 32: case 66: f = {15, 1}; return true;
  case 33: case 34: case 36: case 67: f = {31, 2}; return true;
  case 35: case 68: f = {95, 3}; return true;
  case 37: case 69: f = {223, 3}; return true;
  case 38: case 71: f = {3295, 3}; return true;
  case 70: case 73: case 74: case 75: f = {4063, 4}; return true;
  default: return false;
  }
}

// Leaf-2 cache descriptors, largest first, ended by descriptor 0: the first descriptor
// that the processor reports gives the largest cache.
struct CacheDescriptor {
  uint32_t descriptor;
  uint32_t bytes;
};
constexpr uint32_t KB = 1024, MB = 1024 * 1024;
const CacheDescriptor tableCache[] = {
    {0xEC, 24 * MB}, {0xEB, 18 * MB}, {0x4D, 16 * MB}, {0xEA, 12 * MB}, {0x4C, 12 * MB},
    {0xE4, 8 * MB},  {0xDE, 8 * MB},  {0x4B, 8 * MB},  {0x47, 8 * MB},  {0x4E, 6 * MB},
    {0x4A, 6 * MB},  {0xE3, 4 * MB},  {0xDD, 4 * MB},  {0xD8, 4 * MB},  {0x49, 4 * MB},
    {0x29, 4 * MB},  {0x46, 4 * MB},  {0x48, 3 * MB},  {0xE2, 2 * MB},  {0xDC, 2 * MB},
    {0xD7, 2 * MB},  {0xD2, 2 * MB},  {0x25, 2 * MB},  {0x7D, 2 * MB},  {0x85, 2 * MB},
    {0x45, 2 * MB},  {0xD6, 1 * MB},  {0xD1, 1 * MB},  {0x23, 1 * MB},  {0x87, 1 * MB},
    {0x7C, 1 * MB},  {0x78, 1 * MB},  {0x84, 1 * MB},  {0x44, 1 * MB},  {0xD0, 512 * KB},
    {0x22, 512 * KB}, {0x7B, 512 * KB}, {0x80, 512 * KB}, {0x86, 512 * KB}, {0x3E, 512 * KB},
    {0x7F, 512 * KB}, {0x83, 512 * KB}, {0x43, 512 * KB}, {0x3D, 384 * KB}, {0x21, 256 * KB},
    {0x7A, 256 * KB}, {0x82, 256 * KB}, {0x3C, 256 * KB}, {0x3F, 256 * KB}, {0x42, 256 * KB},
    {0x3A, 192 * KB}, {0x79, 128 * KB}, {0x39, 128 * KB}, {0x3B, 128 * KB}, {0x41, 128 * KB},
    {0, 0}};
static_assert(sizeof tableCache / sizeof tableCache[0] == 56, "55 descriptors and the end");

} // namespace

namespace primitives::dispatch {

void cpuid(uint32_t leaf, uint32_t subleaf, uint32_t regs[4]) { cpuidSource(leaf, subleaf, regs); }

uint64_t xgetbv(uint32_t xcr) { return xgetbvSource(xcr); }

void useProcessor(CpuidSource cpu, XgetbvSource xcr) {
  cpuidSource = cpu ? cpu : processorCpuid;
  xgetbvSource = xcr ? xcr : processorXgetbv;
  ownFeatures = 0;
  ownFeaturesAreValid = 0;
  ownFeaturesMask = 7;
  ippJumpIndexForMergedLibs = 0;
  cacheSize = 0;
  ownStatus = 1;
}

} // namespace primitives::dispatch

extern "C" {

int ownGetMaskFeatures(unsigned long long *mask) {
  if (!ownFeaturesAreValid) {
    ownFeatures = detectFeatures();
    ownFeaturesAreValid = 1;
  }
  *mask = ownFeatures;
  return 1;
}

IppStatus ippGetCpuFeatures(unsigned long long *mask, unsigned int regs[4]) {
  unsigned long long features = 0;
  if (!ownGetMaskFeatures(&features))
    return ippStatusCpuNotSupported;
  if (!mask)
    return ippStatusNullPointer;
  const unsigned long long old = *mask;
  *mask = features;
  if (regs) {
    const bool asked = old == 0x7570637972657571ull; // "querycpu", little-endian
    primitives::dispatch::cpuid(asked ? regs[0] : 1, asked ? regs[2] : 0, regs);
  }
  return ippStatusOk;
}

IppStatus ownSetFeatureMask(unsigned long long mask) {
  ownFeaturesMask = mask;
  return ippStatusOk;
}

IppStatus ippSetCpuFeaturesMask(unsigned long long mask) { return ownSetFeatureMask(mask); }

unsigned long long ippGetEnabledCpuFeatures(void) { return ownFeaturesMask; }

int ippIsCpuEnabled(unsigned int) { return 1; }

IppStatus ippEnableCpu(unsigned int) { return ippStatusOk; }

int ownGetFeature(unsigned long long mask) { return (ownFeaturesMask & mask) == mask ? 1 : 0; }

void ownMaskIsFeatures(void) {
  ownFeatures = ownFeaturesMask;
  ownFeaturesAreValid = 1;
}

void ownGetReg(unsigned int regs[4], unsigned int leaf, unsigned int subleaf) {
  primitives::dispatch::cpuid(leaf, subleaf, regs);
}

IppStatus ippInit(void) {
  unsigned long long features = 0;
  const IppStatus detected = ippGetCpuFeatures(&features, nullptr);
  unsigned long long mask = 7;
  unsigned int index = 0;
  if (detected >= 0) {
    if ((features & 0x300) == 0x300 && ippIsCpuEnabled(70)) {
      index = 4;
      mask = features & 0x6FDF;
    } else if (features & 0x40) {
      index = 3;
      mask = features & 0xCDF;
    } else if (features & 0x10) {
      index = 2;
      mask = features & 31;
    } else if (features & 0x8) {
      index = 1;
      mask = features & 15;
    } else {
      mask = features & 7;
    }
  }
  ippJumpIndexForMergedLibs = index;
  ippSetCpuFeaturesMask(mask);
  if (!ipp_has_cpuid() || !ipp_is_GenuineIntel())
    return ippStatusNotIntelCpu;
  return detected;
}

IppStatus ippStaticInit(void) { return ippInit(); }

IppStatus ippInitCpu(unsigned int cpu) {
  if (cpu == 0xFFFFFFFFu)
    return ippInit();
  Forced f{};
  if (forcedSet(cpu, f)) {
    ippJumpIndexForMergedLibs = f.index;
    ippSetCpuFeaturesMask(f.mask);
    ownMaskIsFeatures();
    return ippStatusOk;
  }
  if ((cpu >= 1 && cpu <= 11) || cpu == 64 || cpu == 65) {
    ownMaskIsFeatures();
    return ippStatusCpuNotSupported;
  }
  return ippStatusUnknownCpuCode;
}

IppStatus ownippStaticInitCpu(unsigned int cpu) { return ippInitCpu(cpu); }

int ownGetCacheSize(int *size) {
  const Regs l2 = query(2);
  if ((l2.eax() & 0xFF) != 1)
    return 0;
  unsigned char bytes[15];
  int count = 0;
  for (int reg = 0; reg < 4; ++reg) {
    const uint32_t v = l2.r[reg];
    if (v & 0x80000000u)
      continue;
    for (int b = reg == 0 ? 1 : 0; b < 4; ++b)
      bytes[count++] = static_cast<unsigned char>(v >> (8 * b));
  }
  for (const CacheDescriptor *d = tableCache; d->descriptor != 0; ++d)
    for (int i = 0; i < count; ++i)
      if (bytes[i] == d->descriptor) {
        *size = static_cast<int>(d->bytes);
        return 1;
      }
  return 0;
}

IppStatus ippGetMaxCacheSizeB(int *size) {
  if (!size)
    return ippStatusNullPointer;
  if (ownStatus == 1) {
    cacheSize = 0;
    if (!ipp_has_cpuid() || ipp_max_cpuid_input() < 2 || !ipp_is_GenuineIntel()) {
      ownStatus = ippStatusCpuNotSupported;
    } else if (ipp_max_cpuid_input() >= 4) {
      unsigned long long largest = 0;
      for (uint32_t sub = 0; sub < 32; ++sub) {
        const Regs l4 = query(4, sub);
        const uint32_t type = l4.eax() & 31;
        if (type == 0)
          break;
        if (type == 2)
          continue;
        const unsigned long long bytes = (((l4.ebx() >> 22) & 0x3FF) + 1ull) *
                                         (((l4.ebx() >> 12) & 0x3FF) + 1ull) *
                                         ((l4.ebx() & 0xFFF) + 1ull) * (l4.ecx() + 1ull);
        if (bytes > largest)
          largest = bytes;
      }
      cacheSize = static_cast<int>(largest);
      ownStatus = largest ? ippStatusOk : ippStatusCacheUnknown;
    } else {
      int found = 0;
      ownStatus = ownGetCacheSize(&found) ? ippStatusOk : ippStatusCacheUnknown;
      cacheSize = ownStatus == ippStatusOk ? found : 0;
    }
  }
  *size = cacheSize;
  return ownStatus;
}

int ipp_has_cpuid(void) { return 1; }

int ipp_max_cpuid_input(void) { return static_cast<int>(query(0).eax()); }

int ipp_is_GenuineIntel(void) {
  const Regs l0 = query(0);
  // "Genu" in EBX, "ineI" in EDX, "ntel" in ECX.
  return l0.ebx() == 0x756E6547u && l0.edx() == 0x49656E69u && l0.ecx() == 0x6C65746Eu;
}

int ipp_is_avx_extension(void) {
  const uint32_t ecx = query(1).ecx();
  if (!bit(ecx, 27) || !bit(ecx, 28))
    return 0;
  return (primitives::dispatch::xgetbv(0) & 6) == 6 ? 1 : 0;
}

int ipp_has_rdtsc(void) { return bit(query(1).edx(), 4); }
int ipp_is_mmx_extension(void) { return bit(query(1).edx(), 23); }
int ipp_is_ssx_extension(void) { return bit(query(1).edx(), 25); }
int ipp_is_wni_extension(void) { return bit(query(1).edx(), 26); }
int ipp_is_pni_extension(void) { return bit(query(1).ecx(), 0); }
int ipp_is_mni_extension(void) { return bit(query(1).ecx(), 9); }
int ipp_is_sse41_extension(void) { return bit(query(1).ecx(), 19); }
int ipp_is_sse42_extension(void) { return bit(query(1).ecx(), 20); }
int ipp_is_movbe(void) { return bit(query(1).ecx(), 22); }

int ipp_is_htt_extension(void) {
  const Regs l1 = query(1);
  return bit(l1.edx(), 28) && ((l1.ebx() >> 16) & 0xFF) > 1;
}

int ipp_is_em64t_extension(void) {
  const uint32_t highest = query(0x80000000).eax();
  if (highest < 0x80000001)
    return static_cast<int>(highest);
  return bit(query(0x80000001).edx(), 29);
}

int ipp_get_cores_on_die(void) {
  if (ipp_max_cpuid_input() < 4)
    return 1;
  return static_cast<int>(query(4, 0).eax() >> 26) + 1;
}

void ipp_get_pentium_ident(IppPentiumIdent *ident) {
  if (!ident)
    return;
  const Regs l1 = query(1);
  const uint32_t a = l1.eax();
  ident->stepping = a & 0xF;
  ident->model = (a >> 4) & 0xF;
  ident->family = (a >> 8) & 0xF;
  ident->type = (a >> 12) & 0x3;
  ident->extendedModel = (a >> 16) & 0xF;
  ident->extendedFamily = (a >> 20) & 0xFF;
  ident->featureFlags = l1.edx();
  ident->coresOnDie = static_cast<unsigned int>(ipp_get_cores_on_die());
  const Regs l2 = ipp_max_cpuid_input() >= 2 ? query(2) : Regs{};
  for (int i = 0; i < 4; ++i)
    ident->leaf2[i] = l2.r[i];
}

unsigned long long ipp_get_pentium_counter(void) { return __builtin_ia32_rdtsc(); }

int ipp_isnan(double x) {
  unsigned long long u;
  __builtin_memcpy(&u, &x, sizeof u);
  return (u & 0x7FF0000000000000ull) == 0x7FF0000000000000ull && (u & 0xFFFFFFFFFFFFFull) != 0;
}

int ipp_finite(double x) {
  unsigned long long u;
  __builtin_memcpy(&u, &x, sizeof u);
  return (u & 0x7FF0000000000000ull) != 0x7FF0000000000000ull;
}

} // extern "C"
