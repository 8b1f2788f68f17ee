// libheif decodes whole images; rotations and mirrors stored in the file are applied, as they belong
// to the image's geometry.
#include <memory>

#include <libheif/heif.h>

#include "decode/codec_library.hpp"
#include "decode/codecs.hpp"

namespace zorvi::decoding {
namespace {

struct Heif {
  decltype(&::heif_context_alloc) heif_context_alloc;
  decltype(&::heif_context_free) heif_context_free;
  decltype(&::heif_context_read_from_memory_without_copy) heif_context_read_from_memory_without_copy;
  decltype(&::heif_context_get_primary_image_handle) heif_context_get_primary_image_handle;
  decltype(&::heif_image_handle_release) heif_image_handle_release;
  decltype(&::heif_image_handle_get_width) heif_image_handle_get_width;
  decltype(&::heif_image_handle_get_height) heif_image_handle_get_height;
  decltype(&::heif_image_handle_is_premultiplied_alpha) heif_image_handle_is_premultiplied_alpha;
  decltype(&::heif_decoding_options_alloc) heif_decoding_options_alloc;
  decltype(&::heif_decoding_options_free) heif_decoding_options_free;
  decltype(&::heif_decode_image) heif_decode_image;
  decltype(&::heif_image_release) heif_image_release;
  decltype(&::heif_image_get_width) heif_image_get_width;
  decltype(&::heif_image_get_height) heif_image_get_height;
  decltype(&::heif_image_get_plane_readonly) heif_image_get_plane_readonly;
  decltype(&::heif_image_get_bits_per_pixel_range) heif_image_get_bits_per_pixel_range;
};

const Heif* heif() {
  static const std::optional<Heif> table = []() -> std::optional<Heif> {
    const CodecLibrary library(ZORVI_LIBHEIF_SONAME);
    Heif t{};
    if (ZORVI_BIND_CODEC(library, t, heif_context_alloc) &&
        ZORVI_BIND_CODEC(library, t, heif_context_free) &&
        ZORVI_BIND_CODEC(library, t, heif_context_read_from_memory_without_copy) &&
        ZORVI_BIND_CODEC(library, t, heif_context_get_primary_image_handle) &&
        ZORVI_BIND_CODEC(library, t, heif_image_handle_release) &&
        ZORVI_BIND_CODEC(library, t, heif_image_handle_get_width) &&
        ZORVI_BIND_CODEC(library, t, heif_image_handle_get_height) &&
        ZORVI_BIND_CODEC(library, t, heif_image_handle_is_premultiplied_alpha) &&
        ZORVI_BIND_CODEC(library, t, heif_decoding_options_alloc) &&
        ZORVI_BIND_CODEC(library, t, heif_decoding_options_free) &&
        ZORVI_BIND_CODEC(library, t, heif_decode_image) &&
        ZORVI_BIND_CODEC(library, t, heif_image_release) &&
        ZORVI_BIND_CODEC(library, t, heif_image_get_width) &&
        ZORVI_BIND_CODEC(library, t, heif_image_get_height) &&
        ZORVI_BIND_CODEC(library, t, heif_image_get_plane_readonly) &&
        ZORVI_BIND_CODEC(library, t, heif_image_get_bits_per_pixel_range)) {
      return t;
    }
    return std::nullopt;
  }();
  return table ? &*table : nullptr;
}

// Only objects made through the table exist, so the table is there when they go.
template <auto Release>
struct Releaser {
  template <typename T>
  void operator()(T* p) const {
    (heif()->*Release)(p);
  }
};
using Context = std::unique_ptr<heif_context, Releaser<&Heif::heif_context_free>>;
using Handle = std::unique_ptr<heif_image_handle, Releaser<&Heif::heif_image_handle_release>>;
using Image = std::unique_ptr<heif_image, Releaser<&Heif::heif_image_release>>;
using Options = std::unique_ptr<heif_decoding_options, Releaser<&Heif::heif_decoding_options_free>>;

}  // namespace

std::optional<Raster> decodeHeif(ByteSpan bytes, Target target) {
  const Heif* lib = heif();
  if (!lib) return std::nullopt;
  Context context(lib->heif_context_alloc());
  if (!context) return std::nullopt;
  if (lib->heif_context_read_from_memory_without_copy(context.get(), bytes.data(), bytes.size(), nullptr).code !=
      heif_error_Ok) {
    return std::nullopt;
  }
  heif_image_handle* rawHandle = nullptr;
  if (lib->heif_context_get_primary_image_handle(context.get(), &rawHandle).code != heif_error_Ok)
    return std::nullopt;
  Handle handle(rawHandle);
  if (!fitsFullDecode(lib->heif_image_handle_get_width(handle.get()),
                      lib->heif_image_handle_get_height(handle.get()))) {
    return std::nullopt;
  }
  const bool premultiplied = lib->heif_image_handle_is_premultiplied_alpha(handle.get()) != 0;

  Options options(lib->heif_decoding_options_alloc());
  if (!options) return std::nullopt;
  options->convert_hdr_to_8bit = 1;
  heif_image* rawImage = nullptr;
  if (lib->heif_decode_image(handle.get(), &rawImage, heif_colorspace_RGB, heif_chroma_interleaved_RGBA,
                        options.get())
          .code != heif_error_Ok) {
    return std::nullopt;
  }
  Image image(rawImage);
  const int width = lib->heif_image_get_width(image.get(), heif_channel_interleaved);
  const int height = lib->heif_image_get_height(image.get(), heif_channel_interleaved);
  int stride = 0;
  const std::uint8_t* plane = lib->heif_image_get_plane_readonly(image.get(), heif_channel_interleaved, &stride);
  if (!plane || !fitsFullDecode(width, height) || stride < width * 4 ||
      lib->heif_image_get_bits_per_pixel_range(image.get(), heif_channel_interleaved) != 8) {
    return std::nullopt;
  }
  // Rows go straight into the reduced raster, so no second full-size copy is made.
  auto reducer = BoxReducer::make(planReduction(width, height, target), true);
  if (!reducer) return std::nullopt;
  const auto alpha = premultiplied ? BoxReducer::Alpha::premultiplied : BoxReducer::Alpha::straight;
  for (int y = 0; y < height; ++y) {
    reducer->addRgba(y, 0, 1, width, plane + static_cast<std::size_t>(y) * static_cast<std::size_t>(stride),
                     alpha);
  }
  return reducer->finish();
}

}  // namespace zorvi::decoding
