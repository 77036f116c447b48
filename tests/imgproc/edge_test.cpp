#include <gtest/gtest.h>

#include "imgproc_test_util.h"
#include "vorn_color.h"

using namespace vorn_test;

namespace {

// The kernels as a table, applied pixel by pixel.
const int kKernels[3][9] = {
    {-1, 0, 1, -2, 0, 2, -1, 0, 1}, {1, 2, 1, 0, 0, 0, -1, -2, -1}, {1, 1, 1, 1, 1, 1, 1, 1, 1}};

int apply_kernel(const uint8_t *g, uint32_t w, uint32_t x, uint32_t y, int k) {
  int v = 0;
  for (int j = 0; j < 3; ++j)
    for (int i = 0; i < 3; ++i) v += kKernels[k][j * 3 + i] * g[(y + j - 1) * w + (x + i - 1)];
  return v;
}

Image yuv_with_luma(uint32_t w, uint32_t h, const std::vector<uint8_t> &luma) {
  Image img = image(w, h, VORN_FORMAT_YUV);
  memcpy(img->plane[0], luma.data(), luma.size());
  memset(img->plane[1], 99, w * h);
  memset(img->plane[2], 99, w * h);
  return img;
}

TEST(Edge, HandWorkedKernels) {
  // White image, box sum: 9 * 255 = 2295, whose low byte is 247.
  Image white = yuv_with_luma(5, 4, std::vector<uint8_t>(20, 255));
  Mono out = mono(5, 4, 3);
  ASSERT_EQ(vorn_image_edge(white.get(), out.get(), -1, VORN_EDGE_BOX), VORN_OK);
  for (uint32_t y = 0; y < 4; ++y)
    for (uint32_t x = 0; x < 5; ++x) EXPECT_EQ(out->data[y * 5 + x], (x % 4 && y % 3) ? 247 : 0);
  // A vertical step from 0 to 255 between columns 3 and 4: |v| = 1020 on both columns beside it.
  std::vector<uint8_t> step(8 * 5, 0);
  for (int y = 0; y < 5; ++y)
    for (int x = 4; x < 8; ++x) step[y * 8 + x] = 255;
  Image s = yuv_with_luma(8, 5, step);
  Mono e = mono(8, 5, 3);
  ASSERT_EQ(vorn_image_edge(s.get(), e.get(), 128, VORN_EDGE_SOBEL_X), VORN_OK);
  for (uint32_t y = 0; y < 5; ++y)
    for (uint32_t x = 0; x < 8; ++x)
      EXPECT_EQ(e->data[y * 8 + x], (y >= 1 && y <= 3 && (x == 3 || x == 4)) ? 255 : 0) << x << "," << y;
  // The vertical kernel sees nothing there; the threshold is strict.
  ASSERT_EQ(vorn_image_edge(s.get(), e.get(), 0, VORN_EDGE_SOBEL_Y), VORN_OK);
  for (uint8_t v : bytes_of(e.get())) EXPECT_EQ(v, 0);
  ASSERT_EQ(vorn_image_edge(s.get(), e.get(), 1020, VORN_EDGE_SOBEL_X), VORN_OK);
  for (uint8_t v : bytes_of(e.get())) EXPECT_EQ(v, 0);
  // Raw values: right minus left, and top minus bottom.
  std::vector<int32_t> d(40, -7);
  ASSERT_EQ(vorn_image_deriv(s.get(), d.data(), VORN_EDGE_SOBEL_X), VORN_OK);
  EXPECT_EQ(d[2 * 8 + 3], 1020);
  EXPECT_EQ(d[2 * 8 + 5], 0);
  EXPECT_EQ(d[0], -7);          // border not written
  EXPECT_EQ(d[2 * 8 + 7], -7);
  std::vector<uint8_t> hstep(8 * 5, 0);
  for (int x = 0; x < 8; ++x) hstep[4 * 8 + x] = hstep[3 * 8 + x] = 100;  // lower rows brighter
  Image hs = yuv_with_luma(8, 5, hstep);
  ASSERT_EQ(vorn_image_deriv(hs.get(), d.data(), VORN_EDGE_SOBEL_Y), VORN_OK);
  EXPECT_EQ(d[2 * 8 + 2], -400);
}

TEST(Edge, GreySourceAndChecks) {
  vorn_init();
  const uint32_t w = 13, h = 9;
  Image rgb = image(w, h);
  fill_random(rgb.get(), 40);
  Mono luma = mono(w, h), a = mono(w, h), b = mono(w, h);
  ASSERT_EQ(vorn_image_rgb_to_y(rgb.get(), luma.get()), VORN_OK);
  Image yuv = yuv_with_luma(w, h, bytes_of(luma.get()));
  ASSERT_EQ(vorn_image_edge(rgb.get(), a.get(), 100, VORN_EDGE_SOBEL_X), VORN_OK);
  ASSERT_EQ(vorn_image_edge(yuv.get(), b.get(), 100, VORN_EDGE_SOBEL_X), VORN_OK);
  EXPECT_TRUE(bytes_of(a.get()) == bytes_of(b.get()));
  // HSV: the V plane (2).
  Image hsv = image(w, h, VORN_FORMAT_HSV);
  memcpy(hsv->plane[2], luma->data, w * h);
  ASSERT_EQ(vorn_image_edge(hsv.get(), a.get(), 100, VORN_EDGE_SOBEL_X), VORN_OK);
  EXPECT_TRUE(bytes_of(a.get()) == bytes_of(b.get()));
  // Refusals write nothing.
  Mono keep = mono(w, h, 5), narrow = mono(w - 1, h, 5);
  std::vector<int32_t> d(w * h, 5);
  EXPECT_EQ(vorn_image_edge(yuv.get(), keep.get(), 0, 3), VORN_E_PARAM);
  EXPECT_EQ(vorn_image_edge(yuv.get(), narrow.get(), 0, 0), VORN_E_PARAM);
  EXPECT_EQ(vorn_image_deriv(yuv.get(), d.data(), 12), VORN_E_PARAM);
  yuv->format = 3;
  EXPECT_EQ(vorn_image_edge(yuv.get(), keep.get(), 0, 0), VORN_E_PARAM);
  EXPECT_EQ(vorn_image_deriv(yuv.get(), d.data(), 0), VORN_E_PARAM);
  for (uint8_t v : bytes_of(keep.get())) EXPECT_EQ(v, 5);
  for (int32_t v : d) EXPECT_EQ(v, 5);
  vorn_test::sweep_allocation_failures([&] {
    vorn_result r = vorn_image_edge(rgb.get(), keep.get(), 3, 0);
    EXPECT_TRUE(r == VORN_OK || r == VORN_E_NOMEM);
    return r == VORN_OK;
  });
}

TEST(Edge, KernelsMatchPerPixelRuleOnEveryIsa) {
  std::vector<std::pair<uint32_t, uint32_t>> sizes = {{1, 5}, {2, 4}, {3, 3}, {768, 576}};
  for (uint32_t w = 4; w <= 67; w += 3) sizes.push_back({w, 4});
  for (uint32_t mask : isa_masks()) {
    CpuMaskScope scope(mask);
    uint32_t seed = 50;
    for (auto [w, h] : sizes) {
      Image img = image(w, h, VORN_FORMAT_YUV);
      fill_random(img.get(), ++seed);
      const uint8_t *g = img->plane[0];
      Mono out = mono(w, h);
      std::vector<int32_t> d(w * h);
      for (int k = 0; k < 3; ++k) {
        for (int32_t t : {-1, 0, 200, 5000}) {
          memset(out->data, 77, w * h);
          ASSERT_EQ(vorn_image_edge(img.get(), out.get(), t, (uint32_t)k), VORN_OK);
          for (uint32_t y = 0; y < h; ++y)
            for (uint32_t x = 0; x < w; ++x) {
              uint8_t want = 0;
              if (x > 0 && y > 0 && x + 1 < w && y + 1 < h) {
                int v = abs(apply_kernel(g, w, x, y, k));
                want = t >= 0 ? (v > t ? 255 : 0) : (uint8_t)v;
              }
              ASSERT_EQ(out->data[y * w + x], want) << w << "x" << h << " k" << k << " t" << t;
            }
        }
        ASSERT_EQ(vorn_image_deriv(img.get(), d.data(), (uint32_t)k), VORN_OK);
        for (uint32_t y = 1; y + 1 < h; ++y)
          for (uint32_t x = 1; x + 1 < w; ++x) ASSERT_EQ(d[y * w + x], apply_kernel(g, w, x, y, k));
      }
    }
  }
}

TEST(Laplacian, WindowIsClippedOneInsideTheBorder) {
  Mono src = mono(7, 6), dst = mono(7, 6, 9);
  src->data[2 * 7 + 3] = 10;  // L = 40 at (3, 2), -10 at its four neighbours
  ASSERT_EQ(vorn_laplacian_rect(dst.get(), src.get(), 3, 2, 4, 3, 9), VORN_OK);
  // Window x 2..4, y 1..3.
  for (int y = 0; y < 6; ++y)
    for (int x = 0; x < 7; ++x) {
      bool in = x >= 2 && x <= 4 && y >= 1 && y <= 3;
      bool hot = (x == 3 && y == 2) || (abs(x - 3) + abs(y - 2) == 1);
      EXPECT_EQ(dst->data[y * 7 + x], in ? (hot ? 255 : 0) : 9) << x << "," << y;
    }
  ASSERT_EQ(vorn_laplacian_rect(dst.get(), src.get(), 3, 2, 4, 3, 10), VORN_OK);  // strict: only 40 > 10
  EXPECT_EQ(dst->data[2 * 7 + 3], 255);
  EXPECT_EQ(dst->data[2 * 7 + 4], 0);
  // A rectangle over the whole image stops one pixel inside the border.
  memset(dst->data, 9, 42);
  ASSERT_EQ(vorn_laplacian_rect(dst.get(), src.get(), -5, -5, 100, 100, 1000), VORN_OK);
  for (int y = 0; y < 6; ++y)
    for (int x = 0; x < 7; ++x)
      EXPECT_EQ(dst->data[y * 7 + x], (x >= 1 && x <= 5 && y >= 1 && y <= 4) ? 0 : 9);
  Mono turned = mono(6, 7);
  EXPECT_EQ(vorn_laplacian_rect(dst.get(), turned.get(), 0, 0, 3, 3, 0), VORN_E_PARAM);
}

TEST(Laplacian, MatchesPerPixelRuleOnEveryIsa) {
  for (uint32_t mask : isa_masks()) {
    CpuMaskScope scope(mask);
    for (uint32_t w : {3u, 17u, 40u, 768u}) {
      const uint32_t h = w == 768 ? 576 : 9;
      Mono src = mono(w, h), dst = mono(w, h, 1);
      fill_random(src.get(), w);
      for (int32_t t : {-3, 0, 300}) {
        ASSERT_EQ(vorn_laplacian_rect(dst.get(), src.get(), 0, 0, (int32_t)w, (int32_t)h, t), VORN_OK);
        for (uint32_t y = 1; y + 1 < h; ++y)
          for (uint32_t x = 1; x + 1 < w; ++x) {
            const uint8_t *s = src->data;
            int l = 4 * s[y * w + x] - s[(y + 1) * w + x] - s[(y - 1) * w + x] - s[y * w + x - 1] -
                    s[y * w + x + 1];
            ASSERT_EQ(dst->data[y * w + x], abs(l) > t ? 255 : 0);
          }
      }
    }
  }
}

}  // namespace
