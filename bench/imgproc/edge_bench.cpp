// Sobel, the edge detector and the Laplacian on grey street-clip frames at 768x576, next frame each call,
// against OpenCV (Sobel to 16S, Canny L1 aperture 3, Laplacian + threshold), single-threaded.
#include <benchmark/benchmark.h>

#include <vector>

#include "bench_frames.h"
#include "core/cpu.h"
#if VORN_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

using namespace vorn_bench;

namespace {

// vorn_image_edge / _deriv read the grey data of a YUV image's plane 0.
struct GreyImages {
  std::vector<vorn_image> yuv;
  GreyImages() {
    const ImgprocFrames &f = imgproc_frames();
    for (int i = 0; i < f.count; ++i) {
      vorn_image img = {VORN_FORMAT_YUV, (uint32_t)f.width, (uint32_t)f.height,
                        {f.grey[i]->data, f.grey[i]->data, f.grey[i]->data}};
      yuv.push_back(img);
    }
  }
};
const GreyImages &grey_images() {
  static GreyImages g;
  return g;
}

void BM_Edge(benchmark::State &state) {
  const ImgprocFrames &f = imgproc_frames();
  const GreyImages &g = grey_images();
  vorn::cpu_set_mask((uint32_t)state.range(0));
  int i = 0;
  for (auto _ : state) {
    vorn_image_edge(&g.yuv[i], f.out, 128, 0);
    i = (i + 1) % f.count;
  }
  vorn::cpu_set_mask(0);
}
void BM_Deriv(benchmark::State &state) {
  const ImgprocFrames &f = imgproc_frames();
  const GreyImages &g = grey_images();
  std::vector<int32_t> out((size_t)f.width * f.height);
  int i = 0;
  for (auto _ : state) {
    vorn_image_deriv(&g.yuv[i], out.data(), 0);
    i = (i + 1) % f.count;
  }
}
void BM_Canny(benchmark::State &state) {
  const ImgprocFrames &f = imgproc_frames();
  vorn::cpu_set_mask((uint32_t)state.range(0));
  void *c = nullptr;
  vorn_canny_create((uint32_t)f.width, (uint32_t)f.height, &c);
  int i = 0;
  for (auto _ : state) {
    vorn_canny_process(c, f.out, f.grey[i]);
    i = (i + 1) % f.count;
  }
  vorn_canny_destroy(c);
  vorn::cpu_set_mask(0);
}
void BM_Laplacian(benchmark::State &state) {
  const ImgprocFrames &f = imgproc_frames();
  int i = 0;
  for (auto _ : state) {
    vorn_laplacian_rect(f.out, f.grey[i], 0, 0, f.width, f.height, 24);
    i = (i + 1) % f.count;
  }
}
BENCHMARK(BM_Edge)->Arg(0)->Arg(vorn::kCpuAvx2);
BENCHMARK(BM_Deriv);
BENCHMARK(BM_Canny)->Arg(0)->Arg(vorn::kCpuAvx2);
BENCHMARK(BM_Laplacian);

#if VORN_HAVE_OPENCV
cv::Mat as_mat(const vorn_mono_image *m) { return cv::Mat((int)m->height, (int)m->width, CV_8UC1, m->data); }

void BM_CvSobel16S(benchmark::State &state) {
  cv::setNumThreads(1);
  const ImgprocFrames &f = imgproc_frames();
  cv::Mat out;
  int i = 0;
  for (auto _ : state) {
    cv::Sobel(as_mat(f.grey[i]), out, CV_16S, 1, 0, 3);
    i = (i + 1) % f.count;
  }
}
// The nearest to vorn_image_edge(t = 128, k = 0): Sobel to 16S, |.|, compare.
void BM_CvSobelThreshold(benchmark::State &state) {
  cv::setNumThreads(1);
  const ImgprocFrames &f = imgproc_frames();
  cv::Mat d, a, out;
  int i = 0;
  for (auto _ : state) {
    cv::Sobel(as_mat(f.grey[i]), d, CV_16S, 1, 0, 3);
    a = cv::abs(d);
    cv::compare(a, 128, out, cv::CMP_GT);
    i = (i + 1) % f.count;
  }
}
void BM_CvCanny(benchmark::State &state) {
  cv::setNumThreads(1);
  const ImgprocFrames &f = imgproc_frames();
  cv::Mat out;
  int i = 0;
  for (auto _ : state) {
    cv::Canny(as_mat(f.grey[i]), out, 30, 90, 3, false);
    i = (i + 1) % f.count;
  }
}
void BM_CvLaplacian(benchmark::State &state) {
  cv::setNumThreads(1);
  const ImgprocFrames &f = imgproc_frames();
  cv::Mat l, a, out;
  int i = 0;
  for (auto _ : state) {
    cv::Laplacian(as_mat(f.grey[i]), l, CV_16S, 1);
    cv::convertScaleAbs(l, a);
    cv::threshold(a, out, 24, 255, cv::THRESH_BINARY);
    i = (i + 1) % f.count;
  }
}
BENCHMARK(BM_CvSobel16S);
BENCHMARK(BM_CvSobelThreshold);
BENCHMARK(BM_CvCanny);
BENCHMARK(BM_CvLaplacian);
#endif

}  // namespace
