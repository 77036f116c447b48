/* vorn_obld.h: finds objects left in a watched region (left luggage) and objects taken from it.
 *
 * Every frame is differenced against a fixed reference background inside a user polygon; the blobs are followed
 * from frame to frame by size and overlap, and a blob seen for more consecutive frames than a threshold is a lost
 * object. The reference background is relearned periodically (or on request) through a temporary background
 * model. One detector per stream; a detector is used by one thread at a time. */
#ifndef VORN_OBLD_H
#define VORN_OBLD_H

#include "vorn_image.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct vorn_obld_params {
  uint32_t width;                /* frame size */
  uint32_t height;
  uint32_t frame_type;           /* VORN_FRAME_* of the frames, below 4 (bitmap types or packed 4:2:2) */
  const uint8_t *first_frame;    /* the initial reference background */
  const vorn_point *region_pts;  /* the watched polygon, at least 3 points */
  uint32_t region_count;
  uint32_t sensitivity;          /* difference threshold t = clamp(sensitivity * 85 / 100 + 15, 15, 100) */
  const vorn_point *second_pts;  /* optional second polygon: stored, not used */
  uint32_t second_count;
  uint32_t learn_frames;         /* learning length of the background refresh */
} vorn_obld_params;

typedef struct vorn_obld vorn_obld;

/* vorn_obld_create: VORN_OK; VORN_E_PARAM (out or params NULL, frame_type >= 4, region missing or under 3
 * points); VORN_E_NOMEM; the object maker's code. */
VORN_API vorn_result vorn_obld_create(const vorn_obld_params *params, vorn_obld **out);
VORN_API vorn_result vorn_obld_destroy(vorn_obld *obld);
/* vorn_obld_put_image: one frame. VORN_OK; VORN_E_SCENE_CHANGE (a relearning starts); while the background is
 * relearned, the refresh model's code (VORN_E_LEARNING); VORN_E_NULL. */
VORN_API vorn_result vorn_obld_put_image(vorn_obld *obld, uint8_t *frame, uint32_t frame_type);
/* vorn_obld_get_lost_objects_rect: the lost objects' rectangles into rects (room for 32), their number in count.
 * VORN_E_NO_RESULT when there is none. */
VORN_API vorn_result vorn_obld_get_lost_objects_rect(vorn_obld *obld, vorn_rect *rects, uint32_t *count);
/* vorn_obld_get_lost_objects_contour: a mask of the lost objects' one-pixel outlines (the detector's storage). */
VORN_API vorn_result vorn_obld_get_lost_objects_contour(vorn_obld *obld, vorn_mono_image **outline,
                                                        uint32_t *count);
/* vorn_obld_get_mask: the region mask (255 inside). vorn_obld_get_fg: the filtered foreground of the last frame. */
VORN_API vorn_result vorn_obld_get_mask(vorn_obld *obld, vorn_mono_image **mask);
VORN_API vorn_result vorn_obld_get_fg(vorn_obld *obld, vorn_mono_image **fg);
/* vorn_obld_clear_lost_objects: relearn the background from the next frame on. */
VORN_API vorn_result vorn_obld_clear_lost_objects(vorn_obld *obld);
/* vorn_obld_set_frame_threshold: the age (consecutive frames) from which a blob is lost; below 50 acts as 50. */
VORN_API vorn_result vorn_obld_set_frame_threshold(vorn_obld *obld, uint32_t frames);
/* vorn_obld_set_bk_frame_interval: frames between background refreshes, at least 1500 (0 before any call: 7500). */
VORN_API vorn_result vorn_obld_set_bk_frame_interval(vorn_obld *obld, uint32_t frames);
/* vorn_obld_enable_scenecut: non-zero: four frames in a row differing in 81 % or more of the picture are a scene
 * change. */
VORN_API vorn_result vorn_obld_enable_scenecut(vorn_obld *obld, uint32_t enable);

#ifdef __cplusplus
}
#endif

#endif /* VORN_OBLD_H */
