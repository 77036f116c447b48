// Where pointers are 4 bytes the block prefix is the classic 8-byte one, checked byte for byte: the requested
// size at start - 8, the address of the underlying heap allocation at start - 4 (both little-endian words), and
// an underlying allocation of n + 23 bytes. Elsewhere the test is skipped (memory_test.cpp covers the general
// two-word layout).
#include <stdint.h>
#include <stdlib.h>

#if defined(__GLIBC__)
#include <malloc.h>
#endif

#include <gtest/gtest.h>

#include "vorn.h"

namespace {

uint32_t le32_at(const uint8_t *b) {
  return (uint32_t)b[0] | (uint32_t)b[1] << 8 | (uint32_t)b[2] << 16 | (uint32_t)b[3] << 24;
}

TEST(MemoryBlock32, PrefixBytesAndAllocationSize) {
  if (sizeof(void *) != 4) GTEST_SKIP() << "pointers are " << sizeof(void *) << " bytes here";
  for (uint32_t n = 0; n <= 300; n += (n < 64 ? 1 : 59)) {
    uint8_t *p = static_cast<uint8_t *>((n & 1) ? vorn_calloc(n) : vorn_malloc(n));
    ASSERT_NE(p, nullptr) << n;
    const uint32_t start = (uint32_t)(uintptr_t)p;
    EXPECT_EQ(start % 16, 0u) << n;

    // start - 8: the size asked for; start - 4: the heap allocation.
    EXPECT_EQ(le32_at(p - 8), n);
    const uint32_t raw = le32_at(p - 4);
    EXPECT_NE(raw, 0u) << n;
    // The prefix and the n usable bytes both lie inside the n + 23 bytes obtained from the heap.
    EXPECT_GE(start - 8, raw) << n;
    EXPECT_LE(start + n, raw + n + 23) << n;

#if defined(__GLIBC__)
    // The heap hands out the same room as for a plain request of n + 23 bytes; across consecutive n this pins the
    // request itself to n + 23.
    void *ref = malloc(n + 23);
    ASSERT_NE(ref, nullptr);
    EXPECT_EQ(malloc_usable_size(reinterpret_cast<void *>((uintptr_t)raw)), malloc_usable_size(ref)) << n;
    free(ref);
#endif
    vorn_free(p);
  }
}

}  // namespace
