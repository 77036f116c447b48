// Scene-cut tests: a frame that differs from its reference in most pixels, or whose edges lost most of the
// previous frame's edges, is not a scene the background should learn.
#include "imgproc/diff_rows.h"
#include "imgproc/imgproc_check.h"
#include "imgproc/threshold.h"
#include "vorn_imgproc.h"

using namespace vorn;

extern "C" {

VORN_API vorn_result vorn_image_scenecut_detect(const vorn_image *cur, const vorn_image *ref, uint32_t t) {
  if (!present(cur) || !present(ref)) return VORN_E_NULL;
  if (!same_shape(*cur, *ref)) return VORN_E_PARAM;
  const uint32_t n = plane_bytes(cur->width, cur->height);
  if (n == 0) return VORN_OK;
  const int32_t limit = sum3_limit(t);
  uint32_t changed;
  if (limit <= 0) {
    changed = n;
  } else if (limit > 765) {
    changed = 0;
  } else {
    const uint8_t *a[3] = {cur->plane[0], cur->plane[1], cur->plane[2]};
    const uint8_t *b[3] = {ref->plane[0], ref->plane[1], ref->plane[2]};
    changed = diff_row_kernels().sum3_count_ge(a, b, n, (uint16_t)limit);
  }
  // Three quarters of the pixel count, in 32-bit arithmetic.
  return changed > ((n * 3u) >> 2) ? VORN_E_SCENE_CHANGE : VORN_OK;
}

VORN_API vorn_result vorn_image_scenecut_detect_edge(const vorn_mono_image *cur_edges,
                                                     const vorn_mono_image *prev_edges) {
  if (!present(cur_edges) || !present(prev_edges)) return VORN_E_NULL;
  if (!same_size(*cur_edges, *prev_edges)) return VORN_E_PARAM;
  const uint32_t n = plane_bytes(cur_edges->width, cur_edges->height);
  const uint8_t *cur = cur_edges->data, *prev = prev_edges->data;
  uint32_t total = 0, lost = 0;
  for (uint32_t i = 0; i < n; ++i) {
    uint32_t was = prev[i] != 0;
    total += was;
    lost += was & (uint32_t)(cur[i] == 0);
  }
  return lost > ((total * 3u) >> 2) ? VORN_E_SCENE_CHANGE : VORN_OK;
}

}  // extern "C"
