// SSE4.1 twins of the colour row kernels: 16 pixels per step, the scalar kernel finishes the row.
#include <string.h>

#include "color/convert_rows.h"
#include "color/convert_rows_x86.h"

namespace vorn {
namespace {

void rgb_to_yuv_row_sse41(const uint8_t *r, const uint8_t *g, const uint8_t *b, uint8_t *y, uint8_t *u,
                          uint8_t *v, int width) {
  int x = 0;
  for (; x + 16 <= width; x += 16) {
    __m128i yy, uu, vv;
    rgb8_to_yuv8(load16(r + x), load16(g + x), load16(b + x), &yy, &uu, &vv);
    store16(y + x, yy), store16(u + x, uu), store16(v + x, vv);
  }
  rgb_to_yuv_row_c(r + x, g + x, b + x, y + x, u + x, v + x, width - x);
}

void yuv_to_rgb_row_sse41(const uint8_t *y, const uint8_t *u, const uint8_t *v, uint8_t *r, uint8_t *g,
                          uint8_t *b, int width) {
  int x = 0;
  for (; x + 16 <= width; x += 16) {
    __m128i rr, gg, bb;
    yuv8_to_rgb8(load16(y + x), load16(u + x), load16(v + x), &rr, &gg, &bb);
    store16(r + x, rr), store16(g + x, gg), store16(b + x, bb);
  }
  yuv_to_rgb_row_c(y + x, u + x, v + x, r + x, g + x, b + x, width - x);
}

inline __m128i widen4(const uint8_t *p) {
  int32_t four;
  memcpy(&four, p, 4);
  return _mm_cvtepu8_epi32(_mm_cvtsi32_si128(four));
}

void rgb_to_hsv_row_sse41(const uint8_t *r, const uint8_t *g, const uint8_t *b, uint8_t *h, uint8_t *s,
                          uint8_t *v, int width) {
  int x = 0;
  for (; x + 16 <= width; x += 16) {
    __m128i hh[4], ss[4];
    for (int q = 0; q < 4; ++q) hs_of4(widen4(r + x + 4 * q), widen4(g + x + 4 * q), widen4(b + x + 4 * q), &hh[q], &ss[q]);
    store16(h + x, _mm_packus_epi16(_mm_packs_epi32(hh[0], hh[1]), _mm_packs_epi32(hh[2], hh[3])));
    store16(s + x, _mm_packus_epi16(_mm_packs_epi32(ss[0], ss[1]), _mm_packs_epi32(ss[2], ss[3])));
    store16(v + x, _mm_max_epu8(_mm_max_epu8(load16(r + x), load16(g + x)), load16(b + x)));
  }
  rgb_to_hsv_row_c(r + x, g + x, b + x, h + x, s + x, v + x, width - x);
}

template <int bpp>
void bgr_to_rgb_row_sse41(const uint8_t *src, uint8_t *r, uint8_t *g, uint8_t *b, int width) {
  int x = 0;
  for (; x + 16 <= width; x += 16) {
    __m128i rr, gg, bb;
    load_bgr16<bpp>(src + bpp * x, &rr, &gg, &bb);
    store16(r + x, rr), store16(g + x, gg), store16(b + x, bb);
  }
  if (bpp == 3)
    bgr24_to_rgb_row_c(src + 3 * x, r + x, g + x, b + x, width - x);
  else
    bgr32_to_rgb_row_c(src + 4 * x, r + x, g + x, b + x, width - x);
}

template <int bpp>
void bgr_to_yuv_row_sse41(const uint8_t *src, uint8_t *y, uint8_t *u, uint8_t *v, int width) {
  int x = 0;
  for (; x + 16 <= width; x += 16) {
    __m128i rr, gg, bb, yy, uu, vv;
    load_bgr16<bpp>(src + bpp * x, &rr, &gg, &bb);
    rgb8_to_yuv8(rr, gg, bb, &yy, &uu, &vv);
    store16(y + x, yy), store16(u + x, uu), store16(v + x, vv);
  }
  if (bpp == 3)
    bgr24_to_yuv_row_c(src + 3 * x, y + x, u + x, v + x, width - x);
  else
    bgr32_to_yuv_row_c(src + 4 * x, y + x, u + x, v + x, width - x);
}

void yuyv_to_rgb_row_sse41(const uint8_t *src, uint8_t *r, uint8_t *g, uint8_t *b, int width) {
  int x = 0;
  for (; x + 16 <= width; x += 16) {
    __m128i yy, uu, vv, rr, gg, bb;
    load_yuyv16(src + 2 * x, &yy, &uu, &vv);
    yuv8_to_rgb8(yy, uu, vv, &rr, &gg, &bb);
    store16(r + x, rr), store16(g + x, gg), store16(b + x, bb);
  }
  yuyv_to_rgb_row_c(src + 2 * x, r + x, g + x, b + x, width - x);
}

void yuyv_to_yuv_row_sse41(const uint8_t *src, uint8_t *y, uint8_t *u, uint8_t *v, int width) {
  int x = 0;
  for (; x + 16 <= width; x += 16) {
    __m128i yy, uu, vv;
    load_yuyv16(src + 2 * x, &yy, &uu, &vv);
    store16(y + x, yy), store16(u + x, vv), store16(v + x, vv);
  }
  yuyv_to_yuv_row_c(src + 2 * x, y + x, u + x, v + x, width - x);
}

void i420_to_rgb_row_sse41(const uint8_t *y, const uint8_t *u, const uint8_t *v, uint8_t *r, uint8_t *g,
                           uint8_t *b, int width) {
  int x = 0;
  for (; x + 16 <= width; x += 16) {
    __m128i rr, gg, bb;
    yuv8_to_rgb8(load16(y + x), load_chroma16(u + x / 2), load_chroma16(v + x / 2), &rr, &gg, &bb);
    store16(r + x, rr), store16(g + x, gg), store16(b + x, bb);
  }
  i420_to_rgb_row_c(y + x, u + x / 2, v + x / 2, r + x, g + x, b + x, width - x);
}

void i420_to_yuv_row_sse41(const uint8_t *y, const uint8_t *u, const uint8_t *v, uint8_t *oy, uint8_t *ou,
                           uint8_t *ov, int width) {
  int x = 0;
  for (; x + 16 <= width; x += 16) {
    store16(oy + x, load16(y + x));
    store16(ou + x, load_chroma16(u + x / 2));
    store16(ov + x, load_chroma16(v + x / 2));
  }
  i420_to_yuv_row_c(y + x, u + x / 2, v + x / 2, oy + x, ou + x, ov + x, width - x);
}

void rgb_to_y_row_sse41(const uint8_t *r, const uint8_t *g, const uint8_t *b, uint8_t *y, int width) {
  const __m128i one = _mm_set1_epi16(1), kRG = pair16(4211, 8258), kB = pair16(1606, 0);
  int x = 0;
  for (; x + 16 <= width; x += 16) {
    __m128i rr = load16(r + x), gg = load16(g + x), bb = load16(b + x);
    __m128i lo = dot_shift(lo16(rr), lo16(gg), kRG, lo16(bb), one, kB);
    __m128i hi = dot_shift(hi16(rr), hi16(gg), kRG, hi16(bb), one, kB);
    store16(y + x, _mm_packus_epi16(lo, hi));
  }
  rgb_to_y_row_c(r + x, g + x, b + x, y + x, width - x);
}

const ColorKernels kSse41 = {rgb_to_yuv_row_sse41,    yuv_to_rgb_row_sse41,    rgb_to_hsv_row_sse41,
                             bgr_to_rgb_row_sse41<3>, bgr_to_rgb_row_sse41<4>, bgr_to_yuv_row_sse41<3>,
                             bgr_to_yuv_row_sse41<4>, yuyv_to_rgb_row_sse41,   yuyv_to_yuv_row_sse41,
                             i420_to_rgb_row_sse41,   i420_to_yuv_row_sse41,   rgb_to_y_row_sse41};

}  // namespace

const ColorKernels *color_kernels_sse41() { return &kSse41; }

}  // namespace vorn
