// The analytics this build has: each factory exists when the library family it wraps is present.
#ifndef VORN_TOOLS_FACTORIES_H
#define VORN_TOOLS_FACTORIES_H

#include <memory>

#include "analytic.h"

#if __has_include("vorn_bk_model.h")
#define VORN_TOOL_HAVE_BK_MODEL 1
#else
#define VORN_TOOL_HAVE_BK_MODEL 0
#endif
#if __has_include("vorn_counter.h")
#define VORN_TOOL_HAVE_COUNTER 1
#else
#define VORN_TOOL_HAVE_COUNTER 0
#endif

#if __has_include("vorn_guard.h")
#define VORN_TOOL_HAVE_GUARD 1
#else
#define VORN_TOOL_HAVE_GUARD 0
#endif
#if __has_include("vorn_obld.h")
#define VORN_TOOL_HAVE_OBLD 1
#else
#define VORN_TOOL_HAVE_OBLD 0
#endif
#if __has_include("vorn_tracker.h")
#define VORN_TOOL_HAVE_TRACKER 1
#else
#define VORN_TOOL_HAVE_TRACKER 0
#endif
#if __has_include("vorn_plate.h")
#define VORN_TOOL_HAVE_PLATE 1
#else
#define VORN_TOOL_HAVE_PLATE 0
#endif
#if __has_include("vorn_vbc.h")
#define VORN_TOOL_HAVE_VBC 1
#else
#define VORN_TOOL_HAVE_VBC 0
#endif

namespace vt {

#if VORN_TOOL_HAVE_BK_MODEL
std::unique_ptr<Analytic> create_bgsub(const AnalyticSettings &settings, const StreamInfo &stream);
#endif
#if VORN_TOOL_HAVE_BK_MODEL && VORN_TOOL_HAVE_COUNTER
std::unique_ptr<Analytic> create_count(const AnalyticSettings &settings, const StreamInfo &stream);
#endif
#if VORN_TOOL_HAVE_GUARD
std::unique_ptr<Analytic> create_guard(const AnalyticSettings &settings, const StreamInfo &stream);
#endif
#if VORN_TOOL_HAVE_OBLD
std::unique_ptr<Analytic> create_left(const AnalyticSettings &settings, const StreamInfo &stream);
#endif
#if VORN_TOOL_HAVE_TRACKER
std::unique_ptr<Analytic> create_track(const AnalyticSettings &settings, const StreamInfo &stream);
#endif
#if VORN_TOOL_HAVE_PLATE
std::unique_ptr<Analytic> create_plate(const AnalyticSettings &settings, const StreamInfo &stream);
#endif
#if VORN_TOOL_HAVE_VBC
std::unique_ptr<Analytic> create_trajectories(const AnalyticSettings &settings, const StreamInfo &stream);
#endif

}  // namespace vt

#endif
