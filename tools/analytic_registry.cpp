// The registry: one row per analytic. Each row names the entry its own file defines (`<kind>_analytic`).
#include "analytic_registry.h"

#include <algorithm>

namespace vt {

// In the order the help lists them and the demo runs them.
#define VORN_TOOL_ANALYTICS(ROW) \
  ROW(guard)                     \
  ROW(count)                     \
  ROW(track)                     \
  ROW(linecount)                 \
  ROW(left)                      \
  ROW(bgsub)                     \
  ROW(plate)                     \
  ROW(trajectories)

#define VORN_TOOL_DECLARE(kind) extern const AnalyticEntry kind##_analytic;
VORN_TOOL_ANALYTICS(VORN_TOOL_DECLARE)
#undef VORN_TOOL_DECLARE

const std::vector<const AnalyticEntry *> &analytic_registry() {
#define VORN_TOOL_ROW(kind) &kind##_analytic,
  static const std::vector<const AnalyticEntry *> all = {VORN_TOOL_ANALYTICS(VORN_TOOL_ROW)};
#undef VORN_TOOL_ROW
  return all;
}

const AnalyticEntry *find_analytic(const std::string &kind) {
  for (const AnalyticEntry *a : analytic_registry())
    if (kind == a->kind) return a;
  return nullptr;
}

std::string analytic_kind_list() {
  std::string out;
  for (const AnalyticEntry *a : analytic_registry()) out += (out.empty() ? "" : ", ") + std::string(a->kind);
  return out;
}

std::string SettingDef::option() const {
  std::string o = std::string("--") + field;
  std::replace(o.begin(), o.end(), '_', '-');
  return o;
}

std::string setting_noun(const SettingDef &setting) {
  return std::string(setting.value) == "DIR" ? "a directory" : "a file";
}

const SettingDef *AnalyticEntry::setting(const std::string &field) const {
  for (const SettingDef &s : settings)
    if (field == s.field) return &s;
  return nullptr;
}

std::unique_ptr<Analytic> create_analytic(const AnalyticSettings &settings, const StreamInfo &stream) {
  return settings.entry()->create(settings, stream);
}

void draw_analytic_geometry(Canvas &canvas, const AnalyticSettings &settings) {
  const AnalyticEntry *entry = settings.entry();
  if (entry && entry->draw_geometry) entry->draw_geometry(canvas, settings);
}

void fill_from_scene(AnalyticSettings &settings, const SceneTruth &truth) {
  const AnalyticEntry *entry = settings.entry();
  if (entry && entry->fill_from_scene) entry->fill_from_scene(settings, truth);
}

}  // namespace vt
