#include "zorvi/arrangement.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "support/geometry_printers.hpp"

namespace zorvi {
namespace {

using Arrangement::Alignment;
using Arrangement::Axis;
using Arrangement::Frames;

// Ids in ascending order, so a map built from a list iterates in list order.
Uuid id(std::uint8_t n) {
  Uuid u;
  u.bytes[15] = n;
  return u;
}

Frames framesOf(const std::vector<Frame>& list) {
  Frames frames;
  for (std::size_t i = 0; i < list.size(); ++i) frames[id(static_cast<std::uint8_t>(i))] = list[i];
  return frames;
}

TEST(Arrangement, AlignReturnsOnlyTheFramesThatMove) {
  struct Row {
    const char* name;
    std::vector<Frame> frames;
    Alignment alignment;
    Frames expected;
  };
  const std::vector<Frame> pair{{0, 5, 100, 20}, {200, 30, 50, 10}};
  const Row rows[] = {
      {"none", {}, Alignment::left, {}},
      {"one", {{3, 4, 5, 6}}, Alignment::right, {}},
      {"left", {{10, 0, 20, 1}, {40, 7, 5, 1}}, Alignment::left, {{id(1), {10, 7, 5, 1}}}},
      {"already left", {{10, 0, 20, 1}, {10, 7, 5, 1}}, Alignment::left, {}},
      {"horizontal centre", pair, Alignment::horizontalCenter,
       {{id(0), {75, 5, 100, 20}}, {id(1), {100, 30, 50, 10}}}},
      {"right", pair, Alignment::right, {{id(0), {150, 5, 100, 20}}}},
      {"top", pair, Alignment::top, {{id(1), {200, 5, 50, 10}}}},
      {"vertical centre", pair, Alignment::verticalCenter,
       {{id(0), {0, 12.5, 100, 20}}, {id(1), {200, 17.5, 50, 10}}}},
      {"bottom", pair, Alignment::bottom, {{id(0), {0, 20, 100, 20}}}},
      // The reference is the selection's box, even where a wider frame sets both ends.
      {"contained frame", {{0, 0, 100, 10}, {40, 20, 10, 10}}, Alignment::horizontalCenter,
       {{id(1), {45, 20, 10, 10}}}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(Arrangement::align(framesOf(row.frames), row.alignment), row.expected);
  }
}

TEST(Arrangement, DistributeSpacesByLeadingEdge) {
  struct Row {
    const char* name;
    std::vector<Frame> frames;
    Axis axis;
    Frames expected;
  };
  const Row rows[] = {
      {"two", {{0, 0, 10, 10}, {50, 0, 10, 10}}, Axis::horizontal, {}},
      {"even gaps", {{0, 0, 10, 10}, {20, 0, 10, 10}, {100, 0, 10, 10}}, Axis::horizontal,
       {{id(1), {50, 0, 10, 10}}}},
      {"already even", {{0, 0, 10, 10}, {50, 0, 10, 10}, {100, 0, 10, 10}}, Axis::horizontal, {}},
      {"sorted by leading edge, not by map order", {{100, 3, 10, 10}, {0, 2, 10, 10}, {20, 1, 10, 10}},
       Axis::horizontal, {{id(2), {50, 1, 10, 10}}}},
      {"vertical moves y only", {{5, 0, 10, 10}, {6, 20, 10, 10}, {7, 100, 10, 10}}, Axis::vertical,
       {{id(1), {6, 50, 10, 10}}}},
      {"gap of exactly zero keeps both ends", {{0, 0, 10, 1}, {5, 0, 10, 1}, {20, 0, 10, 1}}, Axis::horizontal,
       {{id(1), {10, 0, 10, 1}}}},
      {"negative gap moves the last too", {{0, 0, 60, 1}, {10, 0, 60, 1}, {20, 0, 60, 1}}, Axis::horizontal,
       {{id(1), {60, 0, 60, 1}}, {id(2), {120, 0, 60, 1}}}},
      {"end comes from the last by sort order", {{0, 0, 200, 1}, {50, 0, 10, 1}, {100, 0, 10, 1}},
       Axis::horizontal, {{id(1), {200, 0, 10, 1}}, {id(2), {210, 0, 10, 1}}}},
      // In the other order the wide frame would stay and the narrow one move to 70.
      {"equal leading edges keep map order", {{0, 0, 10, 1}, {30, 0, 10, 1}, {30, 0, 20, 1}, {100, 0, 10, 1}},
       Axis::horizontal, {{id(2), {60, 0, 20, 1}}}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(Arrangement::distribute(framesOf(row.frames), row.axis), row.expected);
  }
}

Frames randomFrames(std::mt19937_64& random) {
  std::uniform_int_distribution<int> count(0, 8);
  std::uniform_real_distribution<double> position(-1000, 1000), extent(0, 300);
  // Whole numbers now and then, so frames share edges and the no-change paths are exercised.
  std::bernoulli_distribution whole(0.3);
  Frames frames;
  const int n = count(random);
  for (int i = 0; i < n; ++i) {
    Frame f{position(random), position(random), extent(random), extent(random)};
    if (whole(random)) f = {std::round(f.x / 100) * 100, std::round(f.y / 100) * 100, 100, 100};
    Uuid key;
    for (auto& b : key.bytes) b = static_cast<std::uint8_t>(random());
    frames[key] = f;
  }
  return frames;
}

TEST(Arrangement, AlignmentChangesOnlyTheAlignedCoordinate) {
  std::mt19937_64 random(11);
  const Alignment all[] = {Alignment::left, Alignment::horizontalCenter, Alignment::right,
                           Alignment::top,  Alignment::verticalCenter,   Alignment::bottom};
  for (int round = 0; round < 300; ++round) {
    const Frames frames = randomFrames(random);
    for (const Alignment alignment : all) {
      SCOPED_TRACE(testing::Message() << "round " << round << " alignment " << static_cast<int>(alignment));
      const Frames moved = Arrangement::align(frames, alignment);
      const bool alongX = alignment == Alignment::left || alignment == Alignment::horizontalCenter ||
                          alignment == Alignment::right;
      for (const auto& [key, f] : moved) {
        const Frame& old = frames.at(key);
        EXPECT_NE(f, old);
        EXPECT_EQ(f.width, old.width);
        EXPECT_EQ(f.height, old.height);
        EXPECT_EQ(alongX ? f.y : f.x, alongX ? old.y : old.x);
      }
      // Aligning the aligned selection again changes nothing (left and top involve no rounding).
      Frames after = frames;
      for (const auto& [key, f] : moved) after[key] = f;
      if (alignment == Alignment::left || alignment == Alignment::top) {
        EXPECT_TRUE(Arrangement::align(after, alignment).empty());
      }
    }
  }
}

TEST(Arrangement, DistributionKeepsTheFirstEntryAndMovesAlongTheAxisOnly) {
  std::mt19937_64 random(13);
  for (int round = 0; round < 300; ++round) {
    const Frames frames = randomFrames(random);
    for (const Axis axis : {Axis::horizontal, Axis::vertical}) {
      SCOPED_TRACE(testing::Message() << "round " << round << " axis " << static_cast<int>(axis));
      const Frames moved = Arrangement::distribute(frames, axis);
      if (frames.size() < 3) {
        EXPECT_TRUE(moved.empty());
        continue;
      }
      const auto lead = [axis](const Frame& f) { return axis == Axis::horizontal ? f.x : f.y; };
      const auto first = std::min_element(frames.begin(), frames.end(),
                                          [&](const auto& a, const auto& b) { return lead(a.second) < lead(b.second); });
      EXPECT_EQ(moved.count(first->first), 0u);
      for (const auto& [key, f] : moved) {
        const Frame& old = frames.at(key);
        EXPECT_EQ(axis == Axis::horizontal ? f.y : f.x, axis == Axis::horizontal ? old.y : old.x);
        EXPECT_EQ(f.width, old.width);
        EXPECT_EQ(f.height, old.height);
      }
    }
  }
}

}  // namespace
}  // namespace zorvi
