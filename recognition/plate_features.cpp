// The 13 features of one character box: ink shares of a 3 x 4 zone grid and the box's aspect ratio.
#include "recognition/plate_internal.h"

namespace vorn {
namespace {

// Overlap of the pixel [p, p + 1) with [a, b).
inline double overlap(int p, double a, double b) {
  const double lo = p > a ? p : a, hi = p + 1 < b ? p + 1 : b;
  return hi > lo ? hi - lo : 0.0;
}

}  // namespace

void plate_features(const uint8_t *ink, int stride, const vorn_rect &box, double *f) {
  const int w = box.right - box.left, h = box.bottom - box.top;
  for (int i = 0; i < kPlateFeatures; ++i) f[i] = 0.0;
  if (w <= 0 || h <= 0) return;
  const double zw = w / 3.0, zh = h / 4.0;
  double col_share[3], row_share[4];
  for (int y = 0; y < h; ++y) {
    for (int j = 0; j < 4; ++j) row_share[j] = overlap(y, j * zh, (j + 1) * zh);
    const uint8_t *row = ink + (size_t)(box.top + y) * stride + box.left;
    for (int x = 0; x < w; ++x) {
      if (!row[x]) continue;
      for (int i = 0; i < 3; ++i) col_share[i] = overlap(x, i * zw, (i + 1) * zw);
      for (int j = 0; j < 4; ++j) {
        if (row_share[j] == 0.0) continue;
        for (int i = 0; i < 3; ++i) f[j * 3 + i] += row_share[j] * col_share[i];
      }
    }
  }
  const double zone_area = zw * zh;
  for (int i = 0; i < 12; ++i) f[i] /= zone_area;
  f[12] = (double)w / h;
}

}  // namespace vorn
