// Row kernels of the morphology: run lengths down the columns, shifted AND/OR along a row, column counts and
// their horizontal sums. morph_rows.cpp builds them for the x86-64 baseline, morph_rows_avx2.cpp for AVX2, from
// the same source (morph_rows_body.h); morph_row_kernels() picks one set by CPU at each call.
//
// Counters come in two widths: 8 bits serve windows up to 255 rows, 16 bits every larger one (a window taller
// than 65535 rows cannot fit inside an image whose area fits 32 bits, so 16 bits always suffice).
#ifndef VORN_IMGPROC_MORPH_ROWS_H
#define VORN_IMGPROC_MORPH_ROWS_H

#include <stdint.h>

namespace vorn {

struct MorphRowKernels {
  // Erosion's vertical pass: run[i] = src[i] ? run[i] + 1 (saturating) : 0 counts the non-zero rows ending here;
  // v[i] = run[i] >= len ? 255 : 0 says whether the last len rows are all non-zero.
  void (*erode_run8)(const uint8_t *src, uint8_t *run, uint8_t *v, uint32_t w, uint8_t len);
  void (*erode_run16)(const uint8_t *src, uint16_t *run, uint8_t *v, uint32_t w, uint16_t len);
  // Dilation's vertical pass: gap[i] = src[i] ? 0 : gap[i] + 1 (saturating) counts the rows since the last
  // non-zero; v[i] = gap[i] < len ? 255 : 0 says whether any of the last len rows is non-zero.
  void (*dilate_run8)(const uint8_t *src, uint8_t *gap, uint8_t *v, uint32_t w, uint8_t len);
  void (*dilate_run16)(const uint8_t *src, uint16_t *gap, uint8_t *v, uint32_t w, uint16_t len);
  // out[i] = a[i] & a[i + s] (resp. |), i < n.
  void (*and_shift)(const uint8_t *a, uint8_t *out, uint32_t n, uint32_t s);
  void (*or_shift)(const uint8_t *a, uint8_t *out, uint32_t n, uint32_t s);
  // dst[i] = mask[i] ? a[i] & a[i + s] : 0 (resp. |), i < n.
  void (*and_shift_masked)(const uint8_t *a, uint32_t s, const uint8_t *mask, uint8_t *dst, uint32_t n);
  void (*or_shift_masked)(const uint8_t *a, uint32_t s, const uint8_t *mask, uint8_t *dst, uint32_t n);
  // Column counts of non-zero bytes: c[i] += (add[i] != 0), or c[i] += (add[i] != 0) - (sub[i] != 0).
  void (*count_add8)(const uint8_t *add, uint8_t *c, uint32_t w);
  void (*count_add16)(const uint8_t *add, uint16_t *c, uint32_t w);
  void (*count_update8)(const uint8_t *add, const uint8_t *sub, uint8_t *c, uint32_t w);
  void (*count_update16)(const uint8_t *add, const uint8_t *sub, uint16_t *c, uint32_t w);
  // Window sums by doubling, in 8 or 16 bits (the caller keeps the sums below 2^8 / 2^16):
  // out[i] = a[i] + a[i + s];  acc[i] += a[i + s];  dst[i] = mask[i] && acc[i] >= k ? 255 : 0;  i < n.
  void (*add_shift8)(const uint8_t *a, uint8_t *out, uint32_t n, uint32_t s);
  void (*add_shift16)(const uint16_t *a, uint16_t *out, uint32_t n, uint32_t s);
  void (*acc_shift8)(const uint8_t *a, uint8_t *acc, uint32_t n, uint32_t s);
  void (*acc_shift16)(const uint16_t *a, uint16_t *acc, uint32_t n, uint32_t s);
  void (*ge_masked8)(const uint8_t *acc, const uint8_t *mask, uint8_t *dst, uint32_t n, uint8_t k);
  void (*ge_masked16)(const uint16_t *acc, const uint8_t *mask, uint8_t *dst, uint32_t n, uint16_t k);
  // out[i] = c[i], widened.
  void (*widen8)(const uint8_t *c, uint16_t *out, uint32_t n);
};

extern const MorphRowKernels morph_rows_c;
extern const MorphRowKernels morph_rows_avx2;

// The kernels for this CPU (honours cpu_set_mask).
const MorphRowKernels &morph_row_kernels();

}  // namespace vorn

#endif
