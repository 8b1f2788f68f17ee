// Integer box reduction into ARGB32 rasters, shared by every codec.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "zorvi/image_decoder.hpp"

namespace zorvi::decoding {

// A requested output size, each side at least 1.
struct Target {
  std::int32_t width = 1, height = 1;
};

// The box each output pixel averages (factorX × factorY source pixels; fewer on the right and bottom edges).
struct ReductionPlan {
  std::int32_t sourceWidth = 0, sourceHeight = 0;
  std::int32_t factorX = 1, factorY = 1;
  std::int32_t width = 0, height = 0;
};

// The largest integer factors that keep the output at or above target (the source size when smaller),
// tightened so that the output stays within maxPixels and a box's channel sum fits 32 bits.
ReductionPlan planReduction(std::int32_t sourceWidth, std::int32_t sourceHeight, Target target,
                            std::int64_t maxPixels = ImageDecoder::maxRasterPixels);

// A Raster of the given size filled with transparent black, or nothing when the allocation fails.
std::optional<Raster> allocateRaster(std::int32_t width, std::int32_t height);

inline std::uint32_t packArgb(std::uint32_t a, std::uint32_t r, std::uint32_t g, std::uint32_t b) {
  return a << 24 | r << 16 | g << 8 | b;
}

// Exact rounding of c × a / 255 without a division.
inline std::uint32_t premultiply(std::uint32_t c, std::uint32_t a) {
  const std::uint32_t t = c * a + 128;
  return (t + (t >> 8)) >> 8;
}

// Averages source rows into an output raster as they arrive, holding only the sums of the output rows
// that are still open: one output row for sources delivered top to bottom, all of them for interlaced
// sources whose rows come in several passes.
class BoxReducer {
 public:
  // Nothing when the plan's buffers can't be allocated.
  static std::optional<BoxReducer> make(const ReductionPlan& plan, bool rowsInOrder);

  enum class Alpha { straight, premultiplied };

  // Adds count pixels of source row y, given as RGBA bytes: the first at x and at first[0..3], each next one
  // xStep pixels further right, in the row and in memory. Rows must arrive in ascending y when the reducer
  // was made for rows in order. Pixels outside the source are ignored.
  void addRgba(std::int32_t y, std::int32_t x, std::int32_t xStep, std::int32_t count,
               const std::uint8_t* first, Alpha alpha = Alpha::straight);

  // Adds a whole source row of straight-alpha RGBA bytes.
  void addStraightRgbaRow(std::int32_t y, const std::uint8_t* rgba) {
    addRgba(y, 0, 1, plan_.sourceWidth, rgba);
  }

  // Adds a whole source row of premultiplied ARGB32 words.
  void addPremultipliedRow(std::int32_t y, const std::uint32_t* argb);

  // The finished raster; call once, after every row has been added.
  Raster finish();

 private:
  BoxReducer(const ReductionPlan& plan, bool rowsInOrder);
  std::uint32_t* sumsFor(std::int32_t y);
  // Nothing to sum at full size: pixels go straight to the raster.
  bool direct() const { return plan_.factorX == 1 && plan_.factorY == 1; }
  void flushRow(std::int32_t outputRow);

  ReductionPlan plan_;
  bool rowsInOrder_ = true;
  std::int32_t openRow_ = 0;  // the output row being summed, when rows come in order
  std::vector<std::uint32_t> sums_;
  std::vector<std::uint32_t> columnOf_;  // source x → output x, so the inner loop has no division
  Raster raster_;
};

// Reduces a fully decoded raster by the plan for target; the raster itself when no reduction is due.
std::optional<Raster> reduceRaster(Raster full, Target target);

}  // namespace zorvi::decoding
