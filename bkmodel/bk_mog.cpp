// The mixture-of-Gaussians model: five colour Gaussians per pixel, learned by counting for the first frames and
// by exponential forgetting afterwards.
#include <string.h>

#include "bkmodel/bk_mog_kernel.h"
#include "bkmodel/bk_model.h"
#include "core/memory.h"

using namespace vorn;

namespace {

// Private record: the back pointer, the mixtures, then the tuning words (18 words in all).
struct mog_ext {
  vorn_bk_model *model;
  void *components;
  uint32_t bg_ratio_percent;  // stored; the decision uses the fixed ratio 0.7
  uint32_t reserved;
  uint32_t history_len;       // length of the counting phase, inverse rate of forgetting
  uint32_t match_sigma_x100;  // match factor (x / 100)^2 on the variance sum
  uint32_t init_sigma;        // a new Gaussian's variance is this squared
  uint32_t spare[11];
};

inline mog_ext *ext_of(vorn_bk_model *m) { return static_cast<mog_ext *>(m->ext); }

mog_state state_of(vorn_bk_model *m) {
  mog_state s;
  mog_state_bind(&s, ext_of(m)->components, bk_pixels(m));
  return s;
}

mog_planes planes_of(vorn_bk_model *m) {
  mog_planes p;
  const vorn_image *c = bk_current(m);
  for (int q = 0; q < 3; ++q) {
    p.c[q] = c->plane[q];
    p.bk[q] = m->bk->plane[q];
  }
  p.fg = m->fg->data;
  p.mask = m->mask->data;
  return p;
}

}  // namespace

extern "C" {

VORN_API vorn_result bk_model_create_mog(vorn_bk_model_init_params *params, void **out_handle) {
  void *ext;
  vorn_result r = bk_create_with_ext(params, out_handle, sizeof(mog_ext), 1, 0, &ext);
  if (r != VORN_OK) return r;
  vorn_bk_model *m = static_cast<vorn_bk_model *>(*out_handle);
  mog_ext *e = static_cast<mog_ext *>(ext);
  e->bg_ratio_percent = 70;
  e->history_len = 2000;
  e->match_sigma_x100 = 500;
  e->init_sigma = 30;
  if (!(e->components = block_alloc(mog_state_bytes(bk_pixels(m))))) {
    bk_model_destroy_mog(m);
    *out_handle = nullptr;
    return VORN_E_NOMEM;
  }
  return VORN_OK;
}

VORN_API vorn_result bk_model_process_mog(vorn_bk_model *m, uint8_t *frame, uint32_t frame_type) {
  if (!m || !frame) return VORN_E_NULL;
  const vorn_result r = bk_model_process(m, frame, frame_type);
  if (r == VORN_E_SCENE_CHANGE || r == VORN_E_NOMEM) return r;  // the ring does not advance
  mog_state s = state_of(m);
  const mog_planes p = planes_of(m);
  if (m->frame_count == 0) {
    mog_init_pixels(&s, &p, 0, bk_pixels(m));
    return bk_model_process_end(m, VORN_OK);
  }
  const mog_ext *e = ext_of(m);
  mog_consts k;
  const double sigma = (double)e->match_sigma_x100, init = (double)e->init_sigma;
  k.match_factor = sigma * sigma / 10000.0;
  k.init_var = init * init;
  k.history_len = (double)e->history_len;
  k.history_len_u = e->history_len;
  mog_update_pixels(&s, &p, 0, bk_pixels(m), m->frame_count, &k);
  vorn_result v = VORN_E_LEARNING;
  if (m->frame_count >= bk_learn_frames(m, 50)) {
    m->bk_count = 1;
    v = VORN_OK;
  }
  return bk_model_process_end(m, v);
}

VORN_API vorn_result bk_model_reset_mog(vorn_bk_model *m) {
  if (!m) return VORN_E_NULL;
  bk_model_reset(m);
  memset(ext_of(m)->components, 0, mog_state_bytes(bk_pixels(m)));
  return VORN_OK;
}

}  // extern "C"
