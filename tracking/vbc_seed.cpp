// Seeding of the trajectory recorder: the strongest corners inside the seeding mask, kept apart by the seeding
// spacing. Only masked pixels are examined, so a frame where little moves costs little.
#include <math.h>
#include <string.h>

#include <algorithm>

#include "tracking/vbc_impl.h"

namespace vorn {

namespace {

// Corners weaker than this (smaller eigenvalue of the 3 x 3 summed Sobel structure matrix) are never seeded: a
// Sobel response of 10 (about 2.5 grey levels per pixel) in the weaker direction over the 9 pixels.
constexpr float kMinCorner = 900.0f;
// ... nor those weaker than this share of the strongest corner of the frame's seeding area.
constexpr float kQuality = 0.01f;

inline int32_t sobel_x(const uint8_t *p, size_t w) {
  return (p[1 - (ptrdiff_t)w] + 2 * p[1] + p[1 + w]) - (p[-1 - (ptrdiff_t)w] + 2 * p[-1] + p[w - 1]);
}

inline int32_t sobel_y(const uint8_t *p, size_t w) {
  return (p[w - 1] + 2 * p[w] + p[w + 1]) - (p[-1 - (ptrdiff_t)w] + 2 * p[-(ptrdiff_t)w] + p[1 - (ptrdiff_t)w]);
}

// The smaller eigenvalue of the structure matrix summed over the 3 x 3 pixels around p.
float corner_strength(const uint8_t *p, size_t w) {
  int64_t a = 0, b = 0, c = 0;
  for (int dy = -1; dy <= 1; ++dy)
    for (int dx = -1; dx <= 1; ++dx) {
      const uint8_t *q = p + dy * (ptrdiff_t)w + dx;
      const int64_t gx = sobel_x(q, w), gy = sobel_y(q, w);
      a += gx * gx;
      b += gx * gy;
      c += gy * gy;
    }
  const double h = 0.5 * (double)(a - c);
  return (float)(0.5 * (double)(a + c) - sqrt(h * h + (double)b * (double)b));
}

}  // namespace

uint32_t vbc_seed(vorn_vbc *v, const uint8_t *luma, vorn_point *out, uint32_t want) {
  const uint32_t w = v->params.width, h = v->params.height;
  uint8_t *mask = v->mask->data;
  float *strength = v->strength;
  // Pixels two or more from the border: their windows' Sobel taps stay inside the frame.
  float best = 0.0f;
  for (uint32_t y = 2; y + 2 < h; ++y) {
    const size_t row = (size_t)y * w;
    for (uint32_t x = 2; x + 2 < w; ++x) {
      if (!mask[row + x]) continue;
      const float s = corner_strength(luma + row + x, w);
      strength[row + x] = s;
      best = std::max(best, s);
    }
  }
  const float floor = std::max(kMinCorner, best * kQuality);
  // Local maxima over the masked 3 x 3 neighbours: stronger than those before in raster order and at least as
  // strong as those after, so no two maxima touch and a plateau gives one.
  uint32_t n = 0;
  for (uint32_t y = 2; y + 2 < h; ++y) {
    const size_t row = (size_t)y * w;
    for (uint32_t x = 2; x + 2 < w; ++x) {
      const size_t i = row + x;
      if (!mask[i] || strength[i] < floor) continue;
      const float s = strength[i];
      bool peak = true;
      for (int k = 0; k < 8 && peak; ++k) {
        static const int dx[8] = {-1, 0, 1, -1, 1, -1, 0, 1}, dy[8] = {-1, -1, -1, 0, 0, 1, 1, 1};
        const size_t j = (size_t)((ptrdiff_t)i + dy[k] * (ptrdiff_t)w + dx[k]);
        if (!mask[j]) continue;
        peak = k < 4 ? s > strength[j] : s >= strength[j];
      }
      if (peak && n < v->candidate_capacity) v->candidates[n++] = VbcCandidate{s, (uint32_t)i};
    }
  }
  // Strongest first, equal strengths in raster order; each accepted corner closes its disc in the mask.
  std::sort(v->candidates, v->candidates + n, [](const VbcCandidate &a, const VbcCandidate &b) {
    return a.strength != b.strength ? a.strength > b.strength : a.index < b.index;
  });
  uint32_t got = 0;
  for (uint32_t k = 0; k < n && got < want; ++k) {
    const uint32_t i = v->candidates[k].index;
    if (!mask[i]) continue;
    const vorn_point p{(int32_t)(i % w), (int32_t)(i / w)};
    out[got++] = p;
    vbc_mask_clear_disc(v->mask, (float)p.x, (float)p.y, (int32_t)v->params.min_distance);
  }
  return got;
}

}  // namespace vorn
