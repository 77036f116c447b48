// Decodes a video file or an image sequence ("frames/%04d.png") into B,G,R frames through libavformat,
// libavcodec and libswscale.
#ifndef VORN_TOOLS_VIDEO_READER_H
#define VORN_TOOLS_VIDEO_READER_H

#include <memory>
#include <string>

#include "frame_source.h"

namespace vt {

// Sends FFmpeg's error messages to the reader working on the calling thread (counted, the last one kept, shown
// with the reader's problem()) instead of standard error. Called once at start-up.
void route_ffmpeg_messages();

class VideoReader : public FrameSource {
 public:
  // Opens the input and its best video stream; throws a runtime error that says what is wrong (missing file,
  // not a video, no decoder, ...).
  explicit VideoReader(const std::string &path);
  ~VideoReader() override;
  VideoReader(const VideoReader &) = delete;
  VideoReader &operator=(const VideoReader &) = delete;

  const StreamInfo &info() const override { return info_; }
  bool next(Frame &frame) override;
  std::string name() const override { return path_; }
  std::string problem() const override;

  // Errors FFmpeg reported while reading this input.
  struct Problems {
    int64_t errors = 0;
    std::string last;
  };

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
  std::string path_;
  StreamInfo info_;
};

}  // namespace vt

#endif
