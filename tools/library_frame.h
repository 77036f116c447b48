// Frames as the library takes them, and small helpers shared by the analytics that wrap library objects.
#ifndef VORN_TOOLS_LIBRARY_FRAME_H
#define VORN_TOOLS_LIBRARY_FRAME_H

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "vorn.h"

#include "analytic.h"
#include "analytic_registry.h"
#include "error.h"
#include "frame.h"
#include "geometry.h"

namespace vt {

// A frame as raw 24-bit bitmap rows (VORN_FRAME_BMP24): bottom-up B,G,R rows, each padded to 4 bytes.
class Bmp24Frame {
 public:
  const uint8_t *fill(const Frame &f) {
    const size_t stride = (static_cast<size_t>(f.width) * 3 + 3) & ~size_t(3);
    buf_.resize(stride * static_cast<size_t>(f.height));
    for (int y = 0; y < f.height; ++y) {
      const uint8_t *src = f.row(f.height - 1 - y);
      uint8_t *dst = buf_.data() + stride * static_cast<size_t>(y);
      std::copy(src, src + static_cast<size_t>(f.width) * 3, dst);
    }
    return buf_.data();
  }
  uint8_t *data() { return buf_.data(); }

 private:
  std::vector<uint8_t> buf_;
};

// Owns one library object and destroys it through its family's destroy function.
template <typename T, auto Destroy>
struct LibraryDeleter {
  void operator()(T *p) const { Destroy(p); }
};
template <typename T, auto Destroy>
using LibraryPtr = std::unique_ptr<T, LibraryDeleter<T, Destroy>>;

// Throws a runtime error "<who>: <what> failed: <the code's sentence> (<its name>)".
[[noreturn]] inline void library_failed(const std::string &who, const std::string &what, vorn_result r) {
  runtime_error(who + ": " + what + " failed: " + vorn_result_message(r) + " (" + vorn_result_name(r) + ")");
}

// Creates a library object through its family's create function, or throws "<who>: creating <what> failed (..)".
template <typename T, typename Params>
T *create_object(vorn_result (*create)(const Params *, T **), const Params &params, const std::string &who,
                 const std::string &what) {
  T *obj = nullptr;
  const vorn_result r = create(&params, &obj);
  if (r != VORN_OK || !obj) library_failed(who, "creating " + what, r);
  return obj;
}

// The creation record shared by the objects built over a background model (guard, tracker): frame size, RGB
// frames, and the settings' model type.
template <typename Params>
Params model_params(const AnalyticSettings &settings, const StreamInfo &info) {
  return Params{static_cast<uint32_t>(info.width), static_cast<uint32_t>(info.height), VORN_FORMAT_RGB,
                settings.bk_type};
}

// A polygon as library points, closed by repeating its first point at the end.
inline std::vector<vorn_point> closed_points(const Polygon &p) {
  std::vector<vorn_point> out;
  for (const Pt &q : p) out.push_back(vorn_point{q.x, q.y});
  if (!p.empty()) out.push_back(vorn_point{p[0].x, p[0].y});
  return out;
}

// What a library object that learns its background first answered for one frame: a scene change becomes a
// "scene_change" event and a learning frame is counted; any other failure throws naming `who` and the frame.
inline void check_frame_result(vorn_result r, const std::string &who, const Frame &frame, int64_t &learning,
                               std::vector<Event> &events) {
  if (r == VORN_E_SCENE_CHANGE) {
    Event e;
    e.kind = "scene_change";
    events.push_back(e);
  } else if (r == VORN_E_LEARNING) {
    ++learning;
  } else if (r != VORN_OK) {
    library_failed(who, "processing frame " + std::to_string(frame.index), r);
  }
}

// The foreground mask a get_fg call answered when it covers the whole width x height frame, else nullptr.
inline const uint8_t *whole_frame_mask(vorn_result got, const vorn_mono_image *fg, int width, int height) {
  return got == VORN_OK && fg && fg->data && int(fg->width) == width && int(fg->height) == height ? fg->data
                                                                                                    : nullptr;
}

// The "boxes" event of a tracking analytic: with `every` > 0, on every `every`-th frame, the live tracks' ids and
// boxes (what `vorn eval` scores tracks on). `each(fn)` calls fn(id, box) for every live track.
template <typename ForEach>
void add_boxes_event(int every, const Frame &frame, ForEach each, std::vector<Event> &events) {
  if (every <= 0 || frame.index % every != 0) return;
  Event e;
  e.kind = "boxes";
  each([&e](int id, const Box &b) {
    e.ids.push_back(id);
    e.boxes.push_back(b);
  });
  events.push_back(e);
}

// The setting that asks for them, shared by the tracking analytics' entries.
inline SettingDef boxes_every_setting() {
  return {"boxes_every", SettingType::kInteger, "N", "a \"boxes\" event with every live track every N frames (0: none)",
          0, 0, 1000000};
}

inline Box box_of(const vorn_rect &r) { return Box{r.left, r.top, r.right, r.bottom}; }

}  // namespace vt

#endif
