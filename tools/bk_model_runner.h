// One background model of the library driven frame by frame: the part that bgsub, count and others share.
#ifndef VORN_TOOLS_BK_MODEL_RUNNER_H
#define VORN_TOOLS_BK_MODEL_RUNNER_H

#include <string>
#include <utility>
#include <vector>

#include "vorn_bk_model.h"

#include "library_frame.h"

namespace vt {

class BkModelRunner {
 public:
  enum class Step { kForeground, kLearning, kSceneChange };

  // Creates a model of `type` over width x height RGB frames keeping `history` frames, then applies `params`
  // (id, value). Types without a learning variant compare against the first frame fed, which becomes their
  // background. Throws a runtime error naming `who`.
  BkModelRunner(const std::string &who, uint32_t type, uint32_t history, int width, int height,
                const std::vector<std::pair<uint32_t, uint32_t>> &params);
  ~BkModelRunner();
  BkModelRunner(const BkModelRunner &) = delete;
  BkModelRunner &operator=(const BkModelRunner &) = delete;

  // Feeds one frame. kForeground: mask() holds this frame's foreground. kSceneChange: the model was reset.
  Step feed(const Frame &frame);
  // width x height bytes, 255 where something differs from the background, else 0; all 0 until the first
  // foreground. (The block model's own mask, which marks unchanged blocks, is turned the same way round.)
  const uint8_t *mask() const { return mask_.data(); }
  // Watches only where `area` (width x height bytes, 0 = not watched) is set: the model's own mask (its
  // clean-up leaves no foreground outside) and the mask handed out. An empty area watches everything.
  void restrict_to(const std::vector<uint8_t> &area);
  // The model's background as raw 24-bit bitmap rows (VORN_FRAME_BMP24), or false while it has none.
  bool background_bmp24(std::vector<uint8_t> &out) const;
  int64_t learning_frames() const { return learning_; }
  int64_t scene_changes() const { return scene_changes_; }

 private:
  std::string who_;
  uint32_t type_;
  vorn_bk_model_vtable ops_{};
  vorn_bk_model *model_ = nullptr;
  bool have_background_ = false;
  int width_, height_;
  Bmp24Frame frame_;
  std::vector<uint8_t> mask_, area_;
  int64_t learning_ = 0, scene_changes_ = 0;
};

}  // namespace vt

#endif
