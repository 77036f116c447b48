// Pictures between GStreamer's mapped video frames and the program's top-down B,G,R frames: read for the
// analytics, and the overlay written back so that only the pixels it changed are touched.
#ifndef VORN_GST_FRAME_IO_H
#define VORN_GST_FRAME_IO_H

#include <gst/video/video.h>

#include <cstdint>
#include <vector>

#include "frame.h"
#include "vorn.h"

// The raw formats the elements take: the library's own frame types (planar 4:2:0, packed 4:2:2, 24- and 32-bit
// B,G,R) and R,G,B, which is the 24-bit type with its bytes swapped.
#define VORN_GST_FORMATS "{ I420, YUY2, BGR, BGRx, RGB }"

namespace vg {

// Scratch buffers of one element: the frame as the library's contiguous YUV layout and an RGB image.
class FrameIo {
 public:
  FrameIo() = default;
  ~FrameIo();
  FrameIo(const FrameIo &) = delete;
  FrameIo &operator=(const FrameIo &) = delete;

  // Fills `out` (B,G,R, rows top-down) from a mapped frame of one of VORN_GST_FORMATS. False when the library
  // refused the picture (no memory).
  bool read(const GstVideoFrame *in, vt::Frame &out);
  // Writes into `frame` every pixel where `drawn` differs from `plain` (the picture read() gave); for the YUV
  // formats a chroma sample is rewritten when any of the pixels sharing it changed.
  bool write_changes(const vt::Frame &plain, const vt::Frame &drawn, GstVideoFrame *frame);

 private:
  bool ensure_image(int w, int h);
  std::vector<uint8_t> packed_;
  vorn_image *rgb_ = nullptr;
};

}  // namespace vg

#endif
