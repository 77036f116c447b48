#include "element_settings.h"

#include <gst/gst.h>

#include <map>

#include "error.h"
#include "geometry.h"

namespace vg {

namespace {

// What gst-inspect-1.0 says about each whole-number setting of the program.
const std::map<std::string, std::string> &int_blurbs() {
  static const std::map<std::string, std::string> m = {
      {"half_width", "Half-width in pixels of the band around the guard line in which crossings are followed"},
      {"max_frame", "Frames a pass between the two areas may take at most (0: no limit)"},
      {"logic", "Counting logic: 0 an object passes once it has left one area and reached the other, 1 once it "
                "occupied both"},
      {"sensitivity", "Sensitivity 0..100 (count: share of an area that must be foreground; left: how unlike the "
                      "background a left object must be)"},
      {"frame_threshold", "Frames an object must stay still in the region before it is reported as left"},
      {"bk_interval", "Frames between relearnings of the reference background (0: never)"},
      {"learn_frames", "Frames the detector learns the background before it reports (0: its default)"},
      {"stable_frames", "Frames in a row the same text must be read before the plate is reported"},
      {"min_char_height", "Smallest character height in pixels the reader looks for"},
      {"max_char_height", "Largest character height in pixels the reader looks for (at most the frame height)"},
  };
  return m;
}

// The value a setting shows while it holds the analytic's own default (sensitivity -1, character heights 0).
int shown_default(const std::string &kind, const vt::IntSetting &is) {
  const vt::AnalyticSettings d = default_settings(kind);
  const std::string f = is.field;
  if (f == "min_char_height" && d.min_char_height == 0) return 14;
  if (f == "max_char_height" && d.max_char_height == 0) return 40;
  if (f == "sensitivity") return vt::sensitivity_of(d);
  return d.*is.member;
}

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

// "ID=VALUE,ID=VALUE,...": each item as the program's --param.
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

}  // namespace

const std::vector<std::string> &element_kinds() {
  static const std::vector<std::string> kinds = {"guard", "count", "track", "left", "bgsub", "plate"};
  return kinds;
}

vt::AnalyticSettings default_settings(const std::string &kind) {
  vt::AnalyticSettings s;
  s.kind = s.name = kind;
  return s;
}

const std::vector<ElementProp> &element_props(const std::string &kind) {
  static std::map<std::string, std::vector<ElementProp>> cache;
  static GMutex mu;
  g_mutex_lock(&mu);
  std::vector<ElementProp> &v = cache[kind];
  if (v.empty()) {
    if (kind == "guard") {
      v.push_back({"line", "Guard line X0,Y0,X1,Y1 in frame pixels", PropKind::kSegment});
      v.push_back({"direction", "Direction line X0,Y0,X1,Y1: crossings along it are triggers", PropKind::kSegment});
    } else if (kind == "count") {
      v.push_back({"area0", "Counting area 0 as X,Y,X,Y,X,Y,... (at least 3 points)", PropKind::kPolygon});
      v.push_back({"area1", "Counting area 1 as X,Y,X,Y,X,Y,... (at least 3 points)", PropKind::kPolygon});
    } else if (kind == "left") {
      v.push_back({"region", "Watched region X,Y,X,Y,X,Y,... (at least 3 points)", PropKind::kPolygon});
      v.push_back({"scenecut", "Reset the detector when the whole picture changes at once", PropKind::kBool});
    } else if (kind == "plate") {
      v.push_back({"weights", "Directory of the reader's weights (charnum.who, num.who, char.who); empty: the "
                              "installed data directory, else the source tree's",
                   PropKind::kPath});
    }
    if (kind == "guard" || kind == "count" || kind == "track" || kind == "bgsub") {
      v.push_back({kind == "bgsub" ? "model" : "bk-type",
                   "Background-model type (2: mixture of Gaussians, learns the background by itself)",
                   PropKind::kModel});
      v.push_back({"param", "Background-model parameters ID=VALUE,... (ID 0..31 or sensitivity, scene_cut, shadow, "
                            "erode, dilate, window, learn_frames; VALUE decimal or 0x-hexadecimal)",
                   PropKind::kParams});
    }
    for (const vt::IntSetting &is : vt::int_settings()) {
      if (!is.applies_to(kind)) continue;
      auto b = int_blurbs().find(is.field);
      ElementProp p{is.option().substr(2), b != int_blurbs().end() ? b->second : std::string(is.field), PropKind::kInt,
                    &is};
      v.push_back(p);
    }
  }
  g_mutex_unlock(&mu);
  return v;
}

GParamSpec *prop_spec(const std::string &kind, const ElementProp &p) {
  const GParamFlags f = GParamFlags(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_PLAYING);
  const char *n = g_intern_string(p.name.c_str());
  const char *b = g_intern_string(p.blurb.c_str());
  switch (p.kind) {
    case PropKind::kInt:
      return g_param_spec_int(n, n, b, int(p.setting->lo), int(p.setting->hi), shown_default(kind, *p.setting), f);
    case PropKind::kBool:
      return g_param_spec_boolean(n, n, b, FALSE, f);
    case PropKind::kModel:
      return g_param_spec_uint(n, n, b, 0, 1000000, default_settings(kind).bk_type, f);
    default:
      return g_param_spec_string(n, n, b, "", f);
  }
}

void set_prop(vt::AnalyticSettings &s, const ElementProp &p, const GValue *value) {
  const std::string what = p.name;
  if (p.kind == PropKind::kInt) {
    const int v = g_value_get_int(value);
    if (v < p.setting->lo || v > p.setting->hi)
      vt::usage_error(what + ": " + std::to_string(v) + " is not a whole number in " + std::to_string(p.setting->lo) +
                      ".." + std::to_string(p.setting->hi));
    s.*p.setting->member = v;
    return;
  }
  if (p.kind == PropKind::kBool) {
    s.scenecut = g_value_get_boolean(value);
    return;
  }
  if (p.kind == PropKind::kModel) {
    s.bk_type = g_value_get_uint(value);
    return;
  }
  const char *c = g_value_get_string(value);
  const std::string text = c ? c : "";
  if (p.kind == PropKind::kPath) {
    s.weights_dir = text;
  } else if (p.kind == PropKind::kParams) {
    s.bk_params = parse_params(text, what);
  } else if (p.kind == PropKind::kSegment) {
    std::optional<vt::Segment> seg;
    if (!text.empty()) seg = vt::parse_segment(text, what);
    (p.name == "line" ? s.line : s.direction) = seg;
  } else {
    std::optional<vt::Polygon> poly;
    if (!text.empty()) poly = vt::parse_polygon(text, what);
    (p.name == "area0" ? s.area0 : p.name == "area1" ? s.area1 : s.region) = poly;
  }
}

void get_prop(const vt::AnalyticSettings &s, const ElementProp &p, GValue *value) {
  switch (p.kind) {
    case PropKind::kInt: {
      int v = s.*p.setting->member;
      if (v < p.setting->lo) v = shown_default(s.kind, *p.setting);
      if (std::string(p.setting->field) == "sensitivity") v = vt::sensitivity_of(s);
      g_value_set_int(value, v);
      return;
    }
    case PropKind::kBool:
      g_value_set_boolean(value, s.scenecut);
      return;
    case PropKind::kModel:
      g_value_set_uint(value, s.bk_type);
      return;
    case PropKind::kPath:
      g_value_set_string(value, s.weights_dir.c_str());
      return;
    case PropKind::kParams:
      g_value_set_string(value, params_text(s.bk_params).c_str());
      return;
    case PropKind::kSegment: {
      const std::optional<vt::Segment> &seg = p.name == "line" ? s.line : s.direction;
      g_value_set_string(value, seg ? point_list({seg->a, seg->b}).c_str() : "");
      return;
    }
    case PropKind::kPolygon: {
      const std::optional<vt::Polygon> &poly = p.name == "area0" ? s.area0 : p.name == "area1" ? s.area1 : s.region;
      g_value_set_string(value, poly ? point_list(*poly).c_str() : "");
      return;
    }
  }
}

}  // namespace vg
