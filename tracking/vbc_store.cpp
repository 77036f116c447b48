// The trajectory recorder's store: trajectory records and a pool of position slots chained per trajectory, so a
// recording grows without allocating and an ended trajectory gives its slots back.
#include "core/memory.h"
#include "tracking/vbc_impl.h"

namespace vorn {

bool vbc_store_init(VbcStore *s, uint32_t trajectories, uint32_t slots) {
  *s = VbcStore{};
  s->traj = block_new<VbcTrajectory>(trajectories ? trajectories : 1);
  s->pos = s->traj ? block_new<vorn_point2f>((size_t)(slots ? slots : 1) * kVbcSlot) : nullptr;
  s->next = s->pos ? block_new<uint32_t>(slots ? slots : 1) : nullptr;
  if (!s->next) {
    vbc_store_release(s);
    return false;
  }
  s->capacity = trajectories;
  s->slots = slots;
  for (uint32_t i = 0; i < slots; ++i) s->next[i] = i + 1 < slots ? i + 1 : kVbcNil;
  s->free_head = slots ? 0 : kVbcNil;
  return true;
}

void vbc_store_release(VbcStore *s) {
  block_release(s->traj);
  block_release(s->pos);
  block_release(s->next);
  *s = VbcStore{};
}

bool vbc_store_append(VbcStore *s, uint32_t t, vorn_point2f p) {
  VbcTrajectory &tr = s->traj[t];
  const uint32_t used = tr.length % kVbcSlot;
  if (tr.length == 0 || used == 0) {
    const uint32_t slot = s->free_head;
    if (slot == kVbcNil) return false;
    s->free_head = s->next[slot];
    s->next[slot] = kVbcNil;
    if (tr.length == 0)
      tr.first_slot = slot;
    else
      s->next[tr.last_slot] = slot;
    tr.last_slot = slot;
  }
  s->pos[(size_t)tr.last_slot * kVbcSlot + used] = p;
  ++tr.length;
  return true;
}

void vbc_store_clear(VbcStore *s, uint32_t t) {
  VbcTrajectory &tr = s->traj[t];
  if (tr.length) {
    s->next[tr.last_slot] = s->free_head;
    s->free_head = tr.first_slot;
  }
  tr.length = 0;
  tr.first_slot = tr.last_slot = kVbcNil;
}

vorn_point2f vbc_store_point(const VbcStore *s, uint32_t t, uint32_t k) {
  uint32_t slot = s->traj[t].first_slot;
  for (uint32_t i = k / kVbcSlot; i > 0; --i) slot = s->next[slot];
  return s->pos[(size_t)slot * kVbcSlot + k % kVbcSlot];
}

}  // namespace vorn
