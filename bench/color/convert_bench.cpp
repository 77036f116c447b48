// Colour and frame conversions at 768 x 576 on the street clip, ours (dispatched and scalar-only) beside
// OpenCV's nearest cvtColor, single-threaded, in the same run. Each call takes the next frame of the clip.
#include <benchmark/benchmark.h>
#include <string.h>

#include <vector>

#include "color/frame_table.h"
#include "core/cpu.h"
#include "support/clip.h"
#include "vorn.h"

#if VORN_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

constexpr int kFrames = 24;

struct Inputs {
  int w = 0, h = 0;
  std::vector<vorn_image *> rgb, yuv;
  std::vector<std::vector<uint8_t>> bgr24, yuyv, i420;
#if VORN_HAVE_OPENCV
  std::vector<cv::Mat> cv_rgb, cv_yuv, cv_yuyv, cv_i420;
#endif
};

const Inputs &inputs() {
  static Inputs in;
  if (!in.rgb.empty()) return in;
  vorn_init();
  const vorn_bench::Clip &clip = vorn_bench::street_clip(kFrames);
  in.w = clip.width, in.h = clip.height;
  size_t n = (size_t)in.w * in.h;
  for (int i = 0; i < kFrames; ++i) {
    vorn_image *rgb = vorn_image_alloc(in.w, in.h, VORN_FORMAT_RGB), *yuv = vorn_image_alloc(in.w, in.h, 1);
    vorn_bench::to_planes(clip, i, rgb->plane[0], rgb->plane[1], rgb->plane[2]);
    vorn_image_rgb_to_yuv(rgb, yuv);
    in.rgb.push_back(rgb), in.yuv.push_back(yuv);
    std::vector<uint8_t> bgr(((in.w * 24 + 31) / 32) * 4 * in.h), yuyv(2 * n), i420(n * 3 / 2);
    vorn_image_rgb_to_bmp24(rgb, bgr.data());
    vorn_image_rgb_to_yuv422(rgb, yuyv.data());
    vorn_image_rgb_to_yuv420(rgb, i420.data());
#if VORN_HAVE_OPENCV
    cv::Mat bgr_mat(in.h, in.w, CV_8UC3, const_cast<uint8_t *>(clip.bgr[i].data())), rgb_mat, yuv_mat;
    cv::cvtColor(bgr_mat, rgb_mat, cv::COLOR_BGR2RGB);
    cv::cvtColor(rgb_mat, yuv_mat, cv::COLOR_RGB2YUV);
    in.cv_rgb.push_back(rgb_mat), in.cv_yuv.push_back(yuv_mat);
    in.cv_yuyv.push_back(cv::Mat(in.h, in.w, CV_8UC2, yuyv.data()).clone());
    in.cv_i420.push_back(cv::Mat(in.h * 3 / 2, in.w, CV_8UC1, i420.data()).clone());
#endif
    in.bgr24.push_back(std::move(bgr)), in.yuyv.push_back(std::move(yuyv)), in.i420.push_back(std::move(i420));
  }
  return in;
}

// Runs `body(frame index)` per iteration; arg 0 = dispatched kernels, 1 = scalar only.
template <class Body>
void run(benchmark::State &state, Body body) {
  const Inputs &in = inputs();
  vorn::cpu_set_mask(state.range(0) ? ~0u : 0u);
  int i = 0;
  for (auto _ : state) {
    body(in, i);
    i = (i + 1) % kFrames;
  }
  vorn::cpu_set_mask(0);
  state.SetLabel(state.range(0) ? "scalar" : "dispatched");
}

vorn_image *out_image(uint32_t format) {
  static vorn_image *img[3];
  const Inputs &in = inputs();
  if (!img[format]) img[format] = vorn_image_alloc(in.w, in.h, format);
  return img[format];
}

void Vorn_RgbToYuv(benchmark::State &s) {
  run(s, [](const Inputs &in, int i) { vorn_image_rgb_to_yuv(in.rgb[i], out_image(1)); });
}
void Vorn_YuvToRgb(benchmark::State &s) {
  run(s, [](const Inputs &in, int i) { vorn_image_yuv_to_rgb(in.yuv[i], out_image(0)); });
}
void Vorn_RgbToHsv(benchmark::State &s) {
  run(s, [](const Inputs &in, int i) { vorn_image_rgb_to_hsv(in.rgb[i], out_image(2)); });
}
void Vorn_Yuyv422ToRgb(benchmark::State &s) {
  run(s, [](const Inputs &in, int i) { vorn_image_yuv422_to_rgb(in.yuyv[i].data(), out_image(0)); });
}
void Vorn_Yuyv422ToYuv(benchmark::State &s) {
  run(s, [](const Inputs &in, int i) { vorn_image_yuv422_to_yuv(in.yuyv[i].data(), out_image(1)); });
}
void Vorn_I420ToRgb(benchmark::State &s) {
  run(s, [](const Inputs &in, int i) { vorn_image_yuv420_to_rgb(in.i420[i].data(), out_image(0)); });
}
void Vorn_I420ToYuv(benchmark::State &s) {
  run(s, [](const Inputs &in, int i) { vorn_image_yuv420_to_yuv(in.i420[i].data(), out_image(1)); });
}
void Vorn_Bgr24ToRgb(benchmark::State &s) {
  run(s, [](const Inputs &in, int i) { vorn_image_bmp24_to_rgb(in.bgr24[i].data(), out_image(0)); });
}
void Vorn_Bgr24ToYuv(benchmark::State &s) {
  run(s, [](const Inputs &in, int i) { vorn_image_bmp24_to_yuv(in.bgr24[i].data(), out_image(1)); });
}

BENCHMARK(Vorn_RgbToYuv)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(Vorn_YuvToRgb)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(Vorn_RgbToHsv)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(Vorn_Yuyv422ToRgb)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(Vorn_Yuyv422ToYuv)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(Vorn_I420ToRgb)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(Vorn_I420ToYuv)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(Vorn_Bgr24ToRgb)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);
BENCHMARK(Vorn_Bgr24ToYuv)->Arg(0)->Arg(1)->Unit(benchmark::kMicrosecond);

#if VORN_HAVE_OPENCV
template <class Body>
void run_cv(benchmark::State &state, Body body) {
  const Inputs &in = inputs();
  cv::setNumThreads(1);
  cv::Mat out;
  int i = 0;
  for (auto _ : state) {
    body(in, i, out);
    i = (i + 1) % kFrames;
  }
}

void OpenCV_RgbToYuv(benchmark::State &s) {
  run_cv(s, [](const Inputs &in, int i, cv::Mat &o) { cv::cvtColor(in.cv_rgb[i], o, cv::COLOR_RGB2YUV); });
}
void OpenCV_YuvToRgb(benchmark::State &s) {
  run_cv(s, [](const Inputs &in, int i, cv::Mat &o) { cv::cvtColor(in.cv_yuv[i], o, cv::COLOR_YUV2RGB); });
}
void OpenCV_RgbToHsv(benchmark::State &s) {
  run_cv(s, [](const Inputs &in, int i, cv::Mat &o) { cv::cvtColor(in.cv_rgb[i], o, cv::COLOR_RGB2HSV); });
}
void OpenCV_YuyvToRgb(benchmark::State &s) {
  run_cv(s, [](const Inputs &in, int i, cv::Mat &o) { cv::cvtColor(in.cv_yuyv[i], o, cv::COLOR_YUV2RGB_YUYV); });
}
void OpenCV_I420ToRgb(benchmark::State &s) {
  run_cv(s, [](const Inputs &in, int i, cv::Mat &o) { cv::cvtColor(in.cv_i420[i], o, cv::COLOR_YUV2RGB_I420); });
}
// The nearest OpenCV operation to bitmap rows into three planes.
void OpenCV_SplitBgr(benchmark::State &s) {
  std::vector<cv::Mat> planes(3);
  run_cv(s, [&](const Inputs &in, int i, cv::Mat &) { cv::split(in.cv_rgb[i], planes); });
}

BENCHMARK(OpenCV_RgbToYuv)->Unit(benchmark::kMicrosecond);
BENCHMARK(OpenCV_YuvToRgb)->Unit(benchmark::kMicrosecond);
BENCHMARK(OpenCV_RgbToHsv)->Unit(benchmark::kMicrosecond);
BENCHMARK(OpenCV_YuyvToRgb)->Unit(benchmark::kMicrosecond);
BENCHMARK(OpenCV_I420ToRgb)->Unit(benchmark::kMicrosecond);
BENCHMARK(OpenCV_SplitBgr)->Unit(benchmark::kMicrosecond);
#endif

}  // namespace
