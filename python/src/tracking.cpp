// Tracking: Tracker, Kalman, CamShift and MeanShift, pyramids, corners, optical flow.
#include <cstring>

#include "common.h"
#include "names.h"

namespace vp {

namespace {

class Tracker : public StreamOwner<vorn_tracker> {
 public:
  Tracker(uint32_t width, uint32_t height, uint32_t bk_type, uint32_t format)
      : StreamOwner("tracker", width, height) {
    vorn_tracker_params p{width, height, format, bk_type};
    create(vorn_tracker_create, p, vorn_tracker_destroy, "creating the tracker");
  }

  py::object process(py::handle frame, bool bgr) {
    return status_of(feed(frame, bgr, vorn_tracker_process), "processing the frame");
  }

  py::list objects() const {
    InUse u(busy_, kind_);
    vorn_tracker_obj *objs = nullptr;
    uint32_t n = 0;
    check(vorn_tracker_get_objs(get(), &objs, &n), "reading the tracks");
    py::list out;
    for (uint32_t i = 0; i < n; ++i)
      out.append(types().tracked(objs[i].id, rect_out(vorn_rect{objs[i].left, objs[i].top, objs[i].right, objs[i].bottom}),
                                 point_out(objs[i].cx, objs[i].cy)));
    return out;
  }

  py::object foreground() const { return mask_view(vorn_tracker_get_fg); }

  void set_model_param(py::handle id, uint32_t value) {
    vorn_bk_model *m = nullptr;
    vorn_bk_model_vtable *ops = nullptr;
    InUse u(busy_, kind_);
    check(vorn_tracker_get_bk_model(get(), &m, &ops), "reading the model");
    check(ops->set_param(m, value, lookup(id, kParamNames, "parameter id")), "setting the parameter");
  }
};

// --- Kalman ---

using MatrixGet = vorn_result (*)(vorn_kalman *, vorn_matrix **);
using MatrixSet = vorn_result (*)(vorn_kalman *, const vorn_matrix *);

py::array matrix_copy(const vorn_matrix *m) {
  if (!m) return py::array_t<float>(std::vector<py::ssize_t>{0, 0});
  py::array_t<float> a({py::ssize_t(m->rows), py::ssize_t(m->cols)});
  std::memcpy(a.mutable_data(), m->data, size_t(m->rows) * m->cols * sizeof(float));
  return a;
}

// A float32 array of the given shape (a 1-D array stands for a column) as a matrix record.
using F32 = py::array_t<float, py::array::c_style | py::array::forcecast>;
vorn_matrix matrix_of(const F32 &a, const char *name) {
  if (a.ndim() == 1) return vorn_matrix{int32_t(a.shape(0)), 1, const_cast<float *>(a.data())};
  if (a.ndim() != 2) throw py::value_error(std::string(name) + " must be a 1-D or 2-D array");
  return vorn_matrix{int32_t(a.shape(0)), int32_t(a.shape(1)), const_cast<float *>(a.data())};
}

class Kalman : public Owner<vorn_kalman> {
 public:
  Kalman(uint32_t n, uint32_t m, uint32_t c) : Owner("Kalman filter") {
    vorn_kalman_params p{n, m, c};
    create(vorn_kalman_create, p, vorn_kalman_destroy, "creating the filter");
  }

  py::array predict(py::object control) {
    InUse u(busy_, kind_);
    if (control.is_none()) {
      check(vorn_kalman_predict(get(), nullptr), "predicting");
    } else {
      F32 a = F32::ensure(control);
      if (!a) throw py::type_error("control must be an array of numbers");
      vorn_matrix cm = matrix_of(a, "control");
      check(vorn_kalman_predict(get(), &cm), "predicting");
    }
    return state<vorn_kalman_get_predict_state>();
  }

  py::array correct(py::handle measurement) {
    F32 a = F32::ensure(measurement);
    if (!a) throw py::type_error("measurement must be an array of numbers");
    vorn_matrix z = matrix_of(a, "measurement");
    InUse u(busy_, kind_);
    check(vorn_kalman_correct(get(), &z), "correcting");
    return state<vorn_kalman_get_prior_state>();
  }

  template <MatrixGet Get>
  py::array state() const {
    vorn_matrix *m = nullptr;
    check(Get(get(), &m), "reading the state");
    py::array a = matrix_copy(m);
    return a.attr("reshape")(-1);
  }

  template <MatrixGet Get>
  py::array matrix() const {
    vorn_matrix *m = nullptr;
    check(Get(get(), &m), "reading a matrix");
    return matrix_copy(m);
  }

  template <MatrixSet Set>
  void set_matrix(py::handle value) {
    F32 a = F32::ensure(value);
    if (!a) throw py::type_error("a matrix must be an array of numbers");
    vorn_matrix m = matrix_of(a, "matrix");
    InUse u(busy_, kind_);
    check(Set(get(), &m), "setting a matrix");
  }
};

// --- mean shift ---

// Plane 0 of a planar image, or a grey H x W image (then all three plane pointers are the grey plane).
struct Plane0 {
  vorn_image img;
  py::object keep;
};
Plane0 plane0(py::handle obj, const char *name) {
  Plane0 p;
  p.keep = py::reinterpret_borrow<py::object>(obj);
  if (py::isinstance<py::array>(obj) && py::reinterpret_borrow<py::array>(obj).ndim() == 2) {
    vorn_mono_image m = mono_of(obj, name);
    p.img = vorn_image{0, m.width, m.height, {m.data, m.data, m.data}};
  } else {
    p.img = image_of(obj, name, 0);
  }
  return p;
}

class CamShift : public Owner<vorn_camshift> {
 public:
  CamShift(py::handle image, py::handle window, py::object mask) : Owner("CAM-shift tracker") {
    Plane0 p = plane0(image, "image");
    vorn_mono_image mk{};
    if (!mask.is_none()) mk = mono_of(mask, "mask");
    vorn_rect w = rect_of(window, "window");
    vorn_camshift_params prm{&p.img, mask.is_none() ? nullptr : &mk, w.left, w.top, w.right, w.bottom};
    create(vorn_camshift_create, prm, vorn_camshift_destroy, "creating the tracker");
    window_ = vorn_rect{prm.left, prm.top, prm.right, prm.bottom};
  }

  py::object update(py::handle image, py::object mask) {
    Plane0 p = plane0(image, "image");
    vorn_mono_image mk{};
    if (!mask.is_none()) mk = mono_of(mask, "mask");
    vorn_camshift_params prm{&p.img, mask.is_none() ? nullptr : &mk, window_.left, window_.top, window_.right,
                             window_.bottom};
    InUse u(busy_, kind_);
    vorn_camshift *c = get();
    vorn_result r;
    {
      py::gil_scoped_release nogil;
      r = vorn_camshift_update(c, &prm);
    }
    check(r, "tracking");
    window_ = vorn_rect{prm.left, prm.top, prm.right, prm.bottom};
    return rect_out(window_);
  }

  vorn_rect window_{};
};

class MeanShift : public Owner<vorn_meanshift> {
 public:
  MeanShift(py::handle image, py::handle window) : Owner("mean-shift tracker") {
    Plane0 p = plane0(image, "image");
    vorn_rect w = rect_of(window, "window");
    vorn_meanshift_params prm{&p.img, nullptr, w.left, w.top, w.right, w.bottom};
    create(vorn_meanshift_create, prm, vorn_meanshift_destroy, "creating the tracker");
  }

  py::object update(py::handle image) {
    Plane0 p = plane0(image, "image");
    vorn_meanshift_params prm{&p.img, nullptr, 0, 0, 0, 0};
    InUse u(busy_, kind_);
    vorn_meanshift *ms = get();
    vorn_result r;
    {
      py::gil_scoped_release nogil;
      r = vorn_meanshift_update(ms, &prm);
    }
    if (r == VORN_E_NO_RESULT) return py::none();
    check(r, "tracking");
    return rect_out(vorn_rect{prm.left, prm.top, prm.right, prm.bottom});
  }
};

// --- pyramids, corners, flow ---

py::list pyramid(py::handle image, uint32_t levels) {
  vorn_pyramid *p = nullptr;
  bool mono = py::isinstance<py::array>(image) && py::reinterpret_borrow<py::array>(image).ndim() == 2;
  vorn_result r;
  if (mono) {
    vorn_mono_image m = mono_of(image, "image");
    r = vorn_pyramid_create_mono_image(&m, &p, levels);
  } else {
    vorn_image img = image_of(image, "image", 0);
    r = vorn_pyramid_create(&img, &p, levels);
  }
  std::unique_ptr<vorn_pyramid, void (*)(vorn_pyramid *)> own(p, vorn_pyramid_destroy);
  check(r, "building the pyramid");
  uint32_t n = 0;
  check(vorn_pyramid_get_level(p, &n), "reading the levels");
  py::list out;
  for (uint32_t i = 0; i < n; ++i) {
    if (mono) {
      vorn_mono_image *m = nullptr;
      check(vorn_pyramid_get_mono_image(p, i, &m), "reading a level");
      out.append(copy_u8(m->data, {py::ssize_t(m->height), py::ssize_t(m->width)}));
    } else {
      vorn_image *img = nullptr;
      check(vorn_pyramid_get_image(p, i, &img), "reading a level");
      vorn_image o;
      py::array a = new_image(img->width, img->height, img->format, &o);
      for (int k = 0; k < 3; ++k) std::memcpy(o.plane[k], img->plane[k], size_t(img->width) * img->height);
      out.append(a);
    }
  }
  return out;
}

py::array good_features(py::handle image, uint32_t max_corners, uint32_t min_distance, py::object mask,
                        uint32_t format) {
  vorn_image img = image_of(image, "image", format);
  vorn_mono_image mk{};
  if (!mask.is_none()) mk = mono_of(mask, "mask");
  std::vector<vorn_point> pts(max_corners ? max_corners : 1);
  uint32_t n = max_corners;
  vorn_result r;
  {
    py::gil_scoped_release nogil;
    r = vorn_good_feature_to_track(&img, min_distance, pts.data(), &n, mask.is_none() ? nullptr : &mk, nullptr);
  }
  check(r, "finding corners");
  py::array_t<int32_t> out({py::ssize_t(n), py::ssize_t(2)});
  if (n) std::memcpy(out.mutable_data(), pts.data(), size_t(n) * sizeof(vorn_point));
  return out;
}

py::tuple optical_flow(py::handle prev, py::handle cur, py::handle points, int32_t win_half, int32_t max_iter,
                       uint32_t levels) {
  vorn_mono_image a = mono_of(prev, "prev"), b = mono_of(cur, "cur");
  same_size(a.width, a.height, b.width, b.height, "optical_flow");
  F32 pts = F32::ensure(points);
  if (!pts || pts.ndim() != 2 || pts.shape(1) != 2) throw py::value_error("points must be an N x 2 array");
  const uint32_t n = uint32_t(pts.shape(0));
  py::array_t<float> out({py::ssize_t(n), py::ssize_t(2)});
  std::vector<uint32_t> status(n);
  vorn_pyramid *pa = nullptr, *pb = nullptr;
  if (levels) {
    check(vorn_pyramid_create_mono_image(&a, &pa, levels), "building a pyramid");
    vorn_result r = vorn_pyramid_create_mono_image(&b, &pb, levels);
    if (r != VORN_OK) vorn_pyramid_destroy(pa);
    check(r, "building a pyramid");
  }
  std::unique_ptr<vorn_pyramid, void (*)(vorn_pyramid *)> own_a(pa, vorn_pyramid_destroy), own_b(pb, vorn_pyramid_destroy);
  const vorn_point2f *src = reinterpret_cast<const vorn_point2f *>(pts.data());
  vorn_point2f *dst = reinterpret_cast<vorn_point2f *>(out.mutable_data());
  vorn_result r;
  {
    py::gil_scoped_release nogil;
    r = levels ? vorn_opticalflow_pyr_lk(&a, &b, pa, pb, src, dst, status.data(), n, win_half, max_iter)
               : vorn_opticalflow_lk(&a, &b, src, dst, status.data(), n, win_half, max_iter);
  }
  check(r, "optical flow");
  py::array_t<bool> found{py::ssize_t(n)};
  for (uint32_t i = 0; i < n; ++i) found.mutable_data()[i] = status[i] == VORN_FLOW_FOUND;
  return py::make_tuple(out, found);
}

}  // namespace

void bind_tracking(py::module_ &m) {
  py::class_<Tracker> t(m, "Tracker", R"(Follows up to 32 moving objects. objects() returns the live tracks
(copies); foreground() is a read-only view valid until the next frame.)");
  t.def(py::init<uint32_t, uint32_t, uint32_t, uint32_t>(), py::arg("width"), py::arg("height"),
        py::arg("bk_type") = 2, py::arg("format") = VORN_FORMAT_RGB)
      .def("process", &Tracker::process, py::arg("frame"), py::arg("bgr") = false,
           "Feeds one frame. Returns Status.OK, LEARNING or SCENE_CHANGE.")
      .def("objects", &Tracker::objects, "The live tracks (list of TrackedObject).")
      .def("foreground", &Tracker::foreground)
      .def("set_model_param", &Tracker::set_model_param, py::arg("id"), py::arg("value"),
           "Sets a parameter of the tracker's background model (as BackgroundModel.set_param).")
      .def_readonly("width", &Tracker::width_)
      .def_readonly("height", &Tracker::height_);
  bind_owner<Tracker>(t);

  py::class_<Kalman> k(m, "Kalman", R"(A linear Kalman filter (float32 matrices, copied in and out).)");
  k.def(py::init<uint32_t, uint32_t, uint32_t>(), py::arg("state_dim"), py::arg("measure_dim"),
        py::arg("control_dim") = 0)
      .def("predict", &Kalman::predict, py::arg("control") = py::none(), "x' = A x (+ B u); returns x'.")
      .def("correct", &Kalman::correct, py::arg("measurement"), "Corrects with z; returns the corrected x.")
      .def_property("transition", &Kalman::matrix<vorn_kalman_get_transition_matrix>,
                    &Kalman::set_matrix<vorn_kalman_set_transition_matrix>)
      .def_property("measurement_matrix", &Kalman::matrix<vorn_kalman_get_measurement_matrix>,
                    &Kalman::set_matrix<vorn_kalman_set_measurement_matrix>)
      .def_property("control_matrix", &Kalman::matrix<vorn_kalman_get_control_matrix>,
                    &Kalman::set_matrix<vorn_kalman_set_control_matrix>)
      .def_property("process_noise", &Kalman::matrix<vorn_kalman_get_process_noise_covariance>,
                    &Kalman::set_matrix<vorn_kalman_set_process_noise_covariance>)
      .def_property("measurement_noise", &Kalman::matrix<vorn_kalman_get_measurement_noise_covariance>,
                    &Kalman::set_matrix<vorn_kalman_set_measurement_noise_covariance>)
      .def_property("state", &Kalman::state<vorn_kalman_get_prior_state>,
                    &Kalman::set_matrix<vorn_kalman_set_prior_state>, "The last corrected state.")
      .def_property("predicted_state", &Kalman::state<vorn_kalman_get_predict_state>,
                    &Kalman::set_matrix<vorn_kalman_set_predict_state>)
      .def_property("error_covariance", &Kalman::matrix<vorn_kalman_get_prior_error_covariance>,
                    &Kalman::set_matrix<vorn_kalman_set_prior_error_covariance>)
      .def_property("predicted_error_covariance", &Kalman::matrix<vorn_kalman_get_predict_error_covariance>,
                    &Kalman::set_matrix<vorn_kalman_set_predict_error_covariance>);
  bind_owner<Kalman>(k);

  py::class_<CamShift> cs(m, "CamShift", R"(CAM-shift tracking of plane 0 of a planar image (or of a grey image).)");
  cs.def(py::init<py::handle, py::handle, py::object>(), py::arg("image"), py::arg("window"),
         py::arg("mask") = py::none())
      .def("update", &CamShift::update, py::arg("image"), py::arg("mask") = py::none(),
           "One frame; returns the new window (all zero once the object is lost).")
      .def_property_readonly("window", [](const CamShift &c) { return rect_out(c.window_); });
  bind_owner<CamShift>(cs);

  py::class_<MeanShift> ms(m, "MeanShift", R"(Kernel mean-shift tracking of plane 0 (or of a grey image).)");
  ms.def(py::init<py::handle, py::handle>(), py::arg("image"), py::arg("window"))
      .def("update", &MeanShift::update, py::arg("image"), "One frame; the window, or None when it did not settle.");
  bind_owner<MeanShift>(ms);

  m.def("pyramid", &pyramid, py::arg("image"), py::arg("levels") = 3,
        "Gaussian pyramid levels (copies) of a grey or planar image, half size first.");
  m.def("good_features", &good_features, py::arg("image"), py::arg("max_corners") = 100,
        py::arg("min_distance") = 10, py::arg("mask") = py::none(), py::arg("format") = VORN_FORMAT_RGB,
        "Strongest well-separated corners, N x 2 int32 (x, y), strongest first.");
  m.def("optical_flow", &optical_flow, py::arg("prev"), py::arg("cur"), py::arg("points"), py::arg("win_half") = 10,
        py::arg("max_iter") = 10, py::arg("levels") = 3,
        "Lucas-Kanade tracking of N x 2 float points between two grey frames (pyramidal when levels > 0); "
        "returns (new points N x 2 float32, found N bool).");
}

}  // namespace vp
