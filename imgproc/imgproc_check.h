// Operand checks shared by the image operations.
#ifndef VORN_IMGPROC_CHECK_H
#define VORN_IMGPROC_CHECK_H

#include <stdint.h>

#include "vorn_image.h"

namespace vorn {

// A record that is there with its storage: all three planes of a colour image, the data of a mono image. Missing
// storage is a null argument, answered before any size check.
inline bool present(const vorn_image *i) { return i && i->plane[0] && i->plane[1] && i->plane[2]; }
inline bool present(const vorn_mono_image *m) { return m && m->data; }

inline bool same_size(const vorn_image &a, const vorn_image &b) {
  return a.width == b.width && a.height == b.height;
}
inline bool same_shape(const vorn_image &a, const vorn_image &b) { return same_size(a, b) && a.format == b.format; }
inline bool same_size(const vorn_mono_image &a, const vorn_mono_image &b) {
  return a.width == b.width && a.height == b.height;
}
inline bool same_size(const vorn_image &a, const vorn_mono_image &b) {
  return a.width == b.width && a.height == b.height;
}

// Bytes in one plane (planes have no padding). Records that pass the size checks come from the library's
// allocators, whose planes fit a 32-bit block.
inline uint32_t plane_bytes(uint32_t width, uint32_t height) { return width * height; }

// The planes a selector picks: all three for 0xFFFFFFFF, else the single plane min(sel, 2).
struct PlaneRange {
  uint32_t first, last;  // inclusive
};
inline PlaneRange plane_range(uint32_t sel) {
  if (sel == 0xFFFFFFFFu) return {0, 2};
  uint32_t p = sel < 2 ? sel : 2;
  return {p, p};
}

}  // namespace vorn

#endif
