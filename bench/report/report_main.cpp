// `make bench`: every operation and pipeline beside OpenCV's nearest equivalent on the street clip, at
// 768x576 and scaled to 1920x1080, written as docs/performance.md and a table of ratios for the chart.
//
// Per row and size: REPS interleaved repetitions (ours then OpenCV's, the order swapped every repetition), each
// over the same run of frames; the ratio of the two times is taken per repetition and the table gives its
// minimum and median, with each side's median time per frame, page faults and allocations per frame, and for
// streams the heap they hold and what making one and its first frame cost.
#include <malloc.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <sstream>

#include <opencv2/core/utility.hpp>
#include <opencv2/imgproc.hpp>
#include <opencv2/video/background_segm.hpp>

#include "report/alloc_count.h"
#include "report/report.h"
#include "support/clip.h"

namespace vorn_bench {

double now_ms() {
  using namespace std::chrono;
  return duration<double, std::milli>(steady_clock::now().time_since_epoch()).count();
}

void check(vorn_result r, const char *what) {
  if (r == VORN_OK) return;
  fprintf(stderr, "\n%s failed: 0x%08x\n", what, (unsigned)r);
  exit(1);
}

FirstFrame first_frame(const std::function<void()> &make) {
  const int64_t before = heap_in_use();
  const double t0 = now_ms();
  make();
  FirstFrame r;
  r.ms = now_ms() - t0;
  r.bytes = heap_in_use() - before;
  return r;
}

namespace {

constexpr int kReps = 7;

struct Side {
  std::vector<double> ms;  // per frame, per repetition
  double faults = 0, allocations = 0, frames = 0;
};

struct Row {
  Pair pair;
  std::string size;
  Side ours, theirs;
  std::vector<double> ratios;
};

double median(std::vector<double> v) {
  std::sort(v.begin(), v.end());
  return v.empty() ? 0 : v.size() % 2 ? v[v.size() / 2] : (v[v.size() / 2 - 1] + v[v.size() / 2]) / 2;
}

double time_run(const std::function<void(size_t)> &fn, const Frames &f, size_t first, size_t frames, Side *s) {
  const Usage u0 = usage_now();
  const double t0 = now_ms();
  for (size_t k = 0; k < frames; ++k) fn(f.at(first + k));
  const double ms = (now_ms() - t0) / (double)frames;
  const Usage u1 = usage_now();
  s->ms.push_back(ms);
  s->faults += (double)(u1.faults - u0.faults);
  s->allocations += (double)(u1.allocations - u0.allocations);
  s->frames += (double)frames;
  return ms;
}

Row measure(Pair pair, const Frames &f, size_t frames) {
  Row r;
  r.size = f.label;
  size_t at = 1;
  Side warm;
  const double longer = std::max(time_run(pair.ours, f, at, 3, &warm), time_run(pair.theirs, f, at, 3, &warm));
  at += 3;
  // Short calls get longer repetitions (about 40 ms of the slower side each), so that one stall of a shared
  // machine does not decide a ratio.
  if (longer > 0 && frames * longer < 40.0) frames = std::min<size_t>(2000, (size_t)(40.0 / longer) + 1);
  for (int rep = 0; rep < kReps; ++rep, at += frames) {
    double a, b;
    if (rep % 2 == 0) {
      a = time_run(pair.ours, f, at, frames, &r.ours);
      b = time_run(pair.theirs, f, at, frames, &r.theirs);
    } else {
      b = time_run(pair.theirs, f, at, frames, &r.theirs);
      a = time_run(pair.ours, f, at, frames, &r.ours);
    }
    r.ratios.push_back(a / b);
  }
  r.pair = std::move(pair);
  r.pair.ours = nullptr;
  r.pair.theirs = nullptr;
  r.pair.state.reset();
  return r;
}

// The clip at w x h (the decoded size, or scaled with INTER_AREA / INTER_LINEAR), `count` frames, in every form.
Frames make_frames(const Clip &clip, int w, int h, size_t count) {
  Frames f;
  f.w = w;
  f.h = h;
  f.label = std::to_string(w) + "x" + std::to_string(h);
  const size_t n = (size_t)w * h;
  cv::Ptr<cv::BackgroundSubtractorMOG2> mog = cv::createBackgroundSubtractorMOG2(500, 16, false);
  for (size_t i = 0; i < count && i < clip.bgr.size(); ++i) {
    cv::Mat src(clip.height, clip.width, CV_8UC3, const_cast<uint8_t *>(clip.bgr[i].data())), bgr;
    if (w == clip.width && h == clip.height)
      bgr = src.clone();
    else
      cv::resize(src, bgr, cv::Size(w, h), 0, 0, cv::INTER_LINEAR);
    f.bgr.push_back(bgr);
    std::vector<uint8_t> rows(n * 3);
    for (int y = 0; y < h; ++y) memcpy(&rows[(size_t)(h - 1 - y) * w * 3], bgr.ptr(y), (size_t)w * 3);
    vorn_image *rgb = vorn_image_alloc(w, h, VORN_FORMAT_RGB), *yuv = vorn_image_alloc(w, h, VORN_FORMAT_YUV);
    vorn_image_bmp24_to_rgb(rows.data(), rgb);
    vorn_image_rgb_to_yuv(rgb, yuv);
    vorn_mono_image *grey = vorn_mono_image_alloc(w, h);
    vorn_image_rgb_to_y(rgb, grey);
    f.rgb.push_back(rgb);
    f.yuv.push_back(yuv);
    f.grey.push_back(grey);
    std::vector<uint8_t> i420(n * 3 / 2 + w), yuyv(n * 2);
    vorn_image_rgb_to_yuv420(rgb, i420.data());
    vorn_image_rgb_to_yuv422(rgb, yuyv.data());
    cv::Mat rgbm;
    cv::cvtColor(bgr, rgbm, cv::COLOR_BGR2RGB);
    f.rgbm.push_back(rgbm);
    f.greym.push_back(cv::Mat(h, w, CV_8U, grey->data));
    f.i420m.push_back(cv::Mat(h * 3 / 2, w, CV_8U, i420.data()).clone());
    f.yuyvm.push_back(cv::Mat(h, w, CV_8UC2, yuyv.data()).clone());
    f.i420.push_back(std::move(i420));
    f.yuyv.push_back(std::move(yuyv));
    f.bmp24.push_back(std::move(rows));
  }
  // Real foreground masks: MOG2 over the frames twice, the second pass kept.
  for (int pass = 0; pass < 2; ++pass)
    for (size_t i = 0; i < f.count(); ++i) {
      cv::Mat fg;
      mog->apply(f.bgr[i], fg);
      if (pass == 0) continue;
      vorn_mono_image *m = vorn_mono_image_alloc(w, h);
      memcpy(m->data, fg.data, n);
      f.fg.push_back(m);
      f.fgm.push_back(cv::Mat(h, w, CV_8U, m->data));
    }
  return f;
}

void free_frames(Frames &f) {
  for (vorn_image *p : f.rgb) vorn_image_free(p);
  for (vorn_image *p : f.yuv) vorn_image_free(p);
  for (vorn_mono_image *p : f.grey) vorn_mono_image_free(p);
  for (vorn_mono_image *p : f.fg) vorn_mono_image_free(p);
  f = Frames();
}

std::string read_first(const char *path, const char *key) {
  std::ifstream in(path);
  std::string line;
  while (std::getline(in, line))
    if (line.compare(0, strlen(key), key) == 0) {
      const size_t c = line.find(':');
      if (c == std::string::npos) return line;
      const size_t v = line.find_first_not_of(" \t", c + 1);
      return v == std::string::npos ? "" : line.substr(v);
    }
  return "?";
}

std::string load_average() {
  double l[3] = {0, 0, 0};
  if (getloadavg(l, 3) < 0) return "?";
  char b[64];
  snprintf(b, sizeof b, "%.2f %.2f %.2f", l[0], l[1], l[2]);
  return b;
}

std::string fmt(double v, const char *f = "%.3f") {
  if (v < 0) return "–";
  char b[32];
  snprintf(b, sizeof b, f, v);
  return b;
}

std::string ms_cell(double ms) { return ms < 0.1 ? fmt(ms, "%.4f") : ms < 10 ? fmt(ms, "%.3f") : fmt(ms, "%.1f"); }

std::string mb(int64_t bytes) { return bytes < 0 ? "–" : fmt((double)bytes / (1 << 20), "%.1f"); }

std::string per_frame(const Side &s, double total) { return fmt(total / std::max(1.0, s.frames), "%.1f"); }

void write_table(std::ostream &o, const std::vector<Row> &rows, const std::string &size) {
  o << "\n### " << size << "\n\n"
    << "| operation | OpenCV's nearest equivalent | ours ms | OpenCV ms | ratio median | ratio min | page faults "
       "per frame, ours / OpenCV | allocations per frame, ours / OpenCV | memory per stream MB, ours / OpenCV | "
       "making + first frame ms, ours / OpenCV |\n"
    << "|---|---|---:|---:|---:|---:|---:|---:|---:|---:|\n";
  for (const Row &r : rows) {
    if (r.size != size) continue;
    const bool stream = r.pair.ours_first.ms >= 0;
    o << "| " << r.pair.name << " | " << r.pair.peer << " | " << ms_cell(median(r.ours.ms)) << " | "
      << ms_cell(median(r.theirs.ms)) << " | **" << fmt(median(r.ratios), "%.2f") << "** | "
      << fmt(*std::min_element(r.ratios.begin(), r.ratios.end()), "%.2f") << " | "
      << per_frame(r.ours, r.ours.faults) << " / " << per_frame(r.theirs, r.theirs.faults) << " | "
      << per_frame(r.ours, r.ours.allocations) << " / " << per_frame(r.theirs, r.theirs.allocations) << " | "
      << (stream ? mb(r.pair.ours_first.bytes) + " / " + mb(r.pair.theirs_first.bytes) : "–") << " | "
      << (stream ? ms_cell(r.pair.ours_first.ms) + " / " + ms_cell(r.pair.theirs_first.ms) : "–") << " |\n";
  }
}

}  // namespace
}  // namespace vorn_bench

int main(int argc, char **argv) {
  using namespace vorn_bench;
  std::string out_md = "docs/performance.md", out_csv = "build/bench/ratios.csv", notes = "", only = "";
  size_t frames_sd = 100, frames_hd = 20;
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string k = argv[i], v = argv[i + 1];
    if (k == "--md") out_md = v;
    else if (k == "--csv") out_csv = v;
    else if (k == "--notes") notes = v;
    else if (k == "--frames") frames_sd = (size_t)atoi(v.c_str());
    else if (k == "--hd-frames") frames_hd = (size_t)atoi(v.c_str());
    else if (k == "--only") only = v;
  }
  // The allocator keeps freed memory instead of handing it back to the kernel, so that a temporary made on every
  // call is not a fresh page fault on every call (the way OpenCV is usually measured).
  mallopt(M_MMAP_THRESHOLD, 32 << 20);
  mallopt(M_TRIM_THRESHOLD, 1 << 30);
  cv::setNumThreads(1);
  vorn_init();
  const std::string load_before = load_average();
  const double t_start = now_ms();

  const Clip &clip = street_clip((int)frames_sd);
  if (!clip.real)
    fprintf(stderr,
            "\n************************************************************************\n"
            "*  NOT ON REAL VIDEO: the street clip could not be read, so this report  *\n"
            "*  runs on a synthetic scene. Install it with: scripts/deps.sh bench     *\n"
            "************************************************************************\n\n");

  std::vector<Row> rows;
  const int sizes[2][2] = {{clip.width, clip.height}, {1920, 1080}};
  for (int s = 0; s < 2; ++s) {
    const size_t count = s == 0 ? frames_sd : frames_hd;
    Frames f = make_frames(clip, sizes[s][0], sizes[s][1], count);
    const size_t per_rep = s == 0 ? 40 : 12;
    fprintf(stderr, "%s: %zu frames\n", f.label.c_str(), f.count());
    for (const std::vector<PairMaker> &group : {kernel_rows(), pipeline_rows()})
      for (const PairMaker &make : group) {
        Pair p = make(f);
        if (!only.empty() && p.name.find(only) == std::string::npos) continue;
        fprintf(stderr, "  %-55s", p.name.c_str());
        rows.push_back(measure(std::move(p), f, per_rep));
        fprintf(stderr, " ratio %.2f\n", median(rows.back().ratios));
      }
    free_frames(f);
  }

  std::ofstream csv(out_csv);
  csv << "size,group,name,median,min\n";
  for (const Row &r : rows)
    csv << r.size << "," << r.pair.group << ",\"" << r.pair.name << "\"," << median(r.ratios) << ","
        << *std::min_element(r.ratios.begin(), r.ratios.end()) << "\n";

  struct utsname u;
  uname(&u);
  const std::string load_after = load_average();
  const double minutes = (now_ms() - t_start) / 60000.0;
  std::ofstream md(out_md);
  md << "# Performance beside OpenCV\n\n"
     << "Written by `make bench` (bench/report/); do not edit by hand: the notes at the end come from "
        "bench/report/notes.md.\n\n";
  if (!clip.real)
    md << "> **NOT ON REAL VIDEO.** The street clip (Debian's opencv-doc, vtest.avi) was not found, so every figure "
          "below comes from a synthetic scene. Run `scripts/deps.sh bench` and `make bench` again.\n\n";
  md << "**Input:** " << (clip.real ? "the street clip (vtest.avi of Debian's opencv-doc, pedestrians)" : "a synthetic street")
     << ", the first " << frames_sd << " frames at " << clip.width << "x" << clip.height << " and the first "
     << frames_hd << " scaled to 1920x1080 (bilinear). Each call takes the next frame of a back-and-forth walk "
     << "through them. Foreground masks for the mask kernels come from OpenCV's MOG2 over the clip.\n\n"
     << "**Method:** both libraries in this one process, single-threaded (`cv::setNumThreads(1)`; the library "
        "starts no threads). Per row and size, " << kReps << " interleaved repetitions (ours, then OpenCV's, the "
        "order swapped each time) over the same frames (40 per repetition at 768x576, 12 at 1080p, more for calls "
        "too short to fill 40 ms); the ratio "
        "ours / OpenCV is taken per repetition, and the table gives its median and minimum (below 1: we are faster). "
        "The times are each side's median per frame. Streams (models and pipelines) are made once per row; "
        "their making plus first frame is timed separately, and the memory is the heap they hold after it. "
        "Allocations count every malloc-family call of the process (ours and OpenCV's); page faults come from "
        "getrusage. glibc is set not to return freed memory to the kernel (`M_MMAP_THRESHOLD` 32 MiB, "
        "`M_TRIM_THRESHOLD` 1 GiB), so OpenCV's per-call temporaries are reused rather than faulted in again. "
        "Build: Release, fault injection off.\n\n"
     << "**Machine:** " << read_first("/proc/cpuinfo", "model name") << ", " << sysconf(_SC_NPROCESSORS_ONLN)
     << " CPUs (" << (__builtin_cpu_supports("avx512bw") ? "AVX-512, " : "")
     << (__builtin_cpu_supports("avx2") ? "AVX2" : "no AVX2") << "), " << read_first("/proc/meminfo", "MemTotal")
     << " memory; " << u.sysname << " " << u.release
     << "; g++ " << __VERSION__ << "; OpenCV " << CV_VERSION << ". Load average before: " << load_before
     << ", after: " << load_after << "; the run took " << fmt(minutes, "%.1f") << " minutes.";
  double l1 = 0;
  getloadavg(&l1, 1);
  if (atof(load_before.c_str()) > 0.8 || l1 > 1.2)
    md << " **The machine was shared with other jobs during this run**: absolute times are noisy, the ratios "
          "(interleaved) much less.";
  md << "\n\n![ratios](performance.svg)\n\n## Results\n";
  write_table(md, rows, sizes[0][0] == 768 ? "768x576" : std::to_string(clip.width) + "x" + std::to_string(clip.height));
  write_table(md, rows, "1920x1080");
  if (!notes.empty()) {
    std::ifstream in(notes);
    md << "\n" << in.rdbuf();
  }
  fprintf(stderr, "wrote %s and %s (%.1f minutes)\n", out_md.c_str(), out_csv.c_str(), minutes);
  return 0;
}
