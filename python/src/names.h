// Names of numbered settings (model types, parameter ids, modes), accepted wherever the number is.
#ifndef VORN_PY_NAMES_H
#define VORN_PY_NAMES_H

#include "common.h"

namespace vp {

struct Name {
  const char *name;
  uint32_t value;
};

// The number of `key`: a name of the table (any case) or anything with __index__.
uint32_t lookup(py::handle key, const Name *names, size_t count, const char *what);
// Background-model parameter ids by name (sensitivity, scene_cut, shadow, erode, dilate, window, learn_frames).
extern const Name kParamNames[7];

template <size_t N>
uint32_t lookup(py::handle key, const Name (&names)[N], const char *what) {
  return lookup(key, names, N, what);
}

}  // namespace vp

#endif
