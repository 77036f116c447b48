// The mixture-of-Gaussians model: five colour Gaussians per pixel, learned by counting for the first frames and
// by exponential forgetting afterwards.
//
// Only pixels that the region mask has covered since the first frame hold live state; the rest keep the state
// the first frame gave them, which is rebuilt from that frame's colours when the mask widens over them. The
// first frame stays in its ring slot until the ring comes back to it and is copied aside then.
#include <string.h>

#include "bkmodel/bk_mog_cover.h"
#include "bkmodel/bk_mog_kernel.h"
#include "bkmodel/bk_model.h"
#include "core/memory.h"
#include "core/plain.h"

using namespace vorn;

namespace {

enum SeedWhere : uint32_t {
  kSeedNone = 0,  // no first frame yet, or every pixel live
  kSeedRing,      // in history[seed_slot]
  kSeedCopy,      // in seed
};

// Private record: the back pointer, the mixtures, then the tuning words (18 words in all), then the live-pixel
// bookkeeping.
struct mog_ext {
  vorn_bk_model *model;
  void *components;
  uint32_t bg_ratio_percent;  // stored; the decision uses the fixed ratio 0.7
  uint32_t reserved;
  uint32_t history_len;       // length of the counting phase, inverse rate of forgetting
  uint32_t match_sigma_x100;  // match factor (x / 100)^2 on the variance sum
  uint32_t init_sigma;        // a new Gaussian's variance is this squared
  uint32_t spare[11];
  pix_run *live;              // pixels with live state since the first frame
  size_t live_n;
  pix_run *runs;              // this frame's mask runs
  size_t runs_n;
  pix_run *scratch;           // a union being built
  uint8_t *seed[3];           // the first frame once its ring slot is reused
  uint32_t seed_slot;
  uint32_t seed_where;
};

inline mog_ext *ext_of(vorn_bk_model *m) { return static_cast<mog_ext *>(m->ext); }

mog_state state_of(vorn_bk_model *m) {
  mog_state s;
  mog_state_bind(&s, ext_of(m)->components, bk_pixels(m));
  return s;
}

mog_planes planes_of(vorn_bk_model *m) {
  mog_planes p;
  const vorn_image *c = bk_current(m);
  for (int q = 0; q < 3; ++q) {
    p.c[q] = c->plane[q];
    p.bk[q] = m->bk->plane[q];
  }
  p.fg = m->fg->data;
  p.mask = m->mask->data;
  return p;
}

// The runs of this frame's mask (every pixel on the plain path), on group boundaries.
void find_runs(vorn_bk_model *m, mog_ext *e) {
  const size_t npix = bk_pixels(m);
  if (plain_paths()) {  // every pixel live, as the rule has it
    e->runs[0] = pix_run{0, (uint32_t)npix};
    e->runs_n = npix ? 1 : 0;
  } else {
    e->runs_n = mask_runs(m->mask->data, npix, kMogLanes, e->runs);
  }
}

// The clean-up after the update: the rows the mask's runs span, and fg is 0 outside them (the update and the
// first frame write 0 wherever the mask is). The plain path leaves the clean-up to its own scan.
void tell_rows(vorn_bk_model *m, const mog_ext *e) {
  if (plain_paths()) return;
  const uint32_t w = m->fg->width;
  m->rows_known = m->fg_zero_outside = 1;
  m->row_first = m->row_end = 0;
  if (e->runs_n && w) {
    m->row_first = e->runs[0].begin / w;
    m->row_end = (e->runs[e->runs_n - 1].end - 1) / w + 1;
  }
}

// live <- live ∪ runs.
void widen_live(mog_ext *e) {
  e->live_n = runs_union(e->live, e->live_n, e->runs, e->runs_n, e->scratch);
  pix_run *t = e->live;
  e->live = e->scratch;
  e->scratch = t;
}

// Before the ring overwrites the slot that holds the first frame, the frame is copied aside.
void keep_seed(vorn_bk_model *m, mog_ext *e, const uint8_t *frame) {
  if (e->seed_where != kSeedRing || !frame || m->cur_index != e->seed_slot) return;
  const vorn_image *src = m->history[e->seed_slot];
  for (int q = 0; q < 3; ++q) memcpy(e->seed[q], src->plane[q], bk_pixels(m));
  e->seed_where = kSeedCopy;
}

// First frame: every pixel's background is its colour and its mask byte 0; live pixels (those live before, as
// after a wrap of the frame counter, and those under the mask) get their state, the others keep it implied.
void first_frame(vorn_bk_model *m, mog_ext *e, mog_state *s, const mog_planes *p) {
  const size_t npix = bk_pixels(m);
  widen_live(e);
  for (size_t k = 0; k < e->live_n; ++k) mog_init_state(s, p->c, e->live[k].begin, e->live[k].end);
  memset(p->fg, 0, npix);
  for (int q = 0; q < 3; ++q) memcpy(p->bk[q], p->c[q], npix);
  const bool all = e->live_n == 1 && e->live[0].begin == 0 && e->live[0].end == npix;
  e->seed_where = all ? kSeedNone : kSeedRing;
  e->seed_slot = m->cur_index;
}

// Pixels the mask now covers for the first time get the state the first frame gave them.
void wake_pixels(mog_ext *e, mog_state *s, vorn_bk_model *m) {
  if (runs_cover(e->live, e->live_n, e->runs, e->runs_n)) return;
  const vorn_image *ring = m->history[e->seed_slot];
  const uint8_t *c[3];
  for (int q = 0; q < 3; ++q) c[q] = e->seed_where == kSeedCopy ? e->seed[q] : ring->plane[q];
  runs_uncovered(e->live, e->live_n, e->runs, e->runs_n,
                 [&](uint32_t b, uint32_t f) { mog_init_state(s, c, b, f); });
  widen_live(e);
}

}  // namespace

extern "C" {

VORN_API vorn_result bk_model_create_mog(vorn_bk_model_init_params *params, void **out_handle) {
  void *ext;
  vorn_result r = bk_create_with_ext(params, out_handle, sizeof(mog_ext), 1, 0, &ext);
  if (r != VORN_OK) return r;
  vorn_bk_model *m = static_cast<vorn_bk_model *>(*out_handle);
  mog_ext *e = static_cast<mog_ext *>(ext);
  e->bg_ratio_percent = 70;
  e->history_len = 2000;
  e->match_sigma_x100 = 500;
  e->init_sigma = 30;
  // One block: the mixtures, three run lists and the three planes of the first frame's copy. It is zeroed but
  // untouched: only the pages of live pixels (and of the copy, once made) are ever written.
  const size_t npix = bk_pixels(m), state = mog_state_bytes(npix), runs = max_runs(npix, kMogLanes);
  const size_t bytes = state + 3 * runs * sizeof(pix_run) + 3 * npix;
  if (bytes > 0xFFFFFFFFu || !(e->components = block_alloc(bytes))) {
    bk_model_destroy_mog(m);
    *out_handle = nullptr;
    return VORN_E_NOMEM;
  }
  uint8_t *at = static_cast<uint8_t *>(e->components) + state;
  pix_run **lists[3] = {&e->live, &e->runs, &e->scratch};
  for (pix_run **l : lists) {
    *l = reinterpret_cast<pix_run *>(at);
    at += runs * sizeof(pix_run);
  }
  for (int q = 0; q < 3; ++q) e->seed[q] = at + q * npix;
  return VORN_OK;
}

VORN_API vorn_result bk_model_process_mog(vorn_bk_model *m, uint8_t *frame, uint32_t frame_type) {
  if (!m || !frame) return VORN_E_NULL;
  mog_ext *e = ext_of(m);
  keep_seed(m, e, frame);
  const vorn_result r = bk_model_process(m, frame, frame_type);
  if (r == VORN_E_SCENE_CHANGE || r == VORN_E_NOMEM) return r;  // the ring does not advance
  mog_state s = state_of(m);
  const mog_planes p = planes_of(m);
  find_runs(m, e);
  tell_rows(m, e);
  if (m->frame_count == 0) {
    first_frame(m, e, &s, &p);
    return bk_model_process_end(m, VORN_OK);
  }
  wake_pixels(e, &s, m);
  mog_consts k;
  const double sigma = (double)e->match_sigma_x100, init = (double)e->init_sigma;
  k.match_factor = sigma * sigma / 10000.0;
  k.init_var = init * init;
  k.history_len = (double)e->history_len;
  k.history_len_u = e->history_len;
  zero_outside(p.fg, bk_pixels(m), e->runs, e->runs_n);
  for (size_t i = 0; i < e->runs_n; ++i) mog_update_pixels(&s, &p, e->runs[i].begin, e->runs[i].end, m->frame_count, &k);
  vorn_result v = VORN_E_LEARNING;
  if (m->frame_count >= bk_learn_frames(m, 50)) {
    m->bk_count = 1;
    v = VORN_OK;
  }
  return bk_model_process_end(m, v);
}

VORN_API vorn_result bk_model_reset_mog(vorn_bk_model *m) {
  if (!m) return VORN_E_NULL;
  bk_model_reset(m);
  mog_ext *e = ext_of(m);
  mog_state s = state_of(m);
  for (size_t k = 0; k < e->live_n; ++k) mog_clear_state(&s, e->live[k].begin, e->live[k].end);
  e->live_n = 0;
  e->seed_where = kSeedNone;
  return VORN_OK;
}

}  // extern "C"
