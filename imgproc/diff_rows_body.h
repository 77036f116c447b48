// The rules of the difference row kernels, written once and compiled twice: by diff_rows.cpp for the x86-64
// baseline and by diff_rows_avx2.cpp for AVX2, where the compiler turns the same loops into 32-byte vectors.
// Everything here has internal linkage so the two builds never mix. Include only from those two files.
#ifndef VORN_IMGPROC_DIFF_ROWS_BODY_H
#define VORN_IMGPROC_DIFF_ROWS_BODY_H

#include <stdint.h>

#include "imgproc/diff_rows.h"

namespace vorn {
namespace {

inline uint8_t absdiff_u8(uint8_t a, uint8_t b) { return (uint8_t)(a > b ? a - b : b - a); }

void absdiff_row(const uint8_t *__restrict a, const uint8_t *__restrict b, uint8_t *__restrict out, uint32_t n) {
  for (uint32_t i = 0; i < n; ++i) out[i] = absdiff_u8(a[i], b[i]);
}

void absdiff_ge_row(const uint8_t *__restrict a, const uint8_t *__restrict b, uint8_t *__restrict out,
                    uint32_t n, uint8_t t) {
  for (uint32_t i = 0; i < n; ++i) out[i] = absdiff_u8(a[i], b[i]) >= t ? 255 : 0;
}

void ge_row(const uint8_t *__restrict src, uint8_t *__restrict out, uint32_t n, uint8_t t) {
  for (uint32_t i = 0; i < n; ++i) out[i] = src[i] >= t ? 255 : 0;
}

void xor_row(const uint8_t *__restrict a, const uint8_t *__restrict b, uint8_t *__restrict out, uint32_t n) {
  for (uint32_t i = 0; i < n; ++i) out[i] = (uint8_t)(a[i] ^ b[i]);
}

// The three-plane sum fits 16 bits (at most 765).
void sum3_ge_row(const uint8_t *const a[3], const uint8_t *const b[3], uint8_t *__restrict out, uint32_t n,
                 uint16_t limit) {
  const uint8_t *__restrict a0 = a[0], *__restrict a1 = a[1], *__restrict a2 = a[2];
  const uint8_t *__restrict b0 = b[0], *__restrict b1 = b[1], *__restrict b2 = b[2];
  for (uint32_t i = 0; i < n; ++i) {
    uint16_t d = (uint16_t)(absdiff_u8(a0[i], b0[i]) + absdiff_u8(a1[i], b1[i]) + absdiff_u8(a2[i], b2[i]));
    out[i] = d >= limit ? 255 : 0;
  }
}

uint32_t sum3_count_ge_row(const uint8_t *const a[3], const uint8_t *const b[3], uint32_t n, uint16_t limit) {
  const uint8_t *__restrict a0 = a[0], *__restrict a1 = a[1], *__restrict a2 = a[2];
  const uint8_t *__restrict b0 = b[0], *__restrict b1 = b[1], *__restrict b2 = b[2];
  uint32_t count = 0;
  for (uint32_t i = 0; i < n; ++i) {
    uint16_t d = (uint16_t)(absdiff_u8(a0[i], b0[i]) + absdiff_u8(a1[i], b1[i]) + absdiff_u8(a2[i], b2[i]));
    count += d >= limit ? 1u : 0u;
  }
  return count;
}

constexpr DiffRowKernels kDiffRows = {absdiff_row, absdiff_ge_row, ge_row, xor_row, sum3_ge_row,
                                      sum3_count_ge_row};

}  // namespace
}  // namespace vorn

#endif
