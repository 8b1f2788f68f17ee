// Dark or light marks (captions, section titles) over a background colour given as hex text.
#pragma once

#include <optional>
#include <string_view>

namespace zorvi::CanvasContrast {

// dark: dark marks for a light background; light: light marks for a dark one.
enum class ChromeTone { dark, light };

// Perceived brightness from 0 to 1 of "#RRGGBB" or "RRGGBB" (blanks around it allowed; a sign may take
// one digit's place); nothing for any other text.
std::optional<double> luminance(std::string_view hex);

// light below a luminance of 0.5, dark from 0.5 on and for text that is no colour.
ChromeTone chromeTone(std::string_view background);

}  // namespace zorvi::CanvasContrast
