// Contour mode: each outer border large enough, and not starting inside an earlier object, becomes an object.
#include "objects/obj_maker_impl.h"
#include "vorn_geometry.h"

namespace vorn {

vorn_result obj_maker_extract_contours(vorn_obj_maker *m, const vorn_mono_image *mask) {
  const uint32_t min_w = m->width / 100, min_h = m->height / 100;
  m->obj_count = 0;
  if (!m->contour || vorn_contour_start(m->contour, mask) != VORN_OK) return VORN_OK;
  const int32_t width = (int32_t)m->width, height = (int32_t)m->height;
  vorn_contour_info info;
  while (m->obj_count < m->max_objs && vorn_contour_next(m->contour, &info) == VORN_OK && info.count != 0) {
    if (info.is_hole) continue;
    // The border is written into the next free record before it is judged.
    vorn_obj &o = m->objs[m->obj_count];
    o.points = info.points;
    o.point_count = info.count;
    int32_t left = info.points[0].x, right = left, top = info.points[0].y, bottom = top;
    for (uint32_t i = 1; i < info.count; ++i) {
      const vorn_point p = info.points[i];
      if (p.x < left) left = p.x;
      if (p.x > right) right = p.x;
      if (p.y < top) top = p.y;
      if (p.y > bottom) bottom = p.y;
    }
    const int64_t w = right - left, h = bottom - top;
    if (w * h < (int64_t)min_w * min_h || w < (int64_t)min_w || h < (int64_t)min_h) continue;
    o.left = left - 2 > 1 ? left - 2 : 1;
    o.top = top - 2 > 1 ? top - 2 : 1;
    o.bottom = bottom + 2 < height - 1 ? bottom + 2 : height - 1;
    o.right = right + 2 < width - 1 ? right + 2 : width - 1;
    bool nested = false;
    const vorn_point first = info.points[0];
    for (uint32_t j = 0; j < m->obj_count && !nested; ++j) {
      const vorn_obj &e = m->objs[j];
      // The grown box holds every point of the earlier border: a point left, right or below it is outside.
      if (first.x < e.left || first.x > e.right || first.y > e.bottom) continue;
      nested = vorn_pt_in_region(first, e.points, (int32_t)e.point_count) != 0;
    }
    if (nested) continue;
    o.width = o.right - o.left;
    o.height = o.bottom - o.top;
    o.cx = o.left + o.width / 2;
    o.cy = o.top + o.height / 2;
    ++m->obj_count;
  }
  return VORN_OK;
}

}  // namespace vorn
