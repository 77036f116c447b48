#include <vector>

#include <gtest/gtest.h>

#include "support/test_support.h"
#include "vorn.h"

namespace {

constexpr uint32_t kW = 160, kH = 120, kStride = 480;

struct Box {
  int x, y, w, h;
};

// Raw 24-bit bottom-up rows: a textured background and solid boxes.
std::vector<uint8_t> frame_of(const std::vector<Box> &boxes) {
  std::vector<uint8_t> f(kStride * kH);
  for (uint32_t y = 0; y < kH; ++y) {
    uint8_t *row = &f[(kH - 1 - y) * kStride];
    for (uint32_t x = 0; x < kW; ++x) {
      uint8_t v = (uint8_t)(70 + ((x / 8 + y / 8) & 1) * 10);
      for (const Box &b : boxes)
        if ((int)x >= b.x && (int)x < b.x + b.w && (int)y >= b.y && (int)y < b.y + b.h) v = 220;
      row[3 * x] = row[3 * x + 1] = row[3 * x + 2] = v;
    }
  }
  return f;
}

const vorn_point kRegion[5] = {{4, 4}, {155, 4}, {155, 115}, {4, 115}, {4, 4}};

struct Detector {
  vorn_obld *d = nullptr;
  explicit Detector(const std::vector<Box> &initial = {}) {
    vorn_init();
    std::vector<uint8_t> first = frame_of(initial);
    vorn_obld_params p = {kW, kH, VORN_FRAME_BMP24, first.data(), kRegion, 5, 30, nullptr, 0, 0};
    EXPECT_EQ(vorn_obld_create(&p, &d), VORN_OK);
  }
  ~Detector() { vorn_obld_destroy(d); }
  vorn_result step(const std::vector<Box> &boxes) {
    std::vector<uint8_t> f = frame_of(boxes);
    return vorn_obld_put_image(d, f.data(), VORN_FRAME_BMP24);
  }
  std::vector<vorn_rect> lost() {
    vorn_rect r[32];
    uint32_t n = 0;
    vorn_result res = vorn_obld_get_lost_objects_rect(d, r, &n);
    if (res != VORN_OK) {
      EXPECT_EQ(res, VORN_E_NO_RESULT);
      return {};
    }
    return std::vector<vorn_rect>(r, r + n);
  }
};

TEST(Obld, LeftObjectIsReportedAfterTheThreshold) {
  Detector k;
  vorn_obld_set_frame_threshold(k.d, 10);  // acts as 50
  const Box bag = {60, 40, 24, 20};
  for (int f = 0; f < 51; ++f) {
    ASSERT_EQ(k.step({bag}), VORN_OK);
    EXPECT_TRUE(k.lost().empty()) << "frame " << f;  // ages 0..50 are not listed alone
  }
  ASSERT_EQ(k.step({bag}), VORN_OK);  // age 51
  std::vector<vorn_rect> lost = k.lost();
  ASSERT_EQ(lost.size(), 1u);
  EXPECT_NEAR(lost[0].left, bag.x, 4);
  EXPECT_NEAR(lost[0].top, bag.y, 4);
  // Whole 4 x 4 cells only: the cleaned mask's ragged edge loses up to two cells' width on the far sides.
  EXPECT_NEAR(lost[0].right, bag.x + bag.w - 4, 4);
  EXPECT_NEAR(lost[0].bottom, bag.y + bag.h - 4, 4);
  // The contour form gives its one-pixel outline.
  vorn_mono_image *outline = nullptr;
  uint32_t n = 0;
  ASSERT_EQ(vorn_obld_get_lost_objects_contour(k.d, &outline, &n), VORN_OK);
  EXPECT_EQ(n, 1u);
  int on = 0;
  for (uint32_t i = 0; i < kW * kH; ++i) on += outline->data[i] != 0;
  EXPECT_GT(on, 2 * (bag.w + bag.h) - 24);  // about the perimeter of the cleaned blob
  EXPECT_LT(on, 2 * (bag.w + bag.h) + 8);
  EXPECT_EQ(outline->data[(bag.y + 10) * kW + bag.x + 12], 0);  // the inside is hollow
  // A blob missed for one frame starts again at age 0.
  ASSERT_EQ(k.step({}), VORN_OK);
  ASSERT_EQ(k.step({bag}), VORN_OK);
  EXPECT_TRUE(k.lost().empty());
}

TEST(Obld, RemovedObjectAndThinObjects) {
  const Box painting = {100, 60, 30, 30};
  Detector k({painting});  // present in the reference background, then taken away
  for (int f = 0; f < 52; ++f) ASSERT_EQ(k.step({{10, 10, 7, 40}}), VORN_OK);  // a 7-pixel-wide pole
  std::vector<vorn_rect> lost = k.lost();
  ASSERT_EQ(lost.size(), 1u);  // the pole is never tracked
  EXPECT_NEAR(lost[0].left, painting.x, 4);
  EXPECT_NEAR(lost[0].top, painting.y, 4);
}

TEST(Obld, FullFrameChangesAreASceneCut) {
  Detector k;
  vorn_obld_enable_scenecut(k.d, 1);
  const Box all = {0, 0, (int)kW, (int)kH};
  EXPECT_EQ(k.step({all}), VORN_OK);
  EXPECT_EQ(k.step({all}), VORN_OK);
  EXPECT_EQ(k.step({all}), VORN_OK);
  EXPECT_EQ(k.step({all}), VORN_E_SCENE_CHANGE);
  // The background is relearned next: the refresh model answers while it learns.
  EXPECT_EQ(k.step({all}), VORN_OK);  // starts the refresh model, detection goes on
  EXPECT_EQ(k.step({all}), VORN_E_LEARNING);
}

TEST(Obld, ArgumentsAndAllocationFailures) {
  vorn_init();
  std::vector<uint8_t> first = frame_of({});
  vorn_obld *d = nullptr;
  vorn_obld_params p = {kW, kH, VORN_FRAME_YUV420, first.data(), kRegion, 5, 30, nullptr, 0, 0};
  EXPECT_EQ(vorn_obld_create(&p, &d), VORN_E_PARAM);
  EXPECT_EQ(d, nullptr);
  p.frame_type = VORN_FRAME_BMP24;
  p.region_count = 2;
  EXPECT_EQ(vorn_obld_create(&p, &d), VORN_E_PARAM);
  p.region_count = 5;
  EXPECT_EQ(vorn_obld_put_image(nullptr, first.data(), 1), VORN_E_NULL);
  EXPECT_EQ(vorn_obld_set_bk_frame_interval(nullptr, 1), VORN_E_NULL);
  vorn_rect r[32];
  uint32_t n = 7;
  EXPECT_EQ(vorn_obld_get_lost_objects_rect(nullptr, r, &n), VORN_E_NULL);
  EXPECT_EQ(n, 0u);
  const vorn_point second[4] = {{10, 10}, {50, 10}, {300, 300}, {10, 50}};
  p.second_pts = second;
  p.second_count = 4;
  EXPECT_GT(vorn_test::sweep_allocation_failures([&] {
              vorn_obld *o = nullptr;
              vorn_result res = vorn_obld_create(&p, &o);
              vorn_obld_destroy(o);
              return res == VORN_OK;
            }),
            8);
}

}  // namespace
