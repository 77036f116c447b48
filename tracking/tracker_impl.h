// Internal record of the multi-object tracker, shared by its create/process half and its frame step.
#ifndef VORN_TRACKING_TRACKER_IMPL_H
#define VORN_TRACKING_TRACKER_IMPL_H

#include "vorn_histogram.h"
#include "vorn_kalman.h"
#include "vorn_matrix.h"
#include "vorn_obj_maker.h"
#include "vorn_tracker.h"

namespace vorn {

constexpr int kMaxTracks = 32;
constexpr int kMaxDetections = 32;
constexpr int kChainLength = 8;
constexpr int kMaxChains = 1024;
constexpr int kHistBins = 32;

// A track, and the same record for a frame's detections.
struct Track {
  int32_t id;  // 0 = free slot
  int32_t left, top, right, bottom;
  int32_t width, height;
  int32_t cx, cy;
  int32_t px, py;  // predicted centre of this frame
  int32_t pleft, ptop, pright, pbottom;
  int32_t missed;  // frames in a row without any detection
  vorn_kalman *filter;       // the slot's filter while the track is live, else null
  vorn_matrix *measurement;  // (cx, cy) for the filter
  int32_t coast;
  vorn_histogram *hist;      // the slot's histogram while the track is live, else null
  vorn_kalman *filter_store;      // a track slot's filter and histogram, made at create and reused by every
  vorn_histogram *hist_store;     // track that takes the slot
  int32_t shared;  // 1 while the track shares a detection with other tracks
  int32_t fit_vx, fit_vy, fit_x0, fit_y0;  // straight-line fit of a candidate path (detections only)
};

// A candidate path: slot[0] is this frame's detection, slot[1] the previous frame's, and so on.
struct Chain {
  int32_t count;
  Track *slot[kChainLength];
};

// Candidate lists of one detection (tracks) or of one track (detections).
struct Candidates {
  int32_t count;
  Track *other[kMaxTracks];
  int32_t dist2[kMaxTracks];
  int32_t pos[kMaxTracks];
};

}  // namespace vorn

struct vorn_tracker {
  uint32_t width, height, model_param, model_kind;
  uint32_t frame_count;
  vorn_bk_model_vtable ops;
  vorn_bk_model *model;
  vorn_obj_maker *maker;
  vorn_rect frame_rect;
  int32_t last_id;
  vorn_tracker_obj out[vorn::kMaxTracks];
  vorn::Track tracks[vorn::kMaxTracks];
  vorn::Track detections[vorn::kMaxDetections];
  int32_t active_count;
  vorn::Track *active[vorn::kMaxTracks];
  vorn::Track *frames[vorn::kChainLength];  // each kMaxDetections records, newest first
  int32_t chain_count;
  vorn::Chain *chains[vorn::kMaxChains];
  vorn::Chain *chain_store;
  vorn::Candidates by_detection[vorn::kMaxDetections];
  vorn::Candidates by_track[vorn::kMaxTracks];
};

namespace vorn {

// One frame's association, chain bookkeeping and track births and deaths, after the object maker has run.
vorn_result tracker_frame_step(vorn_tracker *t);

}  // namespace vorn

#endif
