#include "live_source.h"

#include <chrono>
#include <thread>

#include "error.h"

namespace vt {

namespace {

double wall_now() {
  return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

}  // namespace

LiveSource::LiveSource(const std::string &input, const ReaderOptions &options, const ReconnectPolicy &policy)
    : input_(input), options_(options), policy_(policy), reader_(std::make_unique<VideoReader>(input, options)),
      info_(reader_->info()) {
  info_.frame_count = -1;  // a live stream has no length
}

std::vector<SourceNotice> LiveSource::take_notices() {
  std::vector<SourceNotice> out;
  out.swap(notices_);
  return out;
}

bool LiveSource::next(Frame &frame) {
  for (;;) {
    if (options_.stop && options_.stop->load()) return false;
    std::string why;
    try {
      if (reader_ && reader_->next(frame)) {
        if (frame.width != info_.width || frame.height != info_.height)
          runtime_error("input '" + input_ + "' came back with frames of " + std::to_string(frame.width) + "x" +
                        std::to_string(frame.height) + " instead of " + std::to_string(info_.width) + "x" +
                        std::to_string(info_.height));
        frame.index = next_index_++;
        // Stream time goes on from where the last connection left it: each connection's own clock restarts.
        frame.time += time_offset_;
        if (frame.time <= last_time_) frame.time = last_time_ + 1.0 / info_.fps;
        last_time_ = frame.time;
        return true;
      }
      why = reader_ && !reader_->problem().empty() ? reader_->problem() : "the stream ended";
    } catch (const ToolError &e) {
      if (e.code() != kExitRuntime || std::string(e.what()).find(" came back with frames of ") != std::string::npos)
        throw;
      why = e.what();
    }
    if (options_.stop && options_.stop->load()) return false;
    SourceNotice lost{"source_lost", why, next_index_, last_time_ < 0 ? 0.0 : last_time_, wall_now(), 0};
    notices_.push_back(lost);
    reader_.reset();
    time_offset_ = last_time_ < 0 ? 0.0 : last_time_ + 1.0 / info_.fps;
    if (!reopen()) return false;
  }
}

bool LiveSource::reopen() {
  if (policy_.attempts == 0) {
    problem_ = "lost (" + notices_.back().reason + "), and not reopened (--reconnect never)";
    return false;
  }
  double delay = policy_.first_delay;
  for (int attempt = 1; policy_.attempts < 0 || attempt <= policy_.attempts; ++attempt) {
    // Wait in small steps so that a stop is seen at once.
    const auto until = std::chrono::steady_clock::now() + std::chrono::duration<double>(delay);
    while (std::chrono::steady_clock::now() < until) {
      if (options_.stop && options_.stop->load()) return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    try {
      reader_ = std::make_unique<VideoReader>(input_, options_);
      problem_.clear();
      notices_.push_back(SourceNotice{"source_back", "", next_index_, time_offset_, wall_now(), attempt});
      return true;
    } catch (const ToolError &e) {
      problem_ = e.what();
    }
    delay = std::min(delay * 2, policy_.max_delay);
  }
  problem_ = "lost, and not back after " + std::to_string(policy_.attempts) + " attempts (last: " + problem_ + ")";
  return false;
}

}  // namespace vt
