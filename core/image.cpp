// Planar colour images and mono images.
#include <string.h>

#include "core/memory.h"
#include "vorn_image.h"

extern "C" {

VORN_API vorn_image *vorn_image_alloc(uint32_t width, uint32_t height, uint32_t format) {
  uint32_t n;
  if (!vorn::area_u32(width, height, &n)) return nullptr;
  vorn_image *img = vorn::block_new<vorn_image>();
  if (!img) return nullptr;
  img->format = format;
  img->width = width;
  img->height = height;
  for (int p = 0; p < 3; ++p) {
    img->plane[p] = vorn::block_new<uint8_t>(n);
    if (!img->plane[p]) {
      vorn_image_free(img);
      return nullptr;
    }
  }
  return img;
}

VORN_API void vorn_image_free(vorn_image *image) {
  if (!image) return;
  for (int p = 0; p < 3; ++p) vorn::block_release(image->plane[p]);
  vorn_free(image);
}

VORN_API vorn_result vorn_image_copy(const vorn_image *src, vorn_image *dst) {
  if (!src || !dst) return VORN_E_NULL;
  if (src->width != dst->width || src->height != dst->height || src->format != dst->format) return VORN_E_PARAM;
  size_t n = (size_t)src->width * src->height;
  for (int p = 0; p < 3; ++p) {
    if (src->plane[p] && dst->plane[p]) memcpy(dst->plane[p], src->plane[p], n);
  }
  return VORN_OK;
}

VORN_API vorn_mono_image *vorn_mono_image_alloc(uint32_t width, uint32_t height) {
  uint32_t n;
  if (!vorn::area_u32(width, height, &n)) return nullptr;
  vorn_mono_image *img = vorn::block_new<vorn_mono_image>();
  if (!img) return nullptr;
  img->width = width;
  img->height = height;
  img->data = vorn::block_new<uint8_t>(n);
  if (!img->data) {
    vorn_free(img);
    return nullptr;
  }
  return img;
}

// The free shared by mono images, matrices and back-projections: all three records are two 32-bit counts and
// one data address.
VORN_API void vorn_mono_image_free(vorn_mono_image *image) {
  if (!image) return;
  vorn::block_release(image->data);
  vorn_free(image);
}

VORN_API vorn_result vorn_mono_image_copy(vorn_mono_image *dst, const vorn_mono_image *src) {
  if (!src || !dst) return VORN_E_NULL;
  if (src->width != dst->width || src->height != dst->height || !src->data || !dst->data) return VORN_E_PARAM;
  memcpy(dst->data, src->data, (size_t)src->width * src->height);
  return VORN_OK;
}

VORN_API vorn_result vorn_mono_image_thin(void) { return VORN_OK; }

}  // extern "C"
