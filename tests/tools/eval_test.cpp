// The scorer, and the figures it gives the analytics on the built-in scene and on the street clip.
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "error.h"
#include "eval.h"
#include "tool_test_util.h"

namespace {

const char *const kTruth = R"({"tolerance": 5, "lines": [
  {"name": "a", "line": [0, 0, 0, 9], "crossings": [
    {"frame": 10, "dir": "in"}, {"frame": 12, "dir": "in"}, {"frame": 30, "dir": "out"},
    {"frame": 50, "dir": "in", "optional": true}]},
  {"name": "b", "line": [0, 0, 9, 0], "crossings": [{"frame": 70, "dir": "out"}]}]})";

std::string event(int frame, const std::string &analytic, const std::string &kind, const std::string &extra = "") {
  return "{\"frame\":" + std::to_string(frame) + ",\"analytic\":\"" + analytic + "\",\"kind\":\"" + kind + "\"" +
         extra + "}\n";
}

const vt::CrossingScore *find(const std::vector<vt::CrossingScore> &s, const std::string &analytic,
                              const std::string &line) {
  for (const vt::CrossingScore &c : s)
    if (c.analytic == analytic && c.target == line) return &c;
  return nullptr;
}

TEST(Eval, CrossingsPairOneToOneWithinToleranceAndDirection) {
  const vt::Truth t = vt::read_truth(kTruth, "truth");
  // Line "a" by name: 14 can only take the crossing at 10 or 12 (both in); 11 takes the other. 31 is an "in"
  // where an "out" happened: a false event and a miss. 49 lands on the doubtful crossing: neither.
  std::string ev = event(14, "a", "trigger") + event(11, "a", "trigger") + event(31, "a", "trigger") +
                   event(49, "a", "trigger") + "a summary line the scorer skips\n";
  // The guard's revised verdict replaces the event it revises.
  ev += event(69, "b", "trigger") + event(70, "b", "cross_revised");
  // A line counter names its lines by index; passes of a counter name their first area in ids.
  ev += event(30, "lc", "out", ",\"values\":{\"line\":0}") + event(71, "lc", "in", ",\"values\":{\"line\":1}");
  ev += event(10, "count", "pass", ",\"ids\":[0]");
  const std::vector<vt::CrossingScore> s = vt::score_crossings(t, vt::read_events(ev, "events"));
  const vt::CrossingScore *a = find(s, "a", "a"), *b = find(s, "b", "b");
  ASSERT_TRUE(a && b);
  EXPECT_EQ(a->hits, 2);
  EXPECT_EQ(a->false_events, 1);
  EXPECT_EQ(a->misses, 1);
  EXPECT_NEAR(a->f1(), 2.0 / 3.0, 1e-9);
  EXPECT_EQ(b->hits, 1);
  EXPECT_EQ(b->false_events, 0);
  const vt::CrossingScore *l0 = find(s, "lc", "a"), *l1 = find(s, "lc", "b");
  ASSERT_TRUE(l0 && l1);
  EXPECT_EQ(l0->hits, 1);
  EXPECT_EQ(l0->misses, 2);
  EXPECT_EQ(l1->hits, 0);  // wrong direction
  EXPECT_EQ(l1->false_events, 1);
  EXPECT_EQ(find(s, "count", "a"), nullptr);  // "count" names no line and gives no index
  // The table lists every analytic and line.
  const std::string table = vt::eval_table(s, {});
  EXPECT_NE(table.find("lc"), std::string::npos);
  EXPECT_NE(table.find("0.67"), std::string::npos);
}

TEST(Eval, TracksCountMissesFalseBoxesSwitchesAndFragments) {
  const std::string truth = R"({"lines": [], "tracks": {"ignore_above": 20, "frames": [
    {"frame": 0, "objects": [{"id": 1, "box": [0, 30, 10, 60]}, {"id": 2, "box": [50, 30, 60, 60]}]},
    {"frame": 10, "objects": [{"id": 1, "box": [5, 30, 15, 60]}, {"id": 2, "box": [45, 30, 55, 60]}]},
    {"frame": 20, "objects": [{"id": 1, "box": [10, 30, 20, 60]}, {"id": 2, "box": [40, 30, 50, 60]}]},
    {"frame": 30, "objects": [{"id": 1, "box": [15, 30, 25, 60]}]}]}})";
  const vt::Truth t = vt::read_truth(truth, "truth");
  std::string ev;
  ev += event(0, "x", "boxes", ",\"ids\":[7,8],\"boxes\":[[0,31,10,61],[50,30,60,60]]");
  // Object 2 lost for a frame, a false box, and one box above the labelled part (ignored).
  ev += event(10, "x", "boxes", ",\"ids\":[7,9,4],\"boxes\":[[5,30,15,60],[90,30,99,60],[0,0,9,9]]");
  // Object 2 found again by another track: a switch and a fragment.
  ev += event(20, "x", "boxes", ",\"ids\":[7,3],\"boxes\":[[10,30,20,60],[40,30,50,60]]");
  ev += event(30, "x", "boxes", ",\"ids\":[7],\"boxes\":[[15,30,25,60]]");
  ev += event(5, "x", "boxes", ",\"ids\":[5],\"boxes\":[[0,30,9,60]]");  // not a labelled frame
  const std::vector<vt::TrackScore> s = vt::score_tracks(t, vt::read_events(ev, "events"));
  ASSERT_EQ(s.size(), 1u);
  EXPECT_EQ(s[0].objects, 7);
  EXPECT_EQ(s[0].misses, 1);
  EXPECT_EQ(s[0].false_boxes, 1);
  EXPECT_EQ(s[0].switches, 1);
  EXPECT_EQ(s[0].fragments, 1);
  EXPECT_NEAR(s[0].mota(), 1.0 - 3.0 / 7.0, 1e-9);
}

TEST(Eval, MalformedTruthIsRefusedWithItsPlace) {
  try {
    vt::read_truth(R"({"lines": [{"name": "a", "crossings": [{"frame": 3, "dir": "up"}]}]})", "t.json");
    FAIL() << "accepted";
  } catch (const vt::ToolError &e) {
    EXPECT_NE(std::string(e.what()).find("t.json:1:"), std::string::npos) << e.what();
  }
}

std::string write(const std::string &dir, const std::string &name, const std::string &text) {
  std::ofstream(dir + "/" + name) << text;
  return dir + "/" + name;
}

// The built-in scene: the line counter on the guard line finds every crossing with its direction.
TEST(Eval, LineCounterMatchesTheBuiltInScene) {
  const std::string dir = tool_test::scratch_dir();
  auto r = tool_test::run_tool("linecount --events " + dir + "/ev.jsonl");
  ASSERT_EQ(r.status, 0) << r.err;
  for (const char *row : {"in (down)", "out (up)"}) {
    const size_t at = r.out.find(row);
    ASSERT_NE(at, std::string::npos) << r.out;
    const std::string line = r.out.substr(at, r.out.find('\n', at) - at);
    EXPECT_NE(line.find("yes"), std::string::npos) << line;
  }
}

// The street clip (Debian's opencv-doc), scored against its labelled truth: the line counter meets its aims and
// beats the guard on crossings and the tracker on identities.
TEST(Eval, StreetClipFigures) {
  const std::string clip = "/usr/share/doc/opencv-doc/examples/data/vtest.avi";
  if (!tool_test::file_exists(clip)) GTEST_SKIP() << "the street clip is not installed (opencv-doc)";
  const std::string dir = tool_test::scratch_dir();
  const std::string config = write(dir, "street.json", R"({"analytics": [
    {"kind": "guard", "name": "west", "line": [200, 340, 200, 150], "direction": [160, 245, 240, 245]},
    {"kind": "guard", "name": "east", "line": [540, 430, 540, 215], "direction": [500, 320, 580, 320]},
    {"kind": "linecount", "line": [200, 340, 200, 150], "line2": [540, 430, 540, 215], "boxes_every": 10},
    {"kind": "track", "boxes_every": 10},
    {"kind": "left", "name": "left_first", "region": [1, 1, 766, 1, 766, 574, 1, 574], "learn_frames": 0},
    {"kind": "left", "name": "left_learned", "region": [1, 1, 766, 1, 766, 574, 1, 574]}]})");
  auto r = tool_test::run_tool("run --quiet --config " + config + " --events " + dir + "/ev.jsonl " + clip);
  ASSERT_EQ(r.status, 0) << r.err;
  const vt::Truth truth =
      vt::read_truth(tool_test::read_text(std::string(VORN_TOOL_TEST_DATA) + "/vtest_truth.json"), "truth");
  const auto events = vt::read_events(tool_test::read_text(dir + "/ev.jsonl"), "events");
  const auto crossings = vt::score_crossings(truth, events);
  const auto tracks = vt::score_tracks(truth, events);
  std::printf("%s", vt::eval_table(crossings, tracks).c_str());
  for (const char *line : {"west", "east"}) {
    const vt::CrossingScore *lc = find(crossings, "linecount", line), *guard = find(crossings, line, line);
    ASSERT_TRUE(lc && guard) << line;
    EXPECT_GE(lc->f1(), 0.9) << line;
    EXPECT_GE(lc->f1(), guard->f1()) << line;
  }
  ASSERT_EQ(tracks.size(), 2u);
  const vt::TrackScore &lc = tracks[0].analytic == "linecount" ? tracks[0] : tracks[1];
  const vt::TrackScore &tr = tracks[0].analytic == "track" ? tracks[0] : tracks[1];
  EXPECT_GE(lc.mota(), 0.75);
  EXPECT_LE(lc.switches, 1);
  EXPECT_GT(lc.mota(), tr.mota());
  EXPECT_LT(lc.switches, tr.switches);
  // Nothing is left behind in the clip. With the first frame as its background the detector reports the places
  // where people stood in it; a learned background leaves far fewer of them.
  int first = 0, learned = 0;
  for (const vt::ScoredEvent &e : events) {
    if (e.kind != "left") continue;
    (e.analytic == "left_first" ? first : learned) += 1;
  }
  std::printf("left objects reported: %d with the first frame as background, %d with a learned one\n", first, learned);
  EXPECT_LE(2 * learned, first);
}

}  // namespace
