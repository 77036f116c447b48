// Planar RGB, YUV and HSV images into bitmaps (bitmap objects and raw bottom-up 24- or 32-bit rows). Image row
// r goes to stored row h - 1 - r as B, G, R; row padding and the fourth byte of 32-bit pixels are not written.
#include "color/color_rules.h"
#include "color/frame_layout.h"
#include "core/bitmap.h"
#include "vorn_color.h"

namespace vorn {
namespace {

void image_to_rows(const vorn_image *img, uint8_t *rows, uint32_t bits) {
  size_t w = img->width, h = img->height, bpp = bits / 8, stride = (size_t)bmp_stride((int64_t)w, bits);
  uint32_t format = img->format;
  for (size_t s = 0; s < h; ++s, rows += stride) {
    size_t row = h - 1 - s;
    const uint8_t *a = plane_row(img, 0, row), *b = plane_row(img, 1, row), *c = plane_row(img, 2, row);
    uint8_t *p = rows;
    for (size_t x = 0; x < w; ++x, p += bpp) {
      uint8_t r = a[x], g = b[x], bl = c[x];
      if (format == VORN_FORMAT_YUV) yuv_to_rgb(a[x], b[x], c[x], &r, &g, &bl);
      if (format == VORN_FORMAT_HSV) hsv_to_rgb(a[x], b[x], c[x], &r, &g, &bl);
      p[0] = bl;
      p[1] = g;
      p[2] = r;
    }
  }
}

bool ready(const vorn_image *img) { return img->plane[0] && img->plane[1] && img->plane[2]; }

vorn_result to_bmp(const vorn_image *img, vorn_bmp *bmp, uint32_t format) {
  if (!img || !bmp) return VORN_E_NULL;
  BmpView v = bmp_view(bmp);
  if ((v.bitcount != 24 && v.bitcount != 32) || (int64_t)v.width != (int64_t)img->width ||
      (int64_t)v.height != (int64_t)img->height || img->format != format)
    return VORN_E_PARAM;
  if (!ready(img)) return VORN_E_NULL;
  image_to_rows(img, v.pixels, v.bitcount);
  return VORN_OK;
}

// The raw members convert by the named model whatever the image's format field says.
vorn_result to_rows(const vorn_image *img, uint8_t *rows, uint32_t bits, uint32_t format) {
  if (!img || !rows) return VORN_E_NULL;
  if (!ready(img)) return VORN_E_NULL;
  vorn_image as = *img;
  as.format = format;
  image_to_rows(&as, rows, bits);
  return VORN_OK;
}

}  // namespace
}  // namespace vorn

using namespace vorn;

extern "C" {

VORN_API vorn_result vorn_image_rgb_to_bmp(const vorn_image *img, vorn_bmp *bmp) {
  return to_bmp(img, bmp, VORN_FORMAT_RGB);
}
VORN_API vorn_result vorn_image_yuv_to_bmp(const vorn_image *img, vorn_bmp *bmp) {
  return to_bmp(img, bmp, VORN_FORMAT_YUV);
}
VORN_API vorn_result vorn_image_hsv_to_bmp(const vorn_image *img, vorn_bmp *bmp) {
  return to_bmp(img, bmp, VORN_FORMAT_HSV);
}

VORN_API vorn_result vorn_image_rgb_to_bmp24(const vorn_image *img, uint8_t *rows) {
  return to_rows(img, rows, 24, VORN_FORMAT_RGB);
}
VORN_API vorn_result vorn_image_rgb_to_bmp32(const vorn_image *img, uint8_t *rows) {
  return to_rows(img, rows, 32, VORN_FORMAT_RGB);
}
VORN_API vorn_result vorn_image_yuv_to_bmp24(const vorn_image *img, uint8_t *rows) {
  return to_rows(img, rows, 24, VORN_FORMAT_YUV);
}
VORN_API vorn_result vorn_image_yuv_to_bmp32(const vorn_image *img, uint8_t *rows) {
  return to_rows(img, rows, 32, VORN_FORMAT_YUV);
}
VORN_API vorn_result vorn_image_hsv_to_bmp24(const vorn_image *img, uint8_t *rows) {
  return to_rows(img, rows, 24, VORN_FORMAT_HSV);
}
VORN_API vorn_result vorn_image_hsv_to_bmp32(const vorn_image *img, uint8_t *rows) {
  return to_rows(img, rows, 32, VORN_FORMAT_HSV);
}

}  // extern "C"
