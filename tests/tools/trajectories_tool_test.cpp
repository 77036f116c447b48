// The trajectories subcommand on the built-in scene: the saved recording loads back with the counts the program
// reported, its trajectories follow the walkers, the recorder's settings reach it, and bad settings are refused.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>

#include "analytic_registry.h"
#include "json.h"
#include "scene.h"
#include "tool_test_util.h"
#include "vorn.h"

namespace {

struct Recording {
  uint32_t count = 0, frames = 0;
  struct Trajectory {
    uint32_t start, length;
    std::vector<vorn_point2f> points;
  };
  std::vector<Trajectory> trajectories;
};

// Loads a saved recording through the library's own reader.
bool load(const std::string &path, Recording &out) {
  vorn_vbc_params p{};
  p.width = 768;
  p.height = 576;
  vorn_vbc *v = nullptr;
  if (vorn_vbc_create(&p, &v) != VORN_OK) return false;
  bool ok = vorn_vbc_load(v, path.c_str()) == VORN_OK && vorn_vbc_get_count(v, &out.count, &out.frames) == VORN_OK;
  for (uint32_t i = 0; ok && i < out.count; ++i) {
    Recording::Trajectory t{};
    ok = vorn_vbc_get_trajectory(v, i, &t.start, &t.length) == VORN_OK;
    t.points.resize(t.length);
    ok = ok && vorn_vbc_get_points(v, i, 0, t.length, t.points.data()) == VORN_OK;
    out.trajectories.push_back(t);
  }
  vorn_vbc_destroy(v);
  return ok;
}

const vt::Json &only_event(const std::string &path) {
  static vt::Json e;
  std::string text = tool_test::read_text(path);
  EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
  e = vt::parse_json(text.substr(0, text.find('\n')), "event");
  return e;
}

TEST(TrajectoriesTool, SavedRecordingMatchesTheSummaryAndFollowsTheWalkers) {
  const std::string dir = tool_test::scratch_dir();
  const int frames = 160;
  tool_test::Run r = tool_test::run_tool("trajectories --quiet --frames " + std::to_string(frames) + " --events " +
                                         dir + "/ev.jsonl --save " + dir + "/t.vbct");
  ASSERT_EQ(r.status, 0) << r.err;
  const vt::Json &e = only_event(dir + "/ev.jsonl");
  EXPECT_EQ(e.find("kind")->text, "trajectories");
  EXPECT_EQ(e.find("frame")->number, frames - 1);  // the summary closes the last frame
  const vt::Json &counts = *e.find("counts");
  Recording rec;
  ASSERT_TRUE(load(dir + "/t.vbct", rec));
  EXPECT_EQ(rec.frames, static_cast<uint32_t>(frames));
  EXPECT_EQ(counts.find("frames")->number, frames);
  EXPECT_EQ(counts.find("trajectories")->number, rec.count);
  ASSERT_GT(rec.count, 20u);
  // The median length: the lower middle of the sorted lengths, and the positions they add up to.
  std::vector<uint32_t> lengths;
  double positions = 0;
  for (const auto &t : rec.trajectories) {
    lengths.push_back(t.length);
    positions += t.length;
    EXPECT_GE(t.length, 10u);  // shorter ones are dropped
  }
  std::sort(lengths.begin(), lengths.end());
  EXPECT_EQ(counts.find("median_length")->number, lengths[(lengths.size() - 1) / 2]);
  EXPECT_EQ(counts.find("positions")->number, positions);
  // Nothing but the walkers (and the bag one carries) moves. Points are seeded only where the half-size picture
  // changed, widened by 4 of its pixels, so every trajectory starts within 8 pixels of where a walker is now or
  // was a frame ago (a walker steps at most 3 pixels): within 12 of its box. Most then stay on their walker; those
  // that slide onto the pavement stand still until the recorder lets them go.
  vt::StreetScene scene(frames);
  auto near_someone = [&](vorn_point2f p, uint32_t frame) {
    const int margin = 12;
    for (const vt::Box &b : scene.object_boxes(static_cast<int>(frame)))
      if (p.x >= b.left - margin && p.x < b.right + margin && p.y >= b.top - margin && p.y < b.bottom + margin)
        return true;
    return false;
  };
  size_t started_on_someone = 0, midway_on_someone = 0;
  for (const auto &t : rec.trajectories) {
    started_on_someone += near_someone(t.points[0], t.start);
    midway_on_someone += near_someone(t.points[t.length / 2], t.start + t.length / 2);
  }
  EXPECT_EQ(started_on_someone, rec.trajectories.size());
  EXPECT_GE(midway_on_someone * 10, rec.trajectories.size() * 9) << midway_on_someone << " of " << rec.count;
}

TEST(TrajectoriesTool, RecorderSettingsReachTheRecording) {
  const std::string dir = tool_test::scratch_dir();
  tool_test::Run r = tool_test::run_tool("trajectories --quiet --frames 120 --events " + dir +
                                         "/ev.jsonl --min-length 30 --max-points 6 --save " + dir + "/t.vbct");
  ASSERT_EQ(r.status, 0) << r.err;
  Recording rec;
  ASSERT_TRUE(load(dir + "/t.vbct", rec));
  ASSERT_GT(rec.count, 0u);
  std::vector<int> live(rec.frames, 0);
  for (const auto &t : rec.trajectories) {
    EXPECT_GE(t.length, 30u);
    for (uint32_t f = t.start; f < t.start + t.length; ++f) ++live[f];
  }
  EXPECT_LE(*std::max_element(live.begin(), live.end()), 6);
  // The same through a configuration, with two streams: each stream saves its own recording.
  FILE *c = std::fopen((dir + "/c.json").c_str(), "w");
  std::fputs(("{\"analytics\": [{\"kind\": \"trajectories\", \"min_length\": 30, \"max_points\": 6, \"save\": \"" + dir +
              "/u.vbct\"}, {\"kind\": \"plate\", \"stable_frames\": 4}]}")
                 .c_str(),
             c);
  std::fclose(c);
  r = tool_test::run_tool("run --quiet --frames 120 --jobs 2 --events " + dir + "/ev2.jsonl --config " + dir +
                          "/c.json @scene @scene");
  ASSERT_EQ(r.status, 0) << r.err;
  for (const char *name : {"/u-0.vbct", "/u-1.vbct"}) {
    Recording again;
    ASSERT_TRUE(load(dir + name, again)) << name;
    EXPECT_EQ(again.count, rec.count) << name;  // the scene and the recorder are deterministic
  }
}

TEST(TrajectoriesTool, BadSettingsGiveOneMessage) {
  const std::string dir = tool_test::scratch_dir();
  auto expect = [](const tool_test::Run &r, int status, const std::string &message) {
    EXPECT_EQ(r.status, status) << r.err;
    EXPECT_EQ(r.err, "vorn: " + message + "\n");
    EXPECT_EQ(r.out, "");
  };
  expect(tool_test::run_tool("trajectories --motion-threshold 0"), 2,
         "--motion-threshold: '0' is not a whole number in 1..255");
  expect(tool_test::run_tool("trajectories --max-points 70000"), 2,
         "--max-points: '70000' is not a whole number in 1..65536");
  expect(tool_test::run_tool("guard --save x.vbct"), 2, "option '--save' does not apply to 'guard'");
  FILE *c = std::fopen((dir + "/c.json").c_str(), "w");
  std::fputs("{\"analytics\": [{\"kind\": \"trajectories\",\n \"min_length\": 0}]}", c);
  std::fclose(c);
  expect(tool_test::run_tool("run --config " + dir + "/c.json"), 2,
         dir + "/c.json:2:16: trajectories.min_length must be a whole number in 1..1000000");
  // A folder that does not exist is found before any frame; one that refuses the file, when it is opened.
  expect(tool_test::run_tool("trajectories --frames 3 --save " + dir + "/no/such/dir/t.vbct"), 2,
         "trajectories: --save: folder '" + dir + "/no/such/dir' does not exist");
  expect(tool_test::run_tool("trajectories --frames 3 --save " + dir), 1,
         "trajectories: cannot write '" + dir + "': Is a directory");
}

}  // namespace
