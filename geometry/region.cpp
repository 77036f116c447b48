// Regions: the band around a line clipped to the frame, and the point-in-region test.
#include <math.h>

#include "core/real_to_int.h"
#include "vorn_geometry.h"

namespace {

struct Frame {
  int32_t w, h;
  bool contains(int32_t x, int32_t y) const { return x >= 0 && x < w && y >= 0 && y < h; }
  bool contains(double x, double y) const { return x >= 0 && x < w && y >= 0 && y < h; }
};

inline bool between(int32_t v, int32_t e0, int32_t e1) {
  return vorn::wrap_mul(vorn::wrap_sub(v, e0), vorn::wrap_sub(v, e1)) <= 0;
}

inline int64_t dist2(vorn_point a, vorn_point b) {
  int64_t dx = (int64_t)a.x - b.x, dy = (int64_t)a.y - b.y;
  return dx * dx + dy * dy;
}

// Where the line through p and q meets the frame's border lines x = 0, x = w - 1, y = 0 and y = h - 1, keeping
// the crossings whose exact position lies inside the frame. Returns how many were kept (up to 4).
int border_crossings(vorn_point p, vorn_point q, const Frame &f, vorn_point *cand) {
  int n = 0;
  if (p.x == q.x) {
    int32_t x = p.x > f.w - 1 ? f.w - 1 : p.x;
    if (x < 0) x = 0;
    if (f.contains(x, 0)) cand[n++] = vorn_point{x, 0};
    if (f.contains(x, f.h - 1)) cand[n++] = vorn_point{x, f.h - 1};
    return n;
  }
  if (p.y == q.y) {
    int32_t y = p.y > f.h - 1 ? f.h - 1 : p.y;
    if (y < 0) y = 0;
    if (f.contains(0, y)) cand[n++] = vorn_point{0, y};
    if (f.contains(f.w - 1, y)) cand[n++] = vorn_point{f.w - 1, y};
    return n;
  }
  double k = ((double)p.y - q.y) / ((double)p.x - q.x);
  double b = p.y - k * p.x;
  double right = f.w - 1, bottom = f.h - 1;
  double yl = b, yr = k * right + b, xt = -b / k, xb = (bottom - b) / k;
  if (f.contains(0.0, yl)) cand[n++] = vorn_point{0, vorn::trunc_i32(yl)};
  if (f.contains(right, yr)) cand[n++] = vorn_point{f.w - 1, vorn::trunc_i32(yr)};
  if (f.contains(xt, 0.0)) cand[n++] = vorn_point{vorn::trunc_i32(xt), 0};
  if (f.contains(xb, bottom)) cand[n++] = vorn_point{vorn::trunc_i32(xb), f.h - 1};
  return n;
}

// The part of edge p -> q inside the frame, as the points the band's outline takes from this edge: p itself
// when it is inside, then the exit point; or the entry point. Returns how many were written to out (0 to 2).
int clip_edge(vorn_point p, vorn_point q, const Frame &f, vorn_point *out) {
  vorn_point cand[4];
  int kept = border_crossings(p, q, f, cand);
  bool p_in = f.contains(p.x, p.y), q_in = f.contains(q.x, q.y);
  if (kept == 1) {
    if (!f.contains(cand[0].x, cand[0].y)) return 0;
    out[0] = cand[0];
    return 1;
  }
  if (kept != 2) {
    if (p_in && q_in) {
      out[0] = p;
      return 1;
    }
    return 0;
  }
  if (p_in && q_in) {
    out[0] = p;
    return 1;
  }
  // The crossings that lie on the edge itself, ordered from p towards q.
  vorn_point on[2];
  int m = 0;
  for (int i = 0; i < 2; ++i) {
    if (between(cand[i].x, p.x, q.x) && between(cand[i].y, p.y, q.y)) on[m++] = cand[i];
  }
  if (m == 2 && dist2(on[1], p) < dist2(on[0], p)) {
    vorn_point t = on[0];
    on[0] = on[1];
    on[1] = t;
  }
  if (p_in) {
    out[0] = p;
    if (m == 0) return 1;
    out[1] = on[m - 1];  // the exit: the farther crossing when p itself lies on the border
    return 2;
  }
  if (q_in) {
    if (m == 0) return 0;
    out[0] = on[0];  // the entry: the nearer crossing
    return 1;
  }
  if (m != 2) return 0;
  out[0] = on[0];
  out[1] = on[1];
  return 2;
}

}  // namespace

extern "C" {

VORN_API uint32_t vorn_get_line_region(vorn_line line, vorn_point *points, int32_t *count, int32_t half_width,
                                       const vorn_size *frame) {
  // Perpendiculars through the end and the start: each is the midpoint perpendicular of a line doubled beyond
  // that point. The start's runs the other way, so S0 lies on E1's side and the corners E0 E1 S0 S1 go round.
  vorn_line at_end = {line.x0, line.y0, vorn::wrap_sub(vorn::wrap_mul(2, line.x1), line.x0),
                      vorn::wrap_sub(vorn::wrap_mul(2, line.y1), line.y0)};
  vorn_line at_start = {line.x1, line.y1, vorn::wrap_sub(vorn::wrap_mul(2, line.x0), line.x1),
                        vorn::wrap_sub(vorn::wrap_mul(2, line.y0), line.y1)};
  vorn_line e, s;
  vorn_get_line_vertical_line_ex(at_end, &e, half_width);
  vorn_get_line_vertical_line_ex(at_start, &s, half_width);
  vorn_point corner[5] = {{e.x0, e.y0}, {e.x1, e.y1}, {s.x0, s.y0}, {s.x1, s.y1}, {e.x0, e.y0}};
  int n = 0;
  if (!frame) {
    for (int k = 0; k < 4; ++k) points[n++] = corner[k];
  } else {
    Frame f{frame->width, frame->height};
    for (int k = 0; k < 4; ++k) {
      points[n] = corner[k];
      n += clip_edge(corner[k], corner[k + 1], f, points + n);
    }
  }
  points[n] = points[0];
  *count = n + 1;
  return 0;
}

VORN_API uint32_t vorn_pt_in_region(vorn_point p, const vorn_point *points, int32_t count) {
  const double eps = 1e-8, nudge = 2e-8;
  const double px = p.x, py = p.y;
  for (int32_t i = 0; i < count; ++i) {
    if (fabs(px - points[i].x) < eps && fabs(py - points[i].y) < eps) return 1;
  }
  if (count < 3) return 0;
  int crossings = 0;
  // Vertical-ray crossing count. Where the ray passes through a vertex, the vertex counts once when the outline
  // goes on past it (the edge is nudged off it) and not at all when it turns back there (an extreme in x).
  for (int32_t i = 0; i <= count - 2;) {
    const vorn_point &va = points[i], &vb = points[i + 1];
    double xa = va.x, xb = vb.x;
    int skip = 0;
    if (fabs(xa - xb) < eps) {
      if (fabs(px - xa) < eps && ((py > va.y && py < vb.y) || (py > vb.y && py < va.y))) return 1;
      skip = 1;
    } else {
      if (fabs(px - xa) < eps) {
        const vorn_point &before = points[i == 0 ? count - 2 : i - 1];
        if ((vb.x > xa && before.x > xa) || (vb.x < xa && before.x < xa)) {
          skip = 1;
        } else {
          xa += nudge;
        }
      }
      if (!skip && fabs(px - xb) < eps) {
        const vorn_point &after = points[i + 1 == count - 1 ? 1 : i + 2];
        if ((va.x > xb && after.x > xb) || (va.x < xb && after.x < xb)) {
          skip = 2;
        } else {
          xb += nudge;
        }
      }
    }
    if (skip) {
      i += skip;
      continue;
    }
    double lo = xa < xb ? xa : xb, hi = xa < xb ? xb : xa;
    if (px >= lo && px <= hi) {
      double y = ((double)vb.y - va.y) / (xb - xa) * (px - xa) + va.y;
      if (fabs(py - y) <= eps) return 1;
      if (py <= y) ++crossings;
    }
    ++i;
  }
  return (uint32_t)(crossings & 1);
}

}  // extern "C"
