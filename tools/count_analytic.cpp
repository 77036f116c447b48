// count: passes between two areas, from the library's object counter fed with a background model's foreground.
#include <algorithm>
#include <cstdio>

#include "vorn_counter.h"

#include "analytic_registry.h"
#include "bk_model_runner.h"
#include "scene.h"

namespace vt {

namespace {

// The library's counter over the settings' two areas (stopped), or a runtime error.
vorn_counter *make_counter(const AnalyticSettings &settings, int width, int height) {
  std::vector<vorn_point> a0 = closed_points(*settings.polygon("area0")),
                          a1 = closed_points(*settings.polygon("area1"));
  vorn_counter_params p{};
  p.area0_points = a0.data();
  p.area1_points = a1.data();
  p.area0_count = static_cast<int32_t>(a0.size());
  p.area1_count = static_cast<int32_t>(a1.size());
  p.width = static_cast<uint32_t>(width);
  p.height = static_cast<uint32_t>(height);
  p.sensitivity = static_cast<uint32_t>(settings.integer("sensitivity"));
  p.max_frame = static_cast<uint32_t>(settings.integer("max_frame"));
  p.logic = static_cast<uint32_t>(settings.integer("logic"));
  vorn_counter *c = vorn_counter_create(&p);
  if (!c) runtime_error(settings.name + ": the object counter could not be created");
  return c;
}

class CountAnalytic : public Analytic {
 public:
  CountAnalytic(const AnalyticSettings &settings, const StreamInfo &info)
      : settings_(settings), width_(info.width), height_(info.height),
        model_(settings.name, settings.bk_type, 4, info.width, info.height, settings.bk_params) {
    counter_.reset(make_counter(settings, info.width, info.height));
    vorn_result r = vorn_counter_start(counter_.get());
    if (r != VORN_OK) library_failed(settings.name, "starting the counter", r);
  }
  void feed(const Frame &frame, std::vector<Event> &events) override {
    if (flash_ > 0) --flash_;
    if (model_.feed(frame) != BkModelRunner::Step::kForeground) return;
    vorn_result r = vorn_counter_set_mask(counter_.get(), model_.mask());
    if (r != VORN_OK) library_failed(settings_.name, "counting frame " + std::to_string(frame.index), r);
    uint32_t ev = vorn_counter_get_event(counter_.get());
    count_[0] = vorn_counter_get_count(counter_.get(), 0);
    count_[1] = vorn_counter_get_count(counter_.get(), 1);
    if (ev == 1 || ev == 2) {
      Event e;
      e.kind = "pass";
      e.ids = {ev == 1 ? 0 : 1};  // the area the pass started from
      e.counts = {{"from_area0", count_[0]}, {"from_area1", count_[1]}};
      events.push_back(e);
      flash_ = 12;
      last_from_ = ev == 1 ? 0 : 1;
    }
  }

  void draw(Canvas &c) const override {
    c.tint_mask(model_.mask(), width_, height_, colors::kYellow, 90);
    draw_analytic_geometry(c, settings_);
    if (flash_ > 0) {
      c.fill_polygon(*settings_.polygon(last_from_ == 0 ? "area1" : "area0"), colors::kWhite, 120);
    }
    char text[96];
    std::snprintf(text, sizeof text, "%s A0>A1 %lld  A1>A0 %lld", settings_.name.c_str(),
                  static_cast<long long>(count_[0]), static_cast<long long>(count_[1]));
    draw_label(c, text, colors::kCyan);
  }

  std::vector<SummaryRow> summary() const override {
    return {{settings_.name, "passes area0->area1", std::to_string(count_[0])},
            {settings_.name, "passes area1->area0", std::to_string(count_[1])},
            {settings_.name, "learning frames", std::to_string(model_.learning_frames())}};
  }

  std::vector<TruthRow> against(const SceneTruth &t) const override {
    TruthRow a{settings_.name, "passes area0->area1", count_[0], t.passes_from(0), false};
    TruthRow b{settings_.name, "passes area1->area0", count_[1], t.passes_from(1), false};
    a.ok = a.found == a.truth;
    b.ok = b.found == b.truth;
    return {a, b};
  }

  const uint8_t *mask() const override { return model_.mask(); }

 private:
  AnalyticSettings settings_;
  int width_, height_;
  BkModelRunner model_;
  LibraryPtr<vorn_counter, vorn_counter_destroy> counter_;
  int64_t count_[2] = {0, 0};
  int flash_ = 0;  // frames left to light the area a pass just ended in
  int last_from_ = 0;
};

// The two areas, tinted and labelled.
void draw_count_geometry(Canvas &c, const AnalyticSettings &s) {
  const char *const fields[] = {"area0", "area1"}, *const labels[] = {"A0", "A1"};
  const Rgb tints[] = {colors::kCyan, colors::kMagenta};
  for (int i = 0; i < 2; ++i) {
    const std::optional<Polygon> area = s.polygon(fields[i]);
    if (!area) continue;
    c.fill_polygon(*area, tints[i], 50);
    c.polyline(*area, tints[i], 2, true);
    c.text((*area)[0].x + 4, (*area)[0].y + 4, labels[i], tints[i], 2);
  }
}

// A pass is told from the order in which the two areas empty; a walker inside both at once empties them together,
// so areas that share pixels cannot tell its direction. The counter's own rasterising decides what they share.
void validate_count(const AnalyticSettings &s, int w, int h) {
  require_polygon(s, "area0", w, h, s.name + ": area 0");
  require_polygon(s, "area1", w, h, s.name + ": area 1");
  const Polygon a0 = *s.polygon("area0"), a1 = *s.polygon("area1");
  int bx = 1, by = 1;
  const bool same = a0.size() == a1.size() && std::equal(a0.begin(), a0.end(), a1.begin(), [](const Pt &p, const Pt &q) {
                      return p.x == q.x && p.y == q.y;
                    });
  if (same) usage_error(s.name + ": area 0 and area 1 are the same polygon; draw two areas one after the other across the passage");
  // The areas lie inside the frame, so a counter just big enough for them rasterises them as the real one will
  // (and a frame size that is not known yet, given as a huge bound, costs nothing).
  for (const Polygon *a : {&a0, &a1})
    for (const Pt &p : *a) {
      bx = std::max(bx, p.x + 1);
      by = std::max(by, p.y + 1);
    }
  w = std::min(w, bx);
  h = std::min(h, by);
  LibraryPtr<vorn_counter, vorn_counter_destroy> counter(make_counter(s, w, h));
  const uint8_t *bits = vorn_counter_get_mask(counter.get());
  int64_t shared = 0, first = -1;
  for (int64_t i = 0; bits && i < int64_t(w) * h; ++i)
    if ((bits[i] & 3) == 3 && shared++ == 0) first = i;
  if (shared > 0)
    usage_error(s.name + ": area 0 and area 1 overlap (" + std::to_string(shared) + " pixels, the first at " +
                std::to_string(first % w) + "," + std::to_string(first / w) +
                "); someone inside both empties them at once and the direction of the pass is lost: draw them apart");
}

void count_from_scene(AnalyticSettings &s, const SceneTruth &t) {
  if (!s.has("area0")) s.set_points("area0", t.area0);
  if (!s.has("area1")) s.set_points("area1", t.area1);
}

std::unique_ptr<Analytic> create_count(const AnalyticSettings &settings, const StreamInfo &stream) {
  return std::make_unique<CountAnalytic>(settings, stream);
}

}  // namespace

extern const AnalyticEntry count_analytic = {
    "count",
    "passes between two areas, counted by the area they start from",
    true,
    false,
    {{"area0", SettingType::kPolygon, "X,Y,X,Y,X,Y,...", "the first area"},
     {"area1", SettingType::kPolygon, "X,Y,X,Y,X,Y,...", "the second area"},
     // 10: an area is occupied once 9 % of it is foreground, about a third of one person in a doorway-sized area.
     {"sensitivity", SettingType::kInteger, "S", "how little foreground occupies an area", 10, 0, 100},
     {"max_frame", SettingType::kInteger, "N", "frames a begun pass may wait for its second area (0: 200)", 0, 0, 1000000000},
     {"logic", SettingType::kInteger, "0|1", "1: a begun pass that times out still counts", 0, 0, 1}},
    create_count,
    validate_count,
    draw_count_geometry,
    count_from_scene,
};

}  // namespace vt
