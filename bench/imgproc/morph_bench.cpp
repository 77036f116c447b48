// Erosion, dilation and the window filter on real foreground masks at 768x576, next mask each call, against
// OpenCV's erode/dilate and its fastest majority filter (16-bit box sum + compare), single-threaded.
#include <benchmark/benchmark.h>

#include "bench_frames.h"
#include "core/cpu.h"
#include "imgproc/morph.h"
#if VORN_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

using namespace vorn_bench;

namespace {

using OpFn = vorn_result (*)(const vorn_mono_image *, vorn_mono_image *, uint32_t, const vorn_mono_image *);

void run_ours(benchmark::State &state, OpFn op, uint32_t cpu_mask) {
  const ImgprocFrames &f = imgproc_frames();
  vorn::cpu_set_mask(cpu_mask);
  uint32_t n = (uint32_t)state.range(0);
  int i = 0;
  for (auto _ : state) {
    op(f.fg[i], f.out, n, f.region);
    benchmark::DoNotOptimize(f.out->data);
    i = (i + 1) % f.count;
  }
  vorn::cpu_set_mask(0);
}

void BM_Erode(benchmark::State &s) { run_ours(s, vorn_morpha_erosion, 0); }
void BM_Dilate(benchmark::State &s) { run_ours(s, vorn_morpha_dilation, 0); }
void BM_Window(benchmark::State &s) { run_ours(s, vorn_morpha_window, 0); }
void BM_ErodeBaseline(benchmark::State &s) { run_ours(s, vorn_morpha_erosion, vorn::kCpuAvx2); }
void BM_WindowBaseline(benchmark::State &s) { run_ours(s, vorn_morpha_window, vorn::kCpuAvx2); }
void BM_ErodePlainScan(benchmark::State &state) {
  const ImgprocFrames &f = imgproc_frames();
  int i = 0;
  for (auto _ : state) {
    vorn::morph_plain(vorn::MorphOp::kErode, f.fg[i], f.out, (uint32_t)state.range(0), f.region);
    i = (i + 1) % f.count;
  }
}
BENCHMARK(BM_Erode)->Arg(1)->Arg(2)->Arg(5)->Arg(10);
BENCHMARK(BM_Dilate)->Arg(1)->Arg(2)->Arg(5)->Arg(10);
BENCHMARK(BM_Window)->Arg(1)->Arg(2)->Arg(3)->Arg(5)->Arg(10);
BENCHMARK(BM_ErodeBaseline)->Arg(1)->Arg(2);
BENCHMARK(BM_WindowBaseline)->Arg(1)->Arg(2);
BENCHMARK(BM_ErodePlainScan)->Arg(1)->Arg(2);

#if VORN_HAVE_OPENCV
cv::Mat as_mat(const vorn_mono_image *m) { return cv::Mat((int)m->height, (int)m->width, CV_8UC1, m->data); }

void BM_CvErode(benchmark::State &state) {
  cv::setNumThreads(1);
  const ImgprocFrames &f = imgproc_frames();
  int k = 2 * (int)state.range(0) + 1;
  cv::Mat kernel = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(k, k)), out;
  int i = 0;
  for (auto _ : state) {
    cv::erode(as_mat(f.fg[i]), out, kernel);
    i = (i + 1) % f.count;
  }
}
void BM_CvDilate(benchmark::State &state) {
  cv::setNumThreads(1);
  const ImgprocFrames &f = imgproc_frames();
  int k = 2 * (int)state.range(0) + 1;
  cv::Mat kernel = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(k, k)), out;
  int i = 0;
  for (auto _ : state) {
    cv::dilate(as_mat(f.fg[i]), out, kernel);
    i = (i + 1) % f.count;
  }
}
// Majority: unnormalised 16-bit box sum of the 0/255 mask compared with 255 * K.
void BM_CvBoxMajority(benchmark::State &state) {
  cv::setNumThreads(1);
  const ImgprocFrames &f = imgproc_frames();
  int n = (int)state.range(0), k = 2 * n + 1;
  double limit = 255.0 * (double)vorn::morph_window_need((uint64_t)n) - 0.5;
  cv::Mat sum, out;
  int i = 0;
  for (auto _ : state) {
    cv::boxFilter(as_mat(f.fg[i]), sum, CV_16U, cv::Size(k, k), cv::Point(-1, -1), false);
    cv::compare(sum, limit, out, cv::CMP_GT);
    i = (i + 1) % f.count;
  }
}
BENCHMARK(BM_CvErode)->Arg(1)->Arg(2)->Arg(5)->Arg(10);
BENCHMARK(BM_CvDilate)->Arg(1)->Arg(2)->Arg(5)->Arg(10);
BENCHMARK(BM_CvBoxMajority)->Arg(1)->Arg(2)->Arg(3)->Arg(5)->Arg(10);
#endif

}  // namespace
