// The stable-pixel running mean: an exponential mean that learns only where a pixel holds still between frames.
#include <string.h>

#include "bkmodel/bk_mean_kernel.h"
#include "bkmodel/bk_model.h"
#include "core/memory.h"

using namespace vorn;

namespace {

constexpr double kRate = 0.005;

inline double *acc_of(vorn_bk_model *m) {
  return static_cast<double *>(static_cast<bk_ext_buffer *>(m->ext)->buffer);
}

}  // namespace

extern "C" {

VORN_API vorn_result bk_model_create_meanex(vorn_bk_model_init_params *params, void **out_handle) {
  return bk_create_with_buffer(params, out_handle, 1,
                               [](const vorn_bk_model *m) -> size_t { return 3 * sizeof(double) * bk_pixels(m); });
}

VORN_API vorn_result bk_model_process_meanex(vorn_bk_model *m, uint8_t *frame, uint32_t frame_type) {
  if (!m || !frame) return VORN_E_NULL;
  const vorn_result r = bk_model_process(m, frame, frame_type);
  if (r == VORN_E_SCENE_CHANGE || r == VORN_E_NOMEM) return r;  // the ring does not advance
  const uint32_t N = bk_learn_frames(m, 50);
  const bool first = m->frame_count == 0;
  const vorn_image *c = bk_current(m);
  const vorn_image *prev = first ? c : bk_previous(m);
  if (m->frame_count >= N) bk_mask_against_bk(m);
  // The first frame is copied into the accumulators (rate 1).
  const double a = first ? 1.0 : kRate;
  const bk_pass_planes p = bk_pass_planes_of(m, prev);
  const size_t n = bk_pixels(m);
  meanex_update(acc_of(m), n, &p, 0, n, a, 1.0 - a, first);
  vorn_result v = VORN_E_LEARNING;
  if (m->frame_count >= N) {
    m->bk_count = 1;
    v = VORN_OK;
  }
  return bk_model_process_end(m, v);
}

// The copy into the accumulators does not advance its destination: the first pixel's accumulators end up
// holding the last pixel's background and every other pixel keeps its running mean.
VORN_API vorn_result bk_model_set_bk_meanex(vorn_bk_model *m, uint8_t *frame, uint32_t frame_type) {
  if (!m || !frame) return VORN_E_NULL;
  if (!m->bk) return VORN_E_NOMEM;
  bk_convert_frame(frame, frame_type, m->bk);
  m->bk_count++;
  const size_t n = bk_pixels(m);
  if (n == 0) return VORN_OK;
  double *acc = acc_of(m);
  for (int q = 0; q < 3; ++q) acc[q * n] = (double)m->bk->plane[q][n - 1];
  return VORN_OK;
}

VORN_API vorn_result bk_model_reset_meanex(vorn_bk_model *m) {
  if (!m) return VORN_E_NULL;
  bk_model_reset(m);
  memset(acc_of(m), 0, 3 * bk_pixels(m) * sizeof(double));
  return VORN_OK;
}

}  // extern "C"
