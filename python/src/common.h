// Pieces every part of the bindings shares: result codes as exceptions, argument checks on numpy arrays,
// geometry to and from tuples, library handles shared with the arrays that view their storage, and the intake of
// host frames.
#ifndef VORN_PY_COMMON_H
#define VORN_PY_COMMON_H

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "vorn.h"

namespace py = pybind11;

namespace vp {

// --- results ---

// A library result code on its way to Python, where it becomes the vorn.Error subclass named for the code.
struct LibraryError {
  vorn_result code;
  std::string what;
};

// Throws LibraryError for every code but VORN_OK.
inline void check(vorn_result r, const char *what) {
  if (r != VORN_OK) throw LibraryError{r, what};
}

// The vorn.Status member of an ordinary outcome of a per-frame call (done, nothing to report, still learning,
// scene change); any other code throws.
py::object status_of(vorn_result r, const char *what);

// Python-side classes the bindings build results from (vorn._types), looked up once at import.
struct Types {
  py::handle point, rect, line, size, trace, tracked, blob, plate, contour, moments, guard_event;
};
const Types &types();
void load_types();

// --- arrays ---

// `obj` as a uint8, C-contiguous numpy array with `ndim` dimensions: TypeError for another type or dtype,
// ValueError for another rank or a strided array.
py::array need_u8(py::handle obj, const char *name, int ndim);
// A H x W mask as a mono-image record pointing into the array (no copy).
vorn_mono_image mono_of(py::handle obj, const char *name);
// A 3 x H x W planar image as an image record of the given format pointing into the array (no copy).
vorn_image image_of(py::handle obj, const char *name, uint32_t format);
// Fresh zeroed arrays and records pointing into them.
py::array_t<uint8_t> new_mono(uint32_t width, uint32_t height, vorn_mono_image *rec);
py::array_t<uint8_t> new_image(uint32_t width, uint32_t height, uint32_t format, vorn_image *rec);
// ValueError unless the two records have the same size.
void same_size(uint32_t w0, uint32_t h0, uint32_t w1, uint32_t h1, const char *what);

// --- geometry ---
vorn_point point_of(py::handle obj, const char *name);
vorn_rect rect_of(py::handle obj, const char *name);
vorn_line line_of(py::handle obj, const char *name);
// A polygon from a sequence of (x, y) pairs or an N x 2 integer array; closed (first point repeated at the end)
// when `close` is set and it is not already.
std::vector<vorn_point> points_of(py::handle obj, const char *name, bool close);
py::object point_out(int32_t x, int32_t y);
py::object rect_out(const vorn_rect &r);
py::object line_out(const vorn_line &l);

// --- shared handles and views ---

// A library object held by its Python owner and by every array viewing its storage: it is destroyed when the
// owner is closed (or collected) and the last view is gone.
using Holder = std::shared_ptr<void>;

// A read-only H x W (or given shape) uint8 view of `data` that keeps `holder` alive.
py::array view_u8(const Holder &holder, const uint8_t *data, std::vector<py::ssize_t> shape);
// A copy of `n` bytes as an array of the given shape.
py::array copy_u8(const uint8_t *data, std::vector<py::ssize_t> shape);

// Marks an object in use for the length of a call; a second thread entering the same object gets RuntimeError
// instead of racing the first (the library allows one thread per object at a time).
class InUse {
 public:
  InUse(std::atomic<bool> &flag, const char *kind);
  ~InUse() { flag_.store(false, std::memory_order_release); }
  InUse(const InUse &) = delete;
  InUse &operator=(const InUse &) = delete;

 private:
  std::atomic<bool> &flag_;
};

// Base of the classes owning one library handle: close(), the context-manager protocol, and the closed check.
template <typename T>
class Owner {
 public:
  explicit Owner(const char *kind) : kind_(kind) {}
  void close() {
    InUse u(busy_, kind_);
    handle_.reset();
  }
  bool closed() const { return !handle_; }

 protected:
  T *get() const {
    if (!handle_) throw py::value_error(std::string("operation on a closed ") + kind_);
    return static_cast<T *>(handle_.get());
  }
  // Runs create(&params, &handle) and holds what it made (also a partial object it hands back on failure, so
  // that its destroy runs), then raises for a failing code.
  template <typename Create, typename Params, typename Destroy>
  void create(Create create, Params &params, Destroy destroy, const char *what) {
    T *h = nullptr;
    vorn_result r = create(&params, &h);
    if (h) hold(h, destroy);
    check(r, what);
  }
  template <typename Destroy>
  void hold(T *h, Destroy destroy) {
    handle_ = Holder(h, [destroy](void *p) { destroy(static_cast<T *>(p)); });
  }
  py::array view(const uint8_t *data, uint32_t width, uint32_t height) const {
    return view_u8(handle_, data, {py::ssize_t(height), py::ssize_t(width)});
  }

  Holder handle_;
  mutable std::atomic<bool> busy_{false};
  const char *kind_;
};

// Binds close, closed, __enter__ and __exit__ of an Owner subclass.
template <typename C, typename PyClass>
void bind_owner(PyClass &cls) {
  cls.def("close", &C::close, "Frees the library object now; views already handed out stay readable.")
      .def_property_readonly("closed", &C::closed)
      .def("__enter__", [](py::object self) { return self; })
      .def("__exit__", [](C &self, py::args) { self.close(); });
}

// --- frames ---

// Layout of a host frame as the caller handed it.
enum class Layout { kRgb, kBgr, kRgbx, kBgrx, kYuv422, kYuv420, kBitmap };

// One host frame, inspected with the GIL held; prepare() may then run without it.
struct FrameIn {
  py::object keep;  // the array or bitmap, alive for the call
  const uint8_t *src = nullptr;
  Layout layout = Layout::kRgb;
  uint32_t width = 0, height = 0;

  // The frame as the library takes it: bitmap rows (built bottom-up in `scratch`) for interleaved arrays, the
  // caller's own bytes for YUV buffers and bitmap objects. Sets *type to the VORN_FRAME_* of the result.
  uint8_t *prepare(std::vector<uint8_t> &scratch, uint32_t *type) const;
};

// Reads `frame`: H x W x 3 (RGB, or BGR with bgr), H x W x 4 (RGBX / BGRX), H x W x 2 (packed 4:2:2),
// (H * 3 / 2) x W (planar 4:2:0) uint8 arrays, or a vorn.Bitmap.
FrameIn frame_in(py::handle frame, bool bgr);
// ValueError unless the frame is width x height.
void expect_frame_size(const FrameIn &f, uint32_t width, uint32_t height, const char *who);
// frame_in, then the size check of an object made for width x height frames.
inline FrameIn frame_for(py::handle frame, bool bgr, uint32_t width, uint32_t height, const char *who) {
  FrameIn f = frame_in(frame, bgr);
  expect_frame_size(f, width, height, who);
  return f;
}

// One frame through call(handle, data, frame_type) with the GIL released; interleaved arrays are converted into
// `scratch` first (also without the GIL).
template <typename T, typename Call>
vorn_result run_frame(T *handle, const FrameIn &f, std::vector<uint8_t> &scratch, Call call) {
  py::gil_scoped_release nogil;
  uint32_t type;
  uint8_t *p = f.prepare(scratch, &type);
  return call(handle, p, type);
}

// Base of the objects made for frames of one size: the size, the buffer interleaved frames are converted in, the
// per-frame call and the read-only view of a foreground mask.
template <typename T>
class StreamOwner : public Owner<T> {
 public:
  uint32_t width_ = 0, height_ = 0;

 protected:
  StreamOwner(const char *kind, uint32_t width, uint32_t height) : Owner<T>(kind), width_(width), height_(height) {
    if (width == 0 || height == 0) throw py::value_error("the frame size must not be 0");
  }
  // One frame of the object's size through call(handle, data, frame_type), without the GIL.
  template <typename Call>
  vorn_result feed(py::handle frame, bool bgr, Call call) {
    FrameIn f = frame_for(frame, bgr, width_, height_, this->kind_);
    InUse u(this->busy_, this->kind_);
    return run_frame(this->get(), f, scratch_, call);
  }
  // The mask get_fg hands out, as a view (None when the object keeps none).
  py::object mask_view(vorn_result (*get_fg)(T *, vorn_mono_image **)) const {
    InUse u(this->busy_, this->kind_);
    vorn_mono_image *fg = nullptr;
    check(get_fg(this->get(), &fg), "reading the foreground");
    if (!fg || !fg->data) return py::none();
    return this->view(fg->data, fg->width, fg->height);
  }

  std::vector<uint8_t> scratch_;
};

// Module parts, one per family source file.
void bind_frames(py::module_ &m);
void bind_imgproc(py::module_ &m);
void bind_bk_model(py::module_ &m);
void bind_analytics(py::module_ &m);
void bind_objects(py::module_ &m);
void bind_tracking(py::module_ &m);
void bind_recognition(py::module_ &m);

}  // namespace vp

#endif
