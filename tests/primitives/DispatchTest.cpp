//===- tests/primitives/DispatchTest.cpp - Detection, dispatch, allocation -===//
//
// A simulated processor stands behind CPUID and XGETBV where the real one cannot show a
// case: other vendors, missing leaves, chosen feature bits and cache descriptors.
//
//===----------------------------------------------------------------------===//
#include "primitives/dispatch/Cpuid.h"
#include "primitives/dispatch/dispatch.h"
#include "primitives/vecmath/vecmath.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <array>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <xmmintrin.h>

using primitives::dispatch::useProcessor;

namespace {

// The registers the simulated processor answers, by leaf and sub-leaf; XGETBV gives xcr0.
struct FakeCpu {
  std::map<std::pair<uint32_t, uint32_t>, std::array<uint32_t, 4>> leaves;
  uint64_t xcr0 = 0;
};
FakeCpu *fake = nullptr;

void fakeCpuid(uint32_t leaf, uint32_t sub, uint32_t regs[4]) {
  auto it = fake->leaves.find({leaf, sub});
  if (it == fake->leaves.end())
    it = fake->leaves.find({leaf, 0});
  for (int i = 0; i < 4; ++i)
    regs[i] = it == fake->leaves.end() ? 0 : it->second[static_cast<size_t>(i)];
}
uint64_t fakeXgetbv(uint32_t) { return fake->xcr0; }

constexpr std::array<uint32_t, 4> Intel0(uint32_t maxLeaf) {
  return {maxLeaf, 0x756E6547u, 0x6C65746Eu, 0x49656E69u}; // EBX "Genu", ECX "ntel", EDX "ineI"
}
constexpr std::array<uint32_t, 4> Amd0(uint32_t maxLeaf) {
  return {maxLeaf, 0x68747541u, 0x444D4163u, 0x69746E65u}; // "AuthenticAMD"
}

class Simulated : public testing::Test {
protected:
  FakeCpu cpu;
  void use() {
    fake = &cpu;
    useProcessor(fakeCpuid, fakeXgetbv);
  }
  void TearDown() override {
    useProcessor(nullptr, nullptr);
    fake = nullptr;
  }
};

uint32_t bits(std::initializer_list<int> positions) {
  uint32_t v = 0;
  for (int p : positions)
    v |= 1u << p;
  return v;
}

} // namespace

TEST_F(Simulated, FeatureMaskFromCpuid) {
  cpu.leaves[{0, 0}] = Intel0(7);
  // MMX, SSE, SSE2 in EDX; SSE3, PCLMULQDQ, SSSE3, FMA, SSE4.1, SSE4.2, MOVBE, AES,
  // OSXSAVE, AVX, F16C, RDRAND in ECX.
  cpu.leaves[{1, 0}] = {0x000906A3, 0, bits({0, 1, 9, 12, 19, 20, 22, 25, 27, 28, 29, 30}),
                        bits({23, 25, 26})};
  cpu.leaves[{7, 0}] = {0, bits({3, 5, 8, 18, 19}), 0, 0}; // BMI1, AVX2, BMI2, RDSEED, ADX
  cpu.leaves[{0x80000000, 0}] = {0x80000008, 0, 0, 0};
  cpu.leaves[{0x80000001, 0}] = {0, 0, bits({8}), bits({29})};
  cpu.xcr0 = 0x7;
  use();
  unsigned long long mask = 0;
  EXPECT_EQ(ippGetCpuFeatures(&mask, nullptr), ippStatusOk);
  EXPECT_EQ(mask, 0x7EFFFull); // every bit of the table but 12 and 31
  // Without the system's AVX state, bit 9 stays off; without BMI2 the AVX2 group does.
  cpu.xcr0 = 0x3;
  cpu.leaves[{7, 0}] = {0, bits({3, 5, 18, 19}), 0, 0};
  use();
  EXPECT_EQ(ippGetCpuFeatures(&mask, nullptr), ippStatusOk);
  EXPECT_EQ(mask, 0x7EFFFull & ~0x200ull & ~0x8000ull);
  // Leaf 7 is not read when leaf 0 reports less; family 0xB model 1 sets bit 31 and reads
  // leaf 0x20000001.
  cpu.leaves[{0, 0}] = Intel0(6);
  cpu.leaves[{1, 0}] = {0xB10, 0, 0, bits({23, 25, 26})};
  cpu.leaves[{0x20000001, 0}] = {0, 0, 0, bits({1})};
  use();
  EXPECT_EQ(ippGetCpuFeatures(&mask, nullptr), ippStatusOk);
  EXPECT_EQ(mask, 0x80000000ull | 0x1000ull | 0x40000ull | 0x7ull);
}

TEST_F(Simulated, GetCpuFeaturesRegistersAndQuerycpu) {
  cpu.leaves[{0, 0}] = Intel0(0xD);
  cpu.leaves[{1, 0}] = {0x11, 0x22, 0x33, 0x44};
  cpu.leaves[{0xD, 1}] = {0xAA, 0xBB, 0xCC, 0xDD};
  use();
  EXPECT_EQ(ippGetCpuFeatures(nullptr, nullptr), ippStatusNullPointer);

  unsigned long long mask = 0;
  unsigned int regs[4] = {0xD, 0, 1, 0};
  EXPECT_EQ(ippGetCpuFeatures(&mask, regs), ippStatusOk); // old content not "querycpu": leaf 1
  EXPECT_EQ(regs[0], 0x11u);
  EXPECT_EQ(regs[3], 0x44u);

  mask = 0x7570637972657571ull; // "querycpu"
  unsigned int asked[4] = {0xD, 0, 1, 0};
  EXPECT_EQ(ippGetCpuFeatures(&mask, asked), ippStatusOk);
  EXPECT_EQ(asked[0], 0xAAu);
  EXPECT_EQ(asked[2], 0xCCu);
  EXPECT_NE(mask, 0x7570637972657571ull);

  unsigned int viaOwn[4];
  ownGetReg(viaOwn, 0xD, 1);
  EXPECT_EQ(viaOwn[1], 0xBBu);
}

TEST_F(Simulated, InitChoosesBySetAndReportsTheVendor) {
  // No init: the baseline and its mask.
  use();
  EXPECT_EQ(ippJumpIndexForMergedLibs, 0u);
  EXPECT_EQ(ippGetEnabledCpuFeatures(), 7u);

  // Another vendor with AVX: the AVX set, and the warning 20.
  cpu.leaves[{0, 0}] = Amd0(0xD);
  cpu.leaves[{1, 0}] = {0, 0, bits({0, 9, 19, 27, 28}), bits({23, 25, 26})};
  cpu.xcr0 = 6;
  use();
  EXPECT_EQ(ippInit(), ippStatusNotIntelCpu);
  EXPECT_EQ(ippJumpIndexForMergedLibs, 4u);
  EXPECT_EQ(ippGetEnabledCpuFeatures(), 0x35Full & 0x6FDF);

  // The same vendor with SSE4.1 and no AVX state: set 3, status 0.
  cpu.leaves[{0, 0}] = Intel0(0xD);
  cpu.xcr0 = 0;
  use();
  EXPECT_EQ(ippStaticInit(), ippStatusOk);
  EXPECT_EQ(ippJumpIndexForMergedLibs, 3u);
  EXPECT_EQ(ippGetEnabledCpuFeatures(), 0x15Full & 0xCDF);
  EXPECT_EQ(ownGetFeature(0x40), 1);
  EXPECT_EQ(ownGetFeature(0x100), 0);

  // SSE3 only, then SSE2 only.
  cpu.leaves[{1, 0}] = {0, 0, bits({0}), bits({23, 25, 26})};
  use();
  EXPECT_EQ(ippInit(), ippStatusOk);
  EXPECT_EQ(ippJumpIndexForMergedLibs, 1u);
  cpu.leaves[{1, 0}] = {0, 0, 0, bits({23, 25, 26})};
  use();
  EXPECT_EQ(ippInit(), ippStatusOk);
  EXPECT_EQ(ippJumpIndexForMergedLibs, 0u);
  EXPECT_EQ(ippGetEnabledCpuFeatures(), 7u);
}

TEST_F(Simulated, InitCpuCodes) {
  use();
  struct Row {
    unsigned int code;
    unsigned long long mask;
    unsigned int index;
  } rows[] = {{0, 7, 0},    {96, 7, 0},    {32, 15, 1},   {66, 15, 1},   {33, 31, 2},
              {34, 31, 2},  {36, 31, 2},   {67, 31, 2},   {35, 95, 3},   {68, 95, 3},
              {37, 223, 3}, {69, 223, 3},  {38, 3295, 3}, {71, 3295, 3}, {70, 4063, 4},
              {73, 4063, 4}, {74, 4063, 4}, {75, 4063, 4}};
  for (const Row &r : rows) {
    EXPECT_EQ(ippInitCpu(r.code), ippStatusOk) << r.code;
    EXPECT_EQ(ippJumpIndexForMergedLibs, r.index) << r.code;
    EXPECT_EQ(ippGetEnabledCpuFeatures(), r.mask) << r.code;
    unsigned long long reported = 0;
    ippGetCpuFeatures(&reported, nullptr); // the forced mask is reported from now on
    EXPECT_EQ(reported, r.mask) << r.code;
  }

  // Unknown code: 21 and nothing changes, the cache included.
  use();
  EXPECT_EQ(ownippStaticInitCpu(70), ippStatusOk);
  EXPECT_EQ(ippInitCpu(12), ippStatusUnknownCpuCode);
  EXPECT_EQ(ippJumpIndexForMergedLibs, 4u);
  EXPECT_EQ(ippGetEnabledCpuFeatures(), 4063u);

  // Unsupported code: 36, and only the feature cache takes the mask.
  use();
  ippSetCpuFeaturesMask(0x1F);
  EXPECT_EQ(ippInitCpu(1), ippStatusCpuNotSupported);
  EXPECT_EQ(ippJumpIndexForMergedLibs, 0u);
  EXPECT_EQ(ownFeatures, 0x1Fu);
  EXPECT_EQ(ownFeaturesAreValid, 1);

  // 0xFFFFFFFF detects as ippInit does.
  cpu.leaves[{0, 0}] = Amd0(1);
  cpu.leaves[{1, 0}] = {0, 0, bits({9}), bits({23, 25, 26})};
  use();
  EXPECT_EQ(ippInitCpu(0xFFFFFFFFu), ippStatusNotIntelCpu);
  EXPECT_EQ(ippJumpIndexForMergedLibs, 2u);
  EXPECT_EQ(ippIsCpuEnabled(12345), 1);
  EXPECT_EQ(ippEnableCpu(3), ippStatusOk);
}

TEST_F(Simulated, CacheSizeFromLeafFourAndLeafTwo) {
  // Leaf 4: 32 KiB L1 data, a bigger instruction cache that is skipped, 2 MiB L2.
  cpu.leaves[{0, 0}] = Intel0(4);
  auto cache = [](uint32_t type, uint32_t ways, uint32_t parts, uint32_t line, uint32_t sets) {
    return std::array<uint32_t, 4>{type, ((ways - 1) << 22) | ((parts - 1) << 12) | (line - 1),
                                   sets - 1, 0};
  };
  cpu.leaves[{4, 0}] = cache(1, 8, 1, 64, 64);
  cpu.leaves[{4, 1}] = cache(2, 16, 1, 64, 4096);
  cpu.leaves[{4, 2}] = cache(3, 16, 1, 64, 2048);
  cpu.leaves[{4, 3}] = {0, 0, 0, 0};
  use();
  EXPECT_EQ(ippGetMaxCacheSizeB(nullptr), ippStatusNullPointer);
  int size = -1;
  EXPECT_EQ(ippGetMaxCacheSizeB(&size), ippStatusOk);
  EXPECT_EQ(size, 2 * 1024 * 1024);
  // Computed once: a changed processor behind the cache makes no difference.
  cpu.leaves[{4, 2}] = cache(3, 16, 1, 64, 64);
  size = -1;
  EXPECT_EQ(ippGetMaxCacheSizeB(&size), ippStatusOk);
  EXPECT_EQ(size, 2 * 1024 * 1024);

  // No data cache in leaf 4: 37.
  cpu.leaves[{4, 0}] = cache(2, 8, 1, 64, 64);
  cpu.leaves[{4, 1}] = {0, 0, 0, 0};
  use();
  EXPECT_EQ(ippGetMaxCacheSizeB(&size), ippStatusCacheUnknown);
  EXPECT_EQ(size, 0);

  // Leaf 2 descriptors: 0x2C and 0x30 are not in the table, 0x49 (4 MiB) and 0x7D
  // (2 MiB) are; the larger wins whatever their order. A register with bit 31 is empty.
  cpu.leaves[{0, 0}] = Intel0(3);
  cpu.leaves[{2, 0}] = {0x7D2C3001, 0x00004900, 0x80000049, 0};
  use();
  EXPECT_EQ(ippGetMaxCacheSizeB(&size), ippStatusOk);
  EXPECT_EQ(size, 4 * 1024 * 1024);
  cpu.leaves[{2, 0}] = {0x002C3001, 0x80004900, 0, 0};
  use();
  EXPECT_EQ(ippGetMaxCacheSizeB(&size), ippStatusCacheUnknown);
  EXPECT_EQ(size, 0);
  cpu.leaves[{2, 0}] = {0x7D2C3002, 0, 0, 0}; // low byte must be 1
  use();
  EXPECT_EQ(ippGetMaxCacheSizeB(&size), ippStatusCacheUnknown);

  // Another vendor: 36 and 0, whatever its leaves say.
  cpu.leaves[{0, 0}] = Amd0(4);
  use();
  size = -1;
  EXPECT_EQ(ippGetMaxCacheSizeB(&size), ippStatusCpuNotSupported);
  EXPECT_EQ(size, 0);
}

TEST_F(Simulated, ProcessorUtilities) {
  cpu.leaves[{0, 0}] = Intel0(4);
  cpu.leaves[{1, 0}] = {0x306A9, 0x00100800, bits({0, 9, 19, 20, 22}), bits({4, 23, 25, 26, 28})};
  cpu.leaves[{4, 0}] = {0x1C004121, 0, 0, 0};
  cpu.leaves[{0x80000000, 0}] = {0x80000000, 0, 0, 0};
  use();
  EXPECT_EQ(ipp_has_cpuid(), 1);
  EXPECT_EQ(ipp_max_cpuid_input(), 4);
  EXPECT_EQ(ipp_is_GenuineIntel(), 1);
  EXPECT_EQ(ipp_has_rdtsc(), 1);
  EXPECT_EQ(ipp_is_mmx_extension() + ipp_is_ssx_extension() + ipp_is_wni_extension(), 3);
  EXPECT_EQ(ipp_is_pni_extension() + ipp_is_mni_extension() + ipp_is_sse41_extension() +
                ipp_is_sse42_extension() + ipp_is_movbe(),
            5);
  EXPECT_EQ(ipp_is_avx_extension(), 0);
  EXPECT_EQ(ipp_is_htt_extension(), 1); // 16 logical processors in EBX
  EXPECT_EQ(ipp_get_cores_on_die(), 8); // EAX bits 26..31 of leaf 4, plus 1
  // Without leaf 0x80000001 the answer is the highest extended leaf itself.
  EXPECT_EQ(static_cast<unsigned int>(ipp_is_em64t_extension()), 0x80000000u);
  cpu.leaves[{0x80000000, 0}] = {0x80000001, 0, 0, 0};
  cpu.leaves[{0x80000001, 0}] = {0, 0, 0, bits({29})};
  use();
  EXPECT_EQ(ipp_is_em64t_extension(), 1);
  IppPentiumIdent id{};
  ipp_get_pentium_ident(&id);
  EXPECT_EQ(id.family, 6u);
  EXPECT_EQ(id.model, 10u);
  EXPECT_EQ(id.extendedModel, 3u);
  EXPECT_EQ(id.stepping, 9u);

  EXPECT_TRUE(ipp_isnan(std::nan("")));
  EXPECT_FALSE(ipp_isnan(HUGE_VAL));
  EXPECT_FALSE(ipp_finite(HUGE_VAL));
  EXPECT_TRUE(ipp_finite(-1e308));
  const unsigned long long t0 = ipp_get_pentium_counter();
  const unsigned long long t1 = ipp_get_pentium_counter();
  EXPECT_LE(t0, t1);
}

namespace {
std::set<void *> rawBlocks;
void *recordingMalloc(size_t n) {
  void *p = std::malloc(n);
  rawBlocks.insert(p);
  return p;
}
void recordingFree(void *p) {
  EXPECT_EQ(rawBlocks.erase(p), 1u) << "freed a block that i_malloc did not give";
  std::free(p);
}
} // namespace

TEST(Allocation, AlignedBlocksThroughTheHooks) {
  auto *savedMalloc = i_malloc;
  auto *savedFree = i_free;
  i_malloc = recordingMalloc;
  i_free = recordingFree;
  for (int size = 1; size < 300; size += 7) {
    auto *p = static_cast<unsigned char *>(ippMalloc(size));
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 64, 0u) << size;
    void *raw;
    std::memcpy(&raw, p - 8, sizeof raw);
    EXPECT_EQ(rawBlocks.count(raw), 1u);
    EXPECT_GE(p - static_cast<unsigned char *>(raw), 8);
    p[size - 1] = 1;
    ippFree(p);
  }
  EXPECT_TRUE(rawBlocks.empty());
  i_malloc = savedMalloc;
  i_free = savedFree;
  EXPECT_EQ(i_version, 1);

  EXPECT_EQ(ippMalloc(0), nullptr);
  EXPECT_EQ(ippsMalloc_8u(0), nullptr);
  EXPECT_EQ(ippsMalloc_8u(-1), nullptr);
  ippsFree(nullptr);
  ippFree(nullptr);
  unsigned char *block = ippsMalloc_8u(100);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 64, 0u);
  ippsFree(block);
}

TEST(Control, MxcsrAndX87) {
  const unsigned int saved = ps_get_ssx();
  EXPECT_EQ(ipp_clear_ssx(), saved);
  EXPECT_EQ(ps_get_ssx(), 0x1F80u);
  EXPECT_EQ(ps_set_ssx(0x6000, 0x6000), 0x1F80u); // towards zero, the rest kept
  EXPECT_EQ(ps_get_ssx(), 0x7F80u);
  EXPECT_EQ(ipp_set_rc_ssx(0x2000), 0x7F80u);
  EXPECT_EQ(ps_get_ssx(), 0x3F80u);
  ipp_set_cw_ssx(saved);
  EXPECT_EQ(ps_get_ssx(), saved);
  EXPECT_EQ(ipp_tst_daz_ssx(), 1); // every x86-64 processor offers it

  const unsigned int cw = ps_get_cw_fpu();
  EXPECT_EQ(cw & 0x3F, 0x3Fu); // all x87 exceptions masked by default
  // The abstract layout: rounding up is 0x200, double precision 0x10000.
  EXPECT_EQ(ipp_control87(0x200 | 0x10000, 0x300 | 0x30000) & 0x30300, 0x10200u);
  EXPECT_EQ(ps_get_cw_fpu() & 0xF00, 0xA00u);
  // Single precision does not read back: its bit is lost, as for extended.
  EXPECT_EQ(ipp_control87(0x20000, 0x30000) & 0x30000, 0u);
  EXPECT_EQ(ps_get_cw_fpu() & 0x300, 0u);
  EXPECT_EQ(ipp_control87(0, 0x30000) & 0x30000, 0u);
  EXPECT_EQ(ps_get_cw_fpu() & 0x300, 0x300u);
  // Exception masks: invalid is 0x10 in the abstract word, bit 0 of the x87 word.
  EXPECT_EQ(ipp_control87(0, 0) & 0x8001F, 0x8001Fu);
  const unsigned int before = ps_set_cw_fpu(0x0C00, 0x0C00);
  EXPECT_EQ(ps_get_cw_fpu(), (before & ~0x0C00u) | 0x0C00u);
  EXPECT_EQ(ipp_set_rcpc_fpu(cw) & 0xC00, 0xC00u);
  ipp_set_cw_fpu(cw);
  EXPECT_EQ(ps_get_cw_fpu(), cw);
  ps_clear_fpu();
  EXPECT_EQ(ps_get_sw_fpu() & 0x3F, 0u);
  EXPECT_EQ(ipp_status87(), 0u);
  EXPECT_EQ(ipp_clear87(), 0u);
}
