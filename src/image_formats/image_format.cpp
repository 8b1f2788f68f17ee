#include "zorvi/image_formats.hpp"

namespace zorvi {
namespace {

struct FormatNames {
  ImageFormat format;
  std::string_view raw, mime, extension;
};

constexpr std::array<FormatNames, 4> kNames{{
    {ImageFormat::jpeg, "jpeg", "image/jpeg", "jpg"},
    {ImageFormat::png, "png", "image/png", "png"},
    {ImageFormat::webp, "webp", "image/webp", "webp"},
    {ImageFormat::avif, "avif", "image/avif", "avif"},
}};

const FormatNames& names(ImageFormat format) { return kNames[static_cast<std::size_t>(format)]; }

}  // namespace

std::string_view rawValue(ImageFormat format) { return names(format).raw; }
std::string_view mimeType(ImageFormat format) { return names(format).mime; }
std::string_view fileExtension(ImageFormat format) { return names(format).extension; }

std::optional<ImageFormat> parseImageFormat(std::string_view raw) {
  for (const auto& entry : kNames) {
    if (entry.raw == raw) return entry.format;
  }
  return std::nullopt;
}

std::optional<ImageFormat> imageFormatFromFileExtension(std::string_view extension) {
  // ASCII lower-casing is enough: no other character lower-cases into the letters these names use.
  std::array<char, 4> buffer{};
  if (extension.size() > buffer.size()) return std::nullopt;
  for (std::size_t i = 0; i < extension.size(); ++i) {
    const char c = extension[i];
    buffer[i] = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  }
  const std::string_view lower(buffer.data(), extension.size());
  if (lower == "jpg") return ImageFormat::jpeg;
  for (const auto& entry : kNames) {
    if (entry.raw == lower) return entry.format;
  }
  return std::nullopt;
}

}  // namespace zorvi
