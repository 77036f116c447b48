// The mixture model (type 2) against OpenCV's MOG2 (history 500, threshold 16, no shadows, one thread) on the
// street clip at 768x576 and scaled to 1920x1080, in interleaved blocks of frames: ratio = our time / MOG2's.
// Ours includes the frame intake (bottom-up 24-bit rows converted into the model's planes). The AVX2 and plain
// rows mask the wider kernels off to show what each step of the dispatch gives. The tracker and the counter at
// 1080p report frames per second.
#include <string.h>

#include <benchmark/benchmark.h>

#include "core/cpu.h"
#include "support/clip.h"
#include "support/ratio.h"
#include "vorn.h"

#if VORN_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#include <opencv2/video/background_segm.hpp>

namespace {

// Frame k of a back-and-forth walk through n frames (wrapping would be a scene cut).
inline size_t ping_pong(size_t k, size_t n) {
  const size_t period = 2 * (n - 1), j = k % period;
  return j < n ? j : period - j;
}

struct Frames {
  int width = 0, height = 0;
  bool real = false;
  std::vector<cv::Mat> bgr;                  // top-down, for OpenCV
  std::vector<std::vector<uint8_t>> bmp24;  // bottom-up rows, for the library
};

const Frames &frames_at(int width, int height, int count) {
  static std::vector<Frames> cache;
  for (const Frames &f : cache)
    if (f.width == width && f.height == height) return f;
  const vorn_bench::Clip &clip = vorn_bench::street_clip(count);
  Frames f;
  f.width = width;
  f.height = height;
  f.real = clip.real;
  for (const auto &raw : clip.bgr) {
    cv::Mat src(clip.height, clip.width, CV_8UC3, const_cast<uint8_t *>(raw.data())), m;
    if (width == clip.width && height == clip.height) m = src.clone();
    else cv::resize(src, m, cv::Size(width, height), 0, 0, cv::INTER_LINEAR);
    f.bmp24.push_back(vorn_bench::to_bmp24(m.ptr(0), width, height, m.step));
    f.bgr.push_back(m);
  }
  cache.push_back(std::move(f));
  return cache.back();
}

void mog_vs_mog2(benchmark::State &state, int width, int height, uint32_t cpu_off) {
  vorn_init();
  cv::setNumThreads(1);
  const Frames &f = frames_at(width, height, width > 1000 ? 40 : 120);
  const size_t n = f.bgr.size();
  vorn::cpu_set_mask(cpu_off);
  vorn_bk_model_vtable t;
  vorn_bk_model_init(2, &t);
  vorn_bk_model_init_params p = {4, (uint32_t)width, (uint32_t)height, VORN_FORMAT_RGB};
  void *h = nullptr;
  if (t.create(&p, &h) != VORN_OK) {
    state.SkipWithError("create failed");
    vorn::cpu_set_mask(0);
    return;
  }
  vorn_bk_model *m = static_cast<vorn_bk_model *>(h);
  t.set_param(m, 20, VORN_BK_PARAM_LEARN_FRAMES);
  cv::Ptr<cv::BackgroundSubtractorMOG2> mog2 = cv::createBackgroundSubtractorMOG2(500, 16, false);
  cv::Mat fg;
  auto ours = [&](size_t k) { t.process(m, const_cast<uint8_t *>(f.bmp24[ping_pong(k, n)].data()), VORN_FRAME_BMP24); };
  auto theirs = [&](size_t k) { mog2->apply(f.bgr[ping_pong(k, n)], fg); };
  vorn_bench::Ratios r;
  for (auto _ : state) {
    vorn_bench::interleave(ours, theirs, 1, (int)n);  // both learn the whole clip first
    r = vorn_bench::interleave(ours, theirs, 9, 10);
  }
  r.report(state);
  state.SetLabel(f.real ? "street clip" : "synthetic street");
  t.destroy(m);
  vorn::cpu_set_mask(0);
}

// The tracker and the counter (fed by a mixture model, the way hosts use it) over the scaled clip: frames per
// second of thread CPU time after one pass to learn, the median of five blocks of 20 frames.
void pipeline_fps(benchmark::State &state, int width, int height, bool tracker) {
  vorn_init();
  const Frames &f = frames_at(width, height, width > 1000 ? 40 : 120);
  const size_t n = f.bgr.size();
  vorn_tracker *tr = nullptr;
  vorn_counter *counter = nullptr;
  vorn_bk_model_vtable t;
  vorn_bk_model_init(2, &t);
  void *h = nullptr;
  if (tracker) {
    vorn_tracker_params tp = {(uint32_t)width, (uint32_t)height, VORN_FORMAT_RGB, 2};
    vorn_tracker_create(&tp, &tr);
  } else {
    vorn_bk_model_init_params p = {4, (uint32_t)width, (uint32_t)height, VORN_FORMAT_RGB};
    t.create(&p, &h);
    t.set_param(static_cast<vorn_bk_model *>(h), 0x101, VORN_BK_PARAM_WINDOW);
    const vorn_point a0[4] = {{0, 0}, {width / 2, 0}, {width / 2, height}, {0, height}};
    const vorn_point a1[4] = {{width / 2, 0}, {width, 0}, {width, height}, {width / 2, height}};
    vorn_counter_params cp = {a0, a1, 4, 4, (uint32_t)width, (uint32_t)height, 0, 0, 0, 0};
    counter = vorn_counter_create(&cp);
    vorn_counter_start(counter);
  }
  if (!(tracker ? (void *)tr : (void *)counter) || (!tracker && !h)) {
    state.SkipWithError("create failed");
    return;
  }
  auto step = [&](size_t k) {
    uint8_t *frame = const_cast<uint8_t *>(f.bmp24[ping_pong(k, n)].data());
    if (tracker) {
      vorn_tracker_process(tr, frame, VORN_FRAME_BMP24);
    } else {
      vorn_bk_model *m = static_cast<vorn_bk_model *>(h);
      t.process(m, frame, VORN_FRAME_BMP24);
      vorn_mono_image *fg = nullptr;
      if (t.get_fg(m, &fg) == VORN_OK) vorn_counter_set_mask(counter, fg->data);
    }
  };
  std::vector<double> fps;
  size_t k = 0;
  for (auto _ : state) {
    for (size_t i = 0; i < n; ++i) step(k++);
    for (int b = 0; b < 5; ++b) {
      const double t0 = vorn_bench::thread_seconds();
      for (int i = 0; i < 20; ++i) step(k++);
      fps.push_back(20.0 / (vorn_bench::thread_seconds() - t0));
    }
  }
  state.counters["fps"] = vorn_bench::Ratios::median(fps);
  state.SetLabel(f.real ? "street clip, scaled" : "synthetic street, scaled");
  if (tr) vorn_tracker_destroy(tr);
  if (h) t.destroy(static_cast<vorn_bk_model *>(h));
  vorn_counter_destroy(counter);
}

constexpr uint32_t kNoAvx512 = vorn::kCpuAvx512;
constexpr uint32_t kPlain = 0xFFFFFFFFu;

}  // namespace

BENCHMARK_CAPTURE(mog_vs_mog2, 768x576, 768, 576, 0u)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(mog_vs_mog2, 768x576_avx2, 768, 576, kNoAvx512)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(mog_vs_mog2, 768x576_plain, 768, 576, kPlain)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(mog_vs_mog2, 1920x1080, 1920, 1080, 0u)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(mog_vs_mog2, 1920x1080_avx2, 1920, 1080, kNoAvx512)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(pipeline_fps, tracker_1920x1080, 1920, 1080, true)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(pipeline_fps, counter_1920x1080, 1920, 1080, false)->Iterations(1)->Unit(benchmark::kMillisecond);
#endif
