/* vorn_meanshift.h: single-object trackers driven by grey-level histograms of plane 0.
 *
 * CAM-shift back-projects a 32-bin histogram of the object over each frame, finds the window by mean shift and
 * sizes and orients it from the second-order moments. Kernel mean shift weights a 16-bin histogram with an
 * Epanechnikov kernel and moves the window to where the candidate histogram matches the target best.
 * One handle per stream; a handle is used by one thread at a time. */
#ifndef VORN_MEANSHIFT_H
#define VORN_MEANSHIFT_H

#include "vorn_core.h"
#include "vorn_histogram.h"
#include "vorn_image.h"

#ifdef __cplusplus
extern "C" {
#endif

/* CAM-shift parameters of create, and the per-frame record of update: frame and mask in, window in and out. */
typedef struct vorn_camshift_params {
  vorn_image *image;     /* plane 0 is tracked */
  vorn_mono_image *mask; /* NULL, or the frame's size: only pixels where it is non-zero count */
  int32_t left, top, right, bottom;
} vorn_camshift_params;

/* Result of a CAM-shift step: the new window, the object's axes (width the smaller) and its orientation. */
typedef struct vorn_track_box {
  int32_t left, top, right, bottom;
  int32_t width;
  int32_t length;
  float angle; /* radians */
} vorn_track_box;

/* Kernel mean-shift parameters of create, and the per-frame record of update (window out). */
typedef struct vorn_meanshift_params {
  vorn_image *image; /* plane 0 is tracked */
  void *user;        /* stored with the frame, not read */
  int32_t left, top, right, bottom;
} vorn_meanshift_params;

typedef struct vorn_camshift vorn_camshift;
typedef struct vorn_meanshift vorn_meanshift;

/* vorn_cam_meanshift — moves a fixed-size window (at most 5 steps) to the centroid of the back-projection.
 *   bp       in, the back-projection;   window  in/out, written only when it settled
 *   moments  out, the moments of the last window examined
 * Returns VORN_OK (settled), VORN_E_NO_RESULT (empty window, or still moving after 5 steps), VORN_E_NULL. */
VORN_API vorn_result vorn_cam_meanshift(const vorn_backproject *bp, vorn_rect *window, vorn_moments *moments);
/* vorn_cam_tracking — one CAM-shift step: the window must settle by mean shift; the box then comes from the
 * moments of the search rectangle. An empty window or search rectangle gives an all-zero box.
 *   bp, window, search  in;   moments  out (work record);   box  out
 * Returns VORN_OK, VORN_E_NULL. */
VORN_API vorn_result vorn_cam_tracking(const vorn_backproject *bp, const vorn_rect *window, const vorn_rect *search,
                                       vorn_moments *moments, vorn_track_box *box);
/* vorn_camshift_create — builds the object's histogram from the window of params (where the mask is set) and
 * runs one update on the same frame, which writes the window back into params.
 * Returns VORN_OK, VORN_E_NULL (params, its image or plane 0, out), VORN_E_PARAM (mask size), VORN_E_NOMEM. */
VORN_API vorn_result vorn_camshift_create(vorn_camshift_params *params, vorn_camshift **out);
/* vorn_camshift_update — one frame: back-projects the histogram, searches 10 pixels around the last window and
 * writes the new window into params and the tracker (all zero once the object is lost).
 * Returns VORN_OK, VORN_E_NULL, VORN_E_PARAM (frame or mask size differs from the first frame's). */
VORN_API vorn_result vorn_camshift_update(vorn_camshift *tracker, vorn_camshift_params *params);
/* vorn_camshift_destroy: frees the tracker. VORN_E_NULL for NULL, else VORN_OK. */
VORN_API vorn_result vorn_camshift_destroy(vorn_camshift *tracker);

/* vorn_meanshift_create — kernels and target model of the window of params (made odd-sized: an even width or
 * height loses one pixel); the window must lie inside the frame and be at least 3 x 3.
 * Returns VORN_OK, VORN_E_NULL, VORN_E_PARAM (window), VORN_E_NOMEM. */
VORN_API vorn_result vorn_meanshift_create(const vorn_meanshift_params *params, vorn_meanshift **out);
/* vorn_meanshift_update — one frame: at most 10 mean-shift steps from the last centre.
 *   record  in, image and user pointer of the frame; out, the window when it settled
 * Returns VORN_OK, VORN_E_NO_RESULT (not settled in 10 steps), VORN_E_NULL, VORN_E_PARAM (frame smaller than
 * the window). */
VORN_API vorn_result vorn_meanshift_update(vorn_meanshift *tracker, vorn_meanshift_params *record);
/* vorn_meanshift_destroy: frees the tracker. VORN_E_NULL for NULL, else VORN_OK. */
VORN_API vorn_result vorn_meanshift_destroy(vorn_meanshift *tracker);

#ifdef __cplusplus
}
#endif

#endif /* VORN_MEANSHIFT_H */
