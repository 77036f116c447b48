// Minimum-eigenvalue corners: the strongest pixels, well separated, optionally inside a mask.
#include <string.h>

#include <algorithm>

#include "core/cpu.h"
#include "core/memory.h"
#include "imgproc/edge_rows.h"
#include "tracking/corner_grey.h"
#include "tracking/corner_rows.h"
#include "vorn_features.h"
#include "vorn_imgproc.h"

using namespace vorn;

namespace {

// Work buffers of one call, all zero-filled blocks.
struct Work {
  double *lambda = nullptr;                             // smaller eigenvalue per pixel (0 on the border)
  int32_t *rows = nullptr;                              // derivative ring (6 rows) and sums (6 rows)
  uint32_t *cand = nullptr;                             // candidate pixel indices
  int32_t *cell_head = nullptr, *cell_next = nullptr;  // accepted points by grid cell
  void release() {
    block_release(lambda);
    block_release(rows);
    block_release(cand);
    block_release(cell_head);
    block_release(cell_next);
  }
};

// Fills lambda for the interior pixels from the grey plane and returns the largest value. The Sobel
// derivatives (the edge operators' row kernels) are made three rows at a time; the derivative image's border
// rows and columns are zero.
double eigen_map(const Work &wk, const uint8_t *grey, int32_t w, int32_t h) {
  int32_t *ring_x[3], *ring_y[3];
  for (int k = 0; k < 3; ++k) {
    ring_x[k] = wk.rows + (size_t)k * w;
    ring_y[k] = wk.rows + (size_t)(3 + k) * w;
  }
  int32_t *col_xx = wk.rows + (size_t)6 * w, *col_yy = col_xx + w, *col_xy = col_yy + w;
  int32_t *sxx = col_xy + w, *syy = sxx + w, *sxy = syy + w;
  const EdgeRowKernels &kr = edge_row_kernels();
  const bool sse2 = (cpu_flags() & kCpuSse2) != 0;
  // Derivative row y into ring slot y % 3 (zero for the first and last rows).
  auto deriv_row = [&](int32_t y) {
    int32_t *dx = ring_x[y % 3], *dy = ring_y[y % 3];
    if (y == 0 || y == h - 1) {
      memset(dx, 0, (size_t)w * sizeof(int32_t));
      memset(dy, 0, (size_t)w * sizeof(int32_t));
      return;
    }
    const uint8_t *r1 = grey + (size_t)y * w;
    kr.deriv[0](r1 - w, r1, r1 + w, dx + 1, (uint32_t)(w - 2));
    kr.deriv[1](r1 - w, r1, r1 + w, dy + 1, (uint32_t)(w - 2));
    dx[0] = dx[w - 1] = dy[0] = dy[w - 1] = 0;
  };
  double mx = 0.0;
  if (w < 3 || h < 3) return mx;
  deriv_row(0);
  deriv_row(1);
  for (int32_t y = 1; y + 1 < h; ++y) {
    deriv_row(y + 1);
    const int32_t *ux = ring_x[(y - 1) % 3], *mx_ = ring_x[y % 3], *dx_ = ring_x[(y + 1) % 3];
    const int32_t *uy = ring_y[(y - 1) % 3], *my = ring_y[y % 3], *dy_ = ring_y[(y + 1) % 3];
    for (int32_t x = 0; x < w; ++x) {
      col_xx[x] = ux[x] * ux[x] + mx_[x] * mx_[x] + dx_[x] * dx_[x];
      col_yy[x] = uy[x] * uy[x] + my[x] * my[x] + dy_[x] * dy_[x];
      col_xy[x] = ux[x] * uy[x] + mx_[x] * my[x] + dx_[x] * dy_[x];
    }
    for (int32_t x = 1; x + 1 < w; ++x) {
      sxx[x] = col_xx[x - 1] + col_xx[x] + col_xx[x + 1];
      syy[x] = col_yy[x - 1] + col_yy[x] + col_yy[x + 1];
      sxy[x] = col_xy[x - 1] + col_xy[x] + col_xy[x + 1];
    }
    double *out = wk.lambda + (size_t)y * w + 1;
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
  if (map && (!map->plane[0] || !map->plane[1] || !map->plane[2])) return VORN_E_NULL;
  if (map && (map->width != W || map->height != H)) return VORN_E_PARAM;
  if (image->format > VORN_FORMAT_HSV) return VORN_E_PARAM;
  uint32_t n;
  if (!area_u32(W, H, &n) || W > INT32_MAX || H > INT32_MAX) return VORN_E_NOMEM;
  const int32_t w = (int32_t)W, h = (int32_t)H;

  CornerGrey grey;
  vorn_result r = corner_grey_get(image, &grey);
  if (r != VORN_OK) return r;
  Work wk;
  if (!(wk.lambda = block_new<double>(n)) || !(wk.rows = block_new<int32_t>((size_t)12 * W))) {
    wk.release();
    corner_grey_release(&grey);
    return VORN_E_NOMEM;
  }
  const double lambda_max = eigen_map(wk, grey.plane, w, h);
  corner_grey_release(&grey);
  const double t = lambda_max / 100.0;

  // Candidates: interior pixels above the threshold where the mask allows; counted first, then listed.
  auto is_candidate = [&](int32_t x, int32_t y) {
    return wk.lambda[(size_t)y * W + x] > t && (!mask || mask_allows(mask->data, w, x, y));
  };
  uint32_t nc = 0;
  for (int32_t y = 1; y + 1 < h; ++y)
    for (int32_t x = 1; x + 1 < w; ++x) nc += is_candidate(x, y);
  if (nc > 0 && !(wk.cand = block_new<uint32_t>(nc))) {
    wk.release();
    return VORN_E_NOMEM;
  }
  nc = 0;
  for (int32_t y = 1; y + 1 < h; ++y)
    for (int32_t x = 1; x + 1 < w; ++x)
      if (is_candidate(x, y)) wk.cand[nc++] = (uint32_t)y * W + (uint32_t)x;

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
