// trajectories: feature points followed through the video by the library's trajectory recorder. The overlay shows
// the live points' recent paths; at the end the recording is finished, optionally saved, and summed up in one
// "trajectories" event (one event per trajectory would swamp the stream: a street clip gives thousands).
#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "vorn_vbc.h"

#include "analytic_registry.h"
#include "library_frame.h"

namespace vt {

namespace {

constexpr uint32_t kTrailLength = 12;  // positions drawn per live trajectory

class TrajectoriesAnalytic : public Analytic {
 public:
  TrajectoriesAnalytic(const AnalyticSettings &settings, const StreamInfo &info)
      : settings_(settings), save_path_(settings.text("save")) {
    vorn_vbc_params p{};
    p.width = static_cast<uint32_t>(info.width);
    p.height = static_cast<uint32_t>(info.height);
    p.frame_type = VORN_FRAME_BMP24;
    p.max_points = static_cast<uint32_t>(settings.integer("max_points"));
    p.min_length = static_cast<uint32_t>(settings.integer("min_length"));
    p.min_distance = static_cast<uint32_t>(settings.integer("min_distance"));
    p.motion_threshold = static_cast<uint32_t>(settings.integer("motion_threshold"));
    vbc_.reset(create_object(vorn_vbc_create, p, settings.name, "the trajectory recorder"));
    // A file that cannot be written is found now rather than after the whole video.
    if (!save_path_.empty()) {
      FILE *f = std::fopen(save_path_.c_str(), "wb");
      if (!f) runtime_error(settings.name + ": cannot write '" + save_path_ + "': " + std::strerror(errno));
      std::fclose(f);
    }
  }

  void feed(const Frame &frame, std::vector<Event> &) override {
    vorn_result r = vorn_vbc_process(vbc_.get(), bmp_.fill(frame), VORN_FRAME_BMP24);
    if (r != VORN_OK) library_failed(settings_.name, "recording frame " + std::to_string(frame.index), r);
    uint32_t count = 0, frames = 0;
    vorn_vbc_get_count(vbc_.get(), &count, &frames);
    trajectories_ = count;
    frames_ = frames;
    // Live trajectories are those that reach the frame just recorded.
    trails_.clear();
    std::vector<vorn_point2f> pts(kTrailLength);
    for (uint32_t i = 0; i < count; ++i) {
      uint32_t start = 0, length = 0;
      if (vorn_vbc_get_trajectory(vbc_.get(), i, &start, &length) != VORN_OK || start + length != frames) continue;
      const uint32_t n = std::min(length, kTrailLength);
      if (vorn_vbc_get_points(vbc_.get(), i, length - n, n, pts.data()) != VORN_OK) continue;
      Trail t;
      t.start = start;
      for (uint32_t k = 0; k < n; ++k)
        t.points.push_back(Pt{static_cast<int>(std::lround(pts[k].x)), static_cast<int>(std::lround(pts[k].y))});
      trails_.push_back(std::move(t));
    }
  }

  void finish(std::vector<Event> &events) override {
    vorn_vbc_end_process(vbc_.get());
    uint32_t count = 0, frames = 0;
    vorn_vbc_get_count(vbc_.get(), &count, &frames);
    trajectories_ = count;
    frames_ = frames;
    std::vector<uint32_t> lengths;
    for (uint32_t i = 0; i < count; ++i) {
      uint32_t start = 0, length = 0;
      vorn_vbc_get_trajectory(vbc_.get(), i, &start, &length);
      lengths.push_back(length);
      positions_ += length;
    }
    // The median: the lower of the two middle lengths when the count is even.
    if (!lengths.empty()) {
      std::nth_element(lengths.begin(), lengths.begin() + (lengths.size() - 1) / 2, lengths.end());
      median_ = lengths[(lengths.size() - 1) / 2];
    }
    finished_ = true;
    if (!save_path_.empty()) {
      vorn_result r = vorn_vbc_save(vbc_.get(), save_path_.c_str());
      if (r == VORN_E_FILE) runtime_error(settings_.name + ": cannot write '" + save_path_ + "'");
      if (r != VORN_OK) library_failed(settings_.name, "saving the trajectories", r);
    }
    Event e;
    e.kind = "trajectories";
    e.counts = {{"trajectories", trajectories_}, {"frames", frames_}, {"median_length", median_},
                {"positions", positions_}};
    events.push_back(e);
  }

  void draw(Canvas &c) const override {
    for (const Trail &t : trails_) c.trace(t.points, id_color(static_cast<int>(t.start)));
    char text[96];
    std::snprintf(text, sizeof text, "%s LIVE %zu  TRAJECTORIES %lld", settings_.name.c_str(), trails_.size(),
                  static_cast<long long>(trajectories_));
    draw_label(c, text, colors::kCyan);
  }

  std::vector<SummaryRow> summary() const override {
    std::vector<SummaryRow> rows = {{settings_.name, "trajectories", std::to_string(trajectories_)},
                                    {settings_.name, "frames", std::to_string(frames_)}};
    if (finished_) rows.push_back({settings_.name, "median length (frames)", std::to_string(median_)});
    if (!save_path_.empty()) rows.push_back({settings_.name, "saved to", save_path_});
    return rows;
  }

 private:
  // A live trajectory's latest positions, oldest first; trajectories started on one frame share a colour.
  struct Trail {
    uint32_t start = 0;
    std::vector<Pt> points;
  };

  AnalyticSettings settings_;
  std::string save_path_;  // the recording, written at the end ("": not written)
  LibraryPtr<vorn_vbc, vorn_vbc_destroy> vbc_;
  Bmp24Frame bmp_;
  std::vector<Trail> trails_;
  int64_t trajectories_ = 0, frames_ = 0, median_ = 0, positions_ = 0;
  bool finished_ = false;
};

void validate_trajectories(const AnalyticSettings &s, int w, int h) {
  if (w < 16 || h < 16)
    usage_error(s.name + ": frames of " + std::to_string(w) + "x" + std::to_string(h) +
                " are too small for the trajectory recorder (at least 16x16)");
}

std::unique_ptr<Analytic> create_trajectories(const AnalyticSettings &settings, const StreamInfo &stream) {
  return std::make_unique<TrajectoriesAnalytic>(settings, stream);
}

}  // namespace

// 0 stands for the recorder's defaults (400 points, length 10, spacing 10, threshold 10).
extern const AnalyticEntry trajectories_analytic = {
    "trajectories",
    "feature-point trajectories, recorded and optionally saved",
    false,
    false,
    {{"save", SettingType::kOutput, "FILE", "write the recording to FILE"},
     {"max_points", SettingType::kInteger, "N", "points followed at once (default 400)", 0, 1, 65536},
     {"min_length", SettingType::kInteger, "N", "frames a trajectory needs to be kept (default 10)", 0, 1, 1000000},
     {"min_distance", SettingType::kInteger, "PX", "pixels between seeded points (default 10)", 0, 1, 10000},
     {"motion_threshold", SettingType::kInteger, "T", "grey-level change worth seeding (default 10)", 0, 1, 255}},
    create_trajectories,
    validate_trajectories,
};

}  // namespace vt
