// Which pixels of a mixture model hold live state. Outside the region mask a pixel never changes after the
// first frame, so its mixture follows from that frame's colour; the model keeps state only for the pixels the
// mask has covered since the first frame (runs of pixel indices) and builds the state of a newly covered pixel
// from the first frame when the mask widens.
#ifndef VORN_BKMODEL_BK_MOG_COVER_H
#define VORN_BKMODEL_BK_MOG_COVER_H

#include <stddef.h>
#include <stdint.h>

namespace vorn {

// Pixels [begin, end) in row order.
struct pix_run {
  uint32_t begin, end;
};

// Most runs mask_runs can find in npix pixels with the given alignment (runs and the gaps between them are at
// least `align` pixels long, but for the last).
inline size_t max_runs(size_t npix, uint32_t align) { return npix / (2 * (size_t)align) + 2; }

// The runs of non-zero bytes of mask[0, npix), widened outwards to multiples of `align` (clipped to npix) and
// merged where they then touch; returns their number (at most max_runs(npix, align)).
size_t mask_runs(const uint8_t *mask, size_t npix, uint32_t align, pix_run *out);

// Whether every pixel of `inner` lies in `outer` (both sorted, disjoint).
bool runs_cover(const pix_run *outer, size_t n_outer, const pix_run *inner, size_t n_inner);

// The pieces of `inner` outside `outer`, in order, passed to visit(begin, end).
template <class F>
void runs_uncovered(const pix_run *outer, size_t n_outer, const pix_run *inner, size_t n_inner, F visit) {
  size_t o = 0;
  for (size_t i = 0; i < n_inner; ++i) {
    uint32_t at = inner[i].begin;
    const uint32_t end = inner[i].end;
    while (at < end) {
      while (o < n_outer && outer[o].end <= at) ++o;
      if (o == n_outer || outer[o].begin >= end) {
        visit(at, end);
        break;
      }
      if (outer[o].begin > at) visit(at, outer[o].begin);
      at = outer[o].end;
    }
  }
}

// a ∪ b into out (sorted, merged where runs touch); out may not alias either. Returns the count.
size_t runs_union(const pix_run *a, size_t na, const pix_run *b, size_t nb, pix_run *out);

// Sets bytes [0, npix) outside the runs to 0.
void zero_outside(uint8_t *bytes, size_t npix, const pix_run *runs, size_t n);

}  // namespace vorn

#endif
