#include "options.h"

#include <cerrno>
#include <cstdlib>
#include <functional>
#include <map>

#include "error.h"

namespace vt {

std::string usage_text() {
  return R"(usage: vorn COMMAND [OPTIONS] [INPUT...]

Runs the library's analytics over videos (any common file, or an image sequence such as frames/%04d.png).
With no INPUT it runs on the built-in street scene and prints what it found against what the scene holds.

commands:
  guard         crossings of a guard line:  --line X0,Y0,X1,Y1 --direction X0,Y0,X1,Y1 [--half-width N]
  count         passes between two areas:   --area0 X,Y,X,Y,X,Y,... --area1 X,Y,... [--sensitivity S]
                                            [--max-frame N] [--logic 0|1]
  track         moving objects and their tracks
  left          objects left behind:        --region X,Y,X,Y,X,Y,... [--sensitivity S] [--frame-threshold N]
                                            [--bk-interval N] [--learn-frames N] [--scenecut]
  bgsub         background subtraction:     [--model TYPE (default 2)] [--param ID=VALUE]... [--masks OUT.mp4]
  plate         licence plates read:        [--weights DIR] [--stable-frames N (default 3)]
                                            [--min-char-height PX] [--max-char-height PX]
  trajectories  point trajectories:         [--save FILE] [--max-points N (400)] [--min-length N (10)]
                                            [--min-distance PX (10)] [--motion-threshold T (10)]
  run           several analytics over each stream, from --config FILE.json
  demo          every available analytic on the built-in scene; outputs go to --out DIR (default out)
  info INPUT... decodes each input and prints its size, frame rate, frame count and decoding speed as JSON;
                with no INPUT, lists the analytics and whether this build has them
  scene OUT     writes the built-in scene to a video (or to PNG files when OUT holds a %d pattern)
                [--truth FILE.json]
  view [VIDEO]  the video, its trajectories and events in a web browser (vorn view --help); with no VIDEO,
                the demo's outputs
  help          this text

options:
  --config FILE       analytics (and inputs) from a JSON file
  --bk-type TYPE      background-model type of guard, count and track (default 2, mixture of Gaussians)
  --param ID=VALUE    background-model parameter (ID 0..31 or sensitivity, scene_cut, shadow, erode, dilate,
                      window, learn_frames); may repeat
  --events FILE       one JSON object per event, one per line (default: standard output)
  --annotate OUT.mp4  the video with lines, areas, masks, traces, boxes and counts drawn over it
  --snapshot OUT.png  the last frame with the tracks and totals drawn
  --frames N          stop after N frames of each stream (the built-in scene is then N frames long)
  --jobs N            streams processed at the same time (default 1)
  --codec NAME        video encoder for written videos (default libx264 when present, else mpeg4)
  --quiet             no progress bar and no summary table

exit status: 0 done, 1 an input or output failed, 2 bad command line or configuration,
3 the analytic is not available in this build.
)";
}

namespace {

int parse_int(const std::string &v, const std::string &opt, long lo, long hi) {
  char *end = nullptr;
  errno = 0;
  long n = std::strtol(v.c_str(), &end, 10);
  if (v.empty() || *end != '\0' || errno == ERANGE || n < lo || n > hi)
    usage_error(opt + ": '" + v + "' is not a whole number in " + std::to_string(lo) + ".." + std::to_string(hi));
  return static_cast<int>(n);
}

bool known_command(const std::string &c) {
  return is_analytic_kind(c) || c == "run" || c == "demo" || c == "scene" || c == "info" || c == "help";
}

}  // namespace

RunPlan parse_command_line(int argc, const char *const *argv) {
  RunPlan plan;
  if (argc < 2) usage_error("no command given (try: vorn help)");
  plan.command = argv[1];
  if (plan.command == "--help" || plan.command == "-h") plan.command = "help";
  if (!known_command(plan.command)) usage_error("unknown command '" + plan.command + "' (try: vorn help)");
  if (plan.command == "help") return plan;

  const std::string cmd = plan.command;
  const bool single = is_analytic_kind(cmd);
  AnalyticSettings settings;
  settings.kind = single ? cmd : "";
  settings.name = settings.kind;
  std::vector<std::pair<uint32_t, uint32_t>> params;
  uint32_t bk_type = AnalyticSettings().bk_type;
  bool analytic_options_given = false;

  // Each option: which commands accept it, and what it does with its value.
  struct Option {
    bool takes_value;
    std::function<bool(const std::string &)> allowed;  // by command
    std::function<void(const std::string &, const std::string &)> apply;
  };
  auto only = [](std::initializer_list<const char *> cmds) {
    std::vector<std::string> v(cmds.begin(), cmds.end());
    return [v](const std::string &c) {
      for (const auto &x : v)
        if (x == c) return true;
      return false;
    };
  };
  auto analysing = [](const std::string &c) { return c != "scene" && c != "info"; };
  auto any = [](const std::string &) { return true; };
  std::map<std::string, Option> options = {
      {"--config", {true, only({"run", "guard", "count", "track", "left", "bgsub", "plate", "trajectories"}),
                    [&](const std::string &, const std::string &v) { plan.config_path = v; }}},
      {"--events", {true, analysing, [&](const std::string &, const std::string &v) { plan.events_path = v; }}},
      {"--annotate", {true, analysing, [&](const std::string &, const std::string &v) { plan.annotate_path = v; }}},
      {"--snapshot", {true, analysing, [&](const std::string &, const std::string &v) { plan.snapshot_path = v; }}},
      {"--masks", {true, only({"bgsub"}), [&](const std::string &, const std::string &v) { plan.masks_path = v; }}},
      {"--truth", {true, only({"scene"}), [&](const std::string &, const std::string &v) { plan.truth_path = v; }}},
      {"--out", {true, only({"demo"}), [&](const std::string &, const std::string &v) { plan.out_dir = v; }}},
      {"--codec", {true, any, [&](const std::string &, const std::string &v) { plan.video_codec = v; }}},
      {"--jobs", {true, analysing, [&](const std::string &o, const std::string &v) { plan.jobs = parse_int(v, o, 1, 64); }}},
      {"--frames", {true, any, [&](const std::string &o, const std::string &v) {
                      plan.max_frames = parse_int(v, o, 1, 1000000000);
                      plan.scene_frames = static_cast<int>(plan.max_frames);
                    }}},
      {"--quiet", {false, any, [&](const std::string &, const std::string &) { plan.quiet = true; }}},
      {"--bk-type", {true, only({"guard", "count", "track", "bgsub"}), [&](const std::string &o, const std::string &v) {
                       bk_type = static_cast<uint32_t>(parse_int(v, o, 0, 1000000));
                     }}},
      {"--model", {true, only({"bgsub"}), [&](const std::string &o, const std::string &v) {
                     bk_type = static_cast<uint32_t>(parse_int(v, o, 0, 1000000));
                   }}},
      {"--param", {true, only({"guard", "count", "track", "bgsub"}),
                   [&](const std::string &o, const std::string &v) { params.push_back(parse_bk_param(v, o)); }}},
      {"--line", {true, only({"guard"}), [&](const std::string &o, const std::string &v) { settings.line = parse_segment(v, o); }}},
      {"--direction", {true, only({"guard"}),
                       [&](const std::string &o, const std::string &v) { settings.direction = parse_segment(v, o); }}},
      {"--area0", {true, only({"count"}), [&](const std::string &o, const std::string &v) { settings.area0 = parse_polygon(v, o); }}},
      {"--area1", {true, only({"count"}), [&](const std::string &o, const std::string &v) { settings.area1 = parse_polygon(v, o); }}},
      {"--region", {true, only({"left"}), [&](const std::string &o, const std::string &v) { settings.region = parse_polygon(v, o); }}},
      {"--scenecut", {false, only({"left"}), [&](const std::string &, const std::string &) { settings.scenecut = true; }}},
      {"--weights", {true, only({"plate"}), [&](const std::string &o, const std::string &v) {
                       if (v.empty()) usage_error(o + ": give a directory");
                       settings.weights_dir = v;
                     }}},
      {"--save", {true, only({"trajectories"}), [&](const std::string &o, const std::string &v) {
                    if (v.empty()) usage_error(o + ": give a file name");
                    settings.save_path = v;
                  }}},
  };

  for (const IntSetting &is : int_settings()) {
    auto applies = [&is](const std::string &c) { return is.applies_to(c); };
    options[is.option()] = Option{true, applies, [&settings, &is](const std::string &o, const std::string &v) {
                                    settings.*is.member = parse_int(v, o, is.lo, is.hi);
                                  }};
  }

  for (int i = 2; i < argc; ++i) {
    std::string arg = argv[i];
    if (arg.size() > 1 && arg[0] == '-' && arg != "-") {
      std::string name = arg, value;
      bool inline_value = false;
      size_t eq = arg.find('=');
      if (eq != std::string::npos) {
        name = arg.substr(0, eq);
        value = arg.substr(eq + 1);
        inline_value = true;
      }
      if (name == "-q") name = "--quiet";
      if (name == "-j") name = "--jobs";
      auto it = options.find(name);
      if (it == options.end()) usage_error("unknown option '" + name + "' (try: vorn help)");
      if (!it->second.allowed(cmd)) usage_error("option '" + name + "' does not apply to '" + cmd + "'");
      if (it->second.takes_value && !inline_value) {
        if (i + 1 >= argc) usage_error("option '" + name + "' needs a value");
        value = argv[++i];
      } else if (!it->second.takes_value && inline_value) {
        usage_error("option '" + name + "' takes no value");
      }
      it->second.apply(name, value);
      static const char *const kGlobal[] = {"--config", "--events", "--annotate", "--snapshot", "--masks", "--truth",
                                            "--out", "--codec", "--jobs", "--frames", "--quiet"};
      bool global = false;
      for (const char *g : kGlobal) global = global || name == g;
      if (!global) analytic_options_given = true;
    } else {
      plan.inputs.push_back(arg);
    }
  }

  if (cmd == "scene") {
    if (plan.inputs.size() != 1) usage_error("scene: give exactly one output file (OUT.mp4 or dir/%04d.png)");
    return plan;
  }
  if (cmd == "info") return plan;
  if (cmd == "demo") {
    if (!plan.inputs.empty()) usage_error("demo runs on the built-in scene and takes no input");
    if (plan.out_dir.empty()) plan.out_dir = "out";
  }
  if (!plan.config_path.empty()) load_config(plan.config_path, plan);
  if (cmd == "run" && plan.config_path.empty()) usage_error("run: give the analytics with --config FILE.json");
  if (single) {
    settings.bk_type = bk_type;
    settings.bk_params = params;
    if (plan.config_path.empty()) {
      plan.analytics.push_back(settings);
    } else {
      // The configuration then holds the analytic's settings; mixing both would leave it unclear which wins.
      if (analytic_options_given)
        usage_error(cmd + ": give the analytic's settings either on the command line or in --config, not both");
      for (const AnalyticSettings &a : plan.analytics)
        if (a.kind != cmd)
          usage_error("config '" + plan.config_path + "' defines a '" + a.kind + "' analytic; use 'vorn run' for several kinds");
      if (plan.analytics.empty()) usage_error("config '" + plan.config_path + "' defines no analytic");
    }
  }
  return plan;
}

}  // namespace vt
