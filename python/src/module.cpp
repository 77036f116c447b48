// The vorn._vorn extension module: library start-up, the translation of result codes into vorn.Error
// exceptions, and the families' bindings.
#include "common.h"
#include "vorn_version.h"

PYBIND11_MODULE(_vorn, m) {
  m.doc() = "Bindings of the VORNBaseLib C library (use the vorn package, which re-exports them).";
  vorn_init();
  vp::load_types();
  py::register_exception_translator([](std::exception_ptr p) {
    try {
      if (p) std::rethrow_exception(p);
    } catch (const vp::LibraryError &e) {
      py::object make = py::module_::import("vorn._errors").attr("error_for");
      py::object exc = make(e.code, e.what + ": " + vorn_result_message(e.code));
      PyErr_SetObject(reinterpret_cast<PyObject *>(Py_TYPE(exc.ptr())), exc.ptr());
    }
  });
  m.attr("library_version") = VORN_VERSION_STRING;
  vp::bind_frames(m);
  vp::bind_imgproc(m);
  vp::bind_bk_model(m);
  vp::bind_analytics(m);
  vp::bind_objects(m);
  vp::bind_tracking(m);
  vp::bind_recognition(m);
}
