// Memory blocks. The usable start is aligned to 16 bytes and preceded by two pointer-sized words: the size that
// was asked for, then the address of the underlying heap allocation (n + 15 + 2 words bytes). On 32-bit targets
// this is the classic n + 23 layout with an 8-byte prefix.
#include <stdlib.h>
#include <string.h>

#include <atomic>

#include "core/fault_inject.h"
#include "core/memory.h"

namespace vorn {
namespace {

constexpr size_t kPrefix = 2 * sizeof(void *);
constexpr size_t kSlack = 15 + kPrefix;

#if VORN_FAULT_INJECTION
std::atomic<uint32_t> g_fail_at{0};
std::atomic<uint32_t> g_count{0};
std::atomic<bool> g_fired{false};
std::atomic<int64_t> g_live{0};
#endif

bool injected_failure() {
#if VORN_FAULT_INJECTION
  uint32_t n = g_count.fetch_add(1) + 1;
  uint32_t k = g_fail_at.load();
  if (k != 0 && n == k) {
    g_fired = true;
    return true;
  }
#endif
  return false;
}

}  // namespace

void *block_alloc(size_t n) {
  if (n > 0xFFFFFFFFu || n > SIZE_MAX - kSlack) return nullptr;
  if (injected_failure()) return nullptr;
  unsigned char *raw = static_cast<unsigned char *>(calloc(1, n + kSlack));
  if (!raw) return nullptr;
  uintptr_t start = ((uintptr_t)raw + kSlack) & ~(uintptr_t)15;
  void **words = reinterpret_cast<void **>(start);
  words[-2] = reinterpret_cast<void *>((uintptr_t)n);
  words[-1] = raw;
#if VORN_FAULT_INJECTION
  g_live.fetch_add(1);
#endif
  return reinterpret_cast<void *>(start);
}

void fault_inject_fail_at(uint32_t k) {
#if VORN_FAULT_INJECTION
  g_fail_at = k;
  g_count = 0;
  g_fired = false;
#else
  (void)k;
#endif
}

uint32_t fault_inject_count() {
#if VORN_FAULT_INJECTION
  return g_count.load();
#else
  return 0;
#endif
}

bool fault_inject_fired() {
#if VORN_FAULT_INJECTION
  return g_fired.load();
#else
  return false;
#endif
}

int64_t live_blocks() {
#if VORN_FAULT_INJECTION
  return g_live.load();
#else
  return 0;
#endif
}

bool fault_inject_available() {
#if VORN_FAULT_INJECTION
  return true;
#else
  return false;
#endif
}

}  // namespace vorn

extern "C" {

VORN_API void *vorn_malloc(uint32_t n) { return vorn::block_alloc(n); }

VORN_API void *vorn_calloc(uint32_t n) { return vorn::block_alloc(n); }

VORN_API void vorn_free(void *p) {
  if (!p) return;
  void *raw = static_cast<void **>(p)[-1];
  if (!raw) return;
#if VORN_FAULT_INJECTION
  vorn::g_live.fetch_sub(1);
#endif
  free(raw);
}

}  // extern "C"
