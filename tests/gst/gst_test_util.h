// Helpers of the plugin's tests: the elements registered in-process, events read back from bus messages, the
// built-in scene as buffers and the program's own events over it.
#ifndef VORN_TESTS_GST_UTIL_H
#define VORN_TESTS_GST_UTIL_H

// The standard headers come first: the check framework's macros (fail, ...) would clash with them.
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include <gst/check/gstcheck.h>
#include <gst/check/gstharness.h>
#include <gst/video/video.h>

#include "analytic.h"
#include "scene.h"

namespace gst_test {

// Registers the plugin's elements with this process (once).
void register_elements();

// The element description of `kind` with the scene's geometry, e.g. "vornguard line=.. direction=..".
std::string scene_element(const std::string &kind, const vt::SceneTruth &truth, const std::string &extra = "");

// The event a "vorn-event" structure holds, read field by field.
vt::Event event_of(const GstStructure *s);

// Every "vorn-event" (and, when `resets` is given, "vorn-reset") message waiting on `bus`, in order.
std::vector<vt::Event> pop_events(GstBus *bus, std::vector<std::string> *resets = nullptr);

// A frame of the scene as a buffer of `format` (BGR, BGRx or RGB) with its time stamps at 25 frames a second.
GstBuffer *scene_buffer(const vt::Frame &f, GstVideoFormat format);
std::string scene_caps(GstVideoFormat format, int width = 768, int height = 576);

// Feeds the first `frames` frames of the built-in scene through a harness over `description` and returns the
// events its elements posted; `check` sees each output buffer with the events of its frame.
using BufferCheck = void (*)(GstBuffer *out, const vt::Frame &in, const std::vector<vt::Event> &events, void *data);
std::vector<vt::Event> run_scene(const std::string &description, int frames, GstVideoFormat format,
                                 BufferCheck check = nullptr, void *data = nullptr);

// The program's events (`vorn run` over the scene with these analytics), as JSON lines.
std::vector<std::string> program_events(const std::vector<std::string> &kinds, int frames);

std::vector<std::string> json_lines(const std::vector<vt::Event> &events);
std::vector<std::string> read_lines(const std::string &path);
std::string scratch_dir();

}  // namespace gst_test

#endif
