// AVX2 twins of the colour row kernels: 32 pixels per step, the scalar kernel finishes the row. The arithmetic
// is that of convert_rows_x86.h on 256-bit registers; unpacking and packing both stay inside 128-bit lanes, so
// a pack undoes its unpack and the pixel order is kept without permutes (except for the 4:2:2 loads).
#include "color/convert_rows.h"
#include "color/convert_rows_x86.h"

namespace vorn {
namespace {

inline __m256i pair16x(int16_t a, int16_t b) {
  return _mm256_set1_epi32((int32_t)(((uint32_t)(uint16_t)b << 16) | (uint16_t)a));
}

inline __m256i dot_shift(__m256i a, __m256i b, __m256i k, __m256i c, __m256i d, __m256i kc) {
  __m256i lo = _mm256_add_epi32(_mm256_madd_epi16(_mm256_unpacklo_epi16(a, b), k),
                                _mm256_madd_epi16(_mm256_unpacklo_epi16(c, d), kc));
  __m256i hi = _mm256_add_epi32(_mm256_madd_epi16(_mm256_unpackhi_epi16(a, b), k),
                                _mm256_madd_epi16(_mm256_unpackhi_epi16(c, d), kc));
  return _mm256_packs_epi32(_mm256_srai_epi32(lo, 14), _mm256_srai_epi32(hi, 14));
}

inline void rgb16_to_yuv16(__m256i r, __m256i g, __m256i b, __m256i *y, __m256i *u, __m256i *v) {
  const __m256i one = _mm256_set1_epi16(1), c128 = _mm256_set1_epi16(128);
  *y = dot_shift(r, g, pair16x(4211, 8258), b, one, pair16x(1606, 8192));
  *u = _mm256_add_epi16(dot_shift(r, g, pair16x(-2425, -4768), b, one, pair16x(7193, 0)), c128);
  *v = _mm256_add_epi16(dot_shift(r, g, pair16x(7193, -6029), b, one, pair16x(-1163, 0)), c128);
}

inline void yuv16_to_rgb16(__m256i y, __m256i u, __m256i v, __m256i *r, __m256i *g, __m256i *b) {
  const __m256i one = _mm256_set1_epi16(1), c128 = _mm256_set1_epi16(128);
  __m256i uc = _mm256_sub_epi16(u, c128), vc = _mm256_sub_epi16(v, c128);
  *r = dot_shift(y, vc, pair16x(19071, 26149), one, one, pair16x(128, 0));
  *g = dot_shift(y, uc, pair16x(19071, -6406), vc, one, pair16x(-13320, 1152));
  *b = dot_shift(y, uc, pair16x(19071, 16531), uc, one, pair16x(16532, 128));
}

inline __m256i lo16x(__m256i v) { return _mm256_unpacklo_epi8(v, _mm256_setzero_si256()); }
inline __m256i hi16x(__m256i v) { return _mm256_unpackhi_epi8(v, _mm256_setzero_si256()); }
inline __m256i load32(const uint8_t *p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p)); }
inline void store32(uint8_t *p, __m256i v) { _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), v); }
inline __m256i join(__m128i lo, __m128i hi) { return _mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1); }

inline void rgb8_to_yuv8(__m256i r, __m256i g, __m256i b, __m256i *y, __m256i *u, __m256i *v) {
  __m256i y0, u0, v0, y1, u1, v1;
  rgb16_to_yuv16(lo16x(r), lo16x(g), lo16x(b), &y0, &u0, &v0);
  rgb16_to_yuv16(hi16x(r), hi16x(g), hi16x(b), &y1, &u1, &v1);
  *y = _mm256_packus_epi16(y0, y1);
  *u = _mm256_packus_epi16(u0, u1);
  *v = _mm256_packus_epi16(v0, v1);
}

inline void yuv8_to_rgb8(__m256i y, __m256i u, __m256i v, __m256i *r, __m256i *g, __m256i *b) {
  __m256i r0, g0, b0, r1, g1, b1;
  yuv16_to_rgb16(lo16x(y), lo16x(u), lo16x(v), &r0, &g0, &b0);
  yuv16_to_rgb16(hi16x(y), hi16x(u), hi16x(v), &r1, &g1, &b1);
  *r = _mm256_packus_epi16(r0, r1);
  *g = _mm256_packus_epi16(g0, g1);
  *b = _mm256_packus_epi16(b0, b1);
}

// 32 bitmap pixels: block k of pixels 0..15 goes to the low lane and block k of pixels 16..31 to the high lane,
// so the 16-pixel gathers of convert_rows_x86.h run in both lanes at once and leave the pixels in order.
inline __m256i both_lanes(const ShuffleMask &k) { return _mm256_broadcastsi128_si256(mask(k)); }

inline __m256i gather24(__m256i a, __m256i b, __m256i c, int channel) {
  static constexpr ShuffleMask kFrom1[3] = {bgr24_block_mask(0, 1), bgr24_block_mask(1, 1), bgr24_block_mask(2, 1)};
  static constexpr ShuffleMask kFrom2[3] = {bgr24_block_mask(0, 2), bgr24_block_mask(1, 2), bgr24_block_mask(2, 2)};
  static constexpr ShuffleMask kOrder[3] = {bgr24_order_mask(0), bgr24_order_mask(1), bgr24_order_mask(2)};
  __m256i mixed = _mm256_blendv_epi8(_mm256_blendv_epi8(a, b, both_lanes(kFrom1[channel])), c,
                                     both_lanes(kFrom2[channel]));
  return _mm256_shuffle_epi8(mixed, both_lanes(kOrder[channel]));
}

template <int bpp>
inline void load_bgr32(const uint8_t *src, __m256i *r, __m256i *g, __m256i *b) {
  if (bpp == 3) {
    __m256i a = join(load16(src), load16(src + 48)), m = join(load16(src + 16), load16(src + 64));
    __m256i c = join(load16(src + 32), load16(src + 80));
    *b = gather24(a, m, c, 0), *g = gather24(a, m, c, 1), *r = gather24(a, m, c, 2);
    return;
  }
  static constexpr ShuffleMask kB[4] = {gather_mask(bpp, 0, 0), gather_mask(bpp, 0, 1), gather_mask(bpp, 0, 2),
                                        gather_mask(bpp, 0, 3)};
  static constexpr ShuffleMask kG[4] = {gather_mask(bpp, 1, 0), gather_mask(bpp, 1, 1), gather_mask(bpp, 1, 2),
                                        gather_mask(bpp, 1, 3)};
  static constexpr ShuffleMask kR[4] = {gather_mask(bpp, 2, 0), gather_mask(bpp, 2, 1), gather_mask(bpp, 2, 2),
                                        gather_mask(bpp, 2, 3)};
  __m256i rr = _mm256_setzero_si256(), gg = rr, bb = rr;
  for (int part = 0; part < bpp; ++part) {
    __m256i block = join(load16(src + 16 * part), load16(src + 16 * (bpp + part)));
    bb = _mm256_or_si256(bb, _mm256_shuffle_epi8(block, _mm256_broadcastsi128_si256(mask(kB[part]))));
    gg = _mm256_or_si256(gg, _mm256_shuffle_epi8(block, _mm256_broadcastsi128_si256(mask(kG[part]))));
    rr = _mm256_or_si256(rr, _mm256_shuffle_epi8(block, _mm256_broadcastsi128_si256(mask(kR[part]))));
  }
  *r = rr, *g = gg, *b = bb;
}

// 32 packed 4:2:2 pixels (64 bytes): lane-local gathers, then the 64-bit halves put back in pixel order.
inline void load_yuyv32(const uint8_t *src, __m256i *y, __m256i *u, __m256i *v) {
  const __m256i ky = _mm256_broadcastsi128_si256(
      _mm_setr_epi8(0, 2, 4, 6, 8, 10, 12, 14, -128, -128, -128, -128, -128, -128, -128, -128));
  const __m256i ku = _mm256_broadcastsi128_si256(
      _mm_setr_epi8(1, 1, 5, 5, 9, 9, 13, 13, -128, -128, -128, -128, -128, -128, -128, -128));
  const __m256i kv = _mm256_broadcastsi128_si256(
      _mm_setr_epi8(3, 3, 7, 7, 11, 11, 15, 15, -128, -128, -128, -128, -128, -128, -128, -128));
  __m256i a = load32(src), b = load32(src + 32);
  *y = _mm256_permute4x64_epi64(_mm256_unpacklo_epi64(_mm256_shuffle_epi8(a, ky), _mm256_shuffle_epi8(b, ky)), 0xD8);
  *u = _mm256_permute4x64_epi64(_mm256_unpacklo_epi64(_mm256_shuffle_epi8(a, ku), _mm256_shuffle_epi8(b, ku)), 0xD8);
  *v = _mm256_permute4x64_epi64(_mm256_unpacklo_epi64(_mm256_shuffle_epi8(a, kv), _mm256_shuffle_epi8(b, kv)), 0xD8);
}

inline __m256i load_chroma32(const uint8_t *p) {
  __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
  return join(_mm_unpacklo_epi8(c, c), _mm_unpackhi_epi8(c, c));
}

// The hue and saturation rule of hs_of4 (convert_rows_x86.h) on eight 32-bit lanes.
inline void hs_of8(__m256i r, __m256i g, __m256i b, __m256i *h, __m256i *s) {
  const __m256i one = _mm256_set1_epi32(1);
  __m256i mx = _mm256_max_epi32(_mm256_max_epi32(r, g), b), mn = _mm256_min_epi32(_mm256_min_epi32(r, g), b);
  __m256i d = _mm256_sub_epi32(mx, mn);
  __m256i d255 = _mm256_sub_epi32(_mm256_slli_epi32(d, 8), d);
  *s = _mm256_cvttps_epi32(_mm256_div_ps(_mm256_cvtepi32_ps(d255), _mm256_cvtepi32_ps(_mm256_max_epi32(mx, one))));
  __m256i d2 = _mm256_add_epi32(d, d), d4 = _mm256_add_epi32(d2, d2), d6 = _mm256_add_epi32(d4, d2);
  __m256i nr = _mm256_add_epi32(_mm256_sub_epi32(g, b), _mm256_andnot_si256(_mm256_cmpgt_epi32(g, b), d6));
  __m256i ng = _mm256_add_epi32(_mm256_sub_epi32(d2, r), b), nb = _mm256_add_epi32(_mm256_sub_epi32(d4, g), r);
  __m256i num = _mm256_blendv_epi8(_mm256_blendv_epi8(nb, ng, _mm256_cmpeq_epi32(mx, g)), nr, _mm256_cmpeq_epi32(mx, r));
  num = _mm256_add_epi32(_mm256_slli_epi32(num, 5), _mm256_slli_epi32(num, 3));
  __m256i hue = _mm256_cvttps_epi32(_mm256_div_ps(_mm256_cvtepi32_ps(num), _mm256_cvtepi32_ps(_mm256_max_epi32(d, one))));
  *h = _mm256_andnot_si256(_mm256_cmpeq_epi32(d, _mm256_setzero_si256()), hue);
}

inline __m256i widen8(const uint8_t *p) {
  return _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(p)));
}

// Four vectors of eight 32-bit values (pixels 0..31 in order) -> 32 bytes in order.
inline __m256i narrow32(const __m256i q[4]) {
  __m256i a = _mm256_permute4x64_epi64(_mm256_packs_epi32(q[0], q[1]), 0xD8);
  __m256i b = _mm256_permute4x64_epi64(_mm256_packs_epi32(q[2], q[3]), 0xD8);
  return _mm256_permute4x64_epi64(_mm256_packus_epi16(a, b), 0xD8);
}

void rgb_to_hsv_row_avx2(const uint8_t *r, const uint8_t *g, const uint8_t *b, uint8_t *h, uint8_t *s, uint8_t *v,
                         int width) {
  int x = 0;
  for (; x + 32 <= width; x += 32) {
    __m256i hh[4], ss[4];
    for (int q = 0; q < 4; ++q) hs_of8(widen8(r + x + 8 * q), widen8(g + x + 8 * q), widen8(b + x + 8 * q), &hh[q], &ss[q]);
    store32(h + x, narrow32(hh));
    store32(s + x, narrow32(ss));
    store32(v + x, _mm256_max_epu8(_mm256_max_epu8(load32(r + x), load32(g + x)), load32(b + x)));
  }
  rgb_to_hsv_row_c(r + x, g + x, b + x, h + x, s + x, v + x, width - x);
}

void rgb_to_yuv_row_avx2(const uint8_t *r, const uint8_t *g, const uint8_t *b, uint8_t *y, uint8_t *u, uint8_t *v,
                         int width) {
  int x = 0;
  for (; x + 32 <= width; x += 32) {
    __m256i yy, uu, vv;
    rgb8_to_yuv8(load32(r + x), load32(g + x), load32(b + x), &yy, &uu, &vv);
    store32(y + x, yy), store32(u + x, uu), store32(v + x, vv);
  }
  rgb_to_yuv_row_c(r + x, g + x, b + x, y + x, u + x, v + x, width - x);
}

void yuv_to_rgb_row_avx2(const uint8_t *y, const uint8_t *u, const uint8_t *v, uint8_t *r, uint8_t *g, uint8_t *b,
                         int width) {
  int x = 0;
  for (; x + 32 <= width; x += 32) {
    __m256i rr, gg, bb;
    yuv8_to_rgb8(load32(y + x), load32(u + x), load32(v + x), &rr, &gg, &bb);
    store32(r + x, rr), store32(g + x, gg), store32(b + x, bb);
  }
  yuv_to_rgb_row_c(y + x, u + x, v + x, r + x, g + x, b + x, width - x);
}

template <int bpp>
void bgr_to_rgb_row_avx2(const uint8_t *src, uint8_t *r, uint8_t *g, uint8_t *b, int width) {
  int x = 0;
  for (; x + 32 <= width; x += 32) {
    __m256i rr, gg, bb;
    load_bgr32<bpp>(src + bpp * x, &rr, &gg, &bb);
    store32(r + x, rr), store32(g + x, gg), store32(b + x, bb);
  }
  if (bpp == 3)
    bgr24_to_rgb_row_c(src + 3 * x, r + x, g + x, b + x, width - x);
  else
    bgr32_to_rgb_row_c(src + 4 * x, r + x, g + x, b + x, width - x);
}

template <int bpp>
void bgr_to_yuv_row_avx2(const uint8_t *src, uint8_t *y, uint8_t *u, uint8_t *v, int width) {
  int x = 0;
  for (; x + 32 <= width; x += 32) {
    __m256i rr, gg, bb, yy, uu, vv;
    load_bgr32<bpp>(src + bpp * x, &rr, &gg, &bb);
    rgb8_to_yuv8(rr, gg, bb, &yy, &uu, &vv);
    store32(y + x, yy), store32(u + x, uu), store32(v + x, vv);
  }
  if (bpp == 3)
    bgr24_to_yuv_row_c(src + 3 * x, y + x, u + x, v + x, width - x);
  else
    bgr32_to_yuv_row_c(src + 4 * x, y + x, u + x, v + x, width - x);
}

void yuyv_to_rgb_row_avx2(const uint8_t *src, uint8_t *r, uint8_t *g, uint8_t *b, int width) {
  int x = 0;
  for (; x + 32 <= width; x += 32) {
    __m256i yy, uu, vv, rr, gg, bb;
    load_yuyv32(src + 2 * x, &yy, &uu, &vv);
    yuv8_to_rgb8(yy, uu, vv, &rr, &gg, &bb);
    store32(r + x, rr), store32(g + x, gg), store32(b + x, bb);
  }
  yuyv_to_rgb_row_c(src + 2 * x, r + x, g + x, b + x, width - x);
}

void yuyv_to_yuv_row_avx2(const uint8_t *src, uint8_t *y, uint8_t *u, uint8_t *v, int width) {
  int x = 0;
  for (; x + 32 <= width; x += 32) {
    __m256i yy, uu, vv;
    load_yuyv32(src + 2 * x, &yy, &uu, &vv);
    store32(y + x, yy), store32(u + x, vv), store32(v + x, vv);
  }
  yuyv_to_yuv_row_c(src + 2 * x, y + x, u + x, v + x, width - x);
}

void i420_to_rgb_row_avx2(const uint8_t *y, const uint8_t *u, const uint8_t *v, uint8_t *r, uint8_t *g, uint8_t *b,
                          int width) {
  int x = 0;
  for (; x + 32 <= width; x += 32) {
    __m256i rr, gg, bb;
    yuv8_to_rgb8(load32(y + x), load_chroma32(u + x / 2), load_chroma32(v + x / 2), &rr, &gg, &bb);
    store32(r + x, rr), store32(g + x, gg), store32(b + x, bb);
  }
  i420_to_rgb_row_c(y + x, u + x / 2, v + x / 2, r + x, g + x, b + x, width - x);
}

void i420_to_yuv_row_avx2(const uint8_t *y, const uint8_t *u, const uint8_t *v, uint8_t *oy, uint8_t *ou,
                          uint8_t *ov, int width) {
  int x = 0;
  for (; x + 32 <= width; x += 32) {
    store32(oy + x, load32(y + x));
    store32(ou + x, load_chroma32(u + x / 2));
    store32(ov + x, load_chroma32(v + x / 2));
  }
  i420_to_yuv_row_c(y + x, u + x / 2, v + x / 2, oy + x, ou + x, ov + x, width - x);
}

void rgb_to_y_row_avx2(const uint8_t *r, const uint8_t *g, const uint8_t *b, uint8_t *y, int width) {
  const __m256i one = _mm256_set1_epi16(1), kRG = pair16x(4211, 8258), kB = pair16x(1606, 0);
  int x = 0;
  for (; x + 32 <= width; x += 32) {
    __m256i rr = load32(r + x), gg = load32(g + x), bb = load32(b + x);
    __m256i lo = dot_shift(lo16x(rr), lo16x(gg), kRG, lo16x(bb), one, kB);
    __m256i hi = dot_shift(hi16x(rr), hi16x(gg), kRG, hi16x(bb), one, kB);
    store32(y + x, _mm256_packus_epi16(lo, hi));
  }
  rgb_to_y_row_c(r + x, g + x, b + x, y + x, width - x);
}

const ColorKernels kAvx2 = {rgb_to_yuv_row_avx2,    yuv_to_rgb_row_avx2,    rgb_to_hsv_row_avx2,
                            bgr_to_rgb_row_avx2<3>, bgr_to_rgb_row_avx2<4>, bgr_to_yuv_row_avx2<3>,
                            bgr_to_yuv_row_avx2<4>, yuyv_to_rgb_row_avx2,   yuyv_to_yuv_row_avx2,
                            i420_to_rgb_row_avx2,   i420_to_yuv_row_avx2,   rgb_to_y_row_avx2};

}  // namespace

const ColorKernels *color_kernels_avx2() { return &kAvx2; }

}  // namespace vorn
