// Vector twins of the colour row kernels (avx2).
#include "color/convert_rows.h"

namespace vorn {

const ColorKernels *color_kernels_avx2() { return nullptr; }

}  // namespace vorn
