// The frame-ring-only model: intake and scene-cut test, no foreground of its own.
#include "bkmodel/bk_model.h"

using namespace vorn;

extern "C" {

VORN_API vorn_result bk_model_create_sal(vorn_bk_model_init_params *params, void **out_handle) {
  void *ext;
  return bk_create_with_ext(params, out_handle, sizeof(void *), 0, 0, &ext);
}

VORN_API vorn_result bk_model_create_wall(vorn_bk_model_init_params *params, void **out_handle) {
  return bk_model_create_sal(params, out_handle);
}

VORN_API vorn_result bk_model_process_sal(vorn_bk_model *m, uint8_t *frame, uint32_t frame_type) {
  if (!m || !frame) return VORN_E_NULL;
  const vorn_result r = bk_model_process(m, frame, frame_type);
  if (r == VORN_E_SCENE_CHANGE || r == VORN_E_NOMEM) return r;  // the ring does not advance
  return bk_model_process_end(m, VORN_OK);
}

VORN_API vorn_result bk_model_process_wall(vorn_bk_model *m, uint8_t *frame, uint32_t frame_type) {
  return bk_model_process_sal(m, frame, frame_type);
}

}  // extern "C"
