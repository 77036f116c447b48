// The block model: 4x4 blocks compared with the previous frame and, once valid, with the background. Its mask
// marks unchanged blocks with 255 and changed blocks with 0.
#include <string.h>

#include "bkmodel/bk_model.h"
#include "core/memory.h"

using namespace vorn;

namespace {

struct block_state {
  uint8_t changed;
  uint8_t stable;    // frames in a row that barely moved (8-bit, wraps)
  uint8_t bk_valid;  // the background holds this block
  uint8_t spare;
};

inline block_state *blocks_of(vorn_bk_model *m) {
  return static_cast<block_state *>(static_cast<bk_ext_buffer *>(m->ext)->buffer);
}

inline size_t block_count(const vorn_bk_model *m) { return (size_t)(m->bk->width / 4) * (m->bk->height / 4); }

// Sum over the 4x4 block at (x, y) and the three planes of |a - b|.
uint32_t block_sad(const vorn_image *a, const vorn_image *b, size_t x, size_t y, size_t w) {
  uint32_t sum = 0;
  for (int q = 0; q < 3; ++q) {
    for (size_t r = 0; r < 4; ++r) {
      const uint8_t *pa = a->plane[q] + (y + r) * w + x, *pb = b->plane[q] + (y + r) * w + x;
      for (int i = 0; i < 4; ++i) sum += (uint32_t)(pa[i] > pb[i] ? pa[i] - pb[i] : pb[i] - pa[i]);
    }
  }
  return sum;
}

void copy_block(const vorn_image *src, vorn_image *dst, size_t x, size_t y, size_t w) {
  for (int q = 0; q < 3; ++q) {
    for (size_t r = 0; r < 4; ++r) memcpy(dst->plane[q] + (y + r) * w + x, src->plane[q] + (y + r) * w + x, 4);
  }
}

void fill_block(uint8_t *fg, size_t x, size_t y, size_t w, uint8_t v) {
  for (size_t r = 0; r < 4; ++r) memset(fg + (y + r) * w + x, v, 4);
}

}  // namespace

extern "C" {

VORN_API vorn_result bk_model_create_block(vorn_bk_model_init_params *params, void **out_handle) {
  return bk_create_with_buffer(params, out_handle, 0,
                               [](const vorn_bk_model *m) -> size_t { return block_count(m) * sizeof(block_state); });
}

VORN_API vorn_result bk_model_process_block(vorn_bk_model *m, uint8_t *frame, uint32_t frame_type) {
  if (!m || !frame) return VORN_E_NULL;
  const vorn_result r = bk_model_process(m, frame, frame_type);
  if (r == VORN_E_SCENE_CHANGE || r == VORN_E_NOMEM) return r;  // the ring does not advance
  if (m->frame_count < 2) return bk_model_process_end(m, VORN_E_LEARNING);
  const vorn_image *cur = bk_current(m), *prev = bk_previous(m);
  const uint32_t N = bk_learn_frames(m, 50), t = bk_threshold(m);
  const size_t w = m->bk->width, bw = w / 4, bh = m->bk->height / 4;
  block_state *b = blocks_of(m);
  uint32_t valid = 0;
  for (size_t by = 0; by < bh; ++by) {
    for (size_t bx = 0; bx < bw; ++bx, ++b) {
      const size_t x = bx * 4, y = by * 4;
      const uint32_t d_prev = block_sad(cur, prev, x, y, w);
      uint32_t d = d_prev / 24;
      if (b->bk_valid) {
        d = block_sad(cur, m->bk, x, y, w) / 24;
        valid++;
      }
      if (d_prev / 24 < 4) b->stable++;
      if (b->stable > N) {
        copy_block(cur, m->bk, x, y, w);
        b->stable = 0;
      }
      if (d >= t) {
        b->changed = 1;
        b->stable = 0;
      } else {
        b->changed = 0;
      }
      fill_block(m->fg->data, x, y, w, b->changed ? 0 : 255);
    }
  }
  // Blocks are counted against pixels, so only images without pixels ever pass this.
  if (valid >= m->bk->width * m->bk->height) m->bk_count = 1;
  return bk_model_process_end(m, VORN_OK);
}

// Marks (height / 4)^2 block records valid in row order: the height serves for both loop counts.
VORN_API vorn_result bk_model_set_bk_block(vorn_bk_model *m, uint8_t *frame, uint32_t frame_type) {
  const vorn_result r = bk_model_set_bk(m, frame, frame_type);
  if (r != VORN_OK) return r;
  if (m->bk->height < 4) return VORN_OK;
  const size_t side = m->bk->height / 4, n = block_count(m);
  block_state *b = blocks_of(m);
  for (size_t i = 0; i < side * side && i < n; ++i) b[i].bk_valid = 1;
  return VORN_OK;
}

}  // extern "C"
