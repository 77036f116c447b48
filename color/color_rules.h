// Per-pixel colour rules shared by the planar and frame converters and by the image operations that need a
// colour model (shadow detection, edges, corners). Every rule here is the definition; row kernels and vector
// twins must give the same bytes.
//
// RGB <-> YUV goes through the lookup tables of color/color_tables.h; HSV uses integer arithmetic with a hue of
// 40 units per sixth of the circle (0..240; a red leaning to blue ends at 240, not 0).
#ifndef VORN_COLOR_RULES_H
#define VORN_COLOR_RULES_H

#include <stdint.h>

#include "color/color_tables.h"

namespace vorn {

inline uint8_t clamp_byte(int32_t v) { return (uint8_t)(v < 0 ? 0 : (v > 255 ? 255 : v)); }

// Luma without the rounding half: what every YUV frame and mono image receives. Can be one below rgb_to_yuv's Y.
inline uint8_t rgb_to_y_trunc(uint8_t r, uint8_t g, uint8_t b) {
  const ColorTables &t = g_color_tables;
  return clamp_byte((t.yr[r] + t.yg[g] + t.yb[b]) >> 14);
}

// Chroma of RGB -> YUV (truncated, no rounding term).
inline void rgb_to_uv(uint8_t r, uint8_t g, uint8_t b, uint8_t *u, uint8_t *v) {
  const ColorTables &t = g_color_tables;
  *u = clamp_byte((t.ur[r] + t.ug[g] + t.ub[b]) >> 14);
  *v = clamp_byte((t.vr[r] + t.vg[g] + t.vb[b]) >> 14);
}

// RGB -> YUV of planar images: Y rounded (+ half a level), U and V truncated.
inline void rgb_to_yuv(uint8_t r, uint8_t g, uint8_t b, uint8_t *y, uint8_t *u, uint8_t *v) {
  const ColorTables &t = g_color_tables;
  *y = clamp_byte((t.yr[r] + t.yg[g] + t.yb[b] + 8192) >> 14);
  rgb_to_uv(r, g, b, u, v);
}

// RGB -> YUV with the truncated Y: the rule of every conversion that writes a YUV frame.
inline void rgb_to_yuv_trunc(uint8_t r, uint8_t g, uint8_t b, uint8_t *y, uint8_t *u, uint8_t *v) {
  *y = rgb_to_y_trunc(r, g, b);
  rgb_to_uv(r, g, b, u, v);
}

inline void yuv_to_rgb(uint8_t y, uint8_t u, uint8_t v, uint8_t *r, uint8_t *g, uint8_t *b) {
  const ColorTables &t = g_color_tables;
  *r = clamp_byte((t.ry[y] + t.rv[v]) >> 14);
  *g = clamp_byte((t.gu[u] + t.gy[y] + t.gv[v]) >> 14);
  *b = clamp_byte((t.bu[u] + t.by[y]) >> 14);
}

// Hue of an RGB pixel, 0..240. The red sector is tested first; a red whose G is not above B takes the
// 6d + G - B branch, so pure red is 240 and reds leaning to blue are 201..240.
inline uint8_t hue_of(int32_t r, int32_t g, int32_t b, int32_t mx, int32_t d) {
  if (mx == r) return (uint8_t)(g > b ? (40 * (g - b)) / d : (40 * (6 * d + g - b)) / d);
  if (mx == g) return (uint8_t)((40 * (2 * d - r + b)) / d);
  return (uint8_t)((40 * (4 * d - g + r)) / d);
}

inline void rgb_to_hsv(uint8_t r, uint8_t g, uint8_t b, uint8_t *h, uint8_t *s, uint8_t *v) {
  int32_t mx = r > g ? r : g;
  if (b > mx) mx = b;
  *v = (uint8_t)mx;
  if (mx == 0) {
    *h = 0;
    *s = 0;
    return;
  }
  int32_t mn = r < g ? r : g;
  if (b < mn) mn = b;
  int32_t d = mx - mn;
  int32_t sat = (d * 255) / mx;
  *s = (uint8_t)sat;
  *h = sat == 0 ? 0 : hue_of(r, g, b, mx, d);
}

// The H of rgb_to_hsv alone (0 where V or S is 0).
inline uint8_t rgb_to_h(uint8_t r, uint8_t g, uint8_t b) {
  uint8_t h, s, v;
  rgb_to_hsv(r, g, b, &h, &s, &v);
  return h;
}

// HSV -> RGB. Hues of 240 and above fall into the last sector, so (240, S, V) comes back as a magenta
// (V, p, V) rather than the red it came from.
inline void hsv_to_rgb(uint8_t h, uint8_t s, uint8_t v, uint8_t *r, uint8_t *g, uint8_t *b) {
  if (s == 0) {
    *r = *g = *b = v;
    return;
  }
  int32_t sector = h / 40, f = h % 40;
  int32_t p = ((255 - s) * v) / 255;
  int32_t t = ((v * s * f) / 40) / 255;
  int32_t rr, gg, bb;
  switch (sector) {
    case 0: rr = v, gg = p + t, bb = p; break;
    case 1: rr = v - t, gg = v, bb = p; break;
    case 2: rr = p, gg = v, bb = p + t; break;
    case 3: rr = p, gg = v - t, bb = v; break;
    case 4: rr = p + t, gg = p, bb = v; break;
    default: rr = v, gg = p, bb = v - t; break;
  }
  *r = (uint8_t)rr;
  *g = (uint8_t)gg;
  *b = (uint8_t)bb;
}

}  // namespace vorn

#endif
