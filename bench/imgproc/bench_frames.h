// Inputs of the image-operation benchmarks, made once from the street clip: planar frames, grey frames and
// foreground masks (each frame against frame 0, three-plane difference thresholded like a background model's).
#ifndef VORN_BENCH_IMGPROC_FRAMES_H
#define VORN_BENCH_IMGPROC_FRAMES_H

#include <vector>

#include "support/clip.h"
#include "vorn.h"

namespace vorn_bench {

struct ImgprocFrames {
  int width = 0, height = 0, count = 0;
  std::vector<vorn_image *> rgb;
  std::vector<vorn_mono_image *> grey;
  std::vector<vorn_mono_image *> fg;
  vorn_mono_image *region = nullptr;  // all 255
  vorn_mono_image *out = nullptr;     // scratch output
};

inline const ImgprocFrames &imgproc_frames() {
  static ImgprocFrames f = [] {
    ImgprocFrames r;
    const Clip &clip = street_clip(40);
    r.width = clip.width;
    r.height = clip.height;
    r.count = (int)clip.bgr.size();
    for (int i = 0; i < r.count; ++i) {
      vorn_image *img = vorn_image_alloc(r.width, r.height, VORN_FORMAT_RGB);
      to_planes(clip, i, img->plane[0], img->plane[1], img->plane[2]);
      r.rgb.push_back(img);
      vorn_mono_image *g = vorn_mono_image_alloc(r.width, r.height);
      to_grey(clip, i, g->data);
      r.grey.push_back(g);
    }
    for (int i = 0; i < r.count; ++i) {
      vorn_mono_image *m = vorn_mono_image_alloc(r.width, r.height);
      vorn_image_diff_binary_to_mono_image(r.rgb[i], r.rgb[0], m, 20);
      r.fg.push_back(m);
    }
    r.region = vorn_mono_image_alloc(r.width, r.height);
    for (int i = 0; i < r.width * r.height; ++i) r.region->data[i] = 255;
    r.out = vorn_mono_image_alloc(r.width, r.height);
    return r;
  }();
  return f;
}

}  // namespace vorn_bench

#endif
