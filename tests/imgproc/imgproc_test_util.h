// Small helpers shared by the image-operation tests.
#ifndef VORN_TESTS_IMGPROC_UTIL_H
#define VORN_TESTS_IMGPROC_UTIL_H

#include <stdint.h>
#include <string.h>

#include <memory>
#include <vector>

#include "core/cpu.h"
#include "support/test_support.h"
#include "vorn.h"

namespace vorn_test {

struct MonoDeleter {
  void operator()(vorn_mono_image *m) const { vorn_mono_image_free(m); }
};
struct ImageDeleter {
  void operator()(vorn_image *m) const { vorn_image_free(m); }
};
using Mono = std::unique_ptr<vorn_mono_image, MonoDeleter>;
using Image = std::unique_ptr<vorn_image, ImageDeleter>;

inline Mono mono(uint32_t w, uint32_t h, uint8_t fill = 0) {
  Mono m(vorn_mono_image_alloc(w, h));
  if (m && (size_t)w * h != 0) memset(m->data, fill, (size_t)w * h);
  return m;
}
inline Image image(uint32_t w, uint32_t h, uint32_t format = VORN_FORMAT_RGB) {
  return Image(vorn_image_alloc(w, h, format));
}
inline void fill_random(vorn_mono_image *m, uint32_t seed) {
  std::vector<uint8_t> r = random_bytes((size_t)m->width * m->height, seed);
  if (!r.empty()) memcpy(m->data, r.data(), r.size());
}
inline void fill_random(vorn_image *m, uint32_t seed) {
  for (int p = 0; p < 3; ++p) {
    std::vector<uint8_t> r = random_bytes((size_t)m->width * m->height, seed * 3 + p);
    if (!r.empty()) memcpy(m->plane[p], r.data(), r.size());
  }
}
inline std::vector<uint8_t> bytes_of(const vorn_mono_image *m) {
  return std::vector<uint8_t>(m->data, m->data + (size_t)m->width * m->height);
}

}  // namespace vorn_test

#endif
