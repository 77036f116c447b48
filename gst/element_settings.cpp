#include "element_settings.h"

#include <gst/gst.h>

#include <map>
#include <mutex>

#include "error.h"
#include "geometry.h"

namespace vg {

namespace {

std::string point_list(const std::vector<vt::Pt> &pts) {
  std::string s;
  for (const vt::Pt &p : pts) s += (s.empty() ? "" : ",") + std::to_string(p.x) + "," + std::to_string(p.y);
  return s;
}

std::string params_text(const std::vector<std::pair<uint32_t, uint32_t>> &params) {
  std::string s;
  for (const auto &kv : params) s += (s.empty() ? "" : ",") + std::to_string(kv.first) + "=" + std::to_string(kv.second);
  return s;
}

// "ID=VALUE,ID=VALUE,...": each item as the program's --param takes it.
std::vector<std::pair<uint32_t, uint32_t>> parse_params(const std::string &text, const std::string &what) {
  std::vector<std::pair<uint32_t, uint32_t>> out;
  size_t start = 0;
  while (start < text.size()) {
    size_t comma = text.find(',', start);
    if (comma == std::string::npos) comma = text.size();
    out.push_back(vt::parse_bk_param(text.substr(start, comma - start), what));
    start = comma + 1;
  }
  return out;
}

std::string property_name(const char *field) {
  std::string n = field;
  for (char &c : n)
    if (c == '_') c = '-';
  return n;
}

// A whole-number setting whose default lies outside its range (0: the library's own choice) takes the default
// back as "not given".
bool default_outside_range(const vt::SettingDef &s) { return s.def < s.lo || s.def > s.hi; }

}  // namespace

const std::vector<ElementProp> &element_props(const std::string &kind) {
  static std::map<std::string, std::vector<ElementProp>> cache;
  static std::mutex mu;
  std::lock_guard<std::mutex> lock(mu);
  auto it = cache.find(kind);
  if (it != cache.end()) return it->second;
  std::vector<ElementProp> &v = cache[kind];
  const vt::AnalyticEntry *entry = vt::find_analytic(kind);
  if (!entry) return v;
  for (const vt::SettingDef &s : entry->settings) {
    std::string blurb = s.help;
    if (s.type == vt::SettingType::kSegment || s.type == vt::SettingType::kPolygon)
      blurb += std::string(" (") + s.value + ")";
    if (s.type == vt::SettingType::kInteger && default_outside_range(s))
      blurb += "; " + std::to_string(s.def) + ": not given";
    v.push_back({property_name(s.field), blurb, PropKind::kSetting, &s});
  }
  if (entry->background_model) {
    const std::string types = "background-model type (0..9: 0 and 9 default, 1 and 4 sal/wall, 2 mixture of "
                              "Gaussians, 3 and 6 mean, 5 block, 7 extended mean, 8 bay-mean)";
    v.push_back({"bk-type", types, PropKind::kModel});
    v.push_back({"model", "the same as bk-type", PropKind::kModel});
    v.push_back({"param", "background-model parameters ID=VALUE,... (ID 0..31 or sensitivity, scene_cut, shadow, "
                          "erode, dilate, window, learn_frames; VALUE decimal or 0x-hexadecimal)",
                 PropKind::kParams});
  }
  return v;
}

GParamSpec *prop_spec(const std::string &kind, const ElementProp &p) {
  const GParamFlags f = GParamFlags(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_PLAYING);
  const char *n = g_intern_string(p.name.c_str());
  const char *b = g_intern_string(p.blurb.c_str());
  if (p.kind == PropKind::kModel)
    return g_param_spec_uint(n, n, b, 0, 1000000, vt::settings_of(kind).bk_type, f);
  if (p.kind == PropKind::kParams) return g_param_spec_string(n, n, b, "", f);
  const vt::SettingDef &s = *p.setting;
  switch (s.type) {
    case vt::SettingType::kInteger:
      return g_param_spec_int(n, n, b, int(std::min(s.lo, s.def)), int(s.hi), int(s.def), f);
    case vt::SettingType::kFlag:
      return g_param_spec_boolean(n, n, b, s.def != 0, f);
    default:
      return g_param_spec_string(n, n, b, "", f);
  }
}

void set_prop(vt::AnalyticSettings &s, const ElementProp &p, const GValue *value) {
  const std::string &what = p.name;
  if (p.kind == PropKind::kModel) {
    s.bk_type = g_value_get_uint(value);
    return;
  }
  if (p.kind == PropKind::kParams) {
    const char *c = g_value_get_string(value);
    s.bk_params = parse_params(c ? c : "", what);
    return;
  }
  const vt::SettingDef &entry = *p.setting;
  switch (entry.type) {
    case vt::SettingType::kInteger: {
      const int v = g_value_get_int(value);
      if (v == entry.def && default_outside_range(entry)) {
        s.given.erase(entry.field);
      } else {
        if (v < entry.lo || v > entry.hi)
          vt::usage_error(what + ": '" + std::to_string(v) + "' is not a whole number in " + std::to_string(entry.lo) +
                          ".." + std::to_string(entry.hi));
        s.set_integer(entry.field, v);
      }
      return;
    }
    case vt::SettingType::kFlag:
      s.set_integer(entry.field, g_value_get_boolean(value) ? 1 : 0);
      return;
    default:
      break;
  }
  const char *c = g_value_get_string(value);
  const std::string text = c ? c : "";
  if (text.empty()) {
    s.given.erase(entry.field);
  } else if (entry.type == vt::SettingType::kSegment) {
    const vt::Segment seg = vt::parse_segment(text, what);
    s.set_points(entry.field, {seg.a, seg.b});
  } else if (entry.type == vt::SettingType::kPolygon) {
    s.set_points(entry.field, vt::parse_polygon(text, what));
  } else {
    s.set_text(entry.field, text);
  }
}

void get_prop(const vt::AnalyticSettings &s, const ElementProp &p, GValue *value) {
  if (p.kind == PropKind::kModel) {
    g_value_set_uint(value, s.bk_type);
    return;
  }
  if (p.kind == PropKind::kParams) {
    g_value_set_string(value, params_text(s.bk_params).c_str());
    return;
  }
  const vt::SettingDef &entry = *p.setting;
  switch (entry.type) {
    case vt::SettingType::kInteger:
      g_value_set_int(value, s.integer(entry.field));
      return;
    case vt::SettingType::kFlag:
      g_value_set_boolean(value, s.flag(entry.field));
      return;
    case vt::SettingType::kSegment:
    case vt::SettingType::kPolygon: {
      auto it = s.given.find(entry.field);
      g_value_set_string(value, it != s.given.end() ? point_list(it->second.points).c_str() : "");
      return;
    }
    default:
      g_value_set_string(value, s.text(entry.field).c_str());
      return;
  }
}

}  // namespace vg
