// Events of the analytics in GStreamer's terms: an element message per event and a region-of-interest meta per
// reported box.
#ifndef VORN_GST_EVENT_MESSAGE_H
#define VORN_GST_EVENT_MESSAGE_H

#include <gst/gst.h>

#include "analytic.h"

namespace vg {

// The name of an event's structure, and of the structure a reset posts.
constexpr const char *kEventStructure = "vorn-event";
constexpr const char *kResetStructure = "vorn-reset";

// The event as a structure with the fields of the program's JSON events: stream, stream_name, frame (gint64), time (gdouble),
// analytic, kind, ids (array of gint), boxes (array of [left, top, right, bottom] arrays), counts (a structure of
// gint64), and when not empty text and values (a structure of gdouble).
GstStructure *event_structure(const vt::Event &e);

// Adds one region-of-interest meta per box of the event, clipped to the frame: its type is the event's kind, its
// id the event's id for that box (or -1) and its parameter a "vorn" structure naming the analytic and stream.
void add_roi_metas(GstBuffer *buffer, const vt::Event &e, int width, int height);

}  // namespace vg

#endif
