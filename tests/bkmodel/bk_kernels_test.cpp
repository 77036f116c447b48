// The SIMD passes of the models against the plain ones, on random data and sizes that leave tails.
#include <string.h>

#include <functional>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "bkmodel/bk_mean_kernel.h"
#include "bkmodel/bk_mog_kernel.h"
#include "core/cpu.h"
#include "core/memory.h"
#include "support/test_support.h"

// Each instruction set's table in turn (AVX-512 where present, AVX2, none).
TEST(MeanKernels, SimdPassesEqualThePlainOnes) {
  if (!(vorn::cpu_flags() & vorn::kCpuAvx2)) GTEST_SKIP() << "no AVX2";
  for (uint32_t off : vorn_test::isa_masks()) {
    vorn_test::CpuMaskScope scope(off);
    for (size_t np : {1u, 7u, 8u, 9u, 31u, 67u, 768u * 3 + 5}) {
      std::vector<uint8_t> bytes = vorn_test::random_bytes(np * 12, (uint32_t)np);
      vorn::bk_pass_planes p = {};
      std::vector<uint8_t> bk_a(np * 3), bk_b;
      for (int q = 0; q < 3; ++q) {
        p.c[q] = bytes.data() + q * np;
        p.prev[q] = bytes.data() + (3 + q) * np;
      }
      // sparse fg and mask so every combination occurs
      std::vector<uint8_t> fg(np), mask(np);
      for (size_t i = 0; i < np; ++i) {
        fg[i] = bytes[6 * np + i] < 64 ? 255 : 0;
        mask[i] = bytes[7 * np + i] < 40 ? 0 : bytes[7 * np + i];
      }
      p.fg = fg.data();
      p.mask = mask.data();
      auto set_bk = [&](std::vector<uint8_t> &bk) {
        for (int q = 0; q < 3; ++q) p.bk[q] = bk.data() + q * np;
      };
      // sums with large values, counts that wrap to 0 and large quotients
      std::vector<uint32_t> sums_a(4 * np);
      for (size_t i = 0; i < 4 * np; ++i) sums_a[i] = (uint32_t)bytes[i % (np * 12)] * 16843009u;
      for (size_t i = 0; i < np; i += 3) sums_a[3 * np + i] = 0xFFFFFFFFu;
      for (size_t i = 1; i < np; i += 5) sums_a[3 * np + i] = 0;
      std::vector<uint32_t> sums_b = sums_a;
      std::vector<double> acc_a(3 * np);
      for (size_t i = 0; i < 3 * np; ++i) acc_a[i] = bytes[(i * 7) % (np * 12)] * 0.99;
      std::vector<double> acc_b = acc_a;
      for (size_t i = 0; i < np * 3; ++i) bk_a[i] = bytes[8 * np + i];
      bk_b = bk_a;

      for (int step = 0; step < 4; ++step) {
        set_bk(bk_a);
        vorn::mean_accumulate(sums_a.data(), np, &p, 0, np);
        set_bk(bk_b);
        vorn::mean_accumulate_c(sums_b.data(), np, &p, 0, np);
        ASSERT_EQ(sums_a, sums_b);
        ASSERT_EQ(bk_a, bk_b) << "mean, " << np;
        const double a = step == 0 ? 1.0 : 0.005;
        set_bk(bk_a);
        vorn::meanex_update(acc_a.data(), np, &p, 0, np, a, 1.0 - a, step == 1);
        set_bk(bk_b);
        vorn::meanex_update_c(acc_b.data(), np, &p, 0, np, a, 1.0 - a, step == 1);
        ASSERT_EQ(memcmp(acc_a.data(), acc_b.data(), acc_a.size() * 8), 0) << "meanex, " << np;
        ASSERT_EQ(bk_a, bk_b) << "meanex, " << np;
        set_bk(bk_a);
        vorn::baymean_update(acc_a.data(), np, &p, 0, np);
        set_bk(bk_b);
        vorn::baymean_update_c(acc_b.data(), np, &p, 0, np);
        ASSERT_EQ(memcmp(acc_a.data(), acc_b.data(), acc_a.size() * 8), 0) << "baymean, " << np;
        ASSERT_EQ(bk_a, bk_b) << "baymean, " << np;
      }
    }
  }
}

// Counts shared by whole groups of pixels divide by multiplication: every divisor class (1, powers of two,
// l = 32, the largest) against the plain kernel, with sums reaching 2^32 - 1.
TEST(MeanKernels, SharedCountsDivideExactly) {
  if (!(vorn::cpu_flags() & vorn::kCpuAvx2)) GTEST_SKIP() << "no AVX2";
  const size_t np = 64;
  std::vector<uint8_t> c = vorn_test::random_bytes(3 * np, 5);
  vorn::bk_pass_planes p = {};
  for (int q = 0; q < 3; ++q) p.c[q] = c.data() + q * np;
  const uint32_t counts[] = {0u, 1u, 2u, 3u, 7u, 255u, 256u, 641u, 65535u, 0x7FFFFFFFu, 0x80000000u, 0x80000001u,
                             0xFFFFFFF0u, 0xFFFFFFFEu};
  for (uint32_t n : counts) {
    std::vector<uint8_t> r = vorn_test::random_bytes(4 * 3 * np, n ^ 77u);
    std::vector<uint32_t> sums_a(4 * np);
    for (size_t i = 0; i < 3 * np; ++i) {
      uint32_t v;
      memcpy(&v, &r[4 * i], 4);
      // Sums near multiples of the new count and near the top of the range, and plain random ones.
      const uint64_t k = v % 4 == 0 ? (uint64_t)v / (n + 1ull) * (n + 1ull) + (v & 1) : v;
      sums_a[i] = i % 5 == 0 ? 0xFFFFFF00u + (v & 0xFF) : (uint32_t)k;
    }
    for (size_t i = 0; i < np; ++i) sums_a[3 * np + i] = n;  // the pass adds one: a shared count of n + 1
    std::vector<uint32_t> sums_b = sums_a;
    std::vector<uint8_t> bk_a(3 * np, 7), bk_b(3 * np, 7);
    for (int q = 0; q < 3; ++q) p.bk[q] = bk_a.data() + q * np;
    vorn::mean_accumulate(sums_a.data(), np, &p, 0, np);
    for (int q = 0; q < 3; ++q) p.bk[q] = bk_b.data() + q * np;
    vorn::mean_accumulate_c(sums_b.data(), np, &p, 0, np);
    ASSERT_EQ(sums_a, sums_b) << n;
    ASSERT_EQ(bk_a, bk_b) << "count " << n + 1ull;
  }
}

// Runs `frames` frames of a vector update (the plain rule finishing each row) and of the plain rule side by side
// from the same first frame; the colour of pixel i in frame n comes from colour(n, i, c3). States, masks and
// backgrounds must agree after every frame.
void mog_against_plain(vorn::mog_update_fn vec, size_t np, const vorn::mog_consts &k, uint32_t frames,
                       const std::function<void(uint32_t, size_t, uint8_t *, uint8_t *)> &colour) {
  const size_t bytes = vorn::mog_state_bytes(np);
  std::vector<uint8_t> c(np * 3), mask(np), fg_a(np), fg_b(np), bk_a(np * 3), bk_b(np * 3);
  vorn::mog_state sa, sb;
  vorn::mog_planes pa, pb;
  for (int q = 0; q < 3; ++q) {
    pa.c[q] = pb.c[q] = c.data() + q * np;
    pa.bk[q] = bk_a.data() + q * np;
    pb.bk[q] = bk_b.data() + q * np;
  }
  pa.fg = fg_a.data();
  pb.fg = fg_b.data();
  pa.mask = pb.mask = mask.data();
  void *blk = vorn::block_alloc(bytes), *blk2 = vorn::block_alloc(bytes);
  ASSERT_TRUE(blk && blk2);
  vorn::mog_state_bind(&sa, blk, np);
  vorn::mog_state_bind(&sb, blk2, np);
  for (uint32_t n = 0; n < frames; ++n) {
    uint8_t px[3];
    for (size_t i = 0; i < np; ++i) {
      colour(n, i, px, &mask[i]);
      for (int q = 0; q < 3; ++q) c[q * np + i] = px[q];
    }
    if (n == 0) {
      vorn::mog_init_pixels(&sa, &pa, 0, np);
      vorn::mog_init_pixels(&sb, &pb, 0, np);
      continue;
    }
    const size_t done = vec(&sa, &pa, 0, np, n, &k);
    vorn::mog_update_pixels_c(&sa, &pa, done, np, n, &k);
    vorn::mog_update_pixels_c(&sb, &pb, 0, np, n, &k);
    ASSERT_EQ(memcmp(blk, blk2, bytes), 0) << "state, " << np << " pixels, frame " << n;
    ASSERT_EQ(fg_a, fg_b) << np << " pixels, frame " << n;
    ASSERT_EQ(bk_a, bk_b) << np << " pixels, frame " << n;
  }
  vorn_free(blk);
  vorn_free(blk2);
}

// The vector update of every instruction-set level this CPU has (the level's table, as the dispatch picks it).
std::vector<std::pair<uint32_t, vorn::mog_update_fn>> mog_vector_kernels() {
  std::vector<std::pair<uint32_t, vorn::mog_update_fn>> out;
  for (uint32_t mask : vorn_test::isa_masks()) {
    vorn_test::CpuMaskScope scope(mask);
    if (vorn::mog_update_fn f = vorn::mog_kernels().update) out.push_back({mask, f});
  }
  return out;
}

TEST(MogKernels, SimdPassesEqualThePlainOne) {
  const auto kernels = mog_vector_kernels();
  if (kernels.empty()) GTEST_SKIP() << "no vector kernel";
  for (const auto &kern : kernels) {
    SCOPED_TRACE(testing::Message() << "cpu mask " << kern.first);
    for (size_t np : {1u, 3u, 4u, 5u, 7u, 8u, 9u, 67u, 768u + 3}) {
      // Random frames drawn from a few colours per pixel, so slots match, get replaced and re-sort; a short
      // counting phase reaches forgetting early.
      std::vector<uint8_t> palette = vorn_test::random_bytes(np * 9, (uint32_t)np + 1);
      std::vector<uint8_t> pick;
      mog_against_plain(kern.second, np, vorn::mog_consts{25.0, 900.0, 30.0, 30}, 60,
                        [&](uint32_t n, size_t i, uint8_t *px, uint8_t *mask) {
                          if (i == 0) pick = vorn_test::random_bytes(np * 2, n * 7919u + (uint32_t)np);
                          const int which = pick[i] % 3;
                          for (int q = 0; q < 3; ++q) {
                            int v = palette[(i * 3 + which) * 3 % (np * 9) + q] + (pick[np + i] % 9) - 4;
                            if (pick[np + i] > 250) v = 0;  // exact black: unused slots match with distance 0
                            px[q] = (uint8_t)(v < 0 ? 0 : v > 255 ? 255 : v);
                          }
                          *mask = (pick[i] & 0xF0) == 0x50 ? 0 : 255;
                        });
    }
  }
}

// A long counting phase: totals and counts pass the end of the reciprocal table (divided again), and steady
// pixels keep their slots in order for thousands of frames (the key divisions skipped) while a few flicker.
TEST(MogKernels, LongCountingPhaseEqualsThePlainOne) {
  const auto kernels = mog_vector_kernels();
  if (kernels.empty()) GTEST_SKIP() << "no vector kernel";
  for (const auto &kern : kernels) {
    SCOPED_TRACE(testing::Message() << "cpu mask " << kern.first);
    mog_against_plain(kern.second, 21, vorn::mog_consts{25.0, 900.0, 5000.0, 5000}, 4300,
                      [](uint32_t n, size_t i, uint8_t *px, uint8_t *mask) {
                        const bool flicker = i % 5 == 0 && (n * 2654435761u + i) % 97 < 3;
                        for (int q = 0; q < 3; ++q) px[q] = (uint8_t)(flicker ? 250 - 40 * q : 60 + 9 * i + q + n % 3);
                        *mask = 255;
                      });
  }
}
