// The analytic side of the program: one object per analytic per stream. The runner feeds it every frame,
// collects its events, lets it draw its overlay and asks it for its totals at the end.
#ifndef VORN_TOOLS_ANALYTIC_H
#define VORN_TOOLS_ANALYTIC_H

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "draw.h"
#include "frame.h"
#include "geometry.h"
#include "analytic_settings.h"

namespace vt {

struct SceneTruth;

struct Event {
  int stream = 0;
  std::string stream_name;  // the input as given, or the configuration's name for it
  int64_t frame = 0;
  double time = 0.0;        // seconds of stream time
  std::string wall_time;    // live sources: when the frame arrived, ISO 8601 with the UTC offset ("" otherwise)
  std::string analytic;  // the settings's name
  std::string kind;      // e.g. "cross", "trigger", "pass", "left", "track_start", "track_end"
  std::vector<int> ids;
  std::vector<Box> boxes;
  std::vector<std::pair<std::string, int64_t>> counts;
  std::string text;                                   // what was read (plate); left out of the JSON when empty
  std::vector<std::pair<std::string, double>> values;  // measures such as a confidence; left out when empty
  std::string snapshot;  // the picture written for this event (--event-snapshots), "" when none
};

// One line of the summary table.
struct SummaryRow {
  std::string analytic, item, value;
};

// One line of the comparison with the built-in scene's truth.
struct TruthRow {
  std::string analytic, item;
  int64_t found = 0, truth = 0;
  bool ok = false;
};

class Analytic {
 public:
  virtual ~Analytic() = default;
  // Processes one frame and appends what happened on it. Throws a runtime error when the library fails.
  virtual void feed(const Frame &frame, std::vector<Event> &events) = 0;
  // Draws the analytic's state over a copy of the current frame (geometry, masks, traces, boxes, counts).
  virtual void draw(Canvas &canvas) const = 0;
  // Called once after the stream's last frame (also when it had none), before the snapshot and the summary: ends
  // what is still open, writes the analytic's own files and may add closing events.
  virtual void finish(std::vector<Event> &) {}
  virtual std::vector<SummaryRow> summary() const = 0;
  virtual std::vector<TruthRow> against(const SceneTruth &) const { return {}; }
  // The current foreground mask (width x height bytes, 0 or 255), or nullptr when the analytic has none.
  virtual const uint8_t *mask() const { return nullptr; }

  // Which line of the overlay's text block this analytic writes its counts on (set by the runner).
  int label_row = 0;

 protected:
  // Writes one line of counts at this analytic's row, under the frame number.
  void draw_label(Canvas &canvas, const std::string &text, Rgb color) const {
    canvas.text(8, 32 + 20 * label_row, text, color, 2);
  }
};

}  // namespace vt

#endif
