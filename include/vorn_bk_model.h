/* vorn_bk_model.h: background models behind one table of nine operations.
 *
 * A model keeps, for one video stream of fixed size, a ring of the most recent frames, a background image and a
 * foreground mask (0 = background, 255 = foreground). vorn_bk_model_init fills a table of operations from a model
 * type number; a host drives the model only through that table:
 *
 *   vorn_bk_model_vtable t;  vorn_bk_model_init(2, &t);
 *   vorn_bk_model_init_params p = {4, 768, 576, VORN_FORMAT_YUV};  void *h;
 *   t.create(&p, &h);  t.set_param(h, 0x101, VORN_BK_PARAM_WINDOW);
 *   per frame: t.process(h, frame, VORN_FRAME_YUV420); t.get_fg(h, &mask);
 *   t.destroy(h);
 *
 * Model types: 1 and 4 frame ring only (no foreground), 2 mixture of Gaussians, 3 and 6 cumulative mean, 5 4x4
 * blocks, 7 stable-pixel running mean, 8 histogram mode then running mean; any other number the default model,
 * which only compares against a background the host sets. A model's operations must be called through the table
 * of its own type. One handle per stream; a handle is used by one thread at a time. */
#ifndef VORN_BK_MODEL_H
#define VORN_BK_MODEL_H

#include "vorn_image.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Create parameters (read by every create operation). */
typedef struct vorn_bk_model_init_params {
  uint32_t history_count; /* frames kept in the ring, at least 1 */
  uint32_t width;         /* frame width in pixels */
  uint32_t height;        /* frame height in pixels */
  uint32_t format;        /* VORN_FORMAT_* of the ring and background images */
} vorn_bk_model_init_params;

/* The model record is opaque; its handle is passed back to the table's operations. */
typedef struct vorn_bk_model vorn_bk_model;

/* Parameter ids of set_param. Byte 0 is the least significant byte of the value, byte 1 the next one. */
#define VORN_BK_PARAM_SENSITIVITY  0u /* s: difference threshold t = clamp(s * 85 / 100 + 15, 15, 100) */
#define VORN_BK_PARAM_SCENE_CUT    1u /* byte 0: test on; byte 1 == 1: edge test, else plane test */
#define VORN_BK_PARAM_SHADOW       2u /* 0 off; byte 0 != 0 and byte 1 == 1: simple detector; else full */
#define VORN_BK_PARAM_ERODE        3u /* byte 0: on; byte 1: size - 1 (size at most 10) */
#define VORN_BK_PARAM_DILATE       4u /* byte 0: on; byte 1: size - 1 (size at most 10) */
#define VORN_BK_PARAM_WINDOW       5u /* byte 0: on; byte 1: size - 1 (not clamped) */
#define VORN_BK_PARAM_LEARN_FRAMES 6u /* learning frames of the learning models; 0 means the model's default */
#define VORN_BK_PARAM_COUNT       32u /* ids 7..31 are stored and unused */

/* The nine operations of a model type, in slot order. frame_type is a VORN_FRAME_* (above 4 taken as 4). */
typedef struct vorn_bk_model_vtable {
  vorn_result (*create)(vorn_bk_model_init_params *params, void **out_handle);
  vorn_result (*destroy)(vorn_bk_model *model);
  vorn_result (*get_image)(vorn_bk_model *model, uint32_t back, vorn_image **out);
  vorn_result (*process)(vorn_bk_model *model, uint8_t *frame, uint32_t frame_type);
  vorn_result (*get_fg)(vorn_bk_model *model, vorn_mono_image **out);
  vorn_result (*set_bk)(vorn_bk_model *model, uint8_t *frame, uint32_t frame_type);
  vorn_result (*get_bk)(vorn_bk_model *model, vorn_image **out);
  vorn_result (*reset)(vorn_bk_model *model);
  vorn_result (*set_param)(vorn_bk_model *model, uint32_t value, uint32_t id);
} vorn_bk_model_vtable;

/* vorn_bk_model_init: fills all nine slots with the generic operations, then installs the create, destroy,
 * process, set_bk and reset of model `type`. */
VORN_API void vorn_bk_model_init(uint32_t type, vorn_bk_model_vtable *table);

/* vorn_bk_model_set_mask: copies `mask` (0 = outside the region) into the model's region mask.
 * VORN_E_NULL when the model is null, has no mask, or the sizes differ. */
VORN_API vorn_result vorn_bk_model_set_mask(vorn_bk_model *model, vorn_mono_image *mask);
/* vorn_bk_model_get_mask: the model's own region mask (writable); *out is cleared first. VORN_E_NULL for a null
 * model or out. */
VORN_API vorn_result vorn_bk_model_get_mask(vorn_bk_model *model, vorn_mono_image **out);

/* --- generic operations (the slots every type starts from) ---
 * create: VORN_E_NULL (params or out_handle), VORN_E_PARAM for history_count 0, VORN_E_NOMEM; *out_handle is
 *   null on failure.
 * get_image: back 0 is the frame processed last; VORN_E_PARAM when back > frames seen or >= history_count.
 *   Like every getter it clears its output before looking at the model.
 * process: converts the frame into the ring and runs the scene-cut test (VORN_E_SCENE_CHANGE on a cut). A NULL
 *   frame returns 0 at once with nothing converted: the generic step has always answered so. Every model type's
 *   process and set_bk refuse a NULL frame with VORN_E_NULL before anything changes.
 * get_bk: hands out the background; VORN_E_LEARNING while none has been set or learned.
 * set_bk: converts a frame into the background (VORN_E_NULL for a NULL frame). reset: counters and mask back to
 * the created state.
 * set_param: VORN_E_PARAM for id >= 32.
 * bk_model_process_end: the tail of every process (shadow removal and clean-up when result is 0, then the
 * ring advances); returns result, or VORN_E_NOMEM when shadow removal could not get its temporary images (the
 * clean-up and the ring's advance still happen). */
VORN_API vorn_result bk_model_create(vorn_bk_model_init_params *params, void **out_handle);
VORN_API vorn_result bk_model_destroy(vorn_bk_model *model);
VORN_API vorn_result bk_model_get_image(vorn_bk_model *model, uint32_t back, vorn_image **out);
VORN_API vorn_result bk_model_process(vorn_bk_model *model, uint8_t *frame, uint32_t frame_type);
VORN_API vorn_result bk_model_get_fg(vorn_bk_model *model, vorn_mono_image **out);
VORN_API vorn_result bk_model_set_bk(vorn_bk_model *model, uint8_t *frame, uint32_t frame_type);
VORN_API vorn_result bk_model_get_bk(vorn_bk_model *model, vorn_image **out);
VORN_API vorn_result bk_model_reset(vorn_bk_model *model);
VORN_API vorn_result bk_model_set_param(vorn_bk_model *model, uint32_t value, uint32_t id);
VORN_API vorn_result bk_model_process_end(vorn_bk_model *model, vorn_result result);

/* --- model types; each name below is one of the table's operations (names of one line share a body) --- */
/* default: compares against a background set by the host (sensitivity defaults to 30). */
VORN_API vorn_result bk_model_create_def(vorn_bk_model_init_params *params, void **out_handle);
VORN_API vorn_result bk_model_destroy_def(vorn_bk_model *model);
VORN_API vorn_result bk_model_destroy_sal(vorn_bk_model *model);
VORN_API vorn_result bk_model_destroy_wall(vorn_bk_model *model);
VORN_API vorn_result bk_model_process_def(vorn_bk_model *model, uint8_t *frame, uint32_t frame_type);
VORN_API vorn_result bk_model_set_bk_def(vorn_bk_model *model, uint8_t *frame, uint32_t frame_type);
VORN_API vorn_result bk_model_set_bk_mog(vorn_bk_model *model, uint8_t *frame, uint32_t frame_type);
VORN_API vorn_result bk_model_set_bk_sal(vorn_bk_model *model, uint8_t *frame, uint32_t frame_type);
VORN_API vorn_result bk_model_set_bk_wall(vorn_bk_model *model, uint8_t *frame, uint32_t frame_type);
VORN_API vorn_result bk_model_reset_def(vorn_bk_model *model);
VORN_API vorn_result bk_model_reset_block(vorn_bk_model *model);
VORN_API vorn_result bk_model_reset_sal(vorn_bk_model *model);
VORN_API vorn_result bk_model_reset_wall(vorn_bk_model *model);

/* frame ring only: no foreground is computed. */
VORN_API vorn_result bk_model_create_sal(vorn_bk_model_init_params *params, void **out_handle);
VORN_API vorn_result bk_model_create_wall(vorn_bk_model_init_params *params, void **out_handle);
VORN_API vorn_result bk_model_process_sal(vorn_bk_model *model, uint8_t *frame, uint32_t frame_type);
VORN_API vorn_result bk_model_process_wall(vorn_bk_model *model, uint8_t *frame, uint32_t frame_type);

/* destroy of every model with one per-pixel buffer. */
VORN_API vorn_result bk_model_destroy_mog(vorn_bk_model *model);
VORN_API vorn_result bk_model_destroy_mean(vorn_bk_model *model);
VORN_API vorn_result bk_model_destroy_meanex(vorn_bk_model *model);
VORN_API vorn_result bk_model_destroy_block(vorn_bk_model *model);
VORN_API vorn_result bk_model_destroy_bay(vorn_bk_model *model);

/* mixture of Gaussians. */
VORN_API vorn_result bk_model_create_mog(vorn_bk_model_init_params *params, void **out_handle);
VORN_API vorn_result bk_model_process_mog(vorn_bk_model *model, uint8_t *frame, uint32_t frame_type);
VORN_API vorn_result bk_model_reset_mog(vorn_bk_model *model);

/* cumulative mean. */
VORN_API vorn_result bk_model_create_mean(vorn_bk_model_init_params *params, void **out_handle);
VORN_API vorn_result bk_model_process_mean(vorn_bk_model *model, uint8_t *frame, uint32_t frame_type);
VORN_API vorn_result bk_model_set_bk_mean(vorn_bk_model *model, uint8_t *frame, uint32_t frame_type);
VORN_API vorn_result bk_model_reset_mean(vorn_bk_model *model);

/* stable-pixel running mean. */
VORN_API vorn_result bk_model_create_meanex(vorn_bk_model_init_params *params, void **out_handle);
VORN_API vorn_result bk_model_process_meanex(vorn_bk_model *model, uint8_t *frame, uint32_t frame_type);
VORN_API vorn_result bk_model_set_bk_meanex(vorn_bk_model *model, uint8_t *frame, uint32_t frame_type);
VORN_API vorn_result bk_model_reset_meanex(vorn_bk_model *model);

/* 4x4 blocks; the mask marks unchanged blocks with 255 and changed blocks with 0. */
VORN_API vorn_result bk_model_create_block(vorn_bk_model_init_params *params, void **out_handle);
VORN_API vorn_result bk_model_process_block(vorn_bk_model *model, uint8_t *frame, uint32_t frame_type);
VORN_API vorn_result bk_model_set_bk_block(vorn_bk_model *model, uint8_t *frame, uint32_t frame_type);

/* histogram mode (selected by no type number). */
VORN_API vorn_result bk_model_create_bay(vorn_bk_model_init_params *params, void **out_handle);
VORN_API vorn_result bk_model_process_bay(vorn_bk_model *model, uint8_t *frame, uint32_t frame_type);
VORN_API vorn_result bk_model_set_bk_bay(vorn_bk_model *model, uint8_t *frame, uint32_t frame_type);
VORN_API vorn_result bk_model_reset_bay(vorn_bk_model *model);

/* histogram mode, then a running mean over background pixels. */
VORN_API vorn_result bk_model_create_baymean(vorn_bk_model_init_params *params, void **out_handle);
VORN_API vorn_result bk_model_destroy_baymean(vorn_bk_model *model);
VORN_API vorn_result bk_model_process_baymean(vorn_bk_model *model, uint8_t *frame, uint32_t frame_type);
VORN_API vorn_result bk_model_set_bk_baymean(vorn_bk_model *model, uint8_t *frame, uint32_t frame_type);
VORN_API vorn_result bk_model_reset_baymean(vorn_bk_model *model);

#ifdef __cplusplus
}
#endif

#endif /* VORN_BK_MODEL_H */
