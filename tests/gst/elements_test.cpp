// The plugin's elements in GStreamer's own check framework: events equal to the program's on the built-in scene,
// overlays equal to its annotation, formats, property checks, resets and state changes.
#include <algorithm>
#include <cstring>

#include "analytic_registry.h"
#include "gst_test_util.h"
#include "runner.h"
#include "scene.h"

using gst_test::json_lines;
using gst_test::run_scene;
using gst_test::scene_element;

namespace {

// The scene is shorter under the sanitizers, where every frame costs several times as much.
#ifndef VORN_GST_SCENE_FRAMES
#define VORN_GST_SCENE_FRAMES 500
#endif
constexpr int kSceneFrames = VORN_GST_SCENE_FRAMES;

const vt::SceneTruth &truth() {
  static vt::StreetScene scene(1);
  return scene.truth();
}

void expect_same_lines(const std::vector<std::string> &got, const std::vector<std::string> &want) {
  for (size_t i = 0; i < std::min(got.size(), want.size()); ++i)
    fail_unless(got[i] == want[i], "event %zu differs:\n element %s\n program %s", i, got[i].c_str(), want[i].c_str());
  fail_unless_equals_int(got.size(), want.size());
}

// Every output buffer carries one region-of-interest meta per box its frame's events reported, and the pixels
// come out untouched.
struct RoiCheck {
  size_t metas = 0;
};
void check_rois(GstBuffer *out, const vt::Frame &in, const std::vector<vt::Event> &events, void *data) {
  size_t boxes = 0;
  for (const vt::Event &e : events) boxes += e.boxes.size();
  size_t metas = 0;
  gpointer state = nullptr;
  while (GstMeta *m = gst_buffer_iterate_meta_filtered(out, &state, GST_VIDEO_REGION_OF_INTEREST_META_API_TYPE)) {
    auto *roi = reinterpret_cast<GstVideoRegionOfInterestMeta *>(m);
    const GstStructure *p = gst_video_region_of_interest_meta_get_param(roi, "vorn");
    fail_unless(p != nullptr);
    bool found = false;
    for (const vt::Event &e : events)
      for (vt::Box b : e.boxes) {
        // Metas hold the part of a box inside the picture.
        b = vt::Box{std::max(b.left, 0), std::max(b.top, 0), std::min(b.right, in.width), std::min(b.bottom, in.height)};
        found = found || (g_quark_to_string(roi->roi_type) == e.kind && int(roi->x) == b.left &&
                          int(roi->y) == b.top && int(roi->x + roi->w) == b.right && int(roi->y + roi->h) == b.bottom);
      }
    fail_unless(found, "frame %lld: meta %s %u,%u %ux%u matches no reported box", static_cast<long long>(in.index),
                g_quark_to_string(roi->roi_type), roi->x, roi->y, roi->w, roi->h);
    ++metas;
  }
  fail_unless_equals_int(metas, boxes);
  static_cast<RoiCheck *>(data)->metas += metas;
  GstMapInfo map;
  fail_unless(gst_buffer_map(out, &map, GST_MAP_READ));
  fail_unless(std::memcmp(map.data, in.bgr.data(), in.bgr.size()) == 0, "frame %lld was changed",
              static_cast<long long>(in.index));
  gst_buffer_unmap(out, &map);
}

}  // namespace

// The six elements in a row over the scene post, event for event, what `vorn run` reports with the same six
// analytics; one of them also writes its events as JSON lines.
GST_START_TEST(scene_events_equal_program) {
  const std::vector<std::string> kinds = {"guard", "count", "track", "left", "bgsub", "plate"};
  const std::string dir = gst_test::scratch_dir();
  std::string pipeline;
  for (const std::string &k : kinds)
    pipeline += (pipeline.empty() ? "" : " ! ") +
                scene_element(k, truth(), k == "guard" ? "events-location=" + dir + "/guard.jsonl" : "");
  RoiCheck rois;
  std::vector<vt::Event> events = run_scene(pipeline, kSceneFrames, GST_VIDEO_FORMAT_BGR, check_rois, &rois);
  const std::vector<std::string> want = gst_test::program_events(kinds, kSceneFrames);
  fail_unless(want.size() >= 3, "the program reported too little to compare");
  expect_same_lines(json_lines(events), want);
  fail_unless(rois.metas > 0);

  std::vector<std::string> guard_lines;
  for (const std::string &l : want)
    if (l.find("\"analytic\":\"guard\"") != std::string::npos) guard_lines.push_back(l);
  expect_same_lines(gst_test::read_lines(dir + "/guard.jsonl"), guard_lines);
  std::system(("rm -rf " + dir).c_str());
}
GST_END_TEST;

// R,G,B and 32-bit frames of the same pictures give the same events as B,G,R ones.
GST_START_TEST(byte_orders_give_the_same_events) {
  const int frames = std::min(kSceneFrames, 160);
  const std::string d = scene_element("bgsub", truth()) + " ! " + scene_element("guard", truth());
  const std::vector<std::string> bgr = json_lines(run_scene(d, frames, GST_VIDEO_FORMAT_BGR));
  fail_unless(bgr.size() >= 2);
  expect_same_lines(json_lines(run_scene(d, frames, GST_VIDEO_FORMAT_RGB)), bgr);
  expect_same_lines(json_lines(run_scene(d, frames, GST_VIDEO_FORMAT_BGRx)), bgr);
}
GST_END_TEST;

namespace {

// The program's overlay for the same frames: the analytic fed in-process and drawn as `--annotate` draws it.
struct OverlayCheck {
  std::unique_ptr<vt::Analytic> analytic;
  std::vector<vt::Event> scratch;
  int differing = 0, drawn_pixels = 0;
};
void check_overlay(GstBuffer *out, const vt::Frame &in, const std::vector<vt::Event> &, void *data) {
  auto &c = *static_cast<OverlayCheck *>(data);
  c.analytic->feed(in, c.scratch);
  vt::Frame want = in;
  vt::Canvas canvas(want);
  c.analytic->draw(canvas);
  vt::draw_frame_header(canvas, want);
  GstMapInfo map;
  fail_unless(gst_buffer_map(out, &map, GST_MAP_READ));
  for (int y = 0; y < in.height; ++y)
    for (int x = 0; x < in.width; ++x) {
      const uint8_t *o = map.data + (size_t(y) * in.width + x) * 4, *w = want.row(y) + 3 * x;
      if (o[0] != w[0] || o[1] != w[1] || o[2] != w[2] || o[3] != uint8_t(x * 7 + y)) ++c.differing;
      if (std::memcmp(w, in.row(y) + 3 * x, 3) != 0) ++c.drawn_pixels;
    }
  gst_buffer_unmap(out, &map);
}

}  // namespace

// draw=true paints exactly the program's annotation into 32-bit frames, leaving the fourth byte alone.
GST_START_TEST(draw_paints_the_program_overlay) {
  vt::AnalyticSettings s = vt::settings_of("guard");
  vt::fill_from_scene(s, truth());
  vt::StreamInfo info;
  info.width = 768;
  info.height = 576;
  OverlayCheck c;
  c.analytic = vt::create_analytic(s, info);
  run_scene(scene_element("guard", truth(), "draw=true"), std::min(kSceneFrames, 150), GST_VIDEO_FORMAT_BGRx,
            check_overlay, &c);
  fail_unless(c.drawn_pixels > 10000, "the overlay drew almost nothing");
  fail_unless_equals_int(c.differing, 0);
}
GST_END_TEST;

namespace {

GstFlowReturn push_frames(GstHarness *h, const char *caps, int frames) {
  gst_harness_set_src_caps_str(h, caps);
  GstVideoInfo info;
  GstCaps *c = gst_caps_from_string(caps);
  gst_video_info_from_caps(&info, c);
  gst_caps_unref(c);
  GstFlowReturn r = GST_FLOW_OK;
  for (int i = 0; i < frames && r == GST_FLOW_OK; ++i) {
    GstBuffer *b = gst_buffer_new_allocate(nullptr, GST_VIDEO_INFO_SIZE(&info), nullptr);
    gst_buffer_memset(b, 0, guint8(i < 60 ? 90 : 90 + (i % 2) * 100), GST_VIDEO_INFO_SIZE(&info));
    GST_BUFFER_PTS(b) = GST_SECOND * guint64(i) / 25;
    r = gst_harness_push(h, b);
    if (r == GST_FLOW_OK) gst_buffer_unref(gst_harness_pull(h));
  }
  return r;
}

}  // namespace

// The library's own frame types and R,G,B are taken as they come; others need a conversion before the element,
// and the YUV types need even sizes.
GST_START_TEST(formats_negotiate) {
  for (const char *f : {"I420", "YUY2", "BGR", "BGRx", "RGB"}) {
    GstHarness *h = gst_harness_new_parse("vornbgsub");
    GstBus *bus = gst_bus_new();
    gst_element_set_bus(h->element, bus);
    std::string caps = std::string("video/x-raw,format=") + f + ",width=64,height=48,framerate=25/1";
    fail_unless_equals_int(push_frames(h, caps.c_str(), 70), GST_FLOW_OK);
    // A flat grey picture, learned, then flickering: the model reports both.
    std::vector<vt::Event> ev = gst_test::pop_events(bus);
    fail_unless(ev.size() >= 2 && ev[0].kind == "learned", "%s: %zu events", f, ev.size());
    gst_element_set_bus(h->element, nullptr);
    gst_object_unref(bus);
    gst_harness_teardown(h);
  }
  for (const char *caps : {"video/x-raw,format=NV12,width=64,height=48,framerate=25/1",
                           "video/x-raw,format=GRAY8,width=64,height=48,framerate=25/1",
                           "video/x-raw,format=I420,width=63,height=48,framerate=25/1"}) {
    GstHarness *h = gst_harness_new_parse("vornbgsub");
    GstBus *bus = gst_bus_new();
    gst_element_set_bus(h->element, bus);
    fail_if(push_frames(h, caps, 1) == GST_FLOW_OK, "%s was taken", caps);
    gst_element_set_bus(h->element, nullptr);
    gst_object_unref(bus);
    gst_harness_teardown(h);
  }
}
GST_END_TEST;

// Bad values are refused with a warning and leave the previous value; geometry that does not fit the frames
// fails negotiation with an error naming it.
GST_START_TEST(properties_are_checked) {
  GstElement *e = gst_element_factory_make("vornguard", nullptr);
  fail_unless(e != nullptr);
  g_object_set(e, "line", "10,20,30,20", "half-width", 12, "param", "window=0x101,3=7", nullptr);
  ASSERT_WARNING(g_object_set(e, "line", "10,20,30", nullptr));
  ASSERT_WARNING(g_object_set(e, "line", "a,b,c,d", nullptr));
  ASSERT_WARNING(g_object_set(e, "half-width", 0, nullptr));
  ASSERT_WARNING(g_object_set(e, "param", "nosuch=1", nullptr));
  ASSERT_WARNING(g_object_set(e, "param", "window=0x1ffffffff", nullptr));
  gchar *line = nullptr, *param = nullptr;
  int half = 0;
  g_object_get(e, "line", &line, "half-width", &half, "param", &param, nullptr);
  fail_unless_equals_string(line, "10,20,30,20");
  fail_unless_equals_string(param, "5=257,3=7");
  fail_unless_equals_int(half, 12);
  g_free(line);
  g_free(param);
  gst_object_unref(e);

  GstElement *c = gst_element_factory_make("vorncount", nullptr);
  ASSERT_WARNING(g_object_set(c, "area0", "1,1,5,5", nullptr));  // two points are no area
  ASSERT_WARNING(g_object_set(c, "logic", 2, nullptr));
  gst_object_unref(c);

  // A line beyond the frame's right edge: the caps are refused and the error says why.
  GstHarness *h = gst_harness_new_parse("vornguard line=10,10,700,10 direction=50,0,50,30");
  GstBus *bus = gst_bus_new();
  gst_element_set_bus(h->element, bus);
  fail_if(push_frames(h, "video/x-raw,format=BGR,width=320,height=240,framerate=25/1", 1) == GST_FLOW_OK);
  GstMessage *m = gst_bus_pop_filtered(bus, GST_MESSAGE_ERROR);
  fail_unless(m != nullptr);
  GError *err = nullptr;
  gst_message_parse_error(m, &err, nullptr);
  fail_unless(std::strstr(err->message, "guard line") != nullptr, "error: %s", err->message);
  g_error_free(err);
  gst_message_unref(m);
  gst_element_set_bus(h->element, nullptr);
  gst_object_unref(bus);
  gst_harness_teardown(h);
}
GST_END_TEST;

// A flush, a gap, a discontinuity and a new frame size each make the analytic afresh and say so; a learned
// background has to be learned again afterwards.
GST_START_TEST(resets_are_announced) {
  GstHarness *h = gst_harness_new_parse("vornbgsub");
  GstBus *bus = gst_bus_new();
  gst_element_set_bus(h->element, bus);
  const char *caps = "video/x-raw,format=BGR,width=64,height=48,framerate=25/1";
  fail_unless_equals_int(push_frames(h, caps, 70), GST_FLOW_OK);
  std::vector<std::string> resets;
  fail_unless(gst_test::pop_events(bus, &resets)[0].kind == "learned");
  fail_unless(resets.empty());

  fail_unless(gst_harness_push_event(h, gst_event_new_flush_start()));
  fail_unless(gst_harness_push_event(h, gst_event_new_flush_stop(TRUE)));
  GstSegment seg;
  gst_segment_init(&seg, GST_FORMAT_TIME);
  fail_unless(gst_harness_push_event(h, gst_event_new_segment(&seg)));
  fail_unless_equals_int(push_frames(h, caps, 70), GST_FLOW_OK);
  std::vector<vt::Event> ev = gst_test::pop_events(bus, &resets);
  fail_unless_equals_int(resets.size(), 1);
  fail_unless_equals_string(resets[0].c_str(), "flush");
  // The dropped analytic's closing events come first (at frame 69), then the new one learns from frame 70 on.
  auto learned = std::find_if(ev.begin(), ev.end(), [](const vt::Event &e) { return e.kind == "learned"; });
  fail_unless(learned != ev.end() && learned->frame == 70 + 50, "learned again at %lld",
              learned == ev.end() ? -1LL : static_cast<long long>(learned->frame));
  for (auto e = ev.begin(); e != learned; ++e) fail_unless(e->frame == 69, "%s at %lld", e->kind.c_str(), (long long)e->frame);

  fail_unless(gst_harness_push_event(h, gst_event_new_gap(0, GST_SECOND)));
  GstBuffer *b = gst_buffer_new_allocate(nullptr, 64 * 48 * 3, nullptr);
  gst_buffer_memset(b, 0, 90, 64 * 48 * 3);
  GST_BUFFER_FLAG_SET(b, GST_BUFFER_FLAG_DISCONT);
  fail_unless_equals_int(gst_harness_push(h, gst_buffer_ref(b)), GST_FLOW_OK);
  gst_buffer_unref(gst_harness_pull(h));
  fail_unless_equals_int(gst_harness_push(h, b), GST_FLOW_OK);
  gst_buffer_unref(gst_harness_pull(h));
  fail_unless_equals_int(push_frames(h, "video/x-raw,format=BGR,width=32,height=24,framerate=25/1", 2), GST_FLOW_OK);
  resets.clear();
  gst_test::pop_events(bus, &resets);
  fail_unless_equals_int(resets.size(), 3);
  fail_unless_equals_string(resets[0].c_str(), "gap");
  fail_unless_equals_string(resets[1].c_str(), "discontinuity");
  fail_unless_equals_string(resets[2].c_str(), "caps changed (frame size)");
  gst_element_set_bus(h->element, nullptr);
  gst_object_unref(bus);
  gst_harness_teardown(h);
}
GST_END_TEST;

// A playing pipeline taken to NULL and back to PLAYING in the middle of its stream runs on, and frees everything
// (the sanitizer build checks the leaks).
GST_START_TEST(playing_null_playing) {
  GError *err = nullptr;
  GstElement *p = gst_parse_launch(
      "videotestsrc pattern=ball num-buffers=120 ! video/x-raw,format=I420,width=160,height=120,framerate=25/1 ! "
      "vornbgsub ! vorntrack ! vornguard line=10,60,150,60 direction=80,40,80,80 draw=true ! fakesink sync=false",
      &err);
  fail_unless(p != nullptr && err == nullptr);
  GstBus *bus = gst_element_get_bus(p);
  for (int round = 0; round < 2; ++round) {
    fail_if(gst_element_set_state(p, GST_STATE_PLAYING) == GST_STATE_CHANGE_FAILURE);
    // Mid-stream: the model has learned (frame 50) before the pipeline is stopped.
    GstMessage *m = nullptr;
    bool learned = false;
    while (!learned && (m = gst_bus_timed_pop_filtered(bus, 20 * GST_SECOND,
                                                        GstMessageType(GST_MESSAGE_ELEMENT | GST_MESSAGE_ERROR |
                                                                       GST_MESSAGE_EOS))) != nullptr) {
      fail_unless(GST_MESSAGE_TYPE(m) == GST_MESSAGE_ELEMENT, "pipeline ended early");
      const GstStructure *s = gst_message_get_structure(m);
      learned = gst_structure_has_name(s, "vorn-event") &&
                std::strcmp(gst_structure_get_string(s, "kind"), "learned") == 0;
      gst_message_unref(m);
    }
    fail_unless(learned);
    fail_if(gst_element_set_state(p, GST_STATE_NULL) == GST_STATE_CHANGE_FAILURE);
    gst_bus_set_flushing(bus, TRUE);
    gst_bus_set_flushing(bus, FALSE);
  }
  fail_if(gst_element_set_state(p, GST_STATE_PLAYING) == GST_STATE_CHANGE_FAILURE);
  GstMessage *end = gst_bus_timed_pop_filtered(bus, 60 * GST_SECOND, GstMessageType(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
  fail_unless(end != nullptr && GST_MESSAGE_TYPE(end) == GST_MESSAGE_EOS);
  gst_message_unref(end);
  gst_element_set_state(p, GST_STATE_NULL);
  gst_object_unref(bus);
  gst_object_unref(p);
}
GST_END_TEST;

static Suite *vorn_suite() {
  gst_test::register_elements();
  Suite *s = suite_create("vorn");
  TCase *tc = tcase_create("elements");
  tcase_set_timeout(tc, 900);
  suite_add_tcase(s, tc);
  tcase_add_test(tc, scene_events_equal_program);
  tcase_add_test(tc, byte_orders_give_the_same_events);
  tcase_add_test(tc, draw_paints_the_program_overlay);
  tcase_add_test(tc, formats_negotiate);
  tcase_add_test(tc, properties_are_checked);
  tcase_add_test(tc, resets_are_announced);
  tcase_add_test(tc, playing_null_playing);
  return s;
}

GST_CHECK_MAIN(vorn);
