// The line counter's tracker: detections from the object maker, Kalman prediction, least-cost association on
// predicted-box overlap and distance, track states, and the side-of-line bookkeeping that makes the counts.
#include <math.h>
#include <string.h>

#include "analytics/linecount_internal.h"
#include "vorn_matrix.h"

namespace vorn {
namespace lc {

namespace {

constexpr float kSizeGain = 0.3f;      // how fast a track's box size follows its detections
constexpr float kMinIou = 0.05f;       // overlap that allows a pair whatever the distance
constexpr float kGate = 0.7f;          // centre distance, in track heights, that allows a pair
constexpr float kGatePerMiss = 0.15f;  // the gate widens while a track is unmatched...
constexpr float kGateMax = 1.6f;       // ...up to this
constexpr float kMissCost = 0.05f;     // long-unmatched tracks give way to fresh ones
constexpr float kTentativeCost = 0.2f; // and tentative ones to confirmed ones
constexpr float kFragmentShare = 0.5f; // share of an unmatched object inside a matched track's box: a fragment

float width_of(const Box &b) { return b.right - b.left; }
float height_of(const Box &b) { return b.bottom - b.top; }

float overlap_area(const Box &a, const Box &b) {
  const float w = fminf(a.right, b.right) - fmaxf(a.left, b.left);
  const float h = fminf(a.bottom, b.bottom) - fmaxf(a.top, b.top);
  return (w > 0 && h > 0) ? w * h : 0.0f;
}

float iou(const Box &a, const Box &b) {
  const float inter = overlap_area(a, b);
  const float uni = width_of(a) * height_of(a) + width_of(b) * height_of(b) - inter;
  return uni > 0 ? inter / uni : 0.0f;
}

Box box_at(float cx, float cy, float w, float h) { return Box{cx - w / 2, cy - h / 2, cx + w / 2, cy + h / 2}; }

vorn_rect clipped(const Box &b, uint32_t width, uint32_t height) {
  auto clamp = [](float v, float hi) { return (int32_t)lroundf(fminf(fmaxf(v, 0.0f), hi)); };
  return vorn_rect{clamp(b.left, (float)width), clamp(b.top, (float)height), clamp(b.right, (float)width),
                   clamp(b.bottom, (float)height)};
}

// Two objects are parts of one body when they overlap in x by half the narrower one and the vertical gap between
// them is under a quarter of the taller one (a walker's head, trunk and legs often come apart in the mask).
bool parts_of_one(const Box &a, const Box &b) {
  const float xo = fminf(a.right, b.right) - fmaxf(a.left, b.left);
  const float gap = fmaxf(a.top, b.top) - fminf(a.bottom, b.bottom);
  return xo >= 0.5f * fminf(width_of(a), width_of(b)) && gap <= 0.25f * fmaxf(height_of(a), height_of(b));
}

void seed_filter(vorn_linecount *c, Track &t, float x, float y) {
  vorn_matrix_set_value(c->seed_state, 0, 0, x);
  vorn_matrix_set_value(c->seed_state, 0, 1, y);
  vorn_matrix_set_value(c->seed_state, 0, 2, 0.0f);
  vorn_matrix_set_value(c->seed_state, 0, 3, 0.0f);
  vorn_kalman_set_prior_state(t.filter, c->seed_state);
  vorn_kalman_set_prior_error_covariance(t.filter, c->seed_cov);
}

void anchor_of(const vorn_linecount *c, const Track &t, float *x, float *y) {
  *x = t.cx;
  *y = c->anchor == VORN_LINECOUNT_ANCHOR_CENTRE ? t.cy : t.cy + t.h / 2;
}

void emit(vorn_linecount *c, const Track &t, uint32_t line, int32_t direction) {
  c->counts[line][direction > 0 ? 0 : 1] += 1;
  if (c->event_count >= VORN_LINECOUNT_MAX_EVENTS) return;
  vorn_linecount_event &e = c->events[c->event_count++];
  e.line = line;
  e.id = t.id;
  e.direction = direction;
  e.box = clipped(box_at(t.cx, t.cy, t.w, t.h), c->width, c->height);
}

// The anchor's side of every line after a matched frame; a change of side between the line's ends, once the
// anchor is `hysteresis` pixels clear of the line, is a crossing.
void update_sides(vorn_linecount *c, Track &t) {
  float ax, ay;
  anchor_of(c, t, &ax, &ay);
  for (uint32_t l = 0; l < c->line_count; ++l) {
    bool within = false;
    const float d = polyline_side(c->lines[l], ax, ay, &within);
    const int8_t s = d >= c->hysteresis ? 1 : d <= -c->hysteresis ? -1 : 0;
    if (s == 0) continue;
    const int8_t old = t.side[l];
    t.side[l] = s;
    if (old == 0 || old == s || !within) continue;
    if (t.state == VORN_LINECOUNT_TENTATIVE) t.pending[l] = (int8_t)(t.pending[l] + s);
    else emit(c, t, l, s);
  }
}

void end_track(Track &t) {
  vorn_kalman *f = t.filter;
  memset(&t, 0, sizeof t);
  t.filter = f;
}

void start_track(vorn_linecount *c, const Box &d) {
  for (Track &t : c->tracks) {
    if (t.id != 0) continue;
    t.id = ++c->last_id;
    t.state = VORN_LINECOUNT_TENTATIVE;
    t.hits = 1;
    t.misses = 0;
    t.w = width_of(d);
    t.h = height_of(d);
    t.cx = t.px = (d.left + d.right) / 2;
    t.cy = t.py = (d.top + d.bottom) / 2;
    memset(t.side, 0, sizeof t.side);
    memset(t.pending, 0, sizeof t.pending);
    seed_filter(c, t, t.cx, t.cy);
    update_sides(c, t);
    if (c->confirm_hits <= 1) t.state = VORN_LINECOUNT_CONFIRMED;
    return;
  }
}

void predict(Track &t) {
  vorn_kalman_predict(t.filter, nullptr);
  vorn_kalman_matrixs m;
  vorn_kalman_get_matrixs(t.filter, &m);
  t.px = vorn_matrix_get_value(m.predict_state, 0, 0);
  t.py = vorn_matrix_get_value(m.predict_state, 0, 1);
}

// A track without a detection carries on from its prediction.
void coast(Track &t) {
  vorn_kalman_matrixs m;
  vorn_kalman_get_matrixs(t.filter, &m);
  vorn_matrix_copy(m.predict_state, m.prior_state);
  vorn_matrix_copy(m.predict_error_covariance, m.prior_error_covariance);
  t.cx = t.px;
  t.cy = t.py;
}

void update(vorn_linecount *c, Track &t, const Box &d) {
  vorn_matrix_set_value(c->measurement, 0, 0, (d.left + d.right) / 2);
  vorn_matrix_set_value(c->measurement, 0, 1, (d.top + d.bottom) / 2);
  vorn_kalman_correct(t.filter, c->measurement);
  vorn_kalman_matrixs m;
  vorn_kalman_get_matrixs(t.filter, &m);
  t.cx = vorn_matrix_get_value(m.prior_state, 0, 0);
  t.cy = vorn_matrix_get_value(m.prior_state, 0, 1);
  t.w += (width_of(d) - t.w) * kSizeGain;
  t.h += (height_of(d) - t.h) * kSizeGain;
  t.misses = 0;
  t.hits += 1;
  if (t.state == VORN_LINECOUNT_TENTATIVE) {
    if (t.hits >= c->confirm_hits) {
      t.state = VORN_LINECOUNT_CONFIRMED;
      for (uint32_t l = 0; l < c->line_count; ++l)
        if (t.pending[l] != 0) emit(c, t, l, t.pending[l] > 0 ? 1 : -1);
      memset(t.pending, 0, sizeof t.pending);
    }
  } else {
    t.state = VORN_LINECOUNT_CONFIRMED;
  }
  update_sides(c, t);
}

float pair_cost(const Track &t, const Box &d) {
  const Box pred = box_at(t.px, t.py, t.w, t.h);
  const float o = iou(pred, d);
  const float dx = (d.left + d.right) / 2 - t.px, dy = (d.top + d.bottom) / 2 - t.py;
  const float dist = sqrtf(dx * dx + dy * dy) / fmaxf(t.h, 20.0f);
  const float gate = fminf(kGate + kGatePerMiss * (float)t.misses, kGateMax);
  if (o < kMinIou && dist > gate) return kForbidden;
  float cost = (1.0f - o) + 0.5f * dist + kMissCost * (float)t.misses;
  if (t.state == VORN_LINECOUNT_TENTATIVE) cost += kTentativeCost;
  return cost;
}

}  // namespace

void collect_detections(vorn_linecount *c, const vorn_obj *objs, uint32_t count) {
  uint32_t n = 0;
  for (uint32_t i = 0; i < count && n < kMaxDetections; ++i)
    c->dets[n++] = Box{(float)objs[i].left, (float)objs[i].top, (float)objs[i].right, (float)objs[i].bottom};
  // Join the parts of one body until nothing more joins.
  for (bool joined = true; joined;) {
    joined = false;
    for (uint32_t i = 0; i < n && !joined; ++i)
      for (uint32_t j = i + 1; j < n; ++j) {
        if (!parts_of_one(c->dets[i], c->dets[j])) continue;
        Box &a = c->dets[i];
        const Box &b = c->dets[j];
        a = Box{fminf(a.left, b.left), fminf(a.top, b.top), fmaxf(a.right, b.right), fmaxf(a.bottom, b.bottom)};
        c->dets[j] = c->dets[--n];
        joined = true;
        break;
      }
  }
  uint32_t kept = 0;
  for (uint32_t i = 0; i < n; ++i)
    if (width_of(c->dets[i]) * height_of(c->dets[i]) >= (float)c->min_area) c->dets[kept++] = c->dets[i];
  // Objects much wider than one are several side by side: cut them into equal parts.
  if (c->split_aspect) {
    const uint32_t whole = kept;
    for (uint32_t i = 0; i < whole; ++i) {
      const Box b = c->dets[i];
      const float one = height_of(b) * (float)c->split_aspect / 100.0f;
      if (one <= 0 || width_of(b) <= 1.5f * one) continue;
      uint32_t parts = (uint32_t)lroundf(width_of(b) / one);
      const float step = width_of(b) / (float)parts;
      for (uint32_t k = 0; k < parts; ++k) {
        Box part = {b.left + step * (float)k, b.top, b.left + step * (float)(k + 1), b.bottom};
        if (k == 0) c->dets[i] = part;
        else if (kept < kMaxDetections) c->dets[kept++] = part;
      }
    }
  }
  c->det_count = kept;
}

void track_step(vorn_linecount *c) {
  c->event_count = 0;
  uint32_t rows = 0;
  for (uint32_t s = 0; s < kMaxTracks; ++s) {
    Track &t = c->tracks[s];
    if (t.id == 0) continue;
    predict(t);
    c->det_track_slot[rows++] = s;
  }
  const uint32_t cols = c->det_count;
  for (uint32_t r = 0; r < rows; ++r)
    for (uint32_t d = 0; d < cols; ++d)
      c->work.cost[r * cols + d] = pair_cost(c->tracks[c->det_track_slot[r]], c->dets[d]);
  int32_t row_to_col[kMaxTracks];
  assign_min_cost(&c->work, rows, cols, row_to_col);
  for (uint32_t d = 0; d < cols; ++d) c->track_of_det[d] = -1;
  for (uint32_t r = 0; r < rows; ++r)
    if (row_to_col[r] >= 0) c->track_of_det[row_to_col[r]] = (int32_t)c->det_track_slot[r];

  for (uint32_t r = 0; r < rows; ++r) {
    Track &t = c->tracks[c->det_track_slot[r]];
    if (row_to_col[r] >= 0) {
      update(c, t, c->dets[row_to_col[r]]);
      continue;
    }
    coast(t);
    t.misses += 1;
    const Box b = box_at(t.cx, t.cy, t.w, t.h);
    const bool outside = b.right <= 0 || b.bottom <= 0 || b.left >= (float)c->width || b.top >= (float)c->height;
    if (t.state == VORN_LINECOUNT_TENTATIVE || t.misses > c->max_lost || outside) end_track(t);
    else t.state = VORN_LINECOUNT_LOST;
  }
  // Objects nobody took start tentative tracks, unless they are mostly inside a matched track's box.
  for (uint32_t d = 0; d < cols; ++d) {
    if (c->track_of_det[d] >= 0) continue;
    const Box &db = c->dets[d];
    bool fragment = false;
    for (uint32_t e = 0; e < cols && !fragment; ++e) {
      if (c->track_of_det[e] < 0) continue;
      const Track &t = c->tracks[c->track_of_det[e]];
      fragment = overlap_area(db, box_at(t.cx, t.cy, t.w, t.h)) > kFragmentShare * width_of(db) * height_of(db);
    }
    if (!fragment) start_track(c, db);
  }
  c->out_count = 0;
  for (const Track &t : c->tracks) {
    if (t.id == 0 || t.state == VORN_LINECOUNT_TENTATIVE) continue;
    vorn_linecount_track &o = c->out_tracks[c->out_count++];
    o.id = t.id;
    o.state = t.state;
    o.box = clipped(box_at(t.cx, t.cy, t.w, t.h), c->width, c->height);
  }
}

void clear_tracks(vorn_linecount *c) {
  for (Track &t : c->tracks) end_track(t);
  c->out_count = 0;
  c->event_count = 0;
}

float polyline_side(const Polyline &line, float x, float y, bool *within) {
  float best = -1.0f, side = 0.0f;
  *within = false;
  for (uint32_t i = 0; i + 1 < line.count; ++i) {
    const float ax = (float)line.pts[i].x, ay = (float)line.pts[i].y;
    const float dx = (float)line.pts[i + 1].x - ax, dy = (float)line.pts[i + 1].y - ay;
    const float len2 = dx * dx + dy * dy;
    if (len2 <= 0) continue;
    float u = ((x - ax) * dx + (y - ay) * dy) / len2;
    const bool before = u <= 0.0f, after = u >= 1.0f;
    u = fminf(fmaxf(u, 0.0f), 1.0f);
    const float qx = ax + u * dx - x, qy = ay + u * dy - y;
    const float dist2 = qx * qx + qy * qy;
    if (best >= 0 && dist2 >= best) continue;
    best = dist2;
    side = (dx * (y - ay) - dy * (x - ax)) / sqrtf(len2);
    *within = !(i == 0 && before) && !(i + 2 == line.count && after);
  }
  return side;
}

}  // namespace lc
}  // namespace vorn
