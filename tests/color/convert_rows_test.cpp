// The vector row kernels give the scalar kernels' bytes: random data, every width 1..67 and 768, source and
// destination offsets 0..15, buffers ending exactly where the kernel may stop reading; and the public
// converters give the same frames with the vector kernels switched off.
#include <gtest/gtest.h>
#include <string.h>

#include "color/convert_rows.h"
#include "color/frame_table.h"
#include "color_test_util.h"
#include "core/cpu.h"

using namespace color_test;
using vorn::ColorKernels;

namespace {

std::vector<const ColorKernels *> vector_tables() {
  std::vector<const ColorKernels *> out;
  uint32_t f = vorn::cpu_flags();
  if ((f & vorn::kCpuSse41) && vorn::color_kernels_sse41()) out.push_back(vorn::color_kernels_sse41());
  if ((f & vorn::kCpuAvx2) && vorn::color_kernels_avx2()) out.push_back(vorn::color_kernels_avx2());
  return out;
}

// A buffer of n bytes placed `offset` bytes into an allocation that ends with it.
struct Buf {
  std::vector<uint8_t> bytes;
  size_t offset;
  Buf(size_t n, size_t off, uint32_t seed) : bytes(vorn_test::random_bytes(n + off, seed)), offset(off) {}
  uint8_t *p() { return bytes.data() + offset; }
};

std::vector<int> widths() {
  std::vector<int> w;
  for (int i = 1; i <= 67; ++i) w.push_back(i);
  w.push_back(768);
  return w;
}

// Runs one kernel of `k` and of the scalar table on the same input; the outputs must be equal.
template <class Run>
void compare(const char *name, size_t in_bytes, size_t in_count, size_t out_bytes, Run run) {
  static uint32_t seed = 1;
  for (const ColorKernels *k : vector_tables()) {
    for (int w : widths()) {
      size_t off = (size_t)(w * 7) % 16;
      std::vector<Buf> in, want, got;
      for (size_t i = 0; i < in_count; ++i) in.emplace_back(in_bytes * w + 16, off, seed++);
      for (int i = 0; i < 3; ++i) {
        want.emplace_back(out_bytes * w, 15 - off, 0);
        got.emplace_back(out_bytes * w, 15 - off, 0);
        memset(got[i].p(), 0xA5, out_bytes * w);
        memset(want[i].p(), 0xA5, out_bytes * w);
      }
      run(vorn::color_kernels_c(), in, want, w);
      run(k, in, got, w);
      for (int i = 0; i < 3; ++i)
        ASSERT_EQ(0, memcmp(want[i].p(), got[i].p(), out_bytes * w)) << name << " width " << w << " plane " << i;
    }
  }
}

}  // namespace

TEST(ColorRows, VectorKernelsMatchScalarOnEveryIsa) {
  vorn_init();
  if (vector_tables().empty()) GTEST_SKIP() << "no vector kernels on this CPU";
  // Inputs get 16 spare bytes (not read by a correct kernel beyond its row) only so that one buffer shape fits
  // all; the over-read check is the exact-size test below.
  using Planar = void (*)(const uint8_t *, const uint8_t *, const uint8_t *, uint8_t *, uint8_t *, uint8_t *, int);
  struct { const char *name; size_t member; } planar[] = {
      {"rgb_to_yuv", offsetof(ColorKernels, rgb_to_yuv)},
      {"yuv_to_rgb", offsetof(ColorKernels, yuv_to_rgb)},
      {"rgb_to_hsv", offsetof(ColorKernels, rgb_to_hsv)},
  };
  for (auto &m : planar)
    compare(m.name, 1, 3, 1, [&](const ColorKernels *k, std::vector<Buf> &in, std::vector<Buf> &out, int w) {
      Planar fn = *reinterpret_cast<const Planar *>(reinterpret_cast<const char *>(k) + m.member);
      fn(in[0].p(), in[1].p(), in[2].p(), out[0].p(), out[1].p(), out[2].p(), w);
    });
  struct { const char *name; size_t member; size_t bytes; } packed[] = {
      {"bgr24_to_rgb", offsetof(ColorKernels, bgr24_to_rgb), 3}, {"bgr32_to_rgb", offsetof(ColorKernels, bgr32_to_rgb), 4},
      {"bgr24_to_yuv", offsetof(ColorKernels, bgr24_to_yuv), 3}, {"bgr32_to_yuv", offsetof(ColorKernels, bgr32_to_yuv), 4},
      {"yuyv_to_rgb", offsetof(ColorKernels, yuyv_to_rgb), 2},   {"yuyv_to_yuv", offsetof(ColorKernels, yuyv_to_yuv), 2},
  };
  for (auto &m : packed)
    compare(m.name, m.bytes, 1, 1, [&](const ColorKernels *k, std::vector<Buf> &in, std::vector<Buf> &out, int w) {
      vorn::PackedRowFn fn = *reinterpret_cast<const vorn::PackedRowFn *>(reinterpret_cast<const char *>(k) + m.member);
      fn(in[0].p(), out[0].p(), out[1].p(), out[2].p(), w & ~1);
    });
  compare("rgb_to_y", 1, 3, 1, [&](const ColorKernels *k, std::vector<Buf> &in, std::vector<Buf> &out, int w) {
    k->rgb_to_y(in[0].p(), in[1].p(), in[2].p(), out[0].p(), w);
  });
  for (size_t member : {offsetof(ColorKernels, i420_to_rgb), offsetof(ColorKernels, i420_to_yuv)})
    compare("i420", 1, 3, 1, [&](const ColorKernels *k, std::vector<Buf> &in, std::vector<Buf> &out, int w) {
      Planar fn = *reinterpret_cast<const Planar *>(reinterpret_cast<const char *>(k) + member);
      fn(in[0].p(), in[1].p(), in[2].p(), out[0].p(), out[1].p(), out[2].p(), w);
    });
}

// Public converters on a 768 x 576 random frame and on odd sizes, with and without the vector kernels; frames
// are exactly their documented size.
TEST(ColorRows, ConvertersAreTheSameWithVectorKernelsOff) {
  vorn_init();
  struct Size { uint32_t w, h; } sizes[] = {{768, 576}, {67, 5}, {33, 3}, {17, 2}};
  for (Size s : sizes) {
    size_t n = (size_t)s.w * s.h;
    std::vector<uint8_t> f420 = vorn_test::random_bytes(n * 3 / 2, s.w), f422 = vorn_test::random_bytes(2 * n, s.h);
    std::vector<uint8_t> b24 = vorn_test::random_bytes(((s.w * 24 + 31) / 32) * 4 * s.h, 3);
    std::vector<uint8_t> b32 = vorn_test::random_bytes((size_t)s.w * 4 * s.h, 4);
    std::vector<uint8_t> *frames[5] = {nullptr, &b24, &b32, &f422, &f420};
    Image rgb = random_image(s.w, s.h, VORN_FORMAT_RGB, 9), yuv = random_image(s.w, s.h, VORN_FORMAT_YUV, 10);
    for (int pass = 0; pass < 2; ++pass) {
      std::vector<Image> out;
      for (uint32_t type = 1; type <= 4; ++type)
        for (uint32_t format = 0; format < 3; ++format) {
          out.push_back(make_image(s.w, s.h, format));
          ASSERT_EQ(VORN_OK, vorn::frame_to_image(frames[type]->data(), type, out.back().get()));
        }
      out.push_back(make_image(s.w, s.h, VORN_FORMAT_YUV));
      ASSERT_EQ(VORN_OK, vorn_image_rgb_to_yuv(rgb.get(), out.back().get()));
      out.push_back(make_image(s.w, s.h, VORN_FORMAT_RGB));
      ASSERT_EQ(VORN_OK, vorn_image_yuv_to_rgb(yuv.get(), out.back().get()));
      out.push_back(make_image(s.w, s.h, VORN_FORMAT_HSV));
      ASSERT_EQ(VORN_OK, vorn_image_rgb_to_hsv(rgb.get(), out.back().get()));
      static std::vector<Image> dispatched;
      if (pass == 0) {
        dispatched = std::move(out);
        vorn::cpu_set_mask(~0u);  // from here on, scalar kernels only
      } else {
        vorn::cpu_set_mask(0);
        for (size_t i = 0; i < out.size(); ++i)
          for (int p = 0; p < 3; ++p)
            ASSERT_EQ(0, memcmp(dispatched[i]->plane[p], out[i]->plane[p], n)) << s.w << "x" << s.h << " case " << i;
        dispatched.clear();
      }
    }
  }
}
