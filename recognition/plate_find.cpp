// From a grey frame to rows of character features: location, deskewing and segmentation of every candidate.
#include <math.h>

#include "core/memory.h"
#include "recognition/plate_internal.h"

namespace vorn {

bool plate_work_alloc(plate_work *w, uint32_t width, uint32_t height) {
  *w = plate_work{};
  const size_t area = (size_t)width * height;
  w->locate.max_runs = (int)(area / 4 + height);
  w->rectify.n_profile = (int)ceil(sqrt((double)width * width + (double)height * height)) + 4;
  return (w->locate.mask = block_new<uint8_t>(area)) && (w->locate.tmp = block_new<uint8_t>(area)) &&
         (w->locate.runs = block_new<int32_t>((size_t)w->locate.max_runs * 4)) &&
         (w->locate.boxes = block_new<int32_t>((size_t)w->locate.max_runs * 5)) &&
         (w->rectify.profile = block_new<int32_t>((size_t)w->rectify.n_profile)) &&
         (w->patch.data = block_new<uint8_t>((size_t)kPatchW * kPatchH)) &&
         (w->ink = block_new<uint8_t>((size_t)kPatchW * kPatchH));
}

void plate_work_free(plate_work *w) {
  block_release(w->locate.mask);
  block_release(w->locate.tmp);
  block_release(w->locate.runs);
  block_release(w->locate.boxes);
  block_release(w->rectify.profile);
  block_release(w->patch.data);
  block_release(w->ink);
}

vorn_rect plate_region_of(const vorn_rect &band, uint32_t width, uint32_t height) {
  const int bh = band.bottom - band.top;
  // Wide to the sides: the closed edges of a row may break at a wide gap and leave part of the row outside.
  vorn_rect r = {band.left - bh * 2, band.top - bh * 6 / 10, band.right + bh * 2, band.bottom + bh * 6 / 10};
  if (r.left < 0) r.left = 0;
  if (r.top < 0) r.top = 0;
  if (r.right > (int)width) r.right = (int)width;
  if (r.bottom > (int)height) r.bottom = (int)height;
  return r;
}

namespace {

}  // namespace

vorn_rect plate_row_rect(const plate_found &f, int start, uint32_t width, uint32_t height) {
  const plate_patch_map &m = f.map;
  const vorn_rect *boxes = f.boxes + start;
  const int n = kPlateChars;
  double u0 = boxes[0].left, u1 = boxes[n - 1].right, v0 = boxes[0].top, v1 = boxes[0].bottom;
  for (int i = 1; i < n; ++i) {
    if (boxes[i].top < v0) v0 = boxes[i].top;
    if (boxes[i].bottom > v1) v1 = boxes[i].bottom;
  }
  double x_lo = 1e30, x_hi = -1e30, y_lo = 1e30, y_hi = -1e30;
  const double us[2] = {u0 - 0.5, u1 - 0.5}, vs[2] = {v0 - 0.5, v1 - 0.5};
  for (double u : us)
    for (double v : vs) {
      const double xr = m.x0 + u * m.scale, yr = m.y0 + (v - kPatchBandTop) * m.scale;
      const double x = m.cx + xr * m.cs - yr * m.sn, y = m.cy + xr * m.sn + yr * m.cs;
      if (x < x_lo) x_lo = x;
      if (x > x_hi) x_hi = x;
      if (y < y_lo) y_lo = y;
      if (y > y_hi) y_hi = y;
    }
  vorn_rect r = {(int32_t)floor(x_lo + 0.5), (int32_t)floor(y_lo + 0.5), (int32_t)ceil(x_hi + 0.5),
                 (int32_t)ceil(y_hi + 0.5)};
  if (r.left < 0) r.left = 0;
  if (r.top < 0) r.top = 0;
  if (r.right > (int32_t)width) r.right = (int32_t)width;
  if (r.bottom > (int32_t)height) r.bottom = (int32_t)height;
  return r;
}

int plate_find(const vorn_mono_image *grey, const vorn_plate_params &p, plate_work *w, plate_found *found, int max) {
  vorn_rect cands[kPlateMaxCandidates];
  int thr = 0;
  const int nc = plate_locate(grey, p, &w->locate, cands, kPlateMaxCandidates, &thr);
  int n = 0;
  for (int i = 0; i < nc && n < max; ++i) {
    const vorn_rect region = plate_region_of(cands[i], grey->width, grey->height);
    plate_patch_map map;
    if (!plate_rectify(grey, region, thr, &w->rectify, &w->patch, &map)) continue;
    plate_found &f = found[n];
    f.count = plate_segment(&w->patch, w->ink, f.boxes, &f.first);
    if (f.count < kPlateChars) continue;
    ++n;
    f.region = region;
    f.map = map;
    for (int c = 0; c < f.count; ++c) plate_features(w->ink, (int)w->patch.width, f.boxes[c], f.features[c]);
  }
  return n;
}

}  // namespace vorn
