// Morphology entry points for other families, and the plain window scan every fast path is held to.
#ifndef VORN_IMGPROC_MORPH_H
#define VORN_IMGPROC_MORPH_H

#include <stdint.h>

#include "vorn_image.h"

namespace vorn {

enum class MorphOp { kErode, kDilate, kWindow };

// The number of non-zero pixels the window filter needs in a (2n+1)^2 window: ((150n + 75)(2n + 1)) / 100.
uint64_t morph_window_need(uint64_t n);

// Operand checks and the border band shared by the three operations: checks sizes (VORN_E_NULL / VORN_E_PARAM),
// clears the band of n pixels along the border of dst, and returns VORN_OK with *interior true when pixels
// remain inside the band.
vorn_result morph_prepare(const vorn_mono_image *src, vorn_mono_image *dst, uint32_t n, const vorn_mono_image *mask,
                          bool *interior);

// The interior by a straight scan of each pixel's window (the rule as stated; slow for large n). Expects a
// prepared frame.
void morph_plain_interior(MorphOp op, const vorn_mono_image &src, vorn_mono_image &dst, uint32_t n,
                          const vorn_mono_image &mask);

// The same result by running counts: cost per pixel independent of n for the window filter, log n for erosion
// and dilation. Falls back to the plain scan only when a wide image's row buffers cannot be allocated.
void morph_fast_interior(MorphOp op, const vorn_mono_image &src, vorn_mono_image &dst, uint32_t n,
                         const vorn_mono_image &mask);
void morph_window_interior(const vorn_mono_image &src, vorn_mono_image &dst, uint32_t n,
                           const vorn_mono_image &mask);

// Whole operations through the plain scan, for tests and comparisons.
vorn_result morph_plain(MorphOp op, const vorn_mono_image *src, vorn_mono_image *dst, uint32_t n,
                        const vorn_mono_image *mask);

}  // namespace vorn

#endif
