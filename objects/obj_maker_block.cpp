// Block mode: the mask is reduced to a grid of 4 x 4 cells and 4-connected groups of occupied cells are gathered
// by a breadth-first fill whose queue is the object's own point list.
#include <string.h>

#include "objects/obj_maker_impl.h"

namespace {

constexpr uint32_t kCell = 4;

inline uint64_t load64(const uint8_t *p) {
  uint64_t v;
  memcpy(&v, p, 8);
  return v;
}

// Occupied cells: more than 12 of the 16 pixels non-zero.
void occupancy(const vorn_mono_image *mask, uint32_t cw, uint32_t ch, uint8_t *cells) {
  const vorn::cell_row_fn vec = vorn::cell_row_kernels().occupancy;
  const uint32_t w = mask->width;
  for (uint32_t cy = 0; cy < ch; ++cy) {
    const uint8_t *rows[kCell];
    for (uint32_t r = 0; r < kCell; ++r) rows[r] = mask->data + (size_t)(cy * kCell + r) * w;
    uint8_t *out = cells + (size_t)cy * cw;
    const uint32_t done = vec ? vec(rows, out, cw) : 0;
    if (done < cw) {
      const uint8_t *rest[kCell];
      for (uint32_t r = 0; r < kCell; ++r) rest[r] = rows[r] + kCell * done;
      vorn::cell_row_c(rest, out + done, cw - done);
    }
  }
}

// Gathers the cells reachable from the seed into pts (the seed first, whatever its value); returns the count.
// Neighbours are taken left, down, right, up, and only inside the outermost ring of cells.
uint32_t fill(uint8_t *cells, int32_t cw, int32_t ch, int32_t sx, int32_t sy, vorn_point *pts, uint32_t room) {
  pts[0] = vorn_point{sx, sy};
  cells[(size_t)sy * cw + sx] = 0;
  uint32_t tail = 1;
  for (uint32_t head = 0; head < tail; ++head) {
    const int32_t x = pts[head].x, y = pts[head].y;
    const int32_t nx[4] = {x - 1, x, x + 1, x};
    const int32_t ny[4] = {y, y + 1, y, y - 1};
    for (int k = 0; k < 4; ++k) {
      if (nx[k] <= 0 || nx[k] >= cw - 1 || ny[k] <= 0 || ny[k] >= ch - 1) continue;
      uint8_t &c = cells[(size_t)ny[k] * cw + nx[k]];
      if (!c) continue;
      c = 0;
      if (tail < room) pts[tail++] = vorn_point{nx[k], ny[k]};
    }
  }
  return tail;
}

}  // namespace

namespace vorn {

vorn_result obj_maker_extract_blocks(vorn_obj_maker *m, const vorn_mono_image *mask) {
  if (!m->cell_image || !m->point_buffer) return VORN_E_PARAM;  // a maker without a grid
  const int32_t cw = (int32_t)m->cell_image->width, ch = (int32_t)m->cell_image->height;
  if (cw == 0 || ch == 0) return VORN_E_PARAM;
  if (!mask->data) return VORN_E_NULL;
  uint8_t *cells = m->cell_image->data;
  occupancy(mask, (uint32_t)cw, (uint32_t)ch, cells);
  m->obj_count = 0;
  m->points_used = 0;
  if (ch <= 4 || m->max_objs == 0) return VORN_OK;
  const uint32_t capacity = (uint32_t)cw * (uint32_t)ch;
  for (int32_t y = 2; y <= ch - 3; ++y) {
    const uint8_t *above = cells + (size_t)(y - 1) * cw, *row = cells + (size_t)y * cw;
    const uint8_t *below = cells + (size_t)(y + 1) * cw;
    for (int32_t x = 2; x <= cw - 3; ++x) {
      vorn_point *pts = m->point_buffer + m->points_used;
      // Eight seeds at once whose cells and neighbours are all empty: each would gather only itself, and only
      // the last one's point stays in the buffer.
      if (x + 7 <= cw - 3 && load64(above + x) == 0 && load64(below + x) == 0 && load64(row + x) == 0 &&
          row[x - 1] == 0 && row[x + 8] == 0) {
        pts[0] = vorn_point{x + 7, y};
        m->fill_count = 1;
        x += 7;
        continue;
      }
      const uint32_t n = fill(cells, cw, ch, x, y, pts, capacity - m->points_used);
      m->fill_count = n;
      if (n < 2) continue;  // a lone seed: overwritten by the next fill
      int32_t *box = m->cell_box;
      box[0] = box[2] = pts[0].x;
      box[1] = box[3] = pts[0].y;
      for (uint32_t i = 1; i < n; ++i) {
        if (pts[i].x < box[0]) box[0] = pts[i].x;
        if (pts[i].x > box[2]) box[2] = pts[i].x;
        if (pts[i].y < box[1]) box[1] = pts[i].y;
        if (pts[i].y > box[3]) box[3] = pts[i].y;
      }
      vorn_obj &o = m->objs[m->obj_count];
      o.left = (int32_t)kCell * box[0];
      o.top = (int32_t)kCell * box[1];
      o.right = (box[2] + 1) * (int32_t)kCell - 1;
      o.bottom = (box[3] + 1) * (int32_t)kCell - 1;
      o.width = o.right - o.left;
      o.height = o.bottom - o.top;
      o.cx = o.left + o.width / 2;
      o.cy = o.top + o.height / 2;
      o.points = pts;
      o.point_count = n;
      m->points_used += n;
      if (++m->obj_count >= m->max_objs) return VORN_OK;
    }
  }
  return VORN_OK;
}

}  // namespace vorn

extern "C" {

VORN_API vorn_result vorn_obj_maker_clear_obj(vorn_obj_maker *maker, uint32_t index, vorn_mono_image *image) {
  if (!maker || !image || !image->data) return VORN_E_NULL;
  if (!maker->cell_image || index >= maker->max_objs) return VORN_E_PARAM;
  const uint32_t bw = maker->block_width, bh = maker->block_height;
  if (image->width / bw != maker->cell_image->width || image->height / bh != maker->cell_image->height) {
    return VORN_E_PARAM;
  }
  const vorn_obj &o = maker->objs[index];
  if (o.point_count && !image->data) return VORN_E_NULL;
  for (uint32_t i = 0; i < o.point_count; ++i) {
    const vorn_point p = o.points[i];
    // Points come from this maker's grid; anything else is not a cell of this image.
    if (p.x < 0 || p.y < 0 || (uint32_t)p.x >= maker->cell_image->width ||
        (uint32_t)p.y >= maker->cell_image->height) {
      continue;
    }
    for (uint32_t r = 0; r < bh; ++r) {
      memset(image->data + ((size_t)p.y * bh + r) * image->width + (size_t)p.x * bw, 0, bw);
    }
  }
  return VORN_OK;
}

}  // extern "C"
