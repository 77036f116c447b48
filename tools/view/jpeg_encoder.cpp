#include "jpeg_encoder.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libswscale/swscale.h>
}

#include "error.h"

namespace vt {

struct JpegEncoder::Impl {
  AVCodecContext *enc = nullptr;
  AVFrame *yuv = nullptr;
  AVPacket *pkt = nullptr;
  SwsContext *sws = nullptr;
  int quality = 4;
  int64_t pts = 0;

  ~Impl() {
    sws_freeContext(sws);
    av_packet_free(&pkt);
    av_frame_free(&yuv);
    avcodec_free_context(&enc);
  }
};

JpegEncoder::JpegEncoder(int width, int height, int quality) : impl_(new Impl) {
  Impl &m = *impl_;
  const AVCodec *c = avcodec_find_encoder(AV_CODEC_ID_MJPEG);
  if (!c) runtime_error("this libavcodec has no JPEG encoder");
  m.enc = avcodec_alloc_context3(c);
  m.yuv = av_frame_alloc();
  m.pkt = av_packet_alloc();
  if (!m.enc || !m.yuv || !m.pkt) runtime_error("out of memory for the JPEG encoder");
  m.quality = quality;
  m.enc->width = width;
  m.enc->height = height;
  // Full-range 4:2:0, the usual JPEG layout; the quantiser is fixed per picture.
  m.enc->pix_fmt = AV_PIX_FMT_YUVJ420P;
  m.enc->color_range = AVCOL_RANGE_JPEG;
  m.enc->time_base = AVRational{1, 25};
  m.enc->flags |= AV_CODEC_FLAG_QSCALE;
  m.yuv->format = m.enc->pix_fmt;
  m.yuv->width = width;
  m.yuv->height = height;
  if (avcodec_open2(m.enc, c, nullptr) < 0 || av_frame_get_buffer(m.yuv, 0) < 0)
    runtime_error("cannot open the JPEG encoder");
  m.sws = sws_getContext(width, height, AV_PIX_FMT_BGR24, width, height, AV_PIX_FMT_YUVJ420P, SWS_BILINEAR, nullptr,
                         nullptr, nullptr);
  if (!m.sws) runtime_error("cannot convert frames for the JPEG encoder");
}

JpegEncoder::~JpegEncoder() = default;

std::string JpegEncoder::encode(const Frame &frame) {
  Impl &m = *impl_;
  if (frame.width != m.enc->width || frame.height != m.enc->height)
    runtime_error("frame " + std::to_string(frame.index) + " changes the video's size");
  if (av_frame_make_writable(m.yuv) < 0) runtime_error("out of memory for the JPEG encoder");
  const uint8_t *src[4] = {frame.bgr.data(), nullptr, nullptr, nullptr};
  int stride[4] = {frame.width * 3, 0, 0, 0};
  sws_scale(m.sws, src, stride, 0, frame.height, m.yuv->data, m.yuv->linesize);
  m.yuv->quality = FF_QP2LAMBDA * m.quality;
  m.yuv->pts = m.pts++;
  std::string out;
  int err = avcodec_send_frame(m.enc, m.yuv);
  if (err >= 0) err = avcodec_receive_packet(m.enc, m.pkt);
  if (err < 0) runtime_error("cannot compress frame " + std::to_string(frame.index) + " to JPEG");
  out.assign(reinterpret_cast<const char *>(m.pkt->data), static_cast<size_t>(m.pkt->size));
  av_packet_unref(m.pkt);
  return out;
}

}  // namespace vt
