// What the process asked of the heap and the kernel: every malloc-family call of this program (the library's
// blocks and OpenCV's buffers alike) is counted, and the page faults come from the kernel's account.
#ifndef VORN_BENCH_ALLOC_COUNT_H
#define VORN_BENCH_ALLOC_COUNT_H

#include <stdint.h>

namespace vorn_bench {

struct Usage {
  uint64_t allocations;  // malloc, calloc, realloc, aligned allocations
  uint64_t faults;       // minor and major page faults
};

Usage usage_now();
// Bytes of heap in use (small blocks and mapped ones).
int64_t heap_in_use();

}  // namespace vorn_bench

#endif
