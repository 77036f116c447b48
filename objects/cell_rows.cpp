// Occupancy of 4 x 4 cells, scalar rule and kernel choice.
#include "objects/cell_rows.h"

#include "core/cpu.h"

namespace vorn {

uint32_t cell_row_c(const uint8_t *const rows[4], uint8_t *cells, uint32_t count) {
  for (uint32_t c = 0; c < count; ++c) {
    uint32_t set = 0;
    for (int r = 0; r < 4; ++r) {
      for (int k = 0; k < 4; ++k) set += rows[r][4 * c + k] != 0;
    }
    cells[c] = set > (16u * 3) >> 2 ? 255 : 0;
  }
  return count;
}

const CellRowKernels &cell_row_kernels() {
  static const CellRowKernels plain = {nullptr};
#if defined(__SSE2__) || defined(_M_X64)
  static const CellRowKernels sse2 = {cell_row_sse2};
  if (cpu_flags() & kCpuSse2) return sse2;
#endif
  return plain;
}

}  // namespace vorn
