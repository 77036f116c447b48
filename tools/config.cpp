// Configuration files: a JSON object with "analytics" (a list of analytics, each one object) and optionally
// "inputs" (a list of files). Example:
//   {"inputs": ["street.mp4"],
//    "analytics": [{"kind": "guard", "line": [60,300,360,300], "direction": [210,260,210,340], "half_width": 40},
//                  {"kind": "count", "area0": [[500,140],[620,140],[620,250]], "area1": [500,350,620,350,560,460]},
//                  {"kind": "trajectories", "save": "street.vbct", "min_length": 15}]}
#include <cmath>
#include <fstream>
#include <sstream>

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
    AnalyticSettings s;
    s.kind = string(*kind, where + ".kind");
    if (!is_analytic_kind(s.kind))
      fail(*kind, "unknown analytic kind '" + s.kind + "' (guard, count, track, left, bgsub, plate, trajectories)");
    s.name = s.kind;
    for (const auto &f : a.fields) {
      const std::string &k = f.first;
      const Json &v = f.second;
      const std::string what = s.kind + "." + k;
      auto for_kinds = [&](std::initializer_list<const char *> kinds) {
        for (const char *x : kinds)
          if (s.kind == x) return;
        fail(v, "field \"" + k + "\" does not apply to a " + s.kind + " analytic");
      };
      if (k == "kind") continue;
      const IntSetting *whole = nullptr;
      for (const IntSetting &is : int_settings())
        if (k == is.field) whole = &is;
      if (whole) {
        if (!whole->applies_to(s.kind)) fail(v, "field \"" + k + "\" does not apply to a " + s.kind + " analytic");
        s.*whole->member = integer(v, what, whole->lo, whole->hi);
        continue;
      }
      if (k == "name") {
        s.name = string(v, what);
      } else if (k == "bk_type" || k == "model") {
        for_kinds({"guard", "count", "track", "bgsub"});
        s.bk_type = static_cast<uint32_t>(integer(v, what, 0, 1000000));
      } else if (k == "params") {
        for_kinds({"guard", "count", "track", "bgsub"});
        if (v.type != Json::kObject) fail(v, what + " must be an object such as {\"window\": 257}");
        for (const auto &p : v.fields) {
          double n = p.second.number;
          if (p.second.type != Json::kNumber || n != std::floor(n) || n < 0 || n > 4294967295.0)
            fail(p.second, what + "." + p.first + " must be a 32-bit unsigned number");
          s.bk_params.emplace_back(bk_param_id(p.first, origin_ + ": " + what), static_cast<uint32_t>(n));
        }
      } else if (k == "line") {
        for_kinds({"guard"});
        s.line = segment(v, what);
      } else if (k == "direction") {
        for_kinds({"guard"});
        s.direction = segment(v, what);
      } else if (k == "area0") {
        for_kinds({"count"});
        s.area0 = polygon(v, what);
      } else if (k == "area1") {
        for_kinds({"count"});
        s.area1 = polygon(v, what);
      } else if (k == "region") {
        for_kinds({"left"});
        s.region = polygon(v, what);
      } else if (k == "scenecut") {
        for_kinds({"left"});
        if (v.type != Json::kBool) fail(v, what + " must be true or false");
        s.scenecut = v.boolean;
      } else if (k == "weights") {
        for_kinds({"plate"});
        s.weights_dir = string(v, what);
        if (s.weights_dir.empty()) fail(v, what + " must name a directory");
      } else if (k == "save") {
        for_kinds({"trajectories"});
        s.save_path = string(v, what);
        if (s.save_path.empty()) fail(v, what + " must name a file");
      } else {
        fail(v, "unknown field \"" + k + "\" in a " + s.kind + " analytic");
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
  std::vector<std::string> inputs;
  for (const auto &f : doc.fields) {
    if (f.first == "analytics") {
      analytics = &f.second;
    } else if (f.first == "inputs") {
      if (f.second.type != Json::kArray) r.fail(f.second, "\"inputs\" must be an array of file names");
      for (const Json &i : f.second.items) inputs.push_back(r.string(i, "each input"));
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
  if (plan.inputs.empty()) plan.inputs = inputs;
}

void load_config(const std::string &path, RunPlan &plan) {
  std::ifstream in(path, std::ios::binary);
  if (!in) usage_error("cannot read config '" + path + "'");
  std::ostringstream ss;
  ss << in.rdbuf();
  load_config_text(ss.str(), path, plan);
}

}  // namespace vt
