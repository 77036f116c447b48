// Shadow removal from a foreground mask: a foreground pixel that is darker than the background but keeps its
// chroma and its horizontal texture is taken for a cast shadow and cleared.
//
// Planes by the background's format: YUV reads luminance L from plane 0 and chroma A, B from planes 1, 2; HSV
// reads L from plane 2 and A, B from planes 0, 1; RGB frames are converted to YUV and then read at the HSV
// positions (L = the V plane, A = Y, B = U). The conversion runs row by row into a small ring of rows, each
// source row converted once, and only around rows that hold foreground; the bytes are those of
// vorn_image_rgb_to_yuv.
#include <stdlib.h>
#include <string.h>

#include "color/convert_rows.h"
#include "core/memory.h"
#include "imgproc/imgproc_check.h"
#include "vorn_imgproc.h"

namespace vorn {
namespace {

// One output row's view of both images: L on the rows above, at and below, A and B on the row itself.
struct ShadowRows {
  const uint8_t *bk_l[3], *cur_l[3];
  const uint8_t *bk_a, *bk_b, *cur_a, *cur_b;
};

// Horizontal texture at column x: right column minus left column of the 3x3 neighbourhood.
inline int32_t texture(const uint8_t *const l[3], uint32_t x) {
  return (int32_t)l[0][x + 1] + l[1][x + 1] + l[2][x + 1] - l[0][x - 1] - l[1][x - 1] - l[2][x - 1];
}

// Confidence factor falling from 1 at 14 to 0 at 20: 1 below 15, else (20 - d) / 5.
inline double fade(int32_t d) { return d < 15 ? 1.0 : (double)(20 - d) / 5.0; }

// Full rule. Candidates: darker by at least 10, chroma within 20. Their factors (texture, chroma, luminance)
// multiply to a confidence; above 0.7 the pixel is shadow.
bool is_shadow_full(const ShadowRows &p, uint32_t x) {
  int32_t dl = (int32_t)p.cur_l[1][x] - p.bk_l[1][x];
  int32_t da = abs((int32_t)p.cur_a[x] - p.bk_a[x]);
  int32_t db = abs((int32_t)p.cur_b[x] - p.bk_b[x]);
  if (!(dl <= -10 && da <= 20 && db <= 20)) return false;
  int32_t g_cur = texture(p.cur_l, x);
  int32_t dg = abs(g_cur - texture(p.bk_l, x));
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
bool is_shadow_simple(const ShadowRows &p, uint32_t x) {
  if ((int32_t)p.cur_l[1][x] - p.bk_l[1][x] > 0) return false;
  if (abs((int32_t)p.cur_a[x] - p.bk_a[x]) > 5 || abs((int32_t)p.cur_b[x] - p.bk_b[x]) > 5) return false;
  return abs(texture(p.cur_l, x) - texture(p.bk_l, x)) < 6;
}

// Rows of an RGB image converted to YUV on demand, three rows kept (slot = row % 3).
struct YuvRowRing {
  const vorn_image *src;
  uint8_t *y[3], *u[3], *v[3];
  int64_t held[3];
  const ColorKernels *k;

  void init(const vorn_image *img, uint8_t *buf, const ColorKernels *kernels) {
    src = img;
    k = kernels;
    for (int s = 0; s < 3; ++s) {
      y[s] = buf + (size_t)(3 * s) * img->width;
      u[s] = y[s] + img->width;
      v[s] = u[s] + img->width;
      held[s] = -1;
    }
  }
  int slot(uint32_t row) {
    int s = (int)(row % 3);
    if (held[s] != row) {
      size_t at = (size_t)row * src->width;
      k->rgb_to_yuv(src->plane[0] + at, src->plane[1] + at, src->plane[2] + at, y[s], u[s], v[s],
                    (int)src->width);
      held[s] = row;
    }
    return s;
  }
};

constexpr uint32_t kStackWidth = 2048;

template <bool (*IsShadow)(const ShadowRows &, uint32_t)>
vorn_result shadow_detect(vorn_mono_image *fg, const vorn_image *bk, const vorn_image *cur) {
  if (!present(fg) || !present(bk) || !present(cur)) return VORN_E_NULL;
  if (!same_size(*bk, *fg) || !same_shape(*bk, *cur)) return VORN_E_PARAM;
  const uint32_t w = bk->width, h = bk->height;
  const bool rgb = bk->format != VORN_FORMAT_YUV && bk->format != VORN_FORMAT_HSV;
  // Ring rows for both images: 2 images x 3 rows x 3 planes.
  uint8_t stack_rows[18 * kStackWidth];
  uint8_t *rows = stack_rows;
  uint8_t *block = nullptr;
  if (rgb && w > kStackWidth) {
    block = block_new<uint8_t>((size_t)18 * w);
    if (!block) return VORN_E_NOMEM;
    rows = block;
  }
  if (h < 3 || w < 3) {
    block_release(block);
    return VORN_OK;
  }
  YuvRowRing bk_ring = {}, cur_ring = {};
  if (rgb) {
    bk_ring.init(bk, rows, color_kernels());
    cur_ring.init(cur, rows + (size_t)9 * w, color_kernels());
  }
  const int l = bk->format == VORN_FORMAT_YUV ? 0 : 2;
  const int a = bk->format == VORN_FORMAT_YUV ? 1 : 0;
  const int b = bk->format == VORN_FORMAT_YUV ? 2 : 1;
  for (uint32_t y = 1; y + 1 < h; ++y) {
    uint8_t *mask = fg->data + (size_t)y * w;
    // Rows without foreground inside the border need nothing.
    uint32_t first = 1;
    while (first + 1 < w && mask[first] == 0) ++first;
    if (first + 1 >= w) continue;
    ShadowRows p;
    if (rgb) {
      // L = V, A = Y, B = U of the converted rows.
      for (int r = 0; r < 3; ++r) {
        p.bk_l[r] = bk_ring.v[bk_ring.slot(y - 1 + r)];
        p.cur_l[r] = cur_ring.v[cur_ring.slot(y - 1 + r)];
      }
      int sb = bk_ring.slot(y), sc = cur_ring.slot(y);
      p.bk_a = bk_ring.y[sb], p.bk_b = bk_ring.u[sb];
      p.cur_a = cur_ring.y[sc], p.cur_b = cur_ring.u[sc];
    } else {
      const size_t at = (size_t)y * w;
      for (int r = 0; r < 3; ++r) {
        const size_t row = (size_t)(y - 1 + (uint32_t)r) * w;  // rows y - 1 .. y + 1, never below the plane
        p.bk_l[r] = bk->plane[l] + row;
        p.cur_l[r] = cur->plane[l] + row;
      }
      p.bk_a = bk->plane[a] + at, p.bk_b = bk->plane[b] + at;
      p.cur_a = cur->plane[a] + at, p.cur_b = cur->plane[b] + at;
    }
    for (uint32_t x = first; x + 1 < w; ++x)
      if (mask[x] != 0 && IsShadow(p, x)) mask[x] = 0;
  }
  block_release(block);
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
