// Frame intake with the scene-cut test, and the tail of every update: shadow removal, morphological clean-up
// and the ring's advance.
#include <string.h>

#include "bkmodel/bk_model.h"
#include "color/frame_table.h"
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

void work_to_fg(vorn_bk_model *m) { memcpy(m->fg->data, m->work->data, (size_t)m->fg->width * m->fg->height); }

void clean_up(vorn_bk_model *m) {
  const uint32_t window = m->param[VORN_BK_PARAM_WINDOW];
  if (window != 0 && byte0(window) != 0) {
    vorn_morpha_window(m->fg, m->work, byte1(window) + 1, m->mask);
    work_to_fg(m);
  }
  const uint32_t erode = m->param[VORN_BK_PARAM_ERODE], dilate = m->param[VORN_BK_PARAM_DILATE];
  const bool e_on = byte0(erode) != 0, d_on = byte0(dilate) != 0;
  if (e_on && d_on) {
    // Dilation then erosion: a closing that lands back in fg.
    vorn_morpha_dilation(m->fg, m->work, morph_size(dilate), m->mask);
    vorn_morpha_erosion(m->work, m->fg, morph_size(erode), m->mask);
  } else if (e_on) {
    vorn_morpha_erosion(m->fg, m->work, morph_size(erode), m->mask);
    work_to_fg(m);
  } else if (d_on) {
    vorn_morpha_dilation(m->fg, m->work, morph_size(dilate), m->mask);
    work_to_fg(m);
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
  m->frame_count++;
  if (++m->cur_index >= m->history_count) m->cur_index = 0;
  return result;
}

}  // extern "C"
