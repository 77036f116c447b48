// Window mean shift on a back-projection, the CAM-shift step and the CAM-shift tracker.
#include <math.h>

#include "core/memory.h"
#include "vorn_meanshift.h"

namespace {

constexpr double kEpsilon = 2.220446049250313e-16;  // the double epsilon
constexpr int kMaxShifts = 5;
constexpr int32_t kSearchMargin = 10;
constexpr uint32_t kBins = 32;

inline int32_t trunc_i(double v) { return (int32_t)v; }

// Window arithmetic runs in 64 bits so that any rectangle a host hands in is answered, never overflowed; results
// are stored back saturated to 32 bits.
inline int32_t sat32(int64_t v) { return v < INT32_MIN ? INT32_MIN : v > INT32_MAX ? INT32_MAX : (int32_t)v; }

}  // namespace

struct vorn_camshift {
  int32_t left, top, right, bottom;
  vorn_image *image;
  vorn_mono_image *mask;
  vorn_histogram *hist;
  vorn_backproject *bp;
};

extern "C" {

VORN_API vorn_result vorn_cam_meanshift(const vorn_backproject *bp, vorn_rect *window, vorn_moments *moments) {
  if (!bp || !window || !moments || !bp->data) return VORN_E_NULL;
  const int64_t W = (int32_t)bp->width, H = (int32_t)bp->height;
  const int64_t w = (int64_t)window->right - window->left, h = (int64_t)window->bottom - window->top;
  vorn_rect cur = *window;
  for (int round = 0; round < kMaxShifts; ++round) {
    vorn_moments_calculate(bp, moments, &cur);
    if (fabs(moments->m00) < kEpsilon) return VORN_E_NO_RESULT;
    const int32_t dx = trunc_i(moments->m10 / moments->m00 - 0.5 * (double)w + 0.5);
    const int32_t dy = trunc_i(moments->m01 / moments->m00 - 0.5 * (double)h + 0.5);
    // Kept inside the frame; a window larger than the frame sits at 0.
    int64_t left = (int64_t)cur.left + dx, top = (int64_t)cur.top + dy;
    if (left > W - w) left = W - w;
    if (left < 0) left = 0;
    if (top > H - h) top = H - h;
    if (top < 0) top = 0;
    const int64_t sx = left - cur.left, sy = top - cur.top;
    cur = vorn_rect{sat32(left), sat32(top), sat32(left + w), sat32(top + h)};
    if (sx * sx + sy * sy < 1) {
      *window = cur;
      return VORN_OK;
    }
  }
  return VORN_E_NO_RESULT;
}

VORN_API vorn_result vorn_cam_tracking(const vorn_backproject *bp, const vorn_rect *window, const vorn_rect *search,
                                       vorn_moments *moments, vorn_track_box *box) {
  if (!bp || !window || !search || !moments || !box || !bp->data) return VORN_E_NULL;
  *box = vorn_track_box{0, 0, 0, 0, 0, 0, 0.0f};
  vorn_rect settled = *window;
  if (vorn_cam_meanshift(bp, &settled, moments) != VORN_OK) return VORN_OK;
  vorn_moments_calculate(bp, moments, search);
  const vorn_moments &m = *moments;
  if (fabs(m.m00) < kEpsilon) return VORN_OK;
  const int32_t W = (int32_t)bp->width, H = (int32_t)bp->height;
  const double inv = 1.0 / m.m00;
  const int32_t xc = trunc_i(m.m10 * inv + search->left + 0.5);
  const int32_t yc = trunc_i(m.m01 * inv + search->top + 0.5);
  const double a = m.mu20 * inv, b = m.mu11 * inv, c = m.mu02 * inv;
  double angle = atan2(2.0 * b, (a - c) + sqrt(4.0 * b * b + (a - c) * (a - c)));
  double cs = cos(angle), sn = sin(angle);
  // Rounding can take a variance a hair below zero; it counts as zero.
  const double along = (cs * cs * m.mu20 + 2.0 * cs * sn * m.mu11 + sn * sn * m.mu02) * inv;
  const double across = (sn * sn * m.mu20 - 2.0 * cs * sn * m.mu11 + cs * cs * m.mu02) * inv;
  double length = 4.0 * sqrt(along > 0.0 ? along : 0.0);
  double width = 4.0 * sqrt(across > 0.0 ? across : 0.0);
  if (length < width) {
    double t = length;
    length = width;
    width = t;
    t = cs;
    cs = sn;
    sn = t;
    angle = 1.5707963267948966 - angle;
  }
  int32_t ww = trunc_i(fabs(length * cs) + 0.5), t1 = trunc_i(fabs(width * sn) + 0.5);
  ww = (ww > t1 ? ww : t1) + 2;
  if (ww > 2 * (W - xc)) ww = 2 * (W - xc);
  int32_t wh = trunc_i(fabs(length * sn) + 0.5), t2 = trunc_i(fabs(width * cs) + 0.5);
  wh = (wh > t2 ? wh : t2) + 2;
  if (wh > 2 * (H - yc)) wh = 2 * (H - yc);
  const int32_t left = xc - ww / 2 > 0 ? xc - ww / 2 : 0;
  const int32_t top = yc - wh / 2 > 0 ? yc - wh / 2 : 0;
  box->left = left;
  box->top = top;
  box->right = left + (W - left < ww ? W - left : ww);
  box->bottom = top + (H - top < wh ? H - top : wh);
  box->width = trunc_i(width + 0.5);
  box->length = trunc_i(length + 0.5);
  box->angle = (float)angle;
  return VORN_OK;
}

VORN_API vorn_result vorn_camshift_update(vorn_camshift *t, vorn_camshift_params *params) {
  if (!t || !params) return VORN_E_NULL;
  vorn_image *img = params->image;
  if (!img || !img->plane[0]) return VORN_E_NULL;
  t->image = img;
  t->mask = params->mask;
  const vorn_mono_image grey{img->width, img->height, img->plane[0]};
  const vorn_rect frame{0, 0, (int32_t)img->width, (int32_t)img->height};
  const vorn_result r = vorn_backproject_calculate(&grey, t->hist, t->bp, &frame, params->mask);
  if (r != VORN_OK) return r;
  int64_t sl = (int64_t)t->left - kSearchMargin, st = (int64_t)t->top - kSearchMargin;
  int64_t sr = (int64_t)t->right + kSearchMargin, sb = (int64_t)t->bottom + kSearchMargin;
  if (sl < 0) sl = 0;
  if (st < 0) st = 0;
  if (sr > frame.right) sr = frame.right;
  if (sb > frame.bottom) sb = frame.bottom;
  const vorn_rect search{sat32(sl), sat32(st), sat32(sr), sat32(sb)};
  const vorn_rect window{t->left, t->top, t->right, t->bottom};
  vorn_moments moments;
  vorn_track_box box;
  vorn_cam_tracking(t->bp, &window, &search, &moments, &box);
  t->left = params->left = box.left;
  t->top = params->top = box.top;
  t->right = params->right = box.right;
  t->bottom = params->bottom = box.bottom;
  return VORN_OK;
}

VORN_API vorn_result vorn_camshift_create(vorn_camshift_params *params, vorn_camshift **out) {
  if (!out) return VORN_E_NULL;
  *out = nullptr;
  if (!params || !params->image || !params->image->plane[0]) return VORN_E_NULL;
  const vorn_image *img = params->image;
  vorn_camshift *t = vorn::block_new<vorn_camshift>();
  if (!t) return VORN_E_NOMEM;
  t->bp = vorn_backproject_alloc(img->width, img->height);
  t->hist = t->bp ? vorn_histogram_alloc(kBins) : nullptr;
  if (!t->hist) {
    vorn_camshift_destroy(t);
    return VORN_E_NOMEM;
  }
  vorn_histogram_zero(t->hist);
  const vorn_mono_image grey{img->width, img->height, img->plane[0]};
  const vorn_rect window{params->left, params->top, params->right, params->bottom};
  vorn_result r = vorn_histogram_caculate(&grey, t->hist, &window, params->mask);
  if (r != VORN_OK) {
    vorn_camshift_destroy(t);
    return r;
  }
  vorn_histogram_scale(t->hist);  // a flat histogram stays as counted
  t->left = params->left;
  t->top = params->top;
  t->right = params->right;
  t->bottom = params->bottom;
  r = vorn_camshift_update(t, params);
  if (r != VORN_OK) {
    vorn_camshift_destroy(t);
    return r;
  }
  *out = t;
  return VORN_OK;
}

VORN_API vorn_result vorn_camshift_destroy(vorn_camshift *t) {
  if (!t) return VORN_E_NULL;
  vorn_backproject_free(t->bp);
  vorn_histogram_free(t->hist);
  vorn_free(t);
  return VORN_OK;
}

}  // extern "C"
