#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <random>
#include <vector>

#include "support/test_support.h"
#include "vorn_contour.h"

namespace {

struct Border {
  std::vector<vorn_point> pts;
  bool hole;
};

struct Mask {
  int w, h;
  std::vector<uint8_t> px;
  Mask(int w_, int h_) : w(w_), h(h_), px((size_t)w_ * h_, 0) {}
  void set(int x, int y, uint8_t v = 255) { px[(size_t)y * w + x] = v; }
  void fill(int x0, int y0, int x1, int y1, uint8_t v = 255) {  // inclusive
    for (int y = y0; y <= y1; ++y)
      for (int x = x0; x <= x1; ++x) set(x, y, v);
  }
  bool fg(int x, int y) const {
    return x > 0 && y > 0 && x < w - 1 && y < h - 1 && (px[(size_t)y * w + x] & 1);
  }
  vorn_mono_image image() { return vorn_mono_image{(uint32_t)w, (uint32_t)h, px.data()}; }
};

std::vector<Border> trace_all(vorn_contour *c, Mask &m, size_t *units = nullptr) {
  vorn_mono_image img = m.image();
  EXPECT_EQ(vorn_contour_start(c, &img), VORN_OK);
  std::vector<Border> out;
  vorn_contour_info info;
  size_t used = 0;
  while (vorn_contour_next(c, &info) == VORN_OK) {
    EXPECT_GT(info.count, 0u);
    out.push_back(Border{std::vector<vorn_point>(info.points, info.points + info.count), info.is_hole != 0});
    used += info.count + 1;
    if (out.size() > (size_t)m.w * m.h) break;
  }
  EXPECT_EQ(info.points, nullptr);
  EXPECT_EQ(info.count, 0u);
  EXPECT_EQ(vorn_contour_next(c, &info), VORN_E_NO_RESULT);  // stays exhausted
  if (units) *units = used;
  return out;
}

std::vector<Border> trace_mask(Mask &m, size_t *units = nullptr) {
  vorn_size size{m.w, m.h};
  vorn_contour *c = nullptr;
  EXPECT_EQ(vorn_contour_create(&size, &c), VORN_OK);
  auto out = trace_all(c, m, units);
  vorn_contour_destroy(c);
  return out;
}

void expect_border(const Border &b, bool hole, std::initializer_list<vorn_point> want) {
  EXPECT_EQ(b.hole, hole);
  ASSERT_EQ(b.pts.size(), want.size());
  size_t i = 0;
  for (const vorn_point &p : want) {
    EXPECT_EQ(b.pts[i].x, p.x) << "point " << i;
    EXPECT_EQ(b.pts[i].y, p.y) << "point " << i;
    ++i;
  }
}

TEST(Contour, SmallMasksTracedPointByPoint) {
  Mask dot(6, 5);
  dot.set(3, 2);
  auto b = trace_mask(dot);
  ASSERT_EQ(b.size(), 1u);
  expect_border(b[0], false, {{3, 2}, {3, 2}});

  // A filled rectangle: its corners, from the top-left going down first, and the closing copy.
  Mask rect(8, 6);
  rect.fill(2, 1, 5, 3);
  b = trace_mask(rect);
  ASSERT_EQ(b.size(), 1u);
  expect_border(b[0], false, {{2, 1}, {2, 3}, {5, 3}, {5, 1}, {2, 1}});

  // A ring: the outer border, then the hole's border (a diamond round the missing pixel).
  Mask ring(9, 8);
  ring.fill(2, 1, 6, 5);
  ring.set(4, 3, 0);
  b = trace_mask(ring);
  ASSERT_EQ(b.size(), 2u);
  expect_border(b[0], false, {{2, 1}, {2, 5}, {6, 5}, {6, 1}, {2, 1}});
  expect_border(b[1], true, {{3, 3}, {4, 2}, {5, 3}, {4, 4}, {3, 3}});

  // A diagonal stroke goes down one side and back up the other.
  Mask diag(7, 7);
  for (int i = 1; i <= 4; ++i) diag.set(i, i);
  b = trace_mask(diag);
  ASSERT_EQ(b.size(), 1u);
  expect_border(b[0], false, {{1, 1}, {4, 4}, {1, 1}});

  // Two regions come in the raster order of their first pixels.
  Mask two(10, 8);
  two.fill(6, 1, 7, 2);
  two.fill(2, 4, 3, 6);
  b = trace_mask(two);
  ASSERT_EQ(b.size(), 2u);
  EXPECT_EQ(b[0].pts[0].x, 6);
  EXPECT_EQ(b[1].pts[0].x, 2);
}

TEST(Contour, OnlyOddValuesInsideTheRingAreForeground) {
  Mask m(8, 6);
  m.fill(2, 1, 4, 3, 254);  // even: background
  m.fill(0, 0, 7, 0);       // the ring is ignored
  m.fill(0, 0, 0, 5);
  m.fill(7, 0, 7, 5);
  m.fill(0, 5, 7, 5);
  EXPECT_TRUE(trace_mask(m).empty());
  m.set(5, 2, 1);
  auto b = trace_mask(m);
  ASSERT_EQ(b.size(), 1u);
  EXPECT_EQ(b[0].pts.size(), 2u);
  for (int h = 0; h <= 2; ++h) {  // too low to have an interior
    Mask low(8, h);
    if (h) low.fill(0, 0, 7, h - 1);
    EXPECT_TRUE(trace_mask(low).empty());
  }
}

// Independent counts: 8-connected foreground regions and 4-connected background regions that do not reach the
// ring (holes).
int count_components(const Mask &m, bool foreground) {
  std::vector<char> seen((size_t)m.w * m.h, 0);
  int n = 0;
  auto is = [&](int x, int y) { return m.fg(x, y) == foreground; };
  for (int y = 0; y < m.h; ++y) {
    for (int x = 0; x < m.w; ++x) {
      if (seen[(size_t)y * m.w + x] || !is(x, y)) continue;
      bool touches_ring = false;
      std::deque<std::pair<int, int>> q{{x, y}};
      seen[(size_t)y * m.w + x] = 1;
      while (!q.empty()) {
        auto [cx, cy] = q.front();
        q.pop_front();
        if (cx == 0 || cy == 0 || cx == m.w - 1 || cy == m.h - 1) touches_ring = true;
        for (int dy = -1; dy <= 1; ++dy) {
          for (int dx = -1; dx <= 1; ++dx) {
            if (!foreground && dx && dy) continue;
            int nx = cx + dx, ny = cy + dy;
            if (nx < 0 || ny < 0 || nx >= m.w || ny >= m.h || seen[(size_t)ny * m.w + nx] || !is(nx, ny)) continue;
            seen[(size_t)ny * m.w + nx] = 1;
            q.push_back({nx, ny});
          }
        }
      }
      if (foreground || !touches_ring) ++n;
    }
  }
  return n;
}

TEST(Contour, BordersMatchRegionsAndHolesOnRandomBlobMasks) {
  std::mt19937 rng(21);
  vorn_size size{61, 47};
  vorn_contour *c = nullptr;
  ASSERT_EQ(vorn_contour_create(&size, &c), VORN_OK);
  for (int it = 0; it < 200; ++it) {
    Mask m(61, 47);
    int blobs = 1 + (int)(rng() % 12);
    for (int k = 0; k < blobs; ++k) {
      int x = (int)(rng() % 61), y = (int)(rng() % 47), rw = 1 + (int)(rng() % 15), rh = 1 + (int)(rng() % 12);
      m.fill(x, y, std::min(60, x + rw), std::min(46, y + rh));
    }
    for (int k = 0; k < 40; ++k) m.set((int)(rng() % 61), (int)(rng() % 47), (rng() & 1) ? 0 : 255);
    auto borders = trace_all(c, m);
    int outer = 0, holes = 0;
    for (const Border &b : borders) {
      (b.hole ? holes : outer)++;
      ASSERT_GE(b.pts.size(), 2u);
      EXPECT_EQ(b.pts.front().x, b.pts.back().x);
      EXPECT_EQ(b.pts.front().y, b.pts.back().y);
      // Consecutive corners are joined by straight 8-direction runs of foreground pixels.
      for (size_t i = 0; i + 1 < b.pts.size(); ++i) {
        int dx = b.pts[i + 1].x - b.pts[i].x, dy = b.pts[i + 1].y - b.pts[i].y;
        ASSERT_TRUE(dx == 0 || dy == 0 || abs(dx) == abs(dy)) << it;
        int steps = std::max(abs(dx), abs(dy));
        for (int s = 0; s <= steps; ++s) {
          int px = b.pts[i].x + (steps ? dx / steps * s : 0), py = b.pts[i].y + (steps ? dy / steps * s : 0);
          ASSERT_TRUE(m.fg(px, py)) << it << ": " << px << "," << py;
        }
      }
      if (!b.hole) {  // an outer border starts at its region's first pixel: nothing foreground on its left
        EXPECT_FALSE(m.fg(b.pts[0].x - 1, b.pts[0].y));
      }
    }
    EXPECT_EQ(outer, count_components(m, true)) << it;
    EXPECT_EQ(holes, count_components(m, false)) << it;
  }
  vorn_contour_destroy(c);
}

TEST(Contour, StoreIsBoundedOnAdversarialMasks) {
  // A checkerboard is one 8-connected region with a one-pixel hole at every background pixel: its borders need
  // about three times the store. They are handed out until the store is full, then the scan ends.
  for (int n : {8, 9, 33, 64}) {
    Mask board(n, n);
    for (int y = 0; y < n; ++y)
      for (int x = 0; x < n; ++x)
        if ((x + y) % 2 == 0) board.set(x, y);
    size_t units = 0;
    auto borders = trace_mask(board, &units);
    EXPECT_LE(units, (size_t)n * n);
    if (n >= 33) {
      EXPECT_GE(units + 2, (size_t)n * n);  // filled to the brim, not stopped early
    }
    ASSERT_FALSE(borders.empty());
    EXPECT_FALSE(borders[0].hole);
    for (const Border &b : borders) {
      EXPECT_EQ(b.pts.front().x, b.pts.back().x);
      for (const auto &p : b.pts) EXPECT_TRUE(board.fg(p.x, p.y));
    }
  }
  // Thin diagonal lines: every pixel is a corner on both sides of the stroke.
  Mask zig(40, 40);
  for (int y = 1; y < 39; ++y)
    for (int x = 1; x < 39; ++x)
      if ((x + 2 * y) % 4 == 0 || (x - y + 40) % 5 == 0) zig.set(x, y);
  size_t units = 0;
  auto borders = trace_mask(zig, &units);
  EXPECT_LE(units, 1600u);
  EXPECT_FALSE(borders.empty());
  // Random noise, the densest mask for holes, down to masks with no interior at all.
  std::mt19937 rng(4);
  for (int w = 0; w <= 4; ++w) {
    for (int h = 0; h <= 5; ++h) {
      Mask tiny(w, h);
      for (auto &p : tiny.px) p = 255;
      auto b = trace_mask(tiny, &units);
      EXPECT_EQ(b.size(), (w >= 3 && h >= 3) ? 1u : 0u) << w << "x" << h;
    }
  }
  for (int it = 0; it < 20; ++it) {
    Mask noise(23 + it, 17 + it);
    for (auto &p : noise.px) p = (rng() & 1) ? 255 : 0;
    trace_mask(noise, &units);
    EXPECT_LE(units, noise.px.size());
  }
}

TEST(Contour, StartRewindsAndFailuresClean) {
  Mask rect(8, 6);
  rect.fill(2, 1, 5, 3);
  vorn_size size{8, 6};
  vorn_contour *c = nullptr;
  ASSERT_EQ(vorn_contour_create(&size, &c), VORN_OK);
  auto first = trace_all(c, rect);
  auto again = trace_all(c, rect);  // the marks of the first run are gone
  ASSERT_EQ(again.size(), first.size());
  EXPECT_EQ(again[0].pts.size(), first[0].pts.size());
  Mask low(8, 7);  // one row off: the interface sweep changes both dimensions
  vorn_mono_image img = low.image();
  EXPECT_EQ(vorn_contour_start(c, &img), VORN_E_PARAM);
  // A failed next clears the count it would have filled.
  vorn_contour_info info{nullptr, 5, 1};
  EXPECT_EQ(vorn_contour_next(nullptr, &info), VORN_E_NULL);
  EXPECT_EQ(info.count, 0u);
  EXPECT_EQ(vorn_contour_destroy(c), VORN_OK);
  vorn_contour *never = nullptr;
  vorn_size bad{-1, 4};
  EXPECT_EQ(vorn_contour_create(&bad, &never), VORN_E_PARAM);
  vorn_test::sweep_allocation_failures([] {
    vorn_size s{32, 24};
    vorn_contour *t = nullptr;
    vorn_result r = vorn_contour_create(&s, &t);
    if (r != VORN_OK) {
      EXPECT_EQ(r, VORN_E_NOMEM);
      EXPECT_EQ(t, nullptr);
      return false;
    }
    vorn_contour_destroy(t);
    return true;
  });
}

}  // namespace
