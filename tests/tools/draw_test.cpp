#include <gtest/gtest.h>

#include <set>
#include <string>

#include "draw.h"

namespace {

int count_color(const vt::Frame &f, vt::Rgb c) {
  int n = 0;
  for (int y = 0; y < f.height; ++y)
    for (int x = 0; x < f.width; ++x) {
      const uint8_t *p = f.row(y) + 3 * x;
      n += p[0] == c.b && p[1] == c.g && p[2] == c.r;
    }
  return n;
}

TEST(Canvas, LinesAndBoxesCoverTheExpectedPixels) {
  vt::Frame f;
  f.resize(40, 30);
  vt::Canvas c(f);
  const vt::Rgb w = vt::colors::kWhite;
  c.line({2, 3}, {12, 3}, w);  // 11 pixels, both ends included
  EXPECT_EQ(count_color(f, w), 11);
  c.line({0, 0}, {9, 9}, w);  // the diagonal: one pixel per row, (3,3) already lit
  EXPECT_EQ(count_color(f, w), 20);
  // Stored as B, G, R.
  c.pixel(39, 29, vt::Rgb{1, 2, 3});
  EXPECT_EQ(f.row(29)[3 * 39 + 0], 3);
  EXPECT_EQ(f.row(29)[3 * 39 + 2], 1);

  f.resize(40, 30);
  c.box(vt::Box{5, 5, 15, 10}, w);  // 10 x 5, right and bottom exclusive: 2*10 + 2*3 outline pixels
  EXPECT_EQ(count_color(f, w), 26);
  EXPECT_EQ(c.get(14, 9).r, 255);
  EXPECT_EQ(c.get(15, 9).r, 0);
  f.resize(40, 30);
  c.fill_box(vt::Box{-5, -5, 3, 2}, w);  // clipped to 3 x 2
  EXPECT_EQ(count_color(f, w), 6);
  // Far outside the frame nothing is drawn and nothing breaks.
  c.line({-100000, 5}, {100000, 5}, vt::colors::kRed);
  c.line({-50, -50}, {-10, -20}, vt::colors::kRed, 5);
  c.text(35, 25, "OUTSIDE", vt::colors::kRed, 3);
  c.fill_circle({-20, -20}, 10, vt::colors::kRed);
  EXPECT_EQ(count_color(f, w), 6);
}

TEST(Canvas, PolygonFillFollowsPixelCentres) {
  vt::Frame f;
  f.resize(64, 64);
  vt::Canvas c(f);
  const vt::Rgb g = vt::colors::kGreen;
  // An axis-aligned rectangle with corners on integer coordinates covers exactly its w x h pixels.
  c.fill_polygon({{10, 10}, {30, 10}, {30, 20}, {10, 20}}, g);
  EXPECT_EQ(count_color(f, g), 200);
  // Two triangles that share a diagonal tile the square with no gap and no overlap.
  f.resize(64, 64);
  c.fill_polygon({{0, 0}, {40, 0}, {40, 40}}, g);
  int upper = count_color(f, g);
  c.fill_polygon({{0, 0}, {40, 40}, {0, 40}}, vt::colors::kBlue);
  EXPECT_EQ(upper + count_color(f, vt::colors::kBlue), 1600);
  EXPECT_NEAR(upper, 800, 40);
  // Fewer than three points fill nothing.
  f.resize(64, 64);
  c.fill_polygon({{0, 0}, {40, 40}}, g);
  EXPECT_EQ(count_color(f, g), 0);
}

TEST(Canvas, MaskTintTouchesOnlyMaskedPixels) {
  vt::Frame f;
  f.resize(8, 4);
  std::vector<uint8_t> mask(32, 0);
  mask[0] = 255;
  mask[9] = 255;
  mask[31] = 1;
  vt::Canvas c(f);
  c.tint_mask(mask.data(), 8, 4, vt::Rgb{200, 100, 0}, 128);
  int touched = 0;
  for (int i = 0; i < 32; ++i) touched += f.bgr[3 * i + 2] != 0;
  EXPECT_EQ(touched, 3);
  EXPECT_EQ(f.bgr[2], 100);  // half of 200 over black
  EXPECT_EQ(f.bgr[1], 50);
}

TEST(Font, GlyphsAreDistinctAndTextIsReadable) {
  std::set<std::string> seen;
  const std::string chars = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ.:-+=/%#()<>_!?[]*x";
  for (char ch : chars) {
    const uint8_t *g = vt::font_glyph(ch);
    ASSERT_NE(g, nullptr) << ch;
    std::string bits(reinterpret_cast<const char *>(g), 7);
    EXPECT_TRUE(seen.insert(bits).second) << "glyph of '" << ch << "' repeats another";
    for (int r = 0; r < 7; ++r) EXPECT_LT(g[r], 32) << ch;  // five columns
  }
  EXPECT_EQ(vt::font_glyph('a'), vt::font_glyph('A'));
  EXPECT_EQ(vt::font_glyph('~'), nullptr);

  // Drawn at scale 2 without a panel, "1" lights 2 x 2 pixels per set bit of its glyph, inside its 12 x 16 cell.
  vt::Frame f;
  f.resize(30, 20);
  vt::Canvas c(f);
  c.text(1, 1, "1", vt::colors::kWhite, 2, false);
  int bits = 0;
  for (int r = 0; r < 7; ++r)
    for (int b = 0; b < 5; ++b) bits += (vt::font_glyph('1')[r] >> b) & 1;
  EXPECT_EQ(count_color(f, vt::colors::kWhite), 4 * bits);
  EXPECT_EQ(vt::Canvas::text_width("12", 2), 24);
}

}  // namespace
