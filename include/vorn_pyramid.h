/* vorn_pyramid.h: Gaussian image pyramids (5 x 5 binomial smoothing, then every second row and column dropped).
 *
 * Level 0 is the first reduced image (half the source's size, rounded down); level i is the source's size
 * shifted right by i + 1. The source itself is not a level. A pyramid holds colour levels or mono levels, never
 * both. The weights are 1 4 6 4 1 inside; the first output column and row take 2 8 6 on source 0, 1, 2 (the 6
 * lands on source 2), the last takes 1 4 7 4 on c - 2 .. c + 1, and a 1-wide output takes 8 8; the two passes
 * are rounded once, as (sum + 128) >> 8. */
#ifndef VORN_PYRAMID_H
#define VORN_PYRAMID_H

#include "vorn_core.h"
#include "vorn_image.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct vorn_pyramid vorn_pyramid;

/* vorn_pyramid_create: a colour pyramid of at most `levels` levels of every plane of `image`, built at once.
 *   image  in, w x h colour image;   out  out, the handle (NULL on failure)
 * A level is made while the previous size has height > 1 and width >= 2.
 * Returns VORN_OK, VORN_E_NULL (image or out NULL), VORN_E_PARAM (height <= 1 or width < 2), VORN_E_NOMEM. */
VORN_API vorn_result vorn_pyramid_create(const vorn_image *image, vorn_pyramid **out, uint32_t levels);
/* vorn_pyramid_create_mono_image: the same for a mono image (its data must be present, else VORN_E_NULL). */
VORN_API vorn_result vorn_pyramid_create_mono_image(const vorn_mono_image *image, vorn_pyramid **out,
                                                    uint32_t levels);
/* vorn_pyramid_destroy: frees every level and the handle; NULL is ignored. */
VORN_API void vorn_pyramid_destroy(vorn_pyramid *pyramid);
/* vorn_pyramid_down: one reduction of every plane present in both images.
 *   src  in, W x H;   dst  out, (W >> 1) x (H >> 1), same format
 * Returns VORN_OK, VORN_E_NULL, VORN_E_PARAM (sizes or formats do not fit, or a size is 0), VORN_E_NOMEM. */
VORN_API vorn_result vorn_pyramid_down(const vorn_image *src, vorn_image *dst);
/* vorn_pyramid_get_image: *out = colour level `level` (owned by the pyramid), after clearing *out.
 * Returns VORN_OK, VORN_E_NULL (handle or out), VORN_E_NOMEM (a mono pyramid), VORN_E_PARAM (level >= count). */
VORN_API vorn_result vorn_pyramid_get_image(vorn_pyramid *pyramid, uint32_t level, vorn_image **out);
/* vorn_pyramid_get_mono_image: the same for mono levels (VORN_E_NOMEM for a colour pyramid). */
VORN_API vorn_result vorn_pyramid_get_mono_image(vorn_pyramid *pyramid, uint32_t level, vorn_mono_image **out);
/* vorn_pyramid_get_level: *count = the number of levels, after clearing it. VORN_E_NULL for a NULL argument. */
VORN_API vorn_result vorn_pyramid_get_level(vorn_pyramid *pyramid, uint32_t *count);

#ifdef __cplusplus
}
#endif

#endif /* VORN_PYRAMID_H */
