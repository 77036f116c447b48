// SSE4.1 twins of the colour row kernels: 16 pixels per step (the loops are in convert_rows_body.h).
#include <string.h>

#include "color/convert_rows_body.h"

namespace vorn {
namespace {

struct Sse41 {
  using V = __m128i;
  static constexpr int kStep = 16;
  static V load(const uint8_t *p) { return load16(p); }
  static void store(uint8_t *p, V v) { store16(p, v); }
  template <int bpp>
  static void load_bgr(const uint8_t *src, V *r, V *g, V *b) {
    load_bgr16<bpp>(src, r, g, b);
  }
  static void load_yuyv(const uint8_t *src, V *y, V *u, V *v) { load_yuyv16(src, y, u, v); }
  static V load_chroma(const uint8_t *p) { return load_chroma16(p); }
  static V widen4(const uint8_t *p) {
    int32_t four;
    memcpy(&four, p, 4);
    return _mm_cvtepu8_epi32(_mm_cvtsi32_si128(four));
  }
  static void hs_step(const uint8_t *r, const uint8_t *g, const uint8_t *b, uint8_t *h, uint8_t *s) {
    V hh[4], ss[4];
    for (int q = 0; q < 4; ++q) hs_of(widen4(r + 4 * q), widen4(g + 4 * q), widen4(b + 4 * q), &hh[q], &ss[q]);
    store16(h, _mm_packus_epi16(_mm_packs_epi32(hh[0], hh[1]), _mm_packs_epi32(hh[2], hh[3])));
    store16(s, _mm_packus_epi16(_mm_packs_epi32(ss[0], ss[1]), _mm_packs_epi32(ss[2], ss[3])));
  }
};

}  // namespace

const ColorKernels *color_kernels_sse41() { return &RowLoops<Sse41>::kTable; }

}  // namespace vorn
