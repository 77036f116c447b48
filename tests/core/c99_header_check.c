/* Compiled as C99 with every warning an error: the public interface must stay plain C. */
#include <string.h>
#include <vorn.h>

/* Every opaque handle's struct tag is its typedef's name, so C hosts may write either. */
#define SAME_TAG(name) struct name *name##_tagged = (name *)0;

int main(void) {
  SAME_TAG(vorn_bk_model) SAME_TAG(vorn_bpnn) SAME_TAG(vorn_contour) SAME_TAG(vorn_counter) SAME_TAG(vorn_guard)
  SAME_TAG(vorn_kalman) SAME_TAG(vorn_camshift) SAME_TAG(vorn_meanshift) SAME_TAG(vorn_obj_maker)
  SAME_TAG(vorn_obld) SAME_TAG(vorn_plate) SAME_TAG(vorn_pyramid) SAME_TAG(vorn_tracker) SAME_TAG(vorn_vbc)
  SAME_TAG(vorn_bmp)
  vorn_image *img;
  vorn_result r;
  if (vorn_init() != VORN_OK) return 1;
  img = vorn_image_alloc(4, 4, VORN_FORMAT_RGB);
  if (!img) return 1;
  r = vorn_image_copy(img, img);
  vorn_image_free(img);
  (void)vorn_bk_model_tagged; (void)vorn_bpnn_tagged; (void)vorn_contour_tagged; (void)vorn_counter_tagged;
  (void)vorn_guard_tagged; (void)vorn_kalman_tagged; (void)vorn_camshift_tagged; (void)vorn_meanshift_tagged;
  (void)vorn_obj_maker_tagged; (void)vorn_obld_tagged; (void)vorn_plate_tagged; (void)vorn_pyramid_tagged;
  (void)vorn_tracker_tagged; (void)vorn_vbc_tagged; (void)vorn_bmp_tagged;
  /* Result codes read as words. */
  if (strcmp(vorn_result_name(VORN_E_PARAM), "VORN_E_PARAM") != 0) return 1;
  return r == VORN_OK ? 0 : 1;
}
