/* vorn_opticalflow.h: sub-pixel sampling and Lucas-Kanade point tracking between two grey frames.
 *
 * Positions are floats in pixel units of the full-size view, x to the right, y downwards, with pixel centres on
 * integer coordinates: (0, 0) is the centre of the top-left pixel. */
#ifndef VORN_OPTICALFLOW_H
#define VORN_OPTICALFLOW_H

#include "vorn_core.h"
#include "vorn_image.h"
#include "vorn_pyramid.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A point with sub-pixel coordinates. */
typedef struct vorn_point2f {
  float x;
  float y;
} vorn_point2f;

/* Status of a tracked point. */
#define VORN_FLOW_LOST  0u /* not found: the window was flat, or the point left the image */
#define VORN_FLOW_FOUND 1u /* found; its new position lies inside the image */

/* vorn_mono_image_get_sub_pixel — bilinear value of a grey image at a sub-pixel position.
 *   image  in, w x h;   x, y  position (coordinates outside the image are clamped to its border pixels)
 *   value  out, the interpolated grey level, 0.0 .. 255.0 (0 when an error is returned)
 * Returns VORN_OK, VORN_E_NULL (image, its data or value NULL), VORN_E_PARAM (zero size, or x or y not a
 * number). */
VORN_API vorn_result vorn_mono_image_get_sub_pixel(const vorn_mono_image *image, float x, float y, float *value);

/* vorn_opticalflow_lk — iterative Lucas-Kanade tracking of points from one grey frame to the next, at one
 * resolution (suited to motions of a few pixels).
 *   prev, cur        in, the two frames, same size (at least 2 x 2)
 *   prev_pts         in, count positions in prev (the arrays are trusted to hold count entries)
 *   cur_pts          out, count positions in cur (the best estimate also for lost points)
 *   status           out, count flags VORN_FLOW_FOUND / VORN_FLOW_LOST, or NULL
 *   win_half         half-size of the square matching window ((2 win_half + 1)^2 pixels), 1 .. 64
 *   max_iter         Gauss-Newton steps per resolution at most, 1 .. 100; a step below 0.01 px ends early
 * Returns VORN_OK (also when points are lost), VORN_E_NULL, VORN_E_PARAM (sizes, window or iteration limit out
 * of range), VORN_E_NOMEM (window buffers). */
VORN_API vorn_result vorn_opticalflow_lk(const vorn_mono_image *prev, const vorn_mono_image *cur,
                                         const vorn_point2f *prev_pts, vorn_point2f *cur_pts, uint32_t *status,
                                         uint32_t count, int32_t win_half, int32_t max_iter);

/* vorn_opticalflow_pyr_lk — the same tracker run coarse to fine over the frames' mono pyramids, so that motions
 * of tens of pixels are followed: the estimate of each level, doubled, starts the next finer one, and the full-
 * size views finish.
 *   prev, cur                  in, the two full-size frames (same size, at least 2 x 2)
 *   prev_pyramid, cur_pyramid  in, mono pyramids of prev and cur (vorn_pyramid_create_mono_image), or both NULL
 *                              for the full-size views only; the coarsest level used is the last one both have
 *   prev_pts, cur_pts, status, count, win_half, max_iter   as for vorn_opticalflow_lk
 * Returns VORN_OK, VORN_E_NULL, VORN_E_PARAM (also a colour pyramid, or levels whose sizes do not halve the
 * views'), VORN_E_NOMEM. Windows up to 33 x 33 (win_half 16) allocate nothing; a larger one takes one
 * buffer per call. */
VORN_API vorn_result vorn_opticalflow_pyr_lk(const vorn_mono_image *prev, const vorn_mono_image *cur,
                                             vorn_pyramid *prev_pyramid, vorn_pyramid *cur_pyramid,
                                             const vorn_point2f *prev_pts, vorn_point2f *cur_pts, uint32_t *status,
                                             uint32_t count, int32_t win_half, int32_t max_iter);

#ifdef __cplusplus
}
#endif

#endif /* VORN_OPTICALFLOW_H */
