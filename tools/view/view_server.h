// The viewer's web server: the page, the frames as JPEG pictures, the events, each frame's trajectory points, and
// the press / drag / release calls answered by the trajectory recorder.
#ifndef VORN_TOOLS_VIEW_VIEW_SERVER_H
#define VORN_TOOLS_VIEW_VIEW_SERVER_H

#include <memory>
#include <string>

#include "frame_store.h"
#include "trajectory_book.h"

namespace vt {

// What the page shows.
struct ViewContent {
  std::string title;        // the video's name
  int width = 0, height = 0;
  double fps = 25.0;
  const FrameStore *frames = nullptr;
  TrajectoryBook *trajectories = nullptr;
  std::string events_json;  // a JSON array
};

class ViewServer {
 public:
  explicit ViewServer(const ViewContent &content);
  ~ViewServer();
  ViewServer(const ViewServer &) = delete;
  ViewServer &operator=(const ViewServer &) = delete;

  // Binds `host`:`port` (port 0: a free one) and answers the port bound. Throws a runtime error that says why
  // the address cannot be had (in use, not an address of this machine, ...).
  int bind(const std::string &host, int port);
  // Serves until stop() (from another thread or a signal handler's thread) or a failure.
  void run();
  void stop();

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace vt

#endif
