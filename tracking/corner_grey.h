// The grey plane that the corner detectors read from a colour image.
#ifndef VORN_TRACKING_CORNER_GREY_H
#define VORN_TRACKING_CORNER_GREY_H

#include "vorn_image.h"

namespace vorn {

// RGB: a new luma image (owned, released by corner_grey_release); YUV: plane 0; HSV: plane 2.
struct CornerGrey {
  const uint8_t *plane = nullptr;
  vorn_mono_image *owned = nullptr;
};

// VORN_OK, VORN_E_PARAM (unknown format), VORN_E_NULL (plane missing), VORN_E_NOMEM.
vorn_result corner_grey_get(const vorn_image *image, CornerGrey *grey);
void corner_grey_release(CornerGrey *grey);

}  // namespace vorn

#endif
