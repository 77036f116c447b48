// An events file of `vorn` (one JSON object per line) read for the viewer, and checked against the video it is
// shown with: every event must name a frame the video has, at that frame's time.
#ifndef VORN_TOOLS_VIEW_EVENT_FILE_H
#define VORN_TOOLS_VIEW_EVENT_FILE_H

#include <string>

#include "frame_store.h"

namespace vt {

// The file's events as one JSON array, in the file's order. Throws a runtime error naming the file and line when
// a line is not an event, the events come from several streams, or an event does not fit `frames`.
std::string read_events(const std::string &path, const FrameStore &frames, const std::string &video);

}  // namespace vt

#endif
