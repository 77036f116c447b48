// AVX2 twin of the mixture-of-Gaussians pass: four pixels (one half of a group) are the four lanes, every lane
// runs the plain kernel's double operations in the same order, and branches become lane masks (a step whose
// mask is empty in every lane is skipped). The counting phase's rates come from the reciprocal table, and the
// fitness keys are only divided out when the slots are not provably in order already. The insertion sort
// becomes its ten compare-exchanges: once a key stops moving, the slots in front of it are already in order, so
// the remaining exchanges of that pass never fire.
#include <immintrin.h>
#include <string.h>

#include "bkmodel/bk_mog_kernel.h"

namespace vorn {

namespace {

constexpr int S = kMogComponents;
constexpr size_t kAhead = 3;  // groups prefetched ahead

inline __m256d ld(const double *p) { return _mm256_loadu_pd(p); }
inline void st(double *p, __m256d v) { _mm256_storeu_pd(p, v); }
inline __m128i ldc(const uint32_t *p) { return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p)); }
inline void stc(uint32_t *p, __m128i v) { _mm_storeu_si128(reinterpret_cast<__m128i *>(p), v); }
inline bool any(__m256d m) { return _mm256_movemask_pd(m) != 0; }
inline __m256d sel(__m256d a, __m256d b, __m256d m) { return _mm256_blendv_pd(a, b, m); }  // m ? b : a
inline __m256d andnot(__m256d a, __m256d b) { return _mm256_andnot_pd(a, b); }               // ~a & b

// 64-bit lane masks to 32-bit lane masks.
inline __m128i narrow(__m256d m) {
  const __m256i idx = _mm256_setr_epi32(0, 2, 4, 6, 0, 2, 4, 6);
  return _mm256_castsi256_si128(_mm256_permutevar8x32_epi32(_mm256_castpd_si256(m), idx));
}

// u32 lanes as exact doubles.
inline __m256d u32_pd(__m128i v) {
  const __m128i biased = _mm_xor_si128(v, _mm_set1_epi32((int)0x80000000u));
  return _mm256_add_pd(_mm256_cvtepi32_pd(biased), _mm256_set1_pd(2147483648.0));
}

// 1 / v per u32 lane: looked up when every lane is inside the table, else divided.
inline __m256d reciprocal(__m128i v, const double *table) {
  const __m128i over = _mm_cmpgt_epi32(_mm_xor_si128(v, _mm_set1_epi32((int)0x80000000u)),
                                       _mm_set1_epi32((int)(kMogReciprocals - 1) ^ (int)0x80000000u));
  if (_mm_movemask_epi8(over) == 0) return _mm256_mask_i32gather_pd(_mm256_setzero_pd(), table, v, _mm256_castsi256_pd(_mm256_set1_epi64x(-1)), 8);
  return _mm256_div_pd(_mm256_set1_pd(1.0), u32_pd(v));
}

inline __m256d bytes_pd(const uint8_t *p) {
  int32_t v;
  memcpy(&v, p, 4);
  return _mm256_cvtepi32_pd(_mm_cvtepu8_epi32(_mm_cvtsi32_si128(v)));
}

inline void store_bytes(uint8_t *p, __m128i words, __m128i keep_mask) {
  int32_t old;
  memcpy(&old, p, 4);
  const __m128i b = _mm_packus_epi16(_mm_packus_epi32(words, words), words);
  const __m128i m = _mm_packs_epi16(_mm_packs_epi32(keep_mask, keep_mask), keep_mask);
  const int32_t v = _mm_cvtsi128_si32(_mm_blendv_epi8(b, _mm_cvtsi32_si128(old), m));
  memcpy(p, &v, 4);
}

// Four lanes of a group: the fields of slot s start at lane o of the group's hot record and Gaussians.
struct quad {
  mog_hot *h;
  mog_gauss *g[S];
  int o;

  double *weight(int s) const { return h->weight[s] + o; }
  double *vsum(int s) const { return h->vsum[s] + o; }
  uint32_t *count(int s) const { return h->count[s] + o; }
  double *mean(int s, int q) const { return g[s]->mean[q] + o; }
  double *var(int s, int q) const { return g[s]->var[q] + o; }

  // Sets slot s of the lanes in m to the colour with variance v per plane.
  void set(int s, const __m256d c[3], __m256d v, __m256d m) const {
    for (int q = 0; q < 3; ++q) {
      st(mean(s, q), sel(ld(mean(s, q)), c[q], m));
      st(var(s, q), sel(ld(var(s, q)), v, m));
    }
    st(vsum(s), sel(ld(vsum(s)), _mm256_add_pd(_mm256_add_pd(v, v), v), m));
  }
  void learn(int s, const __m256d d[3], __m256d r, __m256d m) const {
    __m256d vq[3];
    for (int q = 0; q < 3; ++q) {
      const __m256d mn = ld(mean(s, q)), v = ld(var(s, q));
      st(mean(s, q), sel(mn, _mm256_add_pd(mn, _mm256_mul_pd(r, d[q])), m));
      vq[q] = sel(v, _mm256_add_pd(v, _mm256_mul_pd(_mm256_sub_pd(_mm256_mul_pd(d[q], d[q]), v), r)), m);
      st(var(s, q), vq[q]);
    }
    st(vsum(s), sel(ld(vsum(s)), _mm256_add_pd(_mm256_add_pd(vq[0], vq[1]), vq[2]), m));
  }
  void swap_down(int s, __m256d m) const {
    auto x = [m](double *a, double *b) {
      const __m256d va = ld(a), vb = ld(b);
      st(a, sel(va, vb, m));
      st(b, sel(vb, va, m));
    };
    x(weight(s), weight(s - 1));
    x(vsum(s), vsum(s - 1));
    const __m128i m32 = narrow(m), ca = ldc(count(s)), cb = ldc(count(s - 1));
    stc(count(s), _mm_blendv_epi8(ca, cb, m32));
    stc(count(s - 1), _mm_blendv_epi8(cb, ca, m32));
    for (int q = 0; q < 3; ++q) {
      x(mean(s, q), mean(s - 1, q));
      x(var(s, q), var(s - 1, q));
    }
  }
};

}  // namespace

size_t mog_update_pixels_avx2(mog_state *st_, const mog_planes *p, size_t begin, size_t end, uint32_t n,
                              const mog_consts *k) {
  if (begin % 4) return 0;
  const bool counting = n < k->history_len_u;
  const double *recip = mog_reciprocals();
  const __m256d zero = _mm256_setzero_pd(), one = _mm256_set1_pd(1.0), all = _mm256_cmp_pd(zero, zero, _CMP_EQ_OQ);
  const __m256d factor = _mm256_set1_pd(k->match_factor), init_var = _mm256_set1_pd(k->init_var);
  const __m256d hist = _mm256_set1_pd(k->history_len), ratio = _mm256_set1_pd(0.7);
  const __m256d margin = _mm256_set1_pd(kMogOrderMargin), tiny = _mm256_set1_pd(kMogOrderTiny);
  const __m256d huge = _mm256_set1_pd(kMogOrderHuge);
  size_t i = begin;
  for (; i + 4 <= end; i += 4) {
    int32_t mask_word;
    memcpy(&mask_word, p->mask + i, 4);
    if (mask_word == 0) {
      memset(p->fg + i, 0, 4);
      continue;
    }
    const size_t gi = i / kMogLanes;
    // The hot record and slot 0 of a group a few steps ahead.
    if (i % kMogLanes == 0 && gi + kAhead < st_->groups) {
      const char *hot = reinterpret_cast<const char *>(&st_->hot[gi + kAhead]);
      for (size_t off = 0; off < sizeof(mog_hot); off += 64) _mm_prefetch(hot + off, _MM_HINT_T0);
      const char *cold = reinterpret_cast<const char *>(&st_->gauss[gi + kAhead]);
      for (size_t off = 0; off < sizeof(mog_gauss); off += 64) _mm_prefetch(cold + off, _MM_HINT_T0);
    }
    quad G;
    G.h = &st_->hot[gi];
    for (int s = 0; s < S; ++s) G.g[s] = &st_->gauss[s * st_->groups + gi];
    G.o = (int)(i % kMogLanes);
    const __m256i mask64 = _mm256_cvtepu8_epi64(_mm_cvtsi32_si128(mask_word));
    const __m256d act = _mm256_castsi256_pd(
        _mm256_xor_si256(_mm256_cmpeq_epi64(mask64, _mm256_setzero_si256()), _mm256_set1_epi64x(-1)));
    const __m256d c[3] = {bytes_pd(p->c[0] + i), bytes_pd(p->c[1] + i), bytes_pd(p->c[2] + i)};

    // Match: the first slot per lane.
    __m256d matched = zero, d[3] = {zero, zero, zero};
    __m256i m = _mm256_set1_epi64x(S);
    for (int s = 0; s < S; ++s) {
      const __m256d e0 = _mm256_sub_pd(c[0], ld(G.mean(s, 0)));
      const __m256d e1 = _mm256_sub_pd(c[1], ld(G.mean(s, 1)));
      const __m256d e2 = _mm256_sub_pd(c[2], ld(G.mean(s, 2)));
      const __m256d dist =
          _mm256_add_pd(_mm256_add_pd(_mm256_mul_pd(e0, e0), _mm256_mul_pd(e1, e1)), _mm256_mul_pd(e2, e2));
      const __m256d hit = andnot(matched, _mm256_cmp_pd(dist, _mm256_mul_pd(factor, ld(G.vsum(s))), _CMP_LT_OQ));
      d[0] = sel(d[0], e0, hit);
      d[1] = sel(d[1], e1, hit);
      d[2] = sel(d[2], e2, hit);
      m = _mm256_castpd_si256(sel(_mm256_castsi256_pd(m), _mm256_castsi256_pd(_mm256_set1_epi64x(s)), hit));
      matched = _mm256_or_pd(matched, hit);
      if (_mm256_movemask_pd(_mm256_or_pd(matched, andnot(act, all))) == 0xF) break;
    }
    const __m256d nm = andnot(matched, act), mt = _mm256_and_pd(matched, act);
    __m256d is[S];
    for (int s = 0; s < S; ++s) {
      is[s] = _mm256_and_pd(mt, _mm256_castsi256_pd(_mm256_cmpeq_epi64(m, _mm256_set1_epi64x(s))));
    }

    if (any(nm)) {
      // Slot 4 gives way to the new colour.
      G.set(4, c, init_var, nm);
      const __m128i nm32 = narrow(nm);
      stc(G.count(4), _mm_blendv_epi8(ldc(G.count(4)), _mm_set1_epi32(1), nm32));
      const __m128i s32 = _mm_add_epi32(
          _mm_add_epi32(_mm_add_epi32(_mm_add_epi32(ldc(G.count(0)), ldc(G.count(1))), ldc(G.count(2))),
                        ldc(G.count(3))),
          _mm_set1_epi32(1));
      const __m256d sd = u32_pd(s32);
      if (counting) {
        for (int s = 0; s < S; ++s) {
          st(G.weight(s), sel(ld(G.weight(s)), _mm256_div_pd(u32_pd(ldc(G.count(s))), sd), nm));
        }
      } else {
        st(G.weight(4), sel(ld(G.weight(4)), reciprocal(s32, recip), nm));
        const __m256d decay = _mm256_set1_pd(0.9995);
        for (int s = 0; s < 4; ++s) st(G.weight(s), sel(ld(G.weight(s)), _mm256_mul_pd(ld(G.weight(s)), decay), nm));
      }
    }
    if (any(mt)) {
      __m256d r;
      if (counting) {
        __m128i T = _mm_setzero_si128();
        for (int s = 0; s < S; ++s) {
          const __m128i cnt = _mm_sub_epi32(ldc(G.count(s)), narrow(is[s]));  // + 1 where matched
          stc(G.count(s), cnt);
          T = _mm_add_epi32(T, cnt);
        }
        r = reciprocal(T, recip);
      } else {
        r = _mm256_div_pd(one, hist);
      }
      for (int s = 0; s < S; ++s) {
        const __m256d w = ld(G.weight(s));
        const __m256d wn = counting ? _mm256_sub_pd(w, _mm256_mul_pd(w, r)) : _mm256_mul_pd(_mm256_sub_pd(one, r), w);
        const __m256d wm = _mm256_add_pd(w, _mm256_mul_pd(_mm256_sub_pd(one, w), r));
        const __m256d nw = sel(wn, wm, is[s]);
        st(G.weight(s), sel(w, nw, mt));
        if (any(is[s])) {
          const __m256d rn = counting ? reciprocal(ldc(G.count(s)), recip) : _mm256_div_pd(one, _mm256_mul_pd(nw, hist));
          r = sel(r, rn, is[s]);
          G.learn(s, d, r, is[s]);
        }
      }
    }

    // Fitness keys: skipped when the slots are provably in order, else divided out and sorted as
    // compare-exchanges.
    __m256d w[S], vs[S], live[S], sq[S];
    for (int s = 0; s < S; ++s) {
      vs[s] = ld(G.vsum(s));
      w[s] = ld(G.weight(s));
      sq[s] = _mm256_mul_pd(w[s], w[s]);
      const __m256d none = _mm256_or_pd(
          _mm256_castsi256_pd(_mm256_cvtepi32_epi64(_mm_cmpeq_epi32(ldc(G.count(s)), _mm_setzero_si128()))),
          _mm256_cmp_pd(vs[s], zero, _CMP_LE_OQ));
      live[s] = andnot(none, act);
    }
    bool ordered = true;
    for (int s = 1; s < S && ordered; ++s) {
      const __m256d front = _mm256_mul_pd(sq[s - 1], vs[s]), back = _mm256_mul_pd(sq[s], vs[s - 1]);
      const __m256d sure = _mm256_and_pd(
          _mm256_and_pd(_mm256_cmp_pd(back, _mm256_mul_pd(front, margin), _CMP_LT_OQ),
                        _mm256_cmp_pd(front, tiny, _CMP_GE_OQ)),
          _mm256_and_pd(_mm256_cmp_pd(front, huge, _CMP_LE_OQ), live[s - 1]));
      ordered = !any(andnot(_mm256_or_pd(sure, andnot(live[s], all)), act));
    }
    if (!ordered) {
      __m256d key[S];
      for (int s = 0; s < S; ++s) key[s] = any(live[s]) ? sel(zero, _mm256_div_pd(sq[s], vs[s]), live[s]) : zero;
      for (int a = 1; a < S; ++a) {
        for (int b = a; b > 0; --b) {
          const __m256d sw = _mm256_and_pd(_mm256_cmp_pd(key[b], key[b - 1], _CMP_GT_OQ), act);
          if (!any(sw)) continue;
          const __m256d kb = key[b];
          key[b] = sel(key[b], key[b - 1], sw);
          key[b - 1] = sel(key[b - 1], kb, sw);
          G.swap_down(b, sw);
        }
      }
    }

    const __m128i keep = narrow(andnot(act, all));
    const __m256d half = _mm256_set1_pd(0.5);
    for (int q = 0; q < 3; ++q) {
      store_bytes(p->bk[q] + i, _mm256_cvttpd_epi32(_mm256_add_pd(ld(G.mean(0, q)), half)), keep);
    }

    // Decision per lane; lanes where neither happens keep their fg.
    int32_t fg_word;
    memcpy(&fg_word, p->fg + i, 4);
    __m128i fg = _mm_cvtepu8_epi32(_mm_cvtsi32_si128(fg_word));
    __m256d undecided = act, sum = zero;
    for (int s = 0; s < S; ++s) {
      sum = _mm256_add_pd(sum, ordered ? w[s] : ld(G.weight(s)));
      const __m256d bg = _mm256_and_pd(undecided, _mm256_castsi256_pd(_mm256_cmpeq_epi64(m, _mm256_set1_epi64x(s))));
      undecided = andnot(bg, undecided);
      const __m256d fgl = _mm256_and_pd(undecided, _mm256_cmp_pd(sum, ratio, _CMP_GT_OQ));
      undecided = andnot(fgl, undecided);
      fg = _mm_blendv_epi8(fg, _mm_setzero_si128(), narrow(bg));
      fg = _mm_blendv_epi8(fg, _mm_set1_epi32(255), narrow(fgl));
      if (!any(undecided)) break;
    }
    fg = _mm_blendv_epi8(_mm_setzero_si128(), fg, narrow(act));
    const __m128i b = _mm_packus_epi16(_mm_packus_epi32(fg, fg), fg);
    const int32_t out = _mm_cvtsi128_si32(b);
    memcpy(p->fg + i, &out, 4);
  }
  return i - begin;
}

}  // namespace vorn
