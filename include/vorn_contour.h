/* vorn_contour.h: border following on binary masks.
 *
 * A tracer finds, one after the other in the raster order of their first pixels, the outer borders of the
 * 8-connected foreground regions of a mask and the borders of their holes (4-connected background enclosed by a
 * region). Each border is a closed list of the points at which its direction changes, starting at its first
 * pixel and ending with a copy of its first point. Only odd mask values are foreground; the outermost rows and
 * columns of the mask are ignored.
 *
 * One tracer per mask size; a tracer is used by one thread at a time. */
#ifndef VORN_CONTOUR_H
#define VORN_CONTOUR_H

#include "vorn_image.h"

#ifdef __cplusplus
extern "C" {
#endif

typedef struct vorn_contour vorn_contour;

/* One border: points are the tracer's own storage, valid until the next vorn_contour_start. */
typedef struct vorn_contour_info {
  vorn_point *points; /* first point of the border */
  uint32_t count;     /* number of points, the closing copy of the first included */
  uint32_t is_hole;   /* 0 outer border, 1 border of a hole */
} vorn_contour_info;

/* vorn_contour_create: a tracer for masks of size->width x size->height.
 *   out  out, the tracer (NULL on failure)
 * Returns VORN_OK, VORN_E_NULL (size or out NULL), VORN_E_PARAM (negative size), VORN_E_NOMEM. */
VORN_API vorn_result vorn_contour_create(const vorn_size *size, vorn_contour **out);

/* vorn_contour_destroy: frees the tracer. VORN_E_NULL for NULL, else VORN_OK. */
VORN_API vorn_result vorn_contour_destroy(vorn_contour *contour);

/* vorn_contour_start: loads a mask and rewinds the scan; borders of the previous mask are dropped.
 * Returns VORN_OK, VORN_E_NULL, VORN_E_PARAM (mask size differs from the tracer's). */
VORN_API vorn_result vorn_contour_start(vorn_contour *contour, const vorn_mono_image *mask);

/* vorn_contour_next: the next border.
 *   info  out, cleared first; the border when VORN_OK is returned
 * Returns VORN_OK, VORN_E_NO_RESULT (no border left), VORN_E_NULL. The borders of one mask share a store of
 * width x height points; a border that would overflow it is cut short, and the scan ends with it. */
VORN_API vorn_result vorn_contour_next(vorn_contour *contour, vorn_contour_info *info);

#ifdef __cplusplus
}
#endif

#endif /* VORN_CONTOUR_H */
