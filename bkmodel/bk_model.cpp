// The model record's generic operations, the type table, the region mask and the shared create/destroy helpers.
#include <string.h>

#include "bkmodel/bk_model.h"
#include "core/memory.h"

namespace vorn {

vorn_result bk_create_with_ext(vorn_bk_model_init_params *params, void **out_handle, size_t ext_size,
                               uint32_t post_enable, uint32_t sensitivity, void **out_ext) {
  *out_ext = nullptr;
  if (!out_handle) return VORN_E_NULL;
  *out_handle = nullptr;
  void **ext = static_cast<void **>(block_alloc(ext_size));
  if (!ext) return VORN_E_NOMEM;
  void *handle = nullptr;
  vorn_result r = bk_model_create(params, &handle);
  if (r != VORN_OK) {
    block_release(ext);
    return r;
  }
  vorn_bk_model *m = static_cast<vorn_bk_model *>(handle);
  ext[0] = m;
  m->ext = ext;
  m->post_enable = post_enable;
  m->param[VORN_BK_PARAM_SENSITIVITY] = sensitivity;
  *out_handle = m;
  *out_ext = ext;
  return VORN_OK;
}

vorn_result bk_create_with_buffer(vorn_bk_model_init_params *params, void **out_handle, uint32_t post_enable,
                                  size_t (*bytes_of)(const vorn_bk_model *m)) {
  void *ext;
  vorn_result r = bk_create_with_ext(params, out_handle, sizeof(bk_ext_buffer), post_enable, 0, &ext);
  if (r != VORN_OK) return r;
  vorn_bk_model *m = static_cast<vorn_bk_model *>(*out_handle);
  bk_ext_buffer *e = static_cast<bk_ext_buffer *>(ext);
  if (!(e->buffer = block_new<uint8_t>(bytes_of(m)))) {
    bk_destroy_ext(m, true);
    *out_handle = nullptr;
    return VORN_E_NOMEM;
  }
  return VORN_OK;
}

vorn_result bk_destroy_ext(vorn_bk_model *m, bool with_buffer) {
  if (!m) return VORN_E_NULL;
  void *ext = m->ext;
  bk_model_destroy(m);
  if (ext && ext != m) {
    bk_ext_buffer *e = static_cast<bk_ext_buffer *>(ext);
    if (with_buffer) block_release(e->buffer);
    vorn_free(ext);
  }
  return VORN_OK;
}

}  // namespace vorn

using namespace vorn;

extern "C" {

VORN_API vorn_result bk_model_create(vorn_bk_model_init_params *params, void **out_handle) {
  if (!out_handle) return VORN_E_NULL;
  *out_handle = nullptr;
  if (!params) return VORN_E_NULL;
  if (params->history_count == 0) return VORN_E_PARAM;
  vorn_bk_model *m = block_new<vorn_bk_model>();
  if (!m) return VORN_E_NOMEM;
  const uint32_t w = params->width, h = params->height;
  bool ok = (m->fg = vorn_mono_image_alloc(w, h)) && (m->work = vorn_mono_image_alloc(w, h)) &&
            (m->history = block_new<vorn_image *>(params->history_count));
  for (uint32_t i = 0; ok && i < params->history_count; ++i) {
    ok = (m->history[i] = vorn_image_alloc(w, h, params->format)) != nullptr;
  }
  // Until every ring slot exists the destroy must not walk more slots than the array holds.
  m->history_count = m->history ? params->history_count : 0;
  ok = ok && (m->bk = vorn_image_alloc(w, h, params->format)) && (m->mask = vorn_mono_image_alloc(w, h));
  if (!ok) {
    bk_model_destroy(m);
    return VORN_E_NOMEM;
  }
  memset(m->mask->data, 255, (size_t)w * h);
  m->ext = m;
  *out_handle = m;
  return VORN_OK;
}

VORN_API vorn_result bk_model_destroy(vorn_bk_model *m) {
  if (!m) return VORN_E_NULL;
  vorn_image_free(m->bk);
  if (m->history) {
    for (uint32_t i = 0; i < m->history_count; ++i) vorn_image_free(m->history[i]);
    block_release(m->history);
  }
  vorn_mono_image_free(m->fg);
  vorn_mono_image_free(m->work);
  vorn_mono_image_free(m->edge_prev);
  vorn_mono_image_free(m->edge_cur);
  vorn_mono_image_free(m->mask);
  vorn_free(m);
  return VORN_OK;
}

VORN_API vorn_result bk_model_get_image(vorn_bk_model *m, uint32_t back, vorn_image **out) {
  if (out) *out = nullptr;
  if (!m) return VORN_E_NULL;
  if (back > m->frame_count || back >= m->history_count) return VORN_E_PARAM;
  if (!out) return VORN_E_NULL;
  const uint64_t n = m->history_count;
  *out = m->history[(m->cur_index + n - back + n - 1) % n];
  return VORN_OK;
}

VORN_API vorn_result bk_model_get_fg(vorn_bk_model *m, vorn_mono_image **out) {
  if (out) *out = nullptr;
  if (!m) return VORN_E_NULL;
  if (!m->fg) return VORN_E_NOMEM;
  if (!out) return VORN_E_NULL;
  *out = m->fg;
  return VORN_OK;
}

VORN_API vorn_result bk_model_get_bk(vorn_bk_model *m, vorn_image **out) {
  if (out) *out = nullptr;
  if (!m) return VORN_E_NULL;
  if (!m->bk) return VORN_E_NOMEM;
  if (!out) return VORN_E_NULL;
  *out = m->bk;
  return m->bk_count ? VORN_OK : VORN_E_LEARNING;
}

VORN_API vorn_result bk_model_set_bk(vorn_bk_model *m, uint8_t *frame, uint32_t frame_type) {
  if (!m || !frame) return VORN_E_NULL;
  if (!m->bk) return VORN_E_NOMEM;
  bk_convert_frame(frame, frame_type, m->bk);
  m->bk_count++;
  return VORN_OK;
}

VORN_API vorn_result bk_model_reset(vorn_bk_model *m) {
  if (!m) return VORN_E_NULL;
  m->frame_count = 0;
  m->cur_index = 0;
  m->bk_count = 0;
  if (m->fg) memset(m->fg->data, 0, (size_t)m->fg->width * m->fg->height);
  return VORN_OK;
}

VORN_API vorn_result bk_model_set_param(vorn_bk_model *m, uint32_t value, uint32_t id) {
  if (!m) return VORN_E_NULL;
  if (id >= VORN_BK_PARAM_COUNT) return VORN_E_PARAM;
  m->param[id] = value;
  if (id == VORN_BK_PARAM_SCENE_CUT) m->edge_valid = 0;
  return VORN_OK;
}

VORN_API vorn_result vorn_bk_model_set_mask(vorn_bk_model *m, vorn_mono_image *mask) {
  if (!m || !m->mask || !mask) return VORN_E_NULL;
  if (mask->width != m->mask->width || mask->height != m->mask->height) return VORN_E_NULL;
  const size_t n = (size_t)mask->width * mask->height;
  if (n && !mask->data) return VORN_E_NULL;
  if (n) memcpy(m->mask->data, mask->data, n);
  return VORN_OK;
}

VORN_API vorn_result vorn_bk_model_get_mask(vorn_bk_model *m, vorn_mono_image **out) {
  if (out) *out = nullptr;
  if (!m || !out) return VORN_E_NULL;
  *out = m->mask;
  return VORN_OK;
}

// The default model's private record is the back pointer alone, and so is the frame-ring-only model's.
VORN_API vorn_result bk_model_destroy_def(vorn_bk_model *m) { return bk_destroy_ext(m, false); }
VORN_API vorn_result bk_model_destroy_sal(vorn_bk_model *m) { return bk_destroy_ext(m, false); }
VORN_API vorn_result bk_model_destroy_wall(vorn_bk_model *m) { return bk_destroy_ext(m, false); }

// Every variant whose private record names one buffer in its second word.
VORN_API vorn_result bk_model_destroy_mog(vorn_bk_model *m) { return bk_destroy_ext(m, true); }
VORN_API vorn_result bk_model_destroy_mean(vorn_bk_model *m) { return bk_destroy_ext(m, true); }
VORN_API vorn_result bk_model_destroy_meanex(vorn_bk_model *m) { return bk_destroy_ext(m, true); }
VORN_API vorn_result bk_model_destroy_block(vorn_bk_model *m) { return bk_destroy_ext(m, true); }
VORN_API vorn_result bk_model_destroy_bay(vorn_bk_model *m) { return bk_destroy_ext(m, true); }

VORN_API vorn_result bk_model_set_bk_def(vorn_bk_model *m, uint8_t *f, uint32_t t) { return bk_model_set_bk(m, f, t); }
VORN_API vorn_result bk_model_set_bk_mog(vorn_bk_model *m, uint8_t *f, uint32_t t) { return bk_model_set_bk(m, f, t); }
VORN_API vorn_result bk_model_set_bk_sal(vorn_bk_model *m, uint8_t *f, uint32_t t) { return bk_model_set_bk(m, f, t); }
VORN_API vorn_result bk_model_set_bk_wall(vorn_bk_model *m, uint8_t *f, uint32_t t) { return bk_model_set_bk(m, f, t); }

VORN_API vorn_result bk_model_reset_def(vorn_bk_model *m) { return bk_model_reset(m); }
VORN_API vorn_result bk_model_reset_block(vorn_bk_model *m) { return bk_model_reset(m); }
VORN_API vorn_result bk_model_reset_sal(vorn_bk_model *m) { return bk_model_reset(m); }
VORN_API vorn_result bk_model_reset_wall(vorn_bk_model *m) { return bk_model_reset(m); }

VORN_API void vorn_bk_model_init(uint32_t type, vorn_bk_model_vtable *t) {
  if (!t) return;
  // The five entries that differ between model types; the other four are shared by every type.
  struct TypeRow {
    decltype(t->create) create;
    decltype(t->destroy) destroy;
    decltype(t->process) process;
    decltype(t->set_bk) set_bk;
    decltype(t->reset) reset;
  };
  static const TypeRow kDef = {bk_model_create_def, bk_model_destroy_def, bk_model_process_def,
                               bk_model_set_bk_def, bk_model_reset_def};
  static const TypeRow kSal = {bk_model_create_sal, bk_model_destroy_def, bk_model_process_sal,
                               bk_model_set_bk_def, bk_model_reset_def};
  static const TypeRow kMog = {bk_model_create_mog, bk_model_destroy_mog, bk_model_process_mog,
                               bk_model_set_bk_def, bk_model_reset_mog};
  static const TypeRow kMean = {bk_model_create_mean, bk_model_destroy_mean, bk_model_process_mean,
                                bk_model_set_bk_mean, bk_model_reset_mean};
  static const TypeRow kBlock = {bk_model_create_block, bk_model_destroy_block, bk_model_process_block,
                                 bk_model_set_bk_block, bk_model_reset_def};
  static const TypeRow kMeanex = {bk_model_create_meanex, bk_model_destroy_meanex, bk_model_process_meanex,
                                  bk_model_set_bk_meanex, bk_model_reset_meanex};
  static const TypeRow kBaymean = {bk_model_create_baymean, bk_model_destroy_baymean, bk_model_process_baymean,
                                   bk_model_set_bk_baymean, bk_model_reset_baymean};
  // Types 4 and 6 share the rows of 1 and 3; 0 and every type past 8 get the default model.
  static const TypeRow *const kByType[9] = {&kDef, &kSal, &kMog, &kMean, &kSal, &kBlock, &kMean, &kMeanex, &kBaymean};
  const TypeRow &row = *kByType[type < 9 ? type : 0];
  t->create = row.create;
  t->destroy = row.destroy;
  t->get_image = bk_model_get_image;
  t->process = row.process;
  t->get_fg = bk_model_get_fg;
  t->set_bk = row.set_bk;
  t->get_bk = bk_model_get_bk;
  t->reset = row.reset;
  t->set_param = bk_model_set_param;
}

}  // extern "C"
