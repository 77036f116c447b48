// CPU feature detection agrees with the processor's own identification words on every x86 target (Windows and
// 32-bit builds included, where the compiler's detection support comes from a different runtime), and masking
// hides features as the kernels' tests expect.
#include <gtest/gtest.h>

#include "core/cpu.h"

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace {

#if defined(__x86_64__) || defined(__i386__)
TEST(Cpu, FlagsMatchTheIdentificationWords) {
  unsigned a = 0, b = 0, c = 0, d = 0;
  ASSERT_TRUE(__get_cpuid(1, &a, &b, &c, &d));
  const uint32_t f = vorn::cpu_flags();
  EXPECT_TRUE(d & (1u << 26)) << "every x86 target of the library has SSE2";
  EXPECT_EQ((f & vorn::kCpuSse2) != 0, (d & (1u << 26)) != 0);
  EXPECT_EQ((f & vorn::kCpuSsse3) != 0, (c & (1u << 9)) != 0);
  EXPECT_EQ((f & vorn::kCpuSse41) != 0, (c & (1u << 19)) != 0);
  // AVX2 also needs the system to save the wide registers, so the word's bit is necessary, not sufficient.
  unsigned b7 = 0;
  if (__get_cpuid_count(7, 0, &a, &b7, &c, &d) == 0) b7 = 0;
  if (f & vorn::kCpuAvx2) {
    EXPECT_TRUE(b7 & (1u << 5));
  }
}
#endif

TEST(Cpu, MaskHidesFeaturesUntilCleared) {
  const uint32_t all = vorn::cpu_flags();
  vorn::cpu_set_mask(vorn::kCpuAvx2 | vorn::kCpuSse41);
  EXPECT_EQ(vorn::cpu_flags(), all & ~(uint32_t)(vorn::kCpuAvx2 | vorn::kCpuSse41));
  vorn::cpu_set_mask(0xFFFFFFFFu);
  EXPECT_EQ(vorn::cpu_flags(), 0u);
  vorn::cpu_set_mask(0);
  EXPECT_EQ(vorn::cpu_flags(), all);
}

}  // namespace
