// Whether a crossing runs in the guarded direction: its trace's angle lies within 90 degrees of the direction
// line's, the lower boundary left out and the upper kept (d = 90 is no trigger, d = 270 is one).
#ifndef VORN_ANALYTICS_GUARD_DIRECTION_H
#define VORN_ANALYTICS_GUARD_DIRECTION_H

#include "vorn_geometry.h"

namespace vorn {

inline bool guard_direction_triggers(double direction_angle, vorn_line trace) {
  double d = direction_angle - vorn_get_line_angle(trace);
  if (d < 0) d += 360;
  return d < 90 || d >= 270;
}

}  // namespace vorn

#endif
