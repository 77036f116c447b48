// Recognition and recording: PlateReader, Network (the back-propagation network), TrajectoryRecorder.
#include <cstring>

#include "common.h"

namespace vp {

namespace {

using F64 = py::array_t<double, py::array::c_style | py::array::forcecast>;

class PlateReader : public StreamOwner<vorn_plate> {
 public:
  PlateReader(uint32_t width, uint32_t height, py::object weights_dir, uint32_t min_h, uint32_t max_h)
      : StreamOwner("plate reader", width, height) {
    std::string dir = weights_dir.is_none() ? "" : py::cast<std::string>(py::str(weights_dir));
    vorn_plate_params p{width, height, weights_dir.is_none() ? nullptr : dir.c_str(), min_h, max_h};
    create(vorn_plate_create, p, vorn_plate_destroy, "creating the plate reader");
  }

  py::object process(py::handle frame, bool bgr) {
    vorn_plate_info info{};
    vorn_result r = feed(frame, bgr, [&info](vorn_plate *pl, uint8_t *p, uint32_t type) {
      vorn_result res = vorn_plate_process(pl, p, type);
      return res == VORN_OK ? vorn_plate_get_info(pl, &info) : res;
    });
    if (r == VORN_E_NO_RESULT) return py::none();
    check(r, "reading the plate");
    py::tuple conf(VORN_PLATE_CHARS);
    for (int i = 0; i < VORN_PLATE_CHARS; ++i) conf[size_t(i)] = double(info.confidence[i]);
    return types().plate(std::string(info.text), conf, rect_out(info.rect), double(info.angle), double(info.score));
  }

  void debug_images(const std::string &dir) {
    InUse u(busy_, kind_);
    check(vorn_plate_get_debug_image(get(), dir.c_str()), "saving the debug images");
  }
};

class Network : public Owner<vorn_bpnn> {
 public:
  Network(uint32_t n_in, uint32_t n_hidden, uint32_t n_out, double eta, double momentum)
      : Owner("network"), n_in_(n_in), n_out_(n_out) {
    if (!n_in || !n_hidden || !n_out) throw py::value_error("unit counts must not be 0");
    vorn_bpnn_params p{momentum, eta, n_in, n_hidden, n_out, 0};
    create(vorn_bpnn_create, p, vorn_bpnn_destroy, "creating the network");
    n_hidden_ = n_hidden;
  }

  F64 vector(py::handle v, uint32_t n, const char *name) {
    F64 a = F64::ensure(v);
    if (!a || a.ndim() != 1 || uint32_t(a.shape(0)) != n)
      throw py::value_error(std::string(name) + " must be a 1-D array of " + std::to_string(n) + " numbers");
    return a;
  }

  py::tuple train(py::handle input, py::handle target) {
    F64 x = vector(input, n_in_, "input"), t = vector(target, n_out_, "target");
    double he = 0, oe = 0;
    InUse u(busy_, kind_);
    check(vorn_bpnn_train(get(), x.data(), t.data(), &he, &oe), "training");
    return py::make_tuple(he, oe);
  }

  py::array recognize(py::handle input) {
    F64 x = vector(input, n_in_, "input");
    py::array_t<double> out{py::ssize_t(n_out_)};
    InUse u(busy_, kind_);
    check(vorn_bpnn_recognize(get(), x.data(), out.mutable_data()), "recognising");
    return out;
  }

  void load(const std::string &path) {
    InUse u(busy_, kind_);
    check(vorn_bpnn_load_weight(get(), path.c_str()), "loading the weights");
  }
  void save(const std::string &path) {
    InUse u(busy_, kind_);
    check(vorn_bpnn_save_weight(get(), path.c_str()), "saving the weights");
  }

  uint32_t n_in_, n_out_, n_hidden_ = 0;
};

class TrajectoryRecorder : public StreamOwner<vorn_vbc> {
 public:
  TrajectoryRecorder(uint32_t width, uint32_t height, uint32_t frame_type, uint32_t max_points,
                     uint32_t max_trajectories, uint32_t max_positions, uint32_t min_length, uint32_t min_distance,
                     uint32_t max_jump, uint32_t motion_threshold)
      : StreamOwner("recorder", width, height) {
    vorn_vbc_params p{width,      height,       frame_type,  max_points,      max_trajectories,
                      max_positions, min_length, min_distance, max_jump, motion_threshold};
    create(vorn_vbc_create, p, vorn_vbc_destroy, "creating the recorder");
  }

  void process(py::handle frame, bool bgr) { check(feed(frame, bgr, vorn_vbc_process), "recording the frame"); }

  py::tuple count() const {
    uint32_t t = 0, f = 0;
    check(vorn_vbc_get_count(get(), &t, &f), "counting");
    return py::make_tuple(t, f);
  }

  py::tuple trajectory(uint32_t index) const {
    uint32_t start = 0, length = 0;
    check(vorn_vbc_get_trajectory(get(), index, &start, &length), "reading the trajectory");
    py::array_t<float> pts({py::ssize_t(length), py::ssize_t(2)});
    check(vorn_vbc_get_points(get(), index, 0, length, reinterpret_cast<vorn_point2f *>(pts.mutable_data())),
          "reading the positions");
    return py::make_tuple(start, pts);
  }

  py::object down(uint32_t frame, float x, float y) {
    uint32_t index = 0;
    vorn_result r = vorn_vbc_down(get(), frame, x, y, &index);
    if (r == VORN_VBC_NONE) return py::none();
    check(r, "selecting");
    return py::int_(index);
  }

  py::object move(float x, float y) {
    uint32_t frame = 0;
    vorn_point2f p{};
    vorn_result r = vorn_vbc_move(get(), x, y, &frame, &p);
    if (r == VORN_E_NO_RESULT) return py::none();
    check(r, "moving");
    return py::make_tuple(frame, py::make_tuple(p.x, p.y));
  }

  vorn_vbc *handle() const { return get(); }
};

}  // namespace

void bind_recognition(py::module_ &m) {
  py::class_<PlateReader> p(m, "PlateReader", R"(Reads licence plates (one row of 7 characters, layout LLDDDAA).)");
  p.def(py::init<uint32_t, uint32_t, py::object, uint32_t, uint32_t>(), py::arg("width"), py::arg("height"),
        py::arg("weights_dir") = py::none(), py::arg("min_char_height") = 0, py::arg("max_char_height") = 0)
      .def("process", &PlateReader::process, py::arg("frame"), py::arg("bgr") = false,
           "Looks for a plate in one frame: a PlateReading, or None when none was read.")
      .def("save_debug_images", &PlateReader::debug_images, py::arg("dir"),
           "Saves the last frame's intermediate images as <dir>/0.bmp .. 3.bmp.")
      .def_readonly("width", &PlateReader::width_)
      .def_readonly("height", &PlateReader::height_);
  bind_owner<PlateReader>(p);

  py::class_<Network> n(m, "Network", R"(A three-layer back-propagation network with its binary weight files.)");
  n.def(py::init<uint32_t, uint32_t, uint32_t, double, double>(), py::arg("n_in"), py::arg("n_hidden"),
        py::arg("n_out"), py::arg("eta") = 0.3, py::arg("momentum") = 0.3)
      .def("train", &Network::train, py::arg("input"), py::arg("target"),
           "One step on one sample; returns (hidden error, output error).")
      .def("recognize", &Network::recognize, py::arg("input"), "The outputs (float64) for one input.")
      .def("load", &Network::load, py::arg("path"), "Reads a weight file of the same shape.")
      .def("save", &Network::save, py::arg("path"), "Writes the weights.")
      .def_readonly("n_in", &Network::n_in_)
      .def_readonly("n_hidden", &Network::n_hidden_)
      .def_readonly("n_out", &Network::n_out_);
  bind_owner<Network>(n);

  py::class_<TrajectoryRecorder> t(m, "TrajectoryRecorder", R"(Records feature-point trajectories through a video.

frame_type is the library frame type the frames arrive as (FrameType.BMP24 for H x W x 3 arrays). Limits left at
0 take the library's defaults.)");
  t.def(py::init<uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t>(),
        py::arg("width"), py::arg("height"), py::arg("frame_type") = VORN_FRAME_BMP24, py::arg("max_points") = 0,
        py::arg("max_trajectories") = 0, py::arg("max_positions") = 0, py::arg("min_length") = 0,
        py::arg("min_distance") = 0, py::arg("max_jump") = 0, py::arg("motion_threshold") = 0)
      .def("process", &TrajectoryRecorder::process, py::arg("frame"), py::arg("bgr") = false, "Records one frame.")
      .def("end", [](TrajectoryRecorder &self) { check(vorn_vbc_end_process(self.handle()), "finishing"); },
           "Finishes the recording (open trajectories end, the list is put in order).")
      .def_property_readonly("count", &TrajectoryRecorder::count, "(trajectories, frames recorded)")
      .def("trajectory", &TrajectoryRecorder::trajectory, py::arg("index"),
           "(start frame, positions L x 2 float32) of one trajectory (a copy).")
      .def("save", [](TrajectoryRecorder &self, const std::string &path) { check(vorn_vbc_save(self.handle(), path.c_str()), "saving"); },
           py::arg("path"))
      .def("load", [](TrajectoryRecorder &self, const std::string &path) { check(vorn_vbc_load(self.handle(), path.c_str()), "loading"); },
           py::arg("path"))
      .def("down", &TrajectoryRecorder::down, py::arg("frame"), py::arg("x"), py::arg("y"),
           "Selects the trajectory nearest (x, y) at frame: its index, or None.")
      .def("move", &TrajectoryRecorder::move, py::arg("x"), py::arg("y"),
           "(frame, (x, y)) where the selection passes nearest the pointer, or None without a selection.")
      .def("up", [](TrajectoryRecorder &self) { check(vorn_vbc_up(self.handle()), "releasing"); });
  bind_owner<TrajectoryRecorder>(t);
}

}  // namespace vp
