// Frame intake with the scene-cut test, and the tail of every update: shadow removal, morphological clean-up
// and the ring's advance.
#include <string.h>

#include "bkmodel/bk_model.h"
#include "color/frame_table.h"
#include "core/plain.h"
#include "vorn_imgproc.h"

namespace vorn {

namespace {

inline uint32_t byte0(uint32_t v) { return v & 0xFFu; }
inline uint32_t byte1(uint32_t v) { return (v >> 8) & 0xFFu; }

// Edge maps are made on first use and kept until destroy; the previous frame's map is compared with the
// current one, then the two swap roles.
vorn_result scene_cut_edges(vorn_bk_model *m, vorn_image *cur) {
  if (!m->edge_prev) m->edge_prev = vorn_mono_image_alloc(m->fg->width, m->fg->height);
  if (!m->edge_cur) m->edge_cur = vorn_mono_image_alloc(m->fg->width, m->fg->height);
  if (!m->edge_prev || !m->edge_cur) return VORN_E_NOMEM;
  // An edge map that could not be made (the luma of an RGB frame) leaves both maps as they were.
  vorn_result r = vorn_image_edge(cur, m->edge_cur, 128, 0);
  if (r != VORN_OK) return r;
  r = m->edge_valid ? vorn_image_scenecut_detect_edge(m->edge_cur, m->edge_prev) : VORN_OK;
  vorn_mono_image *t = m->edge_prev;
  m->edge_prev = m->edge_cur;
  m->edge_cur = t;
  m->edge_valid = 1;
  return r;
}

vorn_result scene_cut(vorn_bk_model *m) {
  const uint32_t setting = m->param[VORN_BK_PARAM_SCENE_CUT];
  if (byte0(setting) == 0) return VORN_OK;
  vorn_image *cur = bk_current(m);
  if (byte1(setting) == 1) return scene_cut_edges(m, cur);
  if (m->frame_count == 0) return VORN_OK;
  vorn_image *ref = m->bk_count ? m->bk : bk_previous(m);
  return vorn_image_scenecut_detect(cur, ref, bk_threshold(m));
}

// VORN_E_NOMEM when the detector's temporary images could not be made (the mask keeps its shadows); the other
// codes of the detectors (formats the model never mixes) are not failures of the frame.
vorn_result remove_shadows(vorn_bk_model *m) {
  const uint32_t setting = m->param[VORN_BK_PARAM_SHADOW];
  if (setting == 0) return VORN_OK;
  const vorn_result r = byte0(setting) != 0 && byte1(setting) == 1
                            ? vorn_image_shadow_detect_simple(m->fg, m->bk, bk_current(m))
                            : vorn_image_shadow_detect(m->fg, m->bk, bk_current(m));
  return r == VORN_E_NOMEM ? r : VORN_OK;
}

inline uint32_t morph_size(uint32_t setting) {
  const uint32_t n = byte1(setting) + 1;
  return n > 10 ? 10 : n;
}

// Rows [*first, *end) that hold every non-zero byte of the w x h region (first == end when it is empty).
void region_rows(const vorn_mono_image *mask, uint32_t *first, uint32_t *end) {
  const size_t w = mask->width, n = w * mask->height;
  const uint8_t *d = mask->data;
  size_t a = 0, b = n;
  while (a + 8 <= n) {
    uint64_t v;
    memcpy(&v, d + a, 8);
    if (v) break;
    a += 8;
  }
  while (a < n && !d[a]) ++a;
  if (a == n || w == 0) {
    *first = *end = 0;
    return;
  }
  while (b >= a + 8) {
    uint64_t v;
    memcpy(&v, d + b - 8, 8);
    if (v) break;
    b -= 8;
  }
  while (!d[b - 1]) --b;
  *first = (uint32_t)(a / w);
  *end = (uint32_t)((b - 1) / w + 1);
}

// The clean-up on rows [y0, y1) of every image: outside the rows that hold region bytes each step's output is 0,
// and those rows' outputs read the source no further than the largest step size away, so the steps run on that
// band of rows and the rest of fg is 0.
struct Band {
  uint32_t y0, y1, w;
  vorn_mono_image of(vorn_mono_image *img) const { return {w, y1 - y0, img->data + (size_t)y0 * w}; }
  void copy(vorn_mono_image *dst, const vorn_mono_image *src) const {
    memcpy(dst->data + (size_t)y0 * w, src->data + (size_t)y0 * w, (size_t)(y1 - y0) * w);
  }
};

void clean_up(vorn_bk_model *m) {
  const uint32_t window = m->param[VORN_BK_PARAM_WINDOW];
  const uint32_t erode = m->param[VORN_BK_PARAM_ERODE], dilate = m->param[VORN_BK_PARAM_DILATE];
  const bool w_on = window != 0 && byte0(window) != 0, e_on = byte0(erode) != 0, d_on = byte0(dilate) != 0;
  if (!w_on && !e_on && !d_on) return;
  const uint32_t w = m->fg->width, h = m->fg->height;
  uint32_t first = 0, end = h;
  if (plain_paths()) {
    // every row, as the rule has it
  } else if (m->rows_known) {
    first = m->row_first;
    end = m->row_end;
  } else {
    region_rows(m->mask, &first, &end);
  }
  uint64_t reach = 0;
  if (w_on) reach = byte1(window) + 1;
  if (e_on && morph_size(erode) > reach) reach = morph_size(erode);
  if (d_on && morph_size(dilate) > reach) reach = morph_size(dilate);
  Band b = {first > reach ? (uint32_t)(first - reach) : 0, (uint32_t)(end + reach < h ? end + reach : h), w};
  if (first == end) b.y0 = b.y1 = 0;
  if (!m->fg_zero_outside || plain_paths()) {
    memset(m->fg->data, 0, (size_t)b.y0 * w);
    memset(m->fg->data + (size_t)b.y1 * w, 0, (size_t)(h - b.y1) * w);
  }
  if (b.y0 == b.y1) return;
  vorn_mono_image fg = b.of(m->fg), work = b.of(m->work), mask = b.of(m->mask);
  if (w_on) {
    vorn_morpha_window(&fg, &work, byte1(window) + 1, &mask);
    b.copy(m->fg, m->work);
  }
  if (e_on && d_on) {
    // Dilation then erosion: a closing that lands back in fg.
    vorn_morpha_dilation(&fg, &work, morph_size(dilate), &mask);
    vorn_morpha_erosion(&work, &fg, morph_size(erode), &mask);
  } else if (e_on) {
    vorn_morpha_erosion(&fg, &work, morph_size(erode), &mask);
    b.copy(m->fg, m->work);
  } else if (d_on) {
    vorn_morpha_dilation(&fg, &work, morph_size(dilate), &mask);
    b.copy(m->fg, m->work);
  }
}

}  // namespace

vorn_result bk_convert_frame(const uint8_t *frame, uint32_t frame_type, vorn_image *image) {
  return frame_to_image(frame, frame_type, image);
}

void bk_mask_against_bk(vorn_bk_model *m) {
  vorn_image_diff_binary_to_mono_image(m->bk, bk_current(m), m->fg, bk_threshold(m));
}

}  // namespace vorn

using namespace vorn;

extern "C" {

VORN_API vorn_result bk_model_process(vorn_bk_model *m, uint8_t *frame, uint32_t frame_type) {
  if (!m) return VORN_E_NULL;
  if (!frame) return VORN_OK;
  bk_convert_frame(frame, frame_type, bk_current(m));
  return scene_cut(m);
}

VORN_API vorn_result bk_model_process_end(vorn_bk_model *m, vorn_result result) {
  if (!m) return VORN_E_NULL;
  if (result == VORN_OK) {
    result = remove_shadows(m);
    if (m->post_enable) clean_up(m);
  }
  m->rows_known = m->fg_zero_outside = 0;
  m->frame_count++;
  if (++m->cur_index >= m->history_count) m->cur_index = 0;
  return result;
}

}  // extern "C"
