// The trajectory recorder's handle and its trajectory store, shared by the recorder, its file code and tests.
#ifndef VORN_TRACKING_VBC_IMPL_H
#define VORN_TRACKING_VBC_IMPL_H

#include "tracking/pyramid.h"
#include "vorn_vbc.h"

namespace vorn {

// Positions are kept in slots of this many; a trajectory owns a chain of slots.
constexpr uint32_t kVbcSlot = 32;
constexpr uint32_t kVbcNil = 0xFFFFFFFFu;
constexpr uint32_t kVbcLevels = 3;

struct VbcTrajectory {
  uint32_t start;       // frame of the first position
  uint32_t length;      // positions held
  uint32_t first_slot;  // chain of slots, kVbcNil when empty
  uint32_t last_slot;
  uint32_t seq;         // creation order: sorts finished recordings
  uint32_t live;        // 1 + index among the live points, or 0 once ended
};

// Trajectories plus a pool of position slots linked through `next`; free slots form a chain from free_head.
struct VbcStore {
  VbcTrajectory *traj;
  uint32_t count, capacity;
  vorn_point2f *pos;  // slots * kVbcSlot positions
  uint32_t *next;     // per slot: the following slot of its chain
  uint32_t slots, free_head;
};

// Allocates a store for `trajectories` records and `slots` slots (all free). False (and nothing held) on failure.
bool vbc_store_init(VbcStore *s, uint32_t trajectories, uint32_t slots);
void vbc_store_release(VbcStore *s);
// Appends one position to trajectory t; false when no slot is free.
bool vbc_store_append(VbcStore *s, uint32_t t, vorn_point2f p);
// Returns trajectory t's slots to the free chain.
void vbc_store_clear(VbcStore *s, uint32_t t);
// Position k (< length) of trajectory t.
vorn_point2f vbc_store_point(const VbcStore *s, uint32_t t, uint32_t k);
// Calls f(k, point) for every position of trajectory t in order.
template <class F>
inline void vbc_store_each(const VbcStore *s, uint32_t t, F f) {
  const VbcTrajectory &tr = s->traj[t];
  uint32_t slot = tr.first_slot;
  for (uint32_t k = 0; k < tr.length; slot = s->next[slot]) {
    const vorn_point2f *p = s->pos + (size_t)slot * kVbcSlot;
    const uint32_t n = tr.length - k < kVbcSlot ? tr.length - k : kVbcSlot;
    for (uint32_t j = 0; j < n; ++j, ++k) f(k, p[j]);
  }
}

struct VbcCandidate {
  float strength;
  uint32_t index;  // y * width + x
};

}  // namespace vorn

struct vorn_vbc {
  vorn_vbc_params params;  // with defaults filled in
  uint32_t frames;         // frames recorded
  uint32_t next_seq;
  bool have_prev;          // image[cur] and pyramid[cur] hold the previous frame
  uint32_t cur;
  vorn_image *image[2];    // converted frames (YUV): plane 0 is the luma the points are followed on
  vorn_pyramid *pyramid[2];
  uint16_t *scratch;       // pyramid reduction rows
  vorn_mono_image *mask;   // where seeding may place points
  // Live points: position in the previous frame, estimate in the current one, flow status, trajectory.
  vorn_point2f *live_pts, *new_pts;
  uint32_t *status, *live_traj;
  vorn_point2f *anchor;    // where each live point was when it last moved by more than 2 px ...
  uint32_t *anchor_frame;  // ... and the frame
  uint32_t live_count;
  vorn_point *seeds;
  float *strength;         // corner strength of the masked pixels (others stale)
  vorn::VbcCandidate *candidates;
  uint32_t candidate_capacity;
  vorn::VbcStore store;
  uint32_t selected;       // selected trajectory or VORN_VBC_NONE
  uint32_t last_frame;     // the last frame the selection answered
};

namespace vorn {

// Clears a disc of radius r around (x, y) in the seeding mask.
void vbc_mask_clear_disc(vorn_mono_image *m, float x, float y, int32_t r);
// Up to `want` corners where v->mask is set, strongest first and farther than the seeding spacing apart, into
// out; returns how many. Uses v->strength and v->candidates; closes a disc of the mask around each.
uint32_t vbc_seed(vorn_vbc *v, const uint8_t *luma, vorn_point *out, uint32_t want);

}  // namespace vorn

#endif
