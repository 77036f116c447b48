#include <string.h>

#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "core/cpu.h"
#include "support/test_support.h"
#include "tracking/pyramid.h"
#include "vorn.h"

namespace {

// Source taps (index, weight) of output coordinate x along an axis with n outputs.
std::vector<std::pair<int, int>> taps(int n, int x) {
  if (n == 1) return {{0, 8}, {1, 8}};
  if (x == 0) return {{0, 2}, {1, 8}, {2, 6}};
  const int c = 2 * x;
  if (x == n - 1) return {{c - 2, 1}, {c - 1, 4}, {c, 7}, {c + 1, 4}};
  return {{c - 2, 1}, {c - 1, 4}, {c, 6}, {c + 1, 4}, {c + 2, 1}};
}

// Independent evaluation of one reduction as a direct 2-D weighted sum.
std::vector<uint8_t> reference_down(const std::vector<uint8_t> &s, int w, int h) {
  const int ow = w / 2, oh = h / 2;
  std::vector<uint8_t> d((size_t)ow * oh);
  for (int y = 0; y < oh; ++y)
    for (int x = 0; x < ow; ++x) {
      int sum = 128;
      for (auto ty : taps(oh, y))
        for (auto tx : taps(ow, x)) sum += ty.second * tx.second * s[(size_t)ty.first * w + tx.first];
      d[(size_t)y * ow + x] = (uint8_t)(sum >> 8);
    }
  return d;
}

TEST(Pyramid, ReductionMatchesDirectWeightedSumOnEveryKernel) {
  const int sizes[][2] = {{2, 2}, {3, 2}, {2, 3}, {4, 4}, {5, 7}, {6, 3}, {17, 9}, {33, 34}, {35, 21},
                          {64, 48}, {67, 5}, {131, 40}, {768, 12}};
  for (uint32_t isa : vorn_test::isa_masks()) {
    vorn_test::CpuMaskScope mode(isa);
    for (auto &sz : sizes) {
      const int w = sz[0], h = sz[1];
      std::vector<uint8_t> src = vorn_test::random_bytes((size_t)w * h, (uint32_t)(w * 131 + h));
      // Extremes stress the 16-bit sums.
      for (size_t i = 0; i < src.size(); i += 3) src[i] = 255;
      vorn_mono_image m{(uint32_t)w, (uint32_t)h, src.data()};
      vorn_pyramid *p = nullptr;
      ASSERT_EQ(vorn_pyramid_create_mono_image(&m, &p, 1), VORN_OK) << w << "x" << h;
      vorn_mono_image *level = nullptr;
      ASSERT_EQ(vorn_pyramid_get_mono_image(p, 0, &level), VORN_OK);
      const std::vector<uint8_t> want = reference_down(src, w, h);
      ASSERT_EQ(std::vector<uint8_t>(level->data, level->data + want.size()), want)
          << w << "x" << h << " isa mask " << isa;
      vorn_pyramid_destroy(p);
    }
  }
}

TEST(Pyramid, WorkedValuesAtTheBorders) {
  // A constant image stays constant: every weight set totals 256 and the rounding adds 128.
  std::vector<uint8_t> flat(40 * 30, 77);
  vorn_mono_image m{40, 30, flat.data()};
  vorn_pyramid *p = nullptr;
  ASSERT_EQ(vorn_pyramid_create_mono_image(&m, &p, 9), VORN_OK);
  uint32_t count = 0;
  vorn_pyramid_get_level(p, &count);
  ASSERT_EQ(count, 4u);  // 20x15, 10x7, 5x3, 2x1
  for (uint32_t i = 0; i < count; ++i) {
    vorn_mono_image *l = nullptr;
    ASSERT_EQ(vorn_pyramid_get_mono_image(p, i, &l), VORN_OK);
    EXPECT_EQ(l->width, 40u >> (i + 1));
    EXPECT_EQ(l->height, 30u >> (i + 1));
    for (uint32_t k = 0; k < l->width * l->height; ++k) ASSERT_EQ(l->data[k], 77) << i;
  }
  vorn_pyramid_destroy(p);

  // Left columns 0, 0, 255 on every row: the first output column weighs source column 2 by 6 of 16, so it is
  // (6 * 255 * 16 + 128) >> 8 = 96, while a centred kernel would have given a value near 0.
  std::vector<uint8_t> edge(16 * 8, 0);
  for (int y = 0; y < 8; ++y) edge[(size_t)y * 16 + 2] = 255;
  vorn_image src{VORN_FORMAT_YUV, 16, 8, {edge.data(), nullptr, edge.data()}};
  vorn_image *dst = vorn_image_alloc(8, 4, VORN_FORMAT_YUV);
  memset(dst->plane[1], 9, 32);
  ASSERT_EQ(vorn_pyramid_down(&src, dst), VORN_OK);
  for (int y = 0; y < 4; ++y) {
    EXPECT_EQ(dst->plane[0][y * 8], 96);
    EXPECT_EQ(dst->plane[2][y * 8], 96);
    EXPECT_EQ(dst->plane[0][y * 8 + 1], 96);  // column 2 is also the centre of output 1
    EXPECT_EQ(dst->plane[0][y * 8 + 2], (255 * 16 + 128) >> 8);  // c - 2 of output 2, weight 1
    EXPECT_EQ(dst->plane[1][y * 8], 9);                               // plane missing in the source: untouched
  }
  // One-wide and one-high outputs average their two sources: (8 (a + b) * 16 + 128) >> 8.
  uint8_t two[4] = {10, 21, 30, 40};
  vorn_image tiny{VORN_FORMAT_RGB, 2, 2, {two, two, two}};
  vorn_image *one = vorn_image_alloc(1, 1, VORN_FORMAT_RGB);
  ASSERT_EQ(vorn_pyramid_down(&tiny, one), VORN_OK);
  EXPECT_EQ(one->plane[1][0], (4 * (10 + 21 + 30 + 40) * 16 + 128) >> 8);
  vorn_image_free(one);
  vorn_image_free(dst);
}

TEST(Pyramid, LevelCountsSizesAndArgumentChecks) {
  vorn_image *img = vorn_image_alloc(64, 48, VORN_FORMAT_HSV);
  vorn_pyramid *p = nullptr;
  ASSERT_EQ(vorn_pyramid_create(img, &p, 10), VORN_OK);
  uint32_t count = 0;
  ASSERT_EQ(vorn_pyramid_get_level(p, &count), VORN_OK);
  ASSERT_EQ(count, 5u);
  const uint32_t want[5][2] = {{32, 24}, {16, 12}, {8, 6}, {4, 3}, {2, 1}};
  for (uint32_t i = 0; i < 5; ++i) {
    vorn_image *l = nullptr;
    ASSERT_EQ(vorn_pyramid_get_image(p, i, &l), VORN_OK);
    EXPECT_EQ(l->width, want[i][0]);
    EXPECT_EQ(l->height, want[i][1]);
    EXPECT_EQ(l->format, VORN_FORMAT_HSV);
  }
  vorn_image *l = img;
  EXPECT_EQ(vorn_pyramid_get_image(p, 5, &l), VORN_E_PARAM);
  EXPECT_EQ(l, nullptr);
  vorn_mono_image *ml = nullptr;
  EXPECT_EQ(vorn_pyramid_get_mono_image(p, 0, &ml), VORN_E_NOMEM);  // a colour pyramid has no mono levels
  EXPECT_EQ(vorn_pyramid_get_image(nullptr, 0, &l), VORN_E_NULL);
  EXPECT_EQ(vorn_pyramid_get_level(nullptr, &count), VORN_E_NULL);
  EXPECT_EQ(count, 0u);
  vorn_pyramid_destroy(p);
  vorn_pyramid_destroy(nullptr);

  // Requested levels cap the count.
  ASSERT_EQ(vorn_pyramid_create(img, &p, 2), VORN_OK);
  vorn_pyramid_get_level(p, &count);
  EXPECT_EQ(count, 2u);
  vorn_pyramid_destroy(p);
  vorn_image_free(img);

  // Sources too thin for one level.
  uint8_t px[8] = {0};
  vorn_mono_image row{8, 1, px}, col{1, 8, px};
  p = reinterpret_cast<vorn_pyramid *>(px);
  EXPECT_EQ(vorn_pyramid_create_mono_image(&row, &p, 3), VORN_E_PARAM);
  EXPECT_EQ(p, nullptr);
  EXPECT_EQ(vorn_pyramid_create_mono_image(&col, &p, 3), VORN_E_PARAM);
  EXPECT_EQ(vorn_pyramid_create(nullptr, &p, 3), VORN_E_NULL);

  // The single step checks the halved size and the format.
  vorn_image *a = vorn_image_alloc(9, 9, VORN_FORMAT_RGB), *b = vorn_image_alloc(4, 4, VORN_FORMAT_RGB),
             *c = vorn_image_alloc(4, 5, VORN_FORMAT_RGB), *d = vorn_image_alloc(4, 4, VORN_FORMAT_YUV);
  EXPECT_EQ(vorn_pyramid_down(a, b), VORN_OK);
  EXPECT_EQ(vorn_pyramid_down(a, c), VORN_E_PARAM);
  EXPECT_EQ(vorn_pyramid_down(a, d), VORN_E_PARAM);
  EXPECT_EQ(vorn_pyramid_down(nullptr, d), VORN_E_NULL);
  for (vorn_image *i : {a, b, c, d}) vorn_image_free(i);
}

TEST(Pyramid, CreateAndDownReleaseEverythingOnAllocationFailure) {
  vorn_image *img = vorn_image_alloc(37, 29, VORN_FORMAT_RGB);
  vorn_mono_image mono{37, 29, img->plane[0]};
  vorn_image *half = vorn_image_alloc(18, 14, VORN_FORMAT_RGB);
  EXPECT_GT(vorn_test::sweep_allocation_failures([&] {
              vorn_pyramid *p = nullptr;
              const vorn_result r = vorn_pyramid_create(img, &p, 3);
              if (r != VORN_OK) {
                EXPECT_EQ(p, nullptr);
                return false;
              }
              vorn_pyramid_destroy(p);
              return true;
            }),
            3);
  EXPECT_GT(vorn_test::sweep_allocation_failures([&] {
              vorn_pyramid *p = nullptr;
              const vorn_result r = vorn_pyramid_create_mono_image(&mono, &p, 3);
              if (r != VORN_OK) {
                EXPECT_EQ(r, VORN_E_NOMEM);
                return false;
              }
              vorn_pyramid_destroy(p);
              return true;
            }),
            3);
  EXPECT_EQ(vorn_test::sweep_allocation_failures([&] { return vorn_pyramid_down(img, half) == VORN_OK; }), 1);
  vorn_image_free(half);
  vorn_image_free(img);
}

}  // namespace
