// GIF, TIFF and BMP go through gdk-pixbuf, the desktop's own decoder. Its loaders for these formats
// decode at full size, so the size each file declares is checked first, and a GIF is cut after its first
// frame so that the rest of an animation is never decoded.
#include <algorithm>
#include <cstring>
#include <vector>

#include <gdk-pixbuf/gdk-pixbuf.h>

#include "decode/codec_library.hpp"
#include "decode/codecs.hpp"

namespace zorvi::decoding {
namespace {

struct Pixbuf {
  decltype(&::gdk_pixbuf_get_width) gdk_pixbuf_get_width;
  decltype(&::gdk_pixbuf_get_height) gdk_pixbuf_get_height;
  decltype(&::gdk_pixbuf_get_n_channels) gdk_pixbuf_get_n_channels;
  decltype(&::gdk_pixbuf_get_rowstride) gdk_pixbuf_get_rowstride;
  decltype(&::gdk_pixbuf_get_has_alpha) gdk_pixbuf_get_has_alpha;
  decltype(&::gdk_pixbuf_get_colorspace) gdk_pixbuf_get_colorspace;
  decltype(&::gdk_pixbuf_get_bits_per_sample) gdk_pixbuf_get_bits_per_sample;
  decltype(&::gdk_pixbuf_read_pixels) gdk_pixbuf_read_pixels;
  decltype(&::gdk_pixbuf_loader_new_with_type) gdk_pixbuf_loader_new_with_type;
  decltype(&::gdk_pixbuf_loader_write) gdk_pixbuf_loader_write;
  decltype(&::gdk_pixbuf_loader_close) gdk_pixbuf_loader_close;
  decltype(&::gdk_pixbuf_loader_get_pixbuf) gdk_pixbuf_loader_get_pixbuf;
  decltype(&::g_object_unref) g_object_unref;
  decltype(&::g_clear_error) g_clear_error;
};

const Pixbuf* gdkPixbuf() {
  static const std::optional<Pixbuf> table = []() -> std::optional<Pixbuf> {
    const CodecLibrary library(ZORVI_GDK_PIXBUF_SONAME);
    Pixbuf t{};
    if (ZORVI_BIND_CODEC(library, t, gdk_pixbuf_get_width) &&
        ZORVI_BIND_CODEC(library, t, gdk_pixbuf_get_height) &&
        ZORVI_BIND_CODEC(library, t, gdk_pixbuf_get_n_channels) &&
        ZORVI_BIND_CODEC(library, t, gdk_pixbuf_get_rowstride) &&
        ZORVI_BIND_CODEC(library, t, gdk_pixbuf_get_has_alpha) &&
        ZORVI_BIND_CODEC(library, t, gdk_pixbuf_get_colorspace) &&
        ZORVI_BIND_CODEC(library, t, gdk_pixbuf_get_bits_per_sample) &&
        ZORVI_BIND_CODEC(library, t, gdk_pixbuf_read_pixels) &&
        ZORVI_BIND_CODEC(library, t, gdk_pixbuf_loader_new_with_type) &&
        ZORVI_BIND_CODEC(library, t, gdk_pixbuf_loader_write) &&
        ZORVI_BIND_CODEC(library, t, gdk_pixbuf_loader_close) &&
        ZORVI_BIND_CODEC(library, t, gdk_pixbuf_loader_get_pixbuf) &&
        ZORVI_BIND_CODEC(library, t, g_object_unref) &&
        ZORVI_BIND_CODEC(library, t, g_clear_error)) {
      return t;
    }
    return std::nullopt;
  }();
  return table ? &*table : nullptr;
}

std::uint32_t read16(ByteSpan b, std::size_t at, bool bigEndian) {
  return bigEndian ? std::uint32_t{b[at]} << 8 | b[at + 1] : std::uint32_t{b[at + 1]} << 8 | b[at];
}

std::uint32_t read32(ByteSpan b, std::size_t at, bool bigEndian) {
  return bigEndian ? read16(b, at, true) << 16 | read16(b, at + 2, true)
                   : read16(b, at + 2, false) << 16 | read16(b, at, false);
}

// Skips a chain of GIF sub-blocks starting at pos; the position after its terminator, or nothing.
std::optional<std::size_t> skipSubBlocks(ByteSpan b, std::size_t pos) {
  while (pos < b.size()) {
    const std::size_t length = b[pos];
    pos += 1 + length;
    if (length == 0) return pos;
  }
  return std::nullopt;
}

std::size_t colourTableBytes(std::uint8_t flags) { return (flags & 0x80) ? 3u << ((flags & 7) + 1) : 0; }

struct GifLayout {
  DeclaredSize screen, firstImage;
  std::size_t firstImageEnd = 0;
};

// Walks the blocks up to the end of the first image; every step moves forward, so it ends.
std::optional<GifLayout> gifLayout(ByteSpan b) {
  if (b.size() < 13) return std::nullopt;
  GifLayout layout;
  layout.screen = {read16(b, 6, false), read16(b, 8, false)};
  // gdk-pixbuf draws the first frame on a canvas of the screen's size; an empty one only draws warnings.
  if (layout.screen.width == 0 || layout.screen.height == 0) return std::nullopt;
  std::size_t pos = 13 + colourTableBytes(b[10]);
  while (pos < b.size()) {
    if (b[pos] == 0x21) {  // extension: label, then sub-blocks
      auto next = skipSubBlocks(b, pos + 2);
      if (!next) return std::nullopt;
      pos = *next;
    } else if (b[pos] == 0x2C) {  // image descriptor
      if (pos + 10 > b.size()) return std::nullopt;
      layout.firstImage = {read16(b, pos + 5, false), read16(b, pos + 7, false)};
      if (layout.firstImage.width == 0 || layout.firstImage.height == 0) return std::nullopt;  // likewise
      pos += 10 + colourTableBytes(b[pos + 9]) + 1;  // + the LZW code size byte
      auto next = skipSubBlocks(b, pos);
      if (!next) return std::nullopt;
      layout.firstImageEnd = *next;
      return layout;
    } else {
      return std::nullopt;  // the trailer or junk before any image
    }
  }
  return std::nullopt;
}

std::optional<DeclaredSize> tiffSize(ByteSpan b) {
  if (b.size() < 8) return std::nullopt;
  const bool bigEndian = b[0] == 'M';
  const std::size_t directory = read32(b, 4, bigEndian);
  if (directory > b.size() || b.size() - directory < 2) return std::nullopt;
  const std::size_t entries = read16(b, directory, bigEndian);
  DeclaredSize size;
  for (std::size_t i = 0; i < entries; ++i) {
    const std::size_t at = directory + 2 + i * 12;
    if (at + 12 > b.size()) return std::nullopt;
    const std::uint32_t tag = read16(b, at, bigEndian), type = read16(b, at + 2, bigEndian);
    if (tag != 256 && tag != 257) continue;
    const std::int64_t value = type == 3 ? read16(b, at + 8, bigEndian) : read32(b, at + 8, bigEndian);
    (tag == 256 ? size.width : size.height) = value;
  }
  return size;
}

std::optional<DeclaredSize> bmpSize(ByteSpan b) {
  if (b.size() < 26) return std::nullopt;
  // gdk-pixbuf allocates whatever header size the file states; known headers run from 12 to 124 bytes.
  const std::uint32_t headerSize = read32(b, 14, false);
  if (headerSize < 12 || headerSize > 124) return std::nullopt;
  if (headerSize == 12) return DeclaredSize{read16(b, 18, false), read16(b, 20, false)};
  // Negative heights mark top-down rows.
  const auto height = static_cast<std::int32_t>(read32(b, 22, false));
  return DeclaredSize{static_cast<std::int32_t>(read32(b, 18, false)),
                      height < 0 ? -std::int64_t{height} : std::int64_t{height}};
}

// gdk-pixbuf shows a truncated uncompressed BMP with its missing rows blank; we refuse it instead.
bool bmpPixelsComplete(ByteSpan b, DeclaredSize size) {
  if (b.size() < 34 || read32(b, 14, false) == 12) return true;
  const std::uint32_t compression = read32(b, 30, false);
  if (compression != 0 && compression != 3) return true;  // run-length data has no fixed size
  const std::int64_t bitsPerPixel = read16(b, 28, false);
  const std::int64_t rowBytes = (size.width * bitsPerPixel + 31) / 32 * 4;
  return std::int64_t{read32(b, 10, false)} + rowBytes * size.height <= static_cast<std::int64_t>(b.size());
}

const char* loaderName(PixbufFormat format) {
  switch (format) {
    case PixbufFormat::gif:
      return "gif";
    case PixbufFormat::tiff:
      return "tiff";
    case PixbufFormat::bmp:
      return "bmp";
  }
  return "";
}

// Feeds the pixbuf's rows straight into the reduced raster. libtiff hands gdk-pixbuf premultiplied
// pixels, which it passes on as they are; the other loaders give straight alpha.
std::optional<Raster> reduce(const Pixbuf* lib, const GdkPixbuf* pixbuf, bool premultiplied, Target target) {
  const int width = lib->gdk_pixbuf_get_width(pixbuf), height = lib->gdk_pixbuf_get_height(pixbuf);
  const int channels = lib->gdk_pixbuf_get_n_channels(pixbuf), stride = lib->gdk_pixbuf_get_rowstride(pixbuf);
  const bool alpha = lib->gdk_pixbuf_get_has_alpha(pixbuf);
  if (lib->gdk_pixbuf_get_colorspace(pixbuf) != GDK_COLORSPACE_RGB ||
      lib->gdk_pixbuf_get_bits_per_sample(pixbuf) != 8 || channels != (alpha ? 4 : 3) ||
      !fitsFullDecode(width, height) || stride < width * channels) {
    return std::nullopt;
  }
  auto reducer = BoxReducer::make(planReduction(width, height, target), true);
  if (!reducer) return std::nullopt;
  const guint8* pixels = lib->gdk_pixbuf_read_pixels(pixbuf);
  std::vector<std::uint8_t> rgba(alpha ? 0 : static_cast<std::size_t>(width) * 4, 255);
  for (int y = 0; y < height; ++y) {
    const guint8* row = pixels + static_cast<std::size_t>(y) * static_cast<std::size_t>(stride);
    if (!alpha) {
      for (int x = 0; x < width; ++x) std::memcpy(&rgba[static_cast<std::size_t>(x) * 4], row + x * 3, 3);
      row = rgba.data();
    }
    reducer->addRgba(y, 0, 1, width, row,
                     premultiplied ? BoxReducer::Alpha::premultiplied : BoxReducer::Alpha::straight);
  }
  return reducer->finish();
}

}  // namespace

std::optional<DeclaredSize> declaredSize(ByteSpan bytes, PixbufFormat format) {
  switch (format) {
    case PixbufFormat::gif: {
      const auto layout = gifLayout(bytes);
      if (!layout) return std::nullopt;
      return DeclaredSize{std::max(layout->screen.width, layout->firstImage.width),
                          std::max(layout->screen.height, layout->firstImage.height)};
    }
    case PixbufFormat::tiff:
      return tiffSize(bytes);
    case PixbufFormat::bmp:
      return bmpSize(bytes);
  }
  return std::nullopt;
}

std::optional<Raster> decodeWithPixbuf(ByteSpan bytes, PixbufFormat format, Target target) {
  const auto size = declaredSize(bytes, format);
  if (!size || !fitsFullDecode(size->width, size->height)) return std::nullopt;
  if (format == PixbufFormat::bmp && !bmpPixelsComplete(bytes, *size)) return std::nullopt;
  std::vector<std::uint8_t> firstFrameOnly;
  if (format == PixbufFormat::gif) {
    const std::size_t end = gifLayout(bytes)->firstImageEnd;
    firstFrameOnly.reserve(end + 1);
    firstFrameOnly.assign(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(end));
    firstFrameOnly.push_back(0x3B);  // the trailer
    bytes = firstFrameOnly;
  }

  const Pixbuf* lib = gdkPixbuf();
  if (!lib) return std::nullopt;
  GError* error = nullptr;
  GdkPixbufLoader* loader = lib->gdk_pixbuf_loader_new_with_type(loaderName(format), &error);
  if (!loader) {
    lib->g_clear_error(&error);
    return std::nullopt;
  }
  const bool written = lib->gdk_pixbuf_loader_write(loader, bytes.data(), bytes.size(), &error);
  lib->g_clear_error(&error);
  // Closing is required even after a failed write; its error reports a truncated file.
  const bool closed = lib->gdk_pixbuf_loader_close(loader, &error);
  lib->g_clear_error(&error);
  std::optional<Raster> raster;
  if (written && closed) {
    if (const GdkPixbuf* pixbuf = lib->gdk_pixbuf_loader_get_pixbuf(loader)) {
      raster = reduce(lib, pixbuf, format == PixbufFormat::tiff, target);
    }
  }
  lib->g_object_unref(loader);
  return raster;
}

}  // namespace zorvi::decoding
