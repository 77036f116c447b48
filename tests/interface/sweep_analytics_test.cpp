// Argument sweep entries: geometry, guard, counter, left and lost objects, line counter, recognition, trajectory
// recorder.
#include "interface/sweep_table.h"

namespace vorn_probe {
namespace {

const Register kEntries{
    // --- geometry ---
    E(vorn_get_line_angle, Args{}, w.line),
    E(vorn_get_line_vertical_line, Args{"to", 0, "", kGeometry}, w.line, &w.line2, (const vorn_size *)&w.size),
    E(vorn_get_line_vertical_line_ex, Args{"t", 0, "", kGeometry}, w.line, &w.line2, (int32_t)5),
    E(vorn_get_line_arrow_header, Args{"tto", 0, "", kGeometry}, w.line, 30.0, &w.point, &w.point2,
      (const vorn_size *)&w.size),
    E(vorn_get_line_region, Args{"tto", 0, "", kGeometry}, w.line, (vorn_point *)w.line_pts, &w.i32, (int32_t)3,
      (const vorn_size *)&w.size),
    // The count is trusted as well as the array: only the point is taken to its extremes.
    B(vorn_pt_in_region, {
      p.call(vorn_pt_in_region, Args{"t", kNoExtreme, "", kGeometry}, w.point, (const vorn_point *)w.region_pts,
             (int32_t)5);
      for (vorn_point q : detail::extremes<vorn_point>()) vorn_pt_in_region(q, w.region_pts, 5);
    }),
    E(vorn_get_line_cross, Args{"t", 0, "", kGeometry}, w.line, w.line2, &w.point),
    E(vorn_get_line_map_length, Args{"t", 0, "", kGeometry}, w.line, (int32_t)kW, (int32_t)kH, (int32_t)10,
      (int32_t)(2 * kW), (int32_t)(2 * kH), &w.i32),
    // The list's array holds as many points as the line needs: extremes would need gigabytes.
    E(vorn_get_line_points, Args{"t", kNoExtreme, "", kGeometry}, w.line, &w.line_list),
    E(vorn_get_line_points_max_num, Args{}, w.line),

    // --- guard ---
    E(vorn_guard_create, Args{"pp"}, (const vorn_guard_params *)&w.guard_params, out(vorn_guard_destroy)),
    E(vorn_guard_destroy, Args{"n", kConsumes}, w.guard),
    E(vorn_guard_set_lines, Args{"n"}, w.guard, w.line, w.line2, (int32_t)4),
    E(vorn_guard_set_mask, Args{"nn", kSized}, w.guard, (const vorn_mono_image *)w.region),
    E(vorn_guard_put_image, Args{"nn"}, w.guard, w.frame, (uint32_t)VORN_FRAME_BMP32),
    E(vorn_guard_get_fg, Args{"nn"}, w.guard, none<vorn_mono_image>()),
    E(vorn_guard_get_obj_maker, Args{"nn"}, w.guard, none<vorn_obj_maker>()),
    E(vorn_guard_get_bk_model, Args{"nn"}, w.guard, none<vorn_bk_model>()),
    E(vorn_guard_is_cross_guard_line, Args{"n"}, (const vorn_guard *)w.guard, 0u),
    E(vorn_guard_is_trigger_guard_line, Args{"n"}, (const vorn_guard *)w.guard, 0u),
    E(vorn_guard_get_trace, Args{"nn"}, (const vorn_guard *)w.guard, (int32_t)0, &w.line2),
    E(vorn_guard_get_guard_line, Args{"nn"}, (const vorn_guard *)w.guard, &w.line2),
    E(vorn_guard_get_direction_line, Args{"nn"}, (const vorn_guard *)w.guard, &w.line2),
    E(vorn_guard_get_event, Args{"nn"}, (const vorn_guard *)w.guard, &w.u32),

    // --- counter ---
    E(vorn_counter_create, Args{}, (const vorn_counter_params *)&w.counter_params),
    E(vorn_counter_destroy, Args{"n", kConsumes}, w.counter),
    // NULL points change nothing, as documented.
    E(vorn_counter_set_area, Args{"n0"}, w.counter, (int32_t)1, (const vorn_point *)w.region_pts, (int32_t)5),
    E(vorn_counter_clear_area, Args{"n"}, w.counter, 3u),
    E(vorn_counter_set_sensitivity, Args{"n"}, w.counter, 50u),
    E(vorn_counter_set_max_frame, Args{"n"}, w.counter, 0u),
    E(vorn_counter_set_logic, Args{"n"}, w.counter, 0u),
    E(vorn_counter_start, Args{"n"}, w.counter),
    E(vorn_counter_stop, Args{"n"}, w.counter),
    E(vorn_counter_reset_count, Args{"n"}, w.counter),
    E(vorn_counter_set_mask, Args{"nn"}, w.counter, (const uint8_t *)w.region->data),
    E(vorn_counter_get_count, Args{"0"}, (const vorn_counter *)w.counter, 0u),
    E(vorn_counter_get_event, Args{"0"}, (const vorn_counter *)w.counter),
    E(vorn_counter_get_mask, Args{}, w.counter),

    // --- left and lost objects ---
    E(vorn_obld_create, Args{"pp"}, (const vorn_obld_params *)&w.obld_params, out(vorn_obld_destroy)),
    E(vorn_obld_destroy, Args{"n", kConsumes}, w.obld),
    E(vorn_obld_put_image, Args{"nn"}, w.obld, w.frame, (uint32_t)VORN_FRAME_BMP32),
    E(vorn_obld_get_lost_objects_rect, Args{"nnn"}, w.obld, w.rects, &w.u32),
    E(vorn_obld_get_lost_objects_contour, Args{"nnn"}, w.obld, none<vorn_mono_image>(), &w.u32),
    E(vorn_obld_get_mask, Args{"nn"}, w.obld, none<vorn_mono_image>()),
    E(vorn_obld_get_fg, Args{"nn"}, w.obld, none<vorn_mono_image>()),
    E(vorn_obld_clear_lost_objects, Args{"n"}, w.obld),
    E(vorn_obld_set_frame_threshold, Args{"n"}, w.obld, 60u),
    E(vorn_obld_set_bk_frame_interval, Args{"n"}, w.obld, 1500u),
    E(vorn_obld_enable_scenecut, Args{"n"}, w.obld, 1u),

    // --- line counter ---
    E(vorn_linecount_create, Args{"pp"}, (const vorn_linecount_params *)&w.linecount_params,
      out(vorn_linecount_destroy)),
    E(vorn_linecount_destroy, Args{"n", kConsumes}, w.linecount),
    // The index is optional; past the last free line every call is refused (VORN_E_PARAM) alike.
    E(vorn_linecount_add_line, Args{"nno"}, w.linecount, (const vorn_point *)w.region_pts, 3u, &w.u32),
    E(vorn_linecount_process, Args{"nn"}, w.linecount, w.frame, (uint32_t)VORN_FRAME_BMP32),
    E(vorn_linecount_get_events, Args{"nnn"}, w.linecount, none<const vorn_linecount_event>(), &w.u32),
    E(vorn_linecount_get_tracks, Args{"nnn"}, w.linecount, none<const vorn_linecount_track>(), &w.u32),
    E(vorn_linecount_get_counts, Args{"nnn"}, w.linecount, 0u, &w.u32, &w.u32b),
    E(vorn_linecount_get_fg, Args{"nn"}, w.linecount, none<vorn_mono_image>()),
    E(vorn_linecount_reset, Args{"n"}, w.linecount),

    // --- recognition ---
    E(vorn_bpnn_create, Args{"nn"}, (const vorn_bpnn_params *)&w.bpnn_params, out(vorn_bpnn_destroy)),
    E(vorn_bpnn_destroy, Args{"n", kConsumes}, w.bpnn),
    // The two error sums are optional.
    E(vorn_bpnn_train, Args{"nnnoo"}, w.bpnn, (const double *)w.doubles_in, (const double *)w.doubles_target,
      &w.moments.m00, &w.moments.m10),
    E(vorn_bpnn_recognize, Args{"nnn"}, w.bpnn, (const double *)w.doubles_in, (double *)w.doubles_out),
    E(vorn_bpnn_load_weight, Args{"nn"}, w.bpnn, w.weights_path.c_str()),
    E(vorn_bpnn_save_weight, Args{"nn"}, w.bpnn, w.weights_path.c_str()),
    // No directory means the installed one.
    E(vorn_plate_create, Args{"nn"}, (const vorn_plate_params *)&w.plate_params, out(vorn_plate_destroy)),
    E(vorn_plate_destroy, Args{"n", kConsumes}, w.plate),
    E(vorn_plate_process, Args{"nn"}, w.plate, (const void *)w.frame, (uint32_t)VORN_FRAME_BMP32),
    E(vorn_plate_get_info, Args{"nn"}, (const vorn_plate *)w.plate, &w.plate_info),
    E(vorn_plate_get_width, Args{"nn"}, (const vorn_plate *)w.plate, &w.u32),
    E(vorn_plate_get_height, Args{"nn"}, (const vorn_plate *)w.plate, &w.u32),
    E(vorn_plate_get_debug_image, Args{"nn"}, w.plate, w.dir_path.c_str()),

    // --- trajectory recorder ---
    E(vorn_vbc_create, Args{"nn"}, (const vorn_vbc_params *)&w.vbc_params, out(vorn_vbc_destroy)),
    E(vorn_vbc_destroy, Args{"n", kConsumes}, w.vbc),
    E(vorn_vbc_process, Args{"nn"}, w.vbc, (const void *)w.frame, (uint32_t)VORN_FRAME_BMP32),
    E(vorn_vbc_end_process, Args{"n"}, w.vbc),
    // The index output is optional.
    E(vorn_vbc_down, Args{"no"}, w.vbc, 0u, 3.0f, 4.0f, &w.u32),
    E(vorn_vbc_move, Args{"nnn"}, w.vbc, 3.0f, 4.0f, &w.u32, &w.point2f),
    E(vorn_vbc_up, Args{"n"}, w.vbc),
    E(vorn_vbc_get_count, Args{"noo"}, w.vbc, &w.u32, &w.u32b),
    E(vorn_vbc_get_trajectory, Args{"noo"}, w.vbc, 0u, &w.u32, &w.u32b),
    E(vorn_vbc_get_points, Args{"nn"}, w.vbc, 0u, 0u, 1u, (vorn_point2f *)w.flow_out),
    E(vorn_vbc_save, Args{"nn"}, w.vbc, w.bmp_path.c_str()),
    E(vorn_vbc_load, Args{"nn"}, w.vbc, w.bmp_path.c_str()),

};

}  // namespace
}  // namespace vorn_probe
