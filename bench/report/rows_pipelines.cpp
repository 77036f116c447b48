// Rows for the background models and the analytics pipelines: streams made once per row (the making and the
// first frame are measured), then fed the next frame of the clip on every call.
#include <string.h>

#include <opencv2/imgproc.hpp>
#include <opencv2/video/background_segm.hpp>
#include <opencv2/video/tracking.hpp>

#include "report/report.h"

namespace vorn_bench {
namespace {

uint8_t *frame_of(const Frames &f, size_t i) { return const_cast<uint8_t *>(f.bmp24[i].data()); }

// --- OpenCV's side ---

// The running mean the way OpenCV users write it: a float accumulator, its byte image, the per-channel
// difference summed and thresholded.
struct CvRunningMean {
  cv::Mat acc, bk, diff, sum, mask;
  std::vector<cv::Mat> planes;
  void apply(const cv::Mat &frame) {
    if (acc.empty()) frame.convertTo(acc, CV_32FC3);
    acc.convertTo(bk, CV_8UC3);
    cv::absdiff(frame, bk, diff);
    cv::split(diff, planes);
    cv::add(planes[0], planes[1], sum, cv::noArray(), CV_16U);
    cv::add(sum, planes[2], sum, cv::noArray(), CV_16U);
    cv::compare(sum, 45, mask, cv::CMP_GT);
    cv::accumulateWeighted(frame, acc, 0.005);
  }
};

// Moving objects followed by corners: MOG2, open and close 3x3, external contours, luma, 8 corners on the
// foreground, and those corners followed into the next frame with pyramidal optical flow. roi (empty: the whole
// frame) crops every frame first.
struct CvCornerPipeline {
  cv::Ptr<cv::BackgroundSubtractorMOG2> mog = cv::createBackgroundSubtractorMOG2(500, 16, false);
  cv::Mat fg, clean, grey, prev_grey;
  cv::Mat kernel = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(3, 3));
  std::vector<std::vector<cv::Point>> contours;
  std::vector<cv::Point2f> pts, next;
  std::vector<uint8_t> status;
  std::vector<float> err;
  cv::Rect roi;
  void apply(const cv::Mat &full) {
    const cv::Mat frame = roi.area() ? full(roi) : full;
    mog->apply(frame, fg);
    cv::morphologyEx(fg, clean, cv::MORPH_OPEN, kernel);
    cv::morphologyEx(clean, clean, cv::MORPH_CLOSE, kernel);
    cv::findContours(clean, contours, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_SIMPLE);
    cv::cvtColor(frame, grey, cv::COLOR_BGR2GRAY);
    if (!pts.empty() && !prev_grey.empty())
      cv::calcOpticalFlowPyrLK(prev_grey, grey, pts, next, status, err, cv::Size(21, 21), 3);
    if (!contours.empty())
      cv::goodFeaturesToTrack(grey, pts, 8, 0.01, 10, clean);
    else
      pts.clear();
    std::swap(grey, prev_grey);
  }
};

// The tracker's peer: MOG2, open and close, contours, a 32-bin luma histogram and a constant-velocity Kalman
// filter per object (matched by order, up to 32).
struct CvTrackerPipeline {
  cv::Ptr<cv::BackgroundSubtractorMOG2> mog = cv::createBackgroundSubtractorMOG2(500, 16, false);
  cv::Mat fg, clean, grey, hist;
  cv::Mat kernel = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(3, 3));
  std::vector<std::vector<cv::Point>> contours;
  std::vector<cv::KalmanFilter> filters;
  void apply(const cv::Mat &frame) {
    mog->apply(frame, fg);
    cv::morphologyEx(fg, clean, cv::MORPH_OPEN, kernel);
    cv::morphologyEx(clean, clean, cv::MORPH_CLOSE, kernel);
    cv::findContours(clean, contours, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_SIMPLE);
    cv::cvtColor(frame, grey, cv::COLOR_BGR2GRAY);
    const int bins = 32;
    const float range[] = {0, 256};
    const float *ranges[] = {range};
    size_t k = 0;
    for (const auto &c : contours) {
      const cv::Rect r = cv::boundingRect(c);
      if (r.width < frame.cols / 100 || r.height < frame.rows / 100 || k >= 32) continue;
      const cv::Mat patch = grey(r), m = clean(r);
      const int channel = 0;
      cv::calcHist(&patch, 1, &channel, m, hist, 1, &bins, ranges);
      if (filters.size() <= k) {
        filters.emplace_back(4, 2, 0, CV_32F);
        cv::setIdentity(filters.back().measurementMatrix);
        filters.back().transitionMatrix = (cv::Mat_<float>(4, 4) << 1, 0, 1, 0, 0, 1, 0, 1, 0, 0, 1, 0, 0, 0, 0, 1);
      }
      filters[k].predict();
      filters[k].correct((cv::Mat_<float>(2, 1) << r.x + r.width / 2.0f, r.y + r.height / 2.0f));
      ++k;
    }
  }
};

// The counter's peer: MOG2 and the foreground count inside each of the two areas.
struct CvCounterPipeline {
  cv::Ptr<cv::BackgroundSubtractorMOG2> mog = cv::createBackgroundSubtractorMOG2(500, 16, false);
  cv::Mat fg, area[2], both;
  int counts[2] = {0, 0};
  void apply(const cv::Mat &frame) {
    mog->apply(frame, fg);
    for (int k = 0; k < 2; ++k) {
      cv::bitwise_and(fg, area[k], both);
      counts[k] = cv::countNonZero(both);
    }
  }
};

// The left-object detector's peer: difference against a fixed reference, luma, threshold, open, contours and
// boxes.
struct CvLeftPipeline {
  cv::Mat reference, diff, grey, mask, region;
  cv::Mat kernel = cv::getStructuringElement(cv::MORPH_RECT, cv::Size(3, 3));
  std::vector<std::vector<cv::Point>> contours;
  std::vector<cv::Rect> boxes;
  void apply(const cv::Mat &frame) {
    cv::absdiff(frame, reference, diff);
    cv::cvtColor(diff, grey, cv::COLOR_BGR2GRAY);
    cv::threshold(grey, mask, 30, 255, cv::THRESH_BINARY);
    cv::bitwise_and(mask, region, mask);
    cv::morphologyEx(mask, mask, cv::MORPH_OPEN, kernel);
    cv::findContours(mask, contours, cv::RETR_EXTERNAL, cv::CHAIN_APPROX_SIMPLE);
    boxes.clear();
    for (const auto &c : contours) boxes.push_back(cv::boundingRect(c));
  }
};

// The trajectory recorder's peer: luma, pyramids, the live points followed, and new corners seeded where the
// picture changed.
struct CvTrajectoryPipeline {
  cv::Mat grey, motion;
  std::vector<cv::Mat> pyr, prev_pyr;
  cv::Mat prev_grey;
  std::vector<cv::Point2f> pts, next, seeds;
  std::vector<uint8_t> status;
  std::vector<float> err;
  void apply(const cv::Mat &frame) {
    cv::cvtColor(frame, grey, cv::COLOR_BGR2GRAY);
    cv::buildOpticalFlowPyramid(grey, pyr, cv::Size(21, 21), 2);
    if (!prev_pyr.empty() && !pts.empty()) {
      cv::calcOpticalFlowPyrLK(prev_pyr, pyr, pts, next, status, err, cv::Size(21, 21), 2);
      pts.clear();
      for (size_t k = 0; k < next.size(); ++k)
        if (status[k]) pts.push_back(next[k]);
    }
    if (!prev_grey.empty()) {
      cv::absdiff(grey, prev_grey, motion);
      cv::threshold(motion, motion, 10, 255, cv::THRESH_BINARY);
      cv::goodFeaturesToTrack(grey, seeds, 400, 0.01, 10, motion);
      for (const cv::Point2f &s : seeds)
        if (pts.size() < 400) pts.push_back(s);
    }
    grey.copyTo(prev_grey);
    std::swap(pyr, prev_pyr);
  }
};

// --- rows ---

template <class Ours, class Theirs>
Pair stream_pair(const Frames &f, const char *group, const std::string &name, const std::string &peer,
                 std::function<Ours *()> make_ours, std::function<void(Ours *, size_t)> ours_step,
                 std::function<Theirs *()> make_theirs, std::function<void(Theirs *, size_t)> theirs_step) {
  struct Both {
    std::unique_ptr<Ours> ours;
    std::unique_ptr<Theirs> theirs;
  };
  auto both = std::make_shared<Both>();
  Pair p;
  p.group = group;
  p.name = name;
  p.peer = peer;
  p.ours_first = first_frame([&] {
    both->ours.reset(make_ours());
    ours_step(both->ours.get(), 0);
  });
  p.theirs_first = first_frame([&] {
    both->theirs.reset(make_theirs());
    theirs_step(both->theirs.get(), 0);
  });
  Both *b = both.get();
  p.ours = [b, ours_step](size_t i) { ours_step(b->ours.get(), i); };
  p.theirs = [b, theirs_step](size_t i) { theirs_step(b->theirs.get(), i); };
  p.state = both;
  (void)f;
  return p;
}

// A background model of one type through its table, fed bitmap rows.
struct Model {
  vorn_bk_model_vtable t;
  vorn_bk_model *m = nullptr;
  Model(const Frames &f, uint32_t type) {
    vorn_bk_model_init(type, &t);
    vorn_bk_model_init_params p = {4, (uint32_t)f.w, (uint32_t)f.h, VORN_FORMAT_YUV};
    void *h = nullptr;
    t.create(&p, &h);
    m = static_cast<vorn_bk_model *>(h);
    t.set_param(m, 20, VORN_BK_PARAM_LEARN_FRAMES);
    if (type == 0) t.set_bk(m, frame_of(f, 0), VORN_FRAME_BMP24);
  }
  ~Model() { t.destroy(m); }
  void step(const Frames &f, size_t i) {
    if (t.process(m, frame_of(f, i), VORN_FRAME_BMP24) == VORN_E_SCENE_CHANGE) t.reset(m);
  }
};

Pair model_row(const Frames &f, uint32_t type, const char *what) {
  const bool mixture = type == 2, fixed = type == 0, ring = type == 1;
  const std::string name = std::string("background model ") + std::to_string(type) + ": " + what;
  if (mixture)
    return stream_pair<Model, cv::Ptr<cv::BackgroundSubtractorMOG2>>(
        f, "model", name, "BackgroundSubtractorMOG2 (shadows off)", [&f, type] { return new Model(f, type); },
        [&f](Model *m, size_t i) { m->step(f, i); },
        [] { return new cv::Ptr<cv::BackgroundSubtractorMOG2>(cv::createBackgroundSubtractorMOG2(500, 16, false)); },
        [&f](cv::Ptr<cv::BackgroundSubtractorMOG2> *m, size_t i) {
          static thread_local cv::Mat fg;
          (*m)->apply(f.bgr[i], fg);
        });
  if (ring)
    return stream_pair<Model, std::vector<cv::Mat>>(
        f, "model", name, "copy of the frame into a 4-frame ring", [&f, type] { return new Model(f, type); },
        [&f](Model *m, size_t i) { m->step(f, i); }, [] { return new std::vector<cv::Mat>(4); },
        [&f](std::vector<cv::Mat> *ring_, size_t i) { f.bgr[i].copyTo((*ring_)[i % 4]); });
  if (fixed)
    return stream_pair<Model, CvLeftPipeline>(
        f, "model", name, "absdiff to a fixed background + luma + threshold", [&f, type] { return new Model(f, type); },
        [&f](Model *m, size_t i) { m->step(f, i); },
        [&f] {
          auto *c = new CvLeftPipeline;
          c->reference = f.bgr[0].clone();
          c->region = cv::Mat(f.h, f.w, CV_8U, cv::Scalar(255));
          return c;
        },
        [&f](CvLeftPipeline *c, size_t i) {
          cv::absdiff(f.bgr[i], c->reference, c->diff);
          cv::cvtColor(c->diff, c->grey, cv::COLOR_BGR2GRAY);
          cv::threshold(c->grey, c->mask, 30, 255, cv::THRESH_BINARY);
        });
  return stream_pair<Model, CvRunningMean>(
      f, "model", name, "accumulateWeighted + absdiff mask", [&f, type] { return new Model(f, type); },
      [&f](Model *m, size_t i) { m->step(f, i); }, [] { return new CvRunningMean; },
      [&f](CvRunningMean *c, size_t i) { c->apply(f.bgr[i]); });
}

// The guard watches a vertical line through the middle of the street (people walk across it) with a 60-pixel
// band at 768x576, scaled with the frame.
struct GuardGeometry {
  vorn_line line, direction;
  int32_t half;
  cv::Rect band;
  explicit GuardGeometry(const Frames &f) {
    const int x = f.w / 2, y0 = f.h * 3 / 10, y1 = f.h * 19 / 20;
    half = 30 * f.h / 576;
    line = vorn_line{x, y0, x, y1};
    direction = vorn_line{x - 40, (y0 + y1) / 2, x + 40, (y0 + y1) / 2};
    band = cv::Rect(x - half, y0 - half, 2 * half + 1, y1 - y0 + 2 * half + 1) & cv::Rect(0, 0, f.w, f.h);
  }
};

struct Guard {
  vorn_guard *g = nullptr;
  Guard(const Frames &f, const GuardGeometry &geo) {
    vorn_guard_params p = {(uint32_t)f.w, (uint32_t)f.h, VORN_FORMAT_YUV, 2};
    vorn_guard_create(&p, &g);
    vorn_guard_set_lines(g, geo.line, geo.direction, geo.half);
  }
  ~Guard() { vorn_guard_destroy(g); }
};

Pair guard_row(const Frames &f, bool cropped) {
  const GuardGeometry geo(f);
  const std::string peer = cropped ? "MOG2 + open/close + contours + GFTT(8) + LK, cropped to the band's box"
                                   : "MOG2 + open/close + contours + GFTT(8) + LK, whole frame";
  return stream_pair<Guard, CvCornerPipeline>(
      f, "pipeline", cropped ? "guard line (vs cropped peer)" : "guard line (vs whole-frame peer)", peer,
      [&f, geo] { return new Guard(f, geo); },
      [&f](Guard *g, size_t i) { vorn_guard_put_image(g->g, frame_of(f, i), VORN_FRAME_BMP24); },
      [geo, cropped] {
        auto *c = new CvCornerPipeline;
        if (cropped) c->roi = geo.band;
        return c;
      },
      [&f](CvCornerPipeline *c, size_t i) { c->apply(f.bgr[i]); });
}

struct Tracker {
  vorn_tracker *t = nullptr;
  Tracker(const Frames &f, uint32_t kind) {
    vorn_tracker_params p = {(uint32_t)f.w, (uint32_t)f.h, VORN_FORMAT_YUV, kind};
    vorn_tracker_create(&p, &t);
  }
  ~Tracker() { vorn_tracker_destroy(t); }
};

Pair tracker_row(const Frames &f) {
  return stream_pair<Tracker, CvTrackerPipeline>(
      f, "pipeline", "tracker (mixture model)", "MOG2 + open/close + contours + histogram + Kalman per object",
      [&f] { return new Tracker(f, 2); },
      [&f](Tracker *t, size_t i) { vorn_tracker_process(t->t, frame_of(f, i), VORN_FRAME_BMP24); },
      [] { return new CvTrackerPipeline; }, [&f](CvTrackerPipeline *c, size_t i) { c->apply(f.bgr[i]); });
}

// Two vertical strips either side of the middle.
std::vector<vorn_point> strip(const Frames &f, int x0, int x1) {
  return {{x0, f.h / 4}, {x1, f.h / 4}, {x1, f.h - 4}, {x0, f.h - 4}, {x0, f.h / 4}};
}

struct Counter {
  Model model;
  vorn_counter *c = nullptr;
  Counter(const Frames &f) : model(f, 2) {
    std::vector<vorn_point> a = strip(f, f.w / 2 - 60, f.w / 2 - 20), b = strip(f, f.w / 2 + 20, f.w / 2 + 60);
    vorn_counter_params p = {a.data(), b.data(), 5, 5, (uint32_t)f.w, (uint32_t)f.h, 10, 0, 1, 0};
    c = vorn_counter_create(&p);
    vorn_counter_start(c);
  }
  ~Counter() { vorn_counter_destroy(c); }
};

Pair counter_row(const Frames &f) {
  return stream_pair<Counter, CvCounterPipeline>(
      f, "pipeline", "counter on the mixture model", "MOG2 + foreground count in two areas",
      [&f] { return new Counter(f); },
      [&f](Counter *c, size_t i) {
        c->model.step(f, i);
        vorn_mono_image *fg = nullptr;
        if (c->model.t.get_fg(c->model.m, &fg) == VORN_OK && fg) vorn_counter_set_mask(c->c, fg->data);
      },
      [&f] {
        auto *c = new CvCounterPipeline;
        for (int k = 0; k < 2; ++k) {
          c->area[k] = cv::Mat::zeros(f.h, f.w, CV_8U);
          const int x0 = k ? f.w / 2 + 20 : f.w / 2 - 60;
          c->area[k](cv::Rect(x0, f.h / 4, 40, f.h - 4 - f.h / 4)).setTo(255);
        }
        return c;
      },
      [&f](CvCounterPipeline *c, size_t i) { c->apply(f.bgr[i]); });
}

struct Left {
  vorn_obld *d = nullptr;
  Left(const Frames &f) {
    const vorn_point region[5] = {{4, f.h / 3}, {f.w - 5, f.h / 3}, {f.w - 5, f.h - 5}, {4, f.h - 5}, {4, f.h / 3}};
    vorn_obld_params p = {(uint32_t)f.w, (uint32_t)f.h, VORN_FRAME_BMP24, frame_of(f, 0), region, 5, 30,
                          nullptr, 0, 0};
    vorn_obld_create(&p, &d);
  }
  ~Left() { vorn_obld_destroy(d); }
};

Pair left_row(const Frames &f) {
  return stream_pair<Left, CvLeftPipeline>(
      f, "pipeline", "left/lost-object detector", "absdiff to a reference + threshold + open + contours",
      [&f] { return new Left(f); },
      [&f](Left *l, size_t i) { vorn_obld_put_image(l->d, frame_of(f, i), VORN_FRAME_BMP24); },
      [&f] {
        auto *c = new CvLeftPipeline;
        c->reference = f.bgr[0].clone();
        c->region = cv::Mat::zeros(f.h, f.w, CV_8U);
        c->region(cv::Rect(4, f.h / 3, f.w - 9, f.h - 5 - f.h / 3)).setTo(255);
        return c;
      },
      [&f](CvLeftPipeline *c, size_t i) { c->apply(f.bgr[i]); });
}

struct Recorder {
  vorn_vbc *v = nullptr;
  Recorder(const Frames &f) {
    vorn_vbc_params p;
    memset(&p, 0, sizeof p);
    p.width = (uint32_t)f.w;
    p.height = (uint32_t)f.h;
    p.frame_type = VORN_FRAME_BMP24;
    vorn_vbc_create(&p, &v);
  }
  ~Recorder() { vorn_vbc_destroy(v); }
};

Pair recorder_row(const Frames &f) {
  return stream_pair<Recorder, CvTrajectoryPipeline>(
      f, "pipeline", "trajectory recorder", "luma + pyramids + LK of live points + GFTT(400) where it moved",
      [&f] { return new Recorder(f); },
      [&f](Recorder *r, size_t i) { vorn_vbc_process(r->v, frame_of(f, i), VORN_FRAME_BMP24); },
      [] { return new CvTrajectoryPipeline; }, [&f](CvTrajectoryPipeline *c, size_t i) { c->apply(f.bgr[i]); });
}

}  // namespace

std::vector<PairMaker> pipeline_rows() {
  return {[](const Frames &f) { return model_row(f, 0, "against a set background"); },
          [](const Frames &f) { return model_row(f, 1, "frame ring"); },
          [](const Frames &f) { return model_row(f, 2, "mixture of Gaussians"); },
          [](const Frames &f) { return model_row(f, 3, "cumulative mean"); },
          [](const Frames &f) { return model_row(f, 5, "4x4 blocks"); },
          [](const Frames &f) { return model_row(f, 7, "stable-pixel running mean"); },
          [](const Frames &f) { return model_row(f, 8, "running mean with a learning phase"); },
          [](const Frames &f) { return guard_row(f, false); },
          [](const Frames &f) { return guard_row(f, true); },
          tracker_row,
          counter_row,
          left_row,
          recorder_row};
}

}  // namespace vorn_bench
