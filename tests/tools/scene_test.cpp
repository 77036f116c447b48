#include <gtest/gtest.h>

#include <cstdlib>

#include "json.h"
#include "scene.h"

namespace {

// Largest difference of any sample between two frames inside a box.
int max_diff(const vt::Frame &a, const vt::Frame &b, const vt::Box &r) {
  int m = 0;
  for (int y = r.top; y < r.bottom; ++y)
    for (int x = r.left * 3; x < r.right * 3; ++x) m = std::max(m, std::abs(a.row(y)[x] - b.row(y)[x]));
  return m;
}

// Samples inside a box that differ from the other frame by more than sensor noise can explain (2 x 3 levels).
int changed(const vt::Frame &a, const vt::Frame &b, const vt::Box &r) {
  int n = 0;
  for (int y = r.top; y < r.bottom; ++y)
    for (int x = r.left * 3; x < r.right * 3; ++x) n += std::abs(a.row(y)[x] - b.row(y)[x]) > 6;
  return n;
}

TEST(StreetScene, IsDeterministicWithFreshSensorNoise) {
  vt::StreetScene s1, s2;
  vt::Frame a, b, c;
  s1.render(123, a);
  s2.render(123, b);
  EXPECT_EQ(a.bgr, b.bgr);
  EXPECT_EQ(a.width, 768);
  EXPECT_EQ(a.height, 576);
  EXPECT_DOUBLE_EQ(a.time, 123 / 25.0);
  // Streaming gives the same frames as rendering them one by one.
  vt::Frame streamed;
  for (int i = 0; i <= 5; ++i) ASSERT_TRUE(s1.next(streamed));
  s2.render(5, c);
  EXPECT_EQ(streamed.bgr, c.bgr);
  EXPECT_EQ(streamed.index, 5);
  // A patch no one walks through changes from frame to frame only by noise, and does change.
  s1.render(0, a);
  s1.render(1, b);
  const vt::Box quiet{380, 140, 440, 200};
  EXPECT_LE(max_diff(a, b, quiet), 6);
  EXPECT_GT(max_diff(a, b, quiet), 0);
  // The first frames are empty: a model can learn the background from them.
  s1.render(40, c);
  EXPECT_EQ(changed(a, c, vt::Box{0, 0, 768, 576}), 0);
}

TEST(StreetScene, TruthMatchesWhatIsDrawn) {
  vt::StreetScene scene;
  const vt::SceneTruth &t = scene.truth();
  EXPECT_EQ(t.frames, vt::StreetScene::kDefaultFrames);
  EXPECT_EQ(t.crossings_down(), 4);
  EXPECT_EQ(t.crossings_up(), 2);
  EXPECT_EQ(t.passes_from(0), 2);
  EXPECT_EQ(t.passes_from(1), 2);
  EXPECT_EQ(t.walkers, 11);
  vt::Frame empty, f;
  scene.render(0, empty);
  const int gy = t.guard_line.a.y;
  int prev = -1000;
  for (const vt::SceneCrossing &c : t.crossings) {
    // The guarded direction is downwards; crossings are far enough apart for one walker in the band at a time.
    EXPECT_EQ(c.guarded, c.down);
    EXPECT_GE(c.frame - prev, 40);
    prev = c.frame;
    // On the crossing frame something covers the guard line's row, and only along one walker's width.
    scene.render(c.frame, f);
    int first = -1, last = -1;
    for (int x = t.guard_line.a.x; x <= t.guard_line.b.x; ++x)
      if (changed(f, empty, vt::Box{x, gy - 1, x + 1, gy + 2}) > 0) {
        if (first < 0) first = x;
        last = x;
      }
    ASSERT_GE(first, 0) << "nobody on the line at frame " << c.frame;
    EXPECT_LE(last - first, 40);
    // Three frames earlier the walker was on the side it came from.
    vt::Frame before;
    scene.render(c.frame - 3, before);
    vt::Box above{first, gy - 80, last + 1, gy - 40}, below{first, gy + 40, last + 1, gy + 80};
    bool came_from_above = changed(before, empty, above) > changed(before, empty, below);
    EXPECT_EQ(came_from_above, c.down) << "crossing at frame " << c.frame;
  }
  // The bag: absent at the start, lying in its box once dropped and after the carrier has gone, inside the
  // watched region.
  ASSERT_GE(t.left.frame, 0);
  const vt::Box bag = t.left.box;
  scene.render(t.left.frame - 60, f);
  EXPECT_EQ(changed(f, empty, bag), 0);
  scene.render(t.frames - 1, f);
  EXPECT_GT(changed(f, empty, bag), bag.width() * bag.height());
  EXPECT_EQ(changed(f, empty, vt::Box{bag.left - 30, bag.top - 40, bag.left - 4, bag.bottom}), 0);
  for (const vt::Pt &p : {vt::Pt{bag.left, bag.top}, vt::Pt{bag.right, bag.bottom}}) {
    EXPECT_GT(p.x, t.region[0].x);
    EXPECT_GT(p.y, t.region[0].y);
  }
}

TEST(StreetScene, ObjectBoxesHoldEverythingThatIsNotBackground) {
  vt::StreetScene scene;
  vt::Frame empty, f;
  scene.render(0, empty);
  for (int index : {60, 99, 100, 131, 240, 499}) {
    scene.render(index, f);
    std::vector<vt::Box> boxes = scene.object_boxes(index);
    EXPECT_FALSE(boxes.empty());
    int outside = 0, inside = 0;
    for (int y = 0; y < f.height; ++y)
      for (int x = 0; x < f.width; ++x) {
        if (changed(f, empty, vt::Box{x, y, x + 1, y + 1}) == 0) continue;
        bool in = false;
        for (const vt::Box &b : boxes) in = in || (x >= b.left && x < b.right && y >= b.top && y < b.bottom);
        (in ? inside : outside) += 1;
      }
    EXPECT_EQ(outside, 0) << "frame " << index;
    EXPECT_GT(inside, 0) << "frame " << index;
  }
}

TEST(StreetScene, ShortScenesOnlyReportWhatHappensInThem) {
  vt::StreetScene scene(150);
  const vt::SceneTruth &t = scene.truth();
  for (const vt::SceneCrossing &c : t.crossings) EXPECT_LT(c.frame, 150);
  EXPECT_EQ(t.crossings.size(), 1u);
  EXPECT_EQ(t.left.frame, 100);
  vt::StreetScene shorter(90);
  EXPECT_EQ(shorter.truth().left.frame, -1);
  EXPECT_TRUE(shorter.truth().crossings.empty());
  vt::Frame f;
  int n = 0;
  while (shorter.next(f)) ++n;
  EXPECT_EQ(n, 90);
}

TEST(StreetScene, TruthJsonCarriesTheSameFacts) {
  vt::StreetScene scene;
  const vt::SceneTruth &t = scene.truth();
  vt::Json j = vt::parse_json(t.to_json(), "truth");
  EXPECT_EQ(j.find("frames")->number, t.frames);
  const vt::Json *guard = j.find("guard");
  EXPECT_EQ(guard->find("down")->number, 4);
  EXPECT_EQ(guard->find("up")->number, 2);
  ASSERT_EQ(guard->find("crossings")->items.size(), t.crossings.size());
  EXPECT_EQ(guard->find("crossings")->items[0].find("frame")->number, t.crossings[0].frame);
  EXPECT_EQ(guard->find("line")->items[1].number, t.guard_line.a.y);
  EXPECT_EQ(j.find("count")->find("from_area1")->number, 2);
  EXPECT_EQ(j.find("count")->find("area0")->items.size(), t.area0.size());
  EXPECT_EQ(j.find("left")->find("frame")->number, t.left.frame);
  EXPECT_EQ(j.find("left")->find("box")->items[2].number, t.left.box.right);
}

}  // namespace
