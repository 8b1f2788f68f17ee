// Readable gtest output for geometry values: numbers instead of bytes when a comparison fails.
#pragma once

#include <ostream>

#include "zorvi/snapping.hpp"

namespace zorvi {

inline void PrintTo(const Frame& f, std::ostream* os) {
  *os << "Frame(" << f.x << ", " << f.y << ", " << f.width << ", " << f.height << ")";
}

inline void PrintTo(const SnapResult& r, std::ostream* os) {
  PrintTo(r.frame, os);
  for (const AlignmentGuide& g : r.guides) {
    *os << (g.axis == AlignmentGuide::Axis::vertical ? " | x=" : " - y=") << g.position << " " << g.start
        << ".." << g.end;
  }
}

}  // namespace zorvi
