// Occupancy of 4 x 4 cells, sixteen cells (64 bytes of each of the four rows) per step.
#include "objects/cell_rows.h"

#if defined(__SSE2__) || defined(_M_X64)
#include <emmintrin.h>

namespace vorn {

uint32_t cell_row_sse2(const uint8_t *const rows[4], uint8_t *cells, uint32_t count) {
  const __m128i one = _mm_set1_epi8(1), low_byte = _mm_set1_epi32(0xFF), twelve = _mm_set1_epi32(12);
  const uint32_t done = count & ~15u;
  for (uint32_t c = 0; c < done; c += 16) {
    __m128i part[4];
    for (int q = 0; q < 4; ++q) {  // four cells per 16 bytes
      __m128i sum = _mm_setzero_si128();
      for (int r = 0; r < 4; ++r) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(rows[r] + 4 * c + 16 * q));
        sum = _mm_add_epi8(sum, _mm_min_epu8(v, one));  // 1 per non-zero byte, at most 4 per lane
      }
      // Fold each group of four bytes into its low byte (at most 16).
      sum = _mm_add_epi8(sum, _mm_srli_epi16(sum, 8));
      sum = _mm_add_epi8(sum, _mm_srli_epi32(sum, 16));
      part[q] = _mm_cmpgt_epi32(_mm_and_si128(sum, low_byte), twelve);
    }
    const __m128i lo = _mm_packs_epi32(part[0], part[1]), hi = _mm_packs_epi32(part[2], part[3]);
    _mm_storeu_si128(reinterpret_cast<__m128i *>(cells + c), _mm_packs_epi16(lo, hi));
  }
  return done;
}

}  // namespace vorn

#else

namespace vorn {

uint32_t cell_row_sse2(const uint8_t *const rows[4], uint8_t *cells, uint32_t count) {
  (void)rows;
  (void)cells;
  (void)count;
  return 0;
}

}  // namespace vorn

#endif
