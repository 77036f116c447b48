// Lucas-Kanade point tracking, single level and coarse to fine over mono pyramids.
//
// At each resolution the window around the point in the previous frame is sampled once (bilinear), with its
// Scharr gradients (Ix, Iy) and the structure matrix G = sum [Ix Ix, Ix Iy; Ix Iy, Iy Iy]. Each Gauss-Newton step
// samples the current frame's window at the estimate and moves it by G^-1 sum (I - J) [Ix, Iy]. The estimate of
// a level, doubled, starts the next finer one.
#include <math.h>
#include <string.h>

#include "core/memory.h"
#include "tracking/lk_rows.h"
#include "tracking/pyramid.h"
#include "tracking/subpixel.h"
#include "vorn_opticalflow.h"

using namespace vorn;

namespace {

constexpr int32_t kMaxWinHalf = 64;
// Windows up to this half size (33 x 33) keep their buffers on the stack; larger ones take a block per call.
constexpr int32_t kStackWinHalf = 16;
constexpr int32_t kMaxIter = 100;
constexpr int kMaxLevels = 32;
// A step shorter than this (in pixels of its level) ends the iterations.
constexpr float kStopStep = 0.01f;
// Windows whose smaller structure eigenvalue per pixel (grey levels squared per pixel squared) falls below this
// are flat or a straight edge along one direction: the motion is not determined there.
constexpr double kMinEigen = 1e-2;

struct Level {
  const uint8_t *prev, *cur;
  int32_t w, h;
};

// Window buffers of one call: the previous frame's patch with a one-pixel margin for the gradients, the
// window's values and gradients, and two rows of current-frame pixels for windows that reach past the border.
struct Window {
  int32_t r, side, n;
  float *patch, *ival, *ix, *iy;
  uint8_t *row_a, *row_b;
  const LkRowKernels *vec;  // the row kernels' table, fetched once per call
};

// Floats of the buffers of a window of half size r.
constexpr size_t window_floats(int32_t r) {
  return (size_t)(2 * r + 3) * (2 * r + 3) + 3 * (size_t)(2 * r + 1) * (2 * r + 1) + 2 * (((size_t)2 * r + 2 + 3) / 4);
}

// Lays the window's buffers out in p (window_floats(r) floats).
void window_make(Window *win, int32_t r, float *p) {
  win->r = r;
  win->side = 2 * r + 1;
  win->n = win->side * win->side;
  win->vec = &lk_row_kernels();
  const size_t patch = (size_t)(win->side + 2) * (win->side + 2);
  const size_t row_floats = ((size_t)win->side + 1 + 3) / 4;
  win->patch = p;
  win->ival = p + patch;
  win->ix = win->ival + win->n;
  win->iy = win->ix + win->n;
  win->row_a = reinterpret_cast<uint8_t *>(win->iy + win->n);
  win->row_b = reinterpret_cast<uint8_t *>(win->iy + win->n + row_floats);
}

inline int32_t clamp_index(int32_t v, int32_t n) { return v < 0 ? 0 : (v >= n ? n - 1 : v); }

// Copies side + 1 pixels of row y from column x0 on, repeating the border pixels outside the frame.
void clamped_row(const Level &l, int32_t y, int32_t x0, int32_t count, uint8_t *out) {
  const uint8_t *row = l.cur + (size_t)clamp_index(y, l.h) * l.w;
  for (int32_t k = 0; k < count; ++k) out[k] = row[clamp_index(x0 + k, l.w)];
}

// The eight lanes of a row kernel's sums, added pairwise.
inline double lanes_sum(const float *v) {
  return (double)(((v[0] + v[1]) + (v[2] + v[3])) + ((v[4] + v[5]) + (v[6] + v[7])));
}

// sum over the window of (I - J) [Ix, Iy], with J the current frame sampled bilinearly at (qx, qy) + offsets
// (the taps of subpixel_window).
void mismatch(const Level &l, const Window &win, float qx, float qy, double *bx, double *by) {
  const float fx0 = floorf(qx), fy0 = floorf(qy);
  const int32_t x0 = (int32_t)fx0, y0 = (int32_t)fy0, r = win.r, side = win.side;
  const float fx = qx - fx0, fy = qy - fy0;
  const float wt[4] = {(1.0f - fx) * (1.0f - fy), fx * (1.0f - fy), (1.0f - fx) * fy, fx * fy};
  const bool inside = x0 - r >= 0 && x0 + r + 1 < l.w && y0 - r >= 0 && y0 + r + 1 < l.h;
  float acc_x[kLkLanes] = {}, acc_y[kLkLanes] = {};
  for (int32_t dy = -r; dy <= r; ++dy) {
    const uint8_t *a, *b;
    if (inside) {
      a = l.cur + (size_t)(y0 + dy) * l.w + (x0 - r);
      b = a + l.w;
    } else {
      clamped_row(l, y0 + dy, x0 - r, side + 1, win.row_a);
      clamped_row(l, y0 + dy + 1, x0 - r, side + 1, win.row_b);
      a = win.row_a;
      b = win.row_b;
    }
    const size_t o = (size_t)(dy + r) * side;
    const int32_t done =
        win.vec->mismatch ? win.vec->mismatch(a, b, wt, win.ival + o, win.ix + o, win.iy + o, side, acc_x, acc_y) : 0;
    lk_mismatch_row_c(a, b, wt, win.ival + o, win.ix + o, win.iy + o, done, side, acc_x, acc_y);
  }
  *bx = lanes_sum(acc_x);
  *by = lanes_sum(acc_y);
}

inline bool outside(float x, float y, const Level &l, float margin) {
  return !(x >= -margin && y >= -margin && x <= (float)(l.w - 1) + margin && y <= (float)(l.h - 1) + margin);
}

// Samples the previous window at p and builds G; false when G is degenerate (flat window).
bool prepare(const Level &l, float px, float py, Window *win, double g[3]) {
  const int32_t side = win->side, ps = side + 2;
  subpixel_window(l.prev, l.w, l.h, px, py, win->r + 1, win->patch);
  float sxx[kLkLanes] = {}, sxy[kLkLanes] = {}, syy[kLkLanes] = {};
  for (int32_t y = 0; y < side; ++y) {
    const float *up = win->patch + (ptrdiff_t)y * ps, *mid = up + ps, *dn = mid + ps;
    const ptrdiff_t o = (ptrdiff_t)y * side;
    float *ival = win->ival + o, *ix = win->ix + o, *iy = win->iy + o;
    const int32_t done = win->vec->gradient ? win->vec->gradient(up, mid, dn, ival, ix, iy, side, sxx, sxy, syy) : 0;
    lk_gradient_row_c(up, mid, dn, ival, ix, iy, done, side, sxx, sxy, syy);
  }
  const double gxx = lanes_sum(sxx), gxy = lanes_sum(sxy), gyy = lanes_sum(syy);
  g[0] = gxx;
  g[1] = gxy;
  g[2] = gyy;
  const double half_trace = 0.5 * (gxx + gyy);
  const double d = 0.5 * (gxx - gyy);
  const double min_eigen = half_trace - sqrt(d * d + gxy * gxy);
  return min_eigen / win->n >= kMinEigen;
}

// Iterates at one level from the estimate (qx, qy); false when the window left the image.
bool iterate(const Level &l, const Window &win, const double g[3], int32_t max_iter, float *qx, float *qy) {
  const double det = g[0] * g[2] - g[1] * g[1];
  const double i00 = g[2] / det, i01 = -g[1] / det, i11 = g[0] / det;
  const float margin = (float)win.r;
  for (int32_t it = 0; it < max_iter; ++it) {
    if (outside(*qx, *qy, l, margin)) return false;
    double bx, by;
    mismatch(l, win, *qx, *qy, &bx, &by);
    const float sx = (float)(i00 * bx + i01 * by), sy = (float)(i01 * bx + i11 * by);
    *qx += sx;
    *qy += sy;
    if (sx * sx + sy * sy < kStopStep * kStopStep) break;
  }
  return !outside(*qx, *qy, l, margin);
}

// Tracks one point over levels[top .. 0]; level 0 is the full-size view.
uint32_t track_point(const Level *levels, int top, Window *win, int32_t max_iter, vorn_point2f from,
                     vorn_point2f *to) {
  *to = from;
  if (outside(from.x, from.y, levels[0], 0.0f)) return VORN_FLOW_LOST;  // also catches NaN
  float gx = 0.0f, gy = 0.0f;  // motion estimate in pixels of the current level
  bool lost = false;
  for (int lv = top; lv >= 0; --lv) {
    const Level &l = levels[lv];
    const float scale = 1.0f / (float)(1u << lv);
    const float px = from.x * scale, py = from.y * scale;
    double g[3];
    float qx = px + gx, qy = py + gy;
    if (prepare(l, px, py, win, g)) {
      if (iterate(l, *win, g, max_iter, &qx, &qy)) {
        gx = qx - px;
        gy = qy - py;
      } else if (lv == 0) {
        gx = qx - px;
        gy = qy - py;
        lost = true;
      }
    } else if (lv == 0) {
      lost = true;
    }
    if (lv > 0) {
      gx *= 2.0f;
      gy *= 2.0f;
    }
  }
  to->x = from.x + gx;
  to->y = from.y + gy;
  return lost || outside(to->x, to->y, levels[0], 0.0f) ? VORN_FLOW_LOST : VORN_FLOW_FOUND;
}

bool same_size(const vorn_mono_image *a, uint32_t w, uint32_t h) { return a->width == w && a->height == h; }

vorn_result check_views(const vorn_mono_image *prev, const vorn_mono_image *cur, const vorn_point2f *prev_pts,
                        vorn_point2f *cur_pts, uint32_t count, int32_t win_half, int32_t max_iter) {
  if (!prev || !cur || !prev->data || !cur->data) return VORN_E_NULL;
  if (count > 0 && (!prev_pts || !cur_pts)) return VORN_E_NULL;
  if (prev->width < 2 || prev->height < 2 || prev->width > 0x40000u || prev->height > 0x40000u ||
      !same_size(cur, prev->width, prev->height))
    return VORN_E_PARAM;
  if (win_half < 1 || win_half > kMaxWinHalf || max_iter < 1 || max_iter > kMaxIter) return VORN_E_PARAM;
  return VORN_OK;
}

vorn_result track_all(const Level *levels, int top, const vorn_point2f *prev_pts, vorn_point2f *cur_pts,
                      uint32_t *status, uint32_t count, int32_t win_half, int32_t max_iter) {
  Window win;
  alignas(32) float stack[window_floats(kStackWinHalf)];
  float *block = win_half > kStackWinHalf ? block_new<float>(window_floats(win_half)) : nullptr;
  if (win_half > kStackWinHalf && !block) return VORN_E_NOMEM;
  if (!block) memset(stack, 0, window_floats(win_half) * sizeof(float));  // as zeroed as a fresh block
  window_make(&win, win_half, block ? block : stack);
  for (uint32_t i = 0; i < count; ++i) {
    const vorn_point2f from = prev_pts[i];  // read before writing: the two arrays may be one
    const uint32_t s = track_point(levels, top, &win, max_iter, from, &cur_pts[i]);
    if (status) status[i] = s;
  }
  block_release(block);
  return VORN_OK;
}

}  // namespace

extern "C" {

VORN_API vorn_result vorn_opticalflow_lk(const vorn_mono_image *prev, const vorn_mono_image *cur,
                                         const vorn_point2f *prev_pts, vorn_point2f *cur_pts, uint32_t *status,
                                         uint32_t count, int32_t win_half, int32_t max_iter) {
  const vorn_result r = check_views(prev, cur, prev_pts, cur_pts, count, win_half, max_iter);
  if (r != VORN_OK) return r;
  const Level level{prev->data, cur->data, (int32_t)prev->width, (int32_t)prev->height};
  return track_all(&level, 0, prev_pts, cur_pts, status, count, win_half, max_iter);
}

VORN_API vorn_result vorn_opticalflow_pyr_lk(const vorn_mono_image *prev, const vorn_mono_image *cur,
                                             vorn_pyramid *prev_pyramid, vorn_pyramid *cur_pyramid,
                                             const vorn_point2f *prev_pts, vorn_point2f *cur_pts, uint32_t *status,
                                             uint32_t count, int32_t win_half, int32_t max_iter) {
  const vorn_result r = check_views(prev, cur, prev_pts, cur_pts, count, win_half, max_iter);
  if (r != VORN_OK) return r;
  if (!prev_pyramid != !cur_pyramid) return VORN_E_NULL;
  Level levels[kMaxLevels];
  levels[0] = Level{prev->data, cur->data, (int32_t)prev->width, (int32_t)prev->height};
  int top = 0;
  if (prev_pyramid) {
    if ((prev_pyramid->count && !prev_pyramid->monos) || (cur_pyramid->count && !cur_pyramid->monos))
      return VORN_E_PARAM;
    uint32_t n = prev_pyramid->count < cur_pyramid->count ? prev_pyramid->count : cur_pyramid->count;
    if (n > kMaxLevels - 1) n = kMaxLevels - 1;
    uint32_t w = prev->width, h = prev->height;
    for (uint32_t i = 0; i < n; ++i) {
      w >>= 1;
      h >>= 1;
      const vorn_mono_image *a = prev_pyramid->monos[i], *b = cur_pyramid->monos[i];
      if (!a || !b || !a->data || !b->data) return VORN_E_NULL;
      if (!same_size(a, w, h) || !same_size(b, w, h)) return VORN_E_PARAM;
      // Levels smaller than a 2 x 2 window add nothing.
      if (w < 2 || h < 2) break;
      levels[++top] = Level{a->data, b->data, (int32_t)w, (int32_t)h};
    }
  }
  return track_all(levels, top, prev_pts, cur_pts, status, count, win_half, max_iter);
}

}  // extern "C"
