#include <vector>

#include <gtest/gtest.h>

#include "analytics/guard_direction.h"
#include "support/test_support.h"
#include "vorn.h"

namespace {

constexpr uint32_t kW = 160, kH = 120;

// A planar 4:2:0 frame: a gently textured background and, optionally, a 16 x 16 checkered box at (bx, by).
std::vector<uint8_t> scene(int bx, int by) {
  std::vector<uint8_t> f(kW * kH * 3 / 2 + kW, 128);
  for (uint32_t y = 0; y < kH; ++y)
    for (uint32_t x = 0; x < kW; ++x) f[y * kW + x] = (uint8_t)(60 + ((x / 8 + y / 8) & 1) * 8);
  if (bx >= 0)
    for (int y = by; y < by + 16; ++y)
      for (int x = bx; x < bx + 16; ++x)
        if (x >= 0 && y >= 0 && x < (int)kW && y < (int)kH) f[y * kW + x] = ((x - bx) / 4 + (y - by) / 4) & 1 ? 230 : 150;
  return f;
}

struct Guard {
  vorn_guard *g = nullptr;
  explicit Guard(vorn_line direction) {
    vorn_init();
    vorn_guard_params p = {kW, kH, VORN_FORMAT_YUV, 0};
    EXPECT_EQ(vorn_guard_create(&p, &g), VORN_OK);
    EXPECT_EQ(vorn_guard_set_lines(g, vorn_line{10, 60, 150, 60}, direction, 30), VORN_OK);
    // The default model compares against a background the host sets: the empty scene.
    vorn_bk_model *m;
    vorn_guard_get_bk_model(g, &m);
    vorn_bk_model_vtable ops;
    vorn_bk_model_init(0, &ops);
    std::vector<uint8_t> bg = scene(-1, 0);
    EXPECT_EQ(ops.set_bk(m, bg.data(), VORN_FRAME_YUV420), VORN_OK);
  }
  ~Guard() { vorn_guard_destroy(g); }
  uint32_t step(int bx, int by) {
    std::vector<uint8_t> f = scene(bx, by);
    vorn_guard_put_image(g, f.data(), VORN_FRAME_YUV420);
    uint32_t e = 99;
    EXPECT_EQ(vorn_guard_get_event(g, &e), VORN_OK);
    return e;
  }
};

const vorn_line kDown = {80, 40, 80, 80};  // the guarded direction: downwards (270 degrees)

TEST(Guard, CrossingWithTheDirectionTriggers) {
  Guard k(kDown);
  uint32_t last = 0;
  for (int y = 36; y <= 76; y += 2) last = k.step(70, y);
  EXPECT_EQ(last, VORN_GUARD_EVENT_TRIGGER);
  int crossed = 0;
  for (uint32_t i = 0; i < 8; ++i) {
    crossed += (int)vorn_guard_is_cross_guard_line(k.g, i);
    if (vorn_guard_is_cross_guard_line(k.g, i)) {
      EXPECT_EQ(vorn_guard_is_trigger_guard_line(k.g, i), 1u);
      vorn_line t;
      ASSERT_EQ(vorn_guard_get_trace(k.g, (int32_t)i, &t), VORN_OK);
      EXPECT_LT(t.y0, 60);  // the trace runs from above the line to below it
      EXPECT_GE(t.y1, 60);
      EXPECT_NEAR(t.x1, t.x0, 2);
    }
  }
  EXPECT_GT(crossed, 0);
  // An empty frame resets the tracking: flags and event are gone.
  EXPECT_EQ(k.step(-1, 0), VORN_GUARD_EVENT_NONE);
  EXPECT_EQ(vorn_guard_is_cross_guard_line(k.g, 0), 0u);
}

// The guarded direction is the half-turn around the direction line's angle: a trace at exactly 90 degrees from it
// on the one side is no trigger, at exactly 270 (that is, -90) on the other side it is one.
TEST(Guard, DirectionBoundariesAreHalfOpen) {
  const vorn_line right = {0, 0, 10, 0}, up = {0, 10, 0, 0}, left = {10, 0, 0, 0}, down = {0, 0, 0, 10};
  const double to_right = vorn_get_line_angle(right), to_down = vorn_get_line_angle(down);
  EXPECT_FALSE(vorn::guard_direction_triggers(to_right, down));  // d = 90
  EXPECT_TRUE(vorn::guard_direction_triggers(to_right, up));     // d = 270
  EXPECT_TRUE(vorn::guard_direction_triggers(to_right, right));  // d = 0
  EXPECT_FALSE(vorn::guard_direction_triggers(to_right, left));  // d = 180
  EXPECT_TRUE(vorn::guard_direction_triggers(to_down, right));   // d = 270
  EXPECT_FALSE(vorn::guard_direction_triggers(to_down, left));   // d = 90
  // Just inside and just outside the boundaries.
  EXPECT_TRUE(vorn::guard_direction_triggers(to_down, vorn_line{0, 0, -100, 1}));   // d = 89.4
  EXPECT_FALSE(vorn::guard_direction_triggers(to_down, vorn_line{0, 0, -100, -1}));  // d = 90.6
  EXPECT_TRUE(vorn::guard_direction_triggers(to_down, vorn_line{0, 0, 100, 1}));    // d = 270.6
  EXPECT_FALSE(vorn::guard_direction_triggers(to_down, vorn_line{0, 0, 100, -1}));  // d = 269.4
}

TEST(Guard, CrossingAgainstTheDirectionOnlyCrosses) {
  Guard k(kDown);
  uint32_t last = 0;
  for (int y = 76; y >= 36; y -= 2) last = k.step(70, y);
  EXPECT_EQ(last, VORN_GUARD_EVENT_CROSS);
  for (uint32_t i = 0; i < 8; ++i) EXPECT_EQ(vorn_guard_is_trigger_guard_line(k.g, i), 0u);
}

TEST(Guard, MotionAlongTheLineNeverCrosses) {
  Guard k(kDown);
  for (int x = 20; x <= 120; x += 2) EXPECT_EQ(k.step(x, 36), VORN_GUARD_EVENT_NONE);
}

TEST(Guard, GettersAndArguments) {
  Guard k(kDown);
  vorn_line l;
  ASSERT_EQ(vorn_guard_get_guard_line(k.g, &l), VORN_OK);
  EXPECT_EQ(l.x0, 10);
  EXPECT_EQ(l.x1, 150);
  ASSERT_EQ(vorn_guard_get_direction_line(k.g, &l), VORN_OK);
  EXPECT_EQ(l.y1, 80);
  vorn_line trace = {1, 2, 3, 4};
  EXPECT_EQ(vorn_guard_get_trace(k.g, 0, &trace), VORN_E_NO_RESULT);  // no features yet
  EXPECT_EQ(trace.x0 | trace.y0 | trace.x1 | trace.y1, 0);
  EXPECT_EQ(vorn_guard_is_cross_guard_line(nullptr, 0), VORN_E_NULL);
  EXPECT_EQ(vorn_guard_put_image(nullptr, nullptr, 0), VORN_E_NULL);
  EXPECT_EQ(vorn_guard_create(nullptr, nullptr), VORN_E_PARAM);
  // The band masks the model: only pixels near the line are watched.
  vorn_bk_model *m;
  vorn_guard_get_bk_model(k.g, &m);
  vorn_mono_image *mask;
  ASSERT_EQ(vorn_bk_model_get_mask(m, &mask), VORN_OK);
  EXPECT_EQ(mask->data[60 * kW + 80], 255);
  EXPECT_EQ(mask->data[5 * kW + 80], 0);
  EXPECT_EQ(mask->data[115 * kW + 80], 0);
  // A replacement mask of the wrong size is refused.
  vorn_mono_image *small = vorn_mono_image_alloc(10, 10);
  EXPECT_EQ(vorn_guard_set_mask(k.g, small), VORN_E_NULL);
  vorn_mono_image_free(small);
  vorn_guard_destroy(nullptr);
}

TEST(Guard, AllocationFailuresAreCleanedUp) {
  vorn_init();
  vorn_guard_params p = {64, 48, VORN_FORMAT_YUV, 2};
  EXPECT_GT(vorn_test::sweep_allocation_failures([&] {
              vorn_guard *g = nullptr;
              vorn_result r = vorn_guard_create(&p, &g);
              if (r == VORN_OK) r = vorn_guard_set_lines(g, vorn_line{5, 20, 60, 20}, kDown, 10);
              vorn_guard_destroy(g);
              return r == VORN_OK;
            }),
            5);
}

}  // namespace
