// Thresholding of one image and the exclusive-or of two masks.
#include <string.h>

#include "imgproc/diff_rows.h"
#include "imgproc/imgproc_check.h"
#include "imgproc/threshold.h"
#include "vorn_imgproc.h"

namespace vorn {
namespace {

void binary_plane(const uint8_t *src, uint8_t *dst, uint32_t n, int32_t t) {
  ByteThreshold th = byte_threshold(t);
  if (th.fill >= 0) {
    memset(dst, th.fill, n);
  } else {
    diff_row_kernels().ge(src, dst, n, th.t);
  }
}

}  // namespace
}  // namespace vorn

using namespace vorn;

extern "C" {

VORN_API vorn_result vorn_image_binary(const vorn_image *src, vorn_image *dst, uint32_t plane, int32_t t) {
  if (!present(src) || !present(dst)) return VORN_E_NULL;
  if (!same_shape(*src, *dst)) return VORN_E_PARAM;
  uint32_t n = plane_bytes(src->width, src->height);
  if (n == 0) return VORN_OK;
  PlaneRange pr = plane_range(plane);
  for (uint32_t p = pr.first; p <= pr.last; ++p) binary_plane(src->plane[p], dst->plane[p], n, t);
  return VORN_OK;
}

VORN_API vorn_result vorn_mono_image_binary(const vorn_mono_image *src, vorn_mono_image *dst, int32_t t) {
  if (!present(src) || !present(dst)) return VORN_E_NULL;
  if (!same_size(*src, *dst)) return VORN_E_PARAM;
  uint32_t n = plane_bytes(src->width, src->height);
  if (n != 0) binary_plane(src->data, dst->data, n, t);
  return VORN_OK;
}

VORN_API vorn_result vorn_mono_image_xor(const vorn_mono_image *a, const vorn_mono_image *b,
                                         vorn_mono_image *out) {
  if (!present(a) || !present(b) || !present(out)) return VORN_E_NULL;
  if (!same_size(*a, *b) || !same_size(*a, *out)) return VORN_E_PARAM;
  uint32_t n = plane_bytes(a->width, a->height);
  if (n != 0) diff_row_kernels().xor_bytes(a->data, b->data, out->data, n);
  return VORN_OK;
}

}  // extern "C"
