// The viewer's trajectories: the library's recorder, recording the video or loaded from a file, behind one lock
// (the server answers requests on several threads and a recorder is used by one thread at a time), and a copy of
// every trajectory indexed by frame so that drawing a frame's points needs no lock.
#ifndef VORN_TOOLS_VIEW_TRAJECTORY_BOOK_H
#define VORN_TOOLS_VIEW_TRAJECTORY_BOOK_H

#include <cstdint>
#include <mutex>
#include <string>
#include <vector>

#include "vorn_vbc.h"

#include "frame.h"
#include "library_frame.h"

namespace vt {

class TrajectoryBook {
 public:
  // A recorder with its default settings for frames of width x height. Throws a runtime error.
  TrajectoryBook(int width, int height);

  // Recording: one frame after the other, then finish() once.
  void record(const Frame &frame);
  void finish();
  // Loads a file written by the recorder (`vorn trajectories --save`); throws a runtime error that says why the
  // recorder's checked loader refused it.
  void load(const std::string &path);

  uint32_t frames() const { return frames_; }
  uint32_t count() const { return static_cast<uint32_t>(starts_.size()); }
  // The points of the trajectories present at `frame`, as JSON [[index, x, y], ...].
  std::string points_json(uint32_t frame) const;
  // One trajectory as JSON {"index":i,"start":s,"points":[x,y,x,y,...]}.
  std::string path_json(uint32_t index) const;

  // Press, drag and release, answered by the recorder. down() is false when nothing is near enough.
  bool down(uint32_t frame, float x, float y, uint32_t &index);
  bool move(float x, float y, uint32_t &frame, vorn_point2f &point);
  void up();

 private:
  void copy_out();  // fills the copy below from the recorder

  mutable std::mutex mu_;
  LibraryPtr<vorn_vbc, vorn_vbc_destroy> vbc_;
  Bmp24Frame bmp_;
  uint32_t frames_ = 0;
  std::vector<uint32_t> starts_, lengths_;
  std::vector<size_t> first_;             // trajectory i's positions are points_[first_[i] ..]
  std::vector<vorn_point2f> points_;
  std::vector<std::vector<uint32_t>> by_frame_;  // the trajectories present at each frame
};

}  // namespace vt

#endif
