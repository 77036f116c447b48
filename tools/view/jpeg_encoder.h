// Compresses B,G,R frames to JPEG pictures through libavcodec's MJPEG encoder, one encoder kept open for a
// whole video (opening one per picture costs more than the picture).
#ifndef VORN_TOOLS_VIEW_JPEG_ENCODER_H
#define VORN_TOOLS_VIEW_JPEG_ENCODER_H

#include <memory>
#include <string>

#include "frame.h"

namespace vt {

class JpegEncoder {
 public:
  // For frames of width x height; `quality` is the encoder's quantiser scale, 2 (best) .. 31. Throws a runtime
  // error when libavcodec has no MJPEG encoder.
  JpegEncoder(int width, int height, int quality);
  ~JpegEncoder();
  JpegEncoder(const JpegEncoder &) = delete;
  JpegEncoder &operator=(const JpegEncoder &) = delete;

  // The JPEG file's bytes for one frame of the encoder's size. Throws a runtime error.
  std::string encode(const Frame &frame);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace vt

#endif
