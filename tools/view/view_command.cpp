#include "view_command.h"

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <thread>

#include "vorn.h"

#include "error.h"
#include "event_file.h"
#include "options.h"
#include "report.h"
#include "runner.h"
#include "scene.h"
#include "video_reader.h"
#include "view_server.h"

namespace vt {

namespace {

bool exists(const std::string &path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0;
}

}  // namespace

std::string view_usage_text() {
  return R"(usage: vorn view [VIDEO] [--events EVENTS.jsonl] [--trajectories FILE] [--port N] [--listen ADDRESS]

Shows VIDEO (a file, an image sequence such as frames/%04d.png, or @scene) in a web browser: playback, each
frame's trajectory points (press near one and drag it to move through time), and the events on a timeline.
With no VIDEO it shows what `vorn demo` wrote to out/ (the built-in scene, out/events.jsonl and
out/trajectories.vbct).

options:
  --events FILE        the events of VIDEO, as `vorn ... --events FILE` wrote them
  --trajectories FILE  trajectories of VIDEO saved by `vorn trajectories --save FILE`; without it they are
                       recorded first
  --port N             the port to serve on (default: a free one)
  --listen ADDRESS     the address to serve on (default 127.0.0.1, this machine only; 0.0.0.0 lets every
                       machine that reaches this one see the video)
  --frames N           only the first N frames (the built-in scene is then N frames long)
  --quiet              no progress bar and no summary

The address to open is printed on standard output; the server runs until interrupted (Ctrl-C).
)";
}

ViewOptions parse_view_options(int argc, const char *const *argv, bool &help) {
  ViewOptions o;
  help = false;
  std::vector<std::string> inputs;
  for (int i = 2; i < argc; ++i) {
    std::string arg = argv[i], value;
    if (arg.size() < 2 || arg[0] != '-') {
      inputs.push_back(arg);
      continue;
    }
    const size_t eq = arg.find('=');
    const bool inline_value = eq != std::string::npos;
    if (inline_value) {
      value = arg.substr(eq + 1);
      arg = arg.substr(0, eq);
    }
    if (arg == "--help" || arg == "-h" || arg == "--quiet" || arg == "-q") {
      if (inline_value) usage_error("option '" + arg + "' takes no value");
      if (arg == "--help" || arg == "-h") help = true;
      else o.quiet = true;
      continue;
    }
    if (arg != "--events" && arg != "--trajectories" && arg != "--port" && arg != "--listen" && arg != "--frames")
      usage_error("view: unknown option '" + arg + "' (try: vorn view --help)");
    if (!inline_value) {
      if (i + 1 >= argc) usage_error("option '" + arg + "' needs a value");
      value = argv[++i];
    }
    if (value.empty()) usage_error("option '" + arg + "' needs a value");
    if (arg == "--events") o.events = value;
    else if (arg == "--trajectories") o.trajectories = value;
    else if (arg == "--port") o.port = static_cast<int>(parse_int(value, arg, 1, 65535));
    else if (arg == "--listen") o.host = value;
    else o.max_frames = parse_int(value, arg, 1, 1000000000);
  }
  if (inputs.size() > 1) usage_error("view: give one video (found " + std::to_string(inputs.size()) + ")");
  if (!inputs.empty()) {
    o.video = inputs[0];
  } else if (!help) {
    // The demo's outputs: its scene is rendered again (the same frames the demo analysed).
    if (!o.events.empty() || !o.trajectories.empty()) usage_error("view: give the video the files belong to");
    if (!exists(kDemoEvents) || !exists(kDemoTrajectories))
      runtime_error(std::string("view: no video given and no demo outputs (") + kDemoEvents + ", " +
                    kDemoTrajectories + "): run `make demo` (or `vorn demo`) first, or give a video");
    o.video = kSceneInput;
    o.events = kDemoEvents;
    o.trajectories = kDemoTrajectories;
  }
  return o;
}

namespace {

int serve(const ViewOptions &o) {
  std::unique_ptr<FrameSource> source;
  if (o.video == kSceneInput) source = std::make_unique<StreetScene>(o.max_frames > 0 ? static_cast<int>(o.max_frames)
                                                                                     : StreetScene::kDefaultFrames);
  else source = std::make_unique<VideoReader>(o.video);
  const StreamInfo &info = source->info();
  const std::string name = source->name();

  // A trajectory file that does not load stops the command before the video is read.
  TrajectoryBook book(info.width, info.height);
  const bool record = o.trajectories.empty();
  if (!record) book.load(o.trajectories);

  FrameStore frames(info.width, info.height);
  int64_t total = info.frame_count;
  if (total >= 0 && o.max_frames > 0 && total > o.max_frames) total = o.max_frames;
  if (!o.quiet)
    std::fprintf(stderr, "reading %s%s\n", name.c_str(), record ? " and recording its trajectories" : "");
  Progress progress(!o.quiet && isatty(STDERR_FILENO), total);
  Frame f;
  while ((o.max_frames < 0 || frames.size() < o.max_frames) && source->next(f)) {
    frames.add(f);
    if (record) book.record(f);
    progress.add(1);
  }
  frames.finish();
  progress.finish();
  if (frames.size() == 0) runtime_error(name + " holds no frame");
  if (record) book.finish();
  if (book.frames() > frames.size())
    runtime_error("the trajectories '" + o.trajectories + "' were recorded over " + std::to_string(book.frames()) +
                  " frames, but " + name + " has " + std::to_string(frames.size()) + ": they belong to another video");

  ViewContent content;
  content.title = name;
  content.width = info.width;
  content.height = info.height;
  content.fps = info.fps;
  content.frames = &frames;
  content.trajectories = &book;
  content.events_json = o.events.empty() ? "[]" : read_events(o.events, frames, name);

  // SIGINT and SIGTERM stop the server from a thread of their own; the server's threads never see them.
  sigset_t stop_signals;
  sigemptyset(&stop_signals);
  sigaddset(&stop_signals, SIGINT);
  sigaddset(&stop_signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);
  ViewServer server(content);
  const int port = server.bind(o.host, o.port);
  std::thread waiter([&] {
    int sig = 0;
    sigwait(&stop_signals, &sig);
    server.stop();
  });
  if (!o.quiet)
    std::fprintf(stderr, "%lld frames, %u trajectories, %s events\n", static_cast<long long>(frames.size()),
                 book.count(), o.events.empty() ? "no" : "the file's");
  std::printf("open http://%s:%d/ in a web browser (Ctrl-C stops)\n", o.host.c_str(), port);
  std::fflush(stdout);
  // The waiter ends with the server, whether a signal stopped it or it failed.
  struct Joiner {
    std::thread &t;
    ~Joiner() {
      pthread_kill(t.native_handle(), SIGTERM);
      t.join();
    }
  } joiner{waiter};
  server.run();
  return kExitOk;
}

}  // namespace

int view_main(int argc, const char *const *argv) {
  return run_with_messages([&] {
    bool help = false;
    ViewOptions o = parse_view_options(argc, argv, help);
    if (help) {
      std::fputs(view_usage_text().c_str(), stdout);
      return static_cast<int>(kExitOk);
    }
    vorn_init();
    return serve(o);
  });
}

}  // namespace vt
