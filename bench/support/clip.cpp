#include "support/clip.h"

#include <string.h>

#include <map>

#if VORN_HAVE_OPENCV
#include <opencv2/videoio.hpp>
#endif

namespace vorn_bench {
namespace {

const char *kClipPath = "/usr/share/doc/opencv-doc/examples/data/vtest.avi";

void synthetic(Clip &c, int frames) {
  c.width = 768;
  c.height = 576;
  uint32_t s = 12345;
  for (int f = 0; f < frames; ++f) {
    std::vector<uint8_t> img((size_t)c.width * c.height * 3);
    for (int y = 0; y < c.height; ++y) {
      for (int x = 0; x < c.width; ++x) {
        s = s * 1664525u + 1013904223u;
        int noise = (int)(s >> 28) - 8;
        int base = 60 + ((x / 16 + y / 16) & 1) * 40 + y / 8;
        int b = base + noise, g = base + 10 + noise, r = base + 20 + noise;
        for (int k = 0; k < 4; ++k) {  // four walkers
          int bx = (f * (3 + k) + k * 170) % c.width, by = 150 + k * 90;
          if (x >= bx && x < bx + 30 && y >= by && y < by + 70) {
            r = 200 - k * 30;
            g = 40 + k * 40;
            b = 90;
          }
        }
        uint8_t *p = &img[((size_t)y * c.width + x) * 3];
        p[0] = (uint8_t)(b < 0 ? 0 : b > 255 ? 255 : b);
        p[1] = (uint8_t)(g < 0 ? 0 : g > 255 ? 255 : g);
        p[2] = (uint8_t)(r < 0 ? 0 : r > 255 ? 255 : r);
      }
    }
    c.bgr.push_back(std::move(img));
  }
}

}  // namespace

const Clip &street_clip(int frames) {
  static std::map<int, Clip> cache;
  auto it = cache.find(frames);
  if (it != cache.end()) return it->second;
  Clip c;
#if VORN_HAVE_OPENCV
  cv::VideoCapture cap(kClipPath);
  cv::Mat m;
  while ((int)c.bgr.size() < frames && cap.isOpened() && cap.read(m) && m.type() == CV_8UC3) {
    c.width = m.cols;
    c.height = m.rows;
    std::vector<uint8_t> img((size_t)m.cols * m.rows * 3);
    for (int y = 0; y < m.rows; ++y) memcpy(&img[(size_t)y * m.cols * 3], m.ptr(y), (size_t)m.cols * 3);
    c.bgr.push_back(std::move(img));
  }
  c.real = !c.bgr.empty();
#endif
  if (c.bgr.empty()) synthetic(c, frames);
  return cache.emplace(frames, std::move(c)).first->second;
}

void to_planes(const Clip &clip, int i, uint8_t *r, uint8_t *g, uint8_t *b) {
  const std::vector<uint8_t> &f = clip.bgr[(size_t)i % clip.bgr.size()];
  const size_t n = (size_t)clip.width * clip.height;
  for (size_t k = 0; k < n; ++k) {
    b[k] = f[3 * k];
    g[k] = f[3 * k + 1];
    r[k] = f[3 * k + 2];
  }
}

void to_grey(const Clip &clip, int i, uint8_t *grey) {
  const std::vector<uint8_t> &f = clip.bgr[(size_t)i % clip.bgr.size()];
  const size_t n = (size_t)clip.width * clip.height;
  for (size_t k = 0; k < n; ++k) grey[k] = (uint8_t)((f[3 * k] * 29 + f[3 * k + 1] * 150 + f[3 * k + 2] * 77) >> 8);
}

std::vector<uint8_t> to_bmp24(const uint8_t *bgr, int width, int height, size_t row_stride) {
  const size_t row = (size_t)width * 3, padded = (row + 3) & ~(size_t)3;
  std::vector<uint8_t> b(padded * height);
  for (int y = 0; y < height; ++y) memcpy(&b[(size_t)(height - 1 - y) * padded], bgr + (size_t)y * row_stride, row);
  return b;
}

}  // namespace vorn_bench
