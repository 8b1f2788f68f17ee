#include "zorvi/board_bundle.hpp"

#include <utility>

namespace zorvi {

BoardArchiveError::BoardArchiveError(Case kind, std::string underlying, std::int64_t found, std::int64_t supported)
    : kind_(kind), underlying_(std::move(underlying)), found_(found), supported_(supported) {
  description_ = std::string(caseName());
  if (kind_ == Case::unsupportedSchemaVersion) {
    description_ += ": found " + std::to_string(found_) + ", supported " + std::to_string(supported_);
  } else if (!underlying_.empty()) {
    description_ += ": " + underlying_;
  }
}

BoardArchiveError BoardArchiveError::manifestMalformed(std::string underlying) {
  return {Case::manifestMalformed, std::move(underlying), 0, 0};
}
BoardArchiveError BoardArchiveError::unsupportedSchemaVersion(std::int64_t found, std::int64_t supported) {
  return {Case::unsupportedSchemaVersion, {}, found, supported};
}
BoardArchiveError BoardArchiveError::archiveCorrupt(std::string underlying) {
  return {Case::archiveCorrupt, std::move(underlying), 0, 0};
}
BoardArchiveError BoardArchiveError::manifestMissing() { return {Case::manifestMissing, {}, 0, 0}; }

std::string_view BoardArchiveError::caseName() const {
  switch (kind_) {
    case Case::manifestMalformed: return "manifestMalformed";
    case Case::unsupportedSchemaVersion: return "unsupportedSchemaVersion";
    case Case::archiveCorrupt: return "archiveCorrupt";
    case Case::manifestMissing: return "manifestMissing";
  }
  return "archiveCorrupt";
}

}  // namespace zorvi
