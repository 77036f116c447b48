// SSE2 twins of the pyramid row kernels (SSE2 is the x86-64 baseline). They compute the inside rule only and
// leave the first and last columns, and the tail, to the scalar kernels.
#include "tracking/pyramid.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace vorn {

#if defined(__SSE2__)

uint32_t pyramid_hrow_sse2(const uint8_t *s, uint16_t *out, uint32_t w) {
  if (w < 2) return 0;
  out[0] = (uint16_t)(2 * s[0] + 8 * s[1] + 6 * s[2]);
  const __m128i lo = _mm_set1_epi16(0x00FF);
  uint32_t x = 1;
  // Eight outputs x .. x + 7 read source bytes 2x - 2 .. 2x + 17; the last column keeps its own rule, so the
  // vector loop ends where 2x + 17 would reach the last column's centre.
  for (; x + 8 < w && 2 * x + 17 < 2 * (w - 1); x += 8) {
    const uint8_t *p = s + 2 * x - 2;
    const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));      // s[c-2], s[c-1] pairs
    const __m128i b = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p + 2));  // s[c], s[c+1]
    const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p + 4));  // s[c+2]
    const __m128i m2 = _mm_and_si128(a, lo), m1 = _mm_srli_epi16(a, 8);
    const __m128i c0 = _mm_and_si128(b, lo), p1 = _mm_srli_epi16(b, 8);
    const __m128i p2 = _mm_and_si128(c, lo);
    __m128i sum = _mm_add_epi16(m2, p2);
    sum = _mm_add_epi16(sum, _mm_slli_epi16(_mm_add_epi16(m1, p1), 2));
    sum = _mm_add_epi16(sum, _mm_add_epi16(_mm_slli_epi16(c0, 2), _mm_slli_epi16(c0, 1)));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(out + x), sum);
  }
  return x;
}

uint32_t pyramid_vrow_sse2(const uint16_t *const r[5], const uint16_t wt[5], uint8_t *dst, uint32_t width) {
  const __m128i round = _mm_set1_epi16(128);
  __m128i w[5];
  for (int k = 0; k < 5; ++k) w[k] = _mm_set1_epi16((short)wt[k]);
  uint32_t x = 0;
  // The weighted sum stays below 65536, so 16-bit lanes never wrap.
  for (; x + 16 <= width; x += 16) {
    __m128i s0 = round, s1 = round;
    for (int k = 0; k < 5; ++k) {
      const __m128i v0 = _mm_loadu_si128(reinterpret_cast<const __m128i *>(r[k] + x));
      const __m128i v1 = _mm_loadu_si128(reinterpret_cast<const __m128i *>(r[k] + x + 8));
      s0 = _mm_add_epi16(s0, _mm_mullo_epi16(v0, w[k]));
      s1 = _mm_add_epi16(s1, _mm_mullo_epi16(v1, w[k]));
    }
    const __m128i packed = _mm_packus_epi16(_mm_srli_epi16(s0, 8), _mm_srli_epi16(s1, 8));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(dst + x), packed);
  }
  return x;
}

#else

uint32_t pyramid_hrow_sse2(const uint8_t *, uint16_t *, uint32_t) { return 0; }
uint32_t pyramid_vrow_sse2(const uint16_t *const[5], const uint16_t[5], uint8_t *, uint32_t) { return 0; }

#endif

}  // namespace vorn
