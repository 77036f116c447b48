// Internal view of bitmap objects for the converters: where the pixels are and how rows are laid out.
#ifndef VORN_CORE_BITMAP_H
#define VORN_CORE_BITMAP_H

#include <stdint.h>

#include "vorn_image.h"

namespace vorn {

constexpr uint32_t kBmpFileHeaderBytes = 14;
constexpr uint32_t kBmpInfoHeaderBytes = 40;
constexpr uint32_t kBmpHeaderBytes = kBmpFileHeaderBytes + kBmpInfoHeaderBytes;

// Bytes per stored row: ((width * bitcount + 31) / 32) * 4 with signed (truncating) division.
inline int64_t bmp_stride(int64_t width, int64_t bitcount) { return ((width * bitcount + 31) / 32) * 4; }

struct BmpView {
  uint8_t *pixels;  // first byte of the bottom stored row
  int32_t width;
  int32_t height;
  uint32_t bitcount;
  uint32_t stride;
};

// Reads the headers of a bitmap object (handle = first byte of its file header).
BmpView bmp_view(const vorn_bmp *bmp);

}  // namespace vorn

#endif
