#include "scene.h"

#include <algorithm>
#include <cstdio>

#include "json.h"
#include "plate_synth.h"

namespace vt {

namespace {

constexpr int kWidth = 768, kHeight = 576;
constexpr int kGuardY = 300;       // the guard line's row
constexpr int kPassMidY = 300;     // between the two counting areas
constexpr int kLaneSpeed = 4;      // pixels per frame of the vertical walkers
constexpr int kBagDropFrame = 100;
// The bag hangs at the carrier's left hand and lies there once dropped: offset from the carrier's centre.
constexpr Box kBagOffset{-40, 15, -14, 37};
// A car parked at the right edge (its right side beyond the picture), clear of every walker's path, seen from
// behind with its number plate.
constexpr Box kCar{604, 170, 768, 300};
constexpr const char *kPlateText = "RT508HB";
constexpr double kPlateUnit = 2.3;  // pixels per font unit: characters 7 units, 16 pixels, tall

uint32_t mix32(uint32_t x) {
  x ^= x >> 16;
  x *= 0x7feb352dU;
  x ^= x >> 15;
  x *= 0x846ca68bU;
  x ^= x >> 16;
  return x;
}

uint8_t clamp_u8(int v) { return static_cast<uint8_t>(v < 0 ? 0 : v > 255 ? 255 : v); }

// Floor division for the interpolation of key points (numerators may be negative).
int floor_div(int a, int b) {
  int q = a / b;
  if ((a % b != 0) && ((a < 0) != (b < 0))) --q;
  return q;
}

}  // namespace

int SceneTruth::crossings_down() const {
  return static_cast<int>(std::count_if(crossings.begin(), crossings.end(), [](const SceneCrossing &c) { return c.down; }));
}
int SceneTruth::crossings_up() const { return static_cast<int>(crossings.size()) - crossings_down(); }
int SceneTruth::passes_from(int area) const {
  return static_cast<int>(std::count_if(passes.begin(), passes.end(), [&](const ScenePass &p) { return p.from == area; }));
}

static JsonOut polygon_json(const Polygon &p) {
  JsonOut o = JsonOut::array();
  for (const Pt &q : p) o.push_back({q.x, q.y});
  return o;
}

static JsonOut box_json(const Box &b) { return {b.left, b.top, b.right, b.bottom}; }

std::string SceneTruth::to_json() const {
  JsonOut o;
  o["width"] = width;
  o["height"] = height;
  o["fps"] = static_cast<int>(fps);
  o["frames"] = frames;
  o["walkers"] = walkers;
  JsonOut &guard = o["guard"];
  guard["line"] = {guard_line.a.x, guard_line.a.y, guard_line.b.x, guard_line.b.y};
  guard["direction"] = {direction_line.a.x, direction_line.a.y, direction_line.b.x, direction_line.b.y};
  guard["half_width"] = half_width;
  guard["down"] = crossings_down();
  guard["up"] = crossings_up();
  guard["crossings"] = JsonOut::array();
  for (const SceneCrossing &c : crossings)
    guard["crossings"].push_back(
        {{"frame", c.frame}, {"walker", c.walker}, {"direction", c.down ? "down" : "up"}, {"guarded", c.guarded}});
  JsonOut &count = o["count"];
  count["area0"] = polygon_json(area0);
  count["area1"] = polygon_json(area1);
  count["from_area0"] = passes_from(0);
  count["from_area1"] = passes_from(1);
  count["passes"] = JsonOut::array();
  for (const ScenePass &p : passes) count["passes"].push_back({{"frame", p.frame}, {"walker", p.walker}, {"from", p.from}});
  o["left"] = {{"region", polygon_json(region)}, {"frame", left.frame}, {"box", box_json(left.box)}};
  o["plate"] = {{"text", plate}, {"box", box_json(plate_box)}};
  return json_line(o);
}

StreetScene::StreetScene(int frames) {
  info_.width = kWidth;
  info_.height = kHeight;
  info_.fps = 25.0;
  info_.frame_count = frames;
  truth_.frames = frames;
  build_background();
  build_walkers();
  build_truth();
}

void StreetScene::build_background() {
  background_.assign(size_t(kWidth) * kHeight * 3, 0);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      uint32_t h = mix32(uint32_t(y * kWidth + x) ^ 0x5bd1e995U);
      int grain = int(h & 15) - 8;  // fixed texture of the surfaces, +-8
      int r, g, b;
      if (y < 120) {
        // Building front: brick rows with windows every 64 pixels.
        bool window = (x % 64) >= 17 && (x % 64) < 47 && y >= 28 && y < 84;
        bool mortar = (y % 12) == 0 || ((x + ((y / 12) % 2) * 12) % 24) == 0;
        if (window) {
          r = 62, g = 72, b = 88;
          if ((x % 64) == 32 || y == 56) r = g = b = 150;  // window bars
        } else if (mortar) {
          r = 150, g = 140, b = 128;
        } else {
          r = 128, g = 84, b = 66;
        }
      } else if (y < 130) {
        r = g = 172, b = 166;  // kerb
      } else {
        // Pavement: slabs of 48 pixels with dark joints, a little lighter towards the camera.
        int base = 118 + (y - 130) / 32;
        bool joint = (x % 48) == 0 || ((y - 130) % 48) == 0;
        r = base + 4, g = base + 2, b = base - 4;
        if (joint) r -= 28, g -= 28, b -= 28;
      }
      uint8_t *p = &background_[(size_t(y) * kWidth + x) * 3];
      p[0] = clamp_u8(b + grain);
      p[1] = clamp_u8(g + grain);
      p[2] = clamp_u8(r + grain);
    }
  }
  draw_parked_car();
}

// The car: a dark body, its rear window, two lights and the plate centred under the window.
void StreetScene::draw_parked_car() {
  Frame f;
  f.resize(kWidth, kHeight);
  f.bgr = background_;
  Canvas canvas(f);
  canvas.fill_box(kCar, Rgb{38, 52, 92});
  canvas.fill_box(Box{kCar.left + 14, kCar.top + 10, kCar.right - 14, kCar.top + 48}, Rgb{70, 84, 96});
  canvas.fill_box(Box{kCar.left + 6, kCar.top + 62, kCar.left + 24, kCar.top + 76}, Rgb{180, 30, 30});
  canvas.fill_box(Box{kCar.right - 24, kCar.top + 62, kCar.right - 6, kCar.top + 76}, Rgb{180, 30, 30});
  plate_synth::Rgb img(kWidth, kHeight);
  for (size_t i = 0; i < size_t(kWidth) * kHeight; ++i) {
    img.b[i] = f.bgr[3 * i];
    img.g[i] = f.bgr[3 * i + 1];
    img.r[i] = f.bgr[3 * i + 2];
  }
  double uw, uh;
  plate_synth::plate_units(kPlateText, &uw, &uh);
  const double w = uw * kPlateUnit, h = uh * kPlateUnit;
  const double x0 = kCar.right - 4 - w, y0 = kCar.top + 84;  // well away from the body's left edge
  const plate_synth::Quad q = {{x0, x0 + w, x0 + w, x0}, {y0, y0, y0 + h, y0 + h}};
  plate_synth::draw_plate(img, kPlateText, q, plate_synth::Look());
  for (size_t i = 0; i < size_t(kWidth) * kHeight; ++i) {
    background_[3 * i] = img.b[i];
    background_[3 * i + 1] = img.g[i];
    background_[3 * i + 2] = img.r[i];
  }
  truth_.plate = kPlateText;
  truth_.plate_box = Box{int(x0), int(y0), int(x0 + w + 0.5), int(y0 + h + 0.5)};
}

void StreetScene::build_walkers() {
  const Rgb shirts[][2] = {{{200, 40, 40}, {240, 220, 200}}, {{30, 60, 180}, {230, 230, 60}},
                           {{30, 150, 60}, {240, 240, 240}}, {{220, 120, 20}, {40, 40, 40}},
                           {{150, 40, 160}, {230, 200, 230}}, {{20, 160, 170}, {250, 250, 250}}};
  const Rgb legs[] = {{40, 40, 60}, {60, 50, 40}, {25, 25, 25}, {70, 70, 90}};
  int n = 0;
  auto add = [&](std::vector<Key> keys) {
    Walker w;
    w.keys = std::move(keys);
    w.shirt_a = shirts[n % 6][0];
    w.shirt_b = shirts[n % 6][1];
    w.legs = legs[n % 4];
    walkers_.push_back(w);
    ++n;
  };
  // A vertical walk through the whole picture whose centre is on row 300 at frame `at`.
  auto lane = [&](int x, bool down, int at) {
    const int top = -40, bottom = kHeight + 40;
    if (down) add({{{x, top}, at - (kGuardY - top) / kLaneSpeed}, {{x, bottom}, at + (bottom - kGuardY) / kLaneSpeed}});
    else add({{{x, bottom}, at - (bottom - kGuardY) / kLaneSpeed}, {{x, top}, at + (kGuardY - top) / kLaneSpeed}});
  };
  // Left half: six crossings of the guard line, four down (the guarded direction) and two up, one at a time.
  lane(120, true, 130);
  lane(300, false, 185);
  lane(210, true, 240);
  lane(120, true, 295);
  lane(300, false, 350);
  lane(210, true, 405);
  // Right half: two lanes through the two counting areas, two passes each way; the walkers are far enough apart
  // in time that only one is ever between the areas.
  lane(535, true, 150);
  lane(585, false, 235);
  lane(535, true, 320);
  lane(585, false, 405);
  // Bottom right: someone comes in from the right, puts a bag down, and leaves the way they came.
  add({{{810, 505}, 50}, {{700, 505}, 87}, {{700, 505}, 108}, {{810, 505}, 145}});
  walkers_.back().drop_frame = kBagDropFrame;

  truth_.guard_line = Segment{{60, kGuardY}, {360, kGuardY}};
  truth_.direction_line = Segment{{210, kGuardY - 40}, {210, kGuardY + 40}};
  truth_.half_width = 40;
  truth_.area0 = Polygon{{510, 170}, {610, 170}, {610, 250}, {510, 250}};
  truth_.area1 = Polygon{{510, 350}, {610, 350}, {610, 430}, {510, 430}};
  truth_.region = Polygon{{630, 450}, {767, 450}, {767, 575}, {630, 575}};
  truth_.walkers = n;
}

bool StreetScene::walker_at(const Walker &w, int frame, Pt &centre, int &walked) {
  if (w.keys.empty() || frame < w.keys.front().frame || frame > w.keys.back().frame) return false;
  walked = 0;
  for (size_t i = 0; i + 1 < w.keys.size(); ++i) {
    const Key &a = w.keys[i], &b = w.keys[i + 1];
    const int leg = std::abs(b.at.x - a.at.x) + std::abs(b.at.y - a.at.y);
    if (frame <= b.frame) {
      const int span = std::max(b.frame - a.frame, 1), t = frame - a.frame;
      centre.x = a.at.x + floor_div((b.at.x - a.at.x) * t, span);
      centre.y = a.at.y + floor_div((b.at.y - a.at.y) * t, span);
      walked += floor_div(leg * t, span);
      return true;
    }
    walked += leg;
  }
  centre = w.keys.back().at;
  return true;
}

void StreetScene::build_truth() {
  const int frames = truth_.frames;
  for (size_t i = 0; i < walkers_.size(); ++i) {
    const Walker &w = walkers_[i];
    Pt prev{}, cur{};
    int walked = 0;
    bool have_prev = false;
    for (int f = 0; f < frames; ++f) {
      if (!walker_at(w, f, cur, walked)) {
        have_prev = false;
        continue;
      }
      if (have_prev) {
        const bool left_half = cur.x >= truth_.guard_line.a.x && cur.x <= truth_.guard_line.b.x;
        if (left_half && (prev.y <= kGuardY) != (cur.y <= kGuardY)) {
          bool down = cur.y > prev.y;
          truth_.crossings.push_back(SceneCrossing{f, int(i), down, down});
        }
        const bool in_lane = cur.x >= truth_.area0[0].x && cur.x <= truth_.area0[1].x;
        if (in_lane && (prev.y <= kPassMidY) != (cur.y <= kPassMidY))
          truth_.passes.push_back(ScenePass{f, int(i), cur.y > prev.y ? 0 : 1});
      }
      prev = cur;
      have_prev = true;
    }
    if (w.drop_frame >= 0 && w.drop_frame < frames) {
      walker_at(w, w.drop_frame, cur, walked);
      truth_.left.frame = w.drop_frame;
      truth_.left.box = Box{cur.x + kBagOffset.left, cur.y + kBagOffset.top, cur.x + kBagOffset.right,
                            cur.y + kBagOffset.bottom};
    }
  }
  std::sort(truth_.crossings.begin(), truth_.crossings.end(),
            [](const SceneCrossing &a, const SceneCrossing &b) { return a.frame < b.frame; });
  std::sort(truth_.passes.begin(), truth_.passes.end(),
            [](const ScenePass &a, const ScenePass &b) { return a.frame < b.frame; });
}

void StreetScene::draw_walker(Canvas &c, const Walker &w, Pt p, int walked, int frame) const {
  // 28 x 73 pixels around the centre: legs that swing with the distance walked, a striped shirt (plenty of
  // corners to follow) and a head.
  const int swing = ((walked / 6) % 4 < 2) ? 3 : -3;
  c.fill_box(Box{p.x - 11 + swing, p.y + 10, p.x - 2 + swing, p.y + 37}, w.legs);
  c.fill_box(Box{p.x + 2 - swing, p.y + 10, p.x + 11 - swing, p.y + 37}, w.legs);
  for (int y = p.y - 19; y < p.y + 11; ++y) {
    Rgb s = ((y - (p.y - 19)) / 5) % 2 ? w.shirt_b : w.shirt_a;
    c.fill_box(Box{p.x - 13, y, p.x + 14, y + 1}, s);
  }
  c.fill_box(Box{p.x - 4, p.y - 23, p.x + 5, p.y - 19}, Rgb{200, 160, 130});
  c.fill_circle(Pt{p.x, p.y - 30}, 8, Rgb{210, 170, 140});
  c.fill_box(Box{p.x - 8, p.y - 38, p.x + 9, p.y - 33}, Rgb{50, 35, 25});  // hair
  if (w.drop_frame >= 0 && frame < w.drop_frame) {
    c.line(Pt{p.x - 13, p.y - 10}, Pt{p.x + kBagOffset.left + 13, p.y + kBagOffset.top}, w.shirt_a, 3);
  }
}

void StreetScene::render(int index, Frame &frame) const {
  if (frame.width != kWidth || frame.height != kHeight || frame.bgr.size() != background_.size())
    frame.resize(kWidth, kHeight);
  frame.index = index;
  frame.time = index / info_.fps;
  // Sensor noise: each sample moves by -3..+3 (a triangular spread: the sum of two 2-bit draws, less 3), from a
  // xorshift stream seeded by the frame number, fresh on every frame. Four bits per sample, five pixels per draw.
  uint64_t state = (uint64_t(mix32(uint32_t(index) * 0x9E3779B9U + 0x1234567U)) << 32) | 0x2545F491U;
  const uint8_t *bg = background_.data();
  uint8_t *out = frame.bgr.data();
  const size_t samples = size_t(kWidth) * kHeight * 3;
  uint64_t bits = 0;
  int left = 0;
  for (size_t i = 0; i < samples; ++i) {
    if (left == 0) {
      state ^= state << 13;
      state ^= state >> 7;
      state ^= state << 17;
      bits = state;
      left = 15;
    }
    int v = bg[i] + int(bits & 3) + int((bits >> 2) & 3) - 3;
    bits >>= 4;
    --left;
    out[i] = clamp_u8(v);
  }

  Canvas canvas(frame);
  // The bag on the ground once dropped.
  for (const Walker &w : walkers_) {
    if (w.drop_frame < 0 || index < w.drop_frame) continue;
    Pt at;
    int walked;
    walker_at(w, w.drop_frame, at, walked);
    Box b{at.x + kBagOffset.left, at.y + kBagOffset.top, at.x + kBagOffset.right, at.y + kBagOffset.bottom};
    canvas.fill_box(b, Rgb{90, 50, 20});
    canvas.fill_box(Box{b.left + 3, b.top + 4, b.right - 3, b.top + 7}, Rgb{200, 170, 60});
    canvas.box(Box{b.left + 8, b.top - 5, b.right - 8, b.top + 1}, Rgb{40, 25, 10}, 2);
  }
  // Walkers further up the picture are further away: draw them first.
  std::vector<std::pair<int, size_t>> order;
  for (size_t i = 0; i < walkers_.size(); ++i) {
    Pt p;
    int walked;
    if (walker_at(walkers_[i], index, p, walked)) order.emplace_back(p.y, i);
  }
  std::sort(order.begin(), order.end());
  for (const auto &o : order) {
    const Walker &w = walkers_[o.second];
    Pt p;
    int walked;
    walker_at(w, index, p, walked);
    draw_walker(canvas, w, p, walked, index);
    if (w.drop_frame >= 0 && index < w.drop_frame) {
      Box b{p.x + kBagOffset.left, p.y + kBagOffset.top, p.x + kBagOffset.right, p.y + kBagOffset.bottom};
      canvas.fill_box(b, Rgb{90, 50, 20});
      canvas.fill_box(Box{b.left + 3, b.top + 4, b.right - 3, b.top + 7}, Rgb{200, 170, 60});
    }
  }
}

std::vector<Box> StreetScene::object_boxes(int index) const {
  std::vector<Box> out;
  for (const Walker &w : walkers_) {
    Pt p;
    int walked;
    if (walker_at(w, index, p, walked)) {
      Box b{p.x - 17, p.y - 38, p.x + 18, p.y + 37};  // legs swing 3 pixels beyond the shirt
      if (w.drop_frame >= 0 && index < w.drop_frame) b.left = p.x + kBagOffset.left;
      if (b.right > 0 && b.bottom > 0 && b.left < kWidth && b.top < kHeight) out.push_back(b);
    }
    if (w.drop_frame >= 0 && index >= w.drop_frame) {
      walker_at(w, w.drop_frame, p, walked);
      out.push_back(Box{p.x + kBagOffset.left, p.y + kBagOffset.top - 5, p.x + kBagOffset.right, p.y + kBagOffset.bottom});
    }
  }
  for (Box &b : out) {
    b.left = std::max(b.left, 0);
    b.top = std::max(b.top, 0);
    b.right = std::min(b.right, kWidth);
    b.bottom = std::min(b.bottom, kHeight);
  }
  return out;
}

bool StreetScene::next(Frame &frame) {
  if (next_ >= truth_.frames) return false;
  render(next_, frame);
  ++next_;
  return true;
}

}  // namespace vt
