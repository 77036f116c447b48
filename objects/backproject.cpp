// Back-projection of a histogram onto a mono image: each pixel becomes the count of its bin.
#include "core/memory.h"
#include "objects/rect_span.h"
#include "vorn_histogram.h"

extern "C" {

VORN_API vorn_backproject *vorn_backproject_alloc(uint32_t width, uint32_t height) {
  uint32_t n;
  if (!vorn::area_u32(width, height, &n)) return nullptr;
  vorn_backproject *bp = vorn::block_new<vorn_backproject>();
  if (!bp) return nullptr;
  bp->width = width;
  bp->height = height;
  bp->data = vorn::block_new<uint32_t>(n);
  if (!bp->data) {
    vorn_free(bp);
    return nullptr;
  }
  return bp;
}

// A back-projection has the record shape of a mono image (two counts, one data block), so the mono image's free
// releases it.
VORN_API void vorn_backproject_free(vorn_backproject *bp) {
  vorn_mono_image_free(reinterpret_cast<vorn_mono_image *>(bp));
}

VORN_API vorn_result vorn_backproject_calculate(const vorn_mono_image *image, const vorn_histogram *hist,
                                                vorn_backproject *bp, const vorn_rect *rect,
                                                const vorn_mono_image *mask) {
  if (!hist || !image || !bp || !rect) return VORN_E_NULL;
  if (!hist->bins || !hist->lookup) return VORN_E_NOMEM;
  if (bp->width != image->width || bp->height != image->height) return VORN_E_PARAM;
  if (mask && (mask->width != image->width || mask->height != image->height)) return VORN_E_PARAM;
  // The rows run from row 0 for bottom - top rows, whatever the rectangle's top.
  vorn::Span s = vorn::rect_span(*rect, 0, image->width, image->height);
  if (s.empty()) return VORN_OK;
  if (!image->data || !bp->data || (mask && !mask->data)) return VORN_E_NULL;
  const uint8_t *lut = hist->lookup;
  const uint32_t *bins = hist->bins;
  for (int32_t y = s.y0; y < s.y1; ++y) {
    const size_t row = (size_t)y * image->width;
    const uint8_t *src = image->data + row;
    uint32_t *dst = bp->data + row;
    if (mask) {
      const uint8_t *m = mask->data + row;
      for (int32_t x = s.x0; x < s.x1; ++x) {
        if (m[x]) dst[x] = bins[lut[src[x]]];
      }
    } else {
      for (int32_t x = s.x0; x < s.x1; ++x) dst[x] = bins[lut[src[x]]];
    }
  }
  return VORN_OK;
}

}  // extern "C"
