// How a signed threshold applies to byte values (v >= t gives 255): either every byte gives the same answer, or
// the comparison runs with t in 1..255.
#ifndef VORN_IMGPROC_THRESHOLD_H
#define VORN_IMGPROC_THRESHOLD_H

#include <stdint.h>

namespace vorn {

struct ByteThreshold {
  int fill;   // 255 (t <= 0), 0 (t > 255), or -1: compare with t
  uint8_t t;  // the threshold when fill is -1
};

inline ByteThreshold byte_threshold(int32_t t) {
  if (t <= 0) return {255, 0};
  if (t > 255) return {0, 0};
  return {-1, (uint8_t)t};
}

// The per-pixel limit of the three-plane difference sum for a threshold t: (3t)/2 in signed 32-bit arithmetic.
int32_t sum3_limit(uint32_t t);

}  // namespace vorn

#endif
