// Readable gtest output for geometry values, so a failed comparison shows numbers instead of bytes.
#pragma once

#include <ostream>

#include "zorvi/canvas_transform.hpp"
#include "zorvi/snapping.hpp"

namespace zorvi {

inline void PrintTo(const Frame& f, std::ostream* os) {
  *os << "Frame(" << f.x << ", " << f.y << ", " << f.width << ", " << f.height << ")";
}

inline void PrintTo(const Point& p, std::ostream* os) { *os << "Point(" << p.x << ", " << p.y << ")"; }

inline void PrintTo(const AlignmentGuide& g, std::ostream* os) {
  *os << (g.axis == AlignmentGuide::Axis::vertical ? "vertical" : "horizontal") << "(" << g.position << ", "
      << g.start << ".." << g.end << ")";
}

inline void PrintTo(const SnapResult& r, std::ostream* os) {
  PrintTo(r.frame, os);
  *os << " guides [";
  for (const AlignmentGuide& g : r.guides) {
    *os << ' ';
    PrintTo(g, os);
  }
  *os << " ]";
}

inline void PrintTo(const CanvasTransform& t, std::ostream* os) {
  *os << "CanvasTransform(offset " << t.offset.x << ", " << t.offset.y << ", zoom " << t.zoom << ")";
}

}  // namespace zorvi
