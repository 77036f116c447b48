// The guard, the counter and the left/lost detector with random configuration and random frames: any lines,
// half widths, polygons, sensitivities, limits and model types, frames of random bytes with now and then a
// repeated or blank one. Every answer is a code of the table and every getter stays inside its promises.
//
// Input: which analytic, its configuration, then frames until the input ends.
#include <stdlib.h>

#include <algorithm>
#include <vector>

#include "fuzz_input.h"
#include "vorn.h"

namespace {

bool known(vorn_result r) {
  return r == VORN_OK || r == VORN_E_NO_RESULT || r == VORN_E_NULL || r == VORN_E_NOMEM || r == VORN_E_PARAM ||
         r == VORN_E_LEARNING || r == VORN_E_SCENE_CHANGE;
}

std::vector<vorn_point> polygon(vorn_fuzz::Input &in, int32_t span) {
  std::vector<vorn_point> pts(in.range(0, 10));
  for (vorn_point &p : pts) p = {in.coord(span), in.coord(span)};
  if (!pts.empty() && (in.u8() & 1)) pts.push_back(pts.front());
  return pts;
}

// Fills a frame: random bytes, or a copy of the last one, or flat.
void next_frame(vorn_fuzz::Input &in, std::vector<uint8_t> &f) {
  const uint8_t how = in.u8() % 4;
  if (how == 0) return;
  if (how == 1) {
    std::fill(f.begin(), f.end(), in.u8());
    return;
  }
  in.bytes(f.data(), f.size());
}

void guard(vorn_fuzz::Input &in, uint32_t w, uint32_t h, std::vector<uint8_t> &f, uint32_t ft) {
  const vorn_guard_params p = {w, h, in.range(0, 2), in.range(0, 9)};
  vorn_guard *g = nullptr;
  if (vorn_guard_create(&p, &g) != VORN_OK) abort();
  const vorn_line gl = {in.coord(40), in.coord(40), in.coord(40), in.coord(40)};
  const vorn_line dl = {in.coord(40), in.coord(40), in.coord(40), in.coord(40)};
  if (!known(vorn_guard_set_lines(g, gl, dl, in.coord(20)))) abort();
  for (int i = 0; i < 24 && in.left(); ++i) {
    next_frame(in, f);
    if (!known(vorn_guard_put_image(g, f.data(), ft))) abort();
    uint32_t event = 9;
    vorn_guard_get_event(g, &event);
    if (event > 2) abort();
    vorn_line trace;
    for (int32_t k = 0; k < 9; ++k) vorn_guard_get_trace(g, k, &trace);
  }
  vorn_guard_destroy(g);
}

void counter(vorn_fuzz::Input &in, uint32_t w, uint32_t h, std::vector<uint8_t> &f) {
  const std::vector<vorn_point> a0 = polygon(in, 40), a1 = polygon(in, 40);
  const vorn_counter_params p = {a0.data(), a1.data(), (int32_t)a0.size(), (int32_t)a1.size(), w, h,
                                 in.u32(), in.range(0, 8), (uint32_t)(in.u8() & 1), 0};
  vorn_counter *c = vorn_counter_create(&p);
  if (!c) abort();
  vorn_counter_start(c);
  for (int i = 0; i < 40 && in.left(); ++i) {
    const uint8_t cmd = in.u8() % 8;
    if (cmd == 0) {
      const std::vector<vorn_point> a = polygon(in, 40);
      vorn_counter_set_area(c, (int32_t)in.range(0, 2), a.data(), (int32_t)a.size());
    } else if (cmd == 1) {
      vorn_counter_set_sensitivity(c, in.u32());
    } else if (cmd == 2) {
      vorn_counter_set_max_frame(c, in.range(0, 5));
    } else {
      next_frame(in, f);
      if (!known(vorn_counter_set_mask(c, f.data()))) abort();
      if (vorn_counter_get_event(c) > 2) abort();
    }
  }
  vorn_counter_destroy(c);
}

void detector(vorn_fuzz::Input &in, uint32_t w, uint32_t h, std::vector<uint8_t> &f, uint32_t ft) {
  next_frame(in, f);
  const std::vector<vorn_point> region = polygon(in, 40);
  const vorn_obld_params p = {w, h, ft, f.data(), region.data(), (uint32_t)region.size(), in.u32(), nullptr, 0,
                              in.range(0, 6)};
  vorn_obld *d = nullptr;
  const vorn_result r = vorn_obld_create(&p, &d);
  if (!known(r)) abort();
  if (r != VORN_OK) return;
  vorn_obld_set_frame_threshold(d, in.range(0, 60));
  vorn_obld_enable_scenecut(d, in.u8() & 1);
  for (int i = 0; i < 32 && in.left(); ++i) {
    if (in.u8() % 16 == 0) vorn_obld_clear_lost_objects(d);
    next_frame(in, f);
    if (!known(vorn_obld_put_image(d, f.data(), ft))) abort();
    vorn_rect rects[32];
    uint32_t n = 99;
    vorn_obld_get_lost_objects_rect(d, rects, &n);
    if (n > 32) abort();
  }
  vorn_obld_destroy(d);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const bool ready = (vorn_init(), true);
  (void)ready;
  vorn_fuzz::Input in(data, size);
  const uint32_t which = in.range(0, 2);
  const uint32_t w = in.range(8, 40), h = in.range(8, 30);
  // Frames of the raw types (the detector takes the bitmap and 4:2:2 ones); even sizes keep 4:2:x whole.
  const uint32_t ft = which == 2 ? in.range(1, 3) : in.range(1, 4);
  const uint32_t ew = (w + 1) & ~1u, eh = (h + 1) & ~1u;
  std::vector<uint8_t> f((size_t)((ew * 4 + 3) & ~3u) * eh);
  if (which == 0) guard(in, ew, eh, f, ft);
  else if (which == 1) counter(in, w, h, f);
  else detector(in, ew, eh, f, ft);
  return 0;
}
