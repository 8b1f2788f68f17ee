// The board renderer's own picture of a board, through the shared libraries rather than the command:
// reference_picture BOARD SIZE OUT.png [--without-text]. Without text it shows what a thumbnail that
// lost its text looks like, so a check can prove it would notice.
#include <cmath>
#include <cstdio>
#include <fstream>
#include <string>
#include <string_view>

#include "zorvi/board_archive.hpp"
#include "support/without_text.hpp"
#include "zorvi/board_renderer.hpp"


int main(int argc, char** argv) {
  if (argc < 4 || argc > 5 || (argc == 5 && std::string_view(argv[4]) != "--without-text")) {
    std::fprintf(stderr, "usage: reference_picture BOARD SIZE OUT.png [--without-text]\n");
    return 2;
  }
  const bool withText = argc == 4;
  try {
    const zorvi::BoardBundle bundle = zorvi::BoardArchive::read(argv[1]);
    const zorvi::BoardLayout layout(bundle.manifest.items, zorvi::CaptionHeights{});
    const auto budget = zorvi::BoardPreviewRenderer::pixelBudget(layout.width, layout.height, std::stod(argv[2]));
    if (!budget) return 1;
    const auto picture = zorvi::RasterCanvas::render(
        static_cast<std::int32_t>(budget->width), static_cast<std::int32_t>(budget->height),
        [&](zorvi::DrawingContext& target) {
          zorvi::testing::WithoutText textless(target);
          zorvi::DrawingContext& context = withText ? target : textless;
          context.fillRect({0, 0, static_cast<double>(budget->width), static_cast<double>(budget->height)},
                           {1, 1, 1, 1});
          context.scale(budget->scale, budget->scale);
          zorvi::BoardCGRenderer::draw(layout, context, zorvi::HTMLExporter::fullResolutionImageViews(bundle),
                                       bundle.manifest.board.canvas.backgroundColor);
        });
    const auto png = picture ? zorvi::RasterCanvas::encodePNG(*picture) : std::vector<std::uint8_t>{};
    if (png.empty()) return 1;
    std::ofstream(argv[3], std::ios::binary).write(reinterpret_cast<const char*>(png.data()),
                                                   static_cast<std::streamsize>(png.size()));
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "reference_picture: %s\n", error.what());
    return 1;
  }
}
