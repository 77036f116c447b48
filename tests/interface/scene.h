// A small synthetic street for the runs that need many frames (threads, soak): a grey ramp crossed by a bright
// textured block moving right and a dark one moving down, repeating every kScenePeriod frames, as raw 24-bit
// bitmap rows. Outputs of the analytics are folded into digests so that runs can be compared.
#ifndef VORN_TESTS_INTERFACE_SCENE_H
#define VORN_TESTS_INTERFACE_SCENE_H

#include <stdint.h>

#include <vector>

#include "vorn.h"

namespace vorn_scene {

constexpr uint32_t kW = 48, kH = 32;
constexpr int kScenePeriod = 60;

// The frames of one period, made once.
const std::vector<std::vector<uint8_t>> &frames();
inline uint8_t *frame(int i) { return const_cast<uint8_t *>(frames()[(size_t)(i % kScenePeriod)].data()); }

// FNV-1a over bytes and words.
struct Digest {
  uint64_t h = 1469598103934665603ull;
  void bytes(const void *p, size_t n) {
    const uint8_t *b = static_cast<const uint8_t *>(p);
    for (size_t i = 0; i < n; ++i) h = (h ^ b[i]) * 1099511628211ull;
  }
  void word(uint64_t v) { bytes(&v, sizeof v); }
};

// Every analytic and background model of the library, each driven by the scene; step(i) takes frame i and folds
// each one's answer and outputs into its own digest: d[0..8] the model types, then guard, tracker, counter and
// left/lost detector.
constexpr int kParts = 13;
extern const char *const kPartNames[kParts];
class Analytics {
 public:
  Analytics();
  ~Analytics();
  Analytics(const Analytics &) = delete;
  Analytics &operator=(const Analytics &) = delete;
  void step(int i, Digest d[kParts]);

 private:
  vorn_bk_model_vtable ops_[9];
  vorn_bk_model *models_[9];
  vorn_guard *guard_ = nullptr;
  vorn_tracker *tracker_ = nullptr;
  vorn_counter *counter_ = nullptr;
  vorn_obld *obld_ = nullptr;
};

}  // namespace vorn_scene

#endif
