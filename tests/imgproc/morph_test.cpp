#include <gtest/gtest.h>

#include <random>

#include "core/fault_inject.h"
#include "imgproc/morph.h"
#include "imgproc_test_util.h"

using namespace vorn_test;
using vorn::MorphOp;

namespace {

using OpFn = vorn_result (*)(const vorn_mono_image *, vorn_mono_image *, uint32_t, const vorn_mono_image *);
const OpFn kOps[3] = {vorn_morpha_erosion, vorn_morpha_dilation, vorn_morpha_window};
const MorphOp kOpIds[3] = {MorphOp::kErode, MorphOp::kDilate, MorphOp::kWindow};

uint8_t at(const Mono &m, int x, int y) { return m->data[y * (int)m->width + x]; }

TEST(Morph, IsolatedPixelAndItsWindow) {
  Mono src = mono(9, 9), dst = mono(9, 9, 7), region = mono(9, 9, 1);
  src->data[4 * 9 + 4] = 1;  // any non-zero byte counts
  ASSERT_EQ(vorn_morpha_erosion(src.get(), dst.get(), 1, region.get()), VORN_OK);
  for (uint8_t v : bytes_of(dst.get())) EXPECT_EQ(v, 0);
  ASSERT_EQ(vorn_morpha_dilation(src.get(), dst.get(), 1, region.get()), VORN_OK);
  for (int y = 0; y < 9; ++y)
    for (int x = 0; x < 9; ++x) EXPECT_EQ(at(dst, x, y), (abs(x - 4) <= 1 && abs(y - 4) <= 1) ? 255 : 0);
  // A 3x3 block survives erosion with n = 1 only at its centre.
  Mono block = mono(9, 9);
  for (int y = 3; y <= 5; ++y)
    for (int x = 3; x <= 5; ++x) block->data[y * 9 + x] = 255;
  ASSERT_EQ(vorn_morpha_erosion(block.get(), dst.get(), 1, region.get()), VORN_OK);
  for (int y = 0; y < 9; ++y)
    for (int x = 0; x < 9; ++x) EXPECT_EQ(at(dst, x, y), (x == 4 && y == 4) ? 255 : 0);
}

TEST(Morph, WindowNeedsThreeQuarters) {
  EXPECT_EQ(vorn::morph_window_need(0), 0u);
  EXPECT_EQ(vorn::morph_window_need(1), 6u);
  EXPECT_EQ(vorn::morph_window_need(2), 18u);
  EXPECT_EQ(vorn::morph_window_need(3), 36u);
  Mono src = mono(5, 5), dst = mono(5, 5), region = mono(5, 5, 255);
  // Around (2, 2): 6 non-zero pixels in its 3x3 window, itself included.
  const int on[6][2] = {{1, 1}, {2, 1}, {3, 1}, {1, 2}, {2, 2}, {3, 2}};
  for (auto &p : on) src->data[p[1] * 5 + p[0]] = 255;
  ASSERT_EQ(vorn_morpha_window(src.get(), dst.get(), 1, region.get()), VORN_OK);
  EXPECT_EQ(at(dst, 2, 2), 255);
  EXPECT_EQ(at(dst, 2, 1), 255);  // the same 6 pixels
  EXPECT_EQ(at(dst, 1, 2), 0);    // 4 of 9
  EXPECT_EQ(at(dst, 2, 0), 0);    // border band
  src->data[1 * 5 + 1] = 0;     // 5 of 9
  ASSERT_EQ(vorn_morpha_window(src.get(), dst.get(), 1, region.get()), VORN_OK);
  EXPECT_EQ(at(dst, 2, 2), 0);
}

TEST(Morph, BandRegionAndSizeZero) {
  Mono src = mono(7, 6), dst = mono(7, 6, 9), region = mono(7, 6, 255);
  fill_random(src.get(), 5);
  for (int i = 0; i < 42; i += 5) src->data[i] = 0;
  region->data[3 * 7 + 3] = 0;
  // n = 0: erosion and dilation turn the source into 0/255; the window filter makes the region 255.
  ASSERT_EQ(vorn_morpha_erosion(src.get(), dst.get(), 0, region.get()), VORN_OK);
  for (int i = 0; i < 42; ++i) EXPECT_EQ(dst->data[i], (i == 24 || src->data[i] == 0) ? 0 : 255);
  ASSERT_EQ(vorn_morpha_dilation(src.get(), dst.get(), 0, region.get()), VORN_OK);
  for (int i = 0; i < 42; ++i) EXPECT_EQ(dst->data[i], (i == 24 || src->data[i] == 0) ? 0 : 255);
  ASSERT_EQ(vorn_morpha_window(src.get(), dst.get(), 0, region.get()), VORN_OK);
  for (int i = 0; i < 42; ++i) EXPECT_EQ(dst->data[i], i == 24 ? 0 : 255);
  // An all-ones source with n = 2: dilation is 255 inside the 2-pixel band and outside the region hole.
  Mono ones = mono(7, 6, 255);
  ASSERT_EQ(vorn_morpha_dilation(ones.get(), dst.get(), 2, region.get()), VORN_OK);
  for (int y = 0; y < 6; ++y)
    for (int x = 0; x < 7; ++x)
      EXPECT_EQ(at(dst, x, y), (x >= 2 && x < 5 && y >= 2 && y < 4 && !(x == 3 && y == 3)) ? 255 : 0);
  // Too short for any interior (h <= 2n) or too narrow: everything is cleared.
  for (OpFn op : kOps) {
    memset(dst->data, 9, 42);
    ASSERT_EQ(op(ones.get(), dst.get(), 3, region.get()), VORN_OK);
    for (uint8_t v : bytes_of(dst.get())) EXPECT_EQ(v, 0);
    memset(dst->data, 9, 42);
    ASSERT_EQ(op(ones.get(), dst.get(), 1000, region.get()), VORN_OK);
    for (uint8_t v : bytes_of(dst.get())) EXPECT_EQ(v, 0);
  }
  Mono narrow_src = mono(3, 20, 255), narrow = mono(3, 20, 9), narrow_region = mono(3, 20, 255);
  ASSERT_EQ(vorn_morpha_dilation(narrow_src.get(), narrow.get(), 2, narrow_region.get()), VORN_OK);
  for (uint8_t v : bytes_of(narrow.get())) EXPECT_EQ(v, 0);
  // A region of zeros gives zeros whatever the source.
  Mono nowhere = mono(7, 6, 0);
  for (OpFn op : kOps) {
    ASSERT_EQ(op(ones.get(), dst.get(), 1, nowhere.get()), VORN_OK);
    for (uint8_t v : bytes_of(dst.get())) EXPECT_EQ(v, 0);
  }
}

// The other shape of the same count, and a region one row short (the interface sweep changes both dimensions).
TEST(Morph, SizeChecks) {
  Mono src = mono(6, 5), dst = mono(5, 6, 3), region = mono(6, 5, 255), low_region = mono(6, 4, 255);
  Mono good = mono(6, 5, 3);
  for (OpFn op : kOps) {
    EXPECT_EQ(op(src.get(), dst.get(), 1, region.get()), VORN_E_PARAM);
    EXPECT_EQ(op(src.get(), good.get(), 1, low_region.get()), VORN_E_PARAM);
  }
}

// A mask that looks like a foreground mask: a few solid blobs with ragged edges, salt noise, holes.
void fill_foreground(vorn_mono_image *m, uint32_t seed, int density_percent) {
  std::mt19937 rng(seed);
  const int w = (int)m->width, h = (int)m->height;
  memset(m->data, 0, (size_t)w * h);
  int blobs = 1 + (w * h) / 3000;
  for (int b = 0; b < blobs; ++b) {
    int bw = 1 + (int)(rng() % (uint32_t)(w / 3 + 1)), bh = 1 + (int)(rng() % (uint32_t)(h / 2 + 1));
    int x0 = (int)(rng() % (uint32_t)w), y0 = (int)(rng() % (uint32_t)h);
    for (int y = y0; y < y0 + bh && y < h; ++y)
      for (int x = x0; x < x0 + bw && x < w; ++x) m->data[y * w + x] = (rng() % 10) ? 255 : 0;
  }
  for (int i = 0; i < w * h; ++i)
    if ((int)(rng() % 100) < density_percent) m->data[i] = (uint8_t)(m->data[i] ? 0 : 1 + rng() % 255);
}

void expect_fast_equals_plain(uint32_t w, uint32_t h, const std::vector<uint32_t> &sizes, uint32_t seed) {
  Mono src = mono(w, h), region = mono(w, h, 255), fast = mono(w, h, 1), plain = mono(w, h, 2);
  for (int density : {3, 30}) {
    fill_foreground(src.get(), seed + density, density);
    fill_foreground(region.get(), seed * 7 + density, 1);
    for (size_t i = 0; i < (size_t)w * h; ++i) region->data[i] = region->data[i] ? 0 : 255;  // region with holes
    for (int op = 0; op < 3; ++op)
      for (uint32_t n : sizes) {
        ASSERT_EQ(kOps[op](src.get(), fast.get(), n, region.get()), VORN_OK);
        ASSERT_EQ(vorn::morph_plain(kOpIds[op], src.get(), plain.get(), n, region.get()), VORN_OK);
        ASSERT_TRUE(bytes_of(fast.get()) == bytes_of(plain.get()))
            << "op " << op << " n " << n << " size " << w << "x" << h << " density " << density;
      }
  }
}

TEST(Morph, FastPathsMatchThePlainScanOnEveryIsa) {
  for (uint32_t mask : isa_masks()) {
    CpuMaskScope scope(mask);
    expect_fast_equals_plain(768, 576, {1, 2, 3}, 1);
    expect_fast_equals_plain(97, 61, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 12, 15, 16, 29}, 2);
    for (uint32_t w : {1u, 2u, 5u, 31u, 32u, 33u, 64u, 65u})
      expect_fast_equals_plain(w, 23, {0, 1, 2, 3, 7, 8, 11}, 3 + w);
  }
}

TEST(Morph, WideCountersAndWideRows) {
  // Windows of 255 rows and more switch the column counters to 16 bits.
  expect_fast_equals_plain(262, 264, {126, 127, 128, 130}, 9);
  // Rows wider than the on-stack buffers.
  expect_fast_equals_plain(2500, 9, {0, 1, 3}, 11);
  // Their row buffers are one block; without it the plain scan gives the same bytes.
  if (!vorn::fault_inject_available()) return;
  Mono src = mono(2500, 9), region = mono(2500, 9, 255), fast = mono(2500, 9), plain = mono(2500, 9);
  fill_foreground(src.get(), 12, 10);
  for (int op = 0; op < 3; ++op) {
    vorn::fault_inject_fail_at(1);
    ASSERT_EQ(kOps[op](src.get(), fast.get(), 2, region.get()), VORN_OK);
    EXPECT_TRUE(vorn::fault_inject_fired());
    vorn::fault_inject_fail_at(0);
    ASSERT_EQ(vorn::morph_plain(kOpIds[op], src.get(), plain.get(), 2, region.get()), VORN_OK);
    EXPECT_TRUE(bytes_of(fast.get()) == bytes_of(plain.get())) << op;
  }
}

}  // namespace
