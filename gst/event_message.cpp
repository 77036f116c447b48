#include "event_message.h"

#include <gst/video/video.h>

#include <algorithm>

namespace vg {

namespace {

void append_int(GValue *array, int v) {
  GValue item = G_VALUE_INIT;
  g_value_init(&item, G_TYPE_INT);
  g_value_set_int(&item, v);
  gst_value_array_append_and_take_value(array, &item);
}

}  // namespace

GstStructure *event_structure(const vt::Event &e) {
  GstStructure *s = gst_structure_new(kEventStructure, "stream", G_TYPE_INT, e.stream, "stream_name", G_TYPE_STRING,
                                      e.stream_name.c_str(), "frame", G_TYPE_INT64,
                                      static_cast<gint64>(e.frame), "time", G_TYPE_DOUBLE, e.time, "analytic",
                                      G_TYPE_STRING, e.analytic.c_str(), "kind", G_TYPE_STRING, e.kind.c_str(), nullptr);
  GValue ids = G_VALUE_INIT;
  gst_value_array_init(&ids, e.ids.size());
  for (int id : e.ids) append_int(&ids, id);
  gst_structure_take_value(s, "ids", &ids);

  GValue boxes = G_VALUE_INIT;
  gst_value_array_init(&boxes, e.boxes.size());
  for (const vt::Box &b : e.boxes) {
    GValue box = G_VALUE_INIT;
    gst_value_array_init(&box, 4);
    for (int v : {b.left, b.top, b.right, b.bottom}) append_int(&box, v);
    gst_value_array_append_and_take_value(&boxes, &box);
  }
  gst_structure_take_value(s, "boxes", &boxes);

  GstStructure *counts = gst_structure_new_empty("counts");
  for (const auto &kv : e.counts)
    gst_structure_set(counts, kv.first.c_str(), G_TYPE_INT64, static_cast<gint64>(kv.second), nullptr);
  gst_structure_set(s, "counts", GST_TYPE_STRUCTURE, counts, nullptr);
  gst_structure_free(counts);

  if (!e.text.empty()) gst_structure_set(s, "text", G_TYPE_STRING, e.text.c_str(), nullptr);
  if (!e.values.empty()) {
    GstStructure *values = gst_structure_new_empty("values");
    for (const auto &kv : e.values) gst_structure_set(values, kv.first.c_str(), G_TYPE_DOUBLE, kv.second, nullptr);
    gst_structure_set(s, "values", GST_TYPE_STRUCTURE, values, nullptr);
    gst_structure_free(values);
  }
  return s;
}

void add_roi_metas(GstBuffer *buffer, const vt::Event &e, int width, int height) {
  for (size_t i = 0; i < e.boxes.size(); ++i) {
    const vt::Box &b = e.boxes[i];
    const int l = std::clamp(b.left, 0, width), r = std::clamp(b.right, 0, width);
    const int t = std::clamp(b.top, 0, height), bo = std::clamp(b.bottom, 0, height);
    if (r <= l || bo <= t) continue;
    GstVideoRegionOfInterestMeta *m = gst_buffer_add_video_region_of_interest_meta(
        buffer, e.kind.c_str(), guint(l), guint(t), guint(r - l), guint(bo - t));
    if (!m) continue;
    m->id = i < e.ids.size() ? e.ids[i] : -1;
    gst_video_region_of_interest_meta_add_param(
        m, gst_structure_new("vorn", "analytic", G_TYPE_STRING, e.analytic.c_str(), "stream", G_TYPE_INT, e.stream,
                             "frame", G_TYPE_INT64, static_cast<gint64>(e.frame), nullptr));
  }
}

}  // namespace vg
