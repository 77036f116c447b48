// The tail of every update through the table: morphological clean-up combinations, the region mask, and which
// results skip it.
#include "bkmodel/bk_test_util.h"
#include "core/plain.h"
#include "support/test_support.h"

using bk_test::Host;

namespace {

std::vector<uint8_t> flat_frame(uint32_t w, uint32_t h, uint8_t y) {
  std::vector<uint8_t> f(w * h * 3 / 2 + w / 2 + 16, 100);
  memset(f.data(), y, w * h);
  return f;
}

// A default model of w x w with background 100 everywhere, fed frames whose luma is 160 inside `on`.
struct Scene {
  explicit Scene(uint32_t w_) : w(w_), host(0, w_, w_) {
    std::vector<uint8_t> bk = flat_frame(w, w, 100);
    host.set_bk(bk);
  }
  int run(std::initializer_list<std::pair<uint32_t, uint32_t>> params, bool all, uint32_t px = 0, uint32_t py = 0) {
    for (auto p : params) host.param(p.first, p.second);
    std::vector<uint8_t> f = flat_frame(w, w, all ? 160 : 100);
    f[py * w + px] = 160;
    EXPECT_EQ(host.process(f), VORN_OK);
    for (auto p : params) host.param(p.first, 0);
    return bk_test::count_of(host.fg(), 255);
  }
  uint32_t w;
  Host host;
};

}  // namespace

TEST(BkModelCleanUp, ErosionDilationClosingAndWindow) {
  Scene s(16);
  EXPECT_EQ(s.run({}, false, 8, 8), 1);
  EXPECT_EQ(s.run({{VORN_BK_PARAM_DILATE, 1}}, false, 8, 8), 9);     // size 1: a 3 x 3 block
  EXPECT_EQ(s.run({{VORN_BK_PARAM_DILATE, 0x101}}, false, 8, 8), 25);  // size 2
  EXPECT_EQ(s.run({{VORN_BK_PARAM_ERODE, 1}}, false, 8, 8), 0);
  EXPECT_EQ(s.run({{VORN_BK_PARAM_ERODE, 1}, {VORN_BK_PARAM_DILATE, 1}}, false, 8, 8), 1);  // closing
  EXPECT_EQ(s.run({{VORN_BK_PARAM_DILATE, 0x100}}, false, 8, 8), 1);  // byte 0 is the switch
  // Window filter 0x101: size 2, 18 of 25 needed; a lone pixel goes, a full frame keeps all but the band.
  EXPECT_EQ(s.run({{VORN_BK_PARAM_WINDOW, 0x101}}, false, 8, 8), 0);
  EXPECT_EQ(s.run({{VORN_BK_PARAM_WINDOW, 0x101}}, true), 12 * 12);
  EXPECT_EQ(s.run({{VORN_BK_PARAM_WINDOW, 0x100}}, true), 16 * 16);
  // Window, then closing, in that order: the window's band survives the closing.
  EXPECT_EQ(s.run({{VORN_BK_PARAM_WINDOW, 1}, {VORN_BK_PARAM_DILATE, 1}, {VORN_BK_PARAM_ERODE, 1}}, true),
            12 * 12);
}

TEST(BkModelCleanUp, ErosionAndDilationSizesStopAtTenWindowDoesNot) {
  Scene s(32);
  // Erosion of size 20 is taken as 10: a band of 10 is cleared, the 12 x 12 centre stays.
  EXPECT_EQ(s.run({{VORN_BK_PARAM_ERODE, 0x1301}}, true), 12 * 12);
  EXPECT_EQ(s.run({{VORN_BK_PARAM_DILATE, 0xFF01}}, true), 12 * 12);
  // A window of size 20 is used as it is: 2 x 20 >= 32 rows, so nothing is left.
  EXPECT_EQ(s.run({{VORN_BK_PARAM_WINDOW, 0x1301}}, true), 0);
}

TEST(BkModelCleanUp, RegionMaskBoundsTheResult) {
  Scene s(16);
  std::vector<uint8_t> roi(256, 255);
  for (int i = 0; i < 16 * 8; ++i) roi[i] = 0;  // top half outside
  vorn_mono_image mask = {16, 16, roi.data()};
  ASSERT_EQ(vorn_bk_model_set_mask(s.host.m, &mask), VORN_OK);
  // Without clean-up the default model ignores the region; with it, outside pixels are cleared.
  EXPECT_EQ(s.run({}, true), 256);
  EXPECT_EQ(s.run({{VORN_BK_PARAM_DILATE, 1}}, true), 7 * 14);
}

TEST(BkModelCleanUp, LearningFramesAreNotCleanedUp) {
  const uint32_t w = 12;
  std::vector<uint8_t> bg = flat_frame(w, w, 100), spot = bg;
  spot[6 * w + 6] = 250;  // a new colour: foreground in the mixture model
  for (uint32_t learn : {2u, 1u}) {
    Host host(2, w, w);
    host.param(VORN_BK_PARAM_LEARN_FRAMES, learn);
    host.param(VORN_BK_PARAM_DILATE, 1);
    EXPECT_EQ(host.process(bg), VORN_OK);  // frame 0 initialises (empty mask)
    EXPECT_EQ(host.process(spot), learn == 2 ? VORN_E_LEARNING : VORN_OK);
    EXPECT_EQ(bk_test::count_of(host.fg(), 255), learn == 2 ? 1 : 9);
  }
  // Block and ring-only models never clean up.
  Host block(5, w, w);
  block.param(VORN_BK_PARAM_ERODE, 1);
  for (int i = 0; i < 3; ++i) block.process(bg);
  EXPECT_EQ(bk_test::count_of(block.fg(), 255), (int)(w * w));
}

TEST(BkModelShadows, ParameterPicksTheDetector) {
  const uint32_t w = 10, h = 8, border = 2 * w + 2 * h - 4;
  // Darker by 60 with the chroma 10 off: foreground (sum 70 >= 60), a shadow for the full detector (chroma
  // within 15), not for the simple one (chroma within 5 only).
  std::vector<uint8_t> bk(w * h * 3 / 2 + w / 2 + 16, 128), shade = bk;
  memset(bk.data(), 100, w * h);
  memset(shade.data(), 40, w * h);
  memset(shade.data() + w * h, 138, w * h / 4);
  const struct {
    uint32_t setting;
    int fg;
  } cases[] = {{0, (int)(w * h)}, {1, (int)border}, {0x100, (int)border}, {0x201, (int)border},
               {0x101, (int)(w * h)}};
  for (const auto &c : cases) {
    Host host(0, w, h);
    host.set_bk(bk);
    host.param(VORN_BK_PARAM_SHADOW, c.setting);
    EXPECT_EQ(host.process(shade), VORN_OK);
    EXPECT_EQ(bk_test::count_of(host.fg(), 255), c.fg) << std::hex << c.setting;  // the border is never cleared
  }
  // The simple detector takes an equal-chroma shadow.
  std::vector<uint8_t> grey = bk;
  memset(grey.data(), 40, w * h);
  Host host(0, w, h);
  host.set_bk(bk);
  host.param(VORN_BK_PARAM_SHADOW, 0x101);
  host.process(grey);
  EXPECT_EQ(bk_test::count_of(host.fg(), 255), (int)border);
}

// The clean-up works on the rows the region spans (plus its reach) and clears the rest of fg: against the plain
// path (every row) for regions near the top, in the middle, at the bottom, on one row and empty, with every
// combination of window, erosion and dilation, on a model whose update writes fg outside the region too.
TEST(BkModelCleanUp, RegionRowsEqualThePlainPath) {
  const uint32_t w = 40, h = 36;
  const std::pair<uint32_t, uint32_t> regions[] = {{0, 3}, {14, 22}, {30, 36}, {17, 18}, {0, 0}, {0, 36}};
  const uint32_t combos[][3] = {{0x101, 0, 0}, {0, 0x201, 0}, {0, 0, 0x301}, {0, 0x101, 0x401}, {0x201, 0x501, 0x101}};
  for (const auto &rg : regions)
    for (const auto &c : combos) {
      std::vector<uint8_t> out[2];
      for (int plain = 0; plain < 2; ++plain) {
        vorn::set_plain_paths(plain == 1);
        Host host(0, w, h);
        std::vector<uint8_t> bk = flat_frame(w, h, 100);
        host.set_bk(bk);
        vorn_mono_image *mask = nullptr;
        vorn_bk_model_get_mask(host.m, &mask);
        memset(mask->data, 0, (size_t)w * h);
        for (uint32_t y = rg.first; y < rg.second; ++y)
          for (uint32_t x = 2; x < w - 3; ++x) mask->data[y * w + x] = (uint8_t)(x % 11 ? 255 : 0);
        host.param(VORN_BK_PARAM_WINDOW, c[0]);
        host.param(VORN_BK_PARAM_ERODE, c[1]);
        host.param(VORN_BK_PARAM_DILATE, c[2]);
        std::vector<uint8_t> f = flat_frame(w, h, 100), noise = vorn_test::random_bytes((size_t)w * h, rg.first * 7 + c[1]);
        for (size_t i = 0; i < (size_t)w * h; ++i) f[i] = noise[i] < 150 ? 200 : 100;
        EXPECT_EQ(host.process(f), VORN_OK);
        out[plain] = host.fg();
      }
      vorn::set_plain_paths(false);
      EXPECT_EQ(out[0], out[1]) << "rows " << rg.first << ".." << rg.second << ", window " << c[0] << " erode " << c[1]
                                << " dilate " << c[2];
    }
}
