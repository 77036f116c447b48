// Configuration files: a JSON object with "analytics" (a list of analytics, each one object) and optionally
// "inputs" (a list of inputs: a file, URL or device, or {"input": ..., "name": ...} to name the stream in events).
// Example:
//   {"inputs": ["street.mp4", {"input": "rtsp://10.0.0.7/live", "name": "door"}],
//    "analytics": [{"kind": "guard", "line": [60,300,360,300], "direction": [210,260,210,340], "half_width": 40},
//                  {"kind": "count", "area0": [[500,140],[620,140],[620,250]], "area1": [500,350,620,350,560,460]},
//                  {"kind": "trajectories", "save": "street.vbct", "min_length": 15}]}
#include <cmath>
#include <fstream>
#include <sstream>

#include "analytic_registry.h"
#include "error.h"
#include "json.h"
#include "options.h"

namespace vt {

namespace {

class Reader {
 public:
  explicit Reader(const std::string &origin) : origin_(origin) {}

  [[noreturn]] void fail(const Json &at, const std::string &what) const {
    usage_error(origin_ + ":" + std::to_string(at.line) + ":" + std::to_string(at.column) + ": " + what);
  }

  int integer(const Json &v, const std::string &what, long lo, long hi) const {
    if (v.type != Json::kNumber) fail(v, what + " must be a number, not " + v.type_name());
    if (v.number != std::floor(v.number) || v.number < double(lo) || v.number > double(hi))
      fail(v, what + " must be a whole number in " + std::to_string(lo) + ".." + std::to_string(hi));
    return static_cast<int>(v.number);
  }

  std::string string(const Json &v, const std::string &what) const {
    if (v.type != Json::kString) fail(v, what + " must be a string, not " + v.type_name());
    return v.text;
  }

  // [x, y, x, y, ...] or [[x, y], [x, y], ...]
  std::vector<Pt> points(const Json &v, const std::string &what) const {
    if (v.type != Json::kArray) fail(v, what + " must be an array of coordinates");
    std::vector<Pt> pts;
    if (!v.items.empty() && v.items[0].type == Json::kArray) {
      for (const Json &p : v.items) {
        if (p.type != Json::kArray || p.items.size() != 2) fail(p, what + ": each point is [x, y]");
        pts.push_back(Pt{integer(p.items[0], what, -1000000, 1000000), integer(p.items[1], what, -1000000, 1000000)});
      }
    } else {
      if (v.items.size() % 2) fail(v, what + ": coordinates come in x, y pairs");
      for (size_t i = 0; i < v.items.size(); i += 2)
        pts.push_back(Pt{integer(v.items[i], what, -1000000, 1000000), integer(v.items[i + 1], what, -1000000, 1000000)});
    }
    return pts;
  }

  Segment segment(const Json &v, const std::string &what) const {
    std::vector<Pt> p = points(v, what);
    if (p.size() != 2) fail(v, what + " is two points: [x0, y0, x1, y1]");
    return Segment{p[0], p[1]};
  }

  Polygon polygon(const Json &v, const std::string &what) const {
    Polygon p = points(v, what);
    if (p.size() < 3) fail(v, what + ": a polygon needs at least 3 points, got " + std::to_string(p.size()));
    return p;
  }

  AnalyticSettings analytic(const Json &a, size_t index) const {
    const std::string where = "analytics[" + std::to_string(index) + "]";
    if (a.type != Json::kObject) fail(a, where + " must be an object");
    const Json *kind = a.find("kind");
    if (!kind) fail(a, where + " has no \"kind\"");
    AnalyticSettings s = settings_of(string(*kind, where + ".kind"));
    const AnalyticEntry *entry = s.entry();
    if (!entry) fail(*kind, "unknown analytic kind '" + s.kind + "' (" + analytic_kind_list() + ")");
    for (const auto &f : a.fields) {
      const std::string &k = f.first;
      const Json &v = f.second;
      const std::string what = s.kind + "." + k;
      if (k == "kind") continue;
      if (k == "name") {
        s.name = string(v, what);
        continue;
      }
      if (k == "bk_type" || k == "model" || k == "params") {
        if (!entry->background_model) fail(v, "field \"" + k + "\" does not apply to a " + s.kind + " analytic");
        if (k != "params") {
          s.bk_type = static_cast<uint32_t>(integer(v, what, 0, 1000000));
          continue;
        }
        if (v.type != Json::kObject) fail(v, what + " must be an object such as {\"window\": 257}");
        for (const auto &p : v.fields) {
          double n = p.second.number;
          if (p.second.type != Json::kNumber || n != std::floor(n) || n < 0 || n > 4294967295.0)
            fail(p.second, what + "." + p.first + " must be a 32-bit unsigned number");
          s.bk_params.emplace_back(bk_param_id(p.first, origin_ + ": " + what), static_cast<uint32_t>(n));
        }
        continue;
      }
      const SettingDef *setting = entry->setting(k);
      if (!setting) {
        bool elsewhere = false;
        for (const AnalyticEntry *other : analytic_registry()) elsewhere = elsewhere || other->setting(k);
        if (elsewhere) fail(v, "field \"" + k + "\" does not apply to a " + s.kind + " analytic");
        fail(v, "unknown field \"" + k + "\" in a " + s.kind + " analytic");
      }
      switch (setting->type) {
        case SettingType::kInteger: s.set_integer(k, integer(v, what, setting->lo, setting->hi)); break;
        case SettingType::kFlag:
          if (v.type != Json::kBool) fail(v, what + " must be true or false");
          s.set_integer(k, v.boolean ? 1 : 0);
          break;
        case SettingType::kText:
        case SettingType::kOutput: {
          std::string text = string(v, what);
          if (text.empty()) fail(v, what + " must name " + setting_noun(*setting));
          s.set_text(k, text);
          break;
        }
        case SettingType::kSegment: {
          Segment seg = segment(v, what);
          s.set_points(k, {seg.a, seg.b});
          break;
        }
        case SettingType::kPolygon: s.set_points(k, polygon(v, what)); break;
        case SettingType::kPolyline: {
          std::vector<Pt> p = points(v, what);
          if (p.size() < 2) fail(v, what + ": a line needs at least 2 points, got " + std::to_string(p.size()));
          s.set_points(k, p);
          break;
        }
      }
    }
    return s;
  }

 private:
  std::string origin_;
};

}  // namespace

void load_config_text(const std::string &text, const std::string &origin, RunPlan &plan) {
  Json doc = parse_json(text, origin);
  Reader r(origin);
  if (doc.type != Json::kObject) r.fail(doc, "the configuration must be a JSON object");
  const Json *analytics = nullptr;
  std::vector<std::string> inputs, names;
  for (const auto &f : doc.fields) {
    if (f.first == "analytics") {
      analytics = &f.second;
    } else if (f.first == "inputs") {
      if (f.second.type != Json::kArray) r.fail(f.second, "\"inputs\" must be an array of inputs");
      for (const Json &i : f.second.items) {
        if (i.type != Json::kObject) {
          inputs.push_back(r.string(i, "each input"));
          names.emplace_back();
          continue;
        }
        const Json *input = i.find("input"), *name = i.find("name");
        if (!input) r.fail(i, "an input object needs \"input\" (a file, URL or device)");
        for (const auto &g : i.fields)
          if (g.first != "input" && g.first != "name")
            r.fail(g.second, "unknown field \"" + g.first + "\" in an input (expected \"input\" and \"name\")");
        inputs.push_back(r.string(*input, "input"));
        names.push_back(name ? r.string(*name, "name") : std::string());
      }
    } else {
      r.fail(f.second, "unknown field \"" + f.first + "\" (expected \"analytics\" and \"inputs\")");
    }
  }
  if (!analytics) r.fail(doc, "no \"analytics\" list");
  if (analytics->type != Json::kArray) r.fail(*analytics, "\"analytics\" must be an array");
  if (analytics->items.empty()) r.fail(*analytics, "\"analytics\" is empty");
  std::vector<AnalyticSettings> settings_list;
  for (size_t i = 0; i < analytics->items.size(); ++i) settings_list.push_back(r.analytic(analytics->items[i], i));
  // Names label events and tables: two analytics of one kind get numbered names unless they were named.
  std::vector<int> same(settings_list.size(), 0);
  for (size_t i = 0; i < settings_list.size(); ++i)
    for (size_t j = 0; j < settings_list.size(); ++j) same[i] += settings_list[j].name == settings_list[i].name;
  for (size_t i = 0; i < settings_list.size(); ++i)
    if (same[i] > 1) settings_list[i].name += "#" + std::to_string(i);
  plan.analytics.insert(plan.analytics.end(), settings_list.begin(), settings_list.end());
  if (plan.inputs.empty()) {
    plan.inputs = inputs;
    plan.input_names = names;
  }
}

void load_config(const std::string &path, RunPlan &plan) {
  std::ifstream in(path, std::ios::binary);
  if (!in) usage_error("cannot read config '" + path + "'");
  std::ostringstream ss;
  ss << in.rdbuf();
  load_config_text(ss.str(), path, plan);
}

}  // namespace vt
