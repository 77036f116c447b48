// The three rect helpers shared by drawing and the analytics.
#ifndef VORN_CORE_RECT_H
#define VORN_CORE_RECT_H

#include "vorn_image.h"

namespace vorn {

// Clamps left/right into 0..w and top/bottom into 0..h in place. False when left == right afterwards; otherwise
// whether top != bottom (so a rect whose right lies left of its left counts as non-empty).
bool rect_clamp(vorn_rect *r, int32_t w, int32_t h);

// left <= x < right and top <= y < bottom.
inline bool pt_in_rect(int32_t x, int32_t y, const vorn_rect &r) {
  return r.left <= x && x < r.right && r.top <= y && y < r.bottom;
}

// out = the overlap of a and b; 1 when it is non-empty, else out is all zero and 0 is returned.
int rect_intersect(const vorn_rect &a, const vorn_rect &b, vorn_rect *out);

}  // namespace vorn

#endif
