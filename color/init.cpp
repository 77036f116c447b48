// Library start-up: the only global state of the library is built here, beside the tables themselves: the colour
// lookup tables and the frame-conversion table. Afterwards both are read-only.
#include "color/color_tables.h"
#include "color/frame_table.h"
#include "vorn_core.h"

extern "C" {

VORN_API vorn_result vorn_init(void) {
  vorn::init_color_tables();
  vorn::init_frame_table();
  return VORN_OK;
}

VORN_API vorn_result vorn_release(void) { return VORN_OK; }

}  // extern "C"
