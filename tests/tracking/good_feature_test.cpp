#include <math.h>
#include <string.h>

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include "core/cpu.h"
#include "support/test_support.h"
#include "vorn.h"

namespace {

struct Corner {
  int x, y;
  bool operator==(const Corner &o) const { return x == o.x && y == o.y; }
};

// Independent evaluation straight from the definition: Sobel derivatives of the grey plane, 3 x 3 sums of their
// products, the smaller eigenvalue, the 1/100 threshold, the mask squares, a full sort and a greedy walk.
struct Reference {
  int w, h;
  std::vector<double> lambda;
  double max = 0.0;
  Reference(const uint8_t *g, int w_, int h_) : w(w_), h(h_), lambda((size_t)w_ * h_, 0.0) {
    auto p = [&](int x, int y) { return (int)g[y * w + x]; };
    std::vector<long> dx((size_t)w * h, 0), dy((size_t)w * h, 0);
    for (int y = 1; y < h - 1; ++y)
      for (int x = 1; x < w - 1; ++x) {
        dx[y * w + x] = (p(x + 1, y - 1) + 2 * p(x + 1, y) + p(x + 1, y + 1)) - (p(x - 1, y - 1) + 2 * p(x - 1, y) + p(x - 1, y + 1));
        dy[y * w + x] = (p(x - 1, y + 1) + 2 * p(x, y + 1) + p(x + 1, y + 1)) - (p(x - 1, y - 1) + 2 * p(x, y - 1) + p(x + 1, y - 1));
      }
    for (int y = 1; y < h - 1; ++y)
      for (int x = 1; x < w - 1; ++x) {
        long a = 0, b = 0, c = 0;
        for (int j = -1; j <= 1; ++j)
          for (int i = -1; i <= 1; ++i) {
            const long u = dx[(y + j) * w + x + i], v = dy[(y + j) * w + x + i];
            a += u * u;
            b += v * v;
            c += u * v;
          }
        const double l = (a + b) / 2.0 - sqrt(((a - b) / 2.0) * ((a - b) / 2.0) + (double)c * c);
        lambda[y * w + x] = l;
        max = std::max(max, l);
      }
  }
  std::vector<Corner> corners(unsigned md, unsigned wanted, const uint8_t *mask) const {
    const double t = max / 100.0;
    auto m = [&](int x, int y) { return mask[y * w + x] != 0; };
    std::vector<int> cand;
    for (int y = 1; y < h - 1; ++y)
      for (int x = 1; x < w - 1; ++x) {
        if (!(lambda[y * w + x] > t)) continue;
        if (mask && !(m(x, y) && ((m(x + 1, y) && m(x + 1, y + 1) && m(x, y + 1)) ||
                                  (m(x + 1, y) && m(x + 1, y - 1) && m(x, y - 1)) ||
                                  (m(x - 1, y) && m(x - 1, y - 1) && m(x, y - 1)) ||
                                  (m(x - 1, y) && m(x - 1, y + 1) && m(x, y + 1)))))
          continue;
        cand.push_back(y * w + x);
      }
    std::sort(cand.begin(), cand.end(), [&](int a, int b) { return lambda[a] > lambda[b] || (lambda[a] == lambda[b] && a < b); });
    std::vector<Corner> out;
    for (int i : cand) {
      if (out.size() >= wanted) break;
      const int x = i % w, y = i / w;
      bool near = false;
      for (const Corner &c : out) near |= (double)(c.y - y) * (c.y - y) + (double)(c.x - x) * (c.x - x) < (double)md * md;
      if (!near) out.push_back({x, y});
    }
    return out;
  }
};

// Random blocks of grey over noise: plenty of corners of all strengths, and many equal eigenvalues.
std::vector<uint8_t> blocks(int w, int h, uint32_t seed) {
  std::vector<uint8_t> r = vorn_test::random_bytes((size_t)w * h + 400, seed), g((size_t)w * h);
  for (size_t i = 0; i < g.size(); ++i) g[i] = (uint8_t)(r[i] & 7);
  for (int k = 0; k < 40; ++k) {
    const int x0 = r[g.size() + 5 * k] % w, y0 = r[g.size() + 5 * k + 1] % h;
    const int bw = 2 + r[g.size() + 5 * k + 2] % 12, bh = 2 + r[g.size() + 5 * k + 3] % 12;
    for (int y = y0; y < std::min(h, y0 + bh); ++y)
      for (int x = x0; x < std::min(w, x0 + bw); ++x) g[y * w + x] = (uint8_t)(40 + r[g.size() + 5 * k + 4] % 200);
  }
  return g;
}

std::vector<Corner> run(vorn_image *img, unsigned md, unsigned wanted, const vorn_mono_image *mask, vorn_image *map) {
  std::vector<vorn_point> pts(wanted + 1);
  uint32_t count = wanted;
  EXPECT_EQ(vorn_good_feature_to_track(img, md, pts.data(), &count, mask, map), VORN_OK);
  std::vector<Corner> out;
  for (uint32_t i = 0; i < count; ++i) out.push_back({pts[i].x, pts[i].y});
  return out;
}

TEST(GoodFeatures, MatchesTheDefinitionOnEveryKernel) {
  for (uint32_t isa : vorn_test::isa_masks()) {
    vorn_test::CpuMaskScope scope(isa);
    for (auto sz : {std::pair<int, int>{3, 3}, {4, 9}, {61, 47}, {160, 120}}) {
      const int w = sz.first, h = sz.second;
      std::vector<uint8_t> g = blocks(w, h, (uint32_t)(w * 7 + h));
      vorn_image *img = vorn_image_alloc(w, h, VORN_FORMAT_HSV);
      memcpy(img->plane[2], g.data(), g.size());
      memset(img->plane[0], 255, g.size());  // not the grey plane of HSV
      const Reference ref(g.data(), w, h);
      // A mask of two blobs and a lone pixel (which never qualifies).
      std::vector<uint8_t> m((size_t)w * h, 0);
      for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) m[y * w + x] = (x < w / 3 || (y > h / 2 && x > w / 2)) ? 255 : 0;
      m[(h / 4) * w + w / 2] = 1;
      vorn_mono_image mask{(uint32_t)w, (uint32_t)h, m.data()};
      for (unsigned md : {0u, 1u, 3u, 10u})
        for (unsigned wanted : {1u, 8u, 100u, 100000u}) {
          EXPECT_EQ(run(img, md, wanted, nullptr, nullptr), ref.corners(md, wanted, nullptr))
              << w << "x" << h << " md " << md << " n " << wanted << " isa mask " << isa;
          EXPECT_EQ(run(img, md, wanted, &mask, nullptr), ref.corners(md, wanted, m.data()))
              << w << "x" << h << " masked md " << md << " n " << wanted;
        }
      // The map marks every pixel above the threshold, mask or not.
      vorn_image *map = vorn_image_alloc(w, h, VORN_FORMAT_RGB);
      run(img, 10, 8, &mask, map);
      for (int i = 0; i < w * h && ref.max > 0; ++i)
        for (int k = 0; k < 3; ++k) ASSERT_EQ(map->plane[k][i], ref.lambda[i] > ref.max / 100 ? 255 : 0) << i;
      vorn_image_free(map);
      vorn_image_free(img);
    }
  }
}

TEST(GoodFeatures, WorkedCasesAndArguments) {
  // A flat image has no corner and leaves the map alone.
  vorn_image *img = vorn_image_alloc(20, 20, VORN_FORMAT_YUV), *map = vorn_image_alloc(20, 20, VORN_FORMAT_YUV);
  memset(img->plane[0], 120, 400);
  memset(map->plane[1], 7, 400);
  vorn_point pts[8];
  uint32_t count = 8;
  ASSERT_EQ(vorn_good_feature_to_track(img, 10, pts, &count, nullptr, map), VORN_OK);
  EXPECT_EQ(count, 0u);
  EXPECT_EQ(map->plane[1][57], 7);

  // A bright square: its four corners are the four strongest points, each the mirror of the others.
  for (int y = 6; y < 14; ++y)
    for (int x = 6; x < 14; ++x) img->plane[0][y * 20 + x] = 220;
  count = 4;
  ASSERT_EQ(vorn_good_feature_to_track(img, 5, pts, &count, nullptr, nullptr), VORN_OK);
  ASSERT_EQ(count, 4u);
  std::vector<std::pair<int, int>> got;
  for (auto &p : pts) got.push_back({p.x, p.y});
  got.resize(4);
  std::sort(got.begin(), got.end());
  const std::vector<std::pair<int, int>> want = {{got[0].first, got[0].first}, {got[0].first, 19 - got[0].first},
                                                 {19 - got[0].first, got[0].first}, {19 - got[0].first, 19 - got[0].first}};
  EXPECT_EQ(got, want);
  EXPECT_NEAR(got[0].first, 6, 1);
  // Asked for none, it finds none and writes nothing.
  count = 0;
  EXPECT_EQ(vorn_good_feature_to_track(img, 5, nullptr, &count, nullptr, nullptr), VORN_OK);
  EXPECT_EQ(count, 0u);

  vorn_mono_image *small = vorn_mono_image_alloc(19, 20);
  count = 8;
  EXPECT_EQ(vorn_good_feature_to_track(img, 5, pts, &count, small, nullptr), VORN_E_PARAM);
  EXPECT_EQ(count, 0u);
  count = 8;
  EXPECT_EQ(vorn_good_feature_to_track(nullptr, 5, pts, &count, nullptr, nullptr), VORN_E_NULL);
  EXPECT_EQ(vorn_good_feature_to_track(img, 5, pts, nullptr, nullptr, nullptr), VORN_E_NULL);
  img->format = 7;
  count = 8;
  EXPECT_EQ(vorn_good_feature_to_track(img, 5, pts, &count, nullptr, nullptr), VORN_E_PARAM);
  img->format = VORN_FORMAT_YUV;
  EXPECT_GE(vorn_test::sweep_allocation_failures([&] {
              uint32_t c = 8;
              const vorn_result r = vorn_good_feature_to_track(img, 5, pts, &c, nullptr, nullptr);
              if (r != VORN_OK) {
                EXPECT_EQ(r, VORN_E_NOMEM);
                EXPECT_EQ(c, 0u);
                return false;
              }
              return true;
            }),
            4);
  vorn_mono_image_free(small);
  vorn_image_free(img);
  vorn_image_free(map);
}

}  // namespace
