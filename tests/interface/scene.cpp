#include "interface/scene.h"

namespace vorn_scene {

namespace {

std::vector<uint8_t> make_frame(int i) {
  vorn_image *img = vorn_image_alloc(kW, kH, VORN_FORMAT_RGB);
  const int bx = -12 + (int)((i * 61) / kScenePeriod), cy = -10 + (int)((i * 43) / kScenePeriod);
  for (uint32_t y = 0; y < kH; ++y) {
    for (uint32_t x = 0; x < kW; ++x) {
      uint8_t v = (uint8_t)(60 + x + y);
      if ((int)x >= bx && (int)x < bx + 10 && y >= 12 && y < 22) v = (uint8_t)(210 + ((x ^ y) & 3) * 10);
      if (x >= 30 && x < 38 && (int)y >= cy && (int)y < cy + 8) v = (uint8_t)(12 + ((x * y) & 7) * 3);
      img->plane[0][y * kW + x] = v;
      img->plane[1][y * kW + x] = (uint8_t)(v ^ ((x + y) & 1));
      img->plane[2][y * kW + x] = (uint8_t)(255 - v / 2);
    }
  }
  std::vector<uint8_t> rows((size_t)((kW * 3 + 3) & ~3u) * kH);
  vorn_image_rgb_to_bmp24(img, rows.data());
  vorn_image_free(img);
  return rows;
}

const vorn_point kArea0[] = {{2, 2}, {22, 2}, {22, 30}, {2, 30}, {2, 2}};
const vorn_point kArea1[] = {{26, 2}, {46, 2}, {46, 30}, {26, 30}, {26, 2}};

}  // namespace

const char *const kPartNames[kParts] = {"model 0", "model 1", "model 2", "model 3", "model 4", "model 5", "model 6",
                                        "model 7", "model 8", "guard", "tracker", "counter", "left/lost detector"};

const std::vector<std::vector<uint8_t>> &frames() {
  static const std::vector<std::vector<uint8_t>> all = [] {
    vorn_init();
    std::vector<std::vector<uint8_t>> f;
    for (int i = 0; i < kScenePeriod; ++i) f.push_back(make_frame(i));
    return f;
  }();
  return all;
}

Analytics::Analytics() {
  frames();
  vorn_bk_model_init_params mp = {3, kW, kH, VORN_FORMAT_YUV};
  for (uint32_t t = 0; t < 9; ++t) {
    vorn_bk_model_init(t, &ops_[t]);
    void *h = nullptr;
    ops_[t].create(&mp, &h);
    models_[t] = static_cast<vorn_bk_model *>(h);
    ops_[t].set_param(models_[t], 0x101, VORN_BK_PARAM_WINDOW);
    ops_[t].set_param(models_[t], 0x001, VORN_BK_PARAM_SHADOW);
    ops_[t].set_param(models_[t], 4, VORN_BK_PARAM_LEARN_FRAMES);
    ops_[t].set_bk(models_[t], frame(0), VORN_FRAME_BMP24);
  }
  const vorn_guard_params gp = {kW, kH, VORN_FORMAT_YUV, 2};
  vorn_guard_create(&gp, &guard_);
  vorn_guard_set_lines(guard_, vorn_line{24, 2, 24, 30}, vorn_line{0, 16, 40, 16}, 8);
  const vorn_tracker_params tp = {kW, kH, VORN_FORMAT_YUV, 2};
  vorn_tracker_create(&tp, &tracker_);
  const vorn_counter_params cp = {kArea0, kArea1, 5, 5, kW, kH, 20, 0, 0, 0};
  counter_ = vorn_counter_create(&cp);
  vorn_counter_start(counter_);
  const vorn_obld_params op = {kW, kH, VORN_FRAME_BMP24, frame(0), kArea0, 5, 30, nullptr, 0, 4};
  vorn_obld_create(&op, &obld_);
}

Analytics::~Analytics() {
  for (uint32_t t = 0; t < 9; ++t) ops_[t].destroy(models_[t]);
  vorn_guard_destroy(guard_);
  vorn_tracker_destroy(tracker_);
  vorn_counter_destroy(counter_);
  vorn_obld_destroy(obld_);
}

void Analytics::step(int i, Digest d[kParts]) {
  uint8_t *f = frame(i);
  vorn_mono_image *fg = nullptr;
  for (uint32_t t = 0; t < 9; ++t) {
    d[t].word(ops_[t].process(models_[t], f, VORN_FRAME_BMP24));
    if (ops_[t].get_fg(models_[t], &fg) == VORN_OK && fg) d[t].bytes(fg->data, (size_t)fg->width * fg->height);
  }
  d[9].word(vorn_guard_put_image(guard_, f, VORN_FRAME_BMP24));
  uint32_t event = 0;
  vorn_guard_get_event(guard_, &event);
  d[9].word(event);
  d[10].word(vorn_tracker_process(tracker_, f, VORN_FRAME_BMP24));
  vorn_tracker_obj *objs = nullptr;
  uint32_t n = 0;
  vorn_tracker_get_objs(tracker_, &objs, &n);
  for (uint32_t k = 0; k < n; ++k) {
    const int32_t box[6] = {objs[k].left, objs[k].top, objs[k].right, objs[k].bottom, objs[k].cx, objs[k].cy};
    d[10].bytes(box, sizeof box);
  }
  // The counter takes the mean model's mask.
  if (ops_[3].get_fg(models_[3], &fg) == VORN_OK && fg) d[11].word(vorn_counter_set_mask(counter_, fg->data));
  d[11].word(vorn_counter_get_event(counter_));
  d[12].word(vorn_obld_put_image(obld_, f, VORN_FRAME_BMP24));
  vorn_rect rects[32];
  vorn_obld_get_lost_objects_rect(obld_, rects, &n);
  d[12].word(n);
}

}  // namespace vorn_scene
