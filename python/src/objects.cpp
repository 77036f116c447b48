// Objects from masks: ObjectMaker, contour tracing, histograms, back-projection and moments.
#include <cstring>

#include "common.h"
#include "names.h"

namespace vp {

namespace {

const Name kModes[] = {{"block", 0}, {"contour", 1}};

py::array points_array(const vorn_point *pts, uint32_t n) {
  py::array_t<int32_t> a({py::ssize_t(n), py::ssize_t(2)});
  if (n) std::memcpy(a.mutable_data(), pts, size_t(n) * sizeof(vorn_point));
  return a;
}

class ObjectMaker : public Owner<vorn_obj_maker> {
 public:
  ObjectMaker(uint32_t width, uint32_t height, uint32_t max_objects, py::handle mode) : Owner("object maker") {
    vorn_obj_maker_params p{width, height, max_objects, lookup(mode, kModes, "mode")};
    create(vorn_obj_maker_create, p, vorn_obj_maker_destroy, "creating the object maker");
    width_ = width;
    height_ = height;
  }

  py::list process(py::handle mask) {
    vorn_mono_image m = mono_of(mask, "mask");
    same_size(m.width, m.height, width_, height_, "mask");
    InUse u(busy_, kind_);
    vorn_obj_maker *o = get();
    vorn_result r;
    {
      py::gil_scoped_release nogil;
      r = vorn_obj_maker_process(o, &m);
    }
    check(r, "extracting objects");
    return objects();
  }

  py::list objects() const {
    vorn_obj *objs = nullptr;
    uint32_t n = 0;
    check(vorn_obj_maker_get_obj(get(), &objs, &n), "reading the objects");
    py::list out;
    for (uint32_t i = 0; i < n; ++i) {
      const vorn_obj &b = objs[i];
      out.append(types().blob(rect_out(vorn_rect{b.left, b.top, b.right, b.bottom}), point_out(b.cx, b.cy),
                              points_array(b.points, b.points ? b.point_count : 0)));
    }
    return out;
  }

  py::list adjust(py::handle mask) {
    vorn_mono_image m = mono_of(mask, "mask");
    same_size(m.width, m.height, width_, height_, "mask");
    InUse u(busy_, kind_);
    check(vorn_obj_maker_adjust_rect(get(), &m), "adjusting the rectangles");
    return objects();
  }

  py::list histograms(py::handle image, py::object mask) {
    vorn_image img = image_of(image, "image", 0);
    same_size(img.width, img.height, width_, height_, "image");
    vorn_mono_image mk{};
    if (!mask.is_none()) mk = mono_of(mask, "mask");
    InUse u(busy_, kind_);
    check(vorn_obj_maker_calculate_hist(get(), &img, mask.is_none() ? nullptr : &mk), "histograms");
    vorn_obj *objs = nullptr;
    uint32_t n = 0;
    check(vorn_obj_maker_get_obj(get(), &objs, &n), "reading the objects");
    py::list out;
    for (uint32_t i = 0; i < n; ++i) {
      const vorn_histogram *h = objs[i].hist;
      py::array_t<uint32_t> a(py::ssize_t(h ? h->n : 0));
      if (h) std::memcpy(a.mutable_data(), h->bins, size_t(h->n) * 4);
      out.append(a);
    }
    return out;
  }

  uint32_t cell() const {
    uint32_t w = 0;
    check(vorn_obj_maker_get_block_width(get(), &w), "reading the cell size");
    return w;
  }

  uint32_t width_ = 0, height_ = 0;
};

py::list find_contours(py::handle mask) {
  vorn_mono_image m = mono_of(mask, "mask");
  vorn_size size{int32_t(m.width), int32_t(m.height)};
  vorn_contour *c = nullptr;
  vorn_result r = vorn_contour_create(&size, &c);
  std::unique_ptr<vorn_contour, vorn_result (*)(vorn_contour *)> own(c, vorn_contour_destroy);
  check(r, "creating the tracer");
  check(vorn_contour_start(c, &m), "loading the mask");
  py::list out;
  vorn_contour_info info;
  while ((r = vorn_contour_next(c, &info)) == VORN_OK)
    out.append(types().contour(points_array(info.points, info.count), info.is_hole != 0));
  if (r != VORN_E_NO_RESULT) check(r, "tracing");
  return out;
}

struct HistogramPtr {
  explicit HistogramPtr(uint32_t bins) : h(vorn_histogram_alloc(bins)) {
    if (!h) throw py::value_error("bins must be 1..256");
  }
  ~HistogramPtr() { vorn_histogram_free(h); }
  vorn_histogram *h;
};

vorn_rect whole_or(py::object rect, const vorn_mono_image &m) {
  return rect.is_none() ? vorn_rect{0, 0, int32_t(m.width), int32_t(m.height)} : rect_of(rect, "rect");
}

py::array histogram(py::handle image, uint32_t bins, py::object rect, py::object mask) {
  vorn_mono_image img = mono_of(image, "image"), mk{};
  if (!mask.is_none()) mk = mono_of(mask, "mask");
  HistogramPtr h(bins);
  vorn_rect r = whole_or(rect, img);
  check(vorn_histogram_caculate(&img, h.h, &r, mask.is_none() ? nullptr : &mk), "histogram");
  py::array_t<uint32_t> out(py::ssize_t(h.h->n));
  std::memcpy(out.mutable_data(), h.h->bins, size_t(h.h->n) * 4);
  return out;
}

py::array back_project(py::handle image, py::handle hist, py::object rect, py::object mask) {
  vorn_mono_image img = mono_of(image, "image"), mk{};
  if (!mask.is_none()) mk = mono_of(mask, "mask");
  py::array_t<uint32_t, py::array::c_style | py::array::forcecast> bins =
      py::array_t<uint32_t, py::array::c_style | py::array::forcecast>::ensure(hist);
  if (!bins || bins.ndim() != 1) throw py::value_error("hist must be a 1-D array of bin counts");
  HistogramPtr h(uint32_t(bins.size()));
  std::memcpy(h.h->bins, bins.data(), size_t(bins.size()) * 4);
  py::array_t<uint32_t> out({py::ssize_t(img.height), py::ssize_t(img.width)});
  std::memset(out.mutable_data(), 0, size_t(out.size()) * 4);
  vorn_backproject bp{img.width, img.height, out.mutable_data()};
  vorn_rect r = whole_or(rect, img);
  check(vorn_backproject_calculate(&img, h.h, &bp, &r, mask.is_none() ? nullptr : &mk), "back-projection");
  return out;
}

py::object moments(py::handle values, py::object rect) {
  py::array_t<uint32_t, py::array::c_style | py::array::forcecast> a =
      py::array_t<uint32_t, py::array::c_style | py::array::forcecast>::ensure(values);
  if (!a || a.ndim() != 2) throw py::value_error("values must be a 2-D array (a back-projection or a mask)");
  vorn_backproject bp{uint32_t(a.shape(1)), uint32_t(a.shape(0)), const_cast<uint32_t *>(a.data())};
  vorn_rect r = rect.is_none() ? vorn_rect{0, 0, int32_t(bp.width), int32_t(bp.height)} : rect_of(rect, "rect");
  vorn_moments mo{};
  check(vorn_moments_calculate(&bp, &mo, &r), "moments");
  return types().moments(mo.m00, mo.m10, mo.m01, mo.m20, mo.m11, mo.m02, mo.m30, mo.m21, mo.m12, mo.m03, mo.mu20,
                         mo.mu11, mo.mu02, mo.mu30, mo.mu21, mo.mu12, mo.mu03, mo.inv_sqrt_m00);
}

}  // namespace

void bind_objects(py::module_ &m) {
  py::class_<ObjectMaker> o(m, "ObjectMaker", R"(Objects (connected regions) from foreground masks.

mode 'block' (0) groups occupied 4 x 4 cells; 'contour' (1) follows the outer borders of regions. process()
returns the objects as a list of Blob (copies).)");
  o.def(py::init<uint32_t, uint32_t, uint32_t, py::handle>(), py::arg("width"), py::arg("height"),
        py::arg("max_objects") = 64, py::arg("mode") = "block")
      .def("process", &ObjectMaker::process, py::arg("mask"), "The objects of one mask (list of Blob).")
      .def("objects", &ObjectMaker::objects, "The objects of the last mask.")
      .def("adjust_rects", &ObjectMaker::adjust, py::arg("mask"),
           "Re-centres every object on its mask pixels and returns the objects.")
      .def("histograms", &ObjectMaker::histograms, py::arg("image"), py::arg("mask") = py::none(),
           "Adds each object's rectangle of plane 0 to its 32-bin histogram; returns the histograms (copies).")
      .def_property_readonly("cell_size", &ObjectMaker::cell, "4 in block mode, 1 in contour mode.")
      .def_readonly("width", &ObjectMaker::width_)
      .def_readonly("height", &ObjectMaker::height_);
  bind_owner<ObjectMaker>(o);

  m.def("find_contours", &find_contours, py::arg("mask"),
        "Outer borders and hole borders of a mask's regions (odd values are foreground), list of Contour.");
  m.def("histogram", &histogram, py::arg("image"), py::arg("bins") = 32, py::arg("rect") = py::none(),
        py::arg("mask") = py::none(), "Grey-level histogram of a rectangle (uint32 counts).");
  m.def("back_project", &back_project, py::arg("image"), py::arg("hist"), py::arg("rect") = py::none(),
        py::arg("mask") = py::none(), "Each pixel's bin count, H x W uint32.");
  m.def("moments", &moments, py::arg("values"), py::arg("rect") = py::none(),
        "Raw and central moments of a 2-D array inside rect.");
}

}  // namespace vp
