// Argument sweep entries: memory, images, bitmaps and matrices.
#include "interface/sweep_table.h"

namespace vorn_probe {
namespace {

const Register kEntries{
    // --- memory, start-up ---
    E(vorn_malloc, Spec{"", kNoExtreme}, 16u),  // a 4 GB block is a valid request; zeroing it is not a probe
    E(vorn_calloc, Spec{"", kNoExtreme}, 16u),
    E(vorn_free, Spec{"n", kConsumes}, (void *)nullptr),
    E(vorn_init, Spec{}),
    E(vorn_release, Spec{}),
    E(vorn_get_version, Spec{}),
    E(vorn_get_stat_info, Spec{"00"}, (void *)w.counter, &w.stat),
    E(vorn_mono_image_thin, Spec{}),
    E(vorn_result_name, Spec{}, VORN_E_PARAM),
    E(vorn_result_message, Spec{}, 0xFFFFFFFFu),

    // --- images and bitmaps ---
    E(vorn_image_alloc, Spec{}, kW, kH, (uint32_t)VORN_FORMAT_YUV),
    E(vorn_image_free, Spec{"n", kConsumes}, w.yuv),
    // Planes present in both images are copied, the others skipped: a record without storage is no fault.
    E(vorn_image_copy, Spec{"nn", kSized | kFormat, "00"}, w.yuv, w.yuv_out),
    E(vorn_image_save_rgb, Spec{"nn", 0, "p"}, w.rgb, w.bmp_path.c_str()),
    E(vorn_mono_image_alloc, Spec{}, kW, kH),
    E(vorn_mono_image_free, Spec{"n", kConsumes}, w.mono),
    // A record without storage is a parameter fault here, as its header has always said.
    E(vorn_mono_image_copy, Spec{"nn", kSized, "pp"}, w.mono_out, w.mono),
    E(vorn_bmp_prepare_header, Spec{"nn"}, (void *)w.header, (void *)(w.header + 14), (int32_t)kW, (int32_t)kH, 24u),
    E(vorn_bmp_alloc, Spec{}, kW, kH, 24u),
    E(vorn_bmp_free, Spec{"n", kConsumes}, (void *)nullptr),
    E(vorn_bmp_load, Spec{}, w.bmp_path.c_str()),
    E(vorn_bmp_save, Spec{"nn"}, (const vorn_bmp *)w.bmp24, w.bmp_path.c_str()),
    E(vorn_bmp_get_image, Spec{}, w.bmp24),
    E(vorn_bmp_get_width, Spec{"0"}, (const vorn_bmp *)w.bmp24),
    E(vorn_bmp_get_height, Spec{"0"}, (const vorn_bmp *)w.bmp24),
    E(vorn_bmp_get_bitcount, Spec{"0"}, (const vorn_bmp *)w.bmp24),
    E(vorn_bmp_get_stride, Spec{"0"}, (const vorn_bmp *)w.bmp24),
    E(vorn_bmp_is_valid, Spec{"0"}, (const vorn_bmp *)w.bmp24),

    // --- matrices ---
    E(vorn_matrix_alloc, Spec{}, 3u, 3u),
    E(vorn_matrix_free, Spec{"n", kConsumes}, w.ma),
    E(vorn_matrix_get_line, Spec{}, w.ma, (int32_t)1),
    E(vorn_matrix_get_value, Spec{}, (const vorn_matrix *)w.ma, (int32_t)1, (int32_t)2),
    E(vorn_matrix_set_value, Spec{}, w.md, (int32_t)1, (int32_t)2, 1.5f),
    E(vorn_matrix_zero, Spec{}, w.md),
    E(vorn_matrix_normal, Spec{}, w.md, 2.0f),
    E(vorn_matrix_copy, Spec{"nn", kSized}, (const vorn_matrix *)w.ma, w.md),
    E(vorn_matrix_transpose, Spec{"nn", kSized}, (const vorn_matrix *)w.ma, w.md),
    E(vorn_matrix_add, Spec{"nnn", kSized}, (const vorn_matrix *)w.ma, (const vorn_matrix *)w.mb, w.md),
    E(vorn_matrix_add_t1, Spec{"nnn", kSized}, (const vorn_matrix *)w.ma, (const vorn_matrix *)w.mb, w.md),
    E(vorn_matrix_add_t2, Spec{"nnn", kSized}, (const vorn_matrix *)w.ma, (const vorn_matrix *)w.mb, w.md),
    E(vorn_matrix_sub, Spec{"nnn", kSized}, (const vorn_matrix *)w.ma, (const vorn_matrix *)w.mb, w.md),
    E(vorn_matrix_sub_t1, Spec{"nnn", kSized}, (const vorn_matrix *)w.ma, (const vorn_matrix *)w.mb, w.md),
    E(vorn_matrix_sub_t2, Spec{"nnn", kSized}, (const vorn_matrix *)w.ma, (const vorn_matrix *)w.mb, w.md),
    E(vorn_matrix_mul, Spec{"nnn", kSized}, (const vorn_matrix *)w.ma, (const vorn_matrix *)w.mb, w.md),
    E(vorn_matrix_mul_t1, Spec{"nnn", kSized}, (const vorn_matrix *)w.ma, (const vorn_matrix *)w.mb, w.md),
    E(vorn_matrix_mul_t2, Spec{"nnn", kSized}, (const vorn_matrix *)w.ma, (const vorn_matrix *)w.mb, w.md),
    E(vorn_matrix_mul_add, Spec{"nnnn", kSized}, (const vorn_matrix *)w.ma, (const vorn_matrix *)w.mb,
      (const vorn_matrix *)w.mc, w.md),
    E(vorn_matrix_mul_add_t1, Spec{"nnnn", kSized}, (const vorn_matrix *)w.ma, (const vorn_matrix *)w.mb,
      (const vorn_matrix *)w.mc, w.md),
    E(vorn_matrix_mul_add_t2, Spec{"nnnn", kSized}, (const vorn_matrix *)w.ma, (const vorn_matrix *)w.mb,
      (const vorn_matrix *)w.mc, w.md),
    E(vorn_matrix_mul_add_t3, Spec{"nnnn", kSized}, (const vorn_matrix *)w.ma, (const vorn_matrix *)w.mb,
      (const vorn_matrix *)w.mc, w.md),
    E(vorn_matrix_sub_mul, Spec{"nnnn", kSized}, (const vorn_matrix *)w.ma, (const vorn_matrix *)w.mb,
      (const vorn_matrix *)w.mc, w.md),
    E(vorn_matrix_inverse, Spec{}, w.mb),
    E(vorn_matrix_printf, Spec{}, (const vorn_matrix *)w.ma),

};

}  // namespace
}  // namespace vorn_probe
