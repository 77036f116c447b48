// Per-object work after extraction: rectangles re-fitted to the mask's pixel statistics, and histograms.
#include <math.h>

#include "core/real_to_int.h"
#include "objects/obj_maker_impl.h"

namespace {

// The rectangle's columns left .. left + width - 1 and rows top .. top + height - 1 (its right column and bottom
// row are not visited). Counts use the pixel's low bit while the sums take every non-zero pixel; sums wrap in 32
// bits. Pixels outside the mask are left out.
void refit(vorn_obj &o, const vorn_mono_image *mask) {
  int64_t c0 = o.left, r0 = o.top;
  int64_t c1 = c0 + o.width, r1 = r0 + o.height;
  const int64_t first_c = c0 < 0 ? 0 : c0, first_r = r0 < 0 ? 0 : r0;
  const int64_t end_c = c1 > (int64_t)mask->width ? (int64_t)mask->width : c1;
  const int64_t end_r = r1 > (int64_t)mask->height ? (int64_t)mask->height : r1;
  uint32_t n = 0, sx = 0, sy = 0, sxx = 0, syy = 0;
  for (int64_t r = first_r; r < end_r; ++r) {
    const uint8_t *row = mask->data + (size_t)r * mask->width;
    const uint32_t ly = (uint32_t)(r - r0);
    for (int64_t c = first_c; c < end_c; ++c) {
      const uint8_t v = row[c];
      if (!v) continue;
      const uint32_t lx = (uint32_t)(c - c0);
      n += v & 1u;
      sx += lx;
      sy += ly;
      sxx += lx * lx;
      syy += ly * ly;
    }
  }
  if (n == 0) return;
  const int32_t count = (int32_t)n;
  const int32_t mx = (int32_t)sx / count, my = (int32_t)sy / count;
  const int32_t vx = vorn::wrap_sub((int32_t)sxx / count, vorn::wrap_mul(mx, mx));
  const int32_t vy = vorn::wrap_sub((int32_t)syy / count, vorn::wrap_mul(my, my));
  const int32_t w = vorn::trunc_i32(sqrt((double)vx) * 4.0);
  const int32_t h = vorn::trunc_i32(sqrt((double)vy) * 4.0);
  const int32_t cx = vorn::wrap_add(o.left, mx), cy = vorn::wrap_add(o.top, my);
  o.width = w;
  o.height = h;
  o.cx = cx;
  o.cy = cy;
  o.left = vorn::wrap_sub(cx, w / 2);
  o.right = vorn::wrap_add(cx, w / 2);
  o.top = vorn::wrap_sub(cy, h / 2);
  o.bottom = vorn::wrap_add(cy, h / 2);
}

}  // namespace

extern "C" {

VORN_API vorn_result vorn_obj_maker_adjust_rect(vorn_obj_maker *maker, const vorn_mono_image *mask) {
  if (!maker || !mask) return VORN_E_NULL;
  if (maker->obj_count && !mask->data) return VORN_E_NULL;
  for (uint32_t i = 0; i < maker->obj_count; ++i) refit(maker->objs[i], mask);
  return VORN_OK;
}

VORN_API vorn_result vorn_obj_maker_calculate_hist(vorn_obj_maker *maker, const vorn_image *frame,
                                                   const vorn_mono_image *mask) {
  if (!maker || !frame || !frame->plane[0] || (mask && !mask->data)) return VORN_E_NULL;
  const vorn_mono_image plane{frame->width, frame->height, frame->plane[0]};
  for (uint32_t i = 0; i < maker->obj_count; ++i) {
    vorn_obj &o = maker->objs[i];
    if (!o.hist) o.hist = maker->hist_pool[i];
    if (!o.hist) continue;
    const vorn_rect r{o.left, o.top, o.right, o.bottom};
    vorn_histogram_caculate(&plane, o.hist, &r, mask);
  }
  return VORN_OK;
}

}  // extern "C"
