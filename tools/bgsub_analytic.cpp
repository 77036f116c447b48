// bgsub: a background model of the library over the stream; shows and writes its foreground masks and reports
// when motion starts and stops.
#include <algorithm>
#include <cstdio>

#include "analytic_registry.h"
#include "watched_area.h"
#include "bk_model_runner.h"

namespace vt {

namespace {

// Motion starts when this share of the picture is foreground and stops when it falls below the second share
// (per ten thousand): the gap keeps one walker's flicker from opening and closing many segments.
constexpr int64_t kMotionOn = 30, kMotionOff = 10;

class BgsubAnalytic : public Analytic {
 public:
  BgsubAnalytic(const AnalyticSettings &settings, const StreamInfo &info)
      : settings_(settings), width_(info.width), height_(info.height),
        model_(settings.name, settings.bk_type, 4, info.width, info.height, settings.bk_params) {
    const std::vector<uint8_t> area = watched_area(settings, width_, height_);
    model_.restrict_to(area);
    watched_ = area.empty() ? int64_t(width_) * height_ : int64_t(std::count(area.begin(), area.end(), 255));
  }

  void feed(const Frame &frame, std::vector<Event> &events) override {
    BkModelRunner::Step step = model_.feed(frame);
    if (step == BkModelRunner::Step::kSceneChange) {
      Event e;
      e.kind = "scene_change";
      events.push_back(e);
      if (moving_) end_motion(events);
      return;
    }
    if (step == BkModelRunner::Step::kLearning) {
      learning_now_ = true;
      return;
    }
    ++frames_with_mask_;
    // The model has learned when its first mask follows its learning frames; a type that never learns has its
    // background from the start.
    if (learning_now_ || (frames_with_mask_ == 2 && model_.learning_frames() == 0)) {
      learning_now_ = false;
      learned_ = true;
      Event e;
      e.kind = "learned";
      events.push_back(e);
    }
    // Share of foreground pixels and their bounding box.
    const uint8_t *m = model_.mask();
    int64_t fg = 0;
    Box box{width_, height_, 0, 0};
    for (int y = 0; y < height_; ++y) {
      const uint8_t *row = m + size_t(y) * width_;
      for (int x = 0; x < width_; ++x) {
        if (!row[x]) continue;
        ++fg;
        box.left = std::min(box.left, x);
        box.right = std::max(box.right, x + 1);
        box.top = std::min(box.top, y);
        box.bottom = std::max(box.bottom, y + 1);
      }
    }
    share_ = watched_ ? fg * 10000 / watched_ : 0;  // of the watched pixels
    share_sum_ += share_;
    if (!moving_ && share_ >= kMotionOn) {
      moving_ = true;
      ++segments_;
      Event e;
      e.kind = "motion_start";
      e.ids = {segments_};
      e.boxes = {box};
      e.counts = {{"foreground_per_10000", share_}};
      events.push_back(e);
    } else if (moving_ && share_ < kMotionOff) {
      end_motion(events);
    }
  }

  // A motion segment still open at the end (or when the run is interrupted) ends with the stream.
  void finish(std::vector<Event> &events) override {
    if (moving_) end_motion(events);
  }

  void draw(Canvas &c) const override {
    c.tint_mask(model_.mask(), width_, height_, colors::kRed, 120);
    draw_analytic_geometry(c, settings_);
    char text[96];
    std::snprintf(text, sizeof text, "%s MODEL %u FG %lld.%02lld%%", settings_.name.c_str(), settings_.bk_type,
                  static_cast<long long>(share_ / 100), static_cast<long long>(share_ % 100));
    draw_label(c, learned_ ? text : settings_.name + " LEARNING", colors::kRed);
  }

  std::vector<SummaryRow> summary() const override {
    char mean[32];
    double m = frames_with_mask_ ? double(share_sum_) / frames_with_mask_ / 100.0 : 0.0;
    std::snprintf(mean, sizeof mean, "%.2f%%", m);
    return {{settings_.name, "learning frames", std::to_string(model_.learning_frames())},
            {settings_.name, "scene changes", std::to_string(model_.scene_changes())},
            {settings_.name, "motion segments", std::to_string(segments_)},
            {settings_.name, "mean foreground", mean}};
  }

  const uint8_t *mask() const override { return model_.mask(); }

 private:
  void end_motion(std::vector<Event> &events) {
    moving_ = false;
    Event e;
    e.kind = "motion_end";
    e.ids = {segments_};
    events.push_back(e);
  }

  AnalyticSettings settings_;
  int width_, height_;
  BkModelRunner model_;
  bool learned_ = false, learning_now_ = false, moving_ = false;
  int segments_ = 0;
  int64_t share_ = 0, share_sum_ = 0, frames_with_mask_ = 0;
  int64_t watched_ = 0;
};

std::unique_ptr<Analytic> create_bgsub(const AnalyticSettings &settings, const StreamInfo &stream) {
  return std::make_unique<BgsubAnalytic>(settings, stream);
}

}  // namespace

extern const AnalyticEntry bgsub_analytic = {
    "bgsub", "background subtraction: foreground masks, motion segments, scene changes", true, true,
    {region_setting(), mask_setting()},
    create_bgsub,
    validate_watched_area,
    draw_watched_region,
};

}  // namespace vt
