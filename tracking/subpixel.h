// Bilinear sampling of grey planes at sub-pixel positions, with the image's border pixels repeated outside it.
#ifndef VORN_TRACKING_SUBPIXEL_H
#define VORN_TRACKING_SUBPIXEL_H

#include <stdint.h>

namespace vorn {

// Samples the (2 r + 1)^2 window centred on (cx, cy) row by row into out: out[(dy + r)(2r + 1) + dx + r] is the
// value at (cx + dx, cy + dy). With ix = floor(cx), fx = cx - ix (likewise y), each value is
//   (1-fx)(1-fy) p(ix+dx, iy+dy) + fx(1-fy) p(ix+dx+1, iy+dy) + (1-fx)fy p(ix+dx, iy+dy+1) + fx fy p(ix+dx+1, iy+dy+1)
// summed in that order, where p clamps its column into 0..w-1 and its row into 0..h-1. The centre must lie
// within 2^20 of the image (callers bound it).
void subpixel_window(const uint8_t *plane, int32_t w, int32_t h, float cx, float cy, int32_t r, float *out);

}  // namespace vorn

#endif
