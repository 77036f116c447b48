// Run-time CPU feature detection for kernel dispatch. Kernel families capture the flags once (at start-up or at
// an object's create) and keep function pointers; tests can mask features off to force the scalar kernels.
#ifndef VORN_CORE_CPU_H
#define VORN_CORE_CPU_H

#include <stdint.h>

namespace vorn {

enum CpuFlag : uint32_t {
  kCpuSse2 = 1u << 0,
  kCpuSsse3 = 1u << 1,
  kCpuSse41 = 1u << 2,
  kCpuAvx2 = 1u << 3,
  kCpuAvx512 = 1u << 4,  // the F, BW, DQ and VL subsets together
};

// The features this CPU has, less those masked off with cpu_set_mask.
uint32_t cpu_flags();
// Test hook: features in `mask` are reported absent from now on (0 restores detection).
void cpu_set_mask(uint32_t mask);

}  // namespace vorn

#endif
