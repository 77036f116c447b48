// The network's weight file: "0000", three 16-bit big-endian unit counts (bias included), then both weight
// matrices in storage order as little-endian IEEE 754 doubles. Nothing else is stored.
#include <stdio.h>
#include <string.h>

#include "recognition/bpnn.h"

namespace vorn {
namespace {

constexpr size_t kHeaderBytes = 10;
constexpr size_t kChunk = 256;  // doubles per write

void bpnn_store_count(uint8_t *p, uint64_t value) {
  p[0] = (uint8_t)(value / 256);
  p[1] = (uint8_t)(value % 256);
}

void bpnn_make_header(const vorn_bpnn_params &prm, uint8_t *h) {
  memset(h, '0', 4);
  bpnn_store_count(h + 4, (uint64_t)prm.n_in + 1);
  bpnn_store_count(h + 6, (uint64_t)prm.n_hidden + 1);
  bpnn_store_count(h + 8, (uint64_t)prm.n_out + 1);
}

uint64_t bpnn_double_bits(double v) {
  uint64_t u;
  memcpy(&u, &v, 8);
  return u;
}

bool bpnn_write_doubles(FILE *f, const double *w, size_t n) {
  uint8_t buf[kChunk * 8];
  while (n > 0) {
    const size_t m = n < kChunk ? n : kChunk;
    for (size_t i = 0; i < m; ++i) {
      const uint64_t u = bpnn_double_bits(w[i]);
      for (int b = 0; b < 8; ++b) buf[i * 8 + b] = (uint8_t)(u >> (8 * b));
    }
    if (fwrite(buf, 8, m, f) != m) return false;
    w += m;
    n -= m;
  }
  return true;
}

// Reads up to n doubles straight into w; a short file leaves the rest as it was.
void bpnn_read_doubles(FILE *f, double *w, size_t n) {
  const size_t got = fread(w, 1, n * 8, f);
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
  uint8_t *b = reinterpret_cast<uint8_t *>(w);
  for (size_t i = 0; i + 8 <= got; i += 8)
    for (int k = 0; k < 4; ++k) {
      const uint8_t t = b[i + k];
      b[i + k] = b[i + 7 - k];
      b[i + 7 - k] = t;
    }
#else
  (void)got;
#endif
}

}  // namespace
}  // namespace vorn

using namespace vorn;

extern "C" VORN_API vorn_result vorn_bpnn_load_weight(vorn_bpnn *net, const char *path) {
  if (!net || !path) return VORN_E_NULL;
  FILE *f = fopen(path, "rb");
  if (!f) return VORN_E_PARAM;
  uint8_t want[kHeaderBytes], got[kHeaderBytes];
  bpnn_make_header(net->params, want);
  // A count that does not fit 16 bits is never matched: the file cannot describe such a network.
  const bool fits = (uint64_t)net->params.n_in + 1 <= 0xFFFF && (uint64_t)net->params.n_hidden + 1 <= 0xFFFF &&
                    (uint64_t)net->params.n_out + 1 <= 0xFFFF;
  if (!fits || fread(got, 1, kHeaderBytes, f) != kHeaderBytes || memcmp(got, want, kHeaderBytes) != 0) {
    fclose(f);
    return VORN_E_PARAM;
  }
  bpnn_read_doubles(f, net->input_weights, bpnn_input_weight_count(net->params));
  bpnn_read_doubles(f, net->hidden_weights, bpnn_hidden_weight_count(net->params));
  fclose(f);
  return VORN_OK;
}

extern "C" VORN_API vorn_result vorn_bpnn_save_weight(vorn_bpnn *net, const char *path) {
  if (!net || !path) return VORN_E_NULL;
  FILE *f = fopen(path, "wb");
  if (!f) return VORN_E_PARAM;
  uint8_t header[kHeaderBytes];
  bpnn_make_header(net->params, header);
  bool ok = fwrite(header, 1, kHeaderBytes, f) == kHeaderBytes &&
            bpnn_write_doubles(f, net->input_weights, bpnn_input_weight_count(net->params)) &&
            bpnn_write_doubles(f, net->hidden_weights, bpnn_hidden_weight_count(net->params));
  if (fclose(f) != 0) ok = false;
  return ok ? VORN_OK : VORN_E_PARAM;
}
