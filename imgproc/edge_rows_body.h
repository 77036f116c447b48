// The rules of the edge row kernels, written once and compiled twice: by edge_rows.cpp for the x86-64 baseline
// and by edge_rows_avx2.cpp for AVX2, where the compiler turns the same loops into vectors. Everything here has
// internal linkage so the two builds never mix. Include only from those two files.
//
// All sums fit 16 bits: a Sobel value lies within +-1020, a box sum below 2296, a Laplacian within +-1020.
#ifndef VORN_IMGPROC_EDGE_ROWS_BODY_H
#define VORN_IMGPROC_EDGE_ROWS_BODY_H

#include <stddef.h>
#include <stdint.h>

#include "imgproc/edge_rows.h"

namespace vorn {
namespace {

// The value of kernel K at output i; a, b, c are the rows above, at and below, a[i] the top-left neighbour.
template <int K>
inline int16_t kernel_at(const uint8_t *__restrict a, const uint8_t *__restrict b, const uint8_t *__restrict c,
                         size_t i) {
  if (K == 0) return (int16_t)((a[i + 2] - a[i]) + 2 * (b[i + 2] - b[i]) + (c[i + 2] - c[i]));
  if (K == 1) return (int16_t)((a[i] + 2 * a[i + 1] + a[i + 2]) - (c[i] + 2 * c[i + 1] + c[i + 2]));
  return (int16_t)(a[i] + a[i + 1] + a[i + 2] + b[i] + b[i + 1] + b[i + 2] + c[i] + c[i + 1] + c[i + 2]);
}

inline int16_t abs16(int16_t v) { return (int16_t)(v < 0 ? -v : v); }

template <int K>
void edge_threshold_row(const uint8_t *__restrict r0, const uint8_t *__restrict r1, const uint8_t *__restrict r2, uint8_t *__restrict out,
                        uint32_t n, int16_t t) {
  for (size_t i = 0; i < n; ++i) out[i] = (uint8_t)-(uint8_t)(abs16(kernel_at<K>(r0, r1, r2, i)) > t);
}

template <int K>
void edge_low_byte_row(const uint8_t *__restrict r0, const uint8_t *__restrict r1, const uint8_t *__restrict r2, uint8_t *__restrict out,
                       uint32_t n) {
  for (size_t i = 0; i < n; ++i) out[i] = (uint8_t)abs16(kernel_at<K>(r0, r1, r2, i));
}

template <int K>
void deriv_row(const uint8_t *__restrict r0, const uint8_t *__restrict r1, const uint8_t *__restrict r2, int32_t *__restrict out, uint32_t n) {
  for (size_t i = 0; i < n; ++i) out[i] = kernel_at<K>(r0, r1, r2, i);
}

void sobel_mag_row(const uint8_t *__restrict r0, const uint8_t *__restrict r1, const uint8_t *__restrict r2, int16_t *__restrict dx,
                   int16_t *__restrict dy, int16_t *__restrict mag, uint32_t n) {
  for (size_t i = 0; i < n; ++i) {
    int16_t gx = kernel_at<0>(r0, r1, r2, i);
    int16_t gy = (int16_t)-kernel_at<1>(r0, r1, r2, i);
    dx[i] = gx;
    dy[i] = gy;
    mag[i] = (int16_t)(abs16(gx) + abs16(gy));
  }
}

// Direction sectors by the ratio |dy| / |dx| against tan 22.5 and tan 67.5 degrees in 1/32768 units (13573,
// 79109): horizontal gradients compare with the left and right neighbours, vertical ones with the pixels above
// and below, diagonal ones along the diagonal the gradient's signs pick. Written without branches so that the
// loop vectorises.
void canny_codes_row(const int16_t *__restrict dx, const int16_t *__restrict dy, const int16_t *__restrict up,
                     const int16_t *__restrict mag, const int16_t *__restrict down, uint8_t *__restrict code,
                     uint32_t n, int16_t low, int16_t high) {
  const int16_t *__restrict left = mag - 1, *__restrict right = mag + 1;
  const int16_t *__restrict up_l = up - 1, *__restrict up_r = up + 1;
  const int16_t *__restrict down_l = down - 1, *__restrict down_r = down + 1;
  for (size_t i = 0; i < n; ++i) {
    const int32_t m = mag[i];
    const int32_t gx = dx[i], gy = dy[i];
    const int32_t ax = gx < 0 ? -gx : gx;
    const int32_t ay = (gy < 0 ? -gy : gy) * 32768;
    const int horizontal = ay < ax * 13573;
    const int vertical = ay > ax * 79109;
    const int same_sign = (gx ^ gy) >= 0;
    const int max_h = (m > left[i]) & (m >= right[i]);
    const int max_v = (m > up[i]) & (m >= down[i]);
    // Same signs: above-left and below-right; opposite signs: above-right and below-left.
    const int max_d_same = (m > up_l[i]) & (m > down_r[i]);
    const int max_d_opposite = (m > up_r[i]) & (m > down_l[i]);
    const int max_d = (same_sign & max_d_same) | ((same_sign ^ 1) & max_d_opposite);
    const int is_max = (horizontal & max_h) | ((horizontal ^ 1) & vertical & max_v) |
                       ((horizontal ^ 1) & (vertical ^ 1) & max_d);
    const int cand = (m > low) & is_max;
    code[i] = (uint8_t)(cand + (cand & (m > high)));
  }
}

void laplacian_row(const uint8_t *__restrict r0, const uint8_t *__restrict r1, const uint8_t *__restrict r2,
                   uint8_t *__restrict out, uint32_t n, int16_t t) {
  for (size_t i = 0; i < n; ++i) {
    int16_t v = (int16_t)(4 * r1[i + 1] - r2[i + 1] - r0[i + 1] - r1[i] - r1[i + 2]);
    out[i] = (uint8_t)-(uint8_t)(abs16(v) > t);
  }
}

void canny_map_row(const uint8_t *__restrict code, uint8_t *__restrict map, uint32_t n) {
  for (size_t i = 0; i < n; ++i) map[i] = (uint8_t)(code[i] == 0);
}

void edge_map_to_mask_row(const uint8_t *__restrict map, uint8_t *__restrict out, uint32_t n) {
  for (size_t i = 0; i < n; ++i) out[i] = (uint8_t)-(uint8_t)(map[i] == 2);
}

constexpr EdgeRowKernels kEdgeRows = {
    {edge_threshold_row<0>, edge_threshold_row<1>, edge_threshold_row<2>},
    {edge_low_byte_row<0>, edge_low_byte_row<1>, edge_low_byte_row<2>},
    {deriv_row<0>, deriv_row<1>, deriv_row<2>},
    sobel_mag_row,
    canny_codes_row,
    laplacian_row,
    canny_map_row,
    edge_map_to_mask_row,
};

}  // namespace
}  // namespace vorn

#endif
