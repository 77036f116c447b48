#include <string.h>

#include <gtest/gtest.h>

#include "core/rect.h"
#include "support/test_support.h"
#include "vorn.h"

namespace {

TEST(Image, AllocZeroesAndCopyTakesSourceFirst) {
  vorn_image *a = vorn_image_alloc(5, 3, VORN_FORMAT_RGB);
  vorn_image *b = vorn_image_alloc(5, 3, VORN_FORMAT_RGB);
  ASSERT_TRUE(a && b);
  EXPECT_EQ(a->width, 5u);
  EXPECT_EQ(a->height, 3u);
  for (int p = 0; p < 3; ++p) {
    for (int i = 0; i < 15; ++i) EXPECT_EQ(a->plane[p][i], 0);
    for (int i = 0; i < 15; ++i) a->plane[p][i] = (uint8_t)(p * 50 + i);
  }
  // Source first.
  ASSERT_EQ(vorn_image_copy(a, b), VORN_OK);
  for (int p = 0; p < 3; ++p) EXPECT_EQ(memcmp(a->plane[p], b->plane[p], 15), 0);
  // One dimension off is refused (the interface sweep changes both at once).
  vorn_image *wide = vorn_image_alloc(6, 3, VORN_FORMAT_RGB);
  EXPECT_EQ(vorn_image_copy(a, wide), VORN_E_PARAM);
  vorn_image_free(wide);
  vorn_image_free(a);
  vorn_image_free(b);
}

TEST(MonoImage, CopyTakesDestinationFirst) {
  vorn_mono_image *dst = vorn_mono_image_alloc(4, 2);
  vorn_mono_image *src = vorn_mono_image_alloc(4, 2);
  ASSERT_TRUE(dst && src);
  for (int i = 0; i < 8; ++i) src->data[i] = (uint8_t)(i + 1);
  ASSERT_EQ(vorn_mono_image_copy(dst, src), VORN_OK);
  for (int i = 0; i < 8; ++i) EXPECT_EQ(dst->data[i], i + 1);
  // Same pixel count, other shape: refused.
  vorn_mono_image *other = vorn_mono_image_alloc(2, 4);
  EXPECT_EQ(vorn_mono_image_copy(dst, other), VORN_E_PARAM);
  vorn_mono_image_free(other);
  vorn_mono_image_free(dst);
  vorn_mono_image_free(src);
}

TEST(Rect, ClampPointAndIntersection) {
  vorn_rect r = {-5, -5, 700, 500};
  EXPECT_TRUE(vorn::rect_clamp(&r, 640, 480));
  EXPECT_EQ(r.left, 0);
  EXPECT_EQ(r.top, 0);
  EXPECT_EQ(r.right, 640);
  EXPECT_EQ(r.bottom, 480);
  vorn_rect thin = {10, 5, 10, 50};
  EXPECT_FALSE(vorn::rect_clamp(&thin, 640, 480));
  vorn_rect flat = {10, 7, 20, 7};
  EXPECT_FALSE(vorn::rect_clamp(&flat, 640, 480));
  // Right left of left still counts as non-empty.
  vorn_rect inverted = {30, 5, 20, 50};
  EXPECT_TRUE(vorn::rect_clamp(&inverted, 640, 480));

  const vorn_rect box = {2, 3, 5, 6};
  EXPECT_TRUE(vorn::pt_in_rect(2, 3, box));
  EXPECT_TRUE(vorn::pt_in_rect(4, 5, box));
  EXPECT_FALSE(vorn::pt_in_rect(5, 5, box));  // right and bottom are exclusive
  EXPECT_FALSE(vorn::pt_in_rect(4, 6, box));

  vorn_rect out;
  EXPECT_EQ(vorn::rect_intersect(box, vorn_rect{4, 0, 10, 4}, &out), 1);
  EXPECT_EQ(out.left, 4);
  EXPECT_EQ(out.top, 3);
  EXPECT_EQ(out.right, 5);
  EXPECT_EQ(out.bottom, 4);
  EXPECT_EQ(vorn::rect_intersect(box, vorn_rect{5, 0, 10, 4}, &out), 0);
  EXPECT_EQ(out.left | out.top | out.right | out.bottom, 0);
}

}  // namespace
