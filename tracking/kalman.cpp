// Linear Kalman filter: every step is one call of the matrix library, and the first failing step ends the call.
#include "tracking/kalman.h"

#include "core/memory.h"

namespace {

// The setters and getters are one body per matrix, selected by member.
using Member = vorn_matrix *vorn_kalman::*;

vorn_result set_member(vorn_kalman *k, const vorn_matrix *src, Member member) {
  if (!k || !src) return VORN_E_NULL;
  return vorn_matrix_copy(src, k->*member);
}

vorn_result get_member(vorn_kalman *k, vorn_matrix **out, Member member) {
  if (!out) return VORN_E_NULL;
  *out = nullptr;
  if (!k) return VORN_E_NULL;
  *out = k->*member;
  return VORN_OK;
}

vorn_matrix *identity(uint32_t n) {
  vorn_matrix *m = vorn_matrix_alloc(n, n);
  if (m) vorn_matrix_normal(m, 1.0f);
  return m;
}

}  // namespace

namespace vorn {

void kalman_restart(vorn_kalman *k) {
  vorn_matrix *zeros[] = {k->control, k->measurement, k->prior_state, k->predict_state, k->gain,
                          k->a_p,     k->h_p,         k->s,           k->p_ht,          k->innovation};
  vorn_matrix *ones[] = {k->transition, k->prior_error_covariance, k->predict_error_covariance,
                         k->process_noise_covariance, k->measurement_noise_covariance};
  for (vorn_matrix *m : zeros)
    if (m) vorn_matrix_zero(m);
  for (vorn_matrix *m : ones) vorn_matrix_normal(m, 1.0f);
}

}  // namespace vorn

#define VORN_RETURN_IF_FAILED(expr)  \
  do {                               \
    vorn_result r_ = (expr);         \
    if (r_ != VORN_OK) return r_;    \
  } while (0)

extern "C" {

VORN_API vorn_result vorn_kalman_create(const vorn_kalman_params *params, vorn_kalman **out) {
  if (!out) return VORN_E_NULL;
  *out = nullptr;
  if (!params) return VORN_E_NULL;
  const uint32_t n = params->state_dim, m = params->measure_dim, c = params->control_dim;
  if (n == 0 || m == 0) return VORN_E_PARAM;
  vorn_kalman *k = vorn::block_new<vorn_kalman>();
  if (!k) return VORN_E_NOMEM;
  k->n = n;
  k->m = m;
  k->c = c;
  bool ok = (k->prior_state = vorn_matrix_alloc(n, 1)) && (k->predict_state = vorn_matrix_alloc(n, 1)) &&
            (k->transition = identity(n)) && (k->measurement = vorn_matrix_alloc(m, n)) &&
            (k->prior_error_covariance = identity(n)) && (k->predict_error_covariance = identity(n)) &&
            (k->gain = vorn_matrix_alloc(n, m)) && (k->process_noise_covariance = identity(n)) &&
            (k->measurement_noise_covariance = identity(m)) && (c == 0 || (k->control = vorn_matrix_alloc(n, c))) &&
            (k->a_p = vorn_matrix_alloc(n, n)) && (k->h_p = vorn_matrix_alloc(m, n)) &&
            (k->s = vorn_matrix_alloc(m, m)) && (k->p_ht = vorn_matrix_alloc(n, m)) &&
            (k->innovation = vorn_matrix_alloc(m, 1));
  if (!ok) {
    vorn_kalman_destroy(k);
    return VORN_E_NOMEM;
  }
  *out = k;
  return VORN_OK;
}

VORN_API void vorn_kalman_destroy(vorn_kalman *k) {
  if (!k) return;
  vorn_matrix **all[] = {&k->transition, &k->control, &k->measurement, &k->prior_state, &k->predict_state,
                         &k->prior_error_covariance, &k->predict_error_covariance, &k->gain,
                         &k->process_noise_covariance, &k->measurement_noise_covariance, &k->a_p, &k->h_p,
                         &k->s, &k->p_ht, &k->innovation};
  for (vorn_matrix **m : all) {
    vorn_matrix_free(*m);
    *m = nullptr;
  }
  vorn_free(k);
}

VORN_API vorn_result vorn_kalman_predict(vorn_kalman *k, const vorn_matrix *control) {
  if (!k) return VORN_E_NULL;
  VORN_RETURN_IF_FAILED(vorn_matrix_mul(k->transition, k->prior_state, k->predict_state));
  if (control && k->c > 0)
    VORN_RETURN_IF_FAILED(vorn_matrix_mul_add(k->control, control, k->predict_state, k->predict_state));
  VORN_RETURN_IF_FAILED(vorn_matrix_mul(k->transition, k->prior_error_covariance, k->a_p));
  return vorn_matrix_mul_add_t2(k->a_p, k->transition, k->process_noise_covariance, k->predict_error_covariance);
}

VORN_API vorn_result vorn_kalman_correct(vorn_kalman *k, const vorn_matrix *z) {
  if (!k) return VORN_E_NULL;
  if (!z) return VORN_E_NULL;
  VORN_RETURN_IF_FAILED(vorn_matrix_mul(k->measurement, k->predict_error_covariance, k->h_p));
  VORN_RETURN_IF_FAILED(vorn_matrix_mul_add_t2(k->h_p, k->measurement, k->measurement_noise_covariance, k->s));
  VORN_RETURN_IF_FAILED(vorn_matrix_inverse(k->s));
  VORN_RETURN_IF_FAILED(vorn_matrix_mul_t2(k->predict_error_covariance, k->measurement, k->p_ht));
  VORN_RETURN_IF_FAILED(vorn_matrix_mul(k->p_ht, k->s, k->gain));
  VORN_RETURN_IF_FAILED(vorn_matrix_sub_mul(z, k->measurement, k->predict_state, k->innovation));
  VORN_RETURN_IF_FAILED(vorn_matrix_mul_add(k->gain, k->innovation, k->predict_state, k->prior_state));
  return vorn_matrix_sub_mul(k->predict_error_covariance, k->gain, k->h_p, k->prior_error_covariance);
}

VORN_API vorn_result vorn_kalman_get_matrixs(vorn_kalman *k, vorn_kalman_matrixs *out) {
  if (!k || !out) return VORN_E_NULL;
  out->transition = k->transition;
  out->control = k->control;
  out->measurement = k->measurement;
  out->prior_state = k->prior_state;
  out->predict_state = k->predict_state;
  out->prior_error_covariance = k->prior_error_covariance;
  out->predict_error_covariance = k->predict_error_covariance;
  out->process_noise_covariance = k->process_noise_covariance;
  out->measurement_noise_covariance = k->measurement_noise_covariance;
  return VORN_OK;
}

#define VORN_KALMAN_ACCESSORS(name, member)                                                  \
  VORN_API vorn_result vorn_kalman_set_##name(vorn_kalman *k, const vorn_matrix *src) {      \
    return set_member(k, src, &vorn_kalman::member);                                         \
  }                                                                                          \
  VORN_API vorn_result vorn_kalman_get_##name(vorn_kalman *k, vorn_matrix **out) {           \
    return get_member(k, out, &vorn_kalman::member);                                         \
  }

VORN_KALMAN_ACCESSORS(transition_matrix, transition)
VORN_KALMAN_ACCESSORS(measurement_matrix, measurement)
VORN_KALMAN_ACCESSORS(control_matrix, control)
VORN_KALMAN_ACCESSORS(process_noise_covariance, process_noise_covariance)
VORN_KALMAN_ACCESSORS(measurement_noise_covariance, measurement_noise_covariance)
VORN_KALMAN_ACCESSORS(prior_state, prior_state)
VORN_KALMAN_ACCESSORS(predict_state, predict_state)
VORN_KALMAN_ACCESSORS(prior_error_covariance, prior_error_covariance)
VORN_KALMAN_ACCESSORS(predict_error_covariance, predict_error_covariance)

}  // extern "C"
