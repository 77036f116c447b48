// Thresholded 4-neighbour Laplacian over a rectangle widened by one pixel and kept one pixel inside the border.
#include "imgproc/edge_rows.h"
#include "imgproc/imgproc_check.h"
#include "vorn_imgproc.h"

extern "C" VORN_API vorn_result vorn_laplacian_rect(vorn_mono_image *dst, const vorn_mono_image *src, int32_t left,
                                                    int32_t top, int32_t right, int32_t bottom, int32_t t) {
  if (!vorn::present(dst) || !vorn::present(src)) return VORN_E_NULL;
  if (dst->width != src->width || dst->height != src->height) return VORN_E_PARAM;
  const int64_t w = src->width, h = src->height;
  int64_t x0 = (int64_t)left - 1, x1 = (int64_t)right + 1, y0 = (int64_t)top - 1, y1 = (int64_t)bottom + 1;
  if (x0 < 1) x0 = 1;
  if (y0 < 1) y0 = 1;
  if (x1 > w - 1) x1 = w - 1;
  if (y1 > h - 1) y1 = h - 1;
  if (x0 >= x1 || y0 >= y1) return VORN_OK;
  // |L| never exceeds 1020, so thresholds beyond 16 bits behave like 32767, and every negative one like -1.
  const int16_t t16 = (int16_t)(t > 32767 ? 32767 : (t < -1 ? -1 : t));
  const vorn::EdgeRowKernels &k = vorn::edge_row_kernels();
  for (int64_t y = y0; y < y1; ++y) {
    const uint8_t *r1 = src->data + (size_t)(y * w + x0 - 1);
    k.laplacian(r1 - w, r1, r1 + w, dst->data + (size_t)(y * w + x0), (uint32_t)(x1 - x0), t16);
  }
  return VORN_OK;
}
