// The library's own version, fixed when it was built (the header's macros come from the same project version).
#include "vorn_version.h"

extern "C" {

VORN_API uint32_t vorn_get_version(void) { return VORN_VERSION; }

}  // extern "C"
