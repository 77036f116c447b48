/* vorn_kalman.h: a linear Kalman filter over single-precision matrices.
 *
 * One filter per tracked quantity: load the model matrices with the setters, then per frame call
 * vorn_kalman_predict and, when a measurement exists, vorn_kalman_correct. The filter owns all its matrices:
 * setters copy into them, getters hand out the filter's own matrices (valid until vorn_kalman_destroy).
 * The "prior" pair (state, error covariance) always holds the last corrected estimate, the "predict" pair the
 * last prediction; a predict without a correct in between starts again from the same corrected state.
 * One handle per stream; a handle is used by one thread at a time. */
#ifndef VORN_KALMAN_H
#define VORN_KALMAN_H

#include "vorn_core.h"
#include "vorn_matrix.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Dimensions of a filter: n state, m measurement, c control (c may be 0: no control input). */
typedef struct vorn_kalman_params {
  uint32_t state_dim;
  uint32_t measure_dim;
  uint32_t control_dim;
} vorn_kalman_params;

typedef struct vorn_kalman vorn_kalman;

/* The filter's model and state matrices, as handed out by vorn_kalman_get_matrixs (the filter's own). */
typedef struct vorn_kalman_matrixs {
  vorn_matrix *transition;                   /* A, n x n */
  vorn_matrix *control;                      /* B, n x c; NULL when c = 0 */
  vorn_matrix *measurement;                  /* H, m x n */
  vorn_matrix *prior_state;                  /* x, n x 1: last corrected state */
  vorn_matrix *predict_state;                /* x', n x 1: last predicted state */
  vorn_matrix *prior_error_covariance;       /* P, n x n */
  vorn_matrix *predict_error_covariance;     /* P', n x n */
  vorn_matrix *process_noise_covariance;     /* Q, n x n */
  vorn_matrix *measurement_noise_covariance; /* R, m x m */
} vorn_kalman_matrixs;

/* vorn_kalman_create: a new filter with A = P = P' = Q = R = identity, H, B, x, x' = 0.
 *   params  in, dimensions (n and m at least 1);   out  out, the handle (NULL on failure)
 * Returns VORN_OK, VORN_E_NULL (params or out NULL), VORN_E_PARAM (n or m is 0), VORN_E_NOMEM. */
VORN_API vorn_result vorn_kalman_create(const vorn_kalman_params *params, vorn_kalman **out);
/* vorn_kalman_destroy: frees the filter and all its matrices; NULL is ignored. */
VORN_API void vorn_kalman_destroy(vorn_kalman *kalman);

/* vorn_kalman_predict: x' = A x (+ B u when a control vector is given and c > 0); P' = A P A^T + Q.
 *   control  in, c x 1 control vector u, or NULL
 * Returns VORN_OK, VORN_E_NULL, or the first failing matrix operation's code (VORN_E_PARAM on a size
 * mismatch); the filter is then left part-updated. */
VORN_API vorn_result vorn_kalman_predict(vorn_kalman *kalman, const vorn_matrix *control);
/* vorn_kalman_correct: K = P' H^T (H P' H^T + R)^-1; x = x' + K (z - H x'); P = P' - K H P'.
 *   measurement  in, m x 1 measurement z
 * Returns VORN_OK, VORN_E_NULL, VORN_E_PARAM (size mismatch), VORN_E_NO_RESULT (H P' H^T + R singular), or
 * another failing matrix operation's code; the filter is then left part-updated. */
VORN_API vorn_result vorn_kalman_correct(vorn_kalman *kalman, const vorn_matrix *measurement);
/* vorn_kalman_get_matrixs: fills the nine pointers. VORN_E_NULL for a NULL handle or record. */
VORN_API vorn_result vorn_kalman_get_matrixs(vorn_kalman *kalman, vorn_kalman_matrixs *out);

/* Setters copy `src` into the filter's matrix: VORN_E_NULL (NULL handle or source, or no control matrix),
 * VORN_E_PARAM when the sizes differ, else VORN_OK.
 * Getters clear *out, then return VORN_E_NULL for a NULL handle, else VORN_OK with *out = the filter's own
 * matrix (the control matrix is NULL when c = 0). */
VORN_API vorn_result vorn_kalman_set_transition_matrix(vorn_kalman *kalman, const vorn_matrix *src);
VORN_API vorn_result vorn_kalman_get_transition_matrix(vorn_kalman *kalman, vorn_matrix **out);
VORN_API vorn_result vorn_kalman_set_measurement_matrix(vorn_kalman *kalman, const vorn_matrix *src);
VORN_API vorn_result vorn_kalman_get_measurement_matrix(vorn_kalman *kalman, vorn_matrix **out);
VORN_API vorn_result vorn_kalman_set_control_matrix(vorn_kalman *kalman, const vorn_matrix *src);
VORN_API vorn_result vorn_kalman_get_control_matrix(vorn_kalman *kalman, vorn_matrix **out);
VORN_API vorn_result vorn_kalman_set_process_noise_covariance(vorn_kalman *kalman, const vorn_matrix *src);
VORN_API vorn_result vorn_kalman_get_process_noise_covariance(vorn_kalman *kalman, vorn_matrix **out);
VORN_API vorn_result vorn_kalman_set_measurement_noise_covariance(vorn_kalman *kalman, const vorn_matrix *src);
VORN_API vorn_result vorn_kalman_get_measurement_noise_covariance(vorn_kalman *kalman, vorn_matrix **out);
VORN_API vorn_result vorn_kalman_set_prior_state(vorn_kalman *kalman, const vorn_matrix *src);
VORN_API vorn_result vorn_kalman_get_prior_state(vorn_kalman *kalman, vorn_matrix **out);
VORN_API vorn_result vorn_kalman_set_predict_state(vorn_kalman *kalman, const vorn_matrix *src);
VORN_API vorn_result vorn_kalman_get_predict_state(vorn_kalman *kalman, vorn_matrix **out);
VORN_API vorn_result vorn_kalman_set_prior_error_covariance(vorn_kalman *kalman, const vorn_matrix *src);
VORN_API vorn_result vorn_kalman_get_prior_error_covariance(vorn_kalman *kalman, vorn_matrix **out);
VORN_API vorn_result vorn_kalman_set_predict_error_covariance(vorn_kalman *kalman, const vorn_matrix *src);
VORN_API vorn_result vorn_kalman_get_predict_error_covariance(vorn_kalman *kalman, vorn_matrix **out);

#ifdef __cplusplus
}
#endif

#endif /* VORN_KALMAN_H */
