#include <string.h>

#include <set>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_support.h"
#include "tracking/tracker_impl.h"
#include "vorn.h"

namespace {

constexpr uint32_t kW = 160, kH = 120;

struct Box {
  int x, y, w, h;
};

// A planar 4:2:0 frame: textured grey background, bright boxes on it.
std::vector<uint8_t> frame_with(const std::vector<Box> &boxes) {
  std::vector<uint8_t> f(kW * kH * 3 / 2 + kW, 128);
  for (uint32_t y = 0; y < kH; ++y)
    for (uint32_t x = 0; x < kW; ++x) f[y * kW + x] = (uint8_t)(60 + ((x / 8 + y / 8) & 1) * 10);
  for (const Box &b : boxes)
    for (int y = b.y; y < b.y + b.h; ++y)
      for (int x = b.x; x < b.x + b.w; ++x)
        if (x >= 0 && y >= 0 && x < (int)kW && y < (int)kH) f[y * kW + x] = 200;
  return f;
}

struct Tracker {
  vorn_tracker *t = nullptr;
  Tracker() {
    vorn_init();
    // The default model compares against a background the host sets: the empty scene.
    vorn_tracker_params p = {kW, kH, VORN_FORMAT_YUV, 0};
    EXPECT_EQ(vorn_tracker_create(&p, &t), VORN_OK);
    vorn_bk_model *m;
    vorn_bk_model_vtable *ops;
    vorn_tracker_get_bk_model(t, &m, &ops);
    std::vector<uint8_t> bg = frame_with({});
    EXPECT_EQ(ops->set_bk(m, bg.data(), VORN_FRAME_YUV420), VORN_OK);
  }
  ~Tracker() { vorn_tracker_destroy(t); }
  std::vector<vorn_tracker_obj> step(const std::vector<Box> &boxes) {
    std::vector<uint8_t> f = frame_with(boxes);
    EXPECT_EQ(vorn_tracker_process(t, f.data(), VORN_FRAME_YUV420), VORN_OK);
    vorn_tracker_obj *objs;
    uint32_t n;
    EXPECT_EQ(vorn_tracker_get_objs(t, &objs, &n), VORN_OK);
    return std::vector<vorn_tracker_obj>(objs, objs + n);
  }
};

TEST(Tracker, SteadyMotionBecomesOneTrackAfterEightFrames) {
  Tracker k;
  std::set<int32_t> ids;
  for (int f = 0; f < 30; ++f) {
    std::vector<vorn_tracker_obj> objs = k.step({{10 + 3 * f, 50, 14, 14}});
    if (f < 7) {
      EXPECT_TRUE(objs.empty()) << "frame " << f;
    } else {
      ASSERT_EQ(objs.size(), 1u) << "frame " << f;
      ids.insert(objs[0].id);
      // The track stays on the box.
      const int cx = 10 + 3 * f + 7;
      EXPECT_NEAR(objs[0].cx, cx, 4) << "frame " << f;
      EXPECT_NEAR(objs[0].cy, 57, 4) << "frame " << f;
    }
  }
  EXPECT_EQ(ids, std::set<int32_t>{1});
}

TEST(Tracker, ErraticPathsNeverBecomeTracks) {
  Tracker zig;
  for (int f = 0; f < 30; ++f) {
    // Overlapping frame to frame, but off any straight line by far more than 1 % of the width.
    const int y = (f % 2) ? 40 : 52;
    EXPECT_TRUE(zig.step({{20 + 2 * f, y, 14, 16}}).empty()) << "frame " << f;
  }
  Tracker fast;
  for (int f = 0; f < 12; ++f) {
    // Straight but faster than 10 % of the width per frame (and never overlapping its last position).
    EXPECT_TRUE(fast.step({{(f * 17) % 140, 50, 12, 12}}).empty()) << "frame " << f;
  }
}

TEST(Tracker, StillObjectBecomesTrackAndIdsAreNotReused) {
  Tracker k;
  std::vector<vorn_tracker_obj> objs;
  for (int f = 0; f < 10; ++f) objs = k.step({{70, 50, 16, 16}});
  ASSERT_EQ(objs.size(), 1u);
  EXPECT_EQ(objs[0].id, 1);
  // Gone: the track survives at most 4 frames without a detection.
  for (int f = 0; f < 6; ++f) objs = k.step({});
  EXPECT_TRUE(objs.empty());
  for (int f = 0; f < 10; ++f) objs = k.step({{30, 30, 16, 16}});
  ASSERT_EQ(objs.size(), 1u);
  EXPECT_EQ(objs[0].id, 2);
}

TEST(Tracker, TrackLeavingTheFrameIsRemoved) {
  Tracker k;
  std::vector<vorn_tracker_obj> objs;
  int f = 0;
  for (; f < 10; ++f) objs = k.step({{100 + 4 * f, 50, 14, 14}});
  ASSERT_EQ(objs.size(), 1u);
  // It runs out at the right edge; once its predicted box crosses the border with no detection, it is gone.
  bool removed = false;
  for (; f < 30 && !removed; ++f) removed = k.step({{100 + 4 * f, 50, 14, 14}}).empty();
  EXPECT_TRUE(removed);
}

TEST(Tracker, TwoTracksSharingOneDetectionBothCoast) {
  Tracker k;
  std::vector<vorn_tracker_obj> objs;
  // Two boxes converge horizontally and then overlap into one blob.
  for (int f = 0; f < 10; ++f) objs = k.step({{20 + 2 * f, 50, 12, 12}, {120 - 2 * f, 50, 12, 12}});
  ASSERT_EQ(objs.size(), 2u);
  const int32_t w0 = k.t->active[0]->width, w1 = k.t->active[1]->width;
  bool saw_shared = false;
  for (int f = 10; f < 40 && !saw_shared; ++f) {
    const int a = 20 + 2 * f, b = 120 - 2 * f;
    k.step(a + 12 < b ? std::vector<Box>{{a, 50, 12, 12}, {b, 50, 12, 12}} : std::vector<Box>{{b, 50, a - b + 12, 12}});
    if (k.t->active_count == 2 && k.t->active[0]->shared && k.t->active[1]->shared) {
      saw_shared = true;
      EXPECT_EQ(k.t->active[0]->width, w0);  // coasting keeps each track's own size
      EXPECT_EQ(k.t->active[1]->width, w1);
    }
  }
  EXPECT_TRUE(saw_shared);
}

TEST(Tracker, CreateArgumentsNullsAndAllocationFailures) {
  vorn_init();
  vorn_tracker_params p = {kW, kH, VORN_FORMAT_YUV, 2};
  EXPECT_EQ(vorn_tracker_create(&p, nullptr), VORN_E_PARAM);
  EXPECT_EQ(vorn_tracker_destroy(nullptr), VORN_E_NULL);
  EXPECT_EQ(vorn_tracker_process(nullptr, nullptr, 0), VORN_E_NULL);
  EXPECT_EQ(vorn_tracker_get_width(nullptr), 0u);
  EXPECT_EQ(vorn_tracker_get_height(nullptr), 0u);
  vorn_tracker_obj *objs = reinterpret_cast<vorn_tracker_obj *>(1);
  uint32_t n = 5;
  EXPECT_EQ(vorn_tracker_get_objs(nullptr, &objs, &n), VORN_E_NULL);
  EXPECT_EQ(objs, nullptr);
  EXPECT_EQ(n, 0u);
  const int points = vorn_test::sweep_allocation_failures([&] {
    vorn_tracker *t = reinterpret_cast<vorn_tracker *>(1);
    vorn_result r = vorn_tracker_create(&p, &t);
    if (r != VORN_OK) {
      EXPECT_EQ(t, nullptr);
      EXPECT_EQ(r, VORN_E_NOMEM);
      return false;
    }
    EXPECT_EQ(vorn_tracker_get_width(t), kW);
    vorn_tracker_destroy(t);
    return true;
  });
  EXPECT_GT(points, 40);  // handle, model, maker, 8 frame buffers, chains, 32 matrices of two blocks
}

}  // namespace
