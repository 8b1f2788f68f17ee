// The span of instants the manifest's date form can hold.
#pragma once

#include "zorvi/document.hpp"

namespace zorvi::date_coding {

// 0000-01-01T00:00:00Z and 9999-12-31T23:59:59Z: four-digit years are all RFC 3339 allows.
inline constexpr Date kEarliest{std::chrono::seconds{-62167219200}};
inline constexpr Date kLatest{std::chrono::seconds{253402300799}};

}  // namespace zorvi::date_coding
