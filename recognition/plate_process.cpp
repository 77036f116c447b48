// The plate reader's frame intake and its debug images.
#include <stdio.h>
#include <string.h>

#include "color/frame_table.h"
#include "recognition/plate_reader.h"
#include "vorn_color.h"

using namespace vorn;

extern "C" VORN_API vorn_result vorn_plate_process(vorn_plate *plate, const void *frame, uint32_t frame_type) {
  if (plate) {
    memset(&plate->info, 0, sizeof plate->info);
    plate->has_info = false;
  }
  if (!plate || !frame) return VORN_E_NULL;
  // The Y plane of the frame converted to YUV is the grey frame the stages read.
  const vorn_result r = frame_to_image(frame, frame_type, plate->frame);
  if (r != VORN_OK) return r;
  const vorn_mono_image grey = {plate->frame->width, plate->frame->height, plate->frame->plane[0]};
  return plate_read(plate, &grey);
}

namespace {

vorn_result plate_save_mono(const vorn_mono_image *img, const char *dir, int index) {
  char path[4096];
#if defined(_WIN32)
  const int k = snprintf(path, sizeof path, "%s\\%d.bmp", dir, index);
#else
  const int k = snprintf(path, sizeof path, "%s/%d.bmp", dir, index);
#endif
  if (k <= 0 || (size_t)k >= sizeof path) return VORN_E_FILE;
  vorn_bmp *bmp = vorn_bmp_alloc(img->width, img->height, 24);
  if (!bmp) return VORN_E_NOMEM;
  vorn_result r = vorn_image_mono_to_bmp(img, bmp);
  if (r == VORN_OK) r = vorn_bmp_save(bmp, path);
  vorn_bmp_free(bmp);
  return r;
}

}  // namespace

extern "C" VORN_API vorn_result vorn_plate_get_debug_image(vorn_plate *plate, const char *dir) {
  if (!plate || !dir) return VORN_E_NULL;
  plate_work &w = plate->work;
  const vorn_mono_image grey = {plate->frame->width, plate->frame->height, plate->frame->plane[0]};
  const vorn_mono_image mask = {grey.width, grey.height, w.locate.mask};
  vorn_result r = plate_save_mono(&grey, dir, 0);
  if (r == VORN_OK) r = plate_save_mono(&mask, dir, 1);
  if (r != VORN_OK) return r;
  // The patch of the reading (the stages are run again on its region; the last candidate's patch otherwise).
  if (plate->has_info) {
    int thr = 0;
    vorn_rect cands[kPlateMaxCandidates];
    plate_locate(&grey, plate->params, &w.locate, cands, kPlateMaxCandidates, &thr);
    plate_patch_map map;
    vorn_rect boxes[kPlateMaxSegments];
    int first;
    if (plate_rectify(&grey, plate->best_region, thr, &w.rectify, &w.patch, &map))
      plate_segment(&w.patch, w.ink, boxes, &first);
  }
  if (!w.patch.width) return VORN_OK;
  vorn_mono_image ink = {w.patch.width, kPatchH, w.ink};
  r = plate_save_mono(&w.patch, dir, 2);
  if (r != VORN_OK) return r;
  // The mask as 0 / 255 for viewing, then back to 0 / 1.
  const size_t n = (size_t)w.patch.width * kPatchH;
  for (size_t i = 0; i < n; ++i) w.ink[i] = w.ink[i] ? 255 : 0;
  r = plate_save_mono(&ink, dir, 3);
  for (size_t i = 0; i < n; ++i) w.ink[i] = w.ink[i] ? 1 : 0;
  return r;
}
