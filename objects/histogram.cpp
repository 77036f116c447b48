// Grey-level histograms of a rectangle of a mono image.
#include <string.h>

#include "core/memory.h"
#include "objects/rect_span.h"
#include "vorn_histogram.h"

extern "C" {

VORN_API vorn_histogram *vorn_histogram_alloc(uint32_t n) {
  if (n < 1 || n > 256) return nullptr;
  vorn_histogram *h = vorn::block_new<vorn_histogram>();
  if (!h) return nullptr;
  // With n not dividing 256 the top values map one bin (or more) past the last; those counters exist, after
  // the n bins, so every lookup lands inside the block.
  const uint32_t span = 256 / n;
  h->n = n;
  h->lookup = vorn::block_new<uint8_t>(256);
  h->bins = vorn::block_new<uint32_t>(255 / span + 1);
  if (!h->lookup || !h->bins) {
    vorn_histogram_free(h);
    return nullptr;
  }
  for (uint32_t v = 0; v < 256; ++v) h->lookup[v] = (uint8_t)(v / span);
  return h;
}

VORN_API void vorn_histogram_free(vorn_histogram *hist) {
  if (!hist) return;
  vorn::block_release(hist->bins);
  vorn::block_release(hist->lookup);
  vorn_free(hist);
}

VORN_API vorn_result vorn_histogram_zero(vorn_histogram *hist) {
  if (!hist) return VORN_E_NULL;
  if (!hist->bins) return VORN_E_NOMEM;
  memset(hist->bins, 0, (size_t)hist->n * sizeof(uint32_t));
  return VORN_OK;
}

VORN_API vorn_result vorn_histogram_scale(vorn_histogram *hist) {
  if (!hist) return VORN_E_NULL;
  if (!hist->bins) return VORN_E_NOMEM;
  if (hist->n < 2) return VORN_E_NO_RESULT;
  uint32_t *b = hist->bins;
  uint32_t hi = b[0], lo = b[0];
  for (uint32_t i = 1; i < hist->n; ++i) {
    if (b[i] > hi) {
      hi = b[i];
    } else if (b[i] < lo) {
      lo = b[i];
    }
  }
  if (hi == lo) return VORN_E_NO_RESULT;
  const uint32_t range = hi - lo;
  for (uint32_t i = 0; i < hist->n; ++i) b[i] = b[i] * 255u / range;
  return VORN_OK;
}

VORN_API vorn_result vorn_histogram_caculate(const vorn_mono_image *image, vorn_histogram *hist,
                                             const vorn_rect *rect, const vorn_mono_image *mask) {
  if (!hist) return VORN_E_NULL;
  if (!hist->bins || !hist->lookup) return VORN_E_NOMEM;
  if (!image || !rect) return VORN_E_NULL;
  if (mask && (mask->width != image->width || mask->height != image->height)) return VORN_E_PARAM;
  vorn::Span s = vorn::rect_span(*rect, rect->top, image->width, image->height);
  if (s.empty()) return VORN_OK;
  if (!image->data || (mask && !mask->data)) return VORN_E_NULL;
  const uint8_t *lut = hist->lookup;
  uint32_t *bins = hist->bins;
  for (int32_t y = s.y0; y < s.y1; ++y) {
    const size_t row = (size_t)y * image->width;
    const uint8_t *src = image->data + row;
    if (mask) {
      const uint8_t *m = mask->data + row;
      for (int32_t x = s.x0; x < s.x1; ++x) {
        if (m[x]) ++bins[lut[src[x]]];
      }
    } else {
      for (int32_t x = s.x0; x < s.x1; ++x) ++bins[lut[src[x]]];
    }
  }
  return VORN_OK;
}

}  // extern "C"
