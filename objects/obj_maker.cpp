// The object maker: creation, destruction, the per-frame entry point and the getters.
#include "core/memory.h"
#include "objects/obj_maker_impl.h"

extern "C" {

VORN_API vorn_result vorn_obj_maker_create(const vorn_obj_maker_params *params, vorn_obj_maker **out) {
  if (!out) return VORN_E_PARAM;
  *out = nullptr;
  if (!params) return VORN_E_PARAM;
  vorn_obj_maker *m = vorn::block_new<vorn_obj_maker>();
  if (!m) return VORN_E_NOMEM;
  bool ok = true;
  if (params->mode != 0) {
    m->block_width = m->block_height = 1;
    vorn_size size{(int32_t)params->width, (int32_t)params->height};
    ok = vorn_contour_create(&size, &m->contour) == VORN_OK;
  } else {
    m->block_width = m->block_height = 4;
    const uint32_t cw = params->width / 4, ch = params->height / 4;
    m->cell_image = vorn_mono_image_alloc(cw, ch);
    m->fg_image = m->cell_image ? vorn_mono_image_alloc(cw, ch) : nullptr;
    m->point_buffer = m->fg_image ? vorn::block_new<vorn_point>((size_t)cw * ch) : nullptr;
    ok = m->point_buffer != nullptr;
  }
  if (ok) {
    m->objs = vorn::block_new<vorn_obj>(params->max_objs);
    m->max_objs = params->max_objs;
    m->hist_pool = m->objs ? vorn::block_new<vorn_histogram *>(params->max_objs) : nullptr;
    ok = m->hist_pool != nullptr;
    for (uint32_t i = 0; ok && i < params->max_objs; ++i) ok = (m->hist_pool[i] = vorn_histogram_alloc(32)) != nullptr;
  }
  if (!ok) {
    vorn_obj_maker_destroy(m);
    return VORN_E_NOMEM;
  }
  m->width = params->width;
  m->height = params->height;
  m->mode = params->mode;
  *out = m;
  return VORN_OK;
}

VORN_API vorn_result vorn_obj_maker_destroy(vorn_obj_maker *maker) {
  if (!maker) return VORN_E_NULL;
  // A record's histogram is its slot's pool entry.
  if (maker->hist_pool)
    for (uint32_t i = 0; i < maker->max_objs; ++i) vorn_histogram_free(maker->hist_pool[i]);
  vorn::block_release(maker->hist_pool);
  vorn_mono_image_free(maker->cell_image);
  vorn_mono_image_free(maker->fg_image);
  vorn::block_release(maker->point_buffer);
  vorn::block_release(maker->objs);
  if (maker->contour) vorn_contour_destroy(maker->contour);
  vorn_free(maker);
  return VORN_OK;
}

VORN_API vorn_result vorn_obj_maker_process(vorn_obj_maker *maker, const vorn_mono_image *mask) {
  if (!maker || !mask) return VORN_E_NULL;
  if (mask->width != maker->width || mask->height != maker->height) return VORN_E_PARAM;
  if (maker->mode == 1) return vorn::obj_maker_extract_contours(maker, mask);
  return vorn::obj_maker_extract_blocks(maker, mask);
}

VORN_API vorn_result vorn_obj_maker_get_obj(vorn_obj_maker *maker, vorn_obj **objs, uint32_t *count) {
  if (objs) *objs = nullptr;
  if (count) *count = 0;
  if (!maker || !objs || !count) return VORN_E_NULL;
  *objs = maker->objs;
  *count = maker->obj_count;
  return VORN_OK;
}

VORN_API vorn_result vorn_obj_maker_get_fg(vorn_obj_maker *maker, vorn_mono_image **fg) {
  if (fg) *fg = nullptr;
  if (!maker || !fg) return VORN_E_NULL;
  *fg = maker->fg_image;
  return VORN_OK;
}

VORN_API vorn_result vorn_obj_maker_get_point_list(vorn_obj_maker *maker, vorn_point **points) {
  if (points) *points = nullptr;
  if (!maker || !points) return VORN_E_NULL;
  *points = maker->point_buffer;
  return VORN_OK;
}

VORN_API vorn_result vorn_obj_maker_get_block_width(vorn_obj_maker *maker, uint32_t *width) {
  if (width) *width = 0;
  if (!maker || !width) return VORN_E_NULL;
  *width = maker->block_width;
  return VORN_OK;
}

VORN_API vorn_result vorn_obj_maker_get_block_height(vorn_obj_maker *maker, uint32_t *height) {
  if (height) *height = 0;
  if (!maker || !height) return VORN_E_NULL;
  *height = maker->block_height;
  return VORN_OK;
}

}  // extern "C"
