#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <functional>

#include "error.h"
#include "scene.h"
#include "tool_test_util.h"
#include "video_reader.h"
#include "video_writer.h"

namespace {

double mean_abs_diff(const vt::Frame &a, const vt::Frame &b) {
  double s = 0;
  for (size_t i = 0; i < a.bgr.size(); ++i) s += std::abs(a.bgr[i] - b.bgr[i]);
  return s / a.bgr.size();
}

// Writes the first `n` scene frames with `codec` and reads them back: same count, size, rate and time stamps,
// and pictures close to what was written (the codecs are lossy).
void round_trip(const std::string &path, const std::string &codec, int n) {
  vt::StreetScene scene(n);
  std::vector<vt::Frame> written;
  {
    vt::VideoWriter w(path, 768, 576, 25.0, codec);
    if (!codec.empty()) {
      EXPECT_EQ(w.codec_name(), codec);
    }
    vt::Frame f;
    while (scene.next(f)) {
      w.write(f);
      written.push_back(f);
    }
    w.close();
  }
  vt::VideoReader r(path);
  EXPECT_EQ(r.info().width, 768);
  EXPECT_EQ(r.info().height, 576);
  EXPECT_NEAR(r.info().fps, 25.0, 1e-6);
  vt::Frame f;
  int i = 0;
  while (r.next(f)) {
    ASSERT_LT(i, n);
    EXPECT_EQ(f.index, i);
    EXPECT_NEAR(f.time, i / 25.0, 1e-3);
    EXPECT_LT(mean_abs_diff(f, written[static_cast<size_t>(i)]), 6.0) << codec << " frame " << i;
    ++i;
  }
  EXPECT_EQ(i, n);
  EXPECT_FALSE(r.next(f));  // stays at the end
}

TEST(Video, DefaultEncoderRoundTrip) { round_trip(tool_test::scratch_dir() + "/scene.mp4", "", 30); }

TEST(Video, Mpeg4FallbackRoundTripInAvi) { round_trip(tool_test::scratch_dir() + "/scene.avi", "mpeg4", 12); }

TEST(Video, PngSnapshotsAndImageSequencesReadBackExactly) {
  const std::string dir = tool_test::scratch_dir();
  vt::StreetScene scene(3);
  vt::Frame f[3];
  for (int i = 0; i < 3; ++i) {
    scene.render(i, f[i]);
    char name[256];
    std::snprintf(name, sizeof name, "%s/seq%03d.png", dir.c_str(), i);
    vt::write_png(name, f[i]);
  }
  // PNG is lossless: one file and the whole sequence decode to the very same bytes.
  vt::VideoReader one(dir + "/seq001.png");
  vt::Frame g;
  ASSERT_TRUE(one.next(g));
  EXPECT_EQ(g.bgr, f[1].bgr);
  vt::VideoReader seq(dir + "/seq%03d.png");
  int n = 0;
  while (seq.next(g)) {
    ASSERT_LT(n, 3);
    EXPECT_EQ(g.bgr, f[n].bgr) << "image " << n;
    ++n;
  }
  EXPECT_EQ(n, 3);
  // Odd sizes are fine for PNG.
  vt::Frame odd;
  odd.resize(5, 3);
  odd.bgr[0] = 7;
  vt::write_png(dir + "/odd.png", odd);
  vt::VideoReader r(dir + "/odd.png");
  ASSERT_TRUE(r.next(g));
  EXPECT_EQ(g.width, 5);
  EXPECT_EQ(g.bgr, odd.bgr);
}

TEST(Video, UnreadableInputsAndUnwritableOutputsAreRuntimeErrors) {
  const std::string dir = tool_test::scratch_dir();
  auto error = [](const std::function<void()> &f) -> std::string {
    try {
      f();
    } catch (const vt::ToolError &e) {
      EXPECT_EQ(e.code(), vt::kExitRuntime);
      return e.what();
    }
    return "(no error)";
  };
  EXPECT_EQ(error([&] { vt::VideoReader r(dir + "/none.mp4"); }), "input '" + dir + "/none.mp4' does not exist");
  FILE *t = std::fopen((dir + "/text.mp4").c_str(), "w");
  std::fputs("this is not a video\n", t);
  std::fclose(t);
  EXPECT_EQ(error([&] { vt::VideoReader r(dir + "/text.mp4"); }).rfind("input '" + dir + "/text.mp4' is not a readable video", 0), 0u);
  EXPECT_EQ(error([&] { vt::VideoReader r(dir); }).rfind("input '" + dir + "' is a directory", 0), 0u);
  EXPECT_EQ(error([&] { vt::VideoWriter w(dir + "/out.xyz123", 64, 64, 25.0); }).rfind("cannot write", 0), 0u);
  EXPECT_EQ(error([&] { vt::VideoWriter w(dir + "/out.mp4", 64, 64, 25.0, "nosuchcodec"); }),
            "cannot write '" + dir + "/out.mp4': no video encoder 'nosuchcodec'");
  vt::Frame f;
  f.resize(4, 4);
  EXPECT_EQ(error([&] { vt::write_png(dir + "/missing/dir/x.png", f); }),
            "cannot write '" + dir + "/missing/dir/x.png': cannot create the file");
}

}  // namespace
