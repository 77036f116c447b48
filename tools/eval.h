// Scoring events against hand-made truth: crossings and passes matched one to one within a frame tolerance and
// with their direction (precision, recall, F1), and tracks by the usual multi-object measures (misses, false
// tracks, identity switches, fragmentation, MOTA) on the truth's labelled frames.
#ifndef VORN_TOOLS_EVAL_H
#define VORN_TOOLS_EVAL_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "geometry.h"

namespace vt {

struct TruthCrossing {
  int64_t frame = 0;
  bool in = true;         // to the line's "in" side (guard: the guarded direction; count: from area 0)
  bool optional = false;  // doubtful: matching it is no hit, missing it no miss
};

// One line (or pair of areas) and everything that crossed it.
struct TruthLine {
  std::string name;
  std::vector<TruthCrossing> crossings;
  int tolerance = -1;  // frames an event may lie from its crossing; -1: the truth's
};

struct TruthObject {
  int id = 0;
  Box box;
};

struct Truth {
  int tolerance = 12;  // frames an event may lie from its crossing
  std::vector<TruthLine> lines;
  std::map<int64_t, std::vector<TruthObject>> track_frames;  // labelled frames
  int ignore_above = -1;  // track boxes whose bottom lies above this row are not labelled (-1: all are)
};

// An event as read back from the program's output, reduced to what scoring needs.
struct ScoredEvent {
  int64_t frame = 0;
  std::string analytic, kind;
  std::vector<int> ids;
  std::vector<Box> boxes;
  int line = -1;  // the line's index within its analytic ("values":{"line":k}), -1 when not given
};

struct CrossingScore {
  std::string analytic, target;
  int hits = 0, false_events = 0, misses = 0;
  double precision() const;
  double recall() const;
  double f1() const;
};

struct TrackScore {
  std::string analytic;
  int objects = 0;  // labelled boxes over all labelled frames
  int misses = 0, false_boxes = 0, switches = 0, fragments = 0;
  double mota() const;
};

// Reads a truth file: either the hand-made form ("lines", "tracks"; see tests/data/README.md) or the built-in
// scene's truth (`vorn scene --truth`), whose guard crossings and passes become a line "guard" and one "count".
// Throws a usage error naming the file on anything malformed.
Truth read_truth(const std::string &text, const std::string &origin);
// Reads events, one JSON object per line; lines that are not objects (a summary table) are skipped.
std::vector<ScoredEvent> read_events(const std::string &text, const std::string &origin);

// Crossing events ("trigger"/"cross" of guard, "in"/"out" of linecount, "pass" of count) against each truth
// line. An event counts for a line when its analytic bears the line's name, or when it names the line by index
// and its analytic's name is no line's. Revised verdicts replace the event they revise.
std::vector<CrossingScore> score_crossings(const Truth &truth, const std::vector<ScoredEvent> &events);
// "boxes" events (the live tracks of a frame) on the labelled frames, per analytic. A box is matched to a labelled
// one when they overlap by at least 0.4 of their union (matches of the previous labelled frame kept first, then
// by greatest overlap).
std::vector<TrackScore> score_tracks(const Truth &truth, const std::vector<ScoredEvent> &events);

// The whole comparison as a table.
std::string eval_table(const std::vector<CrossingScore> &crossings, const std::vector<TrackScore> &tracks);

// `vorn eval EVENTS TRUTH`: prints the table; returns the exit status.
int eval_files(const std::string &events_path, const std::string &truth_path);

}  // namespace vt

#endif
