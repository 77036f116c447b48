/* vorn_core.h: memory blocks, result codes, library start-up.
 *
 * Every object and buffer of the library is a memory block: a heap allocation whose usable start is aligned to
 * 16 bytes and preceded by two pointer-sized words, the size that was asked for and the address of the
 * underlying heap allocation. Handles handed to the host are the usable starts of such blocks.
 *
 * Threads: the library starts none and takes no locks. vorn_init must complete before any other call; after that
 * distinct objects may be used from distinct threads, each object by one thread at a time. */
#ifndef VORN_CORE_H
#define VORN_CORE_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32) || defined(__CYGWIN__)
#  if defined(VORN_BUILDING_LIBRARY)
#    define VORN_API __declspec(dllexport)
#  elif defined(VORN_STATIC)
#    define VORN_API
#  else
#    define VORN_API __declspec(dllimport)
#  endif
#elif defined(VORN_BUILDING_LIBRARY)
#  define VORN_API __attribute__((visibility("default")))
#else
#  define VORN_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Result codes: one flat table for the whole library, values fixed for ever. */
typedef uint32_t vorn_result;
#define VORN_OK              0x00000000u /* success */
#define VORN_E_NO_RESULT     0x10000000u /* ran, but nothing to report / no convergence / degenerate data */
#define VORN_E_NULL          0x10000001u /* a required handle or pointer argument is null */
#define VORN_E_NOMEM         0x10000002u /* a block could not be obtained, or a required buffer does not exist */
#define VORN_E_PARAM         0x10000003u /* invalid argument: size/format mismatch, index out of table, ... */
#define VORN_E_FILE          0x10000004u /* a file could not be opened for writing */
#define VORN_E_LEARNING      0x10000006u /* the background model is not established yet */
#define VORN_E_SCENE_CHANGE  0x10000007u /* a scene change was detected; the frame was not processed further */

/* vorn_result_name: the constant's name of a result code ("VORN_E_PARAM"), or "VORN_E_UNKNOWN" for a value that
 * is no result code. vorn_result_message: one sentence saying what the code means. Both return static strings that
 * the host never frees, and need no vorn_init. */
VORN_API const char *vorn_result_name(vorn_result code);
VORN_API const char *vorn_result_message(vorn_result code);

/* vorn_malloc: a block of n usable bytes (contents zeroed), or NULL. */
VORN_API void *vorn_malloc(uint32_t n);
/* vorn_calloc: a block of n usable bytes set to zero, or NULL. */
VORN_API void *vorn_calloc(uint32_t n);
/* vorn_free: releases a block; NULL, or a block whose raw-address word is NULL, is ignored. */
VORN_API void vorn_free(void *p);

/* vorn_init: builds the colour tables and the frame-conversion table. Call once before anything else. Returns 0. */
VORN_API vorn_result vorn_init(void);
/* vorn_release: counterpart of vorn_init; does nothing. Returns 0. */
VORN_API vorn_result vorn_release(void);

/* Statistics record of vorn_get_stat_info. */
typedef struct vorn_stat_info {
  uint32_t kind;  /* which statistic: only 0 (the object counter's event) is answered */
  uint32_t value; /* filled in by the call */
} vorn_stat_info;

/* vorn_get_stat_info: with kind 0, value <- the event word of the object counter `handle` (0 when handle is NULL).
 * Other kinds leave the record untouched. Always returns 0. */
VORN_API uintptr_t vorn_get_stat_info(void *handle, vorn_stat_info *info);

#ifdef __cplusplus
}
#endif

#endif /* VORN_CORE_H */
