// The back-propagation network: creation with reproducible starting weights, the forward pass and one training
// step with momentum.
#include <math.h>
#include <stdlib.h>

#include "core/memory.h"
#include "recognition/bpnn.h"

namespace vorn {
namespace {

// The 15-bit generator the starting weights are drawn from: every build, whatever its C runtime, starts a network
// from the same weights.
struct bpnn_rand15 {
  uint32_t seed;
  int next() {
    seed = seed * 214013u + 2531011u;
    return (int)((seed >> 16) & 0x7FFF);
  }
};

constexpr uint32_t kSeed = 714;

void bpnn_fill_random(double *w, size_t n, bpnn_rand15 *gen) {
  for (size_t i = 0; i < n; ++i) w[i] = gen->next() / 16383.0 - 1.0;
}

// l2[1..n2] = logistic(w[j] . l1[0..n1]); l1[0] is the bias unit.
void bpnn_layer_forward(double *l1, double *l2, const double *w, uint32_t n1, uint32_t n2) {
  l1[0] = 1.0;
  const size_t stride = (size_t)n1 + 1;
  for (size_t j = 1; j <= n2; ++j) {
    const double *row = w + j * stride;
    double s = 0.0;
    for (size_t k = 0; k <= n1; ++k) s += row[k] * l1[k];
    l2[j] = 1.0 / (1.0 + exp(-s));
  }
}

// w[j][k] += eta * delta[j] * l[k] + momentum * prev[j][k] for j = 1..n_delta, k = 0..n_l; prev keeps the change.
void bpnn_adjust_weights(const double *delta, uint32_t n_delta, double *l, uint32_t n_l, double *w, double *prev,
                         double eta, double momentum) {
  l[0] = 1.0;
  const size_t stride = (size_t)n_l + 1;
  for (size_t j = 1; j <= n_delta; ++j) {
    double *row = w + j * stride;
    double *prow = prev + j * stride;
    for (size_t k = 0; k <= n_l; ++k) {
      const double change = eta * delta[j] * l[k] + momentum * prow[k];
      row[k] += change;
      prow[k] = change;
    }
  }
}

void bpnn_forward(vorn_bpnn *net, const double *input) {
  const vorn_bpnn_params &p = net->params;
  for (uint32_t i = 0; i < p.n_in; ++i) net->input[i + 1] = input[i];
  bpnn_layer_forward(net->input, net->hidden, net->input_weights, p.n_in, p.n_hidden);
  bpnn_layer_forward(net->hidden, net->output, net->hidden_weights, p.n_hidden, p.n_out);
}

void bpnn_free_members(vorn_bpnn *net) {
  block_release(net->input);
  block_release(net->hidden);
  block_release(net->output);
  block_release(net->hidden_delta);
  block_release(net->output_delta);
  block_release(net->input_weights);
  block_release(net->hidden_weights);
  block_release(net->prev_input_weights);
  block_release(net->prev_hidden_weights);
  block_release(net->target);
}

}  // namespace
}  // namespace vorn

using namespace vorn;

extern "C" VORN_API vorn_result vorn_bpnn_create(const vorn_bpnn_params *params, vorn_bpnn **out) {
  if (out) *out = nullptr;
  if (!params || !out) return VORN_E_NULL;
  vorn_bpnn *net = block_new<vorn_bpnn>();
  if (!net) return VORN_E_NOMEM;
  net->params = *params;
  const vorn_bpnn_params &p = net->params;
  bool ok = (net->input = block_new<double>((size_t)p.n_in + 1)) &&
            (net->hidden = block_new<double>((size_t)p.n_hidden + 1)) &&
            (net->output = block_new<double>((size_t)p.n_out + 1)) &&
            (net->hidden_delta = block_new<double>((size_t)p.n_hidden + 1)) &&
            (net->output_delta = block_new<double>((size_t)p.n_out + 1));
  if (ok) {
    srand(kSeed);  // the host's generator is left reseeded, as every create has always done
    bpnn_rand15 gen{kSeed};
    const size_t n_iw = bpnn_input_weight_count(p), n_hw = bpnn_hidden_weight_count(p);
    ok = (net->input_weights = block_new<double>(n_iw)) != nullptr;
    if (ok) bpnn_fill_random(net->input_weights, n_iw, &gen);
    ok = ok && (net->hidden_weights = block_new<double>(n_hw)) != nullptr;
    if (ok) bpnn_fill_random(net->hidden_weights, n_hw, &gen);
    ok = ok && (net->prev_hidden_weights = block_new<double>(n_hw)) &&
         (net->prev_input_weights = block_new<double>(n_iw)) &&
         (net->target = block_new<double>((size_t)p.n_out + 1));
  }
  if (!ok) {
    bpnn_free_members(net);
    block_release(net);
    return VORN_E_NOMEM;
  }
  *out = net;
  return VORN_OK;
}

extern "C" VORN_API vorn_result vorn_bpnn_destroy(vorn_bpnn *net) {
  if (!net) return VORN_E_NULL;
  bpnn_free_members(net);
  block_release(net);
  return VORN_OK;
}

extern "C" VORN_API vorn_result vorn_bpnn_recognize(vorn_bpnn *net, const double *input, double *output) {
  if (!net || !input || !output) return VORN_E_NULL;
  bpnn_forward(net, input);
  for (uint32_t j = 0; j < net->params.n_out; ++j) output[j] = net->output[j + 1];
  return VORN_OK;
}

extern "C" VORN_API vorn_result vorn_bpnn_train(vorn_bpnn *net, const double *input, const double *target,
                                                double *hidden_error, double *output_error) {
  if (hidden_error) *hidden_error = 0.0;
  if (output_error) *output_error = 0.0;
  if (!net || !input || !target) return VORN_E_NULL;
  const vorn_bpnn_params &p = net->params;
  for (uint32_t j = 0; j < p.n_out; ++j) net->target[j + 1] = target[j];
  bpnn_forward(net, input);

  double out_err = 0.0;
  for (size_t j = 1; j <= p.n_out; ++j) {
    const double o = net->output[j], t = net->target[j];
    net->output_delta[j] = o * (1.0 - o) * (t - o);
    out_err += fabs(net->output_delta[j]);
  }
  // The hidden deltas see the hidden-to-output weights as they were before this step.
  double hid_err = 0.0;
  const size_t hstride = (size_t)p.n_hidden + 1;
  for (size_t j = 1; j <= p.n_hidden; ++j) {
    const double h = net->hidden[j];
    double s = 0.0;
    for (size_t k = 1; k <= p.n_out; ++k) s += net->output_delta[k] * net->hidden_weights[k * hstride + j];
    net->hidden_delta[j] = h * (1.0 - h) * s;
    hid_err += fabs(net->hidden_delta[j]);
  }
  bpnn_adjust_weights(net->output_delta, p.n_out, net->hidden, p.n_hidden, net->hidden_weights,
                      net->prev_hidden_weights, p.eta, p.momentum);
  bpnn_adjust_weights(net->hidden_delta, p.n_hidden, net->input, p.n_in, net->input_weights,
                      net->prev_input_weights, p.eta, p.momentum);
  if (hidden_error) *hidden_error = hid_err;
  if (output_error) *output_error = out_err;
  return VORN_OK;
}
