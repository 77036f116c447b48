// Region rasterisation a column at a time. The point-in-region test casts a ray down from the point: for a
// fixed column, which edges count (and where they cross the column) does not depend on the row, so a column's
// crossings are found once and sorted, and each row's parity is read off them. The boundary cases (vertices,
// vertical edges, crossings within the tolerance) are applied on top, so every pixel gets the same answer as the
// per-pixel test.
#include "geometry/region_raster.h"

#include <math.h>
#include <string.h>

#include <algorithm>

#include "vorn_geometry.h"

namespace vorn {
namespace {

constexpr double kEps = 1e-8, kNudge = 2e-8;
constexpr int32_t kMaxEdges = 64;  // larger regions take the per-pixel path

struct Column {
  double ys[kMaxEdges];
  int n = 0;
  struct Span { int32_t lo, hi; } vertical[kMaxEdges];  // rows strictly between lo and hi are on an edge
  int nv = 0;
};

// The crossings of column px, with the same tolerance, nudges and skips as vorn_pt_in_region.
void column_crossings(const vorn_point *v, int32_t count, double px, Column *c) {
  c->n = c->nv = 0;
  for (int32_t i = 0; i <= count - 2;) {
    const vorn_point &va = v[i], &vb = v[i + 1];
    double xa = va.x, xb = vb.x;
    int skip = 0;
    if (fabs(xa - xb) < kEps) {
      if (fabs(px - xa) < kEps) c->vertical[c->nv++] = {std::min(va.y, vb.y), std::max(va.y, vb.y)};
      skip = 1;
    } else {
      if (fabs(px - xa) < kEps) {
        const vorn_point &before = v[i == 0 ? count - 2 : i - 1];
        if ((vb.x > xa && before.x > xa) || (vb.x < xa && before.x < xa)) {
          skip = 1;
        } else {
          xa += kNudge;
        }
      }
      if (!skip && fabs(px - xb) < kEps) {
        const vorn_point &after = v[i + 1 == count - 1 ? 1 : i + 2];
        if ((va.x > xb && after.x > xb) || (va.x < xb && after.x < xb)) {
          skip = 2;
        } else {
          xb += kNudge;
        }
      }
    }
    if (skip) {
      i += skip;
      continue;
    }
    const double lo = xa < xb ? xa : xb, hi = xa < xb ? xb : xa;
    if (px >= lo && px <= hi) c->ys[c->n++] = ((double)vb.y - va.y) / (xb - xa) * (px - xa) + va.y;
    ++i;
  }
  std::sort(c->ys, c->ys + c->n);
}

}  // namespace

void region_raster(const vorn_point *points, int32_t count, uint32_t width, uint32_t height, uint8_t *out,
                   uint32_t stride, uint8_t value) {
  for (uint32_t y = 0; y < height; ++y) memset(out + (size_t)y * stride, 0, width);
  if (count <= 0) return;
  if (count > kMaxEdges) {
    for (uint32_t y = 0; y < height; ++y) {
      for (uint32_t x = 0; x < width; ++x) {
        if (vorn_pt_in_region(vorn_point{(int32_t)x, (int32_t)y}, points, count)) out[(size_t)y * stride + x] = value;
      }
    }
    return;
  }
  Column col;
  for (uint32_t x = 0; x < width; ++x) {
    const double px = (double)x;
    uint8_t *dst = out + x;
    if (count >= 3) {
      column_crossings(points, count, px, &col);
      int below = 0;  // crossings with y < py
      for (uint32_t y = 0; y < height; ++y) {
        const double py = (double)y;
        while (below < col.n && col.ys[below] < py) ++below;
        bool in = ((col.n - below) & 1) != 0;
        if (!in) {
          in = (below < col.n && fabs(py - col.ys[below]) <= kEps) ||
               (below > 0 && fabs(py - col.ys[below - 1]) <= kEps);
        }
        if (in) dst[(size_t)y * stride] = value;
      }
      for (int k = 0; k < col.nv; ++k) {
        const int64_t first = (int64_t)col.vertical[k].lo + 1, last = (int64_t)col.vertical[k].hi - 1;
        for (int64_t y = first < 0 ? 0 : first; y <= last && y < (int64_t)height; ++y) dst[(size_t)y * stride] = value;
      }
    }
    for (int32_t i = 0; i < count; ++i) {  // the region's own points
      if (points[i].x == (int32_t)x && points[i].y >= 0 && (uint32_t)points[i].y < height) {
        dst[(size_t)points[i].y * stride] = value;
      }
    }
  }
}

}  // namespace vorn
