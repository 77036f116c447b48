// The mixture-of-Gaussians model against an evaluator written here from the model's rules, one pixel record of
// five Gaussians at a time, plus hand-worked pixels.
#include <math.h>

#include "bkmodel/bk_test_util.h"
#include "core/cpu.h"

using bk_test::Host;
using bk_test::Planes;

namespace {

struct RefGauss {
  uint32_t count;
  double weight, mean[3], var[3];
};

// The rules of the model, written plainly: pixel records of five Gaussians in sorted order.
class RefMog {
 public:
  RefMog(size_t npix) : g_(npix * 5), fg_(npix, 0), bk_(3, std::vector<uint8_t>(npix, 0)) {}

  // Returns the update's result for frame n (frames completed before this one).
  vorn_result frame(const Planes &c, const std::vector<uint8_t> &mask, uint32_t n, uint32_t learn) {
    const size_t np = fg_.size();
    for (size_t i = 0; i < np; ++i) {
      RefGauss *g = &g_[i * 5];
      double x[3];
      for (int q = 0; q < 3; ++q) x[q] = c.p[q][i];
      if (n == 0) {
        g[0].count = 1;
        g[0].weight = 1.0;
        for (int q = 0; q < 3; ++q) g[0].mean[q] = x[q];
        for (int k = 0; k < 5; ++k)
          for (int q = 0; q < 3; ++q) g[k].var[q] = 50.0;
        fg_[i] = 0;
        for (int q = 0; q < 3; ++q) bk_[q][i] = c.p[q][i];
        continue;
      }
      if (mask[i] == 0) {
        fg_[i] = 0;
        continue;
      }
      bool flag[5] = {false, false, false, false, false};
      int m = -1;
      double d[3] = {0, 0, 0};
      for (int k = 0; k < 5 && m < 0; ++k) {
        double e[3], D = 0;
        for (int q = 0; q < 3; ++q) {
          e[q] = x[q] - g[k].mean[q];
        }
        D = e[0] * e[0] + e[1] * e[1] + e[2] * e[2];
        if (D < 25.0 * (g[k].var[0] + g[k].var[1] + g[k].var[2])) {
          m = k;
          flag[k] = true;
          for (int q = 0; q < 3; ++q) d[q] = e[q];
        }
      }
      if (n < 2000) {
        if (m < 0) {
          g[4].count = 1;
          for (int q = 0; q < 3; ++q) {
            g[4].mean[q] = x[q];
            g[4].var[q] = 900.0;
          }
          uint32_t S = g[0].count + g[1].count + g[2].count + g[3].count + 1;
          for (int k = 0; k < 5; ++k) g[k].weight = (double)g[k].count / (double)S;
        } else {
          uint32_t T = 0;
          for (int k = 0; k < 5; ++k) {
            g[k].count += flag[k];
            T += g[k].count;
          }
          double r = 1.0 / T;
          for (int k = 0; k < 5; ++k) {
            if (!flag[k] || g[k].count == 0) {
              g[k].weight = g[k].weight - g[k].weight * r;
            } else {
              g[k].weight = g[k].weight + (1 - g[k].weight) * r;
              r = 1.0 / g[k].count;
              learn_gauss(&g[k], d, r);
            }
          }
        }
      } else {
        if (m < 0) {
          g[4].count = 1;
          g[4].weight = 1.0 / (double)(g[0].count + g[1].count + g[2].count + g[3].count + 1);
          for (int q = 0; q < 3; ++q) {
            g[4].mean[q] = x[q];
            g[4].var[q] = 900.0;
          }
          for (int k = 0; k < 4; ++k) g[k].weight *= 0.9995;
        } else {
          double r = 1.0 / 2000.0;
          for (int k = 0; k < 5; ++k) {
            if (!flag[k]) {
              g[k].weight = (1 - r) * g[k].weight;
            } else {
              g[k].weight = g[k].weight + (1 - g[k].weight) * r;
              r = 1.0 / (g[k].weight * 2000.0);
              learn_gauss(&g[k], d, r);
            }
          }
        }
      }
      auto key = [](const RefGauss &a) {
        double v = a.var[0] + a.var[1] + a.var[2];
        return (a.count == 0 || v <= 0) ? 0.0 : a.weight * a.weight / v;
      };
      for (int a = 1; a < 5; ++a) {
        for (int b = a; b > 0 && key(g[b]) > key(g[b - 1]); --b) std::swap(g[b], g[b - 1]);
      }
      for (int q = 0; q < 3; ++q) bk_[q][i] = (uint8_t)floor(g[0].mean[q] + 0.5);
      double sum = 0;
      for (int k = 0; k < 5; ++k) {
        sum += g[k].weight;
        if (flag[k]) {
          fg_[i] = 0;
          break;
        }
        if (sum > 0.7) {
          fg_[i] = 255;
          break;
        }
      }
    }
    if (n == 0) return VORN_OK;
    return n >= learn ? VORN_OK : VORN_E_LEARNING;
  }

  const std::vector<uint8_t> &fg() const { return fg_; }
  const std::vector<uint8_t> &bk(int q) const { return bk_[q]; }

 private:
  static void learn_gauss(RefGauss *g, const double d[3], double r) {
    for (int q = 0; q < 3; ++q) {
      g->mean[q] += r * d[q];
      g->var[q] += (d[q] * d[q] - g->var[q]) * r;
    }
  }
  std::vector<RefGauss> g_;
  std::vector<uint8_t> fg_;
  std::vector<std::vector<uint8_t>> bk_;
};

// Drives the model and the evaluator over `frames` frames and compares every result, mask and background.
void run_against_reference(uint32_t w, uint32_t h, int frames, int noise, uint32_t learn, bool with_mask) {
  Host host(2, w, h);
  ASSERT_EQ(host.created, VORN_OK);
  const size_t np = (size_t)w * h;
  std::vector<uint8_t> mask(np, 255);
  if (with_mask) {
    for (size_t i = 0; i < np; i += 7) mask[i] = 0;
    vorn_mono_image roi = {w, h, mask.data()};
    ASSERT_EQ(vorn_bk_model_set_mask(host.m, &roi), VORN_OK);
  }
  if (learn) host.param(VORN_BK_PARAM_LEARN_FRAMES, learn);
  RefMog ref(np);
  for (int i = 0; i < frames; ++i) {
    // The box comes and goes, so pixels see several colours and the mixtures fill up and re-sort.
    std::vector<uint8_t> f = bk_test::street_frame(w, h, i, noise, (i / 40) % 2 ? 0 : 1 << 30);
    // Now and then the left third goes black: it matches the unused slots (mean 0) exactly, whose variance
    // then collapses to 0 and whose key ties with the unused ones.
    if (i % 9 == 4 || i % 9 == 5) {
      for (uint32_t y = 0; y < h; ++y) memset(&f[y * w], 0, w / 3);
      memset(&f[w * h], 0, w * h / 2 + w / 2);
    }
    const vorn_result got = host.process(f);
    const vorn_result want = ref.frame(host.current(), mask, (uint32_t)i, learn ? learn : 50);
    ASSERT_EQ(got, want) << "frame " << i;
    ASSERT_EQ(host.fg(), ref.fg()) << "mask of frame " << i;
    Planes bk = host.bk();
    for (int q = 0; q < 3; ++q) ASSERT_EQ(bk.p[q], ref.bk(q)) << "background plane " << q << ", frame " << i;
  }
}

}  // namespace

TEST(MogModel, FollowsTheRulesThroughCountingAndForgetting) {
  // 2100 frames cross into the forgetting phase at frame 2000; the mask freezes every seventh pixel.
  run_against_reference(13, 9, 2100, 12, 0, true);
}

TEST(MogModel, FollowsTheRulesOnNoisyFramesOnEveryKernel) {
  const uint32_t all = vorn::cpu_flags();
  run_against_reference(37, 11, 120, 40, 20, false);
  vorn::cpu_set_mask(all);  // plain kernels only
  run_against_reference(37, 11, 120, 40, 20, false);
  vorn::cpu_set_mask(0);
}

TEST(MogModel, HandWorkedPixels) {
  const uint32_t w = 8, h = 8;
  Host host(2, w, h);
  ASSERT_EQ(host.created, VORN_OK);
  host.param(VORN_BK_PARAM_LEARN_FRAMES, 2);
  std::vector<uint8_t> a = bk_test::street_frame(w, h, 0, 0);
  // First frame initialises: result 0, empty mask, background equal to the frame.
  EXPECT_EQ(host.process(a), VORN_OK);
  EXPECT_EQ(bk_test::count_of(host.fg(), 0), 64);
  EXPECT_EQ(host.bk().p[0], host.current().p[0]);
  // The same frame again matches slot 0 everywhere: background, still learning.
  EXPECT_EQ(host.process(a), VORN_E_LEARNING);
  EXPECT_EQ(bk_test::count_of(host.fg(), 0), 64);
  // A bright change matches nothing: the new colour takes slot 4 with weight 1/3 behind 2/3, so it is
  // foreground, and the background stays on the old colour.
  std::vector<uint8_t> b = a;
  const Planes before = host.bk();
  memset(b.data(), 255, w * h);
  EXPECT_EQ(host.process(b), VORN_OK);
  EXPECT_EQ(bk_test::count_of(host.fg(), 255), 64);
  EXPECT_EQ(host.bk().p[0], before.p[0]);
  vorn_image *bk = nullptr;
  EXPECT_EQ(host.t.get_bk(host.m, &bk), VORN_OK);
}

TEST(MogModel, DarkPixelMatchesAnUnusedSlot) {
  // Slots 1..4 start with mean 0 and variance 50: a black frame after a bright one matches slot 1 (D = 0) and
  // is background at once, while a mid-grey frame would be foreground.
  const uint32_t w = 4, h = 4;
  Host host(2, w, h);
  std::vector<uint8_t> bright(w * h * 3 / 2 + 16, 200), black(bright.size(), 0), grey(bright.size(), 90);
  host.process(bright);
  const Planes conv = host.current();
  ASSERT_EQ(conv.p[0][0], 200);
  host.process(black);
  EXPECT_EQ(bk_test::count_of(host.fg(), 0), 16);
  Host other(2, w, h);
  other.process(bright);
  other.process(grey);
  EXPECT_EQ(bk_test::count_of(other.fg(), 255), 16);
}

TEST(MogModel, ResetStartsOverAndSceneCutLearnsNothing) {
  const uint32_t w = 16, h = 8;
  Host host(2, w, h);
  host.param(VORN_BK_PARAM_LEARN_FRAMES, 3);
  host.param(VORN_BK_PARAM_SCENE_CUT, 1);
  std::vector<uint8_t> f = bk_test::street_frame(w, h, 0, 0);
  std::vector<uint8_t> cut = bk_test::street_frame(w, h, 0, 0, 1 << 30, true);
  for (int i = 0; i < 4; ++i) host.process(f);
  const Planes bk = host.bk();
  EXPECT_EQ(host.process(cut), VORN_E_SCENE_CHANGE);
  EXPECT_EQ(host.bk().p[0], bk.p[0]);
  EXPECT_EQ(host.process(f), VORN_OK);  // frame 4 of the same scene
  EXPECT_EQ(host.t.reset(host.m), VORN_OK);
  vorn_image *img = nullptr;
  EXPECT_EQ(host.t.get_bk(host.m, &img), VORN_E_LEARNING);
  // After reset the next frame initialises again, whatever the mixtures held.
  EXPECT_EQ(host.process(cut), VORN_OK);
  EXPECT_EQ(host.bk().p[0], host.current().p[0]);
  EXPECT_EQ(host.process(cut), VORN_E_LEARNING);
}
