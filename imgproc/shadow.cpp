// Shadow removal from a foreground mask: a foreground pixel that is darker than the background but keeps its
// chroma and its horizontal texture is taken for a cast shadow and cleared.
#include <stdlib.h>

#include "imgproc/imgproc_check.h"
#include "vorn_color.h"
#include "vorn_imgproc.h"

namespace vorn {
namespace {

// The planes a detector reads: luminance L and chroma A, B of the background and of the current frame.
struct ShadowPlanes {
  const uint8_t *bk_l, *bk_a, *bk_b;
  const uint8_t *cur_l, *cur_a, *cur_b;
};

// Horizontal texture at an interior pixel: right column minus left column of its 3x3 neighbourhood.
inline int32_t texture(const uint8_t *p, uint32_t w, size_t at) {
  const uint8_t *up = p + at - w, *mid = p + at, *down = p + at + w;
  return (int32_t)up[1] + mid[1] + down[1] - up[-1] - mid[-1] - down[-1];
}

// Confidence factor falling from 1 at 14 to 0 at 20: 1 below 15, else (20 - d) / 5.
inline double fade(int32_t d) { return d < 15 ? 1.0 : (double)(20 - d) / 5.0; }

// Full rule. Candidates: darker by at least 10, chroma within 20. Their factors (texture, chroma, luminance)
// multiply to a confidence; above 0.7 the pixel is shadow.
bool is_shadow_full(const ShadowPlanes &p, uint32_t w, size_t at) {
  int32_t dl = (int32_t)p.cur_l[at] - p.bk_l[at];
  int32_t da = abs((int32_t)p.cur_a[at] - p.bk_a[at]);
  int32_t db = abs((int32_t)p.cur_b[at] - p.bk_b[at]);
  if (!(dl <= -10 && da <= 20 && db <= 20)) return false;
  int32_t g_cur = texture(p.cur_l, w, at);
  int32_t dg = abs(g_cur - texture(p.bk_l, w, at));
  double f_tex;
  if (dg > 20) {
    // A texture change over strong current texture still passes.
    if (g_cur < 32) return false;
    f_tex = 1.0;
  } else {
    f_tex = fade(dg);
  }
  double f_a = fade(da), f_b = fade(db);
  double f_l = dl <= 0 ? 1.0 : (double)(-10 - dl) / -10.0;
  return f_b * f_l * f_a * f_tex > 0.7;
}

// Simple rule: not brighter, chroma within 5, texture within 5.
bool is_shadow_simple(const ShadowPlanes &p, uint32_t w, size_t at) {
  if ((int32_t)p.cur_l[at] - p.bk_l[at] > 0) return false;
  if (abs((int32_t)p.cur_a[at] - p.bk_a[at]) > 5 || abs((int32_t)p.cur_b[at] - p.bk_b[at]) > 5) return false;
  return abs(texture(p.cur_l, w, at) - texture(p.bk_l, w, at)) < 6;
}

template <bool (*IsShadow)(const ShadowPlanes &, uint32_t, size_t)>
vorn_result shadow_detect(vorn_mono_image *fg, const vorn_image *bk, const vorn_image *cur) {
  if (!fg || !bk || !cur) return VORN_E_NULL;
  if (!same_size(*bk, *fg) || !same_shape(*bk, *cur)) return VORN_E_PARAM;
  const uint32_t w = bk->width, h = bk->height;
  vorn_image *bk_yuv = nullptr, *cur_yuv = nullptr;
  const vorn_image *b = bk, *c = cur;
  int l = 0, a = 1, bb = 2;
  if (bk->format == VORN_FORMAT_HSV) {
    l = 2, a = 0, bb = 1;
  } else if (bk->format != VORN_FORMAT_YUV) {
    // Other formats are taken as RGB: converted to YUV, then read at the HSV plane positions.
    bk_yuv = vorn_image_alloc(w, h, VORN_FORMAT_YUV);
    cur_yuv = bk_yuv ? vorn_image_alloc(w, h, VORN_FORMAT_YUV) : nullptr;
    if (!cur_yuv) {
      vorn_image_free(bk_yuv);
      return VORN_E_NOMEM;
    }
    vorn_image tmp_bk = *bk, tmp_cur = *cur;
    tmp_bk.format = tmp_cur.format = VORN_FORMAT_RGB;
    vorn_image_rgb_to_yuv(&tmp_bk, bk_yuv);
    vorn_image_rgb_to_yuv(&tmp_cur, cur_yuv);
    b = bk_yuv, c = cur_yuv;
    l = 2, a = 0, bb = 1;
  }
  const ShadowPlanes p = {b->plane[l], b->plane[a], b->plane[bb], c->plane[l], c->plane[a], c->plane[bb]};
  for (uint32_t y = 1; y + 1 < h; ++y) {
    uint8_t *row = fg->data + (size_t)y * w;
    for (uint32_t x = 1; x + 1 < w; ++x) {
      if (row[x] != 0 && IsShadow(p, w, (size_t)y * w + x)) row[x] = 0;
    }
  }
  vorn_image_free(bk_yuv);
  vorn_image_free(cur_yuv);
  return VORN_OK;
}

}  // namespace
}  // namespace vorn

extern "C" {

VORN_API vorn_result vorn_image_shadow_detect(vorn_mono_image *fg, const vorn_image *bk, const vorn_image *cur) {
  return vorn::shadow_detect<vorn::is_shadow_full>(fg, bk, cur);
}

VORN_API vorn_result vorn_image_shadow_detect_simple(vorn_mono_image *fg, const vorn_image *bk,
                                                     const vorn_image *cur) {
  return vorn::shadow_detect<vorn::is_shadow_simple>(fg, bk, cur);
}

}  // extern "C"
