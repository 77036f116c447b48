// Conversions between the colour models of planar images (RGB, YUV, HSV) and single luma or hue planes.
#include "color/color_rules.h"
#include "color/convert_rows.h"
#include "vorn_color.h"

namespace vorn {
namespace {

bool has_planes(const vorn_image *img) { return img->plane[0] && img->plane[1] && img->plane[2]; }

// Null and shape checks shared by the image-to-image conversions: VORN_OK when the pair may be converted.
vorn_result check_pair(const vorn_image *src, uint32_t src_format, const vorn_image *dst, uint32_t dst_format) {
  if (!src || !dst) return VORN_E_NULL;
  if (src->format != src_format || dst->format != dst_format || src->width != dst->width ||
      src->height != dst->height)
    return VORN_E_PARAM;
  if (!has_planes(src) || !has_planes(dst)) return VORN_E_NULL;
  return VORN_OK;
}

vorn_result check_mono(const vorn_image *img, uint32_t format, const vorn_mono_image *mono) {
  if (!img || !mono) return VORN_E_NULL;
  if (img->format != format || img->width != mono->width || img->height != mono->height) return VORN_E_PARAM;
  if (!has_planes(img) || !mono->data) return VORN_E_NULL;
  return VORN_OK;
}

// Runs a planar row kernel over every row of two same-sized images.
void each_row(PlanarRowFn fn, const vorn_image *src, vorn_image *dst) {
  size_t w = src->width;
  for (size_t r = 0, off = 0; r < src->height; ++r, off += w)
    fn(src->plane[0] + off, src->plane[1] + off, src->plane[2] + off, dst->plane[0] + off, dst->plane[1] + off,
       dst->plane[2] + off, (int)w);
}

size_t area(uint32_t w, uint32_t h) { return (size_t)w * h; }

}  // namespace
}  // namespace vorn

using namespace vorn;

extern "C" {

VORN_API vorn_result vorn_image_rgb_to_yuv(const vorn_image *src, vorn_image *dst) {
  vorn_result rc = check_pair(src, VORN_FORMAT_RGB, dst, VORN_FORMAT_YUV);
  if (rc) return rc;
  each_row(color_kernels()->rgb_to_yuv, src, dst);
  return VORN_OK;
}

VORN_API vorn_result vorn_image_yuv_to_rgb(const vorn_image *src, vorn_image *dst) {
  vorn_result rc = check_pair(src, VORN_FORMAT_YUV, dst, VORN_FORMAT_RGB);
  if (rc) return rc;
  each_row(color_kernels()->yuv_to_rgb, src, dst);
  return VORN_OK;
}

VORN_API vorn_result vorn_image_rgb_to_hsv(const vorn_image *src, vorn_image *dst) {
  vorn_result rc = check_pair(src, VORN_FORMAT_RGB, dst, VORN_FORMAT_HSV);
  if (rc) return rc;
  each_row(color_kernels()->rgb_to_hsv, src, dst);
  return VORN_OK;
}

VORN_API vorn_result vorn_image_hsv_to_rgb(const vorn_image *src, vorn_image *dst) {
  vorn_result rc = check_pair(src, VORN_FORMAT_HSV, dst, VORN_FORMAT_RGB);
  if (rc) return rc;
  size_t n = area(src->width, src->height);
  const uint8_t *h = src->plane[0], *s = src->plane[1], *v = src->plane[2];
  for (size_t i = 0; i < n; ++i) hsv_to_rgb(h[i], s[i], v[i], &dst->plane[0][i], &dst->plane[1][i], &dst->plane[2][i]);
  return VORN_OK;
}

VORN_API vorn_result vorn_image_yuv_to_hsv(const vorn_image *src, vorn_image *dst) {
  vorn_result rc = check_pair(src, VORN_FORMAT_YUV, dst, VORN_FORMAT_HSV);
  if (rc) return rc;
  size_t n = area(src->width, src->height);
  for (size_t i = 0; i < n; ++i) {
    uint8_t r, g, b;
    yuv_to_rgb(src->plane[0][i], src->plane[1][i], src->plane[2][i], &r, &g, &b);
    rgb_to_hsv(r, g, b, &dst->plane[0][i], &dst->plane[1][i], &dst->plane[2][i]);
  }
  return VORN_OK;
}

VORN_API vorn_result vorn_image_hsv_to_yuv(const vorn_image *src, vorn_image *dst) {
  vorn_result rc = check_pair(src, VORN_FORMAT_HSV, dst, VORN_FORMAT_YUV);
  if (rc) return rc;
  size_t n = area(src->width, src->height);
  for (size_t i = 0; i < n; ++i) {
    uint8_t r, g, b;
    hsv_to_rgb(src->plane[0][i], src->plane[1][i], src->plane[2][i], &r, &g, &b);
    rgb_to_yuv(r, g, b, &dst->plane[0][i], &dst->plane[1][i], &dst->plane[2][i]);
  }
  return VORN_OK;
}

VORN_API vorn_result vorn_image_rgb_to_y(const vorn_image *src, vorn_mono_image *dst) {
  vorn_result rc = check_mono(src, VORN_FORMAT_RGB, dst);
  if (rc) return rc;
  size_t n = area(src->width, src->height);
  for (size_t i = 0; i < n; ++i) dst->data[i] = rgb_to_y_trunc(src->plane[0][i], src->plane[1][i], src->plane[2][i]);
  return VORN_OK;
}

VORN_API vorn_result vorn_image_y_to_rgb(const vorn_mono_image *src, vorn_image *dst) {
  vorn_result rc = check_mono(dst, VORN_FORMAT_RGB, src);
  if (rc) return rc;
  size_t n = area(src->width, src->height);
  for (int p = 0; p < 3; ++p)
    for (size_t i = 0; i < n; ++i) dst->plane[p][i] = src->data[i];
  return VORN_OK;
}

VORN_API vorn_result vorn_image_rgb_to_h(const vorn_image *src, vorn_mono_image *dst) {
  vorn_result rc = check_mono(src, VORN_FORMAT_RGB, dst);
  if (rc) return rc;
  size_t n = area(src->width, src->height);
  for (size_t i = 0; i < n; ++i) dst->data[i] = rgb_to_h(src->plane[0][i], src->plane[1][i], src->plane[2][i]);
  return VORN_OK;
}

VORN_API vorn_result vorn_image_yuv_to_h(const vorn_image *src, vorn_mono_image *dst) {
  vorn_result rc = check_mono(src, VORN_FORMAT_YUV, dst);
  if (rc) return rc;
  size_t n = area(src->width, src->height);
  for (size_t i = 0; i < n; ++i) {
    uint8_t r, g, b;
    yuv_to_rgb(src->plane[0][i], src->plane[1][i], src->plane[2][i], &r, &g, &b);
    dst->data[i] = rgb_to_h(r, g, b);
  }
  return VORN_OK;
}

// Kept for hosts that call it: a loop over every RGB triple with nothing in its body.
VORN_API vorn_result vorn_image_test_hsv(void) { return VORN_OK; }

}  // extern "C"
