// What one analytic over one stream is asked to do: its kind, its geometry and its settings, as given on the
// command line or in a configuration file.
#ifndef VORN_TOOLS_ANALYTIC_SETTINGS_H
#define VORN_TOOLS_ANALYTIC_SETTINGS_H

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "geometry.h"

namespace vt {

struct SceneTruth;

struct AnalyticSettings {
  std::string kind;  // guard, count, track, left, bgsub, plate, trajectories
  std::string name;  // label in events and tables; the kind unless the configuration names it

  // Background model used by guard, count, track and bgsub: its type number and parameters (id, value).
  uint32_t bk_type = 2;  // mixture of Gaussians: learns the background by itself
  std::vector<std::pair<uint32_t, uint32_t>> bk_params;

  // guard
  std::optional<Segment> line, direction;
  int half_width = 40;
  // count
  std::optional<Polygon> area0, area1;
  int max_frame = 0;
  int logic = 0;
  // left
  std::optional<Polygon> region;
  int frame_threshold = 50;
  int bk_interval = 0;
  int learn_frames = 0;
  bool scenecut = false;
  // plate
  std::string weights_dir;  // the reader's three weight files; "": the installed data, else the source tree's
  int stable_frames = 3;    // a reading is reported once the same text was read on this many frames in a row
  int min_char_height = 0, max_char_height = 0;  // 0: the reader's defaults
  // trajectories (0: the recorder's defaults, 400 points, length 10, spacing 10, threshold 10)
  std::string save_path;  // the recording, written at the end ("": not written)
  int max_points = 0, min_length = 0, min_distance = 0, motion_threshold = 0;
  // count and left; -1: the kind's default (count 10: an area is occupied once 9 % of it is foreground, about a
  // third of one person in a doorway-sized area; left 30)
  int sensitivity = -1;
};

// A whole-number setting: its configuration field, the kinds it applies to, where it goes and its range. On the
// command line it is the option "--" + field with '-' for '_' (half_width: --half-width).
struct IntSetting {
  const char *field;
  std::vector<std::string> kinds;
  int AnalyticSettings::*member;
  long lo, hi;
  std::string option() const;
  bool applies_to(const std::string &kind) const;
};
const std::vector<IntSetting> &int_settings();

// The kinds a settings may name, in the order the demo runs them.
const std::vector<std::string> &analytic_kinds();
bool is_analytic_kind(const std::string &kind);

// The settings's sensitivity, or its kind's default.
int sensitivity_of(const AnalyticSettings &settings);

// Fills geometry the settings lacks from the scene's own layout (used when running on the built-in scene).
void fill_from_scene(AnalyticSettings &settings, const SceneTruth &truth);
// Checks the settings against a frame size: required geometry present, points inside the frame, lines of non-zero
// length, polygons of at least 3 points. Throws a usage error naming the analytic.
void validate_settings(const AnalyticSettings &settings, int width, int height);

// Parses a background-model parameter "ID=VALUE" where ID is 0..31 or a name (sensitivity, scene_cut, shadow,
// erode, dilate, window, learn_frames) and VALUE is decimal or 0x-hexadecimal.
std::pair<uint32_t, uint32_t> parse_bk_param(const std::string &text, const std::string &what);
uint32_t bk_param_id(const std::string &name, const std::string &what);

}  // namespace vt

#endif
