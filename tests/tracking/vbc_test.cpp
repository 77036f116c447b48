#include <math.h>
#include <string.h>

#include <vector>

#include <gtest/gtest.h>

#include "support/test_support.h"
#include "tracking/vbc_test_video.h"
#include "vorn.h"

using vbc_test::Pos;
using vbc_test::Video;

namespace {

constexpr int kW = 192, kH = 144, kSide = 40;

// Right 3 px a frame up to frame 9, standing still at (47, 30) for frames 9..19, then down 3 px a frame.
Pos walk(int f) {
  if (f < 10) return {20 + 3 * f, 30};
  if (f < 20) return {47, 30};
  return {47, 30 + 3 * (f - 19)};
}

struct Recorder {
  vorn_vbc *v = nullptr;
  explicit Recorder(const vorn_vbc_params &p) {
    vorn_init();
    EXPECT_EQ(vorn_vbc_create(&p, &v), VORN_OK);
  }
  ~Recorder() { vorn_vbc_destroy(v); }
};

// Indices of the trajectories present from frame 1 (the first frame is the motion reference) to the last of n.
std::vector<uint32_t> whole(vorn_vbc *v, uint32_t n) {
  uint32_t count = 0;
  vorn_vbc_get_count(v, &count, nullptr);
  std::vector<uint32_t> out;
  for (uint32_t i = 0; i < count; ++i) {
    uint32_t s, len;
    vorn_vbc_get_trajectory(v, i, &s, &len);
    if (s == 1 && len == n - 1) out.push_back(i);
  }
  return out;
}

TEST(Vbc, TrajectoriesRideOnTheMovingSquare) {
  const Video video(kW, kH, kSide, walk);
  Recorder r(vbc_test::params(kW, kH));
  video.record(r.v, 40);
  uint32_t count = 0, frames = 0;
  ASSERT_EQ(vorn_vbc_get_count(r.v, &count, &frames), VORN_OK);
  EXPECT_EQ(frames, 40u);
  ASSERT_GT(count, 0u);
  EXPECT_GE(whole(r.v, 40).size(), 3u);
  uint32_t prev_start = 0;
  for (uint32_t i = 0; i < count; ++i) {
    uint32_t start, length;
    ASSERT_EQ(vorn_vbc_get_trajectory(r.v, i, &start, &length), VORN_OK);
    EXPECT_GE(length, 10u);  // the default minimum length
    EXPECT_GE(start, prev_start) << "finished recordings are ordered by start frame";
    prev_start = start;
    // Every point keeps its place on the square: its offset from the path stays within a pixel.
    const std::vector<vorn_point2f> pts = vbc_test::points(r.v, i);
    const Pos p0 = walk((int)start);
    const float ox = pts[0].x - p0.x, oy = pts[0].y - p0.y;
    EXPECT_TRUE(ox >= -3 && ox <= kSide + 2 && oy >= -3 && oy <= kSide + 2) << "seeded off the square " << ox << " " << oy;
    for (uint32_t k = 0; k < length; ++k) {
      const Pos p = walk((int)(start + k));
      EXPECT_NEAR(pts[k].x - p.x, ox, 1.0f) << "trajectory " << i << " frame " << start + k;
      EXPECT_NEAR(pts[k].y - p.y, oy, 1.0f) << "trajectory " << i << " frame " << start + k;
    }
  }
}

TEST(Vbc, DraggingAlongThePathFindsTheFrames) {
  const Video video(kW, kH, kSide, walk);
  Recorder r(vbc_test::params(kW, kH));
  video.record(r.v, 40);
  const std::vector<uint32_t> full = whole(r.v, 40);
  ASSERT_FALSE(full.empty());
  const uint32_t t = full[0];
  const std::vector<vorn_point2f> pts = vbc_test::points(r.v, t);
  // The pointer at the tracked point's place on the square in frame g, the path's offset added (pts[k] is the
  // point at frame k + 1).
  auto where = [&](int g, float *x, float *y) {
    *x = pts[0].x + (float)(walk(g).x - walk(1).x);
    *y = pts[0].y + (float)(walk(g).y - walk(1).y);
  };

  uint32_t index = 0, frame = 99;
  vorn_point2f at;
  ASSERT_EQ(vorn_vbc_down(r.v, 3, pts[2].x + 5, pts[2].y - 5, &index), VORN_OK);
  uint32_t length;
  vorn_vbc_get_trajectory(r.v, index, nullptr, &length);
  EXPECT_GE(length, 30u) << "a press inside the square selects one of its points";
  ASSERT_EQ(vorn_vbc_up(r.v), VORN_OK);

  ASSERT_EQ(vorn_vbc_down(r.v, 3, pts[2].x, pts[2].y, &index), VORN_OK);
  EXPECT_EQ(index, t);
  for (int g : {5, 9, 1, 24, 39, 31}) {
    float x, y;
    where(g, &x, &y);
    ASSERT_EQ(vorn_vbc_move(r.v, x + 0.3f, y - 0.2f, &frame, &at), VORN_OK);
    EXPECT_EQ(frame, (uint32_t)g);
    EXPECT_EQ(at.x, pts[g - 1].x);
    EXPECT_EQ(at.y, pts[g - 1].y);
  }
  // Where the square stood still every frame 9..19 is as near: the one closest to the last answer wins.
  float sx, sy;
  where(15, &sx, &sy);
  ASSERT_EQ(vorn_vbc_move(r.v, sx, sy, &frame, &at), VORN_OK);
  EXPECT_EQ(frame, 19u) << "coming from frame 31";
  where(2, &sx, &sy);
  vorn_vbc_move(r.v, sx, sy, &frame, &at);
  EXPECT_EQ(frame, 2u);
  where(15, &sx, &sy);
  vorn_vbc_move(r.v, sx, sy, &frame, &at);
  EXPECT_EQ(frame, 9u) << "coming from frame 2";

  // Far from every point: nothing is selected and moves answer nothing.
  EXPECT_EQ(vorn_vbc_down(r.v, 3, 180, 130, &index), VORN_VBC_NONE);
  EXPECT_EQ(index, VORN_VBC_NONE);
  EXPECT_EQ(vorn_vbc_move(r.v, sx, sy, &frame, &at), VORN_E_NO_RESULT);
  // A frame past the recording has no points.
  EXPECT_EQ(vorn_vbc_down(r.v, 40, pts[38].x, pts[38].y, &index), VORN_VBC_NONE);
  EXPECT_EQ(vorn_vbc_up(r.v), VORN_OK);
  EXPECT_EQ(vorn_vbc_move(r.v, sx, sy, &frame, &at), VORN_E_NO_RESULT);
}

TEST(Vbc, PressRadiusIsSquaredDistanceBelow200) {
  const Video video(kW, kH, kSide, walk);
  Recorder r(vbc_test::params(kW, kH));
  video.record(r.v, 12);
  uint32_t count = 0;
  vorn_vbc_get_count(r.v, &count, nullptr);
  ASSERT_GT(count, 0u);
  // Presses around the square's corner, from on it to well outside: the selection is the nearest point at that
  // frame when its squared distance is below 200, found here by a plain scan of every trajectory.
  for (float dx : {0.0f, 5.0f, 9.0f, 14.1f, 14.2f, 30.0f}) {
    for (uint32_t f : {1u, 7u}) {
      const float px = (float)walk((int)f).x - dx, py = (float)walk((int)f).y - dx * 0.5f;
      uint32_t expect = VORN_VBC_NONE;
      float best = 200.0f;
      for (uint32_t i = 0; i < count; ++i) {
        uint32_t s, len;
        vorn_vbc_get_trajectory(r.v, i, &s, &len);
        if (f < s || f >= s + len) continue;
        vorn_point2f q;
        vorn_vbc_get_points(r.v, i, f - s, 1, &q);
        const float d = (q.x - px) * (q.x - px) + (q.y - py) * (q.y - py);
        if (d < best) best = d, expect = i;
      }
      uint32_t got = 0;
      vorn_vbc_down(r.v, f, px, py, &got);
      EXPECT_EQ(got, expect);
    }
  }
}

TEST(Vbc, PointsEndWhenTheyLeaveOrJump) {
  // Moves right 4 px a frame and jumps 20 px right at frame 12, then runs out of the frame on the right.
  auto path = [](int f) { return Pos{10 + 4 * f + (f >= 12 ? 20 : 0), 50}; };
  const Video video(kW, kH, kSide, path);
  vorn_vbc_params p = vbc_test::params(kW, kH);
  p.max_jump = 10;
  p.min_length = 3;
  Recorder r(p);
  video.record(r.v, 45);
  uint32_t count = 0;
  vorn_vbc_get_count(r.v, &count, nullptr);
  ASSERT_GT(count, 0u);
  bool restarted = false;
  for (uint32_t i = 0; i < count; ++i) {
    uint32_t s, len;
    vorn_vbc_get_trajectory(r.v, i, &s, &len);
    EXPECT_FALSE(s <= 11 && s + len > 12) << "trajectory " << i << " crosses the jump";
    restarted |= s == 12;
    for (const vorn_point2f &q : vbc_test::points(r.v, i)) {
      EXPECT_TRUE(q.x >= 0 && q.x <= kW - 1 && q.y >= 0 && q.y <= kH - 1);
    }
  }
  EXPECT_TRUE(restarted) << "the square is seeded again right after the jump";
}

TEST(Vbc, SeedsLandOnTheCornersOfWhatMoved) {
  // Frame 0 is flat; on frame 1 two bright squares appear. Seeds (trajectories starting at frame 1) sit at their
  // eight corners, one each, nothing elsewhere, and no two closer than the spacing.
  vorn_vbc_params p = vbc_test::params(kW, kH);
  p.min_distance = 6;
  p.min_length = 1;
  Recorder r(p);
  std::vector<uint8_t> f((size_t)kW * kH * 3 / 2, 128);
  memset(f.data(), 60, (size_t)kW * kH);
  ASSERT_EQ(vorn_vbc_process(r.v, f.data(), VORN_FRAME_YUV420), VORN_OK);
  const int sq[2][2] = {{30, 30}, {100, 70}};
  for (const auto &s : sq)
    for (int y = 0; y < 16; ++y) memset(f.data() + (size_t)(s[1] + y) * kW + s[0], 200, 16);
  ASSERT_EQ(vorn_vbc_process(r.v, f.data(), VORN_FRAME_YUV420), VORN_OK);
  vorn_vbc_end_process(r.v);
  uint32_t count = 0;
  vorn_vbc_get_count(r.v, &count, nullptr);
  std::vector<vorn_point2f> seeds;
  for (uint32_t i = 0; i < count; ++i) seeds.push_back(vbc_test::points(r.v, i)[0]);
  std::vector<int> hits(8, 0);
  for (const vorn_point2f &q : seeds) {
    int near = -1;
    for (int c = 0; c < 8; ++c) {
      const float cx = (float)sq[c / 4][0] + (c & 1 ? 15.5f : -0.5f), cy = (float)sq[c / 4][1] + (c & 2 ? 15.5f : -0.5f);
      if (fabsf(q.x - cx) <= 2.0f && fabsf(q.y - cy) <= 2.0f) near = c;
    }
    EXPECT_GE(near, 0) << "seed at " << q.x << ", " << q.y;
    if (near >= 0) ++hits[near];
    for (const vorn_point2f &o : seeds) {
      if (&o == &q) continue;
      EXPECT_GT((q.x - o.x) * (q.x - o.x) + (q.y - o.y) * (q.y - o.y), 36.0f);
    }
  }
  EXPECT_EQ(hits, std::vector<int>(8, 1));
}

TEST(Vbc, LimitsAndShortTrajectories) {
  const Video video(kW, kH, kSide, walk);
  {
    // At most max_points trajectories run at once.
    vorn_vbc_params p = vbc_test::params(kW, kH);
    p.max_points = 3;
    p.min_length = 1;
    Recorder r(p);
    for (int f = 0; f < 2; ++f) {
      const std::vector<uint8_t> buf = video.frame(f);
      ASSERT_EQ(vorn_vbc_process(r.v, buf.data(), VORN_FRAME_YUV420), VORN_OK);
    }
    uint32_t count = 0;
    vorn_vbc_get_count(r.v, &count, nullptr);
    EXPECT_EQ(count, 3u);
  }
  for (uint32_t min_length : {5u, 6u}) {
    // Six frames: seeded on the second at the earliest, trajectories are at most five long, so a minimum of six
    // drops them all at the end.
    vorn_vbc_params p = vbc_test::params(kW, kH);
    p.min_length = min_length;
    Recorder r(p);
    video.record(r.v, 6);
    uint32_t count = 0;
    vorn_vbc_get_count(r.v, &count, nullptr);
    EXPECT_EQ(count > 0, min_length == 5u);
  }
  {
    // A full trajectory table: no more seeding, and what is recorded stays consistent.
    vorn_vbc_params p = vbc_test::params(kW, kH);
    p.max_trajectories = 2;
    p.max_positions = 40;  // two slots of 32 positions
    p.min_length = 1;
    Recorder r(p);
    video.record(r.v, 40);
    uint32_t count = 0;
    vorn_vbc_get_count(r.v, &count, nullptr);
    EXPECT_LE(count, 2u);
    uint32_t total = 0;
    for (uint32_t i = 0; i < count; ++i) total += (uint32_t)vbc_test::points(r.v, i).size();
    EXPECT_LE(total, 64u);
    EXPECT_GT(total, 0u);
  }
}

TEST(Vbc, ArgumentsAndErrors) {
  vorn_init();
  vorn_vbc *v = reinterpret_cast<vorn_vbc *>(1);
  vorn_vbc_params p = vbc_test::params(kW, kH);
  EXPECT_EQ(vorn_vbc_create(nullptr, &v), VORN_E_NULL);
  EXPECT_EQ(v, nullptr);
  EXPECT_EQ(vorn_vbc_create(&p, nullptr), VORN_E_NULL);
  using Edit = void (*)(vorn_vbc_params &);
  for (Edit bad : std::vector<Edit>{[](vorn_vbc_params &q) { q.width = 15; }, [](vorn_vbc_params &q) { q.height = 0; },
                   [](vorn_vbc_params &q) { q.max_points = 65537; },
                   [](vorn_vbc_params &q) { q.max_trajectories = (1u << 24) + 1; },
                   [](vorn_vbc_params &q) { q.max_positions = (1u << 28) + 1; },
                   [](vorn_vbc_params &q) { q.width = q.height = 40000; }}) {
    vorn_vbc_params q = p;
    bad(q);
    EXPECT_EQ(vorn_vbc_create(&q, &v), VORN_E_PARAM);
    EXPECT_EQ(v, nullptr);
  }
  uint32_t u = 7, f = 7;
  vorn_point2f pt{1, 1};
  EXPECT_EQ(vorn_vbc_process(nullptr, &u, 4), VORN_E_NULL);
  EXPECT_EQ(vorn_vbc_end_process(nullptr), VORN_E_NULL);
  EXPECT_EQ(vorn_vbc_down(nullptr, 0, 0, 0, &u), VORN_E_NULL);
  EXPECT_EQ(u, VORN_VBC_NONE);
  EXPECT_EQ(vorn_vbc_move(nullptr, 0, 0, &f, &pt), VORN_E_NULL);
  EXPECT_EQ(f, 0u);
  EXPECT_EQ(vorn_vbc_up(nullptr), VORN_E_NULL);
  EXPECT_EQ(vorn_vbc_get_count(nullptr, &u, &f), VORN_E_NULL);
  EXPECT_EQ(u + f, 0u);
  EXPECT_EQ(vorn_vbc_get_trajectory(nullptr, 0, &u, &f), VORN_E_NULL);
  EXPECT_EQ(vorn_vbc_get_points(nullptr, 0, 0, 1, &pt), VORN_E_NULL);
  vorn_vbc_destroy(nullptr);

  Recorder r(p);
  EXPECT_EQ(vorn_vbc_process(r.v, nullptr, 4), VORN_E_NULL);
  EXPECT_EQ(vorn_vbc_move(r.v, 0, 0, nullptr, &pt), VORN_E_NULL);
  EXPECT_EQ(vorn_vbc_get_trajectory(r.v, 0, &u, &f), VORN_E_PARAM);
  const Video video(kW, kH, kSide, walk);
  video.record(r.v, 12);
  uint32_t len = 0;
  ASSERT_EQ(vorn_vbc_get_trajectory(r.v, 0, nullptr, &len), VORN_OK);
  std::vector<vorn_point2f> buf(len + 1);
  EXPECT_EQ(vorn_vbc_get_points(r.v, 0, 0, len + 1, buf.data()), VORN_E_PARAM);
  EXPECT_EQ(vorn_vbc_get_points(r.v, 0, len, 1, buf.data()), VORN_E_PARAM);
  EXPECT_EQ(vorn_vbc_get_points(r.v, 0, 0xFFFFFFFFu, 2, buf.data()), VORN_E_PARAM);
  EXPECT_EQ(vorn_vbc_get_points(r.v, 0, 1, 0, nullptr), VORN_OK);
  EXPECT_EQ(vorn_vbc_get_points(r.v, 0, 1, 1, nullptr), VORN_E_NULL);
  // The pieces agree with the whole.
  const std::vector<vorn_point2f> all = vbc_test::points(r.v, 0);
  ASSERT_EQ(vorn_vbc_get_points(r.v, 0, len - 2, 2, buf.data()), VORN_OK);
  EXPECT_EQ(buf[0].x, all[len - 2].x);
  EXPECT_EQ(buf[1].y, all[len - 1].y);
}

TEST(Vbc, CreateAndProcessSurviveAllocationFailures) {
  vorn_init();
  const Video video(64, 48, 24, [](int f) { return Pos{10 + 2 * f, 10}; });
  vorn_vbc_params p = vbc_test::params(64, 48);
  p.min_length = 2;
  const int points = vorn_test::sweep_allocation_failures([&] {
    vorn_vbc *v = nullptr;
    const vorn_result r = vorn_vbc_create(&p, &v);
    EXPECT_EQ(r == VORN_OK, v != nullptr);
    if (r == VORN_OK) {
      EXPECT_EQ(r, VORN_OK);
      vorn_vbc_destroy(v);
    }
    return r == VORN_OK;
  });
  EXPECT_GT(points, 10);
  // A failing frame leaves the recording as it was: the frame is not counted and a retry goes on normally.
  vorn_vbc *v = nullptr;
  ASSERT_EQ(vorn_vbc_create(&p, &v), VORN_OK);
  uint32_t frames = 0;
  for (int f = 0; f < 6; ++f) {
    const std::vector<uint8_t> buf = video.frame(f);
    vorn_test::sweep_allocation_failures([&] { return vorn_vbc_process(v, buf.data(), 4) == VORN_OK; });
    vorn_vbc_get_count(v, nullptr, &frames);
    EXPECT_EQ(frames, (uint32_t)f + 1);
  }
  vorn_vbc_end_process(v);
  uint32_t count = 0;
  vorn_vbc_get_count(v, &count, nullptr);
  EXPECT_GT(count, 0u);
  vorn_vbc_destroy(v);
}

}  // namespace
