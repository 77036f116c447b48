#include <gtest/gtest.h>

#include <string.h>

#include <algorithm>
#include <random>
#include <vector>

#include "core/cpu.h"
#include "objects/cell_rows.h"
#include "support/test_support.h"
#include "vorn_obj_maker.h"

namespace {

// Cells with every number of set pixels (0..16, so both sides of the 12/13 threshold), set pixels of random
// non-zero value.
void random_cells(std::mt19937 &rng, uint32_t count, std::vector<uint8_t> rows[4]) {
  for (int r = 0; r < 4; ++r) rows[r].assign(4 * count, 0);
  for (uint32_t c = 0; c < count; ++c) {
    uint32_t set = rng() % 17;
    int order[16];
    for (int k = 0; k < 16; ++k) order[k] = k;
    std::shuffle(order, order + 16, rng);
    for (uint32_t k = 0; k < set; ++k) rows[order[k] / 4][4 * c + order[k] % 4] = (uint8_t)(1 + rng() % 255);
  }
}

TEST(CellRows, Sse2MatchesScalarAndTheRule) {
  std::mt19937 rng(31);
  for (uint32_t count : {1u, 3u, 15u, 16u, 17u, 31u, 33u, 47u, 64u, 67u, 192u}) {
    std::vector<uint8_t> rows[4];
    random_cells(rng, count, rows);
    const uint8_t *const ptrs[4] = {rows[0].data(), rows[1].data(), rows[2].data(), rows[3].data()};
    std::vector<uint8_t> scalar(count, 7), simd(count, 7);
    ASSERT_EQ(vorn::cell_row_c(ptrs, scalar.data(), count), count);
    for (uint32_t c = 0; c < count; ++c) {
      int set = 0;
      for (int r = 0; r < 4; ++r)
        for (int k = 0; k < 4; ++k) set += rows[r][4 * c + k] != 0;
      ASSERT_EQ(scalar[c], set >= 13 ? 255 : 0) << c;
    }
    if (!(vorn::cpu_flags() & vorn::kCpuSse2)) continue;
    uint32_t done = vorn::cell_row_sse2(ptrs, simd.data(), count);
    EXPECT_EQ(done, count & ~15u);
    for (uint32_t c = 0; c < done; ++c) ASSERT_EQ(simd[c], scalar[c]) << count << ": " << c;
    for (uint32_t c = done; c < count; ++c) ASSERT_EQ(simd[c], 7) << "wrote past what it handled";
  }
}

TEST(CellRows, BlockMakerGivesTheSameObjectsWithoutSimd) {
  std::mt19937 rng(5);
  std::vector<uint8_t> px(300 * 211);
  for (int it = 0; it < 10; ++it) {
    for (auto &v : px) v = 0;
    for (int k = 0; k < 40; ++k) {
      int x = (int)(rng() % 290), y = (int)(rng() % 200);
      for (int yy = y; yy < y + 1 + (int)(rng() % 12); ++yy)
        for (int xx = x; xx < x + 1 + (int)(rng() % 12); ++xx)
          if (rng() % 8) px[(size_t)yy * 300 + xx] = 255;
    }
    vorn_mono_image img{300, 211, px.data()};
    std::vector<vorn_obj> got[2];
    for (int pass = 0; pass < 2; ++pass) {
      vorn_test::CpuMaskScope scope(pass ? vorn_test::isa_masks().back() : 0u);
      vorn_obj_maker_params p{300, 211, 64, 0};
      vorn_obj_maker *m = nullptr;
      ASSERT_EQ(vorn_obj_maker_create(&p, &m), VORN_OK);
      ASSERT_EQ(vorn_obj_maker_process(m, &img), VORN_OK);
      vorn_obj *objs;
      uint32_t n;
      vorn_obj_maker_get_obj(m, &objs, &n);
      got[pass].assign(objs, objs + n);
      for (auto &o : got[pass]) o.points = nullptr;
      vorn_obj_maker_destroy(m);
    }
    ASSERT_EQ(got[0].size(), got[1].size());
    for (size_t i = 0; i < got[0].size(); ++i) {
      EXPECT_EQ(memcmp(&got[0][i], &got[1][i], sizeof(vorn_obj)), 0) << i;
    }
  }
}

}  // namespace
