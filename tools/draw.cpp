#include "draw.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace vt {

Rgb id_color(int id) {
  static const Rgb kPalette[] = {colors::kRed,    colors::kGreen,  colors::kBlue,   colors::kYellow,
                                 colors::kCyan,   colors::kMagenta, colors::kOrange, Rgb{160, 255, 120},
                                 Rgb{255, 120, 170}, Rgb{140, 140, 255}};
  const int n = static_cast<int>(sizeof kPalette / sizeof kPalette[0]);
  int k = id % n;
  if (k < 0) k += n;
  return kPalette[k];
}

void Canvas::pixel(int x, int y, Rgb c) {
  if (x < 0 || y < 0 || x >= f_.width || y >= f_.height) return;
  uint8_t *p = f_.row(y) + 3 * x;
  p[0] = c.b;
  p[1] = c.g;
  p[2] = c.r;
}

void Canvas::blend(int x, int y, Rgb c, int alpha) {
  if (x < 0 || y < 0 || x >= f_.width || y >= f_.height) return;
  alpha = std::clamp(alpha, 0, 256);
  uint8_t *p = f_.row(y) + 3 * x;
  p[0] = static_cast<uint8_t>((p[0] * (256 - alpha) + c.b * alpha) >> 8);
  p[1] = static_cast<uint8_t>((p[1] * (256 - alpha) + c.g * alpha) >> 8);
  p[2] = static_cast<uint8_t>((p[2] * (256 - alpha) + c.r * alpha) >> 8);
}

Rgb Canvas::get(int x, int y) const {
  if (x < 0 || y < 0 || x >= f_.width || y >= f_.height) return Rgb{};
  const uint8_t *p = f_.row(y) + 3 * x;
  return Rgb{p[2], p[1], p[0]};
}

void Canvas::line(Pt a, Pt b, Rgb c, int thickness) {
  // Bresenham over the whole segment; far-off endpoints are fine since pixels outside are dropped, but a segment
  // of absurd length is first clipped to a margin around the frame so the walk stays short.
  const int64_t lim = 4 * int64_t(std::max(f_.width, f_.height)) + 64;
  if (std::llabs(a.x) > lim || std::llabs(a.y) > lim || std::llabs(b.x) > lim || std::llabs(b.y) > lim) return;
  const int r0 = (thickness - 1) / 2, r1 = thickness / 2;
  int x = a.x, y = a.y;
  const int dx = std::abs(b.x - a.x), dy = -std::abs(b.y - a.y);
  const int sx = a.x < b.x ? 1 : -1, sy = a.y < b.y ? 1 : -1;
  int err = dx + dy;
  for (;;) {
    for (int oy = -r0; oy <= r1; ++oy)
      for (int ox = -r0; ox <= r1; ++ox) pixel(x + ox, y + oy, c);
    if (x == b.x && y == b.y) break;
    int e2 = 2 * err;
    if (e2 >= dy) {
      err += dy;
      x += sx;
    }
    if (e2 <= dx) {
      err += dx;
      y += sy;
    }
  }
}

void Canvas::polyline(const std::vector<Pt> &pts, Rgb c, int thickness, bool closed) {
  if (pts.empty()) return;
  if (pts.size() == 1) line(pts[0], pts[0], c, thickness);
  for (size_t i = 1; i < pts.size(); ++i) line(pts[i - 1], pts[i], c, thickness);
  if (closed && pts.size() > 2) line(pts.back(), pts.front(), c, thickness);
}

void Canvas::arrow(Pt from, Pt to, Rgb c, int thickness) {
  line(from, to, c, thickness);
  double dx = to.x - from.x, dy = to.y - from.y;
  double len = std::sqrt(dx * dx + dy * dy);
  if (len < 1.0) return;
  double head = std::min(12.0, len * 0.4);
  double ux = dx / len, uy = dy / len;
  for (int side = -1; side <= 1; side += 2) {
    // The barbs leave the tip at about 27 degrees either side of the shaft.
    double bx = to.x - head * (ux * 0.89 - side * uy * 0.45);
    double by = to.y - head * (uy * 0.89 + side * ux * 0.45);
    line(to, Pt{static_cast<int>(std::lround(bx)), static_cast<int>(std::lround(by))}, c, thickness);
  }
}

void Canvas::box(const Box &r, Rgb c, int thickness) {
  if (r.right <= r.left || r.bottom <= r.top) return;
  for (int t = 0; t < thickness; ++t) {
    int l = r.left + t, tp = r.top + t, rt = r.right - 1 - t, bt = r.bottom - 1 - t;
    if (rt < l || bt < tp) break;
    line(Pt{l, tp}, Pt{rt, tp}, c);
    line(Pt{l, bt}, Pt{rt, bt}, c);
    line(Pt{l, tp}, Pt{l, bt}, c);
    line(Pt{rt, tp}, Pt{rt, bt}, c);
  }
}

void Canvas::fill_box(const Box &r, Rgb c, int alpha) {
  const int x0 = std::max(r.left, 0), x1 = std::min(r.right, f_.width);
  const int y0 = std::max(r.top, 0), y1 = std::min(r.bottom, f_.height);
  for (int y = y0; y < y1; ++y)
    for (int x = x0; x < x1; ++x) {
      if (alpha >= 256) pixel(x, y, c);
      else blend(x, y, c, alpha);
    }
}

void Canvas::fill_polygon(const Polygon &poly, Rgb c, int alpha) {
  if (poly.size() < 3) return;
  int ymin = poly[0].y, ymax = poly[0].y;
  for (const Pt &p : poly) {
    ymin = std::min(ymin, p.y);
    ymax = std::max(ymax, p.y);
  }
  ymin = std::max(ymin, 0);
  ymax = std::min(ymax, f_.height - 1);
  std::vector<double> xs;
  for (int y = ymin; y <= ymax; ++y) {
    const double yc = y + 0.5;
    xs.clear();
    for (size_t i = 0; i < poly.size(); ++i) {
      const Pt &p = poly[i], &q = poly[(i + 1) % poly.size()];
      if ((p.y <= yc) == (q.y <= yc)) continue;  // edge does not straddle this row's centre line
      xs.push_back(p.x + (yc - p.y) * double(q.x - p.x) / double(q.y - p.y));
    }
    std::sort(xs.begin(), xs.end());
    for (size_t i = 0; i + 1 < xs.size(); i += 2) {
      // Pixels whose centre x + 0.5 lies in [xs[i], xs[i+1]).
      int x0 = static_cast<int>(std::ceil(xs[i] - 0.5)), x1 = static_cast<int>(std::ceil(xs[i + 1] - 0.5));
      x0 = std::max(x0, 0);
      x1 = std::min(x1, f_.width);
      for (int x = x0; x < x1; ++x) {
        if (alpha >= 256) pixel(x, y, c);
        else blend(x, y, c, alpha);
      }
    }
  }
}

void Canvas::fill_circle(Pt centre, int radius, Rgb c) { fill_ellipse(centre, radius, radius, c); }

void Canvas::fill_ellipse(Pt centre, int rx, int ry, Rgb c) {
  if (rx < 0 || ry < 0) return;
  const int64_t rx2 = int64_t(rx) * rx, ry2 = int64_t(ry) * ry;
  for (int dy = -ry; dy <= ry; ++dy)
    for (int dx = -rx; dx <= rx; ++dx)
      if (int64_t(dx) * dx * ry2 + int64_t(dy) * dy * rx2 <= rx2 * ry2) pixel(centre.x + dx, centre.y + dy, c);
}

void Canvas::tint_mask(const uint8_t *mask, int mw, int mh, Rgb c, int alpha) {
  const int w = std::min(mw, f_.width), h = std::min(mh, f_.height);
  for (int y = 0; y < h; ++y) {
    const uint8_t *m = mask + static_cast<size_t>(y) * mw;
    for (int x = 0; x < w; ++x)
      if (m[x]) blend(x, y, c, alpha);
  }
}

void Canvas::trace(const std::vector<Pt> &pts, Rgb c) {
  if (pts.empty()) return;
  polyline(pts, c, 2);
  fill_circle(pts.back(), 3, c);
}

int Canvas::text_width(const std::string &s, int scale) { return static_cast<int>(s.size()) * 6 * scale; }

void Canvas::text(int x, int y, const std::string &s, Rgb c, int scale, bool background) {
  if (scale < 1) scale = 1;
  if (background) {
    fill_box(Box{x - scale, y - scale, x + text_width(s, scale) + scale, y + text_height(scale)}, colors::kBlack,
             170);
  }
  static const uint8_t kMissing[7] = {0x1F, 0x11, 0x11, 0x11, 0x11, 0x11, 0x1F};
  int cx = x;
  for (char ch : s) {
    const uint8_t *g = font_glyph(ch);
    if (!g) g = kMissing;
    for (int row = 0; row < 7; ++row)
      for (int col = 0; col < 5; ++col)
        if (g[row] & (0x10 >> col))
          for (int sy = 0; sy < scale; ++sy)
            for (int sx = 0; sx < scale; ++sx) pixel(cx + col * scale + sx, y + row * scale + sy, c);
    cx += 6 * scale;
  }
}

}  // namespace vt
