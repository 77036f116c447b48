/* vorn_vbc.h: the point-trajectory recorder.
 *
 * The recorder follows feature points through a video, one frame at a time, and keeps each point's trajectory:
 * the frame where it was first seen and its position in that frame and every following one until it was lost.
 * A viewer then lets the user grab a moving thing with the pointer and drag it along its own path: a press near
 * a point selects its trajectory (vorn_vbc_down), every pointer move answers the frame at which that trajectory
 * passes nearest the pointer (vorn_vbc_move), and the release drops the selection (vorn_vbc_up).
 *
 * Recording, per frame: the frame is converted to luma, a 3-level mono pyramid is built, every live point is
 * followed with vorn_opticalflow_pyr_lk (21 x 21 window, 10 steps), and a point's trajectory ends when the point
 * is lost, leaves the frame, jumps farther than the jump limit in one frame, or has stayed within 2 pixels of
 * one place for 30 frames (it has settled on the background). Then, where the picture moves
 * and has room, new points are seeded at corners and each starts a trajectory. Corners are the local maxima of
 * the smaller eigenvalue of the Sobel structure matrix summed over 3 x 3 pixels, at least 900 and 1/100 of the
 * strongest in the seeding area, taken strongest first and farther than the seeding spacing from each other. The picture moves where the quarter-size pyramid level changed by at least the motion threshold
 * since the previous frame (with a margin of about 4 pixels); it has room farther than the seeding spacing from
 * every live point. The first frame of a recording only gives the reference: nothing moves yet. Trajectories
 * shorter than the minimum length are dropped when they end. Frames are numbered from 0 in the order they were
 * processed.
 *
 * Positions are floats in pixels, x to the right, y downwards, (0, 0) the centre of the top-left pixel.
 *
 * Trajectory indices are 0 .. count - 1. Once the recording is finished (vorn_vbc_end_process) the trajectories
 * are ordered by start frame, then by the order their points were seeded; a loaded recording keeps the file's
 * order. While recording, dropping a short trajectory moves the last one into its index.
 *
 * Memory: everything is allocated by vorn_vbc_create (and vorn_vbc_load when a file needs more room); processing
 * a frame allocates nothing. When the position store
 * or the trajectory table is full, trajectories that cannot grow end and no new points are seeded.
 *
 * One handle per video; a handle is used by one thread at a time.
 *
 * File format (vorn_vbc_save / vorn_vbc_load), every field little-endian, no padding:
 *   bytes 0..3    magic "VBCT" (0x56 0x42 0x43 0x54)
 *   bytes 4..7    u32 version, 1
 *   bytes 8..11   u32 frame width
 *   bytes 12..15  u32 frame height
 *   bytes 16..19  u32 frames recorded F
 *   bytes 20..23  u32 trajectory count N
 *   bytes 24..27  u32 position count P (the sum of the trajectories' lengths)
 *   then N records of 8 bytes: u32 start frame, u32 length (at least 1, start + length <= F)
 *   then P positions of 8 bytes: f32 x, f32 y (IEEE 754 binary32), trajectory after trajectory, each one's
 *   positions frame after frame; every position lies inside the frame: 0 <= x <= width - 1, 0 <= y <= height - 1
 * The file is exactly 28 + 8 N + 8 P bytes long. */
#ifndef VORN_VBC_H
#define VORN_VBC_H

#include "vorn_core.h"
#include "vorn_image.h"
#include "vorn_opticalflow.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct vorn_vbc vorn_vbc;

/* Answer of vorn_vbc_down when no trajectory is near the pointer (the same value as VORN_E_NO_RESULT). */
#define VORN_VBC_NONE 0x10000000u

/* Creation parameters; a field left 0 takes the default in brackets. */
typedef struct vorn_vbc_params {
  uint32_t width, height;     /* frame size, each at least 16 */
  uint32_t frame_type;        /* VORN_FRAME_*, the type of the frames to come (above 4 is taken as 4) */
  uint32_t max_points;        /* live points followed at once [400], at most 65536 */
  uint32_t max_trajectories;  /* trajectories stored [20000], at most 16777216 */
  uint32_t max_positions;     /* positions stored over all trajectories [4194304], at most 268435456 */
  uint32_t min_length;        /* trajectories of fewer frames are dropped when they end [10] */
  uint32_t min_distance;      /* seeding spacing in pixels, from live points and between new ones [10] */
  uint32_t max_jump;          /* a point moving farther than this in one frame is lost [48] */
  uint32_t motion_threshold;  /* grey-level change that makes a place worth seeding, 1 .. 255 [10] */
} vorn_vbc_params;

/* vorn_vbc_create — a recorder for frames of the given size and type.
 *   params  in, the settings above;   out  out, the handle (NULL on failure)
 * Returns VORN_OK, VORN_E_NULL (params or out NULL), VORN_E_PARAM (size below 16, a limit above its maximum, or
 * width x height x 3 beyond 32 bits), VORN_E_NOMEM. */
VORN_API vorn_result vorn_vbc_create(const vorn_vbc_params *params, vorn_vbc **out);

/* vorn_vbc_destroy — frees the recorder and everything it holds; NULL is ignored. */
VORN_API void vorn_vbc_destroy(vorn_vbc *vbc);

/* vorn_vbc_process — records one frame.
 *   frame       in, a host frame of the recorder's size, of type frame_type (converted through the frame table,
 *               so vorn_init must have run)
 * Returns VORN_OK, VORN_E_NULL (vbc or frame NULL), VORN_E_PARAM (the frame could not be converted: vorn_init
 * not called), VORN_E_NOMEM (the optical flow's window buffer). After an error the frame is not counted and the
 * recording is as before it. */
VORN_API vorn_result vorn_vbc_process(vorn_vbc *vbc, const void *frame, uint32_t frame_type);

/* vorn_vbc_end_process — finishes the recording: open trajectories end (those shorter than the minimum length
 * are dropped), the trajectories are put in order and the selection is released. A later vorn_vbc_process
 * continues after the frames recorded so far, with no live points. Returns VORN_OK or VORN_E_NULL. */
VORN_API vorn_result vorn_vbc_end_process(vorn_vbc *vbc);

/* vorn_vbc_down — selects the trajectory whose point at `frame` is nearest (x, y), when its squared distance is
 * below 200; a trajectory not present at that frame is not a candidate. Equal distances: the lower index.
 *   index  out, the selected trajectory, or VORN_VBC_NONE; may be NULL
 * Returns VORN_OK, VORN_VBC_NONE (nothing near: the selection is released), VORN_E_NULL (vbc NULL). */
VORN_API vorn_result vorn_vbc_down(vorn_vbc *vbc, uint32_t frame, float x, float y, uint32_t *index);

/* vorn_vbc_move — the frame at which the selected trajectory passes nearest (x, y), and its point there.
 * Points within half a pixel (squared distance + 0.25) of the nearest one count as equally near; among them the frame
 * closest to the last answer (the press frame at first) wins, so a thing that stands still does not make the
 * video jump.
 *   frame  out, the frame (0 on error);   point  out, the trajectory's position at it (0, 0 on error)
 * Returns VORN_OK, VORN_E_NO_RESULT (no selection), VORN_E_NULL (vbc, frame or point NULL). */
VORN_API vorn_result vorn_vbc_move(vorn_vbc *vbc, float x, float y, uint32_t *frame, vorn_point2f *point);

/* vorn_vbc_up — releases the selection. Returns VORN_OK, or VORN_E_NULL. */
VORN_API vorn_result vorn_vbc_up(vorn_vbc *vbc);

/* vorn_vbc_get_count — the number of trajectories and the number of frames recorded (either may be NULL).
 * Outputs are cleared first. Returns VORN_OK or VORN_E_NULL (vbc NULL). */
VORN_API vorn_result vorn_vbc_get_count(vorn_vbc *vbc, uint32_t *trajectories, uint32_t *frames);

/* vorn_vbc_get_trajectory — start frame and length (in frames) of trajectory `index` (either may be NULL).
 * Outputs are cleared first. Returns VORN_OK, VORN_E_NULL (vbc NULL), VORN_E_PARAM (index >= count). */
VORN_API vorn_result vorn_vbc_get_trajectory(vorn_vbc *vbc, uint32_t index, uint32_t *start, uint32_t *length);

/* vorn_vbc_get_points — copies positions first .. first + count - 1 of trajectory `index` (position k is its
 * point at frame start + k) into points.
 * Returns VORN_OK, VORN_E_NULL (vbc, or points with count > 0), VORN_E_PARAM (index >= trajectory count, or the
 * range runs past the trajectory's length). */
VORN_API vorn_result vorn_vbc_get_points(vorn_vbc *vbc, uint32_t index, uint32_t first, uint32_t count,
                                         vorn_point2f *points);

/* vorn_vbc_save — writes the trajectories (in index order) and the frame count in the format above.
 * Returns VORN_OK, VORN_E_NULL (vbc or path NULL), VORN_E_NOMEM, VORN_E_FILE (cannot be opened or written). */
VORN_API vorn_result vorn_vbc_save(vorn_vbc *vbc, const char *path);

/* vorn_vbc_load — replaces the recording with a file's: its trajectories and frame count; live points and the
 * selection are dropped. The file must be well formed in every field above and of the recorder's frame size.
 * When the file needs more room than the recorder has, the stores grow to fit.
 * Returns VORN_OK, VORN_E_NULL (vbc or path NULL), VORN_E_FILE (cannot be opened or read), VORN_E_PARAM
 * (truncated, too long, a wrong magic, version or frame size, or any field out of range), VORN_E_NOMEM. On any
 * error the recorder is left exactly as it was. */
VORN_API vorn_result vorn_vbc_load(vorn_vbc *vbc, const char *path);

#ifdef __cplusplus
}
#endif

#endif /* VORN_VBC_H */
