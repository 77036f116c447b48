// Planar RGB, YUV and HSV images into packed 4:2:2 and planar 4:2:0 frames. Luma is the truncated Y; chroma is
// taken from the odd pixel of each pair (and, in 4:2:0, from odd rows), never averaged.
#include "color/color_rules.h"
#include "color/frame_layout.h"
#include "vorn_color.h"

namespace vorn {
namespace {

// Y, U, V of image pixel i, read as the given model.
inline void yuv_of(const vorn_image *img, uint32_t format, size_t i, uint8_t *y, uint8_t *u, uint8_t *v) {
  uint8_t a = img->plane[0][i], b = img->plane[1][i], c = img->plane[2][i];
  if (format == VORN_FORMAT_YUV) {
    *y = a, *u = b, *v = c;
    return;
  }
  if (format == VORN_FORMAT_HSV) hsv_to_rgb(a, b, c, &a, &b, &c);
  rgb_to_yuv_trunc(a, b, c, y, u, v);
}

bool ready(const vorn_image *img, const void *frame) {
  return img && frame && img->plane[0] && img->plane[1] && img->plane[2];
}

// Frame row r is image row r; the pair's U and V are written when its odd pixel is reached.
vorn_result to_yuyv(const vorn_image *img, uint8_t *f, uint32_t format) {
  if (!ready(img, f)) return VORN_E_NULL;
  size_t w = img->width, h = img->height;
  for (size_t r = 0; r < h; ++r) {
    uint8_t *row = f + 2 * w * r;
    for (size_t x = 0; x < w; ++x) {
      uint8_t y, u, v;
      yuv_of(img, format, r * w + x, &y, &u, &v);
      row[2 * x] = y;
      if (x & 1) {
        row[2 * x - 1] = u;
        row[2 * x + 1] = v;
      }
    }
  }
  return VORN_OK;
}

// Odd row r writes chroma row (r + 1) / 2 from its odd pixels; chroma row 0 is never written.
vorn_result to_i420(const vorn_image *img, uint8_t *f, uint32_t format) {
  if (!ready(img, f)) return VORN_E_NULL;
  int64_t w = img->width, h = img->height;
  Yuv420Layout L(w, h);
  for (int64_t r = 0; r < h; ++r) {
    int64_t c = (r + 1) / 2;
    for (int64_t x = 0; x < w; ++x) {
      uint8_t y, u, v;
      yuv_of(img, format, (size_t)(r * w + x), &y, &u, &v);
      f[r * w + x] = y;
      if ((r & 1) && (x & 1)) {
        int64_t uo = L.u + c * L.cw + x / 2, vo = L.v + c * L.cw + x / 2;
        if (uo < L.limit) f[uo] = u;
        if (vo < L.limit) f[vo] = v;
      }
    }
  }
  return VORN_OK;
}

}  // namespace
}  // namespace vorn

using namespace vorn;

extern "C" {

VORN_API vorn_result vorn_image_rgb_to_yuv422(const vorn_image *img, uint8_t *frame) {
  return to_yuyv(img, frame, VORN_FORMAT_RGB);
}
VORN_API vorn_result vorn_image_yuv_to_yuv422(const vorn_image *img, uint8_t *frame) {
  return to_yuyv(img, frame, VORN_FORMAT_YUV);
}
VORN_API vorn_result vorn_image_hsv_to_yuv422(const vorn_image *img, uint8_t *frame) {
  return to_yuyv(img, frame, VORN_FORMAT_HSV);
}

VORN_API vorn_result vorn_image_rgb_to_yuv420(const vorn_image *img, uint8_t *frame) {
  return to_i420(img, frame, VORN_FORMAT_RGB);
}
VORN_API vorn_result vorn_image_yuv_to_yuv420(const vorn_image *img, uint8_t *frame) {
  return to_i420(img, frame, VORN_FORMAT_YUV);
}
VORN_API vorn_result vorn_image_hsv_to_yuv420(const vorn_image *img, uint8_t *frame) {
  return to_i420(img, frame, VORN_FORMAT_HSV);
}

}  // extern "C"
