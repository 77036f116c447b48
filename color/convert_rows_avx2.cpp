// AVX2 twins of the colour row kernels: 32 pixels per step (the loops are in convert_rows_body.h). The rules
// run on 256-bit registers as they are; unpacking and packing both stay inside 128-bit lanes, so a pack undoes
// its unpack and the pixel order is kept without permutes, except for the loads below.
#include "color/convert_rows_body.h"

namespace vorn {
namespace {

inline __m256i load32(const uint8_t *p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p)); }
inline void store32(uint8_t *p, __m256i v) { _mm256_storeu_si256(reinterpret_cast<__m256i *>(p), v); }
inline __m256i join(__m128i lo, __m128i hi) { return _mm256_inserti128_si256(_mm256_castsi128_si256(lo), hi, 1); }

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

inline __m256i widen8(const uint8_t *p) {
  return _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(p)));
}

// Four vectors of eight 32-bit values (pixels 0..31 in order) -> 32 bytes in order.
inline __m256i narrow32(const __m256i q[4]) {
  __m256i a = _mm256_permute4x64_epi64(_mm256_packs_epi32(q[0], q[1]), 0xD8);
  __m256i b = _mm256_permute4x64_epi64(_mm256_packs_epi32(q[2], q[3]), 0xD8);
  return _mm256_permute4x64_epi64(_mm256_packus_epi16(a, b), 0xD8);
}

struct Avx2 {
  using V = __m256i;
  static constexpr int kStep = 32;
  static V load(const uint8_t *p) { return load32(p); }
  static void store(uint8_t *p, V v) { store32(p, v); }
  template <int bpp>
  static void load_bgr(const uint8_t *src, V *r, V *g, V *b) {
    load_bgr32<bpp>(src, r, g, b);
  }
  static void load_yuyv(const uint8_t *src, V *y, V *u, V *v) { load_yuyv32(src, y, u, v); }
  static V load_chroma(const uint8_t *p) { return load_chroma32(p); }
  static void hs_step(const uint8_t *r, const uint8_t *g, const uint8_t *b, uint8_t *h, uint8_t *s) {
    V hh[4], ss[4];
    for (int q = 0; q < 4; ++q) hs_of(widen8(r + 8 * q), widen8(g + 8 * q), widen8(b + 8 * q), &hh[q], &ss[q]);
    store32(h, narrow32(hh));
    store32(s, narrow32(ss));
  }
};

}  // namespace

const ColorKernels *color_kernels_avx2() { return &RowLoops<Avx2>::kTable; }

}  // namespace vorn
