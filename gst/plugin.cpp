// The plugin `vorn`: the library's analytics as GStreamer elements.
#include <gst/gst.h>

#include "vorn.h"
#include "vorn_filter.h"

#ifndef VORN_GST_VERSION
#define VORN_GST_VERSION "0.1.0"
#endif
#define PACKAGE "vornbase"

static gboolean plugin_init(GstPlugin *plugin) {
  // The colour tables and frame conversions are built once, before any element converts a frame.
  vorn_init();
  return vorn_gst_register_elements(plugin);
}

GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, vorn,
                  "Video analytics of VORNBaseLib: guard lines, counting, tracking, left objects, background "
                  "subtraction and plate reading",
                  plugin_init, VORN_GST_VERSION, "Proprietary", "VORNBaseLib", "https://localhost/vornbase")
