// The quick reading of a manifest accepts nothing the careful reading refuses, and what it accepts it
// reads to the same manifest, which writes to the same bytes (== cannot tell 0 from -0; the text can).
// It may give up on text the careful reading accepts, such as a repeated key: that is what the
// fallback is for.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "manifest/manifest_reading.hpp"
#include "zorvi/manifest_coding.hpp"

namespace {

std::optional<std::string> written(const zorvi::Manifest& manifest) {
  try {
    return zorvi::ManifestCoder::encode(manifest);
  } catch (const zorvi::ManifestEncodingError&) {
    return std::nullopt;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zorvi;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  std::string padded(text);
  padded.append(manifest_reading::padding, ' ');
  const std::optional<Manifest> quick = manifest_reading::decodeQuickly(std::string_view(padded.data(), size));
  if (!quick) return 0;
  Manifest careful;
  try {
    careful = manifest_reading::decodeCarefully(text, false);
  } catch (const ManifestDecodingError&) {
    std::abort();
  }
  if (careful != *quick || written(careful) != written(*quick)) std::abort();
  return 0;
}
