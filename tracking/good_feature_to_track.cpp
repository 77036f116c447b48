// Minimum-eigenvalue corners: the strongest pixels, well separated, optionally inside a mask.
#include <string.h>

#include <algorithm>

#include "core/cpu.h"
#include "core/memory.h"
#include "tracking/corner_rows.h"
#include "vorn_features.h"
#include "vorn_imgproc.h"

using namespace vorn;

namespace {

// Work buffers of one call, all zero-filled blocks.
struct Work {
  int32_t *dxx = nullptr, *dyy = nullptr, *dxy = nullptr;  // derivatives, then their products
  double *lambda = nullptr;                                // smaller eigenvalue per pixel (0 on the border)
  uint32_t *cand = nullptr;                                // candidate pixel indices
  int32_t *rows = nullptr;                                 // 6 rows: column sums and box sums of the products
  int32_t *cell_head = nullptr, *cell_next = nullptr;      // accepted points by grid cell
  void release() {
    block_release(dxx);
    block_release(dyy);
    block_release(dxy);
    block_release(lambda);
    block_release(cand);
    block_release(rows);
    block_release(cell_head);
    block_release(cell_next);
  }
};

// Fills lambda for the interior pixels and returns the largest value.
double eigen_map(const Work &wk, int32_t w, int32_t h) {
  int32_t *col_xx = wk.rows, *col_yy = col_xx + w, *col_xy = col_yy + w;
  int32_t *sxx = col_xy + w, *syy = sxx + w, *sxy = syy + w;
  const bool sse2 = (cpu_flags() & kCpuSse2) != 0;
  double mx = 0.0;
  for (int32_t y = 1; y + 1 < h; ++y) {
    const size_t up = (size_t)(y - 1) * w, mid = up + w, dn = mid + w;
    for (int32_t x = 0; x < w; ++x) {
      col_xx[x] = wk.dxx[up + x] + wk.dxx[mid + x] + wk.dxx[dn + x];
      col_yy[x] = wk.dyy[up + x] + wk.dyy[mid + x] + wk.dyy[dn + x];
      col_xy[x] = wk.dxy[up + x] + wk.dxy[mid + x] + wk.dxy[dn + x];
    }
    for (int32_t x = 1; x + 1 < w; ++x) {
      sxx[x] = col_xx[x - 1] + col_xx[x] + col_xx[x + 1];
      syy[x] = col_yy[x - 1] + col_yy[x] + col_yy[x + 1];
      sxy[x] = col_xy[x - 1] + col_xy[x] + col_xy[x + 1];
    }
    double *out = wk.lambda + mid + 1;
    const int32_t n = w - 2;
    const int32_t done = sse2 ? corner_eigen_row_sse2(sxx + 1, syy + 1, sxy + 1, out, n, &mx) : 0;
    const double rest = corner_eigen_row_c(sxx + 1 + done, syy + 1 + done, sxy + 1 + done, out + done, n - done);
    if (rest > mx) mx = rest;
  }
  return mx;
}

// The mask is set at the pixel and on one of the four 2 x 2 squares that hold it.
inline bool mask_allows(const uint8_t *m, int32_t w, int32_t x, int32_t y) {
  const uint8_t *c = m + (size_t)y * w + x;
  if (!c[0]) return false;
  const uint8_t *up = c - w, *dn = c + w;
  return (c[1] && dn[1] && dn[0]) || (c[1] && up[1] && up[0]) || (c[-1] && up[-1] && up[0]) ||
         (c[-1] && dn[-1] && dn[0]);
}

}  // namespace

extern "C" VORN_API vorn_result vorn_good_feature_to_track(const vorn_image *image, uint32_t min_distance,
                                                           vorn_point *points, uint32_t *count,
                                                           const vorn_mono_image *mask, vorn_image *map) {
  if (!count) return VORN_E_NULL;
  const uint32_t wanted = *count;
  *count = 0;
  if (!image || (wanted > 0 && !points)) return VORN_E_NULL;
  const uint32_t W = image->width, H = image->height;
  if (mask && (mask->width != W || mask->height != H)) return VORN_E_PARAM;
  if (mask && !mask->data) return VORN_E_NULL;
  if (map && (map->width != W || map->height != H)) return VORN_E_PARAM;
  if (image->format > VORN_FORMAT_HSV) return VORN_E_PARAM;
  uint32_t n;
  if (!area_u32(W, H, &n) || W > INT32_MAX || H > INT32_MAX) return VORN_E_NOMEM;
  const int32_t w = (int32_t)W, h = (int32_t)H;

  Work wk;
  if (!(wk.dxx = block_new<int32_t>(n)) || !(wk.dyy = block_new<int32_t>(n)) || !(wk.dxy = block_new<int32_t>(n)) ||
      !(wk.lambda = block_new<double>(n)) || !(wk.cand = block_new<uint32_t>(n)) ||
      !(wk.rows = block_new<int32_t>((size_t)6 * W))) {
    wk.release();
    return VORN_E_NOMEM;
  }
  vorn_result r = vorn_image_deriv(image, wk.dxx, 0);
  if (r == VORN_OK) r = vorn_image_deriv(image, wk.dyy, 1);
  if (r != VORN_OK) {
    wk.release();
    return r;
  }
  for (uint32_t i = 0; i < n; ++i) {
    const int32_t dx = wk.dxx[i], dy = wk.dyy[i];
    wk.dxx[i] = dx * dx;
    wk.dyy[i] = dy * dy;
    wk.dxy[i] = dx * dy;
  }
  const double lambda_max = eigen_map(wk, w, h);
  const double t = lambda_max / 100.0;

  // Candidates: interior pixels above the threshold where the mask allows.
  uint32_t nc = 0;
  for (int32_t y = 1; y + 1 < h; ++y)
    for (int32_t x = 1; x + 1 < w; ++x) {
      const uint32_t i = (uint32_t)y * W + (uint32_t)x;
      if (wk.lambda[i] > t && (!mask || mask_allows(mask->data, w, x, y))) wk.cand[nc++] = i;
    }

  // Strongest first (equal values in raster order), taken lazily from a heap: usually only the first few
  // hundred candidates are looked at.
  const double *lambda = wk.lambda;
  auto after = [lambda](uint32_t a, uint32_t b) { return lambda[a] < lambda[b] || (lambda[a] == lambda[b] && a > b); };
  uint32_t *heap_end = wk.cand + nc;
  std::make_heap(wk.cand, heap_end, after);

  // Accepted points are filed in a grid of min_distance cells: a point closer than min_distance lies in one of
  // the nine cells around a candidate's own.
  const uint64_t md = min_distance, md2 = md * md;
  const int32_t cw = md ? (int32_t)((W + md - 1) / md) : 1, ch = md ? (int32_t)((H + md - 1) / md) : 1;
  const uint32_t cap = wanted < nc ? wanted : nc;
  if (md && cap > 0) {
    wk.cell_head = block_new<int32_t>((size_t)cw * ch);
    wk.cell_next = wk.cell_head ? block_new<int32_t>(cap) : nullptr;
    if (!wk.cell_next) {
      wk.release();
      return VORN_E_NOMEM;
    }
    for (int32_t c = 0; c < cw * ch; ++c) wk.cell_head[c] = -1;
  }
  uint32_t accepted = 0;
  while (accepted < wanted && heap_end != wk.cand) {
    std::pop_heap(wk.cand, heap_end, after);
    const uint32_t i = *--heap_end;
    const int32_t x = (int32_t)(i % W), y = (int32_t)(i / W);
    if (md) {
      const int32_t gx = (int32_t)(x / md), gy = (int32_t)(y / md);
      bool near = false;
      for (int32_t cy = gy - 1; cy <= gy + 1 && !near; ++cy)
        for (int32_t cx = gx - 1; cx <= gx + 1 && !near; ++cx) {
          if (cx < 0 || cy < 0 || cx >= cw || cy >= ch) continue;
          for (int32_t k = wk.cell_head[cy * cw + cx]; k >= 0; k = wk.cell_next[k]) {
            const int64_t ex = (int64_t)points[k].x - x, ey = (int64_t)points[k].y - y;
            if ((uint64_t)(ey * ey + ex * ex) < md2) {
              near = true;
              break;
            }
          }
        }
      if (near) continue;
      wk.cell_next[accepted] = wk.cell_head[gy * cw + gx];
      wk.cell_head[gy * cw + gx] = (int32_t)accepted;
    }
    points[accepted++] = vorn_point{x, y};
  }
  *count = accepted;

  if (map && lambda_max != 0.0)
    for (int k = 0; k < 3; ++k) {
      uint8_t *p = map->plane[k];
      if (!p) continue;
      for (uint32_t i = 0; i < n; ++i) p[i] = wk.lambda[i] > t ? 255 : 0;
    }
  wk.release();
  return VORN_OK;
}
