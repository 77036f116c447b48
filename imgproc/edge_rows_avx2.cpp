// The edge row kernels built for AVX2 (this file is compiled with -mavx2).
#include "imgproc/edge_rows_body.h"

namespace vorn {

const EdgeRowKernels edge_rows_avx2 = kEdgeRows;

}  // namespace vorn
