// Stages of the plate reader, shared by the reader itself and by the training and evaluation programs.
//
// The road of one frame: grey frame -> vertical-edge mask closed along rows -> connected regions whose shape fits
// a row of characters (candidates) -> for each candidate the skew angle and the character band (the fullest
// five-row window of the rotated edge profile), a deskewed patch with the band 30 pixels tall -> Otsu
// binarisation of the patch, shear undone, the border's uprights cleared -> character pieces from the column
// profile of the middle rows, merged and split to character widths, boxes grown through their ink -> 13 features
// per box -> every run of seven boxes read by the networks chosen by the layout positions, the reading with the
// largest product of confidences kept.
#ifndef VORN_RECOGNITION_PLATE_INTERNAL_H
#define VORN_RECOGNITION_PLATE_INTERNAL_H

#include <stdint.h>

#include "vorn_image.h"
#include "vorn_plate.h"

namespace vorn {

constexpr int kPlateChars = VORN_PLATE_CHARS;
constexpr int kPlateFeatures = VORN_PLATE_FEATURES;

// The deskewed patch: the character band spans rows kPatchBandTop .. kPatchBandTop + kPatchBand - 1.
constexpr int kPatchH = 48;
constexpr int kPatchW = 400;
constexpr int kPatchBand = 30;
constexpr int kPatchBandTop = 9;

constexpr int kPlateMaxCandidates = 8;
constexpr int kPlateMaxSegments = 48;

// 13 features of the character in `box` of an ink mask (1 = ink, 0 = paper; rows of `stride` bytes):
// f[0..11] the ink share of a 3 x 4 grid over the box (zone rows top to bottom, each left to right; pixels that
// straddle a zone line count for each side by their overlap), f[12] the box's width / height.
void plate_features(const uint8_t *ink, int stride, const vorn_rect &box, double *f);

// Finds the characters of a deskewed patch: binarises it with the Otsu threshold of its band (ink = dark), undoes
// the shear, then cuts the column profile of the character rows into boxes. `ink` receives the patch's mask
// (width x kPatchH). Returns the number of character-like boxes, left to right (at most kPlateMaxSegments), or 0
// when there are fewer than kPlateChars; *first is where the run of kPlateChars whose heights and bottoms agree
// best begins.
int plate_segment(const vorn_mono_image *patch, uint8_t *ink, vorn_rect *boxes, int *first);

// Work space of the deskewing stage, sized at create for a frame.
struct plate_rectify_work {
  int32_t *profile;  // rows of the rotated edge profile
  int n_profile;
};

// Where the patch lies in the frame: patch point (u, v) is frame point
// (cx + xr * cs - yr * sn, cy + xr * sn + yr * cs) with xr = x0 + u * scale, yr = y0 + (v - kPatchBandTop) * scale.
struct plate_patch_map {
  double cx, cy, cs, sn, x0, y0, scale, angle_deg;
};

// Deskews the region `r` of the grey frame into `patch` (kPatchW x kPatchH plane; patch->width is set to the used
// width). Returns false when the region holds no edge band.
bool plate_rectify(const vorn_mono_image *grey, const vorn_rect &r, int edge_threshold, plate_rectify_work *work,
                   vorn_mono_image *patch, plate_patch_map *map);

// Work space of the locating stage.
struct plate_locate_work {
  uint8_t *mask;     // width x height: the closed edge mask (0/255)
  uint8_t *tmp;      // width x height
  int32_t *runs;     // 4 words per run: row, first column, last column, parent
  int max_runs;
  int32_t *boxes;    // 5 words per run: the region box (left, top, right, bottom) and pixel count at its root
};

// Candidate regions of the frame, best first (most edge pixels). Returns their number (<= max) and the edge
// threshold used.
int plate_locate(const vorn_mono_image *grey, const vorn_plate_params &p, plate_locate_work *work, vorn_rect *out,
                 int max, int *edge_threshold);

// Everything the stages need for one frame size, made at once.
struct plate_work {
  plate_locate_work locate;
  plate_rectify_work rectify;
  vorn_mono_image patch;  // data: kPatchW x kPatchH
  uint8_t *ink;           // kPatchW x kPatchH
};
bool plate_work_alloc(plate_work *w, uint32_t width, uint32_t height);
void plate_work_free(plate_work *w);

// A candidate that held a row of characters: its character-like boxes in the patch and their features.
struct plate_found {
  vorn_rect region;  // the region that was deskewed
  plate_patch_map map;
  int count;         // boxes, >= kPlateChars
  int first;         // start of the best-agreeing run of kPlateChars
  vorn_rect boxes[kPlateMaxSegments];
  double features[kPlateMaxSegments][kPlateFeatures];
};

// The frame rectangle of the run of kPlateChars boxes starting at `start`.
vorn_rect plate_row_rect(const plate_found &f, int start, uint32_t width, uint32_t height);

// Runs location, deskewing and segmentation on a grey frame; returns how many candidates (<= max, in the order of
// location) held a row of characters. `p` must have its character heights filled in.
int plate_find(const vorn_mono_image *grey, const vorn_plate_params &p, plate_work *w, plate_found *found, int max);

// The region around a located band that is deskewed.
vorn_rect plate_region_of(const vorn_rect &band, uint32_t width, uint32_t height);

}  // namespace vorn

#endif
