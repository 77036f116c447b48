// AVX-512 twins of the running-mean updates: eight pixels per step as one vector of doubles, each double
// operation the plain kernel's; unchanged pixels are masked out of the stores instead of blended back.
#include <immintrin.h>

// GCC 12 warns about the unset pass-through operand inside its own conversion intrinsics.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"

#include "bkmodel/bk_mean_kernel.h"

namespace vorn {

namespace {

inline __m128i load8(const uint8_t *p) { return _mm_loadl_epi64(reinterpret_cast<const __m128i *>(p)); }

// acc <- c * a + acc * b and the background byte <- (int)(acc + 0.5), in the pixels of m only.
inline void mean_step(double *acc, const uint8_t *c, uint8_t *bk, __m512d a, __m512d b, __mmask8 m) {
  const __m512d cv = _mm512_cvtepi32_pd(_mm256_cvtepu8_epi32(load8(c)));
  const __m512d n = _mm512_add_pd(_mm512_mul_pd(cv, a), _mm512_mul_pd(_mm512_loadu_pd(acc), b));
  _mm512_mask_storeu_pd(acc, m, n);
  const __m256i whole = _mm512_cvttpd_epi32(_mm512_add_pd(n, _mm512_set1_pd(0.5)));
  _mm_mask_storeu_epi8(bk, m, _mm256_cvtepi32_epi8(whole));
}

}  // namespace

size_t meanex_update_avx512(double *acc, size_t npix, const bk_pass_planes *p, size_t begin, size_t end, double a,
                            double b, bool all) {
  size_t i = begin;
  const __m512d va = _mm512_set1_pd(a), vb = _mm512_set1_pd(b);
  const __m128i ten = _mm_set1_epi8(10);
  for (; i + 8 <= end; i += 8) {
    __mmask8 m = 0xFF;
    if (!all) {
      for (int q = 0; q < 2; ++q) {
        const __m128i c = load8(p->c[q] + i), r = load8(p->prev[q] + i);
        const __m128i d = _mm_or_si128(_mm_subs_epu8(c, r), _mm_subs_epu8(r, c));
        m &= (__mmask8)_mm_cmplt_epu8_mask(d, ten);
      }
      if (!m) continue;
    }
    for (int q = 0; q < 3; ++q) mean_step(acc + q * npix + i, p->c[q] + i, p->bk[q] + i, va, vb, m);
  }
  return i - begin;
}

size_t baymean_update_avx512(double *acc, size_t npix, const bk_pass_planes *p, size_t begin, size_t end) {
  size_t i = begin;
  const __m512d va = _mm512_set1_pd(0.005), vb = _mm512_set1_pd(0.995);
  const __m128i zero = _mm_setzero_si128();
  for (; i + 8 <= end; i += 8) {
    const __mmask8 m = (__mmask8)(_mm_cmpeq_epi8_mask(load8(p->fg + i), zero) &
                                  _mm_cmpneq_epi8_mask(load8(p->mask + i), zero));
    if (!m) continue;
    for (int q = 0; q < 3; ++q) mean_step(acc + q * npix + i, p->c[q] + i, p->bk[q] + i, va, vb, m);
  }
  return i - begin;
}

}  // namespace vorn
