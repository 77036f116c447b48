// Kernel mean-shift tracker: a 16-bin histogram weighted by an Epanechnikov kernel, matched by moving the window
// to the weighted centre of the pixels whose bins are under-represented in the candidate.
#include <math.h>

#include "core/memory.h"
#include "vorn_meanshift.h"

namespace {

constexpr int kBins = 16;
constexpr int kMaxRounds = 10;

}  // namespace

struct vorn_meanshift {
  double *k;         // Epanechnikov profile 1 - d inside the ellipse, per window pixel
  double *g;         // 1 inside the ellipse, 0 outside
  double *weight;    // per-pixel weight of the current round
  double *q;         // target histogram, kBins
  double *p;         // candidate histogram, kBins
  uint32_t *bin;     // per-pixel bin of the last histogram computed
  double *ratio;     // sqrt(q / p) per bin
  int32_t hx, hy;    // half-width and half-height
  int32_t cx, cy;    // centre
  vorn_image *image;
  void *user;
};

namespace {

// Window pixels are the 2 hx x 2 hy pixels of offsets -hx .. hx - 1 and -hy .. hy - 1, row by row.
inline int32_t span_x(const vorn_meanshift *t) { return 2 * t->hx; }
inline int32_t span_y(const vorn_meanshift *t) { return 2 * t->hy; }

// Adds the kernel-weighted bins of the window at (left, top) to hist, remembering each pixel's bin, then
// normalises hist to sum 1 when its total is positive. The histogram is deliberately not cleared first: a
// candidate keeps its previous normalised values and each computation adds to them.
void accumulate(vorn_meanshift *t, const vorn_image *img, int32_t left, int32_t top, double *hist) {
  const int32_t sx = span_x(t), sy = span_y(t);
  for (int32_t y = 0; y < sy; ++y) {
    const uint8_t *row = img->plane[0] + (size_t)(top + y) * img->width + left;
    for (int32_t x = 0; x < sx; ++x) {
      const int32_t i = y * sx + x;
      const uint32_t b = row[x] >> 4;
      t->bin[i] = b;
      hist[b] += t->k[i];
    }
  }
  double total = 0.0;
  for (int b = 0; b < kBins; ++b) total += hist[b];
  if (total > 0.0)
    for (int b = 0; b < kBins; ++b) hist[b] /= total;
}

// The window of the centre, clamped into the frame; the clamped centre is stored. At the top border the centre
// row becomes the half-width, not the half-height: a long-standing quirk of this tracker, kept.
vorn_rect place(vorn_meanshift *t, int32_t width, int32_t height) {
  vorn_rect r;
  r.left = t->cx - t->hx;
  if (r.left < 0) {
    t->cx = t->hx;
    r.left = 0;
  }
  r.right = t->cx + t->hx;
  if (r.right > width) {
    r.right = width;
    t->cx = width - t->hx;
    r.left = t->cx - t->hx;
  }
  r.top = t->cy - t->hy;
  if (r.top < 0) {
    t->cy = t->hx;
    r.top = 0;
  }
  r.bottom = t->cy + t->hy;
  if (r.bottom > height) {
    r.bottom = height;
    t->cy = height - t->hy;
    r.top = height - 2 * t->hy;
  }
  return r;
}

}  // namespace

extern "C" {

VORN_API vorn_result vorn_meanshift_create(const vorn_meanshift_params *params, vorn_meanshift **out) {
  if (!out) return VORN_E_NULL;
  *out = nullptr;
  if (!params || !params->image || !params->image->plane[0]) return VORN_E_NULL;
  const vorn_image *img = params->image;
  // The window is measured in 64 bits: any rectangle is refused or accepted, none overflows.
  int64_t w64 = (int64_t)params->right - params->left, h64 = (int64_t)params->bottom - params->top;
  if (w64 > 0 && w64 % 2 == 0) --w64;
  if (h64 > 0 && h64 % 2 == 0) --h64;
  if (w64 < 3 || h64 < 3 || params->left < 0 || params->top < 0 ||
      (int64_t)params->left + (w64 - 1) > (int64_t)img->width ||
      (int64_t)params->top + (h64 - 1) > (int64_t)img->height)
    return VORN_E_PARAM;
  const int32_t w = (int32_t)w64, h = (int32_t)h64, hx = w / 2, hy = h / 2;
  vorn_meanshift *t = vorn::block_new<vorn_meanshift>();
  if (!t) return VORN_E_NOMEM;
  const size_t n = (size_t)w * (size_t)h;
  bool ok = (t->k = vorn::block_new<double>(n)) && (t->g = vorn::block_new<double>(n)) &&
            (t->weight = vorn::block_new<double>(n)) && (t->q = vorn::block_new<double>(kBins)) &&
            (t->p = vorn::block_new<double>(kBins)) && (t->bin = vorn::block_new<uint32_t>(n)) &&
            (t->ratio = vorn::block_new<double>(kBins));
  if (!ok) {
    vorn_meanshift_destroy(t);
    return VORN_E_NOMEM;
  }
  t->hx = hx;
  t->hy = hy;
  t->cx = params->left + hx;
  t->cy = params->top + hy;
  t->image = params->image;
  t->user = params->user;
  const double hx2 = (double)(hx * hx), hy2 = (double)(hy * hy);
  for (int32_t y = -hy, i = 0; y < hy; ++y)
    for (int32_t x = -hx; x < hx; ++x, ++i) {
      const double d = (double)(x * x) / hx2 + (double)(y * y) / hy2;
      t->k[i] = d <= 1.0 ? 1.0 - d : 0.0;
      t->g[i] = d <= 1.0 ? 1.0 : 0.0;
    }
  accumulate(t, img, params->left, params->top, t->q);
  *out = t;
  return VORN_OK;
}

VORN_API vorn_result vorn_meanshift_update(vorn_meanshift *t, vorn_meanshift_params *record) {
  if (!t || !record) return VORN_E_NULL;
  vorn_image *img = record->image;
  if (!img || !img->plane[0]) return VORN_E_NULL;
  if ((int64_t)2 * t->hx > (int64_t)img->width || (int64_t)2 * t->hy > (int64_t)img->height) return VORN_E_PARAM;
  t->image = img;
  t->user = record->user;
  const int32_t W = (int32_t)img->width, H = (int32_t)img->height;
  const int32_t sx = span_x(t), sy = span_y(t);
  vorn_rect win = place(t, W, H);
  int32_t prev_dx = 0, prev_dy = 0;
  for (int round = 0; round < kMaxRounds; ++round) {
    accumulate(t, img, win.left, win.top, t->p);
    for (int b = 0; b < kBins; ++b) t->ratio[b] = t->p[b] > 0.0 ? sqrt(t->q[b] / t->p[b]) : 0.0;
    // Offset: the weighted mean of the pixel offsets (weights times g), rounded half up; a window centred on
    // its weights (mean -0.5 .. 0.5 over the offsets -h .. h - 1) stays.
    double sw = 0.0, swx = 0.0, swy = 0.0;
    for (int32_t y = 0; y < sy; ++y)
      for (int32_t x = 0; x < sx; ++x) {
        const int32_t i = y * sx + x;
        t->weight[i] = t->ratio[t->bin[i]];
        const double wg = t->weight[i] * t->g[i];
        sw += wg;
        swx += wg * (x - t->hx);
        swy += wg * (y - t->hy);
      }
    const int32_t dx = sw > 0.0 ? (int32_t)floor(swx / sw + 0.5) : 0;
    const int32_t dy = sw > 0.0 ? (int32_t)floor(swy / sw + 0.5) : 0;
    if ((dx == 0 && dy == 0) || (dx + prev_dx == 0 && dy + prev_dy == 0)) {
      record->left = win.left;
      record->top = win.top;
      record->right = win.right;
      record->bottom = win.bottom;
      return VORN_OK;
    }
    prev_dx = dx;
    prev_dy = dy;
    t->cx += dx;
    t->cy += dy;
    win = place(t, W, H);
  }
  return VORN_E_NO_RESULT;
}

VORN_API vorn_result vorn_meanshift_destroy(vorn_meanshift *t) {
  if (!t) return VORN_E_NULL;
  vorn::block_release(t->k);
  vorn::block_release(t->g);
  vorn::block_release(t->weight);
  vorn::block_release(t->q);
  vorn::block_release(t->p);
  vorn::block_release(t->bin);
  vorn::block_release(t->ratio);
  vorn_free(t);
  return VORN_OK;
}

}  // extern "C"
