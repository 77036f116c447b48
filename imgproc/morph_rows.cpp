#include "imgproc/morph_rows.h"

#include "core/cpu.h"
#include "imgproc/morph_rows_body.h"

namespace vorn {

const MorphRowKernels morph_rows_c = kMorphRows;

const MorphRowKernels &morph_row_kernels() {
  return (cpu_flags() & kCpuAvx2) ? morph_rows_avx2 : morph_rows_c;
}

}  // namespace vorn
