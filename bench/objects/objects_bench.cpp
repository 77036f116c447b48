// The per-frame object work at 768x576 on real-looking foreground masks: the contour tracer against
// findContours (RETR_CCOMP, CHAIN_APPROX_SIMPLE), the contour-mode maker, and the block-mode maker against
// connectedComponentsWithStats. Masks: each street-clip frame's grey level against the per-pixel median of the
// clip, thresholded at 30 and cleaned with a 3x3 open.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <algorithm>
#include <vector>

#include "support/clip.h"
#include "vorn_contour.h"
#include "vorn_obj_maker.h"

#if VORN_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

constexpr int kFrames = 60;

struct Masks {
  int w = 0, h = 0;
  std::vector<std::vector<uint8_t>> fg;
  double fg_share = 0;
};

// 3x3 erosion or dilation of a 0/255 mask; outside pixels count as background for erosion and are ignored for
// dilation.
std::vector<uint8_t> morph3(const std::vector<uint8_t> &src, int w, int h, bool erode) {
  std::vector<uint8_t> dst(src.size());
  for (int y = 0; y < h; ++y) {
    for (int x = 0; x < w; ++x) {
      bool all = true, any = false;
      for (int dy = -1; dy <= 1; ++dy) {
        for (int dx = -1; dx <= 1; ++dx) {
          int nx = x + dx, ny = y + dy;
          bool v = nx >= 0 && ny >= 0 && nx < w && ny < h && src[(size_t)ny * w + nx];
          all = all && v;
          any = any || v;
        }
      }
      dst[(size_t)y * w + x] = (erode ? all : any) ? 255 : 0;
    }
  }
  return dst;
}

const Masks &masks() {
  static Masks m;
  if (!m.fg.empty()) return m;
  const vorn_bench::Clip &clip = vorn_bench::street_clip(kFrames);
  m.w = clip.width;
  m.h = clip.height;
  const size_t n = (size_t)m.w * m.h;
  std::vector<std::vector<uint8_t>> grey(clip.bgr.size(), std::vector<uint8_t>(n));
  for (size_t i = 0; i < clip.bgr.size(); ++i) vorn_bench::to_grey(clip, (int)i, grey[i].data());
  std::vector<uint8_t> median(n), column(grey.size());
  for (size_t p = 0; p < n; ++p) {
    for (size_t i = 0; i < grey.size(); ++i) column[i] = grey[i][p];
    std::nth_element(column.begin(), column.begin() + column.size() / 2, column.end());
    median[p] = column[column.size() / 2];
  }
  size_t on = 0;
  for (size_t i = 0; i < grey.size(); ++i) {
    std::vector<uint8_t> raw(n);
    for (size_t p = 0; p < n; ++p) raw[p] = abs((int)grey[i][p] - (int)median[p]) > 30 ? 255 : 0;
    m.fg.push_back(morph3(morph3(raw, m.w, m.h, true), m.w, m.h, false));
    for (uint8_t v : m.fg.back()) on += v != 0;
  }
  m.fg_share = (double)on / (n * m.fg.size());
  return m;
}

void BM_ContourTrace_Vorn(benchmark::State &state) {
  const Masks &m = masks();
  vorn_size size{m.w, m.h};
  vorn_contour *c = nullptr;
  vorn_contour_create(&size, &c);
  size_t i = 0, borders = 0;
  for (auto _ : state) {
    const std::vector<uint8_t> &fg = m.fg[i++ % m.fg.size()];
    vorn_mono_image img{(uint32_t)m.w, (uint32_t)m.h, const_cast<uint8_t *>(fg.data())};
    vorn_contour_start(c, &img);
    vorn_contour_info info;
    while (vorn_contour_next(c, &info) == VORN_OK) ++borders;
    benchmark::DoNotOptimize(info);
  }
  state.counters["borders/frame"] = (double)borders / state.iterations();
  state.counters["fg_share"] = m.fg_share;
  vorn_contour_destroy(c);
}
BENCHMARK(BM_ContourTrace_Vorn);

void run_maker(benchmark::State &state, uint32_t mode) {
  const Masks &m = masks();
  vorn_obj_maker_params p{(uint32_t)m.w, (uint32_t)m.h, 32, mode};
  vorn_obj_maker *maker = nullptr;
  vorn_obj_maker_create(&p, &maker);
  size_t i = 0, objects = 0;
  for (auto _ : state) {
    const std::vector<uint8_t> &fg = m.fg[i++ % m.fg.size()];
    vorn_mono_image img{(uint32_t)m.w, (uint32_t)m.h, const_cast<uint8_t *>(fg.data())};
    vorn_obj_maker_process(maker, &img);
    vorn_obj *objs;
    uint32_t n;
    vorn_obj_maker_get_obj(maker, &objs, &n);
    objects += n;
  }
  state.counters["objects/frame"] = (double)objects / state.iterations();
  vorn_obj_maker_destroy(maker);
}

void BM_ObjMakerContour_Vorn(benchmark::State &state) { run_maker(state, 1); }
BENCHMARK(BM_ObjMakerContour_Vorn);
void BM_ObjMakerBlock_Vorn(benchmark::State &state) { run_maker(state, 0); }
BENCHMARK(BM_ObjMakerBlock_Vorn);

#if VORN_HAVE_OPENCV
void BM_ContourTrace_OpenCV(benchmark::State &state) {
  cv::setNumThreads(1);
  const Masks &m = masks();
  std::vector<std::vector<cv::Point>> contours;
  std::vector<cv::Vec4i> hierarchy;
  size_t i = 0, borders = 0;
  for (auto _ : state) {
    const std::vector<uint8_t> &fg = m.fg[i++ % m.fg.size()];
    cv::Mat img(m.h, m.w, CV_8UC1, const_cast<uint8_t *>(fg.data()));
    cv::findContours(img, contours, hierarchy, cv::RETR_CCOMP, cv::CHAIN_APPROX_SIMPLE);
    borders += contours.size();
  }
  state.counters["borders/frame"] = (double)borders / state.iterations();
}
BENCHMARK(BM_ContourTrace_OpenCV);

void cc_stats(benchmark::State &state, int algorithm) {
  cv::setNumThreads(1);
  const Masks &m = masks();
  cv::Mat labels, stats, centroids;
  size_t i = 0, comps = 0;
  for (auto _ : state) {
    const std::vector<uint8_t> &fg = m.fg[i++ % m.fg.size()];
    cv::Mat img(m.h, m.w, CV_8UC1, const_cast<uint8_t *>(fg.data()));
    comps += cv::connectedComponentsWithStats(img, labels, stats, centroids, 8, CV_32S, algorithm) - 1;
  }
  state.counters["components/frame"] = (double)comps / state.iterations();
}
void BM_CCStats_Default_OpenCV(benchmark::State &state) { cc_stats(state, cv::CCL_DEFAULT); }
BENCHMARK(BM_CCStats_Default_OpenCV);
void BM_CCStats_BBDT_OpenCV(benchmark::State &state) { cc_stats(state, cv::CCL_BBDT); }
BENCHMARK(BM_CCStats_BBDT_OpenCV);
#endif

}  // namespace
