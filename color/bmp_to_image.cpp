// Bitmaps (bitmap objects and raw bottom-up 24- or 32-bit rows) into planar RGB, YUV and HSV images.
// Stored row s is image row h - 1 - s; pixel bytes are B, G, R (and an unused fourth byte in 32-bit rows).
#include "color/color_rules.h"
#include "color/convert_rows.h"
#include "color/frame_layout.h"
#include "core/bitmap.h"
#include "vorn_color.h"

namespace vorn {
namespace {

enum class Target { kRgb, kYuv, kHsv };

void bgr_to_hsv_row(const uint8_t *src, uint32_t bpp, uint8_t *h, uint8_t *s, uint8_t *v, int width) {
  for (int x = 0; x < width; ++x, src += bpp) rgb_to_hsv(src[2], src[1], src[0], &h[x], &s[x], &v[x]);
}

// Walks the stored rows of a bitmap of the image's size into the image.
void bmp_rows_to_image(const uint8_t *pixels, uint32_t bits, vorn_image *img, Target target) {
  const ColorKernels *k = color_kernels();
  PackedRowFn fn = nullptr;
  if (target == Target::kRgb) fn = bits == 24 ? k->bgr24_to_rgb : k->bgr32_to_rgb;
  if (target == Target::kYuv) fn = bits == 24 ? k->bgr24_to_yuv : k->bgr32_to_yuv;
  size_t w = img->width, h = img->height, stride = (size_t)bmp_stride((int64_t)w, bits);
  for (size_t s = 0; s < h; ++s, pixels += stride) {
    size_t row = h - 1 - s;
    if (fn)
      fn(pixels, plane_row(img, 0, row), plane_row(img, 1, row), plane_row(img, 2, row), (int)w);
    else
      bgr_to_hsv_row(pixels, bits / 8, plane_row(img, 0, row), plane_row(img, 1, row), plane_row(img, 2, row),
                     (int)w);
  }
}

bool ready(const vorn_image *img) { return img->plane[0] && img->plane[1] && img->plane[2]; }

vorn_result from_bmp(const vorn_bmp *bmp, vorn_image *img, uint32_t format, Target target) {
  if (!bmp || !img) return VORN_E_NULL;
  BmpView v = bmp_view(bmp);
  if ((v.bitcount != 24 && v.bitcount != 32) || (int64_t)v.width != (int64_t)img->width ||
      (int64_t)v.height != (int64_t)img->height || img->format != format)
    return VORN_E_PARAM;
  if (!ready(img)) return VORN_E_NULL;
  bmp_rows_to_image(v.pixels, v.bitcount, img, target);
  return VORN_OK;
}

vorn_result from_rows(const uint8_t *rows, uint32_t bits, vorn_image *img, Target target) {
  if (!rows || !img) return VORN_E_NULL;
  if (!ready(img)) return VORN_E_NULL;
  bmp_rows_to_image(rows, bits, img, target);
  return VORN_OK;
}

}  // namespace
}  // namespace vorn

using namespace vorn;

extern "C" {

VORN_API vorn_result vorn_image_bmp_to_rgb(const vorn_bmp *bmp, vorn_image *img) {
  return from_bmp(bmp, img, VORN_FORMAT_RGB, Target::kRgb);
}
VORN_API vorn_result vorn_image_bmp_to_yuv(const vorn_bmp *bmp, vorn_image *img) {
  return from_bmp(bmp, img, VORN_FORMAT_YUV, Target::kYuv);
}
VORN_API vorn_result vorn_image_bmp_to_hsv(const vorn_bmp *bmp, vorn_image *img) {
  return from_bmp(bmp, img, VORN_FORMAT_HSV, Target::kHsv);
}

VORN_API vorn_result vorn_image_bmp24_to_rgb(const uint8_t *rows, vorn_image *img) {
  return from_rows(rows, 24, img, Target::kRgb);
}
VORN_API vorn_result vorn_image_bmp24_to_yuv(const uint8_t *rows, vorn_image *img) {
  return from_rows(rows, 24, img, Target::kYuv);
}
VORN_API vorn_result vorn_image_bmp24_to_hsv(const uint8_t *rows, vorn_image *img) {
  return from_rows(rows, 24, img, Target::kHsv);
}

VORN_API vorn_result vorn_image_bmp32_to_rgb(const uint8_t *rows, vorn_image *img) {
  return from_rows(rows, 32, img, Target::kRgb);
}
VORN_API vorn_result vorn_image_bmp32_to_yuv(const uint8_t *rows, vorn_image *img) {
  return from_rows(rows, 32, img, Target::kYuv);
}
VORN_API vorn_result vorn_image_bmp32_to_hsv(const uint8_t *rows, vorn_image *img) {
  return from_rows(rows, 32, img, Target::kHsv);
}

}  // extern "C"
