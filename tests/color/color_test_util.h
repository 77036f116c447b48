// Helpers of the colour tests: owned images and reference evaluators written from the colour formulas
// directly (no lookup tables), so the library's tables and kernels are checked against an independent rule.
#ifndef VORN_TESTS_COLOR_TEST_UTIL_H
#define VORN_TESTS_COLOR_TEST_UTIL_H

#include <stdint.h>

#include <memory>
#include <vector>

#include "support/test_support.h"
#include "vorn.h"

namespace color_test {

struct ImageFree {
  void operator()(vorn_image *p) const { vorn_image_free(p); }
};
struct MonoFree {
  void operator()(vorn_mono_image *p) const { vorn_mono_image_free(p); }
};
struct BmpFree {
  void operator()(vorn_bmp *p) const { vorn_bmp_free(p); }
};
using Image = std::unique_ptr<vorn_image, ImageFree>;
using Mono = std::unique_ptr<vorn_mono_image, MonoFree>;
using Bmp = std::unique_ptr<vorn_bmp, BmpFree>;

inline Image make_image(uint32_t w, uint32_t h, uint32_t format) { return Image(vorn_image_alloc(w, h, format)); }

inline Image random_image(uint32_t w, uint32_t h, uint32_t format, uint32_t seed) {
  Image img = make_image(w, h, format);
  for (int p = 0; p < 3; ++p) {
    std::vector<uint8_t> bytes = vorn_test::random_bytes((size_t)w * h, seed + 7919u * p);
    std::copy(bytes.begin(), bytes.end(), img->plane[p]);
  }
  return img;
}

inline uint8_t px(const vorn_image *img, int p, uint32_t x, uint32_t y) { return img->plane[p][y * img->width + x]; }
inline void set_px(vorn_image *img, uint32_t x, uint32_t y, uint8_t a, uint8_t b, uint8_t c) {
  size_t i = (size_t)y * img->width + x;
  img->plane[0][i] = a;
  img->plane[1][i] = b;
  img->plane[2][i] = c;
}

inline int floor_shift14(int64_t v) { return (int)((v - ((v % 16384 + 16384) % 16384)) / 16384); }
inline uint8_t clamp255(int v) { return (uint8_t)(v < 0 ? 0 : v > 255 ? 255 : v); }

struct Triple {
  uint8_t a, b, c;
  bool operator==(const Triple &o) const { return a == o.a && b == o.b && c == o.c; }
};

// Y = (4211 R + 8258 G + 1606 B [+ 8192]) / 16384, floored; U, V centred on 128.
inline Triple ref_rgb_to_yuv(int r, int g, int b, bool round_y) {
  int64_t y = 4211LL * r + 8258LL * g + 1606LL * b + (round_y ? 8192 : 0);
  int64_t u = 128LL * 16384 - 2425LL * r - 4768LL * g + 7193LL * b;
  int64_t v = 128LL * 16384 + 7193LL * r - 6029LL * g - 1163LL * b;
  return {clamp255(floor_shift14(y)), clamp255(floor_shift14(u)), clamp255(floor_shift14(v))};
}

inline Triple ref_yuv_to_rgb(int y, int u, int v) {
  int64_t r = 128 + 19071LL * y + 26149LL * (v - 128);
  int64_t g = 128 + 19071LL * y - 6406LL * (u - 128) - 13320LL * (v - 128) + 1024;
  int64_t b = 128 + 19071LL * y + 33063LL * (u - 128);
  return {clamp255(floor_shift14(r)), clamp255(floor_shift14(g)), clamp255(floor_shift14(b))};
}

// Hue by sectors of 40: red first (G > B rising from 0, otherwise counted back from 240), then green, then blue.
inline Triple ref_rgb_to_hsv(int r, int g, int b) {
  int v = std::max(r, std::max(g, b)), m = std::min(r, std::min(g, b));
  if (v == 0) return {0, 0, 0};
  int d = v - m, s = d * 255 / v;
  if (s == 0) return {0, 0, (uint8_t)v};
  int h;
  if (v == r)
    h = g > b ? 40 * (g - b) / d : 240 - 40 * (b - g) / d - (40 * (b - g) % d != 0 ? 1 : 0);
  else if (v == g)
    h = 80 + (40 * (b - r) >= 0 ? 40 * (b - r) / d : -((40 * (r - b) + d - 1) / d));
  else
    h = 160 + (40 * (r - g) >= 0 ? 40 * (r - g) / d : -((40 * (g - r) + d - 1) / d));
  return {(uint8_t)h, (uint8_t)s, (uint8_t)v};
}

}  // namespace color_test

#endif
