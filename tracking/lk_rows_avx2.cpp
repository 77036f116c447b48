// AVX2 twins of the Lucas-Kanade row kernels: one register holds all eight lanes.
#include "tracking/lk_rows.h"
#include "tracking/lk_rows_simd.h"

namespace vorn {

namespace {

// Lanes below `valid` all ones, the rest zero.
inline __m256 lane_mask(int32_t valid) {
  return _mm256_castsi256_ps(_mm256_cmpgt_epi32(_mm256_set1_epi32(valid), _mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7)));
}

// The last partial group of a row of n >= 8 elements is done as the group n - 8 .. n - 1, overlapping the one
// before: only its last `rest` lanes count, and they are turned so that element k still adds into lane k % 8.
struct Tail {
  __m256 valid;
  __m256i turn;
  Tail(int32_t n, int32_t rest)
      : valid(_mm256_xor_ps(lane_mask(8 - rest), lane_mask(8))),
        turn(_mm256_and_si256(_mm256_sub_epi32(_mm256_setr_epi32(0, 1, 2, 3, 4, 5, 6, 7), _mm256_set1_epi32(n)),
                              _mm256_set1_epi32(7))) {}
  __m256 place(__m256 v) const { return _mm256_permutevar8x32_ps(v, turn); }
};

}  // namespace

// Rows shorter than eight are left to the plain kernel (returns 0).
int32_t lk_gradient_row_avx2(const float *up, const float *mid, const float *dn, float *ival, float *ix, float *iy,
                             int32_t n, float *gxx, float *gxy, float *gyy) {
  if (n < 8) return 0;
  __m256 xx = _mm256_loadu_ps(gxx), xy = _mm256_loadu_ps(gxy), yy = _mm256_loadu_ps(gyy), pxx, pxy, pyy;
  const __m256 all = lane_mask(8);
  int32_t k = 0;
  for (; k + 8 <= n; k += 8) {
    gradient_group(up + k, mid + k, dn + k, ival + k, ix + k, iy + k, all, &pxx, &pxy, &pyy);
    xx = _mm256_add_ps(xx, pxx), xy = _mm256_add_ps(xy, pxy), yy = _mm256_add_ps(yy, pyy);
  }
  if (k < n) {
    const Tail t(n, n - k);
    const int32_t s = n - 8;
    gradient_group(up + s, mid + s, dn + s, ival + s, ix + s, iy + s, t.valid, &pxx, &pxy, &pyy);
    xx = _mm256_add_ps(xx, t.place(pxx)), xy = _mm256_add_ps(xy, t.place(pxy)), yy = _mm256_add_ps(yy, t.place(pyy));
  }
  _mm256_storeu_ps(gxx, xx);
  _mm256_storeu_ps(gxy, xy);
  _mm256_storeu_ps(gyy, yy);
  return n;
}

int32_t lk_mismatch_row_avx2(const uint8_t *a, const uint8_t *b, const float wt[4], const float *ival,
                             const float *ix, const float *iy, int32_t n, float *acc_x, float *acc_y) {
  if (n < 8) return 0;
  const __m256 w[4] = {_mm256_set1_ps(wt[0]), _mm256_set1_ps(wt[1]), _mm256_set1_ps(wt[2]), _mm256_set1_ps(wt[3])};
  __m256 ax = _mm256_loadu_ps(acc_x), ay = _mm256_loadu_ps(acc_y), px, py;
  const __m256 all = lane_mask(8);
  int32_t k = 0;
  for (; k + 8 <= n; k += 8) {
    mismatch_group(a + k, b + k, w, ival + k, ix + k, iy + k, all, &px, &py);
    ax = _mm256_add_ps(ax, px), ay = _mm256_add_ps(ay, py);
  }
  if (k < n) {
    const Tail t(n, n - k);
    const int32_t s = n - 8;
    mismatch_group(a + s, b + s, w, ival + s, ix + s, iy + s, t.valid, &px, &py);
    ax = _mm256_add_ps(ax, t.place(px)), ay = _mm256_add_ps(ay, t.place(py));
  }
  _mm256_storeu_ps(acc_x, ax);
  _mm256_storeu_ps(acc_y, ay);
  return n;
}

}  // namespace vorn
