// Bitmap objects: a whole bitmap file (file header, information header, bottom-up rows) in one block.
#include <stdio.h>
#include <string.h>

#include "core/bitmap.h"
#include "core/bytes.h"
#include "core/memory.h"

namespace vorn {
namespace {

// Field offsets from the start of the object.
constexpr uint32_t kType = 0, kFileSize = 2, kPixelOffset = 10;
constexpr uint32_t kWidth = 18, kHeight = 22, kBitCount = 28, kCompression = 30;
constexpr uint16_t kMagicBM = 0x4D42;

const uint8_t *bytes(const vorn_bmp *bmp) { return reinterpret_cast<const uint8_t *>(bmp); }

// Usable size of a block, from its size word.
size_t block_size(const void *p) { return (size_t) reinterpret_cast<uintptr_t const *>(p)[-2]; }

}  // namespace

BmpView bmp_view(const vorn_bmp *bmp) {
  const uint8_t *b = bytes(bmp);
  BmpView v;
  v.pixels = const_cast<uint8_t *>(b) + load_le32(b + kPixelOffset);
  v.width = (int32_t)load_le32(b + kWidth);
  v.height = (int32_t)load_le32(b + kHeight);
  v.bitcount = load_le16(b + kBitCount);
  v.stride = (uint32_t)bmp_stride(v.width, v.bitcount);
  return v;
}

}  // namespace vorn

using namespace vorn;

extern "C" {

VORN_API void vorn_bmp_prepare_header(void *file_header, void *info_header, int32_t width, int32_t height,
                                      uint32_t bitcount) {
  if (!file_header || !info_header) return;
  uint8_t *fh = static_cast<uint8_t *>(file_header);
  uint8_t *ih = static_cast<uint8_t *>(info_header);
  uint32_t pixel_bytes = (uint32_t)(bmp_stride(width, (int32_t)bitcount) * height);
  // A caller's information header is 40 bytes; inside a bitmap object the pixels that follow it are zeroed by
  // the allocation already.
  memset(ih, 0, kBmpInfoHeaderBytes);
  store_le16(fh + 0, kMagicBM);
  store_le32(fh + 2, pixel_bytes + kBmpHeaderBytes);
  store_le16(fh + 6, 0);
  store_le16(fh + 8, 0);
  store_le32(fh + 10, kBmpHeaderBytes);
  store_le32(ih + 0, kBmpInfoHeaderBytes);
  store_le32(ih + 4, (uint32_t)width);
  store_le32(ih + 8, (uint32_t)height);
  store_le16(ih + 12, 1);
  store_le16(ih + 14, (uint16_t)bitcount);
  store_le32(ih + 20, pixel_bytes);
}

VORN_API vorn_bmp *vorn_bmp_alloc(uint32_t width, uint32_t height, uint32_t bitcount) {
  int64_t stride = bmp_stride((int32_t)width, (int32_t)bitcount);
  int64_t total = stride * (int64_t)(int32_t)height + kBmpHeaderBytes;
  if (stride < 0 || (int32_t)height < 0 || total > 0xFFFFFFFFll) return nullptr;
  uint8_t *b = block_new<uint8_t>((size_t)total);
  if (!b) return nullptr;
  vorn_bmp_prepare_header(b, b + kBmpFileHeaderBytes, (int32_t)width, (int32_t)height, bitcount);
  return reinterpret_cast<vorn_bmp *>(b);
}

VORN_API void vorn_bmp_free(void *p) { vorn_free(p); }

VORN_API vorn_bmp *vorn_bmp_load(const char *path) {
  if (!path) return nullptr;
  FILE *f = fopen(path, "r+b");
  if (!f) return nullptr;
  vorn_bmp *bmp = nullptr;
  uint8_t hdr[kBmpHeaderBytes];
  long size = -1;
  if (fseek(f, 0, SEEK_END) == 0) size = ftell(f);
  if (size >= (long)kBmpHeaderBytes && fseek(f, 0, SEEK_SET) == 0 &&
      fread(hdr, 1, kBmpHeaderBytes, f) == kBmpHeaderBytes && load_le16(hdr + kType) == kMagicBM) {
    int32_t width = (int32_t)load_le32(hdr + kWidth);
    int32_t height = (int32_t)load_le32(hdr + kHeight);
    uint32_t bits = load_le16(hdr + kBitCount);
    uint32_t offset = load_le32(hdr + kPixelOffset);
    // Top-down (negative height) and negative widths have no bitmap object shape. The pixels must lie in the
    // file; the size test divides so that no product of header fields can overflow.
    const int64_t avail = (int64_t)size - (int64_t)offset;
    if ((bits == 24 || bits == 32) && width >= 0 && height >= 0 && avail >= 0) {
      const int64_t stride = bmp_stride(width, bits);
      const int64_t pixel_bytes = height == 0 || stride <= avail / height ? stride * height : -1;
      if (pixel_bytes >= 0 && fseek(f, (long)offset, SEEK_SET) == 0) {
        bmp = vorn_bmp_alloc((uint32_t)width, (uint32_t)height, bits);
        if (bmp && fread(vorn_bmp_get_image(bmp), 1, (size_t)pixel_bytes, f) != (size_t)pixel_bytes) {
          vorn_bmp_free(bmp);
          bmp = nullptr;
        }
      }
    }
  }
  fclose(f);
  return bmp;
}

VORN_API vorn_result vorn_bmp_save(const vorn_bmp *bmp, const char *path) {
  if (!bmp || !path) return VORN_E_NULL;
  FILE *f = fopen(path, "w+b");
  if (!f) return VORN_E_FILE;
  size_t n = load_le32(bytes(bmp) + kFileSize);
  // The header could have been edited by the host; never write past the object.
  size_t cap = block_size(bmp);
  if (n > cap) n = cap;
  fwrite(bmp, 1, n, f);
  fclose(f);
  return VORN_OK;
}

VORN_API uint8_t *vorn_bmp_get_image(vorn_bmp *bmp) {
  if (!bmp) return nullptr;
  return reinterpret_cast<uint8_t *>(bmp) + load_le32(bytes(bmp) + kPixelOffset);
}

VORN_API int32_t vorn_bmp_get_width(const vorn_bmp *bmp) {
  return bmp ? (int32_t)load_le32(bytes(bmp) + kWidth) : 0;
}

VORN_API int32_t vorn_bmp_get_height(const vorn_bmp *bmp) {
  return bmp ? (int32_t)load_le32(bytes(bmp) + kHeight) : 0;
}

VORN_API uint32_t vorn_bmp_get_bitcount(const vorn_bmp *bmp) {
  return bmp ? load_le16(bytes(bmp) + kBitCount) : 0;
}

VORN_API uint32_t vorn_bmp_get_stride(const vorn_bmp *bmp) {
  return bmp ? (uint32_t)bmp_stride(vorn_bmp_get_width(bmp), (int32_t)vorn_bmp_get_bitcount(bmp)) : 0;
}

VORN_API uint32_t vorn_bmp_is_valid(const vorn_bmp *bmp) {
  if (!bmp) return 0;
  const uint8_t *b = bytes(bmp);
  uint32_t bits = load_le16(b + kBitCount);
  return load_le16(b + kType) == kMagicBM && load_le16(b + kCompression) == 0 && (bits == 24 || bits == 32);
}

VORN_API vorn_result vorn_image_save_rgb(const vorn_image *image, const char *path) {
  if (!image || !path) return VORN_E_NULL;
  if (image->width == 0 || image->height == 0) return VORN_E_PARAM;
  if (!image->plane[0] || !image->plane[1] || !image->plane[2]) return VORN_E_PARAM;
  vorn_bmp *bmp = vorn_bmp_alloc(image->width, image->height, 24);
  if (!bmp) return VORN_E_NOMEM;
  BmpView v = bmp_view(bmp);
  const uint32_t w = image->width, h = image->height;
  for (uint32_t y = 0; y < h; ++y) {
    uint8_t *row = v.pixels + (size_t)(h - 1 - y) * v.stride;
    const uint8_t *r = image->plane[0] + (size_t)y * w;
    const uint8_t *g = image->plane[1] + (size_t)y * w;
    const uint8_t *b = image->plane[2] + (size_t)y * w;
    for (uint32_t x = 0; x < w; ++x) {
      row[3 * x + 0] = b[x];
      row[3 * x + 1] = g[x];
      row[3 * x + 2] = r[x];
    }
  }
  vorn_bmp_save(bmp, path);
  vorn_bmp_free(bmp);
  return VORN_OK;
}

}  // extern "C"
