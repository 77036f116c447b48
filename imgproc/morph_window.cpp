// The window filter: a pixel of the region becomes 255 when at least three quarters of its (2n+1)^2 window is
// non-zero.
//
// Fast path: per-column counts of non-zero bytes over the last 2n+1 rows, kept up to date by adding the entering
// row and removing the leaving one (constant cost per pixel); a row's window sums then come from those counts by
// doubling, in bytes while they fit (n <= 7), in 16 bits up to n = 127 (cost log n per pixel), and by a running
// sum along the row for larger windows.
#include <string.h>

#include "core/memory.h"
#include "imgproc/morph.h"
#include "imgproc/morph_rows.h"
#include "vorn_imgproc.h"

namespace vorn {
namespace {

constexpr uint32_t kStackWidth = 2048;

// Sums of len consecutive column counts, acc[i] = c[i] + ... + c[i + len - 1] for i < w - len + 1, by doubling:
// level k holds sums of 2^k counts (built from level k-1 shifted by 2^(k-1)); acc adds the levels of len's set
// bits at growing offsets. Cost O(log len) per pixel. Levels ping-pong between x and y; c is only read.
template <class S>
void window_sums(const MorphRowKernels &k, const S *c, S *x, S *y, S *acc, uint32_t w, uint32_t len) {
  const uint32_t inner = w - len + 1;
  const S *level = c;
  uint32_t span = 1, offset = 0;
  bool started = false;
  for (;;) {
    if (len & span) {
      if (!started) {
        memcpy(acc, level + offset, (size_t)inner * sizeof(S));
        started = true;
      } else if (sizeof(S) == 1) {
        k.acc_shift8((const uint8_t *)level, (uint8_t *)acc, inner, offset);
      } else {
        k.acc_shift16((const uint16_t *)level, (uint16_t *)acc, inner, offset);
      }
      offset += span;
    }
    if (2 * span > len) break;
    S *out = level == x ? y : x;
    if (sizeof(S) == 1)
      k.add_shift8((const uint8_t *)level, (uint8_t *)out, w - 2 * span + 1, span);
    else
      k.add_shift16((const uint16_t *)level, (uint16_t *)out, w - 2 * span + 1, span);
    level = out;
    span *= 2;
  }
}

// Windows too large for 16-bit sums: a running sum along the row.
void window_row_running(const uint16_t *c, uint32_t w, uint32_t n, uint64_t need, const uint8_t *mask_row,
                        uint8_t *dst_row) {
  const uint32_t len = 2 * n + 1;
  uint64_t sum = 0;
  for (uint32_t i = 0; i < len; ++i) sum += c[i];
  for (uint32_t x = n; x < w - n; ++x) {
    dst_row[x] = (mask_row[x] != 0 && sum >= need) ? 255 : 0;
    if (x + n + 1 < w) sum += (uint64_t)c[x + n + 1] - c[x - n];
  }
}

struct WindowBuffers {
  void *counts;     // w counters (8 or 16 bits)
  uint16_t *x, *y;  // w each: doubling levels
  uint16_t *wide;   // w: the counters widened to 16 bits
  uint16_t *acc;    // w: window sums
};

template <class T>
void window_rows(const MorphRowKernels &k, const vorn_mono_image &src, vorn_mono_image &dst, uint32_t n,
                 const vorn_mono_image &mask, const WindowBuffers &b) {
  const uint32_t w = src.width, h = src.height, len = 2 * n + 1, inner = w - 2 * n;
  const uint64_t need = morph_window_need(n);
  const uint64_t most = (uint64_t)len * len;
  const uint8_t *s = src.data;
  T *c = static_cast<T *>(b.counts);
  memset(c, 0, (size_t)w * sizeof(T));
  auto add = [&](uint32_t row) {
    if (sizeof(T) == 1)
      k.count_add8(s + (size_t)row * w, (uint8_t *)c, w);
    else
      k.count_add16(s + (size_t)row * w, (uint16_t *)c, w);
  };
  auto update = [&](uint32_t row_in, uint32_t row_out) {
    if (sizeof(T) == 1)
      k.count_update8(s + (size_t)row_in * w, s + (size_t)row_out * w, (uint8_t *)c, w);
    else
      k.count_update16(s + (size_t)row_in * w, s + (size_t)row_out * w, (uint16_t *)c, w);
  };
  for (uint32_t row = 0; row < 2 * n; ++row) add(row);
  for (uint32_t row = n; row < h - n; ++row) {
    if (row == n)
      add(row + n);
    else
      update(row + n, row - n - 1);
    const uint8_t *mask_row = mask.data + (size_t)row * w + n;
    uint8_t *dst_row = dst.data + (size_t)row * w + n;
    if (sizeof(T) == 1 && most <= 0xFF) {
      uint8_t *acc = (uint8_t *)b.acc;
      window_sums<uint8_t>(k, (const uint8_t *)c, (uint8_t *)b.x, (uint8_t *)b.y, acc, w, len);
      k.ge_masked8(acc, mask_row, dst_row, inner, (uint8_t)need);
    } else if (sizeof(T) == 1 && most <= 0xFFFF) {
      k.widen8((const uint8_t *)c, b.wide, w);
      window_sums<uint16_t>(k, b.wide, b.x, b.y, b.acc, w, len);
      k.ge_masked16(b.acc, mask_row, dst_row, inner, (uint16_t)need);
    } else {
      window_row_running((const uint16_t *)c, w, n, need, mask_row - n, dst_row - n);
    }
  }
}

}  // namespace

void morph_window_interior(const vorn_mono_image &src, vorn_mono_image &dst, uint32_t n,
                           const vorn_mono_image &mask) {
  const MorphRowKernels &k = morph_row_kernels();
  const uint32_t w = src.width;
  uint16_t stack[5][kStackWidth];
  uint16_t *block = nullptr;
  WindowBuffers b = {stack[0], stack[1], stack[2], stack[3], stack[4]};
  if (w > kStackWidth) {
    block = block_new<uint16_t>((size_t)w * 5);
    if (!block) {
      morph_plain_interior(MorphOp::kWindow, src, dst, n, mask);
      return;
    }
    b = {block, block + w, block + 2 * (size_t)w, block + 3 * (size_t)w, block + 4 * (size_t)w};
  }
  if (2 * (uint64_t)n + 1 > 255)
    window_rows<uint16_t>(k, src, dst, n, mask, b);
  else
    window_rows<uint8_t>(k, src, dst, n, mask, b);
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
