// Frame conversions with random sizes, frame types and colour models: every frame-to-image member and its way
// back, the bitmap-object members (also against a bitmap of another size or bit count), and the quarter-size
// reductions. Buffers are exactly as long as their layout needs, so any read or write past them is reported.
//
// Input: width (1..48), height (1..36), a bitmap size and bit count, a colour model, then the frame bytes.
#include <stdlib.h>

#include <vector>

#include "fuzz_input.h"
#include "vorn.h"

namespace {

using FromFrame = vorn_result (*)(const uint8_t *, vorn_image *);
using ToFrame = vorn_result (*)(const vorn_image *, uint8_t *);

const FromFrame kFrom[4][3] = {
    {vorn_image_bmp24_to_rgb, vorn_image_bmp24_to_yuv, vorn_image_bmp24_to_hsv},
    {vorn_image_bmp32_to_rgb, vorn_image_bmp32_to_yuv, vorn_image_bmp32_to_hsv},
    {vorn_image_yuv422_to_rgb, vorn_image_yuv422_to_yuv, vorn_image_yuv422_to_hsv},
    {vorn_image_yuv420_to_rgb, vorn_image_yuv420_to_yuv, vorn_image_yuv420_to_hsv},
};
const ToFrame kTo[4][3] = {
    {vorn_image_rgb_to_bmp24, vorn_image_yuv_to_bmp24, vorn_image_hsv_to_bmp24},
    {vorn_image_rgb_to_bmp32, vorn_image_yuv_to_bmp32, vorn_image_hsv_to_bmp32},
    {vorn_image_rgb_to_yuv422, vorn_image_yuv_to_yuv422, vorn_image_hsv_to_yuv422},
    {vorn_image_rgb_to_yuv420, vorn_image_yuv_to_yuv420, vorn_image_hsv_to_yuv420},
};

// Bytes of a raw frame of w x h in layout k (24-bit rows, 32-bit rows, 4:2:2, 4:2:0).
size_t frame_bytes(uint32_t k, uint32_t w, uint32_t h) {
  switch (k) {
    case 0: return (size_t)((w * 3 + 3) & ~3u) * h;
    case 1: return (size_t)w * h * 4;
    case 2: return (size_t)w * h * 2;
    default: return (size_t)w * h + 2 * ((size_t)w * h / 4) + 0;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const bool ready = (vorn_init(), true);
  (void)ready;
  vorn_fuzz::Input in(data, size);
  // 4:2:2 and 4:2:0 take pairs of pixels (and rows): their sizes are even.
  const uint32_t layout = in.range(0, 3), format = in.range(0, 2);
  uint32_t w = in.range(1, 48), h = in.range(1, 36);
  if (layout >= 2) w = (w + 1) & ~1u;
  if (layout == 3) h = (h + 1) & ~1u;
  const uint32_t bw = in.u8() & 1 ? w : in.range(1, 48), bh = in.u8() & 1 ? h : in.range(1, 36);
  const uint32_t bits = in.u8() & 1 ? 24 : (in.u8() & 1 ? 32 : 8);

  std::vector<uint8_t> frame(frame_bytes(layout, w, h));
  in.bytes(frame.data(), frame.size());
  vorn_image *img = vorn_image_alloc(w, h, format);
  if (!img) abort();
  if (kFrom[layout][format](frame.data(), img) != VORN_OK) abort();
  std::vector<uint8_t> back(frame.size());
  if (kTo[layout][format](img, back.data()) != VORN_OK) abort();

  vorn_bmp *bmp = vorn_bmp_alloc(bw, bh, bits);
  if (bmp) {
    in.bytes(vorn_bmp_get_image(bmp), (size_t)vorn_bmp_get_stride(bmp) * bh);
    using BmpIn = vorn_result (*)(const vorn_bmp *, vorn_image *);
    using BmpOut = vorn_result (*)(const vorn_image *, vorn_bmp *);
    static const BmpIn kBmpIn[3] = {vorn_image_bmp_to_rgb, vorn_image_bmp_to_yuv, vorn_image_bmp_to_hsv};
    static const BmpOut kBmpOut[3] = {vorn_image_rgb_to_bmp, vorn_image_yuv_to_bmp, vorn_image_hsv_to_bmp};
    const bool fits = bw == w && bh == h && (bits == 24 || bits == 32);
    if ((kBmpIn[format](bmp, img) == VORN_OK) != fits) abort();
    if ((kBmpOut[format](img, bmp) == VORN_OK) != fits) abort();
    vorn_mono_image *mono = vorn_mono_image_alloc(w, h);
    vorn_image_bmp_to_mono(bmp, mono);
    vorn_image_mono_to_bmp(mono, bmp);
    vorn_mono_image_free(mono);
    // The direct YUV members on the bitmap's own size.
    std::vector<uint8_t> yuv((size_t)(bw + 1) * (bh + 1) * 2);
    vorn_image_bmp_to_yuv422(bmp, yuv.data());
    vorn_image_yuv422_to_bmp(yuv.data(), bmp);
    vorn_image_bmp_to_yuv420(bmp, yuv.data());
    vorn_image_yuv420_to_bmp(yuv.data(), bmp);
    vorn_bmp *half = vorn_bmp_alloc(bw / 2 ? bw / 2 : 1, bh / 2 ? bh / 2 : 1, bits == 32 ? 32 : 24);
    vorn_image_bmp_quater(bmp, half);
    vorn_bmp_free(half);
    vorn_bmp_free(bmp);
  }
  vorn_image *half = vorn_image_alloc(w / 2, h / 2, format);
  vorn_image_quater(img, half);
  if (layout == 3 && w >= 2 && h >= 2) {
    vorn_image *q = vorn_image_alloc(w / 2, h / 2, VORN_FORMAT_YUV);
    vorn_image_yuv420_to_yuv_quater(frame.data(), q, (int32_t)w, h);
    vorn_image_free(q);
  }
  vorn_image_free(half);
  const vorn_rect r = {in.coord(48), in.coord(36), in.coord(48), in.coord(36)};
  vorn_image_free(vorn_image_rect(img, r));
  vorn_image *piece = vorn_image_alloc(in.range(1, 20), in.range(1, 20), format);
  vorn_image_point(img, piece, in.coord(48), in.coord(36));
  vorn_image_free(piece);
  vorn_image_free(img);
  return 0;
}
