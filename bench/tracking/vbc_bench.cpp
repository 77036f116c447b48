// The trajectory recorder on the 768x576 street clip: frames per second of a whole recording, beside the same
// steps done with OpenCV (grey conversion, pyramidal LK of the live points, good features away from them), and
// a one-off run that reports the trajectories and draws them over a frame (vbc_street.bmp).
#include <math.h>
#include <string.h>

#include <algorithm>
#include <vector>

#include <benchmark/benchmark.h>

#include "support/clip.h"
#include "vorn.h"

#if VORN_HAVE_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/video/tracking.hpp>
#endif

namespace {

constexpr int kFrames = 100;

// The clip as bottom-up 24-bit bitmap rows (frame type 1).
const std::vector<std::vector<uint8_t>> &bitmap_frames() {
  static std::vector<std::vector<uint8_t>> frames;
  if (frames.empty()) {
    const vorn_bench::Clip &c = vorn_bench::street_clip(kFrames);
    const size_t row = (size_t)c.width * 3, stride = (row + 3) & ~(size_t)3;
    for (const auto &bgr : c.bgr) {
      frames.emplace_back(stride * c.height, 0);
      for (int y = 0; y < c.height; ++y)
        memcpy(frames.back().data() + (size_t)(c.height - 1 - y) * stride, bgr.data() + (size_t)y * row, row);
    }
  }
  return frames;
}

vorn_vbc *record(int frames) {
  const vorn_bench::Clip &c = vorn_bench::street_clip(kFrames);
  vorn_vbc_params p{};
  p.width = (uint32_t)c.width;
  p.height = (uint32_t)c.height;
  p.frame_type = VORN_FRAME_BMP24;
  vorn_vbc *v = nullptr;
  if (vorn_vbc_create(&p, &v) != VORN_OK) return nullptr;
  const auto &bmp = bitmap_frames();
  for (int f = 0; f < frames; ++f) vorn_vbc_process(v, bmp[f % bmp.size()].data(), VORN_FRAME_BMP24);
  vorn_vbc_end_process(v);
  return v;
}

// One recording of the whole clip per iteration; items are frames.
void BM_VbcRecord(benchmark::State &state) {
  vorn_init();
  bitmap_frames();
  for (auto _ : state) {
    vorn_vbc *v = record(kFrames);
    benchmark::DoNotOptimize(v);
    vorn_vbc_destroy(v);
  }
  state.SetItemsProcessed(state.iterations() * kFrames);
}
BENCHMARK(BM_VbcRecord)->Unit(benchmark::kMillisecond);

// Pointer work of a viewer on the finished recording: one press, then moves along the trajectory.
void BM_VbcDrag(benchmark::State &state) {
  vorn_init();
  vorn_vbc *v = record(kFrames);
  uint32_t count = 0;
  vorn_vbc_get_count(v, &count, nullptr);
  uint32_t start = 0, length = 0;
  vorn_vbc_get_trajectory(v, 0, &start, &length);
  std::vector<vorn_point2f> pts(length);
  vorn_vbc_get_points(v, 0, 0, length, pts.data());
  int k = 0;
  for (auto _ : state) {
    vorn_vbc_down(v, start, pts[0].x, pts[0].y, nullptr);
    uint32_t frame;
    vorn_point2f at;
    vorn_vbc_move(v, pts[k % length].x + 0.5f, pts[k % length].y, &frame, &at);
    benchmark::DoNotOptimize(frame);
    ++k;
  }
  state.counters["trajectories"] = count;
  vorn_vbc_destroy(v);
}
BENCHMARK(BM_VbcDrag);

// Not a timing: how many trajectories the clip gives and how long they are; draws them over frame 50.
void BM_VbcStreetReport(benchmark::State &state) {
  vorn_init();
  const vorn_bench::Clip &c = vorn_bench::street_clip(kFrames);
  vorn_vbc *v = nullptr;
  for (auto _ : state) {
    vorn_vbc_destroy(v);
    v = record(kFrames);
  }
  uint32_t count = 0;
  vorn_vbc_get_count(v, &count, nullptr);
  std::vector<uint32_t> lengths;
  const int shown = 50;
  vorn_image *img = vorn_image_alloc((uint32_t)c.width, (uint32_t)c.height, VORN_FORMAT_RGB);
  vorn_bench::to_planes(c, shown, img->plane[0], img->plane[1], img->plane[2]);
  auto dot = [&](int x, int y, uint8_t r, uint8_t g, uint8_t b) {
    if (x < 0 || y < 0 || x >= c.width || y >= c.height) return;
    const size_t i = (size_t)y * c.width + x;
    img->plane[0][i] = r;
    img->plane[1][i] = g;
    img->plane[2][i] = b;
  };
  for (uint32_t t = 0; t < count; ++t) {
    uint32_t start, length;
    vorn_vbc_get_trajectory(v, t, &start, &length);
    lengths.push_back(length);
    std::vector<vorn_point2f> pts(length);
    vorn_vbc_get_points(v, t, 0, length, pts.data());
    // Moving trajectories in a colour of their own, still ones dim; the point at the shown frame as a cross.
    float travel = 0;
    for (const auto &p : pts) travel = std::max(travel, hypotf(p.x - pts[0].x, p.y - pts[0].y));
    const bool moving = travel > 8.0f;
    const uint8_t r = moving ? (uint8_t)(80 + (t * 97) % 176) : 0, g = moving ? (uint8_t)(255 - (t * 57) % 160) : 90,
                  b = moving ? (uint8_t)((t * 31) % 256) : 0;
    for (uint32_t k = 1; k < length; ++k) {
      const float steps = std::max(1.0f, std::max(fabsf(pts[k].x - pts[k - 1].x), fabsf(pts[k].y - pts[k - 1].y)));
      for (float s = 0; s <= steps; s += 1.0f)
        dot((int)lroundf(pts[k - 1].x + (pts[k].x - pts[k - 1].x) * s / steps),
            (int)lroundf(pts[k - 1].y + (pts[k].y - pts[k - 1].y) * s / steps), r, g, b);
    }
    if (moving && shown >= (int)start && shown < (int)(start + length)) {
      const vorn_point2f p = pts[shown - start];
      for (int d = -3; d <= 3; ++d) {
        dot((int)p.x + d, (int)p.y, 255, 255, 0);
        dot((int)p.x, (int)p.y + d, 255, 255, 0);
      }
    }
  }
  vorn_image_save_rgb(img, "vbc_street.bmp");
  vorn_image_free(img);
  std::sort(lengths.begin(), lengths.end());
  state.counters["real_clip"] = c.real;
  state.counters["trajectories"] = count;
  state.counters["len_median"] = lengths.empty() ? 0 : lengths[lengths.size() / 2];
  state.counters["len_max"] = lengths.empty() ? 0 : lengths.back();
  state.counters["whole_clip"] = (double)std::count(lengths.begin(), lengths.end(), (uint32_t)kFrames);
  double sum = 0;
  for (uint32_t l : lengths) sum += l;
  state.counters["len_mean"] = lengths.empty() ? 0 : sum / lengths.size();
  vorn_vbc_destroy(v);
}
BENCHMARK(BM_VbcStreetReport)->Iterations(1)->Unit(benchmark::kMillisecond);

#if VORN_HAVE_OPENCV

struct OneThread {
  OneThread() { cv::setNumThreads(1); }
} one_thread;

// The same steps with OpenCV: grey, pyramidal LK (21 x 21, 3 coarser levels, 10 steps), drop lost points and
// jumps, good features (min distance 10) on a mask that keeps 10 px around live points, up to 400 points.
void BM_Cv_SameSteps(benchmark::State &state) {
  const vorn_bench::Clip &c = vorn_bench::street_clip(kFrames);
  for (auto _ : state) {
    cv::Mat prev, grey, mask(c.height, c.width, CV_8UC1);
    std::vector<cv::Point2f> live, next, seeds;
    std::vector<std::vector<cv::Point2f>> tracks;
    std::vector<int> track_of;
    std::vector<uchar> st;
    std::vector<float> err;
    for (int f = 0; f < kFrames; ++f) {
      cv::Mat bgr(c.height, c.width, CV_8UC3, const_cast<uint8_t *>(c.bgr[f].data()));
      cv::cvtColor(bgr, grey, cv::COLOR_BGR2GRAY);
      if (!live.empty()) {
        cv::calcOpticalFlowPyrLK(prev, grey, live, next, st, err, cv::Size(21, 21), 3,
                                 cv::TermCriteria(cv::TermCriteria::COUNT | cv::TermCriteria::EPS, 10, 0.01));
        size_t n = 0;
        for (size_t i = 0; i < live.size(); ++i) {
          const cv::Point2f d = next[i] - live[i];
          if (!st[i] || d.dot(d) > 48 * 48 || next[i].x < 0 || next[i].y < 0 || next[i].x > c.width - 1 ||
              next[i].y > c.height - 1)
            continue;
          tracks[track_of[i]].push_back(next[i]);
          live[n] = next[i];
          track_of[n++] = track_of[i];
        }
        live.resize(n);
        track_of.resize(n);
      }
      if (live.size() < 400) {
        mask.setTo(255);
        for (const auto &p : live) cv::circle(mask, p, 10, 0, -1);
        cv::goodFeaturesToTrack(grey, seeds, 400 - (int)live.size(), 0.01, 10, mask);
        for (const auto &p : seeds) {
          live.push_back(p);
          track_of.push_back((int)tracks.size());
          tracks.push_back({p});
        }
      }
      std::swap(prev, grey);
    }
    benchmark::DoNotOptimize(tracks.data());
  }
  state.SetItemsProcessed(state.iterations() * kFrames);
}
BENCHMARK(BM_Cv_SameSteps)->Unit(benchmark::kMillisecond);

#endif

}  // namespace
