// The settings of one analytic element as GObject properties, read from the program's analytic registry: the
// same names, ranges, defaults and checks as the `vorn` program's options (--half-width is the property
// half-width), and the background model's type and parameters for the analytics built on one.
#ifndef VORN_GST_ELEMENT_SETTINGS_H
#define VORN_GST_ELEMENT_SETTINGS_H

#include <glib-object.h>

#include <string>
#include <vector>

#include "analytic_registry.h"

namespace vg {

enum class PropKind { kSetting, kModel, kParams };

struct ElementProp {
  std::string name;   // property name
  std::string blurb;  // what gst-inspect-1.0 shows
  PropKind kind;
  const vt::SettingDef *setting = nullptr;  // kSetting: the registry's entry
};

// The properties of the element for `kind`, in the order they are installed.
const std::vector<ElementProp> &element_props(const std::string &kind);
// The GParamSpec of one property; its default is the program's.
GParamSpec *prop_spec(const std::string &kind, const ElementProp &p);

// Stores a property value; throws vt::ToolError with the program's message when the value is refused (the settings
// are then unchanged).
void set_prop(vt::AnalyticSettings &s, const ElementProp &p, const GValue *value);
void get_prop(const vt::AnalyticSettings &s, const ElementProp &p, GValue *value);

}  // namespace vg

#endif
