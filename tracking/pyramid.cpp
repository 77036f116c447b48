// Gaussian pyramids of colour and mono images, and the single reduction step.
#include "tracking/pyramid.h"

#include "core/memory.h"

using namespace vorn;

namespace {

// Levels a w x h source can give: halve while height > 1 and width >= 2.
uint32_t possible_levels(uint32_t w, uint32_t h) {
  uint32_t n = 0;
  while (h > 1 && w >= 2) {
    w >>= 1;
    h >>= 1;
    ++n;
  }
  return n;
}

// Reduces every plane present in both images; the sizes have been checked.
void reduce_image(const vorn_image *src, vorn_image *dst, uint16_t *scratch) {
  for (int p = 0; p < 3; ++p)
    if (src->plane[p] && dst->plane[p]) pyramid_reduce_plane(src->plane[p], src->width, src->height, dst->plane[p], scratch);
}

// Shared body of the two creates: Image is vorn_image or vorn_mono_image.
template <class Image, class Alloc, class Reduce>
vorn_result create(const Image *src, uint32_t src_w, uint32_t src_h, vorn_pyramid **out, uint32_t levels,
                   Image **vorn_pyramid::*array, Alloc alloc, Reduce reduce) {
  vorn_pyramid *pyr = block_new<vorn_pyramid>();
  if (!pyr) return VORN_E_NOMEM;
  const uint32_t possible = possible_levels(src_w, src_h);
  if (possible == 0) {
    vorn_pyramid_destroy(pyr);
    return VORN_E_PARAM;
  }
  const uint32_t n = possible < levels ? possible : levels;
  pyr->*array = block_new<Image *>(n);
  // One scratch serves every level: the first level is the widest.
  uint16_t *scratch = pyr->*array ? block_new<uint16_t>(pyramid_scratch_size(src_w >> 1)) : nullptr;
  if (!scratch) {
    vorn_pyramid_destroy(pyr);
    return VORN_E_NOMEM;
  }
  pyr->count = n;
  const Image *prev = src;
  uint32_t w = src_w, h = src_h;
  for (uint32_t i = 0; i < n; ++i) {
    w >>= 1;
    h >>= 1;
    Image *level = alloc(prev, w, h);
    if (!level) {
      block_release(scratch);
      vorn_pyramid_destroy(pyr);
      return VORN_E_NOMEM;
    }
    (pyr->*array)[i] = level;
    reduce(prev, level, scratch);
    prev = level;
  }
  block_release(scratch);
  *out = pyr;
  return VORN_OK;
}

}  // namespace

vorn_result vorn::pyramid_alloc_mono(uint32_t w, uint32_t h, uint32_t levels, vorn_pyramid **out) {
  *out = nullptr;
  const uint32_t possible = possible_levels(w, h), n = possible < levels ? possible : levels;
  if (n == 0) return VORN_E_PARAM;
  vorn_pyramid *pyr = block_new<vorn_pyramid>();
  if (!pyr || !(pyr->monos = block_new<vorn_mono_image *>(n))) {
    vorn_pyramid_destroy(pyr);
    return VORN_E_NOMEM;
  }
  pyr->count = n;
  for (uint32_t i = 0; i < n; ++i) {
    w >>= 1;
    h >>= 1;
    if (!(pyr->monos[i] = vorn_mono_image_alloc(w, h))) {
      vorn_pyramid_destroy(pyr);
      return VORN_E_NOMEM;
    }
  }
  *out = pyr;
  return VORN_OK;
}

void vorn::pyramid_refill_mono(vorn_pyramid *pyr, const vorn_mono_image *src, uint16_t *scratch) {
  const vorn_mono_image *prev = src;
  for (uint32_t i = 0; i < pyr->count; ++i) {
    pyramid_reduce_plane(prev->data, prev->width, prev->height, pyr->monos[i]->data, scratch);
    prev = pyr->monos[i];
  }
}

extern "C" {

VORN_API vorn_result vorn_pyramid_create(const vorn_image *image, vorn_pyramid **out, uint32_t levels) {
  if (!out) return VORN_E_NULL;
  *out = nullptr;
  if (!image) return VORN_E_NULL;
  return create(
      image, image->width, image->height, out, levels, &vorn_pyramid::images,
      [](const vorn_image *prev, uint32_t w, uint32_t h) { return vorn_image_alloc(w, h, prev->format); },
      reduce_image);
}

VORN_API vorn_result vorn_pyramid_create_mono_image(const vorn_mono_image *image, vorn_pyramid **out,
                                                    uint32_t levels) {
  if (!out) return VORN_E_NULL;
  *out = nullptr;
  if (!image || !image->data) return VORN_E_NULL;
  return create(
      image, image->width, image->height, out, levels, &vorn_pyramid::monos,
      [](const vorn_mono_image *, uint32_t w, uint32_t h) { return vorn_mono_image_alloc(w, h); },
      [](const vorn_mono_image *prev, vorn_mono_image *level, uint16_t *scratch) {
        pyramid_reduce_plane(prev->data, prev->width, prev->height, level->data, scratch);
      });
}

VORN_API void vorn_pyramid_destroy(vorn_pyramid *pyr) {
  if (!pyr) return;
  for (uint32_t i = 0; i < pyr->count; ++i) {
    if (pyr->images) vorn_image_free(pyr->images[i]);
    if (pyr->monos) vorn_mono_image_free(pyr->monos[i]);
  }
  block_release(pyr->images);
  block_release(pyr->monos);
  vorn_free(pyr);
}

VORN_API vorn_result vorn_pyramid_down(const vorn_image *src, vorn_image *dst) {
  if (!src || !dst) return VORN_E_NULL;
  const uint32_t w = src->width >> 1, h = src->height >> 1;
  if (w == 0 || h == 0 || dst->width != w || dst->height != h || dst->format != src->format) return VORN_E_PARAM;
  uint16_t *scratch = block_new<uint16_t>(pyramid_scratch_size(w));
  if (!scratch) return VORN_E_NOMEM;
  reduce_image(src, dst, scratch);
  block_release(scratch);
  return VORN_OK;
}

VORN_API vorn_result vorn_pyramid_get_image(vorn_pyramid *pyr, uint32_t level, vorn_image **out) {
  if (!out) return VORN_E_NULL;
  *out = nullptr;
  if (!pyr) return VORN_E_NULL;
  if (!pyr->images) return VORN_E_NOMEM;
  if (level >= pyr->count) return VORN_E_PARAM;
  if (!pyr->images[level]) return VORN_E_NOMEM;
  *out = pyr->images[level];
  return VORN_OK;
}

VORN_API vorn_result vorn_pyramid_get_mono_image(vorn_pyramid *pyr, uint32_t level, vorn_mono_image **out) {
  if (!out) return VORN_E_NULL;
  *out = nullptr;
  if (!pyr) return VORN_E_NULL;
  if (!pyr->monos) return VORN_E_NOMEM;
  if (level >= pyr->count) return VORN_E_PARAM;
  if (!pyr->monos[level]) return VORN_E_NOMEM;
  *out = pyr->monos[level];
  return VORN_OK;
}

VORN_API vorn_result vorn_pyramid_get_level(vorn_pyramid *pyr, uint32_t *count) {
  if (!count) return VORN_E_NULL;
  *count = 0;
  if (!pyr) return VORN_E_NULL;
  *count = pyr->count;
  return VORN_OK;
}

}  // extern "C"
