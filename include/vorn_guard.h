/* vorn_guard.h: reports moving things that cross a guard line, and whether they cross it in the guarded direction.
 *
 * Only motion inside a band around the guard line is watched; the band also masks the guard's background model.
 * While foreground objects are present, up to 8 corner features are followed from frame to frame with pyramidal
 * optical flow; each feature's trace runs from where it was first found to where it is now, and a feature has
 * crossed once its trace meets the guard line. A crossing that runs within 90 degrees of the direction line's
 * angle is a trigger. Calling order: create, set_lines, then put_image once per frame followed by any getters.
 * One guard per stream; a guard is used by one thread at a time. */
#ifndef VORN_GUARD_H
#define VORN_GUARD_H

#include "vorn_bk_model.h"
#include "vorn_image.h"
#include "vorn_obj_maker.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct vorn_guard_params {
  uint32_t width;   /* frame size */
  uint32_t height;
  uint32_t format;  /* VORN_FORMAT_* of the model's images */
  uint32_t bk_type; /* background-model type, as for vorn_bk_model_init */
} vorn_guard_params;

/* Event values of vorn_guard_get_event. */
#define VORN_GUARD_EVENT_NONE    0u
#define VORN_GUARD_EVENT_TRIGGER 1u /* more features crossed in the guarded direction than against it */
#define VORN_GUARD_EVENT_CROSS   2u /* more features merely crossed than triggered */

typedef struct vorn_guard vorn_guard;

/* vorn_guard_create: a guard with a background model (history 4, 2 x 2 window filter) and a block-mode object
 * maker. VORN_OK; VORN_E_PARAM (out or params NULL); VORN_E_NOMEM; or the model's or maker's create code. */
VORN_API vorn_result vorn_guard_create(const vorn_guard_params *params, vorn_guard **out);
VORN_API vorn_result vorn_guard_destroy(vorn_guard *guard);
/* vorn_guard_set_lines: the watched segment, the segment giving the guarded direction, and the band's half width.
 * Builds the band, masks the model with it. Returns the model's set-mask code; VORN_E_NULL (guard or model
 * NULL), VORN_E_NOMEM, VORN_E_PARAM (the guard line has no pixels). */
VORN_API vorn_result vorn_guard_set_lines(vorn_guard *guard, vorn_line guard_line, vorn_line direction_line,
                                          int32_t half_width);
/* vorn_guard_set_mask: replaces the model's mask (0 = not watched). VORN_E_NULL also for a size mismatch. */
VORN_API vorn_result vorn_guard_set_mask(vorn_guard *guard, const vorn_mono_image *mask);
/* vorn_guard_put_image: one frame of type frame_type (the buffer is trusted to hold a whole frame; NULL is
 * VORN_E_NULL). VORN_OK; VORN_E_SCENE_CHANGE (the model was reset; features and flags kept); the model's or
 * object maker's codes (VORN_E_LEARNING while the model learns); VORN_E_NOMEM when a pyramid, the corner
 * detector or the point tracker could not get memory (the guard stays usable: the next frame goes on from
 * this one); VORN_E_NULL. */
VORN_API vorn_result vorn_guard_put_image(vorn_guard *guard, uint8_t *frame, uint32_t frame_type);
VORN_API vorn_result vorn_guard_get_fg(vorn_guard *guard, vorn_mono_image **fg);
VORN_API vorn_result vorn_guard_get_obj_maker(vorn_guard *guard, vorn_obj_maker **maker);
VORN_API vorn_result vorn_guard_get_bk_model(vorn_guard *guard, vorn_bk_model **model);
/* Sticky flags of feature index: 1 once its trace met the guard line (cross) / did so in the guarded direction
 * (trigger); 0 for an index past the features in use; VORN_E_NULL for a NULL guard. */
VORN_API uint32_t vorn_guard_is_cross_guard_line(const vorn_guard *guard, uint32_t index);
VORN_API uint32_t vorn_guard_is_trigger_guard_line(const vorn_guard *guard, uint32_t index);
/* vorn_guard_get_trace: {start.x, start.y, now.x, now.y} of feature index; zeroed and VORN_E_NO_RESULT past the
 * features in use. */
VORN_API vorn_result vorn_guard_get_trace(const vorn_guard *guard, int32_t index, vorn_line *trace);
VORN_API vorn_result vorn_guard_get_guard_line(const vorn_guard *guard, vorn_line *line);
VORN_API vorn_result vorn_guard_get_direction_line(const vorn_guard *guard, vorn_line *line);
/* vorn_guard_get_event: VORN_GUARD_EVENT_*; it stays until the tracking is reset (no objects, all features lost). */
VORN_API vorn_result vorn_guard_get_event(const vorn_guard *guard, uint32_t *event);

#ifdef __cplusplus
}
#endif

#endif /* VORN_GUARD_H */
