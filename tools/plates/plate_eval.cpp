// Measures the plate reader on synthetic scenes it has never seen: plates of random text placed in cluttered
// 640 x 480 scenes under rotation, perspective, shear, blur and noise, handed in as 24-bit frames.
//
//   vorn_plate_eval <weights_dir> [scenes=500] [seed=1000003] [failure_dir]
//
// Reports the location rate (the reading's character row overlaps the true one by half or more), character
// accuracy (over all plates, a plate not located counting as all wrong, and over located plates) and
// whole-plate accuracy. With failure_dir, the debug images of each failed scene go to failure_dir/<scene>/.
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#ifdef _WIN32
#include <direct.h>
#define VORN_MKDIR(path) _mkdir(path)
#else
#define VORN_MKDIR(path) mkdir(path, 0755)
#endif
#include <time.h>

#include <algorithm>
#include <random>
#include <string>

#include "plate_synth.h"
#include "vorn.h"

namespace {

double iou(const vorn_rect &a, int l, int t, int r, int b) {
  const int il = std::max(a.left, l), it = std::max(a.top, t), ir = std::min(a.right, r), ib = std::min(a.bottom, b);
  if (ir <= il || ib <= it) return 0;
  const double inter = (double)(ir - il) * (ib - it);
  return inter / ((double)(a.right - a.left) * (a.bottom - a.top) + (double)(r - l) * (b - t) - inter);
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 2) {
    fprintf(stderr, "usage: %s <weights_dir> [scenes] [seed] [failure_dir]\n", argv[0]);
    return 2;
  }
  const int n = argc > 2 ? atoi(argv[2]) : 500;
  const unsigned seed = argc > 3 ? (unsigned)atoi(argv[3]) : 1000003u;
  const char *fail_dir = argc > 4 ? argv[4] : nullptr;
  vorn_init();
  plate_synth::SceneOptions opt;
  vorn_plate_params p = {(uint32_t)opt.width, (uint32_t)opt.height, argv[1], 0, 0};
  vorn_plate *reader = nullptr;
  const vorn_result cr = vorn_plate_create(&p, &reader);
  if (cr != VORN_OK) {
    fprintf(stderr, "cannot create the reader: %s (%s)\n", vorn_result_message(cr), vorn_result_name(cr));
    return 1;
  }
  int located = 0, plates_right = 0, chars_right = 0;
  int kind_right[3] = {0, 0, 0}, kind_total[3] = {0, 0, 0};
  double seconds = 0;
  for (int i = 0; i < n; ++i) {
    std::mt19937 rng(seed + (unsigned)i * 7919u);
    plate_synth::SceneTruth t;
    const plate_synth::Rgb scene = plate_synth::make_scene(rng, opt, &t);
    const std::vector<uint8_t> frame = scene.to_bmp24();
    const clock_t c0 = clock();
    const vorn_result r = vorn_plate_process(reader, frame.data(), VORN_FRAME_BMP24);
    seconds += (double)(clock() - c0) / CLOCKS_PER_SEC;
    vorn_plate_info info;
    vorn_plate_get_info(reader, &info);
    const bool found = r == VORN_OK && iou(info.rect, t.row_left, t.row_top, t.row_right, t.row_bottom) >= 0.5;
    int right = 0;
    if (found) {
      ++located;
      for (int c = 0; c < VORN_PLATE_CHARS; ++c) {
        const int kind = VORN_PLATE_LAYOUT[c] == 'L' ? 0 : VORN_PLATE_LAYOUT[c] == 'D' ? 1 : 2;
        const bool ok = info.text[c] == t.text[c];
        right += ok;
        kind_right[kind] += ok;
        kind_total[kind] += 1;
      }
    }
    chars_right += right;
    plates_right += right == VORN_PLATE_CHARS;
    if (right != VORN_PLATE_CHARS && fail_dir) {
      const std::string dir = std::string(fail_dir) + "/" + std::to_string(i);
      VORN_MKDIR(dir.c_str());
      vorn_plate_get_debug_image(reader, dir.c_str());
      printf("scene %d: truth %s, read %s (%s), score %.2f\n", i, t.text.c_str(), r == VORN_OK ? info.text : "-",
             found ? "located" : "not located", info.score);
    }
  }
  vorn_plate_destroy(reader);
  printf("scenes %d (640x480, characters %.0f-%.0f px, rotation +-%.0f deg, perspective +-%.0f%%, shear +-%.0f%%, "
         "blur sigma %.1f-%.1f, noise sigma %.0f-%.0f)\n",
         n, opt.char_h_min, opt.char_h_max, opt.max_angle_deg, opt.max_persp * 100, opt.max_shear * 100,
         opt.blur_min, opt.blur_max, opt.noise_min, opt.noise_max);
  printf("location rate         %6.2f%%\n", 100.0 * located / n);
  printf("character accuracy    %6.2f%% of all, %6.2f%% of located\n", 100.0 * chars_right / (n * VORN_PLATE_CHARS),
         located ? 100.0 * chars_right / (located * VORN_PLATE_CHARS) : 0.0);
  printf("  letters %.2f%%, digits %.2f%%, either %.2f%% (of located)\n",
         kind_total[0] ? 100.0 * kind_right[0] / kind_total[0] : 0.0,
         kind_total[1] ? 100.0 * kind_right[1] / kind_total[1] : 0.0,
         kind_total[2] ? 100.0 * kind_right[2] / kind_total[2] : 0.0);
  printf("whole-plate accuracy  %6.2f%%\n", 100.0 * plates_right / n);
  printf("time per frame        %6.2f ms\n", 1000.0 * seconds / n);
  return 0;
}
