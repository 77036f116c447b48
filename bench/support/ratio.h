// Side-by-side timing for shared, noisy machines: our operation and OpenCV's are run in interleaved blocks in
// one process (which one goes first alternates), each block timed in thread CPU time, and the per-round ratio
// ours / theirs is kept. Min and median of the ratios are what the benchmarks report.
#ifndef VORN_BENCH_RATIO_H
#define VORN_BENCH_RATIO_H

#include <time.h>

#include <algorithm>
#include <functional>
#include <vector>

#include <benchmark/benchmark.h>

namespace vorn_bench {

inline double thread_seconds() {
  timespec t;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return (double)t.tv_sec + 1e-9 * (double)t.tv_nsec;
}

struct Ratios {
  std::vector<double> ratio, ours_ms, theirs_ms;  // per round; times per step
  static double median(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return v.empty() ? 0.0 : v.size() % 2 ? v[v.size() / 2] : 0.5 * (v[v.size() / 2 - 1] + v[v.size() / 2]);
  }
  double min_ratio() const { return ratio.empty() ? 0.0 : *std::min_element(ratio.begin(), ratio.end()); }
  // Writes ratio_min, ratio_median and the median step times (ms) of both sides as counters.
  void report(benchmark::State &state) const {
    state.counters["ratio_min"] = min_ratio();
    state.counters["ratio_median"] = median(ratio);
    state.counters["ours_ms"] = median(ours_ms);
    state.counters["opencv_ms"] = median(theirs_ms);
  }
};

// `rounds` rounds of `block` steps of each side; step(k) does the k-th step of that side (k counts on across
// rounds, so both sides see the same inputs in the same order).
inline Ratios interleave(const std::function<void(size_t)> &ours, const std::function<void(size_t)> &theirs,
                         int rounds, int block) {
  Ratios r;
  size_t ko = 0, kt = 0;
  for (int round = 0; round < rounds; ++round) {
    double to = 0, tt = 0;
    for (int side = 0; side < 2; ++side) {
      const bool our_turn = (side == 0) == (round % 2 == 0);
      const double t0 = thread_seconds();
      for (int b = 0; b < block; ++b) our_turn ? ours(ko++) : theirs(kt++);
      (our_turn ? to : tt) = thread_seconds() - t0;
    }
    r.ratio.push_back(to / tt);
    r.ours_ms.push_back(1e3 * to / block);
    r.theirs_ms.push_back(1e3 * tt / block);
  }
  return r;
}

}  // namespace vorn_bench

#endif
