#include "imgproc/diff_rows.h"

#include "core/cpu.h"
#include "imgproc/diff_rows_body.h"

namespace vorn {

const DiffRowKernels diff_rows_c = kDiffRows;

const DiffRowKernels &diff_row_kernels() {
  return (cpu_flags() & kCpuAvx2) ? diff_rows_avx2 : diff_rows_c;
}

}  // namespace vorn
