// Shared geometry of frame buffers for the frame converters: bitmap row steps, and the bounded access to the
// bytes of a 4:2:0 frame whose described walk reaches past its end.
//
// A 4:2:0 frame of w x h holds Y (w * h bytes), then U at w * h, then V at w * h * 5 / 4, chroma rows of w / 2
// bytes. The planar converters pair image row r with chroma row (r + 1) / 2, so the last row of an even-height
// image meets chroma row h / 2: for U that is the first V row (kept), for V it lies past the frame. Bytes at or
// beyond w * h * 3 / 2 are never touched: reads step back whole chroma rows into the frame, writes are dropped.
#ifndef VORN_COLOR_FRAME_LAYOUT_H
#define VORN_COLOR_FRAME_LAYOUT_H

#include <stddef.h>
#include <stdint.h>

#include "vorn_image.h"

namespace vorn {

struct Yuv420Layout {
  int64_t n;      // Y bytes, w * h
  int64_t u;      // offset of the U plane
  int64_t v;      // offset of the V plane
  int64_t cw;     // bytes per chroma row, w / 2
  int64_t limit;  // w * h * 3 / 2: first byte past the frame

  Yuv420Layout(int64_t w, int64_t h)
      : n(w * h), u(w * h), v(w * h * 5 / 4), cw(w / 2), limit(w * h * 3 / 2) {}

  // Offset of chroma byte `off` as read: offsets past the frame move back by whole chroma rows (to the last
  // byte when there are no chroma rows at all).
  int64_t read_at(int64_t off) const {
    if (off < limit) return off;
    if (cw <= 0) return limit - 1;
    return off - ((off - limit) / cw + 1) * cw;
  }
  // Whether `count` bytes from `off` lie inside the frame.
  bool inside(int64_t off, int64_t count) const { return off >= 0 && off + count <= limit; }
};

// Offset of the V byte of the pair that packed 4:2:2 pixel x of a row starting at `row` uses, bounded to a
// frame of `limit` bytes: a lone last pixel of an odd width reads the byte after its row, and on the last row,
// where that byte lies past the frame, its own U byte instead.
inline int64_t yuyv_v_at(int64_t row, int64_t x, int64_t limit) {
  int64_t off = row + 4 * (x >> 1) + 3;
  return off < limit ? off : row + 4 * (x >> 1) + 1;
}

// Row of image `img`, plane p.
inline uint8_t *plane_row(const vorn_image *img, int p, size_t row) {
  return img->plane[p] + row * (size_t)img->width;
}

}  // namespace vorn

#endif
