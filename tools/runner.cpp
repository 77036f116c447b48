#include "runner.h"
#include "eval.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <functional>
#include <memory>
#include <thread>

extern "C" {
#include <libavformat/version.h>
#include <libavutil/log.h>
}

#include "vorn.h"

#include "analytic_registry.h"
#include "error.h"
#include "json.h"
#include "manual.h"
#include "live_source.h"
#include "mqtt_publisher.h"
#include "report.h"
#include "scene.h"
#include "video_reader.h"
#include "video_writer.h"

namespace vt {

namespace {

// Set by the first SIGINT or SIGTERM, or when a stream fails: every stream stops reading, closes what is open and
// writes its outputs. A second signal ends the program at once.
std::atomic<bool> g_stop{false};
std::atomic<bool> g_interrupted{false};

extern "C" void on_stop_signal(int sig) {
  g_interrupted.store(true);
  g_stop.store(true);
  std::signal(sig, SIG_DFL);
}

struct StreamTask {
  int index = 0;
  std::string name;  // in events: the configuration's name for the input, else the input itself
  std::unique_ptr<FrameSource> source;
  const SceneTruth *truth = nullptr;  // set when the stream is the built-in scene
  std::vector<AnalyticSettings> settings_list;
  std::string annotate, snapshot, masks;
  std::string snapshots_dir;  // one picture per event ("" none)
  bool live = false;
  // Results.
  int64_t frames = 0;
  double seconds = 0.0;
  std::vector<SummaryRow> summary;
  std::vector<TruthRow> truth_rows;
  std::string problem;  // decoding errors or an early end, "" when the input was read cleanly
  std::unique_ptr<ToolError> error;
};

void make_dirs(const std::string &dir) {
  std::string partial;
  for (size_t i = 0; i <= dir.size(); ++i) {
    if (i == dir.size() || dir[i] == '/') {
      if (!partial.empty() && partial != "." && mkdir(partial.c_str(), 0777) != 0 && errno != EEXIST)
        runtime_error("cannot create directory '" + partial + "': " + std::strerror(errno));
    }
    if (i < dir.size()) partial += dir[i];
  }
}

void write_text_file(const std::string &path, const std::string &text) {
  std::ofstream out(path, std::ios::binary);
  out << text;
  out.close();
  if (!out) runtime_error("cannot write '" + path + "'");
}

std::string fmt(double v, int decimals) {
  char b[64];
  std::snprintf(b, sizeof b, "%.*f", decimals, v);
  return b;
}

// Seconds since 1970 as local time in ISO 8601 with milliseconds and the offset: 2026-11-25T01:20:03.042+01:00.
std::string iso8601(double wall) {
  const time_t secs = static_cast<time_t>(wall);
  int ms = static_cast<int>((wall - double(secs)) * 1000.0);
  struct tm local;
  localtime_r(&secs, &local);
  char date[32], zone[8];
  std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &local);
  std::strftime(zone, sizeof zone, "%z", &local);  // +hhmm
  char out[64];
  std::snprintf(out, sizeof out, "%s.%03d%.3s:%.2s", date, std::min(ms, 999), zone, zone + 3);
  return out;
}

void draw_overlay(Canvas &c, const std::vector<std::unique_ptr<Analytic>> &analytics, const Frame &f) {
  for (const auto &a : analytics) a->draw(c);
  draw_frame_header(c, f);
}

// Totals over the snapshot's bottom rows, one line per analytic.
void draw_totals(Canvas &c, const std::vector<std::unique_ptr<Analytic>> &analytics) {
  std::vector<std::string> lines;
  for (const auto &a : analytics) {
    if (!a) continue;
    std::string line;
    for (const SummaryRow &r : a->summary()) {
      if (line.empty()) line = r.analytic + ":";
      line += " " + r.item + " " + r.value;
    }
    if (!line.empty()) lines.push_back(line);
  }
  // One size for all lines: the usual one, or half of it when any line would not fit the picture.
  int scale = 2;
  for (const std::string &l : lines)
    if (Canvas::text_width(l, 2) > c.width() - 16) scale = 1;
  int y = c.height() - 8 - static_cast<int>(lines.size()) * 20;
  for (const std::string &l : lines) {
    c.text(8, y + (2 - scale) * 8, l, colors::kWhite, scale);
    y += 20;
  }
}

void mask_to_frame(const uint8_t *mask, Frame &out, const Frame &like) {
  out.resize(like.width, like.height);
  out.index = like.index;
  out.time = like.time;
  const size_t n = size_t(like.width) * like.height;
  for (size_t i = 0; i < n; ++i) out.bgr[3 * i] = out.bgr[3 * i + 1] = out.bgr[3 * i + 2] = mask[i];
}

// Labels the events an analytic added from `first` on with the stream, the frame and the analytic's name.
void stamp(std::vector<Event> &events, size_t first, const StreamTask &t, const std::string &analytic,
           const Frame &f) {
  const std::string wall = f.wall > 0 ? iso8601(f.wall) : std::string();
  for (size_t k = first; k < events.size(); ++k) {
    events[k].stream = t.index;
    events[k].stream_name = t.name;
    events[k].frame = f.index;
    events[k].time = f.time;
    events[k].wall_time = wall;
    events[k].analytic = analytic;
  }
}

// The source's notices as events of the stream ("source_lost", "source_back"; analytic "source").
void notice_events(FrameSource &source, std::vector<Event> &events, const std::string &stream_name, int index) {
  auto *live = dynamic_cast<LiveSource *>(&source);
  if (!live) return;
  for (const SourceNotice &n : live->take_notices()) {
    Event e;
    e.stream = index;
    e.stream_name = stream_name;
    e.frame = n.frame;
    e.time = n.time;
    e.wall_time = iso8601(n.wall);
    e.analytic = "source";
    e.kind = n.kind;
    e.text = n.reason;
    if (n.kind == "source_back") e.counts = {{"attempts", n.attempts}};
    events.push_back(e);
  }
}

// One picture per event, the frame with the overlay: DIR/STREAM-FRAME-KIND.png (the analytic's name is added when
// two events of one kind share a frame).
void snapshot_events(std::vector<Event> &events, const StreamTask &t,
                     const std::vector<std::unique_ptr<Analytic>> &analytics, const Frame &frame, Frame &drawn) {
  if (t.snapshots_dir.empty() || events.empty()) return;
  drawn = frame;
  Canvas c(drawn);
  draw_overlay(c, analytics, drawn);
  std::vector<std::string> used;
  for (Event &e : events) {
    const std::string base = t.snapshots_dir + "/" + topic_level(t.name) + "-" + std::to_string(e.frame) + "-";
    std::string path = base + topic_level(e.kind) + ".png";
    if (std::find(used.begin(), used.end(), path) != used.end())
      path = base + topic_level(e.analytic) + "-" + topic_level(e.kind) + ".png";
    if (std::find(used.begin(), used.end(), path) == used.end()) {
      write_png(path, drawn);
      used.push_back(path);
    }
    e.snapshot = path;
  }
}

void run_stream(StreamTask &t, EventSink &sink, Progress &progress, const std::string &codec, int64_t max_frames,
                std::atomic<bool> &stop) {
  const StreamInfo &info = t.source->info();
  std::vector<std::unique_ptr<Analytic>> analytics;
  for (const AnalyticSettings &s : t.settings_list) analytics.push_back(create_analytic(s, info));
  int row = 0;
  for (auto &a : analytics) a->label_row = row++;
  std::unique_ptr<VideoWriter> annotate, masks;
  if (!t.annotate.empty()) annotate.reset(new VideoWriter(t.annotate, info.width, info.height, info.fps, codec));
  if (!t.masks.empty()) masks.reset(new VideoWriter(t.masks, info.width, info.height, info.fps, codec));

  Frame frame, drawn, mask_frame;
  std::vector<Event> events;
  auto start = std::chrono::steady_clock::now();
  for (;;) {
    const bool more = (max_frames < 0 || t.frames < max_frames) && !stop.load(std::memory_order_relaxed) &&
                      t.source->next(frame);
    events.clear();
    notice_events(*t.source, events, t.name, t.index);
    if (!more) {
      sink.write(events);
      break;
    }
    for (size_t i = 0; i < analytics.size(); ++i)
      if (analytics[i]) {
        size_t first = events.size();
        analytics[i]->feed(frame, events);
        stamp(events, first, t, t.settings_list[i].name, frame);
      }
    snapshot_events(events, t, analytics, frame, drawn);
    sink.write(events);
    if (annotate) {
      drawn = frame;
      Canvas c(drawn);
      draw_overlay(c, analytics, drawn);
      annotate->write(drawn);
    }
    if (masks) {
      const uint8_t *m = nullptr;
      for (const auto &a : analytics)
        if (a && (m = a->mask()) != nullptr) break;
      if (m) mask_to_frame(m, mask_frame, frame);
      else mask_frame.resize(frame.width, frame.height);
      masks->write(mask_frame);
    }
    ++t.frames;
    progress.add(1);
  }
  // Closing events carry the last frame's number and time (0 when the stream had no frame).
  events.clear();
  if (t.frames == 0) frame = Frame();
  for (size_t i = 0; i < analytics.size(); ++i)
    if (analytics[i]) {
      size_t first = events.size();
      analytics[i]->finish(events);
      stamp(events, first, t, t.settings_list[i].name, frame);
    }
  if (t.frames > 0) snapshot_events(events, t, analytics, frame, drawn);
  sink.write(events);
  t.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  t.problem = t.source->problem();
  if (annotate) annotate->close();
  if (masks) masks->close();
  if (!t.snapshot.empty() && t.frames > 0) {
    Canvas c(frame);
    draw_overlay(c, analytics, frame);
    draw_totals(c, analytics);
    write_png(t.snapshot, frame);
  }
  for (const auto &a : analytics) {
    if (!a) continue;
    for (SummaryRow r : a->summary()) t.summary.push_back(r);
    if (t.truth)
      for (TruthRow r : a->against(*t.truth)) t.truth_rows.push_back(r);
  }
}

}  // namespace

// An output file's folder must exist and be writable before anything runs, rather than fail after the whole input.
static void check_output(const std::string &path, const std::string &what) {
  if (path.empty() || path == "-") return;
  const size_t slash = path.find_last_of('/');
  const std::string dir = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
  struct stat st;
  if (stat(dir.c_str(), &st) != 0 || !S_ISDIR(st.st_mode))
    usage_error(what + ": folder '" + dir + "' does not exist");
  if (access(dir.c_str(), W_OK) != 0) usage_error(what + ": folder '" + dir + "' is not writable");
}

void draw_frame_header(Canvas &c, const Frame &f) {
  c.text(8, 8, "FRAME " + std::to_string(f.index) + "  " + fmt(f.time, 2) + " S", colors::kWhite, 2);
}

std::string stream_path(const std::string &path, int index, int streams) {
  if (streams <= 1 || path.empty()) return path;
  size_t slash = path.find_last_of('/');
  size_t dot = path.find_last_of('.');
  if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) dot = path.size();
  return path.substr(0, dot) + "-" + std::to_string(index) + path.substr(dot);
}

int run_plan(RunPlan plan) {
  const bool demo = plan.command == "demo";
  if (demo) {
    make_dirs(plan.out_dir);
    const std::string d = plan.out_dir + "/";
    if (plan.events_path.empty()) plan.events_path = d + "events.jsonl";
    if (plan.annotate_path.empty()) plan.annotate_path = d + "annotated.mp4";
    if (plan.snapshot_path.empty()) plan.snapshot_path = d + "snapshot.png";
    for (const AnalyticEntry *a : analytic_registry()) {
      AnalyticSettings s = settings_of(a->kind);
      // The viewer (`vorn view`) shows the demo's trajectories from this file.
      if (std::string(a->kind) == "trajectories") s.set_text("save", d + "trajectories.vbct");
      plan.analytics.push_back(s);
      if (a->writes_masks && plan.masks_path.empty()) plan.masks_path = d + "masks.mp4";
    }
  }
  if (plan.inputs.empty()) plan.inputs.push_back(kSceneInput);

  // Open every stream and check the geometry before anything runs, so bad input stops the run at once.
  std::vector<StreamTask> tasks(plan.inputs.size());
  std::vector<std::unique_ptr<StreetScene>> scenes;
  const int n = static_cast<int>(plan.inputs.size());
  for (int i = 0; i < n; ++i) {
    StreamTask &t = tasks[i];
    t.index = i;
    if (plan.inputs[i] == kSceneInput) {
      auto scene = std::make_unique<StreetScene>(plan.scene_frames);
      t.truth = &scene->truth();
      t.source = std::move(scene);
    } else {
      ReaderOptions options;
      options.fps = plan.fps;
      options.stall_seconds = plan.stall_seconds;
      options.stop = &g_stop;
      const InputKind kind = input_kind(plan.inputs[i]);
      t.live = is_live(kind);
      // Network streams and cameras are reopened when lost; standard input cannot be.
      if (kind == InputKind::kNetwork || kind == InputKind::kDevice) {
        ReconnectPolicy policy{plan.reconnect_attempts, plan.reconnect_delay, plan.reconnect_max};
        t.source = std::make_unique<LiveSource>(plan.inputs[i], options, policy);
      } else {
        t.source = std::make_unique<VideoReader>(plan.inputs[i], options);
      }
    }
    t.settings_list = plan.analytics;
    const StreamInfo &info = t.source->info();
    for (AnalyticSettings &s : t.settings_list) {
      if (t.truth) fill_from_scene(s, *t.truth);
      validate_settings(s, info.width, info.height);
      for (const SettingDef &o : s.entry()->settings)
        if (o.type == SettingType::kOutput && s.has(o.field)) {
          s.set_text(o.field, stream_path(s.text(o.field), i, n));
          check_output(s.text(o.field), s.name + ": " + o.option());
        }
    }
    t.name = i < int(plan.input_names.size()) && !plan.input_names[i].empty() ? plan.input_names[i] : plan.inputs[i];
    t.snapshots_dir = plan.snapshots_dir;
    t.annotate = stream_path(plan.annotate_path, i, n);
    t.snapshot = stream_path(plan.snapshot_path, i, n);
    t.masks = stream_path(plan.masks_path, i, n);
    check_output(t.annotate, "--annotate");
    check_output(t.snapshot, "--snapshot");
    check_output(t.masks, "--masks");
  }
  if (demo) {
    const SceneTruth *truth = tasks[0].truth;
    write_text_file(plan.out_dir + "/truth.json", truth->to_json() + "\n");
  }

  check_output(plan.events_path, "--events");
  if (!plan.snapshots_dir.empty()) check_output(plan.snapshots_dir + "/x.png", "--event-snapshots");
  EventSink sink(plan.events_path);
  if (!plan.mqtt_url.empty()) sink.publish_to(plan.mqtt_url, static_cast<size_t>(plan.mqtt_queue));
  int64_t total = 0;
  for (const StreamTask &t : tasks) {
    int64_t c = t.source->info().frame_count;
    if (c >= 0 && plan.max_frames >= 0) c = std::min(c, plan.max_frames);
    if (c < 0 || total < 0) total = -1;
    else total += c;
  }
  Progress progress(!plan.quiet && isatty(STDERR_FILENO), total);

  std::atomic<int> next{0};
  std::atomic<bool> &stop = g_stop;
  stop.store(false);
  g_interrupted.store(false);
  auto old_int = std::signal(SIGINT, on_stop_signal), old_term = std::signal(SIGTERM, on_stop_signal);
  auto worker = [&] {
    for (;;) {
      int i = next.fetch_add(1);
      if (i >= n || stop.load()) return;
      try {
        run_stream(tasks[i], sink, progress, plan.video_codec, plan.max_frames, stop);
      } catch (const ToolError &e) {
        tasks[i].error.reset(new ToolError(e));
        stop.store(true);
      } catch (const std::exception &e) {
        tasks[i].error.reset(new ToolError(kExitRuntime, e.what()));
        stop.store(true);
      }
    }
  };
  auto start = std::chrono::steady_clock::now();
  const int threads = std::min(plan.jobs, n);
  std::vector<std::thread> pool;
  for (int j = 1; j < threads; ++j) pool.emplace_back(worker);
  worker();
  for (std::thread &th : pool) th.join();
  const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  std::signal(SIGINT, old_int);
  std::signal(SIGTERM, old_term);
  progress.finish();
  // Decided before the sink is closed (closing forgets where it wrote): with events on standard output, the tables
  // go to standard error so that standard output stays pure JSON lines.
  FILE *out = sink.to_stdout() ? stderr : stdout;
  sink.close();
  bool mqtt_failed = false;
  const std::string mqtt_report = sink.close_mqtt(plan.mqtt_linger, &mqtt_failed);
  for (const StreamTask &t : tasks)
    if (t.error) throw *t.error;
  // An input that ended early or with decoding errors is reported on standard error whatever else is shown, and
  // fails the run unless the user accepts damaged inputs.
  int status = kExitOk;
  for (const StreamTask &t : tasks)
    if (!t.problem.empty()) {
      std::fprintf(stderr, "vorn: input '%s': %s%s\n", t.source->name().c_str(), t.problem.c_str(),
                   plan.tolerate_errors ? " (tolerated)" : "");
      if (!plan.tolerate_errors) status = kExitRuntime;
    }

  if (mqtt_failed) {
    std::fprintf(stderr, "vorn: %s\n", mqtt_report.c_str());
    status = kExitRuntime;
  }

  if (plan.quiet) return status;
  std::vector<std::vector<std::string>> rows;
  int64_t frames = 0;
  for (const StreamTask &t : tasks) {
    frames += t.frames;
    rows.push_back({std::to_string(t.index), t.source->name(), std::to_string(t.frames), fmt(t.seconds, 2),
                    fmt(t.seconds > 0 ? t.frames / t.seconds : 0.0, 1)});
  }
  std::string text = format_table({"stream", "input", "frames", "seconds", "fps"}, rows);
  text += std::to_string(frames) + " frames in " + fmt(wall, 2) + " s (" + fmt(wall > 0 ? frames / wall : 0.0, 1) +
          " fps with " + std::to_string(threads) + (threads == 1 ? " job" : " jobs") + "), " +
          std::to_string(sink.count()) + " events\n";
  rows.clear();
  for (const StreamTask &t : tasks)
    for (const SummaryRow &r : t.summary) rows.push_back({std::to_string(t.index), r.analytic, r.item, r.value});
  for (const StreamTask &t : tasks)
    if (!t.problem.empty()) text += "stream " + std::to_string(t.index) + " was damaged: " + t.problem + "\n";
  if (!mqtt_report.empty()) text += mqtt_report + "\n";
  if (g_interrupted.load()) text += "interrupted: the streams were ended early, their outputs are complete\n";
  if (!rows.empty()) text += "\n" + format_table({"stream", "analytic", "total", "value"}, rows);
  rows.clear();
  for (const StreamTask &t : tasks)
    for (const TruthRow &r : t.truth_rows)
      rows.push_back({std::to_string(t.index), r.analytic, r.item, std::to_string(r.found), std::to_string(r.truth),
                      r.ok ? "yes" : "NO"});
  if (!rows.empty()) text += "\nfound against the scene's truth:\n" + format_table({"stream", "analytic", "what", "found", "truth", "match"}, rows);
  const SceneTruth *truth = tasks[0].truth;
  if (truth) {
    text += "\nthe scene holds: " + std::to_string(truth->crossings.size()) + " guard-line crossings (" +
            std::to_string(truth->crossings_down()) + " down, " + std::to_string(truth->crossings_up()) + " up), " +
            std::to_string(truth->passes.size()) + " passes (" + std::to_string(truth->passes_from(0)) +
            " from area 0, " + std::to_string(truth->passes_from(1)) + " from area 1), " +
            std::to_string(truth->walkers) + " walkers";
    if (truth->left.frame >= 0)
      text += ", a bag left at frame " + std::to_string(truth->left.frame) + " in [" +
              std::to_string(truth->left.box.left) + "," + std::to_string(truth->left.box.top) + "," +
              std::to_string(truth->left.box.right) + "," + std::to_string(truth->left.box.bottom) + "]";
    if (!truth->plate.empty()) text += ", a parked car with the plate " + truth->plate;
    text += "\n";
  }
  if (demo) {
    text += "outputs in " + plan.out_dir + "/\n";
    if (plan.out_dir == "out") text += "to see them in a browser: vorn view (make view)\n";
  }
  std::fputs(text.c_str(), out);
  std::fflush(out);
  return status;
}

// A frame-file pattern holds exactly one integer conversion such as %d or %04d, and nothing else with '%'.
static bool valid_pattern(const std::string &p) {
  size_t at = p.find('%');
  if (at == std::string::npos) return false;
  size_t i = at + 1;
  while (i < p.size() && p[i] >= '0' && p[i] <= '9') ++i;
  return i < p.size() && p[i] == 'd' && i - at <= 4 && p.find('%', i) == std::string::npos;
}

int write_scene(const RunPlan &plan) {
  const std::string &path = plan.inputs[0];
  if (path.find('%') != std::string::npos && !valid_pattern(path))
    usage_error("scene: '" + path + "' is not a frame-file pattern such as dir/%04d.png");
  StreetScene scene(plan.scene_frames);
  Frame f;
  std::string codec = "png";
  if (path.find('%') != std::string::npos) {
    while (scene.next(f)) {
      char name[4096];
      std::snprintf(name, sizeof name, path.c_str(), static_cast<int>(f.index));
      write_png(name, f);
    }
  } else {
    VideoWriter w(path, scene.info().width, scene.info().height, scene.info().fps, plan.video_codec);
    codec = w.codec_name();
    while (scene.next(f)) w.write(f);
    w.close();
  }
  if (!plan.truth_path.empty()) write_text_file(plan.truth_path, scene.truth().to_json() + "\n");
  if (!plan.quiet)
    std::fprintf(stderr, "wrote %d frames of the built-in scene to %s (%s)\n", scene.truth().frames, path.c_str(),
                 codec.c_str());
  return kExitOk;
}

int describe_inputs(const RunPlan &plan) {
  if (plan.inputs.empty()) {
    // What this build can run: one JSON line per analytic.
    for (const AnalyticEntry *a : analytic_registry()) {
      JsonOut line;
      line["analytic"] = a->kind;
      line["summary"] = a->summary;
      line["settings"] = JsonOut::array();
      for (const SettingDef &s : a->settings) line["settings"].push_back(s.field);
      line["background_model"] = a->background_model;
      std::fputs((json_line(line) + "\n").c_str(), stdout);
    }
    return kExitOk;
  }
  for (const std::string &input : plan.inputs) {
    std::unique_ptr<FrameSource> src;
    ReaderOptions options;
    options.fps = plan.fps;
    options.stall_seconds = plan.stall_seconds;
    const bool live = input != kSceneInput && is_live(input_kind(input));
    if (input == kSceneInput) src = std::make_unique<StreetScene>(plan.scene_frames);
    else src = std::make_unique<VideoReader>(input, options);
    // A live stream has no end: it is probed over --frames frames (default 50).
    const int64_t limit = plan.max_frames >= 0 ? plan.max_frames : live ? 50 : -1;
    Frame f;
    int64_t n = 0;
    double last_time = 0.0;
    auto start = std::chrono::steady_clock::now();
    while ((limit < 0 || n < limit) && src->next(f)) {
      ++n;
      last_time = f.time;
    }
    double secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    JsonOut line;
    line["input"] = input;
    line["live"] = live;
    line["width"] = src->info().width;
    line["height"] = src->info().height;
    line["fps"] = std::round(src->info().fps * 1000) / 1000;
    line["frames"] = n;
    line["last_time"] = std::round(last_time * 1000) / 1000;
    line["decode_fps"] = std::round((secs > 0 ? n / secs : 0.0) * 10) / 10;
    if (!src->problem().empty()) line["problem"] = src->problem();
    std::fputs((json_line(line) + "\n").c_str(), stdout);
  }
  return kExitOk;
}

int run_with_messages(const std::function<int()> &body) {
  // FFmpeg's messages are not shown as they come: its errors count against the input being read, and reach the
  // user in that input's report.
  route_ffmpeg_messages();
  try {
    return body();
  } catch (const ToolError &e) {
    std::fprintf(stderr, "vorn: %s\n", e.what());
    return e.code();
  } catch (const std::exception &e) {
    std::fprintf(stderr, "vorn: %s\n", e.what());
    return kExitRuntime;
  }
}

int tool_main(int argc, const char *const *argv) {
  return run_with_messages([&] {
    RunPlan plan = parse_command_line(argc, argv);
    if (plan.command == "help") {
      const std::string &topic = plan.help_topic;
      std::fputs((topic == "--man" ? man_page() : topic == "--bash-completion" ? bash_completion()
                                                                                : command_usage(topic)).c_str(),
                 stdout);
      return static_cast<int>(kExitOk);
    }
    if (plan.command == "version") {
      // The program's version is the one it was built with; the library's is that of the one loaded.
      const uint32_t v = vorn_get_version();
      std::printf("vorn %s (library %u.%u.%u, FFmpeg libavformat %s)\n", VORN_VERSION_STRING, unsigned(v >> 16),
                  unsigned((v >> 8) & 0xFF), unsigned(v & 0xFF), AV_STRINGIFY(LIBAVFORMAT_VERSION));
      return static_cast<int>(kExitOk);
    }
    if (plan.command == "scene") return write_scene(plan);
    if (plan.command == "info") return describe_inputs(plan);
    if (plan.command == "eval") return eval_files(plan.inputs[0], plan.inputs[1]);
    vorn_init();
    return run_plan(std::move(plan));
  });
}

}  // namespace vt
