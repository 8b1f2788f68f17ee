// Any bytes either fail with the decoding error or give a record that encodes and decodes back equal;
// a version that parses prints in a form that parses to the same version.
#include <cstdlib>
#include <string_view>

#include "zorvi/update_check.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace zorvi;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  if (const auto version = SemanticVersion::parse(text)) {
    if (SemanticVersion::parse(version->description()) != version) std::abort();
  }
  try {
    const UpdateManifest manifest = UpdateManifest::decode(text);
    if (UpdateManifest::decode(manifest.encode()) != manifest) std::abort();
    UpdateCheck::evaluate(manifest.version, manifest);
  } catch (const UpdateManifestDecodingError&) {
  }
  return 0;
}
