// The object maker's record, shared by its source files.
#ifndef VORN_OBJECTS_OBJ_MAKER_IMPL_H
#define VORN_OBJECTS_OBJ_MAKER_IMPL_H

#include "objects/cell_rows.h"
#include "vorn_contour.h"
#include "vorn_obj_maker.h"

struct vorn_obj_maker {
  uint32_t width;
  uint32_t height;
  uint32_t max_objs;
  uint32_t mode;
  vorn_obj *objs;
  uint32_t obj_count;
  vorn_mono_image *cell_image;  // block mode: occupancy grid, consumed by the labelling
  vorn_mono_image *fg_image;    // block mode: cell-sized, never written by the maker
  vorn_point *point_buffer;     // block mode: cell width x cell height points
  uint32_t fill_count;
  int32_t cell_box[4];  // min x, min y, max x, max y of the last object, in cells
  uint32_t block_width;
  uint32_t block_height;
  uint32_t points_used;
  vorn_contour *contour;  // contour mode
  vorn_histogram **hist_pool;  // one 32-bin histogram per record slot, made at create, handed out on first use
};

namespace vorn {

vorn_result obj_maker_extract_blocks(vorn_obj_maker *m, const vorn_mono_image *mask);
vorn_result obj_maker_extract_contours(vorn_obj_maker *m, const vorn_mono_image *mask);

}  // namespace vorn

#endif
