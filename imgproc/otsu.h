// The Otsu level search, for callers that build their own histogram.
#ifndef VORN_IMGPROC_OTSU_H
#define VORN_IMGPROC_OTSU_H

#include <stdint.h>

namespace vorn {

// The level k (0..254) maximising w0 * w1 * (mean0 - mean1)^2 over a 256-bin histogram whose population is taken
// as `total`; ties keep the lowest level; 1 when no level splits the population into two non-empty classes.
int32_t otsu_level(const uint32_t hist[256], uint32_t total);

}  // namespace vorn

#endif
