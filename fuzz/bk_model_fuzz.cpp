// Every background model on random frames under random parameter settings: any type number, frame size and
// colour model, any parameter id and value, frames of every type (a bitmap object for type 0) with random bytes,
// random resets and backgrounds. Every call answers a code of the table, and the mask and background stay
// readable.
//
// Input: type, width (1..40), height (1..30), format, history (1..4), then commands until the input ends:
// process a frame, set a parameter, set the background, reset, or read the outputs.
#include <stdlib.h>

#include <vector>

#include "fuzz_input.h"
#include "vorn.h"

namespace {

bool known(vorn_result r) {
  return r == VORN_OK || r == VORN_E_NO_RESULT || r == VORN_E_NULL || r == VORN_E_NOMEM || r == VORN_E_PARAM ||
         r == VORN_E_LEARNING || r == VORN_E_SCENE_CHANGE;
}

// Frame bytes for a frame type: room for the largest layout; a bitmap object of the model's size for type 0.
struct Frame {
  std::vector<uint8_t> raw;
  vorn_bmp *bmp = nullptr;
  ~Frame() { vorn_bmp_free(bmp); }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
  static const bool ready = (vorn_init(), true);
  (void)ready;
  vorn_fuzz::Input in(data, size);
  const uint32_t type = in.range(0, 9);
  const uint32_t w = in.range(1, 40), h = in.range(1, 30), format = in.range(0, 2), history = in.range(1, 4);
  vorn_bk_model_vtable ops;
  vorn_bk_model_init(type, &ops);
  vorn_bk_model_init_params p = {history, w, h, format};
  void *handle = nullptr;
  if (ops.create(&p, &handle) != VORN_OK) abort();
  vorn_bk_model *m = static_cast<vorn_bk_model *>(handle);
  Frame f;
  f.raw.resize((size_t)((w * 4 + 3) & ~3u) * h + 64);
  f.bmp = vorn_bmp_alloc(w, h, in.u8() & 1 ? 32 : 24);
  for (int step = 0; step < 48 && in.left(); ++step) {
    const uint8_t cmd = in.u8() % 8;
    vorn_result r = VORN_OK;
    if (cmd <= 3) {
      const uint32_t ft = in.range(0, 6);
      uint8_t *frame = f.raw.data();
      if (ft == VORN_FRAME_BMP) {
        in.bytes(vorn_bmp_get_image(f.bmp), (size_t)vorn_bmp_get_stride(f.bmp) * h);
        frame = reinterpret_cast<uint8_t *>(f.bmp);
      } else {
        in.bytes(f.raw.data(), f.raw.size());
      }
      r = cmd == 3 ? ops.set_bk(m, frame, ft) : ops.process(m, frame, ft);
    } else if (cmd == 4) {
      // Parameter ids past the table are answered too; values are any 32 bits, sizes up to 255 included.
      r = ops.set_param(m, in.u32(), in.range(0, 40));
    } else if (cmd == 5) {
      r = ops.reset(m);
    } else if (cmd == 6) {
      vorn_mono_image *mask = vorn_mono_image_alloc(w, h);
      in.bytes(mask->data, (size_t)w * h);
      r = vorn_bk_model_set_mask(m, mask);
      vorn_mono_image_free(mask);
    } else {
      vorn_mono_image *fg = nullptr;
      vorn_image *bk = nullptr, *img = nullptr;
      if (ops.get_fg(m, &fg) == VORN_OK && (!fg || fg->width != w || fg->height != h)) abort();
      r = ops.get_bk(m, &bk);
      if (bk && (bk->width != w || bk->height != h)) abort();
      if (ops.get_image(m, in.range(0, 5), &img) == VORN_OK && !img) abort();
    }
    if (!known(r)) abort();
  }
  ops.destroy(m);
  return 0;
}
