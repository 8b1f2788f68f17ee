// Text is set by Pango over fontconfig, HarfBuzz and GLib: some thirty shared libraries whose loading
// alone would cost a small board's thumbnail more than drawing it. They live in a module of their own,
// opened on the first text a process measures or draws; this interface is all that crosses over.
#pragma once

#include <cairo.h>

#include <cstddef>
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

 protected:
  ~Engine() = default;
};

// The engine, loaded on the first call; null, with one line on stderr, when the module can't be opened.
const Engine* engine();

}  // namespace zorvi::text

// The module's one entry point.
extern "C" const zorvi::text::Engine* zorvi_text_engine();
