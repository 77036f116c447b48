// soak: many frames through every analytic and background model (make soak: 100 000). The scene repeats every
// kScenePeriod frames, so once the models have settled every period must give the same digest of answers and
// outputs; the library's live blocks and the process's resident memory must not grow after the first tenth.
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
  const long frames = argc > 1 ? atol(argv[1]) : 100000;
  const long periods = frames / vorn_scene::kScenePeriod;
  if (periods < 20) {
    fprintf(stderr, "soak: at least %d frames\n", 20 * vorn_scene::kScenePeriod);
    return 2;
  }
  vorn_scene::Analytics analytics;
  std::vector<uint64_t> digest((size_t)periods);
  int64_t blocks_early = 0;
  long rss_early = 0;
  for (long p = 0; p < periods; ++p) {
    vorn_scene::Digest d;
    for (int i = 0; i < vorn_scene::kScenePeriod; ++i) analytics.step(i, &d);
    digest[(size_t)p] = d.h;
    if (p == periods / 10) {
      blocks_early = vorn::live_blocks();
      rss_early = resident_kb();
    }
  }
  const int64_t blocks_late = vorn::live_blocks();
  const long rss_late = resident_kb();
  int status = 0;
  printf("soak: %ld frames; live blocks %lld -> %lld; resident %ld kB -> %ld kB\n", periods * vorn_scene::kScenePeriod,
         (long long)blocks_early, (long long)blocks_late, rss_early, rss_late);
  if (blocks_late != blocks_early || rss_late - rss_early > 1024) {
    printf("soak: FAILED: memory grew\n");
    status = 1;
  }
  // The first period from which on two periods in a row agree; every later one must agree with it.
  long settled = -1;
  for (long p = 1; p < periods && settled < 0; ++p)
    if (digest[(size_t)p] == digest[(size_t)p - 1]) settled = p - 1;
  if (settled < 0 || settled > periods / 2) {
    printf("soak: FAILED: the results never settled (first repeat at period %ld of %ld)\n", settled, periods);
    return 1;
  }
  for (long p = settled; p < periods; ++p) {
    if (digest[(size_t)p] != digest[(size_t)settled]) {
      printf("soak: FAILED: frame %ld onwards answered differently from the settled period %ld\n",
             p * vorn_scene::kScenePeriod, settled);
      return 1;
    }
  }
  printf("soak: results settled after %ld frames and stayed the same\n", settled * vorn_scene::kScenePeriod);
  return status;
}
