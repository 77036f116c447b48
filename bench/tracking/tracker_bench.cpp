// The multi-object tracker per frame at 768x576 over the street clip (background model, contour objects,
// prediction and association), for the mixture-of-Gaussians and the running-mean models. Reports frames per
// second and how many tracks the pass made.
#include <string.h>

#include <set>

#include <benchmark/benchmark.h>

#include "support/clip.h"
#include "vorn.h"

namespace {

constexpr int kFrames = 200;

// The clip as bottom-up 24-bit bitmap rows (768 * 3 bytes: no row padding).
const std::vector<std::vector<uint8_t>> &bmp24_frames() {
  static std::vector<std::vector<uint8_t>> frames;
  if (frames.empty()) {
    const vorn_bench::Clip &c = vorn_bench::street_clip(kFrames);
    const size_t row = (size_t)c.width * 3;
    for (const auto &f : c.bgr) {
      std::vector<uint8_t> b(row * c.height);
      for (int y = 0; y < c.height; ++y) memcpy(&b[(c.height - 1 - y) * row], &f[y * row], row);
      frames.push_back(std::move(b));
    }
  }
  return frames;
}

// Whole passes over the clip with a fresh tracker each; time per frame.
void BM_TrackerPass(benchmark::State &state) {
  vorn_init();
  const vorn_bench::Clip &clip = vorn_bench::street_clip(kFrames);
  const auto &frames = bmp24_frames();
  const uint32_t kind = (uint32_t)state.range(0);
  size_t tracks = 0;
  for (auto _ : state) {
    vorn_tracker *t = nullptr;
    vorn_tracker_params p = {(uint32_t)clip.width, (uint32_t)clip.height, VORN_FORMAT_YUV, kind};
    if (vorn_tracker_create(&p, &t) != VORN_OK) {
      state.SkipWithError("tracker create failed");
      break;
    }
    std::set<int32_t> ids;
    for (const auto &f : frames) {
      vorn_tracker_process(t, const_cast<uint8_t *>(f.data()), VORN_FRAME_BMP24);
      vorn_tracker_obj *objs;
      uint32_t n;
      vorn_tracker_get_objs(t, &objs, &n);
      for (uint32_t i = 0; i < n; ++i) ids.insert(objs[i].id);
    }
    tracks = ids.size();
    vorn_tracker_destroy(t);
  }
  state.SetItemsProcessed(state.iterations() * (int64_t)frames.size());
  state.counters["fps"] = benchmark::Counter((double)frames.size(), benchmark::Counter::kIsIterationInvariantRate);
  state.counters["tracks"] = (double)tracks;
  state.SetLabel(clip.real ? "street clip" : "synthetic street");
}
BENCHMARK(BM_TrackerPass)->Arg(2)->Arg(3)->Unit(benchmark::kMillisecond)->Iterations(2);

}  // namespace
