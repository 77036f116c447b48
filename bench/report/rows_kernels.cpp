// Rows for conversions and kernels: stateless calls on the next frame of the clip, outputs made once.
#include <string.h>

#include <opencv2/imgproc.hpp>
#include <opencv2/video/tracking.hpp>

#include "report/report.h"

namespace vorn_bench {
namespace {

// Output buffers shared by the rows of one size, made on first use.
struct Outs {
  vorn_image *rgb, *yuv, *hsv;
  vorn_mono_image *m1, *m2, *all;  // all: a mask that allows every pixel
  std::vector<uint8_t> bytes;
  cv::Mat a, b, c, d;
  std::vector<cv::Mat> planes;
  explicit Outs(const Frames &f)
      : rgb(vorn_image_alloc(f.w, f.h, VORN_FORMAT_RGB)),
        yuv(vorn_image_alloc(f.w, f.h, VORN_FORMAT_YUV)),
        hsv(vorn_image_alloc(f.w, f.h, VORN_FORMAT_HSV)),
        m1(vorn_mono_image_alloc(f.w, f.h)),
        m2(vorn_mono_image_alloc(f.w, f.h)),
        all(vorn_mono_image_alloc(f.w, f.h)),
        bytes((size_t)f.w * f.h * 4) {
    memset(all->data, 255, (size_t)f.w * f.h);
  }
  ~Outs() {
    vorn_image_free(rgb);
    vorn_image_free(yuv);
    vorn_image_free(hsv);
    vorn_mono_image_free(m1);
    vorn_mono_image_free(m2);
    vorn_mono_image_free(all);
  }
};

Pair pair(const char *group, const char *name, const char *peer, std::shared_ptr<Outs> o,
          std::function<void(size_t)> ours, std::function<void(size_t)> theirs) {
  Pair p;
  p.group = group;
  p.name = name;
  p.peer = peer;
  p.ours = std::move(ours);
  p.theirs = std::move(theirs);
  p.state = o;
  return p;
}

std::shared_ptr<Outs> outs(const Frames &f) { return std::make_shared<Outs>(f); }

Pair conversions_bgr_yuv(const Frames &f) {
  auto o = outs(f);
  return pair("conversion", "BGR24 rows -> YUV planes", "cvtColor BGR2YUV", o,
              [&f, o](size_t i) { check(vorn_image_bmp24_to_yuv(f.bmp24[i].data(), o->yuv), "vorn_image_bmp24_to_yuv"); },
              [&f, o](size_t i) { cv::cvtColor(f.bgr[i], o->a, cv::COLOR_BGR2YUV); });
}
Pair conversions_rgb_yuv(const Frames &f) {
  auto o = outs(f);
  return pair("conversion", "RGB planes -> YUV planes", "cvtColor RGB2YUV", o,
              [&f, o](size_t i) { check(vorn_image_rgb_to_yuv(f.rgb[i], o->yuv), "vorn_image_rgb_to_yuv"); },
              [&f, o](size_t i) { cv::cvtColor(f.rgbm[i], o->a, cv::COLOR_RGB2YUV); });
}
Pair conversions_rgb_i420(const Frames &f) {
  auto o = outs(f);
  return pair("conversion", "RGB planes -> 4:2:0", "cvtColor RGB2YUV_I420", o,
              [&f, o](size_t i) { check(vorn_image_rgb_to_yuv420(f.rgb[i], o->bytes.data()), "vorn_image_rgb_to_yuv420"); },
              [&f, o](size_t i) { cv::cvtColor(f.rgbm[i], o->a, cv::COLOR_RGB2YUV_I420); });
}
Pair conversions_rgb_grey(const Frames &f) {
  auto o = outs(f);
  return pair("conversion", "RGB planes -> luma", "cvtColor RGB2GRAY", o,
              [&f, o](size_t i) { check(vorn_image_rgb_to_y(f.rgb[i], o->m1), "vorn_image_rgb_to_y"); },
              [&f, o](size_t i) { cv::cvtColor(f.rgbm[i], o->a, cv::COLOR_RGB2GRAY); });
}
Pair conversions_rgb_hsv(const Frames &f) {
  auto o = outs(f);
  return pair("conversion", "RGB planes -> HSV planes", "cvtColor RGB2HSV_FULL", o,
              [&f, o](size_t i) { check(vorn_image_rgb_to_hsv(f.rgb[i], o->hsv), "vorn_image_rgb_to_hsv"); },
              [&f, o](size_t i) { cv::cvtColor(f.rgbm[i], o->a, cv::COLOR_RGB2HSV_FULL); });
}
Pair conversions_i420_rgb(const Frames &f) {
  auto o = outs(f);
  return pair("conversion", "4:2:0 -> RGB planes", "cvtColor YUV2RGB_I420", o,
              [&f, o](size_t i) { check(vorn_image_yuv420_to_rgb(f.i420[i].data(), o->rgb), "vorn_image_yuv420_to_rgb"); },
              [&f, o](size_t i) { cv::cvtColor(f.i420m[i], o->a, cv::COLOR_YUV2RGB_I420); });
}
Pair conversions_yuyv_rgb(const Frames &f) {
  auto o = outs(f);
  return pair("conversion", "YUYV 4:2:2 -> RGB planes", "cvtColor YUV2RGB_YUYV", o,
              [&f, o](size_t i) { check(vorn_image_yuv422_to_rgb(f.yuyv[i].data(), o->rgb), "vorn_image_yuv422_to_rgb"); },
              [&f, o](size_t i) { cv::cvtColor(f.yuyvm[i], o->a, cv::COLOR_YUV2RGB_YUYV); });
}

// Frame difference of two colour frames, summed over the channels and thresholded into a mask.
Pair diff_mask(const Frames &f) {
  auto o = outs(f);
  return pair("kernel", "colour frame difference -> mask", "absdiff + split + add + compare", o,
              [&f, o](size_t i) { check(vorn_image_diff_binary_to_mono_image(f.rgb[i], f.rgb[f.at(i + 1)], o->m1, 45), "vorn_image_diff_binary_to_mono_image"); },
              [&f, o](size_t i) {
                cv::absdiff(f.rgbm[i], f.rgbm[f.at(i + 1)], o->a);
                cv::split(o->a, o->planes);
                cv::add(o->planes[0], o->planes[1], o->b, cv::noArray(), CV_16U);
                cv::add(o->b, o->planes[2], o->b, cv::noArray(), CV_16U);
                cv::compare(o->b, 45, o->c, cv::CMP_GT);
              });
}
Pair erosion(const Frames &f) {
  auto o = outs(f);
  return pair("kernel", "erosion 3x3 of a mask", "erode 3x3", o,
              [&f, o](size_t i) { check(vorn_morpha_erosion(f.fg[i], o->m1, 3, o->all), "vorn_morpha_erosion"); },
              [&f, o](size_t i) { cv::erode(f.fgm[i], o->a, cv::Mat()); });
}
Pair window(const Frames &f) {
  auto o = outs(f);
  return pair("kernel", "majority window 3x3 of a mask", "boxFilter 16U + compare", o,
              [&f, o](size_t i) { check(vorn_morpha_window(f.fg[i], o->m1, 3, o->all), "vorn_morpha_window"); },
              [&f, o](size_t i) {
                cv::boxFilter(f.fgm[i], o->a, CV_16U, cv::Size(3, 3), cv::Point(-1, -1), false);
                cv::compare(o->a, 4 * 255, o->b, cv::CMP_GT);
              });
}
Pair canny(const Frames &f) {
  auto o = outs(f);
  void *h = nullptr;
  vorn_canny_create(f.w, f.h, &h);
  vorn_canny_set_threshold(h, 30, 90);
  std::shared_ptr<void> keep(h, vorn_canny_destroy);
  Pair p = pair("kernel", "Canny 30/90", "Canny 30/90 (L1)", o, [&f, o, h](size_t i) { check(vorn_canny_process(h, o->m1, f.grey[i]), "vorn_canny_process"); },
                [&f, o](size_t i) { cv::Canny(f.greym[i], o->a, 30, 90); });
  p.state = std::make_shared<std::pair<std::shared_ptr<Outs>, std::shared_ptr<void>>>(o, keep);
  return p;
}
Pair contours(const Frames &f) {
  auto o = outs(f);
  vorn_size size{f.w, f.h};
  vorn_contour *c = nullptr;
  vorn_contour_create(&size, &c);
  std::shared_ptr<vorn_contour> keep(c, vorn_contour_destroy);
  auto cv_out = std::make_shared<std::vector<std::vector<cv::Point>>>();
  Pair p = pair("kernel", "contours of a foreground mask", "findContours (external, simple)", o,
                [&f, c](size_t i) {
                  vorn_contour_info info;
                  check(vorn_contour_start(c, f.fg[i]), "contours");
                  while (vorn_contour_next(c, &info) == VORN_OK && info.count) {
                  }
                },
                [&f, o, cv_out](size_t i) {
                  f.fgm[i].copyTo(o->a);  // OpenCV 4 leaves its input alone; the copy keeps the rows comparable
                  cv::findContours(o->a, *cv_out, cv::RETR_LIST, cv::CHAIN_APPROX_NONE);
                });
  p.peer = "findContours (list, every point)";
  p.state = std::make_shared<std::pair<std::shared_ptr<Outs>, std::shared_ptr<vorn_contour>>>(o, keep);
  return p;
}
Pair corners(const Frames &f) {
  auto o = outs(f);
  auto pts = std::make_shared<std::vector<cv::Point2f>>();
  return pair("kernel", "corners: 8 strongest, 10 px apart", "goodFeaturesToTrack(8, 0.01, 10)", o,
              [&f, o](size_t i) {
                vorn_point p[8];
                uint32_t n = 8;
                check(vorn_good_feature_to_track(f.yuv[i], 10, p, &n, nullptr, nullptr), "corners");
              },
              [&f, pts](size_t i) { cv::goodFeaturesToTrack(f.greym[i], *pts, 8, 0.01, 10); });
}
Pair pyramid(const Frames &f) {
  auto o = outs(f);
  auto levels = std::make_shared<std::vector<cv::Mat>>();
  return pair("kernel", "3-level luma pyramid", "buildPyramid(3)", o,
              [&f](size_t i) {
                vorn_pyramid *p = nullptr;
                check(vorn_pyramid_create_mono_image(f.grey[i], &p, 3), "pyramid");
                vorn_pyramid_destroy(p);
              },
              [&f, levels](size_t i) { cv::buildPyramid(f.greym[i], *levels, 3); });
}

// 8 corners of the previous frame followed into this one over 3-level pyramids (made outside the timing).
struct FlowState {
  std::vector<vorn_pyramid *> pyr;
  std::vector<std::vector<cv::Mat>> cvpyr;
  std::vector<std::vector<vorn_point2f>> pts;
  std::vector<std::vector<cv::Point2f>> cvpts;
  ~FlowState() {
    for (vorn_pyramid *p : pyr) vorn_pyramid_destroy(p);
  }
};
Pair flow(const Frames &f) {
  auto s = std::make_shared<FlowState>();
  for (size_t i = 0; i < f.count(); ++i) {
    vorn_pyramid *p = nullptr;
    vorn_pyramid_create_mono_image(f.grey[i], &p, 3);
    s->pyr.push_back(p);
    std::vector<cv::Mat> cp;
    cv::buildOpticalFlowPyramid(f.greym[i], cp, cv::Size(21, 21), 3);
    s->cvpyr.push_back(cp);
    std::vector<cv::Point2f> c;
    cv::goodFeaturesToTrack(f.greym[i], c, 8, 0.01, 10);
    s->cvpts.push_back(c);
    std::vector<vorn_point2f> v;
    for (const cv::Point2f &q : c) v.push_back(vorn_point2f{q.x, q.y});
    s->pts.push_back(v);
  }
  Pair p;
  p.group = "kernel";
  p.name = "optical flow: 8 points, 21x21, 3 levels";
  p.peer = "calcOpticalFlowPyrLK (prebuilt pyramids)";
  p.ours = [&f, s](size_t i) {
    const size_t j = f.at(i + 1);
    vorn_point2f out[8];
    uint32_t st[8];
    check(vorn_opticalflow_pyr_lk(f.grey[i], f.grey[j], s->pyr[i], s->pyr[j], s->pts[i].data(), out, st,
                                  (uint32_t)s->pts[i].size(), 10, 10),
          "optical flow");
  };
  p.theirs = [&f, s](size_t i) {
    const size_t j = f.at(i + 1);
    std::vector<cv::Point2f> out;
    std::vector<uint8_t> st;
    std::vector<float> err;
    cv::calcOpticalFlowPyrLK(s->cvpyr[i], s->cvpyr[j], s->cvpts[i], out, st, err, cv::Size(21, 21), 3,
                             cv::TermCriteria(cv::TermCriteria::COUNT + cv::TermCriteria::EPS, 10, 0.01));
  };
  p.state = s;
  return p;
}

}  // namespace

std::vector<PairMaker> kernel_rows() {
  return {conversions_bgr_yuv, conversions_rgb_yuv, conversions_rgb_i420, conversions_rgb_grey,
          conversions_rgb_hsv, conversions_i420_rgb, conversions_yuyv_rgb, diff_mask,
          erosion,             window,               canny,                contours,
          corners,             pyramid,              flow};
}

}  // namespace vorn_bench
