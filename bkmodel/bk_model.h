// The background-model record and what the variants share: parameter decoding, the ring's previous slot, the
// private-record helpers and the mask computation against the background.
#ifndef VORN_BKMODEL_BK_MODEL_H
#define VORN_BKMODEL_BK_MODEL_H

#include <stddef.h>
#include <stdint.h>

#include "bkmodel/bk_mean_kernel.h"
#include "vorn_bk_model.h"

struct vorn_bk_model {
  void *ext;                 // the variant's private record (the model itself until a variant replaces it)
  vorn_image **history;      // ring of history_count frames
  vorn_mono_image *fg;       // foreground mask
  vorn_mono_image *work;     // scratch mask of the clean-up
  vorn_image *bk;            // background
  uint32_t history_count;
  uint32_t frame_count;      // frames completed since create or reset
  uint32_t cur_index;        // ring slot of the next frame
  uint32_t bk_count;         // backgrounds set or learned; 0: none yet
  uint32_t param[VORN_BK_PARAM_COUNT];
  uint32_t post_enable;      // 1: the morphological clean-up may run
  vorn_mono_image *edge_prev;
  vorn_mono_image *edge_cur;
  uint32_t edge_valid;       // edge_prev holds a frame's edges
  vorn_mono_image *mask;     // region of interest, 0 = outside
  // What the variant's update tells the clean-up of this frame (cleared after it): the rows holding every
  // region byte, [row_first, row_end), when rows_known; fg_zero_outside: fg is 0 wherever the region is.
  uint32_t rows_known, row_first, row_end;
  uint32_t fg_zero_outside;
};

namespace vorn {

// Private record of every variant with one per-pixel buffer: the back pointer, then the buffer.
struct bk_ext_buffer {
  vorn_bk_model *model;
  void *buffer;
};

// Difference threshold from the sensitivity parameter: s * 85 / 100 + 15 in unsigned 32-bit arithmetic, then
// clamped to 15..100.
inline uint32_t bk_threshold(const vorn_bk_model *m) {
  uint32_t t = m->param[VORN_BK_PARAM_SENSITIVITY] * 85u / 100u + 15u;
  if (t < 15) t = 15;
  if (t > 100) t = 100;
  return t;
}

// Learning length: the parameter, or `fallback` when it is 0.
inline uint32_t bk_learn_frames(const vorn_bk_model *m, uint32_t fallback) {
  uint32_t n = m->param[VORN_BK_PARAM_LEARN_FRAMES];
  return n ? n : fallback;
}

inline vorn_image *bk_current(const vorn_bk_model *m) { return m->history[m->cur_index]; }

// The ring slot before the current one (the last slot when the current one is 0).
inline vorn_image *bk_previous(const vorn_bk_model *m) {
  return m->history[m->cur_index ? m->cur_index - 1 : m->history_count - 1];
}

// The planes a running-mean pass reads and writes: the current frame, `prev` (when given), the model's
// foreground and region masks and its background.
inline bk_pass_planes bk_pass_planes_of(const vorn_bk_model *m, const vorn_image *prev = nullptr) {
  bk_pass_planes p = {};
  const vorn_image *c = bk_current(m);
  for (int q = 0; q < 3; ++q) {
    p.c[q] = c->plane[q];
    p.prev[q] = prev ? prev->plane[q] : nullptr;
    p.bk[q] = m->bk->plane[q];
  }
  p.fg = m->fg ? m->fg->data : nullptr;
  p.mask = m->mask ? m->mask->data : nullptr;
  return p;
}

// Integer part of v + 0.5 as a byte, for the non-negative running means (values outside 0..255 saturate).
inline uint8_t bk_round_byte(double v) {
  double r = v + 0.5;
  if (!(r >= 0.0)) return 0;
  if (r >= 255.0) return 255;
  return (uint8_t)(int)r;
}

// Converts a host frame into `image` through the frame-conversion table (frame type clamped to 4).
vorn_result bk_convert_frame(const uint8_t *frame, uint32_t frame_type, vorn_image *image);

// fg <- 255 where the summed plane difference of bk and the current frame reaches 3t / 2, else 0.
void bk_mask_against_bk(vorn_bk_model *m);

// Creates a model whose private record is `ext_size` zeroed bytes with the back pointer in its first word, sets
// post_enable and the sensitivity; *out_ext receives the private record. Result as the generic create, with the
// private record freed on failure.
vorn_result bk_create_with_ext(vorn_bk_model_init_params *params, void **out_handle, size_t ext_size,
                               uint32_t post_enable, uint32_t sensitivity, void **out_ext);

// Creates a model whose private record is a bk_ext_buffer holding one zeroed buffer of bytes_of(model) bytes.
// On failure everything is released and *out_handle is null.
vorn_result bk_create_with_buffer(vorn_bk_model_init_params *params, void **out_handle, uint32_t post_enable,
                                  size_t (*bytes_of)(const vorn_bk_model *m));

// Pixel count of the background image.
inline size_t bk_pixels(const vorn_bk_model *m) { return (size_t)m->bk->width * m->bk->height; }

// The shared destroys: generic destroy, then the private record's buffer (when `with_buffer`), then the record.
vorn_result bk_destroy_ext(vorn_bk_model *m, bool with_buffer);

}  // namespace vorn

#endif
