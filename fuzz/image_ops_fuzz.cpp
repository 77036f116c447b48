// The image operations with random sizes, now equal, now not, and random thresholds, kernels, window sizes and
// rectangles: differences, thresholds, xor, morphology, shadows, scene cuts, edges, Canny and the Laplacian.
// A call that refuses its operands must leave every destination as it was.
//
// Input: two sizes (1..40 x 1..30), a colour model, the pixel bytes, then the operations' settings.
#include <stdlib.h>
#include <string.h>

#include <vector>

#include "fuzz_input.h"
#include "vorn.h"

namespace {

vorn_image *colour(vorn_fuzz::Input &in, uint32_t w, uint32_t h, uint32_t format) {
  vorn_image *img = vorn_image_alloc(w, h, format);
  if (!img) abort();
  for (int p = 0; p < 3; ++p) in.bytes(img->plane[p], (size_t)w * h);
  return img;
}

vorn_mono_image *mono(vorn_fuzz::Input &in, uint32_t w, uint32_t h, bool binary) {
  vorn_mono_image *m = vorn_mono_image_alloc(w, h);
  if (!m) abort();
  in.bytes(m->data, (size_t)w * h);
  if (binary)
    for (size_t i = 0; i < (size_t)w * h; ++i) m->data[i] = m->data[i] & 1 ? 255 : 0;
  return m;
}

// A destination's bytes before a call, to check that a refusal wrote nothing.
struct Before {
  std::vector<uint8_t> bytes;
  explicit Before(const vorn_mono_image *m) : bytes(m->data, m->data + (size_t)m->width * m->height) {}
  bool same(const vorn_mono_image *m) const { return memcmp(bytes.data(), m->data, bytes.size()) == 0; }
};

void expect_untouched_on_refusal(vorn_result r, const Before &b, const vorn_mono_image *m) {
  if (r != VORN_OK && r != VORN_E_SCENE_CHANGE && !b.same(m)) abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const bool ready = (vorn_init(), true);
  (void)ready;
  vorn_fuzz::Input in(data, size);
  const uint32_t w = in.range(1, 40), h = in.range(1, 30);
  const bool same = in.u8() % 4 != 0;
  const uint32_t w2 = same ? w : in.range(1, 40), h2 = same ? h : in.range(1, 30);
  const uint32_t format = in.range(0, 2), format2 = in.u8() % 8 == 0 ? in.range(0, 2) : format;
  vorn_image *a = colour(in, w, h, format), *b = colour(in, w2, h2, format2), *out = colour(in, w, h, format);
  vorn_mono_image *ma = mono(in, w, h, true), *mb = mono(in, w2, h2, true), *mo = mono(in, w, h, false);
  vorn_mono_image *region = mono(in, in.u8() % 8 ? w : w2, h, true);
  const int32_t t = (int32_t)(int16_t)(in.u8() | in.u8() << 8);
  const uint32_t plane = in.u8() % 5 == 4 ? VORN_PLANE_ALL : in.u8();

  vorn_image_diff(a, b, out, plane);
  vorn_image_diff_binary(a, b, out, plane, t);
  vorn_image_binary(a, out, plane, t);
  {
    Before before(mo);
    expect_untouched_on_refusal(vorn_mono_image_diff(ma, mb, mo), before, mo);
  }
  {
    Before before(mo);
    expect_untouched_on_refusal(vorn_mono_image_xor(ma, mb, mo), before, mo);
  }
  vorn_mono_image_diff_binary(ma, mb, mo, t);
  vorn_mono_image_binary(ma, mo, t);
  vorn_image_diff_binary_to_mono_image(a, b, mo, (uint32_t)t);
  const vorn_rect r = {in.coord(40), in.coord(30), in.coord(40), in.coord(30)};
  const int32_t otsu = vorn_mono_image_otsu_threshold(ma, &r);
  if (otsu < 0 || otsu > 254) abort();

  const uint32_t n = in.u8() % 8 == 0 ? in.u32() : in.range(0, 6);
  {
    Before before(mo);
    expect_untouched_on_refusal(vorn_morpha_erosion(ma, mo, n, region), before, mo);
    vorn_morpha_dilation(ma, mo, n, region);
    vorn_morpha_window(ma, mo, n, region);
  }
  {
    Before before(ma);
    expect_untouched_on_refusal(vorn_image_shadow_detect(ma, a, b), before, ma);
    vorn_image_shadow_detect_simple(ma, a, b);
  }
  vorn_image_scenecut_detect(a, b, (uint32_t)t);
  vorn_image_scenecut_detect_edge(ma, mb);
  vorn_image_edge(a, mo, t, in.range(0, 3));
  std::vector<int32_t> deriv((size_t)w * h);
  vorn_image_deriv(a, deriv.data(), in.range(0, 3));

  void *canny = nullptr;
  if (vorn_canny_create(w, h, &canny) != VORN_OK) abort();
  vorn_canny_set_threshold(canny, in.u8(), in.u8());
  vorn_canny_process(canny, mo, ma);
  vorn_canny_process_rect(canny, mo, ma, r.left, r.top, r.right, r.bottom);
  vorn_canny_get_vertical_edge(canny, mo);
  vorn_canny_get_horizontal_edge(canny, mb);
  vorn_canny_destroy(canny);
  vorn_laplacian_rect(mo, ma, r.left, r.top, r.right, r.bottom, t);
  vorn_mono_image_draw_rect(mo, &r);

  vorn_image_free(a);
  vorn_image_free(b);
  vorn_image_free(out);
  for (vorn_mono_image *m : {ma, mb, mo, region}) vorn_mono_image_free(m);
  return 0;
}
