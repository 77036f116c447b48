// The difference row kernels built for AVX2 (this file is compiled with -mavx2).
#include "imgproc/diff_rows_body.h"

namespace vorn {

const DiffRowKernels diff_rows_avx2 = kDiffRows;

}  // namespace vorn
