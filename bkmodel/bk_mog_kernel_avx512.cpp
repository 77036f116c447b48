// AVX-512 twin of the mixture-of-Gaussians pass: the eight pixels of a group are the eight lanes of one vector,
// every lane runs the plain kernel's double operations in the same order, branches become lane masks, and a
// field changes only where its mask is set (masked stores instead of blends). Rates and the key skip follow the
// AVX2 kernel: table reciprocals in the counting phase, divided keys only when the order is not certain.
#include <immintrin.h>
#include <string.h>

#include "bkmodel/bk_mog_kernel.h"

namespace vorn {

namespace {

constexpr int S = kMogComponents;
constexpr size_t kAhead = 3;  // groups prefetched ahead
constexpr __mmask8 kAll = 0xFF;

inline __m512d ld(const double *p) { return _mm512_loadu_pd(p); }
inline void st(double *p, __m512d v) { _mm512_storeu_pd(p, v); }
inline void st(double *p, __m512d v, __mmask8 m) { _mm512_mask_storeu_pd(p, m, v); }
inline __m256i ldc(const uint32_t *p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i *>(p)); }
inline void stc(uint32_t *p, __m256i v, __mmask8 m) { _mm256_mask_storeu_epi32(p, m, v); }
inline __m512d sel(__m512d a, __m512d b, __mmask8 m) { return _mm512_mask_blend_pd(m, a, b); }  // m ? b : a

// Exact doubles of u32 lanes (the masked forms keep the compiler from reading an undefined source).
inline __m512d cvtu(__m256i v) { return _mm512_maskz_cvtepu32_pd(kAll, v); }

// 1 / v per u32 lane: looked up when every lane is inside the table, else divided.
inline __m512d reciprocal(__m256i v, const double *table) {
  if (_mm256_cmpge_epu32_mask(v, _mm256_set1_epi32((int)kMogReciprocals)) == 0)
    return _mm512_mask_i32gather_pd(_mm512_setzero_pd(), kAll, v, table, 8);
  return _mm512_div_pd(_mm512_set1_pd(1.0), cvtu(v));
}

inline __m512d bytes_pd(const uint8_t *p) {
  return _mm512_maskz_cvtepi32_pd(kAll, _mm256_cvtepu8_epi32(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(p))));
}

// The eight slot-s fields of one group.
struct oct {
  mog_hot *h;
  mog_gauss *g[S];

  double *weight(int s) const { return h->weight[s]; }
  double *vsum(int s) const { return h->vsum[s]; }
  uint32_t *count(int s) const { return h->count[s]; }
  double *mean(int s, int q) const { return g[s]->mean[q]; }
  double *var(int s, int q) const { return g[s]->var[q]; }

  void set(int s, const __m512d c[3], __m512d v, __mmask8 m) const {
    for (int q = 0; q < 3; ++q) {
      st(mean(s, q), c[q], m);
      st(var(s, q), v, m);
    }
    st(vsum(s), _mm512_add_pd(_mm512_add_pd(v, v), v), m);
  }
  void learn(int s, const __m512d d[3], __m512d r, __mmask8 m) const {
    __m512d vq[3];
    for (int q = 0; q < 3; ++q) {
      const __m512d mn = ld(mean(s, q)), v = ld(var(s, q));
      st(mean(s, q), _mm512_add_pd(mn, _mm512_mul_pd(r, d[q])), m);
      vq[q] = _mm512_add_pd(v, _mm512_mul_pd(_mm512_sub_pd(_mm512_mul_pd(d[q], d[q]), v), r));
      st(var(s, q), vq[q], m);
    }
    st(vsum(s), _mm512_add_pd(_mm512_add_pd(vq[0], vq[1]), vq[2]), m);
  }
  void swap_down(int s, __mmask8 m) const {
    auto x = [m](double *a, double *b) {
      const __m512d va = ld(a), vb = ld(b);
      st(a, vb, m);
      st(b, va, m);
    };
    x(weight(s), weight(s - 1));
    x(vsum(s), vsum(s - 1));
    const __m256i ca = ldc(count(s)), cb = ldc(count(s - 1));
    stc(count(s), cb, m);
    stc(count(s - 1), ca, m);
    for (int q = 0; q < 3; ++q) {
      x(mean(s, q), mean(s - 1, q));
      x(var(s, q), var(s - 1, q));
    }
  }
};

}  // namespace

size_t mog_update_pixels_avx512(mog_state *st_, const mog_planes *p, size_t begin, size_t end, uint32_t n,
                                const mog_consts *k) {
  if (begin % kMogLanes) return 0;
  const bool counting = n < k->history_len_u;
  const double *recip = mog_reciprocals();
  const __m512d zero = _mm512_setzero_pd(), one = _mm512_set1_pd(1.0);
  const __m512d factor = _mm512_set1_pd(k->match_factor), init_var = _mm512_set1_pd(k->init_var);
  const __m512d hist = _mm512_set1_pd(k->history_len), ratio = _mm512_set1_pd(0.7);
  const __m512d margin = _mm512_set1_pd(kMogOrderMargin), tiny = _mm512_set1_pd(kMogOrderTiny);
  const __m512d huge = _mm512_set1_pd(kMogOrderHuge);
  size_t i = begin;
  for (; i + kMogLanes <= end; i += kMogLanes) {
    const __m128i mask_bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(p->mask + i));
    const __mmask8 act = (__mmask8)_mm_test_epi8_mask(mask_bytes, mask_bytes);
    if (act == 0) {
      memset(p->fg + i, 0, kMogLanes);
      continue;
    }
    const size_t gi = i / kMogLanes;
    if (gi + kAhead < st_->groups) {
      const char *hot = reinterpret_cast<const char *>(&st_->hot[gi + kAhead]);
      for (size_t off = 0; off < sizeof(mog_hot); off += 64) _mm_prefetch(hot + off, _MM_HINT_T0);
      const char *cold = reinterpret_cast<const char *>(&st_->gauss[gi + kAhead]);
      for (size_t off = 0; off < sizeof(mog_gauss); off += 64) _mm_prefetch(cold + off, _MM_HINT_T0);
    }
    oct G;
    G.h = &st_->hot[gi];
    for (int s = 0; s < S; ++s) G.g[s] = &st_->gauss[s * st_->groups + gi];
    const __m512d c[3] = {bytes_pd(p->c[0] + i), bytes_pd(p->c[1] + i), bytes_pd(p->c[2] + i)};

    // Match: the first slot per lane.
    __mmask8 matched = 0, hit[S] = {0, 0, 0, 0, 0};
    __m512d d[3] = {zero, zero, zero};
    for (int s = 0; s < S; ++s) {
      const __m512d e0 = _mm512_sub_pd(c[0], ld(G.mean(s, 0)));
      const __m512d e1 = _mm512_sub_pd(c[1], ld(G.mean(s, 1)));
      const __m512d e2 = _mm512_sub_pd(c[2], ld(G.mean(s, 2)));
      const __m512d dist =
          _mm512_add_pd(_mm512_add_pd(_mm512_mul_pd(e0, e0), _mm512_mul_pd(e1, e1)), _mm512_mul_pd(e2, e2));
      hit[s] = (__mmask8)(_mm512_cmp_pd_mask(dist, _mm512_mul_pd(factor, ld(G.vsum(s))), _CMP_LT_OQ) & ~matched);
      d[0] = sel(d[0], e0, hit[s]);
      d[1] = sel(d[1], e1, hit[s]);
      d[2] = sel(d[2], e2, hit[s]);
      matched |= hit[s];
      if ((__mmask8)(matched | ~act) == kAll) break;
    }
    const __mmask8 nm = (__mmask8)(~matched & act), mt = (__mmask8)(matched & act);
    __mmask8 is[S];
    for (int s = 0; s < S; ++s) is[s] = (__mmask8)(hit[s] & act);

    if (nm) {
      // Slot 4 gives way to the new colour.
      G.set(4, c, init_var, nm);
      stc(G.count(4), _mm256_set1_epi32(1), nm);
      const __m256i s32 = _mm256_add_epi32(
          _mm256_add_epi32(_mm256_add_epi32(_mm256_add_epi32(ldc(G.count(0)), ldc(G.count(1))), ldc(G.count(2))),
                           ldc(G.count(3))),
          _mm256_set1_epi32(1));
      if (counting) {
        const __m512d sd = cvtu(s32);
        for (int s = 0; s < S; ++s) st(G.weight(s), _mm512_div_pd(cvtu(ldc(G.count(s))), sd), nm);
      } else {
        st(G.weight(4), reciprocal(s32, recip), nm);
        const __m512d decay = _mm512_set1_pd(0.9995);
        for (int s = 0; s < 4; ++s) st(G.weight(s), _mm512_mul_pd(ld(G.weight(s)), decay), nm);
      }
    }
    if (mt) {
      __m512d r;
      if (counting) {
        __m256i T = _mm256_setzero_si256();
        for (int s = 0; s < S; ++s) {
          const __m256i cnt = _mm256_mask_add_epi32(ldc(G.count(s)), is[s], ldc(G.count(s)), _mm256_set1_epi32(1));
          stc(G.count(s), cnt, is[s]);
          T = _mm256_add_epi32(T, cnt);
        }
        r = reciprocal(T, recip);
      } else {
        r = _mm512_div_pd(one, hist);
      }
      for (int s = 0; s < S; ++s) {
        const __m512d w = ld(G.weight(s));
        const __m512d wn = counting ? _mm512_sub_pd(w, _mm512_mul_pd(w, r)) : _mm512_mul_pd(_mm512_sub_pd(one, r), w);
        const __m512d wm = _mm512_add_pd(w, _mm512_mul_pd(_mm512_sub_pd(one, w), r));
        const __m512d nw = sel(wn, wm, is[s]);
        // Only lanes whose weight changes are stored: a slot that keeps its weights (unused ones, weight 0)
        // leaves its line clean.
        st(G.weight(s), nw, (__mmask8)(mt & _mm512_cmpneq_epi64_mask(_mm512_castpd_si512(nw), _mm512_castpd_si512(w))));
        if (is[s]) {
          const __m512d rn =
              counting ? reciprocal(ldc(G.count(s)), recip) : _mm512_div_pd(one, _mm512_mul_pd(nw, hist));
          r = sel(r, rn, is[s]);
          G.learn(s, d, r, is[s]);
        }
      }
    }

    // Fitness keys: skipped when the slots are provably in order, else divided out and sorted as
    // compare-exchanges.
    __m512d w[S], vs[S], sq[S];
    __mmask8 live[S];
    for (int s = 0; s < S; ++s) {
      vs[s] = ld(G.vsum(s));
      w[s] = ld(G.weight(s));
      sq[s] = _mm512_mul_pd(w[s], w[s]);
      const __mmask8 none = (__mmask8)(_mm256_cmpeq_epi32_mask(ldc(G.count(s)), _mm256_setzero_si256()) |
                                       _mm512_cmp_pd_mask(vs[s], zero, _CMP_LE_OQ));
      live[s] = (__mmask8)(~none & act);
    }
    bool ordered = true;
    for (int s = 1; s < S && ordered; ++s) {
      const __m512d front = _mm512_mul_pd(sq[s - 1], vs[s]), back = _mm512_mul_pd(sq[s], vs[s - 1]);
      const __mmask8 sure = (__mmask8)(_mm512_cmp_pd_mask(back, _mm512_mul_pd(front, margin), _CMP_LT_OQ) &
                                       _mm512_cmp_pd_mask(front, tiny, _CMP_GE_OQ) &
                                       _mm512_cmp_pd_mask(front, huge, _CMP_LE_OQ) & live[s - 1]);
      ordered = (__mmask8)(act & live[s] & ~sure) == 0;
    }
    if (!ordered) {
      __m512d key[S];
      for (int s = 0; s < S; ++s) key[s] = live[s] ? _mm512_maskz_div_pd(live[s], sq[s], vs[s]) : zero;
      for (int a = 1; a < S; ++a) {
        for (int b = a; b > 0; --b) {
          const __mmask8 sw = (__mmask8)(_mm512_cmp_pd_mask(key[b], key[b - 1], _CMP_GT_OQ) & act);
          if (!sw) continue;
          const __m512d kb = key[b];
          key[b] = sel(key[b], key[b - 1], sw);
          key[b - 1] = sel(key[b - 1], kb, sw);
          G.swap_down(b, sw);
        }
      }
    }

    const __m512d half = _mm512_set1_pd(0.5);
    const __m256i lo = _mm256_setzero_si256(), hi = _mm256_set1_epi32(255);
    for (int q = 0; q < 3; ++q) {
      const __m256i v = _mm512_maskz_cvttpd_epi32(kAll, _mm512_add_pd(ld(G.mean(0, q)), half));
      _mm_mask_storeu_epi8(p->bk[q] + i, act, _mm256_maskz_cvtepi32_epi8(kAll, _mm256_min_epi32(_mm256_max_epi32(v, lo), hi)));
    }

    // Decision per lane; lanes where neither happens keep their fg.
    __m128i fg = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(p->fg + i));
    __mmask8 undecided = act;
    __m512d sum = zero;
    for (int s = 0; s < S; ++s) {
      sum = _mm512_add_pd(sum, ordered ? w[s] : ld(G.weight(s)));
      const __mmask8 bg = (__mmask8)(undecided & hit[s]);
      undecided = (__mmask8)(undecided & ~bg);
      const __mmask8 fgl = (__mmask8)(undecided & _mm512_cmp_pd_mask(sum, ratio, _CMP_GT_OQ));
      undecided = (__mmask8)(undecided & ~fgl);
      fg = _mm_mask_blend_epi8(bg, fg, _mm_setzero_si128());
      fg = _mm_mask_blend_epi8(fgl, fg, _mm_set1_epi8((char)255));
      if (!undecided) break;
    }
    fg = _mm_maskz_mov_epi8(act, fg);
    _mm_storel_epi64(reinterpret_cast<__m128i *>(p->fg + i), fg);
  }
  return i - begin;
}

}  // namespace vorn
