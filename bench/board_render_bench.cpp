// Costs of drawing boards without decoding: vector items and text at thumbnail sizes against the same
// shapes drawn straight with Cairo, the text engine's measuring, and the PNG a thumbnail is written as.
#include <benchmark/benchmark.h>
#include <cairo.h>

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "zorvi/board_renderer.hpp"
#include "zorvi/text_measure.hpp"

namespace {

using namespace zorvi;

Uuid idNumber(std::uint32_t n) {
  Uuid id;
  for (int i = 0; i < 4; ++i)
    id.bytes[static_cast<std::size_t>(12 + i)] = static_cast<std::uint8_t>(n >> (24 - 8 * i));
  return id;
}

// A fixed-seed board of titled shapes, text boxes and dashed drawings of 40 points each.
BoardBundle vectorBoard(std::uint32_t count) {
  std::mt19937 random(11);
  std::uniform_real_distribution<double> position(0, 4000), size(60, 600), unit(0, 1);
  BoardBundle bundle;
  bundle.manifest.board.canvas.backgroundColor = "#F5F2EC";
  for (std::uint32_t i = 0; i < count; ++i) {
    const Frame frame{position(random), position(random), size(random), size(random)};
    switch (i % 3) {
      case 0:
        bundle.manifest.items.emplace_back(idNumber(i),
                                           ShapeContent{"#E8DCCA", "#333333", 3, "Section title", 28}, frame,
                                           i, false, std::nullopt);
        break;
      case 1:
        bundle.manifest.items.emplace_back(
            idNumber(i),
            TextContent{"Warm reds against cold harbour blues, amber for accents.", "#222222", 24}, frame, i,
            false, std::nullopt);
        break;
      default: {
        DrawingContent drawing{{}, "#C0392B", 4, DrawingContent::LineStyle::dashed};
        for (int p = 0; p < 40; ++p) drawing.points.push_back({unit(random), unit(random)});
        bundle.manifest.items.emplace_back(idNumber(i), drawing, frame, i, false, std::nullopt);
      }
    }
  }
  return bundle;
}

void BM_RenderVectorBoard(benchmark::State& state) {
  const BoardBundle bundle = vectorBoard(static_cast<std::uint32_t>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(BoardPreviewRenderer::render(bundle, 256));
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_RenderVectorBoard)->Arg(12)->Arg(150)->Arg(10000)->Unit(benchmark::kMillisecond);

// The floor of BM_RenderVectorBoard: the same board's shapes, laid out and their colours read beforehand,
// drawn straight onto a Cairo bitmap of the same size. Fills and outlines of the same rectangles, the
// drawings as the same polylines, and text in Cairo's own toy text, the cheapest text Cairo has: each
// text and title as one line at its size, neither shaped nor wrapped nor cut short, for the same glyphs
// at the same size. The second argument says how dashes shorter than a pixel are drawn: 1 with their
// dashes as stored, 0 as the renderer draws them, one solid line of the same ink.
struct FloorItem {
  enum class Kind { fill, outline, polyline, text } kind = Kind::fill;
  double x = 0, y = 0, width = 0, height = 0;  // Cairo's y-down space, layout units
  double red = 0, green = 0, blue = 0, alpha = 1;
  double lineWidth = 0, fontSize = 0;
  bool dashed = false, semibold = false;
  std::vector<double> points;  // x, y pairs
  std::string text;
};

struct FloorBoard {
  int width = 0, height = 0;
  double scale = 1;
  std::vector<FloorItem> items;
};

FloorItem colored(FloorItem item, const Color& color) {
  item.red = color.red;
  item.green = color.green;
  item.blue = color.blue;
  return item;
}

FloorBoard floorBoard(const BoardBundle& bundle, double maxPixel, bool dashesAsStored) {
  const BoardLayout layout(bundle.manifest.items, CaptionHeights{});
  const auto budget = BoardPreviewRenderer::pixelBudget(layout.width, layout.height, maxPixel);
  FloorBoard board{static_cast<int>(budget->width), static_cast<int>(budget->height), budget->scale, {}};
  using Kind = FloorItem::Kind;
  if (const auto background = BoardCGRenderer::cgColor(bundle.manifest.board.canvas.backgroundColor))
    board.items.push_back(colored({Kind::fill, 0, 0, layout.width, layout.height}, *background));
  for (const auto& placed : layout.items) {
    const Frame& f = placed.frame;
    if (const auto& shape = placed.item.shape) {
      if (const auto fill = BoardCGRenderer::cgColor(shape->fillColor.value_or("")))
        board.items.push_back(colored({Kind::fill, f.x, f.y, f.width, f.height}, *fill));
      if (const auto stroke = BoardCGRenderer::cgColor(shape->strokeColor.value_or(""))) {
        const double w = shape->strokeWidth;
        FloorItem outline =
            colored({Kind::outline, f.x + w / 2, f.y + w / 2, f.width - w, f.height - w}, *stroke);
        outline.lineWidth = w;
        board.items.push_back(outline);
      }
      if (shape->title) {
        FloorItem title = colored({Kind::text, f.x + 10, f.y + 10 + shape->effectiveTitleFontSize()}, {});
        title.fontSize = shape->effectiveTitleFontSize();
        title.semibold = true;
        title.text = *shape->title;
        board.items.push_back(title);
      }
    } else if (const auto& text = placed.item.text) {
      FloorItem line =
          colored({Kind::text, f.x, f.y + text->fontSize}, *BoardCGRenderer::cgColor(text->color));
      line.fontSize = text->fontSize;
      line.text = text->content;
      board.items.push_back(line);
    } else if (const auto& drawing = placed.item.drawing) {
      FloorItem polyline = colored({Kind::polyline}, *BoardCGRenderer::cgColor(drawing->color));
      polyline.lineWidth = drawing->strokeWidth;
      polyline.dashed = drawing->style == DrawingContent::LineStyle::dashed;
      if (polyline.dashed && !dashesAsStored &&
          DrawingContent::dashPattern(polyline.lineWidth)[0] * board.scale < 1) {
        polyline.dashed = false;
        polyline.alpha = (3 + 0.7853981633974483) / 5;  // a round-capped dash's share of its period
      }
      for (const DrawingPoint& p : drawing->points) {
        polyline.points.push_back(f.x + p.x * f.width);
        polyline.points.push_back(f.y + p.y * f.height);
      }
      board.items.push_back(polyline);
    }
  }
  return board;
}

void drawFloor(const FloorBoard& board, cairo_t* cr) {
  cairo_set_source_rgb(cr, 1, 1, 1);
  cairo_paint(cr);
  cairo_scale(cr, board.scale, board.scale);
  int face = -1;
  for (const FloorItem& item : board.items) {
    cairo_set_source_rgba(cr, item.red, item.green, item.blue, item.alpha);
    switch (item.kind) {
      case FloorItem::Kind::fill:
        cairo_rectangle(cr, item.x, item.y, item.width, item.height);
        cairo_fill(cr);
        break;
      case FloorItem::Kind::outline:
        cairo_set_line_width(cr, item.lineWidth);
        cairo_set_line_join(cr, CAIRO_LINE_JOIN_MITER);
        cairo_rectangle(cr, item.x, item.y, item.width, item.height);
        cairo_stroke(cr);
        break;
      case FloorItem::Kind::polyline: {
        cairo_set_line_width(cr, item.lineWidth);
        cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
        cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
        const auto dash = DrawingContent::dashPattern(item.lineWidth);
        cairo_set_dash(cr, dash.data(), item.dashed ? 2 : 0, 0);
        cairo_move_to(cr, item.points[0], item.points[1]);
        for (std::size_t i = 2; i + 1 < item.points.size(); i += 2)
          cairo_line_to(cr, item.points[i], item.points[i + 1]);
        cairo_stroke(cr);
        cairo_set_dash(cr, nullptr, 0, 0);
        break;
      }
      case FloorItem::Kind::text:
        if (face != static_cast<int>(item.semibold)) {
          face = static_cast<int>(item.semibold);
          cairo_select_font_face(cr, "sans-serif", CAIRO_FONT_SLANT_NORMAL,
                                 item.semibold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
        }
        cairo_set_font_size(cr, item.fontSize);
        cairo_move_to(cr, item.x, item.y);
        cairo_show_text(cr, item.text.c_str());
        break;
    }
  }
}

void BM_VectorBoardCairoFloor(benchmark::State& state) {
  const FloorBoard board =
      floorBoard(vectorBoard(static_cast<std::uint32_t>(state.range(0))), 256, state.range(1) != 0);
  std::vector<std::uint32_t> pixels(static_cast<std::size_t>(board.width) *
                                    static_cast<std::size_t>(board.height));
  for (auto _ : state) {
    cairo_surface_t* surface =
        cairo_image_surface_create_for_data(reinterpret_cast<unsigned char*>(pixels.data()),
                                            CAIRO_FORMAT_ARGB32, board.width, board.height, board.width * 4);
    cairo_t* cr = cairo_create(surface);
    drawFloor(board, cr);
    cairo_destroy(cr);
    cairo_surface_finish(surface);
    cairo_surface_destroy(surface);
    benchmark::DoNotOptimize(pixels.data());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_VectorBoardCairoFloor)
    ->ArgNames({"items", "dashesAsStored"})
    ->Args({10000, 1})
    ->Args({10000, 0})
    ->Unit(benchmark::kMillisecond);

void BM_CaptionHeight(benchmark::State& state) {
  const Font caption{FontFace::monospaceItalic, 18};
  for (auto _ : state)
    benchmark::DoNotOptimize(
        TextMeasure::wrappedTextHeight("Harbour at dusk, seen from the old pier", 300, caption, 20.7));
}
BENCHMARK(BM_CaptionHeight)->Unit(benchmark::kMicrosecond);

void BM_EncodePNG(benchmark::State& state) {
  const auto picture = BoardPreviewRenderer::render(vectorBoard(12), static_cast<double>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(RasterCanvas::encodePNG(*picture));
}
BENCHMARK(BM_EncodePNG)->Arg(256)->Arg(1024)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
