// Frame conversions: bitmap row order and padding, the 4:2:2 and 4:2:0 chroma placement (quirks included),
// the bitmap/YUV workers, the frame-conversion table, and that no converter touches a byte outside a tightly
// sized frame.
#include <gtest/gtest.h>
#include <string.h>

#include "color/frame_table.h"
#include "color_test_util.h"
#include "core/bitmap.h"

using namespace color_test;

namespace {

class Frames : public ::testing::Test {
 protected:
  void SetUp() override { vorn_init(); }
};

Bmp make_bmp(uint32_t w, uint32_t h, uint32_t bits) { return Bmp(vorn_bmp_alloc(w, h, bits)); }
uint8_t *pixels(const Bmp &b) { return vorn::bmp_view(b.get()).pixels; }
size_t stride(uint32_t w, uint32_t bits) { return (size_t)vorn::bmp_stride(w, bits); }

bool same_planes(const vorn_image *a, const vorn_image *b) {
  size_t n = (size_t)a->width * a->height;
  for (int p = 0; p < 3; ++p)
    if (memcmp(a->plane[p], b->plane[p], n) != 0) return false;
  return true;
}

// Truncated-Y YUV of an RGB image pixel, from the formulas.
Triple trunc_yuv(const vorn_image *rgb, uint32_t x, uint32_t y) {
  return ref_rgb_to_yuv(px(rgb, 0, x, y), px(rgb, 1, x, y), px(rgb, 2, x, y), false);
}

}  // namespace

TEST_F(Frames, Bitmap24RowsAreBottomUpWithPaddingSkipped) {
  // 3 x 2 at 24 bits: 9 bytes of pixels + 3 of padding per stored row.
  Bmp bmp = make_bmp(3, 2, 24);
  uint8_t *p = pixels(bmp);
  for (int i = 0; i < 9; ++i) p[i] = (uint8_t)(10 + i);       // stored row 0 = image row 1
  for (int i = 0; i < 9; ++i) p[12 + i] = (uint8_t)(50 + i);  // stored row 1 = image row 0
  Image rgb = make_image(3, 2, VORN_FORMAT_RGB);
  ASSERT_EQ(VORN_OK, vorn_image_bmp_to_rgb(bmp.get(), rgb.get()));
  EXPECT_EQ((Triple{52, 51, 50}), (Triple{px(rgb.get(), 0, 0, 0), px(rgb.get(), 1, 0, 0), px(rgb.get(), 2, 0, 0)}));
  EXPECT_EQ((Triple{18, 17, 16}), (Triple{px(rgb.get(), 0, 2, 1), px(rgb.get(), 1, 2, 1), px(rgb.get(), 2, 2, 1)}));

  // Back out: the padding and every fourth byte of a 32-bit frame stay as they were.
  std::vector<uint8_t> rows24(stride(3, 24) * 2, 0xEE), rows32(stride(3, 32) * 2, 0xEE);
  ASSERT_EQ(VORN_OK, vorn_image_rgb_to_bmp24(rgb.get(), rows24.data()));
  ASSERT_EQ(VORN_OK, vorn_image_rgb_to_bmp32(rgb.get(), rows32.data()));
  EXPECT_EQ(0, memcmp(p, rows24.data(), 9));
  EXPECT_EQ(0, memcmp(p + 12, rows24.data() + 12, 9));
  for (int i = 9; i < 12; ++i) EXPECT_EQ(0xEE, rows24[i]);
  for (int i = 3; i < 24; i += 4) EXPECT_EQ(0xEE, rows32[i]);
  EXPECT_EQ(50, rows32[12]);
}

TEST_F(Frames, BitmapObjectsAreCheckedBeforeWriting) {
  Image rgb = make_image(4, 3, VORN_FORMAT_RGB);
  Bmp b16 = make_bmp(4, 3, 16), wide = make_bmp(5, 3, 24), tall = make_bmp(4, 4, 32), ok = make_bmp(4, 3, 24);
  memset(pixels(ok), 0x80, stride(4, 24) * 3);
  EXPECT_EQ(VORN_E_PARAM, vorn_image_bmp_to_rgb(b16.get(), rgb.get()));
  EXPECT_EQ(VORN_E_PARAM, vorn_image_bmp_to_rgb(wide.get(), rgb.get()));
  EXPECT_EQ(VORN_E_PARAM, vorn_image_bmp_to_rgb(tall.get(), rgb.get()));
  EXPECT_EQ(VORN_E_PARAM, vorn_image_rgb_to_bmp(rgb.get(), wide.get()));
  for (int p = 0; p < 3; ++p)
    for (int i = 0; i < 12; ++i) ASSERT_EQ(0, rgb->plane[p][i]);
  Mono low(vorn_mono_image_alloc(4, 2));
  EXPECT_EQ(VORN_E_PARAM, vorn_image_bmp_to_mono(ok.get(), low.get()));
  EXPECT_EQ(VORN_E_PARAM, vorn_image_mono_to_bmp(low.get(), ok.get()));
  EXPECT_EQ(VORN_E_PARAM, vorn_image_bmp_to_yuv422(b16.get(), std::vector<uint8_t>(64).data()));
}

// Only the bitmap-to-planar-YUV members round Y; the mono image gets the truncated Y.
TEST_F(Frames, BitmapLumaRoundsOnlyIntoYuvImages) {
  Bmp bmp = make_bmp(2, 1, 32);
  uint8_t *p = pixels(bmp);
  // (R, G, B) = (1, 1, 0): 12469 / 16384 = 0.76 -> rounded 1, truncated 0.
  p[0] = 0, p[1] = 1, p[2] = 1;
  p[4] = 255, p[5] = 255, p[6] = 255;
  Image yuv = make_image(2, 1, VORN_FORMAT_YUV);
  Mono mono(vorn_mono_image_alloc(2, 1));
  ASSERT_EQ(VORN_OK, vorn_image_bmp_to_yuv(bmp.get(), yuv.get()));
  ASSERT_EQ(VORN_OK, vorn_image_bmp_to_mono(bmp.get(), mono.get()));
  EXPECT_EQ(1, yuv->plane[0][0]);
  EXPECT_EQ(0, mono->data[0]);
  EXPECT_EQ(219, yuv->plane[0][1]);
  EXPECT_EQ(219, mono->data[1]);  // 255 * 14075 / 16384 = 219.06: both ways 219
}

TEST_F(Frames, BitmapRoundTripsThroughEveryModel) {
  for (uint32_t bits : {24u, 32u}) {
    for (uint32_t w : {1u, 3u, 6u, 17u, 301u}) {
      Image rgb = random_image(w, 5, VORN_FORMAT_RGB, w + bits);
      Bmp bmp = make_bmp(w, 5, bits);
      Image back = make_image(w, 5, VORN_FORMAT_RGB), hsv = make_image(w, 5, VORN_FORMAT_HSV);
      Image yuv = make_image(w, 5, VORN_FORMAT_YUV), want = make_image(w, 5, VORN_FORMAT_HSV);
      ASSERT_EQ(VORN_OK, vorn_image_rgb_to_bmp(rgb.get(), bmp.get()));
      ASSERT_EQ(VORN_OK, vorn_image_bmp_to_rgb(bmp.get(), back.get()));
      EXPECT_TRUE(same_planes(rgb.get(), back.get()));
      // The raw rows of the object are what the raw members read and write.
      std::vector<uint8_t> rows(stride(w, bits) * 5);
      ASSERT_EQ(VORN_OK, bits == 24 ? vorn_image_rgb_to_bmp24(rgb.get(), rows.data())
                                    : vorn_image_rgb_to_bmp32(rgb.get(), rows.data()));
      EXPECT_EQ(0, memcmp(rows.data(), pixels(bmp), rows.size()));
      ASSERT_EQ(VORN_OK, bits == 24 ? vorn_image_bmp24_to_hsv(rows.data(), hsv.get())
                                    : vorn_image_bmp32_to_hsv(rows.data(), hsv.get()));
      ASSERT_EQ(VORN_OK, vorn_image_rgb_to_hsv(rgb.get(), want.get()));
      EXPECT_TRUE(same_planes(hsv.get(), want.get()));
      // HSV and YUV images go out through their own model: the same bytes as converting to RGB first.
      ASSERT_EQ(VORN_OK, vorn_image_hsv_to_rgb(hsv.get(), back.get()));
      ASSERT_EQ(VORN_OK, vorn_image_rgb_to_bmp(back.get(), bmp.get()));
      std::vector<uint8_t> via_hsv(rows.size());
      ASSERT_EQ(VORN_OK, bits == 24 ? vorn_image_hsv_to_bmp24(hsv.get(), via_hsv.data())
                                    : vorn_image_hsv_to_bmp32(hsv.get(), via_hsv.data()));
      EXPECT_EQ(0, memcmp(via_hsv.data(), pixels(bmp), rows.size()));
      ASSERT_EQ(VORN_OK, bits == 24 ? vorn_image_bmp24_to_yuv(rows.data(), yuv.get())
                                    : vorn_image_bmp32_to_yuv(rows.data(), yuv.get()));
      Image want_yuv = make_image(w, 5, VORN_FORMAT_YUV);
      ASSERT_EQ(VORN_OK, vorn_image_rgb_to_yuv(rgb.get(), want_yuv.get()));
      EXPECT_TRUE(same_planes(yuv.get(), want_yuv.get()));
      ASSERT_EQ(VORN_OK, vorn_image_yuv_to_bmp(yuv.get(), bmp.get()));
      ASSERT_EQ(VORN_OK, vorn_image_yuv_to_rgb(yuv.get(), back.get()));
      ASSERT_EQ(VORN_OK, vorn_image_bmp_to_rgb(bmp.get(), rgb.get()));
      EXPECT_TRUE(same_planes(rgb.get(), back.get()));
    }
  }
}

TEST_F(Frames, Packed422ReadsPairsAndKeepsTheVQuirk) {
  const uint8_t frame[4] = {50, 60, 70, 80};
  Image yuv = make_image(2, 1, VORN_FORMAT_YUV), rgb = make_image(2, 1, VORN_FORMAT_RGB);
  ASSERT_EQ(VORN_OK, vorn_image_yuv422_to_yuv(frame, yuv.get()));
  EXPECT_EQ((Triple{50, 80, 80}), (Triple{px(yuv.get(), 0, 0, 0), px(yuv.get(), 1, 0, 0), px(yuv.get(), 2, 0, 0)}));
  EXPECT_EQ((Triple{70, 80, 80}), (Triple{px(yuv.get(), 0, 1, 0), px(yuv.get(), 1, 1, 0), px(yuv.get(), 2, 1, 0)}));
  // The RGB variant reads U where it is.
  ASSERT_EQ(VORN_OK, vorn_image_yuv422_to_rgb(frame, rgb.get()));
  EXPECT_EQ(ref_yuv_to_rgb(70, 60, 80), (Triple{px(rgb.get(), 0, 1, 0), px(rgb.get(), 1, 1, 0), px(rgb.get(), 2, 1, 0)}));

  // Writing keeps the odd pixel's chroma and drops the even one's.
  Image src = make_image(2, 1, VORN_FORMAT_YUV);
  set_px(src.get(), 0, 0, 10, 20, 30);
  set_px(src.get(), 1, 0, 11, 21, 31);
  uint8_t out[4] = {0};
  ASSERT_EQ(VORN_OK, vorn_image_yuv_to_yuv422(src.get(), out));
  EXPECT_EQ(0, memcmp(out, (const uint8_t[]){10, 21, 11, 31}, 4));
}

// Odd widths: the lone last pixel takes the byte after its row as V; on the last row, where that byte would
// lie past the frame, its own U byte.
TEST_F(Frames, Packed422OddWidthStaysInsideTheFrame) {
  std::vector<uint8_t> frame = {100, 110, 101, 120, 102, 130,   // row 0: pair (100, 101), lone 102 with U 130
                                103, 140, 104, 150, 105, 160};  // row 1
  Image yuv = make_image(3, 2, VORN_FORMAT_YUV);
  ASSERT_EQ(VORN_OK, vorn_image_yuv422_to_yuv(frame.data(), yuv.get()));
  EXPECT_EQ(140, px(yuv.get(), 2, 2, 0));  // byte 1 of the next row
  EXPECT_EQ(160, px(yuv.get(), 2, 2, 1));
  Image rgb = make_image(3, 2, VORN_FORMAT_RGB);
  ASSERT_EQ(VORN_OK, vorn_image_yuv422_to_rgb(frame.data(), rgb.get()));
  EXPECT_EQ(ref_yuv_to_rgb(102, 130, 140), (Triple{px(rgb.get(), 0, 2, 0), px(rgb.get(), 1, 2, 0), px(rgb.get(), 2, 2, 0)}));
  EXPECT_EQ(ref_yuv_to_rgb(105, 160, 160), (Triple{px(rgb.get(), 0, 2, 1), px(rgb.get(), 1, 2, 1), px(rgb.get(), 2, 2, 1)}));
}

// 4 x 4: Y 16 bytes, U rows at 16 and 18, V rows at 20 and 22; a tight 24-byte frame.
TEST_F(Frames, Planar420WritesOddRowsOneChromaRowDown) {
  Image src = make_image(4, 4, VORN_FORMAT_YUV);
  for (uint32_t y = 0; y < 4; ++y)
    for (uint32_t x = 0; x < 4; ++x) set_px(src.get(), x, y, (uint8_t)(y * 4 + x), (uint8_t)(100 + y * 4 + x), (uint8_t)(200 + y * 4 + x));
  std::vector<uint8_t> frame(24, 0xEE);
  ASSERT_EQ(VORN_OK, vorn_image_yuv_to_yuv420(src.get(), frame.data()));
  for (int i = 0; i < 16; ++i) EXPECT_EQ(i, frame[i]);
  EXPECT_EQ(0xEE, frame[16]);  // chroma row 0 is never written
  EXPECT_EQ(0xEE, frame[17]);
  EXPECT_EQ(105, frame[18]);  // chroma row 1 from image row 1, columns 1 and 3
  EXPECT_EQ(107, frame[19]);
  EXPECT_EQ(113, frame[20]);  // image row 3's U lands on the first V row
  EXPECT_EQ(115, frame[21]);
  EXPECT_EQ(205, frame[22]);  // V row 1 from image row 1; row 3's V would lie past the frame
  EXPECT_EQ(207, frame[23]);
}

TEST_F(Frames, Planar420ReadsChromaRowHalfOfRowPlusOne) {
  std::vector<uint8_t> frame(24);
  for (int i = 0; i < 24; ++i) frame[i] = (uint8_t)i;
  Image yuv = make_image(4, 4, VORN_FORMAT_YUV);
  ASSERT_EQ(VORN_OK, vorn_image_yuv420_to_yuv(frame.data(), yuv.get()));
  // Row: the U and V of columns 0 and 3.
  const uint8_t want[4][4] = {{16, 17, 20, 21}, {18, 19, 22, 23}, {18, 19, 22, 23}, {20, 21, 22, 23}};
  for (uint32_t r = 0; r < 4; ++r) {
    EXPECT_EQ(want[r][0], px(yuv.get(), 1, 0, r)) << r;
    EXPECT_EQ(want[r][1], px(yuv.get(), 1, 3, r)) << r;
    EXPECT_EQ(want[r][2], px(yuv.get(), 2, 0, r)) << r;
    EXPECT_EQ(want[r][3], px(yuv.get(), 2, 3, r)) << r;
    EXPECT_EQ(r * 4 + 2, px(yuv.get(), 0, 2, r));
  }
  // RGB and HSV read the same samples.
  Image rgb = make_image(4, 4, VORN_FORMAT_RGB), hsv = make_image(4, 4, VORN_FORMAT_HSV);
  Image want_rgb = make_image(4, 4, VORN_FORMAT_RGB), want_hsv = make_image(4, 4, VORN_FORMAT_HSV);
  ASSERT_EQ(VORN_OK, vorn_image_yuv420_to_rgb(frame.data(), rgb.get()));
  ASSERT_EQ(VORN_OK, vorn_image_yuv420_to_hsv(frame.data(), hsv.get()));
  ASSERT_EQ(VORN_OK, vorn_image_yuv_to_rgb(yuv.get(), want_rgb.get()));
  ASSERT_EQ(VORN_OK, vorn_image_yuv_to_hsv(yuv.get(), want_hsv.get()));
  EXPECT_TRUE(same_planes(rgb.get(), want_rgb.get()));
  EXPECT_TRUE(same_planes(hsv.get(), want_hsv.get()));
}

TEST_F(Frames, ImagesIntoYuvFramesUseTruncatedLuma) {
  const uint32_t W = 302, H = 4, N = W * H, CW = W / 2;  // rows of more than one 256-pixel chunk
  Image rgb = random_image(W, H, VORN_FORMAT_RGB, 3), hsv = random_image(W, H, VORN_FORMAT_HSV, 4);
  std::vector<uint8_t> f422(2 * N), f420(N * 3 / 2), g422(2 * N), g420(N * 3 / 2);
  ASSERT_EQ(VORN_OK, vorn_image_rgb_to_yuv422(rgb.get(), f422.data()));
  ASSERT_EQ(VORN_OK, vorn_image_rgb_to_yuv420(rgb.get(), f420.data()));
  for (uint32_t y = 0; y < H; ++y)
    for (uint32_t x = 0; x < W; ++x) {
      Triple t = trunc_yuv(rgb.get(), x, y);
      ASSERT_EQ(t.a, f422[y * 2 * W + 2 * x]);
      ASSERT_EQ(t.a, f420[y * W + x]);
      if (x & 1) {
        ASSERT_EQ(t.b, f422[y * 2 * W + 2 * x - 1]);
        ASSERT_EQ(t.c, f422[y * 2 * W + 2 * x + 1]);
      }
      if ((x & 1) && y == 1) {  // chroma row 1 of each plane
        ASSERT_EQ(t.b, f420[N + CW + x / 2]);
        ASSERT_EQ(t.c, f420[N * 5 / 4 + CW + x / 2]);
      }
    }
  // HSV goes through RGB first.
  Image via = make_image(W, H, VORN_FORMAT_RGB);
  ASSERT_EQ(VORN_OK, vorn_image_hsv_to_rgb(hsv.get(), via.get()));
  ASSERT_EQ(VORN_OK, vorn_image_hsv_to_yuv422(hsv.get(), f422.data()));
  ASSERT_EQ(VORN_OK, vorn_image_rgb_to_yuv422(via.get(), g422.data()));
  EXPECT_EQ(f422, g422);
  ASSERT_EQ(VORN_OK, vorn_image_hsv_to_yuv420(hsv.get(), f420.data()));
  ASSERT_EQ(VORN_OK, vorn_image_rgb_to_yuv420(via.get(), g420.data()));
  EXPECT_EQ(f420, g420);
}

// The workers pair the bitmap's stored row s with YUV row h - 1 - s; in 4:2:2 that is the image's own row, so
// they agree with converting through a planar image.
TEST_F(Frames, Packed422WorkersAgreeWithThePlanarRoute) {
  for (uint32_t bits : {24u, 32u}) {
    Bmp bmp = make_bmp(6, 3, bits);
    std::vector<uint8_t> noise = vorn_test::random_bytes(stride(6, bits) * 3, bits);
    memcpy(pixels(bmp), noise.data(), noise.size());
    Image rgb = make_image(6, 3, VORN_FORMAT_RGB);
    ASSERT_EQ(VORN_OK, vorn_image_bmp_to_rgb(bmp.get(), rgb.get()));
    std::vector<uint8_t> direct(36), planar(36);
    ASSERT_EQ(VORN_OK, vorn_image_bmp_to_yuv422(bmp.get(), direct.data()));
    ASSERT_EQ(VORN_OK, vorn_image_rgb_to_yuv422(rgb.get(), planar.data()));
    EXPECT_EQ(planar, direct);

    Bmp out = make_bmp(6, 3, bits), want = make_bmp(6, 3, bits);
    ASSERT_EQ(VORN_OK, vorn_image_yuv422_to_bmp(direct.data(), out.get()));
    ASSERT_EQ(VORN_OK, vorn_image_yuv422_to_rgb(direct.data(), rgb.get()));
    ASSERT_EQ(VORN_OK, vorn_image_rgb_to_bmp(rgb.get(), want.get()));
    EXPECT_EQ(0, memcmp(pixels(out), pixels(want), stride(6, bits) * 3));
  }
}

// The 4:2:0 workers place chroma row c at image row 2c (even heights), unlike the planar converters.
TEST_F(Frames, Planar420WorkersUseChromaRowHalfOfRow) {
  Bmp bmp = make_bmp(4, 4, 24);
  std::vector<uint8_t> noise = vorn_test::random_bytes(stride(4, 24) * 4, 9);
  memcpy(pixels(bmp), noise.data(), noise.size());
  Image rgb = make_image(4, 4, VORN_FORMAT_RGB);
  ASSERT_EQ(VORN_OK, vorn_image_bmp_to_rgb(bmp.get(), rgb.get()));
  std::vector<uint8_t> frame(24, 0xEE);
  ASSERT_EQ(VORN_OK, vorn_image_bmp_to_yuv420(bmp.get(), frame.data()));
  for (uint32_t c = 0; c < 2; ++c)
    for (uint32_t k = 0; k < 2; ++k) {
      Triple t = trunc_yuv(rgb.get(), 2 * k + 1, 2 * c);
      EXPECT_EQ(t.b, frame[16 + c * 2 + k]);
      EXPECT_EQ(t.c, frame[20 + c * 2 + k]);
    }
  for (uint32_t i = 0; i < 16; ++i) EXPECT_EQ(trunc_yuv(rgb.get(), i % 4, i / 4).a, frame[i]);

  std::vector<uint8_t> yuv = vorn_test::random_bytes(24, 10);
  Bmp out = make_bmp(4, 4, 32);
  ASSERT_EQ(VORN_OK, vorn_image_yuv420_to_bmp(yuv.data(), out.get()));
  Image got = make_image(4, 4, VORN_FORMAT_RGB);
  ASSERT_EQ(VORN_OK, vorn_image_bmp_to_rgb(out.get(), got.get()));
  for (uint32_t r = 0; r < 4; ++r)
    for (uint32_t x = 0; x < 4; ++x)
      EXPECT_EQ(ref_yuv_to_rgb(yuv[r * 4 + x], yuv[16 + (r / 2) * 2 + x / 2], yuv[20 + (r / 2) * 2 + x / 2]),
                (Triple{px(got.get(), 0, x, r), px(got.get(), 1, x, r), px(got.get(), 2, x, r)}));
}

TEST_F(Frames, MonoBitmapsFlipRows) {
  Mono mono(vorn_mono_image_alloc(3, 2));
  for (int i = 0; i < 6; ++i) mono->data[i] = (uint8_t)(i * 40);
  Bmp bmp = make_bmp(3, 2, 32);
  ASSERT_EQ(VORN_OK, vorn_image_mono_to_bmp(mono.get(), bmp.get()));
  const uint8_t *p = pixels(bmp);
  EXPECT_EQ(120, p[0]);  // stored row 0 = mono row 1
  EXPECT_EQ(120, p[2]);
  EXPECT_EQ(0, p[3]);    // the fourth byte is left alone
  EXPECT_EQ(0, p[12 + 1]);
  EXPECT_EQ(80, p[12 + 8 + 2]);
  Mono back(vorn_mono_image_alloc(3, 2));
  ASSERT_EQ(VORN_OK, vorn_image_bmp_to_mono(bmp.get(), back.get()));
  // Grey g has truncated luma floor(g * 14075 / 16384).
  for (int i = 0; i < 6; ++i) EXPECT_EQ(mono->data[i] * 14075 / 16384, back->data[i]);
}

TEST_F(Frames, Yv14SwapsChromaPlanes) {
  // 4 x 2: Y 8 bytes, then V 2, then U 2.
  std::vector<uint8_t> yv14 = {1, 2, 3, 4, 5, 6, 7, 8, 90, 91, 70, 71};
  std::vector<uint8_t> want = {1, 2, 3, 4, 5, 6, 7, 8, 70, 71, 90, 91};
  std::vector<uint8_t> dst(12), scratch(2), copy = yv14;
  ASSERT_EQ(VORN_OK, vorn_image_yv14_to_yuv420(yv14.data(), dst.data(), nullptr, 4, 2));
  EXPECT_EQ(want, dst);
  ASSERT_EQ(VORN_OK, vorn_image_yv14_to_yuv420(copy.data(), nullptr, scratch.data(), 4, 2));
  EXPECT_EQ(want, copy);
  ASSERT_EQ(VORN_OK, vorn_image_yv14_to_yuv420(copy.data(), nullptr, nullptr, 4, 2));
  EXPECT_EQ(yv14, copy);
  EXPECT_EQ(VORN_E_PARAM, vorn_image_yv14_to_yuv420(nullptr, dst.data(), nullptr, 4, 2));
  EXPECT_EQ(VORN_E_PARAM, vorn_image_yv14_to_yuv420(copy.data(), dst.data(), nullptr, 0, 2));
  vorn_test::sweep_allocation_failures([&] {
    vorn_result rc = vorn_image_yv14_to_yuv420(copy.data(), nullptr, nullptr, 4, 2);
    EXPECT_TRUE(rc == VORN_OK || rc == VORN_E_NOMEM);
    return rc == VORN_OK;
  });
}

TEST_F(Frames, TableConvertsEveryTypeIntoEveryFormat) {
  uint32_t w = 6, h = 4;
  Bmp bmp = make_bmp(w, h, 24);
  std::vector<uint8_t> buf = vorn_test::random_bytes(stride(w, 32) * h, 11);
  memcpy(pixels(bmp), buf.data(), stride(w, 24) * h);
  for (uint32_t format = 0; format < 3; ++format) {
    typedef vorn_result (*Raw)(const uint8_t *, vorn_image *);
    const Raw raw[4][3] = {{vorn_image_bmp24_to_rgb, vorn_image_bmp24_to_yuv, vorn_image_bmp24_to_hsv},
                           {vorn_image_bmp32_to_rgb, vorn_image_bmp32_to_yuv, vorn_image_bmp32_to_hsv},
                           {vorn_image_yuv422_to_rgb, vorn_image_yuv422_to_yuv, vorn_image_yuv422_to_hsv},
                           {vorn_image_yuv420_to_rgb, vorn_image_yuv420_to_yuv, vorn_image_yuv420_to_hsv}};
    Image got = make_image(w, h, format), want = make_image(w, h, format);
    ASSERT_EQ(VORN_OK, vorn::frame_to_image(bmp.get(), VORN_FRAME_BMP, got.get()));
    ASSERT_EQ(VORN_OK, vorn::frame_to_image(pixels(bmp), VORN_FRAME_BMP24, want.get()));
    EXPECT_TRUE(same_planes(got.get(), want.get()));
    for (uint32_t type = 1; type <= 7; ++type) {
      ASSERT_EQ(VORN_OK, vorn::frame_to_image(buf.data(), type, got.get()));
      ASSERT_EQ(VORN_OK, raw[(type > 4 ? 4 : type) - 1][format](buf.data(), want.get()));
      EXPECT_TRUE(same_planes(got.get(), want.get())) << type << " " << format;
    }
  }
  Image odd = make_image(w, h, 3);
  EXPECT_EQ(VORN_E_PARAM, vorn::frame_to_image(buf.data(), 4, odd.get()));
  odd->format = 9;
  EXPECT_EQ(VORN_E_PARAM, vorn::frame_to_image(buf.data(), 1, odd.get()));
  EXPECT_EQ(VORN_E_NULL, vorn::frame_to_image(buf.data(), 1, nullptr));
}

// Frames into HSV images are frames into RGB followed by RGB -> HSV, on rows of several chunks.
TEST_F(Frames, FramesIntoHsvAreRgbThenHsv) {
  const uint32_t w = 602, h = 5;
  std::vector<uint8_t> buf = vorn_test::random_bytes(w * 4 * h, 12);
  for (uint32_t type = 1; type <= 4; ++type) {
    Image hsv = make_image(w, h, VORN_FORMAT_HSV), rgb = make_image(w, h, VORN_FORMAT_RGB);
    Image want = make_image(w, h, VORN_FORMAT_HSV);
    ASSERT_EQ(VORN_OK, vorn::frame_to_image(buf.data(), type, hsv.get()));
    ASSERT_EQ(VORN_OK, vorn::frame_to_image(buf.data(), type, rgb.get()));
    ASSERT_EQ(VORN_OK, vorn_image_rgb_to_hsv(rgb.get(), want.get()));
    EXPECT_TRUE(same_planes(hsv.get(), want.get())) << type;
  }
}

// Every size up to 9 x 9 against frames of exactly their documented size: the sanitizers see any stray byte.
TEST_F(Frames, TightFramesOfEverySmallSize) {
  for (uint32_t w = 1; w <= 9; ++w)
    for (uint32_t h = 1; h <= 9; ++h) {
      size_t n420 = (size_t)w * h * 3 / 2;
      std::vector<uint8_t> f420 = vorn_test::random_bytes(n420, w * 16 + h), f422 = vorn_test::random_bytes(2 * w * h, h);
      std::vector<uint8_t> bmp24(stride(w, 24) * h), bmp32(stride(w, 32) * h);
      for (uint32_t format = 0; format < 3; ++format) {
        Image img = random_image(w, h, format, w + h);
        ASSERT_EQ(VORN_OK, vorn::frame_to_image(f420.data(), 4, img.get()));
        ASSERT_EQ(VORN_OK, vorn::frame_to_image(f422.data(), 3, img.get()));
      }
      Image rgb = random_image(w, h, 0, w * h), yuv = random_image(w, h, 1, w), hsv = random_image(w, h, 2, h);
      for (const vorn_image *img : {rgb.get(), yuv.get(), hsv.get()}) {
        vorn_result (*to420)(const vorn_image *, uint8_t *) =
            img->format == 0 ? vorn_image_rgb_to_yuv420 : img->format == 1 ? vorn_image_yuv_to_yuv420 : vorn_image_hsv_to_yuv420;
        vorn_result (*to422)(const vorn_image *, uint8_t *) =
            img->format == 0 ? vorn_image_rgb_to_yuv422 : img->format == 1 ? vorn_image_yuv_to_yuv422 : vorn_image_hsv_to_yuv422;
        ASSERT_EQ(VORN_OK, to420(img, f420.data()));
        ASSERT_EQ(VORN_OK, to422(img, f422.data()));
      }
      for (uint32_t bits : {24u, 32u}) {
        uint8_t *rows = bits == 24 ? bmp24.data() : bmp32.data();
        ASSERT_EQ(VORN_OK, image_bmp_to_yuv420(rows, f420.data(), w, h, bits));
        ASSERT_EQ(VORN_OK, image_yuv420_to_bmp(f420.data(), rows, w, h, bits));
        ASSERT_EQ(VORN_OK, image_bmp_to_yuv422(rows, f422.data(), w, h, bits));
        ASSERT_EQ(VORN_OK, image_yuv422_to_bmp(f422.data(), rows, w, h, bits));
      }
    }
}
