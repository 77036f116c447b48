// Building blocks of the vector colour kernels, included by each instruction-set file: the rules written once on
// a register type V (128-bit, and 256-bit where the file is compiled for AVX2) and the 128-bit byte gathers.
// Everything has internal linkage so that each file keeps the copy compiled for its own instruction set.
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

// The lane operations the rules below are written in, for 128-bit registers and, in files compiled for AVX2,
// for 256-bit ones. Both unpack and pack within 128-bit lanes, so a pack undoes its unpack on either width.
template <class V> V splat32(int32_t v);
template <class V> V splat16(int16_t v);
template <class V> V zero();

template <> inline __m128i splat32<__m128i>(int32_t v) { return _mm_set1_epi32(v); }
template <> inline __m128i splat16<__m128i>(int16_t v) { return _mm_set1_epi16(v); }
template <> inline __m128i zero<__m128i>() { return _mm_setzero_si128(); }
inline __m128i madd16(__m128i a, __m128i b) { return _mm_madd_epi16(a, b); }
inline __m128i unpacklo16(__m128i a, __m128i b) { return _mm_unpacklo_epi16(a, b); }
inline __m128i unpackhi16(__m128i a, __m128i b) { return _mm_unpackhi_epi16(a, b); }
inline __m128i lo16(__m128i bytes) { return _mm_unpacklo_epi8(bytes, _mm_setzero_si128()); }
inline __m128i hi16(__m128i bytes) { return _mm_unpackhi_epi8(bytes, _mm_setzero_si128()); }
inline __m128i add16(__m128i a, __m128i b) { return _mm_add_epi16(a, b); }
inline __m128i sub16(__m128i a, __m128i b) { return _mm_sub_epi16(a, b); }
inline __m128i add32(__m128i a, __m128i b) { return _mm_add_epi32(a, b); }
inline __m128i sub32(__m128i a, __m128i b) { return _mm_sub_epi32(a, b); }
template <int n> inline __m128i srai32(__m128i a) { return _mm_srai_epi32(a, n); }
template <int n> inline __m128i slli32(__m128i a) { return _mm_slli_epi32(a, n); }
inline __m128i packs32(__m128i a, __m128i b) { return _mm_packs_epi32(a, b); }
inline __m128i packus16(__m128i a, __m128i b) { return _mm_packus_epi16(a, b); }
inline __m128i max32(__m128i a, __m128i b) { return _mm_max_epi32(a, b); }
inline __m128i min32(__m128i a, __m128i b) { return _mm_min_epi32(a, b); }
inline __m128i cmpgt32(__m128i a, __m128i b) { return _mm_cmpgt_epi32(a, b); }
inline __m128i cmpeq32(__m128i a, __m128i b) { return _mm_cmpeq_epi32(a, b); }
inline __m128i andnot(__m128i a, __m128i b) { return _mm_andnot_si128(a, b); }
inline __m128i blend8(__m128i a, __m128i b, __m128i m) { return _mm_blendv_epi8(a, b, m); }
inline __m128i max_u8(__m128i a, __m128i b) { return _mm_max_epu8(a, b); }
// The integer quotient a / b of non-negative lanes, through a float division (see hs_of below).
inline __m128i div_trunc32(__m128i a, __m128i b) {
  return _mm_cvttps_epi32(_mm_div_ps(_mm_cvtepi32_ps(a), _mm_cvtepi32_ps(b)));
}

#if defined(__AVX2__)
template <> inline __m256i splat32<__m256i>(int32_t v) { return _mm256_set1_epi32(v); }
template <> inline __m256i splat16<__m256i>(int16_t v) { return _mm256_set1_epi16(v); }
template <> inline __m256i zero<__m256i>() { return _mm256_setzero_si256(); }
inline __m256i madd16(__m256i a, __m256i b) { return _mm256_madd_epi16(a, b); }
inline __m256i unpacklo16(__m256i a, __m256i b) { return _mm256_unpacklo_epi16(a, b); }
inline __m256i unpackhi16(__m256i a, __m256i b) { return _mm256_unpackhi_epi16(a, b); }
inline __m256i lo16(__m256i bytes) { return _mm256_unpacklo_epi8(bytes, _mm256_setzero_si256()); }
inline __m256i hi16(__m256i bytes) { return _mm256_unpackhi_epi8(bytes, _mm256_setzero_si256()); }
inline __m256i add16(__m256i a, __m256i b) { return _mm256_add_epi16(a, b); }
inline __m256i sub16(__m256i a, __m256i b) { return _mm256_sub_epi16(a, b); }
inline __m256i add32(__m256i a, __m256i b) { return _mm256_add_epi32(a, b); }
inline __m256i sub32(__m256i a, __m256i b) { return _mm256_sub_epi32(a, b); }
template <int n> inline __m256i srai32(__m256i a) { return _mm256_srai_epi32(a, n); }
template <int n> inline __m256i slli32(__m256i a) { return _mm256_slli_epi32(a, n); }
inline __m256i packs32(__m256i a, __m256i b) { return _mm256_packs_epi32(a, b); }
inline __m256i packus16(__m256i a, __m256i b) { return _mm256_packus_epi16(a, b); }
inline __m256i max32(__m256i a, __m256i b) { return _mm256_max_epi32(a, b); }
inline __m256i min32(__m256i a, __m256i b) { return _mm256_min_epi32(a, b); }
inline __m256i cmpgt32(__m256i a, __m256i b) { return _mm256_cmpgt_epi32(a, b); }
inline __m256i cmpeq32(__m256i a, __m256i b) { return _mm256_cmpeq_epi32(a, b); }
inline __m256i andnot(__m256i a, __m256i b) { return _mm256_andnot_si256(a, b); }
inline __m256i blend8(__m256i a, __m256i b, __m256i m) { return _mm256_blendv_epi8(a, b, m); }
inline __m256i max_u8(__m256i a, __m256i b) { return _mm256_max_epu8(a, b); }
inline __m256i div_trunc32(__m256i a, __m256i b) {
  return _mm256_cvttps_epi32(_mm256_div_ps(_mm256_cvtepi32_ps(a), _mm256_cvtepi32_ps(b)));
}
#endif

// A 32-bit lane holding the 16-bit pair (a, b): pmaddwd of (x, y) pairs with it gives a * x + b * y.
template <class V>
inline V pair16(int16_t a, int16_t b) {
  return splat32<V>((int32_t)(((uint32_t)(uint16_t)b << 16) | (uint16_t)a));
}

// a * ka + b * kb (+ c * kc + d * kd) for the 16-bit lanes, as int32, shifted right by 14, saturated back to
// 16-bit lanes.
template <class V>
inline V dot_shift(V a, V b, V k, V c, V d, V kc) {
  V lo = add32(madd16(unpacklo16(a, b), k), madd16(unpacklo16(c, d), kc));
  V hi = add32(madd16(unpackhi16(a, b), k), madd16(unpackhi16(c, d), kc));
  return packs32(srai32<14>(lo), srai32<14>(hi));
}

// RGB (16-bit lanes, 0..255) -> Y, U, V (16-bit lanes, not yet clamped).
template <class V>
inline void rgb16_to_yuv16(V r, V g, V b, bool round_y, V *y, V *u, V *v) {
  const V one = splat16<V>(1), c128 = splat16<V>(128);
  *y = dot_shift(r, g, pair16<V>(4211, 8258), b, one, pair16<V>(1606, round_y ? 8192 : 0));
  *u = add16(dot_shift(r, g, pair16<V>(-2425, -4768), b, one, pair16<V>(7193, 0)), c128);
  *v = add16(dot_shift(r, g, pair16<V>(7193, -6029), b, one, pair16<V>(-1163, 0)), c128);
}

// Y, U, V (16-bit lanes, 0..255) -> R, G, B (16-bit lanes, not yet clamped).
//   R = 19071 y + 26149 (v - 128) + 128
//   G = 19071 y -  6406 (u - 128) - 13320 (v - 128) + 128 + 1024
//   B = 19071 y + 16531 (u - 128) + 16532 (u - 128) + 128
template <class V>
inline void yuv16_to_rgb16(V y, V u, V v, V *r, V *g, V *b) {
  const V one = splat16<V>(1), c128 = splat16<V>(128);
  V uc = sub16(u, c128), vc = sub16(v, c128);
  *r = dot_shift(y, vc, pair16<V>(19071, 26149), one, one, pair16<V>(128, 0));
  *g = dot_shift(y, uc, pair16<V>(19071, -6406), vc, one, pair16<V>(-13320, 1152));
  *b = dot_shift(y, uc, pair16<V>(19071, 16531), uc, one, pair16<V>(16532, 128));
}

// RGB bytes per plane -> Y, U, V bytes (Y rounded).
template <class V>
inline void rgb8_to_yuv8(V r, V g, V b, V *y, V *u, V *v) {
  V y0, u0, v0, y1, u1, v1;
  rgb16_to_yuv16(lo16(r), lo16(g), lo16(b), true, &y0, &u0, &v0);
  rgb16_to_yuv16(hi16(r), hi16(g), hi16(b), true, &y1, &u1, &v1);
  *y = packus16(y0, y1);
  *u = packus16(u0, u1);
  *v = packus16(v0, v1);
}

template <class V>
inline void yuv8_to_rgb8(V y, V u, V v, V *r, V *g, V *b) {
  V r0, g0, b0, r1, g1, b1;
  yuv16_to_rgb16(lo16(y), lo16(u), lo16(v), &r0, &g0, &b0);
  yuv16_to_rgb16(hi16(y), hi16(u), hi16(v), &r1, &g1, &b1);
  *r = packus16(r0, r1);
  *g = packus16(g0, g1);
  *b = packus16(b0, b1);
}

// Truncated Y bytes of RGB bytes per plane.
template <class V>
inline V rgb8_to_y8(V r, V g, V b) {
  const V one = splat16<V>(1), k_rg = pair16<V>(4211, 8258), k_b = pair16<V>(1606, 0);
  return packus16(dot_shift(lo16(r), lo16(g), k_rg, lo16(b), one, k_b),
                  dot_shift(hi16(r), hi16(g), k_rg, hi16(b), one, k_b));
}

// Hue and saturation of 32-bit lanes (0..255). Every quotient of the HSV rule has a numerator below 2^17 and a
// divisor of at most 255, so a correctly rounded float quotient never reaches the next integer when the exact
// one lies below it (the gap is at least 1 / (255 * 280) relative, far above float's 2^-24): truncating the
// float quotient gives the integer division's result. All numerators are non-negative.
template <class V>
inline void hs_of(V r, V g, V b, V *h, V *s) {
  const V one = splat32<V>(1);
  V mx = max32(max32(r, g), b), mn = min32(min32(r, g), b);
  V d = sub32(mx, mn);
  *s = div_trunc32(sub32(slli32<8>(d), d), max32(mx, one));
  V d2 = add32(d, d), d4 = add32(d2, d2), d6 = add32(d4, d2);
  // Red sector: G - B, plus 6d when G is not above B; green: 2d - R + B; blue: 4d - G + R.
  V nr = add32(sub32(g, b), andnot(cmpgt32(g, b), d6));
  V ng = add32(sub32(d2, r), b), nb = add32(sub32(d4, g), r);
  V num = blend8(blend8(nb, ng, cmpeq32(mx, g)), nr, cmpeq32(mx, r));
  num = add32(slli32<5>(num), slli32<3>(num));  // x 40
  *h = andnot(cmpeq32(d, zero<V>()), div_trunc32(num, max32(d, one)));  // grey (and black): hue 0
}

inline __m128i load16(const uint8_t *p) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p)); }
inline void store16(uint8_t *p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i *>(p), v); }

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
