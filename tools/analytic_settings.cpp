#include "analytic_settings.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "error.h"
#include "scene.h"

namespace vt {

const std::vector<std::string> &analytic_kinds() {
  static const std::vector<std::string> kinds = {"guard", "count", "track", "left", "bgsub", "plate", "trajectories"};
  return kinds;
}

const std::vector<IntSetting> &int_settings() {
  using S = AnalyticSettings;
  static const std::vector<IntSetting> table = {
      {"half_width", {"guard"}, &S::half_width, 1, 100000},
      {"max_frame", {"count"}, &S::max_frame, 0, 1000000000},
      {"logic", {"count"}, &S::logic, 0, 1},
      {"sensitivity", {"count", "left"}, &S::sensitivity, 0, 100},
      {"frame_threshold", {"left"}, &S::frame_threshold, 0, 1000000000},
      {"bk_interval", {"left"}, &S::bk_interval, 0, 1000000000},
      {"learn_frames", {"left"}, &S::learn_frames, 0, 1000000},
      {"stable_frames", {"plate"}, &S::stable_frames, 1, 1000},
      {"min_char_height", {"plate"}, &S::min_char_height, 8, 100000},
      {"max_char_height", {"plate"}, &S::max_char_height, 8, 100000},
      {"max_points", {"trajectories"}, &S::max_points, 1, 65536},
      {"min_length", {"trajectories"}, &S::min_length, 1, 1000000},
      {"min_distance", {"trajectories"}, &S::min_distance, 1, 10000},
      {"motion_threshold", {"trajectories"}, &S::motion_threshold, 1, 255},
  };
  return table;
}

std::string IntSetting::option() const {
  std::string o = std::string("--") + field;
  std::replace(o.begin(), o.end(), '_', '-');
  return o;
}

bool IntSetting::applies_to(const std::string &kind) const {
  return std::find(kinds.begin(), kinds.end(), kind) != kinds.end();
}

bool is_analytic_kind(const std::string &kind) {
  const auto &k = analytic_kinds();
  return std::find(k.begin(), k.end(), kind) != k.end();
}

int sensitivity_of(const AnalyticSettings &settings) {
  if (settings.sensitivity >= 0) return settings.sensitivity;
  return settings.kind == "count" ? 10 : 30;
}

void fill_from_scene(AnalyticSettings &settings, const SceneTruth &truth) {
  if (settings.kind == "guard") {
    if (!settings.line) settings.line = truth.guard_line;
    if (!settings.direction) settings.direction = truth.direction_line;
  } else if (settings.kind == "count") {
    if (!settings.area0) settings.area0 = truth.area0;
    if (!settings.area1) settings.area1 = truth.area1;
  } else if (settings.kind == "left") {
    if (!settings.region) settings.region = truth.region;
  }
}

static void check_segment(const std::optional<Segment> &s, int w, int h, const std::string &what,
                          const std::string &option) {
  if (!s) usage_error(what + " is missing (give " + option + " x0,y0,x1,y1)");
  check_inside(*s, w, h, what);
  if (s->a.x == s->b.x && s->a.y == s->b.y) usage_error(what + " has zero length");
}

static void check_area(const std::optional<Polygon> &p, int w, int h, const std::string &what,
                       const std::string &option) {
  if (!p) usage_error(what + " is missing (give " + option + " x,y,x,y,x,y,...)");
  check_polygon(*p, what);
  check_inside(*p, w, h, what);
}

void validate_settings(const AnalyticSettings &s, int w, int h) {
  const std::string who = s.name.empty() ? s.kind : s.name;
  if (s.kind == "guard") {
    check_segment(s.line, w, h, who + ": guard line", "--line");
    check_segment(s.direction, w, h, who + ": direction line", "--direction");
    if (s.half_width < 1 || s.half_width > std::max(w, h))
      usage_error(who + ": band half-width " + std::to_string(s.half_width) + " must lie in 1.." +
                  std::to_string(std::max(w, h)));
  } else if (s.kind == "count") {
    check_area(s.area0, w, h, who + ": area 0", "--area0");
    check_area(s.area1, w, h, who + ": area 1", "--area1");
  } else if (s.kind == "left") {
    check_area(s.region, w, h, who + ": region", "--region");
    if (s.frame_threshold < 0) usage_error(who + ": frame threshold must not be negative");
  } else if (s.kind == "plate") {
    if (w < 32 || h < 16) usage_error(who + ": frames of " + std::to_string(w) + "x" + std::to_string(h) +
                                      " are too small for the plate reader (at least 32x16)");
    // The reader's defaults: 14 and 40 pixels (at most the frame's height).
    const int lo = s.min_char_height ? s.min_char_height : 14;
    const int hi = s.max_char_height ? s.max_char_height : std::min(40, h);
    if (hi > h)
      usage_error(who + ": the largest character height " + std::to_string(hi) + " exceeds the frame height " +
                  std::to_string(h));
    if (lo > hi)
      usage_error(who + ": the smallest character height " + std::to_string(lo) + " exceeds the largest " +
                  std::to_string(hi));
    if (s.stable_frames < 1) usage_error(who + ": a reading needs at least 1 stable frame");
  } else if (s.kind == "trajectories") {
    if (w < 16 || h < 16) usage_error(who + ": frames of " + std::to_string(w) + "x" + std::to_string(h) +
                                      " are too small for the trajectory recorder (at least 16x16)");
  }
  if (s.sensitivity < -1 || s.sensitivity > 100) usage_error(who + ": sensitivity must lie in 0..100");
}

uint32_t bk_param_id(const std::string &name, const std::string &what) {
  static const char *const kNames[] = {"sensitivity", "scene_cut", "shadow", "erode", "dilate", "window", "learn_frames"};
  for (uint32_t i = 0; i < sizeof kNames / sizeof kNames[0]; ++i)
    if (name == kNames[i]) return i;
  char *end = nullptr;
  errno = 0;
  unsigned long id = std::strtoul(name.c_str(), &end, 10);
  if (name.empty() || *end != '\0' || errno == ERANGE || id > 31 || name[0] == '-')
    usage_error(what + ": unknown model parameter '" + name +
                "' (use 0..31 or sensitivity, scene_cut, shadow, erode, dilate, window, learn_frames)");
  return static_cast<uint32_t>(id);
}

std::pair<uint32_t, uint32_t> parse_bk_param(const std::string &text, const std::string &what) {
  size_t eq = text.find('=');
  if (eq == std::string::npos) usage_error(what + ": expected ID=VALUE, got '" + text + "'");
  uint32_t id = bk_param_id(text.substr(0, eq), what);
  std::string v = text.substr(eq + 1);
  char *end = nullptr;
  errno = 0;
  unsigned long long value = std::strtoull(v.c_str(), &end, 0);
  if (v.empty() || *end != '\0' || errno == ERANGE || value > 0xFFFFFFFFull || v[0] == '-')
    usage_error(what + ": '" + v + "' is not a 32-bit unsigned value");
  return {id, static_cast<uint32_t>(value)};
}

}  // namespace vt
