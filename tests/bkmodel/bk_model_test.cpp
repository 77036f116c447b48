// The operation table, the generic record operations and the frame intake, driven the way a host drives them.
#include "bkmodel/bk_test_util.h"
#include "support/test_support.h"

using bk_test::Host;
using bk_test::Planes;

namespace {

struct Expect {
  uint32_t type;
  void *create, *destroy, *process, *set_bk, *reset;
};

template <class F>
void *fp(F f) {
  return reinterpret_cast<void *>(f);
}

std::vector<uint8_t> flat_frame(uint32_t w, uint32_t h, uint8_t y, uint8_t u, uint8_t v) {
  const size_t n = (size_t)w * h;
  std::vector<uint8_t> f(n * 3 / 2 + w / 2 + 16, v);
  memset(f.data(), y, n);
  memset(f.data() + n, u, n / 4);
  return f;
}

}  // namespace

TEST(BkModelTable, TypesInstallTheirOperations) {
  const Expect rows[] = {
      {1, fp(bk_model_create_sal), fp(bk_model_destroy_def), fp(bk_model_process_sal), fp(bk_model_set_bk_def),
       fp(bk_model_reset_def)},
      {4, fp(bk_model_create_sal), fp(bk_model_destroy_def), fp(bk_model_process_sal), fp(bk_model_set_bk_def),
       fp(bk_model_reset_def)},
      {2, fp(bk_model_create_mog), fp(bk_model_destroy_mog), fp(bk_model_process_mog), fp(bk_model_set_bk_def),
       fp(bk_model_reset_mog)},
      {3, fp(bk_model_create_mean), fp(bk_model_destroy_mean), fp(bk_model_process_mean),
       fp(bk_model_set_bk_mean), fp(bk_model_reset_mean)},
      {6, fp(bk_model_create_mean), fp(bk_model_destroy_mean), fp(bk_model_process_mean),
       fp(bk_model_set_bk_mean), fp(bk_model_reset_mean)},
      {5, fp(bk_model_create_block), fp(bk_model_destroy_block), fp(bk_model_process_block),
       fp(bk_model_set_bk_block), fp(bk_model_reset_def)},
      {7, fp(bk_model_create_meanex), fp(bk_model_destroy_meanex), fp(bk_model_process_meanex),
       fp(bk_model_set_bk_meanex), fp(bk_model_reset_meanex)},
      {8, fp(bk_model_create_baymean), fp(bk_model_destroy_baymean), fp(bk_model_process_baymean),
       fp(bk_model_set_bk_baymean), fp(bk_model_reset_baymean)},
  };
  const Expect def = {0, fp(bk_model_create_def), fp(bk_model_destroy_def), fp(bk_model_process_def),
                      fp(bk_model_set_bk_def), fp(bk_model_reset_def)};
  for (uint32_t type : {0u, 1u, 2u, 3u, 4u, 5u, 6u, 7u, 8u, 9u, 0xFFFFFFFFu}) {
    Expect e = def;
    for (const Expect &r : rows)
      if (r.type == type) e = r;
    vorn_bk_model_vtable t;
    memset(&t, 0, sizeof t);
    vorn_bk_model_init(type, &t);
    EXPECT_EQ(fp(t.create), e.create) << type;
    EXPECT_EQ(fp(t.destroy), e.destroy) << type;
    EXPECT_EQ(fp(t.process), e.process) << type;
    EXPECT_EQ(fp(t.set_bk), e.set_bk) << type;
    EXPECT_EQ(fp(t.reset), e.reset) << type;
    EXPECT_EQ(fp(t.get_image), fp(bk_model_get_image));
    EXPECT_EQ(fp(t.get_fg), fp(bk_model_get_fg));
    EXPECT_EQ(fp(t.get_bk), fp(bk_model_get_bk));
    EXPECT_EQ(fp(t.set_param), fp(bk_model_set_param));
  }
  vorn_bk_model_init(2, nullptr);  // ignored
}

TEST(BkModelCreate, EveryTypeCleansUpAfterEachFailedAllocation) {
  for (uint32_t type : {0u, 1u, 2u, 3u, 5u, 7u, 8u, 100u}) {
    vorn_bk_model_vtable t;
    vorn_bk_model_init(type, &t);
    vorn_bk_model_init_params p = {3, 21, 9, VORN_FORMAT_YUV};
    const int points = vorn_test::sweep_allocation_failures([&] {
      void *h = &p;
      const vorn_result r = t.create(&p, &h);
      if (r == VORN_OK) return t.destroy(static_cast<vorn_bk_model *>(h)) == VORN_OK;
      EXPECT_EQ(r, VORN_E_NOMEM);
      EXPECT_EQ(h, nullptr);
      return false;
    });
    // record, fg and work (2 each), ring array, 3 ring images (4 each), bk (4), mask (2): 24, and the
    // variants' private records and buffers on top
    EXPECT_GE(points, 24) << type;
  }
  // The histogram-mode model is reached by name only.
  vorn_bk_model_init_params p = {1, 5, 5, VORN_FORMAT_RGB};
  vorn_test::sweep_allocation_failures([&] {
    void *h = nullptr;
    if (bk_model_create_bay(&p, &h) != VORN_OK) return h == nullptr && false;
    return bk_model_destroy_bay(static_cast<vorn_bk_model *>(h)) == VORN_OK;
  });
}

TEST(BkModelCreate, RejectsAnEmptyRingAndNullHandles) {
  vorn_bk_model_init_params p = {0, 8, 8, VORN_FORMAT_YUV};
  for (uint32_t type : {0u, 2u, 3u, 5u, 7u, 8u}) {
    vorn_bk_model_vtable t;
    vorn_bk_model_init(type, &t);
    void *h = &p;
    EXPECT_EQ(t.create(&p, &h), VORN_E_PARAM) << type;
    EXPECT_EQ(h, nullptr);
    EXPECT_EQ(t.destroy(nullptr), VORN_E_NULL);
    EXPECT_EQ(t.process(nullptr, nullptr, 0), VORN_E_NULL);
    EXPECT_EQ(t.set_bk(nullptr, nullptr, 0), VORN_E_NULL);
    EXPECT_EQ(t.reset(nullptr), VORN_E_NULL);
  }
  vorn_image *img = reinterpret_cast<vorn_image *>(&p);
  vorn_mono_image *mono = reinterpret_cast<vorn_mono_image *>(&p);
  EXPECT_EQ(bk_model_get_image(nullptr, 0, &img), VORN_E_NULL);
  EXPECT_EQ(bk_model_get_bk(nullptr, &img), VORN_E_NULL);
  EXPECT_EQ(img, nullptr);
  EXPECT_EQ(bk_model_get_fg(nullptr, &mono), VORN_E_NULL);
  EXPECT_EQ(mono, nullptr);
  EXPECT_EQ(bk_model_set_param(nullptr, 1, 1), VORN_E_NULL);
  EXPECT_EQ(bk_model_process_end(nullptr, 0), VORN_E_NULL);
  EXPECT_EQ(vorn_bk_model_set_mask(nullptr, nullptr), VORN_E_NULL);
  EXPECT_EQ(vorn_bk_model_get_mask(nullptr, &mono), VORN_E_NULL);
}

TEST(BkModelRing, GetImageCountsBackFromTheLastProcessedFrame) {
  const uint32_t w = 8, h = 4;
  Host host(1, w, h, 3);
  vorn_image *img = nullptr;
  // Right after create back 0 is accepted and names the last slot; back 1 is beyond the frames seen.
  EXPECT_EQ(host.t.get_image(host.m, 0, &img), VORN_OK);
  EXPECT_NE(img, nullptr);
  EXPECT_EQ(host.t.get_image(host.m, 1, &img), VORN_E_PARAM);
  EXPECT_EQ(img, nullptr);
  for (uint8_t y = 10; y <= 50; y = (uint8_t)(y + 10)) {
    std::vector<uint8_t> f = flat_frame(w, h, y, 128, 128);
    EXPECT_EQ(host.process(f), VORN_OK);
  }
  // Five frames through a ring of three: 50, 40, 30 are kept.
  for (uint32_t back = 0; back < 3; ++back) {
    ASSERT_EQ(host.t.get_image(host.m, back, &img), VORN_OK);
    EXPECT_EQ(img->plane[0][0], 50 - 10 * back);
  }
  EXPECT_EQ(host.t.get_image(host.m, 3, &img), VORN_E_PARAM);
  // A model's process refuses a null frame and the ring stays put; the generic step lets it pass, converting
  // nothing, so the slot it passes through still holds frame 30.
  EXPECT_EQ(host.t.process(host.m, nullptr, 4), VORN_E_NULL);
  ASSERT_EQ(host.t.get_image(host.m, 0, &img), VORN_OK);
  EXPECT_EQ(img->plane[0][0], 50);
  EXPECT_EQ(bk_model_process(host.m, nullptr, 4), VORN_OK);
  EXPECT_EQ(bk_model_process_end(host.m, VORN_OK), VORN_OK);
  ASSERT_EQ(host.t.get_image(host.m, 0, &img), VORN_OK);
  EXPECT_EQ(img->plane[0][0], 30);
}

TEST(BkModelParams, StoredByIdWithMaskAndAccessors) {
  const uint32_t w = 6, h = 5;
  Host host(0, w, h);
  EXPECT_EQ(host.t.set_param(host.m, 7, 31), VORN_OK);
  EXPECT_EQ(host.t.set_param(host.m, 7, 32), VORN_E_PARAM);
  vorn_mono_image *mask = nullptr;
  ASSERT_EQ(vorn_bk_model_get_mask(host.m, &mask), VORN_OK);
  EXPECT_EQ(bk_test::count_of(std::vector<uint8_t>(mask->data, mask->data + w * h), 255), (int)(w * h));
  std::vector<uint8_t> bytes(w * h, 0);
  bytes[3] = 9;
  vorn_mono_image mine = {w, h, bytes.data()}, wrong = {h, w, bytes.data()};
  EXPECT_EQ(vorn_bk_model_set_mask(host.m, &wrong), VORN_E_NULL);
  EXPECT_EQ(vorn_bk_model_set_mask(host.m, &mine), VORN_OK);
  EXPECT_EQ(mask->data[3], 9);
  EXPECT_EQ(mask->data[4], 0);
  // The default model has no background until one is set; the pointer is handed out anyway.
  vorn_image *bk = nullptr;
  EXPECT_EQ(host.t.get_bk(host.m, &bk), VORN_E_LEARNING);
  EXPECT_NE(bk, nullptr);
}

TEST(DefaultModel, DetectsAgainstTheSetBackgroundOnly) {
  const uint32_t w = 8, h = 6;
  Host host(0, w, h);
  std::vector<uint8_t> base = flat_frame(w, h, 100, 100, 100);
  std::vector<uint8_t> plus60 = flat_frame(w, h, 120, 120, 120), plus59 = flat_frame(w, h, 119, 120, 120);
  EXPECT_EQ(host.process(plus60), VORN_E_LEARNING);
  EXPECT_EQ(bk_test::count_of(host.fg(), 0), (int)(w * h));
  EXPECT_EQ(host.set_bk(base), VORN_OK);
  vorn_image *bk = nullptr;
  EXPECT_EQ(host.t.get_bk(host.m, &bk), VORN_OK);
  EXPECT_EQ(host.process(base), VORN_OK);
  EXPECT_EQ(bk_test::count_of(host.fg(), 0), (int)(w * h));
  // sensitivity 30: t = 40, a summed difference of 60 is foreground, 59 is not
  EXPECT_EQ(host.process(plus60), VORN_OK);
  EXPECT_EQ(bk_test::count_of(host.fg(), 255), (int)(w * h));
  EXPECT_EQ(host.process(plus59), VORN_OK);
  EXPECT_EQ(bk_test::count_of(host.fg(), 0), (int)(w * h));
  // sensitivity 100 gives t = 100 (limit 150); 1000 is clamped to the same
  for (uint32_t s : {100u, 1000u}) {
    host.param(VORN_BK_PARAM_SENSITIVITY, s);
    std::vector<uint8_t> p150 = flat_frame(w, h, 150, 150, 150), p149 = flat_frame(w, h, 149, 150, 150);
    host.process(p150);
    EXPECT_EQ(bk_test::count_of(host.fg(), 255), (int)(w * h)) << s;
    host.process(p149);
    EXPECT_EQ(bk_test::count_of(host.fg(), 0), (int)(w * h)) << s;
  }
  // Reset forgets the background: learning again, and the mask is cleared.
  host.process(plus60);
  EXPECT_EQ(host.t.reset(host.m), VORN_OK);
  EXPECT_EQ(bk_test::count_of(host.fg(), 0), (int)(w * h));
  EXPECT_EQ(host.process(plus60), VORN_E_LEARNING);
}

TEST(BkModelSceneCut, PlaneTestStopsTheFrameAndKeepsTheRing) {
  const uint32_t w = 8, h = 8;
  Host host(0, w, h, 4);
  host.param(VORN_BK_PARAM_SCENE_CUT, 1);
  std::vector<uint8_t> a = flat_frame(w, h, 50, 128, 128), b = flat_frame(w, h, 60, 128, 128);
  std::vector<uint8_t> cut = flat_frame(w, h, 200, 128, 128);
  EXPECT_EQ(host.process(a), VORN_E_LEARNING);  // the first frame is never a cut
  EXPECT_EQ(host.process(b), VORN_E_LEARNING);  // 10 < 22: no change against the previous frame
  EXPECT_EQ(host.process(cut), VORN_E_SCENE_CHANGE);
  vorn_image *img = nullptr;
  ASSERT_EQ(host.t.get_image(host.m, 0, &img), VORN_OK);
  EXPECT_EQ(img->plane[0][0], 60);  // still the last learned frame
  EXPECT_EQ(host.t.get_image(host.m, 3, &img), VORN_E_PARAM);  // two frames completed
  // With a background set the test compares against it instead.
  host.set_bk(cut);
  EXPECT_EQ(host.process(cut), VORN_OK);
  EXPECT_EQ(host.process(a), VORN_E_SCENE_CHANGE);
  // Off again: the same frame goes through.
  host.param(VORN_BK_PARAM_SCENE_CUT, 0x100);
  EXPECT_EQ(host.process(a), VORN_OK);
}

TEST(BkModelSceneCut, OneSlotRingComparesTheFrameWithItself) {
  const uint32_t w = 8, h = 8;
  Host host(1, w, h, 1);
  host.param(VORN_BK_PARAM_SCENE_CUT, 1);
  for (uint8_t y : {10, 250, 10, 250}) {
    std::vector<uint8_t> f = flat_frame(w, h, y, 128, 128);
    EXPECT_EQ(host.process(f), VORN_OK);
  }
}

TEST(BkModelSceneCut, EdgeTestComparesEdgeMapsOfConsecutiveFrames) {
  const uint32_t w = 16, h = 16;
  Host host(1, w, h);
  host.param(VORN_BK_PARAM_SCENE_CUT, 0x101);
  // A vertical step at column `at`, and a brighter copy of it with the step in the same place.
  auto step = [&](uint32_t at, uint8_t lo, uint8_t hi) {
    std::vector<uint8_t> f = flat_frame(w, h, 0, 128, 128);
    for (uint32_t y = 0; y < h; ++y)
      for (uint32_t x = 0; x < w; ++x) f[y * w + x] = x < at ? lo : hi;
    return f;
  };
  std::vector<uint8_t> a = step(8, 0, 160), a_bright = step(8, 90, 255), b = step(4, 0, 160);
  EXPECT_EQ(host.process(a), VORN_OK);  // no edges kept yet
  EXPECT_EQ(host.process(a_bright), VORN_OK);  // every pixel changed, but the edges stayed
  EXPECT_EQ(host.process(b), VORN_E_SCENE_CHANGE);
  EXPECT_EQ(host.process(b), VORN_OK);  // the maps swapped even on the cut
  EXPECT_EQ(host.process(a), VORN_E_SCENE_CHANGE);
  host.param(VORN_BK_PARAM_SCENE_CUT, 0x101);  // setting the parameter forgets the kept edges
  EXPECT_EQ(host.process(b), VORN_OK);
}
