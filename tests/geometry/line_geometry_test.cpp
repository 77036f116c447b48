#include <gtest/gtest.h>
#include <math.h>
#include <stdlib.h>

#include <random>
#include <vector>

#include "vorn_geometry.h"

namespace {

vorn_line L(int x0, int y0, int x1, int y1) { return vorn_line{x0, y0, x1, y1}; }

void expect_line(const vorn_line &got, int x0, int y0, int x1, int y1) {
  EXPECT_EQ(got.x0, x0);
  EXPECT_EQ(got.y0, y0);
  EXPECT_EQ(got.x1, x1);
  EXPECT_EQ(got.y1, y1);
}

TEST(LineGeometry, AngleCountsCounterClockwiseWithYUp) {
  EXPECT_EQ(vorn_get_line_angle(L(0, 0, 10, 0)), 0.0);
  EXPECT_NEAR(vorn_get_line_angle(L(0, 10, 0, 0)), 90.0, 1e-12);
  EXPECT_NEAR(vorn_get_line_angle(L(10, 0, 0, 0)), 180.0, 1e-12);
  EXPECT_NEAR(vorn_get_line_angle(L(0, 0, 0, 10)), 270.0, 1e-12);
  EXPECT_NEAR(vorn_get_line_angle(L(0, 0, 10, 10)), 315.0, 1e-12);
  EXPECT_NEAR(vorn_get_line_angle(L(0, 0, -10, -10)), 135.0, 1e-12);
  EXPECT_EQ(vorn_get_line_angle(L(7, 7, 7, 7)), 0.0);
  // Every direction agrees with atan2 (y flipped) and stays in [0, 360).
  std::mt19937 rng(5);
  for (int i = 0; i < 2000; ++i) {
    int x0 = (int)(rng() % 201) - 100, y0 = (int)(rng() % 201) - 100;
    int x1 = (int)(rng() % 201) - 100, y1 = (int)(rng() % 201) - 100;
    if (x0 == x1 && y0 == y1) continue;
    double want = atan2((double)(y0 - y1), (double)(x1 - x0)) * 180.0 / 3.141592653589793;
    if (want < 0) want += 360.0;
    double got = vorn_get_line_angle(L(x0, y0, x1, y1));
    ASSERT_GE(got, 0.0);
    ASSERT_LT(got, 360.0);
    ASSERT_NEAR(got, want, 1e-9) << x0 << "," << y0 << " -> " << x1 << "," << y1;
  }
}

TEST(LineGeometry, PerpendicularIsHalfTheLineAndFitsTheFrameByHalving) {
  vorn_line out;
  vorn_get_line_vertical_line(L(0, 10, 100, 10), &out, nullptr);
  expect_line(out, 50, 35, 50, -15);  // its start lies a right angle clockwise from the direction
  vorn_size frame{100, 20};
  vorn_get_line_vertical_line(L(0, 10, 100, 10), &out, &frame);  // r: 25, 12.5, 6.25
  expect_line(out, 50, 16, 50, 4);
  // A vertical line drawn upwards: the perpendicular points along x.
  vorn_get_line_vertical_line(L(20, 80, 20, 0), &out, nullptr);
  expect_line(out, 40, 40, 0, 40);
  vorn_get_line_vertical_line_ex(L(0, 10, 100, 10), &out, 7);
  expect_line(out, 50, 17, 50, 3);
  // A zero-length line collapses onto its point.
  vorn_get_line_vertical_line(L(3, 4, 3, 4), &out, nullptr);
  expect_line(out, 3, 4, 3, 4);
}

TEST(LineGeometry, FrameFittingEndsWhenTheMidpointOrEndIsOutside) {
  vorn_size frame{100, 20};
  vorn_line out;
  // Midpoint (250, 10) outside: the halving converges on it and stops there.
  vorn_get_line_vertical_line(L(200, 10, 300, 10), &out, &frame);
  expect_line(out, 250, 10, 250, 10);
  vorn_get_line_vertical_line(L(5, 5, 5, 5), &out, &frame);  // inside, zero length: ends at once
  expect_line(out, 5, 5, 5, 5);
  vorn_point a, b;
  vorn_get_line_arrow_header(L(0, 10, 150, 10), 30.0, &a, &b, &frame);  // end point beyond the right edge
  EXPECT_EQ(a.x, 150);
  EXPECT_EQ(b.x, 150);
  vorn_get_line_arrow_header(L(-40, -40, -40, -40), 30.0, &a, &b, &frame);
  EXPECT_EQ(a.x, -40);
  EXPECT_EQ(a.y, -40);
}

TEST(LineGeometry, ArrowBarbsTestOnlyAyAndBx) {
  vorn_point a, b;
  // Direction 0, barbs at 330 and 30 degrees, a quarter (25) of the line long.
  vorn_get_line_arrow_header(L(0, 0, 100, 0), 30.0, &a, &b, nullptr);
  EXPECT_EQ(a.x, 121);
  EXPECT_EQ(a.y, 12);
  EXPECT_EQ(b.x, 121);
  EXPECT_EQ(b.y, -12);
  // In a 110 x 50 frame b.x forces r down to 6.25; b.y = -3 lies above the frame and is left there.
  vorn_size frame{110, 50};
  vorn_get_line_arrow_header(L(0, 0, 100, 0), 30.0, &a, &b, &frame);
  EXPECT_EQ(a.x, 105);
  EXPECT_EQ(a.y, 3);
  EXPECT_EQ(b.x, 105);
  EXPECT_EQ(b.y, -3);
  // An angle of 150 turns the barbs back along the line.
  vorn_get_line_arrow_header(L(0, 0, 100, 0), 150.0, &a, &b, nullptr);
  EXPECT_EQ(a.x, 79);
  EXPECT_EQ(b.x, 79);
}

TEST(LineGeometry, CrossingRoundsDownAndReportsWhetherItIsOnBothSegments) {
  vorn_point out{-7, -7};
  EXPECT_EQ(vorn_get_line_cross(L(0, 0, 10, 10), L(0, 10, 10, 0), &out), 1u);
  EXPECT_EQ(out.x, 5);
  EXPECT_EQ(out.y, 5);
  // Parallel sloped segments and two vertical ones leave out alone.
  out = vorn_point{-7, -7};
  EXPECT_EQ(vorn_get_line_cross(L(0, 0, 10, 10), L(0, 1, 10, 11), &out), 0u);
  EXPECT_EQ(vorn_get_line_cross(L(0, 0, 0, 10), L(3, 0, 3, 10), &out), 0u);
  EXPECT_EQ(vorn_get_line_cross(L(0, 0, 10, 10), L(20, 20, 30, 30), &out), 0u);  // collinear
  EXPECT_EQ(out.x, -7);
  EXPECT_EQ(out.y, -7);
  // The lines cross beyond the first segment: 0, but the point is written.
  EXPECT_EQ(vorn_get_line_cross(L(0, 0, 2, 2), L(0, 10, 10, 0), &out), 0u);
  EXPECT_EQ(out.x, 5);
  EXPECT_EQ(out.y, 5);
  // A vertical segment; the other's value there is -1/3, which rounds down to -1.
  EXPECT_EQ(vorn_get_line_cross(L(1, -5, 1, 5), L(0, 0, 3, -1), &out), 1u);
  EXPECT_EQ(out.x, 1);
  EXPECT_EQ(out.y, -1);
  EXPECT_EQ(vorn_get_line_cross(L(0, 0, 3, -1), L(1, -5, 1, 5), &out), 1u);
  EXPECT_EQ(out.y, -1);
  // A horizontal segment against a sloped one, both orders.
  EXPECT_EQ(vorn_get_line_cross(L(0, 4, 10, 4), L(2, 0, 6, 8), &out), 1u);
  EXPECT_EQ(out.x, 4);
  EXPECT_EQ(out.y, 4);
  out = vorn_point{0, 0};
  EXPECT_EQ(vorn_get_line_cross(L(2, 0, 6, 8), L(0, 4, 10, 4), &out), 1u);
  EXPECT_EQ(out.x, 4);
  EXPECT_EQ(out.y, 4);
}

TEST(LineGeometry, MapLengthScalesEachAxisSeparately) {
  int32_t out = -1;
  // Direction (3, -4)/5: 10 along it is (6, 8); to a frame twice as wide and half as high: (12, 4).
  vorn_get_line_map_length(L(0, 0, 3, 4), 100, 100, 10, 200, 50, &out);
  EXPECT_EQ(out, 12);  // sqrt(160) = 12.65
  vorn_get_line_map_length(L(0, 0, 10, 0), 320, 240, 33, 768, 576, &out);
  EXPECT_EQ(out, 79);  // 33 * 2.4 = 79.2
  out = -1;
  vorn_get_line_map_length(L(4, 4, 4, 4), 100, 100, 10, 200, 50, &out);
  EXPECT_EQ(out, -1);
}

std::vector<vorn_point> points_of(vorn_line l) {
  std::vector<vorn_point> pts(vorn_get_line_points_max_num(l));
  vorn_line_points list{pts.data(), (uint32_t)pts.size(), 0};
  vorn_get_line_points(l, &list);
  EXPECT_LE(list.num, pts.size());
  pts.resize(list.num);
  return pts;
}

TEST(LineGeometry, PointsRunFromTheLowEndAndStayWithinHalfAPixel) {
  auto pts = points_of(L(5, 5, 0, 0));
  ASSERT_EQ(pts.size(), 6u);
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(pts[i].x, i);
    EXPECT_EQ(pts[i].y, i);
  }
  EXPECT_EQ(vorn_get_line_points_max_num(L(5, 5, 0, 0)), 12u);
  // Ties step early: (0,0) (1,1) (2,1) (3,2) (4,2), the same whichever way the line is drawn.
  const int want_y[5] = {0, 1, 1, 2, 2};
  for (auto l : {L(0, 0, 4, 2), L(4, 2, 0, 0)}) {
    pts = points_of(l);
    ASSERT_EQ(pts.size(), 5u);
    for (int i = 0; i < 5; ++i) {
      EXPECT_EQ(pts[i].x, i);
      EXPECT_EQ(pts[i].y, want_y[i]);
    }
  }
  pts = points_of(L(9, 9, 9, 9));
  ASSERT_EQ(pts.size(), 1u);
  EXPECT_EQ(pts[0].x, 9);

  std::mt19937 rng(11);
  for (int it = 0; it < 3000; ++it) {
    int x0 = (int)(rng() % 81) - 40, y0 = (int)(rng() % 81) - 40;
    int x1 = (int)(rng() % 81) - 40, y1 = (int)(rng() % 81) - 40;
    pts = points_of(L(x0, y0, x1, y1));
    int adx = abs(x1 - x0), ady = abs(y1 - y0);
    bool xmajor = adx > ady;
    ASSERT_EQ((int)pts.size(), (xmajor ? adx : ady) + 1);
    // Starts at the lower end of the major axis, ends at the other endpoint.
    bool from_start = xmajor ? x0 <= x1 : y0 <= y1;
    vorn_point first = from_start ? vorn_point{x0, y0} : vorn_point{x1, y1};
    vorn_point last = from_start ? vorn_point{x1, y1} : vorn_point{x0, y0};
    ASSERT_EQ(pts.front().x, first.x);
    ASSERT_EQ(pts.front().y, first.y);
    ASSERT_EQ(pts.back().x, last.x);
    ASSERT_EQ(pts.back().y, last.y);
    for (size_t i = 0; i < pts.size(); ++i) {
      // Distance to the ideal line along the minor axis is at most half a pixel.
      int major = xmajor ? pts[i].x - first.x : pts[i].y - first.y;
      int minor = xmajor ? pts[i].y - first.y : pts[i].x - first.x;
      int span = xmajor ? adx : ady;
      int rise = xmajor ? last.y - first.y : last.x - first.x;
      ASSERT_EQ(major, (int)i);
      if (span) {
        ASSERT_LE(2 * abs(minor * span - major * rise), span) << it;
      }
    }
  }
}

}  // namespace
