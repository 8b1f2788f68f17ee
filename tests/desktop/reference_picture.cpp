// The board renderer's own picture of a board, through the shared libraries rather than the command, with
// nothing of the thumbnailer's or the viewer's own work:
//   reference_picture BOARD SIZE OUT.png [--without-text]                       a thumbnail of SIZE
//   reference_picture BOARD ZOOM OFFSET_X OFFSET_Y WIDTH HEIGHT OUT.png [--without-text]   a window's view
// Without text it shows what a picture that lost its text looks like, so a check can prove it would notice.
#include <cstdio>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "support/without_text.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/board_renderer.hpp"
#include "zorvi/canvas_transform.hpp"
#include "zorvi/text_measure.hpp"

int main(int argc, char** argv) {
  std::vector<std::string_view> args(argv + 1, argv + argc);
  const bool withText = args.empty() || args.back() != "--without-text";
  if (!withText) args.pop_back();
  if (args.size() != 3 && args.size() != 7) {
    std::fprintf(stderr, "usage: reference_picture BOARD SIZE OUT.png [--without-text]\n"
                         "       reference_picture BOARD ZOOM OFFSET_X OFFSET_Y WIDTH HEIGHT OUT.png [--without-text]\n");
    return 2;
  }
  try {
    const zorvi::BoardBundle bundle = zorvi::BoardArchive::read(std::string(args[0]));
    const auto number = [&](std::size_t i) { return std::stod(std::string(args[i])); };
    std::optional<zorvi::BoardLayout> layout;
    zorvi::CanvasTransform transform;
    double width = 0, height = 0;
    if (args.size() == 3) {  // thumbnails lay the board out without caption heights
      layout.emplace(bundle.manifest.items, zorvi::CaptionHeights{});
      const auto budget = zorvi::BoardPreviewRenderer::pixelBudget(layout->width, layout->height, number(1));
      if (!budget) return 1;
      transform = zorvi::CanvasTransform({0, 0}, budget->scale);
      width = static_cast<double>(budget->width), height = static_cast<double>(budget->height);
    } else {
      transform = zorvi::CanvasTransform({number(2), number(3)}, number(1));
      width = number(4), height = number(5);
      layout.emplace(bundle.manifest.items, zorvi::TextMeasure::captionHeights(bundle.manifest.items),
                     transform.toWorld(zorvi::Frame{0, 0, width, height}));
    }
    const auto picture = zorvi::RasterCanvas::render(
        static_cast<std::int32_t>(width), static_cast<std::int32_t>(height), [&](zorvi::DrawingContext& target) {
          zorvi::testing::WithoutText textless(target);
          zorvi::DrawingContext& context = withText ? target : textless;
          context.fillRect({0, 0, width, height}, {1, 1, 1, 1});
          context.scale(transform.zoom, transform.zoom);
          zorvi::BoardCGRenderer::draw(*layout, context, zorvi::HTMLExporter::fullResolutionImageViews(bundle),
                                       bundle.manifest.board.canvas.backgroundColor);
        });
    const auto png = picture ? zorvi::RasterCanvas::encodePNG(*picture) : std::vector<std::uint8_t>{};
    if (png.empty()) return 1;
    std::ofstream(std::string(args.back()), std::ios::binary)
        .write(reinterpret_cast<const char*>(png.data()), static_cast<std::streamsize>(png.size()));
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "reference_picture: %s\n", error.what());
    return 1;
  }
}
