#include "eval.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <functional>
#include <set>
#include <sstream>
#include <tuple>
#include <cstdlib>

#include "error.h"
#include "json.h"

namespace vt {

namespace {

[[noreturn]] void bad(const std::string &origin, const Json &at, const std::string &what) {
  usage_error(origin + ":" + std::to_string(at.line) + ":" + std::to_string(at.column) + ": " + what);
}

const Json &need(const Json &obj, const std::string &key, Json::Type type, const std::string &origin) {
  const Json *v = obj.find(key);
  if (!v) bad(origin, obj, "'" + key + "' is missing");
  if (v->type != type) bad(origin, *v, "'" + key + "' is not a " + Json{type}.type_name());
  return *v;
}

std::vector<int> numbers(const Json &arr, size_t count, const std::string &origin) {
  if (arr.type != Json::kArray || (count && arr.items.size() != count))
    bad(origin, arr, "expected " + std::to_string(count) + " numbers");
  std::vector<int> out;
  for (const Json &n : arr.items) {
    if (n.type != Json::kNumber) bad(origin, n, "expected a number");
    out.push_back(static_cast<int>(n.number));
  }
  return out;
}

Box box_of(const Json &arr, const std::string &origin) {
  std::vector<int> v = numbers(arr, 4, origin);
  return Box{v[0], v[1], v[2], v[3]};
}

constexpr int kSceneAreaTolerance = 50;

// The built-in scene's truth: its guard crossings (down is the guarded direction) and its passes.
void read_scene_truth(const Json &doc, Truth &t, const std::string &origin) {
  TruthLine guard{"guard", {}};
  for (const Json &c : need(need(doc, "guard", Json::kObject, origin), "crossings", Json::kArray, origin).items)
    guard.crossings.push_back(
        {static_cast<int64_t>(need(c, "frame", Json::kNumber, origin).number),
         need(c, "direction", Json::kString, origin).text == "down", false});
  // A pass is reported when the second area is left, some way past the scene's moment of passing.
  TruthLine count{"count", {}, kSceneAreaTolerance};
  for (const Json &p : need(need(doc, "count", Json::kObject, origin), "passes", Json::kArray, origin).items)
    count.crossings.push_back({static_cast<int64_t>(need(p, "frame", Json::kNumber, origin).number),
                               need(p, "from", Json::kNumber, origin).number == 0, false});
  t.lines = {guard, count};
}

void read_marked_truth(const Json &doc, Truth &t, const std::string &origin) {
  if (const Json *tol = doc.find("tolerance")) t.tolerance = static_cast<int>(tol->number);
  for (const Json &l : need(doc, "lines", Json::kArray, origin).items) {
    TruthLine line{need(l, "name", Json::kString, origin).text, {}};
    if (const Json *tol = l.find("tolerance")) line.tolerance = static_cast<int>(tol->number);
    // Two areas on either side of a line are passed exactly when the line is crossed.
    if (const Json *same = l.find("same_as")) {
      auto it = std::find_if(t.lines.begin(), t.lines.end(), [&](const TruthLine &o) { return o.name == same->text; });
      if (it == t.lines.end()) bad(origin, *same, "'same_as' names no earlier line");
      line.crossings = it->crossings;
      t.lines.push_back(line);
      continue;
    }
    for (const Json &c : need(l, "crossings", Json::kArray, origin).items) {
      const std::string &dir = need(c, "dir", Json::kString, origin).text;
      if (dir != "in" && dir != "out") bad(origin, c, "'dir' must be \"in\" or \"out\"");
      const Json *opt = c.find("optional");
      line.crossings.push_back({static_cast<int64_t>(need(c, "frame", Json::kNumber, origin).number), dir == "in",
                                opt && opt->type == Json::kBool && opt->boolean});
    }
    t.lines.push_back(line);
  }
  const Json *tracks = doc.find("tracks");
  if (!tracks) return;
  if (const Json *ia = tracks->find("ignore_above")) t.ignore_above = static_cast<int>(ia->number);
  for (const Json &f : need(*tracks, "frames", Json::kArray, origin).items) {
    std::vector<TruthObject> &objs = t.track_frames[static_cast<int64_t>(need(f, "frame", Json::kNumber, origin).number)];
    for (const Json &o : need(f, "objects", Json::kArray, origin).items)
      objs.push_back({static_cast<int>(need(o, "id", Json::kNumber, origin).number),
                      box_of(need(o, "box", Json::kArray, origin), origin)});
  }
}

// The direction of a crossing event, or 0 when the event is no crossing.
int direction_of(const ScoredEvent &e) {
  std::string k = e.kind;
  const std::string revised = "_revised";
  if (k.size() > revised.size() && k.compare(k.size() - revised.size(), revised.size(), revised) == 0)
    k.resize(k.size() - revised.size());
  if (k == "trigger" || k == "in") return 1;
  if (k == "cross" || k == "out") return -1;
  if (k == "pass" && !e.ids.empty()) return e.ids[0] == 0 ? 1 : -1;
  return 0;
}

// Largest one-to-one pairing of events with truth crossings of the same direction within the tolerance
// (augmenting paths). Returns, per event, the crossing it is paired with or -1.
std::vector<int> pair_up(const std::vector<std::pair<int64_t, int>> &events, const std::vector<TruthCrossing> &truth,
                         int tolerance) {
  std::vector<int> event_of(truth.size(), -1), crossing_of(events.size(), -1);
  auto fits = [&](size_t e, size_t c) {
    return (events[e].second > 0) == truth[c].in && std::llabs(events[e].first - truth[c].frame) <= tolerance;
  };
  for (size_t e = 0; e < events.size(); ++e) {
    std::vector<char> seen(truth.size(), 0);
    std::function<bool(size_t)> augment = [&](size_t ev) {
      for (size_t c = 0; c < truth.size(); ++c) {
        if (seen[c] || !fits(ev, c)) continue;
        seen[c] = 1;
        if (event_of[c] < 0 || augment(static_cast<size_t>(event_of[c]))) {
          event_of[c] = static_cast<int>(ev);
          crossing_of[ev] = static_cast<int>(c);
          return true;
        }
      }
      return false;
    };
    augment(e);
  }
  return crossing_of;
}

double overlap(const Box &a, const Box &b) {
  const int w = std::min(a.right, b.right) - std::max(a.left, b.left);
  const int h = std::min(a.bottom, b.bottom) - std::max(a.top, b.top);
  if (w <= 0 || h <= 0) return 0.0;
  const double inter = double(w) * h;
  return inter / (double(a.width()) * a.height() + double(b.width()) * b.height() - inter);
}

constexpr double kMinOverlap = 0.4;

}  // namespace

double CrossingScore::precision() const {
  return hits + false_events ? double(hits) / (hits + false_events) : 0.0;
}
double CrossingScore::recall() const { return hits + misses ? double(hits) / (hits + misses) : 0.0; }
double CrossingScore::f1() const {
  const double p = precision(), r = recall();
  return p + r > 0 ? 2 * p * r / (p + r) : 0.0;
}
double TrackScore::mota() const {
  return objects ? 1.0 - double(misses + false_boxes + switches) / objects : 0.0;
}

Truth read_truth(const std::string &text, const std::string &origin) {
  const Json doc = parse_json(text, origin);
  if (doc.type != Json::kObject) bad(origin, doc, "expected an object");
  Truth t;
  if (doc.find("guard") && doc.find("count")) read_scene_truth(doc, t, origin);
  else read_marked_truth(doc, t, origin);
  return t;
}

std::vector<ScoredEvent> read_events(const std::string &text, const std::string &origin) {
  std::vector<ScoredEvent> out;
  std::istringstream in(text);
  std::string line;
  for (int n = 1; std::getline(in, line); ++n) {
    const size_t start = line.find_first_not_of(" \t\r");
    if (start == std::string::npos || line[start] != '{') continue;
    const std::string where = origin + " line " + std::to_string(n);
    const Json e = parse_json(line, where);
    ScoredEvent s;
    s.frame = static_cast<int64_t>(need(e, "frame", Json::kNumber, where).number);
    s.analytic = need(e, "analytic", Json::kString, where).text;
    s.kind = need(e, "kind", Json::kString, where).text;
    if (const Json *ids = e.find("ids")) s.ids = numbers(*ids, 0, where);
    if (const Json *boxes = e.find("boxes"))
      for (const Json &b : boxes->items) s.boxes.push_back(box_of(b, where));
    if (const Json *values = e.find("values"))
      if (const Json *l = values->find("line")) s.line = static_cast<int>(l->number);
    out.push_back(s);
  }
  return out;
}

std::vector<CrossingScore> score_crossings(const Truth &truth, const std::vector<ScoredEvent> &events) {
  std::set<std::string> line_names;
  for (const TruthLine &l : truth.lines) line_names.insert(l.name);
  // Per (analytic, line): the crossing events in order, revisions applied.
  std::map<std::pair<std::string, int>, std::vector<std::pair<int64_t, int>>> by_target;
  std::vector<std::pair<std::string, int>> order;
  for (const ScoredEvent &e : events) {
    const int dir = direction_of(e);
    if (dir == 0) continue;
    int line = -1;
    for (size_t i = 0; i < truth.lines.size(); ++i)
      if (truth.lines[i].name == e.analytic) line = static_cast<int>(i);
    if (line < 0 && !line_names.count(e.analytic) && e.line >= 0 && e.line < static_cast<int>(truth.lines.size()))
      line = e.line;
    if (line < 0) continue;
    const auto key = std::make_pair(e.analytic, line);
    auto &list = by_target[key];
    if (list.empty() && std::find(order.begin(), order.end(), key) == order.end()) order.push_back(key);
    if (e.kind.find("_revised") != std::string::npos && !list.empty()) list.pop_back();
    list.push_back({e.frame, dir});
  }
  // Each analytic's lines in the truth's order.
  std::map<std::string, size_t> first_seen;
  for (size_t i = 0; i < order.size(); ++i) first_seen.emplace(order[i].first, i);
  std::stable_sort(order.begin(), order.end(), [&](const auto &a, const auto &b) {
    const size_t fa = first_seen[a.first], fb = first_seen[b.first];
    return fa != fb ? fa < fb : a.second < b.second;
  });
  std::vector<CrossingScore> out;
  for (const auto &key : order) {
    const TruthLine &line = truth.lines[static_cast<size_t>(key.second)];
    std::vector<TruthCrossing> firm, doubtful;
    for (const TruthCrossing &c : line.crossings) (c.optional ? doubtful : firm).push_back(c);
    const auto &evs = by_target[key];
    const int tolerance = line.tolerance >= 0 ? line.tolerance : truth.tolerance;
    std::vector<int> to_firm = pair_up(evs, firm, tolerance);
    std::vector<std::pair<int64_t, int>> rest;
    for (size_t i = 0; i < evs.size(); ++i)
      if (to_firm[i] < 0) rest.push_back(evs[i]);
    std::vector<int> to_doubtful = pair_up(rest, doubtful, tolerance);
    CrossingScore s{key.first, line.name};
    s.hits = static_cast<int>(evs.size() - rest.size());
    s.false_events = static_cast<int>(std::count(to_doubtful.begin(), to_doubtful.end(), -1));
    s.misses = static_cast<int>(firm.size()) - s.hits;
    out.push_back(s);
  }
  return out;
}

std::vector<TrackScore> score_tracks(const Truth &truth, const std::vector<ScoredEvent> &events) {
  // Hypotheses per analytic and labelled frame.
  std::map<std::string, std::map<int64_t, std::vector<TruthObject>>> hyp;
  for (const ScoredEvent &e : events) {
    if (e.kind != "boxes" || !truth.track_frames.count(e.frame)) continue;
    auto &list = hyp[e.analytic][e.frame];
    for (size_t i = 0; i < e.boxes.size() && i < e.ids.size(); ++i)
      if (truth.ignore_above < 0 || e.boxes[i].bottom >= truth.ignore_above) list.push_back({e.ids[i], e.boxes[i]});
  }
  std::vector<TrackScore> out;
  for (const auto &kv : hyp) {
    TrackScore s{kv.first};
    std::map<int, int> last_match;  // truth id -> hypothesis id of its last match
    std::map<int, bool> was_matched;  // truth id -> matched on the previous labelled frame it appeared in
    for (const auto &tf : truth.track_frames) {
      const std::vector<TruthObject> &objs = tf.second;
      auto found = kv.second.find(tf.first);
      const std::vector<TruthObject> none;
      const std::vector<TruthObject> &boxes = found == kv.second.end() ? none : found->second;
      std::vector<int> hyp_of(objs.size(), -1);
      std::vector<char> used(boxes.size(), 0);
      // Keep last frame's pairs that still overlap enough.
      for (size_t o = 0; o < objs.size(); ++o) {
        auto lm = last_match.find(objs[o].id);
        if (lm == last_match.end()) continue;
        for (size_t h = 0; h < boxes.size(); ++h)
          if (!used[h] && boxes[h].id == lm->second && overlap(objs[o].box, boxes[h].box) >= kMinOverlap) {
            hyp_of[o] = static_cast<int>(h);
            used[h] = 1;
          }
      }
      // Then the rest by greatest overlap.
      std::vector<std::tuple<double, size_t, size_t>> pairs;
      for (size_t o = 0; o < objs.size(); ++o)
        for (size_t h = 0; h < boxes.size(); ++h) {
          const double v = overlap(objs[o].box, boxes[h].box);
          if (hyp_of[o] < 0 && !used[h] && v >= kMinOverlap) pairs.emplace_back(v, o, h);
        }
      std::sort(pairs.rbegin(), pairs.rend());
      for (const auto &p : pairs) {
        const size_t o = std::get<1>(p), h = std::get<2>(p);
        if (hyp_of[o] >= 0 || used[h]) continue;
        hyp_of[o] = static_cast<int>(h);
        used[h] = 1;
      }
      s.objects += static_cast<int>(objs.size());
      for (size_t o = 0; o < objs.size(); ++o) {
        const int id = objs[o].id;
        if (hyp_of[o] < 0) {
          s.misses += 1;
          if (was_matched.count(id)) was_matched[id] = false;
          continue;
        }
        const int hid = boxes[static_cast<size_t>(hyp_of[o])].id;
        auto lm = last_match.find(id);
        if (lm != last_match.end() && lm->second != hid) s.switches += 1;
        if (was_matched.count(id) && !was_matched[id]) s.fragments += 1;
        last_match[id] = hid;
        was_matched[id] = true;
      }
      s.false_boxes += static_cast<int>(std::count(used.begin(), used.end(), 0));
    }
    out.push_back(s);
  }
  return out;
}

std::string eval_table(const std::vector<CrossingScore> &crossings, const std::vector<TrackScore> &tracks) {
  std::string out;
  char row[160];
  if (!crossings.empty()) {
    std::snprintf(row, sizeof row, "%-14s %-10s %5s %5s %5s %9s %7s %5s\n", "analytic", "line", "hits", "false",
                  "miss", "precision", "recall", "F1");
    out += row;
    for (const CrossingScore &s : crossings) {
      std::snprintf(row, sizeof row, "%-14s %-10s %5d %5d %5d %9.2f %7.2f %5.2f\n", s.analytic.c_str(),
                    s.target.c_str(), s.hits, s.false_events, s.misses, s.precision(), s.recall(), s.f1());
      out += row;
    }
  }
  if (!tracks.empty()) {
    if (!out.empty()) out += "\n";
    std::snprintf(row, sizeof row, "%-14s %7s %5s %5s %9s %9s %6s\n", "analytic", "objects", "miss", "false",
                  "switches", "fragments", "MOTA");
    out += row;
    for (const TrackScore &s : tracks) {
      std::snprintf(row, sizeof row, "%-14s %7d %5d %5d %9d %9d %6.2f\n", s.analytic.c_str(), s.objects, s.misses,
                    s.false_boxes, s.switches, s.fragments, s.mota());
      out += row;
    }
  }
  return out;
}

}  // namespace vt

namespace vt {

int eval_files(const std::string &events_path, const std::string &truth_path) {
  auto slurp = [](const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) runtime_error("cannot read '" + path + "'");
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
  };
  const Truth truth = read_truth(slurp(truth_path), truth_path);
  const std::vector<ScoredEvent> events = read_events(slurp(events_path), events_path);
  const std::string table = eval_table(score_crossings(truth, events), score_tracks(truth, events));
  std::fputs(table.empty() ? "no events to score against this truth\n" : table.c_str(), stdout);
  return kExitOk;
}

}  // namespace vt
