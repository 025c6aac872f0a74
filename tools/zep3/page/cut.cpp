// Margins that end at the scan's edge, rectangles of whole pixels, and libvips' turning.
#include "page/cut.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "failure.h"
#include "files/output.h"

namespace {

// A picture whose sides lean by less than this share of their length is cut upright: a pixel of the largest pre-scan,
// which no eye sees and the finder does not measure better.
constexpr double kUprightLean = 1.0 / 1250;

// Margin where none is asked for: inside of a found picture's edge, which is as soft and as uncertain as this.
constexpr Length kSoftEdge = {-0.2, true};

// Pixels around a place that the interpolation looks at.
constexpr double kReach = 3;

// Bytes up to which a picture to be turned is held in memory.
constexpr uint64_t kHeldBytes = 64 << 20;

// Right and down on a cut, in pixels of the scan.
struct Axes {
  double cosine, sine;
  explicit Axes(double degrees)
      : cosine(std::cos(degrees * std::numbers::pi / 180)), sine(std::sin(degrees * std::numbers::pi / 180)) {}
  Corner At(const Cut& cut, double right, double down) const {
    return {cut.x + right * cosine - down * sine, cut.y + right * sine + down * cosine};
  }
};

Corners CornersOf(const Cut& cut) {
  const Axes axes(cut.degrees);
  return {axes.At(cut, 0, 0), axes.At(cut, cut.width, 0), axes.At(cut, cut.width, cut.height),
          axes.At(cut, 0, cut.height)};
}

struct Box {
  double left, top, right, bottom;
};

Box BoxOf(const Corners& corners) {
  Box box = {corners[0].x, corners[0].y, corners[0].x, corners[0].y};
  for (const Corner& corner : corners) {
    box = {std::min(box.left, corner.x), std::min(box.top, corner.y), std::max(box.right, corner.x),
           std::max(box.bottom, corner.y)};
  }
  return box;
}

// The rectangle of the frame's tilt, middle and mean lengths.
Cut RectangleOf(const Corners& corners, double degrees) {
  Cut cut = {0, 0, WidthOf(corners), HeightOf(corners), degrees};
  const Corner back = Axes(degrees).At(cut, cut.width / 2, cut.height / 2);
  for (const Corner& corner : corners) {
    cut.x += corner.x / 4;
    cut.y += corner.y / 4;
  }
  cut.x -= back.x;
  cut.y -= back.y;
  return cut;
}

// How far a place can go into a direction before it leaves the scan; nothing where it lies outside.
double RoomOf(const Corner& from, double right, double down, int64_t width, int64_t height) {
  const auto room = [](double at, double step, double end) {
    if (at < 0 || at > end) return 0.0;
    if (step == 0) return HUGE_VAL;
    return (step > 0 ? end - at : -at) / step;
  };
  return std::min(room(from.x, right, static_cast<double>(width)), room(from.y, down, static_cast<double>(height)));
}

// Moves the sides outward by `margin` pixels or to where one end of them meets the scan's edge; inward by all of it.
Cut WithMargin(Cut cut, double margin, int64_t width, int64_t height) {
  const Axes axes(cut.degrees);
  const struct {
    size_t ends[2];
    double right, down; // outward, on the cut
  } sides[] = {{{0, 1}, 0, -1}, {{1, 2}, 1, 0}, {{2, 3}, 0, 1}, {{3, 0}, -1, 0}};
  for (const auto& side : sides) {
    double step = margin;
    for (const size_t end : side.ends) {
      const double x = side.right * axes.cosine - side.down * axes.sine;
      const double y = side.right * axes.sine + side.down * axes.cosine;
      if (margin > 0) step = std::min(step, RoomOf(CornersOf(cut)[end], x, y, width, height));
    }
    const Corner corner = axes.At(cut, std::min(side.right, 0.0) * step, std::min(side.down, 0.0) * step);
    cut.x = corner.x;
    cut.y = corner.y;
    cut.width += std::abs(side.right) * step;
    cut.height += std::abs(side.down) * step;
  }
  return cut;
}

// The whole pixels of a scan of this size that the box covers by more than half.
Cut WholePixels(const Box& box, int64_t width, int64_t height) {
  const auto line = [](double at, int64_t end) { return std::round(std::clamp(at, 0.0, static_cast<double>(end))); };
  const double left = line(box.left, width), top = line(box.top, height);
  return {left, top, line(box.right, width) - left, line(box.bottom, height) - top};
}

// The sides moved inward to where a scan of this size has pixels along them.
Cut Within(const Cut& cut, int64_t width, int64_t height) {
  const Axes axes(cut.degrees);
  const auto right = static_cast<double>(width), bottom = static_cast<double>(height);
  Corners scan = {{{0, 0}, {right, 0}, {right, bottom}, {0, bottom}}}; // on the cut
  for (Corner& corner : scan) {
    const double x = corner.x - cut.x, y = corner.y - cut.y;
    corner = {x * axes.cosine + y * axes.sine, y * axes.cosine - x * axes.sine};
  }
  const Box box = BoxOf(scan);
  const double left = std::max(box.left, 0.0), top = std::max(box.top, 0.0);
  const Corner corner = axes.At(cut, left, top);
  return {corner.x, corner.y, std::min(box.right, cut.width) - left, std::min(box.bottom, cut.height) - top,
          cut.degrees};
}

vips::VImage Part(const vips::VImage& image, const Cut& upright) {
  return image.extract_area(static_cast<int>(upright.x), static_cast<int>(upright.y), static_cast<int>(upright.width),
                            static_cast<int>(upright.height));
}

// The image, to be read in any order.
vips::VImage Held(const vips::VImage& image) {
  if (VIPS_IMAGE_SIZEOF_IMAGE(image.get_image()) <= kHeldBytes) return image.copy_memory();
  const TemporaryFolder folder; // an open file needs no name
  const std::string path = (folder.Path() / "turned").string();
  image.rawsave(path.c_str());
  VipsImage* const raw = vips_image_new_from_file_raw(path.c_str(), image.width(), image.height(),
                                                      static_cast<int>(VIPS_IMAGE_SIZEOF_PEL(image.get_image())), 0);
  if (raw == nullptr) throw vips::VError();
  return vips::VImage(raw).copy(vips::VImage::option()
                                    ->set("bands", image.bands())
                                    ->set("format", image.format())
                                    ->set("interpretation", image.interpretation())
                                    ->set("xres", image.xres())
                                    ->set("yres", image.yres()));
}

// An image's pixels under the header of another.
vips::VImage WithHeaderOf(const vips::VImage& header, const vips::VImage& pixels) {
  const vips::VImage out(vips_image_new());
  VipsImage* const to = out.get_image();
  const auto copy = [](VipsRegion* region, void* sequence, void*, void*, gboolean*) {
    auto* from = static_cast<VipsRegion*>(sequence);
    if (vips_region_prepare(from, &region->valid) != 0) return -1;
    return vips_region_region(region, from, &region->valid, region->valid.left, region->valid.top);
  };
  if (vips_image_pipelinev(to, VIPS_DEMAND_STYLE_ANY, pixels.get_image(), header.get_image(), nullptr) != 0 ||
      vips_image_generate(to, vips_start_one, copy, vips_stop_one, pixels.get_image(), nullptr) != 0) {
    throw vips::VError();
  }
  g_object_set_data_full(G_OBJECT(to), "zep3-pixels", g_object_ref(pixels.get_image()), g_object_unref);
  return out;
}

} // namespace

Cut Cut::Scaled(double across, double down) const {
  Cut cut = {x * across, y * down, std::max(1.0, std::round(width * across)), std::max(1.0, std::round(height * down)),
             degrees};
  if (degrees == 0) cut = {std::floor(cut.x), std::floor(cut.y), cut.width, cut.height};
  return cut;
}

Cut CutOf(const Frame& frame, const CropOptions& options, int64_t width, int64_t height) {
  double degrees = TiltOf(frame.corners);
  if (std::abs(degrees) * std::numbers::pi / 180 < kUprightLean) degrees = 0;
  const Cut picture = RectangleOf(frame.corners, degrees);
  const double shorter = std::min(picture.width, picture.height);
  const Length wanted = options.margin.value_or(frame.given ? Length() : kSoftEdge);
  const double margin = wanted.percent ? wanted.value / 100 * shorter : wanted.value;
  Cut cut = Within(WithMargin(picture, margin, width, height), width, height);
  const Cut around = cut.width > 0 && cut.height > 0 ? WholePixels(BoxOf(CornersOf(cut)), width, height) : Cut();
  if (degrees == 0 || options.keepsTilt) cut = around;
  cut.width = std::round(cut.width);
  cut.height = std::round(cut.height);
  if (std::min({cut.width, cut.height, around.width, around.height}) < 1) {
    throw Failure("nothing is left of it by --crop and its margin");
  }
  return cut;
}

vips::VImage CutOut(const vips::VImage& page, const Cut& cut,
                    const std::function<vips::VImage(const vips::VImage&)>& change,
                    const std::function<vips::VImage(const vips::VImage&)>& watch) {
  const auto inPlace = [&](const vips::VImage& image) { // the place on the sheet is the page's
    vips::VImage placed =
        image.copy(vips::VImage::option()->set("xoffset", page.xoffset())->set("yoffset", page.yoffset()));
    vips_image_remove(placed.get_image(), VIPS_META_PAGE_HEIGHT);
    return placed;
  };
  Box box = BoxOf(CornersOf(cut));
  if (cut.degrees == 0) return inPlace(Part(change(page), WholePixels(box, page.width(), page.height())));
  box = {box.left - kReach, box.top - kReach, box.right + kReach, box.bottom + kReach};
  const Cut around = WholePixels(box, page.width(), page.height());
  const vips::VImage changed = Part(change(page), around);
  const vips::VImage watched = watch(changed.copy());
  const vips::VImage held = Held(watched);
  vips_image_set_progress(held.get_image(), FALSE); // or all that is made of it would report to the one that goes now
  // libvips counts from the middle of the first pixel, we from its corner.
  const Axes axes(cut.degrees);
  const vips::VInterpolate bicubic = vips::VInterpolate::new_from_name("bicubic");
  const vips::VImage turned =
      held.affine({axes.cosine, axes.sine, -axes.sine, axes.cosine},
                  vips::VImage::option()
                      ->set("interpolate", bicubic)
                      ->set("oarea", std::vector<int>{0, 0, static_cast<int>(cut.width), static_cast<int>(cut.height)})
                      ->set("idx", around.x - cut.x + 0.5)
                      ->set("idy", around.y - cut.y + 0.5)
                      ->set("odx", -0.5)
                      ->set("ody", -0.5)
                      ->set("extend", VIPS_EXTEND_COPY));
  return inPlace(WithHeaderOf(changed, turned));
}
