/* vorn_imgproc.h: differencing and thresholding, the Otsu threshold, morphology on binary masks, shadow and
 * scene-cut detection, edges.
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
/* vorn_mono_image_xor: out = a ^ b bytewise. */
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

/* --- shadows and scene cuts --- */

/* vorn_image_shadow_detect / vorn_image_shadow_detect_simple: clear the foreground pixels of fg that look like a
 * cast shadow of the background: darker than bk in luminance, with chroma and horizontal texture close to bk's.
 * Only interior pixels (not on the image border) are changed.
 *   fg in/out, mask;  bk in, background;  cur in, current frame (same format as bk).
 * Luminance and chroma planes follow bk's format: YUV uses planes 0 / 1, 2; HSV planes 2 / 0, 1; RGB images are
 * first converted to temporary YUV images whose planes are then read at the HSV positions (2 / 0, 1).
 * Returns 0, VORN_E_PARAM (sizes or formats differ), VORN_E_NOMEM (temporary images), VORN_E_NULL. */
VORN_API vorn_result vorn_image_shadow_detect(vorn_mono_image *fg, const vorn_image *bk, const vorn_image *cur);
VORN_API vorn_result vorn_image_shadow_detect_simple(vorn_mono_image *fg, const vorn_image *bk,
                                                     const vorn_image *cur);
/* vorn_image_scenecut_detect: VORN_E_SCENE_CHANGE when more than three quarters of the pixels changed, a pixel
 * having changed when |c0-r0| + |c1-r1| + |c2-r2| >= (int32)(3t) / 2; else 0. VORN_E_PARAM when size or format
 * differ, VORN_E_NULL for a null image. */
VORN_API vorn_result vorn_image_scenecut_detect(const vorn_image *cur, const vorn_image *ref, uint32_t t);
/* vorn_image_scenecut_detect_edge: VORN_E_SCENE_CHANGE when more than three quarters of prev_edges' non-zero
 * pixels are zero in cur_edges; else 0 (also when prev_edges is empty). VORN_E_PARAM when sizes differ. */
VORN_API vorn_result vorn_image_scenecut_detect_edge(const vorn_mono_image *cur_edges,
                                                     const vorn_mono_image *prev_edges);

/* --- edges --- */

/* Kernel indices of vorn_image_edge and vorn_image_deriv. */
#define VORN_EDGE_SOBEL_X 0u /* -1 0 1 / -2 0 2 / -1 0 1: right minus left */
#define VORN_EDGE_SOBEL_Y 1u /* 1 2 1 / 0 0 0 / -1 -2 -1: top minus bottom */
#define VORN_EDGE_BOX     2u /* 3x3 sum */

/* vorn_image_edge: v = kernel k over the 3x3 grey neighbourhood of each interior pixel; out = |v| > t ? 255 : 0
 * when t >= 0, else the low byte of |v|. The border rows and columns of out are set to 0.
 *   img in: grey data is plane 0 of YUV, plane 2 of HSV, the luma of RGB;  out out, same size.
 * Returns 0, VORN_E_PARAM (k > 2, size mismatch, unknown format), VORN_E_NOMEM (RGB luma), VORN_E_NULL. */
VORN_API vorn_result vorn_image_edge(const vorn_image *img, vorn_mono_image *out, int32_t t, uint32_t k);
/* vorn_image_deriv: out[y * width + x] = v for every interior pixel; border entries are not written.
 *   out: width x height values. Same grey source and codes as vorn_image_edge (no size check). */
VORN_API vorn_result vorn_image_deriv(const vorn_image *img, int32_t *out, uint32_t k);

/* vorn_canny_create: an edge detector for width x height grey images (thresholds low 30, high 90), every buffer
 * made here so processing allocates nothing. *handle is set (NULL on failure). One handle per image stream; a
 * handle is used by one thread at a time. Returns 0, VORN_E_NOMEM, VORN_E_NULL. */
VORN_API vorn_result vorn_canny_create(uint32_t width, uint32_t height, void **handle);
/* vorn_canny_destroy: releases the detector; NULL is ignored. */
VORN_API void vorn_canny_destroy(void *handle);
/* vorn_canny_set_threshold: hysteresis thresholds: magnitudes (|dx| + |dy| of the 3x3 Sobel pair) at or below
 * low are never edges, local maxima above high start edges, maxima in between join edges they touch. */
VORN_API vorn_result vorn_canny_set_threshold(void *handle, uint32_t low, uint32_t high);
/* vorn_canny_process: dst = 255 on edges, 0 elsewhere (destination first).
 * Returns 0, VORN_E_NULL (null handle), VORN_E_PARAM (dst or src not of the detector's size). */
VORN_API vorn_result vorn_canny_process(void *handle, vorn_mono_image *dst, const vorn_mono_image *src);
/* vorn_canny_process_rect: the detector over the rectangle widened by one pixel (clipped to the image); only
 * edge pixels inside [left, right) x [top, bottom) are written (255); every other dst pixel keeps its value. */
VORN_API vorn_result vorn_canny_process_rect(void *handle, vorn_mono_image *dst, const vorn_mono_image *src,
                                             int32_t left, int32_t top, int32_t right, int32_t bottom);
/* vorn_canny_get_vertical_edge / _horizontal_edge: writes |d(0, y)| / 4 of the last derivatives (dx, resp. dy)
 * into column 0 of every row of out; the other columns are left unchanged.
 * Returns 0, VORN_E_NULL, VORN_E_PARAM (out not of the detector's size). */
VORN_API vorn_result vorn_canny_get_vertical_edge(void *handle, vorn_mono_image *out);
VORN_API vorn_result vorn_canny_get_horizontal_edge(void *handle, vorn_mono_image *out);

/* vorn_laplacian_rect: L = 4c - up - down - left - right; dst = |L| > t ? 255 : 0 over x in
 * [max(left-1, 1), min(right+1, width-1)) and y likewise; other pixels unchanged (destination first).
 * Returns 0, VORN_E_PARAM (sizes differ), VORN_E_NULL. */
VORN_API vorn_result vorn_laplacian_rect(vorn_mono_image *dst, const vorn_mono_image *src, int32_t left,
                                         int32_t top, int32_t right, int32_t bottom, int32_t t);

#ifdef __cplusplus
}
#endif

#endif /* VORN_IMGPROC_H */
