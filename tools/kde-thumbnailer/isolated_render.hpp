// A board's picture made in a child process under the thumbnail command's limits: a hostile board costs
// the file manager's thumbnail worker a few seconds at most, never a crash or its memory.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

#include "zorvi/image_decoder.hpp"

namespace zorvi::kde {

// The board's picture whose longer side is longerSide pixels, as the thumbnail command draws it;
// nothing when the board can't be read, has nothing to draw, or a limit stopped it.
std::optional<Raster> renderIsolated(const std::filesystem::path& board, std::int32_t longerSide);

}  // namespace zorvi::kde
