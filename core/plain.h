// Test hook: the plain paths. Where a fast path skips work that cannot change an output (state kept only under
// a mask, a pyramid left unbuilt when nothing will read it), the plain path does all of it, the way the rule
// is written; tests run both and compare every output.
#ifndef VORN_CORE_PLAIN_H
#define VORN_CORE_PLAIN_H

namespace vorn {

bool plain_paths();
void set_plain_paths(bool on);  // read at every frame by the objects that have both paths

}  // namespace vorn

#endif
