#include <stdlib.h>

#include <gtest/gtest.h>

#include "imgproc_test_util.h"

using namespace vorn_test;

namespace {

uint8_t ad(uint8_t a, uint8_t b) { return (uint8_t)abs((int)a - (int)b); }

TEST(Diff, PlaneSelectorPicksPlanes) {
  Image a = image(3, 2), b = image(3, 2), out = image(3, 2);
  for (int p = 0; p < 3; ++p)
    for (int i = 0; i < 6; ++i) {
      a->plane[p][i] = (uint8_t)(10 * i + p);
      b->plane[p][i] = (uint8_t)(100 - 7 * i);
    }
  // Plane 5 means plane 2 only.
  for (int p = 0; p < 3; ++p) memset(out->plane[p], 77, 6);
  ASSERT_EQ(vorn_image_diff(a.get(), b.get(), out.get(), 5), VORN_OK);
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(out->plane[0][i], 77);
    EXPECT_EQ(out->plane[1][i], 77);
    EXPECT_EQ(out->plane[2][i], ad(a->plane[2][i], b->plane[2][i]));
  }
  ASSERT_EQ(vorn_image_diff(a.get(), b.get(), out.get(), VORN_PLANE_ALL), VORN_OK);
  for (int p = 0; p < 3; ++p)
    for (int i = 0; i < 6; ++i) EXPECT_EQ(out->plane[p][i], ad(a->plane[p][i], b->plane[p][i]));
  // Plane 1 thresholded at 40: differences 99, 82, 65, 48, 31, 14.
  for (int p = 0; p < 3; ++p) memset(out->plane[p], 77, 6);
  ASSERT_EQ(vorn_image_diff_binary(a.get(), b.get(), out.get(), 1, 40), VORN_OK);
  const uint8_t want[6] = {255, 255, 255, 255, 0, 0};
  for (int i = 0; i < 6; ++i) {
    EXPECT_EQ(out->plane[1][i], want[i]) << i;
    EXPECT_EQ(out->plane[0][i], 77);
    EXPECT_EQ(out->plane[2][i], 77);
  }
}

TEST(Diff, ThresholdsBeyondTheByteRange) {
  Mono a = mono(5, 3), b = mono(5, 3), out = mono(5, 3);
  fill_random(a.get(), 1);
  fill_random(b.get(), 2);
  ASSERT_EQ(vorn_mono_image_binary(a.get(), out.get(), 0), VORN_OK);
  for (uint8_t v : bytes_of(out.get())) EXPECT_EQ(v, 255);
  ASSERT_EQ(vorn_mono_image_binary(a.get(), out.get(), 256), VORN_OK);
  for (uint8_t v : bytes_of(out.get())) EXPECT_EQ(v, 0);
  ASSERT_EQ(vorn_mono_image_diff_binary(a.get(), b.get(), out.get(), -5), VORN_OK);
  for (uint8_t v : bytes_of(out.get())) EXPECT_EQ(v, 255);
  ASSERT_EQ(vorn_mono_image_diff_binary(a.get(), b.get(), out.get(), 1000), VORN_OK);
  for (uint8_t v : bytes_of(out.get())) EXPECT_EQ(v, 0);
  // Identical images: every difference is 0, so t = 1 gives all 0 and t = 0 all 255.
  ASSERT_EQ(vorn_mono_image_diff_binary(a.get(), a.get(), out.get(), 1), VORN_OK);
  for (uint8_t v : bytes_of(out.get())) EXPECT_EQ(v, 0);
  // A byte equal to t is at or above it.
  a->data[0] = 200;
  a->data[1] = 199;
  ASSERT_EQ(vorn_mono_image_binary(a.get(), out.get(), 200), VORN_OK);
  EXPECT_EQ(out->data[0], 255);
  EXPECT_EQ(out->data[1], 0);
}

// The interface sweep changes both dimensions at once; here one at a time, and the other shape of the same count.
TEST(Diff, OneDimensionOffAndEmptyImages) {
  Image a = image(4, 4), low = image(4, 3);
  EXPECT_EQ(vorn_image_binary(a.get(), low.get(), 0, 3), VORN_E_PARAM);
  Mono m = mono(6, 5), turned = mono(5, 6);
  EXPECT_EQ(vorn_mono_image_xor(m.get(), m.get(), turned.get()), VORN_E_PARAM);
  Image e1 = image(4, 0), e2 = image(4, 0);
  EXPECT_EQ(vorn_image_diff(e1.get(), e2.get(), e1.get(), VORN_PLANE_ALL), VORN_OK);
}

TEST(Diff, SummedDifferenceUsesThreeHalvesOfT) {
  Image a = image(4, 1), b = image(4, 1);
  Mono out = mono(4, 1, 7);
  // Pixel 0 differs by 20, 20, 20 (sum 60), pixel 1 by 20, 20, 19 (59), pixel 2 by 0, 0, 22, pixel 3 by 0, 0, 21.
  const uint8_t da[4][3] = {{20, 20, 20}, {20, 20, 19}, {0, 0, 22}, {0, 0, 21}};
  for (int i = 0; i < 4; ++i)
    for (int p = 0; p < 3; ++p) {
      a->plane[p][i] = (uint8_t)(100 + (i & 1 ? da[i][p] : 0));
      b->plane[p][i] = (uint8_t)(100 + (i & 1 ? 0 : da[i][p]));
    }
  ASSERT_EQ(vorn_image_diff_binary_to_mono_image(a.get(), b.get(), out.get(), 40), VORN_OK);  // limit 60
  EXPECT_EQ(out->data[0], 255);
  EXPECT_EQ(out->data[1], 0);
  ASSERT_EQ(vorn_image_diff_binary_to_mono_image(a.get(), b.get(), out.get(), 15), VORN_OK);  // limit 22
  EXPECT_EQ(out->data[2], 255);
  EXPECT_EQ(out->data[3], 0);
  ASSERT_EQ(vorn_image_diff_binary_to_mono_image(a.get(), b.get(), out.get(), 0), VORN_OK);
  for (uint8_t v : bytes_of(out.get())) EXPECT_EQ(v, 255);
  ASSERT_EQ(vorn_image_diff_binary_to_mono_image(a.get(), b.get(), out.get(), 511), VORN_OK);  // limit 766
  for (uint8_t v : bytes_of(out.get())) EXPECT_EQ(v, 0);
  // 3t wraps in 32 bits: 0x80000000 * 3 is negative, so every pixel is 255.
  ASSERT_EQ(vorn_image_diff_binary_to_mono_image(a.get(), b.get(), out.get(), 0x80000000u), VORN_OK);
  for (uint8_t v : bytes_of(out.get())) EXPECT_EQ(v, 255);
}

TEST(Diff, XorOfMasks) {
  Mono a = mono(6, 5), b = mono(6, 5), out = mono(6, 5);
  fill_random(a.get(), 3);
  fill_random(b.get(), 4);
  ASSERT_EQ(vorn_mono_image_xor(a.get(), a.get(), out.get()), VORN_OK);
  for (uint8_t v : bytes_of(out.get())) EXPECT_EQ(v, 0);
  ASSERT_EQ(vorn_mono_image_xor(a.get(), b.get(), out.get()), VORN_OK);
  for (int i = 0; i < 30; ++i) EXPECT_EQ(out->data[i], a->data[i] ^ b->data[i]);
}

// Every operation against a per-pixel evaluator, on each kernel set, over widths that leave every possible tail
// and over a full frame.
TEST(Diff, KernelsMatchPerPixelRuleOnEveryIsa) {
  std::vector<std::pair<uint32_t, uint32_t>> sizes;
  for (uint32_t w = 1; w <= 67; w += 3) sizes.push_back({w, 3});
  sizes.push_back({768, 576});
  for (uint32_t mask : isa_masks()) {
    CpuMaskScope scope(mask);
    uint32_t seed = 10;
    for (auto [w, h] : sizes) {
      Image a = image(w, h), b = image(w, h), out = image(w, h);
      fill_random(a.get(), ++seed);
      fill_random(b.get(), ++seed);
      // Make small differences common so thresholds near them matter.
      for (uint32_t i = 0; i < w * h; i += 2) b->plane[1][i] = (uint8_t)(a->plane[1][i] + (i % 7) - 3);
      Mono m = mono(w, h);
      const int32_t t = 1 + (int32_t)(seed % 200);
      ASSERT_EQ(vorn_image_diff(a.get(), b.get(), out.get(), VORN_PLANE_ALL), VORN_OK);
      for (int p = 0; p < 3; ++p)
        for (uint32_t i = 0; i < w * h; ++i)
          ASSERT_EQ(out->plane[p][i], ad(a->plane[p][i], b->plane[p][i])) << w << " " << mask;
      ASSERT_EQ(vorn_image_diff_binary(a.get(), b.get(), out.get(), 1, 3), VORN_OK);
      for (uint32_t i = 0; i < w * h; ++i)
        ASSERT_EQ(out->plane[1][i], ad(a->plane[1][i], b->plane[1][i]) < 3 ? 0 : 255);
      ASSERT_EQ(vorn_image_binary(a.get(), out.get(), 0, t), VORN_OK);
      for (uint32_t i = 0; i < w * h; ++i) ASSERT_EQ(out->plane[0][i], a->plane[0][i] < t ? 0 : 255);
      ASSERT_EQ(vorn_image_diff_binary_to_mono_image(a.get(), b.get(), m.get(), (uint32_t)t), VORN_OK);
      for (uint32_t i = 0; i < w * h; ++i) {
        int d = ad(a->plane[0][i], b->plane[0][i]) + ad(a->plane[1][i], b->plane[1][i]) +
                ad(a->plane[2][i], b->plane[2][i]);
        ASSERT_EQ(m->data[i], d < (3 * t) / 2 ? 0 : 255) << w << " " << i;
      }
    }
  }
}

TEST(Otsu, HandWorkedInteriors) {
  Mono img = mono(8, 6);
  vorn_rect r = {1, 0, 7, 6};  // interior: columns 2..5, rows 1..4 (16 pixels)
  // A ring of other values around the interior must not count.
  memset(img->data, 250, 48);
  for (int y = 1; y <= 4; ++y)
    for (int x = 2; x <= 5; ++x) img->data[y * 8 + x] = 90;
  EXPECT_EQ(vorn_mono_image_otsu_threshold(img.get(), &r), 1);  // one level: no split
  // Two levels in several proportions: the split is at the lower level.
  for (int dark = 1; dark < 16; dark += 3) {
    for (int i = 0; i < 16; ++i) img->data[(1 + i / 4) * 8 + 2 + i % 4] = i < dark ? 50 : 200;
    EXPECT_EQ(vorn_mono_image_otsu_threshold(img.get(), &r), 50) << dark;
  }
  // Three levels 10 (x6), 20 (x5), 240 (x5): the split between {10, 20} and {240} beats the one at 10.
  for (int i = 0; i < 16; ++i) img->data[(1 + i / 4) * 8 + 2 + i % 4] = i < 6 ? 10 : i < 11 ? 20 : 240;
  EXPECT_EQ(vorn_mono_image_otsu_threshold(img.get(), &r), 20);
  // A 3x3 rectangle holds one pixel: the split is never two-sided.
  vorn_rect tiny = {2, 1, 5, 4};
  EXPECT_EQ(vorn_mono_image_otsu_threshold(img.get(), &tiny), 1);
  // Too small to have an interior.
  vorn_rect flat = {2, 1, 4, 3};
  EXPECT_EQ(vorn_mono_image_otsu_threshold(img.get(), &flat), 1);
}

TEST(Otsu, PopulationComesFromTheRectangle) {
  // The interior sticks out of the image: only the part inside (16 pixels of 30) is counted, but the population
  // is still the rectangle's (4 x 5 = 20). The second class is never empty, so level 30 itself is a split.
  Mono img = mono(4, 4, 30);
  vorn_rect r = {-1, -1, 5, 6};  // interior columns 0..3, rows 0..4 (row 4 lies outside)
  int32_t t = vorn_mono_image_otsu_threshold(img.get(), &r);
  EXPECT_EQ(t, 30);
}

}  // namespace
