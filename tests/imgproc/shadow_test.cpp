#include <gtest/gtest.h>

#include "imgproc_test_util.h"
#include "vorn_color.h"

using namespace vorn_test;

namespace {

// 5x5 YUV scene: background luminance 100 with a chosen right column (its texture is 3 * (right - 100)), chroma
// 128; the current frame is the background with the centre pixel changed. fg is 255 everywhere.
struct Scene {
  Image bk = image(5, 5, VORN_FORMAT_YUV), cur = image(5, 5, VORN_FORMAT_YUV);
  Mono fg = mono(5, 5, 255);
  explicit Scene(uint8_t bk_right = 100) {
    for (int p = 0; p < 3; ++p) memset(bk->plane[p], p == 0 ? 100 : 128, 25);
    for (int y = 1; y <= 3; ++y) bk->plane[0][y * 5 + 3] = bk_right;
    for (int p = 0; p < 3; ++p) memcpy(cur->plane[p], bk->plane[p], 25);
  }
  void centre(int dl, int da, int db) {
    cur->plane[0][12] = (uint8_t)(bk->plane[0][12] + dl);
    cur->plane[1][12] = (uint8_t)(128 + da);
    cur->plane[2][12] = (uint8_t)(128 - db);
  }
  // Sets the current frame's texture at the centre: right column minus left column = g (left column 100).
  void cur_texture(int g) {
    int base = 100 + g / 3, extra = g - 3 * (g / 3);
    for (int y = 1; y <= 3; ++y) cur->plane[0][y * 5 + 3] = (uint8_t)(base + (y <= extra ? 1 : 0));
  }
  bool cleared(bool simple = false) {
    memset(fg->data, 255, 25);
    vorn_result r = simple ? vorn_image_shadow_detect_simple(fg.get(), bk.get(), cur.get())
                           : vorn_image_shadow_detect(fg.get(), bk.get(), cur.get());
    EXPECT_EQ(r, VORN_OK);
    return fg->data[12] == 0;
  }
};

TEST(Shadow, FullRuleLuminanceAndChroma) {
  Scene s;
  s.centre(-10, 0, 0);
  EXPECT_TRUE(s.cleared());  // 1.0 > 0.7
  s.centre(-9, 0, 0);
  EXPECT_FALSE(s.cleared());
  s.centre(-40, 16, 0);  // fa = 0.8
  EXPECT_TRUE(s.cleared());
  s.centre(-40, 17, 0);  // fa = 0.6
  EXPECT_FALSE(s.cleared());
  s.centre(-40, 0, -16);  // the sign of a chroma difference does not matter
  EXPECT_TRUE(s.cleared());
  s.centre(-40, 16, 16);  // 0.8 * 0.8 = 0.64
  EXPECT_FALSE(s.cleared());
  s.centre(-40, 21, 0);  // beyond 20: never a candidate
  EXPECT_FALSE(s.cleared());
}

TEST(Shadow, FullRuleTexture) {
  Scene s(102);  // background texture 6
  s.centre(-20, 0, 0);
  const struct {
    int g;
    bool cleared;
  } cases[] = {
      {40, true},   // dg 34 > 20 over strong texture (>= 32): passes
      {31, false},  // dg 25 > 20 over weak texture: stays
      {26, false},  // dg 20: factor 0
      {21, true},   // dg 15: factor 0.8
      {20, true},   // dg 14: factor 1
      {-16, false}, // dg 22 with negative texture
  };
  for (auto c : cases) {
    s.cur_texture(c.g);
    EXPECT_EQ(s.cleared(), c.cleared) << c.g;
  }
}

TEST(Shadow, SimpleRule) {
  Scene s;
  s.centre(0, 5, 5);
  s.cur_texture(5);
  EXPECT_TRUE(s.cleared(true));
  s.cur_texture(6);
  EXPECT_FALSE(s.cleared(true));
  s.cur_texture(0);
  s.centre(1, 0, 0);  // brighter
  EXPECT_FALSE(s.cleared(true));
  s.centre(-100, 6, 0);
  EXPECT_FALSE(s.cleared(true));
  s.centre(-100, 0, 0);  // any darkening
  EXPECT_TRUE(s.cleared(true));
}

TEST(Shadow, OnlyInteriorForegroundChanges) {
  // A uniform darkening of everything: every interior foreground pixel is shadow, the border is kept, and
  // background pixels stay 0.
  Image bk = image(6, 5, VORN_FORMAT_YUV), cur = image(6, 5, VORN_FORMAT_YUV);
  for (int p = 0; p < 3; ++p) {
    memset(bk->plane[p], p == 0 ? 150 : 120, 30);
    memset(cur->plane[p], p == 0 ? 100 : 120, 30);
  }
  for (auto fn : {vorn_image_shadow_detect, vorn_image_shadow_detect_simple}) {
    Mono fg = mono(6, 5, 255);
    fg->data[2 * 6 + 2] = 0;
    fg->data[2 * 6 + 3] = 7;
    ASSERT_EQ(fn(fg.get(), bk.get(), cur.get()), VORN_OK);
    for (int y = 0; y < 5; ++y)
      for (int x = 0; x < 6; ++x) {
        bool border = x == 0 || y == 0 || x == 5 || y == 4;
        EXPECT_EQ(fg->data[y * 6 + x], border ? 255 : 0) << x << "," << y;
      }
  }
}

// The planes' roles follow the background's format: HSV reads luminance from plane 2 and chroma from 0 and 1.
// RGB input is converted to YUV and then read at those same HSV positions.
TEST(Shadow, PlaneRolesByFormat) {
  vorn_init();
  const uint32_t w = 23, h = 17;
  Image bk = image(w, h), cur = image(w, h);
  // Smooth ramps; the current frame is the background with plane 0 darkened by 15 over a block (a shadow in
  // YUV order) and random bytes in every fifth pixel.
  fill_random(cur.get(), 32);
  for (uint32_t y = 0; y < h; ++y)
    for (uint32_t x = 0; x < w; ++x) {
      uint32_t i = y * w + x;
      for (int p = 0; p < 3; ++p) {
        bk->plane[p][i] = (uint8_t)(60 + 3 * x + 2 * y + 20 * p);
        if (i % 5 != 0) cur->plane[p][i] = bk->plane[p][i];
      }
      if (x >= 5 && x < 16 && y >= 4 && y < 13) cur->plane[0][i] = (uint8_t)(bk->plane[0][i] - 15);
    }
  Mono fg_rgb = mono(w, h, 255), fg_ref = mono(w, h, 255), fg_yuv = mono(w, h, 255), fg_hsv = mono(w, h, 255);
  // RGB: against YUV conversions relabelled HSV.
  Image bk_yuv = image(w, h, VORN_FORMAT_YUV), cur_yuv = image(w, h, VORN_FORMAT_YUV);
  ASSERT_EQ(vorn_image_rgb_to_yuv(bk.get(), bk_yuv.get()), VORN_OK);
  ASSERT_EQ(vorn_image_rgb_to_yuv(cur.get(), cur_yuv.get()), VORN_OK);
  for (auto fn : {vorn_image_shadow_detect, vorn_image_shadow_detect_simple}) {
    memset(fg_rgb->data, 255, w * h);
    memset(fg_ref->data, 255, w * h);
    ASSERT_EQ(fn(fg_rgb.get(), bk.get(), cur.get()), VORN_OK);
    bk_yuv->format = cur_yuv->format = VORN_FORMAT_HSV;
    ASSERT_EQ(fn(fg_ref.get(), bk_yuv.get(), cur_yuv.get()), VORN_OK);
    bk_yuv->format = cur_yuv->format = VORN_FORMAT_YUV;
    EXPECT_TRUE(bytes_of(fg_rgb.get()) == bytes_of(fg_ref.get()));
    // The same planes rotated from YUV order (L, A, B) to HSV order (A, B, L) give the same mask.
    Image bk_hsv = image(w, h, VORN_FORMAT_HSV), cur_hsv = image(w, h, VORN_FORMAT_HSV);
    for (int p = 0; p < 3; ++p) {
      memcpy(bk_hsv->plane[(p + 2) % 3], bk->plane[p], w * h);
      memcpy(cur_hsv->plane[(p + 2) % 3], cur->plane[p], w * h);
    }
    Image bk_y = image(w, h, VORN_FORMAT_YUV), cur_y = image(w, h, VORN_FORMAT_YUV);
    for (int p = 0; p < 3; ++p) {
      memcpy(bk_y->plane[p], bk->plane[p], w * h);
      memcpy(cur_y->plane[p], cur->plane[p], w * h);
    }
    memset(fg_yuv->data, 255, w * h);
    memset(fg_hsv->data, 255, w * h);
    ASSERT_EQ(fn(fg_yuv.get(), bk_y.get(), cur_y.get()), VORN_OK);
    ASSERT_EQ(fn(fg_hsv.get(), bk_hsv.get(), cur_hsv.get()), VORN_OK);
    EXPECT_TRUE(bytes_of(fg_yuv.get()) == bytes_of(fg_hsv.get()));
    int cleared = 0;
    for (uint8_t v : bytes_of(fg_yuv.get())) cleared += v == 0;
    EXPECT_GT(cleared, 0);
  }
}

TEST(Shadow, OneColumnOffAndAFailedAllocation) {
  // The interface sweep changes both dimensions at once.
  Image bk = image(5, 4), cur = image(5, 4), narrow = image(4, 4);
  Mono fg = mono(5, 4, 255), narrow_fg = mono(4, 4, 255);
  EXPECT_EQ(vorn_image_shadow_detect(narrow_fg.get(), bk.get(), cur.get()), VORN_E_PARAM);
  EXPECT_EQ(vorn_image_shadow_detect_simple(fg.get(), bk.get(), narrow.get()), VORN_E_PARAM);
  // RGB rows wider than the on-stack ring need one block; when it cannot be had nothing changes.
  Image wide_bk = image(2100, 3), wide_cur = image(2100, 3);
  Mono wide_fg = mono(2100, 3, 255);
  for (int p = 0; p < 3; ++p) memset(wide_bk->plane[p], 200, 6300);
  vorn_test::sweep_allocation_failures([&] {
    vorn_result r = vorn_image_shadow_detect(wide_fg.get(), wide_bk.get(), wide_cur.get());
    if (r == VORN_E_NOMEM) {
      for (uint8_t v : bytes_of(wide_fg.get())) EXPECT_EQ(v, 255);
      return false;
    }
    return r == VORN_OK;
  });
}

TEST(SceneCut, CountsChangedPixels) {
  Image cur = image(4, 4), ref = image(4, 4);
  // t = 15: a pixel has changed when its summed difference reaches 22.
  auto changed_pixels = [&](int k, int d) {
    for (int p = 0; p < 3; ++p) memset(cur->plane[p], 50, 16);
    for (int i = 0; i < k; ++i) cur->plane[i % 3][i] = (uint8_t)(50 + d);
  };
  for (int p = 0; p < 3; ++p) memset(ref->plane[p], 50, 16);
  changed_pixels(13, 22);
  EXPECT_EQ(vorn_image_scenecut_detect(cur.get(), ref.get(), 15), VORN_E_SCENE_CHANGE);  // 13 > 12
  changed_pixels(12, 22);
  EXPECT_EQ(vorn_image_scenecut_detect(cur.get(), ref.get(), 15), VORN_OK);
  changed_pixels(16, 21);
  EXPECT_EQ(vorn_image_scenecut_detect(cur.get(), ref.get(), 15), VORN_OK);
  EXPECT_EQ(vorn_image_scenecut_detect(cur.get(), ref.get(), 0), VORN_E_SCENE_CHANGE);  // every pixel changed
  Image empty1 = image(4, 0), empty2 = image(4, 0);
  EXPECT_EQ(vorn_image_scenecut_detect(empty1.get(), empty2.get(), 0), VORN_OK);
}

TEST(SceneCut, LostEdges) {
  Mono cur = mono(4, 4), prev = mono(4, 4), narrow = mono(3, 4);
  EXPECT_EQ(vorn_image_scenecut_detect_edge(cur.get(), prev.get()), VORN_OK);  // nothing to lose
  for (int i = 0; i < 8; ++i) prev->data[i * 2] = 255;  // 8 edges
  memset(cur->data, 255, 16);
  for (int i = 0; i < 6; ++i) cur->data[i * 2] = 0;  // 6 lost: not more than 6
  EXPECT_EQ(vorn_image_scenecut_detect_edge(cur.get(), prev.get()), VORN_OK);
  cur->data[12] = 0;  // 7 lost
  EXPECT_EQ(vorn_image_scenecut_detect_edge(cur.get(), prev.get()), VORN_E_SCENE_CHANGE);
  EXPECT_EQ(vorn_image_scenecut_detect_edge(cur.get(), narrow.get()), VORN_E_PARAM);
}

}  // namespace
