// Scalar row kernels of the colour converters and the choice of kernels for this CPU.
#include "color/convert_rows.h"

#include "color/color_rules.h"
#include "core/cpu.h"

namespace vorn {

void rgb_to_yuv_row_c(const uint8_t *r, const uint8_t *g, const uint8_t *b, uint8_t *y, uint8_t *u, uint8_t *v,
                      int width) {
  for (int x = 0; x < width; ++x) rgb_to_yuv(r[x], g[x], b[x], &y[x], &u[x], &v[x]);
}

void yuv_to_rgb_row_c(const uint8_t *y, const uint8_t *u, const uint8_t *v, uint8_t *r, uint8_t *g, uint8_t *b,
                      int width) {
  for (int x = 0; x < width; ++x) yuv_to_rgb(y[x], u[x], v[x], &r[x], &g[x], &b[x]);
}

void rgb_to_hsv_row_c(const uint8_t *r, const uint8_t *g, const uint8_t *b, uint8_t *h, uint8_t *s, uint8_t *v,
                      int width) {
  for (int x = 0; x < width; ++x) rgb_to_hsv(r[x], g[x], b[x], &h[x], &s[x], &v[x]);
}

void bgr24_to_rgb_row_c(const uint8_t *src, uint8_t *r, uint8_t *g, uint8_t *b, int width) {
  for (int x = 0; x < width; ++x, src += 3) {
    r[x] = src[2];
    g[x] = src[1];
    b[x] = src[0];
  }
}

void bgr32_to_rgb_row_c(const uint8_t *src, uint8_t *r, uint8_t *g, uint8_t *b, int width) {
  for (int x = 0; x < width; ++x, src += 4) {
    r[x] = src[2];
    g[x] = src[1];
    b[x] = src[0];
  }
}

void bgr24_to_yuv_row_c(const uint8_t *src, uint8_t *y, uint8_t *u, uint8_t *v, int width) {
  for (int x = 0; x < width; ++x, src += 3) rgb_to_yuv(src[2], src[1], src[0], &y[x], &u[x], &v[x]);
}

void bgr32_to_yuv_row_c(const uint8_t *src, uint8_t *y, uint8_t *u, uint8_t *v, int width) {
  for (int x = 0; x < width; ++x, src += 4) rgb_to_yuv(src[2], src[1], src[0], &y[x], &u[x], &v[x]);
}

void yuyv_to_rgb_row_c(const uint8_t *src, uint8_t *r, uint8_t *g, uint8_t *b, int width) {
  for (int x = 0; x < width; ++x) {
    const uint8_t *pair = src + 4 * (x >> 1);
    yuv_to_rgb(src[2 * x], pair[1], pair[3], &r[x], &g[x], &b[x]);
  }
}

void yuyv_to_yuv_row_c(const uint8_t *src, uint8_t *y, uint8_t *u, uint8_t *v, int width) {
  for (int x = 0; x < width; ++x) {
    y[x] = src[2 * x];
    u[x] = v[x] = src[4 * (x >> 1) + 3];
  }
}

void i420_to_rgb_row_c(const uint8_t *y, const uint8_t *u, const uint8_t *v, uint8_t *r, uint8_t *g, uint8_t *b,
                       int width) {
  for (int x = 0; x < width; ++x) yuv_to_rgb(y[x], u[x >> 1], v[x >> 1], &r[x], &g[x], &b[x]);
}

void i420_to_yuv_row_c(const uint8_t *y, const uint8_t *u, const uint8_t *v, uint8_t *oy, uint8_t *ou,
                       uint8_t *ov, int width) {
  for (int x = 0; x < width; ++x) {
    oy[x] = y[x];
    ou[x] = u[x >> 1];
    ov[x] = v[x >> 1];
  }
}

namespace {

const ColorKernels kScalar = {rgb_to_yuv_row_c,   yuv_to_rgb_row_c,   rgb_to_hsv_row_c,  bgr24_to_rgb_row_c,
                              bgr32_to_rgb_row_c, bgr24_to_yuv_row_c, bgr32_to_yuv_row_c, yuyv_to_rgb_row_c,
                              yuyv_to_yuv_row_c,  i420_to_rgb_row_c,  i420_to_yuv_row_c};

}  // namespace

const ColorKernels *color_kernels_c() { return &kScalar; }

const ColorKernels *color_kernels() {
  uint32_t f = cpu_flags();
  const ColorKernels *k = nullptr;
  if (f & kCpuAvx2) k = color_kernels_avx2();
  if (!k && (f & kCpuSse41)) k = color_kernels_sse41();
  return k ? k : &kScalar;
}

}  // namespace vorn
