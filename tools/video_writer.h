// Writes frames to a video file (H.264 when the encoder is present, else MPEG-4 part 2) and single frames to
// PNG files, through libavformat, libavcodec and libswscale.
#ifndef VORN_TOOLS_VIDEO_WRITER_H
#define VORN_TOOLS_VIDEO_WRITER_H

#include <memory>
#include <string>

#include "frame.h"

namespace vt {

class VideoWriter {
 public:
  // Opens `path` (container chosen by its extension: .mp4, .mkv, .avi, ...) for width x height frames at `fps`.
  // `codec` names an encoder to use instead of the default choice ("" = default). Throws a runtime error.
  VideoWriter(const std::string &path, int width, int height, double fps, const std::string &codec = "");
  ~VideoWriter();  // finishes the file if close() was not called (errors are then ignored)
  VideoWriter(const VideoWriter &) = delete;
  VideoWriter &operator=(const VideoWriter &) = delete;

  void write(const Frame &frame);
  void close();  // flushes the encoder and writes the trailer; throws on failure
  const std::string &codec_name() const { return codec_name_; }

  // The encoder used when none is named: the first of libx264, mpeg4 that this libavcodec has.
  static std::string default_codec();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
  std::string path_;
  std::string codec_name_;
};

// Writes one frame as a PNG file. Throws a runtime error.
void write_png(const std::string &path, const Frame &frame);

}  // namespace vt

#endif
