// Object counter: two areas rasterised into the bits of one byte mask, occupancy per frame, and a pass recognised
// from the order in which the areas are released.
#include <string.h>

#include "geometry/region_raster.h"
#include "core/memory.h"
#include "vorn_counter.h"
#include "vorn_geometry.h"

struct vorn_counter {
  uint32_t width, height;
  uint32_t sensitivity;
  uint32_t max_frame;
  uint32_t logic;
  uint32_t reserved;
  int32_t count[2];
  int32_t armed[2];     // releases of an area waiting for the other area's release
  uint32_t occupied[2]; // occupied on the last frame
  int32_t wait[2];      // frames armed[k] has waited
  uint32_t started;
  uint8_t *mask;        // bit k set where the pixel lies in area k
  uint32_t event;
};

namespace {

constexpr int32_t kDefaultWait = 200;

bool rasterise(vorn_counter *c, int32_t k, const vorn_point *points, int32_t n) {
  // The working copy repeats the last point (not the first) as its closing point.
  const size_t pixels = (size_t)c->width * c->height;
  vorn_point *copy = vorn::block_new<vorn_point>((size_t)n + 1);
  uint8_t *inside = copy ? vorn::block_new<uint8_t>(pixels) : nullptr;
  if (!inside) {
    vorn::block_release(copy);
    return false;
  }
  memcpy(copy, points, (size_t)n * sizeof(vorn_point));
  copy[n] = points[n - 1];
  const uint8_t bit = (uint8_t)(1u << k);
  vorn::region_raster(copy, n + 1, c->width, c->height, inside, c->width, bit);
  for (size_t i = 0; i < pixels; ++i) c->mask[i] = (uint8_t)((c->mask[i] & ~bit) | inside[i]);
  vorn::block_release(inside);
  vorn::block_release(copy);
  return true;
}

void pair_releases(vorn_counter *c, bool released0, bool released1) {
  int32_t *armed = c->armed, *count = c->count, *wait = c->wait;
  if (released0 && released1) {
    if (armed[0] > armed[1]) {
      armed[0] -= 1;
      armed[1] = 0;
      count[0] += 1;
    } else if (armed[1] > armed[0]) {
      armed[1] -= 1;
      armed[0] = 0;
      count[1] += 1;
    } else {
      armed[0] = armed[1] = 0;
      count[0] += 1;
    }
    wait[0] = wait[1] = 0;
  } else if (released0) {
    if (armed[0] < armed[1]) {
      armed[1] -= 1;
      armed[0] = 0;
      count[1] += 1;
    } else {
      armed[0] += 1;
      armed[1] = 0;
    }
    wait[0] = 0;
  } else if (released1) {
    if (armed[1] < armed[0]) {
      armed[0] -= 1;
      armed[1] = 0;
      count[0] += 1;
    } else {
      armed[1] += 1;
      armed[0] = 0;
    }
    wait[1] = 0;
  } else {
    // A pending release of area 1 that times out is credited to count 0, one of area 0 to count 1.
    const int32_t limit = c->max_frame ? (int32_t)c->max_frame : kDefaultWait;
    if (armed[1] != 0 && ++wait[1] > limit) {
      armed[1] = 0;
      wait[1] = 0;
      if (c->logic) count[0] += 1;
    }
    if (armed[0] != 0 && ++wait[0] > limit) {
      armed[0] = 0;
      wait[0] = 0;
      if (c->logic) count[1] += 1;
    }
  }
}

}  // namespace

extern "C" {

VORN_API vorn_counter *vorn_counter_create(const vorn_counter_params *params) {
  if (!params) return nullptr;
  uint32_t n;
  if (!vorn::area_u32(params->width, params->height, &n)) return nullptr;
  vorn_counter *c = vorn::block_new<vorn_counter>();
  if (!c) return nullptr;
  c->width = params->width;
  c->height = params->height;
  c->sensitivity = params->sensitivity;
  c->max_frame = params->max_frame;
  c->logic = params->logic;
  c->reserved = params->reserved;
  c->mask = vorn::block_new<uint8_t>(n);
  if (!c->mask) {
    vorn_counter_destroy(c);
    return nullptr;
  }
  if (vorn_counter_set_area(c, 0, params->area0_points, params->area0_count) != VORN_OK ||
      vorn_counter_set_area(c, 1, params->area1_points, params->area1_count) != VORN_OK) {
    vorn_counter_destroy(c);
    return nullptr;
  }
  return c;
}

VORN_API void vorn_counter_destroy(vorn_counter *counter) {
  if (!counter) return;
  vorn::block_release(counter->mask);
  vorn_free(counter);
}

VORN_API vorn_result vorn_counter_set_area(vorn_counter *counter, int32_t index, const vorn_point *points,
                                           int32_t count) {
  if (!counter) return VORN_E_NULL;
  if ((index == 0 || index == 1) && points && count >= 3 && !rasterise(counter, index, points, count))
    return VORN_E_NOMEM;
  return VORN_OK;
}

VORN_API vorn_result vorn_counter_clear_area(vorn_counter *counter, uint32_t index) {
  if (!counter) return VORN_E_NULL;
  if (index < 8) {
    const uint8_t keep = (uint8_t)~(1u << index);
    const size_t n = (size_t)counter->width * counter->height;
    for (size_t i = 0; i < n; ++i) counter->mask[i] &= keep;
  }
  return VORN_OK;
}

VORN_API vorn_result vorn_counter_set_sensitivity(vorn_counter *counter, uint32_t value) {
  if (!counter) return VORN_E_NULL;
  counter->sensitivity = value;
  return VORN_OK;
}

VORN_API vorn_result vorn_counter_set_max_frame(vorn_counter *counter, uint32_t value) {
  if (!counter) return VORN_E_NULL;
  counter->max_frame = value;
  return VORN_OK;
}

VORN_API vorn_result vorn_counter_set_logic(vorn_counter *counter, uint32_t value) {
  if (!counter) return VORN_E_NULL;
  counter->logic = value;
  return VORN_OK;
}

VORN_API vorn_result vorn_counter_start(vorn_counter *counter) {
  if (!counter) return VORN_E_NULL;
  counter->started = 1;
  return VORN_OK;
}

VORN_API vorn_result vorn_counter_stop(vorn_counter *counter) {
  if (!counter) return VORN_E_NULL;
  counter->started = 0;
  return VORN_OK;
}

VORN_API vorn_result vorn_counter_reset_count(vorn_counter *counter) {
  if (!counter) return VORN_E_NULL;
  for (int k = 0; k < 2; ++k) {
    counter->count[k] = 0;
    counter->armed[k] = 0;
    counter->occupied[k] = 0;
    counter->wait[k] = 0;
  }
  return VORN_OK;
}

VORN_API vorn_result vorn_counter_set_mask(vorn_counter *counter, const uint8_t *fg) {
  if (!counter) return VORN_E_NULL;
  counter->event = 0;
  if (!counter->started) return VORN_E_NO_RESULT;
  if (!fg) return VORN_E_NULL;
  const int32_t before0 = counter->count[0], before1 = counter->count[1];
  const uint64_t pct = ((uint64_t)counter->sensitivity * 40 + 500) / 100;

  // One pass: pixels of each area, and those of them that are foreground.
  uint64_t in0 = 0, in1 = 0, fg0 = 0, fg1 = 0;
  const uint8_t *m = counter->mask;
  const size_t n = (size_t)counter->width * counter->height;
  for (size_t i = 0; i < n; ++i) {
    const uint32_t bits = m[i];
    const uint32_t on = fg[i] != 0;
    in0 += bits & 1u;
    in1 += (bits >> 1) & 1u;
    fg0 += bits & on;
    fg1 += (bits >> 1) & on;
  }
  const uint64_t in[2] = {in0, in1}, fgc[2] = {fg0, fg1};
  bool released[2];
  for (int k = 0; k < 2; ++k) {
    const bool now = fgc[k] >= pct * in[k] / 100;  // an empty area is always occupied
    released[k] = counter->occupied[k] && !now;
    counter->occupied[k] = now;
  }
  pair_releases(counter, released[0], released[1]);
  if (counter->count[0] != before0) counter->event = 1;
  else if (counter->count[1] != before1) counter->event = 2;
  return VORN_OK;
}

VORN_API uint32_t vorn_counter_get_count(const vorn_counter *counter, uint32_t index) {
  if (!counter || index > 1) return 0;
  return (uint32_t)counter->count[index];
}

VORN_API uint32_t vorn_counter_get_event(const vorn_counter *counter) { return counter ? counter->event : 0; }

VORN_API uint8_t *vorn_counter_get_mask(vorn_counter *counter) { return counter ? counter->mask : nullptr; }

// The statistics query answers one statistic, the counter's event word.
VORN_API uintptr_t vorn_get_stat_info(void *handle, vorn_stat_info *info) {
  if (!info || info->kind != 0) return 0;
  info->value = handle ? vorn_counter_get_event(static_cast<vorn_counter *>(handle)) : 0;
  return 0;
}

}  // extern "C"
