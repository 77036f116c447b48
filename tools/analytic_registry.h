// The analytics the program knows. Each analytic's own file defines its entry: its kind, a one-line summary,
// the settings it takes (with defaults, ranges and help), how to check them, how to draw its geometry and how to
// create it. Command-line options, configuration fields, the demo, `vorn info`, the help and the man page are all
// read from these entries, so adding an analytic is one file plus one row in analytic_registry.cpp.
#ifndef VORN_TOOLS_ANALYTIC_REGISTRY_H
#define VORN_TOOLS_ANALYTIC_REGISTRY_H

#include <memory>
#include <string>
#include <vector>

#include "analytic.h"
#include "analytic_settings.h"

namespace vt {

struct SceneTruth;

enum class SettingType {
  kInteger,  // whole number in [lo, hi]
  kFlag,     // present or not: an option without value, true/false in a configuration
  kText,     // a file or directory read (never empty)
  kOutput,   // a file written; with several streams each gets its own, "-N" before the extension
  kSegment,  // two points: x0,y0,x1,y1
  kPolygon,  // at least three points: x,y,x,y,x,y,...
  kPolyline, // at least two points: x,y,x,y,...
};

struct SettingDef {
  const char *field;   // configuration field; the option is "--" + field with '-' for '_'
  SettingType type;
  const char *value;   // what the option's value looks like in the help: "N", "DIR", "X0,Y0,X1,Y1"
  const char *help;    // one line
  long def = 0;        // kInteger, kFlag: the value when not given
  long lo = 0, hi = 0; // kInteger: accepted range
  std::string option() const;
};

// What a text setting names, for messages: "a directory" (value DIR) or "a file".
std::string setting_noun(const SettingDef &setting);

struct AnalyticEntry {
  const char *kind;
  const char *summary;       // one line for the help
  bool background_model;     // takes --bk-type/--model and --param
  bool writes_masks;         // takes --masks (a video of its foreground masks)
  std::vector<SettingDef> settings;
  // Creates the analytic over a stream of the given size from validated settings. Throws a runtime error when
  // the library fails.
  std::unique_ptr<Analytic> (*create)(const AnalyticSettings &, const StreamInfo &);
  // Checks settings against a frame size (nullptr: nothing beyond types and ranges). Throws a usage error.
  void (*validate)(const AnalyticSettings &, int width, int height) = nullptr;
  // Draws the settings' geometry (lines, areas, regions) over a frame (nullptr: none).
  void (*draw_geometry)(Canvas &, const AnalyticSettings &) = nullptr;
  // Fills geometry the settings lack from the built-in scene's layout (nullptr: none).
  void (*fill_from_scene)(AnalyticSettings &, const SceneTruth &) = nullptr;

  const SettingDef *setting(const std::string &field) const;
};

// Every analytic, in the order the help lists them and the demo runs them.
const std::vector<const AnalyticEntry *> &analytic_registry();
// The entry of `kind`, or nullptr.
const AnalyticEntry *find_analytic(const std::string &kind);
// "guard, count, ..." for messages.
std::string analytic_kind_list();

// Creates the analytic for validated settings (of a kind in the registry).
std::unique_ptr<Analytic> create_analytic(const AnalyticSettings &settings, const StreamInfo &stream);
// Draws a settings' geometry through its entry.
void draw_analytic_geometry(Canvas &canvas, const AnalyticSettings &settings);
// Fills geometry the settings lack from the scene's own layout (used when running on the built-in scene).
void fill_from_scene(AnalyticSettings &settings, const SceneTruth &truth);

}  // namespace vt

#endif
