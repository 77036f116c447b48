// Rectangle outlines in mono images.
#include "core/rect.h"
#include "vorn_color.h"

extern "C" {

// Rows top and bottom - 1 over columns left .. right - 1; columns left and right (one past the rect) over rows
// top .. bottom - 1. A right edge at the image width would fall outside the row and is not drawn.
VORN_API vorn_result vorn_mono_image_draw_rect(vorn_mono_image *mono, const vorn_rect *rect) {
  if (!mono || !rect) return VORN_E_NULL;
  vorn_rect whole = {0, 0, (int32_t)mono->width, (int32_t)mono->height}, r;
  if (!vorn::rect_intersect(*rect, whole, &r)) return VORN_E_PARAM;
  if (!mono->data) return VORN_E_NULL;
  size_t w = mono->width;
  uint8_t *d = mono->data;
  for (int32_t x = r.left; x < r.right; ++x) {
    d[(size_t)r.top * w + x] = 255;
    d[(size_t)(r.bottom - 1) * w + x] = 255;
  }
  for (int32_t y = r.top; y < r.bottom; ++y) {
    d[(size_t)y * w + r.left] = 255;
    if ((uint32_t)r.right < mono->width) d[(size_t)y * w + r.right] = 255;
  }
  return VORN_OK;
}

}  // extern "C"
