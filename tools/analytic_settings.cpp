#include "analytic_settings.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "analytic_registry.h"
#include "error.h"

namespace vt {

const AnalyticEntry *AnalyticSettings::entry() const { return find_analytic(kind); }

int AnalyticSettings::integer(const std::string &field) const {
  auto it = given.find(field);
  if (it != given.end()) return static_cast<int>(it->second.number);
  const AnalyticEntry *a = entry();
  const SettingDef *s = a ? a->setting(field) : nullptr;
  return s ? static_cast<int>(s->def) : 0;
}

std::string AnalyticSettings::text(const std::string &field) const {
  auto it = given.find(field);
  return it == given.end() ? std::string() : it->second.text;
}

std::optional<Segment> AnalyticSettings::segment(const std::string &field) const {
  auto it = given.find(field);
  if (it == given.end() || it->second.points.size() != 2) return std::nullopt;
  return Segment{it->second.points[0], it->second.points[1]};
}

std::optional<Polygon> AnalyticSettings::polygon(const std::string &field) const {
  auto it = given.find(field);
  if (it == given.end()) return std::nullopt;
  return it->second.points;
}

AnalyticSettings settings_of(const std::string &kind) {
  AnalyticSettings s;
  s.kind = s.name = kind;
  return s;
}

bool known_bk_type(long type) { return type >= 0 && type <= 9; }

static std::string option_of(const AnalyticSettings &s, const char *field) {
  const SettingDef *entry = s.entry() ? s.entry()->setting(field) : nullptr;
  return entry ? entry->option() : std::string("--") + field;
}

void require_segment(const AnalyticSettings &s, const char *field, int w, int h, const std::string &what) {
  std::optional<Segment> seg = s.segment(field);
  if (!seg) usage_error(what + " is missing (give " + option_of(s, field) + " x0,y0,x1,y1)");
  check_inside(*seg, w, h, what);
  if (seg->a.x == seg->b.x && seg->a.y == seg->b.y) usage_error(what + " has zero length");
}

void require_polygon(const AnalyticSettings &s, const char *field, int w, int h, const std::string &what) {
  std::optional<Polygon> p = s.polygon(field);
  if (!p) usage_error(what + " is missing (give " + option_of(s, field) + " x,y,x,y,x,y,...)");
  check_polygon(*p, what);
  check_inside(*p, w, h, what);
}

void validate_settings(const AnalyticSettings &s, int w, int h) {
  const std::string who = s.name.empty() ? s.kind : s.name;
  const AnalyticEntry *entry = s.entry();
  if (!entry) usage_error("unknown analytic kind '" + s.kind + "' (" + analytic_kind_list() + ")");
  if (entry->background_model && !known_bk_type(s.bk_type))
    usage_error(who + ": background-model type " + std::to_string(s.bk_type) +
                " is not one of the library's (0..9: 0 and 9 default, 1 and 4 sal/wall, 2 mixture of Gaussians, 3 "
                "and 6 mean, 5 block, 7 extended mean, 8 bay-mean)");
  if (entry->validate) entry->validate(s, w, h);
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
