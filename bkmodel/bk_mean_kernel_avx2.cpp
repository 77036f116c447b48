// AVX2 twins of the running-mean passes: eight pixels per step, each double operation the plain kernel's.
#include <immintrin.h>

#include "bkmodel/bk_mean_kernel.h"

namespace vorn {

namespace {

inline __m128i load8(const uint8_t *p) { return _mm_loadl_epi64(reinterpret_cast<const __m128i *>(p)); }
inline void store8(uint8_t *p, __m128i v) { _mm_storel_epi64(reinterpret_cast<__m128i *>(p), v); }

// Eight byte values of the low half of v as doubles, four and four.
inline void bytes_to_pd(__m128i v, __m256d *lo, __m256d *hi) {
  *lo = _mm256_cvtepi32_pd(_mm_cvtepu8_epi32(v));
  *hi = _mm256_cvtepi32_pd(_mm_cvtepu8_epi32(_mm_srli_si128(v, 4)));
}

// The low bytes of eight words, in the low half.
inline __m128i low_bytes(__m256i w) {
  const __m256i b = _mm256_and_si256(w, _mm256_set1_epi32(0xFF));
  const __m128i h = _mm_packus_epi32(_mm256_castsi256_si128(b), _mm256_extracti128_si256(b, 1));
  return _mm_packus_epi16(h, h);
}

// Eight truncated doubles (in 32-bit range) packed to their low bytes.
inline __m128i pd_to_bytes(__m256d lo, __m256d hi) {
  return low_bytes(_mm256_set_m128i(_mm256_cvttpd_epi32(hi), _mm256_cvttpd_epi32(lo)));
}

// Byte mask (0 / 0xFF in the low 8 bytes) widened to two masks of four 64-bit lanes.
inline void mask_to_pd(__m128i m, __m256d *lo, __m256d *hi) {
  *lo = _mm256_castsi256_pd(_mm256_cvtepi8_epi64(m));
  *hi = _mm256_castsi256_pd(_mm256_cvtepi8_epi64(_mm_srli_si128(m, 4)));
}

// u32 lanes as exact doubles.
inline __m256d u32_to_pd(__m128i v) {
  const __m128i biased = _mm_xor_si128(v, _mm_set1_epi32((int)0x80000000u));
  return _mm256_add_pd(_mm256_cvtepi32_pd(biased), _mm256_set1_pd(2147483648.0));
}

// The low byte of floor(s / c) for four u32 pairs: the correctly rounded double quotient of two 32-bit values
// never reaches the next integer, so truncating it gives the integer quotient; it is shifted into signed range
// by 2^31 (a multiple of 256) before the conversion.
inline __m128i quotient_words(__m128i s, __m128i c) {
  __m256d q = _mm256_round_pd(_mm256_div_pd(u32_to_pd(s), u32_to_pd(c)), _MM_FROUND_TO_ZERO | _MM_FROUND_NO_EXC);
  return _mm256_cvttpd_epi32(_mm256_sub_pd(q, _mm256_set1_pd(2147483648.0)));
}

// Division of eight words by one divisor d >= 1, without a divide: Granlund and Montgomery's method for 32-bit
// words. With l = ceil(log2 d), m = floor(2^32 (2^l - d) / d) + 1 and t the high word of m * s,
// floor(s / d) = (t + ((s - t) >> min(l, 1))) >> max(l - 1, 0) for every 32-bit s.
struct WordDivisor {
  uint32_t d = 0;
  __m256i m;
  __m128i sh1, sh2;
  void set(uint32_t divisor) {
    d = divisor;
    const int l = divisor == 1 ? 0 : 32 - __builtin_clz(divisor - 1);
    const uint32_t magic = (uint32_t)((((1ull << l) - divisor) << 32) / divisor + 1);
    m = _mm256_set1_epi32((int)magic);
    sh1 = _mm_cvtsi32_si128(l < 1 ? l : 1);
    sh2 = _mm_cvtsi32_si128(l > 1 ? l - 1 : 0);
  }
  __m256i divide(__m256i s) const {
    const __m256i even = _mm256_srli_epi64(_mm256_mul_epu32(s, m), 32);
    const __m256i odd = _mm256_mul_epu32(_mm256_srli_epi64(s, 32), m);
    const __m256i t = _mm256_blend_epi32(even, odd, 0xAA);
    return _mm256_srl_epi32(_mm256_add_epi32(t, _mm256_srl_epi32(_mm256_sub_epi32(s, t), sh1)), sh2);
  }
};

// acc <- c * a + acc * b in the masked lanes; returns the new background bytes (old ones elsewhere).
inline __m128i blend_mean(double *acc, const uint8_t *c, uint8_t *bk, __m256d a, __m256d b, __m256d mlo,
                          __m256d mhi, __m128i mbytes) {
  __m256d clo, chi;
  bytes_to_pd(load8(c), &clo, &chi);
  const __m256d olo = _mm256_loadu_pd(acc), ohi = _mm256_loadu_pd(acc + 4);
  const __m256d nlo = _mm256_add_pd(_mm256_mul_pd(clo, a), _mm256_mul_pd(olo, b));
  const __m256d nhi = _mm256_add_pd(_mm256_mul_pd(chi, a), _mm256_mul_pd(ohi, b));
  const __m256d half = _mm256_set1_pd(0.5);
  const __m128i nb = pd_to_bytes(_mm256_add_pd(nlo, half), _mm256_add_pd(nhi, half));
  _mm256_storeu_pd(acc, _mm256_blendv_pd(olo, nlo, mlo));
  _mm256_storeu_pd(acc + 4, _mm256_blendv_pd(ohi, nhi, mhi));
  return _mm_blendv_epi8(load8(bk), nb, mbytes);
}

}  // namespace

size_t mean_accumulate_avx2(uint32_t *sums, size_t npix, const bk_pass_planes *p, size_t begin, size_t end) {
  size_t i = begin;
  uint32_t *count = sums + 3 * npix;
  const __m256i one = _mm256_set1_epi32(1);
  // Every pixel gains one count per frame, so a group's counts are nearly always one shared value: that value
  // divides by multiplication. Groups with differing or wrapped counts divide in double precision.
  WordDivisor shared;
  for (; i + 8 <= end; i += 8) {
    const __m256i n = _mm256_add_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(count + i)), one);
    _mm256_storeu_si256(reinterpret_cast<__m256i *>(count + i), n);
    const uint32_t n0 = (uint32_t)_mm256_cvtsi256_si32(n);
    const bool uniform =
        n0 != 0 && _mm256_movemask_epi8(_mm256_cmpeq_epi32(n, _mm256_set1_epi32((int)n0))) == -1;
    if (uniform && shared.d != n0) shared.set(n0);
    const __m256i live = _mm256_xor_si256(_mm256_cmpeq_epi32(n, _mm256_setzero_si256()), _mm256_set1_epi32(-1));
    const __m128i live8 = _mm_packs_epi16(
        _mm_packs_epi32(_mm256_castsi256_si128(live), _mm256_extracti128_si256(live, 1)), _mm_setzero_si128());
    for (int q = 0; q < 3; ++q) {
      uint32_t *sq = sums + q * npix + i;
      const __m256i s = _mm256_add_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i *>(sq)),
                                         _mm256_cvtepu8_epi32(load8(p->c[q] + i)));
      _mm256_storeu_si256(reinterpret_cast<__m256i *>(sq), s);
      if (uniform) {
        store8(p->bk[q] + i, low_bytes(shared.divide(s)));
        continue;
      }
      const __m256i w = _mm256_set_m128i(
          quotient_words(_mm256_extracti128_si256(s, 1), _mm256_extracti128_si256(n, 1)),
          quotient_words(_mm256_castsi256_si128(s), _mm256_castsi256_si128(n)));
      store8(p->bk[q] + i, _mm_blendv_epi8(load8(p->bk[q] + i), low_bytes(w), live8));
    }
  }
  return i - begin;
}

size_t meanex_update_avx2(double *acc, size_t npix, const bk_pass_planes *p, size_t begin, size_t end, double a,
                          double b, bool all) {
  size_t i = begin;
  const __m256d va = _mm256_set1_pd(a), vb = _mm256_set1_pd(b);
  const __m128i nine = _mm_set1_epi8(9);
  for (; i + 8 <= end; i += 8) {
    __m128i m = _mm_set1_epi8(-1);
    if (!all) {
      for (int q = 0; q < 2; ++q) {
        const __m128i c = load8(p->c[q] + i), r = load8(p->prev[q] + i);
        const __m128i d = _mm_or_si128(_mm_subs_epu8(c, r), _mm_subs_epu8(r, c));
        m = _mm_and_si128(m, _mm_cmpeq_epi8(_mm_min_epu8(d, nine), d));  // d < 10
      }
      if ((_mm_movemask_epi8(m) & 0xFF) == 0) continue;
    }
    __m256d mlo, mhi;
    mask_to_pd(m, &mlo, &mhi);
    for (int q = 0; q < 3; ++q) {
      store8(p->bk[q] + i, blend_mean(acc + q * npix + i, p->c[q] + i, p->bk[q] + i, va, vb, mlo, mhi, m));
    }
  }
  return i - begin;
}

size_t baymean_update_avx2(double *acc, size_t npix, const bk_pass_planes *p, size_t begin, size_t end) {
  size_t i = begin;
  const __m256d va = _mm256_set1_pd(0.005), vb = _mm256_set1_pd(0.995);
  const __m128i zero = _mm_setzero_si128();
  for (; i + 8 <= end; i += 8) {
    const __m128i bg = _mm_cmpeq_epi8(load8(p->fg + i), zero);
    const __m128i inside = _mm_xor_si128(_mm_cmpeq_epi8(load8(p->mask + i), zero), _mm_set1_epi8(-1));
    const __m128i m = _mm_and_si128(_mm_and_si128(bg, inside), _mm_set_epi64x(0, -1));
    if (_mm_movemask_epi8(m) == 0) continue;
    __m256d mlo, mhi;
    mask_to_pd(m, &mlo, &mhi);
    for (int q = 0; q < 3; ++q) {
      store8(p->bk[q] + i, blend_mean(acc + q * npix + i, p->c[q] + i, p->bk[q] + i, va, vb, mlo, mhi, m));
    }
  }
  return i - begin;
}

}  // namespace vorn
