#include "video_writer.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/opt.h>
#include <libswscale/swscale.h>
}

#include <cmath>
#include <cstdio>

#include "error.h"

namespace vt {

namespace {

std::string av_message(int err) {
  char buf[AV_ERROR_MAX_STRING_SIZE] = {0};
  av_strerror(err, buf, sizeof buf);
  return buf;
}

AVRational rate_of(double fps) {
  if (!(fps > 0.0) || fps > 1000.0) fps = 25.0;
  return av_d2q(fps, 100000);
}

}  // namespace

struct VideoWriter::Impl {
  AVFormatContext *fmt = nullptr;
  AVCodecContext *enc = nullptr;
  AVStream *stream = nullptr;
  AVFrame *yuv = nullptr;
  AVPacket *pkt = nullptr;
  SwsContext *sws = nullptr;
  int in_w = 0, in_h = 0;
  int64_t next_pts = 0;
  bool header_written = false;
  bool closed = false;

  ~Impl() {
    sws_freeContext(sws);
    av_packet_free(&pkt);
    av_frame_free(&yuv);
    avcodec_free_context(&enc);
    if (fmt) {
      if (fmt->pb) avio_closep(&fmt->pb);
      avformat_free_context(fmt);
    }
  }

  // Sends `f` (nullptr: flush) and writes whatever packets come out.
  int encode(AVFrame *f) {
    int err = avcodec_send_frame(enc, f);
    if (err < 0) return err;
    for (;;) {
      err = avcodec_receive_packet(enc, pkt);
      if (err == AVERROR(EAGAIN) || err == AVERROR_EOF) return 0;
      if (err < 0) return err;
      // Every frame lasts one tick of the encoder's clock; without a duration the container's edit list ends
      // at the last frame's start and players drop that frame.
      if (pkt->duration <= 0) pkt->duration = 1;
      av_packet_rescale_ts(pkt, enc->time_base, stream->time_base);
      pkt->stream_index = stream->index;
      err = av_interleaved_write_frame(fmt, pkt);
      if (err < 0) return err;
    }
  }
};

std::string VideoWriter::default_codec() {
  if (avcodec_find_encoder_by_name("libx264")) return "libx264";
  return "mpeg4";
}

VideoWriter::VideoWriter(const std::string &path, int width, int height, double fps, const std::string &codec)
    : impl_(new Impl), path_(path) {
  Impl &m = *impl_;
  if (width < 2 || height < 2) runtime_error("cannot write '" + path + "': frames are too small for video");
  int err = avformat_alloc_output_context2(&m.fmt, nullptr, nullptr, path.c_str());
  if (err < 0 || !m.fmt)
    runtime_error("cannot write '" + path + "': no container for this file name (use .mp4, .mkv or .avi)");

  codec_name_ = codec.empty() ? default_codec() : codec;
  const AVCodec *c = avcodec_find_encoder_by_name(codec_name_.c_str());
  if (!c || c->type != AVMEDIA_TYPE_VIDEO) runtime_error("cannot write '" + path + "': no video encoder '" + codec_name_ + "'");

  m.stream = avformat_new_stream(m.fmt, nullptr);
  m.enc = avcodec_alloc_context3(c);
  m.yuv = av_frame_alloc();
  m.pkt = av_packet_alloc();
  if (!m.stream || !m.enc || !m.yuv || !m.pkt) runtime_error("out of memory opening '" + path + "'");

  // 4:2:0 needs even sizes: an odd last row or column is dropped.
  m.in_w = width;
  m.in_h = height;
  m.enc->width = width & ~1;
  m.enc->height = height & ~1;
  m.enc->pix_fmt = AV_PIX_FMT_YUV420P;
  AVRational rate = rate_of(fps);
  m.enc->time_base = av_inv_q(rate);
  m.enc->framerate = rate;
  m.enc->gop_size = 50;
  if (m.fmt->oformat->flags & AVFMT_GLOBALHEADER) m.enc->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  if (codec_name_ == "libx264") {
    av_opt_set(m.enc->priv_data, "preset", "veryfast", 0);
    av_opt_set(m.enc->priv_data, "crf", "23", 0);
  } else {
    m.enc->bit_rate = int64_t(m.enc->width) * m.enc->height * 4;  // ~1.8 Mbit/s at 768x576
    m.enc->qmax = 12;
  }
  err = avcodec_open2(m.enc, c, nullptr);
  if (err < 0) runtime_error("cannot write '" + path + "': the " + codec_name_ + " encoder refused: " + av_message(err));
  avcodec_parameters_from_context(m.stream->codecpar, m.enc);
  m.stream->time_base = m.enc->time_base;

  m.yuv->format = AV_PIX_FMT_YUV420P;
  m.yuv->width = m.enc->width;
  m.yuv->height = m.enc->height;
  if (av_frame_get_buffer(m.yuv, 0) < 0) runtime_error("out of memory opening '" + path + "'");
  m.sws = sws_getContext(m.enc->width, m.enc->height, AV_PIX_FMT_BGR24, m.enc->width, m.enc->height,
                         AV_PIX_FMT_YUV420P, SWS_BILINEAR, nullptr, nullptr, nullptr);
  if (!m.sws) runtime_error("cannot write '" + path + "': no pixel conversion to 4:2:0");

  if (!(m.fmt->oformat->flags & AVFMT_NOFILE)) {
    err = avio_open(&m.fmt->pb, path.c_str(), AVIO_FLAG_WRITE);
    if (err < 0) runtime_error("cannot write '" + path + "': " + av_message(err));
  }
  err = avformat_write_header(m.fmt, nullptr);
  if (err < 0) runtime_error("cannot write '" + path + "': " + av_message(err));
  m.header_written = true;
}

VideoWriter::~VideoWriter() {
  if (impl_ && !impl_->closed && impl_->header_written) {
    impl_->encode(nullptr);
    av_write_trailer(impl_->fmt);
  }
}

void VideoWriter::write(const Frame &frame) {
  Impl &m = *impl_;
  if (m.closed) runtime_error("cannot write '" + path_ + "': already closed");
  if (frame.width != m.in_w || frame.height != m.in_h) runtime_error("cannot write '" + path_ + "': frame size changed");
  int err = av_frame_make_writable(m.yuv);
  if (err < 0) runtime_error("cannot write '" + path_ + "': " + av_message(err));
  const uint8_t *src[4] = {frame.bgr.data(), nullptr, nullptr, nullptr};
  int src_stride[4] = {frame.width * 3, 0, 0, 0};
  sws_scale(m.sws, src, src_stride, 0, m.enc->height, m.yuv->data, m.yuv->linesize);
  m.yuv->pts = m.next_pts++;
  err = m.encode(m.yuv);
  if (err < 0) runtime_error("cannot write '" + path_ + "': " + av_message(err));
}

void VideoWriter::close() {
  Impl &m = *impl_;
  if (m.closed) return;
  m.closed = true;
  int err = m.encode(nullptr);
  int err2 = av_write_trailer(m.fmt);
  if (m.fmt->pb) avio_closep(&m.fmt->pb);
  if (err < 0 || err2 < 0) runtime_error("cannot finish '" + path_ + "': " + av_message(err < 0 ? err : err2));
}

void write_png(const std::string &path, const Frame &frame) {
  const AVCodec *c = avcodec_find_encoder(AV_CODEC_ID_PNG);
  if (!c) runtime_error("cannot write '" + path + "': this libavcodec has no PNG encoder");
  AVCodecContext *enc = avcodec_alloc_context3(c);
  AVFrame *f = av_frame_alloc();
  AVPacket *pkt = av_packet_alloc();
  std::string failure;
  if (!enc || !f || !pkt) {
    failure = "out of memory";
  } else {
    enc->width = frame.width;
    enc->height = frame.height;
    enc->pix_fmt = AV_PIX_FMT_RGB24;
    enc->time_base = AVRational{1, 25};
    f->format = AV_PIX_FMT_RGB24;
    f->width = frame.width;
    f->height = frame.height;
    int err = avcodec_open2(enc, c, nullptr);
    if (err >= 0) err = av_frame_get_buffer(f, 0);
    if (err >= 0) {
      for (int y = 0; y < frame.height; ++y) {
        const uint8_t *s = frame.row(y);
        uint8_t *d = f->data[0] + static_cast<ptrdiff_t>(y) * f->linesize[0];
        for (int x = 0; x < frame.width; ++x) {
          d[3 * x] = s[3 * x + 2];
          d[3 * x + 1] = s[3 * x + 1];
          d[3 * x + 2] = s[3 * x];
        }
      }
      f->pts = 0;
      err = avcodec_send_frame(enc, f);
      if (err >= 0) err = avcodec_send_frame(enc, nullptr);
      if (err >= 0) err = avcodec_receive_packet(enc, pkt);
    }
    if (err < 0) {
      failure = av_message(err);
    } else {
      FILE *out = std::fopen(path.c_str(), "wb");
      if (!out) {
        failure = "cannot create the file";
      } else {
        size_t n = std::fwrite(pkt->data, 1, static_cast<size_t>(pkt->size), out);
        if (std::fclose(out) != 0 || n != static_cast<size_t>(pkt->size)) failure = "write failed";
      }
    }
  }
  av_packet_free(&pkt);
  av_frame_free(&f);
  avcodec_free_context(&enc);
  if (!failure.empty()) runtime_error("cannot write '" + path + "': " + failure);
}

}  // namespace vt
