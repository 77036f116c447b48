// Frames as the library takes them, and small helpers shared by the analytics that wrap library objects.
#ifndef VORN_TOOLS_LIBRARY_FRAME_H
#define VORN_TOOLS_LIBRARY_FRAME_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "vorn.h"

#include "error.h"
#include "frame.h"
#include "geometry.h"

namespace vt {

// A frame as raw 24-bit bitmap rows (VORN_FRAME_BMP24): bottom-up B,G,R rows, each padded to 4 bytes.
class Bmp24Frame {
 public:
  const uint8_t *fill(const Frame &f) {
    const size_t stride = (static_cast<size_t>(f.width) * 3 + 3) & ~size_t(3);
    buf_.resize(stride * static_cast<size_t>(f.height));
    for (int y = 0; y < f.height; ++y) {
      const uint8_t *src = f.row(f.height - 1 - y);
      uint8_t *dst = buf_.data() + stride * static_cast<size_t>(y);
      std::copy(src, src + static_cast<size_t>(f.width) * 3, dst);
    }
    return buf_.data();
  }
  uint8_t *data() { return buf_.data(); }

 private:
  std::vector<uint8_t> buf_;
};

inline std::string result_hex(vorn_result r) {
  char b[16];
  std::snprintf(b, sizeof b, "0x%08X", static_cast<unsigned>(r));
  return b;
}

// Throws a runtime error "<who>: <what> failed (0x1000000N)".
[[noreturn]] inline void library_failed(const std::string &who, const std::string &what, vorn_result r) {
  runtime_error(who + ": " + what + " failed (" + result_hex(r) + ")");
}

// A polygon as library points, closed by repeating its first point at the end.
inline std::vector<vorn_point> closed_points(const Polygon &p) {
  std::vector<vorn_point> out;
  for (const Pt &q : p) out.push_back(vorn_point{q.x, q.y});
  if (!p.empty()) out.push_back(vorn_point{p[0].x, p[0].y});
  return out;
}

inline Box box_of(const vorn_rect &r) { return Box{r.left, r.top, r.right, r.bottom}; }

}  // namespace vt

#endif
