// left: objects left behind in a watched region, from the library's left-object detector.
#include <algorithm>
#include <cstdio>

#include "vorn_obld.h"

#include "analytic_registry.h"
#include "bk_model_runner.h"
#include "library_frame.h"
#include "scene.h"

namespace vt {

namespace {

// Intersection over union of two boxes, in percent.
int64_t overlap_percent(const Box &a, const Box &b) {
  int64_t w = std::min(a.right, b.right) - std::max(a.left, b.left);
  int64_t h = std::min(a.bottom, b.bottom) - std::max(a.top, b.top);
  if (w <= 0 || h <= 0) return 0;
  int64_t inter = w * h;
  int64_t uni = int64_t(a.width()) * a.height() + int64_t(b.width()) * b.height() - inter;
  return uni > 0 ? inter * 100 / uni : 0;
}

class LeftAnalytic : public Analytic {
 public:
  LeftAnalytic(const AnalyticSettings &settings, const StreamInfo &info)
      : settings_(settings), width_(info.width), height_(info.height) {
    if (settings.integer("learn_frames") > 0)
      learner_ = std::make_unique<BkModelRunner>(
          settings.name, static_cast<uint32_t>(settings.integer("learn_model")), 4, width_, height_,
          std::vector<std::pair<uint32_t, uint32_t>>{
              {VORN_BK_PARAM_LEARN_FRAMES, static_cast<uint32_t>(settings.integer("learn_frames"))}});
  }

  void feed(const Frame &frame, std::vector<Event> &events) override {
    // The detector's reference background: learned by a background model over the first frames (people walking
    // through are not part of it), or else the first frame itself.
    if (learner_) {
      ++learning_;
      if (learner_->feed(frame) != BkModelRunner::Step::kForeground || !learner_->background_bmp24(background_)) return;
      create(background_.data());
      learner_.reset();
      --learning_;
    }
    uint8_t *data = const_cast<uint8_t *>(bmp_.fill(frame));
    if (!obld_) create(data);
    vorn_result r = vorn_obld_put_image(obld_.get(), data, VORN_FRAME_BMP24);
    check_frame_result(r, settings_.name, frame, learning_, events);
    vorn_mono_image *fg = nullptr;
    fg_ = whole_frame_mask(vorn_obld_get_fg(obld_.get(), &fg), fg, width_, height_);

    vorn_rect rects[32];
    uint32_t n = 0;
    current_.clear();
    if (vorn_obld_get_lost_objects_rect(obld_.get(), rects, &n) == VORN_OK)
      for (uint32_t i = 0; i < n && i < 32; ++i) current_.push_back(clip_box(box_of(rects[i]), width_, height_));
    // A box is one object for as long as some box of the next frames overlaps it by half; it is reported once when
    // it appears and once when it is gone.
    std::vector<Known> still;
    for (const Box &b : current_) {
      auto it = std::find_if(known_.begin(), known_.end(), [&](const Known &k) { return overlap_percent(k.box, b) >= 50; });
      if (it != known_.end()) {
        still.push_back(Known{it->id, b});
        known_.erase(it);
        continue;
      }
      Known k{++last_id_, b};
      still.push_back(k);
      Event e;
      e.kind = "left";
      e.ids = {k.id};
      e.boxes = {b};
      e.counts = {{"objects", static_cast<int64_t>(current_.size())}};
      events.push_back(e);
      if (first_frame_ < 0) {
        first_frame_ = frame.index;
        first_box_ = b;
      }
    }
    for (const Known &k : known_) {
      Event e;
      e.kind = "left_gone";
      e.ids = {k.id};
      e.boxes = {k.box};
      events.push_back(e);
    }
    known_ = still;
  }

  void draw(Canvas &c) const override {
    if (fg_) c.tint_mask(fg_, width_, height_, colors::kOrange, 90);
    draw_analytic_geometry(c, settings_);
    for (const Known &k : known_) {
      c.box(k.box, colors::kRed, 3);
      c.text(k.box.left, std::max(0, k.box.top - 20), "LEFT " + std::to_string(k.id), colors::kRed, 2);
    }
    draw_label(c, settings_.name + " OBJECTS " + std::to_string(known_.size()), colors::kGreen);
  }

  std::vector<SummaryRow> summary() const override {
    return {{settings_.name, "objects left", std::to_string(last_id_)},
            {settings_.name, "first reported at frame",
             first_frame_ >= 0 ? std::to_string(first_frame_) : std::string("none")},
            {settings_.name, "learning frames", std::to_string(learning_)}};
  }

  std::vector<TruthRow> against(const SceneTruth &t) const override {
    if (t.left.frame < 0) return {};
    TruthRow count{settings_.name, "objects left", last_id_, 1, last_id_ == 1};
    // Reported after it was put down (it has to stay a while first), and where it lies.
    TruthRow when{settings_.name, "frame reported (truth: put down)", first_frame_, t.left.frame, first_frame_ > t.left.frame};
    int64_t ov = first_frame_ >= 0 ? overlap_percent(first_box_, t.left.box) : 0;
    TruthRow where{settings_.name, "box overlap with the bag %", ov, 100, ov >= 30};
    return {count, when, where};
  }

  const uint8_t *mask() const override { return fg_; }

 private:
  struct Known {
    int id;
    Box box;
  };

  void create(const uint8_t *first) {
    const Polygon watched = *settings_.polygon("region");
    std::vector<vorn_point> region;
    for (const Pt &p : watched) region.push_back(vorn_point{p.x, p.y});
    vorn_obld_params p{};
    p.width = static_cast<uint32_t>(width_);
    p.height = static_cast<uint32_t>(height_);
    p.frame_type = VORN_FRAME_BMP24;
    p.first_frame = first;
    p.region_pts = region.data();
    p.region_count = static_cast<uint32_t>(region.size());
    p.sensitivity = static_cast<uint32_t>(settings_.integer("sensitivity"));
    p.learn_frames = static_cast<uint32_t>(settings_.integer("learn_frames"));
    vorn_obld *o = create_object(vorn_obld_create, p, settings_.name, "the left-object detector");
    obld_.reset(o);
    vorn_obld_set_frame_threshold(o, static_cast<uint32_t>(settings_.integer("frame_threshold")));
    const int interval = settings_.integer("bk_interval");
    if (interval > 0) vorn_obld_set_bk_frame_interval(o, static_cast<uint32_t>(interval));
    vorn_obld_enable_scenecut(o, settings_.flag("scenecut") ? 1u : 0u);
  }

  AnalyticSettings settings_;
  int width_, height_;
  LibraryPtr<vorn_obld, vorn_obld_destroy> obld_;
  std::unique_ptr<BkModelRunner> learner_;
  std::vector<uint8_t> background_;
  Bmp24Frame bmp_;
  const uint8_t *fg_ = nullptr;
  std::vector<Box> current_;
  std::vector<Known> known_;
  int last_id_ = 0;
  int64_t first_frame_ = -1, learning_ = 0;
  Box first_box_{};
};

void draw_left_geometry(Canvas &c, const AnalyticSettings &s) {
  if (const std::optional<Polygon> region = s.polygon("region")) c.polyline(*region, colors::kGreen, 2, true);
}

void validate_left(const AnalyticSettings &s, int w, int h) { require_polygon(s, "region", w, h, s.name + ": region"); }

void left_from_scene(AnalyticSettings &s, const SceneTruth &t) {
  if (!s.has("region")) s.set_points("region", t.region);
}

std::unique_ptr<Analytic> create_left(const AnalyticSettings &settings, const StreamInfo &stream) {
  return std::make_unique<LeftAnalytic>(settings, stream);
}

}  // namespace

extern const AnalyticEntry left_analytic = {
    "left",
    "objects left behind in a watched region",
    false,
    false,
    {{"region", SettingType::kPolygon, "X,Y,X,Y,X,Y,...", "the watched region"},
     {"sensitivity", SettingType::kInteger, "S", "how small a change counts as an object", 30, 0, 100},
     {"frame_threshold", SettingType::kInteger, "N", "frames an object stays before it is reported", 50, 0,
      1000000000},
     {"bk_interval", SettingType::kInteger, "N", "frames between background refreshes (0: the detector's own)", 0,
      0, 1000000000},
     {"learn_frames", SettingType::kInteger, "N",
      "frames the starting background is learned from (0: the first frame is the background); also the refreshed "
      "background's", 50, 0, 1000000},
     {"learn_model", SettingType::kInteger, "TYPE", "background-model type that learns the starting background (8: the bay-mean model the detector relearns with)", 8,
      1, 8},
     {"scenecut", SettingType::kFlag, "", "relearn the background after a scene change"}},
    create_left,
    validate_left,
    draw_left_geometry,
    left_from_scene,
};

}  // namespace vt
