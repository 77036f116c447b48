// The corner search with buffers that an object keeps between frames: each buffer grows when a larger frame or
// more corners are asked for and is reused otherwise, so a steady frame allocates nothing.
#ifndef VORN_TRACKING_CORNER_WORK_H
#define VORN_TRACKING_CORNER_WORK_H

#include <stddef.h>

#include "vorn_image.h"

namespace vorn {

// All-zero is an empty set of buffers (a zeroed block holds one as it is).
struct CornerWork {
  double *lambda;                 // smaller eigenvalue per pixel (0 on the border)
  int32_t *rows;                  // derivative ring (6 rows) and sums (6 rows)
  uint32_t *cand;                 // candidate pixel indices, room for every interior pixel
  int32_t *cell_head, *cell_next; // accepted points by grid cell
  uint8_t *grey;                  // luma of an RGB image
  size_t lambda_cap, rows_cap, cand_cap, head_cap, next_cap, grey_cap;
};

// vorn_good_feature_to_track with the buffers in work (same arguments, same results and codes).
vorn_result good_features(const vorn_image *image, uint32_t min_distance, vorn_point *points, uint32_t *count,
                          const vorn_mono_image *mask, vorn_image *map, CornerWork *work);
// Makes the buffers for width x height images (an RGB one included) and up to `wanted` corners min_distance apart,
// so that the first search allocates nothing either. VORN_OK, VORN_E_NOMEM.
vorn_result corner_work_reserve(CornerWork *work, uint32_t width, uint32_t height, uint32_t wanted,
                                uint32_t min_distance);
// Frees the buffers and empties work.
void corner_work_release(CornerWork *work);

}  // namespace vorn

#endif
