/* vorn_histogram.h: grey-level histograms of rectangles, back-projection and spatial moments.
 *
 * Rectangles are half-open here: columns left .. right - 1, rows top .. bottom - 1 (the first four words of a
 * vorn_obj serve as one). Parts of a rectangle outside the image are left out. */
#ifndef VORN_HISTOGRAM_H
#define VORN_HISTOGRAM_H

#include "vorn_image.h"

#ifdef __cplusplus
extern "C" {
#endif

/* n bins; lookup maps grey value v to bin v / (256 / n); bins are n counters. */
typedef struct vorn_histogram {
  uint32_t n;
  uint8_t *lookup;
  uint32_t *bins;
} vorn_histogram;

/* A back-projection: width x height 32-bit cells, row by row (the record shape of vorn_mono_image). */
typedef struct vorn_backproject {
  uint32_t width;
  uint32_t height;
  uint32_t *data;
} vorn_backproject;

/* Raw moments m_pq = sum of x^p y^q v (x, y counted from the rectangle's top-left), central moments, and
 * 1 / sqrt(m00) (0 when m00 is 0). */
typedef struct vorn_moments {
  double m00, m10, m01, m20, m11, m02, m30, m21, m12, m03;
  double mu20, mu11, mu02, mu30, mu21, mu12, mu03;
  double inv_sqrt_m00;
} vorn_moments;

/* vorn_histogram_alloc: a histogram of n bins (1 .. 256) with its lookup filled, or NULL (allocation failure or
 * n out of range). Counts that do not divide 256 give uneven bins. */
VORN_API vorn_histogram *vorn_histogram_alloc(uint32_t n);
/* vorn_histogram_free: frees bins, lookup and record; NULL is ignored. */
VORN_API void vorn_histogram_free(vorn_histogram *hist);
/* vorn_histogram_zero: clears the bins. VORN_E_NULL, VORN_E_NOMEM (no bins), VORN_OK. */
VORN_API vorn_result vorn_histogram_zero(vorn_histogram *hist);
/* vorn_histogram_scale: bin <- bin * 255 / (max - min), the minimum not subtracted (values above 255 occur when
 * the minimum is not 0). VORN_E_NULL, VORN_E_NOMEM (no bins), VORN_E_NO_RESULT (n < 2 or all bins equal). */
VORN_API vorn_result vorn_histogram_scale(vorn_histogram *hist);
/* vorn_histogram_caculate: adds the rectangle's pixels of image (only where mask is non-zero, when a mask is
 * given) to the bins; the bins are not cleared first.
 * Returns VORN_OK, VORN_E_NULL, VORN_E_NOMEM (bins or lookup missing), VORN_E_PARAM (mask size differs). */
VORN_API vorn_result vorn_histogram_caculate(const vorn_mono_image *image, vorn_histogram *hist,
                                             const vorn_rect *rect, const vorn_mono_image *mask);

/* vorn_backproject_alloc: a back-projection of width x height cells, or NULL. */
VORN_API vorn_backproject *vorn_backproject_alloc(uint32_t width, uint32_t height);
/* vorn_backproject_free: the same operation as vorn_mono_image_free and vorn_matrix_free. */
VORN_API void vorn_backproject_free(vorn_backproject *bp);
/* vorn_backproject_calculate: bp <- the bin count of each pixel, for the rectangle's columns and for
 * bottom - top rows counted from row 0 (the rectangle's top is not applied), where mask (optional) is non-zero.
 * Other cells keep their values.
 * Returns VORN_OK, VORN_E_NULL, VORN_E_NOMEM (no bins), VORN_E_PARAM (bp or mask size differs from image). */
VORN_API vorn_result vorn_backproject_calculate(const vorn_mono_image *image, const vorn_histogram *hist,
                                                vorn_backproject *bp, const vorn_rect *rect,
                                                const vorn_mono_image *mask);

/* vorn_moments_calculate: the moments of bp inside the rectangle (applied with its top-left offset).
 * Returns VORN_OK, or VORN_E_NULL for a NULL argument. */
VORN_API vorn_result vorn_moments_calculate(const vorn_backproject *bp, vorn_moments *out, const vorn_rect *rect);

#ifdef __cplusplus
}
#endif

#endif /* VORN_HISTOGRAM_H */
