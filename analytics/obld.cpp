// Left and lost object detector: differencing against a reference background inside a polygon, blobs followed
// by size and overlap and aged, and the background relearned through a temporary bay-mean model.
#include <string.h>

#include "geometry/region_raster.h"
#include "color/frame_table.h"
#include "core/memory.h"
#include "core/rect.h"
#include "vorn_bk_model.h"
#include "vorn_color.h"
#include "vorn_geometry.h"
#include "vorn_imgproc.h"
#include "vorn_obj_maker.h"
#include "vorn_obld.h"

namespace {

constexpr uint32_t kMaxRecords = 32;
constexpr uint32_t kMinThreshold = 50;
constexpr uint32_t kDefaultInterval = 7500;
constexpr uint32_t kMinInterval = 1500;
constexpr uint32_t kForceRefresh = 0x80000000u;
constexpr uint32_t kFullChangePct = 81;
constexpr uint32_t kFullChangeRun = 4;
constexpr int32_t kMinBlob = 8;
constexpr uint32_t kRefreshType = 8;  // the bay-mean background model
constexpr uint32_t kRefreshHistory = 3;

struct Record {
  vorn_rect box;
  uint32_t age;  // consecutive frames seen, 0 on the first
};

}  // namespace

struct vorn_obld {
  vorn_image *bk;
  vorn_image *current;
  vorn_mono_image *region_mask;
  vorn_mono_image *diff;
  vorn_mono_image *filtered, *prev_filtered;
  vorn_obld_params params;  // with the point arrays replaced by the copies below
  vorn_point *region;       // the polygon with its last point repeated
  vorn_point *second;       // the second polygon's points inside the region, last one repeated (stored only)
  vorn_obj_maker *obj_maker;
  Record records[kMaxRecords];
  uint32_t record_count;
  uint32_t frame_threshold;
  uint32_t frame_count;
  vorn_bk_model *refresh;
  vorn_bk_model_vtable refresh_ops;
  uint32_t refresh_counter;
  uint32_t bk_frame_interval;
  uint32_t scenecut_enabled;
  uint32_t full_run;
};

namespace {

// Bitmap frames are kept as RGB, packed 4:2:2 frames as YUV.
uint32_t format_of_frame(uint32_t frame_type) { return frame_type == VORN_FRAME_YUV422 ? VORN_FORMAT_YUV : VORN_FORMAT_RGB; }

uint32_t threshold_of(uint32_t sensitivity) {
  uint32_t t = sensitivity * 85 / 100 + 15;
  return t < 15 ? 15 : t > 100 ? 100 : t;
}

// Returns 0 to go on with detection, or the code to return from put_image.
vorn_result refresh_step(vorn_obld *d, uint8_t *frame, uint32_t frame_type) {
  const uint32_t limit = d->bk_frame_interval ? d->bk_frame_interval : kDefaultInterval;
  if (d->refresh_counter <= limit) {
    d->refresh_counter += 1;
    return VORN_OK;
  }
  if (!d->refresh) {
    vorn_bk_model_init(kRefreshType, &d->refresh_ops);
    vorn_bk_model_init_params mp = {kRefreshHistory, d->params.width, d->params.height, d->params.frame_type};
    void *model = nullptr;
    vorn_result r = d->refresh_ops.create(&mp, &model);
    if (r != VORN_OK) return r;
    d->refresh = static_cast<vorn_bk_model *>(model);
    d->refresh_ops.set_param(d->refresh, d->params.learn_frames, VORN_BK_PARAM_LEARN_FRAMES);
    d->record_count = 0;
    memset(d->records, 0, sizeof d->records);
    return VORN_OK;  // detection goes on against the old background meanwhile
  }
  vorn_result r = d->refresh_ops.process(d->refresh, frame, frame_type);
  if (r == VORN_E_SCENE_CHANGE) {
    d->refresh_ops.reset(d->refresh);
    return r;
  }
  if (r != VORN_OK) return r;
  d->refresh_counter = 0;
  vorn_image *learned = nullptr;
  if (d->refresh_ops.get_bk(d->refresh, &learned) == VORN_OK && learned) {
    if (learned->format == d->bk->format) vorn_image_copy(learned, d->bk);
    else if (learned->format == VORN_FORMAT_YUV) vorn_image_yuv_to_rgb(learned, d->bk);
  }
  d->refresh_ops.destroy(d->refresh);
  d->refresh = nullptr;
  return VORN_OK;
}

// Follows the maker's blobs from the previous records by size and overlap.
void follow_blobs(vorn_obld *d) {
  vorn_obj *objs = nullptr;
  uint32_t n_objs = 0;
  vorn_obj_maker_get_obj(d->obj_maker, &objs, &n_objs);
  if (n_objs > kMaxRecords) n_objs = kMaxRecords;
  Record prev[kMaxRecords];
  const uint32_t n_prev = d->record_count;
  memcpy(prev, d->records, sizeof prev);
  bool taken[kMaxRecords] = {};
  uint32_t n = 0;
  for (uint32_t i = 0; i < n_objs; ++i) {
    const vorn_obj &o = objs[i];
    const int32_t w = o.right - o.left, h = o.bottom - o.top;
    if (w < kMinBlob || h < kMinBlob) continue;
    const uint32_t a = (uint32_t)w * (uint32_t)h;
    const vorn_rect box = {o.left, o.top, o.right, o.bottom};
    int32_t match = -1;
    for (uint32_t j = 0; j < n_prev && match < 0; ++j) {
      const vorn_rect &pb = prev[j].box;
      const uint32_t b = (uint32_t)(pb.right - pb.left) * (uint32_t)(pb.bottom - pb.top);
      if (!(3 * b / 5 < a && a < 5 * b / 3) || b == 0) continue;
      vorn_rect ov;
      if (!vorn::rect_intersect(box, pb, &ov)) continue;
      const uint32_t v = (uint32_t)(ov.right - ov.left) * (uint32_t)(ov.bottom - ov.top);
      if (v != 0 && 3 * b / 5 < v && v < 5 * b / 3 && 3 * a / 5 < v && v < 5 * a / 3) match = (int32_t)j;
    }
    if (match >= 0 && taken[match]) continue;
    Record &rec = d->records[n++];
    rec.box = box;
    if (match >= 0) {
      taken[match] = true;
      rec.age = prev[match].age + 1;
    } else {
      rec.age = 0;
    }
  }
  d->record_count = n;
}

// Steps shared by both lost-object queries: the reported records' outlines end up in diff. Returns how many were
// reported, calling report(j) for each.
template <class Report>
uint32_t lost_objects(vorn_obld *d, Report report) {
  const uint32_t thr = d->frame_threshold < kMinThreshold ? kMinThreshold : d->frame_threshold;
  bool any_older = false;
  for (uint32_t j = 0; j < d->record_count; ++j) any_older = any_older || d->records[j].age > thr;
  // A record exactly at the threshold is listed only alongside an older one.
  if (!any_older) return 0;
  if (d->prev_filtered->width == d->diff->width && d->prev_filtered->height == d->diff->height)
    vorn_mono_image_copy(d->diff, d->prev_filtered);
  uint32_t k = 0;
  for (uint32_t j = 0; j < d->record_count; ++j) {
    if (d->records[j].age >= thr) report(j, k++);
    else vorn_obj_maker_clear_obj(d->obj_maker, j, d->diff);  // the record index is taken as the object index
  }
  if (k == 0) return 0;
  vorn_morpha_erosion(d->diff, d->filtered, 1, d->region_mask);
  vorn_mono_image_xor(d->diff, d->filtered, d->diff);
  return k;
}

}  // namespace

extern "C" {

VORN_API vorn_result vorn_obld_create(const vorn_obld_params *params, vorn_obld **out) {
  if (!out) return VORN_E_PARAM;
  *out = nullptr;
  if (!params) return VORN_E_PARAM;
  vorn_obld *d = vorn::block_new<vorn_obld>();
  if (!d) return VORN_E_NOMEM;
  d->params = *params;
  d->params.region_pts = nullptr;
  d->params.second_pts = nullptr;
  vorn_result r = VORN_OK;
  if (params->frame_type >= 4 || !params->region_pts || params->region_count < 3) r = VORN_E_PARAM;
  const uint32_t w = params->width, h = params->height, fmt = format_of_frame(params->frame_type);
  if (r == VORN_OK) {
    d->bk = vorn_image_alloc(w, h, fmt);
    d->current = vorn_image_alloc(w, h, fmt);
    d->region_mask = vorn_mono_image_alloc(w, h);
    d->diff = vorn_mono_image_alloc(w, h);
    d->filtered = vorn_mono_image_alloc(w, h);
    d->prev_filtered = vorn_mono_image_alloc(w, h);
    d->region = vorn::block_new<vorn_point>((size_t)params->region_count + 1);
    if (!d->bk || !d->current || !d->region_mask || !d->diff || !d->filtered || !d->prev_filtered || !d->region)
      r = VORN_E_NOMEM;
  }
  if (r == VORN_OK && params->first_frame) vorn::frame_to_image(params->first_frame, params->frame_type, d->bk);
  if (r == VORN_OK) {
    const uint32_t n = params->region_count;
    memcpy(d->region, params->region_pts, n * sizeof(vorn_point));
    d->region[n] = params->region_pts[n - 1];
    d->params.region_pts = d->region;
    vorn::region_raster(d->region, (int32_t)n + 1, w, h, d->region_mask->data, w, 255);
  }
  if (r == VORN_OK && params->second_pts && params->second_count > 2) {
    d->second = vorn::block_new<vorn_point>((size_t)params->second_count + 1);
    if (!d->second) {
      r = VORN_E_NOMEM;
    } else {
      uint32_t kept = 0;
      for (uint32_t i = 0; i < params->second_count; ++i)
        if (vorn_pt_in_region(params->second_pts[i], params->region_pts, (int32_t)params->region_count))
          d->second[kept++] = params->second_pts[i];
      if (kept > 0) {
        d->second[kept] = d->second[kept - 1];
        kept += 1;
      }
      d->params.second_pts = d->second;
      d->params.second_count = kept;
    }
  }
  if (r == VORN_OK) {
    vorn_obj_maker_params op = {w, h, kMaxRecords, 0};
    r = vorn_obj_maker_create(&op, &d->obj_maker);
    if (r == VORN_OK && !d->obj_maker) r = VORN_E_NO_RESULT;
  }
  if (r != VORN_OK) {
    vorn_obld_destroy(d);
    return r;
  }
  *out = d;
  return VORN_OK;
}

VORN_API vorn_result vorn_obld_destroy(vorn_obld *d) {
  if (!d) return VORN_E_NULL;
  if (d->refresh) d->refresh_ops.destroy(d->refresh);
  vorn_obj_maker_destroy(d->obj_maker);
  vorn_image_free(d->bk);
  vorn_image_free(d->current);
  vorn_mono_image_free(d->region_mask);
  vorn_mono_image_free(d->diff);
  vorn_mono_image_free(d->filtered);
  vorn_mono_image_free(d->prev_filtered);
  vorn::block_release(d->region);
  vorn::block_release(d->second);
  vorn_free(d);
  return VORN_OK;
}

VORN_API vorn_result vorn_obld_put_image(vorn_obld *d, uint8_t *frame, uint32_t frame_type) {
  if (!d || !frame) return VORN_E_NULL;
  const uint32_t t = threshold_of(d->params.sensitivity);
  if (frame_type > 4) frame_type = 4;
  vorn_result r = refresh_step(d, frame, frame_type);
  if (r != VORN_OK) return r;
  vorn::frame_to_image(frame, frame_type, d->current);
  vorn_image_diff_binary_to_mono_image(d->bk, d->current, d->diff, t);
  if (d->scenecut_enabled) {
    const size_t n = (size_t)d->params.width * d->params.height;
    size_t changed = 0;
    for (size_t i = 0; i < n; ++i) changed += d->diff->data[i] != 0;
    const uint64_t pct = n ? 100 * (uint64_t)changed / n : 0;
    if (pct < kFullChangePct) {
      d->full_run = 0;
    } else if (++d->full_run >= kFullChangeRun) {
      d->refresh_counter = kForceRefresh;
      d->full_run = 0;
      return VORN_E_SCENE_CHANGE;
    }
  }
  vorn_morpha_window(d->diff, d->filtered, 3, d->region_mask);
  if ((r = vorn_obj_maker_process(d->obj_maker, d->filtered)) == VORN_OK) follow_blobs(d);
  else d->record_count = 0;
  d->frame_count += 1;
  vorn_mono_image *swap = d->filtered;
  d->filtered = d->prev_filtered;
  d->prev_filtered = swap;
  return VORN_OK;
}

VORN_API vorn_result vorn_obld_get_lost_objects_rect(vorn_obld *d, vorn_rect *rects, uint32_t *count) {
  if (count) *count = 0;
  if (!d || !rects || !count) return VORN_E_NULL;
  const uint32_t k = lost_objects(d, [&](uint32_t j, uint32_t at) { rects[at] = d->records[j].box; });
  if (k == 0) return VORN_E_NO_RESULT;
  *count = k;
  return VORN_OK;
}

VORN_API vorn_result vorn_obld_get_lost_objects_contour(vorn_obld *d, vorn_mono_image **outline, uint32_t *count) {
  if (count) *count = 0;
  if (outline) *outline = nullptr;
  if (!d || !outline || !count) return VORN_E_NULL;
  const uint32_t k = lost_objects(d, [](uint32_t, uint32_t) {});
  if (k == 0) return VORN_E_NO_RESULT;
  *count = k;
  *outline = d->diff;
  return VORN_OK;
}

VORN_API vorn_result vorn_obld_get_mask(vorn_obld *d, vorn_mono_image **mask) {
  if (mask) *mask = nullptr;
  if (!d || !mask) return VORN_E_NULL;
  *mask = d->region_mask;
  return VORN_OK;
}

VORN_API vorn_result vorn_obld_get_fg(vorn_obld *d, vorn_mono_image **fg) {
  if (fg) *fg = nullptr;
  if (!d || !fg) return VORN_E_NULL;
  *fg = d->prev_filtered;
  return VORN_OK;
}

VORN_API vorn_result vorn_obld_clear_lost_objects(vorn_obld *d) {
  if (!d) return VORN_E_NULL;
  d->refresh_counter = kForceRefresh;
  return VORN_OK;
}

VORN_API vorn_result vorn_obld_set_frame_threshold(vorn_obld *d, uint32_t frames) {
  if (!d) return VORN_E_NULL;
  d->frame_threshold = frames;
  return VORN_OK;
}

VORN_API vorn_result vorn_obld_set_bk_frame_interval(vorn_obld *d, uint32_t frames) {
  if (!d) return VORN_E_NULL;
  d->bk_frame_interval = (int32_t)frames < (int32_t)kMinInterval ? kMinInterval : frames;
  return VORN_OK;
}

VORN_API vorn_result vorn_obld_enable_scenecut(vorn_obld *d, uint32_t enable) {
  if (!d) return VORN_E_NULL;
  d->scenecut_enabled = enable;
  return VORN_OK;
}

}  // extern "C"
