/* vorn_matrix.h: small dense single-precision matrices (Kalman-filter sizes).
 *
 * Every two-operand operation writes into a destination of the right shape allocated by the caller and returns
 * VORN_E_PARAM, with nothing written, on a shape mismatch. Products accumulate in single precision over the inner
 * index in increasing order, from 0. A product's destination must not be one of its sources. A NULL matrix, or one
 * whose data is NULL, is answered VORN_E_NULL. */
#ifndef VORN_MATRIX_H
#define VORN_MATRIX_H

#include "vorn_core.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Row-major: element (r, c) at data[r * cols + c]. Same record shape as vorn_mono_image. */
typedef struct vorn_matrix {
  int32_t rows;
  int32_t cols;
  float *data;
} vorn_matrix;

VORN_API vorn_matrix *vorn_matrix_alloc(uint32_t rows, uint32_t cols); /* zeroed, or NULL */
VORN_API void vorn_matrix_free(vorn_matrix *m);
/* vorn_matrix_get_line: address of row `row`, NULL when row is outside 0..rows-1 or the matrix or its data is NULL. */
VORN_API float *vorn_matrix_get_line(vorn_matrix *m, int32_t row);
/* Element access, column first: 0.0 / nothing when (col, row) lies outside the matrix. A NULL matrix or data
 * reads 0.0 and is answered VORN_E_NULL by the setter (whose other answers are 0). */
VORN_API float vorn_matrix_get_value(const vorn_matrix *m, int32_t col, int32_t row);
VORN_API vorn_result vorn_matrix_set_value(vorn_matrix *m, int32_t col, int32_t row, float value);
VORN_API vorn_result vorn_matrix_zero(vorn_matrix *m);
VORN_API vorn_result vorn_matrix_normal(vorn_matrix *m, float f); /* m <- f * identity (also non-square) */
VORN_API vorn_result vorn_matrix_copy(const vorn_matrix *src, vorn_matrix *dst);
VORN_API vorn_result vorn_matrix_transpose(const vorn_matrix *src, vorn_matrix *dst);
VORN_API vorn_result vorn_matrix_add(const vorn_matrix *a, const vorn_matrix *b, vorn_matrix *c);    /* a + b */
VORN_API vorn_result vorn_matrix_add_t1(const vorn_matrix *a, const vorn_matrix *b, vorn_matrix *c); /* a' + b */
VORN_API vorn_result vorn_matrix_add_t2(const vorn_matrix *a, const vorn_matrix *b, vorn_matrix *c); /* a + b' */
VORN_API vorn_result vorn_matrix_sub(const vorn_matrix *a, const vorn_matrix *b, vorn_matrix *c);    /* a - b */
VORN_API vorn_result vorn_matrix_sub_t1(const vorn_matrix *a, const vorn_matrix *b, vorn_matrix *c); /* a' - b */
VORN_API vorn_result vorn_matrix_sub_t2(const vorn_matrix *a, const vorn_matrix *b, vorn_matrix *c); /* a - b' */
VORN_API vorn_result vorn_matrix_mul(const vorn_matrix *a, const vorn_matrix *b, vorn_matrix *c);    /* a b */
VORN_API vorn_result vorn_matrix_mul_t1(const vorn_matrix *a, const vorn_matrix *b, vorn_matrix *c); /* a' b */
VORN_API vorn_result vorn_matrix_mul_t2(const vorn_matrix *a, const vorn_matrix *b, vorn_matrix *c); /* a b' */
/* d <- a b + c */
VORN_API vorn_result vorn_matrix_mul_add(const vorn_matrix *a, const vorn_matrix *b, const vorn_matrix *c,
                                         vorn_matrix *d);
/* d <- a' b + c; the addend's shape is checked as a.rows x b.cols (equal to d's for square a) */
VORN_API vorn_result vorn_matrix_mul_add_t1(const vorn_matrix *a, const vorn_matrix *b, const vorn_matrix *c,
                                            vorn_matrix *d);
/* d <- a b' + c */
VORN_API vorn_result vorn_matrix_mul_add_t2(const vorn_matrix *a, const vorn_matrix *b, const vorn_matrix *c,
                                            vorn_matrix *d);
/* d <- a b + c' */
VORN_API vorn_result vorn_matrix_mul_add_t3(const vorn_matrix *a, const vorn_matrix *b, const vorn_matrix *c,
                                            vorn_matrix *d);
/* d <- a - b c */
VORN_API vorn_result vorn_matrix_sub_mul(const vorn_matrix *a, const vorn_matrix *b, const vorn_matrix *c,
                                         vorn_matrix *d);
/* vorn_matrix_inverse: in place, Gauss-Jordan with full pivoting. VORN_E_PARAM (not square), VORN_E_NOMEM,
 * VORN_E_NO_RESULT (singular: m is then partly eliminated and must be regarded as destroyed). */
VORN_API vorn_result vorn_matrix_inverse(vorn_matrix *m);
/* vorn_matrix_printf: prints nothing. */
VORN_API void vorn_matrix_printf(const vorn_matrix *m);

#ifdef __cplusplus
}
#endif

#endif /* VORN_MATRIX_H */
