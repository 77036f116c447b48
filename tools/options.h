// The command line of `vorn`: subcommand, analytics, inputs and outputs, and the help that describes them.
#ifndef VORN_TOOLS_OPTIONS_H
#define VORN_TOOLS_OPTIONS_H

#include <cstdint>
#include <string>
#include <vector>

#include "analytic_registry.h"

namespace vt {

// An input naming the built-in street scene (also used when no input is given).
constexpr const char *kSceneInput = "@scene";

struct RunPlan {
  std::string command;                  // an analytic's kind, run, demo, scene, info, help, version
  std::string help_topic;               // help: the command asked about ("" for all)
  std::vector<AnalyticSettings> analytics;  // what runs over every stream
  std::vector<std::string> inputs;      // video files, image-sequence patterns or @scene; empty: @scene
  std::string config_path;
  std::string events_path;    // "" or "-": standard output
  std::string annotate_path;  // annotated video
  std::string snapshot_path;  // PNG summary picture
  std::string masks_path;     // bgsub: video of the foreground masks
  std::string truth_path;     // scene: the scene's truth as JSON
  std::string out_dir;        // demo: where everything goes
  std::string video_codec;    // encoder for written videos ("" = default)
  int jobs = 1;
  int64_t max_frames = -1;    // stop each stream after this many frames (-1: all)
  int scene_frames = 500;     // length of the built-in scene
  bool quiet = false;
  bool tolerate_errors = false;
  std::string mqtt_url;          // mqtt://HOST[:PORT]/TOPIC: events also go to this broker
  int mqtt_queue = 10000;        // events kept while the broker is away
  double mqtt_linger = 10.0;     // seconds the end waits for the broker to take what is queued
  std::string snapshots_dir;     // --event-snapshots: one picture per event
  std::vector<std::string> input_names;
  double fps = 0.0;              // image sequences: their frame rate (0: 25)
  double stall_seconds = 10.0;   // live inputs: silence after which the stream counts as lost
  int reconnect_attempts = -1;   // live inputs: reopenings after a loss (-1 always, 0 never)
  double reconnect_delay = 1.0, reconnect_max = 30.0;  // backoff: first wait, doubled up to the longest  // per input: the configuration's name, or "" for the input itself  // an input that ends early or with decoding errors does not fail the run
};

// Parses argv (argv[0] is the program). Throws a usage error with one clear message.
RunPlan parse_command_line(int argc, const char *const *argv);

// Reads a configuration file into the plan: its analytics (and inputs when the command line gives none).
void load_config(const std::string &path, RunPlan &plan);
void load_config_text(const std::string &text, const std::string &origin, RunPlan &plan);

// One option the program takes besides the analytics' own settings.
struct GeneralOption {
  const char *name;   // "--events"
  const char *value;  // placeholder of its value, "" when it takes none
  const char *help;
  bool (*applies)(const std::string &command);
};
const std::vector<GeneralOption> &general_options();

// One option of an analytic command: its own settings, then --bk-type, --model and --param when it runs a
// background model. The help, the manual page and the completion list them from here.
struct AnalyticOption {
  std::string name, value, help;
};
std::vector<AnalyticOption> analytic_options(const AnalyticEntry &analytic);

// One command: its name, what follows it and what it does.
struct CommandInfo {
  std::string name, args, summary;
};
std::vector<CommandInfo> command_list();

// The whole usage (vorn help) and one command's (vorn COMMAND --help).
std::string usage_text();

// The whole number `value` of `option`, in lo..hi; throws a usage error naming the option.
int parse_int(const std::string &value, const std::string &option, long lo, long hi);
std::string command_usage(const std::string &command);

}  // namespace vt

#endif
