// Aligning and distributing a selection of item frames.
#pragma once

#include <map>

#include "zorvi/document.hpp"

namespace zorvi::Arrangement {

// The line the selection is aligned to, taken from the selection's own bounding box.
enum class Alignment { left, horizontalCenter, right, top, verticalCenter, bottom };

// The direction along which distribute spaces the selection.
enum class Axis { horizontal, vertical };

// Frames of the selected items by item id. Ascending id order breaks ties in distribute.
using Frames = std::map<Uuid, Frame>;

// Moves every frame onto the alignment line of the selection's bounding box; returns only frames that
// changed (exact comparison), sizes untouched. Fewer than 2 frames: empty.
Frames align(const Frames& frames, Alignment alignment);

// Spaces frames evenly between the first and the last by leading edge (stable order); when the extents
// exceed that span the others abut from the first's trailing edge, the last included. Returns only
// changed frames, moved along the axis only. Fewer than 3 frames: empty.
Frames distribute(const Frames& frames, Axis axis);

}  // namespace zorvi::Arrangement
