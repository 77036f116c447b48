// Shadow removal on real foreground masks at 768x576 (frame i against frame 0 as background), next frame each
// call. No OpenCV equivalent; RGB input includes its two temporary YUV images and conversions.
#include <benchmark/benchmark.h>

#include <string.h>

#include "bench_frames.h"
#include "vorn_color.h"

using namespace vorn_bench;

namespace {

struct YuvFrames {
  std::vector<vorn_image *> yuv;
  vorn_mono_image *fg = nullptr;
  YuvFrames() {
    vorn_init();
    const ImgprocFrames &f = imgproc_frames();
    for (int i = 0; i < f.count; ++i) {
      vorn_image *y = vorn_image_alloc(f.width, f.height, VORN_FORMAT_YUV);
      vorn_image_rgb_to_yuv(f.rgb[i], y);
      yuv.push_back(y);
    }
    fg = vorn_mono_image_alloc(f.width, f.height);
  }
};
const YuvFrames &yuv_frames() {
  static YuvFrames y;
  return y;
}

template <vorn_result (*Fn)(vorn_mono_image *, const vorn_image *, const vorn_image *)>
void run(benchmark::State &state, bool rgb) {
  const ImgprocFrames &f = imgproc_frames();
  const YuvFrames &y = yuv_frames();
  const size_t n = (size_t)f.width * f.height;
  int i = 1;
  for (auto _ : state) {
    state.PauseTiming();
    memcpy(y.fg->data, f.fg[i]->data, n);
    state.ResumeTiming();
    if (rgb)
      Fn(y.fg, f.rgb[0], f.rgb[i]);
    else
      Fn(y.fg, y.yuv[0], y.yuv[i]);
    i = i + 1 < f.count ? i + 1 : 1;
  }
}

void BM_ShadowYuv(benchmark::State &s) { run<vorn_image_shadow_detect>(s, false); }
void BM_ShadowSimpleYuv(benchmark::State &s) { run<vorn_image_shadow_detect_simple>(s, false); }
void BM_ShadowRgb(benchmark::State &s) { run<vorn_image_shadow_detect>(s, true); }
BENCHMARK(BM_ShadowYuv);
BENCHMARK(BM_ShadowSimpleYuv);
BENCHMARK(BM_ShadowRgb);

}  // namespace
