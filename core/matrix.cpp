// Dense single-precision matrices: allocation, element access and the element-wise and product operations.
// All arithmetic goes through one element-wise and one product loop over strided views, so a transposed operand
// is only a swap of its two strides; sums run over the inner index in increasing order from 0.
#include <string.h>

#include "core/memory.h"
#include "vorn_matrix.h"

namespace vorn {
namespace {

// Element (i, j) of a matrix, possibly transposed, is p[i * si + j * sj].
struct View {
  const float *p;
  int32_t si, sj;
  float at(int32_t i, int32_t j) const { return p[(ptrdiff_t)i * si + (ptrdiff_t)j * sj]; }
};

View plain(const vorn_matrix *m) { return View{m->data, m->cols, 1}; }
View trans(const vorn_matrix *m) { return View{m->data, 1, m->cols}; }

bool same_shape(const vorn_matrix *a, const vorn_matrix *b) { return a->rows == b->rows && a->cols == b->cols; }
bool shape_is(const vorn_matrix *m, int32_t rows, int32_t cols) { return m->rows == rows && m->cols == cols; }

// c(i, j) = a(i, j) + sign * b(i, j) over c's shape.
void elementwise(View a, View b, float sign, vorn_matrix *c) {
  for (int32_t i = 0; i < c->rows; ++i) {
    float *row = c->data + (ptrdiff_t)i * c->cols;
    for (int32_t j = 0; j < c->cols; ++j) row[j] = sign > 0 ? a.at(i, j) + b.at(i, j) : a.at(i, j) - b.at(i, j);
  }
}

enum class Tail { kNone, kAdd, kSubtractFrom };

// d(i, j) = sum_k a(i, k) b(k, j), then + e(i, j) (kAdd) or e(i, j) - sum (kSubtractFrom), over d's shape.
void product(View a, View b, int32_t inner, Tail tail, View e, vorn_matrix *d) {
  for (int32_t i = 0; i < d->rows; ++i) {
    float *row = d->data + (ptrdiff_t)i * d->cols;
    for (int32_t j = 0; j < d->cols; ++j) {
      float s = 0.0f;
      for (int32_t k = 0; k < inner; ++k) s += a.at(i, k) * b.at(k, j);
      if (tail == Tail::kAdd) s = s + e.at(i, j);
      else if (tail == Tail::kSubtractFrom) s = e.at(i, j) - s;
      row[j] = s;
    }
  }
}

const View kNoView{nullptr, 0, 0};

}  // namespace
}  // namespace vorn

using namespace vorn;

#define VORN_MATRIX_CHECK_NULL(...)                                        \
  do {                                                                     \
    const vorn_matrix *ms_[] = {__VA_ARGS__};                              \
    for (const vorn_matrix *m_ : ms_)                                      \
      if (!m_ || (!m_->data && m_->rows > 0 && m_->cols > 0)) return VORN_E_NULL; \
  } while (0)

extern "C" {

VORN_API vorn_matrix *vorn_matrix_alloc(uint32_t rows, uint32_t cols) {
  uint32_t n;
  if (rows > INT32_MAX || cols > INT32_MAX || !area_u32(rows, cols, &n)) return nullptr;
  vorn_matrix *m = block_new<vorn_matrix>();
  if (!m) return nullptr;
  m->rows = (int32_t)rows;
  m->cols = (int32_t)cols;
  m->data = block_new<float>(n);
  if (!m->data) {
    vorn_free(m);
    return nullptr;
  }
  return m;
}

VORN_API void vorn_matrix_free(vorn_matrix *m) {
  if (!m) return;
  block_release(m->data);
  vorn_free(m);
}

VORN_API float *vorn_matrix_get_line(vorn_matrix *m, int32_t row) {
  if (!m || !m->data || row < 0 || row >= m->rows) return nullptr;
  return m->data + (ptrdiff_t)row * m->cols;
}

VORN_API float vorn_matrix_get_value(const vorn_matrix *m, int32_t col, int32_t row) {
  if (!m || !m->data || col < 0 || row < 0 || col >= m->cols || row >= m->rows) return 0.0f;
  return m->data[(ptrdiff_t)row * m->cols + col];
}

VORN_API vorn_result vorn_matrix_set_value(vorn_matrix *m, int32_t col, int32_t row, float value) {
  if (!m || !m->data) return VORN_E_NULL;
  if (col < 0 || row < 0 || col >= m->cols || row >= m->rows) return VORN_OK;
  m->data[(ptrdiff_t)row * m->cols + col] = value;
  return VORN_OK;
}

VORN_API vorn_result vorn_matrix_zero(vorn_matrix *m) {
  VORN_MATRIX_CHECK_NULL(m);
  for (int32_t i = 0; i < m->rows; ++i)
    for (int32_t j = 0; j < m->cols; ++j) m->data[(ptrdiff_t)i * m->cols + j] = 0.0f;
  return VORN_OK;
}

VORN_API vorn_result vorn_matrix_normal(vorn_matrix *m, float f) {
  VORN_MATRIX_CHECK_NULL(m);
  for (int32_t i = 0; i < m->rows; ++i)
    for (int32_t j = 0; j < m->cols; ++j) m->data[(ptrdiff_t)i * m->cols + j] = i == j ? f : 0.0f;
  return VORN_OK;
}

VORN_API vorn_result vorn_matrix_copy(const vorn_matrix *src, vorn_matrix *dst) {
  VORN_MATRIX_CHECK_NULL(src, dst);
  if (!same_shape(src, dst)) return VORN_E_PARAM;
  if (src->rows > 0 && src->cols > 0 && src != dst)
    memmove(dst->data, src->data, (size_t)src->rows * (size_t)src->cols * sizeof(float));
  return VORN_OK;
}

VORN_API vorn_result vorn_matrix_transpose(const vorn_matrix *src, vorn_matrix *dst) {
  VORN_MATRIX_CHECK_NULL(src, dst);
  if (src->rows != dst->cols || src->cols != dst->rows) return VORN_E_PARAM;
  View s = trans(src);
  for (int32_t i = 0; i < dst->rows; ++i)
    for (int32_t j = 0; j < dst->cols; ++j) dst->data[(ptrdiff_t)i * dst->cols + j] = s.at(i, j);
  return VORN_OK;
}

VORN_API vorn_result vorn_matrix_add(const vorn_matrix *a, const vorn_matrix *b, vorn_matrix *c) {
  VORN_MATRIX_CHECK_NULL(a, b, c);
  if (!same_shape(a, b) || !same_shape(a, c)) return VORN_E_PARAM;
  elementwise(plain(a), plain(b), 1.0f, c);
  return VORN_OK;
}

VORN_API vorn_result vorn_matrix_add_t1(const vorn_matrix *a, const vorn_matrix *b, vorn_matrix *c) {
  VORN_MATRIX_CHECK_NULL(a, b, c);
  if (a->cols != b->rows || a->rows != b->cols || !same_shape(c, b)) return VORN_E_PARAM;
  elementwise(trans(a), plain(b), 1.0f, c);
  return VORN_OK;
}

VORN_API vorn_result vorn_matrix_add_t2(const vorn_matrix *a, const vorn_matrix *b, vorn_matrix *c) {
  VORN_MATRIX_CHECK_NULL(a, b, c);
  if (a->rows != b->cols || a->cols != b->rows || !same_shape(c, a)) return VORN_E_PARAM;
  elementwise(plain(a), trans(b), 1.0f, c);
  return VORN_OK;
}

VORN_API vorn_result vorn_matrix_sub(const vorn_matrix *a, const vorn_matrix *b, vorn_matrix *c) {
  VORN_MATRIX_CHECK_NULL(a, b, c);
  if (!same_shape(a, b) || !same_shape(a, c)) return VORN_E_PARAM;
  elementwise(plain(a), plain(b), -1.0f, c);
  return VORN_OK;
}

VORN_API vorn_result vorn_matrix_sub_t1(const vorn_matrix *a, const vorn_matrix *b, vorn_matrix *c) {
  VORN_MATRIX_CHECK_NULL(a, b, c);
  if (a->cols != b->rows || a->rows != b->cols || !same_shape(c, b)) return VORN_E_PARAM;
  elementwise(trans(a), plain(b), -1.0f, c);
  return VORN_OK;
}

VORN_API vorn_result vorn_matrix_sub_t2(const vorn_matrix *a, const vorn_matrix *b, vorn_matrix *c) {
  VORN_MATRIX_CHECK_NULL(a, b, c);
  if (a->rows != b->cols || a->cols != b->rows || !same_shape(c, a)) return VORN_E_PARAM;
  elementwise(plain(a), trans(b), -1.0f, c);
  return VORN_OK;
}

VORN_API vorn_result vorn_matrix_mul(const vorn_matrix *a, const vorn_matrix *b, vorn_matrix *c) {
  VORN_MATRIX_CHECK_NULL(a, b, c);
  if (a->cols != b->rows || !shape_is(c, a->rows, b->cols)) return VORN_E_PARAM;
  product(plain(a), plain(b), a->cols, Tail::kNone, kNoView, c);
  return VORN_OK;
}

VORN_API vorn_result vorn_matrix_mul_t1(const vorn_matrix *a, const vorn_matrix *b, vorn_matrix *c) {
  VORN_MATRIX_CHECK_NULL(a, b, c);
  if (a->rows != b->rows || !shape_is(c, a->cols, b->cols)) return VORN_E_PARAM;
  product(trans(a), plain(b), a->rows, Tail::kNone, kNoView, c);
  return VORN_OK;
}

VORN_API vorn_result vorn_matrix_mul_t2(const vorn_matrix *a, const vorn_matrix *b, vorn_matrix *c) {
  VORN_MATRIX_CHECK_NULL(a, b, c);
  if (a->cols != b->cols || !shape_is(c, a->rows, b->rows)) return VORN_E_PARAM;
  product(plain(a), trans(b), a->cols, Tail::kNone, kNoView, c);
  return VORN_OK;
}

VORN_API vorn_result vorn_matrix_mul_add(const vorn_matrix *a, const vorn_matrix *b, const vorn_matrix *c,
                                         vorn_matrix *d) {
  VORN_MATRIX_CHECK_NULL(a, b, c, d);
  if (a->cols != b->rows || !shape_is(d, a->rows, b->cols) || !same_shape(c, d)) return VORN_E_PARAM;
  product(plain(a), plain(b), a->cols, Tail::kAdd, plain(c), d);
  return VORN_OK;
}

VORN_API vorn_result vorn_matrix_mul_add_t1(const vorn_matrix *a, const vorn_matrix *b, const vorn_matrix *c,
                                            vorn_matrix *d) {
  VORN_MATRIX_CHECK_NULL(a, b, c, d);
  // The addend is checked against a's row count (not its column count) but read with d's row indices; for a
  // with fewer rows than columns that would run past the addend, so that case is refused as a shape error.
  if (a->rows != b->rows || !shape_is(d, a->cols, b->cols) || !shape_is(c, a->rows, b->cols)) return VORN_E_PARAM;
  if (d->rows > c->rows) return VORN_E_PARAM;
  product(trans(a), plain(b), a->rows, Tail::kAdd, plain(c), d);
  return VORN_OK;
}

VORN_API vorn_result vorn_matrix_mul_add_t2(const vorn_matrix *a, const vorn_matrix *b, const vorn_matrix *c,
                                            vorn_matrix *d) {
  VORN_MATRIX_CHECK_NULL(a, b, c, d);
  if (a->cols != b->cols || !shape_is(d, a->rows, b->rows) || !same_shape(c, d)) return VORN_E_PARAM;
  product(plain(a), trans(b), a->cols, Tail::kAdd, plain(c), d);
  return VORN_OK;
}

VORN_API vorn_result vorn_matrix_mul_add_t3(const vorn_matrix *a, const vorn_matrix *b, const vorn_matrix *c,
                                            vorn_matrix *d) {
  VORN_MATRIX_CHECK_NULL(a, b, c, d);
  if (a->cols != b->rows || !shape_is(d, a->rows, b->cols) || !shape_is(c, d->cols, d->rows)) return VORN_E_PARAM;
  product(plain(a), plain(b), a->cols, Tail::kAdd, trans(c), d);
  return VORN_OK;
}

VORN_API vorn_result vorn_matrix_sub_mul(const vorn_matrix *a, const vorn_matrix *b, const vorn_matrix *c,
                                         vorn_matrix *d) {
  VORN_MATRIX_CHECK_NULL(a, b, c, d);
  if (b->cols != c->rows || !shape_is(d, b->rows, c->cols) || !same_shape(a, d)) return VORN_E_PARAM;
  product(plain(b), plain(c), b->cols, Tail::kSubtractFrom, plain(a), d);
  return VORN_OK;
}

VORN_API void vorn_matrix_printf(const vorn_matrix *) {}

}  // extern "C"
