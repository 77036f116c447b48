// Spatial moments of a back-projection inside a rectangle, up to the third order.
#include <math.h>

#include "objects/rect_span.h"
#include "vorn_histogram.h"

extern "C" {

VORN_API vorn_result vorn_moments_calculate(const vorn_backproject *bp, vorn_moments *out, const vorn_rect *rect) {
  if (!bp || !out || !rect) return VORN_E_NULL;
  if (!bp->data && bp->width && bp->height) return VORN_E_NULL;
  vorn_moments m = {};
  vorn::Span s = vorn::rect_span(*rect, rect->top, bp->width, bp->height);
  if (!s.empty() && bp->data) {
    // Each row's sums of v, x v, x^2 v and x^3 v are exact integers; the y powers are applied per row.
    for (int32_t row = s.y0; row < s.y1; ++row) {
      const uint32_t *cells = bp->data + (size_t)row * bp->width;
      uint64_t s0 = 0, s1 = 0, s2 = 0, s3 = 0;
      for (int32_t col = s.x0; col < s.x1; ++col) {
        const uint64_t v = cells[col];
        const uint64_t x = (uint64_t)((int64_t)col - rect->left);
        const uint64_t xv = x * v, xxv = x * xv;
        s0 += v;
        s1 += xv;
        s2 += xxv;
        s3 += x * xxv;
      }
      const double y = (double)((int64_t)row - rect->top);
      const double d0 = (double)s0, d1 = (double)s1, d2 = (double)s2, d3 = (double)s3;
      m.m00 += d0;
      m.m10 += d1;
      m.m01 += y * d0;
      m.m20 += d2;
      m.m11 += y * d1;
      m.m02 += y * y * d0;
      m.m30 += d3;
      m.m21 += y * d2;
      m.m12 += y * y * d1;
      m.m03 += y * y * y * d0;
    }
  }
  double xc = 0, yc = 0;
  if (fabs(m.m00) > 2.220446049250313e-16) {
    const double inv = 1.0 / m.m00;
    xc = m.m10 * inv;
    yc = m.m01 * inv;
    m.inv_sqrt_m00 = sqrt(fabs(inv));
  }
  m.mu20 = m.m20 - m.m10 * xc;
  m.mu11 = m.m11 - m.m10 * yc;
  m.mu02 = m.m02 - m.m01 * yc;
  m.mu30 = m.m30 - xc * (3 * m.mu20 + xc * m.m10);
  m.mu21 = m.m21 - xc * (2 * m.mu11 + xc * m.m01) - yc * m.mu20;
  m.mu12 = m.m12 - yc * (2 * m.mu11 + yc * m.m10) - xc * m.mu02;
  m.mu03 = m.m03 - yc * (3 * m.mu02 + yc * m.m01);
  *out = m;
  return VORN_OK;
}

}  // extern "C"
