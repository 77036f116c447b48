// The bay-mean model: a histogram mode over the first frames, then, with the histograms released, a running mean
// that learns only at background pixels inside the region.
#include <string.h>

#include "bkmodel/bk_mean_kernel.h"
#include "bkmodel/bk_model.h"
#include "core/memory.h"

using namespace vorn;

namespace {

constexpr size_t kBins = 64;             // per plane, 4 levels each
constexpr size_t kPerPixel = 3 * kBins;  // plane 0's bins first

struct baymean_ext {
  vorn_bk_model *model;
  uint16_t *hist;  // released at the switch to the running mean
  double *acc;     // three planes of running means
};

inline baymean_ext *ext_of(vorn_bk_model *m) { return static_cast<baymean_ext *>(m->ext); }

inline size_t mode_bin(const uint16_t *h) {
  size_t best = 0;
  for (size_t b = 1; b < kBins; ++b) {
    if (h[b] > h[best]) best = b;
  }
  return best;
}

// Counts the frame into the histograms of the region's pixels; on the last histogram frame the modes become the
// background and the running means start from them.
void histogram_phase(vorn_bk_model *m, baymean_ext *e, bool last) {
  const vorn_image *c = bk_current(m);
  const uint8_t *mask = m->mask->data;
  const size_t n = bk_pixels(m);
  uint16_t *h = e->hist;
  for (size_t i = 0; i < n; ++i, h += kPerPixel) {
    if (mask[i] == 0) continue;
    for (int q = 0; q < 3; ++q) h[q * kBins + (c->plane[q][i] >> 2)]++;
    if (!last) continue;
    for (int q = 0; q < 3; ++q) {
      const uint8_t v = (uint8_t)(4 * mode_bin(h + q * kBins));
      m->bk->plane[q][i] = v;
      e->acc[q * n + i] = (double)v;
    }
  }
}

}  // namespace

extern "C" {

VORN_API vorn_result bk_model_create_baymean(vorn_bk_model_init_params *params, void **out_handle) {
  void *ext;
  vorn_result r = bk_create_with_ext(params, out_handle, sizeof(baymean_ext), 1, 0, &ext);
  if (r != VORN_OK) return r;
  vorn_bk_model *m = static_cast<vorn_bk_model *>(*out_handle);
  baymean_ext *e = static_cast<baymean_ext *>(ext);
  const size_t n = bk_pixels(m);
  if (!(e->hist = block_new<uint16_t>(kPerPixel * n)) || !(e->acc = block_new<double>(3 * n))) {
    bk_model_destroy_baymean(m);
    *out_handle = nullptr;
    return VORN_E_NOMEM;
  }
  return VORN_OK;
}

VORN_API vorn_result bk_model_destroy_baymean(vorn_bk_model *m) {
  if (!m) return VORN_E_NULL;
  baymean_ext *e = static_cast<baymean_ext *>(m->ext);
  bk_model_destroy(m);
  if (e && (void *)e != (void *)m) {
    block_release(e->hist);
    block_release(e->acc);
    vorn_free(e);
  }
  return VORN_OK;
}

VORN_API vorn_result bk_model_process_baymean(vorn_bk_model *m, uint8_t *frame, uint32_t frame_type) {
  if (!m || !frame) return VORN_E_NULL;
  const vorn_result r = bk_model_process(m, frame, frame_type);
  if (r == VORN_E_SCENE_CHANGE || r == VORN_E_NOMEM) return r;  // the ring does not advance
  baymean_ext *e = ext_of(m);
  const uint32_t M = bk_learn_frames(m, 150);
  if (m->frame_count <= M) {
    if (!e->hist) return bk_model_process_end(m, VORN_OK);
    histogram_phase(m, e, m->frame_count == M);
    return bk_model_process_end(m, VORN_E_LEARNING);
  }
  block_release(e->hist);
  bk_mask_against_bk(m);
  const bk_pass_planes p = bk_pass_planes_of(m);
  const size_t n = bk_pixels(m);
  baymean_update(e->acc, n, &p, 0, n);
  m->bk_count = 1;
  return bk_model_process_end(m, VORN_OK);
}

// Every pixel's histogram gains M at the bins of the first pixel's background values.
VORN_API vorn_result bk_model_set_bk_baymean(vorn_bk_model *m, uint8_t *frame, uint32_t frame_type) {
  const vorn_result r = bk_model_set_bk(m, frame, frame_type);
  if (r != VORN_OK) return r;
  baymean_ext *e = ext_of(m);
  if (!e->hist) return VORN_E_PARAM;
  const size_t n = bk_pixels(m);
  if (n == 0) return VORN_OK;
  const uint16_t M = (uint16_t)bk_learn_frames(m, 150);
  size_t bin[3];
  for (int q = 0; q < 3; ++q) bin[q] = q * kBins + (m->bk->plane[q][0] >> 2);
  uint16_t *h = e->hist;
  for (size_t i = 0; i < n; ++i, h += kPerPixel) {
    for (int q = 0; q < 3; ++q) h[bin[q]] = (uint16_t)(h[bin[q]] + M);
  }
  return VORN_OK;
}

VORN_API vorn_result bk_model_reset_baymean(vorn_bk_model *m) {
  if (!m) return VORN_E_NULL;
  bk_model_reset(m);
  baymean_ext *e = ext_of(m);
  if (e->hist) memset(e->hist, 0, kPerPixel * bk_pixels(m) * sizeof(uint16_t));
  return VORN_OK;
}

}  // extern "C"
