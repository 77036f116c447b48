// The vector colour row loops, written once over an instruction-set description I and compiled by each
// instruction-set file (convert_rows_sse41.cpp, convert_rows_avx2.cpp). I gives the register type V, the
// pixels per step kStep, plain loads and stores of kStep bytes, the bitmap, 4:2:2 and 4:2:0 chroma loads, and
// hs_step (hue and saturation of kStep pixels). Each loop does whole steps and the scalar kernel finishes the row.
#ifndef VORN_COLOR_CONVERT_ROWS_BODY_H
#define VORN_COLOR_CONVERT_ROWS_BODY_H

#include "color/convert_rows.h"
#include "color/convert_rows_x86.h"

namespace vorn {
namespace {

template <class I>
struct RowLoops {
  using V = typename I::V;
  static constexpr int kStep = I::kStep;

  static void rgb_to_yuv(const uint8_t *r, const uint8_t *g, const uint8_t *b, uint8_t *y, uint8_t *u, uint8_t *v,
                         int width) {
    int x = 0;
    for (; x + kStep <= width; x += kStep) {
      V yy, uu, vv;
      rgb8_to_yuv8(I::load(r + x), I::load(g + x), I::load(b + x), &yy, &uu, &vv);
      I::store(y + x, yy), I::store(u + x, uu), I::store(v + x, vv);
    }
    rgb_to_yuv_row_c(r + x, g + x, b + x, y + x, u + x, v + x, width - x);
  }

  static void yuv_to_rgb(const uint8_t *y, const uint8_t *u, const uint8_t *v, uint8_t *r, uint8_t *g, uint8_t *b,
                         int width) {
    int x = 0;
    for (; x + kStep <= width; x += kStep) {
      V rr, gg, bb;
      yuv8_to_rgb8(I::load(y + x), I::load(u + x), I::load(v + x), &rr, &gg, &bb);
      I::store(r + x, rr), I::store(g + x, gg), I::store(b + x, bb);
    }
    yuv_to_rgb_row_c(y + x, u + x, v + x, r + x, g + x, b + x, width - x);
  }

  static void rgb_to_hsv(const uint8_t *r, const uint8_t *g, const uint8_t *b, uint8_t *h, uint8_t *s, uint8_t *v,
                         int width) {
    int x = 0;
    for (; x + kStep <= width; x += kStep) {
      I::hs_step(r + x, g + x, b + x, h + x, s + x);
      I::store(v + x, max_u8(max_u8(I::load(r + x), I::load(g + x)), I::load(b + x)));
    }
    rgb_to_hsv_row_c(r + x, g + x, b + x, h + x, s + x, v + x, width - x);
  }

  template <int bpp>
  static void bgr_to_rgb(const uint8_t *src, uint8_t *r, uint8_t *g, uint8_t *b, int width) {
    int x = 0;
    for (; x + kStep <= width; x += kStep) {
      V rr, gg, bb;
      I::template load_bgr<bpp>(src + bpp * x, &rr, &gg, &bb);
      I::store(r + x, rr), I::store(g + x, gg), I::store(b + x, bb);
    }
    if (bpp == 3)
      bgr24_to_rgb_row_c(src + 3 * x, r + x, g + x, b + x, width - x);
    else
      bgr32_to_rgb_row_c(src + 4 * x, r + x, g + x, b + x, width - x);
  }

  template <int bpp>
  static void bgr_to_yuv(const uint8_t *src, uint8_t *y, uint8_t *u, uint8_t *v, int width) {
    int x = 0;
    for (; x + kStep <= width; x += kStep) {
      V rr, gg, bb, yy, uu, vv;
      I::template load_bgr<bpp>(src + bpp * x, &rr, &gg, &bb);
      rgb8_to_yuv8(rr, gg, bb, &yy, &uu, &vv);
      I::store(y + x, yy), I::store(u + x, uu), I::store(v + x, vv);
    }
    if (bpp == 3)
      bgr24_to_yuv_row_c(src + 3 * x, y + x, u + x, v + x, width - x);
    else
      bgr32_to_yuv_row_c(src + 4 * x, y + x, u + x, v + x, width - x);
  }

  static void yuyv_to_rgb(const uint8_t *src, uint8_t *r, uint8_t *g, uint8_t *b, int width) {
    int x = 0;
    for (; x + kStep <= width; x += kStep) {
      V yy, uu, vv, rr, gg, bb;
      I::load_yuyv(src + 2 * x, &yy, &uu, &vv);
      yuv8_to_rgb8(yy, uu, vv, &rr, &gg, &bb);
      I::store(r + x, rr), I::store(g + x, gg), I::store(b + x, bb);
    }
    yuyv_to_rgb_row_c(src + 2 * x, r + x, g + x, b + x, width - x);
  }

  // Both chroma planes take the pair's V byte.
  static void yuyv_to_yuv(const uint8_t *src, uint8_t *y, uint8_t *u, uint8_t *v, int width) {
    int x = 0;
    for (; x + kStep <= width; x += kStep) {
      V yy, uu, vv;
      I::load_yuyv(src + 2 * x, &yy, &uu, &vv);
      I::store(y + x, yy), I::store(u + x, vv), I::store(v + x, vv);
    }
    yuyv_to_yuv_row_c(src + 2 * x, y + x, u + x, v + x, width - x);
  }

  static void i420_to_rgb(const uint8_t *y, const uint8_t *u, const uint8_t *v, uint8_t *r, uint8_t *g, uint8_t *b,
                          int width) {
    int x = 0;
    for (; x + kStep <= width; x += kStep) {
      V rr, gg, bb;
      yuv8_to_rgb8(I::load(y + x), I::load_chroma(u + x / 2), I::load_chroma(v + x / 2), &rr, &gg, &bb);
      I::store(r + x, rr), I::store(g + x, gg), I::store(b + x, bb);
    }
    i420_to_rgb_row_c(y + x, u + x / 2, v + x / 2, r + x, g + x, b + x, width - x);
  }

  static void i420_to_yuv(const uint8_t *y, const uint8_t *u, const uint8_t *v, uint8_t *oy, uint8_t *ou,
                          uint8_t *ov, int width) {
    int x = 0;
    for (; x + kStep <= width; x += kStep) {
      I::store(oy + x, I::load(y + x));
      I::store(ou + x, I::load_chroma(u + x / 2));
      I::store(ov + x, I::load_chroma(v + x / 2));
    }
    i420_to_yuv_row_c(y + x, u + x / 2, v + x / 2, oy + x, ou + x, ov + x, width - x);
  }

  static void rgb_to_y(const uint8_t *r, const uint8_t *g, const uint8_t *b, uint8_t *y, int width) {
    int x = 0;
    for (; x + kStep <= width; x += kStep) I::store(y + x, rgb8_to_y8(I::load(r + x), I::load(g + x), I::load(b + x)));
    rgb_to_y_row_c(r + x, g + x, b + x, y + x, width - x);
  }

  static constexpr ColorKernels kTable = {rgb_to_yuv,     yuv_to_rgb,     rgb_to_hsv,  bgr_to_rgb<3>,
                                          bgr_to_rgb<4>,  bgr_to_yuv<3>,  bgr_to_yuv<4>, yuyv_to_rgb,
                                          yuyv_to_yuv,    i420_to_rgb,    i420_to_yuv, rgb_to_y};
};

}  // namespace
}  // namespace vorn

#endif
