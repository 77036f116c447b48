/* vorn_color.h: colour-model conversions of planar images, frame conversions, quarter-size reduction, cropping
 * and rectangle drawing.
 *
 * Colour models: RGB planes 0..255; YUV with Y 0..219 (black 0, white 219, no offset of 16) and U, V centred on
 * 128; HSV with H 0..240 (40 per sixth of the circle, pure red is 240), S and V 0..255. RGB <-> YUV uses fixed
 * lookup tables built by vorn_init (or vorn_init_colorspace); before that every table-driven result is 0.
 *
 * Image conversions take the source first. They check the formats named in their comment and that the
 * sizes are equal, and return VORN_E_PARAM (nothing written) on a mismatch, VORN_E_NULL for a null image. */
#ifndef VORN_COLOR_H
#define VORN_COLOR_H

#include "vorn_image.h"

#ifdef __cplusplus
extern "C" {
#endif

/* vorn_init_colorspace: (re)builds the colour lookup tables. vorn_init calls it. */
VORN_API void vorn_init_colorspace(void);

/* --- planar colour models (same sizes; formats as named) --- */
/* RGB -> YUV; Y rounded to nearest, U and V truncated. */
VORN_API vorn_result vorn_image_rgb_to_yuv(const vorn_image *src, vorn_image *dst);
VORN_API vorn_result vorn_image_yuv_to_rgb(const vorn_image *src, vorn_image *dst);
/* RGB -> luma plane; Y truncated (one below vorn_image_rgb_to_yuv where the fraction is a half or more). */
VORN_API vorn_result vorn_image_rgb_to_y(const vorn_image *src, vorn_mono_image *dst);
/* mono -> RGB: the mono bytes copied unchanged into all three planes. */
VORN_API vorn_result vorn_image_y_to_rgb(const vorn_mono_image *src, vorn_image *dst);
VORN_API vorn_result vorn_image_rgb_to_hsv(const vorn_image *src, vorn_image *dst);
/* HSV -> RGB; hues of 240 and above take the last sector, so (240, S, V) comes back magenta. */
VORN_API vorn_result vorn_image_hsv_to_rgb(const vorn_image *src, vorn_image *dst);
VORN_API vorn_result vorn_image_yuv_to_hsv(const vorn_image *src, vorn_image *dst);
VORN_API vorn_result vorn_image_hsv_to_yuv(const vorn_image *src, vorn_image *dst);
/* The H plane of RGB -> HSV (or YUV -> RGB -> HSV) into a mono image. */
VORN_API vorn_result vorn_image_rgb_to_h(const vorn_image *src, vorn_mono_image *dst);
VORN_API vorn_result vorn_image_yuv_to_h(const vorn_image *src, vorn_mono_image *dst);
/* vorn_image_test_hsv: does nothing; returns 0. */
VORN_API vorn_result vorn_image_test_hsv(void);

/* --- frames into images ---
 * Frame layouts are in docs/formats.md. Bitmap rows are bottom-up B, G, R (, unused); 4:2:2 rows are Y0 U Y1 V;
 * a 4:2:0 frame is Y, U, V planes with image row r using chroma row (r + 1) / 2, so the last row of an even
 * height reads chroma row h / 2 (for U the first row of V; for V, bytes past w * h * 3 / 2 are not read and
 * the last V row is used instead).
 * The bitmap-object members check 24 or 32 bits, the bitmap's size against the image's, and the image format
 * (VORN_E_PARAM, nothing written). The raw members trust the buffer and use the image's size. */
VORN_API vorn_result vorn_image_bmp_to_rgb(const vorn_bmp *bmp, vorn_image *img);
/* Y rounded to nearest (the only frame conversions that round Y). */
VORN_API vorn_result vorn_image_bmp_to_yuv(const vorn_bmp *bmp, vorn_image *img);
VORN_API vorn_result vorn_image_bmp_to_hsv(const vorn_bmp *bmp, vorn_image *img);
VORN_API vorn_result vorn_image_bmp24_to_rgb(const uint8_t *rows, vorn_image *img);
VORN_API vorn_result vorn_image_bmp24_to_yuv(const uint8_t *rows, vorn_image *img);
VORN_API vorn_result vorn_image_bmp24_to_hsv(const uint8_t *rows, vorn_image *img);
VORN_API vorn_result vorn_image_bmp32_to_rgb(const uint8_t *rows, vorn_image *img);
VORN_API vorn_result vorn_image_bmp32_to_yuv(const uint8_t *rows, vorn_image *img);
VORN_API vorn_result vorn_image_bmp32_to_hsv(const uint8_t *rows, vorn_image *img);
VORN_API vorn_result vorn_image_yuv422_to_rgb(const uint8_t *frame, vorn_image *img);
/* Y plane from each pixel's Y; both chroma planes from the pair's V byte (the U byte is not read). */
VORN_API vorn_result vorn_image_yuv422_to_yuv(const uint8_t *frame, vorn_image *img);
VORN_API vorn_result vorn_image_yuv422_to_hsv(const uint8_t *frame, vorn_image *img);
VORN_API vorn_result vorn_image_yuv420_to_rgb(const uint8_t *frame, vorn_image *img);
/* Samples copied unchanged. */
VORN_API vorn_result vorn_image_yuv420_to_yuv(const uint8_t *frame, vorn_image *img);
VORN_API vorn_result vorn_image_yuv420_to_hsv(const uint8_t *frame, vorn_image *img);

/* --- images into frames ---
 * YUV frames receive the truncated Y; chroma comes from the odd pixel of each pair (in 4:2:0 also from odd
 * rows only: odd row r writes chroma row (r + 1) / 2, chroma row 0 is never written). */
VORN_API vorn_result vorn_image_rgb_to_bmp(const vorn_image *img, vorn_bmp *bmp);
VORN_API vorn_result vorn_image_yuv_to_bmp(const vorn_image *img, vorn_bmp *bmp);
VORN_API vorn_result vorn_image_hsv_to_bmp(const vorn_image *img, vorn_bmp *bmp);
VORN_API vorn_result vorn_image_rgb_to_bmp24(const vorn_image *img, uint8_t *rows);
VORN_API vorn_result vorn_image_rgb_to_bmp32(const vorn_image *img, uint8_t *rows);
VORN_API vorn_result vorn_image_yuv_to_bmp24(const vorn_image *img, uint8_t *rows);
VORN_API vorn_result vorn_image_yuv_to_bmp32(const vorn_image *img, uint8_t *rows);
VORN_API vorn_result vorn_image_hsv_to_bmp24(const vorn_image *img, uint8_t *rows);
VORN_API vorn_result vorn_image_hsv_to_bmp32(const vorn_image *img, uint8_t *rows);
VORN_API vorn_result vorn_image_rgb_to_yuv422(const vorn_image *img, uint8_t *frame);
VORN_API vorn_result vorn_image_yuv_to_yuv422(const vorn_image *img, uint8_t *frame);
VORN_API vorn_result vorn_image_hsv_to_yuv422(const vorn_image *img, uint8_t *frame);
VORN_API vorn_result vorn_image_rgb_to_yuv420(const vorn_image *img, uint8_t *frame);
VORN_API vorn_result vorn_image_yuv_to_yuv420(const vorn_image *img, uint8_t *frame);
VORN_API vorn_result vorn_image_hsv_to_yuv420(const vorn_image *img, uint8_t *frame);

/* --- bitmaps and YUV frames directly ---
 * The workers take the bitmap's pixel rows, the YUV frame, its width, height and bit count, check nothing and
 * return 0. The YUV frame is walked bottom-up against the bitmap; in 4:2:0 image row r uses chroma row r / 2.
 * The vorn_ members check the bitmap's bit count (24 or 32, else VORN_E_PARAM). */
VORN_API vorn_result image_bmp_to_yuv422(const uint8_t *src, uint8_t *dst, uint32_t width, uint32_t height,
                                         uint32_t bits);
VORN_API vorn_result image_yuv422_to_bmp(const uint8_t *src, uint8_t *dst, uint32_t width, uint32_t height,
                                         uint32_t bits);
VORN_API vorn_result image_bmp_to_yuv420(const uint8_t *src, uint8_t *dst, uint32_t width, uint32_t height,
                                         uint32_t bits);
VORN_API vorn_result image_yuv420_to_bmp(const uint8_t *src, uint8_t *dst, uint32_t width, uint32_t height,
                                         uint32_t bits);
VORN_API vorn_result vorn_image_bmp_to_yuv422(const vorn_bmp *bmp, uint8_t *frame);
VORN_API vorn_result vorn_image_yuv422_to_bmp(const uint8_t *frame, vorn_bmp *bmp);
VORN_API vorn_result vorn_image_bmp_to_yuv420(const vorn_bmp *bmp, uint8_t *frame);
VORN_API vorn_result vorn_image_yuv420_to_bmp(const uint8_t *frame, vorn_bmp *bmp);
/* Truncated luma of a 24- or 32-bit bitmap of the mono image's size, rows flipped (VORN_E_PARAM otherwise). */
VORN_API vorn_result vorn_image_bmp_to_mono(const vorn_bmp *bmp, vorn_mono_image *mono);
/* B = G = R = the mono byte, rows flipped; same checks. */
VORN_API vorn_result vorn_image_mono_to_bmp(const vorn_mono_image *mono, vorn_bmp *bmp);
/* vorn_image_yv14_to_yuv420: a yv14 frame (Y, V, U) into 4:2:0 order. With dst, the frame is copied there;
 * without, the chroma planes of src are swapped in place through scratch (w * h / 4 bytes) or, when scratch is
 * NULL, a block made for the call. VORN_E_PARAM for a NULL src or an empty size; VORN_E_NOMEM. */
VORN_API vorn_result vorn_image_yv14_to_yuv420(uint8_t *src, uint8_t *dst, uint8_t *scratch, uint32_t width,
                                               uint32_t height);

/* --- quarter size, cropping, drawing ---
 * Decimation only: output pixel (x, y) is input pixel (2x, 2y) unless stated. w, h are the source's size. The
 * raw members trust their buffers to be as long as w and h say (a NULL buffer is VORN_E_NULL). */
/* dst w / 2 x h / 2, same format (else VORN_E_PARAM). Destination row y comes from source row 3y; rows past
 * the source repeat its last row. */
VORN_API vorn_result vorn_image_quater(const vorn_image *src, vorn_image *dst);
/* Bitmap objects: src twice dst's size, equal bit counts of 24 or 32 (else VORN_E_PARAM); B, G, R copied. */
VORN_API vorn_result vorn_image_bmp_quater(const vorn_bmp *src, vorn_bmp *dst);
/* Raw 24-bit rows of w x h into rows of w / 2 x h / 2. */
VORN_API vorn_result vorn_image_bmp24_quater(const uint8_t *src, uint8_t *dst, uint32_t width, uint32_t height);
/* Raw 32-bit pixels, but rows stepped by 24-bit strides: per output row the source moves by twice the 24-bit
 * stride of w pixels and the destination by the 24-bit stride of w / 2 pixels. */
VORN_API vorn_result vorn_image_bmp32_quater(const uint8_t *src, uint8_t *dst, uint32_t width, uint32_t height);
/* 4:2:2 of w x h into 4:2:2 of w / 2 x h / 2: source pixels 0..3 of each group give Y0 U Y2 V. */
VORN_API vorn_result vorn_image_yuv422_quater(const uint8_t *src, uint8_t *dst, uint32_t width, uint32_t height);
/* 4:2:0 into 4:2:0 of w / 2 x h / 2; the chroma planes only when h >= 4. */
VORN_API vorn_result vorn_image_yuv420_quater(const uint8_t *src, uint8_t *dst, uint32_t width, uint32_t height);
/* 4:2:0 (or yv14, chroma planes V then U) into a YUV image of w / 2 x h / 2 (else VORN_E_PARAM): Y decimated,
 * the chroma planes copied whole. */
VORN_API vorn_result vorn_image_yuv420_to_yuv_quater(const uint8_t *src, vorn_image *dst, int32_t width,
                                                     uint32_t height);
VORN_API vorn_result vorn_image_yv14_to_yuv_quater(const uint8_t *src, vorn_image *dst, int32_t width,
                                                   uint32_t height);
/* 4:2:2 into a YUV image of w / 2 x h / 2: output pixel x of row y is source pair x of row 2y (first Y, U, V). */
VORN_API vorn_result vorn_image_yuv422_to_yuv_quater(const uint8_t *src, vorn_image *dst, uint32_t width,
                                                     uint32_t height);
/* vorn_image_rect: a new image holding the part of image inside rect (clamped to the image), or NULL when that
 * part is empty or memory runs out. Free it with vorn_image_free. */
VORN_API vorn_image *vorn_image_rect(const vorn_image *image, vorn_rect rect);
/* vorn_image_point: copies into dst the region of src whose top-left corner is (x, y) and whose size is dst's.
 * The region may hang over src's edges but must overlap it, and the formats must match (else VORN_E_PARAM);
 * dst pixels outside src are left unchanged. */
VORN_API vorn_result vorn_image_point(const vorn_image *src, vorn_image *dst, int32_t x, int32_t y);
/* vorn_mono_image_draw_rect: sets to 255 rows top and bottom - 1 (columns left .. right - 1) and columns left
 * and right (rows top .. bottom - 1) of the rect clipped to the image; the right edge is one column outside the
 * rect and is skipped when it falls outside the image. VORN_E_PARAM when the rect misses the image. */
VORN_API vorn_result vorn_mono_image_draw_rect(vorn_mono_image *mono, const vorn_rect *rect);

#ifdef __cplusplus
}
#endif

#endif /* VORN_COLOR_H */
