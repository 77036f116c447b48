// One video frame as the program passes it around: packed B,G,R bytes, rows top-down, no padding.
#ifndef VORN_TOOLS_FRAME_H
#define VORN_TOOLS_FRAME_H

#include <cstdint>
#include <vector>

namespace vt {

struct Frame {
  int width = 0;
  int height = 0;
  int64_t index = 0;  // 0-based position in the stream
  double time = 0.0;  // seconds from the stream's start
  double wall = 0.0;  // live sources: seconds since 1970 (UTC) when the frame arrived; 0 for files
  std::vector<uint8_t> bgr;

  void resize(int w, int h) {
    width = w;
    height = h;
    bgr.assign(static_cast<size_t>(w) * h * 3, 0);
  }
  uint8_t *row(int y) { return bgr.data() + static_cast<size_t>(y) * width * 3; }
  const uint8_t *row(int y) const { return bgr.data() + static_cast<size_t>(y) * width * 3; }
};

// What a stream tells about itself before its first frame.
struct StreamInfo {
  int width = 0;
  int height = 0;
  double fps = 25.0;
  int64_t frame_count = -1;  // -1 when the container does not say
};

}  // namespace vt

#endif
