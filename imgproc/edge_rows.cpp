#include "imgproc/edge_rows.h"

#include "core/cpu.h"
#include "imgproc/edge_rows_body.h"

namespace vorn {

const EdgeRowKernels edge_rows_c = kEdgeRows;

const EdgeRowKernels &edge_row_kernels() {
  return (cpu_flags() & kCpuAvx2) ? edge_rows_avx2 : edge_rows_c;
}

}  // namespace vorn
