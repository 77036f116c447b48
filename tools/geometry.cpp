#include "geometry.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "error.h"

namespace vt {

std::vector<int> parse_int_list(const std::string &text, const std::string &what) {
  std::vector<int> out;
  const char *p = text.c_str();
  for (;;) {
    while (*p == ' ') ++p;
    char *end = nullptr;
    errno = 0;
    long v = std::strtol(p, &end, 10);
    if (end == p || errno == ERANGE || v < -1000000 || v > 1000000)
      usage_error(what + ": '" + text + "' is not a list of integers separated by commas");
    out.push_back(static_cast<int>(v));
    p = end;
    while (*p == ' ') ++p;
    if (*p == '\0') break;
    if (*p != ',') usage_error(what + ": '" + text + "' is not a list of integers separated by commas");
    ++p;
  }
  return out;
}

Segment parse_segment(const std::string &text, const std::string &what) {
  std::vector<int> v = parse_int_list(text, what);
  if (v.size() != 4) usage_error(what + ": a line is four numbers x0,y0,x1,y1, got " + std::to_string(v.size()));
  return Segment{{v[0], v[1]}, {v[2], v[3]}};
}

namespace {

std::vector<Pt> parse_points(const std::string &text, const std::string &what, const char *shape) {
  std::vector<int> v = parse_int_list(text, what);
  if (v.size() % 2 != 0) usage_error(what + ": a " + shape + " is pairs x,y; got an odd count of numbers");
  std::vector<Pt> pts;
  for (size_t i = 0; i < v.size(); i += 2) pts.push_back(Pt{v[i], v[i + 1]});
  return pts;
}

}  // namespace

Polygon parse_polygon(const std::string &text, const std::string &what) {
  Polygon poly = parse_points(text, what, "polygon");
  check_polygon(poly, what);
  return poly;
}

std::vector<Pt> parse_polyline(const std::string &text, const std::string &what) {
  std::vector<Pt> line = parse_points(text, what, "line");
  if (line.size() < 2) usage_error(what + ": a line needs at least 2 points, got " + std::to_string(line.size()));
  return line;
}

void check_polygon(const Polygon &p, const std::string &what) {
  if (p.size() < 3)
    usage_error(what + ": a polygon needs at least 3 points, got " + std::to_string(p.size()));
}

static void check_point(const Pt &p, int width, int height, const std::string &what) {
  if (p.x < 0 || p.y < 0 || p.x >= width || p.y >= height)
    usage_error(what + ": point " + to_string(p) + " lies outside the " + std::to_string(width) + "x" +
                std::to_string(height) + " frame");
}

void check_inside(const Segment &s, int width, int height, const std::string &what) {
  check_point(s.a, width, height, what);
  check_point(s.b, width, height, what);
}

void check_inside(const Polygon &p, int width, int height, const std::string &what) {
  for (const Pt &q : p) check_point(q, width, height, what);
}

std::string to_string(const Pt &p) { return "(" + std::to_string(p.x) + "," + std::to_string(p.y) + ")"; }

Box clip_box(const Box &b, int width, int height) {
  auto clamp = [](int v, int hi) { return std::min(std::max(v, 0), hi); };
  return Box{clamp(b.left, width), clamp(b.top, height), clamp(b.right, width), clamp(b.bottom, height)};
}

}  // namespace vt
