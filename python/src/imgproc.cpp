// Module functions over images: colour models, differencing and thresholds, shadows and scene cuts, morphology,
// edges. Every function returns new arrays and leaves its inputs untouched.
#include <cstring>

#include "common.h"

namespace vp {

namespace {

using ImageFn = vorn_result (*)(const vorn_image *, vorn_image *);

uint32_t format_of(uint32_t f) {
  if (f > VORN_FORMAT_HSV) throw py::value_error("format must be RGB, YUV or HSV");
  return f;
}

uint32_t plane_of(py::object plane) {
  if (plane.is_none()) return VORN_PLANE_ALL;
  int p = py::cast<int>(plane);
  if (p < 0 || p > 2) throw py::value_error("plane must be 0, 1, 2 or None (all)");
  return uint32_t(p);
}

py::array convert(py::handle image, uint32_t from, uint32_t to) {
  from = format_of(from);
  to = format_of(to);
  vorn_image src = image_of(image, "image", from), dst;
  py::array out = new_image(src.width, src.height, to, &dst);
  if (from == to) {
    std::memcpy(dst.plane[0], src.plane[0], size_t(src.width) * src.height * 3);
    return out;
  }
  static const ImageFn table[3][3] = {{nullptr, vorn_image_rgb_to_yuv, vorn_image_rgb_to_hsv},
                                      {vorn_image_yuv_to_rgb, nullptr, vorn_image_yuv_to_hsv},
                                      {vorn_image_hsv_to_rgb, vorn_image_hsv_to_yuv, nullptr}};
  vorn_result r;
  {
    py::gil_scoped_release nogil;
    r = table[from][to](&src, &dst);
  }
  check(r, "converting the image");
  return out;
}

// The operations on either planar images (3 x H x W) or masks (H x W), picked by the first operand's rank.
bool planar(py::handle a) { return py::isinstance<py::array>(a) && py::reinterpret_borrow<py::array>(a).ndim() == 3; }

py::array diff(py::handle a, py::handle b, py::object plane) {
  if (planar(a)) {
    vorn_image x = image_of(a, "a", 0), y = image_of(b, "b", 0), o;
    same_size(x.width, x.height, y.width, y.height, "diff");
    py::array out = new_image(x.width, x.height, 0, &o);
    check(vorn_image_diff(&x, &y, &o, plane_of(plane)), "diff");
    return out;
  }
  vorn_mono_image x = mono_of(a, "a"), y = mono_of(b, "b"), o;
  same_size(x.width, x.height, y.width, y.height, "diff");
  py::array out = new_mono(x.width, x.height, &o);
  check(vorn_mono_image_diff(&x, &y, &o), "diff");
  return out;
}

py::array diff_binary(py::handle a, py::handle b, int32_t t, py::object plane) {
  if (planar(a)) {
    vorn_image x = image_of(a, "a", 0), y = image_of(b, "b", 0), o;
    same_size(x.width, x.height, y.width, y.height, "diff_binary");
    py::array out = new_image(x.width, x.height, 0, &o);
    check(vorn_image_diff_binary(&x, &y, &o, plane_of(plane), t), "diff_binary");
    return out;
  }
  vorn_mono_image x = mono_of(a, "a"), y = mono_of(b, "b"), o;
  same_size(x.width, x.height, y.width, y.height, "diff_binary");
  py::array out = new_mono(x.width, x.height, &o);
  check(vorn_mono_image_diff_binary(&x, &y, &o, t), "diff_binary");
  return out;
}

py::array threshold(py::handle src, int32_t t, py::object plane) {
  if (planar(src)) {
    vorn_image x = image_of(src, "src", 0), o;
    py::array out = new_image(x.width, x.height, 0, &o);
    check(vorn_image_binary(&x, &o, plane_of(plane), t), "threshold");
    return out;
  }
  vorn_mono_image x = mono_of(src, "src"), o;
  py::array out = new_mono(x.width, x.height, &o);
  check(vorn_mono_image_binary(&x, &o, t), "threshold");
  return out;
}

py::array diff_to_mask(py::handle a, py::handle b, uint32_t t) {
  vorn_image x = image_of(a, "a", 0), y = image_of(b, "b", 0);
  same_size(x.width, x.height, y.width, y.height, "diff_to_mask");
  vorn_mono_image o;
  py::array out = new_mono(x.width, x.height, &o);
  check(vorn_image_diff_binary_to_mono_image(&x, &y, &o, t), "diff_to_mask");
  return out;
}

py::array xor_masks(py::handle a, py::handle b) {
  vorn_mono_image x = mono_of(a, "a"), y = mono_of(b, "b"), o;
  same_size(x.width, x.height, y.width, y.height, "xor");
  py::array out = new_mono(x.width, x.height, &o);
  check(vorn_mono_image_xor(&x, &y, &o), "xor");
  return out;
}

int32_t otsu(py::handle img, py::object rect) {
  vorn_mono_image m = mono_of(img, "image");
  vorn_rect r = rect.is_none() ? vorn_rect{0, 0, int32_t(m.width), int32_t(m.height)} : rect_of(rect, "rect");
  return vorn_mono_image_otsu_threshold(&m, &r);
}

using MorphFn = vorn_result (*)(const vorn_mono_image *, vorn_mono_image *, uint32_t, const vorn_mono_image *);

template <MorphFn Fn>
py::array morph(py::handle mask, uint32_t n, py::object region) {
  vorn_mono_image src = mono_of(mask, "mask"), dst, reg;
  std::vector<uint8_t> all;
  if (region.is_none()) {
    all.assign(size_t(src.width) * src.height, 255);
    reg = vorn_mono_image{src.width, src.height, all.data()};
  } else {
    reg = mono_of(region, "region");
    same_size(src.width, src.height, reg.width, reg.height, "region");
  }
  py::array out = new_mono(src.width, src.height, &dst);
  vorn_result r;
  {
    py::gil_scoped_release nogil;
    r = Fn(&src, &dst, n, &reg);
  }
  check(r, "morphology");
  return out;
}

py::array remove_shadows(py::handle fg, py::handle background, py::handle current, uint32_t format, bool simple) {
  vorn_mono_image f = mono_of(fg, "fg"), o;
  vorn_image bk = image_of(background, "background", format_of(format)), cur = image_of(current, "current", format);
  same_size(f.width, f.height, bk.width, bk.height, "remove_shadows");
  py::array out = new_mono(f.width, f.height, &o);
  std::memcpy(o.data, f.data, size_t(f.width) * f.height);
  check((simple ? vorn_image_shadow_detect_simple : vorn_image_shadow_detect)(&o, &bk, &cur), "remove_shadows");
  return out;
}

bool scene_cut(py::handle current, py::handle reference, uint32_t t, uint32_t format) {
  vorn_image c = image_of(current, "current", format_of(format)), r = image_of(reference, "reference", format);
  vorn_result res = vorn_image_scenecut_detect(&c, &r, t);
  if (res == VORN_E_SCENE_CHANGE) return true;
  check(res, "scene_cut");
  return false;
}

bool scene_cut_edges(py::handle current, py::handle previous) {
  vorn_mono_image c = mono_of(current, "current"), p = mono_of(previous, "previous");
  vorn_result res = vorn_image_scenecut_detect_edge(&c, &p);
  if (res == VORN_E_SCENE_CHANGE) return true;
  check(res, "scene_cut_edges");
  return false;
}

py::array edges(py::handle image, int32_t t, uint32_t kernel, uint32_t format) {
  vorn_image img = image_of(image, "image", format_of(format));
  vorn_mono_image o;
  py::array out = new_mono(img.width, img.height, &o);
  check(vorn_image_edge(&img, &o, t, kernel), "edges");
  return out;
}

py::array derivative(py::handle image, uint32_t kernel, uint32_t format) {
  vorn_image img = image_of(image, "image", format_of(format));
  py::array_t<int32_t> out({py::ssize_t(img.height), py::ssize_t(img.width)});
  std::memset(out.mutable_data(), 0, size_t(out.size()) * 4);
  check(vorn_image_deriv(&img, out.mutable_data(), kernel), "derivative");
  return out;
}

py::array canny(py::handle grey, uint32_t low, uint32_t high, py::object rect) {
  vorn_mono_image src = mono_of(grey, "grey"), dst;
  py::array out = new_mono(src.width, src.height, &dst);
  void *h = nullptr;
  check(vorn_canny_create(src.width, src.height, &h), "creating the edge detector");
  std::unique_ptr<void, void (*)(void *)> own(h, vorn_canny_destroy);
  check(vorn_canny_set_threshold(h, low, high), "setting the thresholds");
  vorn_result r;
  if (rect.is_none()) {
    py::gil_scoped_release nogil;
    r = vorn_canny_process(h, &dst, &src);
  } else {
    vorn_rect b = rect_of(rect, "rect");
    r = vorn_canny_process_rect(h, &dst, &src, b.left, b.top, b.right, b.bottom);
  }
  check(r, "canny");
  return out;
}

py::array laplacian(py::handle grey, int32_t t, py::object rect) {
  vorn_mono_image src = mono_of(grey, "grey"), dst;
  py::array out = new_mono(src.width, src.height, &dst);
  vorn_rect b = rect.is_none() ? vorn_rect{0, 0, int32_t(src.width), int32_t(src.height)} : rect_of(rect, "rect");
  check(vorn_laplacian_rect(&dst, &src, b.left, b.top, b.right, b.bottom, t), "laplacian");
  return out;
}

}  // namespace

void bind_imgproc(py::module_ &m) {
  m.def("convert", &convert, py::arg("image"), py::arg("src_format"), py::arg("dst_format"),
        "A 3 x H x W planar image converted between colour models (Format.RGB, YUV, HSV).");
  m.def(
      "luma",
      [](py::handle image) {
        vorn_image src = image_of(image, "image", VORN_FORMAT_RGB);
        vorn_mono_image o;
        py::array out = new_mono(src.width, src.height, &o);
        check(vorn_image_rgb_to_y(&src, &o), "luma");
        return out;
      },
      py::arg("image"), "The truncated luma of an RGB planar image, H x W.");
  m.def(
      "grey_to_rgb",
      [](py::handle grey) {
        vorn_mono_image src = mono_of(grey, "grey");
        vorn_image o;
        py::array out = new_image(src.width, src.height, VORN_FORMAT_RGB, &o);
        check(vorn_image_y_to_rgb(&src, &o), "grey_to_rgb");
        return out;
      },
      py::arg("grey"), "A grey H x W image copied into the three planes of an RGB image.");
  m.def(
      "hue",
      [](py::handle image, uint32_t format) {
        if (format != VORN_FORMAT_RGB && format != VORN_FORMAT_YUV) throw py::value_error("format must be RGB or YUV");
        vorn_image src = image_of(image, "image", format);
        vorn_mono_image o;
        py::array out = new_mono(src.width, src.height, &o);
        check((format == VORN_FORMAT_RGB ? vorn_image_rgb_to_h : vorn_image_yuv_to_h)(&src, &o), "hue");
        return out;
      },
      py::arg("image"), py::arg("format") = VORN_FORMAT_RGB, "The H plane (0..240) of an RGB or YUV image.");
  m.def("diff", &diff, py::arg("a"), py::arg("b"), py::arg("plane") = py::none(),
        "|a - b| of two masks, or of two planar images on one plane (0..2) or all (None).");
  m.def("diff_binary", &diff_binary, py::arg("a"), py::arg("b"), py::arg("t"), py::arg("plane") = py::none(),
        "255 where |a - b| >= t, else 0 (masks or planar images).");
  m.def("threshold", &threshold, py::arg("src"), py::arg("t"), py::arg("plane") = py::none(),
        "255 where src >= t, else 0 (masks or planar images).");
  m.def("diff_to_mask", &diff_to_mask, py::arg("a"), py::arg("b"), py::arg("t"),
        "255 where the summed difference of the three planes reaches 3t/2, as an H x W mask.");
  m.def("xor", &xor_masks, py::arg("a"), py::arg("b"), "a ^ b bytewise.");
  m.def("otsu_threshold", &otsu, py::arg("image"), py::arg("rect") = py::none(),
        "The Otsu level (0..254) of the interior of rect (default: the whole image).");
  m.def("erode", &morph<vorn_morpha_erosion>, py::arg("mask"), py::arg("n"), py::arg("region") = py::none(),
        "Erosion over the (2n+1)^2 window; border band and pixels outside region are 0.");
  m.def("dilate", &morph<vorn_morpha_dilation>, py::arg("mask"), py::arg("n"), py::arg("region") = py::none(),
        "Dilation over the (2n+1)^2 window; border band and pixels outside region are 0.");
  m.def("window_filter", &morph<vorn_morpha_window>, py::arg("mask"), py::arg("n"), py::arg("region") = py::none(),
        "255 where three quarters of the (2n+1)^2 window are set.");
  m.def("remove_shadows", &remove_shadows, py::arg("fg"), py::arg("background"), py::arg("current"),
        py::arg("format") = VORN_FORMAT_YUV, py::arg("simple") = false,
        "The foreground mask with cast-shadow pixels cleared (a new mask).");
  m.def("scene_cut", &scene_cut, py::arg("current"), py::arg("reference"), py::arg("t"),
        py::arg("format") = VORN_FORMAT_YUV, "Whether more than three quarters of the pixels changed.");
  m.def("scene_cut_edges", &scene_cut_edges, py::arg("current"), py::arg("previous"),
        "Whether more than three quarters of the previous edge pixels are gone.");
  m.def("edges", &edges, py::arg("image"), py::arg("t"), py::arg("kernel") = VORN_EDGE_SOBEL_X,
        py::arg("format") = VORN_FORMAT_RGB,
        "Kernel 0 Sobel x, 1 Sobel y, 2 box over the grey plane: 255 where |v| > t (t >= 0), else |v| & 255.");
  m.def("derivative", &derivative, py::arg("image"), py::arg("kernel") = VORN_EDGE_SOBEL_X,
        py::arg("format") = VORN_FORMAT_RGB, "The kernel's value at every interior pixel, H x W int32.");
  m.def("canny", &canny, py::arg("grey"), py::arg("low") = 30, py::arg("high") = 90, py::arg("rect") = py::none(),
        "Canny edges (255) of a grey image, optionally only inside rect.");
  m.def("laplacian", &laplacian, py::arg("grey"), py::arg("t"), py::arg("rect") = py::none(),
        "255 where |4c - up - down - left - right| > t.");
}

}  // namespace vp
