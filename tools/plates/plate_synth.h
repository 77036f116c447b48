// Synthetic plates for training and measuring the plate reader: a stroke font of our own, plates laid out as the
// reader expects them, and scenes in which a plate is placed under perspective with clutter, blur and noise.
// Host-side code (tools and tests), not part of the library.
#ifndef VORN_TOOLS_PLATE_SYNTH_H
#define VORN_TOOLS_PLATE_SYNTH_H

#include <stdint.h>

#include <random>
#include <string>
#include <vector>

namespace plate_synth {

// A grey picture, rows top-down.
struct Grey {
  int w = 0, h = 0;
  std::vector<uint8_t> px;
  Grey() = default;
  Grey(int w_, int h_, uint8_t v = 0) : w(w_), h(h_), px((size_t)w_ * h_, v) {}
  uint8_t &at(int x, int y) { return px[(size_t)y * w + x]; }
};

// A colour picture as three planes R, G, B, rows top-down.
struct Rgb {
  int w = 0, h = 0;
  std::vector<uint8_t> r, g, b;
  Rgb(int w_, int h_) : w(w_), h(h_), r((size_t)w_ * h_), g((size_t)w_ * h_), b((size_t)w_ * h_) {}
  // The picture as a raw 24-bit frame: bottom-up B, G, R rows padded to 4 bytes.
  std::vector<uint8_t> to_bmp24() const;
  Grey luma() const;
};

// A random plate text in the reader's layout ("LLDDDAA": letters, digits, either).
std::string random_text(std::mt19937 &rng);

// Where a plate sits in a picture: its four corners (top-left, top-right, bottom-right, bottom-left) in pixels.
struct Quad {
  double x[4], y[4];
};

struct Look {
  uint8_t paper[3] = {235, 235, 235};  // plate background R, G, B
  uint8_t ink[3] = {20, 20, 20};       // characters and border
  double stroke = 0.9;                 // stroke width in font units (characters are 7 units tall)
  double slant = 0.0;                  // x shift per unit of height, within the plate
};

// Plate size in font units for a text (width, height).
void plate_units(const std::string &text, double *w, double *h);

// Where the centres of the text's characters lie in a picture when the plate is drawn onto `q`.
void char_centres(const std::string &text, const Quad &q, std::vector<double> *x, std::vector<double> *y);

// Paints the plate into the picture through the perspective map that takes the plate's rectangle onto `q`
// (3 x 3 supersampling).
void draw_plate(Rgb &img, const std::string &text, const Quad &q, const Look &look);

// A random scene of the given size with one plate: returns the plate's quad and text.
struct SceneTruth {
  std::string text;
  Quad quad;
  int left, top, right, bottom;  // bounding box of the quad
  int row_left, row_top, row_right, row_bottom;  // bounding box of the character row
};
struct SceneOptions {
  int width = 640, height = 480;
  double char_h_min = 16, char_h_max = 34;  // character height in pixels
  double max_angle_deg = 6;                  // in-plane rotation
  double max_persp = 0.12;                   // relative change of height from left to right edge
  double max_shear = 0.12;                   // horizontal shear of the plate
  double noise_min = 1, noise_max = 7;       // Gaussian noise sigma range
  double blur_min = 0.3, blur_max = 1.1;     // Gaussian blur sigma range
  bool clutter = true;
};
Rgb make_scene(std::mt19937 &rng, const SceneOptions &opt, SceneTruth *truth);

// Gaussian blur of every plane, and additive Gaussian noise.
void blur(Rgb &img, double sigma);
void add_noise(Rgb &img, double sigma, std::mt19937 &rng);

}  // namespace plate_synth

#endif
