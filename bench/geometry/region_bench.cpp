// A guard band rasterised over a 1920x1080 frame: every pixel through the point-in-region test, against the
// column-at-a-time rasteriser that gives the same mask.
#include <benchmark/benchmark.h>

#include <vector>

#include "geometry/region_raster.h"
#include "vorn_geometry.h"

namespace {

constexpr uint32_t kW = 1920, kH = 1080;

std::vector<vorn_point> band() {
  vorn_size frame{(int32_t)kW, (int32_t)kH};
  vorn_point pts[9];
  int32_t n = 0;
  vorn_get_line_region(vorn_line{200, 900, 1700, 150}, pts, &n, 120, &frame);
  return std::vector<vorn_point>(pts, pts + n);
}

void BM_RegionPerPixel(benchmark::State &state) {
  auto poly = band();
  std::vector<uint8_t> mask((size_t)kW * kH);
  for (auto _ : state) {
    for (uint32_t y = 0; y < kH; ++y)
      for (uint32_t x = 0; x < kW; ++x)
        mask[(size_t)y * kW + x] =
            vorn_pt_in_region(vorn_point{(int32_t)x, (int32_t)y}, poly.data(), (int32_t)poly.size()) ? 255 : 0;
    benchmark::DoNotOptimize(mask.data());
  }
}
BENCHMARK(BM_RegionPerPixel)->Unit(benchmark::kMillisecond);

void BM_RegionRaster(benchmark::State &state) {
  auto poly = band();
  std::vector<uint8_t> mask((size_t)kW * kH);
  for (auto _ : state) {
    vorn::region_raster(poly.data(), (int32_t)poly.size(), kW, kH, mask.data(), kW, 255);
    benchmark::DoNotOptimize(mask.data());
  }
}
BENCHMARK(BM_RegionRaster)->Unit(benchmark::kMillisecond);

}  // namespace
