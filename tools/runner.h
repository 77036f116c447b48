// Runs a plan: opens every stream, checks the geometry against it, runs the analytics over each stream on its
// own thread (at most --jobs at a time), and writes events, videos, snapshots and the tables at the end.
#ifndef VORN_TOOLS_RUNNER_H
#define VORN_TOOLS_RUNNER_H

#include <string>

#include "draw.h"
#include "options.h"

namespace vt {

// The whole program behind main(): parses, runs, and turns errors into one message on standard error and an
// exit status.
int tool_main(int argc, const char *const *argv);

// Runs the analytics of a parsed plan (commands guard ... bgsub, run, demo); returns the exit status.
int run_plan(RunPlan plan);
// Writes the built-in scene to a video or an image sequence (command scene).
int write_scene(const RunPlan &plan);

// Decodes every input to its end and prints one JSON line per input (command info).
int describe_inputs(const RunPlan &plan);

// Frame number and time in the top-left corner of an annotated frame.
void draw_frame_header(Canvas &canvas, const Frame &frame);

// "out.mp4" for the only stream; "out-2.mp4" for stream 2 of several.
std::string stream_path(const std::string &path, int index, int streams);

}  // namespace vt

#endif
