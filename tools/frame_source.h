// Where frames come from: a video file, an image sequence, or the built-in street scene.
#ifndef VORN_TOOLS_FRAME_SOURCE_H
#define VORN_TOOLS_FRAME_SOURCE_H

#include <memory>
#include <string>

#include "frame.h"

namespace vt {

class FrameSource {
 public:
  virtual ~FrameSource() = default;
  virtual const StreamInfo &info() const = 0;
  // Fills `frame` with the next frame; false at the end of the stream. Throws a runtime error on a broken stream.
  virtual bool next(Frame &frame) = 0;
  // Short name for messages and events.
  virtual std::string name() const = 0;
  // What went wrong while reading, "" when the stream was read cleanly: decoding errors, or an end before the
  // frames the input announced.
  virtual std::string problem() const { return ""; }
};

}  // namespace vt

#endif
