// The frame-conversion table: one indexed call turns a host frame of any type into a planar image of any
// format. Background models, the detector and every other consumer of frames convert through it.
#ifndef VORN_COLOR_FRAME_TABLE_H
#define VORN_COLOR_FRAME_TABLE_H

#include <stdint.h>

#include "vorn_image.h"

namespace vorn {

typedef vorn_result (*FrameToImageFn)(const void *frame, vorn_image *img);

// Fills the table (rows: frame types 0..4; columns: image formats 0..3, the fourth empty). Called by vorn_init.
void init_frame_table();

// Converts `frame` into `img` through slot [min(frame_type, 4)][img->format]. VORN_E_NULL for a null image,
// VORN_E_PARAM for a format of 4 or more or an empty slot (before vorn_init every slot is empty); otherwise the
// result of the slot's converter.
vorn_result frame_to_image(const void *frame, uint32_t frame_type, vorn_image *img);

// The slot itself (null when empty or out of range), for callers that keep it per object.
FrameToImageFn frame_converter(uint32_t frame_type, uint32_t format);

}  // namespace vorn

#endif
