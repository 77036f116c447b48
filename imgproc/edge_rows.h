// Row kernels of the edge operators. Each works on n output pixels of one row. Source rows r0, r1, r2 are the
// rows above, at and below the output row, each pointing at the column left of the first output pixel; output
// pointers point at the first output pixel. edge_rows.cpp builds them for the x86-64 baseline, edge_rows_avx2.cpp
// for AVX2, from the same source (edge_rows_body.h); edge_row_kernels() picks one set by CPU at each call.
#ifndef VORN_IMGPROC_EDGE_ROWS_H
#define VORN_IMGPROC_EDGE_ROWS_H

#include <stdint.h>

namespace vorn {

// Kernels of vorn_image_edge / vorn_image_deriv: 0 horizontal Sobel (right minus left), 1 vertical Sobel (top
// minus bottom), 2 the 3x3 box sum.
constexpr uint32_t kEdgeKernels = 3;

struct EdgeRowKernels {
  // out = |v| > t ? 255 : 0, for 0 <= t <= 32767.
  void (*edge_threshold[kEdgeKernels])(const uint8_t *r0, const uint8_t *r1, const uint8_t *r2, uint8_t *out,
                                       uint32_t n, int16_t t);
  // out = the low byte of |v|.
  void (*edge_low_byte[kEdgeKernels])(const uint8_t *r0, const uint8_t *r1, const uint8_t *r2, uint8_t *out,
                                      uint32_t n);
  // out = v.
  void (*deriv[kEdgeKernels])(const uint8_t *r0, const uint8_t *r1, const uint8_t *r2, int32_t *out, uint32_t n);
  // Sobel pair and L1 magnitude: dx right minus left, dy bottom minus top, mag = |dx| + |dy|.
  void (*sobel_mag)(const uint8_t *r0, const uint8_t *r1, const uint8_t *r2, int16_t *dx, int16_t *dy,
                    int16_t *mag, uint32_t n);
  // Non-maximum test of the edge detector: code = 0 (not a candidate or not a maximum along the gradient),
  // 1 (a maximum), 2 (a maximum above high). dx, dy, mag point at the first pixel; up / down at the magnitudes of
  // the same columns one row above / below. 0 <= low, high <= 32767.
  void (*canny_codes)(const int16_t *dx, const int16_t *dy, const int16_t *up, const int16_t *mag,
                      const int16_t *down, uint8_t *code, uint32_t n, int16_t low, int16_t high);
  // 4-neighbour Laplacian 4c - up - down - left - right; out = |L| > t ? 255 : 0, for -1 <= t <= 32767.
  void (*laplacian)(const uint8_t *r0, const uint8_t *r1, const uint8_t *r2, uint8_t *out, uint32_t n, int16_t t);
  // The edge map of one row before direct marking: map = code == 0 ? 1 (not an edge) : 0 (weak).
  void (*canny_map)(const uint8_t *code, uint8_t *map, uint32_t n);
  // out = map == 2 ? 255 : 0.
  void (*edge_map_to_mask)(const uint8_t *map, uint8_t *out, uint32_t n);
};

extern const EdgeRowKernels edge_rows_c;
extern const EdgeRowKernels edge_rows_avx2;

const EdgeRowKernels &edge_row_kernels();

}  // namespace vorn

#endif
