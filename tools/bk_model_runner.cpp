#include "bk_model_runner.h"

#include <algorithm>

namespace vt {

namespace {

// Types whose table compares against a background the host sets (every number without a learning variant).
bool needs_background(uint32_t type) { return type == 0 || type > 8; }
// The block model marks unchanged blocks with 255 and changed ones with 0.
bool inverted_mask(uint32_t type) { return type == 5; }

}  // namespace

BkModelRunner::BkModelRunner(const std::string &who, uint32_t type, uint32_t history, int width, int height,
                             const std::vector<std::pair<uint32_t, uint32_t>> &params)
    : who_(who), type_(type), width_(width), height_(height), mask_(size_t(width) * height, 0) {
  vorn_bk_model_init(type, &ops_);
  vorn_bk_model_init_params p{history, static_cast<uint32_t>(width), static_cast<uint32_t>(height), VORN_FORMAT_RGB};
  void *h = nullptr;
  vorn_result r = ops_.create(&p, &h);
  if (r != VORN_OK || !h) library_failed(who, "creating background model " + std::to_string(type), r);
  model_ = static_cast<vorn_bk_model *>(h);
  for (const auto &kv : params) {
    r = ops_.set_param(model_, kv.second, kv.first);
    if (r != VORN_OK) {
      ops_.destroy(model_);
      model_ = nullptr;
      library_failed(who, "setting model parameter " + std::to_string(kv.first), r);
    }
  }
}

BkModelRunner::~BkModelRunner() {
  if (model_) ops_.destroy(model_);
}

BkModelRunner::Step BkModelRunner::feed(const Frame &frame) {
  uint8_t *data = const_cast<uint8_t *>(frame_.fill(frame));
  if (needs_background(type_) && !have_background_) {
    vorn_result r = ops_.set_bk(model_, data, VORN_FRAME_BMP24);
    if (r != VORN_OK) library_failed(who_, "setting the background", r);
    have_background_ = true;
  }
  vorn_result r = ops_.process(model_, data, VORN_FRAME_BMP24);
  if (r == VORN_E_SCENE_CHANGE) {
    ++scene_changes_;
    ops_.reset(model_);
    have_background_ = false;
    std::fill(mask_.begin(), mask_.end(), 0);
    return Step::kSceneChange;
  }
  if (r == VORN_E_LEARNING) {
    ++learning_;
    return Step::kLearning;
  }
  if (r != VORN_OK) library_failed(who_, "processing frame " + std::to_string(frame.index), r);
  vorn_mono_image *fg = nullptr;
  r = ops_.get_fg(model_, &fg);
  if (r != VORN_OK || !fg || !fg->data) library_failed(who_, "reading the foreground", r);
  if (int(fg->width) != width_ || int(fg->height) != height_)
    runtime_error(who_ + ": the model's foreground has an unexpected size");
  const size_t n = mask_.size();
  if (inverted_mask(type_)) {
    for (size_t i = 0; i < n; ++i) mask_[i] = fg->data[i] ? 0 : 255;
  } else {
    for (size_t i = 0; i < n; ++i) mask_[i] = fg->data[i] ? 255 : 0;
  }
  if (!area_.empty())
    for (size_t i = 0; i < n; ++i) mask_[i] &= area_[i];
  return Step::kForeground;
}

void BkModelRunner::restrict_to(const std::vector<uint8_t> &area) {
  area_ = area;
  if (area_.empty()) return;
  vorn_mono_image m{static_cast<uint32_t>(width_), static_cast<uint32_t>(height_), area_.data()};
  vorn_result r = vorn_bk_model_set_mask(model_, &m);
  if (r != VORN_OK) library_failed(who_, "setting the watched area", r);
}

bool BkModelRunner::background_bmp24(std::vector<uint8_t> &out) const {
  vorn_image *bk = nullptr;
  if (ops_.get_bk(model_, &bk) != VORN_OK || !bk || bk->format != VORN_FORMAT_RGB) return false;
  const size_t w = bk->width, h = bk->height, stride = (w * 3 + 3) & ~size_t(3);
  out.assign(stride * h, 0);
  for (size_t y = 0; y < h; ++y) {
    uint8_t *row = out.data() + stride * (h - 1 - y);  // bottom-up
    for (size_t x = 0; x < w; ++x) {
      const size_t i = y * w + x;
      row[3 * x] = bk->plane[2][i];
      row[3 * x + 1] = bk->plane[1][i];
      row[3 * x + 2] = bk->plane[0][i];
    }
  }
  return true;
}

}  // namespace vt
