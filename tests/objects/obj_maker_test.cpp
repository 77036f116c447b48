#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "support/test_support.h"
#include "vorn_geometry.h"
#include "vorn_obj_maker.h"

namespace {

struct Mask {
  uint32_t w, h;
  std::vector<uint8_t> px;
  Mask(uint32_t w_, uint32_t h_) : w(w_), h(h_), px((size_t)w_ * h_, 0) {}
  void fill(int x0, int y0, int x1, int y1, uint8_t v = 255) {  // inclusive pixel box
    for (int y = y0; y <= y1; ++y)
      for (int x = x0; x <= x1; ++x) px[(size_t)y * w + x] = v;
  }
  void cells(int cx0, int cy0, int cx1, int cy1) { fill(4 * cx0, 4 * cy0, 4 * cx1 + 3, 4 * cy1 + 3); }
  vorn_mono_image image() { return vorn_mono_image{w, h, px.data()}; }
};

struct Maker {
  vorn_obj_maker *m = nullptr;
  Maker(uint32_t w, uint32_t h, uint32_t max_objs, uint32_t mode) {
    vorn_obj_maker_params p{w, h, max_objs, mode};
    EXPECT_EQ(vorn_obj_maker_create(&p, &m), VORN_OK);
  }
  ~Maker() { vorn_obj_maker_destroy(m); }
  std::vector<vorn_obj> run(Mask &mask) {
    vorn_mono_image img = mask.image();
    EXPECT_EQ(vorn_obj_maker_process(m, &img), VORN_OK);
    vorn_obj *objs = nullptr;
    uint32_t n = 0;
    EXPECT_EQ(vorn_obj_maker_get_obj(m, &objs, &n), VORN_OK);
    return std::vector<vorn_obj>(objs, objs + n);
  }
};

void expect_rect(const vorn_obj &o, int l, int t, int r, int b) {
  EXPECT_EQ(o.left, l);
  EXPECT_EQ(o.top, t);
  EXPECT_EQ(o.right, r);
  EXPECT_EQ(o.bottom, b);
  EXPECT_EQ(o.width, r - l);
  EXPECT_EQ(o.height, b - t);
  EXPECT_EQ(o.cx, l + (r - l) / 2);
  EXPECT_EQ(o.cy, t + (b - t) / 2);
}

TEST(ObjMakerBlocks, SeedQuirksAndTheCellRings) {
  Maker mk(64, 48, 32, 0);  // a 16 x 12 grid
  Mask mask(64, 48);
  EXPECT_TRUE(mk.run(mask).empty());

  // A lone cell at (6, 5) is found from the empty seed above it: 2 points, 4 columns by 8 rows of pixels.
  mask.cells(6, 5, 6, 5);
  auto objs = mk.run(mask);
  ASSERT_EQ(objs.size(), 1u);
  expect_rect(objs[0], 24, 16, 27, 23);
  ASSERT_EQ(objs[0].point_count, 2u);
  EXPECT_EQ(objs[0].points[0].x, 6);
  EXPECT_EQ(objs[0].points[0].y, 4);
  EXPECT_EQ(objs[0].points[1].y, 5);

  // In row 2 there is no seed above: the empty seed on the left takes it.
  Mask row2(64, 48);
  row2.cells(5, 2, 5, 2);
  objs = mk.run(row2);
  ASSERT_EQ(objs.size(), 1u);
  expect_rect(objs[0], 16, 8, 23, 11);

  // The outermost ring never joins; row 1 joins from a neighbour in row 2; a corner cell (1, 1) is never reached.
  Mask ring(64, 48);
  ring.cells(0, 6, 0, 6);
  ring.cells(15, 6, 15, 6);
  ring.cells(7, 0, 7, 0);
  ring.cells(7, 11, 7, 11);
  ring.cells(1, 1, 1, 1);
  ring.cells(9, 1, 9, 2);
  objs = mk.run(ring);
  ASSERT_EQ(objs.size(), 1u);
  expect_rect(objs[0], 32, 4, 39, 11);  // the seed (8, 2), then (9, 2), then (9, 1)
  EXPECT_EQ(objs[0].point_count, 3u);

  // 12 of 16 pixels is not enough, 13 is.
  Mask thresh(64, 48);
  thresh.fill(16, 20, 19, 22);  // 12 pixels of cell (4, 5)
  thresh.fill(40, 20, 43, 22);  // 12 of cell (10, 5) ...
  thresh.fill(40, 23, 40, 23);  // ... plus one
  objs = mk.run(thresh);
  ASSERT_EQ(objs.size(), 1u);
  EXPECT_EQ(objs[0].left, 40);

  // A mask one dimension off (the interface sweep changes both), a frame under 4 pixels.
  Mask low(64, 44);
  vorn_mono_image li = low.image();
  EXPECT_EQ(vorn_obj_maker_process(mk.m, &li), VORN_E_PARAM);
  Maker tiny(3, 40, 4, 0);
  Mask tm(3, 40);
  vorn_mono_image ti = tm.image();
  EXPECT_EQ(vorn_obj_maker_process(tiny.m, &ti), VORN_E_PARAM);
}

TEST(ObjMakerBlocks, SeparateBlobsGiveTheirBoxesAreasAndScanOrder) {
  std::mt19937 rng(12);
  Maker mk(768, 576, 64, 0);  // 192 x 144 cells
  for (int it = 0; it < 20; ++it) {
    Mask mask(768, 576);
    // Blobs on a coarse lattice, two empty cells apart, none touching rows or columns under 3.
    struct Blob { int x0, y0, x1, y1; };
    std::vector<Blob> blobs;
    for (int gy = 0; gy < 6; ++gy) {
      for (int gx = 0; gx < 8; ++gx) {
        if (rng() % 3 == 0) continue;
        int x0 = 3 + gx * 23 + (int)(rng() % 4), y0 = 3 + gy * 23 + (int)(rng() % 4);
        Blob b{x0, y0, x0 + (int)(rng() % 15), y0 + (int)(rng() % 15)};
        mask.cells(b.x0, b.y0, b.x1, b.y1);
        blobs.push_back(b);
      }
    }
    // Noise below the occupancy threshold changes nothing.
    for (int k = 0; k < 3000; ++k) mask.px[rng() % mask.px.size()] = 255;
    auto objs = mk.run(mask);
    ASSERT_EQ(objs.size(), blobs.size());
    // Found from the empty seed above each blob's top-left cell, so in the order of (top - 1, left).
    std::sort(blobs.begin(), blobs.end(), [](const Blob &a, const Blob &b) {
      return a.y0 != b.y0 ? a.y0 < b.y0 : a.x0 < b.x0;
    });
    for (size_t i = 0; i < blobs.size(); ++i) {
      const Blob &b = blobs[i];
      expect_rect(objs[i], 4 * b.x0, 4 * (b.y0 - 1), 4 * b.x1 + 3, 4 * b.y1 + 3);
      EXPECT_EQ(objs[i].point_count, (uint32_t)((b.x1 - b.x0 + 1) * (b.y1 - b.y0 + 1) + 1));
      if (i) {
        EXPECT_EQ(objs[i].points, objs[i - 1].points + objs[i - 1].point_count);  // back to back
      }
    }
    vorn_point *list = nullptr;
    vorn_obj_maker_get_point_list(mk.m, &list);
    if (!objs.empty()) {
      EXPECT_EQ(objs[0].points, list);
    }
  }
}

TEST(ObjMakerBlocks, StopsAtMaxObjsInScanOrder) {
  Maker mk(400, 200, 32, 0);  // 100 x 50 cells
  Mask mask(400, 200);
  for (int k = 0; k < 33; ++k) mask.cells(3 + (k % 11) * 8, 4 + (k / 11) * 10, 3 + (k % 11) * 8, 4 + (k / 11) * 10);
  auto objs = mk.run(mask);
  ASSERT_EQ(objs.size(), 32u);
  EXPECT_EQ(objs[31].left, 4 * (3 + 9 * 8));  // the 33rd, last in scan order, is the one left out
  EXPECT_EQ(objs[31].top, 4 * (4 + 20 - 1));
  Maker none(400, 200, 0, 0);
  EXPECT_TRUE(none.run(mask).empty());
}

TEST(ObjMakerBlocks, ClearObjErasesTheObjectsCells) {
  Maker mk(64, 48, 8, 0);
  Mask mask(64, 48);
  mask.cells(4, 4, 6, 5);
  mask.cells(10, 8, 11, 9);
  auto objs = mk.run(mask);
  ASSERT_EQ(objs.size(), 2u);
  Mask copy = mask;
  copy.fill(16, 12, 27, 15, 9);  // the empty seed row above the first blob
  vorn_mono_image ci = copy.image();
  ASSERT_EQ(vorn_obj_maker_clear_obj(mk.m, 0, &ci), VORN_OK);
  for (uint32_t y = 0; y < 48; ++y) {
    for (uint32_t x = 0; x < 64; ++x) {
      bool first = x >= 16 && x < 28 && y >= 16 && y < 24;
      bool seed = x >= 24 - 8 && x < 20 && y >= 12 && y < 16;  // seed cell (4, 3)
      uint8_t want = (first || seed) ? 0 : (y >= 12 && y < 16 && x >= 16 && x < 28 ? 9 : mask.px[y * 64 + x]);
      ASSERT_EQ(copy.px[y * 64 + x], want) << x << "," << y;
    }
  }
  // Sizes are compared in cells: 66 x 50 still divides to 16 x 12.
  Mask bigger(66, 50);
  vorn_mono_image bi = bigger.image();
  EXPECT_EQ(vorn_obj_maker_clear_obj(mk.m, 1, &bi), VORN_OK);
  Mask smaller(60, 48);
  vorn_mono_image si = smaller.image();
  EXPECT_EQ(vorn_obj_maker_clear_obj(mk.m, 1, &si), VORN_E_PARAM);
  EXPECT_EQ(vorn_obj_maker_clear_obj(mk.m, 8, &ci), VORN_E_PARAM);
  Maker contour(64, 48, 8, 1);
  EXPECT_EQ(vorn_obj_maker_clear_obj(contour.m, 0, &ci), VORN_E_PARAM);
}

TEST(ObjMakerContours, SizesNestingAndLowBits) {
  Maker mk(200, 100, 32, 1);  // smallest object: 2 x 1
  Mask mask(200, 100);
  EXPECT_TRUE(mk.run(mask).empty());
  mask.fill(50, 20, 59, 29, 254);  // even values are background here
  EXPECT_TRUE(mk.run(mask).empty());

  mask.fill(50, 20, 59, 29);
  mask.fill(10, 60, 10, 60);  // a single pixel: too small
  mask.fill(30, 60, 32, 61);  // 2 x 1 in corner distances: just large enough
  mask.fill(2, 2, 5, 3);      // grown by 2 and clamped to 1
  mask.fill(196, 95, 198, 98);
  auto objs = mk.run(mask);
  ASSERT_EQ(objs.size(), 4u);
  expect_rect(objs[0], 1, 1, 7, 5);
  expect_rect(objs[1], 48, 18, 61, 31);
  expect_rect(objs[2], 28, 58, 34, 63);
  expect_rect(objs[3], 194, 93, 199, 99);
  EXPECT_EQ(objs[1].point_count, 5u);
  EXPECT_EQ(objs[1].points[0].x, 50);

  // A blob inside a ring's hole starts inside the ring's border and is dropped; so is the hole border itself.
  Mask nest(200, 100);
  nest.fill(100, 10, 160, 80);
  nest.fill(110, 20, 150, 70, 0);
  nest.fill(120, 30, 140, 60);
  nest.fill(20, 40, 30, 50);
  objs = mk.run(nest);
  ASSERT_EQ(objs.size(), 2u);
  EXPECT_EQ(objs[0].left, 98);
  EXPECT_EQ(objs[1].left, 18);
  vorn_mono_image *fg = reinterpret_cast<vorn_mono_image *>(1);
  EXPECT_EQ(vorn_obj_maker_get_fg(mk.m, &fg), VORN_OK);
  EXPECT_EQ(fg, nullptr);
  uint32_t bw = 9, bh = 9;
  vorn_obj_maker_get_block_width(mk.m, &bw);
  vorn_obj_maker_get_block_height(mk.m, &bh);
  EXPECT_EQ(bw, 1u);
  EXPECT_EQ(bh, 1u);

  Maker two(200, 100, 2, 1);
  Mask many(200, 100);
  for (int k = 0; k < 5; ++k) many.fill(10 + 30 * k, 40, 20 + 30 * k, 50);
  objs = two.run(many);
  ASSERT_EQ(objs.size(), 2u);
  EXPECT_EQ(objs[1].left, 38);
}

TEST(ObjMakerContours, BordersOfRandomBlobsAreObjectsOrNested) {
  std::mt19937 rng(8);
  Maker mk(320, 240, 1000, 1);
  for (int it = 0; it < 30; ++it) {
    Mask mask(320, 240);
    for (int k = 0; k < 25; ++k) {
      int x = 1 + (int)(rng() % 300), y = 1 + (int)(rng() % 220);
      mask.fill(x, y, std::min(318, x + (int)(rng() % 40)), std::min(238, y + (int)(rng() % 30)));
    }
    auto objs = mk.run(mask);
    ASSERT_FALSE(objs.empty());
    for (size_t i = 0; i < objs.size(); ++i) {
      const vorn_obj &o = objs[i];
      EXPECT_GE(o.width, 3);
      EXPECT_GE(o.left, 1);
      EXPECT_LE(o.right, 319);
      // No accepted border starts inside an earlier one.
      for (size_t j = 0; j < i; ++j) {
        EXPECT_EQ(vorn_pt_in_region(o.points[0], objs[j].points, (int32_t)objs[j].point_count), 0u);
      }
      for (uint32_t k = 0; k < o.point_count; ++k) {
        EXPECT_TRUE(o.points[k].x >= o.left + 2 || o.left == 1);
        EXPECT_TRUE(o.points[k].x <= o.right - 2 || o.right == 319);
      }
    }
  }
}

TEST(ObjMaker, AdjustRectUsesLowBitCountsAndNonZeroSums) {
  Maker mk(200, 100, 8, 1);
  Mask mask(200, 100);
  mask.fill(50, 20, 59, 29);
  ASSERT_EQ(mk.run(mask).size(), 1u);  // rect 48, 18, 61, 31
  vorn_mono_image mi = mask.image();
  ASSERT_EQ(vorn_obj_maker_adjust_rect(mk.m, &mi), VORN_OK);
  vorn_obj *objs = nullptr;
  uint32_t n = 0;
  vorn_obj_maker_get_obj(mk.m, &objs, &n);
  // Local columns 2..11: mean 6, variance 50 - 36 = 14, width trunc(4 sqrt 14) = 14.
  expect_rect(objs[0], 47, 17, 61, 31);
  EXPECT_EQ(objs[0].cx, 54);

  // One odd pixel at local (0, 0) and an even one at local (10, 0): n = 1 but both enter the sums.
  mk.run(mask);
  Mask odd(200, 100);
  odd.fill(48, 18, 48, 18, 1);
  odd.fill(58, 18, 58, 18, 2);
  vorn_mono_image oi = odd.image();
  ASSERT_EQ(vorn_obj_maker_adjust_rect(mk.m, &oi), VORN_OK);
  EXPECT_EQ(objs[0].cx, 58);
  EXPECT_EQ(objs[0].cy, 18);
  EXPECT_EQ(objs[0].width, 0);

  // Nothing odd in the rectangle: unchanged.
  mk.run(mask);
  Mask even(200, 100);
  even.fill(40, 10, 70, 40, 200);
  vorn_mono_image ei = even.image();
  ASSERT_EQ(vorn_obj_maker_adjust_rect(mk.m, &ei), VORN_OK);
  expect_rect(objs[0], 48, 18, 61, 31);
  // Rectangles reaching past the frame after a re-fit are read only where they overlap the mask.
  objs[0].left = -50, objs[0].width = 400, objs[0].top = -10, objs[0].height = 300;
  EXPECT_EQ(vorn_obj_maker_adjust_rect(mk.m, &mi), VORN_OK);
}

TEST(ObjMaker, HistogramsBelongToTheSlotAndAccumulate) {
  Maker mk(64, 48, 4, 0);
  Mask mask(64, 48);
  mask.cells(4, 4, 6, 5);
  ASSERT_EQ(mk.run(mask).size(), 1u);  // rect 16, 12, 27, 23
  vorn_image *frame = vorn_image_alloc(64, 48, VORN_FORMAT_YUV);
  for (uint32_t i = 0; i < 64 * 48; ++i) frame->plane[0][i] = (uint8_t)(i % 64 < 22 ? 10 : 200);
  ASSERT_EQ(vorn_obj_maker_calculate_hist(mk.m, frame, nullptr), VORN_OK);
  vorn_obj *objs = nullptr;
  uint32_t n = 0;
  vorn_obj_maker_get_obj(mk.m, &objs, &n);
  vorn_histogram *h = objs[0].hist;
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(h->n, 32u);
  EXPECT_EQ(h->bins[10 / 8], 6u * 11);   // columns 16..21, rows 12..22
  EXPECT_EQ(h->bins[200 / 8], 5u * 11);  // columns 22..26
  // With the mask, only the blob's pixels (rows 16..22 inside the rectangle) are added, to the same histogram.
  vorn_mono_image mi = mask.image();
  ASSERT_EQ(vorn_obj_maker_calculate_hist(mk.m, frame, &mi), VORN_OK);
  EXPECT_EQ(objs[0].hist, h);
  EXPECT_EQ(h->bins[10 / 8], 6u * 11 + 6 * 7);
  mk.run(mask);
  EXPECT_EQ(objs[0].hist, h);  // survives the next run with its slot
  vorn_image_free(frame);
}

TEST(ObjMaker, CreateGettersAndFailures) {
  vorn_obj_maker_params p{64, 48, 4, 0};
  vorn_obj_maker *m = nullptr;
  ASSERT_EQ(vorn_obj_maker_create(&p, &m), VORN_OK);
  vorn_mono_image *fg = nullptr;
  vorn_obj_maker_get_fg(m, &fg);
  ASSERT_NE(fg, nullptr);
  EXPECT_EQ(fg->width, 16u);
  EXPECT_EQ(fg->height, 12u);
  uint32_t bw = 0;
  vorn_obj_maker_get_block_width(m, &bw);
  EXPECT_EQ(bw, 4u);
  // Failed getters clear what they would have filled.
  bw = 7;
  EXPECT_EQ(vorn_obj_maker_get_block_height(nullptr, &bw), VORN_E_NULL);
  EXPECT_EQ(bw, 0u);
  vorn_obj *objs = reinterpret_cast<vorn_obj *>(1);
  uint32_t count = 5;
  EXPECT_EQ(vorn_obj_maker_get_obj(nullptr, &objs, &count), VORN_E_NULL);
  EXPECT_EQ(objs, nullptr);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(vorn_obj_maker_destroy(m), VORN_OK);

  // A mode above 1 has no grid: block extraction refuses it.
  vorn_obj_maker_params odd{64, 48, 4, 2};
  ASSERT_EQ(vorn_obj_maker_create(&odd, &m), VORN_OK);
  Mask mask(64, 48);
  vorn_mono_image mi = mask.image();
  EXPECT_EQ(vorn_obj_maker_process(m, &mi), VORN_E_PARAM);
  vorn_obj_maker_destroy(m);

  for (uint32_t mode : {0u, 1u}) {
    vorn_test::sweep_allocation_failures([mode] {
      vorn_obj_maker_params q{80, 60, 6, mode};
      vorn_obj_maker *t = nullptr;
      vorn_result r = vorn_obj_maker_create(&q, &t);
      if (r != VORN_OK) {
        EXPECT_EQ(r, VORN_E_NOMEM);
        EXPECT_EQ(t, nullptr);
        return false;
      }
      Mask mk(80, 60);
      mk.cells(5, 5, 8, 8);
      vorn_mono_image img = mk.image();
      vorn_obj_maker_process(t, &img);
      vorn_image *frame = vorn_image_alloc(80, 60, 0);
      bool ok = frame && vorn_obj_maker_calculate_hist(t, frame, nullptr) == VORN_OK;
      vorn_obj *objs = nullptr;
      uint32_t n = 0;
      vorn_obj_maker_get_obj(t, &objs, &n);
      EXPECT_EQ(n, 1u);
      ok = ok && n == 1 && objs[0].hist != nullptr;  // a failed histogram leaves the slot empty
      vorn_image_free(frame);
      vorn_obj_maker_destroy(t);
      return ok;
    });
  }
  uint32_t found = 9;
  vorn_rect rects[2];
  EXPECT_EQ(vorn_image_make_obj(&mi, 3, 4, rects, &found), VORN_OK);
  EXPECT_EQ(found, 0u);
  vorn_test::sweep_allocation_failures([&] {
    uint32_t c = 1;
    return vorn_image_make_obj(&mi, 0, 0, nullptr, &c) == VORN_OK;
  });
}

}  // namespace
