// Angles, perpendiculars, arrow barbs, crossings, mapped lengths and the pixels of integer segments.
//
// Angles are degrees counter-clockwise from +x with y pointing up, so the vertical component of a line is always
// start minus end (y0 - y1) while the horizontal one is end minus start (x1 - x0). Real values become integers by
// truncation toward zero unless floor is named.
#include <math.h>
#include <stdlib.h>

#include "core/real_to_int.h"
#include "vorn_geometry.h"

namespace {

constexpr double kPi = 3.141592653589793;

double line_length(const vorn_line &l) {
  double dx = (double)l.x0 - (double)l.x1;
  double dy = (double)l.y0 - (double)l.y1;
  return sqrt(dx * dx + dy * dy);
}

// The perpendicular's direction: the line's angle turned back by a right angle, in radians.
void perpendicular_dir(const vorn_line &l, double *c, double *s) {
  double phi = vorn_get_line_angle(l) - 90.0;
  if (phi < 0) phi += 360.0;
  double theta = (phi / 360.0) * 2.0 * kPi;
  *c = cos(theta);
  *s = sin(theta);
}

// Both ends at r from the midpoint (integer midpoint, truncated offsets).
vorn_line perpendicular_at(const vorn_line &l, double c, double s, double r) {
  int32_t mx = vorn::wrap_add(l.x1, l.x0) / 2;
  int32_t my = vorn::wrap_add(l.y1, l.y0) / 2;
  int32_t dx = vorn::trunc_i32(c * r);
  int32_t dy = vorn::trunc_i32(s * r);
  vorn_line out;
  out.x0 = vorn::wrap_add(mx, dx);
  out.y0 = vorn::wrap_sub(my, dy);
  out.x1 = vorn::wrap_sub(mx, dx);
  out.y1 = vorn::wrap_add(my, dy);
  return out;
}

inline bool outside(int32_t v, int32_t limit) { return v < 0 || v >= limit; }

// Below half a pixel every offset truncates to 0: the result is the fixed point the halving converges on, so a
// frame-fitting loop that has not ended by then never would.
constexpr double kSmallestHalf = 0.5;

}  // namespace

extern "C" {

VORN_API double vorn_get_line_angle(vorn_line line) {
  double dx = (double)line.x1 - (double)line.x0;
  double dy = (double)line.y0 - (double)line.y1;
  double len = sqrt(dx * dx + dy * dy);
  if (len == 0) return 0.0;
  double s = dy / len, c = dx / len;
  double a = asin(s) * 360.0 / 6.283185307179586;
  if (s >= 0) return c >= 0 ? a : 180.0 - a;
  return c < 0 ? 180.0 - a : 360.0 + a;
}

VORN_API uint32_t vorn_get_line_vertical_line(vorn_line line, vorn_line *out, const vorn_size *frame) {
  double c, s;
  perpendicular_dir(line, &c, &s);
  double r = line_length(line) * 0.25;
  *out = perpendicular_at(line, c, s, r);
  if (frame) {
    while (outside(out->y0, frame->height) || outside(out->y1, frame->height) || outside(out->x1, frame->width) ||
           outside(out->x0, frame->width)) {
      if (r < kSmallestHalf) break;
      r /= 2;
      *out = perpendicular_at(line, c, s, r);
    }
  }
  return 0;
}

VORN_API uint32_t vorn_get_line_vertical_line_ex(vorn_line line, vorn_line *out, int32_t half_length) {
  double c, s;
  perpendicular_dir(line, &c, &s);
  *out = perpendicular_at(line, c, s, (double)half_length);
  return 0;
}

VORN_API uint32_t vorn_get_line_arrow_header(vorn_line line, double angle, vorn_point *a, vorn_point *b,
                                             const vorn_size *frame) {
  double dir = vorn_get_line_angle(line);
  double phi_a = dir - angle;
  if (phi_a < 0) phi_a += 360.0;
  double phi_b = dir + angle;
  if (phi_b >= 360.0) phi_b -= 360.0;
  double theta_a = (phi_a / 360.0) * 2.0 * kPi;
  double theta_b = (phi_b / 360.0) * 2.0 * kPi;
  double ca = cos(theta_a), sa = sin(theta_a), cb = cos(theta_b), sb = sin(theta_b);
  double r = line_length(line) * 0.25;
  auto place = [&]() {
    a->x = vorn::wrap_add(line.x1, vorn::trunc_i32(ca * r));
    a->y = vorn::wrap_sub(line.y1, vorn::trunc_i32(sa * r));
    b->x = vorn::wrap_add(line.x1, vorn::trunc_i32(cb * r));
    b->y = vorn::wrap_sub(line.y1, vorn::trunc_i32(sb * r));
  };
  place();
  if (frame) {
    // Only a.y and b.x decide whether the barbs fit.
    while (outside(a->y, frame->height) || outside(b->x, frame->width)) {
      if (r < kSmallestHalf) break;
      r /= 2;
      place();
    }
  }
  return 0;
}

VORN_API uint32_t vorn_get_line_cross(vorn_line a, vorn_line b, vorn_point *out) {
  bool a_vertical = a.x0 == a.x1, b_vertical = b.x0 == b.x1;
  if (a_vertical && b_vertical) return 0;
  double ka = 0, ba = 0, kb = 0, bb = 0;
  if (!a_vertical) {
    ka = ((double)a.y0 - a.y1) / ((double)a.x0 - a.x1);
    ba = a.y0 - ka * a.x0;
  }
  if (!b_vertical) {
    kb = ((double)b.y0 - b.y1) / ((double)b.x0 - b.x1);
    bb = b.y0 - kb * b.x0;
  }
  vorn_point p;
  if (a_vertical) {
    p.x = a.x0;
    p.y = vorn::floor_i32(kb * a.x0 + bb);
  } else if (b_vertical) {
    p.x = b.x0;
    p.y = vorn::floor_i32(ka * b.x0 + ba);
  } else {
    if (ka == kb) return 0;
    if (ka == 0) {
      p.y = vorn::floor_i32(ba);
      p.x = vorn::floor_i32((ba - bb) / kb);
    } else if (kb == 0) {
      p.y = vorn::floor_i32(bb);
      p.x = vorn::floor_i32((bb - ba) / ka);
    } else {
      double y = (kb * ba - ka * bb) / (kb - ka);
      p.y = vorn::floor_i32(y);
      p.x = vorn::floor_i32((y - ba) / ka);
    }
  }
  *out = p;
  // Within both bounding boxes, inclusive, as 32-bit products.
  auto between = [](int32_t v, int32_t e0, int32_t e1) {
    return vorn::wrap_mul(vorn::wrap_sub(v, e1), vorn::wrap_sub(v, e0)) <= 0;
  };
  bool in_a = between(p.x, a.x0, a.x1) && between(p.y, a.y0, a.y1);
  bool in_b = between(p.x, b.x0, b.x1) && between(p.y, b.y0, b.y1);
  return in_a && in_b ? 1u : 0u;
}

VORN_API uint32_t vorn_get_line_map_length(vorn_line line, int32_t from_width, int32_t from_height, int32_t length,
                                           int32_t to_width, int32_t to_height, int32_t *out) {
  double dx = (double)line.x1 - line.x0;
  double dy = (double)line.y0 - line.y1;
  double len = sqrt(dx * dx + dy * dy);
  if (len == 0) return 0;
  double x = fabs(dx / len) * length * to_width / from_width;
  double y = fabs(dy / len) * length * to_height / from_height;
  *out = vorn::floor_i32(sqrt(x * x + y * y));
  return 0;
}

VORN_API void vorn_get_line_points(vorn_line line, vorn_line_points *list) {
  // 64-bit walk: the differences of two 32-bit coordinates need 33 bits.
  int64_t x0 = line.x0, y0 = line.y0, x1 = line.x1, y1 = line.y1;
  int64_t adx = x0 > x1 ? x0 - x1 : x1 - x0;
  int64_t ady = y0 > y1 ? y0 - y1 : y1 - y0;
  vorn_point *pts = list->points;
  uint32_t n = 0;
  if (adx > ady) {
    int64_t x = x0, y = y0, xe = x1, ye = y1;
    if (x0 > x1) x = x1, y = y1, xe = x0, ye = y0;
    int64_t ystep = ye < y ? -1 : 1;
    int64_t e = 2 * ady - adx;
    pts[n++] = vorn_point{(int32_t)x, (int32_t)y};
    while (x < xe) {
      ++x;
      if (e >= 0) y += ystep;
      pts[n++] = vorn_point{(int32_t)x, (int32_t)y};
      e += e < 0 ? 2 * ady : 2 * (ady - adx);
    }
  } else {
    int64_t x = x0, y = y0, xe = x1, ye = y1;
    if (y0 > y1) x = x1, y = y1, xe = x0, ye = y0;
    int64_t xstep = xe < x ? -1 : 1;
    int64_t e = 2 * adx - ady;
    pts[n++] = vorn_point{(int32_t)x, (int32_t)y};
    while (y < ye) {
      ++y;
      if (e >= 0) x += xstep;
      pts[n++] = vorn_point{(int32_t)x, (int32_t)y};
      e += e < 0 ? 2 * adx : 2 * (adx - ady);
    }
  }
  list->num = n;
}

VORN_API uint32_t vorn_get_line_points_max_num(vorn_line line) {
  uint32_t adx = line.x0 > line.x1 ? (uint32_t)line.x0 - (uint32_t)line.x1 : (uint32_t)line.x1 - (uint32_t)line.x0;
  uint32_t ady = line.y0 > line.y1 ? (uint32_t)line.y0 - (uint32_t)line.y1 : (uint32_t)line.y1 - (uint32_t)line.y0;
  return adx + ady + 2;
}

}  // extern "C"
