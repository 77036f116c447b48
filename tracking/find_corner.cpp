// Step-corner marker for display, and the grey source shared by the corner detectors.
#include <string.h>

#include "tracking/corner_grey.h"
#include "vorn_color.h"
#include "vorn_features.h"

namespace vorn {

vorn_result corner_grey_get(const vorn_image *image, CornerGrey *grey) {
  grey->plane = nullptr;
  grey->owned = nullptr;
  switch (image->format) {
    case VORN_FORMAT_RGB: {
      vorn_mono_image *y = vorn_mono_image_alloc(image->width, image->height);
      if (!y) return VORN_E_NOMEM;
      const vorn_result r = vorn_image_rgb_to_y(image, y);
      if (r != VORN_OK) {
        vorn_mono_image_free(y);
        return r;
      }
      grey->owned = y;
      grey->plane = y->data;
      return VORN_OK;
    }
    case VORN_FORMAT_YUV:
      grey->plane = image->plane[0];
      break;
    case VORN_FORMAT_HSV:
      grey->plane = image->plane[2];
      break;
    default:
      return VORN_E_PARAM;
  }
  return grey->plane ? VORN_OK : VORN_E_NULL;
}

void corner_grey_release(CornerGrey *grey) {
  vorn_mono_image_free(grey->owned);
  grey->owned = nullptr;
  grey->plane = nullptr;
}

}  // namespace vorn

extern "C" VORN_API vorn_result vorn_find_corner(const vorn_image *image, vorn_image *out) {
  if (!image || !out || !out->plane[0] || !out->plane[1] || !out->plane[2]) return VORN_E_NULL;
  if (image->width != out->width || image->height != out->height) return VORN_E_PARAM;
  vorn::CornerGrey grey;
  const vorn_result r = vorn::corner_grey_get(image, &grey);
  if (r != VORN_OK) return r;
  const int32_t w = (int32_t)image->width, h = (int32_t)image->height;
  const size_t n = (size_t)image->width * image->height;
  for (int k = 0; k < 3; ++k)
    if (out->plane[k]) memset(out->plane[k], 0, n);
  const uint8_t *p = grey.plane;
  for (int32_t y = 3; y < h - 3; ++y) {
    for (int32_t x = 3; x < w - 3; ++x) {
      const int32_t c = p[(size_t)y * w + x];
      // The left and the upper neighbour both brighter by 31 or more.
      if (p[(size_t)y * w + x - 1] - c < 31 || p[(size_t)(y - 1) * w + x] - c < 31) continue;
      for (int k = 0; k < 3; ++k) {
        uint8_t *o = out->plane[k];
        if (!o) continue;
        for (int32_t d = -3; d <= 2; ++d) {
          o[(size_t)(y + d) * w + x] = 255;
          o[(size_t)y * w + x + d] = 255;
        }
      }
    }
  }
  vorn::corner_grey_release(&grey);
  return VORN_OK;
}
