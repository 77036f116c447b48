// Scene analytics: Guard, Counter, LeftObjectDetector, and the line and region geometry they share.
#include "common.h"
#include "names.h"

namespace vp {

namespace {

class Guard : public StreamOwner<vorn_guard> {
 public:
  Guard(uint32_t width, uint32_t height, uint32_t bk_type, uint32_t format) : StreamOwner("guard", width, height) {
    vorn_guard_params p{width, height, format, bk_type};
    create(vorn_guard_create, p, vorn_guard_destroy, "creating the guard");
  }

  void set_lines(py::handle guard_line, py::handle direction_line, int32_t half_width) {
    vorn_line l = line_of(guard_line, "guard_line"), d = line_of(direction_line, "direction_line");
    InUse u(busy_, kind_);
    check(vorn_guard_set_lines(get(), l, d, half_width), "setting the guard lines");
  }

  void set_mask(py::handle mask) {
    vorn_mono_image m = mono_of(mask, "mask");
    same_size(m.width, m.height, width_, height_, "mask");
    InUse u(busy_, kind_);
    check(vorn_guard_set_mask(get(), &m), "setting the mask");
  }

  py::object process(py::handle frame, bool bgr) {
    return status_of(feed(frame, bgr, vorn_guard_put_image), "processing the frame");
  }

  void set_model_param(py::handle id, uint32_t value) {
    vorn_bk_model *m = nullptr;
    InUse u(busy_, kind_);
    check(vorn_guard_get_bk_model(get(), &m), "reading the model");
    check(bk_model_set_param(m, value, lookup(id, kParamNames, "parameter id")), "setting the parameter");
  }

  py::object event() const {
    InUse u(busy_, kind_);
    uint32_t ev = 0;
    check(vorn_guard_get_event(get(), &ev), "reading the event");
    return types().guard_event(ev);
  }

  py::list traces() const {
    InUse u(busy_, kind_);
    py::list out;
    vorn_guard *g = get();
    for (int32_t i = 0; i < 8; ++i) {
      vorn_line t{};
      if (vorn_guard_get_trace(g, i, &t) != VORN_OK) break;
      out.append(types().trace(point_out(t.x0, t.y0), point_out(t.x1, t.y1),
                               vorn_guard_is_cross_guard_line(g, uint32_t(i)) == 1,
                               vorn_guard_is_trigger_guard_line(g, uint32_t(i)) == 1));
    }
    return out;
  }

  py::object foreground() const { return mask_view(vorn_guard_get_fg); }

  py::object guard_line() const {
    InUse u(busy_, kind_);
    vorn_line l{};
    check(vorn_guard_get_guard_line(get(), &l), "reading the guard line");
    return line_out(l);
  }

  py::object direction_line() const {
    InUse u(busy_, kind_);
    vorn_line l{};
    check(vorn_guard_get_direction_line(get(), &l), "reading the direction line");
    return line_out(l);
  }
};

class Counter : public Owner<vorn_counter> {
 public:
  Counter(uint32_t width, uint32_t height, py::handle area0, py::handle area1, uint32_t sensitivity,
          uint32_t max_frame, bool logic, bool start)
      : Owner("counter") {
    if (width == 0 || height == 0) throw py::value_error("the mask size must not be 0");
    std::vector<vorn_point> a0 = points_of(area0, "area0", true), a1 = points_of(area1, "area1", true);
    vorn_counter_params p{a0.data(), a1.data(), int32_t(a0.size()), int32_t(a1.size()), width, height,
                          sensitivity, max_frame, logic ? 1u : 0u, 0};
    vorn_counter *c = vorn_counter_create(&p);
    if (!c) throw LibraryError{VORN_E_NOMEM, "creating the counter"};
    hold(c, vorn_counter_destroy);
    width_ = width;
    height_ = height;
    if (start) check(vorn_counter_start(c), "starting the counter");
  }

  void set_area(uint32_t index, py::handle points) {
    if (index > 1) throw py::value_error("area index must be 0 or 1");
    std::vector<vorn_point> pts = points_of(points, "points", true);
    if (pts.size() < 3) throw py::value_error("an area needs at least 3 points");
    InUse u(busy_, kind_);
    check(vorn_counter_set_area(get(), int32_t(index), pts.data(), int32_t(pts.size())), "setting the area");
  }

  py::object process(py::handle mask) {
    vorn_mono_image m = mono_of(mask, "mask");
    same_size(m.width, m.height, width_, height_, "mask");
    py::object keep = py::reinterpret_borrow<py::object>(mask);
    InUse u(busy_, kind_);
    vorn_counter *c = get();
    vorn_result r;
    {
      py::gil_scoped_release nogil;
      r = vorn_counter_set_mask(c, m.data);
    }
    return status_of(r, "counting");
  }

  template <vorn_result (*Set)(vorn_counter *, uint32_t)>
  void setter(uint32_t value) {
    InUse u(busy_, kind_);
    check(Set(get(), value), "setting the counter");
  }

  uint32_t width_ = 0, height_ = 0;
  vorn_counter *handle() const { return get(); }
};

class LeftObjectDetector : public Owner<vorn_obld> {
 public:
  LeftObjectDetector(py::handle first_frame, py::handle region, uint32_t sensitivity, uint32_t learn_frames,
                     uint32_t frame_threshold, bool bgr)
      : Owner("left-object detector") {
    FrameIn f = frame_in(first_frame, bgr);
    if (f.layout == Layout::kYuv420) throw py::value_error("the detector takes bitmap and 4:2:2 frames, not 4:2:0");
    std::vector<vorn_point> pts = points_of(region, "region", true);
    if (pts.size() < 4) throw py::value_error("the region needs at least 3 points");
    uint8_t *p = f.prepare(first_, &type_);
    first_keep_ = f.keep;  // bitmap objects and 4:2:2 buffers are the caller's own: kept alive with the detector
    vorn_obld_params prm{f.width, f.height, type_, p, pts.data(), uint32_t(pts.size()),
                         sensitivity, nullptr, 0, learn_frames};
    create(vorn_obld_create, prm, vorn_obld_destroy, "creating the detector");
    check(vorn_obld_set_frame_threshold(get(), frame_threshold), "setting the frame threshold");
    width_ = f.width;
    height_ = f.height;
  }

  py::object process(py::handle frame, bool bgr) {
    FrameIn f = frame_for(frame, bgr, width_, height_, "detector");
    InUse u(busy_, kind_);
    const uint32_t first_type = type_;
    vorn_result r = run_frame(get(), f, scratch_, [first_type](vorn_obld *o, uint8_t *p, uint32_t type) {
      return type == first_type ? vorn_obld_put_image(o, p, type) : VORN_E_PARAM;
    });
    if (r == VORN_E_PARAM) throw py::value_error("frames must keep the layout of the first frame");
    return status_of(r, "processing the frame");
  }

  py::list lost_objects() const {
    InUse u(busy_, kind_);
    vorn_rect rects[32];
    uint32_t n = 0;
    vorn_result r = vorn_obld_get_lost_objects_rect(get(), rects, &n);
    py::list out;
    if (r == VORN_E_NO_RESULT) return out;
    check(r, "reading the lost objects");
    for (uint32_t i = 0; i < n && i < 32; ++i) out.append(rect_out(rects[i]));
    return out;
  }

  template <vorn_result (*Get)(vorn_obld *, vorn_mono_image **)>
  py::object mono() const {
    InUse u(busy_, kind_);
    vorn_mono_image *m = nullptr;
    check(Get(get(), &m), "reading a mask");
    if (!m || !m->data) return py::none();
    return copy_u8(m->data, {py::ssize_t(m->height), py::ssize_t(m->width)});
  }

  py::object outline() const {
    InUse u(busy_, kind_);
    vorn_mono_image *m = nullptr;
    uint32_t n = 0;
    check(vorn_obld_get_lost_objects_contour(get(), &m, &n), "reading the outlines");
    if (!m || !m->data) return py::none();
    return copy_u8(m->data, {py::ssize_t(m->height), py::ssize_t(m->width)});
  }

  template <vorn_result (*Set)(vorn_obld *, uint32_t)>
  void setter(uint32_t value) {
    InUse u(busy_, kind_);
    check(Set(get(), value), "setting the detector");
  }

  void clear() {
    InUse u(busy_, kind_);
    check(vorn_obld_clear_lost_objects(get()), "clearing the lost objects");
  }

  uint32_t width_ = 0, height_ = 0;

 private:
  std::vector<uint8_t> first_, scratch_;
  py::object first_keep_;
  uint32_t type_ = 0;
};

py::list line_region(py::handle line, int32_t half_width, py::object frame_size) {
  vorn_line l = line_of(line, "line");
  vorn_point pts[9];
  int32_t n = 0;
  vorn_size size{};
  const vorn_size *sp = nullptr;
  if (!frame_size.is_none()) {
    vorn_point s = point_of(frame_size, "frame_size");
    size = vorn_size{s.x, s.y};
    sp = &size;
  }
  vorn_get_line_region(l, pts, &n, half_width, sp);
  py::list out;
  for (int32_t i = 0; i < n && i < 9; ++i) out.append(point_out(pts[i].x, pts[i].y));
  return out;
}

}  // namespace

void bind_analytics(py::module_ &m) {
  py::class_<Guard> g(m, "Guard", R"(Reports moving things that cross a guard line, and in which direction.

Call set_lines() once, then process() per frame and read event, traces() and foreground() before the next.
foreground() is a read-only view valid until the next frame; traces() and the lines are copies.)");
  g.def(py::init<uint32_t, uint32_t, uint32_t, uint32_t>(), py::arg("width"), py::arg("height"),
        py::arg("bk_type") = 2, py::arg("format") = VORN_FORMAT_RGB)
      .def("set_lines", &Guard::set_lines, py::arg("guard_line"), py::arg("direction_line"),
           py::arg("half_width") = 40,
           "The watched segment, the segment giving the guarded direction, and the band's half width.")
      .def("set_mask", &Guard::set_mask, py::arg("mask"), "Replaces the model's region mask (0 = not watched).")
      .def("process", &Guard::process, py::arg("frame"), py::arg("bgr") = false,
           "Feeds one frame. Returns Status.OK, LEARNING or SCENE_CHANGE.")
      .def("set_model_param", &Guard::set_model_param, py::arg("id"), py::arg("value"),
           "Sets a parameter of the guard's background model (as BackgroundModel.set_param).")
      .def_property_readonly("event", &Guard::event, "GuardEvent of the current episode (NONE, TRIGGER, CROSS).")
      .def("traces", &Guard::traces, "The followed features' traces (list of Trace, at most 8).")
      .def("foreground", &Guard::foreground, "The foreground mask, a read-only view valid until the next frame.")
      .def_property_readonly("guard_line", &Guard::guard_line)
      .def_property_readonly("direction_line", &Guard::direction_line)
      .def_readonly("width", &Guard::width_)
      .def_readonly("height", &Guard::height_);
  bind_owner<Guard>(g);

  py::class_<Counter> c(m, "Counter", R"(Counts passes between two areas, in each direction, from foreground masks.

Areas are sequences of (x, y) points (closed automatically). process() takes one H x W mask per frame.)");
  c.def(py::init<uint32_t, uint32_t, py::handle, py::handle, uint32_t, uint32_t, bool, bool>(), py::arg("width"),
        py::arg("height"), py::arg("area0"), py::arg("area1"), py::arg("sensitivity") = 10, py::arg("max_frame") = 0,
        py::arg("logic") = false, py::arg("start") = true)
      .def("set_area", &Counter::set_area, py::arg("index"), py::arg("points"))
      .def(
          "clear_area",
          [](Counter &self, uint32_t index) { check(vorn_counter_clear_area(self.handle(), index), "clearing"); },
          py::arg("index"), "Empties an area (an empty area counts as always occupied).")
      .def("set_sensitivity", &Counter::setter<vorn_counter_set_sensitivity>, py::arg("value"))
      .def("set_max_frame", &Counter::setter<vorn_counter_set_max_frame>, py::arg("value"))
      .def("set_logic", &Counter::setter<vorn_counter_set_logic>, py::arg("value"))
      .def("start", [](Counter &self) { check(vorn_counter_start(self.handle()), "starting"); })
      .def("stop", [](Counter &self) { check(vorn_counter_stop(self.handle()), "stopping"); })
      .def("reset_count", [](Counter &self) { check(vorn_counter_reset_count(self.handle()), "resetting"); })
      .def("process", &Counter::process, py::arg("mask"),
           "One frame's mask. Returns Status.OK, or NO_RESULT while stopped.")
      .def_property_readonly("counts",
                             [](const Counter &self) {
                               return py::make_tuple(vorn_counter_get_count(self.handle(), 0),
                                                     vorn_counter_get_count(self.handle(), 1));
                             },
                             "(passes from area 0 to 1, passes from 1 to 0)")
      .def_property_readonly("event", [](const Counter &self) { return vorn_counter_get_event(self.handle()); },
                             "1 when count 0 grew on the last frame, else 2 when count 1 grew, else 0.")
      .def("area_mask",
           [](const Counter &self) {
             return copy_u8(vorn_counter_get_mask(self.handle()),
                            {py::ssize_t(self.height_), py::ssize_t(self.width_)});
           },
           "The areas as an H x W mask (bit 0 area 0, bit 1 area 1), a copy.");
  bind_owner<Counter>(c);

  py::class_<LeftObjectDetector> o(m, "LeftObjectDetector", R"(Finds objects left in (or taken from) a region.

The first frame is the reference background; later frames must have its size and layout (bitmap rows or 4:2:2).
The masks it returns are copies.)");
  o.def(py::init<py::handle, py::handle, uint32_t, uint32_t, uint32_t, bool>(), py::arg("first_frame"),
        py::arg("region"), py::arg("sensitivity") = 30, py::arg("learn_frames") = 0, py::arg("frame_threshold") = 50,
        py::arg("bgr") = false)
      .def("process", &LeftObjectDetector::process, py::arg("frame"), py::arg("bgr") = false,
           "Feeds one frame. Returns Status.OK, LEARNING (relearning) or SCENE_CHANGE.")
      .def("lost_objects", &LeftObjectDetector::lost_objects, "Rectangles of the lost objects (list of Rect).")
      .def("outline", &LeftObjectDetector::outline, "A mask of the lost objects' outlines (a copy).")
      .def("foreground", &LeftObjectDetector::mono<vorn_obld_get_fg>, "The filtered foreground (a copy).")
      .def("region_mask", &LeftObjectDetector::mono<vorn_obld_get_mask>, "The region mask (a copy).")
      .def("clear_lost_objects", &LeftObjectDetector::clear, "Relearns the background from the next frame on.")
      .def("set_frame_threshold", &LeftObjectDetector::setter<vorn_obld_set_frame_threshold>, py::arg("frames"))
      .def("set_bk_frame_interval", &LeftObjectDetector::setter<vorn_obld_set_bk_frame_interval>,
           py::arg("frames"))
      .def("enable_scenecut", &LeftObjectDetector::setter<vorn_obld_enable_scenecut>, py::arg("enable"))
      .def_readonly("width", &LeftObjectDetector::width_)
      .def_readonly("height", &LeftObjectDetector::height_);
  bind_owner<LeftObjectDetector>(o);

  m.def("line_region", &line_region, py::arg("line"), py::arg("half_width"), py::arg("frame_size") = py::none(),
        "The band of half width around a line, clipped to frame_size (width, height), as a closed list of Point.");
  m.def(
      "point_in_region",
      [](py::handle p, py::handle region) {
        std::vector<vorn_point> pts = points_of(region, "region", true);
        return vorn_pt_in_region(point_of(p, "point"), pts.data(), int32_t(pts.size())) == 1;
      },
      py::arg("point"), py::arg("region"), "Whether the point lies inside the polygon or on its boundary.");
}

}  // namespace vp
