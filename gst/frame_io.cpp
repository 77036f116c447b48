#include "frame_io.h"

#include <cstring>

namespace vg {

namespace {

// Copies the frame's planes into the library's layout: rows without padding, planes one after another.
void pack(const GstVideoFrame *f, std::vector<uint8_t> &out) {
  const int planes = GST_VIDEO_FRAME_N_PLANES(f);
  size_t total = 0;
  for (int p = 0; p < planes; ++p)
    total += size_t(GST_VIDEO_FRAME_COMP_WIDTH(f, p) * GST_VIDEO_FRAME_COMP_PSTRIDE(f, p)) *
             GST_VIDEO_FRAME_COMP_HEIGHT(f, p);
  out.resize(total);
  uint8_t *dst = out.data();
  for (int p = 0; p < planes; ++p) {
    const size_t row = size_t(GST_VIDEO_FRAME_COMP_WIDTH(f, p)) * GST_VIDEO_FRAME_COMP_PSTRIDE(f, p);
    const uint8_t *src = static_cast<const uint8_t *>(GST_VIDEO_FRAME_PLANE_DATA(f, p));
    for (int y = 0; y < GST_VIDEO_FRAME_COMP_HEIGHT(f, p); ++y, dst += row)
      std::memcpy(dst, src + size_t(y) * GST_VIDEO_FRAME_PLANE_STRIDE(f, p), row);
  }
}

uint8_t *row_of(GstVideoFrame *f, int plane, int y) {
  return static_cast<uint8_t *>(GST_VIDEO_FRAME_PLANE_DATA(f, plane)) + size_t(y) * GST_VIDEO_FRAME_PLANE_STRIDE(f, plane);
}

bool differs(const vt::Frame &a, const vt::Frame &b, int x, int y) {
  return std::memcmp(a.row(y) + 3 * x, b.row(y) + 3 * x, 3) != 0;
}

}  // namespace

FrameIo::~FrameIo() { vorn_image_free(rgb_); }

bool FrameIo::ensure_image(int w, int h) {
  if (rgb_ && int(rgb_->width) == w && int(rgb_->height) == h) return true;
  vorn_image_free(rgb_);
  rgb_ = vorn_image_alloc(uint32_t(w), uint32_t(h), VORN_FORMAT_RGB);
  return rgb_ != nullptr;
}

bool FrameIo::read(const GstVideoFrame *in, vt::Frame &out) {
  const int w = GST_VIDEO_FRAME_WIDTH(in), h = GST_VIDEO_FRAME_HEIGHT(in);
  out.resize(w, h);
  const GstVideoFormat fmt = GST_VIDEO_FRAME_FORMAT(in);
  if (fmt == GST_VIDEO_FORMAT_I420 || fmt == GST_VIDEO_FORMAT_YUY2) {
    // The library turns its YUV frame types into R,G,B planes; the B,G,R frame is made from those.
    if (!ensure_image(w, h)) return false;
    pack(in, packed_);
    vorn_result r = fmt == GST_VIDEO_FORMAT_I420 ? vorn_image_yuv420_to_rgb(packed_.data(), rgb_)
                                                 : vorn_image_yuv422_to_rgb(packed_.data(), rgb_);
    if (r != VORN_OK) return false;
    for (int y = 0; y < h; ++y) {
      uint8_t *d = out.row(y);
      const size_t at = size_t(y) * w;
      for (int x = 0; x < w; ++x, d += 3) {
        d[0] = rgb_->plane[2][at + x];
        d[1] = rgb_->plane[1][at + x];
        d[2] = rgb_->plane[0][at + x];
      }
    }
    return true;
  }
  const int step = GST_VIDEO_FRAME_COMP_PSTRIDE(in, 0);
  const bool swap = fmt == GST_VIDEO_FORMAT_RGB;
  for (int y = 0; y < h; ++y) {
    const uint8_t *s = static_cast<const uint8_t *>(GST_VIDEO_FRAME_PLANE_DATA(in, 0)) +
                       size_t(y) * GST_VIDEO_FRAME_PLANE_STRIDE(in, 0);
    uint8_t *d = out.row(y);
    if (step == 3 && !swap) {
      std::memcpy(d, s, size_t(w) * 3);
      continue;
    }
    for (int x = 0; x < w; ++x, s += step, d += 3) {
      d[0] = s[swap ? 2 : 0];
      d[1] = s[1];
      d[2] = s[swap ? 0 : 2];
    }
  }
  return true;
}

bool FrameIo::write_changes(const vt::Frame &plain, const vt::Frame &drawn, GstVideoFrame *f) {
  const int w = drawn.width, h = drawn.height;
  const GstVideoFormat fmt = GST_VIDEO_FRAME_FORMAT(f);
  if (fmt != GST_VIDEO_FORMAT_I420 && fmt != GST_VIDEO_FORMAT_YUY2) {
    const int step = GST_VIDEO_FRAME_COMP_PSTRIDE(f, 0);
    const bool swap = fmt == GST_VIDEO_FORMAT_RGB;
    for (int y = 0; y < h; ++y) {
      uint8_t *d = row_of(f, 0, y);
      const uint8_t *s = drawn.row(y);
      for (int x = 0; x < w; ++x, d += step, s += 3) {
        if (!differs(plain, drawn, x, y)) continue;
        d[swap ? 2 : 0] = s[0];
        d[1] = s[1];
        d[swap ? 0 : 2] = s[2];
      }
    }
    return true;
  }
  // The drawn picture in the library's YUV layout, then copied where the overlay changed something.
  if (!ensure_image(w, h)) return false;
  for (int y = 0; y < h; ++y) {
    const uint8_t *s = drawn.row(y);
    const size_t at = size_t(y) * w;
    for (int x = 0; x < w; ++x, s += 3) {
      rgb_->plane[0][at + x] = s[2];
      rgb_->plane[1][at + x] = s[1];
      rgb_->plane[2][at + x] = s[0];
    }
  }
  if (fmt == GST_VIDEO_FORMAT_YUY2) {
    packed_.resize(size_t(w) * h * 2);
    if (vorn_image_rgb_to_yuv422(rgb_, packed_.data()) != VORN_OK) return false;
    for (int y = 0; y < h; ++y)
      for (int x = 0; x + 1 < w; x += 2)
        if (differs(plain, drawn, x, y) || differs(plain, drawn, x + 1, y))
          std::memcpy(row_of(f, 0, y) + 2 * x, packed_.data() + (size_t(y) * w + x) * 2, 4);
    return true;
  }
  packed_.resize(size_t(w) * h * 3 / 2);
  if (vorn_image_rgb_to_yuv420(rgb_, packed_.data()) != VORN_OK) return false;
  const uint8_t *ys = packed_.data();
  const uint8_t *us = ys + size_t(w) * h;
  const uint8_t *vs = us + size_t(w / 2) * (h / 2);
  for (int y = 0; y < h; ++y)
    for (int x = 0; x < w; ++x)
      if (differs(plain, drawn, x, y)) {
        row_of(f, 0, y)[x] = ys[size_t(y) * w + x];
        const size_t c = size_t(y / 2) * (w / 2) + x / 2;
        row_of(f, 1, y / 2)[x / 2] = us[c];
        row_of(f, 2, y / 2)[x / 2] = vs[c];
      }
  return true;
}

}  // namespace vg
