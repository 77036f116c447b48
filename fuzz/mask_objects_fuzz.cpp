// Masks of any content through the border tracer and both object-maker modes: every border point lies on the
// mask, the point store never overflows, every object lies inside the frame, and the object operations that
// take a mask or frame back stay inside it.
//
// Input: byte 0 and 1 give the mask size (4..67 each), the rest are the mask bytes row after row (missing bytes
// are 0).
#include <stdlib.h>
#include <string.h>

#include "vorn.h"

namespace {

void trace(const vorn_mono_image *mask) {
  const vorn_size size = {(int32_t)mask->width, (int32_t)mask->height};
  vorn_contour *c = nullptr;
  if (vorn_contour_create(&size, &c) != VORN_OK) abort();
  if (vorn_contour_start(c, mask) != VORN_OK) abort();
  vorn_contour_info info;
  size_t total = 0;
  while (vorn_contour_next(c, &info) == VORN_OK) {
    if (info.count == 0 || info.is_hole > 1) abort();
    total += info.count;
    for (uint32_t i = 0; i < info.count; ++i) {
      const vorn_point p = info.points[i];
      if (p.x < 0 || p.y < 0 || p.x >= size.width || p.y >= size.height) abort();
    }
  }
  if (total > (size_t)size.width * size.height) abort();
  vorn_contour_destroy(c);
}

void make_objects(const vorn_mono_image *mask, uint32_t mode) {
  const vorn_obj_maker_params p = {mask->width, mask->height, 8, mode};
  vorn_obj_maker *m = nullptr;
  if (vorn_obj_maker_create(&p, &m) != VORN_OK) abort();
  if (vorn_obj_maker_process(m, mask) == VORN_OK) {
    vorn_obj *objs = nullptr;
    uint32_t n = 0;
    vorn_obj_maker_get_obj(m, &objs, &n);
    if (n > 8) abort();
    for (uint32_t i = 0; i < n; ++i) {
      const vorn_obj &o = objs[i];
      if (o.left < 0 || o.top < 0 || o.right < o.left || o.bottom < o.top || o.right > (int32_t)mask->width ||
          o.bottom > (int32_t)mask->height)
        abort();
    }
    vorn_image *frame = vorn_image_alloc(mask->width, mask->height, VORN_FORMAT_YUV);
    vorn_mono_image *copy = vorn_mono_image_alloc(mask->width, mask->height);
    if (frame && copy) {
      memcpy(frame->plane[0], mask->data, (size_t)mask->width * mask->height);
      vorn_obj_maker_calculate_hist(m, frame, mask);
      vorn_mono_image_copy(copy, mask);
      vorn_obj_maker_adjust_rect(m, copy);
      vorn_obj_maker_calculate_hist(m, frame, nullptr);  // rectangles moved, maybe past the frame
      for (uint32_t i = 0; i < n; ++i) vorn_obj_maker_clear_obj(m, i, copy);
    }
    vorn_image_free(frame);
    vorn_mono_image_free(copy);
  }
  vorn_obj_maker_destroy(m);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  if (size < 2) return 0;
  const uint32_t w = 4 + data[0] % 64, h = 4 + data[1] % 64;
  vorn_mono_image *mask = vorn_mono_image_alloc(w, h);
  if (!mask) abort();
  const size_t n = (size_t)w * h, have = size - 2 < n ? size - 2 : n;
  memcpy(mask->data, data + 2, have);
  trace(mask);
  make_objects(mask, 0);
  make_objects(mask, 1);
  vorn_mono_image_free(mask);
  return 0;
}
