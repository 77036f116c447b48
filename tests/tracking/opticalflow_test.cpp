#include <math.h>
#include <string.h>

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include "core/cpu.h"
#include "core/fault_inject.h"
#include "support/test_support.h"
#include "vorn.h"

namespace {

// A smooth random texture defined everywhere: octaves of value noise (random values on lattices of 3 to 48
// pixels, blended with a smoothstep), the coarser octaves stronger as in natural scenes. An image shifted by any
// sub-pixel amount is then sampled exactly instead of interpolated.
struct Texture {
  uint32_t seed;
  explicit Texture(uint32_t s) : seed(s) {}
  double lattice(int64_t i, int64_t j, int octave) const {
    uint64_t h = (uint64_t)i * 0x9E3779B97F4A7C15ull ^ (uint64_t)j * 0xC2B2AE3D27D4EB4Full ^
                 ((uint64_t)(seed * 8 + octave) << 32);
    h ^= h >> 29;
    h *= 0xBF58476D1CE4E5B9ull;
    h ^= h >> 32;
    return (double)(h & 0xFFFF) / 65535.0;
  }
  double noise(double x, double y, int octave) const {
    const double fx = floor(x), fy = floor(y);
    double tx = x - fx, ty = y - fy;
    tx = tx * tx * (3 - 2 * tx);
    ty = ty * ty * (3 - 2 * ty);
    const int64_t i = (int64_t)fx, j = (int64_t)fy;
    const double a = lattice(i, j, octave), b = lattice(i + 1, j, octave), c = lattice(i, j + 1, octave),
                 d = lattice(i + 1, j + 1, octave);
    return (a * (1 - tx) + b * tx) * (1 - ty) + (c * (1 - tx) + d * tx) * ty;
  }
  double at(double x, double y) const {
    double s = 0.0, total = 0.0;
    for (int o = 0; o < 5; ++o) {
      const double scale = 3.0 * (1 << o), amp = sqrt(scale);
      s += amp * noise(x / scale, y / scale, o);
      total += amp;
    }
    return 255.0 * s / total;
  }
  // The image whose pixel (x, y) shows the texture at (x - dx, y - dy): content moved by (+dx, +dy).
  std::vector<uint8_t> image(int w, int h, double dx, double dy) const {
    std::vector<uint8_t> img((size_t)w * h);
    for (int y = 0; y < h; ++y)
      for (int x = 0; x < w; ++x) img[(size_t)y * w + x] = (uint8_t)lround(at(x - dx, y - dy));
    return img;
  }
};

struct Frames {
  int w, h;
  std::vector<uint8_t> a, b;
  vorn_mono_image prev, cur;
  vorn_pyramid *pa = nullptr, *pb = nullptr;
  Frames(const Texture &t, int w_, int h_, double dx, double dy, uint32_t levels)
      : w(w_), h(h_), a(t.image(w, h, 0, 0)), b(t.image(w, h, dx, dy)) {
    prev = {(uint32_t)w, (uint32_t)h, a.data()};
    cur = {(uint32_t)w, (uint32_t)h, b.data()};
    if (levels) {
      EXPECT_EQ(vorn_pyramid_create_mono_image(&prev, &pa, levels), VORN_OK);
      EXPECT_EQ(vorn_pyramid_create_mono_image(&cur, &pb, levels), VORN_OK);
    }
  }
  ~Frames() {
    vorn_pyramid_destroy(pa);
    vorn_pyramid_destroy(pb);
  }
};

std::vector<vorn_point2f> grid(int w, int h, int margin, int step) {
  std::vector<vorn_point2f> pts;
  for (int y = margin; y < h - margin; y += step)
    for (int x = margin; x < w - margin; x += step) pts.push_back({(float)x + 0.25f, (float)y + 0.6f});
  return pts;
}

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v[v.size() / 2];
}

TEST(OpticalFlow, PyramidalRecoversKnownSubPixelShifts) {
  const Texture tex(7);
  const double shifts[][2] = {{0.0, 0.0}, {0.3, -0.7}, {3.25, 1.5}, {-6.4, -2.2}, {-12.6, 8.4}, {14.8, -15.0}};
  for (auto &s : shifts) {
    Frames f(tex, 200, 160, s[0], s[1], 3);
    // Points whose shifted window stays inside the frame.
    std::vector<vorn_point2f> from = grid(f.w, f.h, 32, 9), to(from.size());
    std::vector<uint32_t> status(from.size(), 7);
    ASSERT_EQ(vorn_opticalflow_pyr_lk(&f.prev, &f.cur, f.pa, f.pb, from.data(), to.data(), status.data(),
                                      (uint32_t)from.size(), 10, 10),
              VORN_OK);
    std::vector<double> err;
    size_t found = 0;
    for (size_t i = 0; i < from.size(); ++i) {
      found += status[i] == VORN_FLOW_FOUND;
      err.push_back(hypot(to[i].x - (from[i].x + s[0]), to[i].y - (from[i].y + s[1])));
    }
    EXPECT_EQ(found, from.size()) << s[0] << "," << s[1];
    EXPECT_LT(median(err), 0.05) << s[0] << "," << s[1];
    const size_t close = (size_t)std::count_if(err.begin(), err.end(), [](double e) { return e < 0.5; });
    EXPECT_GE(close * 100, err.size() * 97) << close << " of " << err.size() << " at " << s[0] << "," << s[1];
  }
}

TEST(OpticalFlow, SingleLevelFollowsSmallShiftsAndPyramidsAreOptional) {
  const Texture tex(11);
  for (auto s : {std::pair<double, double>{0.4, -0.6}, {2.3, 1.1}}) {
    Frames f(tex, 96, 80, s.first, s.second, 0);
    std::vector<vorn_point2f> from = grid(f.w, f.h, 16, 7), to(from.size()), to_pyr(from.size());
    std::vector<uint32_t> status(from.size());
    ASSERT_EQ(vorn_opticalflow_lk(&f.prev, &f.cur, from.data(), to.data(), status.data(), (uint32_t)from.size(), 7,
                                  20),
              VORN_OK);
    std::vector<double> err;
    for (size_t i = 0; i < from.size(); ++i) {
      EXPECT_EQ(status[i], VORN_FLOW_FOUND);
      err.push_back(hypot(to[i].x - (from[i].x + s.first), to[i].y - (from[i].y + s.second)));
    }
    EXPECT_LT(median(err), 0.05);
    // Without pyramids the pyramidal entry is the single-level tracker.
    ASSERT_EQ(vorn_opticalflow_pyr_lk(&f.prev, &f.cur, nullptr, nullptr, from.data(), to_pyr.data(), nullptr,
                                      (uint32_t)from.size(), 7, 20),
              VORN_OK);
    for (size_t i = 0; i < from.size(); ++i) {
      EXPECT_EQ(to_pyr[i].x, to[i].x);
      EXPECT_EQ(to_pyr[i].y, to[i].y);
    }
  }
}

TEST(OpticalFlow, PointsThatLeaveTheImageOrSitOnFlatGroundAreLost) {
  const Texture tex(3);
  Frames f(tex, 160, 120, 12.0, 0.0, 3);
  // Near the right edge the content moves out of the frame; in the middle it stays.
  std::vector<vorn_point2f> from = {{155.0f, 60.0f}, {158.5f, 30.0f}, {80.0f, 60.0f}, {-3.0f, 10.0f},
                                    {NAN, 5.0f}, {10.0f, 112.0f}};
  std::vector<vorn_point2f> to(from.size());
  std::vector<uint32_t> status(from.size(), 9);
  ASSERT_EQ(vorn_opticalflow_pyr_lk(&f.prev, &f.cur, f.pa, f.pb, from.data(), to.data(), status.data(),
                                    (uint32_t)from.size(), 10, 10),
            VORN_OK);
  EXPECT_EQ(status[0], VORN_FLOW_LOST);
  EXPECT_EQ(status[1], VORN_FLOW_LOST);
  EXPECT_EQ(status[2], VORN_FLOW_FOUND);
  EXPECT_NEAR(to[2].x, 92.0f, 0.1f);
  EXPECT_EQ(status[3], VORN_FLOW_LOST);  // never inside the previous frame
  EXPECT_EQ(to[3].x, -3.0f);
  EXPECT_EQ(status[4], VORN_FLOW_LOST);
  EXPECT_EQ(status[5], VORN_FLOW_FOUND);
  EXPECT_NEAR(to[5].x, 22.0f, 0.3f);

  // A flat frame gives the tracker nothing to hold on to.
  std::vector<uint8_t> flat(64 * 64, 90);
  vorn_mono_image m{64, 64, flat.data()};
  vorn_point2f p{30.0f, 30.0f}, q;
  uint32_t st = 9;
  ASSERT_EQ(vorn_opticalflow_lk(&m, &m, &p, &q, &st, 1, 10, 10), VORN_OK);
  EXPECT_EQ(st, VORN_FLOW_LOST);
}

TEST(OpticalFlow, ArgumentChecks) {
  const Texture tex(5);
  Frames f(tex, 64, 48, 1.0, 1.0, 3);
  Frames g(tex, 66, 48, 1.0, 1.0, 3);
  vorn_point2f p{30.0f, 20.0f}, q;
  uint32_t st;
  EXPECT_EQ(vorn_opticalflow_lk(nullptr, &f.cur, &p, &q, &st, 1, 10, 10), VORN_E_NULL);
  EXPECT_EQ(vorn_opticalflow_lk(&f.prev, &f.cur, nullptr, &q, &st, 1, 10, 10), VORN_E_NULL);
  EXPECT_EQ(vorn_opticalflow_lk(&f.prev, &f.cur, nullptr, nullptr, nullptr, 0, 10, 10), VORN_OK);
  EXPECT_EQ(vorn_opticalflow_lk(&f.prev, &g.cur, &p, &q, &st, 1, 10, 10), VORN_E_PARAM);
  EXPECT_EQ(vorn_opticalflow_lk(&f.prev, &f.cur, &p, &q, &st, 1, 0, 10), VORN_E_PARAM);
  EXPECT_EQ(vorn_opticalflow_lk(&f.prev, &f.cur, &p, &q, &st, 1, 65, 10), VORN_E_PARAM);
  EXPECT_EQ(vorn_opticalflow_lk(&f.prev, &f.cur, &p, &q, &st, 1, 10, 0), VORN_E_PARAM);
  EXPECT_EQ(vorn_opticalflow_pyr_lk(&f.prev, &f.cur, f.pa, nullptr, &p, &q, &st, 1, 10, 10), VORN_E_NULL);
  // Pyramids of another size than the views.
  EXPECT_EQ(vorn_opticalflow_pyr_lk(&f.prev, &f.cur, f.pa, g.pb, &p, &q, &st, 1, 10, 10), VORN_E_PARAM);
  // A colour pyramid has no mono levels.
  vorn_image *colour = vorn_image_alloc(64, 48, VORN_FORMAT_YUV);
  vorn_pyramid *cp = nullptr;
  ASSERT_EQ(vorn_pyramid_create(colour, &cp, 3), VORN_OK);
  EXPECT_EQ(vorn_opticalflow_pyr_lk(&f.prev, &f.cur, cp, cp, &p, &q, &st, 1, 10, 10), VORN_E_PARAM);
  vorn_pyramid_destroy(cp);
  vorn_image_free(colour);
  // In-place tracking (the output array is the input array): a 21 x 21 window allocates nothing, a 35 x 35 one
  // takes one window block, whose failure is reported.
  for (int32_t half : {10, 17}) {
    const int points = vorn_test::sweep_allocation_failures([&] {
      vorn_point2f pt{30.0f, 20.0f};
      if (vorn_opticalflow_pyr_lk(&f.prev, &f.cur, f.pa, f.pb, &pt, &pt, &st, 1, half, 10) != VORN_OK) return false;
      EXPECT_NEAR(pt.x, 31.0f, 0.05f);
      EXPECT_NEAR(pt.y, 21.0f, 0.05f);
      return true;
    });
    if (vorn::fault_inject_available()) {
      EXPECT_EQ(points, half > 16 ? 1 : 0) << half;
    }
  }
}

TEST(OpticalFlow, VectorAndPlainKernelsGiveTheSamePositions) {
  const Texture tex(21);
  Frames f(tex, 131, 97, 4.3, -2.6, 3);
  // Interior points and points whose windows reach past every border; window sides 3, 21 and 31 leave plain
  // tails of every length behind the vector groups.
  const std::vector<vorn_point2f> from = grid(f.w, f.h, 0, 5);
  for (int32_t half : {1, 10, 15}) {
    std::vector<vorn_point2f> want(from.size());
    std::vector<uint32_t> s_want(from.size());
    // Plain kernels first, then every wider table up to everything the processor has.
    std::vector<uint32_t> masks = vorn_test::isa_masks();
    std::reverse(masks.begin(), masks.end());
    for (uint32_t m : masks) {
      std::vector<vorn_point2f> got(from.size());
      std::vector<uint32_t> s_got(from.size());
      vorn_test::CpuMaskScope scope(m);
      ASSERT_EQ(vorn_opticalflow_pyr_lk(&f.prev, &f.cur, f.pa, f.pb, from.data(), got.data(), s_got.data(),
                                        (uint32_t)from.size(), half, 10),
                VORN_OK);
      if (m == masks.front()) {
        want = got, s_want = s_got;
        continue;
      }
      for (size_t i = 0; i < from.size(); ++i) {
        ASSERT_EQ(memcmp(&want[i], &got[i], sizeof want[i]), 0) << half << " " << from[i].x << "," << from[i].y;
        ASSERT_EQ(s_want[i], s_got[i]);
      }
    }
  }
}

TEST(SubPixel, BilinearValuesAndBorderRepeat) {
  // 0 100
  // 200 50
  uint8_t px[4] = {0, 100, 200, 50};
  vorn_mono_image m{2, 2, px};
  float v = -1.0f;
  struct { float x, y, want; } cases[] = {
      {0, 0, 0},     {1, 0, 100},      {0, 1, 200},   {1, 1, 50},    {0.25f, 0, 25},  {0, 0.5f, 100},
      {0.5f, 0.5f, 87.5f}, {0.75f, 0.25f, 0.75f * 0.75f * 100 + 0.25f * 0.25f * 200 + 0.75f * 0.25f * 50},
      {-3, 0, 0},    {-0.5f, 1, 200},  {7, 0.5f, 75}, {1e30f, 1e30f, 50}, {-1e30f, 0.5f, 100}};
  for (auto &c : cases) {
    ASSERT_EQ(vorn_mono_image_get_sub_pixel(&m, c.x, c.y, &v), VORN_OK);
    EXPECT_FLOAT_EQ(v, c.want) << c.x << "," << c.y;
  }
  EXPECT_EQ(vorn_mono_image_get_sub_pixel(&m, NAN, 0, &v), VORN_E_PARAM);
  EXPECT_EQ(v, 0.0f);
  EXPECT_EQ(vorn_mono_image_get_sub_pixel(nullptr, 0, 0, &v), VORN_E_NULL);
  EXPECT_EQ(vorn_mono_image_get_sub_pixel(&m, 0, 0, nullptr), VORN_E_NULL);
  vorn_mono_image empty{0, 3, px};
  EXPECT_EQ(vorn_mono_image_get_sub_pixel(&empty, 0, 0, &v), VORN_E_PARAM);
}

}  // namespace
