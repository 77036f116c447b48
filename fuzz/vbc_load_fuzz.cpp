// Trajectory files: a load either fails and leaves the recorder as it was, or gives a recording whose every
// trajectory and position can be read, dragged along and saved again byte for byte.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <vector>

#include "fuzz_file.h"
#include "vorn.h"

namespace {

vorn_vbc *make_recorder() {
  vorn_vbc_params p = {};
  p.width = 64;
  p.height = 48;
  p.max_points = 16;
  p.max_trajectories = 64;
  p.max_positions = 1024;
  vorn_vbc *v = nullptr;
  if (vorn_vbc_create(&p, &v) != VORN_OK) abort();
  return v;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  vorn_init();
  vorn_vbc *v = make_recorder();
  const vorn_result r = vorn_vbc_load(v, vorn_fuzz::as_file(data, size));
  uint32_t count = 0, frames = 0;
  vorn_vbc_get_count(v, &count, &frames);
  if (r != VORN_OK) {
    if (count != 0 || frames != 0) abort();  // a failed load leaves the empty recorder empty
    vorn_vbc_destroy(v);
    return 0;
  }
  std::vector<vorn_point2f> pts;
  for (uint32_t t = 0; t < count; ++t) {
    uint32_t start = 0, length = 0;
    if (vorn_vbc_get_trajectory(v, t, &start, &length) != VORN_OK || length == 0 || start + length > frames) abort();
    pts.resize(length);
    if (vorn_vbc_get_points(v, t, 0, length, pts.data()) != VORN_OK) abort();
    for (const vorn_point2f &q : pts)
      if (!(q.x >= 0.0f && q.y >= 0.0f && q.x <= 63.0f && q.y <= 47.0f)) abort();
    uint32_t sel = 0, at = 0;
    vorn_point2f where;
    if (vorn_vbc_down(v, start, pts[0].x, pts[0].y, &sel) == VORN_OK) {
      vorn_vbc_move(v, pts[length - 1].x, pts[length - 1].y, &at, &where);
      vorn_vbc_up(v);
    }
  }
  // What loads saves again as the same bytes.
  const std::string back = vorn_fuzz::scratch_path() + ".back";
  if (vorn_vbc_save(v, back.c_str()) != VORN_OK) abort();
  FILE *f = fopen(back.c_str(), "rb");
  std::vector<uint8_t> bytes(size + 1);
  const size_t got = f ? fread(bytes.data(), 1, bytes.size(), f) : 0;
  if (f) fclose(f);
  remove(back.c_str());
  if (got != size || memcmp(bytes.data(), data, size) != 0) abort();
  vorn_vbc_destroy(v);
  return 0;
}
