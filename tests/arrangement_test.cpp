#include "zorvi/arrangement.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "support/geometry_printers.hpp"
#include "support/items.hpp"

namespace zorvi {
namespace {

using Arrangement::Alignment;
using Arrangement::Axis;
using Arrangement::Frames;

constexpr auto id = &testing::idNumber;  // a map built from a list iterates in list order

Frames framesOf(const std::vector<Frame>& list) {
  Frames frames;
  for (std::size_t i = 0; i < list.size(); ++i) frames[id(i)] = list[i];
  return frames;
}

TEST(Arrangement, AlignReturnsOnlyTheFramesThatMove) {
  const std::vector<Frame> pair{{0, 5, 100, 20}, {200, 30, 50, 10}};
  // clang-format off
  const std::tuple<Alignment, Frames> rows[] = {
      {Alignment::left, {{id(1), {0, 30, 50, 10}}}},
      {Alignment::horizontalCenter, {{id(0), {75, 5, 100, 20}}, {id(1), {100, 30, 50, 10}}}},
      {Alignment::right, {{id(0), {150, 5, 100, 20}}}},
      {Alignment::top, {{id(1), {200, 5, 50, 10}}}},
      {Alignment::verticalCenter, {{id(0), {0, 12.5, 100, 20}}, {id(1), {200, 17.5, 50, 10}}}},
      {Alignment::bottom, {{id(0), {0, 20, 100, 20}}}},
  };
  // clang-format on
  for (const auto& [alignment, expected] : rows)
    EXPECT_EQ(Arrangement::align(framesOf(pair), alignment), expected) << static_cast<int>(alignment);
}

TEST(Arrangement, DistributeSpacesByLeadingEdge) {
  // clang-format off
  const std::tuple<const char*, std::vector<Frame>, Axis, Frames> rows[] = {
      // Two overlapping frames would otherwise abut.
      {"two", {{0, 0, 60, 1}, {10, 0, 60, 1}}, Axis::horizontal, {}},
      {"sorted by leading edge", {{100, 3, 10, 10}, {0, 2, 10, 10}, {20, 1, 10, 10}}, Axis::horizontal, {{id(2), {50, 1, 10, 10}}}},
      {"vertical", {{5, 0, 10, 10}, {6, 20, 10, 10}, {7, 100, 10, 10}}, Axis::vertical, {{id(1), {6, 50, 10, 10}}}},
      {"zero gap keeps both ends", {{0, 0, 10, 1}, {5, 0, 10, 1}, {20, 0, 10, 1}}, Axis::horizontal, {{id(1), {10, 0, 10, 1}}}},
      {"negative gap moves the last too", {{0, 0, 60, 1}, {10, 0, 60, 1}, {20, 0, 60, 1}}, Axis::horizontal,
       {{id(1), {60, 0, 60, 1}}, {id(2), {120, 0, 60, 1}}}},
      {"end from the last by sort order", {{0, 0, 200, 1}, {50, 0, 10, 1}, {100, 0, 10, 1}}, Axis::horizontal,
       {{id(1), {200, 0, 10, 1}}, {id(2), {210, 0, 10, 1}}}},
      // In the other order the wide frame would stay and the narrow one move to 70.
      {"equal leading edges keep map order", {{0, 0, 10, 1}, {30, 0, 10, 1}, {30, 0, 20, 1}, {100, 0, 10, 1}},
       Axis::horizontal, {{id(2), {60, 0, 20, 1}}}},
  };
  // clang-format on
  for (const auto& [name, frames, axis, expected] : rows)
    EXPECT_EQ(Arrangement::distribute(framesOf(frames), axis), expected) << name;
}

TEST(Arrangement, MovesOnlyAlongTheAxisKeepsSizesAndTheFirstEntry) {
  std::mt19937_64 random(11);
  std::uniform_real_distribution<double> position(-1000, 1000), extent(0, 300);
  for (int round = 0; round < 300; ++round) {
    Frames frames;
    for (int n = static_cast<int>(random() % 9); n > 0; --n) {
      // Whole hundreds now and then, so frames share edges and the unchanged paths are taken.
      const Frame f{position(random), position(random), extent(random), extent(random)};
      const Frame snapped{std::round(f.x / 100) * 100, std::round(f.y / 100) * 100, 100, 100};
      frames[id(random())] = random() % 3 ? f : snapped;
    }
    const auto check = [&](const Frames& moved, bool alongX) {
      for (const auto& [key, f] : moved) {
        const Frame& old = frames.at(key);
        EXPECT_NE(f, old);
        EXPECT_EQ(f.width, old.width);
        EXPECT_EQ(f.height, old.height);
        EXPECT_EQ(alongX ? f.y : f.x, alongX ? old.y : old.x);
      }
    };
    for (int a = 0; a <= static_cast<int>(Alignment::bottom); ++a) {
      SCOPED_TRACE(::testing::Message() << "round " << round << " alignment " << a);
      check(Arrangement::align(frames, static_cast<Alignment>(a)), a <= static_cast<int>(Alignment::right));
    }
    for (const Axis axis : {Axis::horizontal, Axis::vertical}) {
      SCOPED_TRACE(::testing::Message() << "round " << round << " axis " << static_cast<int>(axis));
      const Frames moved = Arrangement::distribute(frames, axis);
      check(moved, axis == Axis::horizontal);
      if (frames.size() < 3) continue;
      const auto lead = [axis](const auto& e) { return axis == Axis::horizontal ? e.second.x : e.second.y; };
      const auto first = std::min_element(frames.begin(), frames.end(),
                                          [&](const auto& a, const auto& b) { return lead(a) < lead(b); });
      EXPECT_EQ(moved.count(first->first), 0u);
    }
  }
}

}  // namespace
}  // namespace zorvi
