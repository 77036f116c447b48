// Vector twins of the colour row kernels (sse41).
#include "color/convert_rows.h"

namespace vorn {

const ColorKernels *color_kernels_sse41() { return nullptr; }

}  // namespace vorn
