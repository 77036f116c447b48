#include <stdio.h>
#include <string.h>

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "plate_synth.h"
#include "recognition/plate_internal.h"
#include "core/fault_inject.h"
#include "support/test_support.h"
#include "vorn.h"

namespace {

const std::string kWeights = VORN_PLATE_WEIGHTS_DIR;

TEST(PlateFeatures, ZoneSharesAndAspect) {
  // A 4 x 4 box whose only ink is column 1: zone columns are 4/3 wide, so column 1 gives a third of a pixel to
  // zone column 0 (share 1/3 / (4/3) = 0.25) and two thirds to zone column 1 (0.5), in every zone row.
  std::vector<uint8_t> ink(10 * 6, 0);
  const int stride = 10;
  for (int y = 1; y < 5; ++y) ink[y * stride + 3] = 1;
  double f[VORN_PLATE_FEATURES];
  vorn::plate_features(ink.data(), stride, {2, 1, 6, 5}, f);
  for (int row = 0; row < 4; ++row) {
    EXPECT_DOUBLE_EQ(f[row * 3 + 0], 0.25);
    EXPECT_DOUBLE_EQ(f[row * 3 + 1], 0.5);
    EXPECT_DOUBLE_EQ(f[row * 3 + 2], 0.0);
  }
  EXPECT_DOUBLE_EQ(f[12], 1.0);

  // A 3 x 8 box inked only in its top row: only the top zone row (2 pixel rows) holds ink, half of it.
  std::vector<uint8_t> tall(3 * 8, 0);
  tall[0] = tall[1] = tall[2] = 1;
  vorn::plate_features(tall.data(), 3, {0, 0, 3, 8}, f);
  for (int i = 0; i < 12; ++i) EXPECT_DOUBLE_EQ(f[i], i < 3 ? 0.5 : 0.0) << i;
  EXPECT_DOUBLE_EQ(f[12], 3.0 / 8);
}

// A patch of paper (200) with outlined characters (ink 20) at the given columns, 3-pixel strokes, the band rows.
struct Patch {
  int w;
  std::vector<uint8_t> px;
  explicit Patch(int w_) : w(w_), px((size_t)w_ * vorn::kPatchH, 200) {}
  void fill(int l, int t, int r, int b) {
    for (int y = t; y < b; ++y)
      for (int x = l; x < r; ++x) px[(size_t)y * w + x] = 20;
  }
  void outline(int l, int t, int r, int b) {
    fill(l, t, r, t + 3);
    fill(l, b - 3, r, b);
    fill(l, t, l + 3, b);
    fill(r - 3, t, r, b);
  }
  vorn_mono_image image() { return {(uint32_t)w, (uint32_t)vorn::kPatchH, px.data()}; }
};

TEST(PlateSegment, FindsSevenBoxesBesideBorderAndSplitsTouchingOnes) {
  const int top = vorn::kPatchBandTop, bottom = vorn::kPatchBandTop + vorn::kPatchBand;
  Patch p(240);
  p.fill(2, 2, 238, 4);  // plate border
  p.fill(2, 44, 238, 46);
  p.fill(2, 2, 4, 46);
  p.fill(236, 2, 238, 46);
  std::vector<int> lefts;
  for (int i = 0; i < 7; ++i) {
    const int l = 16 + i * 30;
    lefts.push_back(l);
    p.outline(l, top, l + 20, bottom);
  }
  vorn_mono_image img = p.image();
  std::vector<uint8_t> ink(img.width * img.height);
  vorn_rect boxes[vorn::kPlateMaxSegments];
  int first = -1;
  ASSERT_EQ(vorn::plate_segment(&img, ink.data(), boxes, &first), 7);
  EXPECT_EQ(first, 0);
  for (int i = 0; i < 7; ++i) {
    EXPECT_EQ(boxes[i].left, lefts[i]) << i;
    EXPECT_EQ(boxes[i].right, lefts[i] + 20) << i;
    EXPECT_EQ(boxes[i].top, top) << i;
    EXPECT_EQ(boxes[i].bottom, bottom) << i;
  }
  // The mask marks ink as 1 and paper as 0.
  EXPECT_EQ(ink[(size_t)top * img.width + lefts[0]], 1);
  EXPECT_EQ(ink[(size_t)20 * img.width + lefts[0] + 10], 0);

  // Two characters that touch through a joining bar are cut apart at the thinnest columns.
  p.fill(lefts[2] + 20, top + 14, lefts[3], top + 17);
  ASSERT_EQ(vorn::plate_segment(&img, ink.data(), boxes, &first), 7);
  EXPECT_EQ(boxes[0].left, lefts[0]);
  EXPECT_EQ(boxes[6].right, lefts[6] + 20);

  // Six characters are not a plate; nor is a solid block taking a character's place.
  Patch six(240);
  for (int i = 0; i < 6; ++i) six.outline(16 + i * 30, top, 36 + i * 30, bottom);
  vorn_mono_image img6 = six.image();
  EXPECT_EQ(vorn::plate_segment(&img6, ink.data(), boxes, &first), 0);
  six.fill(16 + 6 * 30, top, 36 + 6 * 30, bottom);
  EXPECT_EQ(vorn::plate_segment(&img6, ink.data(), boxes, &first), 0);
}

TEST(PlateSegment, PartsUprightsNoiseAndStrokesOfOneCharacter) {
  const int top = vorn::kPatchBandTop, bottom = vorn::kPatchBandTop + vorn::kPatchBand;
  Patch p(240);
  std::vector<int> lefts;
  for (int i = 0; i < 7; ++i) {
    const int l = 16 + i * 30;
    lefts.push_back(l);
    if (i == 3) {
      // A U: two uprights apart in the middle rows, joined only by the bottom bar.
      p.fill(l, top, l + 3, bottom);
      p.fill(l + 17, top, l + 20, bottom);
      p.fill(l, bottom - 3, l + 20, bottom);
    } else {
      p.outline(l, top, l + 20, bottom);
    }
  }
  // The left upright of the border touches the first character, and runs on well above and below the row.
  p.fill(12, 2, 16, 46);
  // A speckled stripe above the row crosses more stroke-sized runs than any character row.
  for (int x = 40; x + 3 < 236; x += 6) p.fill(x, 3, x + 3, 6);
  vorn_mono_image img = p.image();
  std::vector<uint8_t> ink(img.width * img.height);
  vorn_rect boxes[vorn::kPlateMaxSegments];
  int first = -1;
  ASSERT_EQ(vorn::plate_segment(&img, ink.data(), boxes, &first), 7);
  for (int i = 0; i < 7; ++i) {
    EXPECT_EQ(boxes[i].left, lefts[i]) << i;  // the upright is not part of the first box, the U is one box
    EXPECT_EQ(boxes[i].right, lefts[i] + 20) << i;
    EXPECT_EQ(boxes[i].top, top) << i;
    EXPECT_EQ(boxes[i].bottom, bottom) << i;
  }

  // A bare stroke standing alone in the row (what a broken upright leaves) is not a character.
  Patch q(240);
  q.fill(10, top + 2, 13, bottom - 2);
  for (int i = 0; i < 7; ++i) q.outline(20 + i * 30, top, 40 + i * 30, bottom);
  vorn_mono_image qimg = q.image();
  ASSERT_EQ(vorn::plate_segment(&qimg, ink.data(), boxes, &first), 7);
  EXPECT_EQ(boxes[0].left, 20);
}

TEST(PlateSynth, CharacterCentresLieOnTheRow) {
  // An upright plate 52.4 x 11.4 units (2.6 margin, letters 5 and digits 4 wide with gaps of 2, 3.6 between the
  // groups) drawn as a 524 x 114 rectangle at (100, 50): ten pixels a unit, so the
  // first glyph (a letter, 5 units wide, 2.6 units in) is centred at x = 100 + 51 and the row's middle is 3.5
  // units below the 2.2-unit margin, y = 50 + 57.
  plate_synth::Quad q = {{100, 624, 624, 100}, {50, 50, 164, 164}};
  double pw, ph;
  plate_synth::plate_units("AB123CD", &pw, &ph);
  ASSERT_NEAR(pw, 52.4, 1e-9);
  ASSERT_NEAR(ph, 11.4, 1e-9);
  std::vector<double> x, y;
  plate_synth::char_centres("AB123CD", q, &x, &y);
  ASSERT_EQ(x.size(), 7u);
  EXPECT_NEAR(x[0], 151, 1e-6);
  EXPECT_NEAR(x[2], 100 + 10 * (2.6 + 7 + 8.6 + 2), 1e-6);  // after two letters, a gap and the group gap
  for (int c = 0; c < 7; ++c) EXPECT_NEAR(y[c], 107, 1e-6) << c;
  // Under perspective the centres still run left to right inside the plate's quad.
  plate_synth::Quad p = {{100, 540, 548, 96}, {40, 60, 150, 180}};
  plate_synth::char_centres("AB123CD", p, &x, &y);
  for (int c = 1; c < 7; ++c) EXPECT_GT(x[c], x[c - 1]);
  for (int c = 0; c < 7; ++c) EXPECT_TRUE(y[c] > 40 && y[c] < 180) << c;
}

vorn_plate_params reader_params(const std::string &dir) {
  vorn_plate_params p;
  memset(&p, 0, sizeof p);
  p.width = 640;
  p.height = 480;
  p.weights_dir = dir.c_str();
  return p;
}

TEST(PlateReader, ReadsSyntheticScenes) {
  vorn_init();
  const std::string dir = kWeights;
  vorn_plate_params p = reader_params(dir);
  vorn_plate *reader = nullptr;
  ASSERT_EQ(vorn_plate_create(&p, &reader), VORN_OK);
  uint32_t w = 0, h = 0;
  EXPECT_EQ(vorn_plate_get_width(reader, &w), VORN_OK);
  EXPECT_EQ(vorn_plate_get_height(reader, &h), VORN_OK);
  EXPECT_EQ(w, 640u);
  EXPECT_EQ(h, 480u);

  plate_synth::SceneOptions opt;
  int whole = 0, chars = 0;
  const int n = 12;
  for (int i = 0; i < n; ++i) {
    std::mt19937 rng(777 + i);
    plate_synth::SceneTruth t;
    const std::vector<uint8_t> frame = plate_synth::make_scene(rng, opt, &t).to_bmp24();
    vorn_plate_info info;
    if (vorn_plate_process(reader, frame.data(), VORN_FRAME_BMP24) != VORN_OK) continue;
    ASSERT_EQ(vorn_plate_get_info(reader, &info), VORN_OK);
    EXPECT_EQ(strlen(info.text), (size_t)VORN_PLATE_CHARS);
    // The reported row lies on the true one.
    const int cx = (info.rect.left + info.rect.right) / 2, cy = (info.rect.top + info.rect.bottom) / 2;
    EXPECT_TRUE(cx > t.row_left && cx < t.row_right && cy > t.row_top && cy < t.row_bottom) << i;
    int right = 0;
    for (int c = 0; c < VORN_PLATE_CHARS; ++c) {
      right += info.text[c] == t.text[c];
      EXPECT_GT(info.confidence[c], 0.0f);
      EXPECT_LE(info.confidence[c], 1.0f);
    }
    chars += right;
    whole += right == VORN_PLATE_CHARS;
  }
  EXPECT_GE(whole, n * 5 / 6);
  EXPECT_GE(chars, n * VORN_PLATE_CHARS * 19 / 20);

  // A frame without a plate reads nothing, and the getters say so.
  plate_synth::Rgb empty(640, 480);
  std::fill(empty.r.begin(), empty.r.end(), 90);
  std::fill(empty.g.begin(), empty.g.end(), 120);
  std::fill(empty.b.begin(), empty.b.end(), 150);
  const std::vector<uint8_t> frame = empty.to_bmp24();
  EXPECT_EQ(vorn_plate_process(reader, frame.data(), VORN_FRAME_BMP24), VORN_E_NO_RESULT);
  vorn_plate_info info;
  EXPECT_EQ(vorn_plate_get_info(reader, &info), VORN_E_NO_RESULT);
  EXPECT_EQ(info.text[0], 0);
  vorn_plate_destroy(reader);
}

TEST(PlateReader, DebugImagesAreBitmapsOfTheStages) {
  vorn_init();
  const std::string dir = kWeights;
  vorn_plate_params p = reader_params(dir);
  vorn_plate *reader = nullptr;
  ASSERT_EQ(vorn_plate_create(&p, &reader), VORN_OK);
  std::mt19937 rng(5);
  plate_synth::SceneOptions opt;
  const std::vector<uint8_t> frame = plate_synth::make_scene(rng, opt, nullptr).to_bmp24();
  ASSERT_EQ(vorn_plate_process(reader, frame.data(), VORN_FRAME_BMP24), VORN_OK);
  const std::string out = vorn_test::temp_path("debug");
  vorn_test::make_dir(out);
  ASSERT_EQ(vorn_plate_get_debug_image(reader, out.c_str()), VORN_OK);
  const int sizes[4][2] = {{640, 480}, {640, 480}, {-1, vorn::kPatchH}, {-1, vorn::kPatchH}};
  for (int i = 0; i < 4; ++i) {
    const std::string path = out + "/" + std::to_string(i) + ".bmp";
    vorn_bmp *bmp = vorn_bmp_load(path.c_str());
    ASSERT_NE(bmp, nullptr) << path;
    if (sizes[i][0] > 0) {
      EXPECT_EQ(vorn_bmp_get_width(bmp), sizes[i][0]);
    }
    EXPECT_EQ(vorn_bmp_get_height(bmp), sizes[i][1]);
    vorn_bmp_free(bmp);
  }
  EXPECT_EQ(vorn_plate_get_debug_image(reader, "/nonexistent/dir"), VORN_E_FILE);
  vorn_plate_destroy(reader);
}

TEST(PlateReader, RefusesBadParametersAndWeightFiles) {
  vorn_plate *reader = nullptr;
  const std::string dir = kWeights;
  vorn_plate_params p = reader_params(dir);
  // A failed getter clears what it would have filled.
  uint32_t v = 7;
  EXPECT_EQ(vorn_plate_get_width(nullptr, &v), VORN_E_NULL);
  EXPECT_EQ(v, 0u);

  vorn_plate_params bad = p;
  bad.width = 16;
  EXPECT_EQ(vorn_plate_create(&bad, &reader), VORN_E_PARAM);
  bad = p;
  bad.min_char_height = 30;
  bad.max_char_height = 20;
  EXPECT_EQ(vorn_plate_create(&bad, &reader), VORN_E_PARAM);

  // Weight files: missing, cut short, or of another network's shape.
  const std::string scratch = vorn_test::temp_path("w");
  const std::string tmp_dir = scratch.substr(0, scratch.rfind('/'));
  const std::string names[3] = {"charnum.who", "num.who", "char.who"};
  vorn_plate_params q = p;
  const std::string missing = tmp_dir + "/no_such_dir";
  q.weights_dir = missing.c_str();
  EXPECT_EQ(vorn_plate_create(&q, &reader), VORN_E_PARAM);
  EXPECT_EQ(reader, nullptr);

  const std::string wdir = scratch + "_dir";
  vorn_test::make_dir(wdir);
  q.weights_dir = wdir.c_str();
  for (const std::string &n : names) vorn_test::write_file(wdir + "/" + n, vorn_test::read_file(dir + "/" + n));
  ASSERT_EQ(vorn_plate_create(&q, &reader), VORN_OK);
  vorn_plate_destroy(reader);
  std::vector<uint8_t> num = vorn_test::read_file(dir + "/num.who");
  vorn_test::write_file(wdir + "/num.who", std::vector<uint8_t>(num.begin(), num.end() - 8));
  EXPECT_EQ(vorn_plate_create(&q, &reader), VORN_E_PARAM);
  vorn_test::write_file(wdir + "/num.who", vorn_test::read_file(dir + "/char.who"));  // 26 outputs, not 10
  EXPECT_EQ(vorn_plate_create(&q, &reader), VORN_E_PARAM);
  std::vector<uint8_t> resigned = num;
  resigned[0] = '1';
  vorn_test::write_file(wdir + "/num.who", resigned);
  EXPECT_EQ(vorn_plate_create(&q, &reader), VORN_E_PARAM);
  EXPECT_EQ(reader, nullptr);

  // Every allocation of create may fail without leaking.
  const int points = vorn_test::sweep_allocation_failures([&] {
    vorn_plate *r = nullptr;
    if (vorn_plate_create(&p, &r) != VORN_OK) return r != nullptr;
    vorn_plate_destroy(r);
    return true;
  });
  EXPECT_GT(points, 40);
}

}  // namespace

// After the first frame the reader allocates nothing, whether a frame holds a plate or not.
TEST(PlateReader, SteadyFramesAllocateNothing) {
  vorn_init();
  if (!vorn::fault_inject_available()) GTEST_SKIP() << "this build counts no allocations (fault injection off)";
  const std::string dir = kWeights;
  vorn_plate_params p = reader_params(dir);
  vorn_plate *reader = nullptr;
  ASSERT_EQ(vorn_plate_create(&p, &reader), VORN_OK);
  plate_synth::SceneOptions opt;
  std::vector<std::vector<uint8_t>> scenes;
  for (int i = 0; i < 4; ++i) {
    std::mt19937 rng(901 + i);
    plate_synth::SceneTruth t;
    scenes.push_back(plate_synth::make_scene(rng, opt, &t).to_bmp24());
  }
  plate_synth::Rgb empty(640, 480);
  scenes.push_back(empty.to_bmp24());
  int read = 0;
  for (int f = 0; f < 200; ++f) {
    if (f == 1) vorn::fault_inject_fail_at(0);
    read += vorn_plate_process(reader, scenes[(size_t)f % scenes.size()].data(), VORN_FRAME_BMP24) == VORN_OK;
  }
  EXPECT_EQ(vorn::fault_inject_count(), 0u);
  EXPECT_GT(read, 100) << "most frames hold a readable plate";
  vorn_plate_destroy(reader);
}
