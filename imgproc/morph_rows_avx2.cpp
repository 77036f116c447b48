// The morphology row kernels built for AVX2 (this file is compiled with -mavx2).
#include "imgproc/morph_rows_body.h"

namespace vorn {

const MorphRowKernels morph_rows_avx2 = kMorphRows;

}  // namespace vorn
