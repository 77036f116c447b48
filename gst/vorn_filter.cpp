#include "vorn_filter.h"

#include <gst/video/gstvideofilter.h>
#include <gst/video/video.h>

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "analytic_registry.h"
#include "element_settings.h"
#include "error.h"
#include "event_message.h"
#include "frame_io.h"
#include "report.h"
#include "runner.h"

GST_DEBUG_CATEGORY_STATIC(vorn_filter_debug);
#define GST_CAT_DEFAULT vorn_filter_debug

namespace {

enum { PROP_0, PROP_DRAW, PROP_EVENTS_LOCATION, PROP_STREAM, PROP_STREAM_NAME, PROP_ANALYTIC_NAME, PROP_FIRST_SETTING };

// Everything one element keeps. Properties are set from the application's thread while frames run on the
// streaming thread: `mu` guards the first block, the rest belongs to the streaming thread.
struct FilterState {
  std::mutex mu;
  vt::AnalyticSettings settings;
  bool draw = false;
  std::string events_location;
  int stream = 0;
  std::string stream_name;
  bool settings_changed = false;

  std::unique_ptr<vt::Analytic> analytic;
  vt::AnalyticSettings running;  // what the analytic was made with
  vt::StreamInfo info;
  int64_t frames = 0;            // frames processed since the element started
  std::string pending_reset;     // why the analytic is to be made afresh before the next frame
  std::unique_ptr<vt::EventSink> sink;
  vg::FrameIo io;
  vt::Frame frame, drawn;
  std::vector<vt::Event> events;
};

}  // namespace

struct GstVornFilter {
  GstVideoFilter parent;
  FilterState *state;
};

struct GstVornFilterClass {
  GstVideoFilterClass parent_class;
  const char *kind;  // nullptr in the abstract base
};

#define GST_TYPE_VORN_FILTER (gst_vorn_filter_get_type())
#define GST_VORN_FILTER(obj) (G_TYPE_CHECK_INSTANCE_CAST((obj), GST_TYPE_VORN_FILTER, GstVornFilter))
#define GST_VORN_FILTER_GET_CLASS(obj) (G_TYPE_INSTANCE_GET_CLASS((obj), GST_TYPE_VORN_FILTER, GstVornFilterClass))

G_DEFINE_ABSTRACT_TYPE(GstVornFilter, gst_vorn_filter, GST_TYPE_VIDEO_FILTER)

namespace {

const char *kind_of(gpointer self) { return GST_VORN_FILTER_GET_CLASS(self)->kind; }

// The program's check messages name its options ("give --line ..."); an element's settings are properties.
std::string settings_message(const std::exception &e) {
  std::string m = e.what();
  for (size_t at; (at = m.find("give --")) != std::string::npos;) m.replace(at, 7, "set the property ");
  return m;
}

void post_events(GstVornFilter *self, GstBuffer *buffer) {
  FilterState &st = *self->state;
  for (const vt::Event &e : st.events) {
    if (buffer) vg::add_roi_metas(buffer, e, st.info.width, st.info.height);
    gst_element_post_message(GST_ELEMENT(self), gst_message_new_element(GST_OBJECT(self), vg::event_structure(e)));
  }
  if (st.sink && !st.events.empty()) st.sink->write(st.events);
}

// Labels events from `first` on as the program does: stream, frame, time and the analytic's name.
void stamp(FilterState &st, size_t first, const vt::Frame &f) {
  for (size_t k = first; k < st.events.size(); ++k) {
    st.events[k].stream = st.stream;
    st.events[k].stream_name = st.stream_name;
    st.events[k].frame = f.index;
    st.events[k].time = f.time;
    st.events[k].analytic = st.running.name;
  }
}

// Ends the running analytic: its closing events go out like any other.
void finish_analytic(GstVornFilter *self) {
  FilterState &st = *self->state;
  if (!st.analytic) return;
  st.events.clear();
  st.analytic->finish(st.events);
  stamp(st, 0, st.frame);
  post_events(self, nullptr);
  st.analytic.reset();
}

// Makes the analytic from the current settings for the negotiated size; false after posting an error.
bool make_analytic(GstVornFilter *self) {
  FilterState &st = *self->state;
  {
    std::lock_guard<std::mutex> lock(st.mu);
    st.running = st.settings;
    st.settings_changed = false;
  }
  try {
    vt::validate_settings(st.running, st.info.width, st.info.height);
    st.analytic = vt::create_analytic(st.running, st.info);
  } catch (const std::exception &e) {
    GST_ELEMENT_ERROR(self, LIBRARY, SETTINGS, ("%s", settings_message(e).c_str()), (nullptr));
    return false;
  }
  return true;
}

// Says on the bus that the analytic was made afresh, and why.
void post_reset(GstVornFilter *self, const std::string &reason) {
  FilterState &st = *self->state;
  GST_INFO_OBJECT(self, "analytic reset: %s", reason.c_str());
  GstStructure *s = gst_structure_new(vg::kResetStructure, "analytic", G_TYPE_STRING, st.running.name.c_str(),
                                      "stream", G_TYPE_INT, st.stream, "frame", G_TYPE_INT64,
                                      static_cast<gint64>(st.frames), "reason", G_TYPE_STRING, reason.c_str(), nullptr);
  gst_element_post_message(GST_ELEMENT(self), gst_message_new_element(GST_OBJECT(self), s));
}

// Drops what the analytic learned before the next frame (the first reason given is the one reported).
void schedule_reset(GstVornFilter *self, const char *reason) {
  FilterState &st = *self->state;
  if (st.analytic && st.pending_reset.empty()) st.pending_reset = reason;
}

// Before each frame: makes the analytic afresh when a reset is due or the settings changed.
bool apply_reset(GstVornFilter *self) {
  FilterState &st = *self->state;
  std::string reason = st.pending_reset;
  {
    std::lock_guard<std::mutex> lock(st.mu);
    if (reason.empty() && st.settings_changed) reason = "settings changed";
  }
  if (reason.empty() && st.analytic) return true;
  finish_analytic(self);
  st.pending_reset.clear();
  if (!make_analytic(self)) return false;
  if (!reason.empty()) post_reset(self, reason);
  return true;
}

void set_property(GObject *object, guint id, const GValue *value, GParamSpec *pspec) {
  GstVornFilter *self = GST_VORN_FILTER(object);
  FilterState &st = *self->state;
  std::lock_guard<std::mutex> lock(st.mu);
  switch (id) {
    case PROP_DRAW:
      st.draw = g_value_get_boolean(value);
      return;
    case PROP_EVENTS_LOCATION: {
      const char *s = g_value_get_string(value);
      st.events_location = s ? s : "";
      return;
    }
    case PROP_STREAM:
      st.stream = g_value_get_int(value);
      return;
    case PROP_STREAM_NAME: {
      const char *s = g_value_get_string(value);
      st.stream_name = s ? s : "";
      return;
    }
    case PROP_ANALYTIC_NAME: {
      const char *s = g_value_get_string(value);
      st.settings.name = s && *s ? s : kind_of(self);
      st.settings_changed = true;
      return;
    }
    default:
      break;
  }
  const std::string kind = kind_of(self);
  const auto &props = vg::element_props(kind);
  if (id < PROP_FIRST_SETTING || id - PROP_FIRST_SETTING >= props.size()) {
    G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
    return;
  }
  try {
    vg::set_prop(st.settings, props[id - PROP_FIRST_SETTING], value);
    st.settings_changed = true;
  } catch (const vt::ToolError &e) {
    // Refused: the element keeps its previous value.
    GST_WARNING_OBJECT(self, "%s", e.what());
    g_warning("%s: %s", GST_OBJECT_NAME(self), e.what());
  }
}

void get_property(GObject *object, guint id, GValue *value, GParamSpec *pspec) {
  GstVornFilter *self = GST_VORN_FILTER(object);
  FilterState &st = *self->state;
  std::lock_guard<std::mutex> lock(st.mu);
  switch (id) {
    case PROP_DRAW:
      g_value_set_boolean(value, st.draw);
      return;
    case PROP_EVENTS_LOCATION:
      g_value_set_string(value, st.events_location.c_str());
      return;
    case PROP_STREAM:
      g_value_set_int(value, st.stream);
      return;
    case PROP_STREAM_NAME:
      g_value_set_string(value, st.stream_name.c_str());
      return;
    case PROP_ANALYTIC_NAME:
      g_value_set_string(value, st.settings.name.c_str());
      return;
    default:
      break;
  }
  const auto &props = vg::element_props(kind_of(self));
  if (id < PROP_FIRST_SETTING || id - PROP_FIRST_SETTING >= props.size()) {
    G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, pspec);
    return;
  }
  vg::get_prop(st.settings, props[id - PROP_FIRST_SETTING], value);
}

gboolean filter_start(GstBaseTransform *trans) {
  GstVornFilter *self = GST_VORN_FILTER(trans);
  FilterState &st = *self->state;
  st.frames = 0;
  st.pending_reset.clear();
  std::string path;
  vt::AnalyticSettings settings;
  {
    std::lock_guard<std::mutex> lock(st.mu);
    path = st.events_location;
    settings = st.settings;
  }
  // Missing geometry stops the element before any caps arrive; whether it fits the frames is checked once their
  // size is known.
  try {
    vt::validate_settings(settings, 1 << 30, 1 << 30);
  } catch (const std::exception &e) {
    GST_ELEMENT_ERROR(self, LIBRARY, SETTINGS, ("%s", settings_message(e).c_str()), (nullptr));
    return FALSE;
  }
  st.sink.reset();
  if (!path.empty()) {
    try {
      st.sink = std::make_unique<vt::EventSink>(path);
    } catch (const std::exception &e) {
      GST_ELEMENT_ERROR(self, RESOURCE, OPEN_WRITE, ("%s", e.what()), (nullptr));
      return FALSE;
    }
  }
  return TRUE;
}

gboolean filter_stop(GstBaseTransform *trans) {
  GstVornFilter *self = GST_VORN_FILTER(trans);
  FilterState &st = *self->state;
  st.analytic.reset();
  bool ok = true;
  if (st.sink) {
    try {
      st.sink->close();
    } catch (const std::exception &e) {
      GST_ELEMENT_ERROR(self, RESOURCE, WRITE, ("%s", e.what()), (nullptr));
      ok = false;
    }
    st.sink.reset();
  }
  return ok;
}

gboolean filter_set_info(GstVideoFilter *filter, GstCaps *, GstVideoInfo *in_info, GstCaps *, GstVideoInfo *) {
  GstVornFilter *self = GST_VORN_FILTER(filter);
  FilterState &st = *self->state;
  const int w = GST_VIDEO_INFO_WIDTH(in_info), h = GST_VIDEO_INFO_HEIGHT(in_info);
  const GstVideoFormat fmt = GST_VIDEO_INFO_FORMAT(in_info);
  if ((fmt == GST_VIDEO_FORMAT_I420 || fmt == GST_VIDEO_FORMAT_YUY2) && (w % 2 || h % 2)) {
    GST_ELEMENT_ERROR(self, STREAM, FORMAT, ("%s frames need an even width and height, not %dx%d",
                                             gst_video_format_to_string(fmt), w, h), (nullptr));
    return FALSE;
  }
  const bool size_changed = st.info.width != w || st.info.height != h;
  st.info.width = w;
  st.info.height = h;
  st.info.fps = GST_VIDEO_INFO_FPS_N(in_info) > 0 && GST_VIDEO_INFO_FPS_D(in_info) > 0
                    ? double(GST_VIDEO_INFO_FPS_N(in_info)) / GST_VIDEO_INFO_FPS_D(in_info)
                    : 25.0;
  if (st.analytic) {
    // New caps mid-stream: whatever was learned belongs to the old pictures.
    if (!size_changed) {
      schedule_reset(self, "caps changed");
      return TRUE;
    }
    // The geometry is checked against the new size at once, so that caps it does not fit fail negotiation.
    finish_analytic(self);
    st.pending_reset.clear();
    if (!make_analytic(self)) return FALSE;
    post_reset(self, "caps changed (frame size)");
    return TRUE;
  }
  return make_analytic(self);
}

gboolean filter_sink_event(GstBaseTransform *trans, GstEvent *event) {
  GstVornFilter *self = GST_VORN_FILTER(trans);
  switch (GST_EVENT_TYPE(event)) {
    case GST_EVENT_FLUSH_STOP:
      schedule_reset(self, "flush");
      break;
    case GST_EVENT_GAP:
      schedule_reset(self, "gap");
      break;
    case GST_EVENT_EOS:
      finish_analytic(self);
      break;
    default:
      break;
  }
  return GST_BASE_TRANSFORM_CLASS(gst_vorn_filter_parent_class)->sink_event(trans, event);
}

GstFlowReturn filter_transform_ip(GstBaseTransform *trans, GstBuffer *buffer) {
  GstVornFilter *self = GST_VORN_FILTER(trans);
  GstVideoFilter *filter = GST_VIDEO_FILTER(trans);
  FilterState &st = *self->state;
  if (!filter->negotiated) return GST_FLOW_NOT_NEGOTIATED;
  if (GST_BUFFER_IS_DISCONT(buffer) && st.frames > 0) schedule_reset(self, "discontinuity");
  if (!apply_reset(self)) return GST_FLOW_ERROR;
  bool draw;
  {
    std::lock_guard<std::mutex> lock(st.mu);
    draw = st.draw;
  }
  GstVideoFrame vf;
  // Mapped without a reference of its own, so that the buffer stays writable for the metas.
  const int map = GST_VIDEO_FRAME_MAP_FLAG_NO_REF | (draw ? GST_MAP_READWRITE : GST_MAP_READ);
  if (!gst_video_frame_map(&vf, &filter->in_info, buffer, GstMapFlags(map))) {
    GST_ELEMENT_ERROR(self, STREAM, FAILED, ("cannot map the frame"), (nullptr));
    return GST_FLOW_ERROR;
  }
  GstFlowReturn ret = GST_FLOW_OK;
  vt::Frame &f = st.frame;
  if (!st.io.read(&vf, f)) {
    GST_ELEMENT_ERROR(self, RESOURCE, FAILED, ("out of memory converting a frame"), (nullptr));
    gst_video_frame_unmap(&vf);
    return GST_FLOW_ERROR;
  }
  f.index = st.frames;
  const GstClockTime pts = GST_BUFFER_PTS(buffer);
  const GstClockTime t = GST_CLOCK_TIME_IS_VALID(pts) ? gst_segment_to_stream_time(&trans->segment, GST_FORMAT_TIME, pts)
                                                      : GST_CLOCK_TIME_NONE;
  f.time = GST_CLOCK_TIME_IS_VALID(t) ? double(t) / GST_SECOND : double(st.frames) / st.info.fps;
  st.events.clear();
  try {
    st.analytic->feed(f, st.events);
    stamp(st, 0, f);
    post_events(self, buffer);
    if (draw) {
      st.drawn = f;
      vt::Canvas c(st.drawn);
      st.analytic->draw(c);
      vt::draw_frame_header(c, st.drawn);
      if (!st.io.write_changes(f, st.drawn, &vf)) vt::runtime_error("out of memory drawing the overlay");
    }
  } catch (const std::exception &e) {
    GST_ELEMENT_ERROR(self, LIBRARY, FAILED, ("%s", e.what()), (nullptr));
    ret = GST_FLOW_ERROR;
  }
  gst_video_frame_unmap(&vf);
  ++st.frames;
  return ret;
}

void filter_finalize(GObject *object) {
  GstVornFilter *self = GST_VORN_FILTER(object);
  delete self->state;
  self->state = nullptr;
  G_OBJECT_CLASS(gst_vorn_filter_parent_class)->finalize(object);
}

// Each kind's element: its name and type; what it does comes from the program's registry entry.
struct KindInfo {
  const char *kind, *element, *type_name, *long_name;
};

const KindInfo kKinds[] = {
    {"guard", "vornguard", "GstVornGuard", "Guard line"},
    {"count", "vorncount", "GstVornCount", "Area counter"},
    {"track", "vorntrack", "GstVornTrack", "Object tracker"},
    {"left", "vornleft", "GstVornLeft", "Left-object detector"},
    {"bgsub", "vornbgsub", "GstVornBgsub", "Background subtraction"},
    {"plate", "vornplate", "GstVornPlate", "Licence-plate reader"},
};

void kind_class_init(gpointer klass, gpointer data) {
  const KindInfo &k = *static_cast<const KindInfo *>(data);
  GstVornFilterClass *vclass = reinterpret_cast<GstVornFilterClass *>(klass);
  vclass->kind = k.kind;
  GObjectClass *gobject_class = G_OBJECT_CLASS(klass);
  // Each class handles the properties it installs (GObject does not pass these two down).
  gobject_class->set_property = set_property;
  gobject_class->get_property = get_property;
  const auto &props = vg::element_props(k.kind);
  for (size_t i = 0; i < props.size(); ++i)
    g_object_class_install_property(gobject_class, guint(PROP_FIRST_SETTING + i), vg::prop_spec(k.kind, props[i]));
  GstElementClass *element_class = GST_ELEMENT_CLASS(klass);
  std::string long_name = std::string("VORN ") + k.long_name;
  const vt::AnalyticEntry *entry = vt::find_analytic(k.kind);
  std::string description = std::string("The vorn program's analytic '") + k.kind + "': " +
                            (entry ? entry->summary : "not in this build") + "; results go out as element messages \"" +
                            vg::kEventStructure + "\", region-of-interest metas and optionally JSON lines";
  gst_element_class_set_metadata(element_class, long_name.c_str(), "Filter/Analyzer/Video", description.c_str(),
                                 "VORNBaseLib developers");
}

void kind_instance_init(GTypeInstance *instance, gpointer klass) {
  GstVornFilter *self = reinterpret_cast<GstVornFilter *>(instance);
  self->state->settings = vt::settings_of(reinterpret_cast<GstVornFilterClass *>(klass)->kind);
}

}  // namespace

static void gst_vorn_filter_class_init(GstVornFilterClass *klass) {
  GST_DEBUG_CATEGORY_INIT(vorn_filter_debug, "vorn", 0, "VORNBaseLib analytic elements");
  GObjectClass *gobject_class = G_OBJECT_CLASS(klass);
  gobject_class->set_property = set_property;
  gobject_class->get_property = get_property;
  gobject_class->finalize = filter_finalize;
  const GParamFlags f = GParamFlags(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_PLAYING);
  g_object_class_install_property(
      gobject_class, PROP_DRAW,
      g_param_spec_boolean("draw", "draw", "Draw the analytic's overlay (as vorn --annotate) into the frames", FALSE, f));
  g_object_class_install_property(
      gobject_class, PROP_EVENTS_LOCATION,
      g_param_spec_string("events-location", "events-location",
                          "File the events are also written to, one JSON object per line (opened when the element "
                          "starts)",
                          "", GParamFlags(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS | GST_PARAM_MUTABLE_READY)));
  g_object_class_install_property(
      gobject_class, PROP_STREAM,
      g_param_spec_int("stream", "stream", "Camera number written into every event as \"stream\"", 0, 1000000, 0, f));
  g_object_class_install_property(
      gobject_class, PROP_STREAM_NAME,
      g_param_spec_string("stream-name", "stream-name",
                          "Camera name written into every event as \"stream_name\" (the program writes its input's)",
                          "", f));
  g_object_class_install_property(
      gobject_class, PROP_ANALYTIC_NAME,
      g_param_spec_string("analytic-name", "analytic-name",
                          "Name written into every event as \"analytic\" (default: the analytic's kind)", nullptr, f));

  GstElementClass *element_class = GST_ELEMENT_CLASS(klass);
  GstCaps *caps = gst_caps_from_string(GST_VIDEO_CAPS_MAKE(VORN_GST_FORMATS));
  gst_element_class_add_pad_template(element_class, gst_pad_template_new("sink", GST_PAD_SINK, GST_PAD_ALWAYS, caps));
  gst_element_class_add_pad_template(element_class, gst_pad_template_new("src", GST_PAD_SRC, GST_PAD_ALWAYS, caps));
  gst_caps_unref(caps);

  GstBaseTransformClass *trans_class = GST_BASE_TRANSFORM_CLASS(klass);
  trans_class->start = filter_start;
  trans_class->stop = filter_stop;
  trans_class->sink_event = filter_sink_event;
  trans_class->transform_ip = filter_transform_ip;
  trans_class->passthrough_on_same_caps = FALSE;
  GST_VIDEO_FILTER_CLASS(klass)->set_info = filter_set_info;
}

static void gst_vorn_filter_init(GstVornFilter *self) {
  self->state = new FilterState;
  gst_base_transform_set_in_place(GST_BASE_TRANSFORM(self), TRUE);
}

gboolean vorn_gst_register_elements(GstPlugin *plugin) {
  gboolean ok = TRUE;
  for (const KindInfo &k : kKinds) {
    GType type = g_type_from_name(k.type_name);
    if (!type) {
      const GTypeInfo info = {sizeof(GstVornFilterClass), nullptr, nullptr, kind_class_init, nullptr, &k,
                              sizeof(GstVornFilter), 0, kind_instance_init, nullptr};
      type = g_type_register_static(GST_TYPE_VORN_FILTER, k.type_name, &info, GTypeFlags(0));
    }
    ok = gst_element_register(plugin, k.element, GST_RANK_NONE, type) && ok;
  }
  return ok;
}
