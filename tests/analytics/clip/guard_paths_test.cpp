// The guard and its mixture model on real-sized video, run twice side by side: once on the plain path (every
// pixel's mixture kept and updated, whatever the mask) and once on the path that keeps state only under the
// mask. Every output must agree on every frame: results, foreground masks, backgrounds, ring frames, model
// masks, traces, flags and events, for bands of several shapes, the whole frame, a mask that widens and
// narrows, and a model reset. Frames come from the street clip when it is installed, else the built-in scene.
#include <string.h>
#include <sys/stat.h>

#include <functional>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "core/plain.h"
#include "scene.h"
#include "video_reader.h"
#include "vorn.h"

namespace {

constexpr const char *kClip = "/usr/share/doc/opencv-doc/examples/data/vtest.avi";
constexpr int kFrames = 75;

// The frames as bottom-up 24-bit rows.
const std::vector<std::vector<uint8_t>> &frames(int *width, int *height) {
  static std::vector<std::vector<uint8_t>> out;
  static int w = 0, h = 0;
  if (out.empty()) {
    vorn_init();
    struct stat st;
    std::unique_ptr<vt::FrameSource> src;
    if (stat(kClip, &st) == 0) src.reset(new vt::VideoReader(kClip));
    else src.reset(new vt::StreetScene(kFrames));
    vt::Frame f;
    while ((int)out.size() < kFrames && src->next(f)) {
      w = f.width;
      h = f.height;
      const size_t row = (size_t)w * 3, stride = (row + 3) & ~(size_t)3;
      std::vector<uint8_t> b(stride * h);
      for (int y = 0; y < h; ++y) memcpy(&b[(size_t)(h - 1 - y) * stride], f.row(y), row);
      out.push_back(std::move(b));
    }
  }
  *width = w;
  *height = h;
  return out;
}

struct Setup {
  const char *name;
  vorn_line guard, direction;
  int32_t half_width;
  // Called before frame k on the second guard of the pair (the same call is made on the first).
  std::function<void(vorn_guard *, int)> before;
};

void expect_same_bytes(const uint8_t *a, const uint8_t *b, size_t n, const char *what, int k) {
  ASSERT_EQ(memcmp(a, b, n), 0) << what << ", frame " << k;
}

void run_pair(const Setup &s) {
  SCOPED_TRACE(s.name);
  int w, h;
  const auto &fr = frames(&w, &h);
  ASSERT_GT(fr.size(), 40u);
  const size_t np = (size_t)w * h;
  vorn_guard_params gp = {(uint32_t)w, (uint32_t)h, VORN_FORMAT_RGB, 2};
  vorn_guard *g[2] = {nullptr, nullptr};
  for (auto &x : g) {
    ASSERT_EQ(vorn_guard_create(&gp, &x), VORN_OK);
    ASSERT_EQ(vorn_guard_set_lines(x, s.guard, s.direction, s.half_width), VORN_OK);
  }
  vorn_bk_model_vtable t;
  vorn_bk_model_init(2, &t);
  int events = 0, traces = 0, features = 0, fg_pixels = 0;
  for (int k = 0; k < (int)fr.size(); ++k) {
    vorn_result r[2];
    for (int side = 0; side < 2; ++side) {
      vorn::set_plain_paths(side == 0);
      if (s.before) s.before(g[side], k);
      r[side] = vorn_guard_put_image(g[side], const_cast<uint8_t *>(fr[k].data()), VORN_FRAME_BMP24);
    }
    vorn::set_plain_paths(false);
    ASSERT_EQ(r[0], r[1]) << "frame " << k;
    vorn_bk_model *m[2];
    vorn_mono_image *fg[2], *mask[2];
    vorn_image *bk[2], *cur[2];
    for (int side = 0; side < 2; ++side) {
      vorn_guard_get_bk_model(g[side], &m[side]);
      vorn_guard_get_fg(g[side], &fg[side]);
      vorn_bk_model_get_mask(m[side], &mask[side]);
      ASSERT_EQ(t.get_bk(m[side], &bk[side]), t.get_bk(m[0], &bk[0]));
      t.get_image(m[side], 0, &cur[side]);
    }
    expect_same_bytes(fg[0]->data, fg[1]->data, np, "foreground", k);
    for (size_t i = 0; i < np; ++i) fg_pixels += fg[0]->data[i] != 0;
    expect_same_bytes(mask[0]->data, mask[1]->data, np, "model mask", k);
    for (int q = 0; q < 3; ++q) {
      expect_same_bytes(bk[0]->plane[q], bk[1]->plane[q], np, "background", k);
      expect_same_bytes(cur[0]->plane[q], cur[1]->plane[q], np, "ring frame", k);
    }
    uint32_t ev[2];
    for (int side = 0; side < 2; ++side) vorn_guard_get_event(g[side], &ev[side]);
    ASSERT_EQ(ev[0], ev[1]) << "event, frame " << k;
    events += ev[0] != 0;
    for (int32_t i = 0; i < 8; ++i) {
      vorn_line a, b;
      const vorn_result ra = vorn_guard_get_trace(g[0], i, &a);
      ASSERT_EQ(ra, vorn_guard_get_trace(g[1], i, &b));
      features += ra == VORN_OK;
      ASSERT_EQ(memcmp(&a, &b, sizeof a), 0) << "trace " << i << ", frame " << k;
      ASSERT_EQ(vorn_guard_is_cross_guard_line(g[0], i), vorn_guard_is_cross_guard_line(g[1], i));
      ASSERT_EQ(vorn_guard_is_trigger_guard_line(g[0], i), vorn_guard_is_trigger_guard_line(g[1], i));
      traces += a.x0 != a.x1 || a.y0 != a.y1;
    }
  }
  // The run must have exercised the tracking, not only the model.
  EXPECT_GT(traces, 0) << features << " features, " << fg_pixels << " foreground pixels";
  ::testing::Test::RecordProperty(std::string(s.name) + "_events", events);
  for (auto &x : g) vorn_guard_destroy(x);
}

// A mask of the given rows (255) over a w x h frame.
std::vector<uint8_t> rows_mask(int w, int h, int top, int bottom) {
  std::vector<uint8_t> m((size_t)w * h, 0);
  for (int y = top; y < bottom && y < h; ++y) memset(&m[(size_t)y * w], 255, w);
  return m;
}

void set_mask(vorn_guard *g, int w, int h, const std::vector<uint8_t> &bytes) {
  vorn_mono_image img = {(uint32_t)w, (uint32_t)h, const_cast<uint8_t *>(bytes.data())};
  ASSERT_EQ(vorn_guard_set_mask(g, &img), VORN_OK);
}

TEST(GuardPaths, HorizontalBandAgrees) {
  run_pair({"horizontal band", {40, 300, 720, 300}, {400, 250, 400, 350}, 30, nullptr});
}

TEST(GuardPaths, SlantedBandAgrees) {
  run_pair({"slanted band", {100, 500, 650, 120}, {300, 200, 420, 380}, 45, nullptr});
}

TEST(GuardPaths, WholeFrameAgrees) {
  int w, h;
  frames(&w, &h);
  run_pair({"whole frame", {40, 300, 720, 300}, {400, 250, 400, 350}, 30, [w, h](vorn_guard *g, int k) {
              if (k == 0) set_mask(g, w, h, rows_mask(w, h, 0, h));
            }});
}

// The mask widens twice (new pixels take the state of the first frame), narrows, widens again over pixels that
// had live state, is written directly through the model's getter, and the model is reset halfway.
TEST(GuardPaths, ChangingMaskAndResetAgree) {
  int w, h;
  frames(&w, &h);
  run_pair({"changing mask", {40, 300, 720, 300}, {400, 250, 400, 350}, 20, [w, h](vorn_guard *g, int k) {
              if (k == 15) set_mask(g, w, h, rows_mask(w, h, 200, 420));
              if (k == 30) set_mask(g, w, h, rows_mask(w, h, 280, 300));
              if (k == 40) set_mask(g, w, h, rows_mask(w, h, 100, 500));
              if (k == 50) {
                vorn_bk_model *m;
                vorn_mono_image *own;
                vorn_guard_get_bk_model(g, &m);
                vorn_bk_model_get_mask(m, &own);
                for (size_t i = 0; i < (size_t)w * h; i += 7) own->data[i] = (uint8_t)(i % 3 ? 255 : 9);
              }
              if (k == 58) {
                vorn_bk_model_vtable t;
                vorn_bk_model_init(2, &t);
                vorn_bk_model *m;
                vorn_guard_get_bk_model(g, &m);
                t.reset(m);
              }
              if (k == 59) set_mask(g, w, h, rows_mask(w, h, 250, 350));
              if (k == 68) set_mask(g, w, h, rows_mask(w, h, 0, h));
            }});
}

}  // namespace
