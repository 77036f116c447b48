// linecount: people (or anything moving) counted per direction as they cross one or more lines, from the
// library's line counter: its own tracks, each counted once per crossing.
#include <cmath>
#include <cstdio>
#include <map>

#include "vorn_linecount.h"

#include "analytic_registry.h"
#include "library_frame.h"
#include "scene.h"

namespace vt {

namespace {

const char *const kLineFields[] = {"line", "line2", "line3", "line4"};
constexpr size_t kTraceLength = 60;  // anchor points kept per track for drawing

class LinecountAnalytic : public Analytic {
 public:
  LinecountAnalytic(const AnalyticSettings &settings, const StreamInfo &info)
      : settings_(settings), width_(info.width), height_(info.height), counter_(make(settings, info)) {
    for (const char *field : kLineFields) {
      std::optional<Polygon> pts = settings.polygon(field);
      if (!pts) continue;
      std::vector<vorn_point> p;
      for (const Pt &q : *pts) p.push_back(vorn_point{q.x, q.y});
      uint32_t index = 0;
      vorn_result r = vorn_linecount_add_line(counter_.get(), p.data(), static_cast<uint32_t>(p.size()), &index);
      if (r != VORN_OK) library_failed(settings.name, std::string("adding ") + field, r);
      lines_.push_back(*pts);
    }
    counts_.assign(lines_.size(), {0, 0});
  }

  void feed(const Frame &frame, std::vector<Event> &events) override {
    vorn_result r = vorn_linecount_process(counter_.get(), const_cast<uint8_t *>(bmp_.fill(frame)), VORN_FRAME_BMP24);
    check_frame_result(r, settings_.name, frame, learning_, events);
    const vorn_linecount_event *ev = nullptr;
    uint32_t n = 0;
    if (vorn_linecount_get_events(counter_.get(), &ev, &n) != VORN_OK) n = 0;
    for (uint32_t i = 0; i < n; ++i) {
      const vorn_linecount_event &c = ev[i];
      auto &count = counts_.at(c.line);
      (c.direction > 0 ? count.first : count.second) += 1;
      Event e;
      e.kind = c.direction > 0 ? "in" : "out";
      e.ids = {c.id};
      e.boxes = {box_of(c.box)};
      e.counts = {{"in", count.first}, {"out", count.second}};
      e.values = {{"line", static_cast<double>(c.line)}};
      events.push_back(e);
      flash_[c.id] = 12;
    }
    const vorn_linecount_track *tracks = nullptr;
    if (vorn_linecount_get_tracks(counter_.get(), &tracks, &n) != VORN_OK) n = 0;
    std::map<int, std::vector<Pt>> trails;
    live_.clear();
    for (uint32_t i = 0; i < n; ++i) {
      const Box b = box_of(tracks[i].box);
      live_.push_back({tracks[i].id, b, tracks[i].state == VORN_LINECOUNT_LOST});
      std::vector<Pt> &t = trails[tracks[i].id];
      t = std::move(trails_[tracks[i].id]);
      t.push_back(Pt{(b.left + b.right) / 2, b.bottom});
      if (t.size() > kTraceLength) t.erase(t.begin());
    }
    trails_ = std::move(trails);
    for (auto it = flash_.begin(); it != flash_.end();) it = --it->second > 0 ? std::next(it) : flash_.erase(it);
    add_boxes_event(
        settings_.integer("boxes_every"), frame,
        [this](auto fn) {
          for (const Live &l : live_) fn(l.id, l.box);
        },
        events);
    vorn_mono_image *fg = nullptr;
    fg_ = whole_frame_mask(vorn_linecount_get_fg(counter_.get(), &fg), fg, width_, height_);
  }

  void draw(Canvas &c) const override {
    if (fg_) c.tint_mask(fg_, width_, height_, colors::kBlue, 70);
    draw_analytic_geometry(c, settings_);
    for (const Live &l : live_) {
      const bool counted = flash_.count(l.id) != 0;
      const Rgb col = counted ? colors::kGreen : l.lost ? colors::kWhite : id_color(l.id);
      auto trail = trails_.find(l.id);
      if (trail != trails_.end()) c.trace(trail->second, col);
      c.box(l.box, col, counted ? 3 : 2);
      c.text(l.box.left, std::max(0, l.box.top - 18), std::to_string(l.id), col, 2);
    }
    std::string text = settings_.name;
    for (size_t i = 0; i < counts_.size(); ++i)
      text += "  L" + std::to_string(i + 1) + " IN " + std::to_string(counts_[i].first) + " OUT " +
              std::to_string(counts_[i].second);
    draw_label(c, text, colors::kGreen);
  }

  std::vector<SummaryRow> summary() const override {
    std::vector<SummaryRow> rows;
    for (size_t i = 0; i < counts_.size(); ++i) {
      const std::string which = counts_.size() > 1 ? " (line " + std::to_string(i + 1) + ")" : "";
      rows.push_back({settings_.name, "in" + which, std::to_string(counts_[i].first)});
      rows.push_back({settings_.name, "out" + which, std::to_string(counts_[i].second)});
    }
    rows.push_back({settings_.name, "learning frames", std::to_string(learning_)});
    return rows;
  }

  std::vector<TruthRow> against(const SceneTruth &t) const override {
    // The scene's guard line, drawn left to right: "in" is downwards, the guarded direction.
    if (counts_.empty()) return {};
    TruthRow a{settings_.name, "in (down)", counts_[0].first, t.crossings_down(), false};
    TruthRow b{settings_.name, "out (up)", counts_[0].second, t.crossings_up(), false};
    a.ok = a.found == a.truth;
    b.ok = b.found == b.truth;
    return {a, b};
  }

  const uint8_t *mask() const override { return fg_; }

 private:
  struct Live {
    int id;
    Box box;
    bool lost;
  };

  static vorn_linecount *make(const AnalyticSettings &s, const StreamInfo &info) {
    vorn_linecount_params p = {};
    p.width = static_cast<uint32_t>(info.width);
    p.height = static_cast<uint32_t>(info.height);
    p.bk_type = s.bk_type;
    p.format = VORN_FORMAT_RGB;
    p.min_area = static_cast<uint32_t>(s.integer("min_area"));
    p.max_lost = static_cast<uint32_t>(s.integer("max_lost"));
    p.hysteresis = static_cast<uint32_t>(s.integer("hysteresis"));
    p.learn_frames = static_cast<uint32_t>(s.integer("learn_frames"));
    p.split_aspect = static_cast<uint32_t>(s.integer("split_aspect"));
    p.anchor = s.flag("centre_anchor") ? VORN_LINECOUNT_ANCHOR_CENTRE : VORN_LINECOUNT_ANCHOR_BOTTOM;
    return create_object(vorn_linecount_create, p, s.name, "the line counter");
  }

  AnalyticSettings settings_;
  int width_, height_;
  LibraryPtr<vorn_linecount, vorn_linecount_destroy> counter_;
  Bmp24Frame bmp_;
  std::vector<Polygon> lines_;
  std::vector<std::pair<int64_t, int64_t>> counts_;
  std::vector<Live> live_;
  std::map<int, std::vector<Pt>> trails_;
  std::map<int, int> flash_;  // frames a just-counted track stays highlighted
  const uint8_t *fg_ = nullptr;
  int64_t learning_ = 0;
};

void draw_linecount_geometry(Canvas &c, const AnalyticSettings &s) {
  for (const char *field : kLineFields) {
    std::optional<Polygon> pts = s.polygon(field);
    if (!pts || pts->size() < 2) continue;
    c.polyline(*pts, colors::kRed, 3);
    // A small arrow from the middle of the first leg towards the "in" side (right of the drawing direction).
    const Pt a = (*pts)[0], b = (*pts)[1];
    const Pt mid{(a.x + b.x) / 2, (a.y + b.y) / 2};
    const double dx = b.x - a.x, dy = b.y - a.y, len = std::sqrt(dx * dx + dy * dy);
    if (len > 0) c.arrow(mid, Pt{mid.x + int(std::lround(-dy / len * 25)), mid.y + int(std::lround(dx / len * 25))},
                         colors::kOrange, 2);
  }
}

void validate_linecount(const AnalyticSettings &s, int w, int h) {
  if (!s.has("line")) usage_error(s.name + ": line is missing (give --line X,Y,X,Y,...)");
  for (const char *field : kLineFields) {
    std::optional<Polygon> pts = s.polygon(field);
    if (!pts) continue;
    const std::string what = s.name + ": " + field;
    check_inside(*pts, w, h, what);
    if (pts->size() > VORN_LINECOUNT_MAX_POINTS)
      usage_error(what + " has " + std::to_string(pts->size()) + " points; at most " +
                  std::to_string(VORN_LINECOUNT_MAX_POINTS));
    bool length = false;
    for (size_t i = 1; i < pts->size(); ++i) length |= (*pts)[i].x != (*pts)[0].x || (*pts)[i].y != (*pts)[0].y;
    if (!length) usage_error(what + " has zero length");
  }
}

void linecount_from_scene(AnalyticSettings &s, const SceneTruth &t) {
  if (!s.has("line")) s.set_points("line", {t.guard_line.a, t.guard_line.b});
}

std::unique_ptr<Analytic> create_linecount(const AnalyticSettings &settings, const StreamInfo &stream) {
  return std::make_unique<LinecountAnalytic>(settings, stream);
}

}  // namespace

extern const AnalyticEntry linecount_analytic = {
    "linecount",
    "people crossing lines, counted in and out per line from tracks of their own",
    true,
    false,
    {{"line", SettingType::kPolyline, "X,Y,X,Y,...", "the line counted on; \"in\" is to the right of its drawing direction"},
     {"line2", SettingType::kPolyline, "X,Y,X,Y,...", "a second line"},
     {"line3", SettingType::kPolyline, "X,Y,X,Y,...", "a third line"},
     {"line4", SettingType::kPolyline, "X,Y,X,Y,...", "a fourth line"},
     {"learn_frames", SettingType::kInteger, "N", "frames the background is learned from before counting", 10, 1, 100000},
     {"min_area", SettingType::kInteger, "PX", "smallest object box, in pixels", 300, 1, 100000000},
     {"max_lost", SettingType::kInteger, "N", "frames a track survives without being seen", 15, 1, 100000},
     {"hysteresis", SettingType::kInteger, "PX", "distance past the line before a crossing counts", 4, 1, 1000},
     {"split_aspect", SettingType::kInteger, "PCT",
      "width of one object in percent of its height; wider objects are split (0: never)", 0, 0, 1000},
     {"centre_anchor", SettingType::kFlag, "", "count the box centre crossing, not its bottom centre"},
     boxes_every_setting()},
    create_linecount,
    validate_linecount,
    draw_linecount_geometry,
    linecount_from_scene,
};

}  // namespace vt
