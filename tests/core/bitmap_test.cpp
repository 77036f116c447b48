#include <string.h>

#include <gtest/gtest.h>

#include "core/bytes.h"
#include "core/fault_inject.h"
#include "support/test_support.h"
#include "vorn.h"

namespace {

using vorn::load_le16;
using vorn::load_le32;
using vorn_test::read_file;
using vorn_test::temp_path;
using vorn_test::write_file;

const uint8_t *bytes_of(vorn_bmp *b) { return reinterpret_cast<const uint8_t *>(b); }

// A bitmap file made by hand, byte by byte, independently of the library's header code.
std::vector<uint8_t> hand_made_bmp(int32_t w, int32_t h, uint16_t bits, uint32_t gap, uint32_t compression = 0) {
  const uint32_t stride = (uint32_t)(((w * bits + 31) / 32) * 4);
  const uint32_t pixels = stride * (uint32_t)(h < 0 ? -h : h);
  std::vector<uint8_t> f(54 + gap + pixels, 0);
  auto put32 = [&](size_t at, uint32_t v) { vorn::store_le32(&f[at], v); };
  f[0] = 'B';
  f[1] = 'M';
  put32(2, (uint32_t)f.size());
  put32(10, 54 + gap);
  put32(14, 40);
  put32(18, (uint32_t)w);
  put32(22, (uint32_t)h);
  f[26] = 1;
  f[28] = (uint8_t)bits;
  put32(30, compression);
  for (uint32_t i = 0; i < pixels; ++i) f[54 + gap + i] = (uint8_t)(i * 7 + 3);
  return f;
}

TEST(Bitmap, HeadersOfFreshBitmaps) {
  vorn_bmp *b = vorn_bmp_alloc(3, 2, 24);
  ASSERT_NE(b, nullptr);
  const uint8_t *p = bytes_of(b);
  EXPECT_EQ(load_le16(p), 0x4D42);
  EXPECT_EQ(load_le32(p + 2), 78u);  // file size
  EXPECT_EQ(load_le32(p + 10), 54u);
  EXPECT_EQ(load_le32(p + 14), 40u);
  EXPECT_EQ(load_le16(p + 26), 1);
  EXPECT_EQ(load_le32(p + 34), 24u);  // image size
  EXPECT_EQ(vorn_bmp_get_stride(b), 12u);
  EXPECT_EQ(vorn_bmp_get_width(b), 3);
  EXPECT_EQ(vorn_bmp_get_height(b), 2);
  EXPECT_EQ(vorn_bmp_get_bitcount(b), 24u);
  EXPECT_EQ(vorn_bmp_get_image(b), p + 54);
  EXPECT_EQ(vorn_bmp_is_valid(b), 1u);
  for (int i = 54; i < 78; ++i) EXPECT_EQ(p[i], 0);
  vorn_bmp_free(b);

  vorn_bmp *b32 = vorn_bmp_alloc(3, 2, 32);
  ASSERT_NE(b32, nullptr);
  EXPECT_EQ(vorn_bmp_get_stride(b32), 12u);
  EXPECT_EQ(load_le32(bytes_of(b32) + 2), 78u);
  vorn_bmp_free(b32);

  vorn_bmp *b16 = vorn_bmp_alloc(5, 1, 16);  // the bit count is not checked on allocation
  ASSERT_NE(b16, nullptr);
  EXPECT_EQ(vorn_bmp_is_valid(b16), 0u);
  vorn_bmp_free(b16);
}

TEST(Bitmap, ValidityLooksAtLowHalfOfCompressionOnly) {
  vorn_bmp *b = vorn_bmp_alloc(4, 4, 32);
  uint8_t *p = reinterpret_cast<uint8_t *>(b);
  vorn::store_le32(p + 30, 0x00010000u);
  EXPECT_EQ(vorn_bmp_is_valid(b), 1u);
  vorn::store_le32(p + 30, 1u);
  EXPECT_EQ(vorn_bmp_is_valid(b), 0u);
  vorn::store_le32(p + 30, 0);
  p[0] = 'X';
  EXPECT_EQ(vorn_bmp_is_valid(b), 0u);
  vorn_bmp_free(b);
}

TEST(Bitmap, LoadSkipsGapAndRefreshesHeaders) {
  const std::string path = temp_path("gap.bmp");
  std::vector<uint8_t> f = hand_made_bmp(5, 3, 24, 16, 0x00030000u);
  vorn::store_le32(&f[38], 2835);  // resolution, dropped on load
  write_file(path, f);
  vorn_bmp *b = vorn_bmp_load(path.c_str());
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(vorn_bmp_get_width(b), 5);
  EXPECT_EQ(vorn_bmp_get_height(b), 3);
  EXPECT_EQ(vorn_bmp_get_stride(b), 16u);
  const uint8_t *p = bytes_of(b);
  EXPECT_EQ(load_le32(p + 10), 54u);
  EXPECT_EQ(load_le32(p + 30), 0u);
  EXPECT_EQ(load_le32(p + 38), 0u);
  EXPECT_EQ(memcmp(p + 54, &f[54 + 16], 48), 0);
  vorn_bmp_free(b);
}

TEST(Bitmap, MalformedFilesLoadAsNull) {
  std::vector<uint8_t> good = hand_made_bmp(4, 2, 32, 0);
  struct Case {
    const char *name;
    std::vector<uint8_t> bytes;
  };
  std::vector<Case> cases;
  cases.push_back({"short.bmp", std::vector<uint8_t>(good.begin(), good.begin() + 53)});
  std::vector<uint8_t> not_bm = good;
  not_bm[0] = 'P';
  cases.push_back({"notbm.bmp", not_bm});
  cases.push_back({"16bit.bmp", hand_made_bmp(4, 2, 16, 0)});
  cases.push_back({"8bit.bmp", hand_made_bmp(4, 2, 8, 0)});
  std::vector<uint8_t> truncated = good;
  truncated.pop_back();
  cases.push_back({"truncated.bmp", truncated});
  cases.push_back({"topdown.bmp", hand_made_bmp(4, -2, 24, 0)});
  // Header sizes whose products overflow 64 bits, or claim far more pixels than the file holds.
  std::vector<uint8_t> huge = good;
  vorn::store_le32(&huge[18], 0x80000001u);  // width -2^31 + 1
  vorn::store_le32(&huge[22], 0x9D9D9D9Du);
  cases.push_back({"negative.bmp", huge});
  vorn::store_le32(&huge[18], 0x7FFFFFFFu);
  vorn::store_le32(&huge[22], 0x7FFFFFFFu);
  cases.push_back({"huge.bmp", huge});
  vorn::store_le32(&huge[10], 0xFFFFFFF0u);  // pixels past the end of the file
  vorn::store_le32(&huge[18], 1);
  vorn::store_le32(&huge[22], 0);
  cases.push_back({"offset.bmp", huge});
  for (const Case &c : cases) {
    const std::string path = temp_path(c.name);
    write_file(path, c.bytes);
    vorn_bmp *b = vorn_bmp_load(path.c_str());
    EXPECT_EQ(b, nullptr) << c.name;
    vorn_bmp_free(b);
  }
  EXPECT_EQ(vorn_bmp_load(temp_path("does-not-exist.bmp").c_str()), nullptr);
  // The well-formed original loads.
  const std::string ok = temp_path("good.bmp");
  write_file(ok, good);
  vorn_bmp *b = vorn_bmp_load(ok.c_str());
  EXPECT_NE(b, nullptr);
  vorn_bmp_free(b);
}

TEST(Bitmap, SaveWritesFileSizeBytes) {
  vorn_bmp *b = vorn_bmp_alloc(3, 2, 24);
  uint8_t *px = vorn_bmp_get_image(b);
  for (int i = 0; i < 24; ++i) px[i] = (uint8_t)(100 + i);
  const std::string path = temp_path("save.bmp");
  ASSERT_EQ(vorn_bmp_save(b, path.c_str()), VORN_OK);
  std::vector<uint8_t> f = read_file(path);
  ASSERT_EQ(f.size(), 78u);
  EXPECT_EQ(memcmp(f.data(), b, 78), 0);
  EXPECT_EQ(vorn_bmp_save(b, "/nonexistent-dir/x.bmp"), VORN_E_FILE);
  // A header claiming more bytes than the object holds is cut at the object's end.
  vorn::store_le32(reinterpret_cast<uint8_t *>(b) + 2, 1u << 20);
  ASSERT_EQ(vorn_bmp_save(b, path.c_str()), VORN_OK);
  EXPECT_EQ(read_file(path).size(), 78u);
  vorn_bmp_free(b);
}

TEST(Bitmap, SaveRgbFlipsRowsAndOrdersBgr) {
  vorn_image *img = vorn_image_alloc(3, 2, VORN_FORMAT_RGB);
  for (int i = 0; i < 6; ++i) {
    img->plane[0][i] = (uint8_t)(10 + i);
    img->plane[1][i] = (uint8_t)(20 + i);
    img->plane[2][i] = (uint8_t)(30 + i);
  }
  const std::string path = temp_path("rgb.bmp");
  ASSERT_EQ(vorn_image_save_rgb(img, path.c_str()), VORN_OK);
  vorn_bmp *b = vorn_bmp_load(path.c_str());
  ASSERT_NE(b, nullptr);
  const uint8_t *px = vorn_bmp_get_image(b);
  // Stored row 0 is image row 1 (pixels 3..5); stride 12 with 3 padding bytes.
  const uint8_t expect_row0[12] = {33, 23, 13, 34, 24, 14, 35, 25, 15, 0, 0, 0};
  const uint8_t expect_row1[12] = {30, 20, 10, 31, 21, 11, 32, 22, 12, 0, 0, 0};
  EXPECT_EQ(memcmp(px, expect_row0, 12), 0);
  EXPECT_EQ(memcmp(px + 12, expect_row1, 12), 0);
  vorn_bmp_free(b);

  vorn_image *empty = vorn_image_alloc(0, 4, VORN_FORMAT_RGB);
  const std::string never = temp_path("never.bmp");
  EXPECT_EQ(vorn_image_save_rgb(empty, never.c_str()), VORN_E_PARAM);
  EXPECT_TRUE(read_file(never).empty());
  // An unwritable path is not reported.
  EXPECT_EQ(vorn_image_save_rgb(img, "/nonexistent-dir/x.bmp"), VORN_OK);
  vorn_image_free(empty);
  vorn_image_free(img);
}

// The row buffer of a save is the one allocation the interface's allocation sweep does not reach.
TEST(Bitmap, SaveRgbReportsItsFailedRowBuffer) {
  const std::string path = temp_path("nomem.bmp");
  vorn_image *img = vorn_image_alloc(6, 4, VORN_FORMAT_RGB);
  vorn::fault_inject_fail_at(1);
  EXPECT_EQ(vorn_image_save_rgb(img, path.c_str()), VORN_E_NOMEM);
  vorn::fault_inject_fail_at(0);
  vorn_image_free(img);
}

}  // namespace
