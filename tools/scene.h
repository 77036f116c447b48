// The built-in street scene: a deterministic 768x576 video of a fixed camera over a pavement, with walkers
// crossing a guard line both ways, people passing between two areas and back, and a bag left behind. It knows
// exactly what happens in it (its truth), so a run over it can be checked.
#ifndef VORN_TOOLS_SCENE_H
#define VORN_TOOLS_SCENE_H

#include <cstdint>
#include <string>
#include <vector>

#include "draw.h"
#include "frame_source.h"
#include "geometry.h"

namespace vt {

struct SceneCrossing {
  int frame;           // first frame on which the walker's centre is past the guard line
  int walker;          // index of the walker in the scene
  bool down;           // moving down the picture (towards larger y)
  bool guarded;        // in the guarded direction (the direction line points down)
};

struct ScenePass {
  int frame;  // first frame on which the walker's centre is past the midline between the two areas
  int walker;
  int from;   // 0: from area 0 to area 1; 1: from area 1 to area 0
};

struct SceneLeftObject {
  int frame;  // first frame on which the bag lies on the ground
  Box box;
};

struct SceneTruth {
  int width = 768, height = 576;
  double fps = 25.0;
  int frames = 0;
  // The geometry the scene was laid out for; the analytics use it when no other geometry is given.
  Segment guard_line, direction_line;
  int half_width = 0;
  Polygon area0, area1, region;
  std::vector<SceneCrossing> crossings;
  std::vector<ScenePass> passes;
  SceneLeftObject left{-1, {}};  // frame -1 when the bag is not dropped within the frames generated
  int walkers = 0;         // people that appear in the scene
  std::string plate;       // the text of the parked car's number plate
  Box plate_box;           // the plate's outline

  int crossings_down() const;
  int crossings_up() const;
  int passes_from(int area) const;
  // The truth as one JSON object.
  std::string to_json() const;
};

class StreetScene : public FrameSource {
 public:
  static constexpr int kDefaultFrames = 500;

  explicit StreetScene(int frames = kDefaultFrames);
  const StreamInfo &info() const override { return info_; }
  bool next(Frame &frame) override;
  std::string name() const override { return "built-in scene"; }

  const SceneTruth &truth() const { return truth_; }
  // Renders frame `index` (0-based) without advancing the stream.
  void render(int index, Frame &frame) const;
  // Boxes of everything that is not background at frame `index`: the walkers in the picture and the bag.
  std::vector<Box> object_boxes(int index) const;

 private:
  // A walker follows straight legs between timed key points and is in the picture from its first key frame to
  // its last one.
  struct Key {
    Pt at;
    int frame;
  };
  struct Walker {
    std::vector<Key> keys;
    Rgb shirt_a, shirt_b, legs;
    int drop_frame = -1;  // carries a bag until this frame, then leaves it where it is
  };

  StreamInfo info_;
  SceneTruth truth_;
  std::vector<uint8_t> background_;  // static B,G,R background
  std::vector<Walker> walkers_;
  int next_ = 0;

  void build_background();
  void draw_parked_car();
  void build_walkers();
  void build_truth();
  // The walker's centre at `frame` and how far it has walked; false when it is not in the scene at that frame.
  static bool walker_at(const Walker &w, int frame, Pt &centre, int &walked);
  void draw_walker(Canvas &canvas, const Walker &w, Pt centre, int walked, int frame) const;
};

}  // namespace vt

#endif
