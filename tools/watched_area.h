// The part of the picture an analytic watches: a polygon (--region) or a mask image (--mask), so that a swaying
// tree or a road beside the area of interest raises nothing.
#ifndef VORN_TOOLS_WATCHED_AREA_H
#define VORN_TOOLS_WATCHED_AREA_H

#include <cstdint>
#include <vector>

#include "analytic_registry.h"

namespace vt {

// The two settings, for the entries that take them.
SettingDef region_setting();
SettingDef mask_setting();

// Checks that at most one is given and that a region lies inside the frame. Throws a usage error.
void validate_watched_area(const AnalyticSettings &settings, int width, int height);

// Outlines a watched region (a mask image is not drawn).
void draw_watched_region(Canvas &canvas, const AnalyticSettings &settings);

// width x height bytes, 255 where the picture is watched and 0 elsewhere; empty when neither setting is given
// (the whole picture is watched). A region is rasterised with the library's point-in-polygon rule; a mask image
// (any format FFmpeg reads, of the frame's size) is watched where it is not black. Throws a runtime error when
// the image cannot be read or has another size.
std::vector<uint8_t> watched_area(const AnalyticSettings &settings, int width, int height);

}  // namespace vt

#endif
