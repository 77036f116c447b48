// One of every object and record of the interface, valid and small, for the argument sweep.
#ifndef VORN_TESTS_INTERFACE_WORLD_H
#define VORN_TESTS_INTERFACE_WORLD_H

#include <stdint.h>

#include <string>
#include <vector>

#include "interface/probe.h"
#include "vorn.h"

namespace vorn_probe {

constexpr uint32_t kW = 32, kH = 24;

struct World {
  World();
  ~World();
  World(const World &) = delete;
  World &operator=(const World &) = delete;

  // Colour images of kW x kH (rgb2, yuv2, hsv2 are second operands, *_out destinations), and of half size.
  vorn_image *rgb, *yuv, *hsv, *rgb2, *yuv2, *rgb_out, *yuv_out, *hsv_out, *half_yuv, *half_rgb;
  // Mono images of kW x kH: two operands, a destination, an all-255 region mask; and of half size.
  vorn_mono_image *mono, *mono2, *mono_out, *region, *half_mono;
  // 3 x 3 matrices and a 3 x 1 vector.
  vorn_matrix *ma, *mb, *mc, *md, *vec3;
  // Bitmap objects of kW x kH (24 and 32 bits) and of half size (24 bits).
  vorn_bmp *bmp24, *bmp32, *half_bmp24;
  // Host frames big enough for every frame type of kW x kH: the bytes of a 32-bit bitmap object.
  Raw frame;
  // Raw rows and frames of each layout, for kW x kH and for the half size; a kW x kH int32 plane; points.
  Raw rows24, rows32, yuv422, yuv420, half_rows, int_plane, region_pts, line_pts, rects, flow_pts, flow_out,
      flow_status, doubles_in, doubles_out, doubles_target;
  std::vector<std::vector<uint8_t>> storage;
  Raw raw(size_t bytes, uint32_t seed);

  vorn_bk_model_vtable ops[9];
  vorn_bk_model *model[9];  // one per type number
  vorn_bk_model *bay;       // the histogram-mode model (no type number)
  vorn_guard *guard;
  vorn_tracker *tracker;
  vorn_counter *counter;
  vorn_obld *obld;
  vorn_linecount *linecount;
  vorn_obj_maker *maker_block, *maker_contour;
  void *canny;
  vorn_kalman *kalman;
  vorn_pyramid *pyr, *pyr_mono, *pyr_mono2;
  vorn_contour *contour;
  vorn_histogram *hist;
  vorn_backproject *bp;
  vorn_camshift *camshift;
  vorn_meanshift *meanshift;
  vorn_bpnn *bpnn;
  vorn_plate *plate;
  vorn_vbc *vbc;

  // Records handed to the calls.
  vorn_rect rect;
  vorn_line line, line2;
  vorn_size size;
  vorn_moments moments;
  vorn_track_box box;
  vorn_contour_info contour_info;
  vorn_kalman_matrixs kalman_matrixs;
  vorn_plate_info plate_info;
  vorn_stat_info stat;
  vorn_camshift_params cam_params;
  vorn_meanshift_params ms_params;
  vorn_line_points line_list;
  vorn_point point, point2;
  vorn_point2f point2f;
  uint32_t u32, u32b;
  int32_t i32;
  float f32;
  uint8_t header[64];

  // Create parameters.
  vorn_bk_model_init_params model_params;
  vorn_guard_params guard_params;
  vorn_tracker_params tracker_params;
  vorn_counter_params counter_params;
  vorn_obld_params obld_params;
  vorn_linecount_params linecount_params;
  vorn_obj_maker_params maker_params;
  vorn_kalman_params kalman_params;
  vorn_bpnn_params bpnn_params;
  vorn_plate_params plate_params;
  vorn_vbc_params vbc_params;

  std::string bmp_path, weights_path, missing_path, dir_path;
};

}  // namespace vorn_probe

#endif
