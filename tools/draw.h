// Drawing on B,G,R frames: lines, polygons, boxes, mask tints, traces and text in a small built-in bitmap font.
// Everything is clipped to the frame.
#ifndef VORN_TOOLS_DRAW_H
#define VORN_TOOLS_DRAW_H

#include <cstdint>
#include <string>
#include <vector>

#include "frame.h"
#include "geometry.h"

namespace vt {

struct Rgb {
  uint8_t r = 0, g = 0, b = 0;
};

namespace colors {
constexpr Rgb kRed{230, 40, 40};
constexpr Rgb kGreen{40, 210, 60};
constexpr Rgb kBlue{50, 110, 240};
constexpr Rgb kYellow{250, 220, 30};
constexpr Rgb kCyan{30, 220, 230};
constexpr Rgb kMagenta{220, 60, 220};
constexpr Rgb kOrange{250, 140, 20};
constexpr Rgb kWhite{255, 255, 255};
constexpr Rgb kBlack{0, 0, 0};
}  // namespace colors

// A distinct colour for an object id (stable across frames).
Rgb id_color(int id);

class Canvas {
 public:
  explicit Canvas(Frame &frame) : f_(frame) {}
  int width() const { return f_.width; }
  int height() const { return f_.height; }

  void pixel(int x, int y, Rgb c);
  // alpha 0..256: 256 paints `c`, 0 leaves the pixel.
  void blend(int x, int y, Rgb c, int alpha);
  Rgb get(int x, int y) const;

  void line(Pt a, Pt b, Rgb c, int thickness = 1);
  void polyline(const std::vector<Pt> &pts, Rgb c, int thickness = 1, bool closed = false);
  void arrow(Pt from, Pt to, Rgb c, int thickness = 1);
  void box(const Box &r, Rgb c, int thickness = 1);  // outline of [left, right) x [top, bottom)
  void fill_box(const Box &r, Rgb c, int alpha = 256);
  // Even-odd scanline fill through pixel centres.
  void fill_polygon(const Polygon &poly, Rgb c, int alpha = 256);
  void fill_circle(Pt centre, int radius, Rgb c);
  void fill_ellipse(Pt centre, int rx, int ry, Rgb c);
  // Tints every pixel whose mask byte is non-zero; the mask is width x height bytes, rows top-down.
  void tint_mask(const uint8_t *mask, int mask_width, int mask_height, Rgb c, int alpha = 110);
  // A path with a dot on its last point.
  void trace(const std::vector<Pt> &pts, Rgb c);

  // Text in the built-in 5x7 font, each glyph cell 6 x 8 pixels times `scale`. Lower case is shown as upper case;
  // characters the font lacks show as a hollow box. With a background, the text sits on a dark panel.
  void text(int x, int y, const std::string &s, Rgb c, int scale = 2, bool background = true);
  static int text_width(const std::string &s, int scale = 2);
  static int text_height(int scale = 2) { return 8 * scale; }

 private:
  Frame &f_;
};

// The 5x7 glyph of `ch` as 7 rows of 5 bits (bit 4 = leftmost column); nullptr when the font lacks it.
const uint8_t *font_glyph(char ch);

}  // namespace vt

#endif
