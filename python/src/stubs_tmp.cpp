#include "common.h"
namespace vp {
void bind_imgproc(py::module_ &) {}
void bind_objects(py::module_ &) {}
void bind_tracking(py::module_ &) {}
void bind_recognition(py::module_ &) {}
}
