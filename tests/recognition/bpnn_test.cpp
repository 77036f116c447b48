#include <math.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <gtest/gtest.h>

#include <vector>

#include "support/test_support.h"
#include "vorn_bpnn.h"

namespace {

using Bytes = std::vector<uint8_t>;

// A weight file taken apart independently of the library: header fields and the two matrices.
struct WeightFile {
  Bytes signature;
  unsigned c_in = 0, c_hidden = 0, c_out = 0;
  std::vector<double> iw, hw;  // (c_hidden x c_in), (c_out x c_hidden)
};

double le_double(const uint8_t *p) {
  uint64_t u = 0;
  for (int b = 7; b >= 0; --b) u = (u << 8) | p[b];
  double d;
  memcpy(&d, &u, 8);
  return d;
}

void put_le_double(Bytes &out, double d) {
  uint64_t u;
  memcpy(&u, &d, 8);
  for (int b = 0; b < 8; ++b) out.push_back((uint8_t)(u >> (8 * b)));
}

WeightFile parse(const Bytes &f) {
  WeightFile w;
  if (f.size() < 10) return w;
  w.signature.assign(f.begin(), f.begin() + 4);
  w.c_in = f[4] * 256u + f[5];
  w.c_hidden = f[6] * 256u + f[7];
  w.c_out = f[8] * 256u + f[9];
  size_t pos = 10;
  for (size_t i = 0; i < (size_t)w.c_in * w.c_hidden && pos + 8 <= f.size(); ++i, pos += 8)
    w.iw.push_back(le_double(&f[pos]));
  for (size_t i = 0; i < (size_t)w.c_hidden * w.c_out && pos + 8 <= f.size(); ++i, pos += 8)
    w.hw.push_back(le_double(&f[pos]));
  return w;
}

Bytes compose(unsigned n_in, unsigned n_hidden, unsigned n_out, const std::vector<double> &iw,
              const std::vector<double> &hw) {
  Bytes f = {'0', '0', '0', '0', (uint8_t)((n_in + 1) >> 8), (uint8_t)(n_in + 1), (uint8_t)((n_hidden + 1) >> 8),
             (uint8_t)(n_hidden + 1), (uint8_t)((n_out + 1) >> 8), (uint8_t)(n_out + 1)};
  for (double d : iw) put_le_double(f, d);
  for (double d : hw) put_le_double(f, d);
  return f;
}

vorn_bpnn_params shape(uint32_t n_in, uint32_t n_hidden, uint32_t n_out, double momentum = 0.3, double eta = 0.3) {
  vorn_bpnn_params p;
  memset(&p, 0, sizeof p);
  p.momentum = momentum;
  p.eta = eta;
  p.n_in = n_in;
  p.n_hidden = n_hidden;
  p.n_out = n_out;
  return p;
}

struct Net {
  vorn_bpnn *h = nullptr;
  explicit Net(const vorn_bpnn_params &p) { EXPECT_EQ(vorn_bpnn_create(&p, &h), VORN_OK); }
  ~Net() { vorn_bpnn_destroy(h); }
  Bytes saved(const char *name) const {
    const std::string path = vorn_test::temp_path(name);
    EXPECT_EQ(vorn_bpnn_save_weight(h, path.c_str()), VORN_OK);
    return vorn_test::read_file(path);
  }
  vorn_result load(const Bytes &bytes, const char *name) {
    const std::string path = vorn_test::temp_path(name);
    FILE *f = fopen(path.c_str(), "wb");
    EXPECT_NE(f, nullptr);
    if (!bytes.empty()) fwrite(bytes.data(), 1, bytes.size(), f);
    fclose(f);
    return vorn_bpnn_load_weight(h, path.c_str());
  }
};

// A plain reference network written from the training rule, with vectors of rows, used as the oracle for the
// library's arithmetic.
struct RefNet {
  unsigned ni, nh, no;
  double eta, momentum;
  std::vector<std::vector<double>> v, w, dv, dw;  // v: hidden x input, w: output x hidden (bias at index 0)
  std::vector<double> h, o;

  static double logistic(double s) { return 1.0 / (1.0 + exp(-s)); }

  void forward(const std::vector<double> &x) {
    h.assign(nh + 1, 1.0);
    o.assign(no + 1, 0.0);
    for (unsigned j = 1; j <= nh; ++j) {
      double s = 0.0;
      for (unsigned k = 0; k <= ni; ++k) s += v[j][k] * (k == 0 ? 1.0 : x[k - 1]);
      h[j] = logistic(s);
    }
    for (unsigned j = 1; j <= no; ++j) {
      double s = 0.0;
      for (unsigned k = 0; k <= nh; ++k) s += w[j][k] * h[k];
      o[j] = logistic(s);
    }
  }

  void train(const std::vector<double> &x, const std::vector<double> &t, double *eh, double *eo) {
    forward(x);
    std::vector<double> d_o(no + 1), d_h(nh + 1);
    *eo = *eh = 0.0;
    for (unsigned j = 1; j <= no; ++j) {
      d_o[j] = o[j] * (1.0 - o[j]) * (t[j - 1] - o[j]);
      *eo += fabs(d_o[j]);
    }
    for (unsigned j = 1; j <= nh; ++j) {
      double s = 0.0;
      for (unsigned k = 1; k <= no; ++k) s += d_o[k] * w[k][j];
      d_h[j] = h[j] * (1.0 - h[j]) * s;
      *eh += fabs(d_h[j]);
    }
    for (unsigned j = 1; j <= no; ++j)
      for (unsigned k = 0; k <= nh; ++k) {
        dw[j][k] = eta * d_o[j] * h[k] + momentum * dw[j][k];
        w[j][k] += dw[j][k];
      }
    for (unsigned j = 1; j <= nh; ++j)
      for (unsigned k = 0; k <= ni; ++k) {
        dv[j][k] = eta * d_h[j] * (k == 0 ? 1.0 : x[k - 1]) + momentum * dv[j][k];
        v[j][k] += dv[j][k];
      }
  }

  std::vector<double> flat(const std::vector<std::vector<double>> &m) const {
    std::vector<double> f;
    for (const auto &row : m) f.insert(f.end(), row.begin(), row.end());
    return f;
  }
};

// The generator the starting weights must come from, written out from its definition.
std::vector<double> seeded_weights(size_t n) {
  std::vector<double> out;
  uint64_t state = 714;
  for (size_t i = 0; i < n; ++i) {
    state = (state * 214013 + 2531011) % 4294967296ull;
    out.push_back((double)((state >> 16) % 32768) / 16383.0 - 1.0);
  }
  return out;
}

TEST(Bpnn, StartingWeightsAreTheSeededSequenceAndReseedTheHost) {
  // A 16-12-10 network: 17 x 13 input weights, then 13 x 11 hidden weights, drawn in one sequence.
  srand(12345);
  Net a(shape(16, 12, 10));
  const int after_create = rand();
  srand(714);
  EXPECT_EQ(after_create, rand()) << "create must leave the C runtime's generator seeded with 714";

  const Bytes file = a.saved("a.who");
  ASSERT_EQ(file.size(), 10u + 17 * 13 * 8 + 13 * 11 * 8);
  EXPECT_EQ(Bytes(file.begin(), file.begin() + 10), (Bytes{'0', '0', '0', '0', 0, 17, 0, 13, 0, 11}));
  const WeightFile w = parse(file);
  std::vector<double> expect = seeded_weights(17 * 13 + 13 * 11);
  std::vector<double> got = w.iw;
  got.insert(got.end(), w.hw.begin(), w.hw.end());
  ASSERT_EQ(got, expect);
  for (double d : got) {
    EXPECT_GE(d, -1.0);
    EXPECT_LE(d, 1.0 + 1.0 / 16383);
  }

  // Every creation starts again from the same sequence, whatever the host did with rand() in between.
  srand(99);
  rand();
  Net b(shape(16, 12, 10, 0.9, 0.01));
  EXPECT_EQ(b.saved("b.who"), file);
}

TEST(Bpnn, HandWorkedStepsFromZeroWeights) {
  // 1-1-1 network with every weight 0 except the unused rows 0, which hold 7.0 and must be ignored.
  Net n(shape(1, 1, 1));
  ASSERT_EQ(n.load(compose(1, 1, 1, {7.0, 7.0, 0.0, 0.0}, {7.0, 7.0, 0.0, 0.0}), "zero.who"), VORN_OK);
  double out = -1.0;
  const double x = 1.0, t = 1.0;
  ASSERT_EQ(vorn_bpnn_recognize(n.h, &x, &out), VORN_OK);
  EXPECT_EQ(out, 0.5);  // logistic(0)

  // Step 1: hidden = output = 0.5; output delta = 0.5 * 0.5 * (1 - 0.5) = 0.125; the hidden delta is 0 because
  // the hidden-to-output weight was 0 before the step. Changes: 0.3 * 0.125 * [1, 0.5].
  double eh = -1, eo = -1;
  ASSERT_EQ(vorn_bpnn_train(n.h, &x, &t, &eh, &eo), VORN_OK);
  EXPECT_EQ(eo, 0.125);
  EXPECT_EQ(eh, 0.0);
  WeightFile w = parse(n.saved("step1.who"));
  EXPECT_EQ(w.iw, (std::vector<double>{7.0, 7.0, 0.0, 0.0}));
  EXPECT_EQ(w.hw, (std::vector<double>{7.0, 7.0, 0.0375, 0.01875}));

  // Step 2: s = 0.0375 + 0.01875 * 0.5 = 0.046875, o = logistic(s); the hidden delta now uses the 0.01875 weight;
  // each change carries 0.3 of the previous one.
  ASSERT_EQ(vorn_bpnn_train(n.h, &x, &t, &eh, &eo), VORN_OK);
  const double o = 1.0 / (1.0 + exp(-0.046875));
  const double d_o = o * (1 - o) * (1 - o);
  const double d_h = 0.25 * (d_o * 0.01875);
  EXPECT_DOUBLE_EQ(eo, d_o);
  EXPECT_DOUBLE_EQ(eh, d_h);
  w = parse(n.saved("step2.who"));
  EXPECT_DOUBLE_EQ(w.hw[2], 0.0375 + 0.3 * d_o + 0.3 * 0.0375);
  EXPECT_DOUBLE_EQ(w.hw[3], 0.01875 + 0.3 * d_o * 0.5 + 0.3 * 0.01875);
  EXPECT_DOUBLE_EQ(w.iw[2], 0.3 * d_h);
  EXPECT_DOUBLE_EQ(w.iw[3], 0.3 * d_h);
  EXPECT_EQ(w.iw[0], 7.0);
  EXPECT_EQ(w.hw[1], 7.0);
}

TEST(Bpnn, TrainingMatchesReferenceNetworkExactly) {
  const unsigned ni = 5, nh = 4, no = 3;
  Net n(shape(ni, nh, no, 0.3, 0.3));
  RefNet ref{ni, nh, no, 0.3, 0.3, {}, {}, {}, {}, {}, {}};
  const std::vector<double> start = seeded_weights((nh + 1) * (ni + 1) + (no + 1) * (nh + 1));
  size_t pos = 0;
  ref.v.assign(nh + 1, std::vector<double>(ni + 1));
  ref.w.assign(no + 1, std::vector<double>(nh + 1));
  for (auto &row : ref.v)
    for (double &d : row) d = start[pos++];
  for (auto &row : ref.w)
    for (double &d : row) d = start[pos++];
  ref.dv.assign(nh + 1, std::vector<double>(ni + 1, 0.0));
  ref.dw.assign(no + 1, std::vector<double>(nh + 1, 0.0));

  const Bytes noise = vorn_test::random_bytes(40 * (ni + no), 3);
  for (int step = 0; step < 40; ++step) {
    std::vector<double> x(ni), t(no);
    for (unsigned i = 0; i < ni; ++i) x[i] = noise[step * (ni + no) + i] / 255.0 * 2 - 1;
    for (unsigned i = 0; i < no; ++i) t[i] = noise[step * (ni + no) + ni + i] > 127 ? 0.9 : 0.1;
    double eh, eo, rh, ro;
    ASSERT_EQ(vorn_bpnn_train(n.h, x.data(), t.data(), &eh, &eo), VORN_OK);
    ref.train(x, t, &rh, &ro);
    ASSERT_EQ(eh, rh) << "step " << step;
    ASSERT_EQ(eo, ro) << "step " << step;
    std::vector<double> out(no);
    ASSERT_EQ(vorn_bpnn_recognize(n.h, x.data(), out.data()), VORN_OK);
    ref.forward(x);
    for (unsigned j = 0; j < no; ++j) ASSERT_EQ(out[j], ref.o[j + 1]);
  }
  const WeightFile w = parse(n.saved("ref.who"));
  EXPECT_EQ(w.iw, ref.flat(ref.v));
  EXPECT_EQ(w.hw, ref.flat(ref.w));
}

TEST(Bpnn, LearnsXor) {
  Net n(shape(2, 4, 1, 0.3, 0.3));
  const double xs[4][2] = {{0, 0}, {0, 1}, {1, 0}, {1, 1}};
  const double ts[4] = {0, 1, 1, 0};
  double first_err = 0, last_err = 0;
  for (int epoch = 0; epoch < 20000; ++epoch) {
    double err = 0;
    for (int s = 0; s < 4; ++s) {
      double eh, eo;
      ASSERT_EQ(vorn_bpnn_train(n.h, xs[s], &ts[s], &eh, &eo), VORN_OK);
      err += eo;
    }
    if (epoch == 0) first_err = err;
    last_err = err;
  }
  EXPECT_LT(last_err, first_err / 10);
  for (int s = 0; s < 4; ++s) {
    double o;
    ASSERT_EQ(vorn_bpnn_recognize(n.h, xs[s], &o), VORN_OK);
    EXPECT_NEAR(o, ts[s], 0.1) << "pattern " << s;
  }
}

TEST(Bpnn, WeightFileRoundTripsAndRefusesOtherShapes) {
  Net a(shape(6, 5, 4));
  const double x[6] = {0.1, 0.9, 0.3, 0.5, 0.2, 0.7}, t[4] = {1, 0, 0, 1};
  for (int i = 0; i < 10; ++i) ASSERT_EQ(vorn_bpnn_train(a.h, x, t, nullptr, nullptr), VORN_OK);
  const Bytes file = a.saved("trained.who");

  Net b(shape(6, 5, 4, 0.9, 0.9));
  ASSERT_EQ(b.load(file, "copy.who"), VORN_OK);
  EXPECT_EQ(b.saved("again.who"), file);
  double oa[4], ob[4];
  ASSERT_EQ(vorn_bpnn_recognize(a.h, x, oa), VORN_OK);
  ASSERT_EQ(vorn_bpnn_recognize(b.h, x, ob), VORN_OK);
  EXPECT_EQ(memcmp(oa, ob, sizeof oa), 0);

  // Refused files leave the weights as they were.
  Net c(shape(6, 5, 4));
  const Bytes fresh = c.saved("fresh.who");
  std::vector<Bytes> bad;
  for (size_t at : {0, 3, 5, 7, 9}) {  // signature bytes and the low byte of each count
    Bytes f = file;
    f[at] ^= 1;
    bad.push_back(f);
  }
  for (size_t at : {4, 6, 8}) {  // high byte of each count
    Bytes f = file;
    f[at] = 1;
    bad.push_back(f);
  }
  bad.push_back(Bytes(file.begin(), file.begin() + 9));  // header cut short
  bad.push_back(Bytes());
  for (size_t i = 0; i < bad.size(); ++i) {
    EXPECT_EQ(c.load(bad[i], "bad.who"), VORN_E_PARAM) << "case " << i;
    EXPECT_EQ(c.saved("unchanged.who"), fresh) << "case " << i;
  }
  EXPECT_EQ(vorn_bpnn_load_weight(c.h, vorn_test::temp_path("missing/none.who").c_str()), VORN_E_PARAM);
  EXPECT_EQ(vorn_bpnn_save_weight(c.h, vorn_test::temp_path("missing/none.who").c_str()), VORN_E_PARAM);

  // A body that ends early loads what is there and leaves the rest; extra bytes after the body are not read.
  const size_t cut = 10 + 8 * 11;
  ASSERT_EQ(c.load(Bytes(file.begin(), file.begin() + cut), "short.who"), VORN_OK);
  Bytes mixed(file.begin(), file.begin() + cut);
  mixed.insert(mixed.end(), fresh.begin() + cut, fresh.end());
  EXPECT_EQ(c.saved("mixed.who"), mixed);
  Bytes longer = file;
  longer.insert(longer.end(), 100, 0xAB);
  ASSERT_EQ(c.load(longer, "long.who"), VORN_OK);
  EXPECT_EQ(c.saved("same.who"), file);
}

TEST(Bpnn, FailedCallsClearTheirOutputsAndLeakNothing) {
  const vorn_bpnn_params p = shape(13, 60, 36);
  vorn_bpnn *out = nullptr;
  // A failed training step clears the errors it would have reported.
  double d[64] = {0}, eh = 5, eo = 5;
  EXPECT_EQ(vorn_bpnn_train(nullptr, d, d, &eh, &eo), VORN_E_NULL);
  EXPECT_EQ(eh, 0.0);
  EXPECT_EQ(eo, 0.0);
  // Shapes too large for memory fail cleanly.
  const vorn_bpnn_params huge = shape(0xFFFFFFFFu, 0xFFFFFFFFu, 1);
  EXPECT_EQ(vorn_bpnn_create(&huge, &out), VORN_E_NOMEM);
  EXPECT_EQ(out, nullptr);

  Net donor(p);
  const std::string path = vorn_test::temp_path("donor.who");
  ASSERT_EQ(vorn_bpnn_save_weight(donor.h, path.c_str()), VORN_OK);
  const int points = vorn_test::sweep_allocation_failures([&] {
    vorn_bpnn *net = nullptr;
    if (vorn_bpnn_create(&p, &net) != VORN_OK) return net != nullptr;
    const bool ok = vorn_bpnn_load_weight(net, path.c_str()) == VORN_OK;
    vorn_bpnn_destroy(net);
    return ok;
  });
  EXPECT_EQ(points, 11);
}

}  // namespace
