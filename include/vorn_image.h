/* vorn_image.h: planar images, mono images, geometry records, frame types and bitmap objects. */
#ifndef VORN_IMAGE_H
#define VORN_IMAGE_H

#include "vorn_core.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Colour models of a vorn_image. */
#define VORN_FORMAT_RGB 0u /* planes R, G, B */
#define VORN_FORMAT_YUV 1u /* planes Y (0..219), U, V (centred on 128) */
#define VORN_FORMAT_HSV 2u /* planes H (0..240), S, V */

/* Frame types of host buffers; any value above 4 is taken as 4. Byte layouts are in docs/formats.md. */
#define VORN_FRAME_BMP    0u /* a bitmap object (headers included) */
#define VORN_FRAME_BMP24  1u /* bottom-up B,G,R rows padded to 4 bytes */
#define VORN_FRAME_BMP32  2u /* bottom-up B,G,R,X rows */
#define VORN_FRAME_YUV422 3u /* packed Y0 U Y1 V, rows top-down, no padding */
#define VORN_FRAME_YUV420 4u /* planar Y, then U, then V (each a quarter of Y), rows top-down */

/* Three-plane colour image; each plane is width x height bytes, rows top-down, no padding. */
typedef struct vorn_image {
  uint32_t format;
  uint32_t width;
  uint32_t height;
  uint8_t *plane[3];
} vorn_image;

/* One-plane image; binary masks hold 0 and 255. Same record shape as vorn_matrix. */
typedef struct vorn_mono_image {
  uint32_t width;
  uint32_t height;
  uint8_t *data;
} vorn_mono_image;

/* Geometry: pixel coordinates, x to the right, y downwards. Rect right and bottom are exclusive. */
typedef struct vorn_point { int32_t x, y; } vorn_point;
typedef struct vorn_rect { int32_t left, top, right, bottom; } vorn_rect;
typedef struct vorn_line { int32_t x0, y0, x1, y1; } vorn_line;
typedef struct vorn_size { int32_t width, height; } vorn_size;

/* A bitmap object: one block holding a whole bitmap file (14-byte file header, 40-byte information header,
 * bottom-up pixel rows padded to 4 bytes). Its handle is the address of the file header's first byte, so it can
 * also be handed in as a frame of type VORN_FRAME_BMP. */
typedef struct vorn_bmp vorn_bmp;

/* --- images --- */
/* vorn_image_alloc: a zeroed image of the given size and format (the format is not checked), or NULL. */
VORN_API vorn_image *vorn_image_alloc(uint32_t width, uint32_t height, uint32_t format);
VORN_API void vorn_image_free(vorn_image *image);
/* vorn_image_copy: source first. VORN_E_PARAM when width, height or format differ. */
VORN_API vorn_result vorn_image_copy(const vorn_image *src, vorn_image *dst);
/* vorn_image_save_rgb: writes the planes as R, G, B into a 24-bit bitmap file. VORN_E_NULL (image or path),
 * VORN_E_PARAM (zero size, or a plane missing: the code this call has always given), VORN_E_NOMEM; 0 otherwise,
 * also when the file could not be written. */
VORN_API vorn_result vorn_image_save_rgb(const vorn_image *image, const char *path);

VORN_API vorn_mono_image *vorn_mono_image_alloc(uint32_t width, uint32_t height);
VORN_API void vorn_mono_image_free(vorn_mono_image *image);
/* vorn_mono_image_copy: destination first. VORN_E_NULL for a NULL record; VORN_E_PARAM when sizes differ or a
 * data pointer is NULL (this call has always answered a missing plane so). */
VORN_API vorn_result vorn_mono_image_copy(vorn_mono_image *dst, const vorn_mono_image *src);
/* vorn_mono_image_thin: does nothing; returns 0. */
VORN_API vorn_result vorn_mono_image_thin(void);

/* --- bitmaps --- */
/* vorn_bmp_prepare_header: fills a 14-byte file header and a 40-byte information header (the 44 bytes from the
 * information header's start are cleared first). Does nothing when either header is NULL. */
VORN_API void vorn_bmp_prepare_header(void *file_header, void *info_header, int32_t width, int32_t height,
                                      uint32_t bitcount);
/* vorn_bmp_alloc: a bitmap object with prepared headers and zeroed pixels, or NULL. */
VORN_API vorn_bmp *vorn_bmp_alloc(uint32_t width, uint32_t height, uint32_t bitcount);
VORN_API void vorn_bmp_free(void *p);
/* vorn_bmp_load: a 24- or 32-bit bottom-up bitmap file as a new bitmap object, or NULL. */
VORN_API vorn_bmp *vorn_bmp_load(const char *path);
/* vorn_bmp_save: writes the object's file-size bytes. VORN_E_NULL (bitmap or path), VORN_E_FILE, or 0. */
VORN_API vorn_result vorn_bmp_save(const vorn_bmp *bmp, const char *path);
VORN_API uint8_t *vorn_bmp_get_image(vorn_bmp *bmp);
VORN_API int32_t vorn_bmp_get_width(const vorn_bmp *bmp);
VORN_API int32_t vorn_bmp_get_height(const vorn_bmp *bmp);
VORN_API uint32_t vorn_bmp_get_bitcount(const vorn_bmp *bmp);
VORN_API uint32_t vorn_bmp_get_stride(const vorn_bmp *bmp);
/* vorn_bmp_is_valid: 1 when non-NULL, typed "BM", the low 16 bits of compression are 0, and 24 or 32 bits. */
VORN_API uint32_t vorn_bmp_is_valid(const vorn_bmp *bmp);

#ifdef __cplusplus
}
#endif

#endif /* VORN_IMAGE_H */
