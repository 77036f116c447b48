// The plate reader: owns the three character networks, the grey frame and the work space of the stages, and
// reads the best candidate of each frame.
#include <math.h>
#include <stdio.h>
#include <string.h>

#include "core/memory.h"
#include "recognition/plate_internal.h"
#include "recognition/plate_reader.h"
#include "vorn_bpnn.h"

namespace vorn {
namespace {

const char *const kWeightNames[3] = {"charnum.who", "num.who", "char.who"};
const uint32_t kNetOutputs[3] = {36, 10, 26};
constexpr uint32_t kHiddenUnits = 60;

#if defined(_WIN32)
constexpr char kSep = '\\';
#else
constexpr char kSep = '/';
#endif

#ifndef VORN_PLATE_DATA_DIR
#define VORN_PLATE_DATA_DIR "."
#endif

// "<dir><sep><name>" into buf; false when it does not fit.
bool plate_join(char *buf, size_t n, const char *dir, const char *name) {
  const int k = snprintf(buf, n, "%s%c%s", dir, kSep, name);
  return k > 0 && (size_t)k < n;
}

// A weight file of exactly the size a 13-60-n network writes, loaded.
vorn_result plate_load_net(vorn_bpnn *net, uint32_t n_out, const char *path) {
  FILE *f = fopen(path, "rb");
  if (!f) return VORN_E_PARAM;
  const long expect = 10 + (long)(kPlateFeatures + 1) * (kHiddenUnits + 1) * 8 + (long)(kHiddenUnits + 1) * (n_out + 1) * 8;
  const bool sized = fseek(f, 0, SEEK_END) == 0 && ftell(f) == expect;
  fclose(f);
  if (!sized) return VORN_E_PARAM;
  return vorn_bpnn_load_weight(net, path);
}

void plate_free_members(vorn_plate *pl) {
  for (vorn_bpnn *&net : pl->nets) {
    vorn_bpnn_destroy(net);
    net = nullptr;
  }
  if (pl->frame) vorn_image_free(pl->frame);
  pl->frame = nullptr;
  plate_work_free(&pl->work);
}

}  // namespace

// Classifies one character with the network of its layout position: best output and its value.
void plate_classify(vorn_plate *pl, char kind, const double *features, char *c, float *conf) {
  static const char kAll[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
  const int net = kind == 'D' ? 1 : kind == 'L' ? 2 : 0;
  const char *alphabet = net == 2 ? kAll + 10 : kAll;
  double out[36];
  vorn_bpnn_recognize(pl->nets[net], features, out);
  int best = 0;
  for (uint32_t i = 1; i < kNetOutputs[net]; ++i)
    if (out[i] > out[best]) best = (int)i;
  *c = alphabet[best];
  *conf = (float)out[best];
}

vorn_result plate_read(vorn_plate *pl, const vorn_mono_image *grey) {
  memset(&pl->info, 0, sizeof pl->info);
  pl->has_info = false;
  plate_found found[kPlateMaxCandidates];
  const int n = plate_find(grey, pl->params, &pl->work, found, kPlateMaxCandidates);
  static const char kLayout[] = VORN_PLATE_LAYOUT;
  double best_key = 0;
  // Every run of seven boxes of every candidate is read; the reading with the largest product of its confidences
  // wins (on a tie, the earlier: each candidate's best-agreeing run is read first). The product, unlike the
  // weakest confidence alone, weighs every character, so a run that takes in a piece of the border with one
  // confident guess does not beat the true row.
  for (int i = 0; i < n; ++i) {
    const plate_found &f = found[i];
    for (int k = 0; k + kPlateChars <= f.count; ++k) {
      const int s = k == 0 ? f.first : (k <= f.first ? k - 1 : k);
      vorn_plate_info info;
      memset(&info, 0, sizeof info);
      float lowest = 1.0f;
      double key = 0;
      for (int c = 0; c < kPlateChars; ++c) {
        plate_classify(pl, kLayout[c], f.features[s + c], &info.text[c], &info.confidence[c]);
        if (info.confidence[c] < lowest) lowest = info.confidence[c];
        key += log(info.confidence[c] > 1e-6f ? (double)info.confidence[c] : 1e-6);
      }
      info.score = lowest;
      if (pl->has_info && key <= best_key) continue;
      best_key = key;
      info.rect = plate_row_rect(f, s, grey->width, grey->height);
      info.angle = (float)f.map.angle_deg;
      pl->info = info;
      pl->has_info = true;
      pl->best_region = f.region;
    }
  }
  return pl->has_info ? VORN_OK : VORN_E_NO_RESULT;
}

}  // namespace vorn

using namespace vorn;

extern "C" VORN_API vorn_result vorn_plate_create(const vorn_plate_params *params, vorn_plate **out) {
  if (out) *out = nullptr;
  if (!params || !out) return VORN_E_NULL;
  vorn_plate_params p = *params;
  if (!p.min_char_height) p.min_char_height = VORN_PLATE_DEFAULT_MIN_CHAR_HEIGHT;
  if (!p.max_char_height)
    p.max_char_height = VORN_PLATE_DEFAULT_MAX_CHAR_HEIGHT < p.height ? VORN_PLATE_DEFAULT_MAX_CHAR_HEIGHT : p.height;
  uint32_t area;
  if (p.width < 32 || p.height < 16 || !area_u32(p.width, p.height, &area) || area > 0x10000000u ||
      p.min_char_height < 8 || p.min_char_height > p.max_char_height || p.max_char_height > p.height)
    return VORN_E_PARAM;

  vorn_plate *pl = block_new<vorn_plate>();
  if (!pl) return VORN_E_NOMEM;
  pl->params = p;
  pl->params.weights_dir = nullptr;  // not kept: the caller's string need not outlive create
  vorn_result r = VORN_OK;
  for (int i = 0; i < 3 && r == VORN_OK; ++i) {
    const vorn_bpnn_params np = {0.3, 0.3, (uint32_t)kPlateFeatures, kHiddenUnits, kNetOutputs[i], 0};
    r = vorn_bpnn_create(&np, &pl->nets[i]);
    if (r != VORN_OK) break;
    char path[4096];
#if defined(_WIN32)
    const char *dir = p.weights_dir ? p.weights_dir : "C:";
#else
    const char *dir = p.weights_dir ? p.weights_dir : VORN_PLATE_DATA_DIR;
#endif
    r = plate_join(path, sizeof path, dir, kWeightNames[i]) ? plate_load_net(pl->nets[i], kNetOutputs[i], path)
                                                           : VORN_E_PARAM;
  }
  if (r == VORN_OK) {
    pl->frame = vorn_image_alloc(p.width, p.height, VORN_FORMAT_YUV);
    if (!pl->frame || !plate_work_alloc(&pl->work, p.width, p.height)) r = VORN_E_NOMEM;
  }
  if (r != VORN_OK) {
    plate_free_members(pl);
    block_release(pl);
    return r;
  }
  *out = pl;
  return VORN_OK;
}

extern "C" VORN_API vorn_result vorn_plate_destroy(vorn_plate *plate) {
  if (!plate) return VORN_E_NULL;
  plate_free_members(plate);
  block_release(plate);
  return VORN_OK;
}

extern "C" VORN_API vorn_result vorn_plate_get_info(const vorn_plate *plate, vorn_plate_info *info) {
  if (info) memset(info, 0, sizeof *info);
  if (!plate || !info) return VORN_E_NULL;
  if (!plate->has_info) return VORN_E_NO_RESULT;
  *info = plate->info;
  return VORN_OK;
}

extern "C" VORN_API vorn_result vorn_plate_get_width(const vorn_plate *plate, uint32_t *width) {
  if (width) *width = 0;
  if (!plate || !width) return VORN_E_NULL;
  *width = plate->params.width;
  return VORN_OK;
}

extern "C" VORN_API vorn_result vorn_plate_get_height(const vorn_plate *plate, uint32_t *height) {
  if (height) *height = 0;
  if (!plate || !height) return VORN_E_NULL;
  *height = plate->params.height;
  return VORN_OK;
}
