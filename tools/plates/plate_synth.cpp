#include "plate_synth.h"

#include <math.h>
#include <string.h>

#include <algorithm>

namespace plate_synth {
namespace {

// The stroke font: each glyph is polylines separated by ';', points "x,y" in a box 7 units tall (y down);
// letters are 5 units wide, digits 4, so a digit and its look-alike letter differ in shape and proportion.
struct Glyph {
  char c;
  double width;
  const char *strokes;
};
const Glyph kFont[] = {
    {'0', 4, "1,0 3,0 4,1 4,6 3,7 1,7 0,6 0,1 1,0"},
    {'1', 4, "0.8,1.6 2.4,0 2.4,7;0.8,7 4,7"},
    {'2', 4, "0,1.2 1,0 3,0 4,1 4,2.6 0,7 4,7"},
    {'3', 4, "0,0 4,0 1.8,3 3,3 4,4 4,6 3,7 1,7 0,6"},
    {'4', 4, "3,7 3,0 0,5 4,5"},
    {'5', 4, "4,0 0.4,0 0,3.2 3,3.2 4,4.2 4,6 3,7 0,7"},
    {'6', 4, "3.6,0 1.6,0 0,2 0,6 1,7 3,7 4,6 4,4.2 3,3.2 0,3.2"},
    {'7', 4, "0,0 4,0 1.4,7"},
    {'8', 4, "1,3.5 0,2.6 0,1 1,0 3,0 4,1 4,2.6 3,3.5 1,3.5 0,4.5 0,6 1,7 3,7 4,6 4,4.5 3,3.5"},
    {'9', 4, "0.4,7 2.4,7 4,5 4,1 3,0 1,0 0,1 0,3 1,3.8 4,3.8"},
    {'A', 5, "0,7 2.5,0 5,7;1,4.6 4,4.6"},
    {'B', 5, "0,3.5 3.6,3.5 4.6,2.6 4.6,1 3.6,0 0,0 0,7 4,7 5,6 5,4.5 4,3.5"},
    {'C', 5, "5,1 4,0 1,0 0,1 0,6 1,7 4,7 5,6"},
    {'D', 5, "0,0 0,7 3,7 5,5 5,2 3,0 0,0"},
    {'E', 5, "5,0 0,0 0,7 5,7;0,3.5 4,3.5"},
    {'F', 5, "5,0 0,0 0,7;0,3.5 4,3.5"},
    {'G', 5, "5,1 4,0 1,0 0,1 0,6 1,7 4,7 5,6 5,4 2.8,4"},
    {'H', 5, "0,0 0,7;5,0 5,7;0,3.5 5,3.5"},
    {'I', 5, "1,0 4,0;2.5,0 2.5,7;1,7 4,7"},
    {'J', 5, "1,0 5,0;4,0 4,6 3,7 1,7 0,6"},
    {'K', 5, "0,0 0,7;5,0 0,4.6;1.7,3.2 5,7"},
    {'L', 5, "0,0 0,7 5,7"},
    {'M', 5, "0,7 0,0 2.5,4 5,0 5,7"},
    {'N', 5, "0,7 0,0 5,7 5,0"},
    {'O', 5, "1.6,0 3.4,0 5,1.6 5,5.4 3.4,7 1.6,7 0,5.4 0,1.6 1.6,0"},
    {'P', 5, "0,7 0,0 4,0 5,1 5,3 4,4 0,4"},
    {'Q', 5, "1.6,0 3.4,0 5,1.6 5,5.4 3.4,7 1.6,7 0,5.4 0,1.6 1.6,0;3,5 5.2,7.2"},
    {'R', 5, "0,7 0,0 4,0 5,1 5,3 4,4 0,4;2.4,4 5,7"},
    {'S', 5, "5,1 4,0 1,0 0,1 0,2.5 1,3.5 4,3.5 5,4.5 5,6 4,7 1,7 0,6"},
    {'T', 5, "0,0 5,0;2.5,0 2.5,7"},
    {'U', 5, "0,0 0,6 1,7 4,7 5,6 5,0"},
    {'V', 5, "0,0 2.5,7 5,0"},
    {'W', 5, "0,0 1.2,7 2.5,2.4 3.8,7 5,0"},
    {'X', 5, "0,0 5,7;5,0 0,7"},
    {'Y', 5, "0,0 2.5,3.5 5,0;2.5,3.5 2.5,7"},
    {'Z', 5, "0,0 5,0 0,7 5,7"},
};

const Glyph *glyph_of(char c) {
  for (const Glyph &g : kFont)
    if (g.c == c) return &g;
  return nullptr;
}

struct Seg {
  double x0, y0, x1, y1;
};

std::vector<Seg> segments_of(const Glyph &g) {
  std::vector<Seg> out;
  std::vector<std::pair<double, double>> line;
  const char *p = g.strokes;
  auto flush = [&] {
    for (size_t i = 1; i < line.size(); ++i)
      out.push_back({line[i - 1].first, line[i - 1].second, line[i].first, line[i].second});
    line.clear();
  };
  while (*p) {
    if (*p == ';') {
      flush();
      ++p;
      continue;
    }
    if (*p == ' ') {
      ++p;
      continue;
    }
    char *end;
    double x = strtod(p, &end);
    p = end + 1;  // skip ','
    double y = strtod(p, &end);
    p = end;
    line.push_back({x, y});
  }
  flush();
  return out;
}

double seg_dist2(const Seg &s, double x, double y) {
  const double dx = s.x1 - s.x0, dy = s.y1 - s.y0;
  const double len2 = dx * dx + dy * dy;
  double t = len2 > 0 ? ((x - s.x0) * dx + (y - s.y0) * dy) / len2 : 0.0;
  t = std::min(1.0, std::max(0.0, t));
  const double ex = s.x0 + t * dx - x, ey = s.y0 + t * dy - y;
  return ex * ex + ey * ey;
}

// Plate geometry in font units.
constexpr double kMarginX = 2.6, kMarginY = 2.2, kGap = 2.0, kGroupGap = 3.6, kCharH = 7.0;
constexpr double kBorderInset = 0.35, kBorderWidth = 0.4;

struct Placed {
  double x;  // left of the glyph box
  std::vector<Seg> segs;
  double width;
};

std::vector<Placed> layout(const std::string &text, double *w, double *h) {
  std::vector<Placed> out;
  double x = kMarginX;
  for (size_t i = 0; i < text.size(); ++i) {
    const Glyph *g = glyph_of(text[i]);
    if (!g) continue;
    out.push_back({x, segments_of(*g), g->width});
    x += g->width + (i == 1 || i == 4 ? kGroupGap : kGap);
  }
  x += kMarginX - kGap;
  *w = x;
  *h = kCharH + 2 * kMarginY;
  return out;
}

// Solves the 8 unknowns of the homography that takes (sx, sy)[i] to (dx, dy)[i].
void homography(const double *sx, const double *sy, const double *dx, const double *dy, double m[9]) {
  double a[8][9];
  for (int i = 0; i < 4; ++i) {
    double *r0 = a[2 * i], *r1 = a[2 * i + 1];
    const double x = sx[i], y = sy[i], u = dx[i], v = dy[i];
    const double row0[9] = {x, y, 1, 0, 0, 0, -u * x, -u * y, u};
    const double row1[9] = {0, 0, 0, x, y, 1, -v * x, -v * y, v};
    memcpy(r0, row0, sizeof row0);
    memcpy(r1, row1, sizeof row1);
  }
  for (int c = 0; c < 8; ++c) {
    int piv = c;
    for (int r = c + 1; r < 8; ++r)
      if (fabs(a[r][c]) > fabs(a[piv][c])) piv = r;
    for (int k = 0; k < 9; ++k) std::swap(a[c][k], a[piv][k]);
    for (int r = 0; r < 8; ++r) {
      if (r == c) continue;
      const double f = a[r][c] / a[c][c];
      for (int k = c; k < 9; ++k) a[r][k] -= f * a[c][k];
    }
  }
  for (int i = 0; i < 8; ++i) m[i] = a[i][8] / a[i][i];
  m[8] = 1.0;
}

void put(Rgb &img, int x, int y, const uint8_t c[3]) {
  const size_t i = (size_t)y * img.w + x;
  img.r[i] = c[0];
  img.g[i] = c[1];
  img.b[i] = c[2];
}

uint8_t clamp8(double v) { return (uint8_t)std::min(255.0, std::max(0.0, floor(v + 0.5))); }

}  // namespace

std::vector<uint8_t> Rgb::to_bmp24() const {
  const size_t stride = ((size_t)w * 3 + 3) & ~(size_t)3;
  std::vector<uint8_t> out(stride * h, 0);
  for (int y = 0; y < h; ++y) {
    uint8_t *row = &out[(size_t)(h - 1 - y) * stride];
    for (int x = 0; x < w; ++x) {
      const size_t i = (size_t)y * w + x;
      row[3 * x] = b[i];
      row[3 * x + 1] = g[i];
      row[3 * x + 2] = r[i];
    }
  }
  return out;
}

Grey Rgb::luma() const {
  Grey out(w, h);
  for (size_t i = 0; i < out.px.size(); ++i) out.px[i] = clamp8(0.299 * r[i] + 0.587 * g[i] + 0.114 * b[i]);
  return out;
}

std::string random_text(std::mt19937 &rng) {
  static const char kLetters[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
  static const char kDigits[] = "0123456789";
  static const char kEither[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
  const char *layout = "LLDDDAA";
  std::string s;
  for (const char *p = layout; *p; ++p) {
    if (*p == 'L') s += kLetters[rng() % 26];
    else if (*p == 'D') s += kDigits[rng() % 10];
    else s += kEither[rng() % 36];
  }
  return s;
}

void plate_units(const std::string &text, double *w, double *h) { layout(text, w, h); }

void char_centres(const std::string &text, const Quad &q, std::vector<double> *x, std::vector<double> *y) {
  double pw, ph;
  const std::vector<Placed> glyphs = layout(text, &pw, &ph);
  const double rx[4] = {0, pw, pw, 0}, ry[4] = {0, 0, ph, ph};
  double m[9];
  homography(rx, ry, q.x, q.y, m);
  x->clear();
  y->clear();
  for (const Placed &g : glyphs) {
    const double u = g.x + g.width / 2, v = kMarginY + kCharH / 2;
    const double d = m[6] * u + m[7] * v + m[8];
    x->push_back((m[0] * u + m[1] * v + m[2]) / d);
    y->push_back((m[3] * u + m[4] * v + m[5]) / d);
  }
}

void draw_plate(Rgb &img, const std::string &text, const Quad &q, const Look &look) {
  double pw, ph;
  const std::vector<Placed> glyphs = layout(text, &pw, &ph);
  // Map picture -> plate units.
  const double rx[4] = {0, pw, pw, 0}, ry[4] = {0, 0, ph, ph};
  double m[9];
  homography(q.x, q.y, rx, ry, m);
  const double r2 = (look.stroke / 2) * (look.stroke / 2);
  int x0 = (int)floor(*std::min_element(q.x, q.x + 4)), x1 = (int)ceil(*std::max_element(q.x, q.x + 4));
  int y0 = (int)floor(*std::min_element(q.y, q.y + 4)), y1 = (int)ceil(*std::max_element(q.y, q.y + 4));
  x0 = std::max(0, x0);
  y0 = std::max(0, y0);
  x1 = std::min(img.w - 1, x1);
  y1 = std::min(img.h - 1, y1);
  for (int y = y0; y <= y1; ++y)
    for (int x = x0; x <= x1; ++x) {
      double acc[3] = {0, 0, 0};
      int inside = 0;
      const size_t idx = (size_t)y * img.w + x;
      const uint8_t bg[3] = {img.r[idx], img.g[idx], img.b[idx]};
      for (int sy = 0; sy < 3; ++sy)
        for (int sx = 0; sx < 3; ++sx) {
          const double fx = x + (sx + 0.5) / 3 - 0.5, fy = y + (sy + 0.5) / 3 - 0.5;
          const double d = m[6] * fx + m[7] * fy + m[8];
          const double u = (m[0] * fx + m[1] * fy + m[2]) / d, v = (m[3] * fx + m[4] * fy + m[5]) / d;
          const uint8_t *c = bg;
          if (u >= 0 && u < pw && v >= 0 && v < ph) {
            ++inside;
            bool ink = false;
            const double bi = kBorderInset, bo = kBorderInset + kBorderWidth;
            const bool in_outer = u >= bi && u < pw - bi && v >= bi && v < ph - bi;
            const bool in_inner = u >= bo && u < pw - bo && v >= bo && v < ph - bo;
            if (in_outer && !in_inner) ink = true;
            const double gy = v - kMarginY;
            for (const Placed &g : glyphs) {
              if (ink) break;
              const double gx = u - g.x + look.slant * (gy - kCharH);
              if (gx < -1 || gx > g.width + 1) continue;
              for (const Seg &s : g.segs)
                if (seg_dist2(s, gx, gy) <= r2) {
                  ink = true;
                  break;
                }
            }
            c = ink ? look.ink : look.paper;
          }
          for (int k = 0; k < 3; ++k) acc[k] += c[k];
        }
      if (!inside) continue;
      const uint8_t out[3] = {clamp8(acc[0] / 9), clamp8(acc[1] / 9), clamp8(acc[2] / 9)};
      put(img, x, y, out);
    }
}

void blur(Rgb &img, double sigma) {
  if (sigma <= 0.05) return;
  const int rad = (int)ceil(3 * sigma);
  std::vector<double> k(2 * rad + 1);
  double sum = 0;
  for (int i = -rad; i <= rad; ++i) sum += k[i + rad] = exp(-i * i / (2 * sigma * sigma));
  for (double &v : k) v /= sum;
  std::vector<uint8_t> *planes[3] = {&img.r, &img.g, &img.b};
  std::vector<double> tmp((size_t)img.w * img.h);
  for (auto *pl : planes) {
    std::vector<uint8_t> &p = *pl;
    for (int y = 0; y < img.h; ++y)
      for (int x = 0; x < img.w; ++x) {
        double s = 0;
        for (int i = -rad; i <= rad; ++i) s += k[i + rad] * p[(size_t)y * img.w + std::min(img.w - 1, std::max(0, x + i))];
        tmp[(size_t)y * img.w + x] = s;
      }
    for (int y = 0; y < img.h; ++y)
      for (int x = 0; x < img.w; ++x) {
        double s = 0;
        for (int i = -rad; i <= rad; ++i) s += k[i + rad] * tmp[(size_t)std::min(img.h - 1, std::max(0, y + i)) * img.w + x];
        p[(size_t)y * img.w + x] = clamp8(s);
      }
  }
}

void add_noise(Rgb &img, double sigma, std::mt19937 &rng) {
  std::normal_distribution<double> n(0.0, sigma);
  for (size_t i = 0; i < img.r.size(); ++i) {
    const double e = n(rng);  // mostly luminance noise, a little colour noise
    img.r[i] = clamp8(img.r[i] + e + n(rng) * 0.3);
    img.g[i] = clamp8(img.g[i] + e + n(rng) * 0.3);
    img.b[i] = clamp8(img.b[i] + e + n(rng) * 0.3);
  }
}

Rgb make_scene(std::mt19937 &rng, const SceneOptions &opt, SceneTruth *truth) {
  std::uniform_real_distribution<double> U(0.0, 1.0);
  auto uni = [&](double a, double b) { return a + (b - a) * U(rng); };
  Rgb img(opt.width, opt.height);
  // Background: a smooth gradient.
  const double base[3] = {uni(40, 200), uni(40, 200), uni(40, 200)};
  const double gx = uni(-0.15, 0.15), gy = uni(-0.15, 0.15);
  for (int y = 0; y < img.h; ++y)
    for (int x = 0; x < img.w; ++x) {
      const uint8_t c[3] = {clamp8(base[0] + gx * x + gy * y), clamp8(base[1] + gx * x + gy * y),
                            clamp8(base[2] + gx * x + gy * y)};
      put(img, x, y, c);
    }
  auto fill_rect = [&](int l, int t, int r, int b, const uint8_t c[3]) {
    for (int y = std::max(0, t); y < std::min(img.h, b); ++y)
      for (int x = std::max(0, l); x < std::min(img.w, r); ++x) put(img, x, y, c);
  };
  if (opt.clutter) {
    for (int i = 0; i < 25; ++i) {
      const uint8_t c[3] = {(uint8_t)(rng() % 256), (uint8_t)(rng() % 256), (uint8_t)(rng() % 256)};
      const int l = (int)uni(-50, img.w), t = (int)uni(-50, img.h);
      fill_rect(l, t, l + (int)uni(5, 160), t + (int)uni(5, 120), c);
    }
    for (int i = 0; i < 25; ++i) {  // thin lines
      const uint8_t c[3] = {(uint8_t)(rng() % 256), (uint8_t)(rng() % 256), (uint8_t)(rng() % 256)};
      const double ax = uni(0, img.w), ay = uni(0, img.h), ang = uni(0, 6.283), len = uni(20, 300);
      for (double t = 0; t < len; t += 0.5) {
        const int x = (int)(ax + t * cos(ang)), y = (int)(ay + t * sin(ang));
        if (x >= 0 && y >= 0 && x < img.w && y < img.h) put(img, x, y, c);
      }
    }
  }
  // The plate: size, place and pose.
  const std::string text = random_text(rng);
  double pw, ph;
  plate_units(text, &pw, &ph);
  const double unit = uni(opt.char_h_min, opt.char_h_max) / kCharH;
  const double w = pw * unit, h = ph * unit;
  const double cx = uni(w / 2 + 20, img.w - w / 2 - 20), cy = uni(h / 2 + 20, img.h - h / 2 - 20);
  if (opt.clutter) {  // a car body around the plate
    const uint8_t c[3] = {(uint8_t)(rng() % 256), (uint8_t)(rng() % 256), (uint8_t)(rng() % 256)};
    fill_rect((int)(cx - w * uni(0.8, 2)), (int)(cy - h * uni(1, 4)), (int)(cx + w * uni(0.8, 2)),
              (int)(cy + h * uni(1, 3)), c);
  }
  const double ang = uni(-opt.max_angle_deg, opt.max_angle_deg) * 3.14159265358979 / 180;
  const double persp = uni(-opt.max_persp, opt.max_persp), shear = uni(-opt.max_shear, opt.max_shear);
  // Corners relative to the centre before rotation: left and right edges get different heights (perspective)
  // and the top is shifted against the bottom (shear).
  const double hl = h * (1 + persp) / 2, hr = h * (1 - persp) / 2;
  const double px[4] = {-w / 2 + shear * h / 2, w / 2 + shear * h / 2, w / 2 - shear * h / 2, -w / 2 - shear * h / 2};
  const double py[4] = {-hl, -hr, hr, hl};
  Quad q;
  for (int i = 0; i < 4; ++i) {
    q.x[i] = cx + px[i] * cos(ang) - py[i] * sin(ang);
    q.y[i] = cy + px[i] * sin(ang) + py[i] * cos(ang);
  }
  Look look;
  const double paper = uni(170, 250), ink = uni(0, 70);
  const bool yellow = rng() % 4 == 0;
  look.paper[0] = clamp8(paper);
  look.paper[1] = clamp8(paper * (yellow ? 0.9 : 1.0));
  look.paper[2] = clamp8(paper * (yellow ? 0.3 : 1.0));
  look.ink[0] = look.ink[1] = look.ink[2] = clamp8(ink);
  look.stroke = uni(0.75, 1.05);
  look.slant = uni(-0.06, 0.06);
  draw_plate(img, text, q, look);
  blur(img, uni(opt.blur_min, opt.blur_max));
  add_noise(img, uni(opt.noise_min, opt.noise_max), rng);
  if (truth) {
    truth->text = text;
    truth->quad = q;
    truth->left = (int)floor(*std::min_element(q.x, q.x + 4));
    truth->right = (int)ceil(*std::max_element(q.x, q.x + 4));
    truth->top = (int)floor(*std::min_element(q.y, q.y + 4));
    truth->bottom = (int)ceil(*std::max_element(q.y, q.y + 4));
    // The character row: plate units [kMarginX, pw - kMarginX] x [kMarginY, kMarginY + kCharH].
    const double rx[4] = {0, pw, pw, 0}, ry[4] = {0, 0, ph, ph};
    double m[9];
    homography(rx, ry, q.x, q.y, m);
    const double ux[4] = {kMarginX, pw - kMarginX, pw - kMarginX, kMarginX};
    const double uy[4] = {kMarginY, kMarginY, kMarginY + kCharH, kMarginY + kCharH};
    double lo_x = 1e9, hi_x = -1e9, lo_y = 1e9, hi_y = -1e9;
    for (int i = 0; i < 4; ++i) {
      const double d = m[6] * ux[i] + m[7] * uy[i] + m[8];
      const double x = (m[0] * ux[i] + m[1] * uy[i] + m[2]) / d, y = (m[3] * ux[i] + m[4] * uy[i] + m[5]) / d;
      lo_x = std::min(lo_x, x);
      hi_x = std::max(hi_x, x);
      lo_y = std::min(lo_y, y);
      hi_y = std::max(hi_y, y);
    }
    truth->row_left = (int)floor(lo_x);
    truth->row_right = (int)ceil(hi_x);
    truth->row_top = (int)floor(lo_y);
    truth->row_bottom = (int)ceil(hi_y);
  }
  return img;
}

}  // namespace plate_synth
