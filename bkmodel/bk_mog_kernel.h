// The mixture-of-Gaussians state and its per-frame pass, independent of the model record.
//
// Each pixel has five colour Gaussians over three planes, kept sorted best first. The state is split for the
// memory traffic of one pass: a small hot record per pixel (weights, variance sums, counts) that every frame
// reads and writes, and the means and variances in one plane per sorted slot, of which a typical pixel only
// touches slot 0. The variance sum (var0 + var1 + var2, in that order) is stored whenever the variances change,
// so the match test and the fitness key read one double instead of three.
#ifndef VORN_BKMODEL_BK_MOG_KERNEL_H
#define VORN_BKMODEL_BK_MOG_KERNEL_H

#include <stddef.h>
#include <stdint.h>

namespace vorn {

constexpr int kMogComponents = 5;
constexpr int kMogLanes = 8;  // pixels per group

// Pixels are stored in groups of eight, each field as eight lanes, so a SIMD kernel loads one field of four or
// eight pixels at once and the plain kernel indexes the lane. Hot fields of a group:
struct mog_hot {
  double weight[kMogComponents][kMogLanes];
  double vsum[kMogComponents][kMogLanes];
  uint32_t count[kMogComponents][kMogLanes];
};

// Means and variances of one slot of a group.
struct mog_gauss {
  double mean[3][kMogLanes];
  double var[3][kMogLanes];
};

// One block holds the groups' hot records followed by kMogComponents planes of the groups' Gaussians.
struct mog_state {
  mog_hot *hot;
  mog_gauss *gauss;  // slot s of group g at gauss[s * groups + g]
  size_t groups;
};

size_t mog_state_bytes(size_t npix);
// Points the state's arrays into a block of mog_state_bytes(npix) bytes.
void mog_state_bind(mog_state *s, void *block, size_t npix);

// Tuning constants, read from the private record at the start of every pass.
struct mog_consts {
  double match_factor;   // 25: a match needs D < factor * variance sum
  double init_var;       // 900: variance of a new component, per plane
  double history_len;    // L
  uint32_t history_len_u;
};

struct mog_planes {
  const uint8_t *c[3];  // current frame
  uint8_t *bk[3];       // background planes
  uint8_t *fg;
  const uint8_t *mask;  // region of interest, 0 = outside
};

// The mixture of pixels [begin, end) as the first frame leaves it, from that frame's colours c: slot 0 takes the
// colour with weight 1 and count 1, every slot's variance becomes 50; the other fields keep their values (zero
// in a fresh or cleared state).
void mog_init_state(mog_state *s, const uint8_t *const c[3], size_t begin, size_t end);

// Zeroes the state of the groups holding pixels [begin, end).
void mog_clear_state(mog_state *s, size_t begin, size_t end);

// First frame: slot 0 takes the pixel's colour with weight 1 and count 1, every slot's variance becomes 50,
// fg = 0 and bk = the frame, for every pixel whatever the mask.
void mog_init_pixels(mog_state *s, const mog_planes *p, size_t begin, size_t end);

// One update of pixels [begin, end) with n = frames completed before this one: the plain rule.
void mog_update_pixels_c(mog_state *s, const mog_planes *p, size_t begin, size_t end, uint32_t n,
                         const mog_consts *k);

// A vector update: the same result as the plain rule for a prefix of [begin, end) made of whole runs of its
// width from `begin`; returns how many pixels it did (0 when `begin` is not on a run boundary).
using mog_update_fn = size_t (*)(mog_state *s, const mog_planes *p, size_t begin, size_t end, uint32_t n,
                                 const mog_consts *k);

size_t mog_update_pixels_avx2(mog_state *s, const mog_planes *p, size_t begin, size_t end, uint32_t n,
                              const mog_consts *k);
size_t mog_update_pixels_avx512(mog_state *s, const mog_planes *p, size_t begin, size_t end, uint32_t n,
                                const mog_consts *k);

// The family's table: a vector update that handles whole runs from `begin` and returns how many pixels it did,
// leaving the rest to the plain rule. A null entry does none.
struct MogKernels {
  mog_update_fn update;
};

// The table for this CPU (honours cpu_set_mask): AVX-512, else AVX2, else null.
const MogKernels &mog_kernels();

// The update with the fastest kernel this CPU has (equal output to mog_update_pixels_c).
void mog_update_pixels(mog_state *s, const mog_planes *p, size_t begin, size_t end, uint32_t n,
                       const mog_consts *k);

// 1 / k as the division gives it, for 0 < k < kMogReciprocals (entry 0 is 0): the counting phase's rates
// 1 / T and 1 / count are looked up instead of divided.
constexpr uint32_t kMogReciprocals = 4096;
const double *mog_reciprocals();

// The vector kernels skip the five key divisions of a pixel whose slots are provably in order already. With
// a = fl(w_a * w_a), b = fl(w_b * w_b) for adjacent slots and va, vb their variance sums (both > 0), the sort
// cannot swap them when b / vb <= a / va, since rounding keeps that order; the kernels accept it when
// fl(b * va) < fl(fl(a * vb) * kMogOrderMargin) with fl(a * vb) between kMogOrderTiny and kMogOrderHuge, where
// three roundings cannot reverse it. A dead slot (key 0) never moves up; a live slot behind a dead one is unsure.
constexpr double kMogOrderMargin = 1.0 - 1.0 / 1125899906842624.0;  // 1 - 2^-50
constexpr double kMogOrderTiny = 8.6e-272;                            // about 2^-900: the products stay normal
constexpr double kMogOrderHuge = 1.0e270;

}  // namespace vorn

#endif
