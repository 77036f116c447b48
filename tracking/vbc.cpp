// The point-trajectory recorder: follows feature points through a video and answers pointer presses and drags
// over their trajectories.
#include <math.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>

#include "color/frame_table.h"
#include "core/memory.h"
#include "tracking/vbc_impl.h"

using namespace vorn;

namespace {

constexpr uint32_t kDefaultPoints = 400;
constexpr uint32_t kDefaultTrajectories = 20000;
constexpr uint32_t kDefaultPositions = 1u << 21;
constexpr uint32_t kDefaultMinLength = 10;
constexpr uint32_t kDefaultMinDistance = 10;
constexpr uint32_t kDefaultMaxJump = 48;
constexpr uint32_t kDefaultMotion = 10;
constexpr uint32_t kMaxPoints = 1u << 16;
constexpr uint32_t kMaxTrajectories = 1u << 24;
constexpr uint32_t kMaxPositions = 1u << 28;
constexpr uint32_t kMinSide = 16;
// Optical flow: a 21 x 21 window and at most 10 Gauss-Newton steps per level.
constexpr int32_t kWinHalf = 10;
constexpr int32_t kFlowSteps = 10;
// A press selects a trajectory whose point is nearer than this, squared, in pixels.
constexpr float kDownRadius2 = 200.0f;
// Points within half a pixel (this much added to the squared distance) of the nearest count as equally near
// while dragging.
constexpr float kMoveSlack = 0.25f;
// A point that stays within 2 px of one place for this many frames has settled on the background: it ends.
constexpr uint32_t kStillFrames = 30;
constexpr float kStillRadius2 = 4.0f;

uint32_t or_default(uint32_t v, uint32_t d) { return v ? v : d; }

vorn_pyramid *pyramid_alloc(uint32_t w, uint32_t h) {
  vorn_pyramid *p = block_new<vorn_pyramid>();
  if (!p) return nullptr;
  p->monos = block_new<vorn_mono_image *>(kVbcLevels);
  if (!p->monos) {
    vorn_pyramid_destroy(p);
    return nullptr;
  }
  for (uint32_t i = 0; i < kVbcLevels; ++i) {
    w >>= 1;
    h >>= 1;
    p->monos[i] = vorn_mono_image_alloc(w, h);
    if (!p->monos[i]) {
      vorn_pyramid_destroy(p);
      return nullptr;
    }
    p->count = i + 1;
  }
  return p;
}

void pyramid_fill(vorn_pyramid *p, const uint8_t *src, uint32_t w, uint32_t h, uint16_t *scratch) {
  for (uint32_t i = 0; i < p->count; ++i) {
    pyramid_reduce_plane(src, w, h, p->monos[i]->data, scratch);
    src = p->monos[i]->data;
    w >>= 1;
    h >>= 1;
  }
}

}  // namespace

// Clears a disc of radius r around (x, y) in the seeding mask.
void vorn::vbc_mask_clear_disc(vorn_mono_image *m, float x, float y, int32_t r) {
  const int32_t cx = (int32_t)lroundf(x), cy = (int32_t)lroundf(y);
  const int32_t w = (int32_t)m->width, h = (int32_t)m->height;
  for (int32_t dy = -r; dy <= r; ++dy) {
    const int32_t yy = cy + dy;
    if (yy < 0 || yy >= h) continue;
    const int32_t half = (int32_t)sqrtf((float)(r * r - dy * dy));
    const int32_t x0 = std::max(cx - half, 0), x1 = std::min(cx + half, w - 1);
    if (x0 <= x1) memset(m->data + (size_t)yy * w + x0, 0, (size_t)(x1 - x0 + 1));
  }
}

namespace {

// Marks in the seeding mask where the picture moves: every pixel of the quarter-size level (level 1) whose
// grey level changed by at least `threshold` opens its 4 x 4 block of the frame and the blocks around it.
void mask_mark_motion(vorn_mono_image *m, const vorn_mono_image *a, const vorn_mono_image *b, uint32_t threshold) {
  memset(m->data, 0, (size_t)m->width * m->height);
  const int32_t w = (int32_t)m->width, h = (int32_t)m->height;
  for (uint32_t cy = 0; cy < a->height; ++cy) {
    const uint8_t *ra = a->data + (size_t)cy * a->width, *rb = b->data + (size_t)cy * b->width;
    for (uint32_t cx = 0; cx < a->width; ++cx) {
      if ((uint32_t)abs(ra[cx] - rb[cx]) < threshold) continue;
      const int32_t x0 = std::max(4 * (int32_t)cx - 4, 0), x1 = std::min(4 * (int32_t)cx + 8, w);
      const int32_t y1 = std::min(4 * (int32_t)cy + 8, h);
      for (int32_t y = std::max(4 * (int32_t)cy - 4, 0); y < y1; ++y) memset(m->data + (size_t)y * w + x0, 255, (size_t)(x1 - x0));
    }
  }
}

// Removes trajectory t from the table: its slots are freed and the last record takes its index.
void remove_trajectory(vorn_vbc *v, uint32_t t) {
  VbcStore &s = v->store;
  vbc_store_clear(&s, t);
  const uint32_t last = s.count - 1;
  if (v->selected == t)
    v->selected = VORN_VBC_NONE;
  else if (v->selected == last)
    v->selected = t;
  if (t != last) {
    s.traj[t] = s.traj[last];
    if (s.traj[t].live) v->live_traj[s.traj[t].live - 1] = t;
  }
  --s.count;
}

// Ends trajectory t; one shorter than the minimum length is dropped.
void end_trajectory(vorn_vbc *v, uint32_t t) {
  v->store.traj[t].live = 0;
  if (v->store.traj[t].length < v->params.min_length) remove_trajectory(v, t);
}

bool inside(const vorn_vbc *v, vorn_point2f p) {
  return p.x >= 0.0f && p.y >= 0.0f && p.x <= (float)(v->params.width - 1) && p.y <= (float)(v->params.height - 1);
}

}  // namespace

extern "C" {

VORN_API void vorn_vbc_destroy(vorn_vbc *v) {
  if (!v) return;
  for (int i = 0; i < 2; ++i) {
    vorn_image_free(v->image[i]);
    vorn_pyramid_destroy(v->pyramid[i]);
  }
  block_release(v->scratch);
  vorn_mono_image_free(v->mask);
  block_release(v->live_pts);
  block_release(v->new_pts);
  block_release(v->status);
  block_release(v->live_traj);
  block_release(v->seeds);
  block_release(v->anchor);
  block_release(v->anchor_frame);
  block_release(v->strength);
  block_release(v->candidates);
  vbc_store_release(&v->store);
  vorn_free(v);
}

VORN_API vorn_result vorn_vbc_create(const vorn_vbc_params *params, vorn_vbc **out) {
  if (!out) return VORN_E_NULL;
  *out = nullptr;
  if (!params) return VORN_E_NULL;
  vorn_vbc_params p = *params;
  p.max_points = or_default(p.max_points, kDefaultPoints);
  p.max_trajectories = or_default(p.max_trajectories, kDefaultTrajectories);
  p.max_positions = or_default(p.max_positions, kDefaultPositions);
  p.min_length = or_default(p.min_length, kDefaultMinLength);
  p.min_distance = or_default(p.min_distance, kDefaultMinDistance);
  p.max_jump = or_default(p.max_jump, kDefaultMaxJump);
  p.motion_threshold = or_default(p.motion_threshold, kDefaultMotion);
  uint32_t area;
  if (p.width < kMinSide || p.height < kMinSide || !area_u32(p.width, p.height, &area) || area > 0xFFFFFFFFu / 3 ||
      p.max_points > kMaxPoints || p.max_trajectories > kMaxTrajectories || p.max_positions > kMaxPositions ||
      p.min_distance > 0xFFFFu || p.max_jump > 0xFFFFu || p.motion_threshold > 255)
    return VORN_E_PARAM;

  vorn_vbc *v = block_new<vorn_vbc>();
  if (!v) return VORN_E_NOMEM;
  v->params = p;
  v->selected = VORN_VBC_NONE;
  v->candidate_capacity = (p.width / 2 + 1) * (p.height / 2 + 1);
  bool ok = true;
  for (int i = 0; i < 2 && ok; ++i) {
    ok = (v->image[i] = vorn_image_alloc(p.width, p.height, VORN_FORMAT_YUV)) != nullptr &&
         (v->pyramid[i] = pyramid_alloc(p.width, p.height)) != nullptr;
  }
  ok = ok && (v->scratch = block_new<uint16_t>(pyramid_scratch_size(p.width >> 1))) != nullptr &&
       (v->mask = vorn_mono_image_alloc(p.width, p.height)) != nullptr &&
       (v->live_pts = block_new<vorn_point2f>(p.max_points)) != nullptr &&
       (v->new_pts = block_new<vorn_point2f>(p.max_points)) != nullptr &&
       (v->status = block_new<uint32_t>(p.max_points)) != nullptr &&
       (v->live_traj = block_new<uint32_t>(p.max_points)) != nullptr &&
       (v->seeds = block_new<vorn_point>(p.max_points)) != nullptr &&
       (v->anchor = block_new<vorn_point2f>(p.max_points)) != nullptr &&
       (v->anchor_frame = block_new<uint32_t>(p.max_points)) != nullptr &&
       (v->strength = block_new<float>(area)) != nullptr &&
       (v->candidates = block_new<VbcCandidate>((size_t)(p.width / 2 + 1) * (p.height / 2 + 1))) != nullptr &&
       vbc_store_init(&v->store, p.max_trajectories, (p.max_positions + kVbcSlot - 1) / kVbcSlot);
  if (!ok) {
    vorn_vbc_destroy(v);
    return VORN_E_NOMEM;
  }
  *out = v;
  return VORN_OK;
}

VORN_API vorn_result vorn_vbc_process(vorn_vbc *v, const void *frame, uint32_t frame_type) {
  if (!v || !frame) return VORN_E_NULL;
  const vorn_vbc_params &p = v->params;
  const uint32_t nxt = v->have_prev ? v->cur ^ 1u : v->cur;
  vorn_result r = frame_to_image(frame, frame_type, v->image[nxt]);
  if (r != VORN_OK) return r;
  pyramid_fill(v->pyramid[nxt], v->image[nxt]->plane[0], p.width, p.height, v->scratch);

  // Follow the live points; nothing is committed before the one step that can fail has run.
  uint32_t *status = v->status;
  if (v->have_prev && v->live_count) {
    vorn_mono_image a{p.width, p.height, v->image[v->cur]->plane[0]};
    vorn_mono_image b{p.width, p.height, v->image[nxt]->plane[0]};
    r = vorn_opticalflow_pyr_lk(&a, &b, v->pyramid[v->cur], v->pyramid[nxt], v->live_pts, v->new_pts, status,
                                v->live_count, kWinHalf, kFlowSteps);
    if (r != VORN_OK) return r;
    const float jump2 = (float)p.max_jump * (float)p.max_jump;
    for (uint32_t i = 0; i < v->live_count; ++i) {
      const vorn_point2f a0 = v->live_pts[i], b0 = v->new_pts[i];
      const float dx = b0.x - a0.x, dy = b0.y - a0.y;
      if (status[i] == VORN_FLOW_FOUND && (!inside(v, b0) || !(dx * dx + dy * dy <= jump2))) status[i] = VORN_FLOW_LOST;
      const float ax = b0.x - v->anchor[i].x, ay = b0.y - v->anchor[i].y;
      if (ax * ax + ay * ay > kStillRadius2) {
        v->anchor[i] = b0;
        v->anchor_frame[i] = v->frames;
      } else if (v->frames - v->anchor_frame[i] >= kStillFrames) {
        status[i] = VORN_FLOW_LOST;
      }
    }
  } else {
    for (uint32_t i = 0; i < v->live_count; ++i) status[i] = VORN_FLOW_LOST;
  }

  // Seed where the picture moves and has room: away from every point that goes on.
  uint32_t survivors = 0;
  for (uint32_t i = 0; i < v->live_count; ++i) survivors += status[i] == VORN_FLOW_FOUND;
  uint32_t want = p.max_points - survivors;
  uint32_t seeds = 0;
  if (v->have_prev && want > 0 && v->store.count < v->store.capacity && v->store.free_head != kVbcNil) {
    mask_mark_motion(v->mask, v->pyramid[v->cur]->monos[1], v->pyramid[nxt]->monos[1], p.motion_threshold);
    for (uint32_t i = 0; i < v->live_count; ++i)
      if (status[i] == VORN_FLOW_FOUND) vbc_mask_clear_disc(v->mask, v->new_pts[i].x, v->new_pts[i].y, (int32_t)p.min_distance);
    seeds = vbc_seed(v, v->image[nxt]->plane[0], v->seeds, want);
  }

  // Commit: extend the trajectories of the points that go on, end the others, start the seeded ones.
  VbcStore &s = v->store;
  uint32_t n = 0;
  for (uint32_t i = 0; i < v->live_count; ++i) {
    const uint32_t t = v->live_traj[i];
    if (status[i] == VORN_FLOW_FOUND && vbc_store_append(&s, t, v->new_pts[i])) {
      v->live_pts[n] = v->new_pts[i];
      v->live_traj[n] = t;
      v->anchor[n] = v->anchor[i];
      v->anchor_frame[n] = v->anchor_frame[i];
      s.traj[t].live = n + 1;
      ++n;
    } else {
      end_trajectory(v, t);
    }
  }
  v->live_count = n;
  for (uint32_t i = 0; i < seeds && v->live_count < p.max_points && s.count < s.capacity; ++i) {
    const uint32_t t = s.count;
    s.traj[t] = VbcTrajectory{v->frames, 0, kVbcNil, kVbcNil, v->next_seq, 0};
    const vorn_point2f pt{(float)v->seeds[i].x, (float)v->seeds[i].y};
    if (!vbc_store_append(&s, t, pt)) break;
    ++s.count;
    ++v->next_seq;
    s.traj[t].live = v->live_count + 1;
    v->live_pts[v->live_count] = pt;
    v->anchor[v->live_count] = pt;
    v->anchor_frame[v->live_count] = v->frames;
    v->live_traj[v->live_count++] = t;
  }
  v->cur = nxt;
  v->have_prev = true;
  ++v->frames;
  return VORN_OK;
}

VORN_API vorn_result vorn_vbc_end_process(vorn_vbc *v) {
  if (!v) return VORN_E_NULL;
  for (uint32_t i = v->live_count; i-- > 0;) end_trajectory(v, v->live_traj[i]);
  v->live_count = 0;
  v->have_prev = false;
  v->selected = VORN_VBC_NONE;
  VbcStore &s = v->store;
  std::sort(s.traj, s.traj + s.count,
            [](const VbcTrajectory &a, const VbcTrajectory &b) { return a.seq < b.seq; });
  for (uint32_t i = 0; i < s.count; ++i) s.traj[i].seq = i;
  v->next_seq = s.count;
  return VORN_OK;
}

VORN_API vorn_result vorn_vbc_down(vorn_vbc *v, uint32_t frame, float x, float y, uint32_t *index) {
  if (index) *index = VORN_VBC_NONE;
  if (!v) return VORN_E_NULL;
  const VbcStore &s = v->store;
  uint32_t best = VORN_VBC_NONE;
  float best_d = kDownRadius2;
  for (uint32_t t = 0; t < s.count; ++t) {
    const VbcTrajectory &tr = s.traj[t];
    if (frame < tr.start || frame - tr.start >= tr.length) continue;
    const vorn_point2f q = vbc_store_point(&s, t, frame - tr.start);
    const float dx = q.x - x, dy = q.y - y, d = dx * dx + dy * dy;
    if (d < best_d) {
      best_d = d;
      best = t;
    }
  }
  v->selected = best;
  v->last_frame = frame;
  if (index) *index = best;
  return best == VORN_VBC_NONE ? VORN_VBC_NONE : VORN_OK;
}

VORN_API vorn_result vorn_vbc_move(vorn_vbc *v, float x, float y, uint32_t *frame, vorn_point2f *point) {
  if (frame) *frame = 0;
  if (point) *point = vorn_point2f{0.0f, 0.0f};
  if (!v || !frame || !point) return VORN_E_NULL;
  if (v->selected == VORN_VBC_NONE) return VORN_E_NO_RESULT;
  const VbcStore &s = v->store;
  const uint32_t t = v->selected;
  const uint32_t start = s.traj[t].start;
  float nearest = INFINITY;
  vbc_store_each(&s, t, [&](uint32_t, vorn_point2f q) {
    const float dx = q.x - x, dy = q.y - y;
    nearest = std::min(nearest, dx * dx + dy * dy);
  });
  const float limit = nearest + kMoveSlack;
  const uint32_t last = v->last_frame;
  uint32_t best_gap = 0xFFFFFFFFu, best_frame = 0;
  vorn_point2f best_pt{0.0f, 0.0f};
  vbc_store_each(&s, t, [&](uint32_t k, vorn_point2f q) {
    const float dx = q.x - x, dy = q.y - y;
    if (!(dx * dx + dy * dy <= limit)) return;
    const uint32_t f = start + k;
    const uint32_t gap = f > last ? f - last : last - f;
    if (gap < best_gap) {
      best_gap = gap;
      best_frame = f;
      best_pt = q;
    }
  });
  if (best_gap == 0xFFFFFFFFu) return VORN_E_NO_RESULT;  // NaN pointer: nothing is near
  v->last_frame = best_frame;
  *frame = best_frame;
  *point = best_pt;
  return VORN_OK;
}

VORN_API vorn_result vorn_vbc_up(vorn_vbc *v) {
  if (!v) return VORN_E_NULL;
  v->selected = VORN_VBC_NONE;
  return VORN_OK;
}

VORN_API vorn_result vorn_vbc_get_count(vorn_vbc *v, uint32_t *trajectories, uint32_t *frames) {
  if (trajectories) *trajectories = 0;
  if (frames) *frames = 0;
  if (!v) return VORN_E_NULL;
  if (trajectories) *trajectories = v->store.count;
  if (frames) *frames = v->frames;
  return VORN_OK;
}

VORN_API vorn_result vorn_vbc_get_trajectory(vorn_vbc *v, uint32_t index, uint32_t *start, uint32_t *length) {
  if (start) *start = 0;
  if (length) *length = 0;
  if (!v) return VORN_E_NULL;
  if (index >= v->store.count) return VORN_E_PARAM;
  if (start) *start = v->store.traj[index].start;
  if (length) *length = v->store.traj[index].length;
  return VORN_OK;
}

VORN_API vorn_result vorn_vbc_get_points(vorn_vbc *v, uint32_t index, uint32_t first, uint32_t count,
                                         vorn_point2f *points) {
  if (!v || (!points && count)) return VORN_E_NULL;
  if (index >= v->store.count) return VORN_E_PARAM;
  const uint32_t len = v->store.traj[index].length;
  if (first > len || count > len - first) return VORN_E_PARAM;
  if (count == 0) return VORN_OK;
  vbc_store_each(&v->store, index, [&](uint32_t k, vorn_point2f q) {
    if (k >= first && k - first < count) points[k - first] = q;
  });
  return VORN_OK;
}

}  // extern "C"
