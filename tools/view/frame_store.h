// The video's frames as the page shows them: each frame compressed once to JPEG and kept in an unnamed temporary
// file (a long video would not fit in memory as pictures), with its time. Serving a frame is one read at a known
// offset, so any frame can be shown at once, in any order, which a browser's own seeking in a compressed video
// cannot promise.
#ifndef VORN_TOOLS_VIEW_FRAME_STORE_H
#define VORN_TOOLS_VIEW_FRAME_STORE_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "frame.h"
#include "jpeg_encoder.h"

namespace vt {

class FrameStore {
 public:
  FrameStore(int width, int height);  // throws a runtime error when no temporary file can be made
  ~FrameStore();
  FrameStore(const FrameStore &) = delete;
  FrameStore &operator=(const FrameStore &) = delete;

  // Appends the next frame of the video.
  void add(const Frame &frame);

  int64_t size() const { return static_cast<int64_t>(times_.size()); }
  double time(int64_t index) const { return times_[static_cast<size_t>(index)]; }
  // The JPEG picture of frame `index` (0 <= index < size()); safe from several threads at once.
  std::string jpeg(int64_t index) const;

 private:
  JpegEncoder encoder_;
  std::FILE *file_ = nullptr;
  std::vector<uint64_t> offsets_;  // frame k is bytes offsets_[k] .. offsets_[k + 1] - 1
  std::vector<double> times_;
};

}  // namespace vt

#endif
