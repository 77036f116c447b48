// In-place inverse by Gauss-Jordan elimination with full pivoting.
#include <math.h>

#include "core/memory.h"
#include "vorn_matrix.h"

namespace vorn {
namespace {

struct Square {
  float *p;
  int32_t n;
  float &at(int32_t i, int32_t j) { return p[(ptrdiff_t)i * n + j]; }
  void swap_rows(int32_t a, int32_t b) {
    for (int32_t j = 0; j < n; ++j) {
      float t = at(a, j);
      at(a, j) = at(b, j);
      at(b, j) = t;
    }
  }
  void swap_cols(int32_t a, int32_t b) {
    for (int32_t i = 0; i < n; ++i) {
      float t = at(i, a);
      at(i, a) = at(i, b);
      at(i, b) = t;
    }
  }
};

}  // namespace
}  // namespace vorn

using namespace vorn;

extern "C" VORN_API vorn_result vorn_matrix_inverse(vorn_matrix *mat) {
  if (!mat || (!mat->data && mat->rows > 0 && mat->cols > 0)) return VORN_E_NULL;
  if (mat->rows != mat->cols) return VORN_E_PARAM;
  const int32_t n = mat->rows > 0 ? mat->rows : 0;
  // Pivot records of matrices up to 16 x 16 (a filter's) stay on the stack; larger ones take blocks.
  constexpr int32_t kStackOrder = 16;
  int32_t stack_pivots[2 * kStackOrder];
  int32_t *row_pivot = stack_pivots, *col_pivot = stack_pivots + kStackOrder;
  int32_t *block = n > kStackOrder ? block_new<int32_t>((size_t)2 * n) : nullptr;
  if (n > kStackOrder) {
    if (!block) return VORN_E_NOMEM;
    row_pivot = block;
    col_pivot = block + n;
  }
  Square m{mat->data, n};
  vorn_result result = VORN_OK;
  for (int32_t k = 0; k < n; ++k) {
    // The first element of greatest magnitude, scanning row by row; a later one wins only when strictly greater.
    float best = 0.0f;
    row_pivot[k] = k;
    col_pivot[k] = k;
    for (int32_t i = k; i < n; ++i) {
      for (int32_t j = k; j < n; ++j) {
        float v = fabsf(m.at(i, j));
        if (v > best) {
          best = v;
          row_pivot[k] = i;
          col_pivot[k] = j;
        }
      }
    }
    if ((double)best + 1.0 == 1.0) {
      result = VORN_E_NO_RESULT;
      break;
    }
    if (row_pivot[k] != k) m.swap_rows(k, row_pivot[k]);
    if (col_pivot[k] != k) m.swap_cols(k, col_pivot[k]);
    m.at(k, k) = 1.0f / m.at(k, k);
    const float pivot = m.at(k, k);
    for (int32_t j = 0; j < n; ++j)
      if (j != k) m.at(k, j) = m.at(k, j) * pivot;
    for (int32_t i = 0; i < n; ++i) {
      if (i == k) continue;
      for (int32_t j = 0; j < n; ++j)
        if (j != k) m.at(i, j) = m.at(i, j) - m.at(i, k) * m.at(k, j);
    }
    for (int32_t i = 0; i < n; ++i)
      if (i != k) m.at(i, k) = -m.at(i, k) * pivot;
  }
  if (result == VORN_OK) {
    for (int32_t k = n - 1; k >= 0; --k) {
      if (col_pivot[k] != k) m.swap_rows(k, col_pivot[k]);
      if (row_pivot[k] != k) m.swap_cols(k, row_pivot[k]);
    }
  }
  block_release(block);
  return result;
}
