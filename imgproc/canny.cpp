// Edge detector with L1 gradient magnitude, non-maximum suppression along four directions and hysteresis
// between a low and a high threshold. Every buffer is made at create; processing allocates nothing.
#include <string.h>

#include "core/memory.h"
#include "imgproc/edge_rows.h"
#include "vorn_imgproc.h"

namespace vorn {
namespace {

// Edge map values.
constexpr uint8_t kWeak = 0;  // a maximum that becomes an edge only when connected to one
constexpr uint8_t kNone = 1;
constexpr uint8_t kEdge = 2;

struct Canny {
  uint32_t width, height;
  int16_t *dx;       // horizontal Sobel derivative, right minus left
  int16_t *dy;       // vertical Sobel derivative, bottom minus top
  int16_t *row_buf;  // 3 x width: scratch rows (the per-row maximum codes)
  int16_t *mag;      // |dx| + |dy|
  uint8_t *map;      // kWeak / kNone / kEdge
  uint32_t *stack;   // hysteresis stack of map positions, one slot per pixel
  uint32_t low, high;
};

void canny_free(Canny *c) {
  if (!c) return;
  block_release(c->dx);
  block_release(c->dy);
  block_release(c->row_buf);
  block_release(c->mag);
  block_release(c->map);
  block_release(c->stack);
  vorn_free(c);
}

// Inclusive-exclusive box.
struct Box {
  int64_t x0, x1, y0, y1;
  bool empty() const { return x0 >= x1 || y0 >= y1; }
};

Box intersect(const Box &a, const Box &b) {
  return {a.x0 > b.x0 ? a.x0 : b.x0, a.x1 < b.x1 ? a.x1 : b.x1, a.y0 > b.y0 ? a.y0 : b.y0,
          a.y1 < b.y1 ? a.y1 : b.y1};
}

// Derivatives and magnitudes over box d (inside the image's interior).
void gradients(const Canny &c, const uint8_t *src, const Box &d, const EdgeRowKernels &k) {
  const size_t w = c.width;
  for (int64_t y = d.y0; y < d.y1; ++y) {
    size_t at = (size_t)y * w + (size_t)d.x0;
    const uint8_t *r1 = src + at - 1;
    k.sobel_mag(r1 - w, r1, r1 + w, c.dx + at, c.dy + at, c.mag + at, (uint32_t)(d.x1 - d.x0));
  }
}

// Non-maximum suppression over box n: each row's maxima are classified in bulk, then walked in order because a
// strong maximum is marked directly only when the pixel before it in the row was not (flag p) and the pixel above
// is not an edge already; the others stay weak for hysteresis. Pushes the directly marked pixels; returns the
// stack depth. Rows above `area_top` count as holding no edge.
uint32_t suppress(Canny &c, const Box &n, int64_t area_top, const EdgeRowKernels &k) {
  const size_t w = c.width;
  const int16_t low = (int16_t)(c.low > 32767 ? 32767 : c.low);
  const int16_t high = (int16_t)(c.high > 32767 ? 32767 : c.high);
  uint8_t *code = reinterpret_cast<uint8_t *>(c.row_buf);
  const uint32_t count = (uint32_t)(n.x1 - n.x0);
  uint32_t top = 0;
  for (int64_t y = n.y0; y < n.y1; ++y) {
    const size_t at = (size_t)y * w + (size_t)n.x0;
    k.canny_codes(c.dx + at, c.dy + at, c.mag + at - w, c.mag + at, c.mag + at + w, code, count, low, high);
    uint8_t *map = c.map + at;
    const uint8_t *above = y - 1 >= area_top ? map - w : nullptr;
    bool p = false;
    uint32_t i = 0;
    while (i < count) {
      // Runs of non-maxima (already kNone in the map) clear p.
      if (code[i] == 0) {
        uint32_t j = i + 1;
        while (j + 8 <= count) {
          uint64_t word;
          memcpy(&word, code + j, 8);
          if (word != 0) break;
          j += 8;
        }
        while (j < count && code[j] == 0) ++j;
        p = false;
        i = j;
        continue;
      }
      if (code[i] == 2 && !p && (!above || above[i] != kEdge)) {
        map[i] = kEdge;
        c.stack[top++] = (uint32_t)(at + i);
        p = true;
      } else {
        map[i] = kWeak;
      }
      ++i;
    }
  }
  return top;
}

// Grows edges from the stacked pixels into 8-connected weak pixels inside box a (neighbours in the order left,
// right, below, above, below-right, above-right, below-left, above-left).
void hysteresis(Canny &c, uint32_t top, const Box &a) {
  const int64_t w = c.width;
  const int64_t dxs[8] = {-1, 1, 0, 0, 1, 1, -1, -1};
  const int64_t dys[8] = {0, 0, 1, -1, 1, -1, 1, -1};
  while (top > 0) {
    const uint32_t pos = c.stack[--top];
    const int64_t x = pos % (uint32_t)w, y = pos / (uint32_t)w;
    for (int k = 0; k < 8; ++k) {
      const int64_t nx = x + dxs[k], ny = y + dys[k];
      if (nx < a.x0 || nx >= a.x1 || ny < a.y0 || ny >= a.y1) continue;
      const size_t np = (size_t)(ny * w + nx);
      if (c.map[np] == kWeak) {
        c.map[np] = kEdge;
        c.stack[top++] = (uint32_t)np;
      }
    }
  }
}

// Runs the detector over area a (clipped to the image): gradients wherever the suppression reads them, map reset
// to kNone over a, suppression on a's interior pixels, hysteresis inside a.
void detect(Canny &c, const uint8_t *src, const Box &a, const EdgeRowKernels &k) {
  const int64_t w = c.width, h = c.height;
  const Box interior = {1, w - 1, 1, h - 1};
  const Box grad = intersect({a.x0 - 1, a.x1 + 1, a.y0 - 1, a.y1 + 1}, interior);
  if (!grad.empty()) gradients(c, src, grad, k);
  for (int64_t y = a.y0; y < a.y1; ++y) memset(c.map + (size_t)(y * w + a.x0), kNone, (size_t)(a.x1 - a.x0));
  const Box n = intersect(a, interior);
  if (n.empty()) return;
  uint32_t top = suppress(c, n, a.y0, k);
  hysteresis(c, top, a);
}

}  // namespace
}  // namespace vorn

using namespace vorn;

extern "C" {

VORN_API vorn_result vorn_canny_create(uint32_t width, uint32_t height, void **handle) {
  if (!handle) return VORN_E_NULL;
  *handle = nullptr;
  uint32_t area;
  if (!area_u32(width, height, &area)) return VORN_E_NOMEM;
  Canny *c = block_new<Canny>();
  if (!c) return VORN_E_NOMEM;
  c->width = width;
  c->height = height;
  c->low = 30;
  c->high = 90;
  c->dx = block_new<int16_t>(area);
  c->dy = c->dx ? block_new<int16_t>(area) : nullptr;
  c->row_buf = c->dy ? block_new<int16_t>((size_t)3 * width) : nullptr;
  c->mag = c->row_buf ? block_new<int16_t>(area) : nullptr;
  c->map = c->mag ? block_new<uint8_t>(area) : nullptr;
  c->stack = c->map ? block_new<uint32_t>(area) : nullptr;
  if (!c->stack) {
    canny_free(c);
    return VORN_E_NOMEM;
  }
  *handle = c;
  return VORN_OK;
}

VORN_API void vorn_canny_destroy(void *handle) { canny_free(static_cast<Canny *>(handle)); }

VORN_API vorn_result vorn_canny_set_threshold(void *handle, uint32_t low, uint32_t high) {
  if (!handle) return VORN_E_NULL;
  Canny *c = static_cast<Canny *>(handle);
  c->low = low;
  c->high = high;
  return VORN_OK;
}

VORN_API vorn_result vorn_canny_process(void *handle, vorn_mono_image *dst, const vorn_mono_image *src) {
  if (!handle) return VORN_E_NULL;
  if (!dst || !src) return VORN_E_NULL;
  Canny &c = *static_cast<Canny *>(handle);
  if (dst->width != c.width || dst->height != c.height || src->width != c.width || src->height != c.height)
    return VORN_E_PARAM;
  const size_t area = (size_t)c.width * c.height;
  if (area == 0) return VORN_OK;
  const EdgeRowKernels &k = edge_row_kernels();
  detect(c, src->data, {0, c.width, 0, c.height}, k);
  k.edge_map_to_mask(c.map, dst->data, (uint32_t)area);
  return VORN_OK;
}

VORN_API vorn_result vorn_canny_process_rect(void *handle, vorn_mono_image *dst, const vorn_mono_image *src,
                                             int32_t left, int32_t top, int32_t right, int32_t bottom) {
  if (!handle) return VORN_E_NULL;
  if (!dst || !src) return VORN_E_NULL;
  Canny &c = *static_cast<Canny *>(handle);
  if (dst->width != c.width || dst->height != c.height || src->width != c.width || src->height != c.height)
    return VORN_E_PARAM;
  const Box image = {0, c.width, 0, c.height};
  const Box area = intersect({(int64_t)left - 1, (int64_t)right + 1, (int64_t)top - 1, (int64_t)bottom + 1}, image);
  if (area.empty()) return VORN_OK;
  detect(c, src->data, area, edge_row_kernels());
  const Box out = intersect({left, right, top, bottom}, image);
  for (int64_t y = out.y0; y < out.y1; ++y) {
    const size_t at = (size_t)y * c.width;
    for (int64_t x = out.x0; x < out.x1; ++x)
      if (c.map[at + (size_t)x] == kEdge) dst->data[at + (size_t)x] = 255;
  }
  return VORN_OK;
}

}  // extern "C"

namespace {

// Column 0 of out receives |d(0, y)| / 4 for every row; the rest of out is left as it is.
vorn_result first_column(void *handle, vorn_mono_image *out, bool vertical) {
  if (!handle) return VORN_E_NULL;
  if (!out) return VORN_E_NULL;
  const Canny &c = *static_cast<const Canny *>(handle);
  if (out->width != c.width || out->height != c.height) return VORN_E_PARAM;
  if (c.width == 0) return VORN_OK;
  const int16_t *d = vertical ? c.dx : c.dy;
  for (uint32_t y = 0; y < c.height; ++y) {
    int32_t v = d[(size_t)y * c.width];
    out->data[(size_t)y * c.width] = (uint8_t)((v < 0 ? -v : v) >> 2);
  }
  return VORN_OK;
}

}  // namespace

extern "C" {

VORN_API vorn_result vorn_canny_get_vertical_edge(void *handle, vorn_mono_image *out) {
  return first_column(handle, out, true);
}

VORN_API vorn_result vorn_canny_get_horizontal_edge(void *handle, vorn_mono_image *out) {
  return first_column(handle, out, false);
}

}  // extern "C"
