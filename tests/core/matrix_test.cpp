#include <math.h>

#include <initializer_list>
#include <vector>

#include <gtest/gtest.h>

#include "core/fault_inject.h"
#include "support/test_support.h"
#include "vorn.h"

namespace {

// A matrix filled row by row from a list.
vorn_matrix *make(int rows, int cols, std::initializer_list<float> values = {}) {
  vorn_matrix *m = vorn_matrix_alloc((uint32_t)rows, (uint32_t)cols);
  int i = 0;
  for (float v : values) m->data[i++] = v;
  return m;
}

std::vector<float> elements(const vorn_matrix *m) {
  return std::vector<float>(m->data, m->data + m->rows * m->cols);
}

struct Owned {
  std::vector<vorn_matrix *> ms;
  vorn_matrix *operator()(int r, int c, std::initializer_list<float> v = {}) {
    ms.push_back(make(r, c, v));
    return ms.back();
  }
  ~Owned() {
    for (vorn_matrix *m : ms) vorn_matrix_free(m);
  }
};

TEST(Matrix, ElementAccessTakesColumnFirst) {
  Owned M;
  vorn_matrix *m = M(3, 2, {1, 2, 3, 4, 5, 6});
  EXPECT_EQ(vorn_matrix_get_value(m, 2, 0), 0.0f);  // column 2 does not exist
  EXPECT_EQ(vorn_matrix_get_value(m, 1, 2), 6.0f);  // row 2, column 1
  EXPECT_EQ(vorn_matrix_get_value(m, 0, 3), 0.0f);
  EXPECT_EQ(vorn_matrix_get_value(m, -1, 0), 0.0f);
  vorn_matrix_set_value(m, 0, 1, 9.0f);
  vorn_matrix_set_value(m, 5, 5, 9.0f);  // out of range: nothing
  EXPECT_EQ(elements(m), (std::vector<float>{1, 2, 9, 4, 5, 6}));
  EXPECT_EQ(vorn_matrix_get_line(m, 1), m->data + 2);
  EXPECT_EQ(vorn_matrix_get_line(m, 3), nullptr);
  vorn_matrix *z = M(2, 3, {1, 1, 1, 1, 1, 1});
  vorn_matrix_normal(z, 3.0f);
  EXPECT_EQ(elements(z), (std::vector<float>{3, 0, 0, 0, 3, 0}));
  vorn_matrix_zero(z);
  EXPECT_EQ(elements(z), (std::vector<float>(6, 0.0f)));
}

TEST(Matrix, ElementwiseAndTransposedShapes) {
  Owned M;
  vorn_matrix *a = M(2, 3, {1, 2, 3, 4, 5, 6});
  vorn_matrix *b = M(2, 3, {10, 20, 30, 40, 50, 60});
  vorn_matrix *c = M(2, 3);
  ASSERT_EQ(vorn_matrix_add(a, b, c), VORN_OK);
  EXPECT_EQ(elements(c), (std::vector<float>{11, 22, 33, 44, 55, 66}));
  ASSERT_EQ(vorn_matrix_sub(b, a, b), VORN_OK);  // destination may be a source
  EXPECT_EQ(elements(b), (std::vector<float>{9, 18, 27, 36, 45, 54}));

  vorn_matrix *bt = M(3, 2, {1, 1, 1, 1, 1, 1});
  vorn_matrix *ct = M(3, 2);
  ASSERT_EQ(vorn_matrix_sub_t1(a, bt, ct), VORN_OK);  // a' - b, a 2x3 needs b and c 3x2
  EXPECT_EQ(elements(ct), (std::vector<float>{0, 3, 1, 4, 2, 5}));
  ASSERT_EQ(vorn_matrix_add_t1(a, bt, ct), VORN_OK);
  EXPECT_EQ(elements(ct), (std::vector<float>{2, 5, 3, 6, 4, 7}));
  EXPECT_EQ(vorn_matrix_sub_t1(a, b, ct), VORN_E_PARAM);
  ASSERT_EQ(vorn_matrix_add_t2(a, bt, c), VORN_OK);  // a + b'
  EXPECT_EQ(elements(c), (std::vector<float>{2, 3, 4, 5, 6, 7}));
  ASSERT_EQ(vorn_matrix_sub_t2(a, bt, c), VORN_OK);
  EXPECT_EQ(elements(c), (std::vector<float>{0, 1, 2, 3, 4, 5}));

  vorn_matrix *t = M(3, 2);
  ASSERT_EQ(vorn_matrix_transpose(a, t), VORN_OK);
  EXPECT_EQ(elements(t), (std::vector<float>{1, 4, 2, 5, 3, 6}));
  EXPECT_EQ(vorn_matrix_transpose(a, c), VORN_E_PARAM);
  EXPECT_EQ(vorn_matrix_copy(a, t), VORN_E_PARAM);
  ASSERT_EQ(vorn_matrix_copy(a, c), VORN_OK);
  EXPECT_EQ(elements(c), elements(a));
  // A refused operation writes nothing.
  std::vector<float> before = elements(c);
  EXPECT_EQ(vorn_matrix_add(a, t, c), VORN_E_PARAM);
  EXPECT_EQ(elements(c), before);
}

// Products against a plain reference written here, on shapes where every transposition variant applies.
TEST(Matrix, ProductsMatchReferenceSums) {
  Owned M;
  vorn_matrix *a = M(2, 3, {1, -2, 3, 0.5f, 4, -1});
  vorn_matrix *b = M(3, 4, {1, 2, 3, 4, 5, 6, 7, 8, -1, -2, -3, -4});
  vorn_matrix *ab = M(2, 4);
  ASSERT_EQ(vorn_matrix_mul(a, b, ab), VORN_OK);
  EXPECT_EQ(elements(ab), (std::vector<float>{-12, -16, -20, -24, 21.5f, 27, 32.5f, 38}));

  vorn_matrix *bt = M(4, 3);
  vorn_matrix_transpose(b, bt);
  vorn_matrix *ab2 = M(2, 4);
  ASSERT_EQ(vorn_matrix_mul_t2(a, bt, ab2), VORN_OK);  // a (2x3) and b (4x3) need c 2x4
  EXPECT_EQ(elements(ab2), elements(ab));
  EXPECT_EQ(vorn_matrix_mul_t2(a, b, ab2), VORN_E_PARAM);

  vorn_matrix *at = M(3, 2);
  vorn_matrix_transpose(a, at);
  ASSERT_EQ(vorn_matrix_mul_t1(at, b, ab2), VORN_OK);
  EXPECT_EQ(elements(ab2), elements(ab));

  vorn_matrix *c = M(2, 4, {1, 1, 1, 1, 2, 2, 2, 2});
  vorn_matrix *d = M(2, 4);
  ASSERT_EQ(vorn_matrix_mul_add(a, b, c, d), VORN_OK);
  EXPECT_EQ(elements(d), (std::vector<float>{-11, -15, -19, -23, 23.5f, 29, 34.5f, 40}));
  ASSERT_EQ(vorn_matrix_mul_add_t2(a, bt, c, d), VORN_OK);
  EXPECT_EQ(elements(d), (std::vector<float>{-11, -15, -19, -23, 23.5f, 29, 34.5f, 40}));
  vorn_matrix *ct = M(4, 2);
  vorn_matrix_transpose(c, ct);
  ASSERT_EQ(vorn_matrix_mul_add_t3(a, b, ct, d), VORN_OK);
  EXPECT_EQ(elements(d), (std::vector<float>{-11, -15, -19, -23, 23.5f, 29, 34.5f, 40}));
  EXPECT_EQ(vorn_matrix_mul_add_t3(a, b, c, d), VORN_E_PARAM);
  ASSERT_EQ(vorn_matrix_sub_mul(c, a, b, d), VORN_OK);  // c - a b
  EXPECT_EQ(elements(d), (std::vector<float>{13, 17, 21, 25, -19.5f, -25, -30.5f, -36}));
}

TEST(Matrix, MulAddT1ChecksAddendAgainstRowsOfA) {
  Owned M;
  // a 3x2: a' b is 2x2, and the addend is checked as a.rows x b.cols = 3x2.
  vorn_matrix *a = M(3, 2, {1, 2, 3, 4, 5, 6});
  vorn_matrix *b = M(3, 2, {1, 0, 0, 1, 1, 1});
  vorn_matrix *d = M(2, 2);
  vorn_matrix *c_as_d = M(2, 2, {100, 100, 100, 100});
  EXPECT_EQ(vorn_matrix_mul_add_t1(a, b, c_as_d, d), VORN_E_PARAM);
  vorn_matrix *c = M(3, 2, {100, 200, 300, 400, 500, 600});
  ASSERT_EQ(vorn_matrix_mul_add_t1(a, b, c, d), VORN_OK);
  // a' b = [[6, 8], [8, 10]]; the addend is read at d's indices with its own row stride.
  EXPECT_EQ(elements(d), (std::vector<float>{106, 208, 308, 410}));
  // Square a: addend of d's shape.
  vorn_matrix *sq = M(2, 2, {1, 2, 3, 4});
  ASSERT_EQ(vorn_matrix_mul_add_t1(sq, sq, c_as_d, d), VORN_OK);
  EXPECT_EQ(elements(d), (std::vector<float>{110, 114, 114, 120}));
}

TEST(Matrix, InversePivotsAndUnswaps) {
  Owned M;
  vorn_matrix *swap = M(2, 2, {0, 1, 1, 0});
  ASSERT_EQ(vorn_matrix_inverse(swap), VORN_OK);
  EXPECT_EQ(elements(swap), (std::vector<float>{0, 1, 1, 0}));
  vorn_matrix *diag = M(2, 2, {2, 0, 0, 4});
  ASSERT_EQ(vorn_matrix_inverse(diag), VORN_OK);
  EXPECT_EQ(elements(diag), (std::vector<float>{0.5f, 0, 0, 0.25f}));
  vorn_matrix *singular = M(2, 2, {1, 2, 2, 4});
  EXPECT_EQ(vorn_matrix_inverse(singular), VORN_E_NO_RESULT);
  vorn_matrix *wide = M(2, 3, {1, 2, 3, 4, 5, 6});
  EXPECT_EQ(vorn_matrix_inverse(wide), VORN_E_PARAM);
  EXPECT_EQ(elements(wide), (std::vector<float>{1, 2, 3, 4, 5, 6}));
  vorn_matrix *empty = M(0, 0);
  EXPECT_EQ(vorn_matrix_inverse(empty), VORN_OK);

  // A general 4x4 with row and column pivots: m * inv(m) is the identity.
  vorn_matrix *m = M(4, 4, {1, 2, 0, 7, 3, -1, 4, 0.5f, 0, 6, 2, 1, -2, 1, 9, 3});
  vorn_matrix *inv = M(4, 4);
  vorn_matrix_copy(m, inv);
  ASSERT_EQ(vorn_matrix_inverse(inv), VORN_OK);
  vorn_matrix *id = M(4, 4);
  vorn_matrix_mul(m, inv, id);
  for (int i = 0; i < 4; ++i)
    for (int j = 0; j < 4; ++j) EXPECT_NEAR(vorn_matrix_get_value(id, j, i), i == j ? 1.0 : 0.0, 1e-5);

  // Up to 16 x 16 the pivot tables take no block; a larger matrix's block fails cleanly and leaves it untouched.
  vorn_matrix *small = M(2, 2, {2, 0, 0, 4});
  if (vorn::fault_inject_available()) {
    EXPECT_EQ(vorn_test::sweep_allocation_failures([&] { return vorn_matrix_inverse(small) == VORN_OK; }), 0);
  }
  vorn_matrix *keep = M(17, 17);
  vorn_matrix_normal(keep, 2.0f);
  const std::vector<float> before = elements(keep);
  EXPECT_EQ(vorn_test::sweep_allocation_failures([&] {
              vorn_result r = vorn_matrix_inverse(keep);
              if (r == VORN_E_NOMEM) {
                EXPECT_EQ(elements(keep), before);
              }
              return r == VORN_OK;
            }),
            1);
  EXPECT_EQ(vorn_matrix_get_value(keep, 16, 16), 0.5f);
}

}  // namespace
