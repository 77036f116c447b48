// `vorn view` in a real browser: headless chromium, driven by tests/viewer/check_page.mjs, loads the page over the
// built-in scene, presses on a walker's point and drags it, clicks a timeline mark and filters the marks. What the
// page showed is checked against the events file and against the library's recorder called directly.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cmath>
#include <fstream>
#include <sstream>

#include <nlohmann/json.hpp>

#include "vorn.h"

#include "tool_test_util.h"
#include "view_process.h"

namespace {

using nlohmann::json;

const int kFrames = 200;    // of the built-in scene
const int kPressFrame = 120;

struct Recorder {
  vorn_vbc *v = nullptr;
  explicit Recorder(const std::string &path) {
    vorn_vbc_params p{};
    p.width = 768;
    p.height = 576;
    if (vorn_vbc_create(&p, &v) == VORN_OK && vorn_vbc_load(v, path.c_str()) != VORN_OK) {
      vorn_vbc_destroy(v);
      v = nullptr;
    }
  }
  ~Recorder() { vorn_vbc_destroy(v); }
  vorn_point2f at(uint32_t index, uint32_t frame) const {
    uint32_t start = 0;
    vorn_point2f p{};
    vorn_vbc_get_trajectory(v, index, &start, nullptr);
    vorn_vbc_get_points(v, index, frame - start, 1, &p);
    return p;
  }
};

// A walker's point: of the trajectories present from the press frame to 30 frames later, the one that moved most.
uint32_t walker(const Recorder &rec) {
  uint32_t count = 0, best = 0;
  double most = -1;
  vorn_vbc_get_count(rec.v, &count, nullptr);
  for (uint32_t i = 0; i < count; ++i) {
    uint32_t s = 0, n = 0;
    vorn_vbc_get_trajectory(rec.v, i, &s, &n);
    if (s > kPressFrame || s + n <= kPressFrame + 30) continue;
    vorn_point2f a = rec.at(i, kPressFrame), b = rec.at(i, kPressFrame + 30);
    double d = std::hypot(a.x - b.x, a.y - b.y);
    if (d > most) most = d, best = i;
  }
  return best;
}

std::vector<json> read_events(const std::string &path) {
  std::vector<json> out;
  std::istringstream in(tool_test::read_text(path));
  for (std::string line; std::getline(in, line);) out.push_back(json::parse(line));
  return out;
}

TEST(ViewBrowser, DragFollowsTheRecorderAndTheTimelineShowsTheEvents) {
  const std::string node_modules = std::string(VORN_SOURCE_DIR) + "/tests/viewer/node_modules/playwright-core";
  struct stat st;
  ASSERT_EQ(stat(node_modules.c_str(), &st), 0) << "playwright-core is missing: run scripts/deps.sh viewer";
  const std::string dir = tool_test::scratch_dir();
  {
    std::ofstream cfg(dir + "/cfg.json");
    cfg << R"({"analytics": [{"kind": "guard"}, {"kind": "count"}, {"kind": "track"},)"
        << R"( {"kind": "trajectories", "save": ")" << dir << R"(/t.vbct"}]})";
  }
  tool_test::Run made = tool_test::run_tool("run --quiet --frames " + std::to_string(kFrames) + " --config " + dir +
                                            "/cfg.json --events " + dir + "/ev.jsonl");
  ASSERT_EQ(made.status, 0) << made.err;
  const std::vector<json> events = read_events(dir + "/ev.jsonl");
  Recorder rec(dir + "/t.vbct");
  ASSERT_NE(rec.v, nullptr);

  // Press on the walker's point, drag to its point 15 frames later and a little aside, then to 30 frames later.
  const uint32_t w = walker(rec);
  const vorn_point2f press = rec.at(w, kPressFrame), mid = rec.at(w, kPressFrame + 15),
                     end = rec.at(w, kPressFrame + 30);
  ASSERT_GT(std::hypot(press.x - end.x, press.y - end.y), 40.0) << "no walker moved at frame " << kPressFrame;
  size_t mark = 0;
  while (mark < events.size() && events[mark]["analytic"] != "guard") ++mark;
  ASSERT_LT(mark, events.size());
  json plan = {{"shots", "."}, {"frame", kPressFrame}, {"press", {press.x, press.y}},
               {"drag", {{mid.x + 3, mid.y}, {end.x, end.y}}}, {"mark", mark}, {"hide", {"track", "track_start"}}};
  mkdir("view_screenshots", 0777);
  plan["shots"] = "view_screenshots";

  tool_test::ViewProcess server({"@scene", "--quiet", "--frames", std::to_string(kFrames), "--events",
                                 dir + "/ev.jsonl", "--trajectories", dir + "/t.vbct"},
                                60);
  ASSERT_EQ(server.url().rfind("http://127.0.0.1:", 0), 0u) << server.url();
  plan["url"] = server.url();
  std::ofstream(dir + "/plan.json") << plan.dump();
  const std::string cmd = "node " + std::string(VORN_SOURCE_DIR) + "/tests/viewer/check_page.mjs " + dir +
                          "/plan.json >" + dir + "/page.json 2>" + dir + "/page.err";
  const int raw = std::system(cmd.c_str());
  ASSERT_TRUE(WIFEXITED(raw) && WEXITSTATUS(raw) == 0) << tool_test::read_text(dir + "/page.err");
  const json page = json::parse(tool_test::read_text(dir + "/page.json"));
  EXPECT_EQ(server.stop(), 0);  // SIGTERM ends the server cleanly
  EXPECT_TRUE(page["errors"].empty()) << page["errors"];
  EXPECT_EQ(page["loaded_frame"], kPressFrame);

  // The timeline: one mark per line of the file, with its frame, analytic and kind.
  ASSERT_EQ(page["marks"].size(), events.size());
  std::vector<bool> seen(events.size(), false);
  for (const json &m : page["marks"]) {
    const size_t i = m["index"];
    ASSERT_LT(i, events.size());
    EXPECT_FALSE(seen[i]);
    seen[i] = true;
    EXPECT_EQ(m["frame"], events[i]["frame"]);
    EXPECT_EQ(m["analytic"], events[i]["analytic"]);
    EXPECT_EQ(m["kind"], events[i]["kind"]);
  }
  std::vector<size_t> starts;
  for (size_t i = 0; i < events.size(); ++i)
    if (events[i]["kind"] == "track_start") starts.push_back(i);
  std::vector<size_t> hidden = page["hidden"];
  std::sort(hidden.begin(), hidden.end());
  EXPECT_EQ(hidden, starts);

  // The press selected what the recorder selects there, and every drag position got the recorder's frame.
  const json &down = page["stats"]["downs"][0];
  EXPECT_NEAR(down["x"].get<double>(), press.x, 0.05);
  EXPECT_NEAR(down["y"].get<double>(), press.y, 0.05);
  EXPECT_EQ(down["frame"], kPressFrame);
  uint32_t index = VORN_VBC_NONE, frame = 0;
  ASSERT_EQ(vorn_vbc_down(rec.v, kPressFrame, down["x"], down["y"], &index), VORN_OK);
  EXPECT_EQ(down["index"], index);
  const json &moves = page["stats"]["moves"];
  ASSERT_FALSE(moves.empty());
  for (const json &m : moves) {
    vorn_point2f p{};
    ASSERT_EQ(vorn_vbc_move(rec.v, m["x"], m["y"], &frame, &p), VORN_OK);
    EXPECT_EQ(m["frame"], frame) << "drag to " << m["x"] << "," << m["y"];
    EXPECT_LT(m["ms"].get<double>(), 1000.0);  // a bound for a loaded machine; the aim of 30 ms is measured apart
  }
  EXPECT_NEAR(moves.back()["x"].get<double>(), end.x, 0.05);
  EXPECT_EQ(page["dragged_frame"], frame);
  EXPECT_GT(frame, static_cast<uint32_t>(kPressFrame) + 20);

  // The mark seeks to its event and outlines its boxes.
  EXPECT_EQ(page["mark_frame"], events[mark]["frame"]);
  EXPECT_EQ(page["outlined"], events[mark]["boxes"]);
}

}  // namespace
