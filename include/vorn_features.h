/* vorn_features.h: corner features of colour images.
 *
 * Grey source of a vorn_image: format RGB, its luma (as vorn_image_rgb_to_y); format YUV, plane 0; format HSV,
 * plane 2 (V). */
#ifndef VORN_FEATURES_H
#define VORN_FEATURES_H

#include "vorn_core.h"
#include "vorn_image.h"

#ifdef __cplusplus
extern "C" {
#endif

/* vorn_good_feature_to_track — strongest well-separated corners by the smaller eigenvalue of the 3 x 3 summed
 * structure matrix of the Sobel derivatives.
 *   image         in, w x h colour image
 *   min_distance  corners closer than this (Euclidean, pixels) to a stronger accepted one are dropped; 0 keeps all
 *   points        out, up to *count corners, strongest first
 *   count         in, the most corners wanted; out, the number found
 *   mask          in, w x h or NULL: a corner needs a non-zero mask at its pixel and on one of the 2 x 2 squares
 *                 holding it
 *   map           out, w x h or NULL: every plane 255 where the eigenvalue exceeds 1/100 of the largest, else 0
 *                 (left untouched when the image is flat)
 * Pixels on the image border are never corners. Equal eigenvalues are taken in raster order.
 * Returns VORN_OK, VORN_E_NULL (image, count, or points when *count > 0), VORN_E_PARAM (mask or map of another
 * size, an unknown format), VORN_E_NOMEM. */
VORN_API vorn_result vorn_good_feature_to_track(const vorn_image *image, uint32_t min_distance, vorn_point *points,
                                                uint32_t *count, const vorn_mono_image *mask, vorn_image *map);

/* vorn_find_corner — marks step corners for display: pixels whose left and upper neighbours are both brighter
 * by at least 31 grey levels get a cross of 255 in all three output planes (column x from y - 3 to y + 2, row
 * y from x - 3 to x + 2); everything else is 0. Pixels within 3 of the border are never tested.
 *   image  in, w x h colour image;   out  out, w x h (any format)
 * Returns VORN_OK, VORN_E_NULL, VORN_E_PARAM (sizes differ, unknown format), VORN_E_NOMEM (RGB luma image). */
VORN_API vorn_result vorn_find_corner(const vorn_image *image, vorn_image *out);

#ifdef __cplusplus
}
#endif

#endif /* VORN_FEATURES_H */
