/* vorn_linecount.h: counts the people or vehicles that cross one or more lines, in each direction.
 *
 * Each frame goes through a background model; the foreground becomes objects, the objects are followed by a
 * multi-object tracker (constant-velocity Kalman prediction, globally optimal assignment of objects to tracks on
 * predicted-box overlap and distance, tentative / confirmed / lost tracks), and a track is counted on a line when
 * its anchor point (the bottom centre of its box unless told otherwise) moves from one side of the line to the
 * other. The anchor must get at least `hysteresis` pixels away from the line on the new side before the crossing
 * counts, so someone standing on the line or jittering around it is counted at most once.
 *
 * A line is a polyline of 2 to VORN_LINECOUNT_MAX_POINTS points. Its "in" side is the left of its drawing
 * direction as the picture is seen (y downwards): for a line drawn upwards, "in" is to the right. A crossing to
 * the "in" side counts as in, the other way as out. A crossing only counts where the anchor passes between the
 * line's ends (a walk around an end is no crossing).
 *
 * One handle per stream; a handle is used by one thread at a time. Nothing is allocated per frame once the first
 * frame has been processed. */
#ifndef VORN_LINECOUNT_H
#define VORN_LINECOUNT_H

#include "vorn_image.h"

#ifdef __cplusplus
extern "C" {
#endif

#define VORN_LINECOUNT_MAX_LINES 16u
#define VORN_LINECOUNT_MAX_POINTS 16u
#define VORN_LINECOUNT_MAX_TRACKS 64u
#define VORN_LINECOUNT_MAX_EVENTS 64u

#define VORN_LINECOUNT_ANCHOR_BOTTOM 0u /* bottom centre of the box: where a walker stands */
#define VORN_LINECOUNT_ANCHOR_CENTRE 1u /* centre of the box */

#define VORN_LINECOUNT_TENTATIVE 0u /* seen on too few frames yet; not reported */
#define VORN_LINECOUNT_CONFIRMED 1u /* followed and matched on this frame */
#define VORN_LINECOUNT_LOST 2u      /* confirmed, unmatched for a few frames, still predicted */

/* Create parameters; a field left 0 takes the default in brackets. */
typedef struct vorn_linecount_params {
  uint32_t width, height; /* frame size */
  uint32_t bk_type;       /* background-model type, as for vorn_bk_model_init [0: the default model] */
  uint32_t format;        /* image format of the model (VORN_FORMAT_*) */
  uint32_t sensitivity;   /* the model's sensitivity parameter [0] */
  uint32_t min_area;      /* smallest object box, in pixels [300] */
  uint32_t confirm_hits;  /* consecutive matched frames that confirm a track [3] */
  uint32_t max_lost;      /* frames a confirmed track survives unmatched [15] */
  uint32_t hysteresis;    /* pixels beyond the line the anchor must reach [4] */
  uint32_t anchor;        /* VORN_LINECOUNT_ANCHOR_* [bottom] */
  uint32_t learn_frames;  /* frames the model learns before it reports foreground [the model's own] */
  uint32_t split_aspect;  /* width of one object in percent of its height: an object more than 1.5 times as
                           * wide is taken for several side by side and split evenly [0: never split] */
} vorn_linecount_params;

/* One crossing of the last frame. */
typedef struct vorn_linecount_event {
  uint32_t line;     /* index from vorn_linecount_add_line */
  int32_t id;        /* track id (from 1, never reused) */
  int32_t direction; /* +1 in, -1 out */
  vorn_rect box;     /* the track's box on this frame, clipped to the frame */
} vorn_linecount_event;

/* One live track as the host reads it (tentative tracks are left out). */
typedef struct vorn_linecount_track {
  int32_t id;
  uint32_t state; /* VORN_LINECOUNT_CONFIRMED or VORN_LINECOUNT_LOST */
  vorn_rect box;  /* clipped to the frame */
} vorn_linecount_track;

typedef struct vorn_linecount vorn_linecount;

/* vorn_linecount_create — a counter with no lines yet.
 *   params  in, sizes and settings;  out  out, the counter (NULL on failure)
 * Returns VORN_OK, VORN_E_PARAM (null out or params, zero size, anchor unknown), VORN_E_NOMEM, or the background
 * model's or object maker's code. */
VORN_API vorn_result vorn_linecount_create(const vorn_linecount_params *params, vorn_linecount **out);
/* vorn_linecount_destroy — frees the counter and all it made. VORN_E_NULL for NULL. */
VORN_API vorn_result vorn_linecount_destroy(vorn_linecount *lc);
/* vorn_linecount_add_line — adds a polyline to count on.
 *   points  in, count points (2 .. VORN_LINECOUNT_MAX_POINTS);  index  out, the line's index (0 first)
 * Tracks already live learn their side on the new line from their next frame. Returns VORN_OK, VORN_E_NULL
 * (null counter or points), VORN_E_PARAM (count out of range, a zero-length line, or VORN_LINECOUNT_MAX_LINES
 * lines already). */
VORN_API vorn_result vorn_linecount_add_line(vorn_linecount *lc, const vorn_point *points, uint32_t count,
                                             uint32_t *index);
/* vorn_linecount_process — one frame of type frame_type (VORN_FRAME_*).
 * Returns VORN_OK; VORN_E_NULL (null counter or frame); VORN_E_LEARNING while the model learns (nothing
 * tracked); VORN_E_SCENE_CHANGE after a scene change (model and tracks start again, counts kept); the model's or
 * object maker's other codes. */
VORN_API vorn_result vorn_linecount_process(vorn_linecount *lc, uint8_t *frame, uint32_t frame_type);
/* vorn_linecount_get_events — the crossings of the last frame (the counter's storage, valid until the next frame).
 * Outputs cleared first; VORN_E_NULL for a null counter or output. */
VORN_API vorn_result vorn_linecount_get_events(vorn_linecount *lc, const vorn_linecount_event **events,
                                               uint32_t *count);
/* vorn_linecount_get_tracks — the confirmed and lost tracks after the last frame, in slot order. */
VORN_API vorn_result vorn_linecount_get_tracks(vorn_linecount *lc, const vorn_linecount_track **tracks,
                                               uint32_t *count);
/* vorn_linecount_get_counts — the running in and out counts of a line. VORN_E_PARAM for an unknown line. */
VORN_API vorn_result vorn_linecount_get_counts(vorn_linecount *lc, uint32_t line, uint32_t *in, uint32_t *out);
/* vorn_linecount_get_fg — the foreground mask used on the last frame (the model's storage). */
VORN_API vorn_result vorn_linecount_get_fg(vorn_linecount *lc, vorn_mono_image **fg);
/* vorn_linecount_reset — ends every track and sets every count to 0; lines and the model stay. */
VORN_API vorn_result vorn_linecount_reset(vorn_linecount *lc);

#ifdef __cplusplus
}
#endif

#endif /* VORN_LINECOUNT_H */
