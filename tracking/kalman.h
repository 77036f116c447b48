// The Kalman filter's handle, for code inside the library that drives filters directly.
#ifndef VORN_TRACKING_KALMAN_H
#define VORN_TRACKING_KALMAN_H

#include "vorn_kalman.h"

// Dimensions first, then the matrices in a fixed order; the last five hold the intermediate products of one
// predict/correct cycle, made once at create.
struct vorn_kalman {
  uint32_t n, m, c;
  vorn_matrix *transition;                   // A, n x n
  vorn_matrix *control;                      // B, n x c (null when c = 0)
  vorn_matrix *measurement;                  // H, m x n
  vorn_matrix *prior_state;                  // x, n x 1
  vorn_matrix *predict_state;                // x', n x 1
  vorn_matrix *prior_error_covariance;       // P, n x n
  vorn_matrix *predict_error_covariance;     // P', n x n
  vorn_matrix *gain;                         // K, n x m
  vorn_matrix *process_noise_covariance;     // Q, n x n
  vorn_matrix *measurement_noise_covariance; // R, m x m
  vorn_matrix *a_p;                          // A P, n x n
  vorn_matrix *h_p;                          // H P', m x n
  vorn_matrix *s;                            // H P' H^T + R, then its inverse, m x m
  vorn_matrix *p_ht;                         // P' H^T, n x m
  vorn_matrix *innovation;                   // z - H x', m x 1
};

namespace vorn {

// Puts every matrix back to what create made: identities for A, P, P', Q and R, zeros elsewhere.
void kalman_restart(vorn_kalman *k);

}  // namespace vorn

#endif
