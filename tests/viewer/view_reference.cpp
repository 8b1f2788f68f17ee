// The renderer's picture of what a window shows at a transform, decoding every image whole, with
// nothing of the viewer's caching: view_reference BOARD ZOOM OFFSET_X OFFSET_Y WIDTH HEIGHT OUT.png
// [--without-text]. Without text it shows what a viewer that lost its text would show.
#include <cstdio>
#include <fstream>
#include <string>
#include <string_view>

#include "support/without_text.hpp"
#include "zorvi/board_archive.hpp"
#include "zorvi/board_renderer.hpp"
#include "zorvi/canvas_transform.hpp"
#include "zorvi/text_measure.hpp"


int main(int argc, char** argv) {
  if (argc < 8 || argc > 9 || (argc == 9 && std::string_view(argv[8]) != "--without-text")) {
    std::fprintf(stderr, "usage: view_reference BOARD ZOOM OFFSET_X OFFSET_Y WIDTH HEIGHT OUT.png [--without-text]\n");
    return 2;
  }
  try {
    const zorvi::BoardBundle bundle = zorvi::BoardArchive::read(argv[1]);
    const zorvi::CanvasTransform transform({std::stod(argv[3]), std::stod(argv[4])}, std::stod(argv[2]));
    const int width = std::stoi(argv[5]), height = std::stoi(argv[6]);
    const zorvi::CaptionHeights captions = zorvi::TextMeasure::captionHeights(bundle.manifest.items);
    const zorvi::BoardLayout layout(bundle.manifest.items, captions,
                                    transform.toWorld(zorvi::Frame{0, 0, double(width), double(height)}));
    const auto picture = zorvi::RasterCanvas::render(width, height, [&](zorvi::DrawingContext& target) {
      zorvi::testing::WithoutText textless(target);
      zorvi::DrawingContext& context = argc == 9 ? textless : target;
      context.fillRect({0, 0, double(width), double(height)}, {1, 1, 1, 1});
      context.scale(transform.zoom, transform.zoom);
      zorvi::BoardCGRenderer::draw(layout, context, zorvi::HTMLExporter::fullResolutionImageViews(bundle),
                                   bundle.manifest.board.canvas.backgroundColor);
    });
    const auto png = picture ? zorvi::RasterCanvas::encodePNG(*picture) : std::vector<std::uint8_t>{};
    if (png.empty()) return 1;
    std::ofstream(argv[7], std::ios::binary).write(reinterpret_cast<const char*>(png.data()),
                                                   static_cast<std::streamsize>(png.size()));
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "view_reference: %s\n", error.what());
    return 1;
  }
}
