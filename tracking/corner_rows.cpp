// Smaller eigenvalue of [sxx sxy; sxy syy] per pixel, plain and with SSE2 (the x86-64 baseline). Both compute
// the same IEEE operations in the same order (sqrt is correctly rounded), so they give the same doubles.
#include "tracking/corner_rows.h"

#include <math.h>

#include "core/cpu.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace vorn {

double corner_eigen_row_c(const int32_t *sxx, const int32_t *syy, const int32_t *sxy, double *lambda, int32_t n) {
  double mx = 0.0;
  for (int32_t x = 0; x < n; ++x) {
    const double half_sum = (double)(sxx[x] + syy[x]) / 2.0;
    const double half_diff = (double)(sxx[x] - syy[x]) / 2.0;
    const double c = (double)sxy[x];
    const double l = half_sum - sqrt(half_diff * half_diff + c * c);
    lambda[x] = l;
    if (l > mx) mx = l;
  }
  return mx;
}

#if defined(__SSE2__)

int32_t corner_eigen_row_sse2(const int32_t *sxx, const int32_t *syy, const int32_t *sxy, double *lambda, int32_t n,
                              double *max) {
  const __m128d half = _mm_set1_pd(2.0);
  __m128d mx = _mm_setzero_pd();
  int32_t x = 0;
  for (; x + 2 <= n; x += 2) {
    const __m128i a = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(sxx + x));
    const __m128i b = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(syy + x));
    const __m128i c = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(sxy + x));
    const __m128d hs = _mm_div_pd(_mm_cvtepi32_pd(_mm_add_epi32(a, b)), half);
    const __m128d hd = _mm_div_pd(_mm_cvtepi32_pd(_mm_sub_epi32(a, b)), half);
    const __m128d cd = _mm_cvtepi32_pd(c);
    const __m128d l = _mm_sub_pd(hs, _mm_sqrt_pd(_mm_add_pd(_mm_mul_pd(hd, hd), _mm_mul_pd(cd, cd))));
    _mm_storeu_pd(lambda + x, l);
    mx = _mm_max_pd(mx, l);
  }
  double lanes[2];
  _mm_storeu_pd(lanes, mx);
  const double m = lanes[0] > lanes[1] ? lanes[0] : lanes[1];
  if (m > *max) *max = m;
  return x;
}

#else

int32_t corner_eigen_row_sse2(const int32_t *, const int32_t *, const int32_t *, double *, int32_t, double *) {
  return 0;
}

#endif

const CornerRowKernels &corner_row_kernels() {
  static const CornerRowKernels plain = {nullptr}, sse2 = {corner_eigen_row_sse2};
  return (cpu_flags() & kCpuSse2) ? sse2 : plain;
}

}  // namespace vorn
