// The rules of the morphology row kernels, written once and compiled twice: by morph_rows.cpp for the x86-64
// baseline and by morph_rows_avx2.cpp for AVX2, where the compiler turns the same loops into 32-byte vectors.
// Everything here has internal linkage so the two builds never mix. Include only from those two files.
#ifndef VORN_IMGPROC_MORPH_ROWS_BODY_H
#define VORN_IMGPROC_MORPH_ROWS_BODY_H

#include <stdint.h>

#include "imgproc/morph_rows.h"

namespace vorn {
namespace {

template <class T>
void erode_run_row(const uint8_t *__restrict src, T *__restrict run, uint8_t *__restrict v, uint32_t w, T len) {
  constexpr T kMax = (T)~(T)0;
  // Written without branches (all-ones masks) so that the loop vectorises.
  for (uint32_t i = 0; i < w; ++i) {
    T r = run[i];
    T next = (T)(r + (T)(r != kMax));
    T keep = (T)-(T)(src[i] != 0);
    r = (T)(next & keep);
    run[i] = r;
    v[i] = (uint8_t)-(uint8_t)(r >= len);
  }
}

template <class T>
void dilate_run_row(const uint8_t *__restrict src, T *__restrict gap, uint8_t *__restrict v, uint32_t w, T len) {
  constexpr T kMax = (T)~(T)0;
  for (uint32_t i = 0; i < w; ++i) {
    T g = gap[i];
    T next = (T)(g + (T)(g != kMax));
    T reset = (T)-(T)(src[i] != 0);
    g = (T)(next & (T)~reset);
    gap[i] = g;
    v[i] = (uint8_t)-(uint8_t)(g < len);
  }
}

void and_shift_row(const uint8_t *__restrict a, uint8_t *__restrict out, uint32_t n, uint32_t s) {
  const uint8_t *__restrict b = a + s;
  for (uint32_t i = 0; i < n; ++i) out[i] = (uint8_t)(a[i] & b[i]);
}

void or_shift_row(const uint8_t *__restrict a, uint8_t *__restrict out, uint32_t n, uint32_t s) {
  const uint8_t *__restrict b = a + s;
  for (uint32_t i = 0; i < n; ++i) out[i] = (uint8_t)(a[i] | b[i]);
}

void and_shift_masked_row(const uint8_t *__restrict a, uint32_t s, const uint8_t *__restrict mask,
                          uint8_t *__restrict dst, uint32_t n) {
  const uint8_t *__restrict b = a + s;
  for (uint32_t i = 0; i < n; ++i) dst[i] = (uint8_t)(a[i] & b[i] & -(uint8_t)(mask[i] != 0));
}

void or_shift_masked_row(const uint8_t *__restrict a, uint32_t s, const uint8_t *__restrict mask,
                         uint8_t *__restrict dst, uint32_t n) {
  const uint8_t *__restrict b = a + s;
  for (uint32_t i = 0; i < n; ++i) dst[i] = (uint8_t)((a[i] | b[i]) & -(uint8_t)(mask[i] != 0));
}

template <class T>
void count_add_row(const uint8_t *__restrict add, T *__restrict c, uint32_t w) {
  for (uint32_t i = 0; i < w; ++i) c[i] = (T)(c[i] + (T)(add[i] != 0));
}

template <class T>
void count_update_row(const uint8_t *__restrict add, const uint8_t *__restrict sub, T *__restrict c, uint32_t w) {
  for (uint32_t i = 0; i < w; ++i) c[i] = (T)(c[i] + (T)(add[i] != 0) - (T)(sub[i] != 0));
}

template <class T>
void add_shift_row(const T *__restrict a, T *__restrict out, uint32_t n, uint32_t s) {
  const T *__restrict b = a + s;
  for (uint32_t i = 0; i < n; ++i) out[i] = (T)(a[i] + b[i]);
}

template <class T>
void acc_shift_row(const T *__restrict a, T *__restrict acc, uint32_t n, uint32_t s) {
  const T *__restrict b = a + s;
  for (uint32_t i = 0; i < n; ++i) acc[i] = (T)(acc[i] + b[i]);
}

template <class T>
void ge_masked_row(const T *__restrict acc, const uint8_t *__restrict mask, uint8_t *__restrict dst, uint32_t n,
                   T k) {
  for (uint32_t i = 0; i < n; ++i) dst[i] = (uint8_t)-(uint8_t)((mask[i] != 0) & (acc[i] >= k));
}

void widen8_row(const uint8_t *__restrict c, uint16_t *__restrict out, uint32_t n) {
  for (uint32_t i = 0; i < n; ++i) out[i] = c[i];
}

constexpr MorphRowKernels kMorphRows = {
    erode_run_row<uint8_t>,   erode_run_row<uint16_t>,   dilate_run_row<uint8_t>,    dilate_run_row<uint16_t>,
    and_shift_row,            or_shift_row,              and_shift_masked_row,       or_shift_masked_row,
    count_add_row<uint8_t>,   count_add_row<uint16_t>,   count_update_row<uint8_t>,  count_update_row<uint16_t>,
    add_shift_row<uint8_t>,   add_shift_row<uint16_t>,   acc_shift_row<uint8_t>,     acc_shift_row<uint16_t>,
    ge_masked_row<uint8_t>,   ge_masked_row<uint16_t>,   widen8_row,
};

}  // namespace
}  // namespace vorn

#endif
