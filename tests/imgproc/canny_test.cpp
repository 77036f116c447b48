#include <gtest/gtest.h>

#include <random>

#include "imgproc_test_util.h"

using namespace vorn_test;

namespace {

struct CannyHandle {
  void *h = nullptr;
  CannyHandle(uint32_t w, uint32_t hgt) { EXPECT_EQ(vorn_canny_create(w, hgt, &h), VORN_OK); }
  ~CannyHandle() { vorn_canny_destroy(h); }
};

// Edges by the textbook route, pixel by pixel: Sobel pair, L1 magnitude, a maximum test along the gradient's
// sector, then every maximum above low that is 8-connected through such maxima to one above high. (Which strong
// maxima the detector marks first does not change this set.)
std::vector<uint8_t> reference_canny(const vorn_mono_image *src, int low, int high) {
  const int w = (int)src->width, h = (int)src->height;
  auto p = [&](int x, int y) { return (int)src->data[y * w + x]; };
  std::vector<int> dx(w * h, 0), dy(w * h, 0), mag(w * h, 0);
  for (int y = 1; y < h - 1; ++y)
    for (int x = 1; x < w - 1; ++x) {
      int gx = p(x + 1, y - 1) + 2 * p(x + 1, y) + p(x + 1, y + 1) - p(x - 1, y - 1) - 2 * p(x - 1, y) -
               p(x - 1, y + 1);
      int gy = p(x - 1, y + 1) + 2 * p(x, y + 1) + p(x + 1, y + 1) - p(x - 1, y - 1) - 2 * p(x, y - 1) -
               p(x + 1, y - 1);
      dx[y * w + x] = gx;
      dy[y * w + x] = gy;
      mag[y * w + x] = abs(gx) + abs(gy);
    }
  auto m = [&](int x, int y) { return mag[y * w + x]; };
  std::vector<int> state(w * h, 0);  // 0 none, 1 candidate, 2 seed
  for (int y = 1; y < h - 1; ++y)
    for (int x = 1; x < w - 1; ++x) {
      int v = m(x, y);
      if (v <= low) continue;
      // Sector by the angle of the gradient: within 22.5 degrees of the x axis, of the y axis, or diagonal.
      double ang = atan2((double)abs(dy[y * w + x]), (double)abs(dx[y * w + x])) * 180.0 / M_PI;
      bool is_max;
      if (ang < 22.5) {
        is_max = v > m(x - 1, y) && v >= m(x + 1, y);
      } else if (ang > 67.5) {
        is_max = v > m(x, y - 1) && v >= m(x, y + 1);
      } else {
        int s = (dx[y * w + x] < 0) != (dy[y * w + x] < 0) ? -1 : 1;
        is_max = v > m(x - s, y - 1) && v > m(x + s, y + 1);
      }
      if (is_max) state[y * w + x] = v > high ? 2 : 1;
    }
  std::vector<uint8_t> out(w * h, 0);
  std::vector<int> todo;
  for (int i = 0; i < w * h; ++i)
    if (state[i] == 2) {
      out[i] = 255;
      todo.push_back(i);
    }
  while (!todo.empty()) {
    int i = todo.back();
    todo.pop_back();
    for (int oy = -1; oy <= 1; ++oy)
      for (int ox = -1; ox <= 1; ++ox) {
        int j = i + oy * w + ox;
        if (state[j] == 1 && !out[j]) {
          out[j] = 255;
          todo.push_back(j);
        }
      }
  }
  return out;
}

TEST(Canny, StepEdgeAndThresholds) {
  CannyHandle c(12, 8);
  Mono src = mono(12, 8), dst = mono(12, 8, 9);
  ASSERT_EQ(vorn_canny_process(c.h, dst.get(), src.get()), VORN_OK);  // flat: nothing
  for (uint8_t v : bytes_of(dst.get())) EXPECT_EQ(v, 0);
  // Step of 25 between columns 5 and 6: magnitude 100 on columns 5 and 6; the tie goes to the left one.
  for (int y = 0; y < 8; ++y)
    for (int x = 6; x < 12; ++x) src->data[y * 12 + x] = 25;
  ASSERT_EQ(vorn_canny_process(c.h, dst.get(), src.get()), VORN_OK);
  for (int y = 0; y < 8; ++y)
    for (int x = 0; x < 12; ++x) EXPECT_EQ(dst->data[y * 12 + x], (x == 5 && y >= 1 && y <= 6) ? 255 : 0);
  // A magnitude equal to low is no candidate; a maximum equal to high alone is no edge.
  ASSERT_EQ(vorn_canny_set_threshold(c.h, 100, 100), VORN_OK);
  ASSERT_EQ(vorn_canny_process(c.h, dst.get(), src.get()), VORN_OK);
  for (uint8_t v : bytes_of(dst.get())) EXPECT_EQ(v, 0);
  ASSERT_EQ(vorn_canny_set_threshold(c.h, 99, 100), VORN_OK);
  ASSERT_EQ(vorn_canny_process(c.h, dst.get(), src.get()), VORN_OK);
  for (uint8_t v : bytes_of(dst.get())) EXPECT_EQ(v, 0);
  // Weak maxima join an edge they touch: one row with a strong step (40 -> 160) pulls in the whole column.
  src->data[4 * 12 + 6] = 40;
  for (int x = 7; x < 12; ++x) src->data[3 * 12 + x] = src->data[4 * 12 + x] = src->data[5 * 12 + x] = 40;
  ASSERT_EQ(vorn_canny_set_threshold(c.h, 30, 150), VORN_OK);
  ASSERT_EQ(vorn_canny_process(c.h, dst.get(), src.get()), VORN_OK);
  EXPECT_TRUE(bytes_of(dst.get()) == reference_canny(src.get(), 30, 150));
  // One edge pixel on every interior row, though rows 1, 2 and 6 only hold weak magnitudes (100).
  for (int y = 1; y < 7; ++y) {
    int edges = 0;
    for (int x = 0; x < 12; ++x) edges += dst->data[y * 12 + x] == 255;
    EXPECT_EQ(edges, 1) << y;
  }
}

void fill_scene(vorn_mono_image *m, uint32_t seed) {
  // Blocks and ramps with noise: edges of every direction, ties and weak chains.
  std::mt19937 rng(seed);
  const uint32_t w = m->width, h = m->height;
  for (uint32_t y = 0; y < h; ++y)
    for (uint32_t x = 0; x < w; ++x) m->data[y * w + x] = (uint8_t)((x * 3 + y * 2) / 4 + rng() % 9);
  for (int b = 0; b < 12; ++b) {
    uint32_t x0 = rng() % w, y0 = rng() % h, bw = 1 + rng() % (w / 2 + 1), bh = 1 + rng() % (h / 2 + 1);
    uint8_t v = (uint8_t)(rng() % 256);
    for (uint32_t y = y0; y < y0 + bh && y < h; ++y)
      for (uint32_t x = x0; x < x0 + bw && x < w; ++x)
        m->data[y * w + x] = (uint8_t)((v + (x + y) % 3 * (b % 4) + m->data[y * w + x] / 8));
  }
}

TEST(Canny, MatchesTextbookEdgesOnEveryIsa) {
  for (uint32_t mask : isa_masks()) {
    CpuMaskScope scope(mask);
    for (auto [w, h] : std::vector<std::pair<uint32_t, uint32_t>>{{3, 3}, {5, 40}, {37, 29}, {64, 48}, {768, 576}}) {
      CannyHandle c(w, h);
      Mono src = mono(w, h), dst = mono(w, h);
      for (uint32_t seed = 1; seed <= (w > 100 ? 1u : 3u); ++seed) {
        fill_scene(src.get(), seed * 100 + w);
        for (auto [lo, hi] : std::vector<std::pair<int, int>>{{30, 90}, {10, 40}, {0, 300}}) {
          ASSERT_EQ(vorn_canny_set_threshold(c.h, (uint32_t)lo, (uint32_t)hi), VORN_OK);
          ASSERT_EQ(vorn_canny_process(c.h, dst.get(), src.get()), VORN_OK);
          ASSERT_TRUE(bytes_of(dst.get()) == reference_canny(src.get(), lo, hi))
              << w << "x" << h << " seed " << seed << " " << lo << "/" << hi << " mask " << mask;
        }
      }
    }
  }
}

// A fresh detector thresholds at 30 and 90. Magnitudes are always even (the two Sobel sums share their corner
// pixels, so they have one parity), so the low threshold's neighbours that matter are 29 and 32. Low-contrast
// noise has magnitudes on every one of these boundaries (the reference shows it).
TEST(Canny, DefaultThresholdsAre30And90) {
  const uint32_t w = 128, h = 96;
  Mono src = mono(w, h), dst = mono(w, h);
  std::mt19937 rng(1);
  for (uint32_t i = 0; i < w * h; ++i) src->data[i] = (uint8_t)(rng() % 20);
  const std::vector<uint8_t> want = reference_canny(src.get(), 30, 90);
  for (auto [lo, hi] : std::vector<std::pair<int, int>>{{29, 90}, {32, 90}, {30, 89}, {30, 92}})
    ASSERT_NE(want, reference_canny(src.get(), lo, hi)) << lo << "/" << hi;
  CannyHandle c(w, h);
  ASSERT_EQ(vorn_canny_process(c.h, dst.get(), src.get()), VORN_OK);
  EXPECT_TRUE(bytes_of(dst.get()) == want);
}

TEST(Canny, RectangleWritesOnlyItsEdges) {
  const uint32_t w = 40, h = 30;
  CannyHandle c(w, h);
  Mono src = mono(w, h), dst = mono(w, h, 7), whole = mono(w, h);
  fill_scene(src.get(), 5);
  ASSERT_EQ(vorn_canny_process(c.h, whole.get(), src.get()), VORN_OK);
  const int l = 8, t = 5, r = 30, b = 20;
  ASSERT_EQ(vorn_canny_process_rect(c.h, dst.get(), src.get(), l, t, r, b), VORN_OK);
  int edges = 0;
  for (int y = 0; y < (int)h; ++y)
    for (int x = 0; x < (int)w; ++x) {
      uint8_t v = dst->data[y * w + x];
      bool inside = x >= l && x < r && y >= t && y < b;
      if (!inside) {
        EXPECT_EQ(v, 7);
        continue;
      }
      ASSERT_TRUE(v == 7 || v == 255);
      edges += v == 255;
      // Away from the rectangle's rim an edge pixel is an edge of the whole image too.
      if (v == 255 && x > l + 1 && x < r - 2 && y > t + 1 && y < b - 2) {
        EXPECT_EQ(whole->data[y * w + x], 255);
      }
    }
  EXPECT_GT(edges, 0);
  // A rectangle over the whole image gives the whole image's edges.
  memset(dst->data, 0, w * h);
  ASSERT_EQ(vorn_canny_process_rect(c.h, dst.get(), src.get(), -3, -3, 100, 100), VORN_OK);
  EXPECT_TRUE(bytes_of(dst.get()) == bytes_of(whole.get()));
  // Outside the image: nothing.
  ASSERT_EQ(vorn_canny_process_rect(c.h, dst.get(), src.get(), 200, 200, 300, 300), VORN_OK);
}

TEST(Canny, ChecksFirstColumnAndAllocation) {
  CannyHandle c(10, 6);
  Mono ok = mono(10, 6), bad = mono(6, 10, 4), out = mono(10, 6, 9);
  fill_scene(ok.get(), 3);
  // The same pixel count in the other shape is refused, untouched.
  EXPECT_EQ(vorn_canny_process(c.h, bad.get(), ok.get()), VORN_E_PARAM);
  for (uint8_t v : bytes_of(bad.get())) EXPECT_EQ(v, 4);
  // Only column 0 is written, from the derivatives at x = 0, which lie on the border and stay 0.
  Mono src = mono(10, 6);
  fill_scene(src.get(), 4);
  ASSERT_EQ(vorn_canny_process(c.h, ok.get(), src.get()), VORN_OK);
  for (auto fn : {vorn_canny_get_vertical_edge, vorn_canny_get_horizontal_edge}) {
    memset(out->data, 9, 60);
    ASSERT_EQ(fn(c.h, out.get()), VORN_OK);
    for (int i = 0; i < 60; ++i) EXPECT_EQ(out->data[i], i % 10 == 0 ? 0 : 9);
  }
  void *h = reinterpret_cast<void *>(1);
  vorn_test::sweep_allocation_failures([&] {
    vorn_result r = vorn_canny_create(17, 9, &h);
    if (r != VORN_OK) {
      EXPECT_EQ(r, VORN_E_NOMEM);
      EXPECT_EQ(h, nullptr);
      return false;
    }
    vorn_canny_destroy(h);
    return true;
  });
}

}  // namespace
