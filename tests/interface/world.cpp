#include "interface/world.h"

#include <string.h>

#include <gtest/gtest.h>

#include "support/test_support.h"

namespace vorn_probe {

namespace {

vorn_image *filled_image(uint32_t w, uint32_t h, uint32_t format, uint32_t seed) {
  vorn_image *img = vorn_image_alloc(w, h, format);
  for (int p = 0; p < 3; ++p) {
    std::vector<uint8_t> b = vorn_test::random_bytes((size_t)w * h, seed + p);
    memcpy(img->plane[p], b.data(), b.size());
  }
  return img;
}

vorn_mono_image *filled_mono(uint32_t w, uint32_t h, uint32_t seed, bool binary) {
  vorn_mono_image *m = vorn_mono_image_alloc(w, h);
  std::vector<uint8_t> b = vorn_test::random_bytes((size_t)w * h, seed);
  for (size_t i = 0; i < b.size(); ++i) m->data[i] = binary ? (b[i] & 1 ? 255 : 0) : b[i];
  return m;
}

vorn_matrix *filled_matrix(uint32_t rows, uint32_t cols, float diag) {
  vorn_matrix *m = vorn_matrix_alloc(rows, cols);
  for (uint32_t r = 0; r < rows; ++r) {
    for (uint32_t c = 0; c < cols; ++c) m->data[r * cols + c] = r == c ? diag : 0.25f * (float)(r + c);
  }
  return m;
}

vorn_bmp *filled_bmp(uint32_t w, uint32_t h, uint32_t bits, uint32_t seed) {
  vorn_bmp *b = vorn_bmp_alloc(w, h, bits);
  std::vector<uint8_t> px = vorn_test::random_bytes((size_t)vorn_bmp_get_stride(b) * h, seed);
  memcpy(vorn_bmp_get_image(b), px.data(), px.size());
  return b;
}

const vorn_point kRegion[] = {{2, 2}, {28, 3}, {29, 20}, {3, 21}, {2, 2}};
const vorn_point kArea1[] = {{16, 2}, {30, 2}, {30, 22}, {16, 22}, {16, 2}};

}  // namespace

Raw World::raw(size_t bytes, uint32_t seed) {
  storage.push_back(vorn_test::random_bytes(bytes, seed));
  return Raw{storage.back().data(), bytes};
}

World::World() {
  vorn_init();
  storage.reserve(32);
  rgb = filled_image(kW, kH, VORN_FORMAT_RGB, 1);
  yuv = filled_image(kW, kH, VORN_FORMAT_YUV, 4);
  hsv = filled_image(kW, kH, VORN_FORMAT_HSV, 7);
  rgb2 = filled_image(kW, kH, VORN_FORMAT_RGB, 10);
  yuv2 = filled_image(kW, kH, VORN_FORMAT_YUV, 13);
  rgb_out = filled_image(kW, kH, VORN_FORMAT_RGB, 16);
  yuv_out = filled_image(kW, kH, VORN_FORMAT_YUV, 19);
  hsv_out = filled_image(kW, kH, VORN_FORMAT_HSV, 22);
  half_yuv = filled_image(kW / 2, kH / 2, VORN_FORMAT_YUV, 25);
  half_rgb = filled_image(kW / 2, kH / 2, VORN_FORMAT_RGB, 28);
  mono = filled_mono(kW, kH, 31, false);
  mono2 = filled_mono(kW, kH, 32, false);
  mono_out = filled_mono(kW, kH, 33, true);
  region = filled_mono(kW, kH, 34, true);
  memset(region->data, 255, (size_t)kW * kH);
  half_mono = filled_mono(kW / 2, kH / 2, 35, true);
  ma = filled_matrix(3, 3, 2.0f);
  mb = filled_matrix(3, 3, 3.0f);
  mc = filled_matrix(3, 3, 1.0f);
  md = filled_matrix(3, 3, 0.0f);
  vec3 = filled_matrix(3, 1, 1.0f);
  bmp24 = filled_bmp(kW, kH, 24, 40);
  bmp32 = filled_bmp(kW, kH, 32, 41);
  half_bmp24 = filled_bmp(kW / 2, kH / 2, 24, 42);
  {
    const size_t n = 54 + (size_t)kW * kH * 4;
    storage.emplace_back(n);
    memcpy(storage.back().data(), bmp32, n);
    frame = Raw{storage.back().data(), n};
  }
  rows24 = raw((size_t)vorn_bmp_get_stride(bmp24) * kH, 50);
  rows32 = raw((size_t)kW * kH * 4, 51);
  yuv422 = raw((size_t)kW * kH * 2, 52);
  yuv420 = raw((size_t)kW * kH * 3 / 2, 53);
  half_rows = raw((size_t)kW * kH, 54);
  int_plane = raw((size_t)kW * kH * 4, 55);
  region_pts = raw(sizeof kRegion, 0);
  memcpy(region_pts.data, kRegion, sizeof kRegion);
  line_pts = raw(sizeof(vorn_point) * 9, 56);
  rects = raw(sizeof(vorn_rect) * 32, 57);
  flow_pts = raw(sizeof(vorn_point2f) * 2, 0);
  const vorn_point2f pts[2] = {{10.f, 10.f}, {20.f, 12.f}};
  memcpy(flow_pts.data, pts, sizeof pts);
  flow_out = raw(sizeof(vorn_point2f) * 2, 58);
  flow_status = raw(sizeof(uint32_t) * 2, 59);
  doubles_in = raw(sizeof(double) * 3, 0);
  doubles_out = raw(sizeof(double) * 2, 0);
  doubles_target = raw(sizeof(double) * 2, 0);

  model_params = {2, kW, kH, VORN_FORMAT_YUV};
  for (uint32_t t = 0; t < 9; ++t) {
    vorn_bk_model_init(t, &ops[t]);
    void *h = nullptr;
    EXPECT_EQ(ops[t].create(&model_params, &h), VORN_OK) << t;
    model[t] = static_cast<vorn_bk_model *>(h);
    ops[t].process(model[t], frame, VORN_FRAME_BMP32);
  }
  void *h = nullptr;
  EXPECT_EQ(bk_model_create_bay(&model_params, &h), VORN_OK);
  bay = static_cast<vorn_bk_model *>(h);

  guard_params = {kW, kH, VORN_FORMAT_YUV, 2};
  EXPECT_EQ(vorn_guard_create(&guard_params, &guard), VORN_OK);
  line = {4, 12, 28, 12};
  line2 = {16, 4, 16, 20};
  EXPECT_EQ(vorn_guard_set_lines(guard, line, line2, 4), VORN_OK);
  tracker_params = {kW, kH, VORN_FORMAT_YUV, 2};
  EXPECT_EQ(vorn_tracker_create(&tracker_params, &tracker), VORN_OK);
  counter_params = {kRegion, kArea1, 5, 5, kW, kH, 50, 0, 0, 0};
  counter = vorn_counter_create(&counter_params);
  vorn_counter_start(counter);
  obld_params = {kW, kH, VORN_FRAME_BMP32, rows32.data, kRegion, 5, 30, nullptr, 0, 0};
  EXPECT_EQ(vorn_obld_create(&obld_params, &obld), VORN_OK);
  linecount_params = {};
  linecount_params.width = kW;
  linecount_params.height = kH;
  linecount_params.bk_type = 2;
  linecount_params.format = VORN_FORMAT_YUV;
  EXPECT_EQ(vorn_linecount_create(&linecount_params, &linecount), VORN_OK);
  EXPECT_EQ(vorn_linecount_add_line(linecount, kRegion, 3, nullptr), VORN_OK);
  vorn_linecount_process(linecount, frame, VORN_FRAME_BMP32);
  maker_params = {kW, kH, 16, 0};
  EXPECT_EQ(vorn_obj_maker_create(&maker_params, &maker_block), VORN_OK);
  vorn_obj_maker_params contour_mode = {kW, kH, 16, 1};
  EXPECT_EQ(vorn_obj_maker_create(&contour_mode, &maker_contour), VORN_OK);
  vorn_obj_maker_process(maker_block, mono_out);
  vorn_obj_maker_process(maker_contour, mono_out);
  EXPECT_EQ(vorn_canny_create(kW, kH, &canny), VORN_OK);
  kalman_params = {3, 3, 3};
  EXPECT_EQ(vorn_kalman_create(&kalman_params, &kalman), VORN_OK);
  EXPECT_EQ(vorn_pyramid_create(yuv, &pyr, 2), VORN_OK);
  EXPECT_EQ(vorn_pyramid_create_mono_image(mono, &pyr_mono, 2), VORN_OK);
  EXPECT_EQ(vorn_pyramid_create_mono_image(mono2, &pyr_mono2, 2), VORN_OK);
  size = {(int32_t)kW, (int32_t)kH};
  EXPECT_EQ(vorn_contour_create(&size, &contour), VORN_OK);
  vorn_contour_start(contour, mono_out);
  hist = vorn_histogram_alloc(32);
  bp = vorn_backproject_alloc(kW, kH);
  rect = {4, 4, 20, 16};
  cam_params = {yuv, nullptr, 4, 4, 20, 16};
  EXPECT_EQ(vorn_camshift_create(&cam_params, &camshift), VORN_OK);
  cam_params = {yuv, nullptr, 4, 4, 20, 16};
  ms_params = {yuv, nullptr, 4, 4, 20, 16};
  EXPECT_EQ(vorn_meanshift_create(&ms_params, &meanshift), VORN_OK);
  ms_params = {yuv, nullptr, 4, 4, 20, 16};
  bpnn_params = {0.1, 0.3, 3, 4, 2, 0};
  EXPECT_EQ(vorn_bpnn_create(&bpnn_params, &bpnn), VORN_OK);

  bmp_path = vorn_test::temp_path("probe.bmp");
  weights_path = vorn_test::temp_path("probe.who");
  missing_path = vorn_test::temp_path("missing/none.bin");
  dir_path = vorn_test::temp_path("debug");
  vorn_test::make_dir(dir_path);
  vorn_bmp_save(bmp24, bmp_path.c_str());
  vorn_bpnn_save_weight(bpnn, weights_path.c_str());
  memset(&plate_params, 0, sizeof plate_params);
  plate_params.width = kW;
  plate_params.height = kH;
  plate_params.weights_dir = VORN_PLATE_WEIGHTS_DIR;
  EXPECT_EQ(vorn_plate_create(&plate_params, &plate), VORN_OK);
  memset(&vbc_params, 0, sizeof vbc_params);
  vbc_params.width = kW;
  vbc_params.height = kH;
  vbc_params.frame_type = VORN_FRAME_BMP32;
  vbc_params.max_trajectories = 64;
  vbc_params.max_positions = 4096;
  EXPECT_EQ(vorn_vbc_create(&vbc_params, &vbc), VORN_OK);

  memset(&moments, 0, sizeof moments);
  memset(&box, 0, sizeof box);
  memset(&contour_info, 0, sizeof contour_info);
  memset(&kalman_matrixs, 0, sizeof kalman_matrixs);
  memset(&plate_info, 0, sizeof plate_info);
  stat = {0, 0};
  line_list = {line_pts, 9, 0};
  point = {10, 12};
  point2 = {0, 0};
  point2f = {0.f, 0.f};
  u32 = 4;
  u32b = 0;
  i32 = 0;
  f32 = 0.f;
  memset(header, 0, sizeof header);
}

World::~World() {
  for (vorn_image *i : {rgb, yuv, hsv, rgb2, yuv2, rgb_out, yuv_out, hsv_out, half_yuv, half_rgb}) vorn_image_free(i);
  for (vorn_mono_image *m : {mono, mono2, mono_out, region, half_mono}) vorn_mono_image_free(m);
  for (vorn_matrix *m : {ma, mb, mc, md, vec3}) vorn_matrix_free(m);
  for (vorn_bmp *b : {bmp24, bmp32, half_bmp24}) vorn_bmp_free(b);
  for (uint32_t t = 0; t < 9; ++t) ops[t].destroy(model[t]);
  bk_model_destroy_bay(bay);
  vorn_guard_destroy(guard);
  vorn_tracker_destroy(tracker);
  vorn_counter_destroy(counter);
  vorn_obld_destroy(obld);
  vorn_linecount_destroy(linecount);
  vorn_obj_maker_destroy(maker_block);
  vorn_obj_maker_destroy(maker_contour);
  vorn_canny_destroy(canny);
  vorn_kalman_destroy(kalman);
  vorn_pyramid_destroy(pyr);
  vorn_pyramid_destroy(pyr_mono);
  vorn_pyramid_destroy(pyr_mono2);
  vorn_contour_destroy(contour);
  vorn_histogram_free(hist);
  vorn_backproject_free(bp);
  vorn_camshift_destroy(camshift);
  vorn_meanshift_destroy(meanshift);
  vorn_bpnn_destroy(bpnn);
  vorn_plate_destroy(plate);
  vorn_vbc_destroy(vbc);
  remove(bmp_path.c_str());
  remove(weights_path.c_str());
}

}  // namespace vorn_probe
