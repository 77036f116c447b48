// After its first frame no analytic or model allocates: every per-frame call over a 200-frame moving scene is
// counted through the library's allocation counter (every block the library takes goes through it).
#include <string.h>

#include <functional>
#include <vector>

#include <gtest/gtest.h>

#include "core/fault_inject.h"
#include "vorn.h"

namespace {

constexpr uint32_t kW = 192, kH = 144, kStride = kW * 3;
constexpr int kFrames = 200;

// Bottom-up 24-bit rows of frame f: a checkered background with sensor noise, four textured walkers crossing the
// picture (two downwards, two sideways) and, from frame 40, a parcel that stays where it was put down.
std::vector<uint8_t> scene(int f) {
  std::vector<uint8_t> img(kStride * kH);
  uint32_t s = 2166136261u ^ (uint32_t)f * 16777619u;
  const int walkers[4][4] = {{20 + (f * 3) % 150, -30 + (f * 2) % 190, 18, 30},
                             {120 - (f * 2) % 130, (f * 3) % 180 - 30, 16, 28},
                             {(f * 4) % 220 - 30, 30, 26, 18},
                             {170 - (f * 3) % 210, 100, 22, 16}};
  for (uint32_t y = 0; y < kH; ++y) {
    uint8_t *row = &img[(kH - 1 - y) * kStride];
    for (uint32_t x = 0; x < kW; ++x) {
      s = s * 1664525u + 1013904223u;
      int v = 70 + (int)((x / 8 + y / 8) & 1) * 24 + (int)(s >> 29) - 4, r = v, g = v, b = v;
      for (int k = 0; k < 4; ++k) {
        const int *w = walkers[k];
        if ((int)x >= w[0] && (int)x < w[0] + w[2] && (int)y >= w[1] && (int)y < w[1] + w[3]) {
          const bool light = (((int)x - w[0]) / 4 + ((int)y - w[1]) / 4) & 1;
          r = light ? 230 : 40 + 40 * k;
          g = light ? 200 : 160 - 30 * k;
          b = light ? 60 : 90;
        }
      }
      if (f >= 40 && x >= 60 && x < 80 && y >= 60 && y < 76) r = g = b = 20 + (int)((x + y) & 3) * 50;
      row[3 * x] = (uint8_t)b;
      row[3 * x + 1] = (uint8_t)g;
      row[3 * x + 2] = (uint8_t)r;
    }
  }
  return img;
}

const std::vector<std::vector<uint8_t>> &frames() {
  static std::vector<std::vector<uint8_t>> all;
  if (all.empty())
    for (int f = 0; f < kFrames; ++f) all.push_back(scene(f));
  return all;
}

// Calls step(f, frame) for every frame; returns the blocks taken by frames 1 .. kFrames - 1 (the first frame may
// lay out workspaces sized by what it sees).
uint32_t steady_allocations(const std::function<void(int, uint8_t *)> &step) {
  std::vector<std::vector<uint8_t>> copy = frames();
  step(0, copy[0].data());
  vorn::fault_inject_fail_at(0);
  for (int f = 1; f < kFrames; ++f) step(f, copy[(size_t)f].data());
  return vorn::fault_inject_count();
}

class SteadyAllocations : public ::testing::Test {
 protected:
  void SetUp() override {
    vorn_init();
    if (!vorn::fault_inject_available()) GTEST_SKIP() << "this build counts no allocations (fault injection off)";
  }
};

// Every model type with every per-frame option on: scene-cut test, full shadow detector, erosion, dilation and
// the window filter, and a region mask; the image format alternates between types.
TEST_F(SteadyAllocations, EveryBackgroundModelType) {
  for (uint32_t type = 0; type <= 8; ++type) {
    const uint32_t format = type % 2 ? VORN_FORMAT_YUV : VORN_FORMAT_RGB;
    vorn_bk_model_vtable t;
    vorn_bk_model_init(type, &t);
    vorn_bk_model_init_params p = {4, kW, kH, format};
    void *h = nullptr;
    ASSERT_EQ(t.create(&p, &h), VORN_OK) << type;
    vorn_bk_model *m = static_cast<vorn_bk_model *>(h);
    t.set_param(m, 1, VORN_BK_PARAM_SCENE_CUT);
    t.set_param(m, 0x001, VORN_BK_PARAM_SHADOW);
    t.set_param(m, 0x101, VORN_BK_PARAM_ERODE);
    t.set_param(m, 0x201, VORN_BK_PARAM_DILATE);
    t.set_param(m, 0x101, VORN_BK_PARAM_WINDOW);
    t.set_param(m, 20, VORN_BK_PARAM_LEARN_FRAMES);
    std::vector<uint8_t> mask(kW * kH, 255);
    memset(mask.data(), 0, kW * 8);
    vorn_mono_image mi = {kW, kH, mask.data()};
    t.set_bk(m, const_cast<uint8_t *>(frames()[0].data()), VORN_FRAME_BMP24);
    const uint32_t n = steady_allocations([&](int f, uint8_t *frame) {
      if (f == 0) vorn_bk_model_set_mask(m, &mi);
      t.process(m, frame, VORN_FRAME_BMP24);
      vorn_mono_image *fg;
      t.get_fg(m, &fg);
    });
    EXPECT_EQ(n, 0u) << "model type " << type << ", format " << format;
    t.destroy(m);
  }
}

TEST_F(SteadyAllocations, Tracker) {
  for (uint32_t kind : {2u, 3u}) {
    vorn_tracker *t = nullptr;
    vorn_tracker_params p = {kW, kH, VORN_FORMAT_YUV, kind};
    ASSERT_EQ(vorn_tracker_create(&p, &t), VORN_OK);
    uint32_t most = 0;
    const uint32_t n = steady_allocations([&](int, uint8_t *frame) {
      vorn_tracker_process(t, frame, VORN_FRAME_BMP24);
      vorn_tracker_obj *objs;
      uint32_t count;
      vorn_tracker_get_objs(t, &objs, &count);
      most = count > most ? count : most;
    });
    EXPECT_GT(most, 0u) << "the scene must give the tracker tracks to keep";
    EXPECT_EQ(n, 0u) << "model kind " << kind;
    vorn_tracker_destroy(t);
  }
}

TEST_F(SteadyAllocations, Guard) {
  vorn_guard *g = nullptr;
  vorn_guard_params p = {kW, kH, VORN_FORMAT_YUV, 2};
  ASSERT_EQ(vorn_guard_create(&p, &g), VORN_OK);
  ASSERT_EQ(vorn_guard_set_lines(g, vorn_line{0, 72, 191, 72}, vorn_line{96, 40, 96, 100}, 24), VORN_OK);
  uint32_t crossings = 0;
  const uint32_t n = steady_allocations([&](int, uint8_t *frame) {
    vorn_guard_put_image(g, frame, VORN_FRAME_BMP24);
    for (uint32_t i = 0; i < 8; ++i) crossings += vorn_guard_is_cross_guard_line(g, i);
  });
  vorn_guard_destroy(g);
  EXPECT_GT(crossings, 0u) << "the walkers must cross the guard line";
  EXPECT_EQ(n, 0u);
}

TEST_F(SteadyAllocations, CounterOnAModelsMask) {
  const vorn_point a0[5] = {{0, 40}, {191, 40}, {191, 60}, {0, 60}, {0, 40}};
  const vorn_point a1[5] = {{0, 84}, {191, 84}, {191, 104}, {0, 104}, {0, 84}};
  vorn_counter_params p = {a0, a1, 5, 5, kW, kH, 10, 0, 1, 0};
  vorn_counter *c = vorn_counter_create(&p);
  ASSERT_NE(c, nullptr);
  ASSERT_EQ(vorn_counter_start(c), VORN_OK);
  vorn_bk_model_vtable t;
  vorn_bk_model_init(2, &t);
  vorn_bk_model_init_params mp = {4, kW, kH, VORN_FORMAT_YUV};
  void *h = nullptr;
  ASSERT_EQ(t.create(&mp, &h), VORN_OK);
  vorn_bk_model *m = static_cast<vorn_bk_model *>(h);
  const uint32_t n = steady_allocations([&](int, uint8_t *frame) {
    t.process(m, frame, VORN_FRAME_BMP24);
    vorn_mono_image *fg;
    t.get_fg(m, &fg);
    vorn_counter_set_mask(c, fg->data);
  });
  EXPECT_GT(vorn_counter_get_count(c, 0) + vorn_counter_get_count(c, 1), 0u) << "the walkers must be counted";
  EXPECT_EQ(n, 0u);
  t.destroy(m);
  vorn_counter_destroy(c);
}

TEST_F(SteadyAllocations, LeftObjectDetector) {
  const vorn_point region[5] = {{4, 4}, {187, 4}, {187, 139}, {4, 139}, {4, 4}};
  vorn_obld *d = nullptr;
  vorn_obld_params p = {kW, kH, VORN_FRAME_BMP24, frames()[0].data(), region, 5, 30, nullptr, 0, 0};
  ASSERT_EQ(vorn_obld_create(&p, &d), VORN_OK);
  vorn_obld_enable_scenecut(d, 1);
  uint32_t lost = 0;
  const uint32_t n = steady_allocations([&](int, uint8_t *frame) {
    vorn_obld_put_image(d, frame, VORN_FRAME_BMP24);
    vorn_rect rects[32];
    uint32_t count = 0;
    if (vorn_obld_get_lost_objects_rect(d, rects, &count) == VORN_OK) lost += count;
    vorn_mono_image *outline;
    vorn_obld_get_lost_objects_contour(d, &outline, &count);
  });
  EXPECT_GT(lost, 0u) << "the parcel must be reported";
  EXPECT_EQ(n, 0u);
  vorn_obld_destroy(d);
}

TEST_F(SteadyAllocations, TrajectoryRecorder) {
  vorn_vbc_params p;
  memset(&p, 0, sizeof p);
  p.width = kW;
  p.height = kH;
  p.frame_type = VORN_FRAME_BMP24;
  p.max_positions = 1 << 16;
  vorn_vbc *v = nullptr;
  ASSERT_EQ(vorn_vbc_create(&p, &v), VORN_OK);
  const uint32_t n = steady_allocations([&](int, uint8_t *frame) { vorn_vbc_process(v, frame, VORN_FRAME_BMP24); });
  uint32_t trajectories = 0, recorded = 0;
  vorn_vbc_get_count(v, &trajectories, &recorded);
  EXPECT_GT(trajectories, 0u) << "the walkers must leave trajectories";
  EXPECT_EQ(n, 0u);
  vorn_vbc_destroy(v);
}

}  // namespace
