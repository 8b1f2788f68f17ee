#include "export/html_elements.hpp"
#include "export/html_text.hpp"
#include "zorvi/canvas_contrast.hpp"
#include "zorvi/html_exporter.hpp"

namespace zorvi::HTMLExporter {

std::string contrastColor(std::string_view background) {
  const auto luminance = CanvasContrast::luminance(background);
  return !luminance || *luminance >= 0.5 ? "#000000" : "#FFFFFF";
}

namespace {

void singlePage(html::Writer& writer, const Manifest& manifest, const PictureLookup& pictures,
                const CaptionHeights& captionHeights) {
  const Board& board = manifest.board;
  const BoardLayout layout(manifest.items, captionHeights);
  const std::string& background = board.canvas.backgroundColor;
  const std::string captionColor = contrastColor(background);

  std::string& out = writer.out;
  if (writer.sink == nullptr) {
    html::reserveDocument(out, 4096 + board.name.size() * 2 + html::estimatedItemsSize(layout, pictures));
  }
  out += html::documentOpening;
  html::appendEscaped(out, board.name);
  out +=
      "</title>\n"
      "  <style>\n"
      "    * { margin: 0; padding: 0; box-sizing: border-box; }\n"
      "    body { background: ";
  out += html::validColorView(background).value_or("#FFFFFF");
  out += "; }\n    .board { position: relative; width: ";
  html::appendNumber(out, layout.width);
  out += "px; height: ";
  html::appendNumber(out, layout.height);
  out += "px; margin: 0 auto; }\n";
  out += html::itemStyleSheet;
  out +=
      "  </style>\n"
      "</head>\n"
      "<body>\n"
      "  <div class=\"board\">\n";
  html::appendItems(writer, layout, pictures, background, captionColor);
  out += "  </div>\n</body>\n</html>\n";
  writer.flush();
}

}  // namespace

std::string exportBoard(const BoardBundle& bundle, const CaptionHeights& captionHeights) {
  const ImageViewMap pictures = HTMLExporter::fullResolutionImageViews(bundle);
  html::Writer writer;
  singlePage(writer, bundle.manifest, picturesOf(pictures), captionHeights);
  return std::move(writer.out);
}

std::string exportBoard(const BoardBundle& bundle, const ImageMap& images, const CaptionHeights& captionHeights) {
  const ImageViewMap pictures = viewsOf(images);
  html::Writer writer;
  singlePage(writer, bundle.manifest, picturesOf(pictures), captionHeights);
  return std::move(writer.out);
}

void writeBoard(const Manifest& manifest, const PictureLookup& pictures, const CaptionHeights& captionHeights,
                const TextSink& out) {
  html::Writer writer{{}, &out};
  singlePage(writer, manifest, pictures, captionHeights);
}

}  // namespace zorvi::HTMLExporter
