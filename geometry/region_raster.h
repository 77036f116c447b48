// Rasterising a region: every pixel of a frame tested against the polygon, with exactly the result of
// vorn_pt_in_region, but a column at a time.
#ifndef VORN_GEOMETRY_REGION_RASTER_H
#define VORN_GEOMETRY_REGION_RASTER_H

#include <stdint.h>

#include "vorn_image.h"

namespace vorn {

// out[y * stride + x] = value where vorn_pt_in_region({x, y}, points, count) is 1, else 0, for the width x height
// pixels.
void region_raster(const vorn_point *points, int32_t count, uint32_t width, uint32_t height, uint8_t *out,
                   uint32_t stride, uint8_t value);

}  // namespace vorn

#endif
