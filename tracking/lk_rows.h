// Row kernels of the Lucas-Kanade point tracker: the previous window's gradients with its structure sums, and
// the mismatch between that window and the current frame sampled bilinearly. Every kernel adds into eight
// single-precision lanes, element k into lane k % 8, so the plain, SSE2 and AVX2 versions add in exactly the
// same order and give the same bits.
#ifndef VORN_TRACKING_LK_ROWS_H
#define VORN_TRACKING_LK_ROWS_H

#include <stdint.h>

namespace vorn {

constexpr int kLkLanes = 8;

// For k = from .. n - 1, with up, mid and dn three rows of the previous window's patch (n + 2 values each):
//   dx = (3 (up[k+2] - up[k]) + 10 (mid[k+2] - mid[k]) + 3 (dn[k+2] - dn[k])) / 32      (Scharr, across)
//   dy = (3 (dn[k] - up[k]) + 10 (dn[k+1] - up[k+1]) + 3 (dn[k+2] - up[k+2])) / 32      (Scharr, along)
//   ival[k] = mid[k+1], ix[k] = dx, iy[k] = dy;   gxx[k % 8] += dx dx, gxy[k % 8] += dx dy, gyy[k % 8] += dy dy

// For k = from .. n - 1, with a and b two rows of the current frame (n + 1 pixels each) and wt the bilinear
// weights {top-left, top-right, bottom-left, bottom-right}:
//   j = ((wt0 a[k] + wt1 a[k+1]) + wt2 b[k]) + wt3 b[k+1];   d = ival[k] - j
//   acc_x[k % 8] += d ix[k];   acc_y[k % 8] += d iy[k]

void lk_gradient_row_c(const float *up, const float *mid, const float *dn, float *ival, float *ix, float *iy,
                       int32_t from, int32_t n, float *gxx, float *gxy, float *gyy);
void lk_mismatch_row_c(const uint8_t *a, const uint8_t *b, const float wt[4], const float *ival, const float *ix,
                       const float *iy, int32_t from, int32_t n, float *acc_x, float *acc_y);

// The vector twins do the row from k = 0 and return how far they got; the plain kernel finishes it. They read
// nothing past the rows: a last partial group goes through a zero-padded copy (SSE2) or is redone as the
// overlapping last eight elements (AVX2, rows of eight or more), with the lanes that do not count masked to zero.
int32_t lk_gradient_row_sse2(const float *up, const float *mid, const float *dn, float *ival, float *ix, float *iy,
                             int32_t n, float *gxx, float *gxy, float *gyy);
int32_t lk_mismatch_row_sse2(const uint8_t *a, const uint8_t *b, const float wt[4], const float *ival,
                             const float *ix, const float *iy, int32_t n, float *acc_x, float *acc_y);
int32_t lk_gradient_row_avx2(const float *up, const float *mid, const float *dn, float *ival, float *ix, float *iy,
                             int32_t n, float *gxx, float *gxy, float *gyy);
int32_t lk_mismatch_row_avx2(const uint8_t *a, const uint8_t *b, const float wt[4], const float *ival,
                             const float *ix, const float *iy, int32_t n, float *acc_x, float *acc_y);

// The family's table: vector kernels that do a row from k = 0 and return how far they got (null: none), the
// plain rule finishing it.
struct LkRowKernels {
  int32_t (*gradient)(const float *, const float *, const float *, float *, float *, float *, int32_t, float *,
                      float *, float *);
  int32_t (*mismatch)(const uint8_t *, const uint8_t *, const float[4], const float *, const float *,
                      const float *, int32_t, float *, float *);
};
// The table for this CPU (honours cpu_set_mask): AVX2, else SSE2, else all null.
const LkRowKernels &lk_row_kernels();

}  // namespace vorn

#endif
