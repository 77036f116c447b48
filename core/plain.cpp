#include "core/plain.h"

#include <atomic>

namespace vorn {

namespace {
std::atomic<bool> g_plain{false};
}  // namespace

bool plain_paths() { return g_plain.load(std::memory_order_relaxed); }
void set_plain_paths(bool on) { g_plain = on; }

}  // namespace vorn
