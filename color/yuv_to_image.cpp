// Packed 4:2:2 (Y0 U Y1 V) and planar 4:2:0 frames into planar RGB, YUV and HSV images.
#include "color/color_rules.h"
#include "color/convert_rows.h"
#include "color/frame_layout.h"
#include "vorn_color.h"

namespace vorn {
namespace {

enum class Target { kRgb, kYuv, kHsv };

// Writes one pixel of the target model from its Y, U, V.
inline void put(Target t, vorn_image *img, size_t i, uint8_t y, uint8_t u, uint8_t v) {
  uint8_t *a = img->plane[0] + i, *b = img->plane[1] + i, *c = img->plane[2] + i;
  if (t == Target::kYuv) {
    *a = y, *b = u, *c = v;
    return;
  }
  uint8_t r, g, bl;
  yuv_to_rgb(y, u, v, &r, &g, &bl);
  if (t == Target::kRgb)
    *a = r, *b = g, *c = bl;
  else
    rgb_to_hsv(r, g, bl, a, b, c);
}

bool ready(const void *frame, const vorn_image *img) {
  return frame && img && img->plane[0] && img->plane[1] && img->plane[2];
}

// Image row r is frame row r of 2w bytes. The YUV target gives both chroma planes the pair's V byte.
void yuyv_to_image(const uint8_t *f, vorn_image *img, Target t) {
  const ColorKernels *k = color_kernels();
  int64_t w = img->width, h = img->height, limit = 2 * w * h, even = w & ~1;
  for (int64_t r = 0; r < h; ++r) {
    const uint8_t *row = f + 2 * w * r;
    size_t base = (size_t)(r * w);
    if (t == Target::kRgb) {
      k->yuyv_to_rgb(row, plane_row(img, 0, r), plane_row(img, 1, r), plane_row(img, 2, r), (int)even);
    } else if (t == Target::kYuv) {
      k->yuyv_to_yuv(row, plane_row(img, 0, r), plane_row(img, 1, r), plane_row(img, 2, r), (int)even);
    } else {
      for (int64_t x = 0; x < even; ++x) put(t, img, base + x, row[2 * x], row[4 * (x >> 1) + 1], row[4 * (x >> 1) + 3]);
    }
    if (w & 1) {
      int64_t x = w - 1;
      uint8_t v = f[yuyv_v_at(2 * w * r, x, limit)];
      put(t, img, base + x, row[2 * x], t == Target::kYuv ? v : row[2 * x + 1], v);
    }
  }
}

// Image row r takes chroma row (r + 1) / 2; pixel x takes chroma column x / 2.
void i420_to_image(const uint8_t *f, vorn_image *img, Target t) {
  const ColorKernels *k = color_kernels();
  int64_t w = img->width, h = img->height, need = (w + 1) / 2;
  Yuv420Layout L(w, h);
  PlanarRowFn fn = t == Target::kRgb ? k->i420_to_rgb : t == Target::kYuv ? k->i420_to_yuv : nullptr;
  for (int64_t r = 0; r < h; ++r) {
    int64_t c = (r + 1) / 2, uo = L.u + c * L.cw, vo = L.v + c * L.cw;
    const uint8_t *y = f + r * w;
    if (fn && L.inside(uo, need) && L.inside(vo, need)) {
      fn(y, f + uo, f + vo, plane_row(img, 0, r), plane_row(img, 1, r), plane_row(img, 2, r), (int)w);
      continue;
    }
    size_t base = (size_t)(r * w);
    for (int64_t x = 0; x < w; ++x) put(t, img, base + x, y[x], f[L.read_at(uo + x / 2)], f[L.read_at(vo + x / 2)]);
  }
}

vorn_result yuyv(const uint8_t *frame, vorn_image *img, Target t) {
  if (!ready(frame, img)) return VORN_E_NULL;
  yuyv_to_image(frame, img, t);
  return VORN_OK;
}

vorn_result i420(const uint8_t *frame, vorn_image *img, Target t) {
  if (!ready(frame, img)) return VORN_E_NULL;
  i420_to_image(frame, img, t);
  return VORN_OK;
}

}  // namespace
}  // namespace vorn

using namespace vorn;

extern "C" {

VORN_API vorn_result vorn_image_yuv422_to_rgb(const uint8_t *frame, vorn_image *img) {
  return yuyv(frame, img, Target::kRgb);
}
VORN_API vorn_result vorn_image_yuv422_to_yuv(const uint8_t *frame, vorn_image *img) {
  return yuyv(frame, img, Target::kYuv);
}
VORN_API vorn_result vorn_image_yuv422_to_hsv(const uint8_t *frame, vorn_image *img) {
  return yuyv(frame, img, Target::kHsv);
}

VORN_API vorn_result vorn_image_yuv420_to_rgb(const uint8_t *frame, vorn_image *img) {
  return i420(frame, img, Target::kRgb);
}
VORN_API vorn_result vorn_image_yuv420_to_yuv(const uint8_t *frame, vorn_image *img) {
  return i420(frame, img, Target::kYuv);
}
VORN_API vorn_result vorn_image_yuv420_to_hsv(const uint8_t *frame, vorn_image *img) {
  return i420(frame, img, Target::kHsv);
}

}  // extern "C"
