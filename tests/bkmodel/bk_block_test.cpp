// The block model, the histogram-mode model and the frame-ring-only model through the table.
#include "bkmodel/bk_test_util.h"

using bk_test::Host;
using bk_test::Planes;

namespace {

std::vector<uint8_t> flat(uint32_t w, uint32_t h, uint8_t v) { return std::vector<uint8_t>(w * h * 3 / 2 + 16, v); }

}  // namespace

TEST(BlockModel, StillBlocksRefreshTheBackgroundAfterTheLearningLength) {
  const uint32_t w = 8, h = 8;
  Host host(5, w, h);
  std::vector<uint8_t> f = bk_test::street_frame(w, h, 0, 0);
  EXPECT_EQ(host.process(f), VORN_E_LEARNING);
  EXPECT_EQ(host.process(f), VORN_E_LEARNING);
  for (int n = 2; n <= 51; ++n) {
    ASSERT_EQ(host.process(f), VORN_OK) << n;
    ASSERT_EQ(bk_test::count_of(host.fg(), 255), 64) << n;  // unchanged blocks are 255
  }
  EXPECT_EQ(bk_test::count_of(host.bk().p[0], 0), 64);  // stable is 50 after frame 51: not yet above N
  EXPECT_EQ(host.process(f), VORN_OK);                  // frame 52 copies every block
  EXPECT_EQ(host.bk().p[0], host.current().p[0]);
  vorn_image *img = nullptr;
  EXPECT_EQ(host.t.get_bk(host.m, &img), VORN_E_LEARNING);  // valid blocks are counted against pixels

  // An 8-bit stable counter never exceeds 255: no block is ever copied.
  Host never(5, w, h);
  never.param(VORN_BK_PARAM_LEARN_FRAMES, 255);
  for (int n = 0; n < 300; ++n) never.process(f);
  EXPECT_EQ(bk_test::count_of(never.bk().p[0], 0), 64);
}

TEST(BlockModel, ChangedBlocksAreZeroAndSetBackgroundValidatesHeightSquaredBlocks) {
  const uint32_t w = 16, h = 9;  // 4 x 2 blocks; the last row of pixels is outside every block
  Host host(5, w, h);
  std::vector<uint8_t> a = flat(w, h, 100), b = a;
  // Block (1, 0) brightens by 12 per sample: 16 pixels x 3 planes x 12 / 24 = 24 >= t = 15.
  for (uint32_t y = 0; y < 4; ++y)
    for (uint32_t x = 4; x < 8; ++x) b[y * w + x] = 112;
  memset(b.data() + w * h, 112, w * h / 2 + 8);  // and every chroma sample
  host.process(a);
  host.process(a);
  EXPECT_EQ(host.process(b), VORN_OK);
  std::vector<uint8_t> fg = host.fg();
  // chroma moved everywhere: 16 x 2 x 12 / 24 = 16 >= 15 in every block
  EXPECT_EQ(bk_test::count_of(std::vector<uint8_t>(fg.begin(), fg.begin() + 8 * w), 0), (int)(8 * w));
  EXPECT_EQ(fg[8 * w], 0);  // the row outside the blocks is never written
  // set_bk marks (9 / 4)^2 = 4 records valid: the whole first row of blocks, none of the second.
  EXPECT_EQ(host.set_bk(a), VORN_OK);
  host.process(b);  // first row compares with the background, second with the previous frame (b)
  fg = host.fg();
  EXPECT_EQ(fg[0], 0);
  EXPECT_EQ(fg[5 * w], 255);
  // A frame taller than wide would mark (height / 4)^2 records, more than exist: it stops at the last.
  Host tall(5, 4, 16);
  std::vector<uint8_t> t = flat(4, 16, 50);
  EXPECT_EQ(tall.set_bk(t), VORN_OK);
  tall.process(t);
  tall.process(t);
  EXPECT_EQ(tall.process(t), VORN_OK);
  EXPECT_EQ(bk_test::count_of(tall.fg(), 255), 64);
}

TEST(BlockModel, TinyImagesHaveNoBlocks) {
  Host host(5, 7, 3);
  std::vector<uint8_t> f = flat(7, 3, 9);
  host.process(f);
  host.process(f);
  EXPECT_EQ(host.process(f), VORN_OK);
  vorn_image *img = nullptr;
  EXPECT_EQ(host.t.get_bk(host.m, &img), VORN_E_LEARNING);
  Host empty(5, 0, 4);
  ASSERT_EQ(empty.created, VORN_OK);
  std::vector<uint8_t> none(16, 0);
  empty.process(none);
  empty.process(none);
  EXPECT_EQ(empty.process(none), VORN_OK);
  EXPECT_EQ(empty.t.get_bk(empty.m, &img), VORN_OK);  // 0 valid blocks >= 0 pixels
}

TEST(BayModel, ModeOfEightLevelBinsWithTiesToTheLowerBin) {
  const uint32_t w = 4, h = 4;
  vorn_init();
  vorn_bk_model_init_params p = {2, w, h, VORN_FORMAT_YUV};
  void *handle = nullptr;
  ASSERT_EQ(bk_model_create_bay(&p, &handle), VORN_OK);
  vorn_bk_model *m = static_cast<vorn_bk_model *>(handle);
  bk_model_set_param(m, 2, VORN_BK_PARAM_LEARN_FRAMES);
  std::vector<uint8_t> lo = flat(w, h, 70), hi = flat(w, h, 150);  // bins 8 and 18
  vorn_image *bk = nullptr;
  EXPECT_EQ(bk_model_process_bay(m, lo.data(), 4), VORN_E_LEARNING);
  EXPECT_EQ(bk_model_process_bay(m, hi.data(), 4), VORN_E_LEARNING);
  bk_model_get_bk(m, &bk);
  EXPECT_EQ(bk->plane[0][3], 64);  // 1 : 1, the lower bin
  EXPECT_EQ(bk_model_process_bay(m, hi.data(), 4), VORN_OK);
  EXPECT_EQ(bk->plane[2][3], 144);
  // set_bk weighs the first pixel alone: its own counters at its own bins gain 100 x 16.
  EXPECT_EQ(bk_model_set_bk_bay(m, lo.data(), 4), VORN_OK);
  EXPECT_EQ(bk_model_process_bay(m, hi.data(), 4), VORN_OK);
  EXPECT_EQ(bk->plane[0][0], 64);
  EXPECT_EQ(bk->plane[0][1], 144);
  EXPECT_EQ(bk_model_reset_bay(m), VORN_OK);
  EXPECT_EQ(bk_model_process_bay(m, lo.data(), 4), VORN_E_LEARNING);
  EXPECT_EQ(bk->plane[0][0], 64);
  EXPECT_EQ(bk->plane[0][1], 64);
  EXPECT_EQ(bk_model_destroy_bay(m), VORN_OK);
}

TEST(SalModel, KeepsTheRingAndComputesNoForeground) {
  for (uint32_t type : {1u, 4u}) {
    Host host(type, 8, 8, 2);
    host.param(VORN_BK_PARAM_DILATE, 1);
    EXPECT_EQ(bk_test::count_of(host.fg(), 0), 64);
    for (int i = 0; i < 5; ++i) {
      std::vector<uint8_t> f = bk_test::street_frame(8, 8, i, 30, 0);
      EXPECT_EQ(host.process(f), VORN_OK);
    }
    EXPECT_EQ(bk_test::count_of(host.fg(), 0), 64);
    vorn_image *img = nullptr;
    EXPECT_EQ(host.t.get_image(host.m, 1, &img), VORN_OK);
  }
}
