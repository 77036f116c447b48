// The default model: foreground against a background that only the host sets.
#include "bkmodel/bk_model.h"

using namespace vorn;

extern "C" {

VORN_API vorn_result bk_model_create_def(vorn_bk_model_init_params *params, void **out_handle) {
  void *ext;
  return bk_create_with_ext(params, out_handle, sizeof(void *), 1, 30, &ext);
}

VORN_API vorn_result bk_model_process_def(vorn_bk_model *m, uint8_t *frame, uint32_t frame_type) {
  if (!m || !frame) return VORN_E_NULL;
  const vorn_result r = bk_model_process(m, frame, frame_type);
  if (r == VORN_E_SCENE_CHANGE || r == VORN_E_NOMEM) return r;  // the ring does not advance
  vorn_result v = VORN_E_LEARNING;
  if (m->bk_count != 0) {
    bk_mask_against_bk(m);
    v = VORN_OK;
  }
  return bk_model_process_end(m, v);
}

}  // extern "C"
