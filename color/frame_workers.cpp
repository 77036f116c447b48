// Bitmaps to and from packed 4:2:2 and planar 4:2:0 frames without a planar image in between, bitmaps to and
// from mono images, and the chroma-plane swap of yv14 frames.
//
// The workers walk the bitmap from its first stored row (the image's bottom row) while the YUV frame is walked
// from its last row upward. Luma is the truncated Y. In 4:2:0 the chroma rows are used from the last one
// upward: stored rows 2k and 2k + 1 share chroma row "last - k", so for an even height image row r uses chroma
// row r / 2 (unlike the planar converters, which use (r + 1) / 2).
#include <string.h>

#include "color/color_rules.h"
#include "color/frame_layout.h"
#include "core/bitmap.h"
#include "core/memory.h"
#include "vorn_color.h"

namespace vorn {
namespace {

struct BmpWalk {
  size_t bpp, stride;
  BmpWalk(uint32_t w, uint32_t bits) : bpp(bits / 8), stride((size_t)bmp_stride(w, bits)) {}
};

// Whether a bitmap object may take part: 24 or 32 bits.
vorn_result check_bits(const vorn_bmp *bmp) {
  uint32_t bits = bmp_view(bmp).bitcount;
  return bits == 24 || bits == 32 ? VORN_OK : VORN_E_PARAM;
}

}  // namespace
}  // namespace vorn

using namespace vorn;

extern "C" {

VORN_API vorn_result image_bmp_to_yuv422(const uint8_t *src, uint8_t *dst, uint32_t width, uint32_t height,
                                         uint32_t bits) {
  BmpWalk b(width, bits);
  size_t w = width, h = height;
  for (size_t s = 0; s < h; ++s) {
    const uint8_t *p = src + s * b.stride;
    uint8_t *row = dst + (h - 1 - s) * 2 * w;
    for (size_t x = 0; x < w; ++x, p += b.bpp) {
      uint8_t y, u, v;
      rgb_to_yuv_trunc(p[2], p[1], p[0], &y, &u, &v);
      row[2 * x] = y;
      if (x & 1) {
        row[2 * x - 1] = u;
        row[2 * x + 1] = v;
      }
    }
  }
  return VORN_OK;
}

VORN_API vorn_result image_yuv422_to_bmp(const uint8_t *src, uint8_t *dst, uint32_t width, uint32_t height,
                                         uint32_t bits) {
  BmpWalk b(width, bits);
  int64_t w = width, h = height, limit = 2 * w * h;
  for (int64_t s = 0; s < h; ++s) {
    int64_t row = (h - 1 - s) * 2 * w;
    uint8_t *p = dst + s * b.stride;
    for (int64_t x = 0; x < w; ++x, p += b.bpp) {
      uint8_t r, g, bl;
      yuv_to_rgb(src[row + 2 * x], src[row + 4 * (x >> 1) + 1], src[yuyv_v_at(row, x, limit)], &r, &g, &bl);
      p[0] = bl;
      p[1] = g;
      p[2] = r;
    }
  }
  return VORN_OK;
}

VORN_API vorn_result image_bmp_to_yuv420(const uint8_t *src, uint8_t *dst, uint32_t width, uint32_t height,
                                         uint32_t bits) {
  BmpWalk b(width, bits);
  int64_t w = width, h = height;
  Yuv420Layout L(w, h);
  int64_t u0 = L.v - L.cw, v0 = L.limit - L.cw;  // both start at the last chroma row
  for (int64_t s = 0; s < h; ++s) {
    const uint8_t *p = src + s * b.stride;
    uint8_t *yrow = dst + (h - 1 - s) * w;
    int64_t back = (s / 2) * L.cw;
    for (int64_t x = 0; x < w; ++x, p += b.bpp) {
      uint8_t y, u, v;
      rgb_to_yuv_trunc(p[2], p[1], p[0], &y, &u, &v);
      yrow[x] = y;
      if ((s & 1) && (x & 1)) {
        int64_t uo = u0 - back + x / 2, vo = v0 - back + x / 2;
        if (L.inside(uo, 1)) dst[uo] = u;
        if (L.inside(vo, 1)) dst[vo] = v;
      }
    }
  }
  return VORN_OK;
}

VORN_API vorn_result image_yuv420_to_bmp(const uint8_t *src, uint8_t *dst, uint32_t width, uint32_t height,
                                         uint32_t bits) {
  BmpWalk b(width, bits);
  int64_t w = width, h = height;
  Yuv420Layout L(w, h);
  int64_t u0 = L.v - L.cw, v0 = L.limit - L.cw;
  for (int64_t s = 0; s < h; ++s) {
    const uint8_t *yrow = src + (h - 1 - s) * w;
    uint8_t *p = dst + s * b.stride;
    int64_t back = (s / 2) * L.cw;
    for (int64_t x = 0; x < w; ++x, p += b.bpp) {
      int64_t uo = u0 - back + x / 2, vo = v0 - back + x / 2;
      uint8_t r, g, bl;
      yuv_to_rgb(yrow[x], src[L.read_at(uo < 0 ? 0 : uo)], src[L.read_at(vo < 0 ? 0 : vo)], &r, &g, &bl);
      p[0] = bl;
      p[1] = g;
      p[2] = r;
    }
  }
  return VORN_OK;
}

VORN_API vorn_result vorn_image_bmp_to_yuv422(const vorn_bmp *bmp, uint8_t *frame) {
  if (!bmp || !frame) return VORN_E_NULL;
  if (vorn_result rc = check_bits(bmp)) return rc;
  BmpView v = bmp_view(bmp);
  return image_bmp_to_yuv422(v.pixels, frame, (uint32_t)v.width, (uint32_t)v.height, v.bitcount);
}

VORN_API vorn_result vorn_image_yuv422_to_bmp(const uint8_t *frame, vorn_bmp *bmp) {
  if (!bmp || !frame) return VORN_E_NULL;
  if (vorn_result rc = check_bits(bmp)) return rc;
  BmpView v = bmp_view(bmp);
  return image_yuv422_to_bmp(frame, v.pixels, (uint32_t)v.width, (uint32_t)v.height, v.bitcount);
}

VORN_API vorn_result vorn_image_bmp_to_yuv420(const vorn_bmp *bmp, uint8_t *frame) {
  if (!bmp || !frame) return VORN_E_NULL;
  if (vorn_result rc = check_bits(bmp)) return rc;
  BmpView v = bmp_view(bmp);
  return image_bmp_to_yuv420(v.pixels, frame, (uint32_t)v.width, (uint32_t)v.height, v.bitcount);
}

VORN_API vorn_result vorn_image_yuv420_to_bmp(const uint8_t *frame, vorn_bmp *bmp) {
  if (!bmp || !frame) return VORN_E_NULL;
  if (vorn_result rc = check_bits(bmp)) return rc;
  BmpView v = bmp_view(bmp);
  return image_yuv420_to_bmp(frame, v.pixels, (uint32_t)v.width, (uint32_t)v.height, v.bitcount);
}

VORN_API vorn_result vorn_image_bmp_to_mono(const vorn_bmp *bmp, vorn_mono_image *mono) {
  if (!bmp || !mono) return VORN_E_NULL;
  BmpView v = bmp_view(bmp);
  if ((v.bitcount != 24 && v.bitcount != 32) || (int64_t)v.width != (int64_t)mono->width ||
      (int64_t)v.height != (int64_t)mono->height)
    return VORN_E_PARAM;
  if (!mono->data) return VORN_E_NULL;
  BmpWalk b(mono->width, v.bitcount);
  size_t w = mono->width, h = mono->height;
  for (size_t s = 0; s < h; ++s) {
    const uint8_t *p = v.pixels + s * b.stride;
    uint8_t *out = mono->data + (h - 1 - s) * w;
    for (size_t x = 0; x < w; ++x, p += b.bpp) out[x] = rgb_to_y_trunc(p[2], p[1], p[0]);
  }
  return VORN_OK;
}

VORN_API vorn_result vorn_image_mono_to_bmp(const vorn_mono_image *mono, vorn_bmp *bmp) {
  if (!bmp || !mono) return VORN_E_NULL;
  BmpView v = bmp_view(bmp);
  if ((v.bitcount != 24 && v.bitcount != 32) || (int64_t)v.width != (int64_t)mono->width ||
      (int64_t)v.height != (int64_t)mono->height)
    return VORN_E_PARAM;
  if (!mono->data) return VORN_E_NULL;
  BmpWalk b(mono->width, v.bitcount);
  size_t w = mono->width, h = mono->height;
  for (size_t s = 0; s < h; ++s) {
    uint8_t *p = v.pixels + s * b.stride;
    const uint8_t *in = mono->data + (h - 1 - s) * w;
    for (size_t x = 0; x < w; ++x, p += b.bpp) p[0] = p[1] = p[2] = in[x];
  }
  return VORN_OK;
}

// yv14 is the 4:2:0 layout with V before U. With a destination the frame is copied with the chroma planes in
// 4:2:0 order; without one the source's chroma planes are swapped in place through `scratch` (or a block made
// for the call).
VORN_API vorn_result vorn_image_yv14_to_yuv420(uint8_t *src, uint8_t *dst, uint8_t *scratch, uint32_t width,
                                               uint32_t height) {
  size_t n = (size_t)width * height, q = n / 4, second = n * 5 / 4;
  if (!src || n == 0) return VORN_E_PARAM;
  if (dst) {
    memcpy(dst, src, n);
    memcpy(dst + n, src + second, q);
    memcpy(dst + second, src + n, q);
    return VORN_OK;
  }
  if (q == 0) return VORN_OK;
  uint8_t *owned = nullptr;
  if (!scratch) {
    owned = block_new<uint8_t>(q);
    if (!owned) return VORN_E_NOMEM;
    scratch = owned;
  }
  memcpy(scratch, src + n, q);
  memmove(src + n, src + second, q);
  memcpy(src + second, scratch, q);
  block_release(owned);
  return VORN_OK;
}

}  // extern "C"
