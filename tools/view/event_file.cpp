#include "event_file.h"

#include <cmath>
#include <fstream>

#include <nlohmann/json.hpp>

#include "error.h"

namespace vt {

namespace {

// Events carry times in milliseconds; a frame's time may be off by up to half a frame before another frame's
// time is nearer.
bool time_fits(double event_time, const FrameStore &frames, int64_t frame) {
  const double t = frames.time(frame);
  double half = 0.0;
  if (frame + 1 < frames.size()) half = (frames.time(frame + 1) - t) / 2;
  else if (frame > 0) half = (t - frames.time(frame - 1)) / 2;
  return std::fabs(event_time - t) <= half + 0.0011;
}

}  // namespace

std::string read_events(const std::string &path, const FrameStore &frames, const std::string &video) {
  std::ifstream in(path, std::ios::binary);
  if (!in) runtime_error("cannot read the events '" + path + "'");
  nlohmann::json all = nlohmann::json::array();
  std::string line;
  int number = 0;
  int64_t stream = -1;
  while (std::getline(in, line)) {
    ++number;
    if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
    const std::string where = path + ":" + std::to_string(number) + ": ";
    nlohmann::json e = nlohmann::json::parse(line, nullptr, false);
    if (e.is_discarded() || !e.is_object()) runtime_error(where + "not a JSON object");
    auto field = [&](const char *name, bool number_wanted) -> const nlohmann::json & {
      auto it = e.find(name);
      if (it == e.end() || (number_wanted ? !it->is_number() : !it->is_string()))
        runtime_error(where + "not an event of `vorn` (no " + (number_wanted ? "number" : "text") + " \"" + name +
                      "\")");
      return *it;
    };
    const nlohmann::json &f = field("frame", true);
    const double time = field("time", true).get<double>();
    field("analytic", false);
    field("kind", false);
    const int64_t s = e.value("stream", int64_t{0});
    if (stream >= 0 && s != stream)
      runtime_error(where + "events of several streams; keep one stream's lines (its \"stream\" number)");
    stream = s;
    const int64_t frame = f.is_number_integer() ? f.get<int64_t>() : -1;
    if (frame < 0 || frame >= frames.size())
      runtime_error(where + "an event at frame " + f.dump() + ", but " + video + " has " +
                    std::to_string(frames.size()) + " frames: these are the events of another video");
    if (!time_fits(time, frames, frame)) {
      char b[160];
      std::snprintf(b, sizeof b, "an event at frame %lld, %.3f s, but that frame of ", static_cast<long long>(frame),
                    time);
      char t[64];
      std::snprintf(t, sizeof t, " is at %.3f s: these are the events of another video", frames.time(frame));
      runtime_error(where + b + video + t);
    }
    all.push_back(std::move(e));
  }
  if (in.bad()) runtime_error("cannot read the events '" + path + "'");
  return all.dump();
}

}  // namespace vt
