// The frame-conversion table filled at start-up.
#include "color/frame_table.h"

#include "vorn_color.h"

namespace vorn {
namespace {

FrameToImageFn g_frame_table[5][4];

// Adapters from the table's uniform signature to each converter's own frame type.
template <vorn_result (*Fn)(const vorn_bmp *, vorn_image *)>
vorn_result from_bmp(const void *frame, vorn_image *img) {
  return Fn(static_cast<const vorn_bmp *>(frame), img);
}
template <vorn_result (*Fn)(const uint8_t *, vorn_image *)>
vorn_result from_bytes(const void *frame, vorn_image *img) {
  return Fn(static_cast<const uint8_t *>(frame), img);
}

}  // namespace

void init_frame_table() {
  const FrameToImageFn rows[5][3] = {
      {from_bmp<vorn_image_bmp_to_rgb>, from_bmp<vorn_image_bmp_to_yuv>, from_bmp<vorn_image_bmp_to_hsv>},
      {from_bytes<vorn_image_bmp24_to_rgb>, from_bytes<vorn_image_bmp24_to_yuv>, from_bytes<vorn_image_bmp24_to_hsv>},
      {from_bytes<vorn_image_bmp32_to_rgb>, from_bytes<vorn_image_bmp32_to_yuv>, from_bytes<vorn_image_bmp32_to_hsv>},
      {from_bytes<vorn_image_yuv422_to_rgb>, from_bytes<vorn_image_yuv422_to_yuv>,
       from_bytes<vorn_image_yuv422_to_hsv>},
      {from_bytes<vorn_image_yuv420_to_rgb>, from_bytes<vorn_image_yuv420_to_yuv>,
       from_bytes<vorn_image_yuv420_to_hsv>},
  };
  for (int t = 0; t < 5; ++t) {
    for (int f = 0; f < 3; ++f) g_frame_table[t][f] = rows[t][f];
    g_frame_table[t][3] = nullptr;
  }
}

FrameToImageFn frame_converter(uint32_t frame_type, uint32_t format) {
  if (format >= 4) return nullptr;
  return g_frame_table[frame_type > 4 ? 4 : frame_type][format];
}

vorn_result frame_to_image(const void *frame, uint32_t frame_type, vorn_image *img) {
  if (!img) return VORN_E_NULL;
  FrameToImageFn fn = frame_converter(frame_type, img->format);
  return fn ? fn(frame, img) : VORN_E_PARAM;
}

}  // namespace vorn
