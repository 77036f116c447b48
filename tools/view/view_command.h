// `vorn view`: the video in a browser with its events and trajectories. The frames are read once (and the
// trajectories recorded when no file holds them), then a local web server shows them until it is stopped.
#ifndef VORN_TOOLS_VIEW_VIEW_COMMAND_H
#define VORN_TOOLS_VIEW_VIEW_COMMAND_H

#include <cstdint>
#include <string>

namespace vt {

struct ViewOptions {
  std::string video;         // a file, an image-sequence pattern or @scene
  std::string events;        // "" : none
  std::string trajectories;  // "" : recorded from the video
  std::string host = "127.0.0.1";
  int port = 0;              // 0: a free port
  int64_t max_frames = -1;   // -1: the whole video
  bool quiet = false;
};

// The demo's outputs that `vorn view` shows when given no video.
constexpr const char *kDemoEvents = "out/events.jsonl";
constexpr const char *kDemoTrajectories = "out/trajectories.vbct";

// Parses `vorn view ...` (argv[1] is "view"); throws a usage error. `help` is set for --help.
ViewOptions parse_view_options(int argc, const char *const *argv, bool &help);

std::string view_usage_text();

// The whole command: message on standard error and exit status on failure, 0 once the server was stopped.
int view_main(int argc, const char *const *argv);

}  // namespace vt

#endif
