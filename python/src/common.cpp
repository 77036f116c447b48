#include "common.h"

#include <cstring>

namespace vp {

namespace {

Types g_types;
py::handle g_status[4];  // OK, NO_RESULT, LEARNING, SCENE_CHANGE

std::string type_name(py::handle obj) { return py::str(py::type::handle_of(obj).attr("__name__")); }

}  // namespace

const Types &types() { return g_types; }

void load_types() {
  py::module_ t = py::module_::import("vorn._types");
  // The classes live as long as the interpreter: the references are kept on purpose.
  auto get = [&](const char *name) { return py::object(t.attr(name)).release(); };
  g_types = Types{get("Point"), get("Rect"),    get("Line"),     get("Size"),    get("Trace"),  get("TrackedObject"),
                  get("Blob"),  get("PlateReading"), get("Contour"), get("Moments"),
                  get("GuardEvent")};
  py::object status = t.attr("Status");
  g_status[0] = py::object(status.attr("OK")).release();
  g_status[1] = py::object(status.attr("NO_RESULT")).release();
  g_status[2] = py::object(status.attr("LEARNING")).release();
  g_status[3] = py::object(status.attr("SCENE_CHANGE")).release();
}

py::object status_of(vorn_result r, const char *what) {
  switch (r) {
    case VORN_OK: return py::reinterpret_borrow<py::object>(g_status[0]);
    case VORN_E_NO_RESULT: return py::reinterpret_borrow<py::object>(g_status[1]);
    case VORN_E_LEARNING: return py::reinterpret_borrow<py::object>(g_status[2]);
    case VORN_E_SCENE_CHANGE: return py::reinterpret_borrow<py::object>(g_status[3]);
    default: throw LibraryError{r, what};
  }
}

py::array need_u8(py::handle obj, const char *name, int ndim) {
  if (!py::isinstance<py::array>(obj))
    throw py::type_error(std::string(name) + " must be a numpy array, not " + type_name(obj));
  py::array a = py::reinterpret_borrow<py::array>(obj);
  if (!a.dtype().is(py::dtype::of<uint8_t>()))
    throw py::type_error(std::string(name) + " must have dtype uint8, not " + std::string(py::str(a.dtype())));
  if (a.ndim() != ndim)
    throw py::value_error(std::string(name) + " must have " + std::to_string(ndim) + " dimensions, not " +
                          std::to_string(a.ndim()));
  if (!(a.flags() & py::array::c_style))
    throw py::value_error(std::string(name) + " must be C-contiguous (use numpy.ascontiguousarray)");
  return a;
}

vorn_mono_image mono_of(py::handle obj, const char *name) {
  py::array a = need_u8(obj, name, 2);
  if (a.shape(0) == 0 || a.shape(1) == 0) throw py::value_error(std::string(name) + " is empty");
  return vorn_mono_image{uint32_t(a.shape(1)), uint32_t(a.shape(0)),
                         static_cast<uint8_t *>(const_cast<void *>(a.data()))};
}

vorn_image image_of(py::handle obj, const char *name, uint32_t format) {
  py::array a = need_u8(obj, name, 3);
  if (a.shape(0) != 3)
    throw py::value_error(std::string(name) + " must be a planar image of shape (3, H, W), not (" +
                          std::to_string(a.shape(0)) + ", " + std::to_string(a.shape(1)) + ", " +
                          std::to_string(a.shape(2)) + ")");
  if (a.shape(1) == 0 || a.shape(2) == 0) throw py::value_error(std::string(name) + " is empty");
  uint8_t *base = static_cast<uint8_t *>(const_cast<void *>(a.data()));
  const size_t plane = size_t(a.shape(1)) * size_t(a.shape(2));
  return vorn_image{format, uint32_t(a.shape(2)), uint32_t(a.shape(1)), {base, base + plane, base + 2 * plane}};
}

py::array_t<uint8_t> new_mono(uint32_t width, uint32_t height, vorn_mono_image *rec) {
  py::array_t<uint8_t> a({py::ssize_t(height), py::ssize_t(width)});
  std::memset(a.mutable_data(), 0, size_t(width) * height);
  *rec = vorn_mono_image{width, height, a.mutable_data()};
  return a;
}

py::array_t<uint8_t> new_image(uint32_t width, uint32_t height, uint32_t format, vorn_image *rec) {
  py::array_t<uint8_t> a({py::ssize_t(3), py::ssize_t(height), py::ssize_t(width)});
  uint8_t *base = a.mutable_data();
  const size_t plane = size_t(width) * height;
  std::memset(base, 0, plane * 3);
  *rec = vorn_image{format, width, height, {base, base + plane, base + 2 * plane}};
  return a;
}

void same_size(uint32_t w0, uint32_t h0, uint32_t w1, uint32_t h1, const char *what) {
  if (w0 != w1 || h0 != h1)
    throw py::value_error(std::string(what) + ": sizes differ (" + std::to_string(w0) + "x" + std::to_string(h0) +
                          " and " + std::to_string(w1) + "x" + std::to_string(h1) + ")");
}

namespace {

// The integers of a sequence of exactly n items.
std::vector<int32_t> ints_of(py::handle obj, size_t n, const char *name, const char *shape) {
  if (!py::isinstance<py::sequence>(obj) && !py::isinstance<py::array>(obj))
    throw py::type_error(std::string(name) + " must be " + shape + ", not " + type_name(obj));
  py::sequence s = py::reinterpret_borrow<py::sequence>(obj);
  if (s.size() != n) throw py::value_error(std::string(name) + " must be " + shape);
  std::vector<int32_t> v(n);
  for (size_t i = 0; i < n; ++i) {
    py::handle item = s[i];
    try {
      v[i] = py::cast<int32_t>(py::reinterpret_borrow<py::object>(item).attr("__index__")());
    } catch (const py::error_already_set &) {
      throw py::type_error(std::string(name) + " must be " + shape + " of integers");
    } catch (const py::cast_error &) {
      throw py::value_error(std::string(name) + ": a value does not fit 32 bits");
    }
  }
  return v;
}

}  // namespace

vorn_point point_of(py::handle obj, const char *name) {
  auto v = ints_of(obj, 2, name, "an (x, y) pair");
  return vorn_point{v[0], v[1]};
}

vorn_rect rect_of(py::handle obj, const char *name) {
  auto v = ints_of(obj, 4, name, "a (left, top, right, bottom) tuple");
  return vorn_rect{v[0], v[1], v[2], v[3]};
}

vorn_line line_of(py::handle obj, const char *name) {
  auto v = ints_of(obj, 4, name, "an (x0, y0, x1, y1) tuple");
  return vorn_line{v[0], v[1], v[2], v[3]};
}

std::vector<vorn_point> points_of(py::handle obj, const char *name, bool close) {
  if (!py::isinstance<py::sequence>(obj) && !py::isinstance<py::array>(obj))
    throw py::type_error(std::string(name) + " must be a sequence of (x, y) pairs, not " + type_name(obj));
  py::sequence s = py::reinterpret_borrow<py::sequence>(obj);
  std::vector<vorn_point> pts;
  pts.reserve(s.size() + 1);
  for (size_t i = 0; i < s.size(); ++i) pts.push_back(point_of(s[i], name));
  if (close && !pts.empty() && (pts.front().x != pts.back().x || pts.front().y != pts.back().y))
    pts.push_back(pts.front());
  return pts;
}

py::object point_out(int32_t x, int32_t y) { return types().point(x, y); }
py::object rect_out(const vorn_rect &r) { return types().rect(r.left, r.top, r.right, r.bottom); }
py::object line_out(const vorn_line &l) { return types().line(l.x0, l.y0, l.x1, l.y1); }

py::array view_u8(const Holder &holder, const uint8_t *data, std::vector<py::ssize_t> shape) {
  if (!data) throw LibraryError{VORN_E_NOMEM, "the buffer does not exist"};
  py::capsule keep(new Holder(holder), [](void *p) { delete static_cast<Holder *>(p); });
  py::array a(py::dtype::of<uint8_t>(), shape, {}, data, keep);
  py::detail::array_proxy(a.ptr())->flags &= ~py::detail::npy_api::NPY_ARRAY_WRITEABLE_;
  return a;
}

py::array copy_u8(const uint8_t *data, std::vector<py::ssize_t> shape) {
  py::array_t<uint8_t> a(shape);
  if (a.size()) std::memcpy(a.mutable_data(), data, size_t(a.size()));
  return a;
}

InUse::InUse(std::atomic<bool> &flag, const char *kind) : flag_(flag) {
  if (flag_.exchange(true, std::memory_order_acquire))
    throw std::runtime_error(std::string("this ") + kind + " is in use by another thread");
}

}  // namespace vp
