// The settings of one analytic element as GObject properties: the same names, ranges and checks as the `vorn`
// program's options for that analytic (--half-width becomes the property half-width).
#ifndef VORN_GST_ELEMENT_SETTINGS_H
#define VORN_GST_ELEMENT_SETTINGS_H

#include <glib-object.h>

#include <string>
#include <vector>

#include "analytic_settings.h"

namespace vg {

enum class PropKind { kInt, kBool, kPath, kSegment, kPolygon, kModel, kParams };

struct ElementProp {
  std::string name;   // property name
  std::string blurb;  // what gst-inspect-1.0 shows
  PropKind kind;
  const vt::IntSetting *setting = nullptr;  // kInt: the program's table entry
};

// The analytic kinds that have an element (vorn + kind).
const std::vector<std::string> &element_kinds();

// The properties of the element for `kind`, in the order they are installed.
const std::vector<ElementProp> &element_props(const std::string &kind);
// The parameter spec of one property (its default is the program's default for the kind).
GParamSpec *prop_spec(const std::string &kind, const ElementProp &p);

// A fresh settings record for `kind` as the program would start it.
vt::AnalyticSettings default_settings(const std::string &kind);

// Stores a property value; throws vt::ToolError with the program's message when the value is refused (the settings
// are then unchanged).
void set_prop(vt::AnalyticSettings &s, const ElementProp &p, const GValue *value);
void get_prop(const vt::AnalyticSettings &s, const ElementProp &p, GValue *value);

}  // namespace vg

#endif
