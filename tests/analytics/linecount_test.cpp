#include <algorithm>
#include <cstring>
#include <numeric>
#include <vector>

#include <gtest/gtest.h>

#include "analytics/linecount_internal.h"
#include "core/fault_inject.h"
#include "support/test_support.h"
#include "vorn.h"

namespace {

constexpr int kW = 160, kH = 120;

struct Walker {
  int left, top, w = 12, h = 30;
};

// A textured, still pavement with dark walkers painted on it, as bottom-up BGR rows.
std::vector<uint8_t> paint(const std::vector<Walker> &walkers) {
  std::vector<uint8_t> f(kW * kH * 3);
  for (int y = 0; y < kH; ++y)
    for (int x = 0; x < kW; ++x) {
      uint8_t v = (uint8_t)(150 + ((x * 7 + y * 13) % 23));
      for (const Walker &w : walkers)
        if (x >= w.left && x < w.left + w.w && y >= w.top && y < w.top + w.h) v = (uint8_t)(30 + (x + y) % 5);
      uint8_t *p = &f[((kH - 1 - y) * kW + x) * 3];
      p[0] = v;
      p[1] = (uint8_t)(v - 10);
      p[2] = (uint8_t)(v - 20);
    }
  return f;
}

struct Seen {
  std::vector<vorn_linecount_event> events;
  std::vector<std::vector<int32_t>> ids;  // confirmed and lost track ids per frame
};

struct Counter {
  vorn_linecount *lc = nullptr;
  explicit Counter(uint32_t anchor = VORN_LINECOUNT_ANCHOR_BOTTOM) {
    vorn_init();
    vorn_linecount_params p = {};
    p.width = kW;
    p.height = kH;
    p.bk_type = 2;
    p.format = VORN_FORMAT_RGB;
    p.min_area = 100;
    p.learn_frames = 5;
    p.anchor = anchor;
    EXPECT_EQ(vorn_linecount_create(&p, &lc), VORN_OK);
  }
  ~Counter() { vorn_linecount_destroy(lc); }
  uint32_t line(std::vector<vorn_point> pts) {
    uint32_t index = 99;
    EXPECT_EQ(vorn_linecount_add_line(lc, pts.data(), (uint32_t)pts.size(), &index), VORN_OK);
    return index;
  }
  // Empty frames to learn the pavement, then one frame per entry of `scene`.
  Seen run(const std::vector<std::vector<Walker>> &scene) {
    Seen out;
    std::vector<uint8_t> empty = paint({});
    for (int i = 0; i < 8; ++i) vorn_linecount_process(lc, empty.data(), VORN_FRAME_BMP24);
    for (const auto &walkers : scene) {
      std::vector<uint8_t> f = paint(walkers);
      EXPECT_EQ(vorn_linecount_process(lc, f.data(), VORN_FRAME_BMP24), VORN_OK);
      const vorn_linecount_event *ev = nullptr;
      uint32_t n = 0;
      EXPECT_EQ(vorn_linecount_get_events(lc, &ev, &n), VORN_OK);
      out.events.insert(out.events.end(), ev, ev + n);
      const vorn_linecount_track *t = nullptr;
      EXPECT_EQ(vorn_linecount_get_tracks(lc, &t, &n), VORN_OK);
      std::vector<int32_t> ids;
      for (uint32_t i = 0; i < n; ++i) ids.push_back(t[i].id);
      out.ids.push_back(ids);
    }
    return out;
  }
  std::pair<uint32_t, uint32_t> counts(uint32_t line) {
    uint32_t in = 99, out = 99;
    EXPECT_EQ(vorn_linecount_get_counts(lc, line, &in, &out), VORN_OK);
    return {in, out};
  }
};

// One walker at rows top..top+30, its left edge going from x0 to x1 in steps of `step`.
std::vector<std::vector<Walker>> walk(int x0, int x1, int top, int step = 3) {
  std::vector<std::vector<Walker>> s;
  for (int x = x0; step > 0 ? x <= x1 : x >= x1; x += step) s.push_back({Walker{x, top}});
  return s;
}

// A vertical line at x = 80 drawn upwards: "in" is to the right.
const std::vector<vorn_point> kUpLine = {{80, 115}, {80, 10}};

TEST(LineCount, CreateAndLinesCheckTheirArguments) {
  vorn_linecount *lc = reinterpret_cast<vorn_linecount *>(1);
  EXPECT_EQ(vorn_linecount_create(nullptr, &lc), VORN_E_PARAM);
  EXPECT_EQ(lc, nullptr);
  vorn_linecount_params p = {};
  p.width = kW;
  EXPECT_EQ(vorn_linecount_create(&p, &lc), VORN_E_PARAM);  // zero height
  p.height = kH;
  p.anchor = 2;
  EXPECT_EQ(vorn_linecount_create(&p, &lc), VORN_E_PARAM);
  EXPECT_EQ(vorn_linecount_create(&p, nullptr), VORN_E_PARAM);
  EXPECT_EQ(vorn_linecount_destroy(nullptr), VORN_E_NULL);

  Counter c;
  const vorn_point pts[17] = {{1, 1}, {1, 1}, {5, 9}};
  uint32_t index = 7;
  EXPECT_EQ(vorn_linecount_add_line(c.lc, pts, 1, &index), VORN_E_PARAM);
  EXPECT_EQ(index, 0u);
  EXPECT_EQ(vorn_linecount_add_line(c.lc, pts, 17, &index), VORN_E_PARAM);
  EXPECT_EQ(vorn_linecount_add_line(c.lc, pts, 2, &index), VORN_E_PARAM);  // no length
  EXPECT_EQ(vorn_linecount_add_line(nullptr, pts, 3, &index), VORN_E_NULL);
  for (uint32_t i = 0; i < VORN_LINECOUNT_MAX_LINES; ++i) {
    EXPECT_EQ(vorn_linecount_add_line(c.lc, pts, 3, &index), VORN_OK);
    EXPECT_EQ(index, i);
  }
  EXPECT_EQ(vorn_linecount_add_line(c.lc, pts, 3, &index), VORN_E_PARAM);

  uint32_t in = 5, out = 5;
  EXPECT_EQ(vorn_linecount_get_counts(c.lc, VORN_LINECOUNT_MAX_LINES, &in, &out), VORN_E_PARAM);
  EXPECT_EQ(vorn_linecount_get_counts(nullptr, 0, &in, &out), VORN_E_NULL);
  EXPECT_EQ(in + out, 0u);
  const vorn_linecount_event *ev = reinterpret_cast<const vorn_linecount_event *>(1);
  uint32_t n = 3;
  EXPECT_EQ(vorn_linecount_get_events(nullptr, &ev, &n), VORN_E_NULL);
  EXPECT_EQ(ev, nullptr);
  EXPECT_EQ(n, 0u);
  EXPECT_EQ(vorn_linecount_process(c.lc, nullptr, VORN_FRAME_BMP24), VORN_E_NULL);
}

TEST(LineCount, AWalkerAcrossCountsOnceWithItsIdAndBox) {
  Counter c;
  c.line(kUpLine);
  Seen r = c.run(walk(20, 140, 40));
  ASSERT_EQ(r.events.size(), 1u);
  const vorn_linecount_event &e = r.events[0];
  EXPECT_EQ(e.line, 0u);
  EXPECT_EQ(e.direction, 1);
  EXPECT_GT(e.id, 0);
  // The box is the walker's (within the smoothing of its size) and straddles the line or just left it.
  EXPECT_NEAR((e.box.top + e.box.bottom) / 2, 55, 4);
  EXPECT_NEAR(e.box.bottom - e.box.top, 30, 8);
  EXPECT_NEAR((e.box.left + e.box.right) / 2, 80, 12);
  EXPECT_EQ(c.counts(0), std::make_pair(1u, 0u));
  // The walker keeps one identity from its confirmation to the edge of the frame.
  std::vector<int32_t> seen;
  for (const auto &ids : r.ids) seen.insert(seen.end(), ids.begin(), ids.end());
  ASSERT_FALSE(seen.empty());
  EXPECT_TRUE(std::all_of(seen.begin(), seen.end(), [&](int32_t id) { return id == e.id; }));

  EXPECT_EQ(vorn_linecount_reset(c.lc), VORN_OK);
  EXPECT_EQ(c.counts(0), std::make_pair(0u, 0u));
}

TEST(LineCount, WalkersPassingEachOtherAreCountedEachWay) {
  Counter c;
  c.line(kUpLine);
  std::vector<std::vector<Walker>> s;
  for (int k = 0; k <= 40; ++k) s.push_back({Walker{20 + 3 * k, 15}, Walker{140 - 3 * k, 70}});
  Seen r = c.run(s);
  EXPECT_EQ(c.counts(0), std::make_pair(1u, 1u));
  ASSERT_EQ(r.events.size(), 2u);
  EXPECT_NE(r.events[0].id, r.events[1].id);
  for (const vorn_linecount_event &e : r.events) EXPECT_EQ(e.direction, e.box.top < 50 ? 1 : -1);
}

TEST(LineCount, StandingOnTheLineCountsNothingAndTurningBackCountsBothWays) {
  // Up to the line, shuffling a pixel either way on it, and back: never clear of the line on the far side.
  std::vector<std::vector<Walker>> s = walk(30, 74, 40);
  for (int k = 0; k < 16; ++k) s.push_back({Walker{74 + (k % 2 ? 1 : -1), 40}});
  auto back = walk(74, 20, 40, -3);
  s.insert(s.end(), back.begin(), back.end());
  {
    Counter c;
    c.line(kUpLine);
    c.run(s);
    EXPECT_EQ(c.counts(0), std::make_pair(0u, 0u));
  }
  // Across, a while on the far side, and back across: one each way.
  std::vector<std::vector<Walker>> t = walk(30, 110, 40);
  auto ret = walk(110, 20, 40, -3);
  t.insert(t.end(), ret.begin(), ret.end());
  Counter c;
  c.line(kUpLine);
  Seen r = c.run(t);
  EXPECT_EQ(c.counts(0), std::make_pair(1u, 1u));
  ASSERT_EQ(r.events.size(), 2u);
  EXPECT_EQ(r.events[0].id, r.events[1].id);
}

TEST(LineCount, OnlyPassagesBetweenTheEndsCountAndTheAnchorDecidesWhere) {
  // The line runs from y = 115 up to y = 60; walkers in rows 20..50 pass above its end.
  {
    Counter c;
    c.line({{80, 115}, {80, 60}});
    c.run(walk(20, 140, 20));
    EXPECT_EQ(c.counts(0), std::make_pair(0u, 0u));
  }
  // Rows 40..70: the feet (bottom centre) pass beside the line, the centre (y = 55) above its end.
  for (uint32_t anchor : {VORN_LINECOUNT_ANCHOR_BOTTOM, VORN_LINECOUNT_ANCHOR_CENTRE}) {
    Counter c(anchor);
    c.line({{80, 115}, {80, 62}});
    c.run(walk(20, 140, 40));
    EXPECT_EQ(c.counts(0).first, anchor == VORN_LINECOUNT_ANCHOR_BOTTOM ? 1u : 0u) << "anchor " << anchor;
  }
}

TEST(LineCount, AWalkerHiddenForAFewFramesKeepsItsIdentityAndCountsOnce) {
  Counter c;
  c.line(kUpLine);
  std::vector<std::vector<Walker>> s = walk(20, 62, 40);
  for (int k = 0; k < 6; ++k) s.push_back({});  // behind something while it crosses
  auto after = walk(86, 140, 40);
  s.insert(s.end(), after.begin(), after.end());
  Seen r = c.run(s);
  EXPECT_EQ(c.counts(0), std::make_pair(1u, 0u));
  std::vector<int32_t> seen;
  for (const auto &ids : r.ids) seen.insert(seen.end(), ids.begin(), ids.end());
  std::sort(seen.begin(), seen.end());
  seen.erase(std::unique(seen.begin(), seen.end()), seen.end());
  EXPECT_EQ(seen.size(), 1u);
}

TEST(LineCount, EveryLineCountsOnItsOwnAndPolylinesBend) {
  Counter c;
  const uint32_t a = c.line(kUpLine);
  // A bent line drawn downwards ("in" is to the left): its lower leg slants across the walkers' path.
  const uint32_t b = c.line({{130, 10}, {120, 50}, {110, 115}});
  Seen r = c.run(walk(20, 145, 40));
  EXPECT_EQ(c.counts(a), std::make_pair(1u, 0u));
  EXPECT_EQ(c.counts(b), std::make_pair(0u, 1u));
  ASSERT_EQ(r.events.size(), 2u);
  EXPECT_EQ(r.events[0].line, a);
  EXPECT_EQ(r.events[1].line, b);
}

TEST(LineCount, NothingIsAllocatedPerFrame) {
  if (!vorn::fault_inject_available()) GTEST_SKIP() << "no fault injection in this build";
  Counter c;
  c.line(kUpLine);
  c.run(walk(20, 40, 40));
  vorn::fault_inject_fail_at(0);
  Seen r = c.run(walk(40, 140, 40));
  EXPECT_EQ(vorn::fault_inject_count(), 0u);
  EXPECT_EQ(c.counts(0).first, 1u);
}

TEST(LineCount, CreateReleasesEverythingWhenAnAllocationFails) {
  vorn_init();
  vorn_test::sweep_allocation_failures([] {
    vorn_linecount_params p = {};
    p.width = 64;
    p.height = 48;
    p.bk_type = 2;
    vorn_linecount *lc = nullptr;
    if (vorn_linecount_create(&p, &lc) != VORN_OK) return false;
    vorn_linecount_destroy(lc);
    return true;
  });
}

// The least total cost over every way of pairing rows with distinct columns (all rows paired when rows <= cols).
float brute_force(const std::vector<float> &cost, uint32_t rows, uint32_t cols) {
  std::vector<uint32_t> perm(std::max(rows, cols));
  std::iota(perm.begin(), perm.end(), 0u);
  float best = 1e30f;
  do {
    float sum = 0;
    for (uint32_t r = 0; r < rows; ++r)
      if (perm[r] < cols) sum += cost[r * cols + perm[r]];
    best = std::min(best, sum);
  } while (std::next_permutation(perm.begin(), perm.end()));
  return best;
}

TEST(LineCountAssign, FindsTheLeastTotalCostAndLeavesForbiddenPairsOut) {
  vorn::lc::AssignWork w;
  uint32_t seed = 12345;
  auto rnd = [&seed] { return (seed = seed * 1103515245u + 12345u) >> 16; };
  for (int trial = 0; trial < 200; ++trial) {
    const uint32_t rows = 1 + rnd() % 6, cols = 1 + rnd() % 6;
    std::vector<float> cost(rows * cols);
    for (float &x : cost) x = (float)(rnd() % 100) / 10.0f;
    std::copy(cost.begin(), cost.end(), w.cost);
    int32_t match[vorn::lc::kSide];
    vorn::lc::assign_min_cost(&w, rows, cols, match);
    float sum = 0;
    std::vector<int> taken(cols, 0);
    uint32_t paired = 0;
    for (uint32_t r = 0; r < rows; ++r) {
      if (match[r] < 0) continue;
      ASSERT_LT((uint32_t)match[r], cols);
      EXPECT_EQ(taken[match[r]]++, 0) << "column used twice";
      sum += cost[r * cols + match[r]];
      ++paired;
    }
    EXPECT_EQ(paired, std::min(rows, cols));
    EXPECT_NEAR(sum, brute_force(cost, rows, cols), 1e-3) << "trial " << trial;
  }
  // Greedy would give row 0 its cheapest column and leave row 1 with a forbidden one.
  const float c2[4] = {1.0f, 2.0f, 1.5f, vorn::lc::kForbidden};
  std::copy(c2, c2 + 4, w.cost);
  int32_t m2[2];
  vorn::lc::assign_min_cost(&w, 2, 2, m2);
  EXPECT_EQ(m2[0], 1);
  EXPECT_EQ(m2[1], 0);
  // A row whose only columns are forbidden stays unpaired.
  const float c3[2] = {vorn::lc::kForbidden, vorn::lc::kForbidden};
  std::copy(c3, c3 + 2, w.cost);
  vorn::lc::assign_min_cost(&w, 1, 2, m2);
  EXPECT_EQ(m2[0], -1);
}

TEST(LineCountSide, SignFollowsTheDrawingDirectionAndEndsAreMarked) {
  vorn::lc::Polyline up = {{{80, 115}, {80, 10}}, 2};
  bool within = false;
  EXPECT_FLOAT_EQ(vorn::lc::polyline_side(up, 90, 50, &within), 10.0f);  // right of an upward line: in
  EXPECT_TRUE(within);
  EXPECT_FLOAT_EQ(vorn::lc::polyline_side(up, 75, 50, &within), -5.0f);
  vorn::lc::polyline_side(up, 90, 5, &within);
  EXPECT_FALSE(within);  // beyond the upper end
  vorn::lc::polyline_side(up, 90, 120, &within);
  EXPECT_FALSE(within);
  // A bent line: the nearer leg decides, and its inner corner is no end.
  vorn::lc::Polyline bent = {{{0, 0}, {10, 0}, {10, 10}}, 3};
  EXPECT_GT(vorn::lc::polyline_side(bent, 5, 2, &within), 0.0f);  // below a rightward leg: in
  EXPECT_TRUE(within);
  EXPECT_LT(vorn::lc::polyline_side(bent, 12, 5, &within), 0.0f);  // right of a downward leg: out
  EXPECT_TRUE(within);
  vorn::lc::polyline_side(bent, 12, -3, &within);
  EXPECT_TRUE(within);
}

}  // namespace
