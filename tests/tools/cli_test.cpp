// Runs of the `vorn` program itself: exit statuses, messages, and the files it writes.
#include <gtest/gtest.h>

#include <fstream>

#include "analytic_registry.h"
#include "json.h"
#include "report.h"
#include "runner.h"
#include "tool_test_util.h"
#include "video_reader.h"

namespace {

using tool_test::run_tool;

// Every failure is exactly one line on standard error, "vorn: ...", and nothing on standard output.
void expect_one_message(const tool_test::Run &r, int status, const std::string &message) {
  EXPECT_EQ(r.status, status) << r.err;
  EXPECT_EQ(r.err, "vorn: " + message + "\n");
  EXPECT_EQ(r.out, "");
}

TEST(Cli, HelpAndUsageErrors) {
  tool_test::Run help = run_tool("help");
  EXPECT_EQ(help.status, 0);
  EXPECT_EQ(help.out.rfind("usage: vorn COMMAND", 0), 0u);
  EXPECT_EQ(run_tool("--help").out, help.out);
  expect_one_message(run_tool(""), 2, "no command given (try: vorn help)");
  expect_one_message(run_tool("count --area0 10,10,50,10"), 2, "--area0: a polygon needs at least 3 points, got 2");
  expect_one_message(run_tool("guard --line 10,300,800,300 --direction 5,5,5,50 --frames 2"), 2,
                     "guard: guard line: point (800,300) lies outside the 768x576 frame");
}

TEST(Cli, BadInputsStopWithOneMessage) {
  const std::string dir = tool_test::scratch_dir();
  expect_one_message(run_tool("bgsub " + dir + "/missing.mp4"), 1, "input '" + dir + "/missing.mp4' does not exist");
  FILE *t = std::fopen((dir + "/junk.avi").c_str(), "w");
  for (int i = 0; i < 4096; ++i) std::fputc((i * 7919) & 255, t);
  std::fclose(t);
  tool_test::Run r = run_tool("track " + dir + "/junk.avi");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err.rfind("vorn: input '" + dir + "/junk.avi' is not a readable video", 0), 0u) << r.err;
  EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1);
  // A bad stream among good ones stops the run before anything is processed.
  expect_one_message(run_tool("bgsub @scene " + dir + "/missing.mp4"), 1,
                     "input '" + dir + "/missing.mp4' does not exist");
  // A configuration with an error names the file, line and column.
  FILE *c = std::fopen((dir + "/c.json").c_str(), "w");
  std::fputs("{\"analytics\": [\n  {\"kind\": \"left\", \"region\": [1,1, 2,2]}\n]}\n", c);
  std::fclose(c);
  expect_one_message(run_tool("run --config " + dir + "/c.json"), 2,
                     dir + "/c.json:2:30: left.region: a polygon needs at least 3 points, got 2");
}

TEST(Cli, OutputsInMissingFoldersAreRefusedBeforeAnyFrame) {
  const std::string dir = tool_test::scratch_dir();
  expect_one_message(run_tool("bgsub --frames 3 --snapshot " + dir + "/no/s.png"), 2,
                     "--snapshot: folder '" + dir + "/no' does not exist");
  expect_one_message(run_tool("guard --frames 3 --annotate " + dir + "/no/a.mp4"), 2,
                     "--annotate: folder '" + dir + "/no' does not exist");
  expect_one_message(run_tool("trajectories --frames 3 --save " + dir + "/no/t.vbct"), 2,
                     "trajectories: --save: folder '" + dir + "/no' does not exist");
  expect_one_message(run_tool("track --frames 3 --events " + dir + "/no/e.jsonl"), 2,
                     "--events: folder '" + dir + "/no' does not exist");
}

TEST(Cli, AnInputCutShortFailsTheRunUnlessTolerated) {
  const std::string dir = tool_test::scratch_dir();
  ASSERT_EQ(run_tool("scene " + dir + "/s.avi --codec mpeg4 --frames 30 --quiet").status, 0);
  const std::string whole = tool_test::read_text(dir + "/s.avi");
  {
    std::ofstream cut(dir + "/cut.avi", std::ios::binary);
    cut << whole.substr(0, whole.size() / 2);
  }
  // Events on standard output: the summary and the damage go to standard error, standard output stays JSON lines.
  tool_test::Run r = run_tool("track " + dir + "/cut.avi");
  EXPECT_EQ(r.status, 1);
  EXPECT_NE(r.err.find("vorn: input '" + dir + "/cut.avi': ended after "), std::string::npos) << r.err;
  EXPECT_NE(r.err.find(" of 30 frames"), std::string::npos) << r.err;
  EXPECT_NE(r.err.find("stream 0 was damaged: ended after"), std::string::npos) << r.err;
  for (size_t pos = 0; pos < r.out.size();) {
    size_t nl = r.out.find('\n', pos);
    ASSERT_NE(nl, std::string::npos);
    EXPECT_EQ(vt::parse_json(r.out.substr(pos, nl - pos), "stdout").type, vt::Json::kObject);
    pos = nl + 1;
  }
  r = run_tool("track --quiet --tolerate-errors " + dir + "/cut.avi");
  EXPECT_EQ(r.status, 0);
  EXPECT_NE(r.err.find("(tolerated)"), std::string::npos) << r.err;
  // The whole file reads cleanly, and info names the damage of the other.
  EXPECT_EQ(run_tool("track --quiet " + dir + "/s.avi").status, 0);
  r = run_tool("info " + dir + "/cut.avi " + dir + "/s.avi");
  ASSERT_EQ(r.status, 0);
  const size_t nl = r.out.find('\n');
  EXPECT_NE(vt::parse_json(r.out.substr(0, nl), "info").find("problem"), nullptr);
  EXPECT_EQ(vt::parse_json(r.out.substr(nl + 1), "info").find("problem"), nullptr);
}

TEST(Cli, SceneCommandWritesAVideoAndItsTruth) {
  const std::string dir = tool_test::scratch_dir();
  tool_test::Run r = run_tool("scene " + dir + "/s.mp4 --frames 20 --truth " + dir + "/t.json");
  ASSERT_EQ(r.status, 0) << r.err;
  vt::VideoReader v(dir + "/s.mp4");
  vt::Frame f;
  int n = 0;
  while (v.next(f)) ++n;
  EXPECT_EQ(n, 20);
  vt::Json truth = vt::parse_json(tool_test::read_text(dir + "/t.json"), "t.json");
  EXPECT_EQ(truth.find("frames")->number, 20);
  // The info command sees the same: one JSON line per input.
  tool_test::Run info = run_tool("info " + dir + "/s.mp4");
  ASSERT_EQ(info.status, 0) << info.err;
  vt::Json j = vt::parse_json(info.out, "info");
  EXPECT_EQ(j.find("frames")->number, 20);
  EXPECT_EQ(j.find("width")->number, 768);
  EXPECT_DOUBLE_EQ(j.find("fps")->number, 25.0);
  EXPECT_DOUBLE_EQ(j.find("last_time")->number, 19 / 25.0);
  expect_one_message(run_tool("scene " + dir + "/%s.png"), 2,
                     "scene: '" + dir + "/%s.png' is not a frame-file pattern such as dir/%04d.png");
}

TEST(Cli, DemoWritesItsOutputs) {
  const std::string dir = tool_test::scratch_dir() + "/out";
  tool_test::Run r = run_tool("demo --frames 40 --out " + dir + " --event-snapshots " + dir.substr(0, dir.rfind('/')));
  ASSERT_EQ(r.status, 0) << r.err;
  // Every event is valid against the shipped schema, and has its picture.
  EXPECT_EQ(tool_test::schema_failures(dir + "/events.jsonl"), "");
  EXPECT_NE(r.out.find("the scene holds:"), std::string::npos);
  EXPECT_TRUE(tool_test::file_exists(dir + "/annotated.mp4"));
  EXPECT_TRUE(tool_test::file_exists(dir + "/snapshot.png"));
  EXPECT_TRUE(tool_test::file_exists(dir + "/truth.json"));
  vt::VideoReader snap(dir + "/snapshot.png");
  vt::Frame f;
  ASSERT_TRUE(snap.next(f));
  EXPECT_EQ(f.width, 768);
  vt::VideoReader video(dir + "/annotated.mp4");
  int n = 0;
  while (video.next(f)) ++n;
  EXPECT_EQ(n, 40);
  // Every line of the events file is one JSON object.
  std::string events = tool_test::read_text(dir + "/events.jsonl");
  size_t pos = 0;
  while (pos < events.size()) {
    size_t nl = events.find('\n', pos);
    ASSERT_NE(nl, std::string::npos);
    const vt::Json e = vt::parse_json(events.substr(pos, nl - pos), "event");
    ASSERT_NE(e.find("snapshot"), nullptr);
    const std::string shot = e.find("snapshot")->text;
    EXPECT_NE(shot.find("@scene-" + std::to_string(int(e.find("frame")->number)) + "-" + e.find("kind")->text), std::string::npos);
    vt::VideoReader picture(shot);
    ASSERT_TRUE(picture.next(f));
    EXPECT_EQ(f.width, 768);
    pos = nl + 1;
  }
}

TEST(Cli, SeveralStreamsGetTheirOwnOutputs) {
  EXPECT_EQ(vt::stream_path("out/a.mp4", 0, 1), "out/a.mp4");
  EXPECT_EQ(vt::stream_path("out/a.mp4", 1, 2), "out/a-1.mp4");
  EXPECT_EQ(vt::stream_path("out.d/snap", 0, 3), "out.d/snap-0");
  const std::string dir = tool_test::scratch_dir();
  tool_test::Run r = run_tool("demo --jobs 2 --frames 12 --out " + dir);
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_NE(r.out.find("with 1 job"), std::string::npos);  // one stream: one thread whatever --jobs says
}

TEST(Events, TheSchemaRefusesWhatIsNoEvent) {
  const std::string dir = tool_test::scratch_dir();
  vt::Event e;
  e.stream_name = "cam";
  e.analytic = "guard";
  e.kind = "cross";
  e.boxes = {vt::Box{1, 2, 3, 4}};
  e.wall_time = "2026-11-25T01:20:03.042+01:00";
  std::ofstream(dir + "/good.jsonl") << vt::event_json(e) << "\n";
  EXPECT_EQ(tool_test::schema_failures(dir + "/good.jsonl"), "");
  const std::string good = vt::event_json(e);
  const std::pair<std::string, std::string> bad[] = {
      {"[1,2,3,4]", "[1,2,3]"}, {"\"cam\"", "\"\""}, {"+01:00", "Z"}, {"\"cross\"", "\"Cross\""},
      {"\"counts\":{}", "\"counts\":{\"n\":1.5}"}};
  for (const auto &b : bad) {
    std::string text = good;
    ASSERT_NE(text.find(b.first), std::string::npos) << b.first;
    text.replace(text.find(b.first), b.first.size(), b.second);
    std::ofstream(dir + "/bad.jsonl") << text << "\n";
    EXPECT_NE(tool_test::schema_failures(dir + "/bad.jsonl"), "") << text;
  }
}

TEST(Events, OneJsonObjectWithEveryField) {
  vt::Event e;
  e.stream = 1;
  e.frame = 42;
  e.time = 1.68;
  e.analytic = "door \"A\"";
  e.kind = "cross";
  e.ids = {3, 7};
  e.boxes = {vt::Box{1, 2, 3, 4}};
  e.counts = {{"down", 5}, {"up", 2}};
  std::string text = vt::event_json(e);
  EXPECT_EQ(text.find('\n'), std::string::npos);
  vt::Json j = vt::parse_json(text, "event");
  EXPECT_EQ(j.find("stream")->number, 1);
  EXPECT_EQ(j.find("frame")->number, 42);
  EXPECT_DOUBLE_EQ(j.find("time")->number, 1.68);
  EXPECT_EQ(j.find("analytic")->text, "door \"A\"");
  EXPECT_EQ(j.find("kind")->text, "cross");
  ASSERT_EQ(j.find("ids")->items.size(), 2u);
  EXPECT_EQ(j.find("ids")->items[1].number, 7);
  ASSERT_EQ(j.find("boxes")->items.size(), 1u);
  EXPECT_EQ(j.find("boxes")->items[0].items[3].number, 4);
  EXPECT_EQ(j.find("counts")->find("up")->number, 2);
  EXPECT_EQ(j.find("text"), nullptr);  // nothing read: no text and no values
  EXPECT_EQ(j.find("values"), nullptr);
  e.text = "AB123\"C";
  e.values = {{"confidence", 0.8125}, {"spread", 0.5}};
  j = vt::parse_json(vt::event_json(e), "event");
  EXPECT_EQ(j.find("text")->text, "AB123\"C");
  EXPECT_DOUBLE_EQ(j.find("values")->find("confidence")->number, 0.8125);
  EXPECT_DOUBLE_EQ(j.find("values")->find("spread")->number, 0.5);
}

TEST(Report, TablesLineUp) {
  std::string t = vt::format_table({"a", "long header"}, {{"xyz", "1"}, {"p", "22"}});
  EXPECT_EQ(t, "a    long header\n----------------\nxyz  1\np    22\n");
}

}  // namespace
