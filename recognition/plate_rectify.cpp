// Deskewing a candidate region: the skew is the angle at which the rows of vertical-edge pixels give the sharpest
// profile (the character row is a dense band with clean upper and lower limits); the band found at that angle
// is resampled into the patch, 30 pixels tall.
#include <math.h>

#include "recognition/plate_internal.h"

namespace vorn {
namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr int kAngleSteps = 24;       // each side of 0
constexpr double kAngleStep = 0.5;    // degrees

inline int edge_at(const vorn_mono_image *g, int x, int y) {
  const uint8_t *row = g->data + (size_t)y * g->width;
  const int d = (int)row[x + 1] - (int)row[x - 1];
  return d < 0 ? -d : d;
}

// An edge pixel that continues straight up or down: strokes of characters do, lines lying near the row
// direction do not (they would otherwise pile up in a single rotated row and win the angle search).
inline bool stroke_edge(const vorn_mono_image *g, int x, int y, int y_lo, int y_hi, int thr) {
  if (edge_at(g, x, y) < thr) return false;
  return (y > y_lo && edge_at(g, x, y - 1) >= thr) || (y + 1 < y_hi && edge_at(g, x, y + 1) >= thr);
}

// Accumulates the edge pixels of r into rows of the frame rotated by -theta around (cx, cy).
void rotated_profile(const vorn_mono_image *g, const vorn_rect &r, int thr, double cs, double sn, double cx,
                     double cy, plate_rectify_work *w) {
  const int half = w->n_profile / 2;
  for (int i = 0; i < w->n_profile; ++i) w->profile[i] = 0;
  for (int y = r.top; y < r.bottom; ++y)
    for (int x = r.left; x < r.right; ++x) {
      if (!stroke_edge(g, x, y, r.top, r.bottom, thr)) continue;
      const double yr = (y - cy) * cs - (x - cx) * sn;
      const int k = (int)floor(yr) + half;
      if (k >= 0 && k < w->n_profile) ++w->profile[k];
    }
}

double profile_sharpness(const plate_rectify_work *w) {
  double s = 0;
  for (int i = 1; i < w->n_profile; ++i) {
    const double d = (double)w->profile[i] - w->profile[i - 1];
    s += d * d;
  }
  return s;
}

inline double sample(const vorn_mono_image *g, double x, double y) {
  const int w = (int)g->width, h = (int)g->height;
  if (x < 0) x = 0;
  if (y < 0) y = 0;
  if (x > w - 1) x = w - 1;
  if (y > h - 1) y = h - 1;
  int x0 = (int)x, y0 = (int)y;
  if (x0 > w - 2) x0 = w - 2;
  if (y0 > h - 2) y0 = h - 2;
  const double fx = x - x0, fy = y - y0;
  const uint8_t *p = g->data + (size_t)y0 * w + x0;
  const double top = p[0] + fx * (p[1] - p[0]), bot = p[w] + fx * (p[w + 1] - p[w]);
  return top + fy * (bot - top);
}

}  // namespace

bool plate_rectify(const vorn_mono_image *grey, const vorn_rect &region, int thr, plate_rectify_work *work,
                   vorn_mono_image *patch, plate_patch_map *map) {
  vorn_rect r = region;  // edges need a left and right neighbour
  if (r.left < 1) r.left = 1;
  if (r.top < 0) r.top = 0;
  if (r.right > (int)grey->width - 1) r.right = (int)grey->width - 1;
  if (r.bottom > (int)grey->height) r.bottom = (int)grey->height;
  if (r.right - r.left < 8 || r.bottom - r.top < 4) return false;
  const double cx = (r.left + r.right) / 2.0, cy = (r.top + r.bottom) / 2.0;

  double best_score = -1, best_theta = 0;
  for (int i = 0; i <= 2 * kAngleSteps; ++i) {  // 0, +0.5, -0.5, +1, ...: ties keep the smaller angle
    const int k = (i + 1) / 2 * (i % 2 ? 1 : -1);
    const double theta = k * kAngleStep * kPi / 180;
    rotated_profile(grey, r, thr, cos(theta), sin(theta), cx, cy, work);
    const double s = profile_sharpness(work);
    if (s > best_score) best_score = s, best_theta = theta;
  }
  const double cs = cos(best_theta), sn = sin(best_theta);
  rotated_profile(grey, r, thr, cs, sn, cx, cy, work);

  // The band: the stretch of rows around the fullest five-row window that stay above a third of its mean. The
  // window keeps a single row of a plate's border line, which the staircase of a tilted line fills, from taking
  // the place of the character rows.
  int peak = 0;
  int32_t best = -1;
  for (int i = 2; i + 2 < work->n_profile; ++i) {
    const int32_t *p = work->profile + i - 2;
    const int32_t sum = p[0] + p[1] + p[2] + p[3] + p[4];
    if (sum > best) best = sum, peak = i;
  }
  const int32_t lim = best / 15;
  if (best < 20) return false;
  int r0 = peak, r1 = peak;
  while (r0 > 0 && (work->profile[r0 - 1] > lim || (r0 > 1 && work->profile[r0 - 2] > lim))) --r0;
  while (r1 < work->n_profile - 1 &&
         (work->profile[r1 + 1] > lim || (r1 < work->n_profile - 2 && work->profile[r1 + 2] > lim)))
    ++r1;
  const int half = work->n_profile / 2;
  const double y_top = r0 - half, y_bot = r1 + 1 - half, bh = y_bot - y_top;
  if (bh < 5) return false;

  // Horizontal reach of the band's edge pixels.
  double x_min = 1e30, x_max = -1e30;
  for (int y = r.top; y < r.bottom; ++y)
    for (int x = r.left; x < r.right; ++x) {
      if (!stroke_edge(grey, x, y, r.top, r.bottom, thr)) continue;
      const double yr = (y - cy) * cs - (x - cx) * sn;
      if (yr < y_top || yr >= y_bot) continue;
      const double xr = (x - cx) * cs + (y - cy) * sn;
      if (xr < x_min) x_min = xr;
      if (xr > x_max) x_max = xr;
    }
  if (x_max <= x_min) return false;
  x_min -= bh * 0.4;
  x_max += bh * 0.4;
  const double s = bh / kPatchBand;
  int pw = (int)ceil((x_max - x_min) / s);
  if (pw > kPatchW) {
    x_min += (pw - kPatchW) * s / 2;
    pw = kPatchW;
  }
  if (pw < 16) return false;
  patch->width = (uint32_t)pw;
  patch->height = kPatchH;
  for (int v = 0; v < kPatchH; ++v) {
    const double yr = y_top + (v - kPatchBandTop + 0.5) * s;
    uint8_t *row = patch->data + (size_t)v * pw;
    for (int u = 0; u < pw; ++u) {
      const double xr = x_min + (u + 0.5) * s;
      const double x = cx + xr * cs - yr * sn, y = cy + xr * sn + yr * cs;
      row[u] = (uint8_t)(sample(grey, x, y) + 0.5);
    }
  }
  *map = {cx, cy, cs, sn, x_min + 0.5 * s, y_top + 0.5 * s, s, best_theta * 180 / kPi};
  return true;
}

}  // namespace vorn
