// Row kernel of the corner detector: the smaller eigenvalue of the summed structure matrix.
#ifndef VORN_TRACKING_CORNER_ROWS_H
#define VORN_TRACKING_CORNER_ROWS_H

#include <stdint.h>

namespace vorn {

// lambda[x] = (sxx + syy) / 2 - sqrt(((sxx - syy) / 2)^2 + sxy^2) in double, for x < n, from the 3 x 3 sums of
// dx^2, dy^2 and dx dy. Returns the largest lambda written (0 when none is larger).
double corner_eigen_row_c(const int32_t *sxx, const int32_t *syy, const int32_t *sxy, double *lambda, int32_t n);
// SSE2 twin: the same values for a prefix of the row; returns how many it wrote and raises *max to its largest.
int32_t corner_eigen_row_sse2(const int32_t *sxx, const int32_t *syy, const int32_t *sxy, double *lambda, int32_t n,
                              double *max);

// The family's table: the vector kernel does a prefix of the row and returns its length (null: none); the
// plain rule finishes the row.
struct CornerRowKernels {
  int32_t (*eigen)(const int32_t *sxx, const int32_t *syy, const int32_t *sxy, double *lambda, int32_t n,
                   double *max);
};
// The table for this CPU (honours cpu_set_mask).
const CornerRowKernels &corner_row_kernels();

}  // namespace vorn

#endif
