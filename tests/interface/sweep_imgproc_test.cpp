// Argument sweep entries: differencing, thresholds, morphology, shadows, scene cuts and edges.
#include "interface/sweep_table.h"

namespace vorn_probe {
namespace {

const Register kEntries{
    // --- differencing, thresholds, morphology ---
    E(vorn_image_diff, Args{"nnn", kSized | kFormat}, (const vorn_image *)w.yuv, (const vorn_image *)w.yuv2, w.yuv_out,
      VORN_PLANE_ALL),
    E(vorn_image_diff_binary, Args{"nnn", kSized | kFormat}, (const vorn_image *)w.yuv, (const vorn_image *)w.yuv2,
      w.yuv_out, VORN_PLANE_ALL, (int32_t)30),
    E(vorn_image_binary, Args{"nn", kSized | kFormat}, (const vorn_image *)w.yuv, w.yuv_out, VORN_PLANE_ALL, (int32_t)30),
    E(vorn_mono_image_diff, Args{"nnn", kSized}, (const vorn_mono_image *)w.mono, (const vorn_mono_image *)w.mono2,
      w.mono_out),
    E(vorn_mono_image_diff_binary, Args{"nnn", kSized}, (const vorn_mono_image *)w.mono,
      (const vorn_mono_image *)w.mono2, w.mono_out, (int32_t)30),
    E(vorn_mono_image_binary, Args{"nn", kSized}, (const vorn_mono_image *)w.mono, w.mono_out, (int32_t)30),
    E(vorn_image_diff_binary_to_mono_image, Args{"nnn", kSized | kFormat}, (const vorn_image *)w.yuv,
      (const vorn_image *)w.yuv2, w.mono_out, 40u),
    E(vorn_mono_image_xor, Args{"nnn", kSized}, (const vorn_mono_image *)w.mono, (const vorn_mono_image *)w.mono2,
      w.mono_out),
    // Answers a threshold, not a code: 1 for anything missing.
    B(vorn_mono_image_otsu_threshold, {
      p.call(vorn_mono_image_otsu_threshold, Args{"oo", 0, "o"}, (const vorn_mono_image *)w.mono, (const vorn_rect *)&w.rect);
      EXPECT_EQ(vorn_mono_image_otsu_threshold(nullptr, &w.rect), 1);
      EXPECT_EQ(vorn_mono_image_otsu_threshold(w.mono, nullptr), 1);
      vorn_mono_image hollow = {kW, kH, nullptr};
      EXPECT_EQ(vorn_mono_image_otsu_threshold(&hollow, &w.rect), 1);
    }),
    E(vorn_morpha_erosion, Args{"nnn", kSized}, (const vorn_mono_image *)w.mono_out, w.mono, 1u,
      (const vorn_mono_image *)w.region),
    E(vorn_morpha_dilation, Args{"nnn", kSized}, (const vorn_mono_image *)w.mono_out, w.mono, 1u,
      (const vorn_mono_image *)w.region),
    E(vorn_morpha_window, Args{"nnn", kSized}, (const vorn_mono_image *)w.mono_out, w.mono, 1u,
      (const vorn_mono_image *)w.region),

    // --- shadows, scene cuts, edges ---
    E(vorn_image_shadow_detect, Args{"nnn", kSized | kFormat}, w.mono_out, (const vorn_image *)w.yuv,
      (const vorn_image *)w.yuv2),
    E(vorn_image_shadow_detect_simple, Args{"nnn", kSized | kFormat}, w.mono_out, (const vorn_image *)w.yuv,
      (const vorn_image *)w.yuv2),
    E(vorn_image_scenecut_detect, Args{"nn", kSized | kFormat}, (const vorn_image *)w.yuv, (const vorn_image *)w.yuv2,
      40u),
    E(vorn_image_scenecut_detect_edge, Args{"nn", kSized}, (const vorn_mono_image *)w.mono_out,
      (const vorn_mono_image *)w.region),
    E(vorn_image_edge, Args{"nn", kSized}, (const vorn_image *)w.yuv, w.mono_out, (int32_t)40, 0u),
    E(vorn_image_deriv, Args{"nn"}, (const vorn_image *)w.yuv, w.int_plane, 0u),
    E(vorn_canny_create, Args{"n"}, kW, kH, out(vorn_canny_destroy)),
    E(vorn_canny_destroy, Args{"n", kConsumes}, w.canny),
    E(vorn_canny_set_threshold, Args{"n"}, w.canny, 20u, 60u),
    E(vorn_canny_process, Args{"nnn", kSized}, w.canny, w.mono_out, (const vorn_mono_image *)w.mono),
    E(vorn_canny_process_rect, Args{"nnn", kSized}, w.canny, w.mono_out, (const vorn_mono_image *)w.mono, (int32_t)2,
      (int32_t)2, (int32_t)20, (int32_t)18),
    E(vorn_canny_get_vertical_edge, Args{"nn", kSized}, w.canny, w.mono_out),
    E(vorn_canny_get_horizontal_edge, Args{"nn", kSized}, w.canny, w.mono_out),
    E(vorn_laplacian_rect, Args{"nn", kSized}, w.mono_out, (const vorn_mono_image *)w.mono, (int32_t)2, (int32_t)2,
      (int32_t)20, (int32_t)18, (int32_t)10),

};

}  // namespace
}  // namespace vorn_probe
