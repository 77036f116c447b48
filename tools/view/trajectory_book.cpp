#include "trajectory_book.h"

#include <cstdio>

namespace vt {

namespace {

void append_number(std::string &out, double v) {
  char b[32];
  std::snprintf(b, sizeof b, "%.2f", v);
  out += b;
}

}  // namespace

TrajectoryBook::TrajectoryBook(int width, int height) {
  vorn_vbc_params p{};
  p.width = static_cast<uint32_t>(width);
  p.height = static_cast<uint32_t>(height);
  p.frame_type = VORN_FRAME_BMP24;
  vbc_.reset(create_object(vorn_vbc_create, p, "view", "the trajectory recorder"));
}

void TrajectoryBook::record(const Frame &frame) {
  std::lock_guard<std::mutex> lock(mu_);
  vorn_result r = vorn_vbc_process(vbc_.get(), bmp_.fill(frame), VORN_FRAME_BMP24);
  if (r != VORN_OK) library_failed("view", "recording frame " + std::to_string(frame.index), r);
}

void TrajectoryBook::finish() {
  std::lock_guard<std::mutex> lock(mu_);
  vorn_vbc_end_process(vbc_.get());
  copy_out();
}

void TrajectoryBook::load(const std::string &path) {
  std::lock_guard<std::mutex> lock(mu_);
  vorn_result r = vorn_vbc_load(vbc_.get(), path.c_str());
  if (r == VORN_E_FILE) runtime_error("cannot read the trajectories '" + path + "'");
  if (r == VORN_E_PARAM)
    runtime_error("'" + path + "' is not a trajectory recording of this video (truncated, damaged, or of another "
                  "frame size)");
  if (r != VORN_OK) library_failed("view", "loading '" + path + "'", r);
  copy_out();
}

void TrajectoryBook::copy_out() {
  uint32_t n = 0;
  vorn_vbc_get_count(vbc_.get(), &n, &frames_);
  starts_.assign(n, 0);
  lengths_.assign(n, 0);
  first_.assign(n, 0);
  points_.clear();
  by_frame_.assign(frames_, {});
  for (uint32_t i = 0; i < n; ++i) {
    vorn_vbc_get_trajectory(vbc_.get(), i, &starts_[i], &lengths_[i]);
    first_[i] = points_.size();
    points_.resize(points_.size() + lengths_[i]);
    vorn_vbc_get_points(vbc_.get(), i, 0, lengths_[i], points_.data() + first_[i]);
    for (uint32_t k = 0; k < lengths_[i]; ++k) by_frame_[starts_[i] + k].push_back(i);
  }
}

std::string TrajectoryBook::points_json(uint32_t frame) const {
  std::string out = "[";
  if (frame < by_frame_.size()) {
    for (uint32_t i : by_frame_[frame]) {
      const vorn_point2f &p = points_[first_[i] + (frame - starts_[i])];
      if (out.size() > 1) out += ',';
      out += '[' + std::to_string(i) + ',';
      append_number(out, p.x);
      out += ',';
      append_number(out, p.y);
      out += ']';
    }
  }
  return out + "]";
}

std::string TrajectoryBook::path_json(uint32_t index) const {
  std::string out = "{\"index\":" + std::to_string(index) + ",\"start\":" + std::to_string(starts_[index]) +
                    ",\"points\":[";
  for (uint32_t k = 0; k < lengths_[index]; ++k) {
    const vorn_point2f &p = points_[first_[index] + k];
    if (k) out += ',';
    append_number(out, p.x);
    out += ',';
    append_number(out, p.y);
  }
  return out + "]}";
}

bool TrajectoryBook::down(uint32_t frame, float x, float y, uint32_t &index) {
  std::lock_guard<std::mutex> lock(mu_);
  return vorn_vbc_down(vbc_.get(), frame, x, y, &index) == VORN_OK;
}

bool TrajectoryBook::move(float x, float y, uint32_t &frame, vorn_point2f &point) {
  std::lock_guard<std::mutex> lock(mu_);
  return vorn_vbc_move(vbc_.get(), x, y, &frame, &point) == VORN_OK;
}

void TrajectoryBook::up() {
  std::lock_guard<std::mutex> lock(mu_);
  vorn_vbc_up(vbc_.get());
}

}  // namespace vt
