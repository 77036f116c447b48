// Weight files: any file is read without stepping outside the network, and a rejected one leaves its weights
// untouched (the network answers a fixed input exactly as before).
#include <stdlib.h>
#include <string.h>

#include "fuzz_file.h"
#include "vorn.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  const vorn_bpnn_params p = {0.3, 0.3, 3, 4, 2, 0};
  vorn_bpnn *net = nullptr;
  if (vorn_bpnn_create(&p, &net) != VORN_OK) abort();
  const double in[3] = {0.25, 0.5, 0.75};
  double before[2], after[2];
  vorn_bpnn_recognize(net, in, before);
  const vorn_result r = vorn_bpnn_load_weight(net, vorn_fuzz::as_file(data, size));
  vorn_bpnn_recognize(net, in, after);
  if (r != VORN_OK && memcmp(before, after, sizeof before) != 0) abort();
  vorn_bpnn_destroy(net);
  return 0;
}
