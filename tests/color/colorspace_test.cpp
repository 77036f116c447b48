// Colour-model conversions of planar images: hand-worked pixels, the kept asymmetries, every RGB triple against
// an independent evaluator, and the checks.
#include <gtest/gtest.h>
#include <string.h>

#include "color/color_tables.h"
#include "color_test_util.h"
#include "core/cpu.h"

using namespace color_test;

namespace {

class ColorSpace : public ::testing::Test {
 protected:
  void SetUp() override { vorn_init(); }
};

Triple convert1(vorn_result (*fn)(const vorn_image *, vorn_image *), uint32_t from, uint32_t to, Triple in) {
  Image s = make_image(1, 1, from), d = make_image(1, 1, to);
  set_px(s.get(), 0, 0, in.a, in.b, in.c);
  EXPECT_EQ(VORN_OK, fn(s.get(), d.get()));
  return {px(d.get(), 0, 0, 0), px(d.get(), 1, 0, 0), px(d.get(), 2, 0, 0)};
}

Triple rgb2yuv(Triple t) { return convert1(vorn_image_rgb_to_yuv, 0, 1, t); }
Triple yuv2rgb(Triple t) { return convert1(vorn_image_yuv_to_rgb, 1, 0, t); }
Triple rgb2hsv(Triple t) { return convert1(vorn_image_rgb_to_hsv, 0, 2, t); }
Triple hsv2rgb(Triple t) { return convert1(vorn_image_hsv_to_rgb, 2, 0, t); }

// An image holding every RGB triple once: 4096 x 4096, R and G from the column, B from the row.
Image every_rgb() {
  Image img = make_image(4096, 4096, VORN_FORMAT_RGB);
  for (uint32_t i = 0; i < 4096u * 4096u; ++i) {
    img->plane[0][i] = (uint8_t)(i >> 16);
    img->plane[1][i] = (uint8_t)(i >> 8);
    img->plane[2][i] = (uint8_t)i;
  }
  return img;
}

}  // namespace

TEST_F(ColorSpace, HandWorkedYuvPixels) {
  EXPECT_EQ((Triple{0, 128, 128}), rgb2yuv({0, 0, 0}));
  EXPECT_EQ((Triple{219, 128, 128}), rgb2yuv({255, 255, 255}));
  EXPECT_EQ((Triple{66, 90, 239}), rgb2yuv({255, 0, 0}));
  // 219 is 254.99 levels before the floor; 220 overshoots to 256 and clamps.
  EXPECT_EQ((Triple{254, 254, 254}), yuv2rgb({219, 128, 128}));
  EXPECT_EQ((Triple{255, 255, 255}), yuv2rgb({220, 128, 128}));
  EXPECT_EQ((Triple{0, 0, 0}), yuv2rgb({0, 128, 128}));
  // Y = 0, V = 0: R would be negative and clamps to 0; G gains from the negative V.
  EXPECT_EQ((Triple{0, 104, 0}), yuv2rgb({0, 128, 0}));
}

TEST_F(ColorSpace, HandWorkedHsvPixelsAndTheRedAsymmetry) {
  EXPECT_EQ((Triple{240, 255, 255}), rgb2hsv({255, 0, 0}));
  EXPECT_EQ((Triple{255, 0, 255}), hsv2rgb({240, 255, 255}));  // red comes back magenta
  EXPECT_EQ(80, rgb2hsv({0, 255, 0}).a);
  EXPECT_EQ(160, rgb2hsv({0, 0, 255}).a);
  EXPECT_EQ(40, rgb2hsv({255, 255, 0}).a);
  EXPECT_EQ((Triple{0, 0, 100}), rgb2hsv({100, 100, 100}));
  EXPECT_EQ((Triple{100, 100, 100}), hsv2rgb({0, 0, 100}));
  EXPECT_EQ((Triple{0, 0, 0}), rgb2hsv({0, 0, 0}));
  // (200, 100, 50): V = 200, d = 150, S = 191, H = 40 * 50 / 150 = 13.
  EXPECT_EQ((Triple{13, 191, 200}), rgb2hsv({200, 100, 50}));
  // Back: sector 0, f = 13, p = 64 * 200 / 255 = 50, t = (200 * 191 * 13 / 40) / 255 = 48.
  EXPECT_EQ((Triple{200, 98, 50}), hsv2rgb({13, 191, 200}));
  // Hues above 240 stay in the last sector: H = 250 gives sector 6, f = 10.
  EXPECT_EQ((Triple{100, 0, 75}), hsv2rgb({250, 255, 100}));
}

// Every one of the 2^24 RGB triples through the kernels of each instruction set (AVX2, SSE4.1, scalar),
// against formulas without tables.
TEST_F(ColorSpace, EveryRgbTripleMatchesTheFormulas) {
  Image rgb = every_rgb();
  Image yuv = make_image(4096, 4096, VORN_FORMAT_YUV), hsv = make_image(4096, 4096, VORN_FORMAT_HSV);
  Mono y(vorn_mono_image_alloc(4096, 4096)), h(vorn_mono_image_alloc(4096, 4096));
  for (uint32_t mask : {0u, (uint32_t)vorn::kCpuAvx2, ~0u}) {
    vorn::cpu_set_mask(mask);
    ASSERT_EQ(VORN_OK, vorn_image_rgb_to_yuv(rgb.get(), yuv.get()));
    ASSERT_EQ(VORN_OK, vorn_image_rgb_to_hsv(rgb.get(), hsv.get()));
    ASSERT_EQ(VORN_OK, vorn_image_rgb_to_y(rgb.get(), y.get()));
    ASSERT_EQ(VORN_OK, vorn_image_rgb_to_h(rgb.get(), h.get()));
    vorn::cpu_set_mask(0);
    size_t bad = 0, y_differs = 0;
    for (uint32_t i = 0; i < 4096u * 4096u && bad < 5; ++i) {
      int r = (uint8_t)(i >> 16), g = (uint8_t)(i >> 8), b = (uint8_t)i;
      Triple want = ref_rgb_to_yuv(r, g, b, true), got{yuv->plane[0][i], yuv->plane[1][i], yuv->plane[2][i]};
      Triple want_hsv = ref_rgb_to_hsv(r, g, b), got_hsv{hsv->plane[0][i], hsv->plane[1][i], hsv->plane[2][i]};
      uint8_t want_y = ref_rgb_to_yuv(r, g, b, false).a;
      // The truncated luma is the rounded one, or one below it when the fraction is a half or more.
      int64_t frac = (4211LL * r + 8258LL * g + 1606LL * b) % 16384;
      if (!(want == got) || !(want_hsv == got_hsv) || want_y != y->data[i] || want_hsv.a != h->data[i] ||
          got.a - y->data[i] != (frac >= 8192 ? 1 : 0)) {
        ++bad;
        ADD_FAILURE() << "cpu mask " << mask << ", rgb " << r << "," << g << "," << b;
      }
      if (y->data[i] != got.a) ++y_differs;
    }
    EXPECT_EQ(0u, bad);
    EXPECT_GT(y_differs, 0u);
  }
}

TEST_F(ColorSpace, EveryYuvTripleMatchesTheFormulas) {
  Image yuv = every_rgb();
  yuv->format = VORN_FORMAT_YUV;
  Image rgb = make_image(4096, 4096, VORN_FORMAT_RGB);
  for (uint32_t mask : {0u, (uint32_t)vorn::kCpuAvx2, ~0u}) {
    vorn::cpu_set_mask(mask);
    ASSERT_EQ(VORN_OK, vorn_image_yuv_to_rgb(yuv.get(), rgb.get()));
    vorn::cpu_set_mask(0);
    size_t bad = 0;
    for (uint32_t i = 0; i < 4096u * 4096u && bad < 5; ++i) {
      Triple want = ref_yuv_to_rgb((uint8_t)(i >> 16), (uint8_t)(i >> 8), (uint8_t)i);
      if (!(want == Triple{rgb->plane[0][i], rgb->plane[1][i], rgb->plane[2][i]})) {
        ++bad;
        ADD_FAILURE() << "cpu mask " << mask << ", yuv " << (i >> 16) << "," << ((i >> 8) & 255) << "," << (i & 255);
      }
    }
  }
}

// Every (H, S, V) byte triple: the result never leaves 0..V, grey stays grey, and where the hue is below 240
// and the colour is saturated, HSV -> RGB -> HSV gives back V and a hue within one step of the circle.
TEST_F(ColorSpace, HsvToRgbStaysInRangeAndRoundTrips) {
  Image hsv = every_rgb();
  hsv->format = VORN_FORMAT_HSV;
  Image rgb = make_image(4096, 4096, VORN_FORMAT_RGB), back = make_image(4096, 4096, VORN_FORMAT_HSV);
  ASSERT_EQ(VORN_OK, vorn_image_hsv_to_rgb(hsv.get(), rgb.get()));
  ASSERT_EQ(VORN_OK, vorn_image_rgb_to_hsv(rgb.get(), back.get()));
  size_t bad = 0;
  for (uint32_t i = 0; i < 4096u * 4096u && bad < 5; ++i) {
    int h = hsv->plane[0][i], s = hsv->plane[1][i], v = hsv->plane[2][i];
    int r = rgb->plane[0][i], g = rgb->plane[1][i], b = rgb->plane[2][i];
    bool ok = std::max(r, std::max(g, b)) == v;
    if (s == 0) ok = ok && r == v && g == v && b == v;
    if (h < 240 && s == 255 && v == 255) {
      int dh = std::abs(back->plane[0][i] - h);  // hue 0 comes back as 240: the same point of the circle
      ok = ok && back->plane[2][i] == v && std::min(dh, 240 - dh) <= 1;
    }
    if (!ok) {
      ++bad;
      ADD_FAILURE() << "hsv " << h << "," << s << "," << v << " -> " << r << "," << g << "," << b;
    }
  }
}

// Wide enough (601) that the HSV paths work through several chunks of a row.
TEST_F(ColorSpace, CombinedConversionsAreTheStepsInTurn) {
  const uint32_t W = 601, H = 11, N = W * H;
  Image yuv = random_image(W, H, VORN_FORMAT_YUV, 5), hsv = random_image(W, H, VORN_FORMAT_HSV, 6);
  Image rgb = make_image(W, H, 0), out_hsv = make_image(W, H, 2), want_hsv = make_image(W, H, 2);
  Image out_yuv = make_image(W, H, 1), want_yuv = make_image(W, H, 1);
  Mono hue(vorn_mono_image_alloc(W, H));

  ASSERT_EQ(VORN_OK, vorn_image_yuv_to_hsv(yuv.get(), out_hsv.get()));
  ASSERT_EQ(VORN_OK, vorn_image_yuv_to_h(yuv.get(), hue.get()));
  ASSERT_EQ(VORN_OK, vorn_image_yuv_to_rgb(yuv.get(), rgb.get()));
  ASSERT_EQ(VORN_OK, vorn_image_rgb_to_hsv(rgb.get(), want_hsv.get()));
  for (int p = 0; p < 3; ++p) EXPECT_EQ(0, memcmp(want_hsv->plane[p], out_hsv->plane[p], N));
  EXPECT_EQ(0, memcmp(want_hsv->plane[0], hue->data, N));

  ASSERT_EQ(VORN_OK, vorn_image_hsv_to_yuv(hsv.get(), out_yuv.get()));
  ASSERT_EQ(VORN_OK, vorn_image_hsv_to_rgb(hsv.get(), rgb.get()));
  ASSERT_EQ(VORN_OK, vorn_image_rgb_to_yuv(rgb.get(), want_yuv.get()));
  for (int p = 0; p < 3; ++p) EXPECT_EQ(0, memcmp(want_yuv->plane[p], out_yuv->plane[p], N));

  Image rgb_src = random_image(W, H, VORN_FORMAT_RGB, 7);
  ASSERT_EQ(VORN_OK, vorn_image_rgb_to_h(rgb_src.get(), hue.get()));
  ASSERT_EQ(VORN_OK, vorn_image_rgb_to_hsv(rgb_src.get(), want_hsv.get()));
  EXPECT_EQ(0, memcmp(want_hsv->plane[0], hue->data, N));
}

TEST_F(ColorSpace, MonoIsCopiedIntoEveryPlaneUnscaled) {
  Mono m(vorn_mono_image_alloc(3, 2));
  memset(m->data, 219, 6);
  m->data[4] = 7;
  Image rgb = make_image(3, 2, VORN_FORMAT_RGB);
  ASSERT_EQ(VORN_OK, vorn_image_y_to_rgb(m.get(), rgb.get()));
  for (int p = 0; p < 3; ++p) EXPECT_EQ(0, memcmp(m->data, rgb->plane[p], 6));
}

TEST_F(ColorSpace, OneDimensionOffEmptyImagesAndTheSelfTest) {
  // The interface sweep changes both dimensions at once; each is checked on its own.
  Image rgb = random_image(4, 3, VORN_FORMAT_RGB, 1), wide = make_image(5, 3, VORN_FORMAT_YUV);
  Mono low(vorn_mono_image_alloc(4, 2));
  EXPECT_EQ(VORN_E_PARAM, vorn_image_rgb_to_yuv(rgb.get(), wide.get()));
  EXPECT_EQ(VORN_E_PARAM, vorn_image_rgb_to_y(rgb.get(), low.get()));
  // Empty images convert to nothing successfully.
  Image e0 = make_image(4, 0, VORN_FORMAT_RGB), e1 = make_image(4, 0, VORN_FORMAT_HSV);
  EXPECT_EQ(VORN_OK, vorn_image_rgb_to_hsv(e0.get(), e1.get()));
  EXPECT_EQ(VORN_OK, vorn_image_test_hsv());
}

TEST_F(ColorSpace, ZeroTablesGiveZeroUntilBuilt) {
  vorn::ColorTables saved = vorn::g_color_tables;
  memset(&vorn::g_color_tables, 0, sizeof saved);
  EXPECT_EQ((Triple{0, 0, 0}), rgb2yuv({255, 10, 99}));
  EXPECT_EQ((Triple{0, 0, 0}), yuv2rgb({200, 10, 99}));
  vorn_init_colorspace();
  EXPECT_EQ(0, memcmp(&saved, &vorn::g_color_tables, sizeof saved));
}
