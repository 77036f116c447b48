#include <gtest/gtest.h>
#include <stdlib.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "vorn_geometry.h"

namespace {

std::vector<vorn_point> band(vorn_line l, int half, const vorn_size *frame) {
  vorn_point pts[16];
  for (auto &p : pts) p = vorn_point{-999, -999};
  int32_t count = -1;
  vorn_get_line_region(l, pts, &count, half, frame);
  EXPECT_GE(count, 1);
  EXPECT_LE(count, 9);
  for (int i = count; i < 16; ++i) EXPECT_EQ(pts[i].x, -999) << "wrote past the count";
  return std::vector<vorn_point>(pts, pts + std::max(count, 0));
}

void expect_points(const std::vector<vorn_point> &got, std::initializer_list<vorn_point> want) {
  ASSERT_EQ(got.size(), want.size());
  size_t i = 0;
  for (const vorn_point &w : want) {
    EXPECT_EQ(got[i].x, w.x) << "point " << i;
    EXPECT_EQ(got[i].y, w.y) << "point " << i;
    ++i;
  }
}

TEST(LineRegion, BandCornersGoRoundAndAreClippedToTheFrame) {
  vorn_size big{200, 200};
  // Wholly inside: the four corners and the closing one, end perpendicular first.
  expect_points(band(vorn_line{20, 50, 80, 50}, 10, &big), {{80, 60}, {80, 40}, {20, 40}, {20, 60}, {80, 60}});
  expect_points(band(vorn_line{20, 50, 80, 50}, 10, nullptr), {{80, 60}, {80, 40}, {20, 40}, {20, 60}, {80, 60}});
  // The right end sticks out of a 50-wide frame: the outside edge drops out, its neighbours end on x = 49.
  vorn_size narrow{50, 100};
  expect_points(band(vorn_line{20, 50, 80, 50}, 10, &narrow), {{49, 40}, {20, 40}, {20, 60}, {49, 60}, {49, 40}});
  // Both ends outside a 60 x 100 frame: each long edge enters and leaves, nearer crossing first.
  vorn_size mid{60, 100};
  expect_points(band(vorn_line{-20, 50, 80, 50}, 10, &mid), {{59, 40}, {0, 40}, {0, 60}, {59, 60}, {59, 40}});
  // A band wholly outside leaves only its first corner as a degenerate region.
  auto far = band(vorn_line{300, 300, 400, 300}, 10, &mid);
  EXPECT_EQ(far.size(), 1u);
}

TEST(LineRegion, ClippedBandsStayInsideAndCoverTheLineInsideTheFrame) {
  std::mt19937 rng(3);
  vorn_size frame{120, 90};
  for (int it = 0; it < 3000; ++it) {
    vorn_line l{(int)(rng() % 200) - 40, (int)(rng() % 170) - 40, (int)(rng() % 200) - 40, (int)(rng() % 170) - 40};
    int half = 1 + (int)(rng() % 30);
    auto pts = band(l, half, &frame);
    if (pts.empty()) continue;
    EXPECT_EQ(pts.front().x, pts.back().x);
    EXPECT_EQ(pts.front().y, pts.back().y);
    if (pts.size() < 2) continue;
    for (const auto &p : pts) {
      ASSERT_TRUE(p.x >= 0 && p.x < frame.width && p.y >= 0 && p.y < frame.height)
          << it << ": " << p.x << "," << p.y;
    }
  }
  // Inside the frame the clipped band is the band: same corners, same order.
  for (int it = 0; it < 500; ++it) {
    vorn_line l{30 + (int)(rng() % 60), 30 + (int)(rng() % 30), 30 + (int)(rng() % 60), 30 + (int)(rng() % 30)};
    int half = 1 + (int)(rng() % 9);
    auto clipped = band(l, half, &frame);
    auto raw = band(l, half, nullptr);
    ASSERT_EQ(clipped.size(), 5u);
    ASSERT_EQ(raw.size(), 5u);
    for (int k = 0; k < 5; ++k) ASSERT_TRUE(clipped[k].x == raw[k].x && clipped[k].y == raw[k].y) << it;
  }
}

// Exact reference for integer polygons: on an edge (collinear and within its box) counts as inside; otherwise
// the even-odd rule along a vertical ray with half-open edge ends.
bool reference_inside(vorn_point p, const std::vector<vorn_point> &poly) {
  for (size_t i = 0; i + 1 < poly.size(); ++i) {
    vorn_point a = poly[i], b = poly[i + 1];
    long cross = (long)(b.x - a.x) * (p.y - a.y) - (long)(b.y - a.y) * (p.x - a.x);
    if (cross == 0 && p.x >= std::min(a.x, b.x) && p.x <= std::max(a.x, b.x) && p.y >= std::min(a.y, b.y) &&
        p.y <= std::max(a.y, b.y))
      return true;
  }
  bool inside = false;
  for (size_t i = 0; i + 1 < poly.size(); ++i) {
    vorn_point a = poly[i], b = poly[i + 1];
    if ((a.x > p.x) != (b.x > p.x)) {
      double y = a.y + (double)(b.y - a.y) * (p.x - a.x) / (b.x - a.x);
      if (y > p.y) inside = !inside;
    }
  }
  return inside;
}

TEST(PointInRegion, VerticesEdgesAndRayThroughVertices) {
  std::vector<vorn_point> square = {{0, 0}, {10, 0}, {10, 10}, {0, 10}, {0, 0}};
  auto in = [&](const std::vector<vorn_point> &poly, int x, int y) {
    return vorn_pt_in_region(vorn_point{x, y}, poly.data(), (int32_t)poly.size());
  };
  EXPECT_EQ(in(square, 5, 5), 1u);
  EXPECT_EQ(in(square, 10, 10), 1u);  // vertex
  EXPECT_EQ(in(square, 5, 0), 1u);    // horizontal edge
  EXPECT_EQ(in(square, 0, 5), 1u);    // vertical edge
  EXPECT_EQ(in(square, 10, 7), 1u);
  EXPECT_EQ(in(square, 11, 5), 0u);
  EXPECT_EQ(in(square, 5, -1), 0u);
  EXPECT_EQ(in(square, 5, 11), 0u);
  EXPECT_EQ(in(square, 0, 11), 0u);  // on a vertical edge's line, beyond it
  // A diamond: the ray x = 5 passes through its top and bottom vertices (extremes in y, not x) and x = 0 / 10
  // through its side vertices (extremes in x).
  std::vector<vorn_point> diamond = {{5, 0}, {10, 5}, {5, 10}, {0, 5}, {5, 0}};
  EXPECT_EQ(in(diamond, 5, 3), 1u);
  EXPECT_EQ(in(diamond, 5, -2), 0u);
  EXPECT_EQ(in(diamond, 5, 12), 0u);
  EXPECT_EQ(in(diamond, 10, 2), 0u);
  EXPECT_EQ(in(diamond, 0, 8), 0u);
  EXPECT_EQ(in(diamond, 8, 2), 0u);
  EXPECT_EQ(in(diamond, 7, 3), 1u);  // on an edge
  // Fewer than three points: only the points themselves are inside.
  std::vector<vorn_point> two = {{1, 1}, {9, 9}};
  EXPECT_EQ(in(two, 1, 1), 1u);
  EXPECT_EQ(in(two, 5, 5), 0u);
  EXPECT_EQ(vorn_pt_in_region(vorn_point{0, 0}, nullptr, 0), 0u);
}

TEST(PointInRegion, AgreesWithAnExactEvaluatorOnRandomPolygons) {
  std::mt19937 rng(17);
  int checked = 0;
  for (int it = 0; it < 300; ++it) {
    // Star-shaped polygons around (20, 20) on a small grid, so rays often pass through vertices and along edges.
    int n = 3 + (int)(rng() % 8);
    std::vector<std::pair<double, vorn_point>> by_angle;
    for (int k = 0; k < n; ++k) {
      vorn_point v{(int)(rng() % 41), (int)(rng() % 41)};
      if (v.x == 20 && v.y == 20) continue;
      by_angle.push_back({std::atan2(v.y - 20.0, v.x - 20.0), v});
    }
    std::sort(by_angle.begin(), by_angle.end(), [](auto &a, auto &b) { return a.first < b.first; });
    std::vector<vorn_point> poly;
    for (auto &e : by_angle) {
      if (!poly.empty() && poly.back().x == e.second.x && poly.back().y == e.second.y) continue;
      poly.push_back(e.second);
    }
    if (poly.size() < 3) continue;
    poly.push_back(poly.front());
    for (int y = -1; y <= 41; ++y) {
      for (int x = -1; x <= 41; ++x) {
        bool want = reference_inside(vorn_point{x, y}, poly);
        uint32_t got = vorn_pt_in_region(vorn_point{x, y}, poly.data(), (int32_t)poly.size());
        ASSERT_EQ(got, want ? 1u : 0u) << "polygon " << it << " point " << x << "," << y;
        ++checked;
      }
    }
  }
  EXPECT_GT(checked, 100000);
}

}  // namespace
