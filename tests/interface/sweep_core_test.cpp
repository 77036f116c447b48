// Argument sweep entries: memory, images, bitmaps and matrices.
#include "interface/sweep_table.h"

namespace vorn_probe {
namespace {

const Register kEntries{
    // --- memory, start-up ---
    E(vorn_malloc, Args{"", kNoExtreme}, 16u),  // a 4 GB block is a valid request; zeroing it is not a probe
    E(vorn_calloc, Args{"", kNoExtreme}, 16u),
    E(vorn_free, Args{"n", kConsumes}, (void *)nullptr),
    E(vorn_init, Args{}),
    E(vorn_release, Args{}),
    E(vorn_get_version, Args{}),
    E(vorn_get_stat_info, Args{"00"}, (void *)w.counter, &w.stat),
    E(vorn_mono_image_thin, Args{}),
    E(vorn_result_name, Args{}, VORN_E_PARAM),
    E(vorn_result_message, Args{}, 0xFFFFFFFFu),

    // --- images and bitmaps ---
    E(vorn_image_alloc, Args{}, kW, kH, (uint32_t)VORN_FORMAT_YUV),
    E(vorn_image_free, Args{"n", kConsumes}, w.yuv),
    // Planes present in both images are copied, the others skipped: a record without storage is no fault.
    E(vorn_image_copy, Args{"nn", kSized | kFormat, "00"}, w.yuv, w.yuv_out),
    E(vorn_image_save_rgb, Args{"nn", 0, "p"}, w.rgb, w.bmp_path.c_str()),
    E(vorn_mono_image_alloc, Args{}, kW, kH),
    E(vorn_mono_image_free, Args{"n", kConsumes}, w.mono),
    // A record without storage is a parameter fault here, as its header has always said.
    E(vorn_mono_image_copy, Args{"nn", kSized, "pp"}, w.mono_out, w.mono),
    E(vorn_bmp_prepare_header, Args{"nn"}, (void *)w.header, (void *)(w.header + 14), (int32_t)kW, (int32_t)kH, 24u),
    E(vorn_bmp_alloc, Args{}, kW, kH, 24u),
    E(vorn_bmp_free, Args{"n", kConsumes}, (void *)nullptr),
    E(vorn_bmp_load, Args{}, w.bmp_path.c_str()),
    E(vorn_bmp_save, Args{"nn"}, (const vorn_bmp *)w.bmp24, w.bmp_path.c_str()),
    E(vorn_bmp_get_image, Args{}, w.bmp24),
    E(vorn_bmp_get_width, Args{"0"}, (const vorn_bmp *)w.bmp24),
    E(vorn_bmp_get_height, Args{"0"}, (const vorn_bmp *)w.bmp24),
    E(vorn_bmp_get_bitcount, Args{"0"}, (const vorn_bmp *)w.bmp24),
    E(vorn_bmp_get_stride, Args{"0"}, (const vorn_bmp *)w.bmp24),
    E(vorn_bmp_is_valid, Args{"0"}, (const vorn_bmp *)w.bmp24),

    // --- matrices ---
    E(vorn_matrix_alloc, Args{}, 3u, 3u),
    E(vorn_matrix_free, Args{"n", kConsumes}, w.ma),
    E(vorn_matrix_get_line, Args{}, w.ma, (int32_t)1),
    E(vorn_matrix_get_value, Args{}, (const vorn_matrix *)w.ma, (int32_t)1, (int32_t)2),
    E(vorn_matrix_set_value, Args{}, w.md, (int32_t)1, (int32_t)2, 1.5f),
    E(vorn_matrix_zero, Args{}, w.md),
    E(vorn_matrix_normal, Args{}, w.md, 2.0f),
    E(vorn_matrix_copy, Args{"nn", kSized}, (const vorn_matrix *)w.ma, w.md),
    E(vorn_matrix_transpose, Args{"nn", kSized}, (const vorn_matrix *)w.ma, w.md),
    E(vorn_matrix_add, Args{"nnn", kSized}, (const vorn_matrix *)w.ma, (const vorn_matrix *)w.mb, w.md),
    E(vorn_matrix_add_t1, Args{"nnn", kSized}, (const vorn_matrix *)w.ma, (const vorn_matrix *)w.mb, w.md),
    E(vorn_matrix_add_t2, Args{"nnn", kSized}, (const vorn_matrix *)w.ma, (const vorn_matrix *)w.mb, w.md),
    E(vorn_matrix_sub, Args{"nnn", kSized}, (const vorn_matrix *)w.ma, (const vorn_matrix *)w.mb, w.md),
    E(vorn_matrix_sub_t1, Args{"nnn", kSized}, (const vorn_matrix *)w.ma, (const vorn_matrix *)w.mb, w.md),
    E(vorn_matrix_sub_t2, Args{"nnn", kSized}, (const vorn_matrix *)w.ma, (const vorn_matrix *)w.mb, w.md),
    E(vorn_matrix_mul, Args{"nnn", kSized}, (const vorn_matrix *)w.ma, (const vorn_matrix *)w.mb, w.md),
    E(vorn_matrix_mul_t1, Args{"nnn", kSized}, (const vorn_matrix *)w.ma, (const vorn_matrix *)w.mb, w.md),
    E(vorn_matrix_mul_t2, Args{"nnn", kSized}, (const vorn_matrix *)w.ma, (const vorn_matrix *)w.mb, w.md),
    E(vorn_matrix_mul_add, Args{"nnnn", kSized}, (const vorn_matrix *)w.ma, (const vorn_matrix *)w.mb,
      (const vorn_matrix *)w.mc, w.md),
    E(vorn_matrix_mul_add_t1, Args{"nnnn", kSized}, (const vorn_matrix *)w.ma, (const vorn_matrix *)w.mb,
      (const vorn_matrix *)w.mc, w.md),
    E(vorn_matrix_mul_add_t2, Args{"nnnn", kSized}, (const vorn_matrix *)w.ma, (const vorn_matrix *)w.mb,
      (const vorn_matrix *)w.mc, w.md),
    E(vorn_matrix_mul_add_t3, Args{"nnnn", kSized}, (const vorn_matrix *)w.ma, (const vorn_matrix *)w.mb,
      (const vorn_matrix *)w.mc, w.md),
    E(vorn_matrix_sub_mul, Args{"nnnn", kSized}, (const vorn_matrix *)w.ma, (const vorn_matrix *)w.mb,
      (const vorn_matrix *)w.mc, w.md),
    E(vorn_matrix_inverse, Args{}, w.mb),
    E(vorn_matrix_printf, Args{}, (const vorn_matrix *)w.ma),

};

}  // namespace
}  // namespace vorn_probe
