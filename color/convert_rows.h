// Row kernels of the colour and frame converters. Each _c kernel states the rule for one row; the vector twins
// (convert_rows_sse41.cpp, convert_rows_avx2.cpp) give the same bytes, do the bulk of a row and finish it with
// the _c kernel. Public converters fetch the table for this CPU with color_kernels() once per call.
#ifndef VORN_COLOR_CONVERT_ROWS_H
#define VORN_COLOR_CONVERT_ROWS_H

#include <stdint.h>

namespace vorn {

// Three planes read or written together.
typedef void (*PlanarRowFn)(const uint8_t *a, const uint8_t *b, const uint8_t *c, uint8_t *x, uint8_t *y,
                            uint8_t *z, int width);
// Packed bytes (one bitmap row, or one 4:2:2 row) into three planes.
typedef void (*PackedRowFn)(const uint8_t *src, uint8_t *x, uint8_t *y, uint8_t *z, int width);

struct ColorKernels {
  PlanarRowFn rgb_to_yuv;   // Y rounded
  PlanarRowFn yuv_to_rgb;
  PlanarRowFn rgb_to_hsv;
  PackedRowFn bgr24_to_rgb;  // bitmap bytes B, G, R
  PackedRowFn bgr32_to_rgb;  // B, G, R, unused
  PackedRowFn bgr24_to_yuv;  // Y rounded
  PackedRowFn bgr32_to_yuv;
  PackedRowFn yuyv_to_rgb;   // Y0 U Y1 V; an odd width's lone pixel reads the byte after its row as V
  PackedRowFn yuyv_to_yuv;   // both chroma planes take the V byte of the pair
  PlanarRowFn i420_to_rgb;   // Y row, chroma rows (pixel x uses chroma x / 2)
  PlanarRowFn i420_to_yuv;
};

// Scalar rules.
void rgb_to_yuv_row_c(const uint8_t *r, const uint8_t *g, const uint8_t *b, uint8_t *y, uint8_t *u, uint8_t *v,
                      int width);
void yuv_to_rgb_row_c(const uint8_t *y, const uint8_t *u, const uint8_t *v, uint8_t *r, uint8_t *g, uint8_t *b,
                      int width);
void rgb_to_hsv_row_c(const uint8_t *r, const uint8_t *g, const uint8_t *b, uint8_t *h, uint8_t *s, uint8_t *v,
                      int width);
void bgr24_to_rgb_row_c(const uint8_t *src, uint8_t *r, uint8_t *g, uint8_t *b, int width);
void bgr32_to_rgb_row_c(const uint8_t *src, uint8_t *r, uint8_t *g, uint8_t *b, int width);
void bgr24_to_yuv_row_c(const uint8_t *src, uint8_t *y, uint8_t *u, uint8_t *v, int width);
void bgr32_to_yuv_row_c(const uint8_t *src, uint8_t *y, uint8_t *u, uint8_t *v, int width);
void yuyv_to_rgb_row_c(const uint8_t *src, uint8_t *r, uint8_t *g, uint8_t *b, int width);
void yuyv_to_yuv_row_c(const uint8_t *src, uint8_t *y, uint8_t *u, uint8_t *v, int width);
void i420_to_rgb_row_c(const uint8_t *y, const uint8_t *u, const uint8_t *v, uint8_t *r, uint8_t *g, uint8_t *b,
                       int width);
void i420_to_yuv_row_c(const uint8_t *y, const uint8_t *u, const uint8_t *v, uint8_t *oy, uint8_t *ou,
                       uint8_t *ov, int width);

// The kernels for this CPU (less the features masked off for tests).
const ColorKernels *color_kernels();

// Tables of each instruction set, or null where the build has none; for tests comparing them with the scalar.
const ColorKernels *color_kernels_c();
const ColorKernels *color_kernels_sse41();
const ColorKernels *color_kernels_avx2();

}  // namespace vorn

#endif
