// What the program checks and restricts before an analytic runs: the watched area of bgsub and track, the
// areas of count, boxes kept inside the frame.
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include "analytic_settings.h"
#include "error.h"
#include "json.h"
#include "tool_test_util.h"
#include "watched_area.h"

namespace {

TEST(WatchedArea, ARegionIsRasterisedAndAMaskImageRead) {
  vt::AnalyticSettings s = vt::settings_of("bgsub");
  EXPECT_TRUE(vt::watched_area(s, 20, 10).empty());  // nothing given: everything watched
  s.set_points("region", {{2, 1}, {6, 1}, {6, 4}, {2, 4}});
  const std::vector<uint8_t> area = vt::watched_area(s, 20, 10);
  ASSERT_EQ(area.size(), 200u);
  EXPECT_EQ(area[1 * 20 + 2], 255);  // corners and edges belong to the region
  EXPECT_EQ(area[4 * 20 + 6], 255);
  EXPECT_EQ(area[3 * 20 + 4], 255);
  EXPECT_EQ(area[5 * 20 + 4], 0);
  EXPECT_EQ(area[3 * 20 + 7], 0);
  EXPECT_EQ(std::count(area.begin(), area.end(), 255), 5 * 4);

  const std::string dir = tool_test::scratch_dir();
  const std::string png = dir + "/mask.png";
  ASSERT_EQ(std::system(("convert -size 20x10 xc:black -fill white -draw 'rectangle 10,2 14,7' " + png).c_str()), 0);
  vt::AnalyticSettings m = vt::settings_of("track");
  m.set_text("mask", png);
  const std::vector<uint8_t> from_image = vt::watched_area(m, 20, 10);
  ASSERT_EQ(from_image.size(), 200u);
  EXPECT_EQ(from_image[2 * 20 + 10], 255);
  EXPECT_EQ(from_image[7 * 20 + 14], 255);
  EXPECT_EQ(from_image[1 * 20 + 10], 0);
  EXPECT_EQ(std::count(from_image.begin(), from_image.end(), 255), 5 * 6);
  try {
    vt::watched_area(m, 40, 10);
    ADD_FAILURE() << "a mask of another size was accepted";
  } catch (const vt::ToolError &e) {
    EXPECT_EQ(e.code(), vt::kExitRuntime);
    EXPECT_NE(std::string(e.what()).find("20x10"), std::string::npos) << e.what();
  }
}

TEST(WatchedArea, NothingOutsideTheRegionIsTrackedOrMoves) {
  // The scene's walkers cross the middle of the picture; a region in the top-left corner holds none of them.
  const std::string dir = tool_test::scratch_dir();
  std::ofstream(dir + "/c.json") << R"({"analytics": [
      {"kind": "track", "name": "corner", "region": [0, 0, 60, 0, 60, 40, 0, 40]},
      {"kind": "track", "name": "all"},
      {"kind": "bgsub", "name": "quiet", "region": [0, 0, 60, 0, 60, 40, 0, 40]}]})";
  auto r = tool_test::run_tool("run --quiet --frames 300 --events " + dir + "/ev.jsonl --config " + dir + "/c.json");
  ASSERT_EQ(r.status, 0) << r.err;
  std::map<std::string, int> starts, motion;
  const std::string text = tool_test::read_text(dir + "/ev.jsonl");
  for (size_t pos = 0; pos < text.size();) {
    const size_t nl = text.find('\n', pos);
    const vt::Json e = vt::parse_json(text.substr(pos, nl - pos), "events");
    pos = nl + 1;
    const std::string kind = e.find("kind")->text, who = e.find("analytic")->text;
    if (kind == "track_start") ++starts[who];
    if (kind == "motion_start") ++motion[who];
    // Every box lies inside the 768x576 frame.
    for (const vt::Json &b : e.find("boxes")->items) {
      EXPECT_GE(b.items[0].number, 0);
      EXPECT_GE(b.items[1].number, 0);
      EXPECT_LE(b.items[2].number, 768);
      EXPECT_LE(b.items[3].number, 576);
    }
  }
  EXPECT_GT(starts["all"], 0);
  EXPECT_EQ(starts["corner"], 0);
  EXPECT_EQ(motion["quiet"], 0);
}

TEST(WatchedArea, SettingsThatCannotWorkAreRefused) {
  auto r = tool_test::run_tool("bgsub --region 1,1,9,1,9,9 --mask m.png");
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("not both"), std::string::npos) << r.err;
  r = tool_test::run_tool("count --area0 10,10,50,10,50,50,10,50 --area1 10,10,50,10,50,50,10,50");
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("same polygon"), std::string::npos) << r.err;
  r = tool_test::run_tool("count --area0 10,10,50,10,50,50,10,50 --area1 40,30,90,30,90,70,40,70");
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("overlap (231 pixels, the first at 40,30)"), std::string::npos) << r.err;
  r = tool_test::run_tool("linecount --line 10,10");
  EXPECT_EQ(r.status, 2);
  r = tool_test::run_tool("linecount --line 10,10,10,10,10,10");
  EXPECT_EQ(r.status, 2);
  EXPECT_NE(r.err.find("zero length"), std::string::npos) << r.err;
}

}  // namespace
