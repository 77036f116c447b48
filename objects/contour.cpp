// Border following on binary masks (topological raster-scan border following).
//
// The working image holds the mask's low bits and, as tracing goes on, marks: 0 background, 1 foreground not yet
// visited, 2 border pixel visited, 130 border pixel at which the tracing left towards the right (read as a
// negative signed byte by the scan, so a hole never starts left of it). The outermost ring stays 0, so no
// neighbour lookup ever leaves the image.
//
// Borders are kept back to back in one store of width x height 8-byte units: a header unit {1 + points, 0}
// followed by the points. The store is bounded: a border that would not fit is cut short (closed on its first
// point) and the scan ends with it.
#include <string.h>

#include "core/memory.h"
#include "vorn_contour.h"

struct vorn_contour {
  int32_t width;
  int32_t height;
  uint8_t *image;
  vorn_point *points;
  vorn_point *current;  // header of the last border
  int32_t scan_x;
  int32_t scan_y;
  uint32_t capacity;  // units in points
  uint8_t *row_any;   // per row: whether the loaded mask had any foreground there (lets the scan skip rows)
  intptr_t offset[16];  // the eight moves twice, so a turn can run one past direction 7 without wrapping
};

namespace {

// Moves 0..7: east, then counter-clockwise (y grows downwards).
constexpr int kDx[8] = {1, 1, 0, -1, -1, -1, 0, 1};
constexpr int kDy[8] = {0, -1, -1, -1, 0, 1, 1, 1};
constexpr uint8_t kVisited = 2;
constexpr uint8_t kRightExit = 130;

inline uint64_t load64(const uint8_t *p) {
  uint64_t v;
  memcpy(&v, p, 8);
  return v;
}

inline bool has_zero_byte(uint64_t v) {
  return ((v - 0x0101010101010101ull) & ~v & 0x8080808080808080ull) != 0;
}

// Traces the border that starts at (x, y) and files it after the current one. False when the store has no room
// left for even a one-point border.
bool trace(vorn_contour *c, int32_t x, int32_t y, bool hole, bool *cut) {
  vorn_point *hdr = c->current + c->current->x;
  vorn_point *limit = c->points + c->capacity;
  if (limit - hdr < 3) return false;
  vorn_point *out = hdr + 1;
  vorn_point *last = limit - 1;  // kept for the closing point
  const intptr_t *off = c->offset;
  uint8_t *i0 = c->image + (intptr_t)y * c->width + x;
  const int s_end = hole ? 0 : 4;
  int s = s_end;
  uint8_t *i1 = nullptr;
  bool found = false;
  do {  // clockwise, for the first neighbour
    s = (s - 1) & 7;
    i1 = i0 + off[s];
    if (*i1 != 0) {
      found = true;
      break;
    }
  } while (s != s_end);

  if (!found) {  // an isolated pixel
    *i0 = kRightExit;
    *out++ = vorn_point{x, y};
  } else {
    uint8_t *i3 = i0;
    int prev_s = s ^ 4;
    for (;;) {
      const int s_begin = s;
      uint8_t *i4;
      do {  // counter-clockwise, for the next border pixel
        ++s;
        i4 = i3 + off[s];
      } while (*i4 == 0);
      s &= 7;
      if ((unsigned)(s - 1) < (unsigned)s_begin) {
        *i3 = kRightExit;  // the turn passed over the right neighbour
      } else if (*i3 == 1) {
        *i3 = kVisited;
      }
      if (s != prev_s) {  // only the corners of the chain are kept
        if (out >= last) {
          *cut = true;
          break;
        }
        *out++ = vorn_point{x, y};
        prev_s = s;
      }
      x += kDx[s];
      y += kDy[s];
      if (i4 == i0 && i3 == i1) break;
      i3 = i4;
      s ^= 4;
    }
  }
  *out = hdr[1];  // closing copy of the first point
  ++out;
  hdr->x = (int32_t)(out - hdr);
  hdr->y = 0;
  c->current = hdr;
  return true;
}

}  // namespace

extern "C" {

VORN_API vorn_result vorn_contour_create(const vorn_size *size, vorn_contour **out) {
  if (out) *out = nullptr;
  if (!size || !out) return VORN_E_NULL;
  if (size->width < 0 || size->height < 0) return VORN_E_PARAM;
  uint32_t n;
  if (!vorn::area_u32((uint32_t)size->width, (uint32_t)size->height, &n)) return VORN_E_NOMEM;
  vorn_contour *c = vorn::block_new<vorn_contour>();
  if (!c) return VORN_E_NOMEM;
  c->width = size->width;
  c->height = size->height;
  c->capacity = n;
  c->points = vorn::block_new<vorn_point>(n ? n : 1);
  c->image = vorn::block_new<uint8_t>(n ? n : 1);
  c->row_any = vorn::block_new<uint8_t>((size_t)c->height + 1);
  if (!c->points || !c->image || !c->row_any) {
    vorn_contour_destroy(c);
    return VORN_E_NOMEM;
  }
  for (int s = 0; s < 16; ++s) c->offset[s] = kDx[s & 7] + (intptr_t)kDy[s & 7] * c->width;
  c->current = c->points;
  c->scan_x = 1;
  c->scan_y = c->height;  // nothing to scan before the first start
  *out = c;
  return VORN_OK;
}

VORN_API vorn_result vorn_contour_destroy(vorn_contour *contour) {
  if (!contour) return VORN_E_NULL;
  vorn::block_release(contour->image);
  vorn::block_release(contour->points);
  vorn::block_release(contour->row_any);
  vorn_free(contour);
  return VORN_OK;
}

VORN_API vorn_result vorn_contour_start(vorn_contour *contour, const vorn_mono_image *mask) {
  if (!contour || !mask) return VORN_E_NULL;
  if ((int64_t)mask->width != contour->width || (int64_t)mask->height != contour->height) return VORN_E_PARAM;
  const int32_t w = contour->width, h = contour->height;
  if (h - 1 >= 2 && w >= 3) {
    if (!mask->data) return VORN_E_NULL;
    const uint64_t low_bits = 0x0101010101010101ull;
    for (int32_t y = 1; y < h - 1; ++y) {
      const uint8_t *src = mask->data + (intptr_t)y * w;
      uint8_t *dst = contour->image + (intptr_t)y * w;
      int32_t x = 1;
      uint64_t any = 0;
      for (; x + 8 <= w - 1; x += 8) {
        uint64_t v = load64(src + x) & low_bits;
        any |= v;
        memcpy(dst + x, &v, 8);
      }
      for (; x < w - 1; ++x) any |= dst[x] = src[x] & 1;
      contour->row_any[y] = any != 0;
    }
  }
  contour->scan_x = 1;
  contour->scan_y = 1;
  contour->current = contour->points;
  contour->points[0] = vorn_point{0, 0};
  return VORN_OK;
}

VORN_API vorn_result vorn_contour_next(vorn_contour *contour, vorn_contour_info *info) {
  if (info) *info = vorn_contour_info{nullptr, 0, 0};
  if (!contour || !info) return VORN_E_NULL;
  vorn_contour *c = contour;
  const int32_t w = c->width, h = c->height;
  if (c->scan_y >= h) return VORN_E_NO_RESULT;
  if (w < 3 || h < 3) {  // no interior: nothing was loaded
    c->scan_y = h;
    return VORN_E_NO_RESULT;
  }
  int32_t y = c->scan_y, x = c->scan_x;
  int prev = (int8_t)c->image[(intptr_t)y * w + x - 1];
  // The last row belongs to the untouched ring, so no border starts there.
  for (; y < h - 1; ++y, x = 1, prev = 0) {
    if (!c->row_any[y]) continue;  // marks only ever replace foreground, so an empty row stays empty
    const uint8_t *row = c->image + (intptr_t)y * w;
    while (x < w) {
      bool hole;
      int32_t start_x;
      if (prev == 0) {  // in background: look for the next non-zero pixel
        while (x + 8 <= w && load64(row + x) == 0) x += 8;
        while (x < w && row[x] == 0) ++x;
        if (x >= w) break;
        int p = (int8_t)row[x];
        if (p != 1) {  // an already visited border: walk on through the region
          prev = p;
          ++x;
          continue;
        }
        hole = false;
        start_x = x;
      } else {  // in a region: look for the next background pixel
        while (x + 8 <= w && !has_zero_byte(load64(row + x))) x += 8;
        while (x < w && row[x] != 0) ++x;
        if (x >= w) break;
        prev = (int8_t)row[x - 1];
        if (prev < 1) {  // a right-hand exit mark: this hole's border is known
          prev = 0;
          ++x;
          continue;
        }
        hole = true;
        start_x = x - 1;
      }
      bool cut = false;
      if (!trace(c, start_x, y, hole, &cut)) break;
      info->points = c->current + 1;
      info->count = (uint32_t)c->current->x - 1;
      info->is_hole = hole ? 1u : 0u;
      c->scan_x = x + 1;
      c->scan_y = cut ? h : y;
      return VORN_OK;
    }
    if (x < w) break;  // the store is full
  }
  c->scan_y = h;
  return VORN_E_NO_RESULT;
}

}  // extern "C"
