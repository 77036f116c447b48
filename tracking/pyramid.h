// The pyramid's handle and its one-plane reduction, for the optical flow and the tests.
#ifndef VORN_TRACKING_PYRAMID_H
#define VORN_TRACKING_PYRAMID_H

#include "vorn_pyramid.h"

struct vorn_pyramid {
  vorn_image **images;       // colour levels, or null
  vorn_mono_image **monos;   // mono levels, or null
  uint32_t count;
};

namespace vorn {

// Row sums of the horizontal pass: 16 times the smoothed value, at most 255 * 16.
// pyramid_hrow: out[x] for x < dst_width from a source row of at least 2 * dst_width pixels.
void pyramid_hrow_c(const uint8_t *src, uint16_t *out, uint32_t dst_width);
// pyramid_vrow: dst[x] = (w0 r0[x] + ... + w4 r4[x] + 128) >> 8, the weights totalling 16 (unused rows weigh 0
// and may repeat a used pointer).
void pyramid_vrow_c(const uint16_t *const rows[5], const uint16_t weights[5], uint8_t *dst, uint32_t width);
// SSE2 twins: they do a prefix of the row and return how many outputs they wrote; the _c kernel finishes.
uint32_t pyramid_hrow_sse2(const uint8_t *src, uint16_t *out, uint32_t dst_width);
uint32_t pyramid_vrow_sse2(const uint16_t *const rows[5], const uint16_t weights[5], uint8_t *dst, uint32_t width);

// The family's table: vector kernels as above (null: none), the _c kernels finishing each row.
struct PyramidRowKernels {
  uint32_t (*hrow)(const uint8_t *src, uint16_t *out, uint32_t dst_width);
  uint32_t (*vrow)(const uint16_t *const rows[5], const uint16_t weights[5], uint8_t *dst, uint32_t width);
};
// The table for this CPU (honours cpu_set_mask).
const PyramidRowKernels &pyramid_row_kernels();

// The number of uint16_t a reduction to dst_width columns needs as scratch.
inline size_t pyramid_scratch_size(uint32_t dst_width) { return (size_t)5 * dst_width; }

// Reduces a src_w x src_h plane into (src_w >> 1) x (src_h >> 1), both at least 1; scratch as above.
void pyramid_reduce_plane(const uint8_t *src, uint32_t src_w, uint32_t src_h, uint8_t *dst, uint16_t *scratch);

// A mono pyramid of at most `levels` levels for w x h sources, its levels allocated (zeroed) but not filled:
// VORN_OK, VORN_E_PARAM when no level is possible, VORN_E_NOMEM.
vorn_result pyramid_alloc_mono(uint32_t w, uint32_t h, uint32_t levels, vorn_pyramid **out);

// Rebuilds, in place, a pyramid made by vorn_pyramid_create_mono_image from a source of the same size;
// scratch holds pyramid_scratch_size(src->width >> 1) values.
void pyramid_refill_mono(vorn_pyramid *pyr, const vorn_mono_image *src, uint16_t *scratch);

}  // namespace vorn

#endif
