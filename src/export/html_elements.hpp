// Appending forms of the element writers, shared by the single-page and the paged document.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>

#include "zorvi/html_exporter.hpp"

namespace zorvi::html {

// "left:X px;top:Y px;width:W" of a frame, the unit of the width left for the caller to write.
void appendBoxPosition(std::string& out, const Frame& f);

// A document on its way out: the text gathers in `out`. With a sink, it is handed on whenever it grows
// past a few pages and when the writer flushes, so a streamed document is never held whole; without
// one, it all stays in `out`.
struct Writer {
  std::string out;
  const HTMLExporter::TextSink* sink = nullptr;

  void flushIfLarge() {
    if (out.size() >= 64 * 1024) flush();
  }
  void flush() {
    if (sink == nullptr || out.empty()) return;
    (*sink)(out);
    out.clear();
  }
};

// Each appends the element and returns true, or appends nothing and returns false.
bool appendRenderedElement(Writer& writer, const BoardLayout::PlacedItem& placed,
                           const HTMLExporter::PictureLookup& pictures);
bool appendSectionTitleElement(std::string& out, const BoardLayout::PlacedItem& placed,
                               std::string_view background);
bool appendCaptionElement(std::string& out, const BoardLayout::PlacedItem& placed, std::string_view color);

// Every element of the layout's items in drawing order: item, section title, caption.
void appendItems(Writer& writer, const BoardLayout& layout, const HTMLExporter::PictureLookup& pictures,
                 std::string_view background, std::string_view captionColor);

// A generous guess of the bytes appendItems writes, so the document grows at most once or twice.
std::size_t estimatedItemsSize(const BoardLayout& layout, const HTMLExporter::PictureLookup& pictures);

// From "<!DOCTYPE html>" to the opening title tag, shared by both documents.
extern const std::string_view documentOpening;

// The item rules every exported document shares.
extern const std::string_view itemStyleSheet;

}  // namespace zorvi::html
