// Distinct objects on distinct threads: every analytic and model of the library, one full set per thread, on the
// same frames. Each thread's digest of every answer and output must equal the one a single thread computes
// alone; under ThreadSanitizer (make test-tsan) any shared state between objects is also reported as a race.
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "interface/scene.h"

namespace {

constexpr int kFrames = 3 * vorn_scene::kScenePeriod;

uint64_t run(int offset) {
  vorn_scene::Analytics a;
  vorn_scene::Digest d[vorn_scene::kParts];
  for (int i = 0; i < kFrames; ++i) a.step(i + offset, d);
  vorn_scene::Digest all;
  for (const vorn_scene::Digest &part : d) all.word(part.h);
  return all.h;
}

TEST(Threads, DistinctObjectsMatchASingleThread) {
  vorn_scene::frames();  // vorn_init and the shared frames before any thread starts
  // Two different starting frames, so that threads running side by side are not in the same state.
  const uint64_t alone[2] = {run(0), run(7)};
  EXPECT_NE(alone[0], alone[1]);
  constexpr int kThreads = 4;
  std::vector<uint64_t> got(kThreads, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) threads.emplace_back([t, &got] { got[t] = run(t % 2 ? 7 : 0); });
  for (std::thread &t : threads) t.join();
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(got[t], alone[t % 2]) << "thread " << t;
}

}  // namespace
