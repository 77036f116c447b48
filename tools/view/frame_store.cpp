#include "frame_store.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "error.h"

namespace vt {

namespace {

constexpr int kJpegQuality = 3;  // quantiser scale: close to the decoded picture at about 60 kB per 768 x 576 frame

}  // namespace

FrameStore::FrameStore(int width, int height) : encoder_(width, height, kJpegQuality), offsets_{0} {
  file_ = std::tmpfile();
  if (!file_) runtime_error(std::string("cannot make a temporary file for the frames: ") + std::strerror(errno));
}

FrameStore::~FrameStore() {
  if (file_) std::fclose(file_);
}

void FrameStore::add(const Frame &frame) {
  const std::string bytes = encoder_.encode(frame);
  if (std::fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size() || std::fflush(file_) != 0)
    runtime_error(std::string("cannot keep the frames in a temporary file: ") + std::strerror(errno));
  offsets_.push_back(offsets_.back() + bytes.size());
  times_.push_back(frame.time);
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
