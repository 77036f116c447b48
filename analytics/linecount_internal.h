// The line counter's record and the helpers its parts share: the assignment solver, the side-of-polyline test and
// the tracker step.
#ifndef VORN_ANALYTICS_LINECOUNT_INTERNAL_H
#define VORN_ANALYTICS_LINECOUNT_INTERNAL_H

#include <stdint.h>

#include "vorn_bk_model.h"
#include "vorn_kalman.h"
#include "vorn_linecount.h"
#include "vorn_obj_maker.h"

namespace vorn {
namespace lc {

constexpr uint32_t kMaxDetections = 64;
constexpr uint32_t kMaxTracks = VORN_LINECOUNT_MAX_TRACKS;
constexpr uint32_t kMaxLines = VORN_LINECOUNT_MAX_LINES;
constexpr uint32_t kSide = kMaxTracks > kMaxDetections ? kMaxTracks : kMaxDetections;  // solver's square side
constexpr float kForbidden = 1e6f;  // cost of a pair that may not be matched

// Workspace of the assignment solver, kept in the counter so that a frame allocates nothing.
struct AssignWork {
  double u[kSide + 1], v[kSide + 1], minv[kSide + 1];
  int32_t p[kSide + 1], way[kSide + 1];
  uint8_t used[kSide + 1];
  float cost[kSide * kSide];  // row-major, rows x cols as filled by the caller
};

// Pairs rows with columns so that the summed cost is least (Hungarian method with potentials, O(n^3)).
// cost is rows x cols (row-major, both at most kSide); row_to_col[r] receives the column of row r, or -1 when the
// row is left alone or its best pair costs kForbidden or more.
void assign_min_cost(AssignWork *w, uint32_t rows, uint32_t cols, int32_t *row_to_col);

struct Polyline {
  vorn_point pts[VORN_LINECOUNT_MAX_POINTS];
  uint32_t count;
};

// Signed distance of (x, y) from the polyline's nearest segment: positive on the "in" side (right of the drawing
// direction as seen). within is false when the nearest point is one of the line's two ends, beyond which a
// passer is going round the line, not across it.
float polyline_side(const Polyline &line, float x, float y, bool *within);

struct Track {
  int32_t id;  // 0: free slot
  uint32_t state;
  uint32_t hits;    // consecutive matched frames while tentative, all matched frames once confirmed
  uint32_t misses;  // consecutive unmatched frames
  float cx, cy, w, h;  // box centre and size (centre from the filter)
  float px, py;        // predicted centre for this frame
  vorn_kalman *filter;
  int8_t side[kMaxLines];     // side of each line the anchor last stood clearly on (0: not known yet)
  int8_t pending[kMaxLines];  // crossings made while tentative, reported on confirmation
};

struct Box {
  float left, top, right, bottom;
};

}  // namespace lc
}  // namespace vorn

struct vorn_linecount {
  uint32_t width, height, min_area, confirm_hits, max_lost, anchor, split_aspect;
  float hysteresis;
  vorn_bk_model_vtable bk_ops;
  vorn_bk_model *bk_model;
  vorn_obj_maker *obj_maker;
  vorn_matrix *measurement;  // 2 x 1, the detection's centre
  vorn_matrix *seed_state;   // 4 x 1, a new track's state
  vorn_matrix *seed_cov;     // 4 x 4, a new track's error covariance
  vorn::lc::Polyline lines[vorn::lc::kMaxLines];
  uint32_t line_count;
  uint32_t counts[vorn::lc::kMaxLines][2];  // in, out
  vorn::lc::Track tracks[vorn::lc::kMaxTracks];
  int32_t last_id;
  vorn::lc::Box dets[vorn::lc::kMaxDetections];
  uint32_t det_count;
  int32_t track_of_det[vorn::lc::kMaxDetections];
  uint32_t det_track_slot[vorn::lc::kMaxTracks];  // slot of each row of the cost matrix
  vorn::lc::AssignWork work;
  vorn_linecount_event events[VORN_LINECOUNT_MAX_EVENTS];
  uint32_t event_count;
  vorn_linecount_track out_tracks[vorn::lc::kMaxTracks];
  uint32_t out_count;
};

namespace vorn {
namespace lc {

// Turns the frame's objects into detections (fragments of one body joined, small ones dropped).
void collect_detections(vorn_linecount *c, const vorn_obj *objs, uint32_t count);
// Predicts, associates, updates and counts: one tracker step over c->dets.
void track_step(vorn_linecount *c);
// Ends every track.
void clear_tracks(vorn_linecount *c);

}  // namespace lc
}  // namespace vorn

#endif
