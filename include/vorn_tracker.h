/* vorn_tracker.h: follows up to 32 moving objects through a video.
 *
 * Each frame goes through a background model, the foreground objects are extracted in contour mode, every live
 * track is predicted with a constant-velocity Kalman filter and associated with the frame's objects by overlap
 * and distance. A track coasts on its prediction while its object is lost or merged with another, and an object
 * becomes a new track only after it has been seen moving steadily along a straight path for 8 consecutive frames.
 * Track ids grow from 1 and are never reused. One tracker per stream; a tracker is used by one thread at a time. */
#ifndef VORN_TRACKER_H
#define VORN_TRACKER_H

#include "vorn_bk_model.h"
#include "vorn_image.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct vorn_tracker_params {
  uint32_t width;       /* frame size */
  uint32_t height;
  uint32_t model_param; /* image format of the background model (VORN_FORMAT_*) */
  uint32_t model_kind;  /* background-model type, as for vorn_bk_model_init */
} vorn_tracker_params;

/* One track as the host reads it. */
typedef struct vorn_tracker_obj {
  int32_t id;
  int32_t left, top, right, bottom;
  int32_t cx, cy;
} vorn_tracker_obj;

typedef struct vorn_tracker vorn_tracker;

/* vorn_tracker_create: a tracker with its background model (history 32, sensitivity 0, a 2 x 2 window filter)
 * and a contour-mode object maker.
 *   out  out, the tracker (NULL on failure)
 * Returns VORN_OK, VORN_E_PARAM (out or params NULL), VORN_E_NOMEM, or the failing model step's code. */
VORN_API vorn_result vorn_tracker_create(const vorn_tracker_params *params, vorn_tracker **out);
/* vorn_tracker_destroy: releases the model, the object maker and every track. VORN_E_NULL for NULL. */
VORN_API vorn_result vorn_tracker_destroy(vorn_tracker *tracker);
/* vorn_tracker_process: one frame of type frame_type (VORN_FRAME_*; the buffer is trusted to hold a whole frame,
 * NULL is VORN_E_NULL). Returns VORN_OK; the background model's codes unchanged (VORN_E_SCENE_CHANGE after
 * resetting the model; VORN_E_LEARNING while it learns); the object maker's codes; VORN_E_NOMEM when an object's
 * histogram or a new track could not get memory (the frame's step is still completed, a track that could not
 * start stays a candidate, and the tracker is usable for the next frame); VORN_E_NULL. */
VORN_API vorn_result vorn_tracker_process(vorn_tracker *tracker, uint8_t *frame, uint32_t frame_type);
/* vorn_tracker_get_objs: the live tracks in track order (the tracker's storage, valid until the next frame).
 * Outs cleared first. VORN_OK, VORN_E_NULL. */
VORN_API vorn_result vorn_tracker_get_objs(vorn_tracker *tracker, vorn_tracker_obj **objs, uint32_t *count);
/* vorn_tracker_get_bk_model: the model and the tracker's copy of its operation table. */
VORN_API vorn_result vorn_tracker_get_bk_model(vorn_tracker *tracker, vorn_bk_model **model,
                                               vorn_bk_model_vtable **ops);
/* vorn_tracker_get_fg: the background model's foreground mask. */
VORN_API vorn_result vorn_tracker_get_fg(vorn_tracker *tracker, vorn_mono_image **fg);
/* Frame size; 0 for NULL. */
VORN_API uint32_t vorn_tracker_get_width(const vorn_tracker *tracker);
VORN_API uint32_t vorn_tracker_get_height(const vorn_tracker *tracker);

#ifdef __cplusplus
}
#endif

#endif /* VORN_TRACKER_H */
