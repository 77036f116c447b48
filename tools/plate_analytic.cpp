// plate: licence plates read by the library's plate reader. A reading is reported once the same text has been read
// on `stable_frames` frames in a row; the same text is reported again only after it has gone unread for
// kNewAppearanceGap frames (a new appearance of that plate).
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <map>

#include "vorn_plate.h"

#include "analytic_registry.h"
#include "library_frame.h"
#include "scene.h"

namespace vt {

namespace {

constexpr int64_t kNewAppearanceGap = 50;  // frames (2 s at 25 fps)

bool is_directory(const std::string &path) {
  struct stat st;
  return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

// Creates the reader from `settings.weights_dir`, or when none is given from the installed data directory and then
// from the source tree's data/plates (so the program also runs from its build directory).
vorn_plate *create_reader(const AnalyticSettings &s, const StreamInfo &info) {
  vorn_plate_params p{static_cast<uint32_t>(info.width), static_cast<uint32_t>(info.height), nullptr,
                      static_cast<uint32_t>(s.integer("min_char_height")),
                      static_cast<uint32_t>(s.integer("max_char_height"))};
  const std::string weights = s.text("weights");
  std::vector<std::string> dirs;
  if (!weights.empty()) dirs.push_back(weights);
  else dirs = {VORN_TOOL_INSTALLED_PLATES, VORN_TOOL_SOURCE_PLATES};
  for (const std::string &d : dirs) {
    p.weights_dir = d.c_str();
    vorn_plate *reader = nullptr;
    vorn_result r = vorn_plate_create(&p, &reader);
    if (r == VORN_OK && reader) return reader;
    // The sizes were checked beforehand, so a refusal here means the weight files.
    if (r != VORN_E_PARAM) library_failed(s.name, "creating the plate reader", r);
  }
  if (!weights.empty()) {
    const std::string &d = weights;
    runtime_error(s.name + ": " +
                  (is_directory(d) ? "'" + d + "' does not hold the plate reader's weight files"
                                   : "weights directory '" + d + "' does not exist") +
                  " (charnum.who, num.who and char.who)");
  }
  runtime_error(s.name + ": no plate reader weights in " + dirs[0] + " or " + dirs[1] + "; give --weights DIR");
}

class PlateAnalytic : public Analytic {
 public:
  PlateAnalytic(const AnalyticSettings &settings, const StreamInfo &info)
      : settings_(settings), stable_frames_(settings.integer("stable_frames")), reader_(create_reader(settings, info)) {}

  void feed(const Frame &frame, std::vector<Event> &events) override {
    vorn_result r = vorn_plate_process(reader_.get(), bmp_.fill(frame), VORN_FRAME_BMP24);
    vorn_plate_info info{};
    if (r == VORN_OK) r = vorn_plate_get_info(reader_.get(), &info);
    if (r == VORN_E_NO_RESULT) {
      reading_ = false;
      run_.frames = 0;
      return;
    }
    if (r != VORN_OK) library_failed(settings_.name, "reading frame " + std::to_string(frame.index), r);
    ++frames_read_;
    reading_ = true;
    text_ = info.text;
    box_ = box_of(info.rect);
    score_ = info.score;

    if (run_.frames > 0 && run_.text == text_) {
      ++run_.frames;
      run_.best = std::max(run_.best, score_);
    } else {
      run_ = Run{text_, 1, score_};
    }
    Plate &p = plates_[text_];
    if (p.last_seen < 0 || frame.index - p.last_seen > kNewAppearanceGap) p.reported = false;
    p.last_seen = frame.index;
    if (run_.frames >= stable_frames_ && !p.reported) {
      p.reported = true;
      if (p.appearances++ == 0) {
        p.first_reported = frame.index;
        order_.push_back(text_);
      }
      p.best = std::max(p.best, run_.best);
      p.box = box_;
      Event e;
      e.kind = "plate";
      e.text = text_;
      e.ids = {static_cast<int>(std::find(order_.begin(), order_.end(), text_) - order_.begin())};
      e.boxes = {box_};
      e.values = {{"confidence", run_.best}};
      e.counts = {{"frames", run_.frames}, {"plates", static_cast<int64_t>(order_.size())}};
      events.push_back(e);
    }
  }

  void draw(Canvas &c) const override {
    if (reading_) {
      const bool stable = run_.frames >= stable_frames_;
      Rgb col = stable ? colors::kGreen : colors::kYellow;
      Box around{box_.left - 4, box_.top - 4, box_.right + 4, box_.bottom + 4};
      c.box(around, col, 2);
      char text[48];
      std::snprintf(text, sizeof text, "%s %.2f", text_.c_str(), score_);
      const int above = around.top - Canvas::text_height(2) - 4;
      c.text(around.left, above >= 0 ? above : around.bottom + 4, text, col, 2);
    }
    std::string label = settings_.name + " PLATES " + std::to_string(order_.size());
    if (!order_.empty()) label += "  LAST " + order_.back();
    draw_label(c, label, colors::kGreen);
  }

  // The scene's parked car carries one plate: it is to be read, at its place, and nothing else reported.
  std::vector<TruthRow> against(const SceneTruth &t) const override {
    int64_t right = 0, other = 0;
    for (const std::string &text : order_) {
      const Box &b = plates_.at(text).box;
      const bool at_plate = b.left < t.plate_box.right && b.right > t.plate_box.left && b.top < t.plate_box.bottom &&
                            b.bottom > t.plate_box.top;
      (text == t.plate && at_plate ? right : other) += 1;
    }
    return {TruthRow{settings_.name, "plate " + t.plate + " read", right, 1, right == 1},
            TruthRow{settings_.name, "other plates reported", other, 0, other == 0}};
  }

  std::vector<SummaryRow> summary() const override {
    std::vector<SummaryRow> rows = {{settings_.name, "plates read", std::to_string(order_.size())},
                                    {settings_.name, "frames with a reading", std::to_string(frames_read_)}};
    for (const std::string &t : order_) {
      const Plate &p = plates_.at(t);
      char v[96];
      std::snprintf(v, sizeof v, "frame %lld, confidence %.2f, seen %lld %s", static_cast<long long>(p.first_reported),
                    p.best, static_cast<long long>(p.appearances), p.appearances == 1 ? "time" : "times");
      rows.push_back({settings_.name, "plate " + t, v});
    }
    return rows;
  }

 private:
  struct Run {
    std::string text;
    int64_t frames = 0;
    float best = 0.0f;  // the best score among the run's readings
  };
  struct Plate {
    int64_t last_seen = -1, first_reported = -1, appearances = 0;
    bool reported = false;  // already reported in its current appearance
    float best = 0.0f;
    Box box;                // where it stood when last reported
  };

  AnalyticSettings settings_;
  int stable_frames_;
  LibraryPtr<vorn_plate, vorn_plate_destroy> reader_;
  Bmp24Frame bmp_;
  // This frame's reading.
  bool reading_ = false;
  std::string text_;
  Box box_;
  float score_ = 0.0f;
  Run run_;
  std::map<std::string, Plate> plates_;  // every text read, reported or not
  std::vector<std::string> order_;        // reported texts in the order of their first report
  int64_t frames_read_ = 0;
};

void validate_plate(const AnalyticSettings &s, int w, int h) {
  if (w < 32 || h < 16)
    usage_error(s.name + ": frames of " + std::to_string(w) + "x" + std::to_string(h) +
                " are too small for the plate reader (at least 32x16)");
  // 0 stands for the reader's defaults: 14 and 40 pixels (at most the frame's height).
  const int min = s.integer("min_char_height"), max = s.integer("max_char_height");
  const int lo = min ? min : 14;
  const int hi = max ? max : std::min(40, h);
  if (hi > h)
    usage_error(s.name + ": the largest character height " + std::to_string(hi) + " exceeds the frame height " +
                std::to_string(h));
  if (lo > hi)
    usage_error(s.name + ": the smallest character height " + std::to_string(lo) + " exceeds the largest " +
                std::to_string(hi));
}

std::unique_ptr<Analytic> create_plate(const AnalyticSettings &settings, const StreamInfo &stream) {
  return std::make_unique<PlateAnalytic>(settings, stream);
}

}  // namespace

extern const AnalyticEntry plate_analytic = {
    "plate",
    "licence plates read, reported once stable",
    false,
    false,
    {{"weights", SettingType::kText, "DIR", "the reader's weight files (default: the installed ones)"},
     {"stable_frames", SettingType::kInteger, "N", "frames the same reading needs in a row", 3, 1, 1000},
     {"min_char_height", SettingType::kInteger, "PX", "smallest character height looked for (default 14)", 0, 8,
      100000},
     {"max_char_height", SettingType::kInteger, "PX", "largest character height looked for (default 40)", 0, 8,
      100000}},
    create_plate,
    validate_plate,
};

}  // namespace vt
