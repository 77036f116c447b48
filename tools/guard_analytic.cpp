// guard: crossings of a guard line, from the library's guard; a crossing in the direction line's direction is a
// trigger, any other a cross.
#include <cmath>
#include <cstdio>

#include "vorn_guard.h"

#include "analytic_registry.h"
#include "library_frame.h"
#include "scene.h"

namespace vt {

namespace {

class GuardAnalytic : public Analytic {
 public:
  GuardAnalytic(const AnalyticSettings &settings, const StreamInfo &info)
      : settings_(settings),
        width_(info.width),
        height_(info.height),
        guard_(create_object(vorn_guard_create, model_params<vorn_guard_params>(settings, info), settings.name,
                             "the guard")) {
    const Segment l = *settings.segment("line"), d = *settings.segment("direction");
    vorn_result r = vorn_guard_set_lines(guard_.get(), vorn_line{l.a.x, l.a.y, l.b.x, l.b.y},
                                         vorn_line{d.a.x, d.a.y, d.b.x, d.b.y}, settings.integer("half_width"));
    if (r != VORN_OK) library_failed(settings.name, "setting the guard lines", r);
  }

  void feed(const Frame &frame, std::vector<Event> &events) override {
    vorn_result r = vorn_guard_put_image(guard_.get(), const_cast<uint8_t *>(bmp_.fill(frame)), VORN_FRAME_BMP24);
    check_frame_result(r, settings_.name, frame, learning_, events);
    traces_.clear();
    for (int i = 0; i < 8; ++i) {
      vorn_line t{};
      if (vorn_guard_get_trace(guard_.get(), i, &t) != VORN_OK) break;
      Trace tr{{t.x0, t.y0}, {t.x1, t.y1}, vorn_guard_is_cross_guard_line(guard_.get(), uint32_t(i)) == 1,
               vorn_guard_is_trigger_guard_line(guard_.get(), uint32_t(i)) == 1};
      traces_.push_back(tr);
    }
    vorn_mono_image *fg = nullptr;
    fg_ = whole_frame_mask(vorn_guard_get_fg(guard_.get(), &fg), fg, width_, height_);
    uint32_t ev = 0;
    vorn_guard_get_event(guard_.get(), &ev);
    // The guard's event stays up while the same features are followed: one episode is one crossing. Should the
    // verdict change within the episode, the crossing is counted again under its new kind and taken off the old.
    if (ev != shown_ && ev != VORN_GUARD_EVENT_NONE) {
      if (shown_ == VORN_GUARD_EVENT_TRIGGER) --triggers_;
      if (shown_ == VORN_GUARD_EVENT_CROSS) --crosses_;
      if (ev == VORN_GUARD_EVENT_TRIGGER) ++triggers_;
      else ++crosses_;
      Event e;
      e.kind = ev == VORN_GUARD_EVENT_TRIGGER ? "trigger" : "cross";
      if (shown_ != VORN_GUARD_EVENT_NONE) e.kind += "_revised";
      for (size_t i = 0; i < traces_.size(); ++i)
        if (traces_[i].crossed) {
          e.ids.push_back(static_cast<int>(i));
          const Trace &t = traces_[i];
          e.boxes.push_back(Box{std::min(t.from.x, t.to.x), std::min(t.from.y, t.to.y),
                                std::max(t.from.x, t.to.x) + 1, std::max(t.from.y, t.to.y) + 1});
        }
      e.counts = {{"triggers", triggers_}, {"crosses", crosses_}};
      events.push_back(e);
    }
    shown_ = ev;
  }

  void draw(Canvas &c) const override {
    if (fg_) c.tint_mask(fg_, width_, height_, colors::kRed, 100);
    draw_analytic_geometry(c, settings_);
    for (const Trace &t : traces_) {
      Rgb col = t.triggered ? colors::kGreen : t.crossed ? colors::kYellow : colors::kWhite;
      c.trace({t.from, t.to}, col);
    }
    char text[96];
    std::snprintf(text, sizeof text, "%s TRIGGER %lld  CROSS %lld", settings_.name.c_str(),
                  static_cast<long long>(triggers_), static_cast<long long>(crosses_));
    draw_label(c, text, shown_ == VORN_GUARD_EVENT_NONE ? colors::kWhite : colors::kGreen);
  }

  std::vector<SummaryRow> summary() const override {
    return {{settings_.name, "triggers (guarded direction)", std::to_string(triggers_)},
            {settings_.name, "crosses (other direction)", std::to_string(crosses_)},
            {settings_.name, "learning frames", std::to_string(learning_)}};
  }

  std::vector<TruthRow> against(const SceneTruth &t) const override {
    TruthRow a{settings_.name, "triggers (down)", triggers_, t.crossings_down(), false};
    TruthRow b{settings_.name, "crosses (up)", crosses_, t.crossings_up(), false};
    a.ok = a.found == a.truth;
    b.ok = b.found == b.truth;
    return {a, b};
  }

  const uint8_t *mask() const override { return fg_; }

 private:
  struct Trace {
    Pt from, to;
    bool crossed, triggered;
  };

  AnalyticSettings settings_;
  int width_, height_;
  LibraryPtr<vorn_guard, vorn_guard_destroy> guard_;
  Bmp24Frame bmp_;
  std::vector<Trace> traces_;
  const uint8_t *fg_ = nullptr;
  uint32_t shown_ = VORN_GUARD_EVENT_NONE;
  int64_t triggers_ = 0, crosses_ = 0, learning_ = 0;
};

// The band (a rectangle of half-width `half_width` around the line, tinted), the line and the direction arrow.
void draw_guard_geometry(Canvas &c, const AnalyticSettings &s) {
  const std::optional<Segment> line = s.segment("line"), direction = s.segment("direction");
  if (!line) return;
  const Segment &l = *line;
  const int half_width = s.integer("half_width");
  double dx = l.b.x - l.a.x, dy = l.b.y - l.a.y, len = std::sqrt(dx * dx + dy * dy);
  if (len > 0) {
    double nx = -dy / len * half_width, ny = dx / len * half_width;
    auto at = [](double x, double y) { return Pt{int(std::lround(x)), int(std::lround(y))}; };
    Polygon band = {at(l.a.x + nx, l.a.y + ny), at(l.b.x + nx, l.b.y + ny), at(l.b.x - nx, l.b.y - ny),
                    at(l.a.x - nx, l.a.y - ny)};
    c.fill_polygon(band, colors::kYellow, 40);
    c.polyline(band, colors::kYellow, 1, true);
  }
  c.line(l.a, l.b, colors::kRed, 3);
  if (direction) c.arrow(direction->a, direction->b, colors::kOrange, 2);
}

void validate_guard(const AnalyticSettings &s, int w, int h) {
  require_segment(s, "line", w, h, s.name + ": guard line");
  require_segment(s, "direction", w, h, s.name + ": direction line");
  const int half_width = s.integer("half_width");
  if (half_width > std::max(w, h))
    usage_error(s.name + ": band half-width " + std::to_string(half_width) + " must lie in 1.." +
                std::to_string(std::max(w, h)));
}

void guard_from_scene(AnalyticSettings &s, const SceneTruth &t) {
  const Segment &l = t.guard_line, &d = t.direction_line;
  if (!s.has("line")) s.set_points("line", {l.a, l.b});
  if (!s.has("direction")) s.set_points("direction", {d.a, d.b});
}

std::unique_ptr<Analytic> create_guard(const AnalyticSettings &settings, const StreamInfo &stream) {
  return std::make_unique<GuardAnalytic>(settings, stream);
}

}  // namespace

extern const AnalyticEntry guard_analytic = {
    "guard",
    "crossings of a guard line: a trigger in the direction line's direction, a cross in the other",
    true,
    false,
    {{"line", SettingType::kSegment, "X0,Y0,X1,Y1", "the guard line"},
     {"direction", SettingType::kSegment, "X0,Y0,X1,Y1", "the guarded direction, from its first point to its second"},
     {"half_width", SettingType::kInteger, "N", "half-width of the band around the line, in pixels", 40, 1, 100000}},
    create_guard,
    validate_guard,
    draw_guard_geometry,
    guard_from_scene,
};

}  // namespace vt
