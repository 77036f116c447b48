// Differencing and thresholding on street-clip frames at 768x576, next frame each call, against OpenCV's
// absdiff + threshold chains, single-threaded.
#include <benchmark/benchmark.h>

#include "bench_frames.h"
#include "core/cpu.h"
#if VORN_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

using namespace vorn_bench;

namespace {

void BM_DiffBinaryToMono(benchmark::State &state) {
  const ImgprocFrames &f = imgproc_frames();
  vorn::cpu_set_mask((uint32_t)state.range(0));
  int i = 1;
  for (auto _ : state) {
    vorn_image_diff_binary_to_mono_image(f.rgb[i], f.rgb[i - 1], f.out, 30);  // limit 45
    i = i + 1 < f.count ? i + 1 : 1;
  }
  vorn::cpu_set_mask(0);
}
void BM_MonoDiffBinary(benchmark::State &state) {
  const ImgprocFrames &f = imgproc_frames();
  vorn::cpu_set_mask((uint32_t)state.range(0));
  int i = 1;
  for (auto _ : state) {
    vorn_mono_image_diff_binary(f.grey[i], f.grey[i - 1], f.out, 15);
    i = i + 1 < f.count ? i + 1 : 1;
  }
  vorn::cpu_set_mask(0);
}
void BM_MonoXor(benchmark::State &state) {
  const ImgprocFrames &f = imgproc_frames();
  int i = 1;
  for (auto _ : state) {
    vorn_mono_image_xor(f.fg[i], f.fg[i - 1], f.out);
    i = i + 1 < f.count ? i + 1 : 1;
  }
}
void BM_Otsu(benchmark::State &state) {
  const ImgprocFrames &f = imgproc_frames();
  vorn_rect r = {-1, -1, f.width + 1, f.height + 1};  // interior = the whole frame
  int i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(vorn_mono_image_otsu_threshold(f.grey[i], &r));
    i = (i + 1) % f.count;
  }
}
void BM_SceneCut(benchmark::State &state) {
  const ImgprocFrames &f = imgproc_frames();
  int i = 1;
  for (auto _ : state) {
    benchmark::DoNotOptimize(vorn_image_scenecut_detect(f.rgb[i], f.rgb[i - 1], 30));
    i = i + 1 < f.count ? i + 1 : 1;
  }
}
BENCHMARK(BM_DiffBinaryToMono)->Arg(0)->Arg(vorn::kCpuAvx2);
BENCHMARK(BM_MonoDiffBinary)->Arg(0)->Arg(vorn::kCpuAvx2);
BENCHMARK(BM_MonoXor);
BENCHMARK(BM_Otsu);
BENCHMARK(BM_SceneCut);

#if VORN_HAVE_OPENCV
cv::Mat as_mat(const vorn_mono_image *m) { return cv::Mat((int)m->height, (int)m->width, CV_8UC1, m->data); }
// Interleaved frames for OpenCV's three-channel chain.
const std::vector<cv::Mat> &bgr_frames() {
  static std::vector<cv::Mat> v = [] {
    std::vector<cv::Mat> r;
    const Clip &c = street_clip(40);
    for (const auto &fr : c.bgr) r.push_back(cv::Mat(c.height, c.width, CV_8UC3, (void *)fr.data()).clone());
    return r;
  }();
  return v;
}

// absdiff, split, two widening adds, compare: OpenCV's fastest summed-difference mask.
void BM_CvAbsdiffSumThreshold(benchmark::State &state) {
  cv::setNumThreads(1);
  const std::vector<cv::Mat> &fr = bgr_frames();
  cv::Mat d, s, out;
  std::vector<cv::Mat> ch;
  size_t i = 1;
  for (auto _ : state) {
    cv::absdiff(fr[i], fr[i - 1], d);
    cv::split(d, ch);
    cv::add(ch[0], ch[1], s, cv::noArray(), CV_16U);
    cv::add(s, ch[2], s, cv::noArray(), CV_16U);
    cv::compare(s, 44, out, cv::CMP_GT);
    i = i + 1 < fr.size() ? i + 1 : 1;
  }
}
void BM_CvAbsdiffThreshold(benchmark::State &state) {
  cv::setNumThreads(1);
  const ImgprocFrames &f = imgproc_frames();
  cv::Mat d, out;
  int i = 1;
  for (auto _ : state) {
    cv::absdiff(as_mat(f.grey[i]), as_mat(f.grey[i - 1]), d);
    cv::threshold(d, out, 14, 255, cv::THRESH_BINARY);
    i = i + 1 < f.count ? i + 1 : 1;
  }
}
void BM_CvXor(benchmark::State &state) {
  cv::setNumThreads(1);
  const ImgprocFrames &f = imgproc_frames();
  cv::Mat out;
  int i = 1;
  for (auto _ : state) {
    cv::bitwise_xor(as_mat(f.fg[i]), as_mat(f.fg[i - 1]), out);
    i = i + 1 < f.count ? i + 1 : 1;
  }
}
void BM_CvOtsu(benchmark::State &state) {
  cv::setNumThreads(1);
  const ImgprocFrames &f = imgproc_frames();
  cv::Mat out;
  int i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(cv::threshold(as_mat(f.grey[i]), out, 0, 255, cv::THRESH_BINARY | cv::THRESH_OTSU));
    i = (i + 1) % f.count;
  }
}
BENCHMARK(BM_CvAbsdiffSumThreshold);
BENCHMARK(BM_CvAbsdiffThreshold);
BENCHMARK(BM_CvXor);
BENCHMARK(BM_CvOtsu);
#endif

}  // namespace
