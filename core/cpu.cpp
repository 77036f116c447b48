#include "core/cpu.h"

#include <atomic>

namespace vorn {
namespace {

std::atomic<uint32_t> g_mask{0};

uint32_t detect() {
  uint32_t f = 0;
#if defined(__x86_64__) || defined(__i386__)
  __builtin_cpu_init();
  if (__builtin_cpu_supports("sse2")) f |= kCpuSse2;
  if (__builtin_cpu_supports("ssse3")) f |= kCpuSsse3;
  if (__builtin_cpu_supports("sse4.1")) f |= kCpuSse41;
  if (__builtin_cpu_supports("avx2")) f |= kCpuAvx2;
  if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
      __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl"))
    f |= kCpuAvx512;
#endif
  return f;
}

}  // namespace

uint32_t cpu_flags() {
  static const uint32_t detected = detect();
  return detected & ~g_mask.load();
}

void cpu_set_mask(uint32_t mask) { g_mask = mask; }

}  // namespace vorn
