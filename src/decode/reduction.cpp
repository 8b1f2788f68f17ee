#include "decode/reduction.hpp"

#include <algorithm>
#include <new>
#include <stdexcept>

namespace zorvi::decoding {
namespace {

// A box of at most this many pixels sums 8-bit channels without overflowing 32 bits.
constexpr std::int64_t maxBoxPixels = std::int64_t{1} << 24;

std::int32_t ceilDiv(std::int32_t a, std::int32_t b) { return (a + b - 1) / b; }

}  // namespace

ReductionPlan planReduction(std::int32_t sourceWidth, std::int32_t sourceHeight, Target target,
                            std::int64_t maxPixels) {
  ReductionPlan plan{sourceWidth, sourceHeight};
  plan.factorX = std::max(1, sourceWidth / std::max(1, target.width));
  plan.factorY = std::max(1, sourceHeight / std::max(1, target.height));
  while (std::int64_t{plan.factorX} * plan.factorY > maxBoxPixels) {
    (plan.factorX >= plan.factorY ? plan.factorX : plan.factorY) /= 2;
  }
  auto outputPixels = [&] {
    return std::int64_t{ceilDiv(sourceWidth, plan.factorX)} * ceilDiv(sourceHeight, plan.factorY);
  };
  // Each doubling at least nearly halves the output, so this ends within about 64 rounds.
  while (outputPixels() > maxPixels && std::int64_t{plan.factorX} * plan.factorY * 2 <= maxBoxPixels) {
    const bool widthIsLonger = ceilDiv(sourceWidth, plan.factorX) >= ceilDiv(sourceHeight, plan.factorY);
    std::int32_t& factor = widthIsLonger ? plan.factorX : plan.factorY;
    factor = std::min(factor * 2, widthIsLonger ? sourceWidth : sourceHeight);
    if (plan.factorX == sourceWidth && plan.factorY == sourceHeight) break;
  }
  plan.width = ceilDiv(sourceWidth, plan.factorX);
  plan.height = ceilDiv(sourceHeight, plan.factorY);
  return plan;
}

std::optional<Raster> allocateRaster(std::int32_t width, std::int32_t height) {
  if (width <= 0 || height <= 0) return std::nullopt;
  try {
    Raster raster{width, height};
    raster.pixels.assign(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), 0);
    return raster;
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  } catch (const std::length_error&) {
    return std::nullopt;
  }
}

std::optional<BoxReducer> BoxReducer::make(const ReductionPlan& plan, bool rowsInOrder) {
  try {
    BoxReducer reducer(plan, rowsInOrder);
    auto raster = allocateRaster(plan.width, plan.height);
    if (!raster) return std::nullopt;
    reducer.raster_ = std::move(*raster);
    return reducer;
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  } catch (const std::length_error&) {
    return std::nullopt;
  }
}

BoxReducer::BoxReducer(const ReductionPlan& plan, bool rowsInOrder)
    : plan_(plan),
      rowsInOrder_(rowsInOrder),
      sums_(direct() ? 0
                     : static_cast<std::size_t>(plan.width) * 4 *
                           static_cast<std::size_t>(rowsInOrder ? 1 : plan.height)),
      columnOf_(static_cast<std::size_t>(plan.sourceWidth)) {
  for (std::int32_t x = 0; x < plan.sourceWidth; ++x) {
    columnOf_[static_cast<std::size_t>(x)] = static_cast<std::uint32_t>(x / plan.factorX) * 4;
  }
}

std::uint32_t* BoxReducer::sumsFor(std::int32_t y) {
  const std::int32_t outputRow = y / plan_.factorY;
  if (!rowsInOrder_) {
    return sums_.data() + static_cast<std::size_t>(outputRow) * static_cast<std::size_t>(plan_.width) * 4;
  }
  while (openRow_ < outputRow) {
    flushRow(openRow_++);
    std::fill(sums_.begin(), sums_.end(), 0u);
  }
  return sums_.data();
}

namespace {

// A channel's premultiplied share of a pixel that is neither opaque nor transparent.
std::uint32_t weighted(std::uint32_t c, std::uint32_t a, BoxReducer::Alpha alpha) {
  // Premultiplied input keeps every channel within alpha, as ARGB32 requires, whatever the source holds.
  return alpha == BoxReducer::Alpha::straight ? premultiply(c, a) : std::min(c, a);
}

}  // namespace

void BoxReducer::addRgba(std::int32_t y, std::int32_t x, std::int32_t xStep, std::int32_t count,
                         const std::uint8_t* first, Alpha alpha) {
  if (y < 0 || y >= plan_.sourceHeight || x < 0 || xStep <= 0 || count <= 0) return;
  count = std::min<std::int32_t>(count, (plan_.sourceWidth - 1 - x) / xStep + 1);
  if (direct()) {
    std::uint32_t* out = raster_.pixels.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(plan_.width);
    for (const std::uint8_t* p = first; count > 0; --count, x += xStep, p += static_cast<std::size_t>(xStep) * 4) {
      const std::uint32_t a = p[3];
      out[x] = a == 255 ? packArgb(255, p[0], p[1], p[2])
               : a == 0 ? 0
                        : packArgb(a, weighted(p[0], a, alpha), weighted(p[1], a, alpha), weighted(p[2], a, alpha));
    }
    return;
  }
  std::uint32_t* sums = sumsFor(y);
  const std::uint8_t* p = first;
  if (xStep == 1) {
    // Whole rows, the common case: box by box with the sums in registers.
    const std::int32_t end = x + count;
    for (std::uint32_t* s = sums + columnOf_[static_cast<std::size_t>(x)]; x < end; s += 4) {
      const std::int32_t boxEnd = std::min(end, (x / plan_.factorX + 1) * plan_.factorX);
      std::uint32_t a = 0, r = 0, g = 0, b = 0;
      for (; x < boxEnd; ++x, p += 4) {
        const std::uint32_t pa = p[3];
        if (pa == 255) {
          a += 255, r += p[0], g += p[1], b += p[2];
        } else if (pa != 0) {
          a += pa, r += weighted(p[0], pa, alpha), g += weighted(p[1], pa, alpha), b += weighted(p[2], pa, alpha);
        }
      }
      s[0] += a, s[1] += r, s[2] += g, s[3] += b;
    }
    return;
  }
  for (std::int32_t i = 0; i < count; ++i, x += xStep, p += static_cast<std::size_t>(xStep) * 4) {
    const std::uint32_t a = p[3];
    if (a == 0) continue;  // premultiplied, a transparent pixel adds nothing
    std::uint32_t* s = sums + columnOf_[static_cast<std::size_t>(x)];
    s[0] += a;
    if (a == 255) {
      s[1] += p[0];
      s[2] += p[1];
      s[3] += p[2];
    } else {
      s[1] += weighted(p[0], a, alpha);
      s[2] += weighted(p[1], a, alpha);
      s[3] += weighted(p[2], a, alpha);
    }
  }
}

void BoxReducer::addPremultipliedRow(std::int32_t y, const std::uint32_t* argb) {
  if (y < 0 || y >= plan_.sourceHeight) return;
  if (direct()) {
    std::copy_n(argb, plan_.sourceWidth,
                raster_.pixels.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(plan_.width));
    return;
  }
  std::uint32_t* sums = sumsFor(y);
  // Box by box, with the sums in registers: this runs over every pixel of a full-size decode.
  for (std::int32_t x = 0; x < plan_.sourceWidth; sums += 4) {
    const std::int32_t end = std::min(x + plan_.factorX, plan_.sourceWidth);
    std::uint32_t a = 0, r = 0, g = 0, b = 0;
    for (; x < end; ++x) {
      const std::uint32_t pixel = argb[x];
      a += pixel >> 24;
      r += (pixel >> 16) & 0xFF;
      g += (pixel >> 8) & 0xFF;
      b += pixel & 0xFF;
    }
    sums[0] += a;
    sums[1] += r;
    sums[2] += g;
    sums[3] += b;
  }
}

void BoxReducer::flushRow(std::int32_t outputRow) {
  if (outputRow >= plan_.height) return;
  const std::uint32_t* sums = rowsInOrder_ ? sums_.data()
                                           : sums_.data() + static_cast<std::size_t>(outputRow) *
                                                                static_cast<std::size_t>(plan_.width) * 4;
  const std::uint32_t rows =
      static_cast<std::uint32_t>(std::min(plan_.factorY, plan_.sourceHeight - outputRow * plan_.factorY));
  std::uint32_t* out =
      raster_.pixels.data() + static_cast<std::size_t>(outputRow) * static_cast<std::size_t>(plan_.width);
  for (std::int32_t x = 0; x < plan_.width; ++x, sums += 4) {
    const std::uint32_t columns =
        static_cast<std::uint32_t>(std::min(plan_.factorX, plan_.sourceWidth - x * plan_.factorX));
    const std::uint32_t n = rows * columns;
    if (n == 1) {
      out[x] = packArgb(sums[0], sums[1], sums[2], sums[3]);
    } else {
      const std::uint32_t half = n / 2;
      out[x] =
          packArgb((sums[0] + half) / n, (sums[1] + half) / n, (sums[2] + half) / n, (sums[3] + half) / n);
    }
  }
}

Raster BoxReducer::finish() {
  if (direct()) return std::move(raster_);
  if (rowsInOrder_) {
    while (openRow_ < plan_.height) {
      flushRow(openRow_++);
      std::fill(sums_.begin(), sums_.end(), 0u);
    }
  } else {
    for (std::int32_t row = 0; row < plan_.height; ++row) flushRow(row);
  }
  return std::move(raster_);
}

std::optional<Raster> reduceRaster(Raster full, Target target) {
  const ReductionPlan plan = planReduction(full.width, full.height, target);
  if (plan.factorX == 1 && plan.factorY == 1) return full;
  auto reducer = BoxReducer::make(plan, true);
  if (!reducer) return std::nullopt;
  for (std::int32_t y = 0; y < full.height; ++y) {
    reducer->addPremultipliedRow(
        y, full.pixels.data() + static_cast<std::size_t>(y) * static_cast<std::size_t>(full.width));
  }
  return reducer->finish();
}

}  // namespace zorvi::decoding
