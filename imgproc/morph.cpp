// Binary erosion and dilation inside a region mask, and the frame shared with the window filter.
//
// Fast path: a vertical pass keeps, per column, the length of the run of non-zero rows (erosion) or the number
// of rows since the last non-zero one (dilation), which answers "all / any of the last 2n+1 rows" with one
// comparison; a horizontal pass then ANDs / ORs 2n+1 neighbours by doubling (windows of 2, 4, 8, ... columns,
// finished by two overlapping power-of-two windows), so a row costs O(w log n).
#include "imgproc/imgproc_check.h"
#include "imgproc/morph.h"

#include <string.h>

#include "core/memory.h"
#include "imgproc/morph_rows.h"
#include "vorn_imgproc.h"

namespace vorn {

uint64_t morph_window_need(uint64_t n) { return ((150 * n + 75) * (2 * n + 1)) / 100; }

vorn_result morph_prepare(const vorn_mono_image *src, vorn_mono_image *dst, uint32_t n, const vorn_mono_image *mask,
                          bool *interior) {
  *interior = false;
  if (!present(src) || !present(dst) || !present(mask)) return VORN_E_NULL;
  if (src->width != dst->width || src->height != dst->height) return VORN_E_PARAM;
  // The region is read at every pixel; one of another size would be read past its end.
  if (mask->width != src->width || mask->height != src->height) return VORN_E_PARAM;
  const uint64_t w = dst->width, h = dst->height, band = n;
  if (w == 0 || h == 0) return VORN_OK;
  uint8_t *d = dst->data;
  // Top and bottom bands (all rows when the image is no taller than 2n).
  uint64_t top = band < h ? band : h;
  memset(d, 0, (size_t)(top * w));
  if (band < h) memset(d + (size_t)((h - top) * w), 0, (size_t)(top * w));
  if (2 * band >= h) return VORN_OK;
  // Left and right bands of the remaining rows (whole rows when the image is no wider than 2n).
  uint64_t side = band < w ? band : w;
  for (uint64_t y = band; y < h - band; ++y) {
    uint8_t *row = d + (size_t)(y * w);
    memset(row, 0, (size_t)side);
    memset(row + (w - side), 0, (size_t)side);
  }
  *interior = 2 * band < w;
  return VORN_OK;
}

void morph_plain_interior(MorphOp op, const vorn_mono_image &src, vorn_mono_image &dst, uint32_t n,
                          const vorn_mono_image &mask) {
  const uint32_t w = src.width, h = src.height;
  const uint64_t need = op == MorphOp::kWindow ? morph_window_need(n) : 0;
  for (uint32_t y = n; y < h - n; ++y) {
    for (uint32_t x = n; x < w - n; ++x) {
      size_t at = (size_t)y * w + x;
      if (mask.data[at] == 0) {
        dst.data[at] = 0;
        continue;
      }
      bool on = false;
      if (op == MorphOp::kErode) {
        on = true;
        for (uint32_t yy = y - n; on && yy <= y + n; ++yy)
          for (uint32_t xx = x - n; xx <= x + n; ++xx)
            if (src.data[(size_t)yy * w + xx] == 0) {
              on = false;
              break;
            }
      } else if (op == MorphOp::kDilate) {
        for (uint32_t yy = y - n; !on && yy <= y + n; ++yy)
          for (uint32_t xx = x - n; xx <= x + n; ++xx)
            if (src.data[(size_t)yy * w + xx] != 0) {
              on = true;
              break;
            }
      } else {
        uint64_t count = 0;
        for (uint32_t yy = y - n; yy <= y + n; ++yy)
          for (uint32_t xx = x - n; xx <= x + n; ++xx) count += src.data[(size_t)yy * w + xx] != 0;
        on = count >= need;
      }
      dst.data[at] = on ? 255 : 0;
    }
  }
}

vorn_result morph_plain(MorphOp op, const vorn_mono_image *src, vorn_mono_image *dst, uint32_t n,
                        const vorn_mono_image *mask) {
  bool interior = false;
  vorn_result r = morph_prepare(src, dst, n, mask, &interior);
  if (r == VORN_OK && interior) morph_plain_interior(op, *src, *dst, n, *mask);
  return r;
}

namespace {

// Row buffers of the fast paths: on the stack for ordinary widths, one block for wider images.
constexpr uint32_t kStackWidth = 2048;

// One output row of erosion / dilation from the vertical flags v (w bytes): ping-pongs between v and tmp while
// doubling the window, then writes dst[n .. w-n) through the region mask.
void combine_row(const MorphRowKernels &k, bool erode, uint8_t *v, uint8_t *tmp, uint32_t w, uint32_t n,
                 const uint8_t *mask_row, uint8_t *dst_row) {
  const uint32_t len = 2 * n + 1;
  uint8_t *a = v, *b = tmp;
  uint32_t span = 1;  // a holds the flags of windows of `span` columns, valid at indices 0 .. w - span
  while (2 * span <= len) {
    uint32_t count = w - 2 * span + 1;
    (erode ? k.and_shift : k.or_shift)(a, b, count, span);
    uint8_t *t = a;
    a = b;
    b = t;
    span *= 2;
  }
  // Two windows of `span` columns, at i and at i + len - span, cover exactly len columns.
  (erode ? k.and_shift_masked : k.or_shift_masked)(a, len - span, mask_row + n, dst_row + n, w - 2 * n);
}

template <class T>
void erode_dilate_rows(const MorphRowKernels &k, bool erode, const vorn_mono_image &src, vorn_mono_image &dst,
                       uint32_t n, const vorn_mono_image &mask, T *run, uint8_t *v, uint8_t *tmp) {
  const uint32_t w = src.width, h = src.height, len = 2 * n + 1;
  // Erosion's runs start empty; dilation's gaps start "longer than any window".
  for (uint32_t i = 0; i < w; ++i) run[i] = erode ? 0 : (T)~(T)0;
  auto feed = [&](uint32_t y) {
    const uint8_t *row = src.data + (size_t)y * w;
    if (sizeof(T) == 1) {
      if (erode)
        k.erode_run8(row, (uint8_t *)run, v, w, (uint8_t)len);
      else
        k.dilate_run8(row, (uint8_t *)run, v, w, (uint8_t)len);
    } else {
      if (erode)
        k.erode_run16(row, (uint16_t *)run, v, w, (uint16_t)len);
      else
        k.dilate_run16(row, (uint16_t *)run, v, w, (uint16_t)len);
    }
  };
  for (uint32_t y = 0; y < 2 * n; ++y) feed(y);
  for (uint32_t y = n; y < h - n; ++y) {
    feed(y + n);
    combine_row(k, erode, v, tmp, w, n, mask.data + (size_t)y * w, dst.data + (size_t)y * w);
  }
}

}  // namespace

void morph_fast_interior(MorphOp op, const vorn_mono_image &src, vorn_mono_image &dst, uint32_t n,
                         const vorn_mono_image &mask) {
  if (op == MorphOp::kWindow) {
    morph_window_interior(src, dst, n, mask);
    return;
  }
  const MorphRowKernels &k = morph_row_kernels();
  const bool erode = op == MorphOp::kErode;
  const uint32_t w = src.width;
  const bool wide_counts = 2 * (uint64_t)n + 1 > 255;
  uint16_t run_stack[kStackWidth];
  uint8_t v_stack[kStackWidth], tmp_stack[kStackWidth];
  uint8_t *block = nullptr;
  uint16_t *run = run_stack;
  uint8_t *v = v_stack, *tmp = tmp_stack;
  if (w > kStackWidth) {
    block = block_new<uint8_t>((size_t)w * 4);
    if (!block) {
      morph_plain_interior(op, src, dst, n, mask);
      return;
    }
    run = reinterpret_cast<uint16_t *>(block);
    v = block + (size_t)w * 2;
    tmp = v + w;
  }
  if (wide_counts)
    erode_dilate_rows<uint16_t>(k, erode, src, dst, n, mask, run, v, tmp);
  else
    erode_dilate_rows<uint8_t>(k, erode, src, dst, n, mask, reinterpret_cast<uint8_t *>(run), v, tmp);
  block_release(block);
}

}  // namespace vorn

using namespace vorn;

extern "C" {

VORN_API vorn_result vorn_morpha_erosion(const vorn_mono_image *src, vorn_mono_image *dst, uint32_t n,
                                         const vorn_mono_image *mask) {
  bool interior = false;
  vorn_result r = morph_prepare(src, dst, n, mask, &interior);
  if (r == VORN_OK && interior) morph_fast_interior(MorphOp::kErode, *src, *dst, n, *mask);
  return r;
}

VORN_API vorn_result vorn_morpha_dilation(const vorn_mono_image *src, vorn_mono_image *dst, uint32_t n,
                                          const vorn_mono_image *mask) {
  bool interior = false;
  vorn_result r = morph_prepare(src, dst, n, mask, &interior);
  if (r == VORN_OK && interior) morph_fast_interior(MorphOp::kDilate, *src, *dst, n, *mask);
  return r;
}

}  // extern "C"
