// The allocation counter: this program's own malloc family, forwarding to the C library's and counting calls.
// Defining them in the executable puts them ahead of the C library's for every shared object as well.
#include "report/alloc_count.h"

#include <errno.h>
#include <malloc.h>
#include <stddef.h>
#include <sys/resource.h>

#include <atomic>

extern "C" {
void *__libc_malloc(size_t n);
void *__libc_calloc(size_t count, size_t n);
void *__libc_realloc(void *p, size_t n);
void *__libc_memalign(size_t align, size_t n);
void __libc_free(void *p);
}

namespace {
std::atomic<uint64_t> g_allocations{0};
inline void count() { g_allocations.fetch_add(1, std::memory_order_relaxed); }
}  // namespace

extern "C" {

void *malloc(size_t n) {
  count();
  return __libc_malloc(n);
}
void *calloc(size_t count_, size_t n) {
  count();
  return __libc_calloc(count_, n);
}
void *realloc(void *p, size_t n) {
  count();
  return __libc_realloc(p, n);
}
void free(void *p) { __libc_free(p); }
void *memalign(size_t align, size_t n) {
  count();
  return __libc_memalign(align, n);
}
void *aligned_alloc(size_t align, size_t n) {
  count();
  return __libc_memalign(align, n);
}
int posix_memalign(void **out, size_t align, size_t n) {
  count();
  void *p = __libc_memalign(align, n);
  if (!p && n) return ENOMEM;
  *out = p;
  return 0;
}

}  // extern "C"

namespace vorn_bench {

Usage usage_now() {
  struct rusage ru;
  getrusage(RUSAGE_SELF, &ru);
  return Usage{g_allocations.load(std::memory_order_relaxed), (uint64_t)(ru.ru_minflt + ru.ru_majflt)};
}

int64_t heap_in_use() {
  const struct mallinfo2 mi = mallinfo2();
  return (int64_t)(mi.uordblks + mi.hblkhd);
}

}  // namespace vorn_bench
