// 128-bit building blocks of the vector colour kernels, included by each instruction-set file. Everything has
// internal linkage so that each file keeps the copy compiled for its own instruction set.
//
// The table rule is linear in each byte, so a table sum is an integer dot product: YR[r] + YG[g] + YB[b] is
// 4211 r + 8258 g + 1606 b exactly, and BU[u] + BY[y] is 19071 y + 33063 (u - 128) + 128. The kernels compute
// those integers with pmaddwd on pairs of 16-bit lanes; coefficients that do not fit 16 bits (33063) are split
// across two pairs. An arithmetic shift floors like the scalar >>, and the saturating packs clamp to 0..255.
// The chroma constant 128 << 14 is added after the shift (floor(x / 2^14) + 128 = floor((x + 2^21) / 2^14)).
#ifndef VORN_COLOR_CONVERT_ROWS_X86_H
#define VORN_COLOR_CONVERT_ROWS_X86_H

#include <immintrin.h>
#include <stdint.h>

namespace vorn {
namespace {

// A 32-bit lane holding the 16-bit pair (a, b): pmaddwd of (x, y) pairs with it gives a * x + b * y.
inline __m128i pair16(int16_t a, int16_t b) {
  return _mm_set1_epi32((int32_t)(((uint32_t)(uint16_t)b << 16) | (uint16_t)a));
}

// a * ka + b * kb for eight 16-bit lanes, as int32, shifted right by 14, saturated back to eight int16 lanes.
inline __m128i dot_shift(__m128i a, __m128i b, __m128i k, __m128i c, __m128i d, __m128i kc) {
  __m128i lo = _mm_add_epi32(_mm_madd_epi16(_mm_unpacklo_epi16(a, b), k), _mm_madd_epi16(_mm_unpacklo_epi16(c, d), kc));
  __m128i hi = _mm_add_epi32(_mm_madd_epi16(_mm_unpackhi_epi16(a, b), k), _mm_madd_epi16(_mm_unpackhi_epi16(c, d), kc));
  return _mm_packs_epi32(_mm_srai_epi32(lo, 14), _mm_srai_epi32(hi, 14));
}

// RGB (16-bit lanes, 0..255) -> Y, U, V (16-bit lanes, not yet clamped).
inline void rgb16_to_yuv16(__m128i r, __m128i g, __m128i b, bool round_y, __m128i *y, __m128i *u, __m128i *v) {
  const __m128i one = _mm_set1_epi16(1), c128 = _mm_set1_epi16(128);
  *y = dot_shift(r, g, pair16(4211, 8258), b, one, pair16(1606, round_y ? 8192 : 0));
  *u = _mm_add_epi16(dot_shift(r, g, pair16(-2425, -4768), b, one, pair16(7193, 0)), c128);
  *v = _mm_add_epi16(dot_shift(r, g, pair16(7193, -6029), b, one, pair16(-1163, 0)), c128);
}

// Y, U, V (16-bit lanes, 0..255) -> R, G, B (16-bit lanes, not yet clamped).
//   R = 19071 y + 26149 (v - 128) + 128
//   G = 19071 y -  6406 (u - 128) - 13320 (v - 128) + 128 + 1024
//   B = 19071 y + 16531 (u - 128) + 16532 (u - 128) + 128
inline void yuv16_to_rgb16(__m128i y, __m128i u, __m128i v, __m128i *r, __m128i *g, __m128i *b) {
  const __m128i one = _mm_set1_epi16(1), c128 = _mm_set1_epi16(128);
  __m128i uc = _mm_sub_epi16(u, c128), vc = _mm_sub_epi16(v, c128);
  *r = dot_shift(y, vc, pair16(19071, 26149), one, one, pair16(128, 0));
  *g = dot_shift(y, uc, pair16(19071, -6406), vc, one, pair16(-13320, 1152));
  *b = dot_shift(y, uc, pair16(19071, 16531), uc, one, pair16(16532, 128));
}

inline __m128i lo16(__m128i bytes) { return _mm_unpacklo_epi8(bytes, _mm_setzero_si128()); }
inline __m128i hi16(__m128i bytes) { return _mm_unpackhi_epi8(bytes, _mm_setzero_si128()); }

inline __m128i load16(const uint8_t *p) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p)); }
inline void store16(uint8_t *p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i *>(p), v); }

// Hue and saturation of four pixels (32-bit lanes, 0..255). Every quotient of the HSV rule has a numerator
// below 2^17 and a divisor of at most 255, so a correctly rounded float quotient never reaches the next integer
// when the exact one lies below it (the gap is at least 1 / (255 * 280) relative, far above float's 2^-24):
// truncating the float quotient gives the integer division's result. All numerators are non-negative.
inline void hs_of4(__m128i r, __m128i g, __m128i b, __m128i *h, __m128i *s) {
  const __m128i one = _mm_set1_epi32(1);
  __m128i mx = _mm_max_epi32(_mm_max_epi32(r, g), b), mn = _mm_min_epi32(_mm_min_epi32(r, g), b);
  __m128i d = _mm_sub_epi32(mx, mn);
  __m128i d255 = _mm_sub_epi32(_mm_slli_epi32(d, 8), d);
  *s = _mm_cvttps_epi32(_mm_div_ps(_mm_cvtepi32_ps(d255), _mm_cvtepi32_ps(_mm_max_epi32(mx, one))));
  __m128i d2 = _mm_add_epi32(d, d), d4 = _mm_add_epi32(d2, d2), d6 = _mm_add_epi32(d4, d2);
  // Red sector: G - B, plus 6d when G is not above B; green: 2d - R + B; blue: 4d - G + R.
  __m128i nr = _mm_add_epi32(_mm_sub_epi32(g, b), _mm_andnot_si128(_mm_cmpgt_epi32(g, b), d6));
  __m128i ng = _mm_add_epi32(_mm_sub_epi32(d2, r), b), nb = _mm_add_epi32(_mm_sub_epi32(d4, g), r);
  __m128i num = _mm_blendv_epi8(_mm_blendv_epi8(nb, ng, _mm_cmpeq_epi32(mx, g)), nr, _mm_cmpeq_epi32(mx, r));
  num = _mm_add_epi32(_mm_slli_epi32(num, 5), _mm_slli_epi32(num, 3));  // x 40
  __m128i hue = _mm_cvttps_epi32(_mm_div_ps(_mm_cvtepi32_ps(num), _mm_cvtepi32_ps(_mm_max_epi32(d, one))));
  *h = _mm_andnot_si128(_mm_cmpeq_epi32(d, _mm_setzero_si128()), hue);  // grey (and black): hue 0
}

// Byte-gather masks for pshufb: lane i takes byte (bpp * i + channel) of a pixel run, from the 16-byte block
// `part` of that run (-128 where the byte lies in another block).
struct ShuffleMask {
  int8_t m[16];
};
constexpr ShuffleMask gather_mask(int bpp, int channel, int part) {
  ShuffleMask k{};
  for (int i = 0; i < 16; ++i) {
    int pos = bpp * i + channel - 16 * part;
    k.m[i] = (int8_t)(pos >= 0 && pos < 16 ? pos : -128);
  }
  return k;
}
inline __m128i mask(const ShuffleMask &k) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(k.m)); }

// For 24-bit pixels the bytes of one channel sit at distinct positions modulo 16 across the three blocks of a
// 16-pixel run, so one channel is two blends (which block each position comes from) and one gather.
constexpr ShuffleMask bgr24_block_mask(int channel, int block) {
  ShuffleMask k{};
  for (int j = 0; j < 16; ++j) {
    int pos = j + 16 * block - channel;
    k.m[j] = (int8_t)(pos >= 0 && pos % 3 == 0 && pos / 3 < 16 ? -128 : 0);
  }
  return k;
}
constexpr ShuffleMask bgr24_order_mask(int channel) {
  ShuffleMask k{};
  for (int i = 0; i < 16; ++i) k.m[i] = (int8_t)((3 * i + channel) % 16);
  return k;
}

// 16 bitmap pixels of `bpp` bytes (B, G, R first) -> planes of R, G and B bytes.
template <int bpp>
inline void load_bgr16(const uint8_t *src, __m128i *r, __m128i *g, __m128i *b) {
  static constexpr ShuffleMask kB[4] = {gather_mask(bpp, 0, 0), gather_mask(bpp, 0, 1), gather_mask(bpp, 0, 2),
                                        gather_mask(bpp, 0, 3)};
  static constexpr ShuffleMask kG[4] = {gather_mask(bpp, 1, 0), gather_mask(bpp, 1, 1), gather_mask(bpp, 1, 2),
                                        gather_mask(bpp, 1, 3)};
  static constexpr ShuffleMask kR[4] = {gather_mask(bpp, 2, 0), gather_mask(bpp, 2, 1), gather_mask(bpp, 2, 2),
                                        gather_mask(bpp, 2, 3)};
  __m128i rr = _mm_setzero_si128(), gg = rr, bb = rr;
  for (int part = 0; part < bpp; ++part) {
    __m128i block = load16(src + 16 * part);
    bb = _mm_or_si128(bb, _mm_shuffle_epi8(block, mask(kB[part])));
    gg = _mm_or_si128(gg, _mm_shuffle_epi8(block, mask(kG[part])));
    rr = _mm_or_si128(rr, _mm_shuffle_epi8(block, mask(kR[part])));
  }
  *r = rr, *g = gg, *b = bb;
}

// 16 RGB bytes per plane -> 16 Y, U, V bytes.
inline void rgb8_to_yuv8(__m128i r, __m128i g, __m128i b, __m128i *y, __m128i *u, __m128i *v) {
  __m128i y0, u0, v0, y1, u1, v1;
  rgb16_to_yuv16(lo16(r), lo16(g), lo16(b), true, &y0, &u0, &v0);
  rgb16_to_yuv16(hi16(r), hi16(g), hi16(b), true, &y1, &u1, &v1);
  *y = _mm_packus_epi16(y0, y1);
  *u = _mm_packus_epi16(u0, u1);
  *v = _mm_packus_epi16(v0, v1);
}

inline void yuv8_to_rgb8(__m128i y, __m128i u, __m128i v, __m128i *r, __m128i *g, __m128i *b) {
  __m128i r0, g0, b0, r1, g1, b1;
  yuv16_to_rgb16(lo16(y), lo16(u), lo16(v), &r0, &g0, &b0);
  yuv16_to_rgb16(hi16(y), hi16(u), hi16(v), &r1, &g1, &b1);
  *r = _mm_packus_epi16(r0, r1);
  *g = _mm_packus_epi16(g0, g1);
  *b = _mm_packus_epi16(b0, b1);
}

// 16 packed 4:2:2 pixels (32 bytes) -> Y, U, V bytes per pixel (each pair's chroma on both of its pixels).
inline void load_yuyv16(const uint8_t *src, __m128i *y, __m128i *u, __m128i *v) {
  const __m128i ky = _mm_setr_epi8(0, 2, 4, 6, 8, 10, 12, 14, -128, -128, -128, -128, -128, -128, -128, -128);
  const __m128i ku = _mm_setr_epi8(1, 1, 5, 5, 9, 9, 13, 13, -128, -128, -128, -128, -128, -128, -128, -128);
  const __m128i kv = _mm_setr_epi8(3, 3, 7, 7, 11, 11, 15, 15, -128, -128, -128, -128, -128, -128, -128, -128);
  __m128i a = load16(src), b = load16(src + 16);
  *y = _mm_unpacklo_epi64(_mm_shuffle_epi8(a, ky), _mm_shuffle_epi8(b, ky));
  *u = _mm_unpacklo_epi64(_mm_shuffle_epi8(a, ku), _mm_shuffle_epi8(b, ku));
  *v = _mm_unpacklo_epi64(_mm_shuffle_epi8(a, kv), _mm_shuffle_epi8(b, kv));
}

// 8 chroma bytes, each doubled for the two pixels that share it.
inline __m128i load_chroma16(const uint8_t *p) {
  __m128i c = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(p));
  return _mm_unpacklo_epi8(c, c);
}

}  // namespace
}  // namespace vorn

#endif
