// Trains the plate reader's three networks on synthetic plates and writes charnum.who, num.who and char.who.
//
//   vorn_plate_train <out_dir> [plates=4000] [epochs=60] [seed=1]
//
// Each plate is rendered into a small cluttered scene and run through the reader's own stages (location,
// deskewing, Otsu binarisation, segmentation), so the networks learn the features exactly as the reader will
// compute them; characters are labelled from the rendered text.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "plate_synth.h"
#include "recognition/plate_internal.h"
#include "vorn.h"

namespace {

const char kAll[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";

struct Sample {
  double f[VORN_PLATE_FEATURES];
  int cls;  // index in kAll
};

bool overlaps(const vorn_rect &a, int l, int t, int r, int b) {
  const int il = std::max(a.left, l), it = std::max(a.top, t), ir = std::min(a.right, r), ib = std::min(a.bottom, b);
  if (ir <= il || ib <= it) return false;
  const double inter = (double)(ir - il) * (ib - it);
  const double uni = (double)(a.right - a.left) * (a.bottom - a.top) + (double)(r - l) * (b - t) - inter;
  return inter / uni >= 0.5;
}

// Trains one network on the samples whose class lies in [first, first + n_out) and saves it.
bool train_net(const std::vector<Sample> &all, int first, int n_out, int epochs, const std::string &path,
               std::mt19937 &rng) {
  std::vector<const Sample *> set;
  for (const Sample &s : all)
    if (s.cls >= first && s.cls < first + n_out) set.push_back(&s);
  vorn_bpnn_params p = {0.3, 0.3, VORN_PLATE_FEATURES, 60, (uint32_t)n_out, 0};
  vorn_bpnn *net = nullptr;
  if (vorn_bpnn_create(&p, &net) != VORN_OK) return false;
  std::vector<double> target(n_out);
  for (int e = 0; e < epochs; ++e) {
    std::shuffle(set.begin(), set.end(), rng);
    double err = 0;
    for (const Sample *s : set) {
      std::fill(target.begin(), target.end(), 0.0);
      target[s->cls - first] = 1.0;
      double eh, eo;
      vorn_bpnn_train(net, s->f, target.data(), &eh, &eo);
      err += eo;
    }
    if (e % 10 == 9 || e == epochs - 1) {
      int right = 0;
      std::vector<double> out(n_out);
      for (const Sample *s : set) {
        vorn_bpnn_recognize(net, s->f, out.data());
        right += (int)(std::max_element(out.begin(), out.end()) - out.begin()) == s->cls - first;
      }
      printf("  %s epoch %d: mean output error %.4f, training accuracy %.2f%%\n", path.c_str(), e + 1,
             err / set.size(), 100.0 * right / set.size());
    }
  }
  const bool ok = vorn_bpnn_save_weight(net, path.c_str()) == VORN_OK;
  vorn_bpnn_destroy(net);
  return ok;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 2) {
    fprintf(stderr, "usage: %s <out_dir> [plates] [epochs] [seed]\n", argv[0]);
    return 2;
  }
  const std::string dir = argv[1];
  const int plates = argc > 2 ? atoi(argv[2]) : 4000;
  const int epochs = argc > 3 ? atoi(argv[3]) : 60;
  std::mt19937 rng(argc > 4 ? (unsigned)atoi(argv[4]) : 1u);

  plate_synth::SceneOptions opt;
  opt.width = 400;
  opt.height = 240;
  vorn_plate_params params = {(uint32_t)opt.width, (uint32_t)opt.height, nullptr, VORN_PLATE_DEFAULT_MIN_CHAR_HEIGHT,
                              VORN_PLATE_DEFAULT_MAX_CHAR_HEIGHT};
  opt.char_h_min = params.min_char_height + 2;
  opt.char_h_max = params.max_char_height - 4;
  vorn_init();
  vorn::plate_work work;
  vorn_image *yuv = vorn_image_alloc(params.width, params.height, VORN_FORMAT_YUV);
  if (!yuv || !vorn::plate_work_alloc(&work, params.width, params.height)) return 1;

  std::vector<Sample> samples;
  int used = 0;
  for (int i = 0; i < plates; ++i) {
    plate_synth::SceneTruth truth;
    const plate_synth::Rgb scene = plate_synth::make_scene(rng, opt, &truth);
    // The grey frame exactly as the reader makes it: the Y plane of the frame converted to YUV.
    const std::vector<uint8_t> frame = scene.to_bmp24();
    if (vorn_image_bmp24_to_yuv(frame.data(), yuv) != VORN_OK) return 1;
    vorn_mono_image img = {yuv->width, yuv->height, yuv->plane[0]};
    vorn::plate_found found[vorn::kPlateMaxCandidates];
    const int n = vorn::plate_find(&img, params, &work, found, vorn::kPlateMaxCandidates);
    for (int k = 0; k < n; ++k) {
      if (!overlaps(vorn::plate_row_rect(found[k], found[k].first, params.width, params.height), truth.row_left, truth.row_top, truth.row_right, truth.row_bottom)) continue;
      for (int c = 0; c < VORN_PLATE_CHARS; ++c) {
        Sample s;
        memcpy(s.f, found[k].features[found[k].first + c], sizeof s.f);
        s.cls = (int)(strchr(kAll, truth.text[c]) - kAll);
        samples.push_back(s);
      }
      ++used;
      break;
    }
  }
  vorn::plate_work_free(&work);
  vorn_image_free(yuv);
  printf("%d of %d plates segmented, %zu characters\n", used, plates, samples.size());

  const bool ok = train_net(samples, 0, 36, epochs, dir + "/charnum.who", rng) &&
                  train_net(samples, 0, 10, epochs, dir + "/num.who", rng) &&
                  train_net(samples, 10, 26, epochs, dir + "/char.who", rng);
  return ok ? 0 : 1;
}
