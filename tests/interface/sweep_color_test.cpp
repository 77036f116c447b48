// Argument sweep entries: colour models, frame conversions, quarter size and cropping.
#include "interface/sweep_table.h"

namespace vorn_probe {
namespace {

const Register kEntries{
    // --- colour models ---
    E(vorn_init_colorspace, Args{}),
    E(vorn_image_rgb_to_yuv, Args{"nn", kSized | kFormat}, (const vorn_image *)w.rgb, w.yuv_out),
    E(vorn_image_yuv_to_rgb, Args{"nn", kSized | kFormat}, (const vorn_image *)w.yuv, w.rgb_out),
    E(vorn_image_rgb_to_y, Args{"nn", kSized | kFormat}, (const vorn_image *)w.rgb, w.mono_out),
    E(vorn_image_y_to_rgb, Args{"nn", kSized | kFormat}, (const vorn_mono_image *)w.mono, w.rgb_out),
    E(vorn_image_rgb_to_hsv, Args{"nn", kSized | kFormat}, (const vorn_image *)w.rgb, w.hsv_out),
    E(vorn_image_hsv_to_rgb, Args{"nn", kSized | kFormat}, (const vorn_image *)w.hsv, w.rgb_out),
    E(vorn_image_yuv_to_hsv, Args{"nn", kSized | kFormat}, (const vorn_image *)w.yuv, w.hsv_out),
    E(vorn_image_hsv_to_yuv, Args{"nn", kSized | kFormat}, (const vorn_image *)w.hsv, w.yuv_out),
    E(vorn_image_rgb_to_h, Args{"nn", kSized | kFormat}, (const vorn_image *)w.rgb, w.mono_out),
    E(vorn_image_yuv_to_h, Args{"nn", kSized | kFormat}, (const vorn_image *)w.yuv, w.mono_out),
    E(vorn_image_test_hsv, Args{}),

    // --- frames into images (the raw members trust their buffer and take the image's size and model as they are) ---
    E(vorn_image_bmp_to_rgb, Args{"nn", kSized | kFormat}, (const vorn_bmp *)w.bmp24, w.rgb_out),
    E(vorn_image_bmp_to_yuv, Args{"nn", kSized | kFormat}, (const vorn_bmp *)w.bmp24, w.yuv_out),
    E(vorn_image_bmp_to_hsv, Args{"nn", kSized | kFormat}, (const vorn_bmp *)w.bmp32, w.hsv_out),
    E(vorn_image_bmp24_to_rgb, Args{"nn"}, w.rows24, w.rgb_out),
    E(vorn_image_bmp24_to_yuv, Args{"nn"}, w.rows24, w.yuv_out),
    E(vorn_image_bmp24_to_hsv, Args{"nn"}, w.rows24, w.hsv_out),
    E(vorn_image_bmp32_to_rgb, Args{"nn"}, w.rows32, w.rgb_out),
    E(vorn_image_bmp32_to_yuv, Args{"nn"}, w.rows32, w.yuv_out),
    E(vorn_image_bmp32_to_hsv, Args{"nn"}, w.rows32, w.hsv_out),
    E(vorn_image_yuv422_to_rgb, Args{"nn"}, w.yuv422, w.rgb_out),
    E(vorn_image_yuv422_to_yuv, Args{"nn"}, w.yuv422, w.yuv_out),
    E(vorn_image_yuv422_to_hsv, Args{"nn"}, w.yuv422, w.hsv_out),
    E(vorn_image_yuv420_to_rgb, Args{"nn"}, w.yuv420, w.rgb_out),
    E(vorn_image_yuv420_to_yuv, Args{"nn"}, w.yuv420, w.yuv_out),
    E(vorn_image_yuv420_to_hsv, Args{"nn"}, w.yuv420, w.hsv_out),

    // --- images into frames ---
    E(vorn_image_rgb_to_bmp, Args{"nn", kSized | kFormat}, (const vorn_image *)w.rgb, w.bmp24),
    E(vorn_image_yuv_to_bmp, Args{"nn", kSized | kFormat}, (const vorn_image *)w.yuv, w.bmp24),
    E(vorn_image_hsv_to_bmp, Args{"nn", kSized | kFormat}, (const vorn_image *)w.hsv, w.bmp32),
    E(vorn_image_rgb_to_bmp24, Args{"nn"}, (const vorn_image *)w.rgb, w.rows24),
    E(vorn_image_rgb_to_bmp32, Args{"nn"}, (const vorn_image *)w.rgb, w.rows32),
    E(vorn_image_yuv_to_bmp24, Args{"nn"}, (const vorn_image *)w.yuv, w.rows24),
    E(vorn_image_yuv_to_bmp32, Args{"nn"}, (const vorn_image *)w.yuv, w.rows32),
    E(vorn_image_hsv_to_bmp24, Args{"nn"}, (const vorn_image *)w.hsv, w.rows24),
    E(vorn_image_hsv_to_bmp32, Args{"nn"}, (const vorn_image *)w.hsv, w.rows32),
    E(vorn_image_rgb_to_yuv422, Args{"nn"}, (const vorn_image *)w.rgb, w.yuv422),
    E(vorn_image_yuv_to_yuv422, Args{"nn"}, (const vorn_image *)w.yuv, w.yuv422),
    E(vorn_image_hsv_to_yuv422, Args{"nn"}, (const vorn_image *)w.hsv, w.yuv422),
    E(vorn_image_rgb_to_yuv420, Args{"nn"}, (const vorn_image *)w.rgb, w.yuv420),
    E(vorn_image_yuv_to_yuv420, Args{"nn"}, (const vorn_image *)w.yuv, w.yuv420),
    E(vorn_image_hsv_to_yuv420, Args{"nn"}, (const vorn_image *)w.hsv, w.yuv420),

    // --- bitmaps and YUV frames directly ---
    E(image_bmp_to_yuv422, Args{"tt", kNoExtreme, "", kWorker}, w.rows24, w.yuv422, kW, kH, 24u),
    E(image_yuv422_to_bmp, Args{"tt", kNoExtreme, "", kWorker}, w.yuv422, w.rows24, kW, kH, 24u),
    E(image_bmp_to_yuv420, Args{"tt", kNoExtreme, "", kWorker}, w.rows24, w.yuv420, kW, kH, 24u),
    E(image_yuv420_to_bmp, Args{"tt", kNoExtreme, "", kWorker}, w.yuv420, w.rows24, kW, kH, 24u),
    E(vorn_image_bmp_to_yuv422, Args{"nn"}, (const vorn_bmp *)w.bmp24, w.yuv422),
    E(vorn_image_yuv422_to_bmp, Args{"nn"}, w.yuv422, w.bmp24),
    E(vorn_image_bmp_to_yuv420, Args{"nn"}, (const vorn_bmp *)w.bmp24, w.yuv420),
    E(vorn_image_yuv420_to_bmp, Args{"nn"}, w.yuv420, w.bmp24),
    E(vorn_image_bmp_to_mono, Args{"nn", kSized}, (const vorn_bmp *)w.bmp24, w.mono_out),
    E(vorn_image_mono_to_bmp, Args{"nn", kSized}, (const vorn_mono_image *)w.mono, w.bmp24),
    // src NULL is a parameter fault, as documented; dst and scratch are optional.
    E(vorn_image_yv14_to_yuv420, Args{"poo", kNoExtreme, "", nullptr}, w.yuv420, (uint8_t *)nullptr, w.half_rows, kW, kH),

    // --- quarter size, cropping, drawing ---
    E(vorn_image_quater, Args{"nn", kSized | kFormat}, (const vorn_image *)w.yuv, w.half_yuv),
    E(vorn_image_bmp_quater, Args{"nn"}, (const vorn_bmp *)w.bmp24, w.half_bmp24),
    // Raw buffers are trusted to be as long as the size says: extreme sizes are not probed.
    E(vorn_image_bmp24_quater, Args{"nn", kNoExtreme}, w.rows24, w.half_rows, kW, kH),
    E(vorn_image_bmp32_quater, Args{"nn", kNoExtreme}, w.rows32, w.half_rows, kW, kH),
    E(vorn_image_yuv422_quater, Args{"nn", kNoExtreme}, w.yuv422, w.half_rows, kW, kH),
    E(vorn_image_yuv420_quater, Args{"nn", kNoExtreme}, w.yuv420, w.half_rows, kW, kH),
    E(vorn_image_yuv420_to_yuv_quater, Args{"nn", kSized | kFormat}, w.yuv420, w.half_yuv, (int32_t)kW, kH),
    E(vorn_image_yv14_to_yuv_quater, Args{"nn", kSized | kFormat}, w.yuv420, w.half_yuv, (int32_t)kW, kH),
    E(vorn_image_yuv422_to_yuv_quater, Args{"nn", kSized | kFormat}, w.yuv422, w.half_yuv, kW, kH),
    E(vorn_image_rect, Args{}, (const vorn_image *)w.yuv, w.rect),
    E(vorn_image_point, Args{"nn", kFormat}, (const vorn_image *)w.yuv, w.half_yuv, (int32_t)3, (int32_t)2),
    E(vorn_mono_image_draw_rect, Args{"nn"}, w.mono_out, (const vorn_rect *)&w.rect),

};

}  // namespace
}  // namespace vorn_probe
