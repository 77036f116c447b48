// The part of a half-open rectangle that lies inside a width x height image.
#ifndef VORN_OBJECTS_RECT_SPAN_H
#define VORN_OBJECTS_RECT_SPAN_H

#include <stdint.h>

#include "vorn_image.h"

namespace vorn {

struct Span {
  int32_t x0, x1, y0, y1;  // columns x0 .. x1 - 1, rows y0 .. y1 - 1
  bool empty() const { return x0 >= x1 || y0 >= y1; }
};

// Columns left .. right - 1 and rows top .. top + (bottom - rect.top) - 1, clipped to the image. `top` lets a
// caller place the rectangle's rows elsewhere (the back-projection starts them at row 0).
inline Span rect_span(const vorn_rect &r, int64_t top, uint32_t width, uint32_t height) {
  auto clamp = [](int64_t v, int64_t hi) { return (int32_t)(v < 0 ? 0 : (v > hi ? hi : v)); };
  const int64_t rows = (int64_t)r.bottom - r.top;
  Span s;
  s.x0 = clamp(r.left, width);
  s.x1 = clamp(r.right, width);
  s.y0 = clamp(top, height);
  s.y1 = clamp(top + rows, height);
  return s;
}

}  // namespace vorn

#endif
