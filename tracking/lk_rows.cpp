// Row kernels of the Lucas-Kanade tracker, plain and SSE2 (the x86-64 baseline); the AVX2 pair is in
// lk_rows_avx2.cpp. Eight lanes per group: the SSE2 kernels keep lanes 0-3 and 4-7 in two registers.
#include "tracking/lk_rows.h"

#include <string.h>

#include "core/cpu.h"

#if defined(__SSE2__)
#include "tracking/lk_rows_simd.h"
#endif

namespace vorn {

void lk_gradient_row_c(const float *up, const float *mid, const float *dn, float *ival, float *ix, float *iy,
                       int32_t from, int32_t n, float *gxx, float *gxy, float *gyy) {
  for (int32_t k = from; k < n; ++k) {
    const float dx = (3.0f * (up[k + 2] - up[k]) + 10.0f * (mid[k + 2] - mid[k]) + 3.0f * (dn[k + 2] - dn[k])) *
                     (1.0f / 32.0f);
    const float dy = (3.0f * (dn[k] - up[k]) + 10.0f * (dn[k + 1] - up[k + 1]) + 3.0f * (dn[k + 2] - up[k + 2])) *
                     (1.0f / 32.0f);
    ival[k] = mid[k + 1];
    ix[k] = dx;
    iy[k] = dy;
    gxx[k & 7] += dx * dx;
    gxy[k & 7] += dx * dy;
    gyy[k & 7] += dy * dy;
  }
}

void lk_mismatch_row_c(const uint8_t *a, const uint8_t *b, const float wt[4], const float *ival, const float *ix,
                       const float *iy, int32_t from, int32_t n, float *acc_x, float *acc_y) {
  for (int32_t k = from; k < n; ++k) {
    const float j = wt[0] * a[k] + wt[1] * a[k + 1] + wt[2] * b[k] + wt[3] * b[k + 1];
    const float d = ival[k] - j;
    acc_x[k & 7] += d * ix[k];
    acc_y[k & 7] += d * iy[k];
  }
}

#if defined(__SSE2__)

namespace {

// Lanes below `valid` all ones, the rest zero.
inline __m128 lane_mask(int32_t valid) {
  return _mm_castsi128_ps(_mm_cmplt_epi32(_mm_setr_epi32(0, 1, 2, 3), _mm_set1_epi32(valid)));
}

// One group of four elements into lanes [4h, 4h + 4) of the eight.
inline void gradient4(const float *up, const float *mid, const float *dn, float *ival, float *ix, float *iy,
                      __m128 valid, __m128 *gxx, __m128 *gxy, __m128 *gyy) {
  __m128 pxx, pxy, pyy;
  gradient_group(up, mid, dn, ival, ix, iy, valid, &pxx, &pxy, &pyy);
  *gxx = _mm_add_ps(*gxx, pxx), *gxy = _mm_add_ps(*gxy, pxy), *gyy = _mm_add_ps(*gyy, pyy);
}

inline void mismatch4(const uint8_t *a, const uint8_t *b, const __m128 w[4], const float *ival, const float *ix,
                      const float *iy, __m128 valid, __m128 *ax, __m128 *ay) {
  __m128 px, py;
  mismatch_group(a, b, w, ival, ix, iy, valid, &px, &py);
  *ax = _mm_add_ps(*ax, px), *ay = _mm_add_ps(*ay, py);
}

}  // namespace

int32_t lk_gradient_row_sse2(const float *up, const float *mid, const float *dn, float *ival, float *ix, float *iy,
                             int32_t n, float *gxx, float *gxy, float *gyy) {
  __m128 xx[2] = {_mm_loadu_ps(gxx), _mm_loadu_ps(gxx + 4)}, xy[2] = {_mm_loadu_ps(gxy), _mm_loadu_ps(gxy + 4)};
  __m128 yy[2] = {_mm_loadu_ps(gyy), _mm_loadu_ps(gyy + 4)};
  const __m128 all = lane_mask(4);
  int32_t k = 0;
  for (; k + 8 <= n; k += 8)
    for (int h = 0; h < 2; ++h) {
      const int32_t o = k + 4 * h;
      gradient4(up + o, mid + o, dn + o, ival + o, ix + o, iy + o, all, &xx[h], &xy[h], &yy[h]);
    }
  if (k < n) {
    const int32_t rest = n - k;
    float u[12] = {}, m[12] = {}, d[12] = {}, oi[8], ox[8], oy[8];
    memcpy(u, up + k, (size_t)(rest + 2) * sizeof(float));
    memcpy(m, mid + k, (size_t)(rest + 2) * sizeof(float));
    memcpy(d, dn + k, (size_t)(rest + 2) * sizeof(float));
    for (int h = 0; h < 2; ++h)
      gradient4(u + 4 * h, m + 4 * h, d + 4 * h, oi + 4 * h, ox + 4 * h, oy + 4 * h, lane_mask(rest - 4 * h),
                &xx[h], &xy[h], &yy[h]);
    memcpy(ival + k, oi, (size_t)rest * sizeof(float));
    memcpy(ix + k, ox, (size_t)rest * sizeof(float));
    memcpy(iy + k, oy, (size_t)rest * sizeof(float));
  }
  for (int h = 0; h < 2; ++h) {
    _mm_storeu_ps(gxx + 4 * h, xx[h]);
    _mm_storeu_ps(gxy + 4 * h, xy[h]);
    _mm_storeu_ps(gyy + 4 * h, yy[h]);
  }
  return n;
}

int32_t lk_mismatch_row_sse2(const uint8_t *a, const uint8_t *b, const float wt[4], const float *ival,
                             const float *ix, const float *iy, int32_t n, float *acc_x, float *acc_y) {
  const __m128 w[4] = {_mm_set1_ps(wt[0]), _mm_set1_ps(wt[1]), _mm_set1_ps(wt[2]), _mm_set1_ps(wt[3])};
  __m128 ax[2] = {_mm_loadu_ps(acc_x), _mm_loadu_ps(acc_x + 4)}, ay[2] = {_mm_loadu_ps(acc_y), _mm_loadu_ps(acc_y + 4)};
  const __m128 all = lane_mask(4);
  int32_t k = 0;
  for (; k + 8 <= n; k += 8)
    for (int h = 0; h < 2; ++h) {
      const int32_t o = k + 4 * h;
      mismatch4(a + o, b + o, w, ival + o, ix + o, iy + o, all, &ax[h], &ay[h]);
    }
  if (k < n) {
    const int32_t rest = n - k;
    uint8_t ta[12] = {}, tb[12] = {};
    float ti[8] = {}, tx[8] = {}, ty[8] = {};
    memcpy(ta, a + k, (size_t)rest + 1);
    memcpy(tb, b + k, (size_t)rest + 1);
    memcpy(ti, ival + k, (size_t)rest * sizeof(float));
    memcpy(tx, ix + k, (size_t)rest * sizeof(float));
    memcpy(ty, iy + k, (size_t)rest * sizeof(float));
    for (int h = 0; h < 2; ++h)
      mismatch4(ta + 4 * h, tb + 4 * h, w, ti + 4 * h, tx + 4 * h, ty + 4 * h, lane_mask(rest - 4 * h), &ax[h], &ay[h]);
  }
  for (int h = 0; h < 2; ++h) {
    _mm_storeu_ps(acc_x + 4 * h, ax[h]);
    _mm_storeu_ps(acc_y + 4 * h, ay[h]);
  }
  return n;
}

#endif

const LkRowKernels &lk_row_kernels() {
  static const LkRowKernels plain = {nullptr, nullptr}, avx2 = {lk_gradient_row_avx2, lk_mismatch_row_avx2};
  const uint32_t f = cpu_flags();
  if (f & kCpuAvx2) return avx2;
#if defined(__SSE2__)
  static const LkRowKernels sse2 = {lk_gradient_row_sse2, lk_mismatch_row_sse2};
  if (f & kCpuSse2) return sse2;
#endif
  return plain;
}

}  // namespace vorn
