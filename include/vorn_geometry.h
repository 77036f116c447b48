/* vorn_geometry.h: angles, perpendiculars, arrow barbs, bands and crossings of integer segments, and the
 * point-in-region test used by every analytic that works with user-drawn areas.
 *
 * Angles are in degrees, counter-clockwise from +x as seen with y pointing up, in [0, 360): a line drawn left to
 * right is 0, bottom to top 90, right to left 180, top to bottom 270. A region is an array of points forming a
 * closed polygon whose last point repeats its first (the count includes it). Nothing here allocates or keeps
 * state, and no pointer argument is checked. */
#ifndef VORN_GEOMETRY_H
#define VORN_GEOMETRY_H

#include "vorn_image.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The pixels of a segment: points is the caller's array, sized with vorn_get_line_points_max_num (max_num is the
 * caller's note of that size and is never read); num is written by vorn_get_line_points. */
typedef struct vorn_line_points {
  vorn_point *points;
  uint32_t max_num;
  uint32_t num;
} vorn_line_points;

/* vorn_get_line_angle: direction of start -> end in degrees, [0, 360); 0.0 for a zero-length line. */
VORN_API double vorn_get_line_angle(vorn_line line);

/* vorn_get_line_vertical_line: the perpendicular through the line's midpoint, half as long as the line.
 *   out    out, the perpendicular; its start lies a right angle clockwise from the line's direction
 *   frame  in, may be NULL; when given, the perpendicular is halved until both ends lie inside the frame (or
 *          until it has shrunk onto the midpoint, when that lies outside)
 * Returns 0. */
VORN_API uint32_t vorn_get_line_vertical_line(vorn_line line, vorn_line *out, const vorn_size *frame);

/* vorn_get_line_vertical_line_ex: the perpendicular through the midpoint reaching half_length on each side.
 * Returns 0. */
VORN_API uint32_t vorn_get_line_vertical_line_ex(vorn_line line, vorn_line *out, int32_t half_length);

/* vorn_get_line_arrow_header: the two barbs of an arrow head hanging on the line's end point, at the line's
 * direction minus / plus `angle` degrees, a quarter of the line long.
 *   a, b   out, the barbs' far ends
 *   frame  in, may be NULL; when given the barbs are halved while a.y or b.x lies outside the frame (a.x and b.y
 *          are not looked at)
 * Returns 0. */
VORN_API uint32_t vorn_get_line_arrow_header(vorn_line line, double angle, vorn_point *a, vorn_point *b,
                                             const vorn_size *frame);

/* vorn_get_line_region: the band of half-width half_width around the line, clipped to the frame, as a closed
 * region.
 *   points  out, room for 9 points;  count  out, number of points written, the closing one included
 *   frame   in; when NULL the band's four corners are returned unclipped
 * Returns 0. */
VORN_API uint32_t vorn_get_line_region(vorn_line line, vorn_point *points, int32_t *count, int32_t half_width,
                                       const vorn_size *frame);

/* vorn_pt_in_region: 1 when p lies inside the region or on its boundary, else 0. No allocation, no
 * trigonometry: cheap enough to test every pixel of a frame. */
VORN_API uint32_t vorn_pt_in_region(vorn_point p, const vorn_point *points, int32_t count);

/* vorn_get_line_cross: where the lines through segments a and b cross, rounded down.
 *   out  out; untouched when the lines are parallel (or both vertical)
 * Returns 1 when the crossing lies within both segments' bounding boxes, else 0 (out is still written when the
 * lines do cross). */
VORN_API uint32_t vorn_get_line_cross(vorn_line a, vorn_line b, vorn_point *out);

/* vorn_get_line_map_length: carries `length`, measured along the line's direction in a from_width x from_height
 * frame, into a to_width x to_height frame. out is not written for a zero-length line. Returns 0. */
VORN_API uint32_t vorn_get_line_map_length(vorn_line line, int32_t from_width, int32_t from_height, int32_t length,
                                           int32_t to_width, int32_t to_height, int32_t *out);

/* vorn_get_line_points: the pixels of the segment, running from its lower-x end (mostly horizontal lines) or its
 * lower-y end (the others), whatever the line's own direction. list->num <- the number written. */
VORN_API void vorn_get_line_points(vorn_line line, vorn_line_points *list);

/* vorn_get_line_points_max_num: |x0 - x1| + |y0 - y1| + 2, enough room for vorn_get_line_points. */
VORN_API uint32_t vorn_get_line_points_max_num(vorn_line line);

#ifdef __cplusplus
}
#endif

#endif /* VORN_GEOMETRY_H */
