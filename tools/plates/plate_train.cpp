// Trains the plate reader's three networks on synthetic plates and writes charnum.who, num.who and char.who.
//
//   vorn_plate_train <out_dir> [plates=4000] [epochs=60] [seed=1]
//
// Each plate is rendered into a small cluttered scene and run through the reader's own stages (location,
// deskewing, Otsu binarisation, segmentation), so the networks learn the features exactly as the reader will
// compute them; characters are labelled from the rendered text, and only from a run of seven boxes whose centres
// sit on the rendered characters.
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <cmath>
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
    // The run of seven boxes whose centres lie on the true characters' centres (within 0.3 of the gap between
    // neighbouring centres) gives the samples; a plate without one (a box lost or split) gives none, so no
    // character is learnt under another's label.
    std::vector<double> tx, ty;
    plate_synth::char_centres(truth.text, truth.quad, &tx, &ty);
    double gap = 1e30;
    for (int c = 1; c < VORN_PLATE_CHARS; ++c) gap = std::min(gap, std::hypot(tx[c] - tx[c - 1], ty[c] - ty[c - 1]));
    bool taken = false;
    for (int k = 0; k < n && !taken; ++k) {
      const vorn::plate_found &f = found[k];
      const vorn::plate_patch_map &m = f.map;
      for (int s = 0; s + VORN_PLATE_CHARS <= f.count && !taken; ++s) {
        bool on = true;
        for (int c = 0; c < VORN_PLATE_CHARS && on; ++c) {
          const vorn_rect &b = f.boxes[s + c];
          const double xr = m.x0 + ((b.left + b.right) / 2.0 - 0.5) * m.scale;
          const double yr = m.y0 + ((b.top + b.bottom) / 2.0 - 0.5 - vorn::kPatchBandTop) * m.scale;
          const double x = m.cx + xr * m.cs - yr * m.sn, y = m.cy + xr * m.sn + yr * m.cs;
          on = std::hypot(x - tx[c], y - ty[c]) < 0.3 * gap;
        }
        if (!on) continue;
        for (int c = 0; c < VORN_PLATE_CHARS; ++c) {
          Sample smp;
          memcpy(smp.f, f.features[s + c], sizeof smp.f);
          smp.cls = (int)(strchr(kAll, truth.text[c]) - kAll);
          samples.push_back(smp);
        }
        ++used;
        taken = true;
      }
    }
  }
  vorn::plate_work_free(&work);
  vorn_image_free(yuv);
  printf("%d of %d plates segmented onto their characters, %zu characters\n", used, plates, samples.size());

  const bool ok = train_net(samples, 0, 36, epochs, dir + "/charnum.who", rng) &&
                  train_net(samples, 0, 10, epochs, dir + "/num.who", rng) &&
                  train_net(samples, 10, 26, epochs, dir + "/char.who", rng);
  return ok ? 0 : 1;
}
