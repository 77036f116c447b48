// The Bitmap class: a library bitmap object owned from Python.
#ifndef VORN_PY_BITMAP_H
#define VORN_PY_BITMAP_H

#include "common.h"

namespace vp {

class Bitmap : public Owner<vorn_bmp> {
 public:
  explicit Bitmap(vorn_bmp *b);  // takes ownership; NULL raises OutOfMemoryError
  vorn_bmp *get() const;
  py::array to_array(bool bgr) const;
};

}  // namespace vp

#endif
