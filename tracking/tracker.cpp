// Multi-object tracker: creation, the per-frame intake through the background model and object maker, getters.
#include <string.h>

#include "core/memory.h"
#include "tracking/tracker_impl.h"

using namespace vorn;

namespace {

constexpr uint32_t kModelHistory = 32;

}  // namespace

extern "C" {

VORN_API vorn_result vorn_tracker_create(const vorn_tracker_params *params, vorn_tracker **out) {
  if (!out) return VORN_E_PARAM;
  *out = nullptr;
  if (!params) return VORN_E_PARAM;
  vorn_tracker *t = block_new<vorn_tracker>();
  if (!t) return VORN_E_NOMEM;
  vorn_result r = VORN_OK;
  vorn_bk_model_init(params->model_kind, &t->ops);
  vorn_bk_model_init_params mp = {kModelHistory, params->width, params->height, params->model_param};
  void *model = nullptr;
  r = t->ops.create(&mp, &model);
  t->model = static_cast<vorn_bk_model *>(model);
  if (r == VORN_OK) r = t->ops.set_param(t->model, 0, VORN_BK_PARAM_SENSITIVITY);
  if (r == VORN_OK) r = t->ops.set_param(t->model, 0x101, VORN_BK_PARAM_WINDOW);
  if (r == VORN_OK) {
    vorn_obj_maker_params op = {params->width, params->height, (uint32_t)kMaxDetections, 1};
    r = vorn_obj_maker_create(&op, &t->maker);
  }
  for (int i = 0; r == VORN_OK && i < kChainLength; ++i) {
    t->frames[i] = block_new<Track>(kMaxDetections);
    if (!t->frames[i]) r = VORN_E_NOMEM;
  }
  if (r == VORN_OK) {
    t->chain_store = block_new<Chain>(kMaxChains);
    if (!t->chain_store) r = VORN_E_NOMEM;
  }
  for (int i = 0; r == VORN_OK && i < kMaxTracks; ++i) {
    Track &k = t->tracks[i];
    vorn_kalman_params kp = {4, 2, 0};
    if (!(k.measurement = vorn_matrix_alloc(2, 1)) || !(k.hist_store = vorn_histogram_alloc(kHistBins)))
      r = VORN_E_NOMEM;
    else
      r = vorn_kalman_create(&kp, &k.filter_store);
  }
  if (r != VORN_OK) {
    vorn_tracker_destroy(t);
    return r;
  }
  for (int i = 0; i < kMaxChains; ++i) t->chains[i] = &t->chain_store[i];
  t->width = params->width;
  t->height = params->height;
  t->model_param = params->model_param;
  t->model_kind = params->model_kind;
  t->frame_rect = vorn_rect{0, 0, (int32_t)params->width, (int32_t)params->height};
  *out = t;
  return VORN_OK;
}

VORN_API vorn_result vorn_tracker_destroy(vorn_tracker *t) {
  if (!t) return VORN_E_NULL;
  if (t->model && t->ops.destroy) t->ops.destroy(t->model);
  vorn_obj_maker_destroy(t->maker);
  for (int i = 0; i < kMaxTracks; ++i) {
    vorn_kalman_destroy(t->tracks[i].filter_store);
    vorn_histogram_free(t->tracks[i].hist_store);
    vorn_matrix_free(t->tracks[i].measurement);
  }
  for (int i = 0; i < kChainLength; ++i) block_release(t->frames[i]);
  block_release(t->chain_store);
  vorn_free(t);
  return VORN_OK;
}

VORN_API vorn_result vorn_tracker_process(vorn_tracker *t, uint8_t *frame, uint32_t frame_type) {
  if (!t || !t->model || !frame) return VORN_E_NULL;
  t->frame_count++;
  vorn_result r = t->ops.process(t->model, frame, frame_type);
  if (r == VORN_E_SCENE_CHANGE) {
    t->ops.reset(t->model);
    return r;
  }
  if (r != VORN_OK) return r;
  vorn_mono_image *fg = nullptr;
  vorn_image *image = nullptr;
  if ((r = t->ops.get_fg(t->model, &fg)) != VORN_OK) return r;
  if ((r = t->ops.get_image(t->model, 0, &image)) != VORN_OK) return r;
  if (!fg || !image) return VORN_OK;
  if ((r = vorn_obj_maker_process(t->maker, fg)) != VORN_OK) return r;
  vorn_obj_maker_adjust_rect(t->maker, fg);
  // Histograms that could not be made, or tracks that could not be started, are reported after the step has
  // left every track and candidate consistent for the next frame.
  vorn_obj_maker_calculate_hist(t->maker, image, fg);
  vorn_obj *objs = nullptr;
  uint32_t n = 0;
  vorn_obj_maker_get_obj(t->maker, &objs, &n);
  vorn_result hist = VORN_OK;
  for (uint32_t i = 0; i < n; ++i)
    if (!objs[i].hist) hist = VORN_E_NOMEM;
  r = tracker_frame_step(t);
  return hist != VORN_OK ? hist : r;
}

VORN_API vorn_result vorn_tracker_get_objs(vorn_tracker *t, vorn_tracker_obj **objs, uint32_t *count) {
  if (objs) *objs = nullptr;
  if (count) *count = 0;
  if (!t || !objs || !count) return VORN_E_NULL;
  for (int32_t i = 0; i < t->active_count; ++i) {
    const Track *k = t->active[i];
    t->out[i] = vorn_tracker_obj{k->id, k->left, k->top, k->right, k->bottom, k->cx, k->cy};
  }
  *objs = t->out;
  *count = (uint32_t)t->active_count;
  return VORN_OK;
}

VORN_API vorn_result vorn_tracker_get_bk_model(vorn_tracker *t, vorn_bk_model **model, vorn_bk_model_vtable **ops) {
  if (model) *model = nullptr;
  if (ops) *ops = nullptr;
  if (!t || !model || !ops) return VORN_E_NULL;
  *model = t->model;
  *ops = &t->ops;
  return VORN_OK;
}

VORN_API vorn_result vorn_tracker_get_fg(vorn_tracker *t, vorn_mono_image **fg) {
  if (fg) *fg = nullptr;
  if (!t || !fg || !t->model) return VORN_E_NULL;
  return t->ops.get_fg(t->model, fg);
}

VORN_API uint32_t vorn_tracker_get_width(const vorn_tracker *t) { return t ? t->width : 0; }

VORN_API uint32_t vorn_tracker_get_height(const vorn_tracker *t) { return t ? t->height : 0; }

}  // extern "C"
