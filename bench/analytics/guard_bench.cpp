// The guard on the street clip at 768x576 with a 60-pixel band across the frame: its steady frame against an
// OpenCV pipeline of the same work cropped to the band's bounding box (MOG2, 5x5 open and close, contours, grey,
// 8 corners, pyramidal optical flow from the previous frame), interleaved in one process; and the cost of its
// first frame and its memory, on the path that keeps mixture state under the band only and on the plain path.
#include <string.h>
#include <sys/resource.h>
#include <time.h>

#include <benchmark/benchmark.h>

#include "core/plain.h"
#include "support/clip.h"
#include "support/ratio.h"
#include "vorn.h"

#if VORN_HAVE_OPENCV
#include <opencv2/imgproc.hpp>
#include <opencv2/video.hpp>
#endif

namespace {

constexpr int kFrames = 120;
constexpr int kBandY = 300, kHalfWidth = 30;

inline size_t ping_pong(size_t k, size_t n) {
  const size_t period = 2 * (n - 1), j = k % period;
  return j < n ? j : period - j;
}

const std::vector<std::vector<uint8_t>> &bmp24_frames() {
  static std::vector<std::vector<uint8_t>> frames;
  if (frames.empty()) {
    const vorn_bench::Clip &c = vorn_bench::street_clip(kFrames);
    for (const auto &f : c.bgr) frames.push_back(vorn_bench::to_bmp24(f.data(), c.width, c.height, (size_t)c.width * 3));
  }
  return frames;
}

vorn_guard *make_guard(int w, int h) {
  vorn_guard_params gp = {(uint32_t)w, (uint32_t)h, VORN_FORMAT_RGB, 2};
  vorn_guard *g = nullptr;
  if (vorn_guard_create(&gp, &g) != VORN_OK) return nullptr;
  vorn_guard_set_lines(g, vorn_line{0, kBandY, w - 1, kBandY}, vorn_line{w / 2, kBandY - 40, w / 2, kBandY + 40},
                       kHalfWidth);
  return g;
}

long minor_faults() {
  rusage u;
  getrusage(RUSAGE_SELF, &u);
  return u.ru_minflt;
}

long rss_kb() {
  FILE *f = fopen("/proc/self/statm", "r");
  long pages = 0, rss = 0;
  if (f) {
    if (fscanf(f, "%ld %ld", &pages, &rss) != 2) rss = 0;
    fclose(f);
  }
  return rss * 4;
}

double wall_ms() {
  timespec t;
  clock_gettime(CLOCK_MONOTONIC, &t);
  return 1e3 * (double)t.tv_sec + 1e-6 * (double)t.tv_nsec;
}

// Fresh guards: the first frame's time (thread CPU time, page faults included; wall time beside it) and page
// faults (median of the runs), then the memory a guard holds after
// the clip, as the growth of the process's resident set.
void guard_first_frame(benchmark::State &state, bool plain) {
  vorn_init();
  const vorn_bench::Clip &clip = vorn_bench::street_clip(kFrames);
  const auto &frames = bmp24_frames();
  vorn::set_plain_paths(plain);
  std::vector<double> ms, wall, create_ms;  // thread CPU time (user and system), and wall time
  std::vector<double> faults;
  double rss_mb = 0;
  for (auto _ : state) {
    for (int run = 0; run < 5; ++run) {
      const long rss0 = rss_kb();
      double t0 = vorn_bench::thread_seconds();
      vorn_guard *g = make_guard(clip.width, clip.height);
      create_ms.push_back(1e3 * (vorn_bench::thread_seconds() - t0));
      const long f0 = minor_faults();
      t0 = vorn_bench::thread_seconds();
      const double w0 = wall_ms();
      vorn_guard_put_image(g, const_cast<uint8_t *>(frames[0].data()), VORN_FRAME_BMP24);
      ms.push_back(1e3 * (vorn_bench::thread_seconds() - t0));
      wall.push_back(wall_ms() - w0);
      faults.push_back((double)(minor_faults() - f0));
      if (run == 0) {
        for (size_t k = 1; k < frames.size(); ++k)
          vorn_guard_put_image(g, const_cast<uint8_t *>(frames[k].data()), VORN_FRAME_BMP24);
        rss_mb = (double)(rss_kb() - rss0) / 1024.0;
      }
      vorn_guard_destroy(g);
    }
  }
  vorn::set_plain_paths(false);
  state.counters["first_frame_ms"] = vorn_bench::Ratios::median(ms);
  state.counters["first_frame_wall_ms"] = vorn_bench::Ratios::median(wall);
  state.counters["first_frame_faults"] = vorn_bench::Ratios::median(faults);
  state.counters["create_ms"] = vorn_bench::Ratios::median(create_ms);
  state.counters["memory_MB"] = rss_mb;
  state.SetLabel(clip.real ? "street clip" : "synthetic street");
}

}  // namespace

BENCHMARK_CAPTURE(guard_first_frame, band, false)->Iterations(1)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(guard_first_frame, band_plain, true)->Iterations(1)->Unit(benchmark::kMillisecond);

#if VORN_HAVE_OPENCV
namespace {

// The OpenCV pipeline on the band's bounding box.
struct CvPipeline {
  cv::Ptr<cv::BackgroundSubtractorMOG2> mog2 = cv::createBackgroundSubtractorMOG2(500, 16, false);
  cv::Mat kernel = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(5, 5));
  cv::Mat fg, grey, prev_grey;
  std::vector<std::vector<cv::Point>> contours;
  std::vector<cv::Vec4i> hierarchy;
  std::vector<cv::Point2f> corners, prev_corners, next;
  std::vector<uchar> status;
  std::vector<float> err;

  void step(const cv::Mat &crop) {
    mog2->apply(crop, fg);
    cv::morphologyEx(fg, fg, cv::MORPH_OPEN, kernel);
    cv::morphologyEx(fg, fg, cv::MORPH_CLOSE, kernel);
    cv::findContours(fg, contours, hierarchy, cv::RETR_CCOMP, cv::CHAIN_APPROX_SIMPLE);
    cv::cvtColor(crop, grey, cv::COLOR_BGR2GRAY);
    cv::goodFeaturesToTrack(grey, corners, 8, 0.01, 10, fg);
    if (!prev_corners.empty() && !prev_grey.empty())
      cv::calcOpticalFlowPyrLK(prev_grey, grey, prev_corners, next, status, err, cv::Size(21, 21), 2);
    prev_corners = corners;
    cv::swap(prev_grey, grey);
  }
};

void guard_vs_opencv_band(benchmark::State &state) {
  vorn_init();
  cv::setNumThreads(1);
  const vorn_bench::Clip &clip = vorn_bench::street_clip(kFrames);
  const auto &frames = bmp24_frames();
  const size_t n = frames.size();
  vorn_guard *g = make_guard(clip.width, clip.height);
  // The band's bounding box: the rows within the half width of the line, the whole width.
  const cv::Rect box(0, kBandY - kHalfWidth - 1, clip.width, 2 * kHalfWidth + 3);
  std::vector<cv::Mat> crops;
  for (const auto &f : clip.bgr)
    crops.push_back(cv::Mat(clip.height, clip.width, CV_8UC3, const_cast<uint8_t *>(f.data()))(box).clone());
  CvPipeline cvp;
  long faults = 0;
  auto ours = [&](size_t k) {
    const long f0 = minor_faults();
    vorn_guard_put_image(g, const_cast<uint8_t *>(frames[ping_pong(k, n)].data()), VORN_FRAME_BMP24);
    faults += minor_faults() - f0;
  };
  auto theirs = [&](size_t k) { cvp.step(crops[ping_pong(k, n)]); };
  vorn_bench::Ratios r;
  for (auto _ : state) {
    vorn_bench::interleave(ours, theirs, 1, (int)n);  // learning
    faults = 0;
    r = vorn_bench::interleave(ours, theirs, 9, 20);
  }
  r.report(state);
  state.counters["faults_per_frame"] = (double)faults / (9.0 * 20.0);
  state.SetLabel(clip.real ? "street clip" : "synthetic street");
  vorn_guard_destroy(g);
}

}  // namespace

BENCHMARK(guard_vs_opencv_band)->Iterations(1)->Unit(benchmark::kMillisecond);
#endif
