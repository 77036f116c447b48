// Decodes a video file or an image sequence ("frames/%04d.png") into B,G,R frames through libavformat,
// libavcodec and libswscale.
#ifndef VORN_TOOLS_VIDEO_READER_H
#define VORN_TOOLS_VIDEO_READER_H

#include <atomic>
#include <chrono>
#include <memory>
#include <string>

#include "frame_source.h"

namespace vt {

// Sends FFmpeg's error messages to the reader working on the calling thread (counted, the last one kept, shown
// with the reader's problem()) instead of standard error. Called once at start-up.
void route_ffmpeg_messages();

// What an input names: a file, an image sequence (a %d pattern), standard input ("-", "pipe:0"), a network stream
// (rtsp://, rtmp://, http(s)://, udp://, srt://, tcp://) or a capture device (/dev/videoN, v4l2:/dev/videoN).
enum class InputKind { kFile, kSequence, kPipe, kNetwork, kDevice };
InputKind input_kind(const std::string &input);
// Live inputs have no end of their own and are read as they come.
inline bool is_live(InputKind k) { return k == InputKind::kPipe || k == InputKind::kNetwork || k == InputKind::kDevice; }

struct ReaderOptions {
  double fps = 0.0;             // image sequences: their frame rate (0: 25)
  double stall_seconds = 10.0;  // live inputs: a read that waits longer than this fails
  const std::atomic<bool> *stop = nullptr;  // when set, blocking reads give up at once
};

class VideoReader : public FrameSource {
 public:
  // Opens the input and its best video stream; throws a runtime error that says what is wrong (missing file,
  // not a video, no decoder, unreachable server, ...).
  explicit VideoReader(const std::string &path, const ReaderOptions &options = ReaderOptions());
  ~VideoReader() override;
  VideoReader(const VideoReader &) = delete;
  VideoReader &operator=(const VideoReader &) = delete;

  const StreamInfo &info() const override { return info_; }
  bool next(Frame &frame) override;
  std::string name() const override { return path_; }
  std::string problem() const override;

  // When a blocking read of a live input gives up.
  struct Deadline {
    bool armed = false;
    std::chrono::steady_clock::time_point until;
    const std::atomic<bool> *stop = nullptr;
  };
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
