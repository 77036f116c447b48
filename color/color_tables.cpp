// Building the colour lookup tables.
#include "color/color_tables.h"

#include <string.h>

#include "vorn_color.h"

namespace vorn {

ColorTables g_color_tables;

const ColorTableRule kColorTableRules[16] = {
    {0, 4211},         {0, 8258},   {0, 1606},            // YR YG YB
    {2097152, -2425},  {0, -4768},  {0, 7193},            // UR UG UB   (2097152 = 128 << 14)
    {2097152, 7193},   {0, -6029},  {0, -1163},           // VR VG VB
    {128, 19071},      {-3347072, 26149},                 // RY RV      (RV = 26149 (i - 128))
    {128, 19071},      {819968, -6406}, {1705984, -13320},  // GY GU GV (GV = -13320 (i - 128) + 1024)
    {128, 19071},      {-4232064, 33063},                 // BY BU      (BU = 33063 (i - 128))
};

namespace {

void fill(int32_t *table, ColorTableRule rule) {
  // Unsigned arithmetic: the same bits as the 32-bit signed rule, without overflow being undefined.
  for (uint32_t i = 0; i < 256; ++i) table[i] = (int32_t)((uint32_t)rule.start + i * (uint32_t)rule.step);
}

}  // namespace

void init_color_tables() {
  int32_t *tables[16] = {g_color_tables.yr, g_color_tables.yg, g_color_tables.yb, g_color_tables.ur,
                         g_color_tables.ug, g_color_tables.ub, g_color_tables.vr, g_color_tables.vg,
                         g_color_tables.vb, g_color_tables.ry, g_color_tables.rv, g_color_tables.gy,
                         g_color_tables.gu, g_color_tables.gv, g_color_tables.by, g_color_tables.bu};
  for (int t = 0; t < 16; ++t) fill(tables[t], kColorTableRules[t]);
}

}  // namespace vorn

extern "C" {

VORN_API void vorn_init_colorspace(void) { vorn::init_color_tables(); }

}  // extern "C"
