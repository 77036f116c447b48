// The cumulative-mean model: every frame since create or reset weighs the same.
#include <string.h>

#include "bkmodel/bk_mean_kernel.h"
#include "bkmodel/bk_model.h"
#include "core/memory.h"

using namespace vorn;

namespace {

constexpr uint32_t kSetBkWeight = 100;

inline uint32_t *sums_of(vorn_bk_model *m) {
  return static_cast<uint32_t *>(static_cast<bk_ext_buffer *>(m->ext)->buffer);
}

}  // namespace

extern "C" {

VORN_API vorn_result bk_model_create_mean(vorn_bk_model_init_params *params, void **out_handle) {
  return bk_create_with_buffer(params, out_handle, 1,
                               [](const vorn_bk_model *m) -> size_t { return 4 * sizeof(uint32_t) * bk_pixels(m); });
}

VORN_API vorn_result bk_model_process_mean(vorn_bk_model *m, uint8_t *frame, uint32_t frame_type) {
  if (!m || !frame) return VORN_E_NULL;
  const vorn_result r = bk_model_process(m, frame, frame_type);
  if (r == VORN_E_SCENE_CHANGE || r == VORN_E_NOMEM) return r;  // the ring does not advance
  const uint32_t N = bk_learn_frames(m, 50);
  if (m->frame_count >= N) bk_mask_against_bk(m);
  const bk_pass_planes p = bk_pass_planes_of(m);
  const size_t n = bk_pixels(m);
  mean_accumulate(sums_of(m), n, &p, 0, n);
  return bk_model_process_end(m, m->frame_count < N ? VORN_E_LEARNING : VORN_OK);
}

// The set background also weighs into the statistics, but the weighting loop keeps its source and destination
// on the first pixel: that pixel's sums gain width x height times 100 x its values, every other pixel keeps its
// own, and the next update rewrites the rest of the background from them.
VORN_API vorn_result bk_model_set_bk_mean(vorn_bk_model *m, uint8_t *frame, uint32_t frame_type) {
  if (!m || !frame) return VORN_E_NULL;
  if (!m->bk) return VORN_E_NOMEM;
  bk_convert_frame(frame, frame_type, m->bk);
  m->bk_count++;
  const size_t n = bk_pixels(m);
  if (n == 0) return VORN_OK;
  uint32_t *sums = sums_of(m);
  const uint32_t times = (uint32_t)n;  // additions wrap like the 32-bit sums they feed
  for (int q = 0; q < 3; ++q) sums[q * n] += kSetBkWeight * m->bk->plane[q][0] * times;
  sums[3 * n] += kSetBkWeight * times;
  return VORN_OK;
}

VORN_API vorn_result bk_model_reset_mean(vorn_bk_model *m) {
  if (!m) return VORN_E_NULL;
  bk_model_reset(m);
  memset(sums_of(m), 0, 4 * bk_pixels(m) * sizeof(uint32_t));
  return VORN_OK;
}

}  // extern "C"
