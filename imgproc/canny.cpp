// Edge detector with L1 gradient magnitude, non-maximum suppression along four directions and hysteresis
// between a low and a high threshold. Every buffer is made at create; processing allocates nothing.
#include <string.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "core/memory.h"
#include "imgproc/edge_rows.h"
#include "imgproc/imgproc_check.h"
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

// Bit i of *n: code[i] != 0 (a maximum); of *s: code[i] == 2 and the pixel above is not an edge. len <= 64.
inline void block_masks(const uint8_t *code, const uint8_t *above, uint32_t len, uint64_t *n, uint64_t *s) {
  uint64_t nb = 0, sb = 0;
  uint32_t i = 0;
#if defined(__SSE2__)
  const __m128i zero = _mm_setzero_si128(), two = _mm_set1_epi8(2);
  for (; i + 16 <= len; i += 16) {
    const __m128i c = _mm_loadu_si128(reinterpret_cast<const __m128i *>(code + i));
    __m128i strong = _mm_cmpeq_epi8(c, two);
    if (above) {
      const __m128i a = _mm_loadu_si128(reinterpret_cast<const __m128i *>(above + i));
      strong = _mm_andnot_si128(_mm_cmpeq_epi8(a, two), strong);
    }
    nb |= (uint64_t)(uint16_t)~_mm_movemask_epi8(_mm_cmpeq_epi8(c, zero)) << i;
    sb |= (uint64_t)(uint16_t)_mm_movemask_epi8(strong) << i;
  }
#endif
  for (; i < len; ++i) {
    nb |= (uint64_t)(code[i] != 0) << i;
    sb |= (uint64_t)(code[i] == 2 && (!above || above[i] != 2)) << i;
  }
  *n = nb;
  *s = sb;
}

// Spreads every set bit of x forward (to higher bits) through the run of set bits of `runs` it lies in
// (x must lie inside runs): a segmented prefix OR in six doubling steps.
inline uint64_t smear_runs(uint64_t x, uint64_t runs) {
  uint64_t m = runs;
  for (int k = 1; k < 64; k *= 2) {
    x |= (x << k) & m;
    m &= m << k;
  }
  return x;
}

// Non-maximum suppression over box n: each row's maxima are classified in bulk and the row's map filled from
// that (weak for maxima, none for the rest). A strong maximum is marked directly only when no pixel since the
// last non-maximum of the row was (flag p) and the pixel above is not an edge already; the others stay weak for
// hysteresis. So the direct marks are the first eligible strong maximum of each run of maxima. Pushes the marked
// pixels and returns the stack depth. Rows above `area_top` count as holding no edge.
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
    k.canny_map(code, map, count);
    const uint8_t *above = y - 1 >= area_top ? map - w : nullptr;
    // 64 pixels at a time: bit masks of maxima (n) and of eligible strong maxima (s); the marks are the first s
    // of every run of n, a run possibly continuing from the previous block (carry).
    uint64_t carry = 0;
    for (uint32_t base = 0; base < count; base += 64) {
      const uint32_t len = count - base < 64 ? count - base : 64;
      uint64_t n_bits, s_bits;
      block_masks(code + base, above ? above + base : nullptr, len, &n_bits, &s_bits);
      const uint64_t armed = smear_runs(s_bits | (carry & n_bits & 1u), n_bits);
      uint64_t marks = s_bits & ~((armed << 1) | carry);
      carry = len == 64 ? armed >> 63 : 0;
      while (marks) {
        const uint32_t i = base + (uint32_t)__builtin_ctzll(marks);
        map[i] = kEdge;
        c.stack[top++] = (uint32_t)(at + i);
        marks &= marks - 1;
      }
    }
  }
  return top;
}

// Grows edges from the stacked pixels into 8-connected weak pixels (neighbours in the order left, right, below,
// above, below-right, above-right, below-left, above-left). Unbounded: the whole image is the area, and weak
// pixels are never on its border, so no neighbour of a stacked pixel lies outside. Bounded: neighbours outside
// box a are not followed.
template <bool kBounded>
void hysteresis(Canny &c, uint32_t top, const Box &a) {
  const int64_t w = c.width;
  const int64_t off[8] = {-1, 1, w, -w, w + 1, -w + 1, w - 1, -w - 1};
  const int64_t dxs[8] = {-1, 1, 0, 0, 1, 1, -1, -1};
  const int64_t dys[8] = {0, 0, 1, -1, 1, -1, 1, -1};
  uint8_t *map = c.map;
  uint32_t *stack = c.stack;
  while (top > 0) {
    const uint32_t pos = stack[--top];
    int64_t x = 0, y = 0;
    if (kBounded) {
      x = pos % (uint32_t)w;
      y = pos / (uint32_t)w;
    }
    for (int k = 0; k < 8; ++k) {
      if (kBounded) {
        const int64_t nx = x + dxs[k], ny = y + dys[k];
        if (nx < a.x0 || nx >= a.x1 || ny < a.y0 || ny >= a.y1) continue;
      }
      const size_t np = (size_t)((int64_t)pos + off[k]);
      if (map[np] == kWeak) {
        map[np] = kEdge;
        stack[top++] = (uint32_t)np;
      }
    }
  }
}

// Runs the detector over area a (clipped to the image): gradients wherever the suppression reads them, the map
// of a rebuilt (none outside the suppression box n), suppression on a's interior pixels, hysteresis inside a.
void detect(Canny &c, const uint8_t *src, const Box &a, const EdgeRowKernels &k) {
  const int64_t w = c.width, h = c.height;
  const Box interior = {1, w - 1, 1, h - 1};
  const Box grad = intersect({a.x0 - 1, a.x1 + 1, a.y0 - 1, a.y1 + 1}, interior);
  if (!grad.empty()) gradients(c, src, grad, k);
  const Box n = intersect(a, interior);
  for (int64_t y = a.y0; y < a.y1; ++y) {
    uint8_t *row = c.map + (size_t)(y * w);
    if (n.empty() || y < n.y0 || y >= n.y1) {
      memset(row + a.x0, kNone, (size_t)(a.x1 - a.x0));
    } else {
      memset(row + a.x0, kNone, (size_t)(n.x0 - a.x0));
      memset(row + n.x1, kNone, (size_t)(a.x1 - n.x1));
    }
  }
  if (n.empty()) return;
  uint32_t top = suppress(c, n, a.y0, k);
  const bool whole = a.x0 == 0 && a.y0 == 0 && a.x1 == w && a.y1 == h;
  if (whole)
    hysteresis<false>(c, top, a);
  else
    hysteresis<true>(c, top, a);
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
  if (!present(dst) || !present(src)) return VORN_E_NULL;
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
  if (!present(dst) || !present(src)) return VORN_E_NULL;
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
  if (!present(out)) return VORN_E_NULL;
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
