// Mismatch rows of the Lucas-Kanade step, plain and SSE2 (the x86-64 baseline), adding in the same order.
#include "tracking/lk_rows.h"

#include <string.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace vorn {

void lk_mismatch_row_c(const uint8_t *a, const uint8_t *b, const float wt[4], const float *ival, const float *ix,
                       const float *iy, int32_t from, int32_t n, float acc_x[4], float acc_y[4]) {
  for (int32_t k = from; k < n; ++k) {
    const float j = wt[0] * a[k] + wt[1] * a[k + 1] + wt[2] * b[k] + wt[3] * b[k + 1];
    const float d = ival[k] - j;
    acc_x[k & 3] += d * ix[k];
    acc_y[k & 3] += d * iy[k];
  }
}

#if defined(__SSE2__)

namespace {

// Four bytes from p as four floats.
inline __m128 load4(const uint8_t *p) {
  int32_t v;
  memcpy(&v, p, 4);
  const __m128i zero = _mm_setzero_si128();
  const __m128i w = _mm_unpacklo_epi16(_mm_unpacklo_epi8(_mm_cvtsi32_si128(v), zero), zero);
  return _mm_cvtepi32_ps(w);
}

}  // namespace

int32_t lk_mismatch_row_sse2(const uint8_t *a, const uint8_t *b, const float wt[4], const float *ival,
                             const float *ix, const float *iy, int32_t n, float acc_x[4], float acc_y[4]) {
  const __m128 w0 = _mm_set1_ps(wt[0]), w1 = _mm_set1_ps(wt[1]), w2 = _mm_set1_ps(wt[2]), w3 = _mm_set1_ps(wt[3]);
  __m128 ax = _mm_loadu_ps(acc_x), ay = _mm_loadu_ps(acc_y);
  int32_t k = 0;
  for (; k + 4 <= n; k += 4) {
    __m128 j = _mm_add_ps(_mm_mul_ps(w0, load4(a + k)), _mm_mul_ps(w1, load4(a + k + 1)));
    j = _mm_add_ps(j, _mm_mul_ps(w2, load4(b + k)));
    j = _mm_add_ps(j, _mm_mul_ps(w3, load4(b + k + 1)));
    const __m128 d = _mm_sub_ps(_mm_loadu_ps(ival + k), j);
    ax = _mm_add_ps(ax, _mm_mul_ps(d, _mm_loadu_ps(ix + k)));
    ay = _mm_add_ps(ay, _mm_mul_ps(d, _mm_loadu_ps(iy + k)));
  }
  _mm_storeu_ps(acc_x, ax);
  _mm_storeu_ps(acc_y, ay);
  return k;
}

#else

int32_t lk_mismatch_row_sse2(const uint8_t *, const uint8_t *, const float[4], const float *, const float *,
                             const float *, int32_t, float[4], float[4]) {
  return 0;
}

#endif

}  // namespace vorn
