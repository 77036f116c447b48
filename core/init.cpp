// Library start-up and the small do-nothing exports.
#include "vorn_core.h"
#include "vorn_image.h"
#include "core/init_hooks.h"

extern "C" {

VORN_API vorn_result vorn_init(void) {
  vorn::init_color_tables();
  vorn::init_frame_table();
  return VORN_OK;
}

VORN_API vorn_result vorn_release(void) { return VORN_OK; }

VORN_API vorn_result vorn_mono_image_thin(void) { return VORN_OK; }

VORN_API uintptr_t vorn_get_stat_info(void *handle, vorn_stat_info *info) {
  if (!info || info->kind != 0) return 0;
  info->value = handle ? vorn::counter_event_word(handle) : 0;
  return 0;
}

}  // extern "C"
