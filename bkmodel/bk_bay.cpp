// The histogram-mode model: the background is, per pixel and plane, the most frequent of 32 bins of 8 levels.
#include <string.h>

#include "bkmodel/bk_model.h"
#include "core/memory.h"

using namespace vorn;

namespace {

constexpr size_t kBins = 32;                // per plane, 8 levels each
constexpr size_t kPerPixel = 3 * kBins;     // plane 0's bins first
constexpr uint32_t kSetBkWeight = 100;

inline uint32_t *hist_of(vorn_bk_model *m) {
  return static_cast<uint32_t *>(static_cast<bk_ext_buffer *>(m->ext)->buffer);
}

// The first bin with the largest count.
inline size_t mode_bin(const uint32_t *h) {
  size_t best = 0;
  for (size_t b = 1; b < kBins; ++b) {
    if (h[b] > h[best]) best = b;
  }
  return best;
}

}  // namespace

extern "C" {

VORN_API vorn_result bk_model_create_bay(vorn_bk_model_init_params *params, void **out_handle) {
  return bk_create_with_buffer(params, out_handle, 1,
                               [](const vorn_bk_model *m) -> size_t { return kPerPixel * sizeof(uint32_t) * bk_pixels(m); });
}

VORN_API vorn_result bk_model_process_bay(vorn_bk_model *m, uint8_t *frame, uint32_t frame_type) {
  if (!m || !frame) return VORN_E_NULL;
  const vorn_result r = bk_model_process(m, frame, frame_type);
  if (r == VORN_E_SCENE_CHANGE || r == VORN_E_NOMEM) return r;  // the ring does not advance
  const uint32_t N = bk_learn_frames(m, 50);
  if (m->frame_count >= N) bk_mask_against_bk(m);
  const vorn_image *c = bk_current(m);
  const size_t n = bk_pixels(m);
  uint32_t *h = hist_of(m);
  for (size_t i = 0; i < n; ++i, h += kPerPixel) {
    for (int q = 0; q < 3; ++q) {
      uint32_t *hq = h + q * kBins;
      hq[c->plane[q][i] >> 3]++;
      m->bk->plane[q][i] = (uint8_t)(8 * mode_bin(hq));
    }
  }
  vorn_result v = VORN_E_LEARNING;
  if (m->frame_count >= N) {
    m->bk_count = 1;
    v = VORN_OK;
  }
  return bk_model_process_end(m, v);
}

// The set background weighs into the first pixel's histogram only: its own bins gain 100, width x height times.
VORN_API vorn_result bk_model_set_bk_bay(vorn_bk_model *m, uint8_t *frame, uint32_t frame_type) {
  const vorn_result r = bk_model_set_bk(m, frame, frame_type);
  if (r != VORN_OK) return r;
  const size_t n = bk_pixels(m);
  if (n == 0) return VORN_OK;
  uint32_t *h = hist_of(m);
  for (int q = 0; q < 3; ++q) h[q * kBins + (m->bk->plane[q][0] >> 3)] += kSetBkWeight * (uint32_t)n;
  return VORN_OK;
}

VORN_API vorn_result bk_model_reset_bay(vorn_bk_model *m) {
  if (!m) return VORN_E_NULL;
  bk_model_reset(m);
  memset(hist_of(m), 0, kPerPixel * bk_pixels(m) * sizeof(uint32_t));
  return VORN_OK;
}

}  // extern "C"
