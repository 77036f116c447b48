// The video's frames as the page shows them: each frame compressed once to JPEG and kept in an unnamed temporary
// file (a long video would not fit in memory as pictures), with its time. Serving a frame is one read at a known
// offset, so any frame can be shown at once, in any order, which a browser's own seeking in a compressed video
// cannot promise. Compressing runs on a thread of the store's own while the caller reads (and records) the next
// frames.
#ifndef VORN_TOOLS_VIEW_FRAME_STORE_H
#define VORN_TOOLS_VIEW_FRAME_STORE_H

#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
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

  // Appends the next frame of the video (queued for compressing). Throws a runtime error when compressing or
  // keeping an earlier frame failed.
  void add(const Frame &frame);
  // Waits until every frame added is kept; throws as add() does. The store is read only after this.
  void finish();

  int64_t size() const { return static_cast<int64_t>(times_.size()); }
  double time(int64_t index) const { return times_[static_cast<size_t>(index)]; }
  // The JPEG picture of frame `index` (0 <= index < size()); safe from several threads at once.
  std::string jpeg(int64_t index) const;

 private:
  void compress_queued();  // the worker thread
  void stop_worker();

  JpegEncoder encoder_;
  std::FILE *file_ = nullptr;
  std::vector<uint64_t> offsets_;  // frame k is bytes offsets_[k] .. offsets_[k + 1] - 1
  std::vector<double> times_;

  std::mutex mu_;
  std::condition_variable changed_;
  std::deque<Frame> queue_;
  bool closing_ = false;
  std::string failure_;  // what stopped the worker ("" while all is well)
  std::thread worker_;
};

}  // namespace vt

#endif
