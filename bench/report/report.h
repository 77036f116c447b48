// The side-by-side report: each row pairs one of our operations or pipelines with OpenCV's nearest equivalent
// on the same frames; both run in one process, single-threaded, in interleaved repetitions.
#ifndef VORN_BENCH_REPORT_H
#define VORN_BENCH_REPORT_H

#include <stdint.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "vorn.h"

namespace vorn_bench {

// The clip at one size, in every form the rows read, made before any timing.
struct Frames {
  int w = 0, h = 0;
  std::string label;                          // "768x576", "1920x1080"
  std::vector<std::vector<uint8_t>> bmp24;    // bottom-up B G R rows (our frame input)
  std::vector<vorn_image *> rgb, yuv;         // planes
  std::vector<vorn_mono_image *> grey;        // integer luma
  std::vector<std::vector<uint8_t>> i420, yuyv;
  std::vector<vorn_mono_image *> fg;          // real foreground masks (0/255) from OpenCV's MOG2 over the clip
  std::vector<cv::Mat> bgr, rgbm, greym, i420m, yuyvm, fgm;
  size_t count() const { return bmp24.size(); }
  // Frame k of an endless back-and-forth walk (0, 1, .., n-1, n-2, .., 0, 1, ..): no scene cut at a wrap.
  size_t at(size_t k) const {
    const size_t n = count(), period = 2 * (n - 1), j = k % period;
    return j < n ? j : period - j;
  }
};

// What creating a stream and its first frame cost.
struct FirstFrame {
  double ms = -1;       // create + first frame
  int64_t bytes = -1;   // heap in use afterwards, less before
};

// One row. ours/theirs process the frame whose index they are given; a stateful pair keeps its streams between
// calls. first_* are filled by the row's maker for stateful rows.
struct Pair {
  std::string group, name, peer;
  std::function<void(size_t)> ours, theirs;
  FirstFrame ours_first, theirs_first;
  std::string note;
  std::shared_ptr<void> state;  // keeps the streams alive while the row runs
};

using PairMaker = std::function<Pair(const Frames &)>;

// The rows, grouped: conversions and kernels, then background models and pipelines.
std::vector<PairMaker> kernel_rows();
std::vector<PairMaker> pipeline_rows();

// Stops the run when one of our calls fails: a failed call would be timed as a fast one.
void check(vorn_result r, const char *what);

// Milliseconds on the steady clock.
double now_ms();

// Runs make() with the heap and the clock watched: the result's first-frame fields for one side.
FirstFrame first_frame(const std::function<void()> &make);

}  // namespace vorn_bench

#endif
