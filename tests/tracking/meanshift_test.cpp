#include <math.h>
#include <string.h>

#include <vector>

#include <gtest/gtest.h>

#include "support/test_support.h"
#include "vorn.h"

namespace {

struct Bp {
  vorn_backproject *bp;
  Bp(int w, int h) : bp(vorn_backproject_alloc((uint32_t)w, (uint32_t)h)) {}
  ~Bp() { vorn_backproject_free(bp); }
  void fill(int l, int t, int r, int b, uint32_t v) {
    for (int y = t; y < b; ++y)
      for (int x = l; x < r; ++x) bp->data[y * bp->width + x] = v;
  }
};

bool same(const vorn_rect &a, const vorn_rect &b) {
  return a.left == b.left && a.top == b.top && a.right == b.right && a.bottom == b.bottom;
}

TEST(CamMeanShift, SettlesOnABlockOrGivesUp) {
  Bp b(40, 30);
  b.fill(20, 10, 26, 16, 10);
  vorn_moments m;
  // Worked by hand: the 6 x 6 window at (16, 8) sees block columns at local 4, 5 (mean 4.5, shift
  // trunc(4.5 - 3 + 0.5) = 2) and rows at local 2..5 (shift 1); then (18, 9) shifts by (1, 0); (19, 9) stays.
  vorn_rect win{16, 8, 22, 14};
  ASSERT_EQ(vorn_cam_meanshift(b.bp, &win, &m), VORN_OK);
  EXPECT_TRUE(same(win, vorn_rect{19, 9, 25, 15}));
  EXPECT_EQ(m.m00, 25 * 10.0);

  // An empty window fails and is not written.
  vorn_rect empty{0, 0, 8, 8};
  EXPECT_EQ(vorn_cam_meanshift(b.bp, &empty, &m), VORN_E_NO_RESULT);
  EXPECT_TRUE(same(empty, vorn_rect{0, 0, 8, 8}));

  // Values doubling every four columns pull any 10-wide window right by one column per step: from the left it
  // is still moving after five steps; from 86 it reaches the right border (90) on the fifth and stays there.
  Bp ramp(100, 4);
  for (int x = 0; x < 100; ++x) ramp.fill(x, 0, x + 1, 4, 1u << (x / 4));
  vorn_rect far{0, 0, 10, 4};
  EXPECT_EQ(vorn_cam_meanshift(ramp.bp, &far, &m), VORN_E_NO_RESULT);
  EXPECT_TRUE(same(far, vorn_rect{0, 0, 10, 4}));
  vorn_rect near{86, 0, 96, 4};
  EXPECT_EQ(vorn_cam_meanshift(ramp.bp, &near, &m), VORN_OK);
  EXPECT_TRUE(same(near, vorn_rect{90, 0, 100, 4}));
  EXPECT_EQ(vorn_cam_meanshift(nullptr, &near, &m), VORN_E_NULL);
}

TEST(CamTracking, BoxFromSecondMomentsOfUniformBlocks) {
  Bp b(100, 60);
  // A uniform 20 x 6 block: variances (20^2 - 1) / 12 across and (6^2 - 1) / 12 down, no covariance.
  b.fill(30, 20, 50, 26, 1);
  const double len = 4 * sqrt((20.0 * 20 - 1) / 12), wid = 4 * sqrt((6.0 * 6 - 1) / 12);
  vorn_moments m;
  vorn_track_box box;
  const vorn_rect win{30, 20, 50, 26}, search{20, 10, 60, 36};
  ASSERT_EQ(vorn_cam_tracking(b.bp, &win, &search, &m, &box), VORN_OK);
  // Centre (39.5, 22.5) rounds to (40, 23); the window is 23 + 2 wide and 7 + 2 high around it.
  const int ww = (int)(len + 0.5) + 2, wh = (int)(wid + 0.5) + 2;
  EXPECT_EQ(box.left, 40 - ww / 2);
  EXPECT_EQ(box.top, 23 - wh / 2);
  EXPECT_EQ(box.right, 40 - ww / 2 + ww);
  EXPECT_EQ(box.bottom, 23 - wh / 2 + wh);
  EXPECT_EQ(box.length, (int)(len + 0.5));
  EXPECT_EQ(box.width, (int)(wid + 0.5));
  EXPECT_FLOAT_EQ(box.angle, 0.0f);

  // The same block standing up: the axes swap and the angle becomes a right angle.
  Bp v(60, 100);
  v.fill(20, 30, 26, 50, 1);
  const vorn_rect vwin{20, 30, 26, 50}, vsearch{10, 20, 36, 60};
  ASSERT_EQ(vorn_cam_tracking(v.bp, &vwin, &vsearch, &m, &box), VORN_OK);
  EXPECT_EQ(box.length, (int)(len + 0.5));
  EXPECT_EQ(box.width, (int)(wid + 0.5));
  EXPECT_NEAR(box.angle, 1.5707963f, 1e-6f);
  EXPECT_EQ(box.right - box.left, wh);
  EXPECT_EQ(box.bottom - box.top, ww);

  // A window that finds nothing gives an all-zero box.
  const vorn_rect nowhere{70, 40, 90, 50};
  box.angle = 3.0f;
  ASSERT_EQ(vorn_cam_tracking(b.bp, &nowhere, &search, &m, &box), VORN_OK);
  EXPECT_EQ(box.left | box.top | box.right | box.bottom | box.width | box.length, 0);
  EXPECT_EQ(box.angle, 0.0f);
}

// A frame of grey 40 with a textured bright object (values 180..219) of w x h at (x, y) in plane 0.
struct Scene {
  vorn_image *img;
  Scene(int W, int H) : img(vorn_image_alloc((uint32_t)W, (uint32_t)H, VORN_FORMAT_YUV)) {}
  ~Scene() { vorn_image_free(img); }
  void draw(int x, int y, int w, int h) {
    const int W = (int)img->width;
    memset(img->plane[0], 40, img->width * img->height);
    for (int r = 0; r < h; ++r)
      for (int c = 0; c < w; ++c) img->plane[0][(y + r) * W + x + c] = (uint8_t)(180 + (r * 7 + c * 13) % 40);
  }
};

TEST(CamShift, FollowsAMovingObjectAndCollapsesWhenItGoes) {
  Scene s(160, 120);
  s.draw(40, 30, 24, 16);
  vorn_camshift_params p{s.img, nullptr, 40, 30, 64, 46};
  vorn_camshift *t = nullptr;
  ASSERT_EQ(vorn_camshift_create(&p, &t), VORN_OK);
  for (int f = 1; f <= 12; ++f) {
    const int x = 40 + 4 * f, y = 30 + 2 * f;
    s.draw(x, y, 24, 16);
    ASSERT_EQ(vorn_camshift_update(t, &p), VORN_OK);
    EXPECT_NEAR((p.left + p.right) / 2.0, x + 12, 1.5) << f;
    EXPECT_NEAR((p.top + p.bottom) / 2.0, y + 8, 1.5) << f;
    // The window frames the object with a margin of about one pixel.
    EXPECT_NEAR(p.right - p.left, 24 * 4 / sqrt(12.0) + 2, 2.0);
  }
  // The object leaves: the window collapses and stays collapsed.
  memset(s.img->plane[0], 40, 160 * 120);
  ASSERT_EQ(vorn_camshift_update(t, &p), VORN_OK);
  EXPECT_TRUE(same(vorn_rect{p.left, p.top, p.right, p.bottom}, vorn_rect{0, 0, 0, 0}));
  EXPECT_EQ(vorn_camshift_destroy(t), VORN_OK);
  EXPECT_EQ(vorn_camshift_destroy(nullptr), VORN_E_NULL);

  // A mask of another size is refused; every allocation failure is cleaned up.
  vorn_mono_image *mask = vorn_mono_image_alloc(10, 10);
  vorn_camshift_params bad{s.img, mask, 40, 30, 64, 46};
  EXPECT_EQ(vorn_camshift_create(&bad, &t), VORN_E_PARAM);
  EXPECT_EQ(t, nullptr);
  vorn_mono_image_free(mask);
  s.draw(40, 30, 24, 16);
  EXPECT_EQ(vorn_test::sweep_allocation_failures([&] {
              vorn_camshift_params q{s.img, nullptr, 40, 30, 64, 46};
              vorn_camshift *c = nullptr;
              if (vorn_camshift_create(&q, &c) != VORN_OK) return false;
              vorn_camshift_destroy(c);
              return true;
            }),
            6);
}

// A dark frame (bin 2) with a bright disk (bin 13) of radius 6 centred at (cx, cy) in plane 0.
void disk(vorn_image *img, int cx, int cy) {
  const int W = (int)img->width, H = (int)img->height;
  for (int y = 0; y < H; ++y)
    for (int x = 0; x < W; ++x)
      img->plane[0][y * W + x] = (x - cx) * (x - cx) + (y - cy) * (y - cy) <= 36 ? 215 : 40;
}

TEST(KernelMeanShift, FollowsAMovingDiskAndKeepsTheTopBorderQuirk) {
  Scene s(120, 90);
  disk(s.img, 60, 45);
  vorn_meanshift_params p{s.img, nullptr, 50, 38, 71, 53};  // 21 x 15: hx 10, hy 7, centre (60, 45)
  vorn_meanshift *t = nullptr;
  ASSERT_EQ(vorn_meanshift_create(&p, &t), VORN_OK);
  // Still: the window stays where it is.
  ASSERT_EQ(vorn_meanshift_update(t, &p), VORN_OK);
  EXPECT_TRUE(same(vorn_rect{p.left, p.top, p.right, p.bottom}, vorn_rect{50, 38, 70, 52}));
  // Moving by (3, -2) a frame: integer steps stop once the pull rounds to zero, so the window trails the disk
  // by at most one frame's motion, but it follows it all the way.
  for (int f = 1; f <= 8; ++f) {
    const int x = 60 + 3 * f, y = 45 - 2 * f;
    disk(s.img, x, y);
    ASSERT_EQ(vorn_meanshift_update(t, &p), VORN_OK) << f;
    EXPECT_EQ(p.right - p.left, 20);
    EXPECT_EQ(p.bottom - p.top, 14);
    EXPECT_NEAR(p.left + 10, x, 3.0) << f;
    EXPECT_NEAR(p.top + 7, y, 2.0) << f;
  }
  EXPECT_GE(p.left + 10, 60 + 21);
  EXPECT_LE(p.top + 7, 45 - 14);
  EXPECT_EQ(vorn_meanshift_destroy(t), VORN_OK);

  // A tall window (11 x 21: hx 5, hy 10) over a disk that rises to the top border. Clamping the window there
  // puts the centre row at the half-width, 5, whose window (rows 0 .. 19 read) pulls the centre up again, so
  // the frame never settles and the window is not written. A flat frame then settles at once and shows the
  // stored centre: rows 0 .. hx + hy = 15, where a centre at the half-height would have given 0 .. 20.
  disk(s.img, 60, 12);
  vorn_meanshift_params q{s.img, nullptr, 55, 2, 66, 23};
  ASSERT_EQ(vorn_meanshift_create(&q, &t), VORN_OK);
  disk(s.img, 60, 3);
  EXPECT_EQ(vorn_meanshift_update(t, &q), VORN_E_NO_RESULT);
  EXPECT_TRUE(same(vorn_rect{q.left, q.top, q.right, q.bottom}, vorn_rect{55, 2, 66, 23}));
  memset(s.img->plane[0], 40, 120 * 90);
  ASSERT_EQ(vorn_meanshift_update(t, &q), VORN_OK);
  EXPECT_TRUE(same(vorn_rect{q.left, q.top, q.right, q.bottom}, vorn_rect{55, 0, 65, 15}));
  vorn_meanshift_destroy(t);

  // Windows that do not fit, or are too thin for a kernel.
  vorn_meanshift_params outside{s.img, nullptr, 110, 10, 131, 25}, thin{s.img, nullptr, 10, 10, 12, 30};
  EXPECT_EQ(vorn_meanshift_create(&outside, &t), VORN_E_PARAM);
  EXPECT_EQ(vorn_meanshift_create(&thin, &t), VORN_E_PARAM);
  EXPECT_EQ(vorn_meanshift_destroy(nullptr), VORN_E_NULL);
  EXPECT_EQ(vorn_test::sweep_allocation_failures([&] {
              vorn_meanshift *m = nullptr;
              if (vorn_meanshift_create(&p, &m) != VORN_OK) return false;
              vorn_meanshift_destroy(m);
              return true;
            }),
            8);
}

}  // namespace
