// Tracking building blocks at 768x576 on the street clip, each beside OpenCV's equivalent (single-threaded).
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

constexpr int kFrames = 40;

struct Greys {
  int w = 0, h = 0;
  std::vector<std::vector<uint8_t>> frames;
};

const Greys &greys() {
  static Greys g;
  if (g.frames.empty()) {
    const vorn_bench::Clip &clip = vorn_bench::street_clip(kFrames);
    g.w = clip.width;
    g.h = clip.height;
    for (int i = 0; i < (int)clip.bgr.size(); ++i) {
      g.frames.emplace_back((size_t)g.w * g.h);
      vorn_bench::to_grey(clip, i, g.frames.back().data());
    }
  }
  return g;
}

vorn_mono_image view(const Greys &g, int i) {
  return vorn_mono_image{(uint32_t)g.w, (uint32_t)g.h, const_cast<uint8_t *>(g.frames[i % g.frames.size()].data())};
}

void BM_Pyramid3(benchmark::State &state) {
  const Greys &g = greys();
  int i = 0;
  for (auto _ : state) {
    vorn_mono_image v = view(g, i++);
    vorn_pyramid *p = nullptr;
    vorn_pyramid_create_mono_image(&v, &p, 3);
    benchmark::DoNotOptimize(p);
    vorn_pyramid_destroy(p);
  }
}
BENCHMARK(BM_Pyramid3);

// Corner points of frame i (up to n), spread by a 10-pixel distance: the same points for both trackers.
std::vector<vorn_point2f> start_points(const Greys &g, int i, int n) {
  std::vector<vorn_point2f> pts;
#if VORN_HAVE_OPENCV
  cv::Mat m(g.h, g.w, CV_8UC1, const_cast<uint8_t *>(g.frames[i].data()));
  std::vector<cv::Point2f> c;
  cv::goodFeaturesToTrack(m, c, n, 0.01, 10);
  for (auto &p : c) pts.push_back({p.x, p.y});
#else
  for (int k = 0; k < n; ++k) pts.push_back({(float)(40 + (k * 97) % (g.w - 80)), (float)(40 + (k * 53) % (g.h - 80))});
#endif
  return pts;
}

struct LkInputs {
  std::vector<std::vector<vorn_point2f>> pts;  // per frame pair
  std::vector<vorn_pyramid *> pyr;
  ~LkInputs() {
    for (vorn_pyramid *p : pyr) vorn_pyramid_destroy(p);
  }
};

const LkInputs &lk_inputs(int n) {
  static LkInputs by_n[2];
  LkInputs &in = by_n[n > 8];
  if (in.pyr.empty()) {
    const Greys &g = greys();
    for (int i = 0; i < (int)g.frames.size(); ++i) {
      vorn_mono_image v = view(g, i);
      vorn_pyramid *p = nullptr;
      vorn_pyramid_create_mono_image(&v, &p, 3);
      in.pyr.push_back(p);
      in.pts.push_back(start_points(g, i, n));
    }
  }
  return in;
}

// Tracking cost only: pyramids of frames i - 1 and i built beforehand.
void BM_PyrLk(benchmark::State &state) {
  const Greys &g = greys();
  const LkInputs &in = lk_inputs((int)state.range(0));
  std::vector<vorn_point2f> out(200);
  std::vector<uint32_t> st(200);
  int i = 1;
  for (auto _ : state) {
    const int a = (i - 1) % (int)g.frames.size(), b = i % (int)g.frames.size();
    i = i % ((int)g.frames.size() - 1) + 1;
    vorn_mono_image va = view(g, a), vb = view(g, b);
    const auto &p = in.pts[a];
    vorn_opticalflow_pyr_lk(&va, &vb, in.pyr[a], in.pyr[b], p.data(), out.data(), st.data(), (uint32_t)p.size(), 10,
                            10);
    benchmark::DoNotOptimize(out.data());
  }
}
BENCHMARK(BM_PyrLk)->Arg(8)->Arg(100);

// Corners of the grey frame (plane 0 of a YUV image), 10 pixels apart.
void BM_GoodFeatures(benchmark::State &state) {
  const Greys &g = greys();
  std::vector<vorn_point> pts(200);
  int i = 0;
  for (auto _ : state) {
    uint8_t *grey = const_cast<uint8_t *>(g.frames[i++ % g.frames.size()].data());
    vorn_image img{VORN_FORMAT_YUV, (uint32_t)g.w, (uint32_t)g.h, {grey, nullptr, nullptr}};
    uint32_t count = (uint32_t)state.range(0);
    vorn_good_feature_to_track(&img, 10, pts.data(), &count, nullptr, nullptr);
    benchmark::DoNotOptimize(pts.data());
  }
}
BENCHMARK(BM_GoodFeatures)->Arg(8)->Arg(100);

// Tracking from the two frames alone: both pyramids are built inside the timing, as OpenCV's call does.
void BM_PyrLkFromImages(benchmark::State &state) {
  const Greys &g = greys();
  const LkInputs &in = lk_inputs((int)state.range(0));
  std::vector<vorn_point2f> out(200);
  std::vector<uint32_t> st(200);
  int i = 1;
  for (auto _ : state) {
    const int a = (i - 1) % (int)g.frames.size(), b = i % (int)g.frames.size();
    i = i % ((int)g.frames.size() - 1) + 1;
    vorn_mono_image va = view(g, a), vb = view(g, b);
    vorn_pyramid *pa = nullptr, *pb = nullptr;
    vorn_pyramid_create_mono_image(&va, &pa, 3);
    vorn_pyramid_create_mono_image(&vb, &pb, 3);
    const auto &p = in.pts[a];
    vorn_opticalflow_pyr_lk(&va, &vb, pa, pb, p.data(), out.data(), st.data(), (uint32_t)p.size(), 10, 10);
    vorn_pyramid_destroy(pa);
    vorn_pyramid_destroy(pb);
    benchmark::DoNotOptimize(out.data());
  }
}
BENCHMARK(BM_PyrLkFromImages)->Arg(8)->Arg(100);

void BM_Kalman(benchmark::State &state) {
  vorn_kalman_params kp{4, 2, 0};
  vorn_kalman *k = nullptr;
  vorn_kalman_create(&kp, &k);
  vorn_matrix *a = vorn_matrix_alloc(4, 4), *h = vorn_matrix_alloc(2, 4), *z = vorn_matrix_alloc(2, 1);
  vorn_matrix_normal(a, 1.0f);
  a->data[2] = a->data[7] = 1.0f;
  h->data[0] = h->data[5] = 1.0f;
  vorn_kalman_set_transition_matrix(k, a);
  vorn_kalman_set_measurement_matrix(k, h);
  int t = 0;
  for (auto _ : state) {
    z->data[0] = (float)(t % 100);
    z->data[1] = (float)(t++ % 37);
    vorn_kalman_predict(k, nullptr);
    vorn_kalman_correct(k, z);
  }
  vorn_matrix_free(a);
  vorn_matrix_free(h);
  vorn_matrix_free(z);
  vorn_kalman_destroy(k);
}
BENCHMARK(BM_Kalman);

#if VORN_HAVE_OPENCV

struct OneThread {
  OneThread() { cv::setNumThreads(1); }
} one_thread;

cv::Mat mat(const Greys &g, int i) {
  return cv::Mat(g.h, g.w, CV_8UC1, const_cast<uint8_t *>(g.frames[i % g.frames.size()].data()));
}

void BM_Cv_BuildPyramid3(benchmark::State &state) {
  const Greys &g = greys();
  std::vector<cv::Mat> pyr;
  int i = 0;
  for (auto _ : state) {
    cv::buildPyramid(mat(g, i++), pyr, 3);
    benchmark::DoNotOptimize(pyr.data());
  }
}
BENCHMARK(BM_Cv_BuildPyramid3);

void BM_Cv_PyrLk(benchmark::State &state) {
  const Greys &g = greys();
  const LkInputs &in = lk_inputs((int)state.range(0));
  static std::vector<std::vector<cv::Mat>> pyr;
  if (pyr.empty())
    for (int i = 0; i < (int)g.frames.size(); ++i) {
      pyr.emplace_back();
      cv::buildOpticalFlowPyramid(mat(g, i), pyr.back(), cv::Size(21, 21), 3);
    }
  std::vector<cv::Point2f> out;
  std::vector<uchar> st;
  std::vector<float> err;
  int i = 1;
  for (auto _ : state) {
    const int a = (i - 1) % (int)g.frames.size(), b = i % (int)g.frames.size();
    i = i % ((int)g.frames.size() - 1) + 1;
    std::vector<cv::Point2f> p;
    for (auto &q : in.pts[a]) p.push_back({q.x, q.y});
    cv::calcOpticalFlowPyrLK(pyr[a], pyr[b], p, out, st, err, cv::Size(21, 21), 3,
                             cv::TermCriteria(cv::TermCriteria::COUNT | cv::TermCriteria::EPS, 10, 0.01));
    benchmark::DoNotOptimize(out.data());
  }
}
BENCHMARK(BM_Cv_PyrLk)->Arg(8)->Arg(100);

// Not a timing: share of corners on which our tracker and OpenCV's agree within 0.5 px (counter "agree_pct").
void BM_LkAgreementWithCv(benchmark::State &state) {
  const Greys &g = greys();
  size_t agree = 0, total = 0, both_found = 0;
  for (auto _ : state) {
    for (int a = 0; a + 1 < (int)g.frames.size(); ++a) {
      std::vector<vorn_point2f> p = start_points(g, a, 100), out(p.size());
      std::vector<uint32_t> st(p.size());
      vorn_mono_image va = view(g, a), vb = view(g, a + 1);
      vorn_pyramid *pa = nullptr, *pb = nullptr;
      vorn_pyramid_create_mono_image(&va, &pa, 3);
      vorn_pyramid_create_mono_image(&vb, &pb, 3);
      vorn_opticalflow_pyr_lk(&va, &vb, pa, pb, p.data(), out.data(), st.data(), (uint32_t)p.size(), 10, 10);
      vorn_pyramid_destroy(pa);
      vorn_pyramid_destroy(pb);
      std::vector<cv::Point2f> cp, cout;
      for (auto &q : p) cp.push_back({q.x, q.y});
      std::vector<uchar> cst;
      std::vector<float> err;
      cv::calcOpticalFlowPyrLK(mat(g, a), mat(g, a + 1), cp, cout, cst, err, cv::Size(21, 21), 3);
      for (size_t k = 0; k < p.size(); ++k) {
        if (!cst[k]) continue;  // OpenCV's own failures are not held against us
        ++total;
        both_found += st[k] != 0;
        agree += hypot(out[k].x - cout[k].x, out[k].y - cout[k].y) < 0.5;
      }
    }
  }
  state.counters["agree_pct"] = total ? 100.0 * agree / total : 0.0;
  state.counters["found_pct"] = total ? 100.0 * both_found / total : 0.0;
  state.counters["points"] = (double)total;
}
BENCHMARK(BM_LkAgreementWithCv)->Iterations(1);

void BM_Cv_GoodFeatures(benchmark::State &state) {
  const Greys &g = greys();
  std::vector<cv::Point2f> c;
  int i = 0;
  for (auto _ : state) {
    cv::goodFeaturesToTrack(mat(g, i++), c, (int)state.range(0), 0.01, 10);
    benchmark::DoNotOptimize(c.data());
  }
}
BENCHMARK(BM_Cv_GoodFeatures)->Arg(8)->Arg(100);

void BM_Cv_PyrLkFromImages(benchmark::State &state) {
  const Greys &g = greys();
  const LkInputs &in = lk_inputs((int)state.range(0));
  std::vector<cv::Point2f> out;
  std::vector<uchar> st;
  std::vector<float> err;
  int i = 1;
  for (auto _ : state) {
    const int a = (i - 1) % (int)g.frames.size(), b = i % (int)g.frames.size();
    i = i % ((int)g.frames.size() - 1) + 1;
    std::vector<cv::Point2f> p;
    for (auto &q : in.pts[a]) p.push_back({q.x, q.y});
    cv::calcOpticalFlowPyrLK(mat(g, a), mat(g, b), p, out, st, err, cv::Size(21, 21), 3,
                             cv::TermCriteria(cv::TermCriteria::COUNT | cv::TermCriteria::EPS, 10, 0.01));
    benchmark::DoNotOptimize(out.data());
  }
}
BENCHMARK(BM_Cv_PyrLkFromImages)->Arg(8)->Arg(100);

void BM_Cv_Kalman(benchmark::State &state) {
  cv::KalmanFilter kf(4, 2, 0, CV_32F);
  kf.transitionMatrix = (cv::Mat_<float>(4, 4) << 1, 0, 1, 0, 0, 1, 0, 1, 0, 0, 1, 0, 0, 0, 0, 1);
  cv::setIdentity(kf.measurementMatrix.colRange(0, 2));
  cv::setIdentity(kf.processNoiseCov);
  cv::setIdentity(kf.measurementNoiseCov);
  cv::setIdentity(kf.errorCovPost);
  cv::Mat z(2, 1, CV_32F);
  int t = 0;
  for (auto _ : state) {
    z.at<float>(0) = (float)(t % 100);
    z.at<float>(1) = (float)(t++ % 37);
    kf.predict();
    kf.correct(z);
  }
}
BENCHMARK(BM_Cv_Kalman);

#endif

}  // namespace
