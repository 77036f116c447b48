/* vorn_obj_maker.h: objects from foreground masks.
 *
 * An object maker turns a foreground mask into a list of objects (connected regions with a bounding rectangle,
 * a centre, their points and, on demand, a grey-level histogram). Two modes, fixed at creation:
 *   block mode (0): the mask is reduced to a grid of 4 x 4 pixel cells (a cell is occupied when 13 or more of
 *     its pixels are non-zero) and 4-connected groups of occupied cells become objects; the outermost ring of
 *     cells never belongs to an object and the next ring never seeds one.
 *   contour mode (1): the outer borders of the mask's regions (odd pixel values are foreground) that are at least
 *     width / 100 x height / 100 and do not start inside an earlier object become objects.
 * One maker per video size and stream; a maker is used by one thread at a time. */
#ifndef VORN_OBJ_MAKER_H
#define VORN_OBJ_MAKER_H

#include "vorn_histogram.h"
#include "vorn_image.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct vorn_obj_maker_params {
  uint32_t width;    /* frame width in pixels */
  uint32_t height;   /* frame height in pixels */
  uint32_t max_objs; /* capacity of the object array; extraction stops when it is full */
  uint32_t mode;     /* 0 block mode, 1 contour mode */
} vorn_obj_maker_params;

/* One object. The first four words are laid out like a vorn_rect, so an object can be passed where a rectangle
 * is expected. In block mode right and bottom are inclusive (the last pixel of the last cell). */
typedef struct vorn_obj {
  int32_t left, top, right, bottom;
  int32_t width;  /* right - left */
  int32_t height; /* bottom - top */
  int32_t cx;     /* left + width / 2 */
  int32_t cy;     /* top + height / 2 */
  vorn_point *points;   /* grid cells (block mode) or border corners (contour mode); the maker's storage */
  uint32_t point_count;
  vorn_histogram *hist; /* NULL until vorn_obj_maker_calculate_hist; belongs to the record's slot */
} vorn_obj;

typedef struct vorn_obj_maker vorn_obj_maker;

/* vorn_obj_maker_create: a maker for width x height masks.
 *   out  out, the maker (NULL on failure)
 * Returns VORN_OK, VORN_E_PARAM (out or params NULL), VORN_E_NOMEM (nothing is left allocated). */
VORN_API vorn_result vorn_obj_maker_create(const vorn_obj_maker_params *params, vorn_obj_maker **out);
/* vorn_obj_maker_destroy: frees the maker, its records' histograms and every buffer. VORN_E_NULL for NULL. */
VORN_API vorn_result vorn_obj_maker_destroy(vorn_obj_maker *maker);
/* vorn_obj_maker_process: extracts the objects of one mask, overwriting those of the previous run.
 * Returns VORN_OK, VORN_E_NULL, VORN_E_PARAM (mask size differs; block mode on a frame under 4 x 4). */
VORN_API vorn_result vorn_obj_maker_process(vorn_obj_maker *maker, const vorn_mono_image *mask);
/* Getters: outputs are cleared first; VORN_E_NULL for a NULL maker or output. */
/* vorn_obj_maker_get_obj: the object array and the number of objects of the last run. */
VORN_API vorn_result vorn_obj_maker_get_obj(vorn_obj_maker *maker, vorn_obj **objs, uint32_t *count);
/* vorn_obj_maker_get_fg: the maker's cell-sized foreground image (NULL in contour mode). */
VORN_API vorn_result vorn_obj_maker_get_fg(vorn_obj_maker *maker, vorn_mono_image **fg);
/* vorn_obj_maker_get_point_list: the block-mode point buffer, in which all objects' points lie back to back. */
VORN_API vorn_result vorn_obj_maker_get_point_list(vorn_obj_maker *maker, vorn_point **points);
/* Cell size: 4 x 4 in block mode, 1 x 1 in contour mode. */
VORN_API vorn_result vorn_obj_maker_get_block_width(vorn_obj_maker *maker, uint32_t *width);
VORN_API vorn_result vorn_obj_maker_get_block_height(vorn_obj_maker *maker, uint32_t *height);
/* vorn_obj_maker_clear_obj: zeroes the cells of block-mode object `index` in image, whose size divided by the
 * cell size must be the grid's. Returns VORN_OK, VORN_E_NULL, VORN_E_PARAM (size, index past the array, or a
 * maker without a grid). */
VORN_API vorn_result vorn_obj_maker_clear_obj(vorn_obj_maker *maker, uint32_t index, vorn_mono_image *image);
/* vorn_obj_maker_adjust_rect: re-centres every object on the mean of its rectangle's mask pixels and sizes it to
 * four standard deviations (the rectangle's right column and bottom row are not looked at; the result is not
 * clamped to the frame). Objects without an odd mask pixel are left as they were. VORN_OK, VORN_E_NULL. */
VORN_API vorn_result vorn_obj_maker_adjust_rect(vorn_obj_maker *maker, const vorn_mono_image *mask);
/* vorn_obj_maker_calculate_hist: adds each object's rectangle of frame plane 0 (where mask, optional, is
 * non-zero) to the object's 32-bin histogram, attaching the slot's histogram (made at create) the first time.
 * Bins are not cleared.
 * VORN_OK, VORN_E_NULL. */
VORN_API vorn_result vorn_obj_maker_calculate_hist(vorn_obj_maker *maker, const vorn_image *frame,
                                                   const vorn_mono_image *mask);

/* vorn_image_make_obj: placeholder that finds nothing: *count <- 0; the other arguments are not used.
 * Returns VORN_OK, VORN_E_NULL, VORN_E_NOMEM (scratch copy of the mask). */
VORN_API vorn_result vorn_image_make_obj(const vorn_mono_image *mask, int32_t unused_a, int32_t unused_b,
                                         vorn_rect *rects, uint32_t *count);

#ifdef __cplusplus
}
#endif

#endif /* VORN_OBJ_MAKER_H */
