// A live input that keeps going: when the stream stalls or drops, it is reopened with a backoff (1 s doubling to
// 30 s by default) and reading goes on with the same frame numbering and a stream time that keeps growing, so the
// analytics fed from it keep their state across the gap. Each loss and each return is noted for the events.
#ifndef VORN_TOOLS_LIVE_SOURCE_H
#define VORN_TOOLS_LIVE_SOURCE_H

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "video_reader.h"

namespace vt {

struct ReconnectPolicy {
  int attempts = -1;          // reopenings tried after one loss before giving up; -1: no limit, 0: never reopen
  double first_delay = 1.0;   // seconds before the first attempt, doubled after each failed one
  double max_delay = 30.0;
};

// "source_lost" (with why) or "source_back" (with the attempts it took), at a frame number and stream time.
struct SourceNotice {
  std::string kind, reason;
  int64_t frame = 0;
  double time = 0.0, wall = 0.0;
  int attempts = 0;
};

class LiveSource : public FrameSource {
 public:
  // Opens the input at once (a failure then throws, as for a file).
  LiveSource(const std::string &input, const ReaderOptions &options, const ReconnectPolicy &policy);

  const StreamInfo &info() const override { return info_; }
  bool next(Frame &frame) override;
  std::string name() const override { return input_; }
  std::string problem() const override { return problem_; }
  // The notices since the last call.
  std::vector<SourceNotice> take_notices();

 private:
  bool reopen();  // false when the policy gives up or the run stops

  std::string input_;
  ReaderOptions options_;
  ReconnectPolicy policy_;
  std::unique_ptr<VideoReader> reader_;
  StreamInfo info_;
  int64_t next_index_ = 0;
  double time_offset_ = 0.0, last_time_ = -1.0;
  std::vector<SourceNotice> notices_;
  std::string problem_;
};

}  // namespace vt

#endif
