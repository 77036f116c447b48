// The sweep's table: one entry per export, registered by the family files (sweep_*_test.cpp) and checked against
// the export lists by argument_sweep_test.cpp.
#ifndef VORN_TESTS_INTERFACE_SWEEP_TABLE_H
#define VORN_TESTS_INTERFACE_SWEEP_TABLE_H

#include <initializer_list>
#include <vector>

#include "interface/probe.h"
#include "interface/world.h"

namespace vorn_probe {

using Run = void (*)(World &, Prober &);
struct Entry {
  const char *name;
  Run run;
};

// Every registered entry, in registration order.
std::vector<Entry> &sweep_table();
struct Register {
  Register(std::initializer_list<Entry> entries);
};

// One export probed with one set of valid arguments.
#define E(fn, ...) {#fn, [](World &w, Prober &p) { (void)w; p.call(fn, __VA_ARGS__); }}
// One export probed by a body of several calls.
#define B(fn, ...) {#fn, [](World &w, Prober &p) { (void)w; (void)p; __VA_ARGS__ }}

// An output the call only points into the object's storage: nothing to release.
template <class T>
Out<T> none() {
  return Out<T>{};
}
template <class T>
Out<T> out(void (*release)(T *)) {
  Out<T> o;
  o.release = release;
  return o;
}
template <class T>
Out<T> out(vorn_result (*release)(T *)) {
  Out<T> o;
  o.release = [release](T *p) { release(p); };
  return o;
}
inline Out<void> model_out(vorn_result (*destroy)(vorn_bk_model *)) {
  Out<void> o;
  o.release = [destroy](void *p) { destroy(static_cast<vorn_bk_model *>(p)); };
  return o;
}

const char *const kGeometry = "the geometry helpers check no pointer (vorn_geometry.h): they run per pixel";
const char *const kWorker = "the raw conversion workers check nothing (vorn_color.h): the checked vorn_ members wrap them";


}  // namespace vorn_probe

#endif
