#include "options.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "analytic_registry.h"
#include "error.h"
#include "mqtt_publisher.h"

namespace vt {

namespace {

bool is_analytic(const std::string &c) { return find_analytic(c) != nullptr; }
bool analysing(const std::string &c) { return is_analytic(c) || c == "run" || c == "demo"; }
bool any_command(const std::string &) { return true; }
bool configurable(const std::string &c) { return is_analytic(c) || c == "run"; }
bool only_scene(const std::string &c) { return c == "scene"; }
bool only_demo(const std::string &c) { return c == "demo"; }
bool writes_masks(const std::string &c) {
  const AnalyticEntry *a = find_analytic(c);
  return (a && a->writes_masks) || c == "demo";
}

const char *const kIntro =
    "Runs the library's analytics over videos (any common file, or an image sequence such as frames/%04d.png).\n"
    "With no INPUT it runs on the built-in street scene and prints what it found against what the scene holds.\n";

const char *const kExitStatus =
    "exit status: 0 done, 1 an input or output failed (or ended early with decoding errors), 2 bad command line or\n"
    "configuration.\n";

// "  NAME  text" with the text starting at column `at`, wrapped at 112 columns under itself.
std::string item(const std::string &name, const std::string &text, size_t at = 22) {
  std::string out = "  " + name;
  out += out.size() + 1 < at ? std::string(at - out.size(), ' ') : "\n" + std::string(at, ' ');
  size_t col = at;
  size_t pos = 0;
  while (pos < text.size()) {
    size_t end = text.find(' ', pos);
    if (end == std::string::npos) end = text.size();
    const std::string word = text.substr(pos, end - pos);
    if (col > at && col + 1 + word.size() > 112) {
      out += "\n" + std::string(at, ' ');
      col = at;
    } else if (col > at) {
      out += ' ';
      ++col;
    }
    out += word;
    col += word.size();
    pos = end + 1;
  }
  return out + "\n";
}

std::string option_with_value(const std::string &name, const std::string &value) {
  return value.empty() ? name : name + " " + value;
}

std::string fmt_number(double v) {
  char b[32];
  std::snprintf(b, sizeof b, "%g", v);
  return b;
}

// A positive decimal number in [lo, hi] (seconds, frame rates).
double parse_seconds(const std::string &v, const std::string &opt, double lo, double hi) {
  char *end = nullptr;
  errno = 0;
  double d = std::strtod(v.c_str(), &end);
  if (v.empty() || *end != '\0' || errno == ERANGE || !(d >= lo && d <= hi))
    usage_error(opt + ": '" + v + "' is not a number in " + fmt_number(lo) + ".." + fmt_number(hi));
  return d;
}

bool known_command(const std::string &c) {
  return is_analytic(c) || c == "run" || c == "demo" || c == "scene" || c == "info" || c == "eval" ||
         c == "help";
}

// Whether some analytic takes `option`, for telling an unknown option from one that belongs to another command.
bool some_analytic_takes(const std::string &option) {
  for (const AnalyticEntry *a : analytic_registry())
    for (const AnalyticOption &o : analytic_options(*a))
      if (o.name == option) return true;
  return false;
}

}  // namespace

int parse_int(const std::string &v, const std::string &opt, long lo, long hi) {
  char *end = nullptr;
  errno = 0;
  long n = std::strtol(v.c_str(), &end, 10);
  if (v.empty() || *end != '\0' || errno == ERANGE || n < lo || n > hi)
    usage_error(opt + ": '" + v + "' is not a whole number in " + std::to_string(lo) + ".." + std::to_string(hi));
  return static_cast<int>(n);
}

std::vector<AnalyticOption> analytic_options(const AnalyticEntry &a) {
  std::vector<AnalyticOption> out;
  for (const SettingDef &s : a.settings) {
    std::string help = s.help;
    if (s.type == SettingType::kInteger)
      help += " (" + std::to_string(s.lo) + ".." + std::to_string(s.hi) +
              (s.def ? ", default " + std::to_string(s.def) : std::string()) + ")";
    out.push_back({s.option(), s.value, help});
  }
  if (a.background_model) {
    out.push_back({"--bk-type", "TYPE", "background-model type (0..9, default 2: mixture of Gaussians)"});
    out.push_back({"--model", "TYPE", "the same as --bk-type"});
    out.push_back({"--param", "ID=VALUE",
                   "background-model parameter (ID 0..31 or sensitivity, scene_cut, shadow, erode, dilate, window, "
                   "learn_frames); may repeat"});
  }
  return out;
}

const std::vector<GeneralOption> &general_options() {
  static const std::vector<GeneralOption> options = {
      {"--config", "FILE", "analytics (and inputs) from a JSON file", configurable},
      {"--events", "FILE", "one JSON object per event, one per line (default: standard output)", analysing},
      {"--annotate", "OUT.mp4", "the video with lines, areas, masks, traces, boxes and counts drawn over it",
       analysing},
      {"--snapshot", "OUT.png", "the last frame with the tracks and totals drawn", analysing},
      {"--masks", "OUT.mp4", "a video of the foreground masks", writes_masks},
      {"--out", "DIR", "where the demo's outputs go (default out)", only_demo},
      {"--truth", "FILE.json", "the scene's truth as JSON", only_scene},
      {"--frames", "N", "stop after N frames of each stream (the built-in scene is then N frames long)",
       any_command},
      {"--jobs", "N", "streams processed at the same time (default 1)", analysing},
      {"--codec", "NAME", "video encoder for written videos (default libx264 when present, else mpeg4)",
       any_command},
      {"--quiet", "", "no progress bar and no summary table", any_command},
      {"--mqtt", "mqtt://HOST[:PORT]/TOPIC",
       "also publish every event to an MQTT broker (QoS 1) under TOPIC/STREAM/ANALYTIC", analysing},
      {"--mqtt-queue", "N", "events kept while the broker is away; the oldest are dropped beyond (default 10000)",
       analysing},
      {"--mqtt-linger", "S", "at the end, how long to wait for the broker to take the queued events (default 10)",
       analysing},
      {"--event-snapshots", "DIR", "a PNG of the frame with the overlay for every event, its path in the event",
       analysing},
      {"--fps", "RATE", "frame rate of an image-sequence input (default 25)", any_command},
      {"--stall-timeout", "S", "a live input silent this long counts as lost (default 10)", any_command},
      {"--reconnect", "always|never|N", "reopen a lost network stream or camera: always (default), never, N attempts",
       analysing},
      {"--reconnect-delay", "S", "wait before the first reopening, doubled after each failure (default 1)", analysing},
      {"--reconnect-max", "S", "longest wait between reopenings (default 30)", analysing},
      {"--tolerate-errors", "", "an input that ends early or with decoding errors is reported but does not fail the run",
       analysing},
      {"--help", "", "this command's usage", any_command},
  };
  return options;
}

std::vector<CommandInfo> command_list() {
  std::vector<CommandInfo> out;
  for (const AnalyticEntry *a : analytic_registry()) out.push_back({a->kind, "[INPUT...]", a->summary});
  out.push_back({"run", "--config FILE [INPUT...]", "several analytics over each stream, from --config FILE.json"});
  out.push_back({"demo", "", "every analytic on the built-in scene; outputs go to --out DIR (default out)"});
  out.push_back({"info", "[INPUT...]",
                 "decodes each input and prints its size, frame rate, frame count and decoding speed as JSON; "
                 "with no INPUT, lists the analytics"});
  out.push_back({"eval", "EVENTS TRUTH",
                 "scores events against labelled truth (or the built-in scene's): precision, recall and F1 of "
                 "crossings and passes; misses, false boxes, identity switches and MOTA of tracks"});
  out.push_back({"scene", "OUT",
                 "writes the built-in scene to a video (or to PNG files when OUT holds a %d pattern)"});
  out.push_back({"view", "[VIDEO]",
                 "the video, its trajectories and events in a web browser; with no VIDEO, the demo's outputs "
                 "(vorn view --help tells more)"});
  out.push_back({"help", "[COMMAND]", "this text, or one command's"});
  return out;
}

std::string usage_text() {
  std::string t = "usage: vorn COMMAND [OPTIONS] [INPUT...]\n       vorn COMMAND --help\n       vorn --version\n\n";
  t += kIntro;
  t += "\ncommands:\n";
  for (const CommandInfo &c : command_list()) t += item(c.name, c.summary, 16);
  t += "\nanalytic settings (vorn COMMAND --help tells more):\n";
  for (const AnalyticEntry *a : analytic_registry()) {
    std::string line;
    for (const AnalyticOption &o : analytic_options(*a))
      if (o.name != "--model") line += (line.empty() ? "" : " ") + option_with_value(o.name, o.value);
    if (line.empty()) line = "(none)";
    t += item(a->kind, line, 16);
  }
  t += "\noptions:\n";
  for (const GeneralOption &o : general_options()) t += item(option_with_value(o.name, o.value), o.help);
  t += "\n";
  t += kExitStatus;
  return t;
}

std::string command_usage(const std::string &command) {
  if (command.empty() || command == "help") return usage_text();
  std::string args, summary;
  for (const CommandInfo &c : command_list())
    if (c.name == command) {
      args = c.args;
      summary = c.summary;
    }
  if (summary.empty()) usage_error("unknown command '" + command + "' (try: vorn help)");
  std::string t = "usage: vorn " + command + " [OPTIONS]" + (args.empty() ? "" : " " + args) + "\n\n";
  t += summary + "\n";
  if (const AnalyticEntry *a = find_analytic(command)) {
    t += "\nsettings (the built-in scene's layout fills the geometry left out):\n";
    const std::vector<AnalyticOption> options = analytic_options(*a);
    for (const AnalyticOption &o : options) t += item(option_with_value(o.name, o.value), o.help);
    if (options.empty()) t += "  (none)\n";
  }
  t += "\noptions:\n";
  for (const GeneralOption &o : general_options())
    if (o.applies(command)) t += item(option_with_value(o.name, o.value), o.help);
  t += "\n";
  t += kExitStatus;
  return t;
}

RunPlan parse_command_line(int argc, const char *const *argv) {
  RunPlan plan;
  if (argc < 2) usage_error("no command given (try: vorn help)");
  plan.command = argv[1];
  if (plan.command == "--help" || plan.command == "-h") plan.command = "help";
  if (plan.command == "--version" || plan.command == "-V") {
    plan.command = "version";
    return plan;
  }
  if (!known_command(plan.command)) usage_error("unknown command '" + plan.command + "' (try: vorn help)");
  if (plan.command == "help") {
    if (argc > 2) plan.help_topic = argv[2];
    // The manual page and the completion script, written from the same tables as the help.
    if (plan.help_topic == "--man" || plan.help_topic == "--bash-completion") return plan;
    if (!plan.help_topic.empty() && !known_command(plan.help_topic))
      usage_error("unknown command '" + plan.help_topic + "' (try: vorn help)");
    return plan;
  }

  const std::string cmd = plan.command;
  const AnalyticEntry *entry = find_analytic(cmd);
  AnalyticSettings settings = settings_of(entry ? cmd : "");
  bool analytic_options_given = false;

  for (int i = 2; i < argc; ++i) {
    std::string arg = argv[i];
    if (arg.size() < 2 || arg[0] != '-') {
      plan.inputs.push_back(arg);
      continue;
    }
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
    if (name == "-h") name = "--help";
    if (name == "--help") {
      plan.help_topic = cmd;
      plan.command = "help";
      return plan;
    }
    // What the option is: a general one, an analytic's setting or its background model.
    const GeneralOption *general = nullptr;
    for (const GeneralOption &o : general_options())
      if (name == o.name) general = &o;
    const SettingDef *setting = nullptr;
    if (entry)
      for (const SettingDef &s : entry->settings)
        if (s.option() == name) setting = &s;
    const bool model_option = entry && entry->background_model &&
                              (name == "--bk-type" || name == "--model" || name == "--param");
    if (!general && !setting && !model_option) {
      if (some_analytic_takes(name)) usage_error("option '" + name + "' does not apply to '" + cmd + "'");
      usage_error("unknown option '" + name + "' (try: vorn help)");
    }
    if (general && !general->applies(cmd)) usage_error("option '" + name + "' does not apply to '" + cmd + "'");
    const bool takes_value = general ? *general->value != '\0' : setting ? setting->type != SettingType::kFlag : true;
    if (takes_value && !inline_value) {
      if (i + 1 >= argc) usage_error("option '" + name + "' needs a value");
      value = argv[++i];
    } else if (!takes_value && inline_value) {
      usage_error("option '" + name + "' takes no value");
    }

    if (general) {
      if (name == "--config") plan.config_path = value;
      else if (name == "--events") plan.events_path = value;
      else if (name == "--annotate") plan.annotate_path = value;
      else if (name == "--snapshot") plan.snapshot_path = value;
      else if (name == "--masks") plan.masks_path = value;
      else if (name == "--truth") plan.truth_path = value;
      else if (name == "--out") plan.out_dir = value;
      else if (name == "--codec") plan.video_codec = value;
      else if (name == "--jobs") plan.jobs = parse_int(value, name, 1, 64);
      else if (name == "--quiet") plan.quiet = true;
      else if (name == "--tolerate-errors") plan.tolerate_errors = true;
      else if (name == "--mqtt") {
        parse_mqtt_url(value, name);  // refused now rather than when the run starts
        plan.mqtt_url = value;
      }
      else if (name == "--mqtt-queue") plan.mqtt_queue = parse_int(value, name, 1, 10000000);
      else if (name == "--event-snapshots") plan.snapshots_dir = value;
      else if (name == "--mqtt-linger") plan.mqtt_linger = parse_seconds(value, name, 0, 3600);
      else if (name == "--fps") plan.fps = parse_seconds(value, name, 0.001, 1000);
      else if (name == "--stall-timeout") plan.stall_seconds = parse_seconds(value, name, 0.1, 3600);
      else if (name == "--reconnect-delay") plan.reconnect_delay = parse_seconds(value, name, 0.01, 3600);
      else if (name == "--reconnect-max") plan.reconnect_max = parse_seconds(value, name, 0.01, 86400);
      else if (name == "--reconnect")
        plan.reconnect_attempts = value == "always" ? -1 : value == "never" ? 0 : parse_int(value, name, 1, 1000000);
      else if (name == "--frames") plan.scene_frames = static_cast<int>(plan.max_frames = parse_int(value, name, 1, 1000000000));
      continue;
    }
    analytic_options_given = true;
    if (model_option) {
      if (name == "--param") settings.bk_params.push_back(parse_bk_param(value, name));
      else settings.bk_type = static_cast<uint32_t>(parse_int(value, name, 0, 1000000));
      continue;
    }
    switch (setting->type) {
      case SettingType::kInteger: settings.set_integer(setting->field, parse_int(value, name, setting->lo, setting->hi)); break;
      case SettingType::kFlag: settings.set_integer(setting->field, 1); break;
      case SettingType::kText:
      case SettingType::kOutput:
        if (value.empty()) usage_error(name + ": give " + setting_noun(*setting));
        settings.set_text(setting->field, value);
        break;
      case SettingType::kSegment: {
        Segment s = parse_segment(value, name);
        settings.set_points(setting->field, {s.a, s.b});
        break;
      }
      case SettingType::kPolygon: settings.set_points(setting->field, parse_polygon(value, name)); break;
      case SettingType::kPolyline: settings.set_points(setting->field, parse_polyline(value, name)); break;
    }
  }

  if (cmd == "scene") {
    if (plan.inputs.size() != 1) usage_error("scene: give exactly one output file (OUT.mp4 or dir/%04d.png)");
    return plan;
  }
  if (cmd == "info") return plan;
  if (cmd == "eval") {
    if (plan.inputs.size() != 2) usage_error("eval: give the events file and the truth file");
    return plan;
  }
  if (cmd == "demo") {
    if (!plan.inputs.empty()) usage_error("demo runs on the built-in scene and takes no input");
    if (plan.out_dir.empty()) plan.out_dir = "out";
  }
  if (!plan.config_path.empty()) load_config(plan.config_path, plan);
  if (cmd == "run" && plan.config_path.empty()) usage_error("run: give the analytics with --config FILE.json");
  if (entry) {
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
