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

class Engine {
 public:
  virtual double wrappedHeight(std::string_view text, const Font& font, double width) const = 0;
  virtual double lineWidth(std::string_view text, const Font& font) const = 0;
  virtual double ascent(std::string_view text, const Font& font) const = 0;
  virtual std::size_t wrappedLineCount(std::string_view text, const Font& font, double width) const = 0;
  // Both draw in cr's current source, with the text's top-left (or the line's baseline origin) at
  // the user-space origin, y down.
  virtual void showWrapped(cairo_t* cr, std::string_view text, const Font& font, double width,
                           TextAlignment alignment) const = 0;
  virtual void showLine(cairo_t* cr, std::string_view text, const Font& font,
                        std::optional<double> truncateWidth) const = 0;

 protected:
  ~Engine() = default;
};

// The engine, loaded on the first call; null, with one line on stderr, when the module can't be opened.
const Engine* engine();

}  // namespace zorvi::text

// The module's one entry point.
extern "C" const zorvi::text::Engine* zorvi_text_engine();
