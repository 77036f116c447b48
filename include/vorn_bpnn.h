/* vorn_bpnn.h: a three-layer back-propagation network (input, one hidden layer, output) with logistic units,
 * trained one sample at a time with momentum, and its binary weight file.
 *
 * One handle per network; a handle is used by one thread at a time. Nothing is allocated after create. */
#ifndef VORN_BPNN_H
#define VORN_BPNN_H

#include "vorn_core.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Parameters of a network, filled by the host. Unit counts do not include the bias unit. */
typedef struct vorn_bpnn_params {
  double momentum;   /* share of the previous weight change added to the next one */
  double eta;        /* learning rate */
  uint32_t n_in;     /* input units */
  uint32_t n_hidden; /* hidden units */
  uint32_t n_out;    /* output units */
  uint32_t reserved; /* copied with the record, never read */
} vorn_bpnn_params;

typedef struct vorn_bpnn vorn_bpnn;

/* vorn_bpnn_create: a network with the given shape. The starting weights are the same for every network of a
 * shape: they are drawn, in storage order (input-to-hidden rows first, then hidden-to-output), from a 15-bit
 * linear congruential generator seeded with 714, each as r / 16383.0 - 1.0. The C runtime's generator is reseeded
 * with srand(714) on the way.
 *   params  in;   out  out, the handle (NULL on failure)
 * Returns VORN_OK, VORN_E_NULL (params or out NULL), VORN_E_NOMEM. */
VORN_API vorn_result vorn_bpnn_create(const vorn_bpnn_params *params, vorn_bpnn **out);

/* vorn_bpnn_destroy: frees the network. Returns VORN_OK, VORN_E_NULL for NULL. */
VORN_API vorn_result vorn_bpnn_destroy(vorn_bpnn *net);

/* vorn_bpnn_train: one back-propagation step on one sample.
 *   input   in, n_in values;  target  in, n_out values
 *   hidden_error, output_error  out (may be NULL): sums of the absolute hidden and output deltas of this step
 * Returns VORN_OK, VORN_E_NULL (net, input or target NULL). */
VORN_API vorn_result vorn_bpnn_train(vorn_bpnn *net, const double *input, const double *target,
                                     double *hidden_error, double *output_error);

/* vorn_bpnn_recognize: the network's outputs for one input.
 *   input  in, n_in values;  output  out, n_out values in (0, 1)
 * Returns VORN_OK, VORN_E_NULL (any argument NULL). */
VORN_API vorn_result vorn_bpnn_recognize(vorn_bpnn *net, const double *input, double *output);

/* vorn_bpnn_load_weight: reads a weight file written by vorn_bpnn_save_weight into the network.
 * File layout: "0000", then n_in + 1, n_hidden + 1, n_out + 1 as 16-bit big-endian counts, then the
 * input-to-hidden weights ((n_hidden + 1) rows of n_in + 1) and the hidden-to-output weights ((n_out + 1) rows of
 * n_hidden + 1), each an IEEE 754 double in little-endian byte order. A file that ends early leaves the weights
 * it does not reach as they were.
 * Returns VORN_OK, VORN_E_NULL (net or path NULL), VORN_E_PARAM (cannot open, bad signature, other counts; the
 * weights are then untouched). */
VORN_API vorn_result vorn_bpnn_load_weight(vorn_bpnn *net, const char *path);

/* vorn_bpnn_save_weight: writes the network's weights in the layout above (nothing else: no momentum terms, no
 * learning parameters). Returns VORN_OK, VORN_E_NULL (net or path NULL), VORN_E_PARAM (cannot create or write). */
VORN_API vorn_result vorn_bpnn_save_weight(vorn_bpnn *net, const char *path);

#ifdef __cplusplus
}
#endif

#endif /* VORN_BPNN_H */
