// Row kernels of the per-pixel difference and threshold operations. Every kernel works on n bytes of one row (or
// of a whole plane: planes have no padding). The plain versions live in diff_rows.cpp; diff_rows_avx2.cpp builds
// the same rules for AVX2; diff_row_kernels() picks one set by CPU at each call.
#ifndef VORN_IMGPROC_DIFF_ROWS_H
#define VORN_IMGPROC_DIFF_ROWS_H

#include <stdint.h>

namespace vorn {

struct DiffRowKernels {
  // out = |a - b|
  void (*absdiff)(const uint8_t *a, const uint8_t *b, uint8_t *out, uint32_t n);
  // out = |a - b| >= t ? 255 : 0, for 1 <= t <= 255
  void (*absdiff_ge)(const uint8_t *a, const uint8_t *b, uint8_t *out, uint32_t n, uint8_t t);
  // out = src >= t ? 255 : 0, for 1 <= t <= 255
  void (*ge)(const uint8_t *src, uint8_t *out, uint32_t n, uint8_t t);
  // out = a ^ b
  void (*xor_bytes)(const uint8_t *a, const uint8_t *b, uint8_t *out, uint32_t n);
  // out = |a0-b0| + |a1-b1| + |a2-b2| >= limit ? 255 : 0, for 1 <= limit <= 765
  void (*sum3_ge)(const uint8_t *const a[3], const uint8_t *const b[3], uint8_t *out, uint32_t n, uint16_t limit);
  // the number of pixels with |a0-b0| + |a1-b1| + |a2-b2| >= limit, for 1 <= limit <= 765
  uint32_t (*sum3_count_ge)(const uint8_t *const a[3], const uint8_t *const b[3], uint32_t n, uint16_t limit);
};

extern const DiffRowKernels diff_rows_c;
extern const DiffRowKernels diff_rows_avx2;

// The kernels for this CPU (honours cpu_set_mask).
const DiffRowKernels &diff_row_kernels();

}  // namespace vorn

#endif
