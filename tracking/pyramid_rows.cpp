// Row kernels of the pyramid reduction and the plane loop that drives them.
//
// Horizontal pass, output column x from source centre c = 2x (weights total 16):
//   inside          s[c-2] + 4 s[c-1] + 6 s[c] + 4 s[c+1] + s[c+2]
//   first column    2 s[0] + 8 s[1] + 6 s[2]        (the 6 falls on s[2], not on the centre)
//   last column     s[c-2] + 4 s[c-1] + 7 s[c] + 4 s[c+1]
//   only column     8 (s[0] + s[1])
// The vertical pass applies the same weights to the row sums and rounds once: (sum + 128) >> 8. Every sum fits
// 16 bits: 255 * 16 * 16 + 128 = 65408.
#include "tracking/pyramid.h"

#include "core/cpu.h"

namespace vorn {

const PyramidRowKernels &pyramid_row_kernels() {
  static const PyramidRowKernels plain = {nullptr, nullptr}, sse2 = {pyramid_hrow_sse2, pyramid_vrow_sse2};
  return (cpu_flags() & kCpuSse2) ? sse2 : plain;
}

void pyramid_hrow_c(const uint8_t *s, uint16_t *out, uint32_t w) {
  if (w == 1) {
    out[0] = (uint16_t)(8 * (s[0] + s[1]));
    return;
  }
  out[0] = (uint16_t)(2 * s[0] + 8 * s[1] + 6 * s[2]);
  for (uint32_t x = 1; x + 1 < w; ++x) {
    const uint8_t *p = s + 2 * x;
    out[x] = (uint16_t)(p[-2] + 4 * p[-1] + 6 * p[0] + 4 * p[1] + p[2]);
  }
  const uint8_t *p = s + 2 * (w - 1);
  out[w - 1] = (uint16_t)(p[-2] + 4 * p[-1] + 7 * p[0] + 4 * p[1]);
}

void pyramid_vrow_c(const uint16_t *const r[5], const uint16_t wt[5], uint8_t *dst, uint32_t width) {
  for (uint32_t x = 0; x < width; ++x) {
    uint32_t sum = 128;
    for (int k = 0; k < 5; ++k) sum += (uint32_t)wt[k] * r[k][x];
    dst[x] = (uint8_t)(sum >> 8);
  }
}

void pyramid_reduce_plane(const uint8_t *src, uint32_t src_w, uint32_t src_h, uint8_t *dst, uint16_t *scratch) {
  const uint32_t w = src_w >> 1, h = src_h >> 1;
  const PyramidRowKernels &kr = pyramid_row_kernels();
  // Ring of the five most recent row sums: source row i lives in slot i % 5.
  uint16_t *ring[5];
  for (int k = 0; k < 5; ++k) ring[k] = scratch + (size_t)k * w;
  uint32_t next_row = 0;  // first source row whose sums are not made yet
  auto sums_through = [&](uint32_t last) {
    for (; next_row <= last; ++next_row) {
      const uint8_t *row = src + (size_t)next_row * src_w;
      uint16_t *out = ring[next_row % 5];
      const uint32_t done = kr.hrow ? kr.hrow(row, out, w) : 0;
      if (done < w) {
        if (done == 0) {
          pyramid_hrow_c(row, out, w);
        } else {
          // The SIMD kernel stops short of the last column; finish with the inside and last-column rules.
          for (uint32_t x = done; x + 1 < w; ++x) {
            const uint8_t *p = row + 2 * x;
            out[x] = (uint16_t)(p[-2] + 4 * p[-1] + 6 * p[0] + 4 * p[1] + p[2]);
          }
          const uint8_t *p = row + 2 * (w - 1);
          out[w - 1] = (uint16_t)(p[-2] + 4 * p[-1] + 7 * p[0] + 4 * p[1]);
        }
      }
    }
  };
  static const uint16_t kOnly[5] = {8, 8, 0, 0, 0};
  static const uint16_t kFirst[5] = {2, 8, 6, 0, 0};
  static const uint16_t kInside[5] = {1, 4, 6, 4, 1};
  static const uint16_t kLast[5] = {1, 4, 7, 4, 0};
  for (uint32_t y = 0; y < h; ++y) {
    const uint16_t *rows[5];
    const uint16_t *wt;
    if (h == 1) {
      sums_through(1);
      rows[0] = ring[0], rows[1] = ring[1], rows[2] = rows[3] = rows[4] = ring[0];
      wt = kOnly;
    } else if (y == 0) {
      sums_through(2);
      rows[0] = ring[0], rows[1] = ring[1], rows[2] = ring[2], rows[3] = rows[4] = ring[0];
      wt = kFirst;
    } else {
      const uint32_t c = 2 * y;
      const bool last = y + 1 == h;
      sums_through(last ? c + 1 : c + 2);
      for (int k = 0; k < 4; ++k) rows[k] = ring[(c - 2 + k) % 5];
      rows[4] = last ? rows[0] : ring[(c + 2) % 5];
      wt = last ? kLast : kInside;
    }
    uint8_t *out = dst + (size_t)y * w;
    const uint32_t done = kr.vrow ? kr.vrow(rows, wt, out, w) : 0;
    if (done < w) {
      const uint16_t *tail[5];
      for (int k = 0; k < 5; ++k) tail[k] = rows[k] + done;
      pyramid_vrow_c(tail, wt, out + done, w - done);
    }
  }
}

}  // namespace vorn
