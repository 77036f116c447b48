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
