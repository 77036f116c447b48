// Argument sweep entries: background models.
#include "interface/sweep_table.h"

namespace vorn_probe {
namespace {

// The per-type operations of the background models, each probed on a model of its own type.
#define MODEL_OPS(suffix, type)                                                                                     \
  E(bk_model_create_##suffix, Args{"nn"}, &w.model_params, model_out(bk_model_destroy_##suffix)),                  \
  E(bk_model_destroy_##suffix, Args{"n", kConsumes}, w.model[type]),                                               \
  E(bk_model_process_##suffix, Args{"nn"}, w.model[type], w.frame, (uint32_t)VORN_FRAME_BMP32),                    \
  E(bk_model_set_bk_##suffix, Args{"nn"}, w.model[type], w.frame, (uint32_t)VORN_FRAME_BMP32),                     \
  E(bk_model_reset_##suffix, Args{"n"}, w.model[type])

const Register kEntries{
    // --- background models ---
    E(vorn_bk_model_init, Args{"n"}, 2u, &w.ops[0]),
    E(vorn_bk_model_set_mask, Args{"nn", kSized}, w.model[2], w.region),
    E(vorn_bk_model_get_mask, Args{"nn"}, w.model[2], none<vorn_mono_image>()),
    E(bk_model_create, Args{"nn"}, &w.model_params, model_out(bk_model_destroy)),
    E(bk_model_destroy, Args{"n", kConsumes}, w.model[0]),
    E(bk_model_get_image, Args{"nn"}, w.model[2], 0u, none<vorn_image>()),
    // The generic step answers 0 to a NULL frame, as it always has.
    E(bk_model_process, Args{"n0"}, w.model[1], w.frame, (uint32_t)VORN_FRAME_BMP32),
    E(bk_model_get_fg, Args{"nn"}, w.model[2], none<vorn_mono_image>()),
    E(bk_model_set_bk, Args{"nn"}, w.model[0], w.frame, (uint32_t)VORN_FRAME_BMP32),
    E(bk_model_get_bk, Args{"nn"}, w.model[2], none<vorn_image>()),
    E(bk_model_reset, Args{"n"}, w.model[1]),
    E(bk_model_set_param, Args{"n"}, w.model[2], 0x101u, (uint32_t)VORN_BK_PARAM_WINDOW),
    E(bk_model_process_end, Args{"n"}, w.model[2], (vorn_result)VORN_OK),
    MODEL_OPS(def, 0),
    MODEL_OPS(sal, 1),
    MODEL_OPS(wall, 4),
    MODEL_OPS(mog, 2),
    MODEL_OPS(mean, 3),
    MODEL_OPS(meanex, 7),
    MODEL_OPS(baymean, 8),
    E(bk_model_create_block, Args{"nn"}, &w.model_params, model_out(bk_model_destroy_block)),
    E(bk_model_destroy_block, Args{"n", kConsumes}, w.model[5]),
    E(bk_model_process_block, Args{"nn"}, w.model[5], w.frame, (uint32_t)VORN_FRAME_BMP32),
    E(bk_model_set_bk_block, Args{"nn"}, w.model[5], w.frame, (uint32_t)VORN_FRAME_BMP32),
    E(bk_model_reset_block, Args{"n"}, w.model[5]),
    E(bk_model_create_bay, Args{"nn"}, &w.model_params, model_out(bk_model_destroy_bay)),
    E(bk_model_destroy_bay, Args{"n", kConsumes}, w.bay),
    E(bk_model_process_bay, Args{"nn"}, w.bay, w.frame, (uint32_t)VORN_FRAME_BMP32),
    E(bk_model_set_bk_bay, Args{"nn"}, w.bay, w.frame, (uint32_t)VORN_FRAME_BMP32),
    E(bk_model_reset_bay, Args{"n"}, w.bay),

};

}  // namespace
}  // namespace vorn_probe
