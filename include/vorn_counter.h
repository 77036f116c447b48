/* vorn_counter.h: counts passes between two areas of the picture, in each direction.
 *
 * The host draws two polygons (area 0 and area 1) across a passage and feeds one foreground mask per frame. An area
 * is occupied while enough of its pixels are foreground; a pass is recognised from the order in which the two
 * areas are released: area 0 released, then area 1, adds one to count 0 (area 0 -> area 1); the reverse order adds
 * one to count 1. One handle per stream; a handle is used by one thread at a time. */
#ifndef VORN_COUNTER_H
#define VORN_COUNTER_H

#include "vorn_image.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct vorn_counter vorn_counter;

/* Create parameters. The point arrays are read during create and not kept. */
typedef struct vorn_counter_params {
  const vorn_point *area0_points;
  const vorn_point *area1_points;
  int32_t area0_count;
  int32_t area1_count;
  uint32_t width;       /* mask size */
  uint32_t height;
  uint32_t sensitivity; /* occupancy: an area is occupied when (sensitivity * 40 + 500) / 100 % of it is foreground */
  uint32_t max_frame;   /* frames a begun pass may wait for its second release; 0 means 200 */
  uint32_t logic;       /* 1: a begun pass that times out is still counted */
  uint32_t reserved;    /* stored, not used */
} vorn_counter_params;

/* vorn_counter_create: a stopped counter with both areas rasterised from the parameters (an area given with fewer
 * than 3 points or no points is left empty), or NULL. */
VORN_API vorn_counter *vorn_counter_create(const vorn_counter_params *params);
VORN_API void vorn_counter_destroy(vorn_counter *counter);
/* vorn_counter_set_area: area index (0 or 1) <- the polygon. The closing edge runs from the last point to itself,
 * so pass a closed polygon (last point = first) to include the edge back to the start. Fewer than 3 points, NULL
 * points or another index change nothing. Returns 0; VORN_E_NULL for a NULL counter; VORN_E_NOMEM (area
 * unchanged) when its working copy cannot be allocated. */
VORN_API vorn_result vorn_counter_set_area(vorn_counter *counter, int32_t index, const vorn_point *points,
                                           int32_t count);
/* vorn_counter_clear_area: empties area index (an empty area counts as always occupied). */
VORN_API vorn_result vorn_counter_clear_area(vorn_counter *counter, uint32_t index);
VORN_API vorn_result vorn_counter_set_sensitivity(vorn_counter *counter, uint32_t value);
VORN_API vorn_result vorn_counter_set_max_frame(vorn_counter *counter, uint32_t value);
VORN_API vorn_result vorn_counter_set_logic(vorn_counter *counter, uint32_t value);
VORN_API vorn_result vorn_counter_start(vorn_counter *counter);
VORN_API vorn_result vorn_counter_stop(vorn_counter *counter);
/* vorn_counter_reset_count: clears both counts and every pending pass. */
VORN_API vorn_result vorn_counter_reset_count(vorn_counter *counter);
/* vorn_counter_set_mask: the per-frame step over fg (width x height bytes, non-zero = foreground).
 * Returns 0; VORN_E_NO_RESULT when stopped (event 0); VORN_E_NULL for a NULL counter or mask. */
VORN_API vorn_result vorn_counter_set_mask(vorn_counter *counter, const uint8_t *fg);
/* vorn_counter_get_count: passes from area 0 to 1 (index 0) or from 1 to 0 (index 1); 0 for NULL or another index. */
VORN_API uint32_t vorn_counter_get_count(const vorn_counter *counter, uint32_t index);
/* vorn_counter_get_event: 1 when count 0 grew on the last frame, else 2 when count 1 grew, else 0. */
VORN_API uint32_t vorn_counter_get_event(const vorn_counter *counter);
/* vorn_counter_get_mask: the area mask (bit 0: area 0, bit 1: area 1), owned by the counter. */
VORN_API uint8_t *vorn_counter_get_mask(vorn_counter *counter);

#ifdef __cplusplus
}
#endif

#endif /* VORN_COUNTER_H */
