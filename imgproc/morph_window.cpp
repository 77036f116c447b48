// The window filter: a pixel of the region becomes 255 when at least three quarters of its (2n+1)^2 window is
// non-zero.
//
// Fast path: per-column counts of non-zero bytes over the last 2n+1 rows, kept up to date by adding the entering
// row and removing the leaving one; a row's window sums are then 2n+1 shifted 8-bit additions while they fit a
// byte (n <= 7), and a running sum along the row beyond that. The cost per pixel does not depend on n except
// for the short sums of the small windows.
#include <string.h>

#include "core/memory.h"
#include "imgproc/morph.h"
#include "imgproc/morph_rows.h"
#include "vorn_imgproc.h"

namespace vorn {
namespace {

constexpr uint32_t kStackWidth = 2048;
// Largest n whose window sums fit a byte: (2n+1)^2 <= 255.
constexpr uint32_t kByteSumMax = 7;

template <class T>
void window_row_running(const T *c, uint32_t w, uint32_t n, uint64_t need, const uint8_t *mask_row,
                        uint8_t *dst_row) {
  const uint32_t len = 2 * n + 1;
  uint64_t sum = 0;
  for (uint32_t i = 0; i < len; ++i) sum += c[i];
  for (uint32_t x = n; x < w - n; ++x) {
    dst_row[x] = (mask_row[x] != 0 && sum >= need) ? 255 : 0;
    if (x + n + 1 < w) sum += (uint64_t)c[x + n + 1] - c[x - n];
  }
}

template <class T>
void window_rows(const MorphRowKernels &k, const vorn_mono_image &src, vorn_mono_image &dst, uint32_t n,
                 const vorn_mono_image &mask, T *c, uint8_t *acc) {
  const uint32_t w = src.width, h = src.height, len = 2 * n + 1, inner = w - 2 * n;
  const uint64_t need = morph_window_need(n);
  const uint8_t *s = src.data;
  memset(c, 0, (size_t)w * sizeof(T));
  auto add = [&](uint32_t y) {
    if (sizeof(T) == 1)
      k.count_add8(s + (size_t)y * w, (uint8_t *)c, w);
    else
      k.count_add16(s + (size_t)y * w, (uint16_t *)c, w);
  };
  auto update = [&](uint32_t y_in, uint32_t y_out) {
    if (sizeof(T) == 1)
      k.count_update8(s + (size_t)y_in * w, s + (size_t)y_out * w, (uint8_t *)c, w);
    else
      k.count_update16(s + (size_t)y_in * w, s + (size_t)y_out * w, (uint16_t *)c, w);
  };
  for (uint32_t y = 0; y < 2 * n; ++y) add(y);
  for (uint32_t y = n; y < h - n; ++y) {
    if (y == n)
      add(y + n);
    else
      update(y + n, y - n - 1);
    const uint8_t *mask_row = mask.data + (size_t)y * w;
    uint8_t *dst_row = dst.data + (size_t)y * w;
    if (sizeof(T) == 1 && n <= kByteSumMax) {
      const uint8_t *c8 = (const uint8_t *)c;
      memcpy(acc, c8, inner);
      for (uint32_t j = 1; j < len; ++j) k.sum_shift8(c8, acc, inner, j);
      k.ge_masked8(acc, mask_row + n, dst_row + n, inner, (uint8_t)need);
    } else {
      window_row_running(c, w, n, need, mask_row, dst_row);
    }
  }
}

}  // namespace

void morph_window_interior(const vorn_mono_image &src, vorn_mono_image &dst, uint32_t n,
                           const vorn_mono_image &mask) {
  const MorphRowKernels &k = morph_row_kernels();
  const uint32_t w = src.width;
  uint16_t c_stack[kStackWidth];
  uint8_t acc_stack[kStackWidth];
  uint8_t *block = nullptr;
  uint16_t *c = c_stack;
  uint8_t *acc = acc_stack;
  if (w > kStackWidth) {
    block = block_new<uint8_t>((size_t)w * 3);
    if (!block) {
      morph_plain_interior(MorphOp::kWindow, src, dst, n, mask);
      return;
    }
    c = reinterpret_cast<uint16_t *>(block);
    acc = block + (size_t)w * 2;
  }
  if (2 * (uint64_t)n + 1 > 255)
    window_rows<uint16_t>(k, src, dst, n, mask, c, acc);
  else
    window_rows<uint8_t>(k, src, dst, n, mask, reinterpret_cast<uint8_t *>(c), acc);
  block_release(block);
}

}  // namespace vorn

extern "C" VORN_API vorn_result vorn_morpha_window(const vorn_mono_image *src, vorn_mono_image *dst, uint32_t n,
                                                   const vorn_mono_image *mask) {
  bool interior = false;
  vorn_result r = vorn::morph_prepare(src, dst, n, mask, &interior);
  if (r == VORN_OK && interior) vorn::morph_window_interior(*src, *dst, n, *mask);
  return r;
}
