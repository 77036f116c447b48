// BackgroundModel: one model of any type, driven through its table of operations.
#include <cctype>
#include <cstring>

#include "common.h"
#include "names.h"

namespace vp {

namespace {

const Name kModelTypes[] = {{"default", 0},     {"ring", 1},     {"mixture", 2},     {"mean", 3},
                            {"ring_alt", 4},    {"block", 5},    {"mean_alt", 6},    {"stable_mean", 7},
                            {"histogram_mean", 8}};
}  // namespace

const Name kParamNames[] = {{"sensitivity", VORN_BK_PARAM_SENSITIVITY}, {"scene_cut", VORN_BK_PARAM_SCENE_CUT},
                        {"shadow", VORN_BK_PARAM_SHADOW},           {"erode", VORN_BK_PARAM_ERODE},
                        {"dilate", VORN_BK_PARAM_DILATE},           {"window", VORN_BK_PARAM_WINDOW},
                        {"learn_frames", VORN_BK_PARAM_LEARN_FRAMES}};

namespace {

py::array image_copy(const vorn_image *img) {
  const size_t plane = size_t(img->width) * img->height;
  py::array_t<uint8_t> a({py::ssize_t(3), py::ssize_t(img->height), py::ssize_t(img->width)});
  for (int i = 0; i < 3; ++i) std::memcpy(a.mutable_data() + plane * i, img->plane[i], plane);
  return a;
}

class BackgroundModel : public StreamOwner<vorn_bk_model> {
 public:
  BackgroundModel(py::handle type, uint32_t width, uint32_t height, uint32_t history, uint32_t format)
      : StreamOwner("background model", width, height), type_(lookup(type, kModelTypes, "model type")) {
    if (format > VORN_FORMAT_HSV) throw py::value_error("format must be RGB, YUV or HSV");
    vorn_bk_model_init(type_, &ops_);
    vorn_bk_model_init_params p{history, width, height, format};
    void *h = nullptr;
    check(ops_.create(&p, &h), "creating the background model");
    auto destroy = ops_.destroy;
    hold(static_cast<vorn_bk_model *>(h), [destroy](vorn_bk_model *m) { destroy(m); });
  }

  py::object process(py::handle frame, bool bgr) {
    return status_of(feed(frame, bgr, ops_.process), "processing the frame");
  }

  void set_background(py::handle frame, bool bgr) {
    check(feed(frame, bgr, ops_.set_bk), "setting the background");
  }

  py::object foreground() const { return mask_view(ops_.get_fg); }

  py::object background() {
    InUse u(busy_, kind_);
    vorn_image *bk = nullptr;
    vorn_result r = ops_.get_bk(get(), &bk);
    if (r == VORN_E_LEARNING) return py::none();
    check(r, "reading the background");
    return image_copy(bk);
  }

  py::array image(uint32_t back) {
    InUse u(busy_, kind_);
    vorn_image *img = nullptr;
    check(ops_.get_image(get(), back, &img), "reading a ring image");
    return image_copy(img);
  }

  void reset() {
    InUse u(busy_, kind_);
    check(ops_.reset(get()), "resetting the model");
  }

  void set_param(py::handle id, uint32_t value) {
    InUse u(busy_, kind_);
    check(ops_.set_param(get(), value, lookup(id, kParamNames, "parameter id")), "setting the parameter");
  }

  py::array mask() {
    InUse u(busy_, kind_);
    vorn_mono_image *m = nullptr;
    check(vorn_bk_model_get_mask(get(), &m), "reading the region mask");
    return copy_u8(m->data, {py::ssize_t(m->height), py::ssize_t(m->width)});
  }

  void set_mask(py::handle mask) {
    vorn_mono_image m = mono_of(mask, "mask");
    same_size(m.width, m.height, width_, height_, "mask");
    InUse u(busy_, kind_);
    check(vorn_bk_model_set_mask(get(), &m), "setting the region mask");
  }

  uint32_t type_;

 private:
  vorn_bk_model_vtable ops_{};
};

}  // namespace

uint32_t lookup(py::handle key, const Name *names, size_t count, const char *what) {
  if (py::isinstance<py::str>(key)) {
    std::string s = py::cast<std::string>(key);
    for (char &c : s) c = char(std::tolower(static_cast<unsigned char>(c)));
    for (size_t i = 0; i < count; ++i)
      if (s == names[i].name) return names[i].value;
    std::string known;
    for (size_t i = 0; i < count; ++i) known += std::string(i ? ", " : "") + names[i].name;
    throw py::value_error(std::string("unknown ") + what + " '" + s + "' (known: " + known + ")");
  }
  try {
    return py::cast<uint32_t>(py::reinterpret_borrow<py::object>(key).attr("__index__")());
  } catch (const py::error_already_set &) {
    throw py::type_error(std::string(what) + " must be a name or a number");
  } catch (const py::cast_error &) {
    throw py::value_error(std::string(what) + " must be a non-negative 32-bit number");
  }
}

void bind_bk_model(py::module_ &m) {
  py::class_<BackgroundModel> c(m, "BackgroundModel", R"(A background model of one video stream.

type: a ModelType, its number, or its name ('mixture', 'mean', ...); any other number is the default model.
Frames go in with process(); foreground() is a read-only view of the model's own mask, valid until the next
frame (copy it to keep it); background() and image() return copies.)");
  c.def(py::init<py::handle, uint32_t, uint32_t, uint32_t, uint32_t>(), py::arg("type"), py::arg("width"),
        py::arg("height"), py::arg("history") = 4, py::arg("format") = VORN_FORMAT_RGB)
      .def("process", &BackgroundModel::process, py::arg("frame"), py::arg("bgr") = false,
           "Feeds one frame. Returns Status.OK, LEARNING or SCENE_CHANGE; raises vorn.Error on failure.")
      .def("set_background", &BackgroundModel::set_background, py::arg("frame"), py::arg("bgr") = false,
           "Converts a frame into the model's background.")
      .def("foreground", &BackgroundModel::foreground,
           "The H x W foreground mask (0 / 255): a read-only view valid until the next frame, or None.")
      .def("background", &BackgroundModel::background,
           "The background as a 3 x H x W planar image (a copy), or None while the model learns.")
      .def("image", &BackgroundModel::image, py::arg("back") = 0,
           "A ring image as 3 x H x W (a copy); back 0 is the frame processed last.")
      .def("reset", &BackgroundModel::reset, "Counters and mask back to the created state.")
      .def("set_param", &BackgroundModel::set_param, py::arg("id"), py::arg("value"),
           "Sets a parameter by Param, number (0..31) or name ('sensitivity', 'window', ...).")
      .def_property("mask", &BackgroundModel::mask, &BackgroundModel::set_mask,
                    "The region mask (0 = not watched), H x W; reading gives a copy.")
      .def_readonly("type", &BackgroundModel::type_)
      .def_readonly("width", &BackgroundModel::width_)
      .def_readonly("height", &BackgroundModel::height_);
  bind_owner<BackgroundModel>(c);
}

}  // namespace vp
