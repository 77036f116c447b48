// A host's view of a background model for the tests: the operation table of one type, planar 4:2:0 frames of a
// synthetic street (textured background, sensor noise, a moving box) and the planes the model made of them.
#ifndef VORN_TESTS_BKMODEL_UTIL_H
#define VORN_TESTS_BKMODEL_UTIL_H

#include <stdint.h>
#include <string.h>

#include <vector>

#include <gtest/gtest.h>

#include "vorn.h"

namespace bk_test {

struct Planes {
  std::vector<uint8_t> p[3];
};

// Frame i of a scene w x h: a fixed texture with +-noise on every sample; from frame `box_from` on a box of
// side w/4 crosses the scene. `cut` shifts every sample by 128 (a scene cut).
inline std::vector<uint8_t> street_frame(uint32_t w, uint32_t h, int i, int noise = 3, int box_from = 1 << 30,
                                         bool cut = false) {
  const size_t n = (size_t)w * h;
  std::vector<uint8_t> f(n * 3 / 2 + w / 2 + 16, 0);  // 4:2:0 frames are read w / 2 bytes past the V plane
  uint32_t s = 0x9E3779B9u * (uint32_t)(i + 1);
  auto rnd = [&]() {
    s ^= s << 13; s ^= s >> 17; s ^= s << 5;
    return (int)(s % (2 * noise + 1)) - noise;
  };
  const int bs = (int)w / 4 > 0 ? (int)w / 4 : 1;
  const int bx = (i - box_from) * 2 % (int)(w + 1), by = (int)h / 3;
  auto clamp = [](int v) { return (uint8_t)(v < 0 ? 0 : v > 255 ? 255 : v); };
  for (uint32_t y = 0; y < h; ++y) {
    for (uint32_t x = 0; x < w; ++x) {
      int v = 60 + (int)((x * 7 + y * 13) % 120) + rnd();
      if (i >= box_from && (int)x >= bx && (int)x < bx + bs && (int)y >= by && (int)y < by + bs) v = 230 + rnd();
      if (cut) v += 128;
      f[y * w + x] = clamp(v);
    }
  }
  for (uint32_t y = 0; y < h / 2; ++y) {
    for (uint32_t x = 0; x < w / 2; ++x) {
      f[n + y * (w / 2) + x] = clamp(110 + (int)((x * 5 + y * 3) % 40) + rnd() + (cut ? 100 : 0));
      f[n + n / 4 + y * (w / 2) + x] = clamp(120 + (int)((x * 3 + y * 11) % 30) + rnd());
    }
  }
  return f;
}

// One model driven through its type's table.
class Host {
 public:
  Host(uint32_t type, uint32_t w, uint32_t h, uint32_t history = 4, uint32_t format = VORN_FORMAT_YUV)
      : w_(w), h_(h) {
    vorn_init();
    vorn_bk_model_init(type, &t);
    vorn_bk_model_init_params p = {history, w, h, format};
    void *handle = nullptr;
    created = t.create(&p, &handle);
    m = static_cast<vorn_bk_model *>(handle);
  }
  ~Host() {
    if (m) t.destroy(m);
  }
  Host(const Host &) = delete;
  Host &operator=(const Host &) = delete;

  vorn_result process(std::vector<uint8_t> &frame) { return t.process(m, frame.data(), VORN_FRAME_YUV420); }
  vorn_result set_bk(std::vector<uint8_t> &frame) { return t.set_bk(m, frame.data(), VORN_FRAME_YUV420); }
  void param(uint32_t id, uint32_t value) { ASSERT_EQ(t.set_param(m, value, id), VORN_OK); }

  std::vector<uint8_t> fg() {
    vorn_mono_image *img = nullptr;
    EXPECT_EQ(t.get_fg(m, &img), VORN_OK);
    return std::vector<uint8_t>(img->data, img->data + (size_t)w_ * h_);
  }
  Planes bk() {
    vorn_image *img = nullptr;
    t.get_bk(m, &img);
    return planes_of(img);
  }
  // The frame processed last, as the model converted it.
  Planes current() {
    vorn_image *img = nullptr;
    EXPECT_EQ(t.get_image(m, 0, &img), VORN_OK);
    return planes_of(img);
  }
  // Planes the model makes of a frame: converted through a scratch model of the same size.
  static Planes convert(std::vector<uint8_t> &frame, uint32_t w, uint32_t h) {
    Host scratch(1, w, h, 1);
    scratch.process(frame);
    return scratch.current();
  }

  vorn_bk_model_vtable t;
  vorn_bk_model *m = nullptr;
  vorn_result created;

 private:
  Planes planes_of(const vorn_image *img) const {
    Planes p;
    for (int q = 0; q < 3; ++q) p.p[q].assign(img->plane[q], img->plane[q] + (size_t)w_ * h_);
    return p;
  }
  uint32_t w_, h_;
};

inline int count_of(const std::vector<uint8_t> &v, uint8_t value) {
  int c = 0;
  for (uint8_t b : v) c += b == value;
  return c;
}

}  // namespace bk_test

#endif
