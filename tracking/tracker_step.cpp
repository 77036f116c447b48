// The tracker's frame step: association of detections with predicted tracks, coasting, candidate chains, the
// straight-path test that promotes a chain to a track, and track removal.
#include <math.h>
#include <string.h>

#include "core/memory.h"
#include "tracking/kalman.h"
#include "tracking/tracker_impl.h"

namespace vorn {
namespace {

constexpr int32_t kNearDist2 = 200;     // squared centre distance that makes a detection a candidate
constexpr int32_t kMaxMissed = 4;       // frames a track may go without a detection
constexpr int32_t kMaxCoast = 100;      // coasting frames before a track that keeps sharing is dropped
constexpr int32_t kSizeGainPct = 20;    // how fast a track's size follows its detection
constexpr int32_t kScoreLimit = 800;

bool overlaps(int32_t l0, int32_t t0, int32_t r0, int32_t b0, int32_t l1, int32_t t1, int32_t r1, int32_t b1) {
  const int32_t l = l0 > l1 ? l0 : l1, r = r0 < r1 ? r0 : r1;
  const int32_t t = t0 > t1 ? t0 : t1, b = b0 < b1 ? b0 : b1;
  return l < r && t < b;
}

bool overlaps(const Track &a, const Track &b) {
  return overlaps(a.left, a.top, a.right, a.bottom, b.left, b.top, b.right, b.bottom);
}

void place_around_centre(Track *k) {
  k->left = k->cx - k->width / 2;
  k->right = k->cx + k->width / 2;
  k->top = k->cy - k->height / 2;
  k->bottom = k->cy + k->height / 2;
}

void copy_box(Track *dst, const Track &src) {
  dst->left = src.left;
  dst->top = src.top;
  dst->right = src.right;
  dst->bottom = src.bottom;
  dst->width = src.width;
  dst->height = src.height;
  dst->cx = src.cx;
  dst->cy = src.cy;
}

// Correct with the current centre, then predict; the predicted centre and rectangle follow.
void filter_step(Track *k) {
  k->px = k->cx;
  k->py = k->cy;
  if (k->filter) {
    vorn_matrix_set_value(k->measurement, 0, 0, (float)k->cx);
    vorn_matrix_set_value(k->measurement, 0, 1, (float)k->cy);
    vorn_kalman_correct(k->filter, k->measurement);
    vorn_kalman_predict(k->filter, nullptr);
    vorn_matrix *pred = nullptr;
    if (vorn_kalman_get_predict_state(k->filter, &pred) == VORN_OK && pred) {
      k->px = (int32_t)vorn_matrix_get_value(pred, 0, 0);
      k->py = (int32_t)vorn_matrix_get_value(pred, 0, 1);
    }
  }
  const int32_t dx = k->px - k->cx, dy = k->py - k->cy;
  k->pleft = k->left + dx;
  k->pright = k->right + dx;
  k->ptop = k->top + dy;
  k->pbottom = k->bottom + dy;
}

void update_from(Track *k, const Track &d) {
  k->missed = 0;
  k->coast = 0;
  k->shared = 0;
  k->cx = d.cx;
  k->cy = d.cy;
  k->width += (d.width - k->width) * kSizeGainPct / 100;
  k->height += (d.height - k->height) * kSizeGainPct / 100;
  place_around_centre(k);
}

void coast(vorn_tracker *t, Track *k) {
  k->cx = k->px;
  k->cy = k->py;
  place_around_centre(k);
  k->missed = 0;
  const int32_t w = (int32_t)t->width, h = (int32_t)t->height;
  if (k->right < w && k->left >= 0 && k->bottom < h && k->top >= 0) {
    vorn_mono_image *fg = nullptr;
    if (t->ops.get_fg(t->model, &fg) == VORN_OK && fg && fg->data) {
      // Re-centre on the foreground under the box.
      int64_t n = 0, sx = 0, sy = 0;
      for (int32_t y = 0; y < k->height; ++y) {
        const uint8_t *row = fg->data + (size_t)(k->top + y) * fg->width + k->left;
        for (int32_t x = 0; x < k->width; ++x) {
          n += row[x] & 1;
          if (row[x]) {
            sx += x;
            sy += y;
          }
        }
      }
      if (n > 0) {
        k->cx = k->left + (int32_t)(sx / n);
        k->cy = k->top + (int32_t)(sy / n);
        place_around_centre(k);
      }
    }
  } else if (overlaps(k->left, k->top, k->right, k->bottom, 0, 0, w, h)) {
    k->coast += 1;
  } else {
    k->coast = 1000;
  }
}

void remove_track(vorn_tracker *t, Track *k) {
  for (int32_t i = 0; i < t->active_count; ++i) {
    if (t->active[i]->id != k->id) continue;
    for (int32_t j = i + 1; j < t->active_count; ++j) t->active[j - 1] = t->active[j];
    break;
  }
  if (t->active_count > 0) t->active_count--;
  k->id = 0;
  k->filter = nullptr;
  k->hist = nullptr;
}

// Score of a candidate detection when a track has several: 0 when appearance can be compared, else 1.
int32_t candidate_score(vorn_tracker *t, const Track &k, const Track &d) {
  vorn_mono_image *fg = nullptr;
  vorn_image *img = nullptr;
  if (t->ops.get_fg(t->model, &fg) == VORN_OK && fg && t->ops.get_image(t->model, 0, &img) == VORN_OK && img &&
      k.hist && d.hist && k.hist->n == d.hist->n) {
    vorn_image *prev = nullptr;
    t->ops.get_image(t->model, 1, &prev);
    return 0;
  }
  return 1;
}

// Drops one entry of detection u's list that is not track k (the distances stay where they are).
void shorten_list(Candidates *u, const Track *k) {
  for (int32_t e = 0; e < u->count; ++e) {
    if (u->other[e] == k) continue;
    for (int32_t m = e + 1; m < u->count; ++m) {
      u->other[m - 1] = u->other[m];
      u->pos[m - 1] = u->pos[m];
    }
    break;
  }
  u->count--;
}

// Returns the number of unmatched detections, written to the newest frame buffer.
int32_t associate(vorn_tracker *t) {
  memset(t->by_detection, 0, sizeof t->by_detection);
  memset(t->by_track, 0, sizeof t->by_track);
  const int32_t n_tracks = t->active_count;
  for (int32_t i = 0; i < n_tracks; ++i) filter_step(t->active[i]);

  vorn_obj *objs = nullptr;
  uint32_t n_objs = 0;
  vorn_obj_maker_get_obj(t->maker, &objs, &n_objs);
  const int32_t n_det = n_objs > (uint32_t)kMaxDetections ? kMaxDetections : (int32_t)n_objs;
  for (int32_t j = 0; j < n_det; ++j) {
    Track &d = t->detections[j];
    d.left = objs[j].left;
    d.top = objs[j].top;
    d.right = objs[j].right;
    d.bottom = objs[j].bottom;
    d.width = objs[j].width;
    d.height = objs[j].height;
    d.cx = objs[j].cx;
    d.cy = objs[j].cy;
    d.hist = objs[j].hist;
  }

  for (int32_t i = 0; i < n_tracks; ++i) {
    Track *k = t->active[i];
    for (int32_t j = 0; j < n_det; ++j) {
      Track *d = &t->detections[j];
      const int64_t ddx = (int64_t)d->cx - k->px, ddy = (int64_t)d->cy - k->py;
      const int64_t d2 = ddy * ddy + ddx * ddx;
      if (!overlaps(d->left, d->top, d->right, d->bottom, k->pleft, k->ptop, k->pright, k->pbottom) &&
          d2 >= kNearDist2)
        continue;
      const int32_t d2i = d2 > INT32_MAX ? INT32_MAX : (int32_t)d2;
      Candidates &dl = t->by_detection[j];
      dl.other[dl.count] = k;
      dl.dist2[dl.count] = d2i;
      dl.pos[dl.count] = i;
      dl.count++;
      Candidates &tl = t->by_track[i];
      tl.other[tl.count] = d;
      tl.dist2[tl.count] = d2i;
      tl.pos[tl.count] = j;
      tl.count++;
    }
  }

  Track *fresh = t->frames[0];
  int32_t unmatched = 0;
  for (int32_t j = 0; j < n_det; ++j) {
    Candidates &dl = t->by_detection[j];
    Track &d = t->detections[j];
    if (dl.count <= 0) {
      Track &u = fresh[unmatched++];
      memset(&u, 0, sizeof u);
      copy_box(&u, d);
    } else if (dl.count == 1) {
      Track *k = dl.other[0];
      Candidates &tl = t->by_track[dl.pos[0]];
      if (tl.count == 1) {
        update_from(k, d);
        continue;
      }
      int32_t best = -1, best_score = kScoreLimit;
      for (int32_t e = 0; e < tl.count; ++e) {
        const int32_t s = candidate_score(t, *k, *tl.other[e]);
        if (s < best_score) {
          best_score = s;
          best = e;
        }
      }
      if (best < 0 || tl.pos[best] != j) continue;
      update_from(k, d);
      for (int32_t e = 0; e < tl.count; ++e) {
        if (tl.pos[e] != j) shorten_list(&t->by_detection[tl.pos[e]], k);
      }
    } else {
      for (int32_t e = 0; e < dl.count; ++e) {
        dl.other[e]->shared = 1;
        coast(t, dl.other[e]);
      }
    }
  }

  // Tracks that were active at the start of the step, in their order then.
  Track *snapshot[kMaxTracks];
  memcpy(snapshot, t->active, sizeof(Track *) * (size_t)n_tracks);
  vorn_mono_image *fg = nullptr;
  vorn_image *img = nullptr;
  t->ops.get_fg(t->model, &fg);
  t->ops.get_image(t->model, 0, &img);
  const int32_t w = (int32_t)t->width, h = (int32_t)t->height;
  for (int32_t i = 0; i < n_tracks; ++i) {
    Track *k = snapshot[i];
    if (t->by_track[i].count == 0) {
      int32_t l = k->pleft < 0 ? 0 : k->pleft, tp = k->ptop < 0 ? 0 : k->ptop;
      int32_t r = k->pright > w - 1 ? w - 1 : k->pright, b = k->pbottom > h - 1 ? h - 1 : k->pbottom;
      if (l < r && tp < b) k->missed += 1;
      else k->missed = kMaxMissed + 1;
      if (k->pright > w || k->pleft < 0 || k->pbottom > h || k->ptop < 0) k->missed = kMaxMissed + 1;
      if (k->missed > kMaxMissed) remove_track(t, k);
    } else if (k->coast == 0 || k->shared == 0) {
      if (img && k->hist) {
        vorn_mono_image plane0 = {img->width, img->height, img->plane[0]};
        vorn_rect box = {k->left, k->top, k->right, k->bottom};
        vorn_histogram_caculate(&plane0, k->hist, &box, fg);
      }
    } else if (k->coast > kMaxCoast) {
      remove_track(t, k);
    }
  }
  return unmatched;
}

// Least-squares straight path through the chain's 8 centres (k = 0 newest). Stores the fit in the newest
// detection and returns whether the path is steady and straight enough.
bool fit_path(const vorn_tracker *t, Chain *c) {
  const double n = kChainLength;
  double sx = 0, skx = 0, sy = 0, sky = 0;
  for (int k = 0; k < kChainLength; ++k) {
    sx += c->slot[k]->cx;
    sy += c->slot[k]->cy;
    skx += k * (double)c->slot[k]->cx;
    sky += k * (double)c->slot[k]->cy;
  }
  const double ax = 6 * (2 * skx - (n - 1) * sx) / (n * (n * n - 1));
  const double bx = -2 * ((1 - 2 * n) * sx + 3 * skx) / (n * (n + 1));
  const double ay = 6 * (2 * sky - (n - 1) * sy) / (n * (n * n - 1));
  const double by = -2 * ((1 - 2 * n) * sy + 3 * sky) / (n * (n + 1));
  double sum = 0;
  for (int k = 0; k < kChainLength; ++k) {
    const double ex = ax * k + bx - c->slot[k]->cx, ey = ay * k + by - c->slot[k]->cy;
    sum += ex * ex + ey * ey;
  }
  const double r = sqrt(sum / n);
  if (!(r <= 0.01 * t->width && fabs(ax) <= 0.1 * t->width && fabs(ay) <= 0.1 * t->height)) return false;
  Track *newest = c->slot[0];
  newest->fit_vx = (int32_t)ax;
  newest->fit_vy = (int32_t)ay;
  newest->fit_x0 = (int32_t)bx;
  newest->fit_y0 = (int32_t)by;
  return true;
}

vorn_result create_track(vorn_tracker *t, const Chain &c) {
  Track *k = nullptr;
  for (int i = 0; i < kMaxTracks && !k; ++i)
    if (t->tracks[i].id == 0) k = &t->tracks[i];
  if (!k) return VORN_OK;
  if (!k->measurement) return VORN_E_NOMEM;
  if (c.count < 2) return VORN_E_PARAM;
  copy_box(k, *c.slot[0]);
  k->id = ++t->last_id;
  k->missed = 0;
  // The slot's histogram and filter start over as if just made.
  k->hist = k->hist_store;
  vorn_histogram_zero(k->hist);
  t->active[t->active_count++] = k;

  k->filter = k->filter_store;
  vorn::kalman_restart(k->filter);
  static const float kTransition[16] = {1, 0, 1, 0, 0, 1, 0, 1, 0, 0, 1, 0, 0, 0, 0, 1};
  static const float kMeasure[8] = {1, 0, 0, 0, 0, 1, 0, 0};
  vorn_kalman_matrixs m;
  vorn_kalman_get_matrixs(k->filter, &m);
  memcpy(m.transition->data, kTransition, sizeof kTransition);
  memcpy(m.measurement->data, kMeasure, sizeof kMeasure);
  vorn_matrix_normal(m.process_noise_covariance, 1e-5f);
  vorn_matrix_normal(m.measurement_noise_covariance, 0.1f);
  // Seeded from the two oldest observations only.
  const Track *s7 = c.slot[6], *s8 = c.slot[7];
  m.prior_state->data[0] = (float)s7->cx;
  m.prior_state->data[1] = (float)s7->cy;
  m.prior_state->data[2] = (float)(s7->cx - s8->cx);
  m.prior_state->data[3] = (float)(s7->cy - s8->cy);
  vorn_kalman_predict(k->filter, nullptr);
  return VORN_OK;
}

// Drops chains whose newest slot is empty. The scan starts its search for a live chain at the first empty one
// itself, so that chain is counted twice; live chains after it can be lost and an empty one can stay inside the
// count. The tracker has always pruned its candidates this way.
void compact_chains(vorn_tracker *t) {
  Chain **ch = t->chains;
  int32_t n = t->chain_count, i = 0, f = 0;
  while (i < n) {
    if (ch[i]->slot[0]) {
      ++i;
      continue;
    }
    n = n - 1;
    if (f == 0) f = i;
    while (f < n) {
      if (!ch[f]->slot[0]) {
        n = n - 1;
        f = f + 1;
        continue;
      }
      Chain *tmp = ch[i];
      ch[i] = ch[f];
      ch[f] = tmp;
      break;
    }
    if (f >= n - 1) break;
    f = f + 1;
    ++i;
  }
  t->chain_count = n < 0 ? 0 : n;
}

}  // namespace

vorn_result tracker_frame_step(vorn_tracker *t) {
  vorn_result failed = VORN_OK;
  // The oldest frame buffer becomes the newest.
  Track *oldest = t->frames[kChainLength - 1];
  for (int i = kChainLength - 1; i > 0; --i) t->frames[i] = t->frames[i - 1];
  t->frames[0] = oldest;

  const int32_t unmatched = associate(t);

  for (int32_t i = 0; i < t->chain_count; ++i) {
    Chain *c = t->chains[i];
    for (int s = kChainLength - 1; s > 0; --s) c->slot[s] = c->slot[s - 1];
    c->slot[0] = nullptr;
    if (c->count == kChainLength) c->count = kChainLength - 1;
  }

  const int32_t existing = t->chain_count;
  for (int32_t u = 0; u < unmatched; ++u) {
    Track *d = &t->frames[0][u];
    bool joined = false;
    for (int32_t i = 0; i < existing; ++i) {
      Chain *c = t->chains[i];
      if (c->count <= 0 || !c->slot[1] || !overlaps(*d, *c->slot[1])) continue;
      joined = true;
      if (!c->slot[0]) {
        c->slot[0] = d;
        c->count++;
      } else if (t->chain_count < kMaxChains) {
        Chain *copy = t->chains[t->chain_count++];
        *copy = *c;
        copy->slot[0] = d;
      }
    }
    if (!joined && t->chain_count < kMaxChains) {
      Chain *c = t->chains[t->chain_count++];
      memset(c, 0, sizeof *c);
      c->count = 1;
      c->slot[0] = d;
    }
  }

  for (int32_t i = 0; i < t->chain_count; ++i) {
    Chain *c = t->chains[i];
    if (c->count != kChainLength) continue;
    bool complete = true;
    for (int s = 0; s < kChainLength; ++s) complete = complete && c->slot[s];
    if (!complete || !fit_path(t, c)) continue;
    const vorn_result r = create_track(t, *c);
    if (r == VORN_E_NOMEM) {
      failed = r;
      continue;
    }
    c->slot[0] = nullptr;
  }

  compact_chains(t);
  return failed;
}

}  // namespace vorn
