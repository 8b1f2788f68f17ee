// Text is set by Pango over fontconfig, HarfBuzz and GLib: some thirty shared libraries whose loading
// alone would cost a small board's thumbnail more than drawing it. They live in a module of their own,
// opened on the first text a process measures or draws; this interface is all that crosses over.
#pragma once

#include <cairo.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <optional>
#include <string_view>

#include "zorvi/drawing_context.hpp"
#include "zorvi/text_measure.hpp"

namespace zorvi::text {

// Pixels to draw text onto: premultiplied ARGB32 in native byte order. The module draws into them with
// a Cairo of its own (the one Pango links), never through the caller's cairo_t, so the caller may use
// a different copy of Cairo, such as one linked into a command.
struct Canvas {
  unsigned char* pixels = nullptr;
  int width = 0, height = 0, stride = 0;
  // From the text's space (origin at the text's top-left, or at the line's baseline origin; y down) to
  // pixels.
  cairo_matrix_t matrix{1, 0, 0, 1, 0, 0};
  Color color;
};

// A PDF document that the module's Cairo writes, so that the text Pango sets in it stays text. Made by
// Engine::openPDF; destroy() ends it.
class Document {
 public:
  // Starts a sheet of width × height points. Its context draws y-up from the sheet's bottom-left corner,
  // one unit a point, until the next sheet or finish.
  virtual DrawingContext& beginSheet(double widthPt, double heightPt) = 0;
  // Moves the origin of the current sheet's later drawing by (x, y) current units.
  virtual void translate(double x, double y) = 0;
  // Draws a JPEG file stretched to fill rect, embedded as the bytes it is; the bytes must outlive the
  // document. Images of equal key are stored once.
  virtual void drawJPEG(std::span<const std::uint8_t> bytes, std::uint64_t key, const Rect& rect) = 0;
  // Draws raster stretched to fill rect; rasters of equal key are stored once.
  virtual void drawRaster(const Raster& raster, std::uint64_t key, const Rect& rect) = 0;
  // Ends the last sheet and the file; false when Cairo or the writer failed at any point.
  virtual bool finish() = 0;
  virtual void destroy() = 0;

 protected:
  ~Document() = default;
};

// Takes a document's bytes in order; false when they could not be written.
using WriteBytes = bool (*)(void* closure, const unsigned char* data, unsigned int length);

class Engine {
 public:
  virtual double wrappedHeight(std::string_view text, const Font& font, double width) const = 0;
  virtual double lineWidth(std::string_view text, const Font& font) const = 0;
  virtual double ascent(std::string_view text, const Font& font) const = 0;
  virtual std::size_t wrappedLineCount(std::string_view text, const Font& font, double width) const = 0;
  virtual void showWrapped(const Canvas& canvas, std::string_view text, const Font& font, double width,
                           TextAlignment alignment) const = 0;
  virtual void showLine(const Canvas& canvas, std::string_view text, const Font& font,
                        std::optional<double> truncateWidth) const = 0;
  // A new PDF document titled title, or null when Cairo can't make one.
  virtual Document* openPDF(WriteBytes write, void* closure, std::string_view title) const = 0;

 protected:
  ~Engine() = default;
};

// The engine, loaded on the first call; null, with one line on stderr, when the module can't be opened.
const Engine* engine();

}  // namespace zorvi::text

// The module's one entry point.
extern "C" const zorvi::text::Engine* zorvi_text_engine();
