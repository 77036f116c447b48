// The running-mean models through the table, against evaluators written from their rules.
#include <math.h>

#include "bkmodel/bk_test_util.h"

using bk_test::Host;
using bk_test::Planes;

namespace {

// fg of `cur` against `bk` at threshold t: summed plane difference of at least 3t / 2.
std::vector<uint8_t> diff_mask(const Planes &bk, const Planes &cur, int t) {
  std::vector<uint8_t> out(cur.p[0].size());
  for (size_t i = 0; i < out.size(); ++i) {
    int d = 0;
    for (int q = 0; q < 3; ++q) d += abs(bk.p[q][i] - cur.p[q][i]);
    out[i] = d >= 3 * t / 2 ? 255 : 0;
  }
  return out;
}

}  // namespace

TEST(MeanModel, CumulativeMeanAndMaskFollowTheFrames) {
  const uint32_t w = 19, h = 7, N = 5;
  Host host(3, w, h);
  host.param(VORN_BK_PARAM_LEARN_FRAMES, N);
  const size_t np = w * h;
  std::vector<uint64_t> sum[3];
  for (auto &s : sum) s.assign(np, 0);
  Planes ref_bk;
  for (auto &p : ref_bk.p) p.assign(np, 0);
  std::vector<uint8_t> ref_fg(np, 0);
  for (int i = 0; i < 30; ++i) {
    std::vector<uint8_t> f = bk_test::street_frame(w, h, i, 20, 12);
    const vorn_result r = host.process(f);
    const Planes c = host.current();
    if (i >= (int)N) ref_fg = diff_mask(ref_bk, c, 15);
    for (int q = 0; q < 3; ++q)
      for (size_t k = 0; k < np; ++k) {
        sum[q][k] += c.p[q][k];
        ref_bk.p[q][k] = (uint8_t)(sum[q][k] / (uint64_t)(i + 1));
      }
    ASSERT_EQ(r, i < (int)N ? VORN_E_LEARNING : VORN_OK) << i;
    ASSERT_EQ(host.fg(), ref_fg) << i;
    const Planes bk = host.bk();
    for (int q = 0; q < 3; ++q) ASSERT_EQ(bk.p[q], ref_bk.p[q]) << i;
  }
  // The mean model never raises the background count itself.
  vorn_image *img = nullptr;
  EXPECT_EQ(host.t.get_bk(host.m, &img), VORN_E_LEARNING);
}

TEST(MeanModel, OneLearningFrameAndTheSetBackgroundWeighting) {
  const uint32_t w = 6, h = 4;
  Host host(6, w, h);
  host.param(VORN_BK_PARAM_LEARN_FRAMES, 1);
  std::vector<uint8_t> f0 = bk_test::street_frame(w, h, 0, 0), f1 = bk_test::street_frame(w, h, 1, 0, 0);
  EXPECT_EQ(host.process(f0), VORN_E_LEARNING);
  const Planes c0 = host.current();
  EXPECT_EQ(host.bk().p[0], c0.p[0]);
  EXPECT_EQ(host.process(f1), VORN_OK);
  EXPECT_EQ(host.fg(), diff_mask(c0, host.current(), 15));
  const Planes c1 = host.current();
  // set_bk weighs 100 x value into the first pixel's sums, width x height times, and touches no other pixel.
  std::vector<uint8_t> s = bk_test::street_frame(w, h, 7, 0);
  EXPECT_EQ(host.set_bk(s), VORN_OK);
  const Planes set = host.bk();
  std::vector<uint8_t> f2 = bk_test::street_frame(w, h, 2, 0);
  host.process(f2);
  const Planes c2 = host.current(), bk = host.bk();
  const uint32_t wh = w * h;
  for (int q = 0; q < 3; ++q) {
    const uint32_t first = c0.p[q][0] + c1.p[q][0] + 100 * set.p[q][0] * wh + c2.p[q][0];
    EXPECT_EQ(bk.p[q][0], (uint8_t)(first / (3 + 100 * wh))) << q;
    for (size_t k = 1; k < wh; ++k)
      ASSERT_EQ(bk.p[q][k], (c0.p[q][k] + c1.p[q][k] + c2.p[q][k]) / 3) << q << " " << k;
  }
  // Reset empties the sums: the next frame is its own mean.
  EXPECT_EQ(host.t.reset(host.m), VORN_OK);
  EXPECT_EQ(host.process(f1), VORN_E_LEARNING);
  EXPECT_EQ(host.bk().p[1], host.current().p[1]);
}

TEST(MeanExModel, LearnsStablePixelsOnly) {
  const uint32_t w = 17, h = 9, N = 6;
  Host host(7, w, h);
  host.param(VORN_BK_PARAM_LEARN_FRAMES, N);
  const size_t np = w * h;
  std::vector<double> acc[3];
  for (auto &a : acc) a.assign(np, 0.0);
  Planes ref_bk, prev;
  for (auto &p : ref_bk.p) p.assign(np, 0);
  std::vector<uint8_t> ref_fg(np, 0);
  for (int i = 0; i < 40; ++i) {
    std::vector<uint8_t> f = bk_test::street_frame(w, h, i, 8, 10);
    const vorn_result r = host.process(f);
    const Planes c = host.current();
    if (i >= (int)N) ref_fg = diff_mask(ref_bk, c, 15);
    const double a = i == 0 ? 1.0 : 0.005;
    for (size_t k = 0; k < np; ++k) {
      // plane 1 is tested twice and plane 2 never
      const bool stable = i == 0 || (abs(c.p[0][k] - prev.p[0][k]) < 10 && abs(c.p[1][k] - prev.p[1][k]) < 10);
      if (!stable) continue;
      for (int q = 0; q < 3; ++q) {
        acc[q][k] = c.p[q][k] * a + acc[q][k] * (1 - a);
        ref_bk.p[q][k] = (uint8_t)floor(acc[q][k] + 0.5);
      }
    }
    prev = c;
    ASSERT_EQ(r, i < (int)N ? VORN_E_LEARNING : VORN_OK) << i;
    ASSERT_EQ(host.fg(), ref_fg) << i;
    const Planes bk = host.bk();
    for (int q = 0; q < 3; ++q) ASSERT_EQ(bk.p[q], ref_bk.p[q]) << i;
  }
  vorn_image *img = nullptr;
  EXPECT_EQ(host.t.get_bk(host.m, &img), VORN_OK);
  // set_bk writes every pixel's background into the first pixel's accumulators: they keep the last pixel's.
  std::vector<uint8_t> s = bk_test::street_frame(w, h, 99, 0);
  host.set_bk(s);
  const Planes set = host.bk();
  host.process(s);  // the same frame twice: every pixel stable
  host.process(s);
  const Planes bk = host.bk();
  for (int q = 0; q < 3; ++q) {
    double v = set.p[q][np - 1];
    for (int k = 0; k < 2; ++k) v = set.p[q][0] * 0.005 + v * (1 - 0.005);
    EXPECT_EQ(bk.p[q][0], (uint8_t)floor(v + 0.5));
  }
}

TEST(BayMeanModel, HistogramPhaseThenMaskedRunningMean) {
  const uint32_t w = 12, h = 8, M = 4;
  Host host(8, w, h);
  host.param(VORN_BK_PARAM_LEARN_FRAMES, M);
  const size_t np = w * h;
  std::vector<uint8_t> roi(np, 255);
  for (size_t k = 0; k < np; k += 5) roi[k] = 0;
  vorn_mono_image mask = {w, h, roi.data()};
  ASSERT_EQ(vorn_bk_model_set_mask(host.m, &mask), VORN_OK);
  std::vector<std::vector<int>> hist(np * 3, std::vector<int>(64, 0));
  Planes ref_bk;
  for (auto &p : ref_bk.p) p.assign(np, 0);
  std::vector<double> acc(np * 3, 0.0);
  for (int i = 0; i < 30; ++i) {
    std::vector<uint8_t> f = bk_test::street_frame(w, h, i, 6, 2 * M);
    const vorn_result r = host.process(f);
    const Planes c = host.current();
    if (i <= (int)M) {
      ASSERT_EQ(r, VORN_E_LEARNING) << i;
      for (size_t k = 0; k < np; ++k) {
        if (!roi[k]) continue;
        for (int q = 0; q < 3; ++q) {
          std::vector<int> &hq = hist[k * 3 + q];
          hq[c.p[q][k] / 4]++;
          if (i == (int)M) {
            int best = 0;
            for (int b = 1; b < 64; ++b)
              if (hq[b] > hq[best]) best = b;
            ref_bk.p[q][k] = (uint8_t)(4 * best);
            acc[k * 3 + q] = 4 * best;
          }
        }
      }
    } else {
      ASSERT_EQ(r, VORN_OK) << i;
      const std::vector<uint8_t> fg = diff_mask(ref_bk, c, 15);
      ASSERT_EQ(host.fg(), fg) << i;
      for (size_t k = 0; k < np; ++k) {
        if (fg[k] || !roi[k]) continue;
        for (int q = 0; q < 3; ++q) {
          double &a = acc[k * 3 + q];
          a = c.p[q][k] * 0.005 + a * 0.995;
          ref_bk.p[q][k] = (uint8_t)floor(a + 0.5);
        }
      }
    }
    const Planes bk = host.bk();
    for (int q = 0; q < 3; ++q) ASSERT_EQ(bk.p[q], ref_bk.p[q]) << i;
  }
  // The histograms are gone: set_bk refuses its weighting, and after a reset the histogram phase passes
  // frames without learning until the running mean takes over again.
  std::vector<uint8_t> s = bk_test::street_frame(w, h, 3, 0);
  EXPECT_EQ(host.set_bk(s), VORN_E_PARAM);
  EXPECT_EQ(host.t.reset(host.m), VORN_OK);
  for (int i = 0; i <= (int)M; ++i) EXPECT_EQ(host.process(s), VORN_OK);
  EXPECT_EQ(host.process(s), VORN_OK);
  vorn_image *img = nullptr;
  EXPECT_EQ(host.t.get_bk(host.m, &img), VORN_OK);
}

TEST(BayMeanModel, DefaultLengthAndSetBackgroundWeighting) {
  const uint32_t w = 4, h = 4;
  Host host(8, w, h);
  std::vector<uint8_t> a(w * h * 3 / 2 + 16, 40), b(a.size(), 200), c(a.size(), 120);
  memset(a.data() + 1, 100, w * h - 1);  // only the first pixel's 40 votes
  // set_bk adds M = 150 to every pixel's counters at the bins of the first pixel's values; 150 frames of 200
  // tie with them and the lower bin wins.
  EXPECT_EQ(host.set_bk(a), VORN_OK);
  for (int i = 0; i < 150; ++i) ASSERT_EQ(host.process(b), VORN_E_LEARNING) << i;
  EXPECT_EQ(host.process(c), VORN_E_LEARNING);  // frame 150: modes taken
  EXPECT_EQ(bk_test::count_of(host.bk().p[0], 40), (int)(w * h));
  EXPECT_EQ(host.process(b), VORN_OK);  // frame 151: the first mask
}
