// Argument sweep entries: objects, Kalman filter, pyramids, optical flow, features, mean shift, the tracker.
#include "interface/sweep_table.h"

namespace vorn_probe {
namespace {

const Register kEntries{
    // --- objects ---
    E(vorn_contour_create, Args{"nn"}, (const vorn_size *)&w.size, out(vorn_contour_destroy)),
    E(vorn_contour_destroy, Args{"n", kConsumes}, w.contour),
    E(vorn_contour_start, Args{"nn", kSized}, w.contour, (const vorn_mono_image *)w.mono_out),
    E(vorn_contour_next, Args{"nn"}, w.contour, &w.contour_info),
    E(vorn_histogram_alloc, Args{}, 32u),
    E(vorn_histogram_free, Args{"n", kConsumes}, w.hist),
    E(vorn_histogram_zero, Args{"n"}, w.hist),
    E(vorn_histogram_scale, Args{"n"}, w.hist),
    // The mask is optional.
    E(vorn_histogram_caculate, Args{"nnno", kSized}, (const vorn_mono_image *)w.mono, w.hist,
      (const vorn_rect *)&w.rect, (const vorn_mono_image *)w.region),
    E(vorn_backproject_alloc, Args{}, kW, kH),
    E(vorn_backproject_free, Args{"n", kConsumes}, w.bp),
    E(vorn_backproject_calculate, Args{"nnnno", kSized}, (const vorn_mono_image *)w.mono,
      (const vorn_histogram *)w.hist, w.bp, (const vorn_rect *)&w.rect, (const vorn_mono_image *)w.region),
    E(vorn_moments_calculate, Args{"nnn"}, (const vorn_backproject *)w.bp, &w.moments, (const vorn_rect *)&w.rect),
    E(vorn_obj_maker_create, Args{"pp"}, (const vorn_obj_maker_params *)&w.maker_params, out(vorn_obj_maker_destroy)),
    E(vorn_obj_maker_destroy, Args{"n", kConsumes}, w.maker_block),
    E(vorn_obj_maker_process, Args{"nn", kSized}, w.maker_block, (const vorn_mono_image *)w.mono_out),
    E(vorn_obj_maker_get_obj, Args{"nnn"}, w.maker_block, none<vorn_obj>(), &w.u32),
    E(vorn_obj_maker_get_fg, Args{"nn"}, w.maker_block, none<vorn_mono_image>()),
    E(vorn_obj_maker_get_point_list, Args{"nn"}, w.maker_block, none<vorn_point>()),
    E(vorn_obj_maker_get_block_width, Args{"nn"}, w.maker_block, &w.u32),
    E(vorn_obj_maker_get_block_height, Args{"nn"}, w.maker_block, &w.u32),
    E(vorn_obj_maker_clear_obj, Args{"nn"}, w.maker_block, 0u, w.mono_out),
    E(vorn_obj_maker_adjust_rect, Args{"nn"}, w.maker_contour, (const vorn_mono_image *)w.mono_out),
    // The mask is optional.
    E(vorn_obj_maker_calculate_hist, Args{"nno"}, w.maker_block, (const vorn_image *)w.yuv,
      (const vorn_mono_image *)w.region),
    E(vorn_image_make_obj, Args{"non"}, (const vorn_mono_image *)w.mono_out, (int32_t)0, (int32_t)0, w.rects, &w.u32),

    // --- tracking: Kalman filter, pyramids, optical flow, features ---
    E(vorn_kalman_create, Args{"nn"}, (const vorn_kalman_params *)&w.kalman_params, out(vorn_kalman_destroy)),
    E(vorn_kalman_destroy, Args{"n", kConsumes}, w.kalman),
    E(vorn_kalman_predict, Args{"no", kSized}, w.kalman, (const vorn_matrix *)w.vec3),
    E(vorn_kalman_correct, Args{"nn", kSized}, w.kalman, (const vorn_matrix *)w.vec3),
    E(vorn_kalman_get_matrixs, Args{"nn"}, w.kalman, &w.kalman_matrixs),
#define KALMAN_PAIR(what, m)                                                                           \
  E(vorn_kalman_set_##what, Args{"nn", kSized}, w.kalman, (const vorn_matrix *)(m)),                    \
  E(vorn_kalman_get_##what, Args{"nn"}, w.kalman, none<vorn_matrix>())
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
    E(vorn_pyramid_create, Args{"nn", 0, "0"}, (const vorn_image *)w.yuv, out(vorn_pyramid_destroy), 2u),
    E(vorn_pyramid_create_mono_image, Args{"nn"}, (const vorn_mono_image *)w.mono, out(vorn_pyramid_destroy), 2u),
    E(vorn_pyramid_destroy, Args{"n", kConsumes}, w.pyr),
    E(vorn_pyramid_down, Args{"nn", kSized | kFormat, "00"}, (const vorn_image *)w.yuv, w.half_yuv),
    E(vorn_pyramid_get_image, Args{"nn"}, w.pyr, 0u, none<vorn_image>()),
    E(vorn_pyramid_get_mono_image, Args{"nn"}, w.pyr_mono, 0u, none<vorn_mono_image>()),
    E(vorn_pyramid_get_level, Args{"nn"}, w.pyr, &w.u32),
    E(vorn_mono_image_get_sub_pixel, Args{"nn"}, (const vorn_mono_image *)w.mono, 3.5f, 4.25f, &w.f32),
    // The status array is optional; the count is the length of the caller's point arrays, trusted.
    E(vorn_opticalflow_lk, Args{"nnnno", kSized | kNoExtreme}, (const vorn_mono_image *)w.mono, (const vorn_mono_image *)w.mono2,
      w.flow_pts, w.flow_out, w.flow_status, 2u, (int32_t)3, (int32_t)5),
    // The pyramids come as a pair or not at all; the status array is optional; the count is trusted.
    E(vorn_opticalflow_pyr_lk, Args{"nnoonno", kSized | kNoExtreme}, (const vorn_mono_image *)w.mono,
      (const vorn_mono_image *)w.mono2, w.pyr_mono, w.pyr_mono2, w.flow_pts, w.flow_out, w.flow_status, 2u,
      (int32_t)3, (int32_t)5),
    E(vorn_find_corner, Args{"nn", kSized}, (const vorn_image *)w.yuv, w.yuv_out),
    // The mask and the map are optional; the points may be NULL once the first probe has left *count at 0.
    E(vorn_good_feature_to_track, Args{"nonoo", kSized}, (const vorn_image *)w.yuv, 2u, (vorn_point *)w.line_pts,
      &w.u32, (const vorn_mono_image *)w.region, w.yuv_out),

    // --- mean shift ---
    E(vorn_cam_meanshift, Args{"nnn"}, (const vorn_backproject *)w.bp, &w.rect, &w.moments),
    E(vorn_cam_tracking, Args{"nnnnn"}, (const vorn_backproject *)w.bp, (const vorn_rect *)&w.rect,
      (const vorn_rect *)&w.rect, &w.moments, &w.box),
    E(vorn_camshift_create, Args{"nn"}, &w.cam_params, out(vorn_camshift_destroy)),
    E(vorn_camshift_update, Args{"nn"}, w.camshift, &w.cam_params),
    E(vorn_camshift_destroy, Args{"n", kConsumes}, w.camshift),
    E(vorn_meanshift_create, Args{"nn"}, (const vorn_meanshift_params *)&w.ms_params, out(vorn_meanshift_destroy)),
    E(vorn_meanshift_update, Args{"nn"}, w.meanshift, &w.ms_params),
    E(vorn_meanshift_destroy, Args{"n", kConsumes}, w.meanshift),


    // --- multi-object tracker ---
    E(vorn_tracker_create, Args{"pp"}, (const vorn_tracker_params *)&w.tracker_params, out(vorn_tracker_destroy)),
    E(vorn_tracker_destroy, Args{"n", kConsumes}, w.tracker),
    E(vorn_tracker_process, Args{"nn"}, w.tracker, w.frame, (uint32_t)VORN_FRAME_BMP32),
    E(vorn_tracker_get_objs, Args{"nnn"}, w.tracker, none<vorn_tracker_obj>(), &w.u32),
    E(vorn_tracker_get_bk_model, Args{"nnn"}, w.tracker, none<vorn_bk_model>(),
      none<vorn_bk_model_vtable>()),
    E(vorn_tracker_get_fg, Args{"nn"}, w.tracker, none<vorn_mono_image>()),
    E(vorn_tracker_get_width, Args{"0"}, (const vorn_tracker *)w.tracker),
    E(vorn_tracker_get_height, Args{"0"}, (const vorn_tracker *)w.tracker),
};

}  // namespace
}  // namespace vorn_probe
