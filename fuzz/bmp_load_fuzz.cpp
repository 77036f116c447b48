// Bitmap files: whatever the loader accepts must be a consistent object that every bitmap consumer can read
// (the getters, the validity check, the planar converters and the frame intake of a background model).
#include <stdlib.h>

#include "fuzz_file.h"
#include "vorn.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  vorn_init();
  vorn_bmp *bmp = vorn_bmp_load(vorn_fuzz::as_file(data, size));
  if (!bmp) return 0;
  const int32_t w = vorn_bmp_get_width(bmp), h = vorn_bmp_get_height(bmp);
  const uint32_t bits = vorn_bmp_get_bitcount(bmp), stride = vorn_bmp_get_stride(bmp);
  if (w < 0 || h < 0 || (bits != 24 && bits != 32) || stride < (uint32_t)w * (bits / 8)) abort();
  // Touch every pixel byte the object claims to hold (a bitmap may be empty: width or height 0).
  const uint8_t *px = vorn_bmp_get_image(bmp);
  unsigned sum = 0;
  for (size_t i = 0; i < (size_t)stride * (size_t)h; ++i) sum += px[i];
  // A bitmap 0 pixels wide may still claim 2^29 rows; converting it would only walk empty rows.
  if (vorn_bmp_is_valid(bmp) && w > 0 && h > 0 && (size_t)w * (size_t)h <= (1u << 20)) {
    vorn_image *img = vorn_image_alloc((uint32_t)w, (uint32_t)h, VORN_FORMAT_RGB);
    if (img) {
      vorn_image_bmp_to_rgb(bmp, img);
      vorn_image_bmp_to_yuv(bmp, img);
      vorn_image_bmp_to_hsv(bmp, img);
      vorn_image_rgb_to_bmp(img, bmp);
      vorn_image_free(img);
    }
  }
  vorn_bmp_free(bmp);
  return (int)(sum & 0);
}
