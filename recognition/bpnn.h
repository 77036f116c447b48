// The network record shared by the training code and the weight-file code.
#ifndef VORN_RECOGNITION_BPNN_H
#define VORN_RECOGNITION_BPNN_H

#include <stddef.h>
#include <stdint.h>

#include "vorn_bpnn.h"

// Units are 1-based inside the network: element 0 of input and hidden is the bias unit (1.0), element 0 of output
// and of the deltas is unused. Weight matrices are row-major, row j holding the weights into unit j of the next
// layer from every unit (bias included) of the previous one; row 0 is never used by the forward pass.
struct vorn_bpnn {
  vorn_bpnn_params params;
  double *input;                // n_in + 1
  double *hidden;               // n_hidden + 1
  double *output;               // n_out + 1
  double *hidden_delta;         // n_hidden + 1
  double *output_delta;         // n_out + 1
  double *input_weights;        // (n_hidden + 1) x (n_in + 1)
  double *hidden_weights;       // (n_out + 1) x (n_hidden + 1)
  double *prev_input_weights;   // last change of input_weights (momentum term)
  double *prev_hidden_weights;  // last change of hidden_weights
  double *target;               // n_out + 1
};

namespace vorn {

// (a + 1) x (b + 1) elements, or SIZE_MAX when that does not fit (an allocation of SIZE_MAX doubles fails).
inline size_t bpnn_grid(uint32_t a, uint32_t b) {
  const uint64_t ra = (uint64_t)a + 1, rb = (uint64_t)b + 1;
  if (ra > SIZE_MAX / rb) return SIZE_MAX;
  return (size_t)(ra * rb);
}
// Element counts of the two weight matrices.
inline size_t bpnn_input_weight_count(const vorn_bpnn_params &p) { return bpnn_grid(p.n_hidden, p.n_in); }
inline size_t bpnn_hidden_weight_count(const vorn_bpnn_params &p) { return bpnn_grid(p.n_out, p.n_hidden); }

}  // namespace vorn

#endif
