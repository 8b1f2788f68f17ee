// PDF documents drawn with the module's own Cairo, so that Pango writes their text as text.
#pragma once

#include <string_view>

#include "render/text/text_engine.hpp"

namespace zorvi::text {

Document* openPDFDocument(WriteBytes write, void* closure, std::string_view title);

}  // namespace zorvi::text
