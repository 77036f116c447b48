// Argument sweep entries: objects, Kalman filter, pyramids, optical flow, features, mean shift, the tracker.
#include "interface/sweep_table.h"

namespace vorn_probe {
namespace {

const Register kEntries{
    // --- objects ---
    E(vorn_contour_create, Spec{"nn"}, (const vorn_size *)&w.size, out(vorn_contour_destroy)),
    E(vorn_contour_destroy, Spec{"n", kConsumes}, w.contour),
    E(vorn_contour_start, Spec{"nn", kSized}, w.contour, (const vorn_mono_image *)w.mono_out),
    E(vorn_contour_next, Spec{"nn"}, w.contour, &w.contour_info),
    E(vorn_histogram_alloc, Spec{}, 32u),
    E(vorn_histogram_free, Spec{"n", kConsumes}, w.hist),
    E(vorn_histogram_zero, Spec{"n"}, w.hist),
    E(vorn_histogram_scale, Spec{"n"}, w.hist),
    // The mask is optional.
    E(vorn_histogram_caculate, Spec{"nnno", kSized}, (const vorn_mono_image *)w.mono, w.hist,
      (const vorn_rect *)&w.rect, (const vorn_mono_image *)w.region),
    E(vorn_backproject_alloc, Spec{}, kW, kH),
    E(vorn_backproject_free, Spec{"n", kConsumes}, w.bp),
    E(vorn_backproject_calculate, Spec{"nnnno", kSized}, (const vorn_mono_image *)w.mono,
      (const vorn_histogram *)w.hist, w.bp, (const vorn_rect *)&w.rect, (const vorn_mono_image *)w.region),
    E(vorn_moments_calculate, Spec{"nnn"}, (const vorn_backproject *)w.bp, &w.moments, (const vorn_rect *)&w.rect),
    E(vorn_obj_maker_create, Spec{"pp"}, (const vorn_obj_maker_params *)&w.maker_params, out(vorn_obj_maker_destroy)),
    E(vorn_obj_maker_destroy, Spec{"n", kConsumes}, w.maker_block),
    E(vorn_obj_maker_process, Spec{"nn", kSized}, w.maker_block, (const vorn_mono_image *)w.mono_out),
    E(vorn_obj_maker_get_obj, Spec{"nnn"}, w.maker_block, none<vorn_obj>(), &w.u32),
    E(vorn_obj_maker_get_fg, Spec{"nn"}, w.maker_block, none<vorn_mono_image>()),
    E(vorn_obj_maker_get_point_list, Spec{"nn"}, w.maker_block, none<vorn_point>()),
    E(vorn_obj_maker_get_block_width, Spec{"nn"}, w.maker_block, &w.u32),
    E(vorn_obj_maker_get_block_height, Spec{"nn"}, w.maker_block, &w.u32),
    E(vorn_obj_maker_clear_obj, Spec{"nn"}, w.maker_block, 0u, w.mono_out),
    E(vorn_obj_maker_adjust_rect, Spec{"nn"}, w.maker_contour, (const vorn_mono_image *)w.mono_out),
    // The mask is optional.
    E(vorn_obj_maker_calculate_hist, Spec{"nno"}, w.maker_block, (const vorn_image *)w.yuv,
      (const vorn_mono_image *)w.region),
    E(vorn_image_make_obj, Spec{"non"}, (const vorn_mono_image *)w.mono_out, (int32_t)0, (int32_t)0, w.rects, &w.u32),

    // --- tracking: Kalman filter, pyramids, optical flow, features ---
    E(vorn_kalman_create, Spec{"nn"}, (const vorn_kalman_params *)&w.kalman_params, out(vorn_kalman_destroy)),
    E(vorn_kalman_destroy, Spec{"n", kConsumes}, w.kalman),
    E(vorn_kalman_predict, Spec{"no", kSized}, w.kalman, (const vorn_matrix *)w.vec3),
    E(vorn_kalman_correct, Spec{"nn", kSized}, w.kalman, (const vorn_matrix *)w.vec3),
    E(vorn_kalman_get_matrixs, Spec{"nn"}, w.kalman, &w.kalman_matrixs),
#define KALMAN_PAIR(what, m)                                                                           \
  E(vorn_kalman_set_##what, Spec{"nn", kSized}, w.kalman, (const vorn_matrix *)(m)),                    \
  E(vorn_kalman_get_##what, Spec{"nn"}, w.kalman, none<vorn_matrix>())
    KALMAN_PAIR(transition_matrix, w.ma),
    KALMAN_PAIR(measurement_matrix, w.ma),
    KALMAN_PAIR(control_matrix, w.ma),
    KALMAN_PAIR(process_noise_covariance, w.ma),
    KALMAN_PAIR(measurement_noise_covariance, w.ma),
    KALMAN_PAIR(prior_state, w.vec3),
    KALMAN_PAIR(predict_state, w.vec3),
    KALMAN_PAIR(prior_error_covariance, w.ma),
    KALMAN_PAIR(predict_error_covariance, w.ma),
#undef KALMAN_PAIR
    // Planes missing from a colour image are left out of its levels, as documented.
    E(vorn_pyramid_create, Spec{"nn", 0, "0"}, (const vorn_image *)w.yuv, out(vorn_pyramid_destroy), 2u),
    E(vorn_pyramid_create_mono_image, Spec{"nn"}, (const vorn_mono_image *)w.mono, out(vorn_pyramid_destroy), 2u),
    E(vorn_pyramid_destroy, Spec{"n", kConsumes}, w.pyr),
    E(vorn_pyramid_down, Spec{"nn", kSized | kFormat, "00"}, (const vorn_image *)w.yuv, w.half_yuv),
    E(vorn_pyramid_get_image, Spec{"nn"}, w.pyr, 0u, none<vorn_image>()),
    E(vorn_pyramid_get_mono_image, Spec{"nn"}, w.pyr_mono, 0u, none<vorn_mono_image>()),
    E(vorn_pyramid_get_level, Spec{"nn"}, w.pyr, &w.u32),
    E(vorn_mono_image_get_sub_pixel, Spec{"nn"}, (const vorn_mono_image *)w.mono, 3.5f, 4.25f, &w.f32),
    // The status array is optional; the count is the length of the caller's point arrays, trusted.
    E(vorn_opticalflow_lk, Spec{"nnnno", kSized | kNoExtreme}, (const vorn_mono_image *)w.mono, (const vorn_mono_image *)w.mono2,
      w.flow_pts, w.flow_out, w.flow_status, 2u, (int32_t)3, (int32_t)5),
    // The pyramids come as a pair or not at all; the status array is optional; the count is trusted.
    E(vorn_opticalflow_pyr_lk, Spec{"nnoonno", kSized | kNoExtreme}, (const vorn_mono_image *)w.mono,
      (const vorn_mono_image *)w.mono2, w.pyr_mono, w.pyr_mono2, w.flow_pts, w.flow_out, w.flow_status, 2u,
      (int32_t)3, (int32_t)5),
    E(vorn_find_corner, Spec{"nn", kSized}, (const vorn_image *)w.yuv, w.yuv_out),
    // The mask and the map are optional; the points may be NULL once the first probe has left *count at 0.
    E(vorn_good_feature_to_track, Spec{"nonoo", kSized}, (const vorn_image *)w.yuv, 2u, (vorn_point *)w.line_pts,
      &w.u32, (const vorn_mono_image *)w.region, w.yuv_out),

    // --- mean shift ---
    E(vorn_cam_meanshift, Spec{"nnn"}, (const vorn_backproject *)w.bp, &w.rect, &w.moments),
    E(vorn_cam_tracking, Spec{"nnnnn"}, (const vorn_backproject *)w.bp, (const vorn_rect *)&w.rect,
      (const vorn_rect *)&w.rect, &w.moments, &w.box),
    E(vorn_camshift_create, Spec{"nn"}, &w.cam_params, out(vorn_camshift_destroy)),
    E(vorn_camshift_update, Spec{"nn"}, w.camshift, &w.cam_params),
    E(vorn_camshift_destroy, Spec{"n", kConsumes}, w.camshift),
    E(vorn_meanshift_create, Spec{"nn"}, (const vorn_meanshift_params *)&w.ms_params, out(vorn_meanshift_destroy)),
    E(vorn_meanshift_update, Spec{"nn"}, w.meanshift, &w.ms_params),
    E(vorn_meanshift_destroy, Spec{"n", kConsumes}, w.meanshift),


    // --- multi-object tracker ---
    E(vorn_tracker_create, Spec{"pp"}, (const vorn_tracker_params *)&w.tracker_params, out(vorn_tracker_destroy)),
    E(vorn_tracker_destroy, Spec{"n", kConsumes}, w.tracker),
    E(vorn_tracker_process, Spec{"nn"}, w.tracker, w.frame, (uint32_t)VORN_FRAME_BMP32),
    E(vorn_tracker_get_objs, Spec{"nnn"}, w.tracker, none<vorn_tracker_obj>(), &w.u32),
    E(vorn_tracker_get_bk_model, Spec{"nnn"}, w.tracker, none<vorn_bk_model>(),
      none<vorn_bk_model_vtable>()),
    E(vorn_tracker_get_fg, Spec{"nn"}, w.tracker, none<vorn_mono_image>()),
    E(vorn_tracker_get_width, Spec{"0"}, (const vorn_tracker *)w.tracker),
    E(vorn_tracker_get_height, Spec{"0"}, (const vorn_tracker *)w.tracker),
};

}  // namespace
}  // namespace vorn_probe
