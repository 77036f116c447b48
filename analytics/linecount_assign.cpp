// Least-cost pairing of tracks with detections: the Hungarian method with row and column potentials over a square
// matrix (missing rows or columns are padded with zero-cost dummies).
#include <float.h>

#include "analytics/linecount_internal.h"

namespace vorn {
namespace lc {

void assign_min_cost(AssignWork *w, uint32_t rows, uint32_t cols, int32_t *row_to_col) {
  const uint32_t n = rows > cols ? rows : cols;
  for (uint32_t r = 0; r < rows; ++r) row_to_col[r] = -1;
  if (rows == 0 || cols == 0) return;
  auto at = [&](uint32_t r, uint32_t c) -> double {  // 1-based, dummies cost nothing
    return (r <= rows && c <= cols) ? (double)w->cost[(r - 1) * cols + (c - 1)] : 0.0;
  };
  for (uint32_t j = 0; j <= n; ++j) {
    w->u[j] = w->v[j] = 0.0;
    w->p[j] = 0;
    w->way[j] = 0;
  }
  for (uint32_t i = 1; i <= n; ++i) {
    // Grow an alternating path from row i until it reaches a free column.
    w->p[0] = (int32_t)i;
    uint32_t j0 = 0;
    for (uint32_t j = 0; j <= n; ++j) {
      w->minv[j] = DBL_MAX;
      w->used[j] = 0;
    }
    do {
      w->used[j0] = 1;
      const uint32_t i0 = (uint32_t)w->p[j0];
      double delta = DBL_MAX;
      uint32_t j1 = 0;
      for (uint32_t j = 1; j <= n; ++j) {
        if (w->used[j]) continue;
        const double cur = at(i0, j) - w->u[i0] - w->v[j];
        if (cur < w->minv[j]) {
          w->minv[j] = cur;
          w->way[j] = (int32_t)j0;
        }
        if (w->minv[j] < delta) {
          delta = w->minv[j];
          j1 = j;
        }
      }
      for (uint32_t j = 0; j <= n; ++j) {
        if (w->used[j]) {
          w->u[w->p[j]] += delta;
          w->v[j] -= delta;
        } else {
          w->minv[j] -= delta;
        }
      }
      j0 = j1;
    } while (w->p[j0] != 0);
    do {  // flip the path
      const uint32_t j1 = (uint32_t)w->way[j0];
      w->p[j0] = w->p[j1];
      j0 = j1;
    } while (j0 != 0);
  }
  for (uint32_t j = 1; j <= cols; ++j) {
    const uint32_t r = (uint32_t)w->p[j];
    if (r >= 1 && r <= rows && w->cost[(r - 1) * cols + (j - 1)] < kForbidden) row_to_col[r - 1] = (int32_t)(j - 1);
  }
}

}  // namespace lc
}  // namespace vorn
