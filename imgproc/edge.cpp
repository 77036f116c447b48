// 3x3 kernel filters of a frame's grey data: thresholded or low-byte edges, and raw signed derivatives.
#include <string.h>

#include "imgproc/edge_rows.h"
#include "imgproc/imgproc_check.h"
#include "vorn_color.h"
#include "vorn_imgproc.h"

namespace vorn {
namespace {

// The grey plane of an image: plane 0 of YUV, plane 2 (V) of HSV, or the luma of RGB in a temporary image.
struct GreySource {
  const uint8_t *data = nullptr;
  vorn_mono_image *temp = nullptr;
  ~GreySource() { vorn_mono_image_free(temp); }
};

vorn_result grey_source(const vorn_image &img, GreySource *g) {
  switch (img.format) {
    case VORN_FORMAT_YUV:
      g->data = img.plane[0];
      return VORN_OK;
    case VORN_FORMAT_HSV:
      g->data = img.plane[2];
      return VORN_OK;
    case VORN_FORMAT_RGB:
      g->temp = vorn_mono_image_alloc(img.width, img.height);
      if (!g->temp) return VORN_E_NOMEM;
      vorn_image_rgb_to_y(&img, g->temp);
      g->data = g->temp->data;
      return VORN_OK;
    default:
      return VORN_E_PARAM;
  }
}

}  // namespace
}  // namespace vorn

using namespace vorn;

extern "C" {

VORN_API vorn_result vorn_image_edge(const vorn_image *img, vorn_mono_image *out, int32_t t, uint32_t k) {
  if (!present(img) || !present(out)) return VORN_E_NULL;
  if (k >= kEdgeKernels) return VORN_E_PARAM;
  if (out->width != img->width || out->height != img->height) return VORN_E_PARAM;
  const uint32_t w = img->width, h = img->height;
  if (w == 0 || h == 0) return img->format <= VORN_FORMAT_HSV ? VORN_OK : VORN_E_PARAM;
  GreySource grey;
  vorn_result r = grey_source(*img, &grey);
  if (r != VORN_OK) return r;
  uint8_t *o = out->data;
  memset(o, 0, w);
  memset(o + (size_t)(h - 1) * w, 0, w);
  for (uint32_t y = 1; y + 1 < h; ++y) {
    o[(size_t)y * w] = 0;
    o[(size_t)y * w + w - 1] = 0;
  }
  if (w < 3) return VORN_OK;
  const EdgeRowKernels &kr = edge_row_kernels();
  const int16_t t16 = (int16_t)(t > 32767 ? 32767 : t);
  for (uint32_t y = 1; y + 1 < h; ++y) {
    const uint8_t *r1 = grey.data + (size_t)y * w;
    uint8_t *row = o + (size_t)y * w + 1;
    if (t >= 0)
      kr.edge_threshold[k](r1 - w, r1, r1 + w, row, w - 2, t16);
    else
      kr.edge_low_byte[k](r1 - w, r1, r1 + w, row, w - 2);
  }
  return VORN_OK;
}

VORN_API vorn_result vorn_image_deriv(const vorn_image *img, int32_t *out, uint32_t k) {
  if (!present(img) || !out) return VORN_E_NULL;
  if (k >= kEdgeKernels) return VORN_E_PARAM;
  const uint32_t w = img->width, h = img->height;
  if (w == 0 || h == 0) return img->format <= VORN_FORMAT_HSV ? VORN_OK : VORN_E_PARAM;
  GreySource grey;
  vorn_result r = grey_source(*img, &grey);
  if (r != VORN_OK) return r;
  if (w < 3) return VORN_OK;
  const EdgeRowKernels &kr = edge_row_kernels();
  for (uint32_t y = 1; y + 1 < h; ++y) {
    const uint8_t *r1 = grey.data + (size_t)y * w;
    kr.deriv[k](r1 - w, r1, r1 + w, out + (size_t)y * w + 1, w - 2);
  }
  return VORN_OK;
}

}  // extern "C"
