#include "core/rect.h"

namespace vorn {
namespace {

int32_t clamp_to(int32_t v, int32_t hi) {
  if (v < 0) v = 0;
  if (v > hi) v = hi;
  return v;
}

}  // namespace

bool rect_clamp(vorn_rect *r, int32_t w, int32_t h) {
  r->left = clamp_to(r->left, w);
  r->right = clamp_to(r->right, w);
  r->top = clamp_to(r->top, h);
  r->bottom = clamp_to(r->bottom, h);
  if (r->left == r->right) return false;
  return r->top != r->bottom;
}

int rect_intersect(const vorn_rect &a, const vorn_rect &b, vorn_rect *out) {
  vorn_rect o;
  o.left = a.left > b.left ? a.left : b.left;
  o.top = a.top > b.top ? a.top : b.top;
  o.right = a.right < b.right ? a.right : b.right;
  o.bottom = a.bottom < b.bottom ? a.bottom : b.bottom;
  if (o.left < o.right && o.top < o.bottom) {
    *out = o;
    return 1;
  }
  *out = vorn_rect{0, 0, 0, 0};
  return 0;
}

}  // namespace vorn
