// Allocation failure at every allocation point of every create, and of the per-frame call of every model and
// analytic: a failed create answers a failure and leaves nothing behind; a frame whose allocation fails answers
// VORN_E_NOMEM, and the object takes the next frame with a normal answer and is destroyed without a leak.
#include <string.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "core/fault_inject.h"
#include "support/test_support.h"
#include "vorn.h"

namespace {

constexpr uint32_t kW = 64, kH = 48;

// Frame i of a street-like scene as raw 24-bit bitmap rows: a grey ramp with a bright textured block moving two
// pixels to the right per frame and a darker one moving down.
std::vector<uint8_t> scene_frame(int i) {
  vorn_image *img = vorn_image_alloc(kW, kH, VORN_FORMAT_RGB);
  for (uint32_t y = 0; y < kH; ++y) {
    for (uint32_t x = 0; x < kW; ++x) {
      uint8_t v = (uint8_t)(40 + x + y / 2);
      const int bx = 4 + 2 * (i % 24), by = 18, cx = 40, cy = 2 + (i % 30);
      if ((int)x >= bx && (int)x < bx + 12 && (int)y >= by && (int)y < by + 12) v = (uint8_t)(200 + ((x ^ y) & 3) * 12);
      if ((int)x >= cx && (int)x < cx + 10 && (int)y >= cy && (int)y < cy + 10) v = (uint8_t)(10 + ((x * y) & 7) * 3);
      img->plane[0][y * kW + x] = v;
      img->plane[1][y * kW + x] = (uint8_t)(v ^ ((x + y) & 1));
      img->plane[2][y * kW + x] = (uint8_t)(255 - v / 2);
    }
  }
  std::vector<uint8_t> rows((size_t)((kW * 3 + 3) & ~3u) * kH);
  vorn_image_rgb_to_bmp24(img, rows.data());
  vorn_image_free(img);
  return rows;
}

const std::vector<uint8_t> &frame_bytes(int i) {
  static std::vector<std::vector<uint8_t>> frames;
  while ((int)frames.size() <= i) frames.push_back(scene_frame((int)frames.size()));
  return frames[i];
}
uint8_t *frame(int i) { return const_cast<uint8_t *>(frame_bytes(i).data()); }

// One stream of frames through an object.
struct Stream {
  std::function<void *()> make;                      // a fresh object, ready for frame 0
  std::function<vorn_result(void *, int)> step;      // takes frame i
  std::function<void(void *)> destroy;
};

bool normal(vorn_result r) {
  return r == VORN_OK || r == VORN_E_LEARNING || r == VORN_E_NO_RESULT || r == VORN_E_SCENE_CHANGE;
}

// Frames 0 .. at - 1, then frame `at` with its k-th allocation failing, then frame at + 1, for k = 1, 2, ...
// until frame `at` runs without the failure firing. Returns the number of allocation points of frame `at`.
int sweep_frame(const Stream &s, int at, const std::string &what) {
  vorn_init();
  frame_bytes(at + 1);  // the frames are made (with the library's own images) before any failure is armed
  const int64_t live = vorn::live_blocks();
  for (uint32_t k = 1; k < 1000; ++k) {
    void *o = s.make();
    EXPECT_NE(o, nullptr) << what;
    if (!o) return -1;
    for (int i = 0; i < at; ++i) s.step(o, i);
    vorn::fault_inject_fail_at(k);
    const vorn_result r = s.step(o, at);
    const bool fired = vorn::fault_inject_fired();
    vorn::fault_inject_fail_at(0);
    if (!fired) {
      EXPECT_TRUE(normal(r)) << what << ": frame " << at << " answered " << std::hex << r;
      s.destroy(o);
      EXPECT_EQ(vorn::live_blocks(), live) << what;
      return (int)k - 1;
    }
    EXPECT_EQ(r, VORN_E_NOMEM) << what << ": allocation " << k << " of frame " << at << " failed";
    const vorn_result next = s.step(o, at + 1);
    EXPECT_TRUE(normal(next)) << what << ": after allocation " << k << " failed the next frame answered " << std::hex
                              << next;
    s.destroy(o);
    EXPECT_EQ(vorn::live_blocks(), live) << what << ": blocks left behind after allocation " << k << " failed";
  }
  ADD_FAILURE() << what << ": the sweep did not end";
  return -1;
}

// --- creates ---

vorn_bk_model_init_params model_params(uint32_t format) { return {3, kW, kH, format}; }

TEST(AllocSweep, EveryModelCreate) {
  vorn_init();
  int points = 0;
  for (uint32_t type = 0; type < 9; ++type) {
    vorn_bk_model_vtable ops;
    vorn_bk_model_init(type, &ops);
    vorn_bk_model_init_params p = model_params(VORN_FORMAT_YUV);
    points += vorn_test::sweep_allocation_failures([&] {
      void *h = nullptr;
      const vorn_result r = ops.create(&p, &h);
      EXPECT_EQ(r == VORN_OK, h != nullptr) << type;
      if (h) ops.destroy(static_cast<vorn_bk_model *>(h));
      return r == VORN_OK;
    });
  }
  vorn_bk_model_init_params p = model_params(VORN_FORMAT_RGB);
  for (auto create : {bk_model_create, bk_model_create_bay}) {
    points += vorn_test::sweep_allocation_failures([&] {
      void *h = nullptr;
      const vorn_result r = create(&p, &h);
      if (h) (create == bk_model_create ? bk_model_destroy : bk_model_destroy_bay)(static_cast<vorn_bk_model *>(h));
      return r == VORN_OK;
    });
  }
  EXPECT_GT(points, 9 * 3);
}

TEST(AllocSweep, EveryAllocator) {
  vorn_init();
  const std::string path = vorn_test::temp_path("sweep.bmp");
  vorn_bmp *saved = vorn_bmp_alloc(kW, kH, 24);
  ASSERT_EQ(vorn_bmp_save(saved, path.c_str()), VORN_OK);
  vorn_bmp_free(saved);
  vorn_image *img = vorn_image_alloc(kW, kH, VORN_FORMAT_YUV);
  const std::vector<std::function<bool()>> allocators = {
      [] { vorn_bmp *b = vorn_bmp_alloc(kW, kH, 24); vorn_bmp_free(b); return b != nullptr; },
      [] { vorn_bmp *b = vorn_bmp_alloc(kW, kH, 32); vorn_bmp_free(b); return b != nullptr; },
      [&] { vorn_bmp *b = vorn_bmp_load(path.c_str()); vorn_bmp_free(b); return b != nullptr; },
      [] { vorn_image *i = vorn_image_alloc(kW, kH, 0); vorn_image_free(i); return i != nullptr; },
      [] { vorn_mono_image *m = vorn_mono_image_alloc(kW, kH); vorn_mono_image_free(m); return m != nullptr; },
      [] { vorn_matrix *m = vorn_matrix_alloc(4, 3); vorn_matrix_free(m); return m != nullptr; },
      [] { vorn_histogram *h = vorn_histogram_alloc(32); vorn_histogram_free(h); return h != nullptr; },
      [] { vorn_backproject *b = vorn_backproject_alloc(kW, kH); vorn_backproject_free(b); return b != nullptr; },
      [&] { vorn_image *r = vorn_image_rect(img, vorn_rect{2, 3, 20, 30}); vorn_image_free(r); return r != nullptr; },
  };
  for (size_t i = 0; i < allocators.size(); ++i) {
    EXPECT_GT(vorn_test::sweep_allocation_failures(allocators[i]), 0) << "allocator " << i;
  }
  vorn_image_free(img);
  remove(path.c_str());
}

TEST(AllocSweep, EveryAnalyticCreate) {
  vorn_init();
  static const vorn_point kArea0[] = {{2, 2}, {30, 2}, {30, 40}, {2, 40}, {2, 2}};
  static const vorn_point kArea1[] = {{34, 2}, {60, 2}, {60, 40}, {34, 40}, {34, 2}};
  const std::vector<uint8_t> &first = frame_bytes(0);
  int points = 0;
  for (uint32_t type : {0u, 2u, 4u, 7u}) {
    const vorn_guard_params gp = {kW, kH, VORN_FORMAT_YUV, type};
    points += vorn_test::sweep_allocation_failures([&] {
      vorn_guard *g = nullptr;
      const vorn_result r = vorn_guard_create(&gp, &g);
      vorn_result s = r == VORN_OK ? vorn_guard_set_lines(g, vorn_line{32, 4, 32, 44}, vorn_line{0, 24, 60, 24}, 6)
                                   : r;
      vorn_guard_destroy(g);
      return s == VORN_OK;
    });
    const vorn_tracker_params tp = {kW, kH, VORN_FORMAT_YUV, type};
    points += vorn_test::sweep_allocation_failures([&] {
      vorn_tracker *t = nullptr;
      const vorn_result r = vorn_tracker_create(&tp, &t);
      vorn_tracker_destroy(t);
      return r == VORN_OK;
    });
  }
  const vorn_counter_params cp = {kArea0, kArea1, 5, 5, kW, kH, 50, 0, 0, 0};
  points += vorn_test::sweep_allocation_failures([&] {
    vorn_counter *c = vorn_counter_create(&cp);
    vorn_counter_destroy(c);
    return c != nullptr;
  });
  const vorn_obld_params op = {kW, kH, VORN_FRAME_BMP24, first.data(), kArea0, 5, 30, nullptr, 0, 4};
  points += vorn_test::sweep_allocation_failures([&] {
    vorn_obld *d = nullptr;
    const vorn_result r = vorn_obld_create(&op, &d);
    vorn_obld_destroy(d);
    return r == VORN_OK;
  });
  EXPECT_GT(points, 20);
}

// --- per frame ---

// A model of `type` (format RGB, so that shadow removal and the edge scene cut need their temporary images) with
// every per-frame option on: edge scene cut, full shadow removal, erosion, dilation, the window filter.
Stream model_stream(uint32_t type) {
  Stream s;
  auto ops = std::make_shared<vorn_bk_model_vtable>();
  vorn_bk_model_init(type, ops.get());
  s.make = [ops]() -> void * {
    vorn_bk_model_init_params p = model_params(VORN_FORMAT_RGB);
    void *h = nullptr;
    if (ops->create(&p, &h) != VORN_OK) return nullptr;
    vorn_bk_model *m = static_cast<vorn_bk_model *>(h);
    ops->set_param(m, 0x101, VORN_BK_PARAM_SCENE_CUT);
    ops->set_param(m, 0x001, VORN_BK_PARAM_SHADOW);
    ops->set_param(m, 0x001, VORN_BK_PARAM_ERODE);
    ops->set_param(m, 0x001, VORN_BK_PARAM_DILATE);
    ops->set_param(m, 0x101, VORN_BK_PARAM_WINDOW);
    ops->set_param(m, 2, VORN_BK_PARAM_LEARN_FRAMES);
    ops->set_bk(m, frame(0), VORN_FRAME_BMP24);
    return m;
  };
  s.step = [ops](void *m, int i) { return ops->process(static_cast<vorn_bk_model *>(m), frame(i), VORN_FRAME_BMP24); };
  s.destroy = [ops](void *m) { ops->destroy(static_cast<vorn_bk_model *>(m)); };
  return s;
}

TEST(AllocSweep, EveryModelFrame) {
  int points = 0;
  for (uint32_t type = 0; type < 9; ++type) {
    // The first frame makes the edge maps; a later one only the shadow detector's temporaries.
    for (int at : {0, 4}) points += sweep_frame(model_stream(type), at, "model type " + std::to_string(type));
  }
  EXPECT_GT(points, 9);
}

TEST(AllocSweep, GuardFrames) {
  Stream s;
  s.make = []() -> void * {
    const vorn_guard_params gp = {kW, kH, VORN_FORMAT_YUV, 2};
    vorn_guard *g = nullptr;
    if (vorn_guard_create(&gp, &g) != VORN_OK) return nullptr;
    vorn_guard_set_lines(g, vorn_line{32, 4, 32, 44}, vorn_line{0, 24, 60, 24}, 10);
    return g;
  };
  s.step = [](void *g, int i) { return vorn_guard_put_image(static_cast<vorn_guard *>(g), frame(i), VORN_FRAME_BMP24); };
  s.destroy = [](void *g) { vorn_guard_destroy(static_cast<vorn_guard *>(g)); };
  // Steady frames allocate nothing (the corner search and the pyramids keep their buffers); the points the first
  // frames have must be answered and survived.
  for (int at = 0; at < 12; ++at) sweep_frame(s, at, "guard");
}

TEST(AllocSweep, TrackerFrames) {
  Stream s;
  s.make = []() -> void * {
    const vorn_tracker_params tp = {kW, kH, VORN_FORMAT_YUV, 2};
    vorn_tracker *t = nullptr;
    return vorn_tracker_create(&tp, &t) == VORN_OK ? t : nullptr;
  };
  s.step = [](void *t, int i) {
    return vorn_tracker_process(static_cast<vorn_tracker *>(t), frame(i), VORN_FRAME_BMP24);
  };
  s.destroy = [](void *t) { vorn_tracker_destroy(static_cast<vorn_tracker *>(t)); };
  // The tracker makes its buffers at create, so its frames may have no allocation point left; whatever points the
  // first frames have (the first one included) must be answered and survived.
  for (int at = 0; at < 16; ++at) sweep_frame(s, at, "tracker");
}

TEST(AllocSweep, CounterAndDetectorFrames) {
  static const vorn_point kArea0[] = {{2, 2}, {30, 2}, {30, 40}, {2, 40}, {2, 2}};
  static const vorn_point kArea1[] = {{34, 2}, {60, 2}, {60, 40}, {34, 40}, {34, 2}};
  Stream counter;
  counter.make = []() -> void * {
    const vorn_counter_params cp = {kArea0, kArea1, 5, 5, kW, kH, 50, 0, 0, 0};
    vorn_counter *c = vorn_counter_create(&cp);
    if (c) vorn_counter_start(c);
    return c;
  };
  // The counter takes masks: the scene's red plane thresholded stands for one.
  counter.step = [](void *c, int i) {
    std::vector<uint8_t> mask((size_t)kW * kH);
    const uint8_t *rows = frame(i);
    const uint32_t stride = (kW * 3 + 3) & ~3u;
    for (uint32_t y = 0; y < kH; ++y)
      for (uint32_t x = 0; x < kW; ++x) mask[y * kW + x] = rows[(kH - 1 - y) * stride + 3 * x + 2] > 150 ? 255 : 0;
    return vorn_counter_set_mask(static_cast<vorn_counter *>(c), mask.data());
  };
  counter.destroy = [](void *c) { vorn_counter_destroy(static_cast<vorn_counter *>(c)); };
  for (int at = 1; at < 4; ++at) sweep_frame(counter, at, "counter");

  // The detector relearns its background from the frame after a clear: that frame makes the refresh model.
  Stream obld;
  obld.make = []() -> void * {
    const vorn_obld_params op = {kW, kH, VORN_FRAME_BMP24, frame(0), kArea0, 5, 30, nullptr, 0, 4};
    vorn_obld *d = nullptr;
    if (vorn_obld_create(&op, &d) != VORN_OK) return nullptr;
    return d;
  };
  obld.step = [](void *d, int i) {
    vorn_obld *o = static_cast<vorn_obld *>(d);
    if (i == 3) vorn_obld_clear_lost_objects(o);
    return vorn_obld_put_image(o, frame(i), VORN_FRAME_BMP24);
  };
  obld.destroy = [](void *d) { vorn_obld_destroy(static_cast<vorn_obld *>(d)); };
  int points = 0;
  for (int at = 1; at < 10; ++at) points += sweep_frame(obld, at, "left and lost objects");
  EXPECT_GT(points, 0);
}

}  // namespace
