// Frames for the benchmarks: the real street clip (768x576) when OpenCV can decode it, otherwise a deterministic
// synthetic street (moving boxes over a textured background with noise) of the same size.
#ifndef VORN_BENCH_CLIP_H
#define VORN_BENCH_CLIP_H

#include <stdint.h>

#include <string>
#include <vector>

namespace vorn_bench {

struct Clip {
  int width = 0;
  int height = 0;
  bool real = false;                      // decoded from the street clip
  std::vector<std::vector<uint8_t>> bgr;  // per frame: top-down rows, B G R interleaved, no padding
};

// The first `frames` frames (cached after the first call with the same count).
const Clip &street_clip(int frames = 60);

// Frame i as planes R, G, B (top-down, width*height each) and as a grey plane (integer luma).
void to_planes(const Clip &clip, int i, uint8_t *r, uint8_t *g, uint8_t *b);
void to_grey(const Clip &clip, int i, uint8_t *grey);

// Top-down B,G,R rows of width w (no padding) as a bottom-up 24-bit bitmap frame (rows padded to 4 bytes).
std::vector<uint8_t> to_bmp24(const uint8_t *bgr, int width, int height, size_t row_stride);

}  // namespace vorn_bench

#endif
