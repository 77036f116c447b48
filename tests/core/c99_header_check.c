/* Compiled as C99 with every warning an error: the public interface must stay plain C. */
#include <vorn.h>

int main(void) {
  vorn_image *img;
  vorn_result r;
  if (vorn_init() != VORN_OK) return 1;
  img = vorn_image_alloc(4, 4, VORN_FORMAT_RGB);
  if (!img) return 1;
  r = vorn_image_copy(img, img);
  vorn_image_free(img);
  return r == VORN_OK ? 0 : 1;
}
