#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <fstream>

#include "gst_test_util.h"

#include "report.h"
#include "vorn.h"
#include "vorn_filter.h"

namespace gst_test {

namespace {

gboolean init_plugin(GstPlugin *plugin) {
  vorn_init();
  return vorn_gst_register_elements(plugin);
}

std::string points(const std::vector<vt::Pt> &pts) {
  std::string s;
  for (const vt::Pt &p : pts) s += (s.empty() ? "" : ",") + std::to_string(p.x) + "," + std::to_string(p.y);
  return s;
}

const GValue *array_item(const GValue *array, guint i) { return gst_value_array_get_value(array, i); }

}  // namespace

void register_elements() {
  static bool done = false;
  if (done) return;
  done = true;
  g_assert(gst_plugin_register_static(GST_VERSION_MAJOR, GST_VERSION_MINOR, "vorn", "VORNBaseLib analytics",
                                         init_plugin, "0.1.0", "Proprietary", "vornbase", "VORNBaseLib",
                                         "https://localhost/vornbase"));
}

std::string scene_element(const std::string &kind, const vt::SceneTruth &t, const std::string &extra) {
  std::string d = "vorn" + kind;
  if (kind == "guard")
    d += " line=" + points({t.guard_line.a, t.guard_line.b}) + " direction=" +
         points({t.direction_line.a, t.direction_line.b});
  else if (kind == "count")
    d += " area0=" + points(t.area0) + " area1=" + points(t.area1);
  else if (kind == "left")
    d += " region=" + points(t.region);
  // The program names the built-in scene's stream by its input, "@scene".
  d += " stream-name=@scene";
  return d + (extra.empty() ? "" : " " + extra);
}

vt::Event event_of(const GstStructure *s) {
  vt::Event e;
  fail_unless(gst_structure_has_name(s, "vorn-event"));
  gint64 frame = 0;
  fail_unless(gst_structure_get(s, "stream", G_TYPE_INT, &e.stream, "frame", G_TYPE_INT64, &frame, "time",
                                G_TYPE_DOUBLE, &e.time, nullptr));
  e.frame = frame;
  e.stream_name = gst_structure_get_string(s, "stream_name");
  e.analytic = gst_structure_get_string(s, "analytic");
  e.kind = gst_structure_get_string(s, "kind");
  const GValue *ids = gst_structure_get_value(s, "ids");
  fail_unless(ids && GST_VALUE_HOLDS_ARRAY(ids));
  for (guint i = 0; i < gst_value_array_get_size(ids); ++i) e.ids.push_back(g_value_get_int(array_item(ids, i)));
  const GValue *boxes = gst_structure_get_value(s, "boxes");
  fail_unless(boxes && GST_VALUE_HOLDS_ARRAY(boxes));
  for (guint i = 0; i < gst_value_array_get_size(boxes); ++i) {
    const GValue *b = array_item(boxes, i);
    fail_unless_equals_int(gst_value_array_get_size(b), 4);
    e.boxes.push_back(vt::Box{g_value_get_int(array_item(b, 0)), g_value_get_int(array_item(b, 1)),
                              g_value_get_int(array_item(b, 2)), g_value_get_int(array_item(b, 3))});
  }
  const GValue *counts = gst_structure_get_value(s, "counts");
  fail_unless(counts && GST_VALUE_HOLDS_STRUCTURE(counts));
  const GstStructure *c = gst_value_get_structure(counts);
  for (int i = 0; i < gst_structure_n_fields(c); ++i) {
    const char *name = gst_structure_nth_field_name(c, guint(i));
    gint64 v = 0;
    fail_unless(gst_structure_get_int64(c, name, &v));
    e.counts.emplace_back(name, v);
  }
  if (const char *text = gst_structure_get_string(s, "text")) e.text = text;
  if (const GValue *values = gst_structure_get_value(s, "values")) {
    const GstStructure *v = gst_value_get_structure(values);
    for (int i = 0; i < gst_structure_n_fields(v); ++i) {
      const char *name = gst_structure_nth_field_name(v, guint(i));
      double d = 0;
      fail_unless(gst_structure_get_double(v, name, &d));
      e.values.emplace_back(name, d);
    }
  }
  return e;
}

std::vector<vt::Event> pop_events(GstBus *bus, std::vector<std::string> *resets) {
  std::vector<vt::Event> out;
  while (GstMessage *m = gst_bus_pop_filtered(bus, GST_MESSAGE_ELEMENT)) {
    const GstStructure *s = gst_message_get_structure(m);
    if (gst_structure_has_name(s, "vorn-event")) out.push_back(event_of(s));
    else if (resets && gst_structure_has_name(s, "vorn-reset")) resets->push_back(gst_structure_get_string(s, "reason"));
    gst_message_unref(m);
  }
  return out;
}

std::string scene_caps(GstVideoFormat format, int width, int height) {
  return std::string("video/x-raw,format=") + gst_video_format_to_string(format) + ",width=" + std::to_string(width) +
         ",height=" + std::to_string(height) + ",framerate=25/1";
}

GstBuffer *scene_buffer(const vt::Frame &f, GstVideoFormat format) {
  GstVideoInfo info;
  gst_video_info_set_format(&info, format, guint(f.width), guint(f.height));
  GstBuffer *buf = gst_buffer_new_allocate(nullptr, GST_VIDEO_INFO_SIZE(&info), nullptr);
  GstMapInfo map;
  gst_buffer_map(buf, &map, GST_MAP_WRITE);
  const int step = GST_VIDEO_INFO_COMP_PSTRIDE(&info, 0);
  const bool swap = format == GST_VIDEO_FORMAT_RGB;
  for (int y = 0; y < f.height; ++y) {
    uint8_t *d = map.data + size_t(y) * GST_VIDEO_INFO_PLANE_STRIDE(&info, 0);
    const uint8_t *s = f.row(y);
    for (int x = 0; x < f.width; ++x, d += step, s += 3) {
      d[0] = s[swap ? 2 : 0];
      d[1] = s[1];
      d[2] = s[swap ? 0 : 2];
      if (step == 4) d[3] = uint8_t(x * 7 + y);  // the padding byte must come out as it went in
    }
  }
  gst_buffer_unmap(buf, &map);
  GST_BUFFER_PTS(buf) = gst_util_uint64_scale(guint64(f.index), GST_SECOND, 25);
  GST_BUFFER_DURATION(buf) = GST_SECOND / 25;
  return buf;
}

std::vector<vt::Event> run_scene(const std::string &description, int frames, GstVideoFormat format,
                                 BufferCheck check, void *data) {
  GstHarness *h = gst_harness_new_parse(description.c_str());
  GstBus *bus = gst_bus_new();
  gst_element_set_bus(h->element, bus);
  gst_harness_set_src_caps_str(h, scene_caps(format).c_str());
  vt::StreetScene scene(frames);
  vt::Frame f;
  std::vector<vt::Event> all;
  while (scene.next(f)) {
    fail_unless_equals_int(gst_harness_push(h, scene_buffer(f, format)), GST_FLOW_OK);
    GstBuffer *out = gst_harness_pull(h);
    std::vector<vt::Event> now = pop_events(bus);
    if (check) check(out, f, now, data);
    gst_buffer_unref(out);
    all.insert(all.end(), now.begin(), now.end());
  }
  fail_unless(gst_harness_push_event(h, gst_event_new_eos()));
  std::vector<vt::Event> closing = pop_events(bus);
  all.insert(all.end(), closing.begin(), closing.end());
  gst_element_set_bus(h->element, nullptr);
  gst_object_unref(bus);
  gst_harness_teardown(h);
  return all;
}

std::string scratch_dir() {
  char tmpl[] = "/tmp/vorn_gst_test_XXXXXX";
  const char *d = mkdtemp(tmpl);
  return d ? std::string(d) : std::string("/tmp");
}

std::vector<std::string> read_lines(const std::string &path) {
  std::ifstream in(path);
  std::vector<std::string> lines;
  for (std::string l; std::getline(in, l);) lines.push_back(l);
  return lines;
}

std::vector<std::string> json_lines(const std::vector<vt::Event> &events) {
  std::vector<std::string> out;
  for (const vt::Event &e : events) out.push_back(vt::event_json(e));
  return out;
}

std::vector<std::string> program_events(const std::vector<std::string> &kinds, int frames) {
  const std::string dir = scratch_dir();
  std::string config = "{\"analytics\": [";
  for (size_t i = 0; i < kinds.size(); ++i) config += std::string(i ? "," : "") + "{\"kind\": \"" + kinds[i] + "\"}";
  config += "]}";
  std::ofstream(dir + "/config.json") << config;
  const std::string cmd = std::string(VORN_TOOL_EXE) + " run --config " + dir + "/config.json --frames " +
                          std::to_string(frames) + " --quiet --events " + dir + "/events.jsonl";
  const int raw = std::system(cmd.c_str());
  fail_unless(WIFEXITED(raw) && WEXITSTATUS(raw) == 0, "the program failed: %s", cmd.c_str());
  std::vector<std::string> lines = read_lines(dir + "/events.jsonl");
  std::system(("rm -rf " + dir).c_str());
  return lines;
}

}  // namespace gst_test
