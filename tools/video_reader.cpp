#include "video_reader.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavdevice/avdevice.h>
#include <libavformat/avformat.h>
#include <libavutil/imgutils.h>
#include <libswscale/swscale.h>
}

#include <sys/stat.h>

#include <chrono>
#include <cmath>
#include <cstdarg>
#include <cstring>
#include <mutex>

#include "error.h"

namespace vt {

namespace {

std::string av_message(int err) {
  char buf[AV_ERROR_MAX_STRING_SIZE] = {0};
  av_strerror(err, buf, sizeof buf);
  return buf;
}

bool is_pattern(const std::string &path) { return path.find('%') != std::string::npos; }

bool starts_with(const std::string &s, const char *prefix) { return s.compare(0, std::strlen(prefix), prefix) == 0; }

// Gives up a blocking read once its deadline has passed or the run is stopped.
int interrupt_reading(void *opaque) {
  const auto *m = static_cast<const VideoReader::Deadline *>(opaque);
  if (m->stop && m->stop->load(std::memory_order_relaxed)) return 1;
  return m->armed && std::chrono::steady_clock::now() > m->until ? 1 : 0;
}

// What FFmpeg reports while one reader works on this thread: its errors are counted against that reader (each
// stream is read on its own thread, with one decoding thread).
thread_local VideoReader::Problems *tl_problems = nullptr;

struct ProblemScope {
  explicit ProblemScope(VideoReader::Problems *p) : saved(tl_problems) { tl_problems = p; }
  ~ProblemScope() { tl_problems = saved; }
  VideoReader::Problems *saved;
};

void log_to_reader(void *avcl, int level, const char *fmt, va_list args) {
  if (level > AV_LOG_ERROR || !tl_problems) return;
  char line[512];
  int prefix = 1;
  av_log_format_line2(avcl, level, fmt, args, line, sizeof line, &prefix);
  std::string text = line;
  while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
  // "[mpeg4 @ 0x55...] " names the part that complained by its address: keep the part's name only.
  const size_t at = text.find(" @ 0x");
  const size_t close = text.find("] ");
  if (!text.empty() && text[0] == '[' && at != std::string::npos && close != std::string::npos && at < close)
    text = text.substr(1, at - 1) + ": " + text.substr(close + 2);
  ++tl_problems->errors;
  tl_problems->last = text;
}

}  // namespace

InputKind input_kind(const std::string &input) {
  if (input == "-" || starts_with(input, "pipe:")) return InputKind::kPipe;
  if (starts_with(input, "/dev/video") || starts_with(input, "v4l2:")) return InputKind::kDevice;
  const size_t scheme = input.find("://");
  if (scheme != std::string::npos && scheme > 0 && !starts_with(input, "file://")) return InputKind::kNetwork;
  return is_pattern(input) ? InputKind::kSequence : InputKind::kFile;
}

void route_ffmpeg_messages() {
  av_log_set_level(AV_LOG_ERROR);
  av_log_set_callback(log_to_reader);
}

struct VideoReader::Impl {
  AVFormatContext *fmt = nullptr;
  AVCodecContext *dec = nullptr;
  AVPacket *pkt = nullptr;
  AVFrame *frm = nullptr;
  SwsContext *sws = nullptr;
  int stream = -1;
  AVRational time_base{0, 1};
  int64_t first_pts = AV_NOPTS_VALUE;
  int64_t decoded = 0;
  bool draining = false;
  bool finished = false;
  bool exact_count = false;  // the container states its frame count (rather than a duration)
  bool live = false;
  double stall_seconds = 10.0;
  Problems problems;
  Deadline deadline;

  // Live inputs: the next blocking read must finish within the stall time.
  void arm() {
    deadline.armed = live;
    deadline.until = std::chrono::steady_clock::now() + std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                                                           std::chrono::duration<double>(stall_seconds));
  }

  ~Impl() {
    sws_freeContext(sws);
    av_frame_free(&frm);
    av_packet_free(&pkt);
    avcodec_free_context(&dec);
    avformat_close_input(&fmt);
  }
};

VideoReader::VideoReader(const std::string &path, const ReaderOptions &options) : impl_(new Impl), path_(path) {
  static std::once_flag devices;
  std::call_once(devices, [] { avdevice_register_all(); });
  const InputKind kind = input_kind(path);
  struct stat st;
  if (kind == InputKind::kFile && stat(path.c_str(), &st) != 0) runtime_error("input '" + path + "' does not exist");
  if (kind == InputKind::kFile && S_ISDIR(st.st_mode))
    runtime_error("input '" + path + "' is a directory; give a file or a pattern such as dir/%04d.png");

  Impl &m = *impl_;
  ProblemScope scope(&m.problems);
  m.live = is_live(kind);
  m.stall_seconds = options.stall_seconds;
  m.deadline.stop = options.stop;
  std::string url = path;
  const AVInputFormat *forced = nullptr;
  AVDictionary *opts = nullptr;
  if (kind == InputKind::kSequence) {
    forced = av_find_input_format("image2");
    if (options.fps > 0) av_dict_set(&opts, "framerate", std::to_string(options.fps).c_str(), 0);
  } else if (kind == InputKind::kPipe) {
    url = "pipe:0";
  } else if (kind == InputKind::kDevice) {
    forced = av_find_input_format("v4l2");
    if (!forced) runtime_error("input '" + path + "': this FFmpeg has no V4L2 capture");
    if (starts_with(url, "v4l2:")) url = url.substr(5);
  } else if (kind == InputKind::kNetwork && starts_with(url, "rtsp")) {
    av_dict_set(&opts, "rtsp_transport", "tcp", 0);  // no lost packets on a loaded machine
  }
  m.fmt = avformat_alloc_context();
  if (!m.fmt) runtime_error("out of memory opening '" + path + "'");
  m.fmt->interrupt_callback.callback = interrupt_reading;
  m.fmt->interrupt_callback.opaque = &m.deadline;
  m.arm();
  int err = avformat_open_input(&m.fmt, url.c_str(), forced, &opts);
  av_dict_free(&opts);
  if (err < 0) {
    if (m.live) runtime_error("input '" + path + "' cannot be opened: " + av_message(err));
    runtime_error("input '" + path + "' is not a readable video: " + av_message(err));
  }
  m.arm();
  err = avformat_find_stream_info(m.fmt, nullptr);
  if (err < 0) runtime_error("input '" + path + "' is not a readable video: " + av_message(err));

  const AVCodec *codec = nullptr;
  m.stream = av_find_best_stream(m.fmt, AVMEDIA_TYPE_VIDEO, -1, -1, &codec, 0);
  if (m.stream < 0 || !codec) runtime_error("input '" + path + "' has no decodable video stream");
  AVStream *st_v = m.fmt->streams[m.stream];

  m.dec = avcodec_alloc_context3(codec);
  if (!m.dec) runtime_error("out of memory opening '" + path + "'");
  avcodec_parameters_to_context(m.dec, st_v->codecpar);
  // One decoding thread per stream: parallelism comes from running several streams at once.
  m.dec->thread_count = 1;
  err = avcodec_open2(m.dec, codec, nullptr);
  if (err < 0) runtime_error("input '" + path + "': cannot open the " + codec->name + " decoder: " + av_message(err));
  if (m.dec->width <= 0 || m.dec->height <= 0) runtime_error("input '" + path + "' has a video stream without a size");

  m.pkt = av_packet_alloc();
  m.frm = av_frame_alloc();
  if (!m.pkt || !m.frm) runtime_error("out of memory opening '" + path + "'");
  m.time_base = st_v->time_base;

  info_.width = m.dec->width;
  info_.height = m.dec->height;
  AVRational rate = av_guess_frame_rate(m.fmt, st_v, nullptr);
  info_.fps = (rate.num > 0 && rate.den > 0) ? av_q2d(rate) : 25.0;
  if (st_v->nb_frames > 0) {
    info_.frame_count = st_v->nb_frames;
    m.exact_count = true;
  } else if (st_v->duration > 0 && st_v->duration != AV_NOPTS_VALUE) {
    info_.frame_count = static_cast<int64_t>(std::llround(st_v->duration * av_q2d(st_v->time_base) * info_.fps));
  } else if (m.fmt->duration > 0) {
    info_.frame_count = static_cast<int64_t>(std::llround(m.fmt->duration / double(AV_TIME_BASE) * info_.fps));
  }
}

VideoReader::~VideoReader() = default;

std::string VideoReader::problem() const {
  const Impl &m = *impl_;
  std::string out;
  // Fewer frames than the container announced: cut short (a duration only estimates the count: one frame slack).
  const int64_t announced = info_.frame_count;
  if (m.finished && announced > 0 && m.decoded < announced - (m.exact_count ? 0 : 1))
    out = "ended after " + std::to_string(m.decoded) + " of " + std::to_string(announced) + " frames";
  if (m.problems.errors > 0) {
    if (!out.empty()) out += ", ";
    out += std::to_string(m.problems.errors) + (m.problems.errors == 1 ? " decoding error" : " decoding errors") +
           " (last: " + m.problems.last + ")";
  }
  return out;
}

bool VideoReader::next(Frame &frame) {
  Impl &m = *impl_;
  if (m.finished) return false;
  ProblemScope scope(&m.problems);
  for (;;) {
    int err = avcodec_receive_frame(m.dec, m.frm);
    if (err == 0) break;
    if (err == AVERROR_EOF) {
      m.finished = true;
      return false;
    }
    if (err != AVERROR(EAGAIN)) runtime_error("input '" + path_ + "': decoding failed: " + av_message(err));
    if (m.draining) {
      m.finished = true;
      return false;
    }
    // Feed the decoder the next packet of our stream, or start draining at the end of the file.
    for (;;) {
      m.arm();
      err = av_read_frame(m.fmt, m.pkt);
      if (err == AVERROR_EXIT && m.deadline.stop && m.deadline.stop->load()) {
        m.finished = true;  // the run was stopped: no error of the input
        return false;
      }
      if (err < 0 && err != AVERROR_EOF) {
        ++m.problems.errors;
        m.problems.last = err == AVERROR_EXIT ? "stalled: no data for " + std::to_string(int(m.stall_seconds)) + " s"
                                              : "reading stopped: " + av_message(err);
      }
      if (err < 0) {
        avcodec_send_packet(m.dec, nullptr);
        m.draining = true;
        break;
      }
      if (m.pkt->stream_index != m.stream) {
        av_packet_unref(m.pkt);
        continue;
      }
      err = avcodec_send_packet(m.dec, m.pkt);
      av_packet_unref(m.pkt);
      // A damaged packet is skipped (and counted); the decoder resynchronises on the next one.
      if (err == AVERROR_INVALIDDATA && m.problems.errors == 0) {
        ++m.problems.errors;
        m.problems.last = "damaged packet";
      }
      if (err < 0 && err != AVERROR(EAGAIN) && err != AVERROR_INVALIDDATA)
        runtime_error("input '" + path_ + "': decoding failed: " + av_message(err));
      break;
    }
  }

  const int w = info_.width, h = info_.height;
  if (m.frm->width != w || m.frm->height != h) {
    av_frame_unref(m.frm);
    runtime_error("input '" + path_ + "': the frame size changes inside the stream");
  }
  m.sws = sws_getCachedContext(m.sws, w, h, static_cast<AVPixelFormat>(m.frm->format), w, h, AV_PIX_FMT_BGR24,
                               SWS_BILINEAR, nullptr, nullptr, nullptr);
  if (!m.sws) {
    av_frame_unref(m.frm);
    runtime_error("input '" + path_ + "': cannot convert its pixel format to BGR");
  }
  if (frame.width != w || frame.height != h || frame.bgr.size() != size_t(w) * h * 3) frame.resize(w, h);
  uint8_t *dst[4] = {frame.bgr.data(), nullptr, nullptr, nullptr};
  int dst_stride[4] = {w * 3, 0, 0, 0};
  sws_scale(m.sws, m.frm->data, m.frm->linesize, 0, h, dst, dst_stride);

  int64_t pts = m.frm->best_effort_timestamp;
  frame.index = m.decoded;
  if (pts != AV_NOPTS_VALUE && m.time_base.den > 0) {
    if (m.first_pts == AV_NOPTS_VALUE) m.first_pts = pts;
    frame.time = double(pts - m.first_pts) * av_q2d(m.time_base);
  } else {
    frame.time = double(m.decoded) / info_.fps;
  }
  if (m.live) frame.wall = std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
  ++m.decoded;
  av_frame_unref(m.frm);
  return true;
}

}  // namespace vt
