#include "watched_area.h"

#include "vorn_geometry.h"

#include "error.h"
#include "library_frame.h"
#include "video_reader.h"

namespace vt {

SettingDef region_setting() {
  return {"region", SettingType::kPolygon, "X,Y,X,Y,X,Y,...", "only this polygon is watched"};
}

SettingDef mask_setting() {
  return {"mask", SettingType::kText, "IMAGE", "only the pixels not black in this image (the frame's size) are watched"};
}

void validate_watched_area(const AnalyticSettings &s, int width, int height) {
  if (s.has("region") && s.has("mask")) usage_error(s.name + ": give --region or --mask, not both");
  if (s.has("region")) require_polygon(s, "region", width, height, s.name + ": region");
}

void draw_watched_region(Canvas &c, const AnalyticSettings &s) {
  if (const std::optional<Polygon> region = s.polygon("region")) c.polyline(*region, colors::kGreen, 2, true);
}

std::vector<uint8_t> watched_area(const AnalyticSettings &s, int width, int height) {
  std::vector<uint8_t> area;
  if (const std::optional<Polygon> region = s.polygon("region")) {
    const std::vector<vorn_point> pts = closed_points(*region);
    area.assign(size_t(width) * height, 0);
    for (int y = 0; y < height; ++y)
      for (int x = 0; x < width; ++x)
        if (vorn_pt_in_region(vorn_point{x, y}, pts.data(), static_cast<int32_t>(pts.size())))
          area[size_t(y) * width + x] = 255;
  } else if (s.has("mask")) {
    const std::string path = s.text("mask");
    VideoReader image(path);
    Frame f;
    if (!image.next(f)) runtime_error(s.name + ": the mask '" + path + "' holds no picture");
    if (f.width != width || f.height != height)
      runtime_error(s.name + ": the mask '" + path + "' is " + std::to_string(f.width) + "x" +
                    std::to_string(f.height) + ", the video " + std::to_string(width) + "x" + std::to_string(height));
    area.assign(size_t(width) * height, 0);
    for (int y = 0; y < height; ++y) {
      const uint8_t *row = f.row(y);
      for (int x = 0; x < width; ++x)
        if (row[3 * x] > 127 || row[3 * x + 1] > 127 || row[3 * x + 2] > 127) area[size_t(y) * width + x] = 255;
    }
  }
  return area;
}

}  // namespace vt
