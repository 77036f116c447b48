#include <gtest/gtest.h>

#include <math.h>

#include <random>
#include <vector>

#include "geometry/region_raster.h"
#include "vorn_geometry.h"

namespace {

void expect_same_as_per_pixel(const std::vector<vorn_point> &poly, uint32_t w, uint32_t h, int tag) {
  std::vector<uint8_t> out((size_t)(w + 3) * h, 77);
  vorn::region_raster(poly.data(), (int32_t)poly.size(), w, h, out.data(), w + 3, 255);
  for (uint32_t y = 0; y < h; ++y) {
    for (uint32_t x = 0; x < w; ++x) {
      uint32_t want = vorn_pt_in_region(vorn_point{(int32_t)x, (int32_t)y}, poly.data(), (int32_t)poly.size());
      ASSERT_EQ(out[(size_t)y * (w + 3) + x], want ? 255 : 0) << tag << ": " << x << "," << y;
    }
    for (uint32_t x = w; x < w + 3; ++x) ASSERT_EQ(out[(size_t)y * (w + 3) + x], 77) << "wrote past the row";
  }
}

TEST(RegionRaster, MatchesThePerPixelTest) {
  std::mt19937 rng(2);
  // Clipped bands round random lines, including lines partly outside the frame.
  for (int it = 0; it < 300; ++it) {
    vorn_size frame{64, 48};
    vorn_line l{(int)(rng() % 100) - 18, (int)(rng() % 80) - 16, (int)(rng() % 100) - 18, (int)(rng() % 80) - 16};
    vorn_point pts[9];
    int32_t n = 0;
    vorn_get_line_region(l, pts, &n, 1 + (int)(rng() % 15), &frame);
    expect_same_as_per_pixel(std::vector<vorn_point>(pts, pts + n), 64, 48, it);
  }
  // Random closed polylines (self-crossing ones too) with vertices on a coarse grid, so that columns often pass
  // through vertices and along vertical edges.
  for (int it = 0; it < 300; ++it) {
    int n = 2 + (int)(rng() % 9);
    std::vector<vorn_point> poly;
    for (int k = 0; k < n; ++k) poly.push_back(vorn_point{(int)(rng() % 9) * 5 - 3, (int)(rng() % 9) * 4 - 2});
    poly.push_back(poly.front());
    expect_same_as_per_pixel(poly, 40, 33, 1000 + it);
  }
  // Many points: the per-pixel path.
  std::vector<vorn_point> many;
  for (int k = 0; k < 100; ++k) many.push_back(vorn_point{20 + (int)(15 * cos(k * 0.0628)), 20 + (int)(15 * sin(k * 0.0628))});
  many.push_back(many.front());
  expect_same_as_per_pixel(many, 40, 40, -1);
  expect_same_as_per_pixel({}, 5, 5, -2);
}

}  // namespace
