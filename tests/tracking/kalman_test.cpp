#include <math.h>

#include <vector>

#include <gtest/gtest.h>

#include "support/test_support.h"
#include "vorn.h"

namespace {

struct Mat {
  vorn_matrix *m;
  Mat(int r, int c, std::vector<float> v = {}) : m(vorn_matrix_alloc((uint32_t)r, (uint32_t)c)) {
    for (size_t i = 0; i < v.size(); ++i) m->data[i] = v[i];
  }
  ~Mat() { vorn_matrix_free(m); }
  operator vorn_matrix *() const { return m; }
};

std::vector<float> elements(const vorn_matrix *m) { return std::vector<float>(m->data, m->data + m->rows * m->cols); }

vorn_kalman *make(uint32_t n, uint32_t m, uint32_t c) {
  vorn_kalman_params p{n, m, c};
  vorn_kalman *k = nullptr;
  EXPECT_EQ(vorn_kalman_create(&p, &k), VORN_OK);
  return k;
}

// Dense double matrices for an independent evaluation of the filter equations.
using D = std::vector<std::vector<double>>;
D dmul(const D &a, const D &b) {
  D c(a.size(), std::vector<double>(b[0].size(), 0.0));
  for (size_t i = 0; i < a.size(); ++i)
    for (size_t j = 0; j < b[0].size(); ++j)
      for (size_t k = 0; k < b.size(); ++k) c[i][j] += a[i][k] * b[k][j];
  return c;
}
D dtr(const D &a) {
  D t(a[0].size(), std::vector<double>(a.size()));
  for (size_t i = 0; i < a.size(); ++i)
    for (size_t j = 0; j < a[0].size(); ++j) t[j][i] = a[i][j];
  return t;
}
D dadd(const D &a, const D &b, double sb = 1.0) {
  D c = a;
  for (size_t i = 0; i < a.size(); ++i)
    for (size_t j = 0; j < a[0].size(); ++j) c[i][j] += sb * b[i][j];
  return c;
}
D dinv2(const D &a) {
  const double det = a[0][0] * a[1][1] - a[0][1] * a[1][0];
  return {{a[1][1] / det, -a[0][1] / det}, {-a[1][0] / det, a[0][0] / det}};
}
D from(const vorn_matrix *m) {
  D d(m->rows, std::vector<double>(m->cols));
  for (int i = 0; i < m->rows; ++i)
    for (int j = 0; j < m->cols; ++j) d[i][j] = m->data[i * m->cols + j];
  return d;
}
void expect_near(const vorn_matrix *m, const D &want, double tol, const char *what) {
  for (int i = 0; i < m->rows; ++i)
    for (int j = 0; j < m->cols; ++j)
      EXPECT_NEAR(m->data[i * m->cols + j], want[i][j], tol * (1.0 + fabs(want[i][j]))) << what << " " << i << "," << j;
}

TEST(Kalman, FreshFilterAndItsAccessors) {
  vorn_kalman *k = make(4, 2, 0);
  ASSERT_NE(k, nullptr);
  vorn_kalman_matrixs ms;
  ASSERT_EQ(vorn_kalman_get_matrixs(k, &ms), VORN_OK);
  EXPECT_EQ(ms.control, nullptr);
  EXPECT_EQ(ms.transition->rows, 4);
  EXPECT_EQ(ms.measurement->rows, 2);
  EXPECT_EQ(ms.measurement->cols, 4);
  EXPECT_EQ(elements(ms.measurement), std::vector<float>(8, 0.0f));
  EXPECT_EQ(elements(ms.measurement_noise_covariance), (std::vector<float>{1, 0, 0, 1}));

  // Every getter hands out the filter's own matrix; the control getter gives NULL without a control input.
  vorn_matrix *got = nullptr;
  EXPECT_EQ(vorn_kalman_get_transition_matrix(k, &got), VORN_OK);
  EXPECT_EQ(got, ms.transition);
  EXPECT_EQ(vorn_kalman_get_predict_error_covariance(k, &got), VORN_OK);
  EXPECT_EQ(got, ms.predict_error_covariance);
  got = ms.transition;
  EXPECT_EQ(vorn_kalman_get_control_matrix(k, &got), VORN_OK);
  EXPECT_EQ(got, nullptr);
  got = ms.transition;
  EXPECT_EQ(vorn_kalman_get_prior_state(nullptr, &got), VORN_E_NULL);
  EXPECT_EQ(got, nullptr);

  // Setters copy and check the size; there is no control matrix to set.
  Mat a(4, 4, {1, 0, 1, 0, 0, 1, 0, 1, 0, 0, 1, 0, 0, 0, 0, 1});
  EXPECT_EQ(vorn_kalman_set_transition_matrix(k, a), VORN_OK);
  EXPECT_EQ(elements(ms.transition), elements(a));
  a.m->data[0] = 7;
  EXPECT_EQ(ms.transition->data[0], 1.0f);
  EXPECT_EQ(vorn_kalman_set_measurement_matrix(k, a), VORN_E_PARAM);
  EXPECT_EQ(vorn_kalman_set_control_matrix(k, a), VORN_E_NULL);
  EXPECT_EQ(vorn_kalman_set_prior_state(nullptr, a), VORN_E_NULL);

  // A fresh filter predicts zero, P' = A P A^T + Q = 2 I, and any control vector is ignored without B.
  Mat u(3, 1, {5, 5, 5});
  ASSERT_EQ(vorn_kalman_set_transition_matrix(k, Mat(4, 4, {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1})),
            VORN_OK);
  ASSERT_EQ(vorn_kalman_predict(k, u), VORN_OK);
  EXPECT_EQ(elements(ms.predict_state), std::vector<float>(4, 0.0f));
  EXPECT_EQ(elements(ms.predict_error_covariance),
            (std::vector<float>{2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2, 0, 0, 0, 0, 2}));

  // With H still zero the gain is zero and the corrected state is the predicted one.
  ASSERT_EQ(vorn_kalman_set_predict_state(k, Mat(4, 1, {1, 2, 3, 4})), VORN_OK);
  ASSERT_EQ(vorn_kalman_correct(k, Mat(2, 1, {100, 100})), VORN_OK);
  EXPECT_EQ(elements(ms.prior_state), (std::vector<float>{1, 2, 3, 4}));
  EXPECT_EQ(elements(ms.prior_error_covariance), elements(ms.predict_error_covariance));

  EXPECT_EQ(vorn_kalman_predict(nullptr, nullptr), VORN_E_NULL);
  EXPECT_EQ(vorn_kalman_correct(nullptr, u), VORN_E_NULL);
  EXPECT_EQ(vorn_kalman_get_matrixs(nullptr, &ms), VORN_E_NULL);
  vorn_kalman_destroy(k);
  vorn_kalman_destroy(nullptr);
}

TEST(Kalman, ScalarStepsWorkedByHand) {
  // n = m = 1, A = H = P = Q = R = 1: P' = 2, S = 3, K = 2/3; z = 3 gives x = 2 and P = 2 - 4/3 = 2/3.
  vorn_kalman *k = make(1, 1, 0);
  vorn_kalman_set_measurement_matrix(k, Mat(1, 1, {1}));
  vorn_kalman_matrixs ms;
  vorn_kalman_get_matrixs(k, &ms);
  ASSERT_EQ(vorn_kalman_predict(k, nullptr), VORN_OK);
  ASSERT_EQ(vorn_kalman_correct(k, Mat(1, 1, {3})), VORN_OK);
  EXPECT_FLOAT_EQ(ms.prior_state->data[0], 2.0f);
  EXPECT_FLOAT_EQ(ms.prior_error_covariance->data[0], 2.0f / 3.0f);
  // Next: P' = 2/3 + 1 = 5/3, K = (5/3) / (8/3) = 5/8; z = 10 gives x = 2 + 5/8 * 8 = 7 and P = 5/3 * 3/8 = 5/8.
  ASSERT_EQ(vorn_kalman_predict(k, nullptr), VORN_OK);
  EXPECT_FLOAT_EQ(ms.predict_error_covariance->data[0], 5.0f / 3.0f);
  ASSERT_EQ(vorn_kalman_correct(k, Mat(1, 1, {10})), VORN_OK);
  EXPECT_FLOAT_EQ(ms.prior_state->data[0], 7.0f);
  EXPECT_FLOAT_EQ(ms.prior_error_covariance->data[0], 5.0f / 8.0f);
  // Two predicts in a row start from the same corrected state.
  vorn_kalman_set_transition_matrix(k, Mat(1, 1, {2}));
  vorn_kalman_predict(k, nullptr);
  vorn_kalman_predict(k, nullptr);
  EXPECT_FLOAT_EQ(ms.predict_state->data[0], 14.0f);
  // A singular innovation covariance (H P' H^T + R = 0) ends the correction with the inverse's code.
  vorn_kalman_set_measurement_noise_covariance(k, Mat(1, 1, {0}));
  vorn_kalman_set_measurement_matrix(k, Mat(1, 1, {0}));
  EXPECT_EQ(vorn_kalman_correct(k, Mat(1, 1, {1})), VORN_E_NO_RESULT);
  // Size mismatches come back from the matrix operations.
  vorn_kalman_set_measurement_noise_covariance(k, Mat(1, 1, {1}));
  EXPECT_EQ(vorn_kalman_correct(k, Mat(2, 1, {1, 1})), VORN_E_PARAM);
  vorn_kalman_destroy(k);
}

TEST(Kalman, ConstantVelocityTrackWithControlMatchesReferenceEquations) {
  // State (x, y, vx, vy), measurement (x, y), control (ax, ay) entering the velocities.
  vorn_kalman *k = make(4, 2, 2);
  ASSERT_NE(k, nullptr);
  Mat A(4, 4, {1, 0, 1, 0, 0, 1, 0, 1, 0, 0, 1, 0, 0, 0, 0, 1});
  Mat B(4, 2, {0.5f, 0, 0, 0.5f, 1, 0, 0, 1});
  Mat H(2, 4, {1, 0, 0, 0, 0, 1, 0, 0});
  Mat Q(4, 4, {0.01f, 0, 0, 0, 0, 0.01f, 0, 0, 0, 0, 0.1f, 0, 0, 0, 0, 0.1f});
  Mat R(2, 2, {4, 1, 1, 3});
  ASSERT_EQ(vorn_kalman_set_transition_matrix(k, A), VORN_OK);
  ASSERT_EQ(vorn_kalman_set_control_matrix(k, B), VORN_OK);
  ASSERT_EQ(vorn_kalman_set_measurement_matrix(k, H), VORN_OK);
  ASSERT_EQ(vorn_kalman_set_process_noise_covariance(k, Q), VORN_OK);
  ASSERT_EQ(vorn_kalman_set_measurement_noise_covariance(k, R), VORN_OK);
  vorn_kalman_matrixs ms;
  vorn_kalman_get_matrixs(k, &ms);

  D a = from(A), b = from(B), h = from(H), q = from(Q), r = from(R);
  D x(4, std::vector<double>(1, 0.0)), p = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};
  for (int t = 0; t < 20; ++t) {
    const bool with_control = t % 3 == 0;
    Mat u(2, 1, {0.2f, -0.1f});
    ASSERT_EQ(vorn_kalman_predict(k, with_control ? u.m : nullptr), VORN_OK);
    D xp = dmul(a, x);
    if (with_control) xp = dadd(xp, dmul(b, from(u)));
    D pp = dadd(dmul(dmul(a, p), dtr(a)), q);
    expect_near(ms.predict_state, xp, 1e-4, "x'");
    expect_near(ms.predict_error_covariance, pp, 1e-4, "P'");

    Mat z(2, 1, {3.0f * t + (t % 2 ? 0.7f : -0.4f), 100.0f - 2.0f * t});
    ASSERT_EQ(vorn_kalman_correct(k, z), VORN_OK);
    D gain = dmul(dmul(pp, dtr(h)), dinv2(dadd(dmul(dmul(h, pp), dtr(h)), r)));
    x = dadd(xp, dmul(gain, dadd(from(z), dmul(h, xp), -1.0)));
    p = dadd(pp, dmul(gain, dmul(h, pp)), -1.0);
    expect_near(ms.prior_state, x, 1e-4, "x");
    expect_near(ms.prior_error_covariance, p, 1e-4, "P");
  }
  // After 20 frames the velocity estimate follows the track's (3, -2).
  EXPECT_NEAR(ms.prior_state->data[2], 3.0, 0.3);
  EXPECT_NEAR(ms.prior_state->data[3], -2.0, 0.3);
  // A control vector of the wrong size is the matrix library's size error.
  EXPECT_EQ(vorn_kalman_predict(k, Mat(3, 1)), VORN_E_PARAM);
  vorn_kalman_destroy(k);
}

TEST(Kalman, CreateChecksArgumentsAndReleasesOnEveryFailure) {
  vorn_kalman *k = reinterpret_cast<vorn_kalman *>(&k);
  vorn_kalman_params zero_state{0, 1, 0}, zero_measure{2, 0, 0};
  EXPECT_EQ(vorn_kalman_create(&zero_state, &k), VORN_E_PARAM);
  EXPECT_EQ(k, nullptr);
  EXPECT_EQ(vorn_kalman_create(&zero_measure, &k), VORN_E_PARAM);
  EXPECT_EQ(vorn_kalman_create(nullptr, &k), VORN_E_NULL);
  EXPECT_EQ(vorn_kalman_create(&zero_state, nullptr), VORN_E_NULL);
  for (uint32_t c : {0u, 2u}) {
    vorn_kalman_params p{4, 2, c};
    const int points = vorn_test::sweep_allocation_failures([&] {
      vorn_kalman *f = nullptr;
      const vorn_result r = vorn_kalman_create(&p, &f);
      if (r != VORN_OK) {
        EXPECT_EQ(r, VORN_E_NOMEM);
        EXPECT_EQ(f, nullptr);
        return false;
      }
      vorn_kalman_destroy(f);
      return true;
    });
    EXPECT_EQ(points, 1 + 2 * (c ? 15 : 14));
  }
}

}  // namespace
