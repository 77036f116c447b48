// track: moving objects followed from frame to frame by the library's multi-object tracker.
#include <cstdio>
#include <map>

#include "vorn_tracker.h"

#include "analytic_registry.h"
#include "watched_area.h"
#include "library_frame.h"
#include "scene.h"

namespace vt {

namespace {

constexpr size_t kTraceLength = 150;  // centres kept per track for drawing

class TrackAnalytic : public Analytic {
 public:
  TrackAnalytic(const AnalyticSettings &settings, const StreamInfo &info)
      : settings_(settings),
        width_(info.width),
        height_(info.height),
        tracker_(create_object(vorn_tracker_create, model_params<vorn_tracker_params>(settings, info), settings.name,
                               "the tracker")),
        area_(watched_area(settings, info.width, info.height)) {
    // The model's clean-up clears the foreground outside its mask, so nothing is tracked there.
    if (area_.empty()) return;
    vorn_bk_model *model = nullptr;
    vorn_bk_model_vtable *ops = nullptr;
    vorn_result r = vorn_tracker_get_bk_model(tracker_.get(), &model, &ops);
    vorn_mono_image m{static_cast<uint32_t>(width_), static_cast<uint32_t>(height_), area_.data()};
    if (r == VORN_OK) r = vorn_bk_model_set_mask(model, &m);
    if (r != VORN_OK) library_failed(settings.name, "setting the watched area", r);
  }

  void feed(const Frame &frame, std::vector<Event> &events) override {
    vorn_result r = vorn_tracker_process(tracker_.get(), const_cast<uint8_t *>(bmp_.fill(frame)), VORN_FRAME_BMP24);
    check_frame_result(r, settings_.name, frame, learning_, events);
    vorn_tracker_obj *objs = nullptr;
    uint32_t n = 0;
    if (vorn_tracker_get_objs(tracker_.get(), &objs, &n) != VORN_OK || !objs) n = 0;
    std::map<int, Track> live;
    for (uint32_t i = 0; i < n; ++i) {
      const vorn_tracker_obj &o = objs[i];
      Track t;
      auto it = tracks_.find(o.id);
      if (it != tracks_.end()) {
        t = std::move(it->second);
        tracks_.erase(it);
      } else {
        t.first = frame.index;
        Event e;
        e.kind = "track_start";
        e.ids = {o.id};
        e.boxes = {clip_box(Box{o.left, o.top, o.right, o.bottom}, width_, height_)};
        e.counts = {{"live", static_cast<int64_t>(n)}};
        events.push_back(e);
        ++started_;
      }
      t.box = clip_box(Box{o.left, o.top, o.right, o.bottom}, width_, height_);
      t.trace.push_back(Pt{o.cx, o.cy});
      if (t.trace.size() > kTraceLength) t.trace.erase(t.trace.begin());
      live[o.id] = std::move(t);
    }
    end_tracks(frame.index, events);
    tracks_ = std::move(live);
    add_boxes_event(
        settings_.integer("boxes_every"), frame,
        [this](auto fn) {
          for (const auto &kv : tracks_) fn(kv.first, kv.second.box);
        },
        events);
    next_index_ = frame.index + 1;
    vorn_mono_image *fg = nullptr;
    fg_ = whole_frame_mask(vorn_tracker_get_fg(tracker_.get(), &fg), fg, width_, height_);
  }

  // Tracks still followed at the end (or when the run is interrupted) end with the stream.
  void finish(std::vector<Event> &events) override {
    end_tracks(next_index_, events);
    tracks_.clear();
  }

  void draw(Canvas &c) const override {
    if (fg_) c.tint_mask(fg_, width_, height_, colors::kBlue, 80);
    draw_analytic_geometry(c, settings_);
    for (const auto &kv : tracks_) {
      Rgb col = id_color(kv.first);
      c.trace(kv.second.trace, col);
      c.box(kv.second.box, col, 2);
      c.text(kv.second.box.left, std::max(0, kv.second.box.top - 18), std::to_string(kv.first), col, 2);
    }
    char text[96];
    std::snprintf(text, sizeof text, "%s LIVE %zu  TRACKS %lld", settings_.name.c_str(), tracks_.size(),
                  static_cast<long long>(started_));
    draw_label(c, text, colors::kBlue);
  }

  std::vector<SummaryRow> summary() const override {
    return {{settings_.name, "tracks", std::to_string(started_)},
            {settings_.name, "learning frames", std::to_string(learning_)}};
  }

  std::vector<TruthRow> against(const SceneTruth &t) const override {
    // Besides the walkers, the bag becomes a thing of its own once it is put down and its carrier walks on; the
    // tracker may follow it for a few frames before it stands still, or not at all.
    const int64_t bag = t.left.frame >= 0 ? 1 : 0;
    return {TruthRow{settings_.name, "tracks (truth: people + bag)", started_, t.walkers + bag,
                     started_ >= t.walkers && started_ <= t.walkers + bag}};
  }

  const uint8_t *mask() const override { return fg_; }

 private:
  // "track_end" for every track in tracks_, gone at frame `index`.
  void end_tracks(int64_t index, std::vector<Event> &events) const {
    for (const auto &gone : tracks_) {
      Event e;
      e.kind = "track_end";
      e.ids = {gone.first};
      e.boxes = {gone.second.box};
      e.counts = {{"frames", index - gone.second.first}};
      events.push_back(e);
    }
  }

  struct Track {
    int64_t first = 0;
    Box box;
    std::vector<Pt> trace;
  };

  AnalyticSettings settings_;
  int width_, height_;
  LibraryPtr<vorn_tracker, vorn_tracker_destroy> tracker_;
  std::vector<uint8_t> area_;
  Bmp24Frame bmp_;
  std::map<int, Track> tracks_;
  const uint8_t *fg_ = nullptr;
  int64_t next_index_ = 0;  // the frame after the last one fed
  int64_t started_ = 0, learning_ = 0;
};

std::unique_ptr<Analytic> create_track(const AnalyticSettings &settings, const StreamInfo &stream) {
  return std::make_unique<TrackAnalytic>(settings, stream);
}

}  // namespace

extern const AnalyticEntry track_analytic = {
    "track", "moving objects and their tracks", true, false,
    {boxes_every_setting(), region_setting(), mask_setting()},
    create_track,
    validate_watched_area,
    draw_watched_region,
};

}  // namespace vt
