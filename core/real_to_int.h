// Conversions of doubles to 32-bit integers that stay defined for every input. A value that does not fit (or
// NaN) becomes INT32_MIN, the "integer indefinite" that the x86 conversion instructions produce, so results match
// what a plain cast gives on the library's 32-bit target wherever the cast is defined there.
#ifndef VORN_CORE_REAL_TO_INT_H
#define VORN_CORE_REAL_TO_INT_H

#include <math.h>
#include <stdint.h>

namespace vorn {

// Truncation toward zero.
inline int32_t trunc_i32(double v) {
  if (!(v > -2147483649.0 && v < 2147483648.0)) return INT32_MIN;
  return (int32_t)v;
}

inline int32_t floor_i32(double v) { return trunc_i32(floor(v)); }

// 32-bit wrap-around arithmetic, as the integer products and sums of the geometry are defined.
inline int32_t wrap_sub(int32_t a, int32_t b) { return (int32_t)((uint32_t)a - (uint32_t)b); }
inline int32_t wrap_add(int32_t a, int32_t b) { return (int32_t)((uint32_t)a + (uint32_t)b); }
inline int32_t wrap_mul(int32_t a, int32_t b) { return (int32_t)((uint32_t)a * (uint32_t)b); }

}  // namespace vorn

#endif
