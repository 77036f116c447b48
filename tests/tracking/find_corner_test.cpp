#include <string.h>

#include <set>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_support.h"
#include "vorn.h"

namespace {

// Pixels set to 255 in a w-wide plane.
std::set<std::pair<int, int>> marked(const uint8_t *p, int w, int h) {
  std::set<std::pair<int, int>> s;
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x) {
      EXPECT_TRUE(p[y * w + x] == 0 || p[y * w + x] == 255);
      if (p[y * w + x]) s.insert({x, y});
    }
  return s;
}

std::set<std::pair<int, int>> cross_at(int x, int y) {
  std::set<std::pair<int, int>> s;
  for (int d = -3; d <= 2; ++d) {
    s.insert({x, y + d});
    s.insert({x + d, y});
  }
  return s;
}

TEST(FindCorner, MarksTopLeftStepCornersWithShortenedCrosses) {
  const int w = 30, h = 24;
  vorn_image *img = vorn_image_alloc(w, h, VORN_FORMAT_HSV), *out = vorn_image_alloc(w, h, VORN_FORMAT_RGB);
  // V plane: bright 200 with a dark 150 block (its top-left at (10, 8)): only that corner has both the left and
  // the upper neighbour brighter. A block 30 darker (one short of the step) never marks, nor does a bright block.
  uint8_t *v = img->plane[2];
  memset(v, 200, w * h);
  for (int y = 8; y < 14; ++y)
    for (int x = 10; x < 16; ++x) v[y * w + x] = 150;
  for (int y = 16; y < 20; ++y)
    for (int x = 5; x < 9; ++x) v[y * w + x] = 170;
  for (int y = 16; y < 20; ++y)
    for (int x = 20; x < 25; ++x) v[y * w + x] = 250;
  // A dark pixel at (2, 2) lies within 3 of the border.
  v[2 * w + 2] = 0;
  memset(img->plane[0], 0, w * h);  // the other planes are not read
  memset(out->plane[1], 77, w * h);
  ASSERT_EQ(vorn_find_corner(img, out), VORN_OK);
  for (int k = 0; k < 3; ++k) EXPECT_EQ(marked(out->plane[k], w, h), cross_at(10, 8)) << k;

  // A corner 3 from the top-left border is tested and its cross reaches row and column 0.
  memset(v, 200, w * h);
  v[3 * w + 3] = 100;
  ASSERT_EQ(vorn_find_corner(img, out), VORN_OK);
  EXPECT_EQ(marked(out->plane[0], w, h), cross_at(3, 3));
  // ... but not at row h - 3 or column w - 3.
  memset(v, 200, w * h);
  v[(h - 3) * w + 10] = 100;
  v[10 * w + (w - 3)] = 100;
  ASSERT_EQ(vorn_find_corner(img, out), VORN_OK);
  EXPECT_TRUE(marked(out->plane[0], w, h).empty());

  // YUV reads plane 0.
  img->format = VORN_FORMAT_YUV;
  memset(img->plane[0], 90, w * h);
  img->plane[0][12 * w + 20] = 40;
  ASSERT_EQ(vorn_find_corner(img, out), VORN_OK);
  EXPECT_EQ(marked(out->plane[2], w, h), cross_at(20, 12));

  img->format = 3;
  EXPECT_EQ(vorn_find_corner(img, out), VORN_E_PARAM);
  vorn_image *small = vorn_image_alloc(w - 1, h, VORN_FORMAT_RGB);
  img->format = VORN_FORMAT_YUV;
  EXPECT_EQ(vorn_find_corner(img, small), VORN_E_PARAM);
  EXPECT_EQ(vorn_find_corner(nullptr, out), VORN_E_NULL);
  vorn_image_free(small);
  vorn_image_free(img);
  vorn_image_free(out);
}

TEST(FindCorner, RgbGoesThroughLumaAndReleasesIt) {
  vorn_init();
  const int w = 16, h = 16;
  vorn_image *img = vorn_image_alloc(w, h, VORN_FORMAT_RGB), *out = vorn_image_alloc(w, h, VORN_FORMAT_RGB);
  for (int k = 0; k < 3; ++k) memset(img->plane[k], 220, w * h);
  // Dark in green only: luma drops by far more than 31 there, while R and B stay bright.
  img->plane[1][7 * w + 6] = 0;
  EXPECT_EQ(vorn_test::sweep_allocation_failures([&] {
              const vorn_result r = vorn_find_corner(img, out);
              if (r != VORN_OK) {
                EXPECT_EQ(r, VORN_E_NOMEM);
                return false;
              }
              return true;
            }),
            2);
  EXPECT_EQ(marked(out->plane[0], w, h), cross_at(6, 7));
  vorn_image_free(img);
  vorn_image_free(out);
}

}  // namespace
