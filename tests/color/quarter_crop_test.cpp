// Quarter-size reduction, cropping and rectangle drawing: which input pixel each output pixel copies, the kept
// strides, the checks, and that nothing is touched outside the buffers.
#include <gtest/gtest.h>
#include <string.h>

#include "color_test_util.h"
#include "core/bitmap.h"

using namespace color_test;

namespace {

// Plane p of pixel (x, y) holds a value naming its position.
Image numbered(uint32_t w, uint32_t h, uint32_t format) {
  Image img = make_image(w, h, format);
  for (uint32_t y = 0; y < h; ++y)
    for (uint32_t x = 0; x < w; ++x) set_px(img.get(), x, y, (uint8_t)(y * 16 + x), (uint8_t)(y * 16 + x + 1), (uint8_t)(y * 16 + x + 2));
  return img;
}

size_t stride24(uint32_t w) { return (size_t)vorn::bmp_stride(w, 24); }

}  // namespace

TEST(Quarter, ImageTakesEveryThirdRowAndRepeatsTheLast) {
  Image src = numbered(8, 12, VORN_FORMAT_HSV), dst = make_image(4, 6, VORN_FORMAT_HSV);
  ASSERT_EQ(VORN_OK, vorn_image_quater(src.get(), dst.get()));
  const uint32_t rows[6] = {0, 3, 6, 9, 11, 11};
  for (uint32_t y = 0; y < 6; ++y)
    for (uint32_t x = 0; x < 4; ++x)
      for (int p = 0; p < 3; ++p) EXPECT_EQ(px(src.get(), p, 2 * x, rows[y]), px(dst.get(), p, x, y)) << x << "," << y;
  Image low = make_image(4, 5, VORN_FORMAT_HSV);  // half the width, not half the height
  EXPECT_EQ(VORN_E_PARAM, vorn_image_quater(src.get(), low.get()));
}

TEST(Quarter, BitmapsKeepStoredRowsAndTheirStrides) {
  // 24-bit object and raw rows: pixel (x, y) <- (2x, 2y) in stored rows.
  Bmp src(vorn_bmp_alloc(6, 4, 24)), dst(vorn_bmp_alloc(3, 2, 24)), dst32(vorn_bmp_alloc(3, 2, 32));
  uint8_t *s = vorn::bmp_view(src.get()).pixels;
  std::vector<uint8_t> noise = vorn_test::random_bytes(stride24(6) * 4, 1);
  memcpy(s, noise.data(), noise.size());
  ASSERT_EQ(VORN_OK, vorn_image_bmp_quater(src.get(), dst.get()));
  std::vector<uint8_t> raw(stride24(3) * 2, 0xEE);
  ASSERT_EQ(VORN_OK, vorn_image_bmp24_quater(s, raw.data(), 6, 4));
  const uint8_t *d = vorn::bmp_view(dst.get()).pixels;
  for (size_t y = 0; y < 2; ++y)
    for (size_t x = 0; x < 3; ++x)
      for (size_t c = 0; c < 3; ++c) {
        EXPECT_EQ(s[2 * y * stride24(6) + 6 * x + c], d[y * stride24(3) + 3 * x + c]);
        EXPECT_EQ(s[2 * y * stride24(6) + 6 * x + c], raw[y * stride24(3) + 3 * x + c]);
      }
  for (size_t y = 0; y < 2; ++y)
    for (size_t i = 9; i < 12; ++i) EXPECT_EQ(0xEE, raw[y * 12 + i]);  // padding not written
  EXPECT_EQ(VORN_E_PARAM, vorn_image_bmp_quater(src.get(), dst32.get()));
  Bmp b16(vorn_bmp_alloc(6, 4, 16)), d16(vorn_bmp_alloc(3, 2, 16)), tall(vorn_bmp_alloc(3, 3, 24));
  EXPECT_EQ(VORN_E_PARAM, vorn_image_bmp_quater(b16.get(), d16.get()));
  EXPECT_EQ(VORN_E_PARAM, vorn_image_bmp_quater(src.get(), tall.get()));

  // 32-bit raw rows, w = 8, h = 4: output row 1 starts 12 bytes in (24-bit stride of 4 pixels) and is read from
  // byte 48 (twice the 24-bit stride of 8 pixels).
  std::vector<uint8_t> s32(32 * 4);
  for (size_t i = 0; i < s32.size(); ++i) s32[i] = (uint8_t)i;
  std::vector<uint8_t> d32(16 * 2, 0xEE);
  ASSERT_EQ(VORN_OK, vorn_image_bmp32_quater(s32.data(), d32.data(), 8, 4));
  const uint8_t row0[12] = {0, 1, 2, 0xEE, 8, 9, 10, 0xEE, 16, 17, 18, 0xEE};
  EXPECT_EQ(0, memcmp(row0, d32.data(), 12));
  const uint8_t row1[16] = {48, 49, 50, 0xEE, 56, 57, 58, 0xEE, 64, 65, 66, 0xEE, 72, 73, 74, 0xEE};
  EXPECT_EQ(0, memcmp(row1, d32.data() + 12, 16));
  // Fewer than two rows: nothing.
  std::vector<uint8_t> untouched(16, 0xEE);
  ASSERT_EQ(VORN_OK, vorn_image_bmp24_quater(s32.data(), untouched.data(), 8, 1));
  EXPECT_EQ(std::vector<uint8_t>(16, 0xEE), untouched);
}

TEST(Quarter, PackedFramesTakeTheFirstPairsChroma) {
  // 8 x 2 source: row 0 = two groups of four pixels.
  std::vector<uint8_t> src(32);
  for (size_t i = 0; i < 32; ++i) src[i] = (uint8_t)i;
  std::vector<uint8_t> dst(8, 0xEE);
  ASSERT_EQ(VORN_OK, vorn_image_yuv422_quater(src.data(), dst.data(), 8, 2));
  EXPECT_EQ((std::vector<uint8_t>{0, 1, 4, 3, 8, 9, 12, 11}), dst);

  Image yuv = make_image(4, 1, VORN_FORMAT_YUV);
  ASSERT_EQ(VORN_OK, vorn_image_yuv422_to_yuv_quater(src.data(), yuv.get(), 8, 2));
  for (uint32_t x = 0; x < 4; ++x) {
    EXPECT_EQ(4 * x, px(yuv.get(), 0, x, 0));
    EXPECT_EQ(4 * x + 1, px(yuv.get(), 1, x, 0));
    EXPECT_EQ(4 * x + 3, px(yuv.get(), 2, x, 0));
  }
  Image rgb = make_image(4, 1, VORN_FORMAT_RGB);
  EXPECT_EQ(VORN_E_PARAM, vorn_image_yuv422_to_yuv_quater(src.data(), rgb.get(), 8, 2));
  EXPECT_EQ(VORN_E_PARAM, vorn_image_yuv422_to_yuv_quater(src.data(), yuv.get(), 10, 2));
}

TEST(Quarter, Planar420FramesAndImages) {
  // 8 x 8: Y 64, U 16 at 64 (rows of 4), V 16 at 80.
  std::vector<uint8_t> src(96);
  for (size_t i = 0; i < 96; ++i) src[i] = (uint8_t)i;
  std::vector<uint8_t> dst(24, 0xEE);
  ASSERT_EQ(VORN_OK, vorn_image_yuv420_quater(src.data(), dst.data(), 8, 8));
  for (size_t y = 0; y < 4; ++y)
    for (size_t x = 0; x < 4; ++x) EXPECT_EQ(src[2 * y * 8 + 2 * x], dst[y * 4 + x]);
  // Chroma rows 0 and 2, columns 0 and 2 of each plane.
  EXPECT_EQ((std::vector<uint8_t>{64, 66, 72, 74, 80, 82, 88, 90}), std::vector<uint8_t>(dst.begin() + 16, dst.end()));

  // h = 2: only the Y plane.
  std::vector<uint8_t> flat(8, 0xEE);
  ASSERT_EQ(VORN_OK, vorn_image_yuv420_quater(src.data(), flat.data(), 8, 2));
  EXPECT_EQ((std::vector<uint8_t>{0, 2, 4, 6, 0xEE, 0xEE, 0xEE, 0xEE}), flat);

  // Into images: Y decimated, chroma planes copied whole (swapped for yv14).
  Image img = make_image(4, 4, VORN_FORMAT_YUV), yv = make_image(4, 4, VORN_FORMAT_YUV);
  ASSERT_EQ(VORN_OK, vorn_image_yuv420_to_yuv_quater(src.data(), img.get(), 8, 8));
  ASSERT_EQ(VORN_OK, vorn_image_yv14_to_yuv_quater(src.data(), yv.get(), 8, 8));
  EXPECT_EQ(0, memcmp(dst.data(), img->plane[0], 16));
  EXPECT_EQ(0, memcmp(src.data() + 64, img->plane[1], 16));
  EXPECT_EQ(0, memcmp(src.data() + 80, img->plane[2], 16));
  EXPECT_EQ(0, memcmp(src.data() + 80, yv->plane[1], 16));
  EXPECT_EQ(0, memcmp(src.data() + 64, yv->plane[2], 16));
  EXPECT_EQ(VORN_E_PARAM, vorn_image_yv14_to_yuv_quater(src.data(), img.get(), 8, 10));

  // Odd sizes whose whole chroma plane is larger than the quarter image's plane: bounded by the plane.
  std::vector<uint8_t> odd(3 * 3 * 3 / 2);
  Image tiny = make_image(1, 1, VORN_FORMAT_YUV);
  EXPECT_EQ(VORN_OK, vorn_image_yuv420_to_yuv_quater(odd.data(), tiny.get(), 3, 3));
}

TEST(Crop, PointCopiesTheOverlapOnly) {
  Image src = numbered(10, 10, VORN_FORMAT_RGB), dst = make_image(4, 4, VORN_FORMAT_RGB);
  for (int p = 0; p < 3; ++p) memset(dst->plane[p], 0xEE, 16);
  ASSERT_EQ(VORN_OK, vorn_image_point(src.get(), dst.get(), -2, -2));
  for (uint32_t y = 0; y < 4; ++y)
    for (uint32_t x = 0; x < 4; ++x)
      for (int p = 0; p < 3; ++p) {
        uint8_t want = (x >= 2 && y >= 2) ? px(src.get(), p, x - 2, y - 2) : 0xEE;
        EXPECT_EQ(want, px(dst.get(), p, x, y));
      }
  ASSERT_EQ(VORN_OK, vorn_image_point(src.get(), dst.get(), 8, 7));  // over the right and bottom edges
  EXPECT_EQ(px(src.get(), 0, 9, 9), px(dst.get(), 0, 1, 2));
  EXPECT_EQ(VORN_E_PARAM, vorn_image_point(src.get(), dst.get(), 10, 0));
  EXPECT_EQ(VORN_E_PARAM, vorn_image_point(src.get(), dst.get(), 0, 10));
  EXPECT_EQ(VORN_E_PARAM, vorn_image_point(src.get(), dst.get(), -4, 0));
}

TEST(Crop, RectIsClampedAndEmptyGivesNull) {
  Image src = numbered(10, 8, VORN_FORMAT_YUV);
  Image part(vorn_image_rect(src.get(), vorn_rect{7, -3, 20, 2}));
  ASSERT_TRUE(part);
  EXPECT_EQ(3u, part->width);
  EXPECT_EQ(2u, part->height);
  EXPECT_EQ(VORN_FORMAT_YUV, part->format);
  EXPECT_EQ(px(src.get(), 2, 9, 1), px(part.get(), 2, 2, 1));
  EXPECT_EQ(nullptr, vorn_image_rect(src.get(), vorn_rect{5, 5, 5, 20}));
  EXPECT_EQ(nullptr, vorn_image_rect(src.get(), vorn_rect{20, 0, 30, 5}));
  EXPECT_EQ(nullptr, vorn_image_rect(src.get(), vorn_rect{6, 0, 2, 5}));  // right left of left
}

TEST(DrawRect, RightEdgeOneColumnOutBottomEdgeInside) {
  Mono m(vorn_mono_image_alloc(10, 10));
  vorn_rect r = {2, 2, 6, 5};
  ASSERT_EQ(VORN_OK, vorn_mono_image_draw_rect(m.get(), &r));
  for (int y = 0; y < 10; ++y)
    for (int x = 0; x < 10; ++x) {
      bool on = ((y == 2 || y == 4) && x >= 2 && x <= 5) || ((x == 2 || x == 6) && y >= 2 && y <= 4);
      EXPECT_EQ(on ? 255 : 0, m->data[y * 10 + x]) << x << "," << y;
    }
  // Clipped to the image; a right edge at the width is not drawn (it would wrap into the next row).
  Mono c(vorn_mono_image_alloc(4, 3));
  vorn_rect over = {1, -5, 9, 2};
  ASSERT_EQ(VORN_OK, vorn_mono_image_draw_rect(c.get(), &over));
  const uint8_t want[12] = {0, 255, 255, 255, 0, 255, 255, 255, 0, 0, 0, 0};
  EXPECT_EQ(0, memcmp(want, c->data, 12));
  vorn_rect outside = {20, 20, 30, 30};
  EXPECT_EQ(VORN_E_PARAM, vorn_mono_image_draw_rect(m.get(), &outside));
}
