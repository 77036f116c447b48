// Plain geometry of the command-line program: points, boxes, segments and polygons in frame pixels.
#ifndef VORN_TOOLS_GEOMETRY_H
#define VORN_TOOLS_GEOMETRY_H

#include <string>
#include <vector>

namespace vt {

struct Pt {
  int x = 0, y = 0;
};

// right and bottom are exclusive, as in the library's rectangles.
struct Box {
  int left = 0, top = 0, right = 0, bottom = 0;
  int width() const { return right - left; }
  int height() const { return bottom - top; }
};

struct Segment {
  Pt a, b;
};

using Polygon = std::vector<Pt>;

// Parses "x,y,x,y,..." (integers, optional spaces) into numbers; throws a usage error naming `what` otherwise.
std::vector<int> parse_int_list(const std::string &text, const std::string &what);
// "x0,y0,x1,y1" -> segment; "x,y,x,y,x,y,..." -> polygon of at least 3 points.
Segment parse_segment(const std::string &text, const std::string &what);
Polygon parse_polygon(const std::string &text, const std::string &what);
// "x,y,x,y,..." -> the points of a line of at least 2 points.
std::vector<Pt> parse_polyline(const std::string &text, const std::string &what);

// Checks that every point lies inside a width x height frame; throws a usage error naming `what` otherwise.
void check_inside(const Segment &s, int width, int height, const std::string &what);
void check_inside(const Polygon &p, int width, int height, const std::string &what);
// A polygon needs 3 points; throws a usage error naming `what` otherwise.
void check_polygon(const Polygon &p, const std::string &what);

std::string to_string(const Pt &p);

// The part of a box inside a width x height frame (empty boxes stay at the frame's edge).
Box clip_box(const Box &b, int width, int height);

}  // namespace vt

#endif
