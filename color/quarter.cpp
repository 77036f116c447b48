// Half-width, half-height copies of images and frames by plain decimation: every output pixel is one input
// pixel, nothing is averaged.
#include <string.h>

#include "color/frame_layout.h"
#include "core/bitmap.h"
#include "vorn_color.h"

namespace vorn {
namespace {

// Pixels 0, 2, 4, ... of a bitmap row; `in_step` and `out_step` are the bytes per pixel read and written
// (three bytes B, G, R are copied, a fourth is not written).
void decimate_bgr_row(const uint8_t *src, uint8_t *dst, size_t count, size_t in_step, size_t out_step) {
  for (size_t x = 0; x < count; ++x, src += 2 * in_step, dst += out_step) {
    dst[0] = src[0];
    dst[1] = src[1];
    dst[2] = src[2];
  }
}

bool ready(const vorn_image *img) { return img->plane[0] && img->plane[1] && img->plane[2]; }

// Shared check of the frame-to-image quarter members.
vorn_result check_yuv_quarter(const void *src, const vorn_image *dst, int64_t w, int64_t h) {
  if (!src || !dst) return VORN_E_NULL;
  if ((int64_t)dst->width != w / 2 || (int64_t)dst->height != h / 2 || dst->format != VORN_FORMAT_YUV)
    return VORN_E_PARAM;
  return ready(dst) ? VORN_OK : VORN_E_NULL;
}

// The Y plane at even rows and columns.
void decimate_plane(const uint8_t *src, int64_t src_w, uint8_t *dst, int64_t w, int64_t h) {
  for (int64_t y = 0; y < h; ++y, src += 2 * src_w, dst += w)
    for (int64_t x = 0; x < w; ++x) dst[x] = src[2 * x];
}

// Whole 4:2:0 chroma planes into the quarter image's U and V planes (never more than a plane holds).
vorn_result chroma_planes_quarter(const uint8_t *src, vorn_image *dst, int64_t w, int64_t h, bool swapped) {
  int64_t n = w * h, q = n / 4, room = (int64_t)dst->width * dst->height;
  decimate_plane(src, w, dst->plane[0], dst->width, dst->height);
  if (q > room) q = room;
  if (q > 0) {
    const uint8_t *first = src + n, *second = src + n * 5 / 4;
    memcpy(dst->plane[1], swapped ? second : first, (size_t)q);
    memcpy(dst->plane[2], swapped ? first : second, (size_t)q);
  }
  return VORN_OK;
}

}  // namespace
}  // namespace vorn

using namespace vorn;

extern "C" {

// Destination row y comes from source row 3y (a stride of three rows, unlike the frame members); rows past
// the source repeat its last row.
VORN_API vorn_result vorn_image_quater(const vorn_image *src, vorn_image *dst) {
  if (!src || !dst) return VORN_E_NULL;
  if (dst->width != src->width / 2 || dst->height != src->height / 2 || dst->format != src->format)
    return VORN_E_PARAM;
  if (!ready(src) || !ready(dst)) return VORN_E_NULL;
  size_t w = src->width, h = src->height, dw = dst->width;
  for (size_t y = 0; y < dst->height; ++y) {
    size_t from = 3 * y < h ? 3 * y : h - 1;
    for (int p = 0; p < 3; ++p) {
      const uint8_t *s = src->plane[p] + from * w;
      uint8_t *d = dst->plane[p] + y * dw;
      for (size_t x = 0; x < dw; ++x) d[x] = s[2 * x];
    }
  }
  return VORN_OK;
}

VORN_API vorn_result vorn_image_bmp_quater(const vorn_bmp *src, vorn_bmp *dst) {
  if (!src || !dst) return VORN_E_NULL;
  BmpView s = bmp_view(src), d = bmp_view(dst);
  if ((int64_t)s.width != 2 * (int64_t)d.width || (int64_t)s.height != 2 * (int64_t)d.height ||
      s.bitcount != d.bitcount || (s.bitcount != 24 && s.bitcount != 32))
    return VORN_E_PARAM;
  size_t bpp = s.bitcount / 8;
  for (int32_t y = 0; y < d.height; ++y)
    decimate_bgr_row(s.pixels + 2 * (size_t)y * s.stride, d.pixels + (size_t)y * d.stride, (size_t)d.width, bpp, bpp);
  return VORN_OK;
}

VORN_API vorn_result vorn_image_bmp24_quater(const uint8_t *src, uint8_t *dst, uint32_t width, uint32_t height) {
  if (!src || !dst) return VORN_E_NULL;
  size_t in = (size_t)bmp_stride(width, 24), out = (size_t)bmp_stride(width / 2, 24);
  for (uint32_t y = 0; y < height / 2; ++y) decimate_bgr_row(src + 2 * y * in, dst + y * out, width / 2, 3, 3);
  return VORN_OK;
}

// 4-byte pixels on both sides, but rows stepped by 24-bit strides: the source start moves by twice the 24-bit
// stride of `width` pixels per output row, the destination by the 24-bit stride of width / 2 pixels.
VORN_API vorn_result vorn_image_bmp32_quater(const uint8_t *src, uint8_t *dst, uint32_t width, uint32_t height) {
  if (!src || !dst) return VORN_E_NULL;
  size_t in = 2 * (size_t)bmp_stride(width, 24), out = (size_t)bmp_stride(width / 2, 24);
  for (uint32_t y = 0; y < height / 2; ++y) decimate_bgr_row(src + y * in, dst + y * out, width / 2, 4, 4);
  return VORN_OK;
}

// Source rows 0, 2, 4, ...; four source pixels Y0 U Y1 V Y2 U' Y3 V' give the output pair Y0 U Y2 V. With an
// odd output width the lone last pixel gets its Y and the group's U.
VORN_API vorn_result vorn_image_yuv422_quater(const uint8_t *src, uint8_t *dst, uint32_t width, uint32_t height) {
  if (!src || !dst) return VORN_E_NULL;
  size_t ow = width / 2, in = 2 * (size_t)width, out = 2 * ow;
  for (size_t y = 0; y < height / 2; ++y) {
    const uint8_t *s = src + 2 * y * in;
    uint8_t *d = dst + y * out;
    size_t x = 0;
    for (; x + 1 < ow; x += 2, s += 8, d += 4) {
      d[0] = s[0];
      d[1] = s[1];
      d[2] = s[4];
      d[3] = s[3];
    }
    if (x < ow) {
      d[0] = s[0];
      d[1] = s[1];
    }
  }
  return VORN_OK;
}

// Y at even rows and columns; each chroma plane at even chroma rows and columns when there are any (h >= 4).
VORN_API vorn_result vorn_image_yuv420_quater(const uint8_t *src, uint8_t *dst, uint32_t width, uint32_t height) {
  if (!src || !dst) return VORN_E_NULL;
  int64_t w = width, h = height, ow = w / 2, oh = h / 2;
  decimate_plane(src, w, dst, ow, oh);
  if (h < 4) return VORN_OK;
  Yuv420Layout in(w, h), out(ow, oh);
  decimate_plane(src + in.u, in.cw, dst + out.u, w / 4, h / 4);
  decimate_plane(src + in.v, in.cw, dst + out.v, w / 4, h / 4);
  return VORN_OK;
}

VORN_API vorn_result vorn_image_yuv420_to_yuv_quater(const uint8_t *src, vorn_image *dst, int32_t width,
                                                     uint32_t height) {
  if (vorn_result rc = check_yuv_quarter(src, dst, width, height)) return rc;
  return chroma_planes_quarter(src, dst, width, height, false);
}

VORN_API vorn_result vorn_image_yv14_to_yuv_quater(const uint8_t *src, vorn_image *dst, int32_t width,
                                                   uint32_t height) {
  if (vorn_result rc = check_yuv_quarter(src, dst, width, height)) return rc;
  return chroma_planes_quarter(src, dst, width, height, true);
}

// Output row y from source row 2y; output pixel x from source pair x: its first Y, its U, its V.
VORN_API vorn_result vorn_image_yuv422_to_yuv_quater(const uint8_t *src, vorn_image *dst, uint32_t width,
                                                     uint32_t height) {
  if (vorn_result rc = check_yuv_quarter(src, dst, width, height)) return rc;
  size_t ow = dst->width, in = 2 * (size_t)width;
  for (size_t y = 0; y < dst->height; ++y) {
    const uint8_t *s = src + 2 * y * in;
    uint8_t *py = dst->plane[0] + y * ow, *pu = dst->plane[1] + y * ow, *pv = dst->plane[2] + y * ow;
    for (size_t x = 0; x < ow; ++x, s += 4) {
      py[x] = s[0];
      pu[x] = s[1];
      pv[x] = s[3];
    }
  }
  return VORN_OK;
}

}  // extern "C"
