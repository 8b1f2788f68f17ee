#include "render/text/pango_text.hpp"

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>

namespace zorvi::pango {
namespace {

struct ContextState {
  PangoFontMap* fontMap = nullptr;
  PangoContext* context = nullptr;
  bool monospaceHasItalic = false;

  ContextState() {
    // A private font map, not the per-thread default, so nothing here depends on what else the
    // process has configured; unhinted metrics keep measured and drawn text identical at any scale.
    fontMap = pango_cairo_font_map_new();
    context = pango_font_map_create_context(fontMap);
    cairo_font_options_t* options = cairo_font_options_create();
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
    cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
    pango_cairo_context_set_font_options(context, options);
    cairo_font_options_destroy(options);
    pango_context_set_round_glyph_positions(context, FALSE);
    monospaceHasItalic = probeMonospaceItalic();
  }
  ~ContextState() {
    g_object_unref(context);
    g_object_unref(fontMap);
  }
  ContextState(const ContextState&) = delete;
  ContextState& operator=(const ContextState&) = delete;

  // Fontconfig may hand back an upright face (perhaps slanted by a matrix) for an italic request;
  // only a face that is itself italic or oblique counts.
  bool probeMonospaceItalic() const {
    PangoFontDescription* wanted = pango_font_description_from_string("monospace");
    pango_font_description_set_style(wanted, PANGO_STYLE_ITALIC);
    pango_font_description_set_absolute_size(wanted, 18 * PANGO_SCALE);
    bool italic = false;
    if (PangoFont* font = pango_font_map_load_font(fontMap, context, wanted)) {
      PangoFontDescription* got = pango_font_describe(font);
      italic = pango_font_description_get_style(got) != PANGO_STYLE_NORMAL;
      pango_font_description_free(got);
      g_object_unref(font);
    }
    pango_font_description_free(wanted);
    return italic;
  }
};

ContextState& state() {
  thread_local ContextState instance;
  return instance;
}

double usableSize(double size) {
  if (!std::isfinite(size) || size <= 0) return 13;
  return std::min(size, 10000.0);
}

int pangoUnits(double value) {
  const double scaled = std::round(value * PANGO_SCALE);
  if (!(scaled > 0)) return 0;
  return scaled >= std::numeric_limits<int>::max() ? std::numeric_limits<int>::max()
                                                   : static_cast<int>(scaled);
}

PangoFontDescription* describe(const Font& font, bool monospaceHasItalic) {
  PangoFontDescription* desc = pango_font_description_new();
  switch (font.face) {
    case FontFace::sans:
      pango_font_description_set_family_static(desc, "sans-serif");
      break;
    case FontFace::sansSemibold:
      pango_font_description_set_family_static(desc, "sans-serif");
      pango_font_description_set_weight(desc, PANGO_WEIGHT_SEMIBOLD);
      break;
    case FontFace::monospaceItalic:
      pango_font_description_set_family_static(desc, "monospace");
      if (monospaceHasItalic) pango_font_description_set_style(desc, PANGO_STYLE_ITALIC);
      break;
  }
  pango_font_description_set_absolute_size(desc, usableSize(font.size) * PANGO_SCALE);
  return desc;
}

// Text past this many bytes is left out. No board picture shows that much legibly, and the lines it
// would add lie below those drawn before them; without the cut a hostile board makes Pango allocate
// gigabytes. A cut inside a UTF-8 sequence backs off to its start.
constexpr std::size_t maxLaidOutBytes = std::size_t{1} << 15;

std::string_view laidOutPart(std::string_view text) {
  if (text.size() <= maxLaidOutBytes) return text;
  std::size_t end = maxLaidOutBytes;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  return text.substr(0, end);
}

LayoutPtr makeLayout(std::string_view fullText, const Font& font) {
  const std::string_view text = laidOutPart(fullText);
  ContextState& s = state();
  LayoutPtr layout{pango_layout_new(s.context)};
  PangoFontDescription* desc = describe(font, s.monospaceHasItalic);
  pango_layout_set_font_description(layout.get(), desc);
  pango_font_description_free(desc);
  // Board strings may hold NUL or broken sequences; Pango would warn on stderr and stop early.
  gchar* valid = g_utf8_make_valid(text.empty() ? "" : text.data(), static_cast<gssize>(text.size()));
  pango_layout_set_text(layout.get(), valid, -1);
  g_free(valid);
  // A word broken across lines gets no hyphen, as in a browser or the desktop's text frames.
  PangoAttrList* attributes = pango_attr_list_new();
  pango_attr_list_insert(attributes, pango_attr_insert_hyphens_new(FALSE));
  pango_layout_set_attributes(layout.get(), attributes);
  pango_attr_list_unref(attributes);
  return layout;
}

}  // namespace

LayoutPtr wrappedLayout(std::string_view text, const Font& font, double width, TextAlignment alignment) {
  LayoutPtr layout = makeLayout(text, font);
  pango_layout_set_wrap(layout.get(), PANGO_WRAP_WORD_CHAR);
  // Pango reads a width of -1 as "no wrapping"; a box without width still wraps at every chance.
  pango_layout_set_width(layout.get(), std::max(pangoUnits(width), 1));
  switch (alignment) {
    case TextAlignment::left:
      pango_layout_set_alignment(layout.get(), PANGO_ALIGN_LEFT);
      break;
    case TextAlignment::center:
      pango_layout_set_alignment(layout.get(), PANGO_ALIGN_CENTER);
      break;
    case TextAlignment::right:
      pango_layout_set_alignment(layout.get(), PANGO_ALIGN_RIGHT);
      break;
  }
  return layout;
}

LayoutPtr lineLayout(std::string_view text, const Font& font, std::optional<double> truncateWidth) {
  LayoutPtr layout = makeLayout(text, font);
  pango_layout_set_single_paragraph_mode(layout.get(), TRUE);
  if (truncateWidth) {
    pango_layout_set_width(layout.get(), std::max(pangoUnits(*truncateWidth), 1));
    pango_layout_set_ellipsize(layout.get(), PANGO_ELLIPSIZE_END);
  }
  return layout;
}

double height(PangoLayout* layout) {
  PangoRectangle logical;
  pango_layout_get_extents(layout, nullptr, &logical);
  return static_cast<double>(logical.height) / PANGO_SCALE;
}

double width(PangoLayout* layout) {
  PangoRectangle logical;
  pango_layout_get_extents(layout, nullptr, &logical);
  return static_cast<double>(logical.width) / PANGO_SCALE;
}

double ascent(PangoLayout* layout) {
  return static_cast<double>(pango_layout_get_baseline(layout)) / PANGO_SCALE;
}

double wrappedHeight(std::string_view text, const Font& font, double width) {
  if (text.empty()) return 0;
  return height(wrappedLayout(text, font, width, TextAlignment::left).get());
}

double lineWidth(std::string_view text, const Font& font) { return width(lineLayout(text, font, std::nullopt).get()); }

double lineAscent(std::string_view text, const Font& font) {
  return ascent(lineLayout(text, font, std::nullopt).get());
}

}  // namespace zorvi::pango
