#include <gtest/gtest.h>
#include <math.h>

#include <algorithm>
#include <random>
#include <vector>

#include "support/test_support.h"
#include "vorn_histogram.h"

namespace {

struct Plane {
  uint32_t w, h;
  std::vector<uint8_t> px;
  Plane(uint32_t w_, uint32_t h_) : w(w_), h(h_), px((size_t)w_ * h_, 0) {}
  vorn_mono_image image() { return vorn_mono_image{w, h, px.data()}; }
};

TEST(Histogram, LookupBinsAndScale) {
  vorn_histogram *h = vorn_histogram_alloc(32);
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(h->n, 32u);
  for (int v = 0; v <= 7; ++v) EXPECT_EQ(h->lookup[v], 0);
  EXPECT_EQ(h->lookup[8], 1);
  for (int v = 248; v <= 255; ++v) EXPECT_EQ(h->lookup[v], 31);
  vorn_histogram_free(h);

  h = vorn_histogram_alloc(3);  // 85 values per bin; 255 lands one past the last bin and is still counted
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(h->lookup[84], 0);
  EXPECT_EQ(h->lookup[85], 1);
  EXPECT_EQ(h->lookup[255], 3);
  h->bins[0] = 10, h->bins[1] = 20, h->bins[2] = 30;
  EXPECT_EQ(vorn_histogram_scale(h), VORN_OK);  // the minimum is not subtracted
  EXPECT_EQ(h->bins[0], 127u);
  EXPECT_EQ(h->bins[1], 255u);
  EXPECT_EQ(h->bins[2], 382u);
  h->bins[0] = h->bins[1] = h->bins[2] = 4;
  EXPECT_EQ(vorn_histogram_scale(h), VORN_E_NO_RESULT);
  EXPECT_EQ(h->bins[0], 4u);
  EXPECT_EQ(vorn_histogram_zero(h), VORN_OK);
  EXPECT_EQ(h->bins[2], 0u);
  vorn_histogram_free(h);

  h = vorn_histogram_alloc(1);
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(h->lookup[255], 0);
  EXPECT_EQ(vorn_histogram_scale(h), VORN_E_NO_RESULT);
  vorn_histogram_free(h);
  EXPECT_EQ(vorn_histogram_alloc(0), nullptr);
  EXPECT_EQ(vorn_histogram_alloc(257), nullptr);
  vorn_histogram bare{4, nullptr, nullptr};
  EXPECT_EQ(vorn_histogram_zero(&bare), VORN_E_NOMEM);
}

TEST(Histogram, AccumulatesTheRectangleWhereTheMaskIsSet) {
  Plane img(4, 3), mask(4, 3);
  // Grey values 8 * (column + 4 * row): each pixel in its own 32-bin bin.
  for (uint32_t i = 0; i < 12; ++i) img.px[i] = (uint8_t)(8 * i);
  vorn_histogram *h = vorn_histogram_alloc(32);
  ASSERT_EQ(vorn_histogram_zero(h), VORN_OK);
  vorn_mono_image im = img.image(), mk = mask.image();
  vorn_rect r{1, 1, 3, 3};  // pixels 5, 6, 9, 10
  ASSERT_EQ(vorn_histogram_caculate(&im, h, &r, nullptr), VORN_OK);
  for (uint32_t b = 0; b < 32; ++b) EXPECT_EQ(h->bins[b], (b == 5 || b == 6 || b == 9 || b == 10) ? 1u : 0u);
  // Not cleared between calls; with a mask only the marked pixels count.
  mask.px[6] = 1;
  mask.px[9] = 200;
  ASSERT_EQ(vorn_histogram_caculate(&im, h, &r, &mk), VORN_OK);
  EXPECT_EQ(h->bins[5], 1u);
  EXPECT_EQ(h->bins[6], 2u);
  EXPECT_EQ(h->bins[9], 2u);
  // A rectangle reaching outside the image counts only what is inside.
  vorn_histogram_zero(h);
  vorn_rect wide{-5, -5, 50, 50};
  ASSERT_EQ(vorn_histogram_caculate(&im, h, &wide, nullptr), VORN_OK);
  uint32_t total = 0;
  for (uint32_t b = 0; b < 32; ++b) total += h->bins[b];
  EXPECT_EQ(total, 12u);
  Plane other(4, 4);
  vorn_mono_image om = other.image();
  EXPECT_EQ(vorn_histogram_caculate(&im, h, &r, &om), VORN_E_PARAM);
  vorn_histogram bare{32, nullptr, nullptr};
  EXPECT_EQ(vorn_histogram_caculate(&im, &bare, &r, nullptr), VORN_E_NOMEM);
  vorn_histogram_free(h);
}

TEST(Backproject, RowsStartAtZeroWhateverTheTop) {
  Plane img(6, 16);
  for (size_t i = 0; i < img.px.size(); ++i) img.px[i] = (uint8_t)(i * 37);
  vorn_histogram *h = vorn_histogram_alloc(32);
  for (uint32_t b = 0; b < 32; ++b) h->bins[b] = 1000 + b;
  vorn_backproject *bp = vorn_backproject_alloc(6, 16);
  ASSERT_NE(bp, nullptr);
  for (size_t i = 0; i < 96; ++i) bp->data[i] = 7;
  vorn_mono_image im = img.image();
  vorn_rect r{0, 10, 4, 12};
  ASSERT_EQ(vorn_backproject_calculate(&im, h, bp, &r, nullptr), VORN_OK);
  for (uint32_t y = 0; y < 16; ++y) {
    for (uint32_t x = 0; x < 6; ++x) {
      uint32_t want = (y < 2 && x < 4) ? 1000u + img.px[y * 6 + x] / 8 : 7u;
      EXPECT_EQ(bp->data[y * 6 + x], want) << x << "," << y;
    }
  }
  // With a mask only marked cells change; sizes must agree.
  Plane mask(6, 16);
  mask.px[1] = 255;
  vorn_mono_image mk = mask.image();
  for (size_t i = 0; i < 96; ++i) bp->data[i] = 7;
  ASSERT_EQ(vorn_backproject_calculate(&im, h, bp, &r, &mk), VORN_OK);
  for (size_t i = 0; i < 96; ++i) EXPECT_EQ(bp->data[i], i == 1 ? 1000u + img.px[1] / 8 : 7u);
  vorn_backproject *small = vorn_backproject_alloc(6, 15);
  EXPECT_EQ(vorn_backproject_calculate(&im, h, small, &r, nullptr), VORN_E_PARAM);
  Plane bad(5, 16);
  vorn_mono_image bm = bad.image();
  EXPECT_EQ(vorn_backproject_calculate(&im, h, bp, &r, &bm), VORN_E_PARAM);
  vorn_histogram bare{32, nullptr, nullptr};
  EXPECT_EQ(vorn_backproject_calculate(&im, &bare, bp, &r, nullptr), VORN_E_NOMEM);
  // Rows beyond the image are left out.
  vorn_rect tall{2, 0, 9, 40};
  EXPECT_EQ(vorn_backproject_calculate(&im, h, bp, &tall, nullptr), VORN_OK);
  vorn_backproject_free(small);
  vorn_backproject_free(bp);
  vorn_histogram_free(h);
}

TEST(Moments, MatchTheirDefinitions) {
  vorn_backproject *bp = vorn_backproject_alloc(40, 30);
  ASSERT_NE(bp, nullptr);
  vorn_moments m;
  vorn_rect r{5, 4, 25, 20};
  ASSERT_EQ(vorn_moments_calculate(bp, &m, &r), VORN_OK);  // all zero
  const double *f = &m.m00;
  for (int i = 0; i < 18; ++i) EXPECT_EQ(f[i], 0.0) << i;

  // One cell of 9 at local (3, 2): centred there, so every central moment is 0.
  bp->data[(4 + 2) * 40 + 5 + 3] = 9;
  ASSERT_EQ(vorn_moments_calculate(bp, &m, &r), VORN_OK);
  EXPECT_EQ(m.m00, 9.0);
  EXPECT_EQ(m.m10, 27.0);
  EXPECT_EQ(m.m01, 18.0);
  EXPECT_EQ(m.m21, 9.0 * 9 * 2);
  EXPECT_EQ(m.m03, 9.0 * 8);
  EXPECT_DOUBLE_EQ(m.inv_sqrt_m00, 1.0 / 3);
  EXPECT_NEAR(m.mu20, 0, 1e-9);
  EXPECT_NEAR(m.mu21, 0, 1e-9);

  // Random cells against sums written straight from the definitions, central ones about the centroid.
  std::mt19937 rng(9);
  for (uint32_t i = 0; i < 40 * 30; ++i) bp->data[i] = rng() % 300;
  vorn_rect rects[] = {{5, 4, 25, 20}, {0, 0, 40, 30}, {-3, 20, 7, 45}, {10, 10, 10, 20}};
  for (const vorn_rect &rc : rects) {
    ASSERT_EQ(vorn_moments_calculate(bp, &m, &rc), VORN_OK);
    double raw[4][4] = {}, cen[4][4] = {};
    for (int y = std::max(rc.top, 0); y < std::min(rc.bottom, 30); ++y)
      for (int x = std::max(rc.left, 0); x < std::min(rc.right, 40); ++x)
        for (int p = 0; p <= 3; ++p)
          for (int q = 0; p + q <= 3; ++q)
            raw[p][q] += pow(x - rc.left, p) * pow(y - rc.top, q) * bp->data[y * 40 + x];
    double xc = raw[0][0] ? raw[1][0] / raw[0][0] : 0, yc = raw[0][0] ? raw[0][1] / raw[0][0] : 0;
    for (int y = std::max(rc.top, 0); y < std::min(rc.bottom, 30); ++y)
      for (int x = std::max(rc.left, 0); x < std::min(rc.right, 40); ++x)
        for (int p = 0; p <= 3; ++p)
          for (int q = 0; p + q <= 3; ++q)
            cen[p][q] += pow(x - rc.left - xc, p) * pow(y - rc.top - yc, q) * bp->data[y * 40 + x];
    auto near = [](double got, double want) { EXPECT_NEAR(got, want, 1e-9 * std::max(1.0, fabs(want))); };
    near(m.m00, raw[0][0]);
    near(m.m10, raw[1][0]);
    near(m.m01, raw[0][1]);
    near(m.m20, raw[2][0]);
    near(m.m11, raw[1][1]);
    near(m.m02, raw[0][2]);
    near(m.m30, raw[3][0]);
    near(m.m21, raw[2][1]);
    near(m.m12, raw[1][2]);
    near(m.m03, raw[0][3]);
    double scale = std::max(1.0, raw[3][0] + raw[0][3]) * 1e-9;  // central moments lose digits to cancellation
    EXPECT_NEAR(m.mu20, cen[2][0], scale);
    EXPECT_NEAR(m.mu11, cen[1][1], scale);
    EXPECT_NEAR(m.mu02, cen[0][2], scale);
    EXPECT_NEAR(m.mu30, cen[3][0], scale);
    EXPECT_NEAR(m.mu21, cen[2][1], scale);
    EXPECT_NEAR(m.mu12, cen[1][2], scale);
    EXPECT_NEAR(m.mu03, cen[0][3], scale);
    near(m.inv_sqrt_m00, raw[0][0] ? 1 / sqrt(raw[0][0]) : 0);
  }
  vorn_backproject_free(bp);
}

}  // namespace
