#include <math.h>
#include <stdio.h>
#include <string.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/test_support.h"
#include "tracking/vbc_test_video.h"
#include "vorn.h"

using vbc_test::Pos;
using vbc_test::Video;

namespace {

constexpr int kW = 96, kH = 72;

// An independent writer of the file layout: header fields, then (start, length) records, then positions.
struct FileBytes {
  std::vector<uint8_t> b;
  void u32(uint32_t v) {
    for (int i = 0; i < 4; ++i) b.push_back((uint8_t)(v >> (8 * i)));
  }
  void f32(float f) {
    uint32_t u;
    memcpy(&u, &f, 4);
    u32(u);
  }
};

struct Track {
  uint32_t start;
  std::vector<vorn_point2f> pts;
};

std::vector<uint8_t> make_file(uint32_t frames, const std::vector<Track> &tracks, uint32_t w = kW, uint32_t h = kH) {
  FileBytes f;
  for (char c : std::string("VBCT")) f.b.push_back((uint8_t)c);
  f.u32(1);
  f.u32(w);
  f.u32(h);
  f.u32(frames);
  f.u32((uint32_t)tracks.size());
  uint32_t p = 0;
  for (const Track &t : tracks) p += (uint32_t)t.pts.size();
  f.u32(p);
  for (const Track &t : tracks) {
    f.u32(t.start);
    f.u32((uint32_t)t.pts.size());
  }
  for (const Track &t : tracks)
    for (const vorn_point2f &q : t.pts) {
      f.f32(q.x);
      f.f32(q.y);
    }
  return f.b;
}

// Three trajectories, one long enough to need two position slots.
std::vector<Track> sample_tracks() {
  Track a{0, {}}, b{3, {{0.0f, 0.0f}, {95.0f, 71.0f}}}, c{40, {{10.5f, 20.25f}}};
  for (int k = 0; k < 40; ++k) a.pts.push_back({1.0f + 0.5f * k, 70.0f - 0.25f * k});
  return {a, b, c};
}

struct Recorder {
  vorn_vbc *v = nullptr;
  explicit Recorder(uint32_t max_trajectories = 0) {
    vorn_init();
    vorn_vbc_params p = vbc_test::params(kW, kH);
    p.max_trajectories = max_trajectories;
    p.max_positions = 4096;
    EXPECT_EQ(vorn_vbc_create(&p, &v), VORN_OK);
  }
  ~Recorder() { vorn_vbc_destroy(v); }
  std::vector<uint8_t> saved() {
    const std::string path = vorn_test::temp_path("saved.vbc");
    EXPECT_EQ(vorn_vbc_save(v, path.c_str()), VORN_OK);
    return vorn_test::read_file(path);
  }
  vorn_result load(const std::vector<uint8_t> &bytes) {
    const std::string path = vorn_test::temp_path("load.vbc");
    if (bytes.empty()) {
      FILE *f = fopen(path.c_str(), "wb");  // write_file hands fwrite a null pointer for no bytes
      if (f) fclose(f);
    } else {
      vorn_test::write_file(path, bytes);
    }
    return vorn_vbc_load(v, path.c_str());
  }
};

TEST(VbcFile, HandWrittenFileLoadsAndSavesBackUnchanged) {
  const std::vector<Track> tracks = sample_tracks();
  const std::vector<uint8_t> file = make_file(41, tracks);
  Recorder r(2);  // fewer trajectories than the file holds: the table grows
  ASSERT_EQ(r.load(file), VORN_OK);
  uint32_t count = 0, frames = 0;
  vorn_vbc_get_count(r.v, &count, &frames);
  EXPECT_EQ(count, 3u);
  EXPECT_EQ(frames, 41u);
  for (uint32_t i = 0; i < count; ++i) {
    uint32_t s, len;
    ASSERT_EQ(vorn_vbc_get_trajectory(r.v, i, &s, &len), VORN_OK);
    EXPECT_EQ(s, tracks[i].start);
    ASSERT_EQ(len, tracks[i].pts.size());
    const std::vector<vorn_point2f> pts = vbc_test::points(r.v, i);
    for (uint32_t k = 0; k < len; ++k) {
      EXPECT_EQ(pts[k].x, tracks[i].pts[k].x);
      EXPECT_EQ(pts[k].y, tracks[i].pts[k].y);
    }
  }
  EXPECT_EQ(r.saved(), file);
  // The loaded trajectories answer the pointer: track 0 at frame 20 is at (11, 65).
  uint32_t index = 9, frame = 0;
  vorn_point2f at;
  EXPECT_EQ(vorn_vbc_down(r.v, 20, 12.0f, 66.0f, &index), VORN_OK);
  EXPECT_EQ(index, 0u);
  EXPECT_EQ(vorn_vbc_move(r.v, 1.0f + 0.5f * 33, 70.0f - 0.25f * 33, &frame, &at), VORN_OK);
  EXPECT_EQ(frame, 33u);
  // An empty recording is a 28-byte file.
  Recorder e;
  EXPECT_EQ(e.saved(), make_file(0, {}));
  EXPECT_EQ(r.load(make_file(0, {})), VORN_OK);
  vorn_vbc_get_count(r.v, &count, &frames);
  EXPECT_EQ(count + frames, 0u);
}

// A press selects the nearest point of the frame whose squared distance is below 200; of two equally near, the
// first trajectory.
TEST(VbcFile, PressSelectsTheNearestPointBelowTheRadius) {
  Recorder r;
  ASSERT_EQ(r.load(make_file(1, {Track{0, {{50.0f, 50.0f}}}, Track{0, {{70.0f, 50.0f}}},
                                 Track{0, {{10.0f, 10.0f}}}})),
            VORN_OK);
  uint32_t index = 9;
  EXPECT_EQ(vorn_vbc_down(r.v, 0, 60.0f, 50.0f, &index), VORN_OK);  // 100 from both
  EXPECT_EQ(index, 0u);
  EXPECT_EQ(vorn_vbc_down(r.v, 0, 61.0f, 50.0f, &index), VORN_OK);
  EXPECT_EQ(index, 1u);
  EXPECT_EQ(vorn_vbc_down(r.v, 0, 20.0f, 19.5f, &index), VORN_OK);  // 190.25
  EXPECT_EQ(index, 2u);
  EXPECT_EQ(vorn_vbc_down(r.v, 0, 20.0f, 20.0f, &index), VORN_VBC_NONE);  // exactly 200
  EXPECT_EQ(index, VORN_VBC_NONE);
}

TEST(VbcFile, RecordingRoundTripsByteExact) {
  const Video video(kW, kH, 24, [](int f) { return Pos{8 + 2 * f, 12 + f}; });
  Recorder a;
  video.record(a.v, 30);
  uint32_t count = 0;
  vorn_vbc_get_count(a.v, &count, nullptr);
  ASSERT_GT(count, 0u);
  const std::vector<uint8_t> first = a.saved();
  ASSERT_EQ(first.size() % 8, 4u);  // 28 + 8 N + 8 P
  Recorder b;
  ASSERT_EQ(b.load(first), VORN_OK);
  EXPECT_EQ(b.saved(), first);
  // Recording goes on after a load: new frames are numbered after the loaded ones.
  const std::vector<uint8_t> f = video.frame(0);
  ASSERT_EQ(vorn_vbc_process(b.v, f.data(), VORN_FRAME_YUV420), VORN_OK);
  uint32_t frames = 0;
  vorn_vbc_get_count(b.v, nullptr, &frames);
  EXPECT_EQ(frames, 31u);
}

TEST(VbcFile, MalformedFilesAreRefusedAndChangeNothing) {
  const std::vector<uint8_t> good = make_file(41, sample_tracks());
  Recorder r;
  ASSERT_EQ(r.load(good), VORN_OK);
  // What the recorder holds, read through its getters (cheaper than saving a file every time).
  auto contents = [&] {
    std::vector<float> out;
    uint32_t count = 0, frames = 0;
    vorn_vbc_get_count(r.v, &count, &frames);
    out.push_back((float)frames);
    for (uint32_t i = 0; i < count; ++i) {
      uint32_t s = 0;
      vorn_vbc_get_trajectory(r.v, i, &s, nullptr);
      out.push_back((float)s);
      for (const vorn_point2f &q : vbc_test::points(r.v, i)) out.insert(out.end(), {q.x, q.y});
    }
    return out;
  };
  const std::vector<float> held = contents();
  auto refused = [&](const std::vector<uint8_t> &bytes, const char *what) {
    EXPECT_EQ(r.load(bytes), VORN_E_PARAM) << what;
    EXPECT_EQ(contents(), held) << what << ": the recorder changed";
  };
  auto edited = [&](size_t at, uint32_t v) {
    std::vector<uint8_t> b = good;
    for (int i = 0; i < 4; ++i) b[at + i] = (uint8_t)(v >> (8 * i));
    return b;
  };
  for (size_t n = 0; n < good.size(); n += n < 64 ? 1 : 5) refused(std::vector<uint8_t>(good.begin(), good.begin() + n), "truncated");
  std::vector<uint8_t> longer = good;
  longer.push_back(0);
  refused(longer, "a byte too many");
  refused(edited(0, 0x54434257), "magic");
  refused(edited(4, 2), "version");
  EXPECT_EQ(r.saved(), good);
  refused(edited(8, kW + 1), "width");
  refused(edited(12, kH - 1), "height");
  refused(edited(16, 40), "start + length beyond the frames");
  refused(make_file(41, sample_tracks(), kW, kH + 2), "another frame size");
  refused(edited(20, 4), "trajectory count");
  refused(edited(24, 42), "position count");
  refused(edited(24, 0xFFFFFFFFu), "huge position count");
  refused(edited(20, 0xFFFFFFFFu), "huge trajectory count");
  // Records: lengths that no longer sum to the position count, a zero length, a start past the end.
  refused(edited(28 + 4, 39), "lengths");
  {
    std::vector<Track> t = sample_tracks();
    t[1].start = 40;
    refused(make_file(41, t), "start");
    t = sample_tracks();
    t.push_back(Track{5, {}});
    refused(make_file(41, t), "empty trajectory");
  }
  // Positions outside the frame or not numbers.
  const size_t pos0 = 28 + 3 * 8;
  const float nan = NAN;
  uint32_t bits;
  memcpy(&bits, &nan, 4);
  for (uint32_t v : {bits, 0xBF800000u /* -1 */, 0x42C00000u /* 96 */, 0x7F800000u /* inf */})
    refused(edited(pos0 + 8 * 41, v), "position");
  refused(edited(pos0 + 8 * 41 + 4, 0x42900000u /* 72 */), "y at the height");

  // Random damage: either refused without a trace, or accepted and then saved back byte for byte.
  int accepted = 0;
  for (uint32_t seed = 1; seed <= 150; ++seed) {
    std::vector<uint8_t> b = good;
    const std::vector<uint8_t> noise = vorn_test::random_bytes(8, seed);
    const size_t at = ((size_t)noise[0] << 8 | noise[1]) % b.size();
    b[at] ^= (uint8_t)(1u << (noise[2] & 7));
    if (noise[3] & 1) b[(at + noise[4]) % b.size()] = noise[5];
    const vorn_result res = r.load(b);
    if (res == VORN_OK) {
      ++accepted;
      EXPECT_EQ(r.saved(), b);
      ASSERT_EQ(r.load(good), VORN_OK);
    } else {
      EXPECT_EQ(res, VORN_E_PARAM);
      EXPECT_EQ(contents(), held);
    }
  }
  EXPECT_GT(accepted, 0);  // flipped low bits of a position mostly stay valid
}

TEST(VbcFile, FilesThatCannotBeOpenedAndNulls) {
  Recorder r;
  EXPECT_EQ(vorn_vbc_load(r.v, vorn_test::temp_path("missing.vbc").c_str()), VORN_E_FILE);
  EXPECT_EQ(vorn_vbc_save(r.v, "/nonexistent-dir/x.vbc"), VORN_E_FILE);
  EXPECT_EQ(vorn_vbc_save(nullptr, "x"), VORN_E_NULL);
  EXPECT_EQ(vorn_vbc_save(r.v, nullptr), VORN_E_NULL);
  EXPECT_EQ(vorn_vbc_load(nullptr, "x"), VORN_E_NULL);
  EXPECT_EQ(vorn_vbc_load(r.v, nullptr), VORN_E_NULL);
}

TEST(VbcFile, LoadAndSaveSurviveAllocationFailures) {
  const std::vector<uint8_t> file = make_file(41, sample_tracks());
  const std::string path = vorn_test::temp_path("sweep.vbc");
  vorn_test::write_file(path, file);
  vorn_init();
  vorn_vbc_params p = vbc_test::params(kW, kH);
  p.max_trajectories = 1;
  p.max_positions = 1;
  const int points = vorn_test::sweep_allocation_failures([&] {
    vorn_vbc *v = nullptr;
    if (vorn_vbc_create(&p, &v) != VORN_OK) return false;
    const vorn_result r = vorn_vbc_load(v, path.c_str());
    uint32_t count = 9;
    vorn_vbc_get_count(v, &count, nullptr);
    EXPECT_EQ(count, r == VORN_OK ? 3u : 0u);
    const std::string out = vorn_test::temp_path("sweep_out.vbc");
    const vorn_result s = r == VORN_OK ? vorn_vbc_save(v, out.c_str()) : VORN_E_NOMEM;
    if (s == VORN_OK) {
      EXPECT_EQ(vorn_test::read_file(out), file);
    }
    vorn_vbc_destroy(v);
    return r == VORN_OK && s == VORN_OK;
  });
  EXPECT_GT(points, 12);  // the recorder's, the reader's, the new store's and the writer's
}

}  // namespace
