//===- tests/primitives/DispatchTest.cpp - Detection, dispatch, allocation -===//
// A simulated processor behind CPUID and XGETBV shows what the real one cannot.
#include "primitives/dispatch/Cpuid.h"
#include "primitives/dispatch/dispatch.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <set>
#include <vector>

namespace {

// The simulated registers by leaf and sub-leaf (sub-leaf 0 answers for missing ones).
std::map<std::pair<uint32_t, uint32_t>, std::array<uint32_t, 4>> leaves;
uint64_t xcr0 = 0;

void fakeCpuid(uint32_t leaf, uint32_t sub, uint32_t regs[4]) {
  auto it = leaves.count({leaf, sub}) ? leaves.find({leaf, sub}) : leaves.find({leaf, 0});
  for (size_t i = 0; i < 4; ++i)
    regs[i] = it == leaves.end() ? 0 : it->second[i];
}
uint64_t fakeXgetbv(uint32_t) { return xcr0; }

std::array<uint32_t, 4> vendor(bool intel, uint32_t maxLeaf) { // GenuineIntel, AuthenticAMD
  return intel ? std::array<uint32_t, 4>{maxLeaf, 0x756E6547u, 0x6C65746Eu, 0x49656E69u}
               : std::array<uint32_t, 4>{maxLeaf, 0x68747541u, 0x444D4163u, 0x69746E65u};
}
template <class... P> constexpr uint32_t bits(P... p) { return ((1u << p) | ... | 0u); }
constexpr uint32_t SseEdx = bits(23, 25, 26); // MMX, SSE, SSE2

std::set<void *> rawBlocks; // given by the allocation hooks and not taken back
void *recordingMalloc(size_t n) { return *rawBlocks.insert(std::malloc(n)).first; }
void recordingFree(void *p) { std::free(rawBlocks.erase(p) ? p : nullptr); }

class Simulated : public testing::Test {
protected:
  void SetUp() override { leaves.clear(), xcr0 = 0; }
  void TearDown() override { primitives::dispatch::useProcessor(nullptr, nullptr); }
  // Also forgets the cached features, cache size, mask and set index.
  static void use() { primitives::dispatch::useProcessor(fakeCpuid, fakeXgetbv); }
};

} // namespace

TEST_F(Simulated, FeatureMaskFromCpuidAndQuerycpu) {
  auto detected = [] {
    use();
    unsigned long long mask = 0;
    EXPECT_EQ(ippGetCpuFeatures(&mask, nullptr), ippStatusOk);
    return mask;
  };
  leaves[{0, 0}] = vendor(true, 7);
  // SSE3, PCLMULQDQ, SSSE3, FMA, SSE4.1, SSE4.2, MOVBE, AES, OSXSAVE, AVX, F16C, RDRAND.
  leaves[{1, 0}] = {0x000906A3, 0, bits(0, 1, 9, 12, 19, 20, 22, 25, 27, 28, 29, 30), SseEdx};
  leaves[{7, 0}] = {0, bits(3, 5, 8, 18, 19), 0, 0}; // BMI1, AVX2, BMI2, RDSEED, ADX
  leaves[{0x80000000, 0}] = {0x80000008, 0, 0, 0};
  leaves[{0x80000001, 0}] = {0, 0, bits(8), bits(29)};
  xcr0 = 0x7;
  EXPECT_EQ(detected(), 0x7EFFFull); // every bit of the table but 12 and 31
  // Without the system's AVX state, bit 9 stays off; without BMI2 the AVX2 group does.
  xcr0 = 0x3;
  leaves[{7, 0}] = {0, bits(3, 5, 18, 19), 0, 0};
  EXPECT_EQ(detected(), 0x7EFFFull & ~0x200ull & ~0x8000ull);
  // Leaf 7 is not read below it; family 0xB model 1 sets bit 31 and reads leaf 0x20000001.
  leaves[{0, 0}] = vendor(true, 6);
  leaves[{1, 0}] = {0xB10, 0, 0, SseEdx};
  leaves[{0x20000001, 0}] = {0, 0, 0, bits(1)};
  EXPECT_EQ(detected(), 0x80000000ull | 0x1000ull | 0x40000ull | 0x7ull);
  // "querycpu" in the mask slot asks for leaf regs[0], sub-leaf regs[2]; anything else, leaf 1.
  leaves[{0xD, 1}] = {0xAA, 0xBB, 0xCC, 0xDD};
  EXPECT_EQ(ippGetCpuFeatures(nullptr, nullptr), ippStatusNullPointer);
  for (const unsigned long long old : {0ull, 0x7570637972657571ull}) {
    unsigned long long mask = old;
    unsigned int regs[4] = {0xD, 0, 1, 0};
    EXPECT_EQ(ippGetCpuFeatures(&mask, regs), ippStatusOk);
    EXPECT_EQ(regs[0], old ? 0xAAu : 0xB10u);
    EXPECT_EQ(regs[2], old ? 0xCCu : 0u);
    EXPECT_EQ(mask, 0x80041007ull); // stored either way
  }
}

// The set follows the features alone; another vendor changes only the status.
TEST_F(Simulated, InitChoosesBySetAndReportsTheVendor) {
  use();
  EXPECT_EQ(ippJumpIndexForMergedLibs, 0u); // no init: the baseline and its mask
  EXPECT_EQ(ippGetEnabledCpuFeatures(), 7u);
  struct Case { bool intel; uint32_t ecx, xcr0; IppStatus status; unsigned int index; unsigned long long mask; };
  const Case cases[] = {{false, bits(0, 9, 19, 27, 28), 6, ippStatusNotIntelCpu, 4, 0x35F & 0x6FDF},
                        {true, bits(0, 9, 19, 27, 28), 0, ippStatusOk, 3, 0x15F & 0xCDF},
                        {true, bits(0, 9), 6, ippStatusOk, 2, 0x1F},
                        {true, bits(0), 6, ippStatusOk, 1, 0xF},
                        {false, 0, 6, ippStatusNotIntelCpu, 0, 7}};
  for (const Case &c : cases) {
    leaves[{0, 0}] = vendor(c.intel, 0xD);
    leaves[{1, 0}] = {0, 0, c.ecx, SseEdx};
    xcr0 = c.xcr0;
    use();
    EXPECT_EQ((c.index % 2 ? ippStaticInit : ippInit)(), c.status) << c.index;
    EXPECT_EQ(ippJumpIndexForMergedLibs, c.index);
    EXPECT_EQ(ippGetEnabledCpuFeatures(), c.mask) << c.index;
    EXPECT_EQ(ownGetFeature(c.mask), 1) << c.index;
    EXPECT_EQ(ownGetFeature(c.mask | 0x80000000ull), 0) << c.index;
  }
}

TEST_F(Simulated, InitCpuCodes) {
  use();
  struct Row { std::vector<unsigned int> codes; unsigned long long mask; unsigned int index; };
  const Row rows[] = {{{0, 96}, 7, 0},    {{32, 66}, 15, 1},   {{33, 34, 36, 67}, 31, 2},
                      {{35, 68}, 95, 3},  {{37, 69}, 223, 3},  {{38, 71}, 3295, 3},
                      {{70, 73, 74, 75}, 4063, 4}};
  for (const Row &r : rows)
    for (const unsigned int code : r.codes) {
      EXPECT_EQ((code % 2 ? ippInitCpu : ownippStaticInitCpu)(code), ippStatusOk) << code;
      EXPECT_EQ(ippJumpIndexForMergedLibs, r.index) << code;
      EXPECT_EQ(ippGetEnabledCpuFeatures(), r.mask) << code;
      unsigned long long reported = 0;
      ippGetCpuFeatures(&reported, nullptr); // the forced mask is reported from now on
      EXPECT_EQ(reported, r.mask) << code;
    }
  // Unknown code: 21 and nothing changes, the feature cache included.
  EXPECT_EQ(ippInitCpu(12), ippStatusUnknownCpuCode);
  EXPECT_TRUE(ippJumpIndexForMergedLibs == 4 && ippGetEnabledCpuFeatures() == 4063 && ownFeatures == 4063);
  // Unsupported code: 36, and only the feature cache takes the mask.
  use();
  ippSetCpuFeaturesMask(0x1F);
  EXPECT_EQ(ippInitCpu(1), ippStatusCpuNotSupported);
  EXPECT_TRUE(ippJumpIndexForMergedLibs == 0 && ownFeatures == 0x1F);
  // 0xFFFFFFFF detects as ippInit does.
  leaves[{0, 0}] = vendor(false, 1);
  leaves[{1, 0}] = {0, 0, bits(9), SseEdx};
  use();
  EXPECT_EQ(ippInitCpu(0xFFFFFFFFu), ippStatusNotIntelCpu);
  EXPECT_EQ(ippJumpIndexForMergedLibs, 2u);
}

TEST_F(Simulated, CacheSizeFromLeafFourAndLeafTwo) {
  auto expectCache = [](bool fresh, IppStatus status, int want) {
    if (fresh)
      use();
    int size = -1;
    EXPECT_EQ(ippGetMaxCacheSizeB(&size), status);
    EXPECT_EQ(size, want);
  };
  auto cache = [](uint32_t type, uint32_t ways, uint32_t sets) { // 64-byte lines
    return std::array<uint32_t, 4>{type, ((ways - 1) << 22) | 63, sets - 1, 0};
  };
  // Leaf 4: 32 KiB L1 data, a bigger instruction cache that is skipped, 2 MiB L2.
  leaves[{0, 0}] = vendor(true, 4);
  leaves[{4, 0}] = cache(1, 8, 64);
  leaves[{4, 1}] = cache(2, 16, 4096);
  leaves[{4, 2}] = cache(3, 16, 2048);
  leaves[{4, 3}] = {0, 0, 0, 0};
  use();
  EXPECT_EQ(ippGetMaxCacheSizeB(nullptr), ippStatusNullPointer);
  expectCache(false, ippStatusOk, 2 << 20);
  leaves[{4, 2}] = cache(3, 16, 64); // computed once: a changed processor is not seen
  expectCache(false, ippStatusOk, 2 << 20);
  leaves[{4, 0}] = cache(2, 8, 64); // no data cache
  leaves[{4, 1}] = {0, 0, 0, 0};
  expectCache(true, ippStatusCacheUnknown, 0);
  // Leaf 2: 0x2C and 0x30 are not in the table, 0x49 (4 MiB) and 0x7D (2 MiB) are; the
  // larger wins whatever the order. A register with bit 31 is empty; the low byte must be 1.
  leaves[{0, 0}] = vendor(true, 3);
  leaves[{2, 0}] = {0x7D2C3001, 0x00004900, 0x80000049, 0};
  expectCache(true, ippStatusOk, 4 << 20);
  leaves[{2, 0}] = {0x002C3001, 0x80004900, 0, 0};
  expectCache(true, ippStatusCacheUnknown, 0);
  leaves[{2, 0}] = {0x7D2C3002, 0, 0, 0};
  expectCache(true, ippStatusCacheUnknown, 0);
  leaves[{0, 0}] = vendor(false, 4); // another vendor: 36 and 0, whatever its leaves say
  expectCache(true, ippStatusCpuNotSupported, 0);
}

// The four utilities that the library calls are checked through detection above.
TEST_F(Simulated, ProcessorUtilities) {
  leaves[{0, 0}] = vendor(true, 4);
  leaves[{4, 0}] = {0x1C004121, 0, 0, 0};
  leaves[{0x80000000, 0}] = {0x80000000, 0, 0, 0};
  use();
  EXPECT_EQ(ipp_get_cores_on_die(), 8); // EAX bits 26..31 of leaf 4, plus 1
  // Kept: without leaf 0x80000001 the answer is the highest extended leaf itself.
  EXPECT_EQ(static_cast<unsigned int>(ipp_is_em64t_extension()), 0x80000000u);
  leaves[{0x80000000, 0}] = {0x80000001, 0, 0, 0};
  leaves[{0x80000001, 0}] = {0, 0, 0, bits(29)};
  use();
  EXPECT_EQ(ipp_is_em64t_extension(), 1);
  EXPECT_TRUE(ipp_isnan(std::nan("")) && !ipp_isnan(HUGE_VAL) && !ipp_finite(HUGE_VAL) && ipp_finite(-1e308));
}

TEST(Allocation, AlignedBlocksThroughTheHooks) {
  const auto saved = std::make_pair(i_malloc, i_free);
  i_malloc = recordingMalloc, i_free = recordingFree;
  for (int size = 1; size < 300; size += 7) {
    auto *p = size % 2 ? ippsMalloc_8u(size) : static_cast<unsigned char *>(ippMalloc(size));
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(p) % 64, 0u) << size;
    void *raw; // the word before the block holds the raw one
    std::memcpy(&raw, p - 8, sizeof raw);
    EXPECT_EQ(rawBlocks.count(raw), 1u);
    EXPECT_GE(p - static_cast<unsigned char *>(raw), 8);
    p[size - 1] = 1;
    size % 2 ? ippsFree(p) : ippFree(p);
  }
  EXPECT_TRUE(rawBlocks.empty());
  std::tie(i_malloc, i_free) = saved;
  EXPECT_TRUE(ippMalloc(0) == nullptr && ippsMalloc_8u(0) == nullptr && ippsMalloc_8u(-1) == nullptr);
  ippsFree(nullptr);
  ippFree(nullptr);
}

TEST(Control, X87ThroughTheAbstractLayout) {
  const unsigned int cw = ps_get_cw_fpu();
  // Rounding up is 0x200, double precision 0x10000; x87 bits 0..5 masked read as 0x8001F.
  EXPECT_EQ(ipp_control87(0x200 | 0x10000, 0x300 | 0x30000) & 0x3031F, 0x1021Fu);
  EXPECT_EQ(ps_get_cw_fpu() & 0xF3F, 0xA3Fu);
  // Kept: single precision does not read back, its bit lost as for extended.
  EXPECT_EQ(ipp_control87(0x20000, 0x30000) & 0x30000, 0u);
  EXPECT_EQ(ps_get_cw_fpu() & 0x300, 0u);
  EXPECT_EQ(ipp_control87(0, 0x30000) & 0x30000, 0u);
  EXPECT_EQ(ps_get_cw_fpu() & 0x300, 0x300u);
  ipp_set_cw_fpu(cw);
}
