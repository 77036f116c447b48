// Synthetic video for the trajectory recorder's tests: a textured square moving over a flat grey background on
// a path known to the test, as planar 4:2:0 frames.
#ifndef VORN_TESTS_VBC_TEST_VIDEO_H
#define VORN_TESTS_VBC_TEST_VIDEO_H

#include <stdint.h>
#include <string.h>

#include <functional>
#include <vector>

#include "vorn.h"

namespace vbc_test {

struct Pos {
  int x, y;  // top-left corner of the square
};

struct Video {
  int w, h, side;
  std::function<Pos(int)> path;
  std::vector<uint8_t> texture;  // side x side

  Video(int w_, int h_, int side_, std::function<Pos(int)> p) : w(w_), h(h_), side(side_), path(std::move(p)) {
    // 4 x 4 blocks of pseudo-random grey: corners everywhere inside the square.
    texture.resize((size_t)side * side);
    uint32_t s = 12345;
    std::vector<uint8_t> blocks((size_t)(side / 4 + 1) * (side / 4 + 1));
    for (auto &b : blocks) {
      s = s * 1664525u + 1013904223u;
      b = (uint8_t)(20 + (s >> 24) % 216);
    }
    for (int y = 0; y < side; ++y)
      for (int x = 0; x < side; ++x) texture[(size_t)y * side + x] = blocks[(size_t)(y / 4) * (side / 4 + 1) + x / 4];
  }

  // Frame f as planar 4:2:0 (Y, then U and V at 128).
  std::vector<uint8_t> frame(int f) const {
    std::vector<uint8_t> buf((size_t)w * h * 3 / 2, 128);
    memset(buf.data(), 110, (size_t)w * h);
    const Pos p = path(f);
    for (int y = 0; y < side; ++y)
      for (int x = 0; x < side; ++x) {
        const int X = p.x + x, Y = p.y + y;
        if (X >= 0 && X < w && Y >= 0 && Y < h) buf[(size_t)Y * w + X] = texture[(size_t)y * side + x];
      }
    return buf;
  }

  // Records frames 0 .. n - 1 and finishes the recording.
  void record(vorn_vbc *v, int n) const {
    for (int f = 0; f < n; ++f) {
      const std::vector<uint8_t> buf = frame(f);
      if (vorn_vbc_process(v, buf.data(), VORN_FRAME_YUV420) != VORN_OK) return;
    }
    vorn_vbc_end_process(v);
  }
};

inline vorn_vbc_params params(int w, int h) {
  vorn_vbc_params p{};
  p.width = (uint32_t)w;
  p.height = (uint32_t)h;
  p.frame_type = VORN_FRAME_YUV420;
  return p;
}

inline std::vector<vorn_point2f> points(vorn_vbc *v, uint32_t index) {
  uint32_t start = 0, length = 0;
  vorn_vbc_get_trajectory(v, index, &start, &length);
  std::vector<vorn_point2f> pts(length);
  vorn_vbc_get_points(v, index, 0, length, pts.data());
  return pts;
}

}  // namespace vbc_test

#endif
