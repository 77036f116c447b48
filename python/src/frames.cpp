// Host frames: intake of numpy arrays and bitmap objects, the Bitmap class, frame <-> image conversion.
#include <cstring>

#include "bitmap.h"
#include "common.h"

namespace vp {

namespace {

size_t stride24(uint32_t w) { return (size_t(w) * 3 + 3) & ~size_t(3); }

// Interleaved rows top-down into bitmap rows bottom-up; `swap` exchanges bytes 0 and 2 of every pixel.
void to_bitmap_rows(const uint8_t *src, uint8_t *dst, uint32_t w, uint32_t h, unsigned channels, size_t stride,
                    bool swap) {
  const size_t row = size_t(w) * channels;
  for (uint32_t y = 0; y < h; ++y) {
    const uint8_t *s = src + row * (h - 1 - y);
    uint8_t *d = dst + stride * y;
    if (!swap) {
      std::memcpy(d, s, row);
    } else if (channels == 3) {
      for (uint32_t x = 0; x < w; ++x, s += 3, d += 3) {
        d[0] = s[2];
        d[1] = s[1];
        d[2] = s[0];
      }
    } else {
      for (uint32_t x = 0; x < w; ++x, s += 4, d += 4) {
        d[0] = s[2];
        d[1] = s[1];
        d[2] = s[0];
        d[3] = s[3];
      }
    }
  }
}

// Bitmap rows bottom-up into interleaved rows top-down (B, G, R, or R, G, B with swap).
void from_bitmap_rows(const uint8_t *src, uint8_t *dst, uint32_t w, uint32_t h, unsigned channels, size_t stride,
                      bool swap) {
  const size_t row = size_t(w) * 3;
  for (uint32_t y = 0; y < h; ++y) {
    const uint8_t *s = src + stride * (h - 1 - y);
    uint8_t *d = dst + row * y;
    for (uint32_t x = 0; x < w; ++x, s += channels, d += 3) {
      d[0] = s[swap ? 2 : 0];
      d[1] = s[1];
      d[2] = s[swap ? 0 : 2];
    }
  }
}

}  // namespace

uint8_t *FrameIn::prepare(std::vector<uint8_t> &scratch, uint32_t *type) const {
  switch (layout) {
    case Layout::kRgb:
    case Layout::kBgr: {
      const size_t stride = stride24(width);
      if (scratch.size() < stride * height) scratch.resize(stride * height);
      to_bitmap_rows(src, scratch.data(), width, height, 3, stride, layout == Layout::kRgb);
      *type = VORN_FRAME_BMP24;
      return scratch.data();
    }
    case Layout::kRgbx:
    case Layout::kBgrx: {
      const size_t stride = size_t(width) * 4;
      if (scratch.size() < stride * height) scratch.resize(stride * height);
      to_bitmap_rows(src, scratch.data(), width, height, 4, stride, layout == Layout::kRgbx);
      *type = VORN_FRAME_BMP32;
      return scratch.data();
    }
    case Layout::kYuv422: *type = VORN_FRAME_YUV422; break;
    case Layout::kYuv420: *type = VORN_FRAME_YUV420; break;
    case Layout::kBitmap: *type = VORN_FRAME_BMP; break;
  }
  return const_cast<uint8_t *>(src);
}

FrameIn frame_in(py::handle frame, bool bgr) {
  FrameIn f;
  f.keep = py::reinterpret_borrow<py::object>(frame);
  if (py::isinstance<Bitmap>(frame)) {
    vorn_bmp *b = py::cast<Bitmap &>(frame).get();
    if (!vorn_bmp_is_valid(b)) throw py::value_error("the bitmap is not a 24- or 32-bit bitmap");
    f.src = reinterpret_cast<const uint8_t *>(b);
    f.layout = Layout::kBitmap;
    f.width = uint32_t(vorn_bmp_get_width(b));
    f.height = uint32_t(vorn_bmp_get_height(b));
    return f;
  }
  if (!py::isinstance<py::array>(frame))
    throw py::type_error("frame must be a numpy array or a vorn.Bitmap, not " +
                         std::string(py::str(py::type::handle_of(frame).attr("__name__"))));
  py::array a = py::reinterpret_borrow<py::array>(frame);
  a = need_u8(frame, "frame", a.ndim() == 2 ? 2 : 3);
  f.src = static_cast<const uint8_t *>(a.data());
  if (a.ndim() == 2) {
    if (a.shape(0) % 3 != 0 || a.shape(1) % 2 != 0 || a.shape(0) == 0)
      throw py::value_error("a planar 4:2:0 frame must have shape (H * 3 / 2, W) with H and W even");
    f.layout = Layout::kYuv420;
    f.width = uint32_t(a.shape(1));
    f.height = uint32_t(a.shape(0) / 3 * 2);
  } else {
    f.width = uint32_t(a.shape(1));
    f.height = uint32_t(a.shape(0));
    switch (a.shape(2)) {
      case 3: f.layout = bgr ? Layout::kBgr : Layout::kRgb; break;
      case 4: f.layout = bgr ? Layout::kBgrx : Layout::kRgbx; break;
      case 2:
        if (f.width % 2) throw py::value_error("a packed 4:2:2 frame must have an even width");
        f.layout = Layout::kYuv422;
        break;
      default:
        throw py::value_error("frame must be H x W x 3 (RGB/BGR), H x W x 4, H x W x 2 (4:2:2) or "
                              "(H * 3 / 2) x W (4:2:0), not H x W x " + std::to_string(a.shape(2)));
    }
  }
  if (f.width == 0 || f.height == 0) throw py::value_error("frame is empty");
  return f;
}

void expect_frame_size(const FrameIn &f, uint32_t width, uint32_t height, const char *who) {
  if (f.width != width || f.height != height)
    throw py::value_error(std::string("frame is ") + std::to_string(f.width) + "x" + std::to_string(f.height) +
                          ", the " + who + " takes " + std::to_string(width) + "x" + std::to_string(height));
}

namespace {

using ToImage = vorn_result (*)(const uint8_t *, vorn_image *);
using BmpToImage = vorn_result (*)(const vorn_bmp *, vorn_image *);

// frame_to_image: a host frame into a planar image of the given format (a copy).
py::array frame_to_image(py::handle frame, uint32_t format, bool bgr) {
  if (format > VORN_FORMAT_HSV) throw py::value_error("format must be RGB, YUV or HSV");
  FrameIn f = frame_in(frame, bgr);
  vorn_image img;
  py::array out = new_image(f.width, f.height, format, &img);
  std::vector<uint8_t> scratch;
  vorn_result r;
  {
    py::gil_scoped_release nogil;
    uint32_t type;
    uint8_t *p = f.prepare(scratch, &type);
    static const ToImage raw[4][3] = {
        {nullptr, nullptr, nullptr},
        {vorn_image_bmp24_to_rgb, vorn_image_bmp24_to_yuv, vorn_image_bmp24_to_hsv},
        {vorn_image_bmp32_to_rgb, vorn_image_bmp32_to_yuv, vorn_image_bmp32_to_hsv},
        {vorn_image_yuv422_to_rgb, vorn_image_yuv422_to_yuv, vorn_image_yuv422_to_hsv}};
    static const ToImage yuv420[3] = {vorn_image_yuv420_to_rgb, vorn_image_yuv420_to_yuv, vorn_image_yuv420_to_hsv};
    static const BmpToImage bmp[3] = {vorn_image_bmp_to_rgb, vorn_image_bmp_to_yuv, vorn_image_bmp_to_hsv};
    if (type == VORN_FRAME_BMP)
      r = bmp[format](reinterpret_cast<const vorn_bmp *>(p), &img);
    else if (type == VORN_FRAME_YUV420)
      r = yuv420[format](p, &img);
    else
      r = raw[type][format](p, &img);
  }
  check(r, "converting the frame");
  return out;
}

// image_to_frame: a planar image into a host frame of the given layout (a copy).
py::array image_to_frame(py::handle image, uint32_t format, const std::string &layout) {
  if (format > VORN_FORMAT_HSV) throw py::value_error("format must be RGB, YUV or HSV");
  vorn_image img = image_of(image, "image", format);
  const uint32_t w = img.width, h = img.height;
  if (layout == "rgb" || layout == "bgr") {
    static vorn_result (*const to24[3])(const vorn_image *, uint8_t *) = {
        vorn_image_rgb_to_bmp24, vorn_image_yuv_to_bmp24, vorn_image_hsv_to_bmp24};
    std::vector<uint8_t> rows(stride24(w) * h);
    check(to24[format](&img, rows.data()), "converting the image");
    py::array_t<uint8_t> out({py::ssize_t(h), py::ssize_t(w), py::ssize_t(3)});
    from_bitmap_rows(rows.data(), out.mutable_data(), w, h, 3, stride24(w), layout == "rgb");
    return out;
  }
  if (layout == "yuv422") {
    if (w % 2) throw py::value_error("a 4:2:2 frame needs an even width");
    static vorn_result (*const to422[3])(const vorn_image *, uint8_t *) = {
        vorn_image_rgb_to_yuv422, vorn_image_yuv_to_yuv422, vorn_image_hsv_to_yuv422};
    py::array_t<uint8_t> out({py::ssize_t(h), py::ssize_t(w), py::ssize_t(2)});
    std::memset(out.mutable_data(), 0, size_t(out.size()));
    check(to422[format](&img, out.mutable_data()), "converting the image");
    return out;
  }
  if (layout == "yuv420") {
    if (w % 2 || h % 2) throw py::value_error("a 4:2:0 frame needs an even width and height");
    static vorn_result (*const to420[3])(const vorn_image *, uint8_t *) = {
        vorn_image_rgb_to_yuv420, vorn_image_yuv_to_yuv420, vorn_image_hsv_to_yuv420};
    py::array_t<uint8_t> out({py::ssize_t(h / 2 * 3), py::ssize_t(w)});
    std::memset(out.mutable_data(), 0, size_t(out.size()));
    check(to420[format](&img, out.mutable_data()), "converting the image");
    return out;
  }
  throw py::value_error("layout must be 'rgb', 'bgr', 'yuv422' or 'yuv420', not '" + layout + "'");
}

}  // namespace

Bitmap::Bitmap(vorn_bmp *b) : Owner("bitmap") {
  if (!b) throw LibraryError{VORN_E_NOMEM, "allocating the bitmap"};
  hold(b, [](vorn_bmp *p) { vorn_bmp_free(p); });
}

vorn_bmp *Bitmap::get() const { return Owner::get(); }

py::array Bitmap::to_array(bool bgr) const {
  vorn_bmp *b = get();
  const uint32_t w = uint32_t(vorn_bmp_get_width(b)), h = uint32_t(vorn_bmp_get_height(b));
  py::array_t<uint8_t> out({py::ssize_t(h), py::ssize_t(w), py::ssize_t(3)});
  from_bitmap_rows(vorn_bmp_get_image(b), out.mutable_data(), w, h, vorn_bmp_get_bitcount(b) / 8,
                   vorn_bmp_get_stride(b), !bgr);
  return out;
}

void bind_frames(py::module_ &m) {
  py::class_<Bitmap> bmp(m, "Bitmap", R"(A bitmap object: a whole 24- or 32-bit bitmap file in one library block.

It can be handed to every per-frame call as a frame (no copy is made).)");
  bmp.def(py::init([](uint32_t width, uint32_t height, uint32_t bitcount) {
            if (bitcount != 24 && bitcount != 32) throw py::value_error("bitcount must be 24 or 32");
            if (width == 0 || height == 0) throw py::value_error("a bitmap needs a non-zero size");
            return new Bitmap(vorn_bmp_alloc(width, height, bitcount));
          }),
          py::arg("width"), py::arg("height"), py::arg("bitcount") = 24, "A black bitmap of the given size.")
      .def_static(
          "load",
          [](const std::string &path) {
            vorn_bmp *b = vorn_bmp_load(path.c_str());
            if (!b) throw LibraryError{VORN_E_PARAM, "cannot read a 24- or 32-bit bitmap from '" + path + "'"};
            return new Bitmap(b);
          },
          py::arg("path"), "Reads a 24- or 32-bit bottom-up bitmap file.")
      .def_static(
          "from_array",
          [](py::handle frame, bool bgr) {
            FrameIn f = frame_in(frame, bgr);
            if (f.layout != Layout::kRgb && f.layout != Layout::kBgr)
              throw py::value_error("a bitmap is made from an H x W x 3 array");
            Bitmap *b = new Bitmap(vorn_bmp_alloc(f.width, f.height, 24));
            to_bitmap_rows(f.src, vorn_bmp_get_image(b->get()), f.width, f.height, 3, stride24(f.width),
                           f.layout == Layout::kRgb);
            return b;
          },
          py::arg("frame"), py::arg("bgr") = false, "A 24-bit bitmap holding an H x W x 3 frame (a copy).")
      .def(
          "save", [](const Bitmap &b, const std::string &path) { check(vorn_bmp_save(b.get(), path.c_str()), "saving"); },
          py::arg("path"), "Writes the bitmap file.")
      .def("to_array", &Bitmap::to_array, py::arg("bgr") = false, "The pixels as an H x W x 3 array (a copy).")
      .def_property_readonly("width", [](const Bitmap &b) { return vorn_bmp_get_width(b.get()); })
      .def_property_readonly("height", [](const Bitmap &b) { return vorn_bmp_get_height(b.get()); })
      .def_property_readonly("bitcount", [](const Bitmap &b) { return vorn_bmp_get_bitcount(b.get()); })
      .def_property_readonly("stride", [](const Bitmap &b) { return vorn_bmp_get_stride(b.get()); });
  bind_owner<Bitmap>(bmp);

  m.def("frame_to_image", &frame_to_image, py::arg("frame"), py::arg("format") = VORN_FORMAT_RGB,
        py::arg("bgr") = false,
        "A host frame (see the module documentation) as a new 3 x H x W planar image of `format`.");
  m.def("image_to_frame", &image_to_frame, py::arg("image"), py::arg("format") = VORN_FORMAT_RGB,
        py::arg("layout") = "rgb",
        "A 3 x H x W planar image of `format` as a new host frame: 'rgb' / 'bgr' (H x W x 3), 'yuv422' "
        "(H x W x 2) or 'yuv420' (H * 3 / 2 x W).");
}

}  // namespace vp
