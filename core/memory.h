// Internal helpers over memory blocks: every object of the library is made through these so that the block
// layout, zeroing and allocation fault injection hold everywhere.
#ifndef VORN_CORE_MEMORY_H
#define VORN_CORE_MEMORY_H

#include <stddef.h>
#include <stdint.h>

#include "vorn_core.h"

namespace vorn {

// A zeroed block of n usable bytes, or nullptr. Sizes above 32 bits (or that would overflow the underlying
// request) fail like any allocation.
void *block_alloc(size_t n);

// A zeroed block of count elements of T (count * sizeof(T) bytes, overflow-checked), or nullptr.
template <class T>
inline T *block_new(size_t count = 1) {
  if (count != 0 && sizeof(T) > SIZE_MAX / count) return nullptr;
  return static_cast<T *>(block_alloc(count * sizeof(T)));
}

// Frees *p (a block or null) and clears the pointer.
template <class T>
inline void block_release(T *&p) {
  vorn_free(const_cast<void *>(static_cast<const void *>(p)));
  p = nullptr;
}

// width * height as a byte count, or 0 with ok = false when it does not fit the 32-bit size of a block.
inline bool area_u32(uint32_t width, uint32_t height, uint32_t *out) {
  uint64_t n = (uint64_t)width * height;
  if (n > 0xFFFFFFFFull) return false;
  *out = (uint32_t)n;
  return true;
}

}  // namespace vorn

#endif
