// Which analytics this build can run, and the one place that creates them.
#include <cmath>

#include "analytic.h"
#include "error.h"
#include "factories.h"

namespace vt {

namespace {

struct Entry {
  const char *kind;
  // Creates the analytic, or nullptr while the library lacks the family it needs.
  std::unique_ptr<Analytic> (*create)(const AnalyticSettings &, const StreamInfo &);
  const char *needs;  // what it waits for while unavailable
};

#if VORN_TOOL_HAVE_GUARD
#define GUARD_FACTORY create_guard
#else
#define GUARD_FACTORY nullptr
#endif
#if VORN_TOOL_HAVE_BK_MODEL && VORN_TOOL_HAVE_COUNTER
#define COUNT_FACTORY create_count
#else
#define COUNT_FACTORY nullptr
#endif
#if VORN_TOOL_HAVE_OBLD
#define LEFT_FACTORY create_left
#else
#define LEFT_FACTORY nullptr
#endif
#if VORN_TOOL_HAVE_TRACKER
#define TRACK_FACTORY create_track
#else
#define TRACK_FACTORY nullptr
#endif
#if VORN_TOOL_HAVE_BK_MODEL
#define BGSUB_FACTORY create_bgsub
#else
#define BGSUB_FACTORY nullptr
#endif
#if VORN_TOOL_HAVE_PLATE
#define PLATE_FACTORY create_plate
#else
#define PLATE_FACTORY nullptr
#endif
#if VORN_TOOL_HAVE_VBC
#define TRAJECTORIES_FACTORY create_trajectories
#else
#define TRAJECTORIES_FACTORY nullptr
#endif

const Entry kEntries[] = {
    {"guard", GUARD_FACTORY, "the library's guard lines (vorn_guard.h)"},
    {"count", COUNT_FACTORY, "the library's object counter and background models (vorn_counter.h, vorn_bk_model.h)"},
    {"track", TRACK_FACTORY, "the library's multi-object tracker (vorn_tracker.h)"},
    {"left", LEFT_FACTORY, "the library's left-object detector (vorn_obld.h)"},
    {"bgsub", BGSUB_FACTORY, "the library's background models (vorn_bk_model.h)"},
    {"plate", PLATE_FACTORY, "the library's plate reader (vorn_plate.h)"},
    {"trajectories", TRAJECTORIES_FACTORY, "the library's trajectory recorder (vorn_vbc.h)"},
};

const Entry *entry(const std::string &kind) {
  for (const Entry &e : kEntries)
    if (kind == e.kind) return &e;
  return nullptr;
}

}  // namespace

bool analytic_available(const std::string &kind, std::string *why) {
  const Entry *e = entry(kind);
  if (e && e->create) return true;
  if (why) *why = e ? std::string("it needs ") + e->needs : "unknown analytic";
  return false;
}

std::unique_ptr<Analytic> create_analytic(const AnalyticSettings &settings, const StreamInfo &stream) {
  std::string why;
  if (!analytic_available(settings.kind, &why))
    throw ToolError(kExitUnavailable, settings.kind + ": not available in this build (" + why + ")");
  return entry(settings.kind)->create(settings, stream);
}

void draw_analytic_geometry(Canvas &c, const AnalyticSettings &s) {
  if (s.kind == "guard" && s.line) {
    const Segment &l = *s.line;
    // The band: a rectangle of half-width `half_width` around the line, tinted.
    double dx = l.b.x - l.a.x, dy = l.b.y - l.a.y, len = std::sqrt(dx * dx + dy * dy);
    if (len > 0) {
      double nx = -dy / len * s.half_width, ny = dx / len * s.half_width;
      auto at = [](double x, double y) { return Pt{int(std::lround(x)), int(std::lround(y))}; };
      Polygon band = {at(l.a.x + nx, l.a.y + ny), at(l.b.x + nx, l.b.y + ny), at(l.b.x - nx, l.b.y - ny),
                      at(l.a.x - nx, l.a.y - ny)};
      c.fill_polygon(band, colors::kYellow, 40);
      c.polyline(band, colors::kYellow, 1, true);
    }
    c.line(l.a, l.b, colors::kRed, 3);
    if (s.direction) c.arrow(s.direction->a, s.direction->b, colors::kOrange, 2);
  } else if (s.kind == "count") {
    if (s.area0) {
      c.fill_polygon(*s.area0, colors::kCyan, 50);
      c.polyline(*s.area0, colors::kCyan, 2, true);
      c.text((*s.area0)[0].x + 4, (*s.area0)[0].y + 4, "A0", colors::kCyan, 2);
    }
    if (s.area1) {
      c.fill_polygon(*s.area1, colors::kMagenta, 50);
      c.polyline(*s.area1, colors::kMagenta, 2, true);
      c.text((*s.area1)[0].x + 4, (*s.area1)[0].y + 4, "A1", colors::kMagenta, 2);
    }
  } else if (s.kind == "left" && s.region) {
    c.polyline(*s.region, colors::kGreen, 2, true);
  }
}

}  // namespace vt
