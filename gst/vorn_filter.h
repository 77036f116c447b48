// The analytic elements: one in-place video filter type per analytic kind (vornguard, vorncount, ...), all made
// from one base type that feeds the program's analytic object of that kind with every frame.
#ifndef VORN_GST_VORN_FILTER_H
#define VORN_GST_VORN_FILTER_H

#include <gst/gst.h>

G_BEGIN_DECLS

// Registers the six element types with `plugin` (or statically when plugin is NULL). TRUE when all were registered.
gboolean vorn_gst_register_elements(GstPlugin *plugin);

G_END_DECLS

#endif
