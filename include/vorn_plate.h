/* vorn_plate.h: the licence-plate reader.
 *
 * Plates read: one row of VORN_PLATE_CHARS dark characters on a light plate, in the layout VORN_PLATE_LAYOUT,
 * where 'L' is a letter A-Z, 'D' a digit 0-9 and 'A' either. Each position is classified by the network for its
 * kind: letters by a 13-26 network, digits by a 13-10 network, either by a 13-36 network (outputs 0-9 then A-Z);
 * all three have 60 hidden units. Plates may lie anywhere in the frame, tilted up to about 12 degrees, seen with
 * mild perspective, with characters VORN_PLATE_DEFAULT_MIN_CHAR_HEIGHT to VORN_PLATE_DEFAULT_MAX_CHAR_HEIGHT
 * pixels tall unless the create parameters say otherwise.
 *
 * The 13 features of a character (the networks' inputs), taken from its box in the binarised, deskewed plate:
 *   0..11  share of ink pixels in each zone of a 3 x 4 grid laid over the box, zone rows from the top, each row's
 *          zones from the left (0..1);
 *   12     the box's width divided by its height.
 *
 * Weight files: "charnum.who" (36 outputs), "num.who" (10) and "char.who" (26), read at create from the
 * directory in the create parameters, else from the library's installed data directory (on Windows from C:\).
 *
 * One handle per video stream; a handle is used by one thread at a time. Nothing is allocated per frame. */
#ifndef VORN_PLATE_H
#define VORN_PLATE_H

#include "vorn_core.h"
#include "vorn_image.h"

#ifdef __cplusplus
extern "C" {
#endif

#define VORN_PLATE_CHARS 7
#define VORN_PLATE_LAYOUT "LLDDDAA"
#define VORN_PLATE_FEATURES 13
#define VORN_PLATE_DEFAULT_MIN_CHAR_HEIGHT 14
#define VORN_PLATE_DEFAULT_MAX_CHAR_HEIGHT 40

typedef struct vorn_plate_params {
  uint32_t width;           /* frame width in pixels (>= 32) */
  uint32_t height;          /* frame height in pixels (>= 16) */
  const char *weights_dir;  /* directory of the three weight files; NULL: the installed data directory */
  uint32_t min_char_height; /* smallest character height looked for, pixels; 0: the default */
  uint32_t max_char_height; /* largest character height looked for, pixels; 0: the default */
} vorn_plate_params;

/* What was read from the last frame. */
typedef struct vorn_plate_info {
  char text[VORN_PLATE_CHARS + 1];       /* the characters, NUL-terminated */
  float confidence[VORN_PLATE_CHARS];    /* the winning network output per character (0..1) */
  vorn_rect rect;                        /* the plate's character row in the frame (right, bottom exclusive) */
  float angle;                           /* skew of the row in degrees, positive when it falls to the right */
  float score;                           /* the smallest of the confidences */
} vorn_plate_info;

typedef struct vorn_plate vorn_plate;

/* vorn_plate_create: a reader for frames of the given size; loads the three networks.
 *   params in;  out out, the handle (NULL on failure)
 * Returns VORN_OK, VORN_E_NULL, VORN_E_PARAM (sizes out of range, or a weight file missing or not a weight file of
 * the expected shape), VORN_E_NOMEM. */
VORN_API vorn_result vorn_plate_create(const vorn_plate_params *params, vorn_plate **out);

/* vorn_plate_destroy: frees the reader. Returns VORN_OK, VORN_E_NULL for NULL. */
VORN_API vorn_result vorn_plate_destroy(vorn_plate *plate);

/* vorn_plate_process: looks for a plate in one frame and reads it.
 *   frame  in, a frame of the reader's size in the frame type `frame_type` (0..4, larger values read as 4)
 * Returns VORN_OK (a plate was read: vorn_plate_get_info), VORN_E_NO_RESULT (none found), VORN_E_NULL,
 * VORN_E_PARAM (a bitmap-object frame of another size or bit count). */
VORN_API vorn_result vorn_plate_process(vorn_plate *plate, const void *frame, uint32_t frame_type);

/* vorn_plate_get_info: the plate read from the last frame (cleared first).
 * Returns VORN_OK, VORN_E_NULL, VORN_E_NO_RESULT (the last frame held none). */
VORN_API vorn_result vorn_plate_get_info(const vorn_plate *plate, vorn_plate_info *info);

/* vorn_plate_get_width, vorn_plate_get_height: the frame size the reader was created for (0 on error).
 * Return VORN_OK, VORN_E_NULL. */
VORN_API vorn_result vorn_plate_get_width(const vorn_plate *plate, uint32_t *width);
VORN_API vorn_result vorn_plate_get_height(const vorn_plate *plate, uint32_t *height);

/* vorn_plate_get_debug_image: saves the last frame's intermediate images as 24-bit bitmaps "<dir>/<n>.bmp":
 * 0 the grey frame, 1 the closed edge mask, 2 the deskewed patch of the plate read (or of the last candidate
 * tried), 3 its binarised mask. Returns VORN_OK, VORN_E_NULL, VORN_E_NOMEM, VORN_E_FILE (a file cannot be
 * written). */
VORN_API vorn_result vorn_plate_get_debug_image(vorn_plate *plate, const char *dir);

#ifdef __cplusplus
}
#endif

#endif /* VORN_PLATE_H */
