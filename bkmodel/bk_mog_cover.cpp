// Runs of covered pixels: found in a mask, compared, merged, and the bytes between them cleared.
#include "bkmodel/bk_mog_cover.h"

#include <string.h>

namespace vorn {

namespace {

// First index at or after i (below n) whose byte is non-zero (want = true) or zero (want = false); n when none.
size_t next_byte(const uint8_t *m, size_t i, size_t n, bool want) {
  // Byte by byte up to a word boundary, then whole words that hold no byte of the kind looked for.
  while (i < n && (i & 7)) {
    if ((m[i] != 0) == want) return i;
    ++i;
  }
  const uint64_t lows = 0x0101010101010101ull, highs = 0x8080808080808080ull;
  for (; i + 8 <= n; i += 8) {
    uint64_t v;
    memcpy(&v, m + i, 8);
    if (want ? v != 0 : ((v - lows) & ~v & highs) != 0) break;  // the second: some byte of v is zero
  }
  for (; i < n; ++i)
    if ((m[i] != 0) == want) return i;
  return n;
}

}  // namespace

size_t mask_runs(const uint8_t *mask, size_t npix, uint32_t align, pix_run *out) {
  size_t count = 0, i = 0;
  while ((i = next_byte(mask, i, npix, true)) < npix) {
    const size_t e = next_byte(mask, i, npix, false);
    size_t b = i - i % align, f = e + (align - e % align) % align;
    if (f > npix) f = npix;
    if (count && out[count - 1].end >= b) {
      out[count - 1].end = (uint32_t)f;
    } else {
      out[count].begin = (uint32_t)b;
      out[count].end = (uint32_t)f;
      ++count;
    }
    i = e;
  }
  return count;
}

bool runs_cover(const pix_run *outer, size_t n_outer, const pix_run *inner, size_t n_inner) {
  bool inside = true;
  runs_uncovered(outer, n_outer, inner, n_inner, [&](uint32_t, uint32_t) { inside = false; });
  return inside;
}

size_t runs_union(const pix_run *a, size_t na, const pix_run *b, size_t nb, pix_run *out) {
  size_t n = 0, i = 0, j = 0;
  while (i < na || j < nb) {
    const pix_run r = (j == nb || (i < na && a[i].begin <= b[j].begin)) ? a[i++] : b[j++];
    if (n && out[n - 1].end >= r.begin) {
      if (r.end > out[n - 1].end) out[n - 1].end = r.end;
    } else {
      out[n++] = r;
    }
  }
  return n;
}

void zero_outside(uint8_t *bytes, size_t npix, const pix_run *runs, size_t n) {
  size_t at = 0;
  for (size_t k = 0; k < n; ++k) {
    memset(bytes + at, 0, runs[k].begin - at);
    at = runs[k].end;
  }
  memset(bytes + at, 0, npix - at);
}

}  // namespace vorn
