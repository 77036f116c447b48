// Per-pixel passes of the running-mean models, independent of the model record. Each pass covers pixels
// [begin, end) of planes of one size; the dispatched entry points run the vector kernel of this CPU's table on
// the bulk and the plain rule on the rest, with output equal to the plain rule's.
#ifndef VORN_BKMODEL_BK_MEAN_KERNEL_H
#define VORN_BKMODEL_BK_MEAN_KERNEL_H

#include <stddef.h>
#include <stdint.h>

namespace vorn {

struct bk_pass_planes {
  const uint8_t *c[3];     // current frame
  const uint8_t *prev[3];  // previous frame (stable-pixel mean)
  const uint8_t *fg;       // foreground mask (masked mean)
  const uint8_t *mask;     // region of interest (masked mean)
  uint8_t *bk[3];          // background, written
};

// Cumulative mean: sums are four planes of npix words (the sums of planes 0, 1, 2, then the count); each pixel
// gains the frame and one count, and its background byte becomes sum / count (truncated, low byte kept). A count
// that has wrapped to 0 leaves the byte as it is.
void mean_accumulate_c(uint32_t *sums, size_t npix, const bk_pass_planes *p, size_t begin, size_t end);
void mean_accumulate(uint32_t *sums, size_t npix, const bk_pass_planes *p, size_t begin, size_t end);

// The running means keep three planes of npix doubles (acc[q * npix + i]).
// Stable-pixel running mean: where |c0 - p0| < 10 and |c1 - p1| < 10, or everywhere when `all`, each plane's
// accumulator becomes c * a + acc * b and its background byte the integer part of acc + 0.5.
void meanex_update_c(double *acc, size_t npix, const bk_pass_planes *p, size_t begin, size_t end, double a, double b, bool all);
void meanex_update(double *acc, size_t npix, const bk_pass_planes *p, size_t begin, size_t end, double a, double b, bool all);

// Masked running mean: where fg is 0 and the region mask is not, acc = c * 0.005 + acc * 0.995 per plane and
// the background byte is the integer part of acc + 0.5.
void baymean_update_c(double *acc, size_t npix, const bk_pass_planes *p, size_t begin, size_t end);
void baymean_update(double *acc, size_t npix, const bk_pass_planes *p, size_t begin, size_t end);

// The family's table: vector kernels with the plain ones' signatures that handle whole groups of pixels from
// `begin` and return how many they did, leaving the rest to the plain rule. A null entry does none.
struct BkMeanKernels {
  size_t (*mean_accumulate)(uint32_t *sums, size_t npix, const bk_pass_planes *p, size_t begin, size_t end);
  size_t (*meanex_update)(double *acc, size_t npix, const bk_pass_planes *p, size_t begin, size_t end, double a,
                          double b, bool all);
  size_t (*baymean_update)(double *acc, size_t npix, const bk_pass_planes *p, size_t begin, size_t end);
};

// The vector kernels of each instruction set (bk_mean_kernel_avx2.cpp, bk_mean_kernel_avx512.cpp).
size_t mean_accumulate_avx2(uint32_t *sums, size_t npix, const bk_pass_planes *p, size_t begin, size_t end);
size_t meanex_update_avx2(double *acc, size_t npix, const bk_pass_planes *p, size_t begin, size_t end, double a, double b,
                          bool all);
size_t baymean_update_avx2(double *acc, size_t npix, const bk_pass_planes *p, size_t begin, size_t end);
size_t meanex_update_avx512(double *acc, size_t npix, const bk_pass_planes *p, size_t begin, size_t end, double a,
                            double b, bool all);
size_t baymean_update_avx512(double *acc, size_t npix, const bk_pass_planes *p, size_t begin, size_t end);

// The table for this CPU (honours cpu_set_mask): AVX-512, else AVX2, else all null.
const BkMeanKernels &bk_mean_kernels();

}  // namespace vorn

#endif
