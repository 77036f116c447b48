#include "frame_store.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>

#include "error.h"

namespace vt {

namespace {

constexpr int kJpegQuality = 3;  // quantiser scale: close to the decoded picture at about 60 kB per 768 x 576 frame

}  // namespace

constexpr size_t kQueued = 8;  // frames waiting for the compressor at most

FrameStore::FrameStore(int width, int height) : encoder_(width, height, kJpegQuality), offsets_{0} {
  file_ = std::tmpfile();
  if (!file_) runtime_error(std::string("cannot make a temporary file for the frames: ") + std::strerror(errno));
  worker_ = std::thread([this] { compress_queued(); });
}

FrameStore::~FrameStore() {
  stop_worker();
  if (file_) std::fclose(file_);
}

void FrameStore::stop_worker() {
  {
    std::lock_guard<std::mutex> lock(mu_);
    closing_ = true;
  }
  changed_.notify_all();
  if (worker_.joinable()) worker_.join();
}

void FrameStore::add(const Frame &frame) {
  std::unique_lock<std::mutex> lock(mu_);
  changed_.wait(lock, [this] { return queue_.size() < kQueued || !failure_.empty(); });
  if (!failure_.empty()) runtime_error(failure_);
  queue_.push_back(frame);
  times_.push_back(frame.time);
  changed_.notify_all();
}

void FrameStore::finish() {
  stop_worker();
  if (!failure_.empty()) runtime_error(failure_);
}

void FrameStore::compress_queued() {
  for (;;) {
    Frame frame;
    {
      std::unique_lock<std::mutex> lock(mu_);
      changed_.wait(lock, [this] { return !queue_.empty() || closing_; });
      if (queue_.empty()) return;
      frame = std::move(queue_.front());
      queue_.pop_front();
    }
    changed_.notify_all();
    std::string failure;
    try {
      const std::string bytes = encoder_.encode(frame);
      if (std::fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size() || std::fflush(file_) != 0)
        runtime_error(std::string("cannot keep the frames in a temporary file: ") + std::strerror(errno));
      offsets_.push_back(offsets_.back() + bytes.size());
    } catch (const std::exception &e) {
      failure = e.what();
    }
    if (!failure.empty()) {
      std::lock_guard<std::mutex> lock(mu_);
      failure_ = failure;
      queue_.clear();
      changed_.notify_all();
      return;
    }
  }
}

std::string FrameStore::jpeg(int64_t index) const {
  const size_t k = static_cast<size_t>(index);
  std::string out(offsets_[k + 1] - offsets_[k], '\0');
  size_t done = 0;
  while (done < out.size()) {
    ssize_t n = pread(fileno(file_), &out[done], out.size() - done, static_cast<off_t>(offsets_[k] + done));
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return std::string();
    done += static_cast<size_t>(n);
  }
  return out;
}

}  // namespace vt
