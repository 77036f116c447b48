/* vorn_color.h: colour-model conversions of planar images, frame conversions, quarter-size reduction, cropping
 * and rectangle drawing.
 *
 * Colour models: RGB planes 0..255; YUV with Y 0..219 (black 0, white 219, no offset of 16) and U, V centred on
 * 128; HSV with H 0..240 (40 per sixth of the circle, pure red is 240), S and V 0..255. RGB <-> YUV uses fixed
 * lookup tables built by vorn_init (or vorn_init_colorspace); before that every table-driven result is 0.
 *
 * Image conversions take the source first. They check the formats named in their description and that the
 * sizes are equal, and return VORN_E_PARAM (nothing written) on a mismatch, VORN_E_NULL for a null image. */
#ifndef VORN_COLOR_H
#define VORN_COLOR_H

#include "vorn_image.h"

#ifdef __cplusplus
extern "C" {
#endif

/* vorn_init_colorspace: (re)builds the colour lookup tables. vorn_init calls it. */
VORN_API void vorn_init_colorspace(void);

/* --- planar colour models (same sizes; formats as named) --- */
/* RGB -> YUV; Y rounded to nearest, U and V truncated. */
VORN_API vorn_result vorn_image_rgb_to_yuv(const vorn_image *src, vorn_image *dst);
VORN_API vorn_result vorn_image_yuv_to_rgb(const vorn_image *src, vorn_image *dst);
/* RGB -> luma plane; Y truncated (one below vorn_image_rgb_to_yuv where the fraction is a half or more). */
VORN_API vorn_result vorn_image_rgb_to_y(const vorn_image *src, vorn_mono_image *dst);
/* mono -> RGB: the mono bytes copied unchanged into all three planes. */
VORN_API vorn_result vorn_image_y_to_rgb(const vorn_mono_image *src, vorn_image *dst);
VORN_API vorn_result vorn_image_rgb_to_hsv(const vorn_image *src, vorn_image *dst);
/* HSV -> RGB; hues of 240 and above take the last sector, so (240, S, V) comes back magenta. */
VORN_API vorn_result vorn_image_hsv_to_rgb(const vorn_image *src, vorn_image *dst);
VORN_API vorn_result vorn_image_yuv_to_hsv(const vorn_image *src, vorn_image *dst);
VORN_API vorn_result vorn_image_hsv_to_yuv(const vorn_image *src, vorn_image *dst);
/* The H plane of RGB -> HSV (or YUV -> RGB -> HSV) into a mono image. */
VORN_API vorn_result vorn_image_rgb_to_h(const vorn_image *src, vorn_mono_image *dst);
VORN_API vorn_result vorn_image_yuv_to_h(const vorn_image *src, vorn_mono_image *dst);
/* vorn_image_test_hsv: does nothing; returns 0. */
VORN_API vorn_result vorn_image_test_hsv(void);

#ifdef __cplusplus
}
#endif

#endif /* VORN_COLOR_H */
