// Bilinear sampling: one position for the host, whole windows for the point tracker.
#include "tracking/subpixel.h"

#include <math.h>

#include "vorn_opticalflow.h"

namespace vorn {

namespace {

inline int32_t clamp_index(int32_t v, int32_t n) { return v < 0 ? 0 : (v >= n ? n - 1 : v); }

}  // namespace

void subpixel_window(const uint8_t *plane, int32_t w, int32_t h, float cx, float cy, int32_t r, float *out) {
  const float fx0 = floorf(cx), fy0 = floorf(cy);
  const int32_t ix = (int32_t)fx0, iy = (int32_t)fy0;
  const float fx = cx - fx0, fy = cy - fy0;
  const float w00 = (1.0f - fx) * (1.0f - fy), w01 = fx * (1.0f - fy), w10 = (1.0f - fx) * fy, w11 = fx * fy;
  const int32_t side = 2 * r + 1;
  if (ix - r >= 0 && ix + r + 1 < w && iy - r >= 0 && iy + r + 1 < h) {
    // Every tap inside: no clamping.
    for (int32_t dy = -r; dy <= r; ++dy) {
      const uint8_t *a = plane + (ptrdiff_t)(iy + dy) * w + (ix - r);
      const uint8_t *b = a + w;
      float *o = out + (ptrdiff_t)(dy + r) * side;
      for (int32_t k = 0; k < side; ++k) o[k] = w00 * a[k] + w01 * a[k + 1] + w10 * b[k] + w11 * b[k + 1];
    }
    return;
  }
  for (int32_t dy = -r; dy <= r; ++dy) {
    const uint8_t *a = plane + (ptrdiff_t)clamp_index(iy + dy, h) * w;
    const uint8_t *b = plane + (ptrdiff_t)clamp_index(iy + dy + 1, h) * w;
    float *o = out + (ptrdiff_t)(dy + r) * side;
    for (int32_t dx = -r; dx <= r; ++dx) {
      const int32_t x0 = clamp_index(ix + dx, w), x1 = clamp_index(ix + dx + 1, w);
      o[dx + r] = w00 * a[x0] + w01 * a[x1] + w10 * b[x0] + w11 * b[x1];
    }
  }
}

}  // namespace vorn

extern "C" VORN_API vorn_result vorn_mono_image_get_sub_pixel(const vorn_mono_image *image, float x, float y,
                                                              float *value) {
  if (!value) return VORN_E_NULL;
  *value = 0.0f;
  if (!image || !image->data) return VORN_E_NULL;
  if (image->width == 0 || image->height == 0 || image->width > INT32_MAX || image->height > INT32_MAX ||
      isnan(x) || isnan(y))
    return VORN_E_PARAM;
  const int32_t w = (int32_t)image->width, h = (int32_t)image->height;
  // Beyond one pixel outside, every tap is a border pixel already; bounding the position keeps floor() in range.
  x = x < -1.0f ? -1.0f : (x > (float)w ? (float)w : x);
  y = y < -1.0f ? -1.0f : (y > (float)h ? (float)h : y);
  vorn::subpixel_window(image->data, w, h, x, y, 0, value);
  return VORN_OK;
}
