// The plate subcommand: plates rendered into short clips are read back as their text, a reading is reported once per
// appearance, and a bad weights directory stops the program with one message.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <random>

#include "analytic_registry.h"
#include "json.h"
#include "plate_synth.h"
#include "tool_test_util.h"
#include "video_writer.h"
#include "vorn.h"

namespace {

constexpr int kW = 640, kH = 480;

// A plate seen head-on by a fixed camera, drifting right by `step` pixels a frame over an asphalt-grey road.
class PlateClip {
 public:
  explicit PlateClip(unsigned seed) : rng_(seed) {
    text_ = plate_synth::random_text(rng_);
    double uw = 0, uh = 0;
    plate_synth::plate_units(text_, &uw, &uh);
    const double scale = 26.0 / 7.0;  // characters 26 pixels tall
    const double w = uw * scale, h = uh * scale, x = 180, y = 220;
    quad_ = plate_synth::Quad{{x, x + w, x + w, x}, {y, y, y + h, y + h}};
  }
  const std::string &text() const { return text_; }
  // Where the plate lies in frame `index`: left, top, right, bottom.
  vt::Box box(int index) const {
    return vt::Box{static_cast<int>(quad_.x[0]) + kStep * index, static_cast<int>(quad_.y[0]),
                   static_cast<int>(quad_.x[1]) + 1 + kStep * index, static_cast<int>(quad_.y[2]) + 1};
  }
  // Frame `index`, with the plate or without it, and fresh sensor noise.
  vt::Frame frame(int index, bool with_plate) {
    plate_synth::Rgb img(kW, kH);
    std::fill(img.r.begin(), img.r.end(), 96);
    std::fill(img.g.begin(), img.g.end(), 100);
    std::fill(img.b.begin(), img.b.end(), 104);
    if (with_plate) {
      plate_synth::Quad q = quad_;
      for (double &x : q.x) x += kStep * index;
      plate_synth::draw_plate(img, text_, q, plate_synth::Look());
    }
    plate_synth::add_noise(img, 2.0, rng_);
    vt::Frame f;
    f.resize(kW, kH);
    f.index = index;
    f.time = index / 25.0;
    for (size_t i = 0; i < img.r.size(); ++i) {
      f.bgr[3 * i] = img.b[i];
      f.bgr[3 * i + 1] = img.g[i];
      f.bgr[3 * i + 2] = img.r[i];
    }
    return f;
  }

 private:
  static constexpr int kStep = 3;
  std::mt19937 rng_;
  std::string text_;
  plate_synth::Quad quad_;
};

std::vector<vt::Json> json_lines(const std::string &text) {
  std::vector<vt::Json> out;
  for (size_t pos = 0; pos < text.size();) {
    size_t nl = text.find('\n', pos);
    out.push_back(vt::parse_json(text.substr(pos, nl - pos), "line"));
    pos = nl + 1;
  }
  return out;
}

TEST(PlateTool, ClipOfAPlateIsReadOnceWithItsText) {
  const std::string dir = tool_test::scratch_dir();
  PlateClip clip(2024);
  const int frames = 8;
  for (int i = 0; i < frames; ++i) {
    char name[64];
    std::snprintf(name, sizeof name, "/%04d.png", i);
    vt::write_png(dir + name, clip.frame(i, true));
  }
  tool_test::Run r = tool_test::run_tool("plate --events " + dir + "/ev.jsonl --snapshot " + dir + "/s.png " + dir +
                                         "/%04d.png");
  ASSERT_EQ(r.status, 0) << r.err;
  std::vector<vt::Json> ev = json_lines(tool_test::read_text(dir + "/ev.jsonl"));
  ASSERT_EQ(ev.size(), 1u);
  const vt::Json &e = ev[0];
  EXPECT_EQ(e.find("kind")->text, "plate");
  EXPECT_EQ(e.find("text")->text, clip.text());
  // Reported on the third reading in a row at the earliest, with the run's length and the plates so far.
  const int at = static_cast<int>(e.find("frame")->number);
  EXPECT_GE(at, 2);
  EXPECT_GE(e.find("counts")->find("frames")->number, 3);
  EXPECT_EQ(e.find("counts")->find("plates")->number, 1);
  const double confidence = e.find("values")->find("confidence")->number;
  EXPECT_GT(confidence, 0.0);
  EXPECT_LE(confidence, 1.0);
  // The character row lies inside the plate on the frame of the report.
  const vt::Json &b = e.find("boxes")->items.at(0);
  const vt::Box plate = clip.box(at);
  EXPECT_GE(b.items[0].number, plate.left);
  EXPECT_GE(b.items[1].number, plate.top);
  EXPECT_LE(b.items[2].number, plate.right);
  EXPECT_LE(b.items[3].number, plate.bottom);
  EXPECT_GT(b.items[2].number - b.items[0].number, (plate.right - plate.left) / 2);
  // The summary lists the plate.
  EXPECT_NE(r.out.find("plate " + clip.text()), std::string::npos) << r.out;
  EXPECT_TRUE(tool_test::file_exists(dir + "/s.png"));
  // Asking for more stable frames than the clip has reports nothing.
  r = tool_test::run_tool("plate --quiet --stable-frames 9 --events " + dir + "/ev9.jsonl " + dir + "/%04d.png");
  ASSERT_EQ(r.status, 0) << r.err;
  EXPECT_EQ(tool_test::read_text(dir + "/ev9.jsonl"), "");
}

TEST(PlateTool, APlateIsReportedAgainOnlyAfterItWasGone) {
  vorn_init();
  vt::AnalyticSettings s = vt::settings_of("plate");
  s.set_integer("stable_frames", 2);
  vt::StreamInfo info;
  info.width = kW;
  info.height = kH;
  std::unique_ptr<vt::Analytic> a = vt::create_analytic(s, info);
  PlateClip clip(77);
  // Shown for 6 frames, hidden for 4 (a passer-by in front), shown for 6, gone for 60, shown for 6.
  std::vector<std::pair<int, bool>> script = {{6, true}, {4, false}, {6, true}, {60, false}, {6, true}};
  // Six renderings with the plate (drifting) and two without, reused in turn.
  std::vector<vt::Frame> shown, hidden;
  for (int i = 0; i < 6; ++i) shown.push_back(clip.frame(i, true));
  for (int i = 0; i < 2; ++i) hidden.push_back(clip.frame(i, false));
  std::vector<vt::Event> events;
  std::vector<int> report_frames;
  int index = 0;
  for (const auto &part : script)
    for (int k = 0; k < part.first; ++k, ++index) {
      size_t before = events.size();
      vt::Frame f = part.second ? shown[k % 6] : hidden[k % 2];
      f.index = index;
      a->feed(f, events);
      if (events.size() > before) report_frames.push_back(index);
    }
  a->finish(events);
  ASSERT_EQ(events.size(), 2u);
  for (const vt::Event &e : events) {
    EXPECT_EQ(e.kind, "plate");
    EXPECT_EQ(e.text, clip.text());
    ASSERT_EQ(e.ids.size(), 1u);
    EXPECT_EQ(e.ids[0], 0);  // the first (and only) plate read
  }
  EXPECT_LT(report_frames[0], 6);
  EXPECT_GE(report_frames[1], 76);
  bool listed = false;
  for (const vt::SummaryRow &row : a->summary())
    if (row.item == "plate " + clip.text()) listed = row.value.find("seen 2 times") != std::string::npos;
  EXPECT_TRUE(listed);
}

TEST(PlateTool, BadWeightsOrSizesStopWithOneMessage) {
  const std::string dir = tool_test::scratch_dir();
  tool_test::Run r = tool_test::run_tool("plate --frames 2 --weights " + dir + "/none");
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "vorn: plate: weights directory '" + dir +
                       "/none' does not exist (charnum.who, num.who and char.who)\n");
  EXPECT_EQ(r.out, "");
  // Files of the right names that are not weight files.
  for (const char *name : {"charnum.who", "num.who", "char.who"}) {
    FILE *f = std::fopen((dir + "/" + name).c_str(), "w");
    std::fputs("not a network\n", f);
    std::fclose(f);
  }
  r = tool_test::run_tool("plate --frames 2 --weights " + dir);
  EXPECT_EQ(r.status, 1);
  EXPECT_EQ(r.err, "vorn: plate: '" + dir +
                       "' does not hold the plate reader's weight files (charnum.who, num.who and char.who)\n");
  r = tool_test::run_tool("plate --frames 2 --min-char-height 30 --max-char-height 20");
  EXPECT_EQ(r.status, 2);
  EXPECT_EQ(r.err, "vorn: plate: the smallest character height 30 exceeds the largest 20\n");
  r = tool_test::run_tool("plate --frames 2 --max-char-height 600");
  EXPECT_EQ(r.err, "vorn: plate: the largest character height 600 exceeds the frame height 576\n");
  r = tool_test::run_tool("plate --stable-frames 0");
  EXPECT_EQ(r.err, "vorn: --stable-frames: '0' is not a whole number in 1..1000\n");
}

}  // namespace
