// Occupancy of one row of 4 x 4 cells: a cell is 255 when more than 12 of its 16 mask pixels are non-zero.
#ifndef VORN_OBJECTS_CELL_ROWS_H
#define VORN_OBJECTS_CELL_ROWS_H

#include <stdint.h>

namespace vorn {

// rows: the cell row's four mask rows (4 * count bytes each); cells: count bytes out.
typedef uint32_t (*cell_row_fn)(const uint8_t *const rows[4], uint8_t *cells, uint32_t count);

// Scalar rule; returns count.
uint32_t cell_row_c(const uint8_t *const rows[4], uint8_t *cells, uint32_t count);
// SSE2 twin: handles count & ~15 cells and returns how many.
uint32_t cell_row_sse2(const uint8_t *const rows[4], uint8_t *cells, uint32_t count);

// The family's table: the vector kernel handles a prefix of the cells and returns how many (null: none); the
// plain rule finishes the row.
struct CellRowKernels {
  cell_row_fn occupancy;
};
// The table for this CPU (honours cpu_set_mask).
const CellRowKernels &cell_row_kernels();

}  // namespace vorn

#endif
