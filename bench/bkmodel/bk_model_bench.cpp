// Background models per frame at 768x576 over the street clip, each type through its table, with OpenCV's
// MOG2 and a running mean (accumulateWeighted + absdiff + threshold) timed in the same run, single-threaded.
#include <string.h>

#include <benchmark/benchmark.h>

#include "core/cpu.h"
#include "support/clip.h"
#include "vorn.h"

#if VORN_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/video/background_segm.hpp>
#endif

namespace {

constexpr int kFrames = 60;

// Frame k of an endless back-and-forth walk through the clip (0, 1, .., n-1, n-2, .., 1, 0, 1, ..): wrapping
// from the last frame to the first would be a scene cut, which makes some models start learning again.
inline size_t ping_pong(size_t k, size_t n) {
  const size_t period = 2 * (n - 1), j = k % period;
  return j < n ? j : period - j;
}

// The clip as bottom-up 24-bit bitmap rows (768 * 3 bytes: no row padding).
std::vector<std::vector<uint8_t>> &bmp24_frames() {
  static std::vector<std::vector<uint8_t>> frames;
  if (frames.empty()) {
    const vorn_bench::Clip &c = vorn_bench::street_clip(kFrames);
    const size_t row = (size_t)c.width * 3;
    for (const auto &f : c.bgr) {
      std::vector<uint8_t> b(row * c.height);
      for (int y = 0; y < c.height; ++y) memcpy(&b[(c.height - 1 - y) * row], &f[y * row], row);
      frames.push_back(std::move(b));
    }
  }
  return frames;
}

// One model of `type`, warmed up over the whole clip once, then timed one frame per iteration.
void run_model(benchmark::State &state, uint32_t type, uint32_t learn, bool scalar) {
  vorn_init();
  if (scalar) vorn::cpu_set_mask(0xFFFFFFFFu);
  const vorn_bench::Clip &clip = vorn_bench::street_clip(kFrames);
  auto &frames = bmp24_frames();
  vorn_bk_model_vtable t;
  vorn_bk_model_init(type, &t);
  vorn_bk_model_init_params p = {4, (uint32_t)clip.width, (uint32_t)clip.height, VORN_FORMAT_RGB};
  void *h = nullptr;
  if (t.create(&p, &h) != VORN_OK) {
    state.SkipWithError("create failed");
    return;
  }
  vorn_bk_model *m = static_cast<vorn_bk_model *>(h);
  t.set_param(m, learn, VORN_BK_PARAM_LEARN_FRAMES);
  if (type == 0) t.set_bk(m, frames[0].data(), VORN_FRAME_BMP24);
  for (auto &f : frames) t.process(m, f.data(), VORN_FRAME_BMP24);
  size_t i = frames.size() - 1;
  for (auto _ : state) {
    benchmark::DoNotOptimize(t.process(m, frames[ping_pong(i, frames.size())].data(), VORN_FRAME_BMP24));
    ++i;
  }
  vorn_mono_image *fg = nullptr;
  t.get_fg(m, &fg);
  size_t on = 0;
  for (size_t k = 0; k < (size_t)clip.width * clip.height; ++k) on += fg->data[k] != 0;
  state.counters["fg%"] = 100.0 * (double)on / ((double)clip.width * clip.height);
  state.counters["fps"] = benchmark::Counter((double)state.iterations(), benchmark::Counter::kIsRate);
  t.destroy(m);
  vorn::cpu_set_mask(0);
}

}  // namespace

BENCHMARK_CAPTURE(run_model, default_0, 0, 0, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(run_model, sal_1, 1, 0, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(run_model, mog_2, 2, 20, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(run_model, mog_2_scalar, 2, 20, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(run_model, mean_3, 3, 20, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(run_model, mean_3_scalar, 3, 20, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(run_model, block_5, 5, 20, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(run_model, meanex_7, 7, 20, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(run_model, meanex_7_scalar, 7, 20, true)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(run_model, baymean_8, 8, 20, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(run_model, baymean_8_scalar, 8, 20, true)->Unit(benchmark::kMillisecond);

#if VORN_HAVE_OPENCV
namespace {

void opencv_mog2(benchmark::State &state, bool shadows) {
  cv::setNumThreads(1);
  const vorn_bench::Clip &clip = vorn_bench::street_clip(kFrames);
  std::vector<cv::Mat> mats;
  for (const auto &f : clip.bgr) mats.emplace_back(clip.height, clip.width, CV_8UC3, const_cast<uint8_t *>(f.data()));
  cv::Ptr<cv::BackgroundSubtractorMOG2> mog = cv::createBackgroundSubtractorMOG2(500, 16, shadows);
  cv::Mat fg;
  for (auto &m : mats) mog->apply(m, fg);
  size_t i = mats.size() - 1;
  for (auto _ : state) {
    mog->apply(mats[ping_pong(i, mats.size())], fg);
    ++i;
  }
  state.counters["fps"] = benchmark::Counter((double)state.iterations(), benchmark::Counter::kIsRate);
}

// The running mean the way OpenCV users write it: a float accumulator, its byte image, a per-channel
// difference and a threshold.
void opencv_running_mean(benchmark::State &state) {
  cv::setNumThreads(1);
  const vorn_bench::Clip &clip = vorn_bench::street_clip(kFrames);
  std::vector<cv::Mat> mats;
  for (const auto &f : clip.bgr) mats.emplace_back(clip.height, clip.width, CV_8UC3, const_cast<uint8_t *>(f.data()));
  cv::Mat acc, bk, diff, mask;
  mats[0].convertTo(acc, CV_64FC3);
  size_t i = 0;
  for (auto _ : state) {
    acc.convertTo(bk, CV_8UC3);
    const cv::Mat &frame = mats[ping_pong(i, mats.size())];
    cv::absdiff(frame, bk, diff);
    cv::threshold(diff, mask, 15, 255, cv::THRESH_BINARY);
    cv::accumulateWeighted(frame, acc, 0.005);
    ++i;
  }
  state.counters["fps"] = benchmark::Counter((double)state.iterations(), benchmark::Counter::kIsRate);
}

}  // namespace

BENCHMARK_CAPTURE(opencv_mog2, shadows_off, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(opencv_mog2, shadows_on, true)->Unit(benchmark::kMillisecond);
BENCHMARK(opencv_running_mean)->Unit(benchmark::kMillisecond);
#endif
