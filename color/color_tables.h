// The colour lookup tables shared by every RGB/YUV conversion of the library.
//
// Sixteen tables of 256 entries in fixed point with 14 fractional bits (16384 = one level). Each entry is
// start + i * step in 32-bit integer arithmetic:
//   Y  = 0.257 R + 0.504 G + 0.098 B   scaled by 219/255 already folded in: 4211, 8258, 1606 (Y runs 0..219)
//   U  = 128 - 0.148 R - 0.291 G + 0.439 B                     2425, 4768, 7193
//   V  = 128 + 0.439 R - 0.368 G - 0.071 B                     7193, 6029, 1163
//   R  = 1.164 Y + 1.596 (V - 128)                             19071, 26149
//   G  = 1.164 Y - 0.391 (U - 128) - 0.813 (V - 128) + 1/16    19071, 6406, 13320, and 1024
//   B  = 1.164 Y + 2.018 (U - 128)                             19071, 33063
// The R, G and B tables of Y carry 128 (a half of the 1/128 rounding that the shift then floors); the G table
// of V carries one sixteenth of a level more. Both offsets are part of the results and are kept.
#ifndef VORN_COLOR_TABLES_H
#define VORN_COLOR_TABLES_H

#include <stdint.h>

namespace vorn {

struct ColorTables {
  int32_t yr[256], yg[256], yb[256];
  int32_t ur[256], ug[256], ub[256];
  int32_t vr[256], vg[256], vb[256];
  int32_t ry[256], rv[256];
  int32_t gy[256], gu[256], gv[256];
  int32_t by[256], bu[256];
};

// Zero until init_color_tables() has run; read-only afterwards.
extern ColorTables g_color_tables;

inline const ColorTables &color_tables() { return g_color_tables; }

// Builds (or rebuilds) every table. Called by vorn_init.
void init_color_tables();

// Start value and step of each table, in the order of the struct, for code that computes the same integers
// without the tables (vector kernels).
struct ColorTableRule {
  int32_t start, step;
};
extern const ColorTableRule kColorTableRules[16];

}  // namespace vorn

#endif
