// Reads typed values off a fuzz input; past its end every value is 0.
#ifndef VORN_FUZZ_INPUT_H
#define VORN_FUZZ_INPUT_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

namespace vorn_fuzz {

class Input {
 public:
  Input(const uint8_t *data, size_t size) : p_(data), n_(size) {}

  uint8_t u8() { return n_ ? (--n_, *p_++) : 0; }
  uint32_t u32() {
    uint32_t v = 0;
    for (int i = 0; i < 4; ++i) v |= (uint32_t)u8() << (8 * i);
    return v;
  }
  int32_t i32() { return (int32_t)u32(); }
  // A value in lo .. hi.
  uint32_t range(uint32_t lo, uint32_t hi) { return lo + u8() % (hi - lo + 1); }
  // A coordinate: mostly near the frame, sometimes anywhere in 32 bits.
  int32_t coord(int32_t span) {
    const uint8_t kind = u8();
    if (kind < 16) return i32();
    return (int32_t)(u8() % (uint32_t)(2 * span + 1)) - span / 2;
  }
  // Fills n bytes from the input (the rest 0).
  void bytes(uint8_t *out, size_t n) {
    const size_t k = n < n_ ? n : n_;
    if (k) memcpy(out, p_, k);
    if (n > k) memset(out + k, 0, n - k);
    p_ += k;
    n_ -= k;
  }
  size_t left() const { return n_; }

 private:
  const uint8_t *p_;
  size_t n_;
};

}  // namespace vorn_fuzz

#endif
