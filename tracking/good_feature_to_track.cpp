// Minimum-eigenvalue corners: the strongest pixels, well separated, optionally inside a mask.
#include <string.h>

#include <algorithm>

#include "core/cpu.h"
#include "core/memory.h"
#include "imgproc/edge_rows.h"
#include "tracking/corner_rows.h"
#include "tracking/corner_work.h"
#include "vorn_color.h"
#include "vorn_features.h"
#include "vorn_imgproc.h"

using namespace vorn;

namespace {

// A buffer of at least n elements in p (capacity cap), reused when it is large enough. Fresh blocks are zeroed.
template <class T>
bool grow(T *&p, size_t &cap, size_t n) {
  if (n <= cap && p) return true;
  block_release(p);
  p = block_new<T>(n ? n : 1);
  cap = p ? n : 0;
  return p != nullptr;
}

// Fills lambda for the interior pixels from the grey plane and returns the largest value. The Sobel
// derivatives (the edge operators' row kernels) are made three rows at a time; the derivative image's border
// rows and columns are zero.
double eigen_map(const CornerWork &wk, const uint8_t *grey, int32_t w, int32_t h) {
  int32_t *ring_x[3], *ring_y[3];
  for (int k = 0; k < 3; ++k) {
    ring_x[k] = wk.rows + (size_t)k * w;
    ring_y[k] = wk.rows + (size_t)(3 + k) * w;
  }
  int32_t *col_xx = wk.rows + (size_t)6 * w, *col_yy = col_xx + w, *col_xy = col_yy + w;
  int32_t *sxx = col_xy + w, *syy = sxx + w, *sxy = syy + w;
  const EdgeRowKernels &kr = edge_row_kernels();
  const CornerRowKernels &ck = corner_row_kernels();
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
    const int32_t done = ck.eigen ? ck.eigen(sxx + 1, syy + 1, sxy + 1, out, n, &mx) : 0;
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

namespace vorn {

void corner_work_release(CornerWork *work) {
  block_release(work->lambda);
  block_release(work->rows);
  block_release(work->cand);
  block_release(work->cell_head);
  block_release(work->cell_next);
  block_release(work->grey);
  memset(work, 0, sizeof *work);
}

// Interior pixels of a width x height image: the most candidates (and accepted points) a search can have.
size_t interior_pixels(uint32_t width, uint32_t height) {
  return width > 2 && height > 2 ? (size_t)(width - 2) * (height - 2) : 0;
}

// Grid cells of side min_distance over the image (one when min_distance is 0).
size_t grid_cells(uint32_t width, uint32_t height, uint32_t min_distance) {
  if (!min_distance) return 1;
  return (size_t)((width + min_distance - 1) / min_distance) * ((height + min_distance - 1) / min_distance);
}

vorn_result corner_work_reserve(CornerWork *work, uint32_t width, uint32_t height, uint32_t wanted,
                                uint32_t min_distance) {
  const size_t n = (size_t)width * height, interior = interior_pixels(width, height);
  const bool ok = grow(work->grey, work->grey_cap, n) && grow(work->lambda, work->lambda_cap, n) &&
                  grow(work->rows, work->rows_cap, (size_t)12 * width) &&
                  grow(work->cand, work->cand_cap, interior) &&
                  grow(work->cell_head, work->head_cap, grid_cells(width, height, min_distance)) &&
                  grow(work->cell_next, work->next_cap, wanted < interior ? wanted : interior);
  return ok ? VORN_OK : VORN_E_NOMEM;
}

vorn_result good_features(const vorn_image *image, uint32_t min_distance, vorn_point *points, uint32_t *count,
                          const vorn_mono_image *mask, vorn_image *map, CornerWork *work) {
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

  CornerWork &wk = *work;
  const uint8_t *grey = nullptr;
  switch (image->format) {
    case VORN_FORMAT_RGB: {
      if (!grow(wk.grey, wk.grey_cap, n)) return VORN_E_NOMEM;
      vorn_mono_image y = {W, H, wk.grey};
      const vorn_result r = vorn_image_rgb_to_y(image, &y);
      if (r != VORN_OK) return r;
      grey = wk.grey;
      break;
    }
    case VORN_FORMAT_YUV:
      grey = image->plane[0];
      break;
    default:
      grey = image->plane[2];
      break;
  }
  if (!grey) return VORN_E_NULL;
  const size_t interior = interior_pixels(W, H);
  if (!grow(wk.lambda, wk.lambda_cap, n) || !grow(wk.rows, wk.rows_cap, (size_t)12 * W) ||
      !grow(wk.cand, wk.cand_cap, interior))
    return VORN_E_NOMEM;
  // The border stays 0: a reused buffer may hold another size's interior there.
  if (h > 0) {
    memset(wk.lambda, 0, (size_t)W * sizeof(double));
    memset(wk.lambda + (size_t)(h - 1) * W, 0, (size_t)W * sizeof(double));
  }
  for (int32_t y = 1; y + 1 < h; ++y) wk.lambda[(size_t)y * W] = wk.lambda[(size_t)y * W + W - 1] = 0.0;
  const double lambda_max = eigen_map(wk, grey, w, h);
  const double t = lambda_max / 100.0;

  // Candidates: interior pixels above the threshold where the mask allows.
  uint32_t nc = 0;
  for (int32_t y = 1; y + 1 < h; ++y)
    for (int32_t x = 1; x + 1 < w; ++x)
      if (wk.lambda[(size_t)y * W + x] > t && (!mask || mask_allows(mask->data, w, x, y)))
        wk.cand[nc++] = (uint32_t)y * W + (uint32_t)x;

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
    // Room for as many points as are wanted (up to every interior pixel), not just this frame's candidates.
    const size_t room = wanted < interior ? wanted : interior;
    if (!grow(wk.cell_head, wk.head_cap, grid_cells(W, H, min_distance)) || !grow(wk.cell_next, wk.next_cap, room))
      return VORN_E_NOMEM;
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
  return VORN_OK;
}

}  // namespace vorn

extern "C" VORN_API vorn_result vorn_good_feature_to_track(const vorn_image *image, uint32_t min_distance,
                                                           vorn_point *points, uint32_t *count,
                                                           const vorn_mono_image *mask, vorn_image *map) {
  vorn::CornerWork work;
  memset(&work, 0, sizeof work);
  const vorn_result r = vorn::good_features(image, min_distance, points, count, mask, map, &work);
  vorn::corner_work_release(&work);
  return r;
}
