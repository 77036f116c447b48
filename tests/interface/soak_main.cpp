// soak: many frames through every analytic and background model (make soak: 100 000). The scene repeats every
// kScenePeriod frames. Memory: the library's live blocks at the end of each period may not exceed those at the
// end of the first tenth, and the resident memory may not grow by more than 1 MB after it. Results: a part
// (model, analytic) has settled once its digest stayed the same for a fifth of the run (3000 frames at least);
// it must then give that digest to the end (a result that held for 20 000 frames and then changes is a long-run
// fault). Parts that keep
// adapting to the scene (the mixture model, the cumulative means and what they feed) are listed, not failed.
// Usage: soak [frames]. Exit status 1 on growth or a changed result.
#include <stdio.h>
#include <stdlib.h>

#include <vector>

#include "core/fault_inject.h"
#include "interface/scene.h"

namespace {

// Resident memory in kB (0 where /proc is missing).
long resident_kb() {
  FILE *f = fopen("/proc/self/statm", "r");
  if (!f) return 0;
  long pages = 0, resident = 0;
  const int n = fscanf(f, "%ld %ld", &pages, &resident);
  fclose(f);
  return n == 2 ? resident * 4 : 0;
}

}  // namespace

int main(int argc, char **argv) {
  using vorn_scene::kParts;
  const long frames = argc > 1 ? atol(argv[1]) : 100000;
  const long periods = frames / vorn_scene::kScenePeriod;
  if (periods < 20) {
    fprintf(stderr, "soak: at least %d frames\n", 20 * vorn_scene::kScenePeriod);
    return 2;
  }
  vorn_scene::Analytics analytics;
  std::vector<uint64_t> digest((size_t)(periods * kParts));
  int64_t blocks_early = 0, blocks_max = 0;
  long rss_early = 0;
  for (long p = 0; p < periods; ++p) {
    vorn_scene::Digest d[kParts];
    for (int i = 0; i < vorn_scene::kScenePeriod; ++i) analytics.step(i, d);
    for (int k = 0; k < kParts; ++k) digest[(size_t)(p * kParts + k)] = d[k].h;
    const int64_t blocks = vorn::live_blocks();
    if (p == periods / 10) {
      blocks_early = blocks;
      rss_early = resident_kb();
    } else if (p > periods / 10 && blocks > blocks_max) {
      blocks_max = blocks;
    }
  }
  const long rss_late = resident_kb();
  int status = 0;
  printf("soak: %ld frames; live blocks after the first tenth %lld, at most %lld later; resident %ld kB -> %ld kB\n",
         periods * vorn_scene::kScenePeriod, (long long)blocks_early, (long long)blocks_max, rss_early, rss_late);
  if (blocks_max > blocks_early || rss_late - rss_early > 1024) {
    printf("soak: FAILED: memory grew\n");
    status = 1;
  }
  for (int k = 0; k < kParts; ++k) {
    auto at = [&](long p) { return digest[(size_t)(p * kParts + k)]; };
    const long hold = periods / 5 > 50 ? periods / 5 : 50;  // at least 3000 frames
    long settled = -1;
    for (long p = 0, run = 1; p + 1 < periods && settled < 0; ++p) {
      run = at(p + 1) == at(p) ? run + 1 : 1;
      if (run > hold) settled = p + 1 - hold;
    }
    if (settled < 0) {
      printf("soak: %s: never settled on this scene\n", vorn_scene::kPartNames[k]);
      continue;
    }
    long changed = -1;
    for (long p = settled; p < periods && changed < 0; ++p)
      if (at(p) != at(settled)) changed = p;
    if (changed >= 0) {
      printf("soak: FAILED: %s settled at frame %ld but answered differently from frame %ld on\n",
             vorn_scene::kPartNames[k], settled * vorn_scene::kScenePeriod, changed * vorn_scene::kScenePeriod);
      status = 1;
    } else {
      printf("soak: %s: settled at frame %ld and stayed the same\n", vorn_scene::kPartNames[k],
             settled * vorn_scene::kScenePeriod);
    }
  }
  return status;
}
