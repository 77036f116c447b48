#include <vector>

#include <gtest/gtest.h>

#include "support/test_support.h"
#include "vorn.h"

namespace {

constexpr uint32_t kW = 40, kH = 60;

// Closed rectangles (last point = first) covering rows top..bottom, columns 5..34.
std::vector<vorn_point> band(int32_t top, int32_t bottom) {
  return {{5, top}, {34, top}, {34, bottom}, {5, bottom}, {5, top}};
}

struct Counter {
  std::vector<vorn_point> a0 = band(10, 19), a1 = band(40, 49);
  vorn_counter *c = nullptr;
  explicit Counter(uint32_t max_frame = 0, uint32_t logic = 0, uint32_t sensitivity = 50) {
    vorn_counter_params p = {a0.data(), a1.data(), (int32_t)a0.size(), (int32_t)a1.size(), kW, kH,
                             sensitivity, max_frame, logic, 0};
    c = vorn_counter_create(&p);
    vorn_counter_start(c);
  }
  ~Counter() { vorn_counter_destroy(c); }
  // One frame whose foreground covers the given areas; returns the event.
  uint32_t frame(bool in0, bool in1) {
    std::vector<uint8_t> fg(kW * kH, 0);
    for (uint32_t y = 0; y < kH; ++y)
      for (uint32_t x = 0; x < kW; ++x)
        if ((in0 && y >= 8 && y < 22) || (in1 && y >= 38 && y < 52)) fg[y * kW + x] = 255;
    EXPECT_EQ(vorn_counter_set_mask(c, fg.data()), VORN_OK);
    return vorn_counter_get_event(c);
  }
  uint32_t count(uint32_t k) const { return vorn_counter_get_count(c, k); }
};

TEST(Counter, AreasAreRasterisedIntoMaskBits) {
  Counter k;
  ASSERT_NE(k.c, nullptr);
  const uint8_t *m = vorn_counter_get_mask(k.c);
  int n0 = 0, n1 = 0;
  for (uint32_t y = 0; y < kH; ++y) {
    for (uint32_t x = 0; x < kW; ++x) {
      const uint8_t b = m[y * kW + x];
      const bool want0 = x >= 5 && x <= 34 && y >= 10 && y <= 19;  // boundary included
      const bool want1 = x >= 5 && x <= 34 && y >= 40 && y <= 49;
      EXPECT_EQ((b & 1) != 0, want0) << x << "," << y;
      EXPECT_EQ((b & 2) != 0, want1) << x << "," << y;
      n0 += b & 1;
      n1 += (b >> 1) & 1;
    }
  }
  EXPECT_EQ(n0, 30 * 10);
  EXPECT_EQ(n1, 30 * 10);
  vorn_counter_clear_area(k.c, 0);
  for (uint32_t i = 0; i < kW * kH; ++i) ASSERT_EQ(m[i] & 1, 0);
  // Too few points or another index leave the mask as it is.
  vorn_point two[2] = {{0, 0}, {9, 9}};
  EXPECT_EQ(vorn_counter_set_area(k.c, 0, two, 2), VORN_OK);
  EXPECT_EQ(vorn_counter_set_area(k.c, 2, k.a0.data(), 5), VORN_OK);
  for (uint32_t i = 0; i < kW * kH; ++i) ASSERT_EQ(m[i] & 1, 0);
}

TEST(Counter, PassesAreCountedByReleaseOrder) {
  Counter k;
  // Walking from area 0 to area 1: occupy 0, leave it, occupy 1, leave it.
  EXPECT_EQ(k.frame(true, false), 0u);
  EXPECT_EQ(k.frame(false, false), 0u);  // area 0 released: armed
  EXPECT_EQ(k.frame(false, true), 0u);
  EXPECT_EQ(k.frame(false, false), 1u);  // area 1 released: one pass 0 -> 1
  EXPECT_EQ(k.frame(false, false), 0u);  // the event lasts one frame
  EXPECT_EQ(k.count(0), 1u);
  EXPECT_EQ(k.count(1), 0u);
  // And back.
  k.frame(false, true);
  k.frame(false, false);
  k.frame(true, false);
  EXPECT_EQ(k.frame(false, false), 2u);
  EXPECT_EQ(k.count(1), 1u);
  // Both released together with nothing pending counts towards count 0.
  k.frame(true, true);
  EXPECT_EQ(k.frame(false, false), 1u);
  EXPECT_EQ(k.count(0), 2u);
  EXPECT_EQ(vorn_counter_get_count(k.c, 7), 0u);

  vorn_stat_info info = {0, 99};
  k.frame(true, false);
  k.frame(false, false);
  k.frame(false, true);
  k.frame(false, false);
  EXPECT_EQ(vorn_get_stat_info(k.c, &info), 0u);
  EXPECT_EQ(info.value, 1u);  // the counter's event, as the statistics query reads it
}

TEST(Counter, StopResetAndTimeouts) {
  Counter k(/*max_frame=*/3, /*logic=*/1);
  k.frame(true, false);
  k.frame(false, false);  // area 0 armed
  // Three quiet frames wait; the fourth exceeds the limit and, with logic set, counts into count 1.
  EXPECT_EQ(k.frame(false, false), 0u);
  EXPECT_EQ(k.frame(false, false), 0u);
  EXPECT_EQ(k.frame(false, false), 0u);
  EXPECT_EQ(k.frame(false, false), 2u);
  EXPECT_EQ(k.count(1), 1u);
  // Without logic a time-out only forgets the pending release.
  vorn_counter_set_logic(k.c, 0);
  k.frame(false, true);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(k.frame(false, false), 0u);
  EXPECT_EQ(k.count(0), 0u);

  // Stopped: the step reports nothing and clears the event; counts survive a restart.
  vorn_counter_stop(k.c);
  std::vector<uint8_t> fg(kW * kH, 0);
  EXPECT_EQ(vorn_counter_set_mask(k.c, fg.data()), VORN_E_NO_RESULT);
  EXPECT_EQ(vorn_counter_get_event(k.c), 0u);
  vorn_counter_start(k.c);
  EXPECT_EQ(k.count(1), 1u);
  vorn_counter_reset_count(k.c);
  EXPECT_EQ(k.count(1), 0u);
  EXPECT_EQ(k.frame(false, false), 0u);  // reset also forgot that area 0 was occupied
}

// A pending release waits exactly `limit` quiet frames; the next one times it out. Both areas, set and default limits.
TEST(Counter, TimeOutComesOnTheFrameAfterTheLimit) {
  for (uint32_t limit : {3u, 0u}) {
    const uint32_t frames = limit ? limit : 200;  // 0 stands for 200
    for (int area = 0; area < 2; ++area) {
      Counter k(limit, /*logic=*/1);
      k.frame(area == 0, area == 1);
      k.frame(false, false);  // released: armed
      for (uint32_t i = 0; i < frames; ++i) ASSERT_EQ(k.frame(false, false), 0u) << limit << " " << area << " " << i;
      // Area 0's time-out counts into count 1, area 1's into count 0.
      EXPECT_EQ(k.frame(false, false), area == 0 ? 2u : 1u) << limit << " " << area;
      EXPECT_EQ(k.count(area == 0 ? 1 : 0), 1u);
      EXPECT_EQ(k.count(area == 0 ? 0 : 1), 0u);
    }
  }
}

TEST(Counter, ClearedAreaIsAlwaysOccupiedAndSensitivityBounds) {
  Counter k(/*max_frame=*/2, /*logic=*/1);
  vorn_counter_clear_area(k.c, 1);
  k.frame(true, false);
  k.frame(false, false);  // area 0 released; area 1 can never be released
  k.frame(false, false);
  k.frame(false, false);
  EXPECT_EQ(k.frame(false, false), 2u);  // limit + 1 quiet frames
  EXPECT_EQ(k.count(1), 1u);

  // Sensitivity 250 asks for 105 % of an area: a drawn area is never occupied, so never released.
  Counter strict(0, 0, 250);
  for (int i = 0; i < 3; ++i) {
    strict.frame(true, true);
    strict.frame(false, false);
  }
  EXPECT_EQ(strict.count(0) + strict.count(1), 0u);
  // Sensitivity 0 asks for 5 %: 15 of the 300 pixels of area 0 make it occupied.
  Counter loose(0, 0, 0);
  std::vector<uint8_t> fg(kW * kH, 0);
  for (int x = 5; x < 20; ++x) fg[12 * kW + x] = 1;
  vorn_counter_set_mask(loose.c, fg.data());
  fg[12 * kW + 5] = 0;  // 14 pixels: released
  vorn_counter_set_mask(loose.c, fg.data());
  loose.frame(false, true);
  EXPECT_EQ(loose.frame(false, false), 1u);
}

TEST(Counter, NullsAndAllocationFailures) {
  EXPECT_EQ(vorn_counter_create(nullptr), nullptr);
  EXPECT_EQ(vorn_counter_start(nullptr), VORN_E_NULL);
  EXPECT_EQ(vorn_counter_set_area(nullptr, 0, nullptr, 0), VORN_E_NULL);
  EXPECT_EQ(vorn_counter_set_mask(nullptr, nullptr), VORN_E_NULL);
  EXPECT_EQ(vorn_counter_get_event(nullptr), 0u);
  EXPECT_EQ(vorn_counter_get_mask(nullptr), nullptr);
  vorn_counter_destroy(nullptr);
  std::vector<vorn_point> a0 = band(1, 5), a1 = band(7, 9);
  EXPECT_EQ(vorn_test::sweep_allocation_failures([&] {
              vorn_counter_params p = {a0.data(), a1.data(), 5, 5, 40, 12, 50, 0, 0, 0};
              vorn_counter *c = vorn_counter_create(&p);
              vorn_counter_destroy(c);
              return c != nullptr;
            }),
            6);  // record, mask, and a working copy and a raster per area
}

}  // namespace
