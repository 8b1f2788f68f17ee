// libheif decodes whole images; rotations and mirrors stored in the file are applied, as they belong
// to the image's geometry.
#include <memory>

#include <libheif/heif.h>

#include "decode/codecs.hpp"

namespace zorvi::decoding {
namespace {

template <auto Release>
struct Releaser {
  template <typename T>
  void operator()(T* p) const {
    Release(p);
  }
};
using Context = std::unique_ptr<heif_context, Releaser<heif_context_free>>;
using Handle = std::unique_ptr<heif_image_handle, Releaser<heif_image_handle_release>>;
using Image = std::unique_ptr<heif_image, Releaser<heif_image_release>>;
using Options = std::unique_ptr<heif_decoding_options, Releaser<heif_decoding_options_free>>;

}  // namespace

std::optional<Raster> decodeHeif(ByteSpan bytes, Target target) {
  Context context(heif_context_alloc());
  if (!context) return std::nullopt;
  if (heif_context_read_from_memory_without_copy(context.get(), bytes.data(), bytes.size(), nullptr).code !=
      heif_error_Ok) {
    return std::nullopt;
  }
  heif_image_handle* rawHandle = nullptr;
  if (heif_context_get_primary_image_handle(context.get(), &rawHandle).code != heif_error_Ok)
    return std::nullopt;
  Handle handle(rawHandle);
  if (!fitsFullDecode(heif_image_handle_get_width(handle.get()),
                      heif_image_handle_get_height(handle.get()))) {
    return std::nullopt;
  }
  const bool premultiplied = heif_image_handle_is_premultiplied_alpha(handle.get()) != 0;

  Options options(heif_decoding_options_alloc());
  if (!options) return std::nullopt;
  options->convert_hdr_to_8bit = 1;
  heif_image* rawImage = nullptr;
  if (heif_decode_image(handle.get(), &rawImage, heif_colorspace_RGB, heif_chroma_interleaved_RGBA,
                        options.get())
          .code != heif_error_Ok) {
    return std::nullopt;
  }
  Image image(rawImage);
  const int width = heif_image_get_width(image.get(), heif_channel_interleaved);
  const int height = heif_image_get_height(image.get(), heif_channel_interleaved);
  int stride = 0;
  const std::uint8_t* plane = heif_image_get_plane_readonly(image.get(), heif_channel_interleaved, &stride);
  if (!plane || !fitsFullDecode(width, height) || stride < width * 4 ||
      heif_image_get_bits_per_pixel_range(image.get(), heif_channel_interleaved) != 8) {
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
