// The analytics over the built-in scene, checked against what the scene holds.
#include <gtest/gtest.h>

#include <map>

#include "analytic_registry.h"
#include "json.h"
#include "scene.h"
#include "tool_test_util.h"
#include "vorn.h"

namespace {

std::unique_ptr<vt::Analytic> make(const char *kind, const vt::StreetScene &scene) {
  vt::AnalyticSettings s = vt::settings_of(kind);
  vt::fill_from_scene(s, scene.truth());
  vt::validate_settings(s, 768, 576);
  return vt::create_analytic(s, scene.info());
}

// Events of a run of the program, one parsed object per line.
std::vector<vt::Json> events_of(const std::string &path) {
  EXPECT_EQ(tool_test::schema_failures(path), "");
  std::vector<vt::Json> out;
  std::string text = tool_test::read_text(path);
  size_t pos = 0;
  while (pos < text.size()) {
    size_t nl = text.find('\n', pos);
    out.push_back(vt::parse_json(text.substr(pos, nl - pos), "event"));
    pos = nl + 1;
  }
  return out;
}

TEST(BgsubOnScene, ForegroundLiesOnThePeopleAndTheBag) {
  vorn_init();
  vt::StreetScene scene(260);
  std::unique_ptr<vt::Analytic> a = make("bgsub", scene);
  vt::Frame f;
  std::vector<vt::Event> events;
  int checked = 0;
  while (scene.next(f)) {
    a->feed(f, events);
    if (f.index < 150 || f.index % 20 != 0) continue;
    // Foreground pixels inside the boxes of what moves (or was left) and outside them.
    std::vector<vt::Box> boxes = scene.object_boxes(static_cast<int>(f.index));
    const uint8_t *m = a->mask();
    ASSERT_NE(m, nullptr);
    int64_t in = 0, out = 0;
    for (int y = 0; y < 576; ++y)
      for (int x = 0; x < 768; ++x) {
        if (!m[size_t(y) * 768 + x]) continue;
        bool hit = false;
        for (const vt::Box &b : boxes) hit = hit || (x >= b.left && x < b.right && y >= b.top && y < b.bottom);
        (hit ? in : out) += 1;
      }
    EXPECT_GT(in, 500) << "frame " << f.index;            // people are found (a walker covers ~1500 pixels)
    EXPECT_LT(out, in / 4 + 200) << "frame " << f.index;  // and little else is: the picture is not upside down
    ++checked;
  }
  EXPECT_EQ(checked, 5);  // frames 160, 180, ..., 240
  bool learned = false;
  for (const vt::Event &e : events) learned = learned || e.kind == "learned";
  EXPECT_TRUE(learned);
}

TEST(BgsubOnScene, ProgramWritesMasksAndEvents) {
  const std::string dir = tool_test::scratch_dir();
  tool_test::Run r = tool_test::run_tool("bgsub --frames 120 --quiet --events " + dir + "/ev.jsonl --masks " + dir +
                                         "/m.mp4 --snapshot " + dir + "/s.png");
  ASSERT_EQ(r.status, 0) << r.err;
  std::vector<vt::Json> ev = events_of(dir + "/ev.jsonl");
  ASSERT_FALSE(ev.empty());
  std::map<std::string, int> kinds;
  for (const vt::Json &e : ev) {
    kinds[e.find("kind")->text]++;
    EXPECT_EQ(e.find("analytic")->text, "bgsub");
    EXPECT_LT(e.find("frame")->number, 120);
  }
  EXPECT_EQ(kinds["learned"], 1);
  EXPECT_GE(kinds["motion_start"], 1);
  tool_test::Run info = tool_test::run_tool("info " + dir + "/m.mp4 " + dir + "/s.png");
  ASSERT_EQ(info.status, 0) << info.err;
  EXPECT_NE(info.out.find("\"frames\":120"), std::string::npos) << info.out;
  EXPECT_NE(info.out.find("\"frames\":1,"), std::string::npos) << info.out;
}

TEST(CountOnScene, PassesBothWaysMatchTheScene) {
  const std::string dir = tool_test::scratch_dir();
  tool_test::Run r = tool_test::run_tool("count --quiet --events " + dir + "/ev.jsonl");
  ASSERT_EQ(r.status, 0) << r.err;
  vt::StreetScene scene;
  const vt::SceneTruth &t = scene.truth();
  int from[2] = {0, 0};
  std::vector<int> frames;
  for (const vt::Json &e : events_of(dir + "/ev.jsonl")) {
    ASSERT_EQ(e.find("kind")->text, "pass");
    int area = static_cast<int>(e.find("ids")->items[0].number);
    from[area]++;
    EXPECT_EQ(e.find("counts")->find(area == 0 ? "from_area0" : "from_area1")->number, from[area]);
    frames.push_back(static_cast<int>(e.find("frame")->number));
  }
  EXPECT_EQ(from[0], t.passes_from(0));
  EXPECT_EQ(from[1], t.passes_from(1));
  // Each pass is counted after the walker has crossed between the areas, before the next one comes.
  ASSERT_EQ(frames.size(), t.passes.size());
  for (size_t i = 0; i < frames.size(); ++i) {
    EXPECT_GT(frames[i], t.passes[i].frame);
    if (i + 1 < frames.size()) {
      EXPECT_LT(frames[i], t.passes[i + 1].frame + 10);
    }
  }
}

}  // namespace

namespace {

TEST(GuardOnScene, CrossingsBothWaysMatchTheScene) {
  const std::string dir = tool_test::scratch_dir();
  tool_test::Run r = tool_test::run_tool("guard --quiet --events " + dir + "/ev.jsonl");
  ASSERT_EQ(r.status, 0) << r.err;
  vt::StreetScene scene;
  const vt::SceneTruth &t = scene.truth();
  int64_t triggers = 0, crosses = 0;
  std::vector<int> frames;
  for (const vt::Json &e : events_of(dir + "/ev.jsonl")) {
    const std::string kind = e.find("kind")->text;
    if (kind == "scene_change") continue;
    ASSERT_TRUE(kind == "trigger" || kind == "cross") << kind;
    triggers = static_cast<int64_t>(e.find("counts")->find("triggers")->number);
    crosses = static_cast<int64_t>(e.find("counts")->find("crosses")->number);
    frames.push_back(static_cast<int>(e.find("frame")->number));
    // The crossing features' traces meet the guard line's row.
    for (const vt::Json &b : e.find("boxes")->items) {
      EXPECT_LE(b.items[1].number, t.guard_line.a.y);
      EXPECT_GT(b.items[3].number, t.guard_line.a.y);
    }
  }
  EXPECT_EQ(triggers, t.crossings_down());
  EXPECT_EQ(crosses, t.crossings_up());
  // Each crossing is reported close to when it happens.
  ASSERT_EQ(frames.size(), t.crossings.size());
  for (size_t i = 0; i < frames.size(); ++i) EXPECT_NEAR(frames[i], t.crossings[i].frame, 25) << i;
}

TEST(LeftOnScene, TheBagIsFoundWhereItWasPutDown) {
  const std::string dir = tool_test::scratch_dir();
  tool_test::Run r = tool_test::run_tool("left --quiet --events " + dir + "/ev.jsonl");
  ASSERT_EQ(r.status, 0) << r.err;
  vt::StreetScene scene;
  const vt::SceneTruth &t = scene.truth();
  int left = 0;
  for (const vt::Json &e : events_of(dir + "/ev.jsonl")) {
    if (e.find("kind")->text != "left") continue;
    ++left;
    EXPECT_GT(e.find("frame")->number, t.left.frame);
    const vt::Json &b = e.find("boxes")->items[0];
    // The reported box and the bag's box overlap.
    EXPECT_LT(b.items[0].number, t.left.box.right);
    EXPECT_GT(b.items[2].number, t.left.box.left);
    EXPECT_LT(b.items[1].number, t.left.box.bottom);
    EXPECT_GT(b.items[3].number, t.left.box.top);
  }
  EXPECT_EQ(left, 1);
}

}  // namespace

namespace {

TEST(TrackOnScene, TracksStartBeforeTheyEndAndFollowPeople) {
  const std::string dir = tool_test::scratch_dir();
  tool_test::Run r = tool_test::run_tool("track --quiet --frames 300 --events " + dir + "/ev.jsonl");
  ASSERT_EQ(r.status, 0) << r.err;
  vt::StreetScene scene(300);
  std::map<int, int> started;
  for (const vt::Json &e : events_of(dir + "/ev.jsonl")) {
    const std::string kind = e.find("kind")->text;
    int frame = static_cast<int>(e.find("frame")->number);
    if (kind == "track_start") {
      int id = static_cast<int>(e.find("ids")->items[0].number);
      EXPECT_EQ(started.count(id), 0u) << "id " << id << " reused";
      started[id] = frame;
      // A new track sits on someone: its box overlaps one of the scene's objects on that frame.
      const vt::Json &b = e.find("boxes")->items[0];
      bool on_someone = false;
      for (const vt::Box &o : scene.object_boxes(frame))
        on_someone = on_someone || (b.items[0].number < o.right && b.items[2].number > o.left &&
                                    b.items[1].number < o.bottom && b.items[3].number > o.top);
      EXPECT_TRUE(on_someone) << "track " << id << " at frame " << frame;
    } else if (kind == "track_end") {
      int id = static_cast<int>(e.find("ids")->items[0].number);
      ASSERT_EQ(started.count(id), 1u) << "track " << id << " ends without a start";
      EXPECT_GT(frame, started[id]);
    }
  }
  EXPECT_GE(started.size(), 3u);
}

TEST(PlateOnScene, TheParkedCarsPlateIsReadOnceWhereItStands) {
  const std::string dir = tool_test::scratch_dir();
  tool_test::Run r = tool_test::run_tool("plate --quiet --frames 30 --events " + dir + "/ev.jsonl");
  ASSERT_EQ(r.status, 0) << r.err;
  const vt::StreetScene scene(30);
  const vt::SceneTruth &truth = scene.truth();
  std::vector<vt::Json> ev = events_of(dir + "/ev.jsonl");
  ASSERT_EQ(ev.size(), 1u);
  EXPECT_EQ(ev[0].find("kind")->text, "plate");
  EXPECT_EQ(ev[0].find("text")->text, truth.plate);
  const vt::Json &b = ev[0].find("boxes")->items[0];
  EXPECT_GE(b.items[0].number, truth.plate_box.left);
  EXPECT_GE(b.items[1].number, truth.plate_box.top);
  EXPECT_LE(b.items[2].number, truth.plate_box.right);
  EXPECT_LE(b.items[3].number, truth.plate_box.bottom);
}

}  // namespace
