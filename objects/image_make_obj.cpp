// A placeholder kept for its name: it was meant to return rectangles of a mask's regions and finds nothing.
#include "vorn_obj_maker.h"

extern "C" {

VORN_API vorn_result vorn_image_make_obj(const vorn_mono_image *mask, int32_t unused_a, int32_t unused_b,
                                         vorn_rect *rects, uint32_t *count) {
  (void)unused_a;
  (void)unused_b;
  (void)rects;
  if (count) *count = 0;
  if (!mask || !count || !mask->data) return VORN_E_NULL;
  vorn_mono_image *scratch = vorn_mono_image_alloc(mask->width, mask->height);
  if (!scratch) return VORN_E_NOMEM;
  if (mask->data) vorn_mono_image_copy(scratch, mask);
  vorn_mono_image_free(scratch);
  return VORN_OK;
}

}  // extern "C"
