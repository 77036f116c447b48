// Differences of two images: plain, thresholded per plane, and summed over three planes into one mask.
#include <string.h>

#include "imgproc/diff_rows.h"
#include "imgproc/imgproc_check.h"
#include "imgproc/threshold.h"
#include "vorn_imgproc.h"

namespace vorn {
namespace {

void diff_plane(const uint8_t *a, const uint8_t *b, uint8_t *out, uint32_t n) { diff_row_kernels().absdiff(a, b, out, n); }

void diff_binary_plane(const uint8_t *a, const uint8_t *b, uint8_t *out, uint32_t n, int32_t t) {
  ByteThreshold th = byte_threshold(t);
  if (th.fill >= 0) {
    memset(out, th.fill, n);
  } else {
    diff_row_kernels().absdiff_ge(a, b, out, n, th.t);
  }
}

}  // namespace

// The limit of the three-plane sum: (3t)/2 in signed 32-bit arithmetic, t = 40 gives 60.
int32_t sum3_limit(uint32_t t) { return (int32_t)(t * 3u) / 2; }

}  // namespace vorn

using namespace vorn;

extern "C" {

VORN_API vorn_result vorn_image_diff(const vorn_image *a, const vorn_image *b, vorn_image *out, uint32_t plane) {
  if (!present(a) || !present(b) || !present(out)) return VORN_E_NULL;
  if (!same_shape(*a, *b) || !same_shape(*a, *out)) return VORN_E_PARAM;
  uint32_t n = plane_bytes(a->width, a->height);
  if (n == 0) return VORN_OK;
  PlaneRange pr = plane_range(plane);
  for (uint32_t p = pr.first; p <= pr.last; ++p) diff_plane(a->plane[p], b->plane[p], out->plane[p], n);
  return VORN_OK;
}

VORN_API vorn_result vorn_image_diff_binary(const vorn_image *a, const vorn_image *b, vorn_image *out,
                                            uint32_t plane, int32_t t) {
  if (!present(a) || !present(b) || !present(out)) return VORN_E_NULL;
  if (!same_shape(*a, *b) || !same_shape(*a, *out)) return VORN_E_PARAM;
  uint32_t n = plane_bytes(a->width, a->height);
  if (n == 0) return VORN_OK;
  PlaneRange pr = plane_range(plane);
  for (uint32_t p = pr.first; p <= pr.last; ++p) diff_binary_plane(a->plane[p], b->plane[p], out->plane[p], n, t);
  return VORN_OK;
}

VORN_API vorn_result vorn_mono_image_diff(const vorn_mono_image *a, const vorn_mono_image *b,
                                          vorn_mono_image *out) {
  if (!present(a) || !present(b) || !present(out)) return VORN_E_NULL;
  if (!same_size(*a, *b) || !same_size(*a, *out)) return VORN_E_PARAM;
  uint32_t n = plane_bytes(a->width, a->height);
  if (n != 0) diff_plane(a->data, b->data, out->data, n);
  return VORN_OK;
}

VORN_API vorn_result vorn_mono_image_diff_binary(const vorn_mono_image *a, const vorn_mono_image *b,
                                                 vorn_mono_image *out, int32_t t) {
  if (!present(a) || !present(b) || !present(out)) return VORN_E_NULL;
  if (!same_size(*a, *b) || !same_size(*a, *out)) return VORN_E_PARAM;
  uint32_t n = plane_bytes(a->width, a->height);
  if (n != 0) diff_binary_plane(a->data, b->data, out->data, n, t);
  return VORN_OK;
}

VORN_API vorn_result vorn_image_diff_binary_to_mono_image(const vorn_image *a, const vorn_image *b,
                                                          vorn_mono_image *out, uint32_t t) {
  if (!present(a) || !present(b) || !present(out)) return VORN_E_NULL;
  if (!same_shape(*a, *b) || !same_size(*a, *out)) return VORN_E_PARAM;
  uint32_t n = plane_bytes(a->width, a->height);
  if (n == 0) return VORN_OK;
  int32_t limit = sum3_limit(t);
  if (limit <= 0) {
    memset(out->data, 255, n);
  } else if (limit > 765) {
    memset(out->data, 0, n);
  } else {
    const uint8_t *pa[3] = {a->plane[0], a->plane[1], a->plane[2]};
    const uint8_t *pb[3] = {b->plane[0], b->plane[1], b->plane[2]};
    diff_row_kernels().sum3_ge(pa, pb, out->data, n, (uint16_t)limit);
  }
  return VORN_OK;
}

}  // extern "C"
