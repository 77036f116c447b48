// Cutting a rectangle out of a planar image.
#include <string.h>

#include "core/rect.h"
#include "vorn_color.h"

extern "C" {

// Copies the part of src under dst placed with its top-left corner at (x, y); dst may hang over any edge of
// src as long as the two overlap. Pixels of dst outside the overlap keep their values.
VORN_API vorn_result vorn_image_point(const vorn_image *src, vorn_image *dst, int32_t x, int32_t y) {
  if (!src || !dst) return VORN_E_NULL;
  int64_t sw = src->width, sh = src->height, dw = dst->width, dh = dst->height;
  if (dst->format != src->format || x > sw - 1 || y > sh - 1 || x + dw < 1 || y + dh < 1) return VORN_E_PARAM;
  for (int p = 0; p < 3; ++p)
    if (!src->plane[p] || !dst->plane[p]) return VORN_E_NULL;
  int64_t x0 = x > 0 ? x : 0, y0 = y > 0 ? y : 0;
  int64_t x1 = sw < x + dw ? sw : x + dw, y1 = sh < y + dh ? sh : y + dh;
  for (int64_t r = y0; r < y1; ++r)
    for (int p = 0; p < 3; ++p)
      memcpy(dst->plane[p] + (r - y) * dw + (x0 - x), src->plane[p] + r * sw + x0, (size_t)(x1 - x0));
  return VORN_OK;
}

VORN_API vorn_image *vorn_image_rect(const vorn_image *image, vorn_rect rect) {
  if (!image) return nullptr;
  if (!vorn::rect_clamp(&rect, (int32_t)image->width, (int32_t)image->height)) return nullptr;
  if (rect.right < rect.left || rect.bottom < rect.top) return nullptr;
  vorn_image *out = vorn_image_alloc((uint32_t)(rect.right - rect.left), (uint32_t)(rect.bottom - rect.top),
                                     image->format);
  if (!out) return nullptr;
  if (vorn_image_point(image, out, rect.left, rect.top) != VORN_OK) {
    vorn_image_free(out);
    return nullptr;
  }
  return out;
}

}  // extern "C"
