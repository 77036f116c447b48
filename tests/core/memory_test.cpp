#include <stdint.h>
#include <string.h>

#include <gtest/gtest.h>

#include "core/fault_inject.h"
#include "support/test_support.h"
#include "vorn.h"

namespace {

uintptr_t size_word(void *p) { return reinterpret_cast<uintptr_t *>(p)[-2]; }
uintptr_t raw_word(void *p) { return reinterpret_cast<uintptr_t *>(p)[-1]; }

TEST(MemoryBlock, LayoutHoldsForEverySize) {
  const uintptr_t prefix = 2 * sizeof(void *);
  for (uint32_t n = 0; n < 300; ++n) {
    void *p = (n & 1) ? vorn_calloc(n) : vorn_malloc(n);
    ASSERT_NE(p, nullptr);
    const uintptr_t start = reinterpret_cast<uintptr_t>(p);
    EXPECT_EQ(start % 16, 0u) << n;
    EXPECT_EQ(size_word(p), n);
    const uintptr_t gap = start - raw_word(p);
    EXPECT_GE(gap, prefix) << n;
    EXPECT_LE(gap, prefix + 15) << n;
    // Every usable byte is zero, calloc or not, and writable (ASan checks the bounds).
    for (uint32_t i = 0; i < n; ++i) ASSERT_EQ(static_cast<uint8_t *>(p)[i], 0) << n;
    memset(p, 0xA5, n);
    vorn_free(p);
  }
}

TEST(MemoryBlock, FreeIgnoresNullRawWord) {
  // A block whose raw-address word has been cleared is left alone.
  alignas(16) uintptr_t fake[4] = {0, 0, 0, 0};
  vorn_free(&fake[2]);
  SUCCEED();
}

TEST(MemoryBlock, InjectedFailureReturnsNull) {
  vorn::fault_inject_fail_at(2);
  void *a = vorn_malloc(8);
  void *b = vorn_calloc(8);
  void *c = vorn_malloc(8);
  vorn::fault_inject_fail_at(0);
  EXPECT_NE(a, nullptr);
  EXPECT_EQ(b, nullptr);
  EXPECT_NE(c, nullptr);
  vorn_free(a);
  vorn_free(c);
}

TEST(MemoryBlock, OversizedRequestFails) {
  EXPECT_EQ(vorn_image_alloc(0x10000, 0x10001, 0), nullptr);
  EXPECT_EQ(vorn_mono_image_alloc(0xFFFFFFFFu, 2), nullptr);
  EXPECT_EQ(vorn_matrix_alloc(0x40000000u, 2), nullptr);
}

TEST(Startup, InitAndReleaseAndStubs) {
  EXPECT_EQ(vorn_init(), VORN_OK);
  EXPECT_EQ(vorn_init(), VORN_OK);
  EXPECT_EQ(vorn_release(), VORN_OK);
  EXPECT_EQ(vorn_mono_image_thin(), VORN_OK);
}

TEST(Startup, StatInfoAnswersOnlyKindZero) {
  vorn_stat_info info = {1, 77};
  EXPECT_EQ(vorn_get_stat_info(nullptr, &info), 0u);
  EXPECT_EQ(info.value, 77u);  // other kinds are not answered
  info.kind = 0;
  EXPECT_EQ(vorn_get_stat_info(nullptr, &info), 0u);
  EXPECT_EQ(info.value, 0u);  // null handle: no event
  EXPECT_EQ(vorn_get_stat_info(nullptr, nullptr), 0u);
}

}  // namespace
