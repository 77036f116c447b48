// Line counter: background model, object maker and the counter's own tracker; counts per track and line.
#include <string.h>

#include "analytics/linecount_internal.h"
#include "core/memory.h"
#include "vorn_matrix.h"

namespace {

constexpr uint32_t kModelHistory = 4;
constexpr uint32_t kDefaultMinArea = 300;
constexpr uint32_t kDefaultConfirmHits = 3;
constexpr uint32_t kDefaultMaxLost = 15;
constexpr uint32_t kDefaultHysteresis = 4;
// The filter: constant velocity over (x, y, vx, vy), the centre measured.
constexpr float kProcessNoisePos = 1.0f, kProcessNoiseVel = 0.5f, kMeasurementNoise = 4.0f;
constexpr float kSeedPosVariance = 10.0f, kSeedVelVariance = 100.0f;

uint32_t or_default(uint32_t v, uint32_t d) { return v ? v : d; }

vorn_result make_filter(vorn_kalman **out) {
  const vorn_kalman_params kp = {4, 2, 0};
  vorn_result r = vorn_kalman_create(&kp, out);
  if (r != VORN_OK) return r;
  vorn_kalman_matrixs m;
  vorn_kalman_get_matrixs(*out, &m);
  vorn_matrix_set_value(m.transition, 2, 0, 1.0f);  // x += vx
  vorn_matrix_set_value(m.transition, 3, 1, 1.0f);  // y += vy
  vorn_matrix_set_value(m.measurement, 0, 0, 1.0f);
  vorn_matrix_set_value(m.measurement, 1, 1, 1.0f);
  for (int32_t i = 0; i < 4; ++i)
    vorn_matrix_set_value(m.process_noise_covariance, i, i, i < 2 ? kProcessNoisePos : kProcessNoiseVel);
  vorn_matrix_normal(m.measurement_noise_covariance, kMeasurementNoise);
  return VORN_OK;
}

}  // namespace

extern "C" {

VORN_API vorn_result vorn_linecount_create(const vorn_linecount_params *params, vorn_linecount **out) {
  if (!out) return VORN_E_PARAM;
  *out = nullptr;
  if (!params || params->width == 0 || params->height == 0 || params->anchor > VORN_LINECOUNT_ANCHOR_CENTRE)
    return VORN_E_PARAM;
  vorn_linecount *c = vorn::block_new<vorn_linecount>();
  if (!c) return VORN_E_NOMEM;
  c->width = params->width;
  c->height = params->height;
  c->min_area = or_default(params->min_area, kDefaultMinArea);
  c->confirm_hits = or_default(params->confirm_hits, kDefaultConfirmHits);
  c->max_lost = or_default(params->max_lost, kDefaultMaxLost);
  c->hysteresis = (float)or_default(params->hysteresis, kDefaultHysteresis);
  c->anchor = params->anchor;
  c->split_aspect = params->split_aspect;
  vorn_bk_model_init(params->bk_type, &c->bk_ops);
  vorn_bk_model_init_params mp = {kModelHistory, params->width, params->height, params->format};
  void *model = nullptr;
  vorn_result r = c->bk_ops.create(&mp, &model);
  c->bk_model = static_cast<vorn_bk_model *>(model);
  if (r == VORN_OK) {
    c->bk_ops.set_param(c->bk_model, params->sensitivity, VORN_BK_PARAM_SENSITIVITY);
    c->bk_ops.set_param(c->bk_model, 0x101, VORN_BK_PARAM_WINDOW);
    c->bk_ops.set_param(c->bk_model, 0x201, VORN_BK_PARAM_DILATE);
    c->bk_ops.set_param(c->bk_model, 0x101, VORN_BK_PARAM_ERODE);
    if (params->learn_frames) c->bk_ops.set_param(c->bk_model, params->learn_frames, VORN_BK_PARAM_LEARN_FRAMES);
    vorn_obj_maker_params op = {params->width, params->height, vorn::lc::kMaxDetections, 1};
    r = vorn_obj_maker_create(&op, &c->obj_maker);
  }
  if (r == VORN_OK) {
    c->measurement = vorn_matrix_alloc(2, 1);
    c->seed_state = vorn_matrix_alloc(4, 1);
    c->seed_cov = vorn_matrix_alloc(4, 4);
    if (!c->measurement || !c->seed_state || !c->seed_cov) r = VORN_E_NOMEM;
  }
  for (uint32_t i = 0; i < vorn::lc::kMaxTracks && r == VORN_OK; ++i) r = make_filter(&c->tracks[i].filter);
  if (r != VORN_OK) {
    vorn_linecount_destroy(c);
    return r;
  }
  for (int32_t i = 0; i < 4; ++i)
    vorn_matrix_set_value(c->seed_cov, i, i, i < 2 ? kSeedPosVariance : kSeedVelVariance);
  *out = c;
  return VORN_OK;
}

VORN_API vorn_result vorn_linecount_destroy(vorn_linecount *c) {
  if (!c) return VORN_E_NULL;
  if (c->bk_model) c->bk_ops.destroy(c->bk_model);
  vorn_obj_maker_destroy(c->obj_maker);
  vorn_matrix_free(c->measurement);
  vorn_matrix_free(c->seed_state);
  vorn_matrix_free(c->seed_cov);
  for (vorn::lc::Track &t : c->tracks) vorn_kalman_destroy(t.filter);
  vorn_free(c);
  return VORN_OK;
}

VORN_API vorn_result vorn_linecount_add_line(vorn_linecount *c, const vorn_point *points, uint32_t count,
                                             uint32_t *index) {
  if (index) *index = 0;
  if (!c || !points) return VORN_E_NULL;
  if (count < 2 || count > VORN_LINECOUNT_MAX_POINTS || c->line_count >= vorn::lc::kMaxLines) return VORN_E_PARAM;
  bool has_length = false;
  for (uint32_t i = 0; i + 1 < count; ++i)
    has_length |= points[i].x != points[i + 1].x || points[i].y != points[i + 1].y;
  if (!has_length) return VORN_E_PARAM;
  vorn::lc::Polyline &l = c->lines[c->line_count];
  memcpy(l.pts, points, count * sizeof(vorn_point));
  l.count = count;
  c->counts[c->line_count][0] = c->counts[c->line_count][1] = 0;
  for (vorn::lc::Track &t : c->tracks) t.side[c->line_count] = t.pending[c->line_count] = 0;
  if (index) *index = c->line_count;
  c->line_count += 1;
  return VORN_OK;
}

VORN_API vorn_result vorn_linecount_process(vorn_linecount *c, uint8_t *frame, uint32_t frame_type) {
  if (!c || !frame) return VORN_E_NULL;
  c->event_count = 0;
  vorn_result r = c->bk_ops.process(c->bk_model, frame, frame_type);
  if (r == VORN_E_SCENE_CHANGE) {
    c->bk_ops.reset(c->bk_model);
    vorn::lc::clear_tracks(c);
    return r;
  }
  if (r != VORN_OK) return r;
  vorn_mono_image *fg = nullptr;
  r = c->bk_ops.get_fg(c->bk_model, &fg);
  if (r != VORN_OK) return r;
  r = vorn_obj_maker_process(c->obj_maker, fg);
  if (r != VORN_OK) return r;
  vorn_obj *objs = nullptr;
  uint32_t n = 0;
  vorn_obj_maker_get_obj(c->obj_maker, &objs, &n);
  vorn::lc::collect_detections(c, objs, objs ? n : 0);
  vorn::lc::track_step(c);
  return VORN_OK;
}

VORN_API vorn_result vorn_linecount_get_events(vorn_linecount *c, const vorn_linecount_event **events,
                                               uint32_t *count) {
  if (events) *events = nullptr;
  if (count) *count = 0;
  if (!c || !events || !count) return VORN_E_NULL;
  *events = c->events;
  *count = c->event_count;
  return VORN_OK;
}

VORN_API vorn_result vorn_linecount_get_tracks(vorn_linecount *c, const vorn_linecount_track **tracks,
                                               uint32_t *count) {
  if (tracks) *tracks = nullptr;
  if (count) *count = 0;
  if (!c || !tracks || !count) return VORN_E_NULL;
  *tracks = c->out_tracks;
  *count = c->out_count;
  return VORN_OK;
}

VORN_API vorn_result vorn_linecount_get_counts(vorn_linecount *c, uint32_t line, uint32_t *in, uint32_t *out) {
  if (in) *in = 0;
  if (out) *out = 0;
  if (!c || !in || !out) return VORN_E_NULL;
  if (line >= c->line_count) return VORN_E_PARAM;
  *in = c->counts[line][0];
  *out = c->counts[line][1];
  return VORN_OK;
}

VORN_API vorn_result vorn_linecount_get_fg(vorn_linecount *c, vorn_mono_image **fg) {
  if (fg) *fg = nullptr;
  if (!c || !fg) return VORN_E_NULL;
  return c->bk_ops.get_fg(c->bk_model, fg);
}

VORN_API vorn_result vorn_linecount_reset(vorn_linecount *c) {
  if (!c) return VORN_E_NULL;
  vorn::lc::clear_tracks(c);
  memset(c->counts, 0, sizeof c->counts);
  return VORN_OK;
}

}  // extern "C"
