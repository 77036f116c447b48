// Guard lines: a band around the watched segment masks the background model; corner features found on frames
// with foreground objects are followed with pyramidal optical flow and their traces tested against the line.
#include <math.h>
#include <stdlib.h>
#include <string.h>

#include "analytics/guard_direction.h"
#include "geometry/region_raster.h"
#include "core/memory.h"
#include "core/plain.h"
#include "tracking/corner_work.h"
#include "tracking/pyramid.h"
#include "vorn_features.h"
#include "vorn_geometry.h"
#include "vorn_guard.h"
#include "vorn_opticalflow.h"
#include "vorn_pyramid.h"

namespace {

constexpr int kMaxFeatures = 8;
constexpr uint32_t kModelHistory = 4;
constexpr uint32_t kMaxObjects = 32;
constexpr uint32_t kPyramidLevels = 3;
constexpr uint32_t kFeatureSpacing = 10;  // minimum distance between corners
constexpr int32_t kFlowWindow = 10;       // half-size of the optical-flow window
constexpr int32_t kFlowIterations = 10;
constexpr int kRegionCapacity = 10;

}  // namespace

struct vorn_guard {
  uint32_t width, height, format, bk_type;
  vorn_bk_model_vtable bk_ops;
  vorn_bk_model *bk_model;
  vorn_point corners[kMaxFeatures];
  uint32_t tracking;
  vorn_rect roi;
  vorn_line guard_line;
  vorn_line direction_line;
  double direction_angle;
  vorn_point region[kRegionCapacity];
  uint32_t region_count;
  vorn_image *feature_image;  // no operation sets it: features are searched in the whole frame
  vorn_point2f prev_pts[kMaxFeatures];
  vorn_point2f cur_pts[kMaxFeatures];
  uint32_t lost[kMaxFeatures];
  vorn_point start[kMaxFeatures];
  vorn_point pos[kMaxFeatures];
  uint32_t crossed[kMaxFeatures];
  uint32_t triggered[kMaxFeatures];
  int32_t feature_count;
  vorn_pyramid *prev_pyramid, *cur_pyramid;  // made once, then rebuilt in place; read only while tracking
  uint16_t *pyramid_scratch;
  vorn_obj_maker *obj_maker;
  vorn_line_points line_points;
  uint32_t frame_count;
  vorn::CornerWork corner_work;  // the corner search's buffers, kept from frame to frame
};

namespace {

// The pyramids are kept for the next tracking: nothing reads them until a frame has rebuilt them.
void reset_tracking(vorn_guard *g) {
  g->tracking = 0;
  g->feature_count = 0;
  memset(g->crossed, 0, sizeof g->crossed);
  memset(g->triggered, 0, sizeof g->triggered);
}

// Both pyramids and the reduction's scratch, made at create for frames that can have a pyramid, so that no
// frame allocates. A frame too small for any level has none, and its frames report that as before.
vorn_result reserve_pyramids(vorn_guard *g, uint32_t w, uint32_t h) {
  vorn_result r = vorn::pyramid_alloc_mono(w, h, kPyramidLevels, &g->cur_pyramid);
  if (r == VORN_E_PARAM) return VORN_OK;
  if (r == VORN_OK) r = vorn::pyramid_alloc_mono(w, h, kPyramidLevels, &g->prev_pyramid);
  if (r == VORN_OK && !(g->pyramid_scratch = vorn::block_new<uint16_t>(vorn::pyramid_scratch_size(w >> 1))))
    r = VORN_E_NOMEM;
  return r;
}

// The current frame's pyramid: made (and filled) here only when create could not make it, rebuilt in place
// otherwise. *filled tells whether it already holds the frame.
vorn_result pyramid_storage(vorn_guard *g, const vorn_mono_image *view, bool *filled) {
  *filled = false;
  if (g->cur_pyramid) return VORN_OK;
  vorn_result r = vorn_pyramid_create_mono_image(view, &g->cur_pyramid, kPyramidLevels);
  *filled = r == VORN_OK && g->cur_pyramid;
  return r;
}

// A failing detector (its work buffers) is reported with the tracking left as it was.
vorn_result find_features(vorn_guard *g, const vorn_image *cur, const vorn_mono_image *fg) {
  vorn_point found[kMaxFeatures];
  uint32_t count = kMaxFeatures;
  const vorn_result r =
      vorn::good_features(cur, kFeatureSpacing, found, &count, fg, nullptr, &g->corner_work);
  if (r != VORN_OK) return r;
  if (count > (uint32_t)kMaxFeatures) count = kMaxFeatures;
  const int32_t dx = g->feature_image ? g->roi.left : 0, dy = g->feature_image ? g->roi.top : 0;
  for (uint32_t k = 0; k < count; ++k) {
    g->corners[k] = found[k];
    g->start[k] = g->pos[k] = vorn_point{found[k].x + dx, found[k].y + dy};
    g->prev_pts[k] = vorn_point2f{(float)g->start[k].x, (float)g->start[k].y};
    g->lost[k] = 0;
  }
  g->feature_count = (int32_t)count;
  g->tracking = count != 0;
  return VORN_OK;
}

// A failing point tracker (its window buffer) ends the pass with its code; the features not reached yet keep
// their positions and are followed again on the next frame.
vorn_result follow_features(vorn_guard *g, const vorn_image *prev, const vorn_image *cur) {
  if (g->feature_count == 0) {
    reset_tracking(g);
    return VORN_OK;
  }
  const vorn_mono_image prev_view = {prev->width, prev->height, prev->plane[0]};
  const vorn_mono_image cur_view = {cur->width, cur->height, cur->plane[0]};
  int32_t active = g->feature_count;
  for (int32_t k = 0; k < g->feature_count; ++k) {
    if (g->lost[k]) {
      active -= 1;
      continue;
    }
    uint32_t status = 0;
    const vorn_result r = vorn_opticalflow_pyr_lk(&prev_view, &cur_view, g->prev_pyramid, g->cur_pyramid,
                                                  &g->prev_pts[k], &g->cur_pts[k], &status, 1, kFlowWindow,
                                                  kFlowIterations);
    if (r != VORN_OK) return r;
    const vorn_point p = {(int32_t)floorf(g->cur_pts[k].x), (int32_t)floorf(g->cur_pts[k].y)};
    if (vorn_pt_in_region(p, g->region, (int32_t)g->region_count)) {
      g->prev_pts[k] = g->cur_pts[k];
    } else {
      g->lost[k] = 1;
      active -= 1;
    }
    g->pos[k] = p;
    const vorn_line trace = {g->start[k].x, g->start[k].y, p.x, p.y};
    vorn_point at;
    if (vorn_get_line_cross(g->guard_line, trace, &at) == 1) {
      g->crossed[k] = 1;
      if (vorn::guard_direction_triggers(g->direction_angle, trace)) g->triggered[k] = 1;
    }
  }
  if (active < 1) reset_tracking(g);
  return VORN_OK;
}

}  // namespace

extern "C" {

VORN_API vorn_result vorn_guard_create(const vorn_guard_params *params, vorn_guard **out) {
  if (!out) return VORN_E_PARAM;
  *out = nullptr;
  if (!params) return VORN_E_PARAM;
  vorn_guard *g = vorn::block_new<vorn_guard>();
  if (!g) return VORN_E_NOMEM;
  vorn_bk_model_init(params->bk_type, &g->bk_ops);
  vorn_bk_model_init_params mp = {kModelHistory, params->width, params->height, params->format};
  void *model = nullptr;
  vorn_result r = g->bk_ops.create(&mp, &model);
  g->bk_model = static_cast<vorn_bk_model *>(model);
  if (r == VORN_OK) {
    g->bk_ops.set_param(g->bk_model, 0x101, VORN_BK_PARAM_WINDOW);
    vorn_obj_maker_params op = {params->width, params->height, kMaxObjects, 0};
    r = vorn_obj_maker_create(&op, &g->obj_maker);
  }
  if (r == VORN_OK)
    r = vorn::corner_work_reserve(&g->corner_work, params->width, params->height, kMaxFeatures, kFeatureSpacing);
  if (r == VORN_OK) r = reserve_pyramids(g, params->width, params->height);
  if (r != VORN_OK) {
    vorn_guard_destroy(g);
    return r;
  }
  g->width = params->width;
  g->height = params->height;
  g->format = params->format;
  g->bk_type = params->bk_type;
  *out = g;
  return VORN_OK;
}

VORN_API vorn_result vorn_guard_destroy(vorn_guard *g) {
  if (!g) return VORN_E_NULL;
  if (g->bk_model && g->bk_ops.destroy) g->bk_ops.destroy(g->bk_model);
  vorn_obj_maker_destroy(g->obj_maker);
  vorn_pyramid_destroy(g->prev_pyramid);
  vorn_pyramid_destroy(g->cur_pyramid);
  vorn::block_release(g->pyramid_scratch);
  vorn_image_free(g->feature_image);
  vorn::block_release(g->line_points.points);
  vorn::corner_work_release(&g->corner_work);
  vorn_free(g);
  return VORN_OK;
}

VORN_API vorn_result vorn_guard_set_lines(vorn_guard *g, vorn_line guard_line, vorn_line direction_line,
                                          int32_t half_width) {
  if (!g || !g->bk_model) return VORN_E_NULL;
  const vorn_size frame = {(int32_t)g->width, (int32_t)g->height};
  int32_t count = 0;
  vorn_get_line_region(guard_line, g->region, &count, half_width, &frame);
  g->region_count = (uint32_t)count;
  g->guard_line = guard_line;
  g->direction_line = direction_line;
  // The box of the band starts its minimum trackers at the lowest integer and its maximum trackers at -1, so
  // left and top never move off that lowest value; only right and bottom follow the points.
  int32_t min_x = INT32_MIN, min_y = INT32_MIN, max_x = -1, max_y = -1;
  for (int32_t i = 0; i < count; ++i) {
    if (g->region[i].x < min_x) min_x = g->region[i].x;
    if (g->region[i].y < min_y) min_y = g->region[i].y;
    if (g->region[i].x > max_x) max_x = g->region[i].x;
    if (g->region[i].y > max_y) max_y = g->region[i].y;
  }
  g->roi = vorn_rect{min_x, min_y, max_x, max_y};

  vorn::block_release(g->line_points.points);
  g->line_points.num = 0;
  // |dx| + |dy| + 2 of a line across the whole coordinate range does not fit 32 bits: such a line is refused
  // rather than given a short array.
  const uint64_t need = (uint64_t)llabs((int64_t)guard_line.x0 - guard_line.x1) +
                        (uint64_t)llabs((int64_t)guard_line.y0 - guard_line.y1) + 2;
  const uint32_t max_num = vorn_get_line_points_max_num(guard_line);
  if (max_num == 0 || need != max_num) return VORN_E_PARAM;
  g->line_points.points = vorn::block_new<vorn_point>(max_num);
  if (!g->line_points.points) return VORN_E_NOMEM;
  g->line_points.max_num = max_num;
  vorn_get_line_points(guard_line, &g->line_points);
  if (g->line_points.num == 0) {
    vorn::block_release(g->line_points.points);
    return VORN_E_PARAM;
  }

  vorn_mono_image *mask = vorn_mono_image_alloc(g->width, g->height);
  if (!mask) return VORN_E_NOMEM;
  vorn::region_raster(g->region, count, g->width, g->height, mask->data, g->width, 255);
  g->direction_angle = vorn_get_line_angle(direction_line);
  const vorn_result r = vorn_bk_model_set_mask(g->bk_model, mask);
  vorn_mono_image_free(mask);
  return r;
}

VORN_API vorn_result vorn_guard_set_mask(vorn_guard *g, const vorn_mono_image *mask) {
  if (!g || !g->bk_model || !mask || !mask->data) return VORN_E_NULL;
  vorn_mono_image *own = nullptr;
  if (vorn_bk_model_get_mask(g->bk_model, &own) != VORN_OK || !own || !own->data) return VORN_E_NULL;
  if (own->width != mask->width || own->height != mask->height) return VORN_E_NULL;
  memcpy(own->data, mask->data, (size_t)mask->width * mask->height);
  return VORN_OK;
}

VORN_API vorn_result vorn_guard_put_image(vorn_guard *g, uint8_t *frame, uint32_t frame_type) {
  if (!g || !g->bk_model || !frame) return VORN_E_NULL;
  g->frame_count += 1;
  vorn_result r = g->bk_ops.process(g->bk_model, frame, frame_type);
  if (r == VORN_E_SCENE_CHANGE) {
    g->bk_ops.reset(g->bk_model);
    return r;
  }
  if (r != VORN_OK) return r;
  vorn_mono_image *fg = nullptr;
  vorn_image *prev = nullptr, *cur = nullptr;
  if ((r = g->bk_ops.get_fg(g->bk_model, &fg)) != VORN_OK) return r;
  if ((r = g->bk_ops.get_image(g->bk_model, 1, &prev)) != VORN_OK) return r;
  if ((r = g->bk_ops.get_image(g->bk_model, 0, &cur)) != VORN_OK) return r;
  if (!fg || !prev || !cur) return VORN_OK;

  if ((r = vorn_obj_maker_process(g->obj_maker, fg)) != VORN_OK) return r;
  vorn_obj *objs = nullptr;
  uint32_t n_objs = 0;
  vorn_obj_maker_get_obj(g->obj_maker, &objs, &n_objs);
  if (n_objs == 0) {
    reset_tracking(g);
    return VORN_OK;
  }

  // A pyramid of the current frame: the optical flow reads it now when tracking, and next frame when features
  // are found now; a frame that finds none leaves it unbuilt.
  const vorn_mono_image cur_view = {cur->width, cur->height, cur->plane[0]};
  bool filled;
  if ((r = pyramid_storage(g, &cur_view, &filled)) != VORN_OK) return r;
  if (!g->cur_pyramid) return VORN_OK;
  if (vorn::plain_paths() && !filled) {
    vorn::pyramid_refill_mono(g->cur_pyramid, &cur_view, g->pyramid_scratch);
    filled = true;
  }
  // The pyramids move on even when following failed, so the next frame pairs with this one.
  if (g->tracking == 0) {
    r = find_features(g, cur, fg);
    if (g->tracking && !filled) vorn::pyramid_refill_mono(g->cur_pyramid, &cur_view, g->pyramid_scratch);
  } else {
    if (!filled) vorn::pyramid_refill_mono(g->cur_pyramid, &cur_view, g->pyramid_scratch);
    r = follow_features(g, prev, cur);
  }
  vorn_pyramid *swap = g->prev_pyramid;
  g->prev_pyramid = g->cur_pyramid;
  g->cur_pyramid = swap;
  return r;
}

VORN_API vorn_result vorn_guard_get_fg(vorn_guard *g, vorn_mono_image **fg) {
  if (fg) *fg = nullptr;
  if (!g || !fg || !g->bk_model) return VORN_E_NULL;
  return g->bk_ops.get_fg(g->bk_model, fg);
}

VORN_API vorn_result vorn_guard_get_obj_maker(vorn_guard *g, vorn_obj_maker **maker) {
  if (maker) *maker = nullptr;
  if (!g || !maker) return VORN_E_NULL;
  *maker = g->obj_maker;
  return VORN_OK;
}

VORN_API vorn_result vorn_guard_get_bk_model(vorn_guard *g, vorn_bk_model **model) {
  if (model) *model = nullptr;
  if (!g || !model) return VORN_E_NULL;
  *model = g->bk_model;
  return VORN_OK;
}

VORN_API uint32_t vorn_guard_is_cross_guard_line(const vorn_guard *g, uint32_t index) {
  if (!g) return VORN_E_NULL;
  return (int32_t)index < g->feature_count && (int32_t)index >= 0 ? g->crossed[index] : 0;
}

VORN_API uint32_t vorn_guard_is_trigger_guard_line(const vorn_guard *g, uint32_t index) {
  if (!g) return VORN_E_NULL;
  return (int32_t)index < g->feature_count && (int32_t)index >= 0 ? g->triggered[index] : 0;
}

VORN_API vorn_result vorn_guard_get_trace(const vorn_guard *g, int32_t index, vorn_line *trace) {
  if (!g || !trace) return VORN_E_NULL;
  if (index < 0 || index >= g->feature_count) {
    *trace = vorn_line{0, 0, 0, 0};
    return VORN_E_NO_RESULT;
  }
  *trace = vorn_line{g->start[index].x, g->start[index].y, g->pos[index].x, g->pos[index].y};
  return VORN_OK;
}

VORN_API vorn_result vorn_guard_get_guard_line(const vorn_guard *g, vorn_line *line) {
  if (!g || !line) return VORN_E_NULL;
  *line = g->guard_line;
  return VORN_OK;
}

VORN_API vorn_result vorn_guard_get_direction_line(const vorn_guard *g, vorn_line *line) {
  if (!g || !line) return VORN_E_NULL;
  *line = g->direction_line;
  return VORN_OK;
}

VORN_API vorn_result vorn_guard_get_event(const vorn_guard *g, uint32_t *event) {
  if (event) *event = 0;
  if (!g || !event) return VORN_E_NULL;
  int32_t t = 0, c = 0;
  for (int32_t k = 0; k < g->feature_count; ++k) {
    if (g->triggered[k]) ++t;
    else if (g->crossed[k]) ++c;
  }
  *event = c < t ? VORN_GUARD_EVENT_TRIGGER : c > t ? VORN_GUARD_EVENT_CROSS : VORN_GUARD_EVENT_NONE;
  return VORN_OK;
}

}  // extern "C"
