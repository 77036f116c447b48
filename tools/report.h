// What the program writes as it runs: events as JSON lines, the progress bar, and the tables at the end.
#ifndef VORN_TOOLS_REPORT_H
#define VORN_TOOLS_REPORT_H

#include <chrono>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "analytic.h"
#include "mqtt_publisher.h"

namespace vt {

// One event as one JSON object (no newline).
std::string event_json(const Event &e);

// Writes events, one per line, to standard output or a file; safe to call from several streams' threads.
class EventSink {
 public:
  explicit EventSink(const std::string &path);  // "" or "-": standard output. Throws a runtime error.
  ~EventSink();
  EventSink(const EventSink &) = delete;
  EventSink &operator=(const EventSink &) = delete;
  // Also publishes every event to an MQTT broker (mqtt://HOST[:PORT]/TOPIC) under TOPIC/STREAM/ANALYTIC.
  void publish_to(const std::string &mqtt_url, size_t queue_limit);
  void write(const std::vector<Event> &events);
  void close();  // throws when the file could not be written completely
  // Waits up to `seconds` for the broker to take what is queued; the result says what became of the events
  // ("" when there is no broker or all arrived).
  std::string close_mqtt(double seconds, bool *failed);
  bool to_stdout() const { return out_ == stdout; }
  int64_t count() const { return count_; }

 private:
  std::mutex mu_;
  FILE *out_ = nullptr;
  std::string path_;
  int64_t count_ = 0;
  std::unique_ptr<MqttPublisher> mqtt_;
};

// A progress line on standard error: frames, frames per second and the time left. Draws nothing when disabled
// (standard error is not a terminal, or --quiet).
class Progress {
 public:
  Progress(bool enabled, int64_t total_frames);  // total -1: unknown
  void add(int64_t frames);                       // thread-safe
  void finish();

 private:
  std::mutex mu_;
  bool enabled_;
  int64_t total_, done_ = 0;
  std::chrono::steady_clock::time_point start_, last_;
  void draw_locked(bool final);
};

// Formats rows as an aligned text table with a header.
std::string format_table(const std::vector<std::string> &header, const std::vector<std::vector<std::string>> &rows);

}  // namespace vt

#endif
