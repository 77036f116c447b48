// The running-mean passes, one pixel at a time, and their dispatch.
#include "bkmodel/bk_mean_kernel.h"

#include "core/cpu.h"

namespace vorn {

namespace {

inline int absdiff(int a, int b) { return a > b ? a - b : b - a; }

// The accumulators hold convex mixes of byte values, so acc + 0.5 lies in 0.5 .. 255.5.
inline uint8_t half_up(double acc) { return (uint8_t)(int32_t)(acc + 0.5); }

const BkMeanKernels kPlain = {nullptr, nullptr, nullptr};
const BkMeanKernels kAvx2 = {mean_accumulate_avx2, meanex_update_avx2, baymean_update_avx2};
const BkMeanKernels kAvx512 = {mean_accumulate_avx2, meanex_update_avx512, baymean_update_avx512};

}  // namespace

const BkMeanKernels &bk_mean_kernels() {
  const uint32_t f = cpu_flags();
  return (f & kCpuAvx512) ? kAvx512 : (f & kCpuAvx2) ? kAvx2 : kPlain;
}

void mean_accumulate_c(uint32_t *sums, size_t npix, const bk_pass_planes *p, size_t begin, size_t end) {
  uint32_t *count = sums + 3 * npix;
  for (size_t i = begin; i < end; ++i) {
    count[i] += 1;
    for (int q = 0; q < 3; ++q) {
      uint32_t *s = sums + q * npix + i;
      *s += p->c[q][i];
      if (count[i] != 0) p->bk[q][i] = (uint8_t)(*s / count[i]);
    }
  }
}

void meanex_update_c(double *acc, size_t npix, const bk_pass_planes *p, size_t begin, size_t end, double a,
                     double b, bool all) {
  for (size_t i = begin; i < end; ++i) {
    const bool stable = absdiff(p->c[0][i], p->prev[0][i]) < 10 && absdiff(p->c[1][i], p->prev[1][i]) < 10;
    if (!stable && !all) continue;
    for (int q = 0; q < 3; ++q) {
      double *v = acc + q * npix + i;
      *v = (double)p->c[q][i] * a + *v * b;
      p->bk[q][i] = half_up(*v);
    }
  }
}

void baymean_update_c(double *acc, size_t npix, const bk_pass_planes *p, size_t begin, size_t end) {
  for (size_t i = begin; i < end; ++i) {
    if (p->fg[i] != 0 || p->mask[i] == 0) continue;
    for (int q = 0; q < 3; ++q) {
      double *v = acc + q * npix + i;
      *v = (double)p->c[q][i] * 0.005 + *v * 0.995;
      p->bk[q][i] = half_up(*v);
    }
  }
}

void mean_accumulate(uint32_t *sums, size_t npix, const bk_pass_planes *p, size_t begin, size_t end) {
  const BkMeanKernels &k = bk_mean_kernels();
  if (k.mean_accumulate) begin += k.mean_accumulate(sums, npix, p, begin, end);
  mean_accumulate_c(sums, npix, p, begin, end);
}

void meanex_update(double *acc, size_t npix, const bk_pass_planes *p, size_t begin, size_t end, double a,
                   double b, bool all) {
  const BkMeanKernels &k = bk_mean_kernels();
  if (k.meanex_update) begin += k.meanex_update(acc, npix, p, begin, end, a, b, all);
  meanex_update_c(acc, npix, p, begin, end, a, b, all);
}

void baymean_update(double *acc, size_t npix, const bk_pass_planes *p, size_t begin, size_t end) {
  const BkMeanKernels &k = bk_mean_kernels();
  if (k.baymean_update) begin += k.baymean_update(acc, npix, p, begin, end);
  baymean_update_c(acc, npix, p, begin, end);
}

}  // namespace vorn
