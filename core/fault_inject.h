// Allocation fault injection for tests: make the k-th allocation from now on fail, and count live blocks so a
// test can see that a failed create released everything it had obtained. Compiled in with VORN_FAULT_INJECTION;
// otherwise the setters do nothing and the counter stays 0.
#ifndef VORN_CORE_FAULT_INJECT_H
#define VORN_CORE_FAULT_INJECT_H

#include <stdint.h>

namespace vorn {

// After this call the k-th allocation (1-based) returns null; k = 0 turns injection off.
void fault_inject_fail_at(uint32_t k);
// Allocations made since the last fault_inject_fail_at call.
uint32_t fault_inject_count();
// Whether an injected failure has fired since the last fault_inject_fail_at call.
bool fault_inject_fired();
// Blocks currently allocated and not yet freed.
int64_t live_blocks();
// Whether this build can inject faults at all.
bool fault_inject_available();

}  // namespace vorn

#endif
