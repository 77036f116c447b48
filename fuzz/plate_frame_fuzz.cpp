// Frames of any content through the plate reader: every location, deskew, segmentation and classification path
// the pixels lead to stays inside its buffers, and a reading, when there is one, is well formed.
//
// Input: a 160 x 64 grey picture, row after row (missing bytes are 0), handed in as 24-bit bitmap rows.
#include <stdlib.h>
#include <string.h>

#include <vector>

#include "vorn.h"

namespace {

constexpr uint32_t kW = 160, kH = 64;

vorn_plate *reader() {
  static vorn_plate *r = [] {
    vorn_init();
    const vorn_plate_params p = {kW, kH, VORN_PLATE_WEIGHTS_DIR, 10, 40};
    vorn_plate *out = nullptr;
    if (vorn_plate_create(&p, &out) != VORN_OK) abort();
    return out;
  }();
  return r;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  std::vector<uint8_t> frame((size_t)kW * 3 * kH, 0);  // 480-byte rows need no padding
  for (size_t i = 0; i < size && i < (size_t)kW * kH; ++i) {
    const size_t y = i / kW, x = i % kW, at = (kH - 1 - y) * kW * 3 + x * 3;
    frame[at] = frame[at + 1] = frame[at + 2] = data[i];
  }
  vorn_plate *r = reader();
  const vorn_result res = vorn_plate_process(r, frame.data(), VORN_FRAME_BMP24);
  vorn_plate_info info;
  if (res == VORN_OK) {
    if (vorn_plate_get_info(r, &info) != VORN_OK || strlen(info.text) != VORN_PLATE_CHARS) abort();
    if (info.rect.left < 0 || info.rect.top < 0 || info.rect.right > (int32_t)kW || info.rect.bottom > (int32_t)kH)
      abort();
  } else if (res != VORN_E_NO_RESULT) {
    abort();
  }
  return 0;
}
