// The mixture-of-Gaussians pass, written as the rule: one pixel at a time, every double operation in the order
// the model defines it.
#include "bkmodel/bk_mog_kernel.h"

#include <string.h>

#include "core/cpu.h"

namespace vorn {

namespace {

constexpr double kFirstVar = 50.0;   // variance of every slot after the first frame
constexpr double kDecay = 0.9995;    // weights of the survivors when a slot is replaced after the counting phase
constexpr double kBackground = 0.7;  // weight share that makes up the background

// One pixel's view into its group: lane l of the hot record and of each slot's Gaussians.
struct pixel {
  mog_hot *h;
  mog_gauss *g[kMogComponents];
  int l;

  double &weight(int s) const { return h->weight[s][l]; }
  double &vsum(int s) const { return h->vsum[s][l]; }
  uint32_t &count(int s) const { return h->count[s][l]; }
  double &mean(int s, int q) const { return g[s]->mean[q][l]; }
  double &var(int s, int q) const { return g[s]->var[q][l]; }

  void set(int s, const double c[3], double v) const {
    for (int q = 0; q < 3; ++q) {
      mean(s, q) = c[q];
      var(s, q) = v;
    }
    vsum(s) = v + v + v;
  }
  // Moves slot s towards the colour at rate r (d = colour - mean).
  void learn(int s, const double d[3], double r) const {
    for (int q = 0; q < 3; ++q) {
      mean(s, q) += r * d[q];
      var(s, q) += (d[q] * d[q] - var(s, q)) * r;
    }
    vsum(s) = var(s, 0) + var(s, 1) + var(s, 2);
  }
  void swap_down(int s) const {  // exchanges slots s and s - 1
    auto x = [](auto &a, auto &b) {
      auto t = a;
      a = b;
      b = t;
    };
    x(weight(s), weight(s - 1));
    x(vsum(s), vsum(s - 1));
    x(count(s), count(s - 1));
    for (int q = 0; q < 3; ++q) {
      x(mean(s, q), mean(s - 1, q));
      x(var(s, q), var(s - 1, q));
    }
  }
};

inline pixel pixel_at(const mog_state *s, size_t i) {
  const size_t grp = i / kMogLanes;
  pixel p;
  p.h = &s->hot[grp];
  for (int k = 0; k < kMogComponents; ++k) p.g[k] = &s->gauss[k * s->groups + grp];
  p.l = (int)(i % kMogLanes);
  return p;
}

inline uint8_t mean_byte(double mean) { return (uint8_t)(int32_t)(mean + 0.5); }

}  // namespace

size_t mog_state_bytes(size_t npix) {
  const size_t groups = (npix + kMogLanes - 1) / kMogLanes;
  return groups * (sizeof(mog_hot) + kMogComponents * sizeof(mog_gauss));
}

void mog_state_bind(mog_state *s, void *block, size_t npix) {
  s->groups = (npix + kMogLanes - 1) / kMogLanes;
  s->hot = static_cast<mog_hot *>(block);
  s->gauss = reinterpret_cast<mog_gauss *>(static_cast<uint8_t *>(block) + s->groups * sizeof(mog_hot));
}

void mog_init_state(mog_state *s, const uint8_t *const c3[3], size_t begin, size_t end) {
  for (size_t i = begin; i < end; ++i) {
    const pixel x = pixel_at(s, i);
    const double c[3] = {(double)c3[0][i], (double)c3[1][i], (double)c3[2][i]};
    x.set(0, c, kFirstVar);
    x.count(0) = 1;
    x.weight(0) = 1.0;
    for (int k = 1; k < kMogComponents; ++k) {
      for (int q = 0; q < 3; ++q) x.var(k, q) = kFirstVar;
      x.vsum(k) = x.var(k, 0) + x.var(k, 1) + x.var(k, 2);
    }
  }
}

void mog_clear_state(mog_state *s, size_t begin, size_t end) {
  if (begin >= end) return;
  const size_t g0 = begin / kMogLanes, g1 = (end + kMogLanes - 1) / kMogLanes;
  memset(&s->hot[g0], 0, (g1 - g0) * sizeof(mog_hot));
  for (int k = 0; k < kMogComponents; ++k) memset(&s->gauss[k * s->groups + g0], 0, (g1 - g0) * sizeof(mog_gauss));
}

void mog_init_pixels(mog_state *s, const mog_planes *p, size_t begin, size_t end) {
  mog_init_state(s, p->c, begin, end);
  for (size_t i = begin; i < end; ++i) {
    p->fg[i] = 0;
    for (int q = 0; q < 3; ++q) p->bk[q][i] = p->c[q][i];
  }
}

void mog_update_pixels_c(mog_state *s, const mog_planes *p, size_t begin, size_t end, uint32_t n,
                         const mog_consts *k) {
  const bool counting = n < k->history_len_u;
  for (size_t i = begin; i < end; ++i) {
    if (p->mask[i] == 0) {
      p->fg[i] = 0;
      continue;
    }
    const pixel x = pixel_at(s, i);
    const double c[3] = {(double)p->c[0][i], (double)p->c[1][i], (double)p->c[2][i]};

    // Match: the first slot, used or not, whose squared distance is within factor * variance sum.
    int m = -1;
    double d[3] = {0, 0, 0};
    for (int j = 0; j < kMogComponents; ++j) {
      const double e0 = c[0] - x.mean(j, 0), e1 = c[1] - x.mean(j, 1), e2 = c[2] - x.mean(j, 2);
      const double dist = e0 * e0 + e1 * e1 + e2 * e2;
      if (dist < k->match_factor * x.vsum(j)) {
        m = j;
        d[0] = e0;
        d[1] = e1;
        d[2] = e2;
        break;
      }
    }

    if (m < 0) {
      // Slot 4 gives way to the new colour.
      x.set(4, c, k->init_var);
      x.count(4) = 1;
      const uint32_t S = x.count(0) + x.count(1) + x.count(2) + x.count(3) + 1;
      if (counting) {
        for (int j = 0; j < kMogComponents; ++j) x.weight(j) = (double)x.count(j) / (double)S;
      } else {
        x.weight(4) = 1.0 / (double)S;
        for (int j = 0; j < 4; ++j) x.weight(j) *= kDecay;
      }
    } else if (counting) {
      x.count(m) += 1;
      const uint32_t T = x.count(0) + x.count(1) + x.count(2) + x.count(3) + x.count(4);
      // The rate carried past the matched slot is its own 1 / count.
      double r = 1.0 / (double)T;
      for (int j = 0; j < kMogComponents; ++j) {
        if (j != m) {
          x.weight(j) = x.weight(j) - x.weight(j) * r;
        } else {
          x.weight(j) = x.weight(j) + (1.0 - x.weight(j)) * r;
          r = 1.0 / (double)x.count(j);
          x.learn(j, d, r);
        }
      }
    } else {
      double r = 1.0 / k->history_len;
      for (int j = 0; j < kMogComponents; ++j) {
        if (j != m) {
          x.weight(j) = (1.0 - r) * x.weight(j);
        } else {
          x.weight(j) = x.weight(j) + (1.0 - x.weight(j)) * r;
          r = 1.0 / (x.weight(j) * k->history_len);
          x.learn(j, d, r);
        }
      }
    }

    // Fitness keys and a stable insertion sort, best first. The match stays with its slot position.
    double key[kMogComponents];
    for (int j = 0; j < kMogComponents; ++j) {
      key[j] = (x.count(j) == 0 || x.vsum(j) <= 0.0) ? 0.0 : x.weight(j) * x.weight(j) / x.vsum(j);
    }
    for (int a = 1; a < kMogComponents; ++a) {
      for (int b = a; b > 0 && key[b] > key[b - 1]; --b) {
        const double t = key[b];
        key[b] = key[b - 1];
        key[b - 1] = t;
        x.swap_down(b);
      }
    }

    for (int q = 0; q < 3; ++q) p->bk[q][i] = mean_byte(x.mean(0, q));

    // Background when the matched slot comes before the weights pass the ratio; with neither, fg is kept.
    double sum = 0.0;
    for (int j = 0; j < kMogComponents; ++j) {
      sum += x.weight(j);
      if (j == m) {
        p->fg[i] = 0;
        break;
      }
      if (sum > kBackground) {
        p->fg[i] = 255;
        break;
      }
    }
  }
}

const MogKernels &mog_kernels() {
  static const MogKernels kAvx512 = {mog_update_pixels_avx512}, kAvx2 = {mog_update_pixels_avx2}, kPlain = {nullptr};
  const uint32_t f = cpu_flags();
  return (f & kCpuAvx512) ? kAvx512 : (f & kCpuAvx2) ? kAvx2 : kPlain;
}

void mog_update_pixels(mog_state *s, const mog_planes *p, size_t begin, size_t end, uint32_t n,
                       const mog_consts *k) {
  const MogKernels &t = mog_kernels();
  if (t.update) begin += t.update(s, p, begin, end, n, k);
  mog_update_pixels_c(s, p, begin, end, n, k);
}

const double *mog_reciprocals() {
  struct table {
    double r[kMogReciprocals];
    table() {
      r[0] = 0.0;
      for (uint32_t k = 1; k < kMogReciprocals; ++k) r[k] = 1.0 / (double)k;
    }
  };
  static const table t;
  return t.r;
}

}  // namespace vorn
