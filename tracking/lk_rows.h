// Row kernel of one Lucas-Kanade step: the mismatch between the previous window and the current frame sampled
// bilinearly, weighted by the previous window's gradients.
#ifndef VORN_TRACKING_LK_ROWS_H
#define VORN_TRACKING_LK_ROWS_H

#include <stdint.h>

namespace vorn {

// For k = from .. n - 1, with a and b two rows of the current frame (n + 1 pixels each) and wt the bilinear
// weights {top-left, top-right, bottom-left, bottom-right}:
//   j = ((wt0 a[k] + wt1 a[k+1]) + wt2 b[k]) + wt3 b[k+1];   d = ival[k] - j
//   acc_x[k % 4] += d ix[k];   acc_y[k % 4] += d iy[k]
// in single precision. The four lanes let the SSE2 twin add in exactly the same order.
void lk_mismatch_row_c(const uint8_t *a, const uint8_t *b, const float wt[4], const float *ival, const float *ix,
                       const float *iy, int32_t from, int32_t n, float acc_x[4], float acc_y[4]);
// SSE2 twin: does k = 0 .. 4 * floor(n / 4) - 1 and returns that count.
int32_t lk_mismatch_row_sse2(const uint8_t *a, const uint8_t *b, const float wt[4], const float *ival,
                             const float *ix, const float *iy, int32_t n, float acc_x[4], float acc_y[4]);

}  // namespace vorn

#endif
