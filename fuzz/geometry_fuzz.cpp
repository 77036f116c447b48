// The geometry helpers on lines and polygons anywhere in the 32-bit plane: no undefined behaviour, every result
// inside the range its header promises, the line's pixels exactly as many as announced and joined up.
//
// Input: a line, a second line, a frame size, a half width, an angle, lengths, and up to 16 polygon points with a
// point to test, each read as it is needed (coordinates mostly near a 64 x 64 frame, sometimes anywhere).
#include <stdlib.h>

#include <vector>

#include "fuzz_input.h"
#include "vorn.h"

namespace {

vorn_line line_of(vorn_fuzz::Input &in) { return {in.coord(64), in.coord(64), in.coord(64), in.coord(64)}; }

void line_points(vorn_line l) {
  const uint32_t max_num = vorn_get_line_points_max_num(l);
  // Only lines whose pixels fit a modest array are walked; the count itself is checked for every line.
  const uint64_t need = (uint64_t)llabs((int64_t)l.x0 - l.x1) + (uint64_t)llabs((int64_t)l.y0 - l.y1) + 2;
  if (need <= 0xFFFFFFFFu && max_num != need) abort();
  if (need > 4096) return;
  std::vector<vorn_point> pts(max_num);
  vorn_line_points list = {pts.data(), max_num, 0};
  vorn_get_line_points(l, &list);
  if (list.num == 0 || list.num > max_num) abort();
  for (uint32_t i = 1; i < list.num; ++i) {
    if (llabs((int64_t)pts[i].x - pts[i - 1].x) > 1 || llabs((int64_t)pts[i].y - pts[i - 1].y) > 1) abort();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  vorn_fuzz::Input in(data, size);
  const vorn_line a = line_of(in), b = line_of(in);
  const vorn_size frame = {(int32_t)in.range(1, 128), (int32_t)in.range(1, 128)};
  const bool with_frame = in.u8() & 1;

  const double angle = vorn_get_line_angle(a);
  if (!(angle >= 0.0 && angle < 360.0)) abort();
  vorn_line perp;
  vorn_get_line_vertical_line(a, &perp, with_frame ? &frame : nullptr);
  vorn_get_line_vertical_line_ex(a, &perp, in.coord(64));
  vorn_point p1, p2;
  vorn_get_line_arrow_header(a, (double)(int8_t)in.u8() * 3.0, &p1, &p2, with_frame ? &frame : nullptr);
  vorn_point band[9];
  int32_t count = -1;
  vorn_get_line_region(a, band, &count, in.coord(64), with_frame ? &frame : nullptr);
  if (count < 0 || count > 9) abort();
  vorn_point at;
  vorn_get_line_cross(a, b, &at);
  int32_t mapped = 0;
  vorn_get_line_map_length(a, in.coord(64), in.coord(64), in.coord(64), in.coord(64), in.coord(64), &mapped);
  line_points(a);

  std::vector<vorn_point> poly(in.range(0, 16));
  for (vorn_point &q : poly) q = {in.coord(64), in.coord(64)};
  if (!poly.empty()) poly.push_back(poly.front());
  const vorn_point q = {in.coord(64), in.coord(64)};
  const uint32_t inside = vorn_pt_in_region(q, poly.data(), (int32_t)poly.size());
  if (inside > 1) abort();
  if (count > 0) vorn_pt_in_region(q, band, count);
  return 0;
}
