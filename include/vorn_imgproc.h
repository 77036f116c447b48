/* vorn_imgproc.h: differencing and thresholding, the Otsu threshold, morphology on binary masks.
 *
 * Operations write into images the caller owns and allocate nothing (unless stated). Binary masks hold 0 and
 * 255. Size and format checks run before anything is written. */
#ifndef VORN_IMGPROC_H
#define VORN_IMGPROC_H

#include "vorn_image.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Plane selector of the three-plane operations: VORN_PLANE_ALL for planes 0, 1, 2 in turn; any other value v
 * selects plane min(v, 2). */
#define VORN_PLANE_ALL 0xFFFFFFFFu

/* --- differencing and thresholding ---
 * Thresholds t are signed: a pixel becomes 255 when its (non-negative) value is >= t, else 0. So t <= 0 gives
 * an all-255 result and t > 255 an all-0 one.
 * Returns 0, VORN_E_PARAM when the operands differ in width, height (or format for vorn_image), VORN_E_NULL for a
 * null record. Nothing is written on failure. */

/* vorn_image_diff: out = |a - b| on the selected planes.  a, b in; out out; same size and format. */
VORN_API vorn_result vorn_image_diff(const vorn_image *a, const vorn_image *b, vorn_image *out, uint32_t plane);
/* vorn_image_diff_binary: out = |a - b| < t ? 0 : 255 on the selected planes. */
VORN_API vorn_result vorn_image_diff_binary(const vorn_image *a, const vorn_image *b, vorn_image *out,
                                            uint32_t plane, int32_t t);
/* vorn_image_binary: dst = src < t ? 0 : 255 on the selected planes. */
VORN_API vorn_result vorn_image_binary(const vorn_image *src, vorn_image *dst, uint32_t plane, int32_t t);
/* vorn_mono_image_diff: out = |a - b|. */
VORN_API vorn_result vorn_mono_image_diff(const vorn_mono_image *a, const vorn_mono_image *b,
                                          vorn_mono_image *out);
/* vorn_mono_image_diff_binary: out = |a - b| < t ? 0 : 255. */
VORN_API vorn_result vorn_mono_image_diff_binary(const vorn_mono_image *a, const vorn_mono_image *b,
                                                 vorn_mono_image *out, int32_t t);
/* vorn_mono_image_binary: dst = src < t ? 0 : 255. */
VORN_API vorn_result vorn_mono_image_binary(const vorn_mono_image *src, vorn_mono_image *dst, int32_t t);
/* vorn_image_diff_binary_to_mono_image: d = |a0-b0| + |a1-b1| + |a2-b2| summed over the three planes;
 * out = d < L ? 0 : 255 with L = (int32)(3 * t) / 2 (t = 40 gives 60, t = 15 gives 22).
 *   a, b in, same size and format;  out out, same width and height as a. */
VORN_API vorn_result vorn_image_diff_binary_to_mono_image(const vorn_image *a, const vorn_image *b,
                                                          vorn_mono_image *out, uint32_t t);
/* vorn_mono_image_xor: out = a ^ b bytewise. On a size mismatch out is cleared to 0 (as far as its own size goes)
 * before VORN_E_PARAM is returned. */
VORN_API vorn_result vorn_mono_image_xor(const vorn_mono_image *a, const vorn_mono_image *b,
                                         vorn_mono_image *out);
/* vorn_mono_image_otsu_threshold: the Otsu level of the interior of r (r shrunk by one pixel on every side);
 * between 0 and 254, 1 when no level separates two classes. The rectangle should lie inside the image; the
 * part of the interior outside it is not counted. Returns the threshold, not a result code (1 for null). */
VORN_API int32_t vorn_mono_image_otsu_threshold(const vorn_mono_image *img, const vorn_rect *r);

/* --- morphology on 0/255 masks ---
 * A size n means the (2n+1) x (2n+1) window centred on the pixel. In dst, the band of n pixels along the image
 * border is 0, and so is every pixel whose byte in `mask` (the region) is 0. Inside, a pixel is:
 *   erosion:  255 when every source pixel of its window is non-zero;
 *   dilation: 255 when any source pixel of its window is non-zero;
 *   window:   255 when at least K = ((150n + 75)(2n + 1)) / 100 source pixels of its window are non-zero
 *             (three quarters of the window, rounded down: 6 of 9, 18 of 25, 36 of 49; n = 0 gives 255).
 *   src in; dst out, a different image of the same size; mask in, same size as src.
 * Returns 0, VORN_E_PARAM when src and dst (or mask) differ in size, VORN_E_NULL for a null record.
 * Cost per pixel does not grow with n (erosion and dilation: only with log n). */
VORN_API vorn_result vorn_morpha_erosion(const vorn_mono_image *src, vorn_mono_image *dst, uint32_t n,
                                         const vorn_mono_image *mask);
VORN_API vorn_result vorn_morpha_dilation(const vorn_mono_image *src, vorn_mono_image *dst, uint32_t n,
                                          const vorn_mono_image *mask);
VORN_API vorn_result vorn_morpha_window(const vorn_mono_image *src, vorn_mono_image *dst, uint32_t n,
                                        const vorn_mono_image *mask);

#ifdef __cplusplus
}
#endif

#endif /* VORN_IMGPROC_H */
