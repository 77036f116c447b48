// What one analytic over one stream is asked to do: its kind, its name, its background model and the settings
// its registry entry declares, as given on the command line or in a configuration file.
#ifndef VORN_TOOLS_ANALYTIC_SETTINGS_H
#define VORN_TOOLS_ANALYTIC_SETTINGS_H

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "geometry.h"

namespace vt {

struct AnalyticEntry;

// One given setting: a whole number or flag (number), a name (text) or points (a segment's two, a polygon's).
struct SettingValue {
  int64_t number = 0;
  std::string text;
  std::vector<Pt> points;
};

struct AnalyticSettings {
  std::string kind;  // a registry entry's kind
  std::string name;  // label in events and tables; the kind unless the configuration names it

  // Background model of the analytics built on one (guard, count, track, bgsub): type number and parameters.
  uint32_t bk_type = 2;  // mixture of Gaussians: learns the background by itself
  std::vector<std::pair<uint32_t, uint32_t>> bk_params;

  // The settings given, by field; the others take their declared defaults.
  std::map<std::string, SettingValue> given;

  // The entry of this kind (nullptr for an unknown kind).
  const AnalyticEntry *entry() const;
  bool has(const std::string &field) const { return given.count(field) != 0; }
  // A whole-number setting or flag: the given value, else the declared default.
  int integer(const std::string &field) const;
  bool flag(const std::string &field) const { return integer(field) != 0; }
  // A text setting ("" when not given).
  std::string text(const std::string &field) const;
  // Geometry: empty when not given.
  std::optional<Segment> segment(const std::string &field) const;
  std::optional<Polygon> polygon(const std::string &field) const;

  void set_integer(const std::string &field, int64_t v) { given[field].number = v; }
  void set_text(const std::string &field, const std::string &v) { given[field].text = v; }
  void set_points(const std::string &field, std::vector<Pt> v) { given[field].points = std::move(v); }
};

// Settings of `kind` with nothing given (name = kind).
AnalyticSettings settings_of(const std::string &kind);

// Checks the settings against a frame size before any frame is read: the background-model type, then what the
// analytic's entry checks (required geometry present and inside the frame, sizes the library can work with).
// Throws a usage error naming the analytic.
void validate_settings(const AnalyticSettings &settings, int width, int height);

// The background-model types the library documents (0..9: 0 and 9 the default model); others are refused rather
// than silently running the default model the library falls back to.
bool known_bk_type(long type);

// Parses a background-model parameter "ID=VALUE" where ID is 0..31 or a name (sensitivity, scene_cut, shadow,
// erode, dilate, window, learn_frames) and VALUE is decimal or 0x-hexadecimal.
std::pair<uint32_t, uint32_t> parse_bk_param(const std::string &text, const std::string &what);
uint32_t bk_param_id(const std::string &name, const std::string &what);

// Checks for the entries' validate functions: a segment or polygon given (else "<what> is missing (give OPTION
// ...)"), inside the frame, of non-zero length or at least 3 points.
void require_segment(const AnalyticSettings &s, const char *field, int width, int height, const std::string &what);
void require_polygon(const AnalyticSettings &s, const char *field, int width, int height, const std::string &what);

}  // namespace vt

#endif
