#include "report.h"

#include <algorithm>
#include <cmath>
#include <cerrno>
#include <cstring>

#include "error.h"
#include "json.h"

namespace vt {

// A measure rounded to `decimals` places, so that events do not carry a float's noise.
static double rounded(double v, int decimals) {
  const double scale = std::pow(10.0, decimals);
  return std::round(v * scale) / scale;
}

std::string event_json(const Event &e) {
  JsonOut o;
  o["stream"] = e.stream;
  o["stream_name"] = e.stream_name;
  o["frame"] = e.frame;
  o["time"] = rounded(e.time, 3);
  if (!e.wall_time.empty()) o["wall_time"] = e.wall_time;
  o["analytic"] = e.analytic;
  o["kind"] = e.kind;
  o["ids"] = e.ids;
  o["boxes"] = JsonOut::array();
  for (const Box &b : e.boxes) o["boxes"].push_back({b.left, b.top, b.right, b.bottom});
  o["counts"] = JsonOut::object();
  for (const auto &c : e.counts) o["counts"][c.first] = c.second;
  if (!e.text.empty()) o["text"] = e.text;
  if (!e.values.empty()) {
    o["values"] = JsonOut::object();
    for (const auto &v : e.values) o["values"][v.first] = rounded(v.second, 4);
  }
  if (!e.snapshot.empty()) o["snapshot"] = e.snapshot;
  return json_line(o);
}

EventSink::EventSink(const std::string &path) : path_(path) {
  if (path.empty() || path == "-") {
    out_ = stdout;
  } else {
    out_ = std::fopen(path.c_str(), "w");
    if (!out_) runtime_error("cannot write events to '" + path + "': " + std::strerror(errno));
  }
}

EventSink::~EventSink() {
  if (out_ && out_ != stdout) std::fclose(out_);
}

void EventSink::publish_to(const std::string &mqtt_url, size_t queue_limit) {
  mqtt_ = std::make_unique<MqttPublisher>(mqtt_url, queue_limit);
}

void EventSink::write(const std::vector<Event> &events) {
  if (events.empty()) return;
  std::string text;
  for (const Event &e : events) {
    const std::string line = event_json(e);
    text += line + "\n";
    if (mqtt_) mqtt_->publish(topic_level(e.stream_name) + "/" + topic_level(e.analytic), line);
  }
  std::lock_guard<std::mutex> lock(mu_);
  std::fwrite(text.data(), 1, text.size(), out_);
  std::fflush(out_);
  count_ += static_cast<int64_t>(events.size());
}

std::string EventSink::close_mqtt(double seconds, bool *failed) {
  *failed = false;
  if (!mqtt_) return "";
  const int64_t undelivered = mqtt_->close(seconds), dropped = mqtt_->dropped();
  mqtt_.reset();
  if (undelivered == 0 && dropped == 0) return "";
  *failed = true;
  std::string out = "mqtt: ";
  if (dropped) out += std::to_string(dropped) + " events dropped while the broker was away";
  if (undelivered) out += std::string(dropped ? ", " : "") + std::to_string(undelivered) + " not delivered at the end";
  return out;
}

void EventSink::close() {
  std::lock_guard<std::mutex> lock(mu_);
  if (!out_) return;
  bool bad = std::ferror(out_) != 0;
  if (out_ != stdout) {
    bad = std::fclose(out_) != 0 || bad;
  } else {
    bad = std::fflush(out_) != 0 || bad;
  }
  out_ = nullptr;
  if (bad) runtime_error("writing events to '" + (path_.empty() ? std::string("standard output") : path_) + "' failed");
}

Progress::Progress(bool enabled, int64_t total)
    : enabled_(enabled), total_(total), start_(std::chrono::steady_clock::now()), last_(start_) {}

void Progress::add(int64_t frames) {
  std::lock_guard<std::mutex> lock(mu_);
  done_ += frames;
  if (!enabled_) return;
  auto now = std::chrono::steady_clock::now();
  if (now - last_ < std::chrono::milliseconds(200)) return;
  last_ = now;
  draw_locked(false);
}

void Progress::finish() {
  std::lock_guard<std::mutex> lock(mu_);
  if (!enabled_) return;
  draw_locked(true);
  std::fputs("\n", stderr);
  std::fflush(stderr);
}

void Progress::draw_locked(bool final) {
  double secs = std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  double fps = secs > 0 ? done_ / secs : 0.0;
  char line[160];
  if (total_ > 0) {
    const int width = 30;
    int64_t shown = std::min(done_, total_);
    int filled = static_cast<int>(width * shown / total_);
    std::string bar(static_cast<size_t>(filled), '#');
    bar.resize(width, '.');
    double left = fps > 0 ? (total_ - shown) / fps : 0.0;
    int eta = final ? 0 : static_cast<int>(left + 0.5);
    std::snprintf(line, sizeof line, "\r[%s] %lld/%lld frames  %.1f fps  ETA %d:%02d ", bar.c_str(),
                  static_cast<long long>(shown), static_cast<long long>(total_), fps, eta / 60, eta % 60);
  } else {
    std::snprintf(line, sizeof line, "\r%lld frames  %.1f fps ", static_cast<long long>(done_), fps);
  }
  std::fputs(line, stderr);
  std::fflush(stderr);
}

std::string format_table(const std::vector<std::string> &header, const std::vector<std::vector<std::string>> &rows) {
  std::vector<size_t> w(header.size(), 0);
  for (size_t c = 0; c < header.size(); ++c) w[c] = header[c].size();
  for (const auto &r : rows)
    for (size_t c = 0; c < r.size() && c < w.size(); ++c) w[c] = std::max(w[c], r[c].size());
  auto line = [&](const std::vector<std::string> &r) {
    std::string s;
    for (size_t c = 0; c < w.size(); ++c) {
      std::string cell = c < r.size() ? r[c] : "";
      s += cell;
      if (c + 1 < w.size()) s += std::string(w[c] - cell.size() + 2, ' ');
    }
    while (!s.empty() && s.back() == ' ') s.pop_back();
    return s + "\n";
  };
  std::string out = line(header);
  size_t total = 0;
  for (size_t c = 0; c < w.size(); ++c) total += w[c] + (c + 1 < w.size() ? 2 : 0);
  out += std::string(total, '-') + "\n";
  for (const auto &r : rows) out += line(r);
  return out;
}

}  // namespace vt
