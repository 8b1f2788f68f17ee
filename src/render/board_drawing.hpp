// The board renderer with the decoding step given by its caller, for the renderers of this library.
#pragma once
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string_view>

#include "zorvi/board_renderer.hpp"

namespace zorvi::render {

// Turns an image item's bytes into pixels of at least width × height where the source allows, as
// ImageDecoder::decode does; nothing leaves the item out.
using DecodeFunction = std::function<std::optional<Raster>(const CanvasItem& item, std::span<const std::uint8_t> bytes,
                                                           std::int32_t width, std::int32_t height)>;

// BoardCGRenderer::draw over views of the images, decoding through decode.
void drawDecoding(const BoardLayout& layout, DrawingContext& context, const ImageViewMap& images,
                  std::string_view backgroundHex, const SkippedImageHandler& onSkipped, const DecodeFunction& decode);

}  // namespace zorvi::render
