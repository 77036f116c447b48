// One group of the Lucas-Kanade row kernels written once on a float register type V: __m128 (four elements, in
// lk_rows.cpp) and, in the file compiled for AVX2, __m256 (eight). Internal linkage: each file keeps the copy
// built for its own instruction set. Include only from lk_rows.cpp and lk_rows_avx2.cpp.
#ifndef VORN_TRACKING_LK_ROWS_SIMD_H
#define VORN_TRACKING_LK_ROWS_SIMD_H

#include <immintrin.h>
#include <stdint.h>
#include <string.h>

namespace vorn {
namespace {

template <class V> V splat(float v);
template <class V> V loadf(const float *p);
// As many bytes from p as V has lanes, as floats.
template <class V> V load_bytes(const uint8_t *p);

template <> inline __m128 splat<__m128>(float v) { return _mm_set1_ps(v); }
template <> inline __m128 loadf<__m128>(const float *p) { return _mm_loadu_ps(p); }
template <> inline __m128 load_bytes<__m128>(const uint8_t *p) {
  int32_t v;
  memcpy(&v, p, 4);
  const __m128i zero = _mm_setzero_si128();
  return _mm_cvtepi32_ps(_mm_unpacklo_epi16(_mm_unpacklo_epi8(_mm_cvtsi32_si128(v), zero), zero));
}
inline void storef(float *p, __m128 v) { _mm_storeu_ps(p, v); }
inline __m128 add(__m128 a, __m128 b) { return _mm_add_ps(a, b); }
inline __m128 sub(__m128 a, __m128 b) { return _mm_sub_ps(a, b); }
inline __m128 mul(__m128 a, __m128 b) { return _mm_mul_ps(a, b); }
inline __m128 keep(__m128 a, __m128 mask) { return _mm_and_ps(a, mask); }

#if defined(__AVX2__)
template <> inline __m256 splat<__m256>(float v) { return _mm256_set1_ps(v); }
template <> inline __m256 loadf<__m256>(const float *p) { return _mm256_loadu_ps(p); }
template <> inline __m256 load_bytes<__m256>(const uint8_t *p) {
  return _mm256_cvtepi32_ps(_mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(p))));
}
inline void storef(float *p, __m256 v) { _mm256_storeu_ps(p, v); }
inline __m256 add(__m256 a, __m256 b) { return _mm256_add_ps(a, b); }
inline __m256 sub(__m256 a, __m256 b) { return _mm256_sub_ps(a, b); }
inline __m256 mul(__m256 a, __m256 b) { return _mm256_mul_ps(a, b); }
inline __m256 keep(__m256 a, __m256 mask) { return _mm256_and_ps(a, mask); }
#endif

// The gradient rule for one group of elements from up, mid, dn: stores ival, ix, iy and gives the three products
// per lane, zero in the lanes `valid` clears.
template <class V>
inline void gradient_group(const float *up, const float *mid, const float *dn, float *ival, float *ix, float *iy,
                           V valid, V *pxx, V *pxy, V *pyy) {
  const V three = splat<V>(3.0f), ten = splat<V>(10.0f), scale = splat<V>(1.0f / 32.0f);
  const V u0 = loadf<V>(up), u1 = loadf<V>(up + 1), u2 = loadf<V>(up + 2);
  const V m0 = loadf<V>(mid), m1 = loadf<V>(mid + 1), m2 = loadf<V>(mid + 2);
  const V d0 = loadf<V>(dn), d1 = loadf<V>(dn + 1), d2 = loadf<V>(dn + 2);
  const V dx = mul(add(add(mul(three, sub(u2, u0)), mul(ten, sub(m2, m0))), mul(three, sub(d2, d0))), scale);
  const V dy = mul(add(add(mul(three, sub(d0, u0)), mul(ten, sub(d1, u1))), mul(three, sub(d2, u2))), scale);
  storef(ival, m1);
  storef(ix, dx);
  storef(iy, dy);
  *pxx = keep(mul(dx, dx), valid);
  *pxy = keep(mul(dx, dy), valid);
  *pyy = keep(mul(dy, dy), valid);
}

// The mismatch products of one group of elements, zero in the lanes `valid` clears.
template <class V>
inline void mismatch_group(const uint8_t *a, const uint8_t *b, const V w[4], const float *ival, const float *ix,
                           const float *iy, V valid, V *px, V *py) {
  V j = add(mul(w[0], load_bytes<V>(a)), mul(w[1], load_bytes<V>(a + 1)));
  j = add(add(j, mul(w[2], load_bytes<V>(b))), mul(w[3], load_bytes<V>(b + 1)));
  const V d = sub(loadf<V>(ival), j);
  *px = keep(mul(d, loadf<V>(ix)), valid);
  *py = keep(mul(d, loadf<V>(iy)), valid);
}

}  // namespace
}  // namespace vorn

#endif
