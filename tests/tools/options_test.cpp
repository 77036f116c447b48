#include <gtest/gtest.h>

#include <initializer_list>
#include <vector>

#include "error.h"
#include "analytic_registry.h"
#include "options.h"
#include "scene.h"

namespace {

vt::RunPlan parse(std::initializer_list<const char *> args) {
  std::vector<const char *> argv = {"vorn"};
  argv.insert(argv.end(), args.begin(), args.end());
  return vt::parse_command_line(static_cast<int>(argv.size()), argv.data());
}

std::string parse_error(std::initializer_list<const char *> args) {
  try {
    parse(args);
  } catch (const vt::ToolError &e) {
    EXPECT_EQ(e.code(), vt::kExitUsage);
    return e.what();
  }
  return "(accepted)";
}

std::string config_error(const std::string &text) {
  vt::RunPlan plan;
  try {
    vt::load_config_text(text, "c.json", plan);
  } catch (const vt::ToolError &e) {
    return e.what();
  }
  return "(accepted)";
}

TEST(CommandLine, GuardGeometryAndOutputs) {
  vt::RunPlan p = parse({"guard", "--line", "60,300,360,300", "--direction=210,260,210,340", "--half-width", "25",
                         "--events", "ev.jsonl", "--annotate", "a.mp4", "--snapshot", "s.png", "--jobs", "2", "-q",
                         "--param", "window=0x101", "--param", "7=9", "in1.mp4", "in2.mp4"});
  EXPECT_EQ(p.command, "guard");
  ASSERT_EQ(p.analytics.size(), 1u);
  const vt::AnalyticSettings &g = p.analytics[0];
  EXPECT_EQ(g.kind, "guard");
  ASSERT_TRUE(g.segment("line") && g.segment("direction"));
  EXPECT_EQ(g.segment("line")->a.x, 60);
  EXPECT_EQ(g.segment("line")->b.x, 360);
  EXPECT_EQ(g.segment("direction")->b.y, 340);
  EXPECT_EQ(g.integer("half_width"), 25);
  ASSERT_EQ(g.bk_params.size(), 2u);
  EXPECT_EQ(g.bk_params[0], (std::pair<uint32_t, uint32_t>(5, 0x101)));
  EXPECT_EQ(g.bk_params[1], (std::pair<uint32_t, uint32_t>(7, 9)));
  EXPECT_EQ(p.events_path, "ev.jsonl");
  EXPECT_EQ(p.annotate_path, "a.mp4");
  EXPECT_EQ(p.snapshot_path, "s.png");
  EXPECT_EQ(p.jobs, 2);
  EXPECT_TRUE(p.quiet);
  EXPECT_EQ(p.inputs, (std::vector<std::string>{"in1.mp4", "in2.mp4"}));
}

TEST(CommandLine, CountAndLeftPolygons) {
  vt::RunPlan c = parse({"count", "--area0", "1,1, 9,1, 9,9", "--area1", "20,20,30,20,30,30,20,30", "--logic", "1"});
  ASSERT_EQ(c.analytics.size(), 1u);
  EXPECT_EQ(c.analytics[0].polygon("area0")->size(), 3u);
  EXPECT_EQ(c.analytics[0].polygon("area1")->size(), 4u);
  EXPECT_EQ((*c.analytics[0].polygon("area1"))[2].y, 30);
  EXPECT_EQ(c.analytics[0].integer("logic"), 1);
  vt::RunPlan l = parse({"left", "--region", "0,0,10,0,10,10", "--frame-threshold", "80", "--scenecut"});
  EXPECT_EQ(l.analytics[0].integer("frame_threshold"), 80);
  EXPECT_TRUE(l.analytics[0].flag("scenecut"));
  EXPECT_TRUE(l.inputs.empty());  // the built-in scene
}

TEST(CommandLine, BadArgumentsGiveOneClearMessage) {
  EXPECT_EQ(parse_error({}), "no command given (try: vorn help)");
  EXPECT_EQ(parse_error({"grd"}), "unknown command 'grd' (try: vorn help)");
  EXPECT_EQ(parse_error({"guard", "--lines", "1,2,3,4"}), "unknown option '--lines' (try: vorn help)");
  EXPECT_EQ(parse_error({"track", "--line", "1,2,3,4"}), "option '--line' does not apply to 'track'");
  EXPECT_EQ(parse_error({"guard", "--line"}), "option '--line' needs a value");
  EXPECT_EQ(parse_error({"guard", "--line", "1,2,3"}), "--line: a line is four numbers x0,y0,x1,y1, got 3");
  EXPECT_EQ(parse_error({"guard", "--line", "1,2,x,4"}),
            "--line: '1,2,x,4' is not a list of integers separated by commas");
  EXPECT_EQ(parse_error({"count", "--area0", "1,1,5,5"}), "--area0: a polygon needs at least 3 points, got 2");
  EXPECT_EQ(parse_error({"count", "--area0", "1,1,5,5,6"}), "--area0: a polygon is pairs x,y; got an odd count of numbers");
  EXPECT_EQ(parse_error({"guard", "--jobs", "0"}), "--jobs: '0' is not a whole number in 1..64");
  EXPECT_EQ(parse_error({"left", "--scenecut=1"}), "option '--scenecut' takes no value");
  EXPECT_EQ(parse_error({"bgsub", "--param", "wobble=3"}).rfind("--param: unknown model parameter 'wobble'", 0), 0u);
  EXPECT_EQ(parse_error({"bgsub", "--param", "window=-1"}), "--param: '-1' is not a 32-bit unsigned value");
  EXPECT_EQ(parse_error({"bgsub", "--param", "32=1"}).rfind("--param: unknown model parameter '32'", 0), 0u);
  EXPECT_EQ(parse_error({"run"}), "run: give the analytics with --config FILE.json");
  EXPECT_EQ(parse_error({"scene"}), "scene: give exactly one output file (OUT.mp4 or dir/%04d.png)");
  EXPECT_EQ(parse_error({"demo", "x.mp4"}), "demo runs on the built-in scene and takes no input");
  EXPECT_EQ(parse_error({"guard", "--config", "/nonexistent/c.json"}), "cannot read config '/nonexistent/c.json'");
}

TEST(Config, SeveralAnalyticsOverOneStream) {
  vt::RunPlan plan;
  vt::load_config_text(R"({
    "inputs": ["a.mp4"],
    "analytics": [
      {"kind": "guard", "line": [60, 300, 360, 300], "direction": [[210, 260], [210, 340]], "half_width": 30},
      {"kind": "guard", "name": "door", "line": [1, 2, 3, 4], "direction": [5, 6, 7, 8], "params": {"window": 257}},
      {"kind": "count", "area0": [[500,140],[620,140],[620,250]], "area1": [500,350, 620,350, 560,460],
       "sensitivity": 40, "logic": 1},
      {"kind": "left", "region": [630,450, 767,450, 767,575], "frame_threshold": 60, "scenecut": true},
      {"kind": "bgsub", "model": 2},
      {"kind": "bgsub", "model": 3}
    ]})", "c.json", plan);
  ASSERT_EQ(plan.analytics.size(), 6u);
  EXPECT_EQ(plan.inputs, std::vector<std::string>{"a.mp4"});
  EXPECT_EQ(plan.analytics[0].name, "guard");
  EXPECT_EQ(plan.analytics[0].segment("direction")->a.y, 260);
  EXPECT_EQ(plan.analytics[0].integer("half_width"), 30);
  EXPECT_EQ(plan.analytics[1].name, "door");
  EXPECT_EQ(plan.analytics[1].bk_params[0], (std::pair<uint32_t, uint32_t>(5, 257)));
  EXPECT_EQ(plan.analytics[2].polygon("area1")->size(), 3u);
  EXPECT_EQ(plan.analytics[2].integer("sensitivity"), 40);
  EXPECT_TRUE(plan.analytics[3].flag("scenecut"));
  EXPECT_EQ(plan.analytics[4].bk_type, 2u);
  // Two unnamed analytics of one kind are told apart by their position.
  EXPECT_EQ(plan.analytics[4].name, "bgsub#4");
  EXPECT_EQ(plan.analytics[5].name, "bgsub#5");
}

TEST(Config, PlateAndTrajectorySettingsMatchTheirOptions) {
  vt::RunPlan conf;
  vt::load_config_text(R"({"analytics": [
      {"kind": "plate", "weights": "w", "stable_frames": 5, "min_char_height": 12, "max_char_height": 30},
      {"kind": "trajectories", "save": "t.vbct", "max_points": 50, "min_length": 20, "min_distance": 7,
       "motion_threshold": 25}]})", "c.json", conf);
  vt::RunPlan plate = parse({"plate", "--weights", "w", "--stable-frames", "5", "--min-char-height", "12",
                             "--max-char-height=30"});
  vt::RunPlan traj = parse({"trajectories", "--save", "t.vbct", "--max-points", "50", "--min-length", "20",
                            "--min-distance", "7", "--motion-threshold", "25"});
  ASSERT_EQ(conf.analytics.size(), 2u);
  for (const vt::AnalyticSettings *p : {&conf.analytics[0], &plate.analytics.at(0)}) {
    EXPECT_EQ(p->kind, "plate");
    EXPECT_EQ(p->text("weights"), "w");
    EXPECT_EQ(p->integer("stable_frames"), 5);
    EXPECT_EQ(p->integer("min_char_height"), 12);
    EXPECT_EQ(p->integer("max_char_height"), 30);
  }
  for (const vt::AnalyticSettings *t : {&conf.analytics[1], &traj.analytics.at(0)}) {
    EXPECT_EQ(t->kind, "trajectories");
    EXPECT_EQ(t->text("save"), "t.vbct");
    EXPECT_EQ(t->integer("max_points"), 50);
    EXPECT_EQ(t->integer("min_length"), 20);
    EXPECT_EQ(t->integer("min_distance"), 7);
    EXPECT_EQ(t->integer("motion_threshold"), 25);
  }
  EXPECT_EQ(parse_error({"plate", "--save", "x"}), "option '--save' does not apply to 'plate'");
  EXPECT_EQ(parse_error({"trajectories", "--weights", "w"}), "option '--weights' does not apply to 'trajectories'");
  EXPECT_EQ(config_error("{\"analytics\": [{\"kind\": \"plate\", \"motion_threshold\": 5}]}"),
            "c.json:1:54: field \"motion_threshold\" does not apply to a plate analytic");
  EXPECT_EQ(config_error("{\"analytics\": [{\"kind\": \"plate\", \"weights\": \"\"}]}"),
            "c.json:1:45: plate.weights must name a directory");
}

TEST(Config, ErrorsPointAtTheOffendingValue) {
  EXPECT_EQ(config_error("[]"), "c.json:1:1: the configuration must be a JSON object");
  EXPECT_EQ(config_error("{\"analytics\": []}"), "c.json:1:15: \"analytics\" is empty");
  EXPECT_EQ(config_error("{\"analytics\": [{\"kind\": \"count\",\n \"area0\": [[1,1],[5,5]]}]}"),
            "c.json:2:11: count.area0: a polygon needs at least 3 points, got 2");
  EXPECT_EQ(config_error("{\"analytics\": [{\"kind\": \"guard\", \"area0\": [1,1,2,2,3,3]}]}"),
            "c.json:1:43: field \"area0\" does not apply to a guard analytic");
  EXPECT_EQ(config_error("{\"analytics\": [{\"kind\": \"gaurd\"}]}").rfind("c.json:1:25: unknown analytic kind 'gaurd'", 0), 0u);
  EXPECT_EQ(config_error("{\"analytics\": [{\"kind\": \"guard\", \"line\": [1,2,3]}]}"),
            "c.json:1:42: guard.line: coordinates come in x, y pairs");
  EXPECT_EQ(config_error("{\"analytics\": [{\"kind\": \"guard\", \"half_width\": 2.5}]}"),
            "c.json:1:48: guard.half_width must be a whole number in 1..100000");
  EXPECT_EQ(config_error("{\"analytics\": [{\"kind\": \"left\", \"colour\": 1}]}"),
            "c.json:1:43: unknown field \"colour\" in a left analytic");
  EXPECT_EQ(config_error("{\"analytic\": []}"), "c.json:1:14: unknown field \"analytic\" (expected \"analytics\" and \"inputs\")");
}

TEST(Config, AByteOrderMarkIsAccepted) {
  vt::RunPlan plan;
  vt::load_config_text("\xEF\xBB\xBF{\"analytics\": [{\"kind\": \"track\"}]}", "c.json", plan);
  ASSERT_EQ(plan.analytics.size(), 1u);
  EXPECT_EQ(plan.analytics[0].kind, "track");
  // Positions in messages count from the text after the mark.
  EXPECT_EQ(config_error("\xEF\xBB\xBF{\"analytics\": 3}"), "c.json:1:15: \"analytics\" must be an array");
}

TEST(Config, SingleAnalyticCommandTakesItsSettingsFromOneSource) {
  std::string dir = testing::TempDir();
  std::string path = dir + "/vorn_guard_config.json";
  FILE *f = std::fopen(path.c_str(), "w");
  ASSERT_TRUE(f);
  std::fputs("{\"analytics\": [{\"kind\": \"guard\", \"line\": [1,2,3,4], \"direction\": [1,1,2,2]}]}", f);
  std::fclose(f);
  vt::RunPlan p = parse({"guard", "--config", path.c_str()});
  ASSERT_EQ(p.analytics.size(), 1u);
  EXPECT_EQ(p.analytics[0].segment("line")->b.y, 4);
  EXPECT_EQ(parse_error({"guard", "--config", path.c_str(), "--half-width", "3"}),
            "guard: give the analytic's settings either on the command line or in --config, not both");
  EXPECT_EQ(parse_error({"count", "--config", path.c_str()}),
            "config '" + path + "' defines a 'guard' analytic; use 'vorn run' for several kinds");
}

TEST(Validation, GeometryIsCheckedAgainstTheFrame) {
  auto error = [](const vt::AnalyticSettings &s) -> std::string {
    try {
      vt::validate_settings(s, 768, 576);
    } catch (const vt::ToolError &e) {
      return e.what();
    }
    return "(accepted)";
  };
  vt::AnalyticSettings g = vt::settings_of("guard");
  EXPECT_EQ(error(g), "guard: guard line is missing (give --line x0,y0,x1,y1)");
  g.set_points("line", {{0, 0}, {768, 10}});
  g.set_points("direction", {{5, 5}, {5, 50}});
  EXPECT_EQ(error(g), "guard: guard line: point (768,10) lies outside the 768x576 frame");
  g.set_points("line", {{0, 0}, {767, 575}});
  EXPECT_EQ(error(g), "(accepted)");
  g.set_points("direction", {{5, 5}, {5, 5}});
  EXPECT_EQ(error(g), "guard: direction line has zero length");

  vt::AnalyticSettings c = vt::settings_of("count");
  c.set_points("area0", {{0, 0}, {10, 0}, {10, 10}});
  c.set_points("area1", {{0, 0}, {10, -1}, {10, 10}});
  EXPECT_EQ(error(c), "count: area 1: point (10,-1) lies outside the 768x576 frame");
  c.set_points("area1", {{0, 0}, {10, 0}});
  EXPECT_EQ(error(c), "count: area 1: a polygon needs at least 3 points, got 2");

  // On the built-in scene, missing geometry comes from the scene's own layout and fits its frame.
  vt::StreetScene scene(10);
  for (const char *kind : {"guard", "count", "left", "track", "bgsub"}) {
    vt::AnalyticSettings s = vt::settings_of(kind);
    vt::fill_from_scene(s, scene.truth());
    EXPECT_EQ(error(s), "(accepted)") << kind;
  }
}

}  // namespace
