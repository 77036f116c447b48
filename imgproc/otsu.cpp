// The Otsu threshold of the interior of a rectangle of a grey image.
#include <stdint.h>
#include <string.h>

#include "imgproc/otsu.h"
#include "vorn_imgproc.h"

namespace vorn {
namespace {

// Histogram of rows [y0, y1) and columns [x0, x1). Four interleaved counter sets keep runs of equal bytes from
// waiting on each other's increments; they are summed at the end.
void histogram(const vorn_mono_image &img, int64_t x0, int64_t x1, int64_t y0, int64_t y1, uint32_t hist[256]) {
  uint32_t part[4][256];
  memset(part, 0, sizeof part);
  for (int64_t y = y0; y < y1; ++y) {
    const uint8_t *row = img.data + (size_t)y * img.width;
    int64_t x = x0;
    for (; x + 4 <= x1; x += 4) {
      ++part[0][row[x]];
      ++part[1][row[x + 1]];
      ++part[2][row[x + 2]];
      ++part[3][row[x + 3]];
    }
    for (; x < x1; ++x) ++part[0][row[x]];
  }
  for (int i = 0; i < 256; ++i) hist[i] = part[0][i] + part[1][i] + part[2][i] + part[3][i];
}

}  // namespace

// Between-class search over a histogram whose population is taken as `total` (the caller's rectangle area, not
// the sum of the counts). Returns the level k (0..254) maximising w0 * w1 * (mean0 - mean1)^2, the lowest one on
// ties, or 1 when no level splits the population into two non-empty classes.
int32_t otsu_level(const uint32_t hist[256], uint32_t total) {
  double moment = 0.0;
  for (uint32_t i = 0; i < 256; ++i) moment += (double)(i * hist[i]);
  double best = -1.0;
  int32_t level = 1;
  uint32_t w0 = 0;
  double m0 = 0.0;
  for (uint32_t k = 0; k < 255; ++k) {
    w0 += hist[k];
    if (w0 == 0) continue;
    uint32_t w1 = total - w0;
    if (w1 == 0) break;
    m0 += (double)(k * hist[k]);
    double d = m0 / w0 - (moment - m0) / w1;
    double between = (double)w0 * (double)w1 * (d * d);
    if (between > best) {
      best = between;
      level = (int32_t)k;
    }
  }
  return level;
}

}  // namespace vorn

extern "C" VORN_API int32_t vorn_mono_image_otsu_threshold(const vorn_mono_image *img, const vorn_rect *r) {
  if (!img || !r) return 1;
  // The outermost ring of the rectangle does not count. Whatever part of the interior lies outside the image is
  // not read.
  int64_t x0 = (int64_t)r->left + 1, x1 = (int64_t)r->right - 1;
  int64_t y0 = (int64_t)r->top + 1, y1 = (int64_t)r->bottom - 1;
  if (x0 < 0) x0 = 0;
  if (y0 < 0) y0 = 0;
  if (x1 > (int64_t)img->width) x1 = img->width;
  if (y1 > (int64_t)img->height) y1 = img->height;
  uint32_t hist[256] = {0};
  if (x0 < x1 && y0 < y1 && img->data) vorn::histogram(*img, x0, x1, y0, y1, hist);
  // The population comes from the rectangle, in 32-bit arithmetic.
  uint32_t total = (uint32_t)(((int64_t)r->right - r->left - 2) * ((int64_t)r->bottom - r->top - 2));
  return vorn::otsu_level(hist, total);
}
