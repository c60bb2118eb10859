#include "bench/harness/ssim.h"

#include <cstddef>
#include <vector>

namespace bench {
namespace {

constexpr int kBlock = 4;  // windows are two by two of these
constexpr double kPixels = 64;
constexpr double kC1 = 0.01 * 255 * 0.01 * 255;
constexpr double kC2 = 0.03 * 255 * 0.03 * 255;

/// Sums over a block; they add up.
struct Sums {
  std::uint32_t a = 0, b = 0, squares = 0, products = 0;
  Sums& operator+=(const Sums& other) {
    a += other.a;
    b += other.b;
    squares += other.squares;
    products += other.products;
    return *this;
  }
};

Sums sumsOfBlock(const std::uint8_t* a, int pitchA, const std::uint8_t* b, int pitchB) {
  Sums sums;
  for (int y = 0; y < kBlock; ++y) {
    for (int x = 0; x < kBlock; ++x) {
      const std::uint32_t p = a[std::ptrdiff_t{y} * pitchA + x];
      const std::uint32_t q = b[std::ptrdiff_t{y} * pitchB + x];
      sums += {p, q, p * p + q * q, p * q};
    }
  }
  return sums;
}

double similarity(const Sums& sums) {
  const double meanA = sums.a / kPixels;
  const double meanB = sums.b / kPixels;
  const double variances = sums.squares / kPixels - meanA * meanA - meanB * meanB;
  const double covariance = sums.products / kPixels - meanA * meanB;
  return (2 * meanA * meanB + kC1) * (2 * covariance + kC2) /
         ((meanA * meanA + meanB * meanB + kC1) * (variances + kC2));
}

}  // namespace

double ssim(const LumaPlane& a, const LumaPlane& b, int width, int height) {
  const int columns = width / kBlock;
  const int rows = height / kBlock;
  std::vector<Sums> above(static_cast<std::size_t>(columns)), here(above);
  double sum = 0;
  for (int row = 0; row < rows; ++row) {
    above.swap(here);
    for (int column = 0; column < columns; ++column) {
      const std::ptrdiff_t y = std::ptrdiff_t{row} * kBlock;
      const int x = column * kBlock;
      here[static_cast<std::size_t>(column)] =
          sumsOfBlock(a.bytes + y * a.bytesPerRow + x, a.bytesPerRow,
                      b.bytes + y * b.bytesPerRow + x, b.bytesPerRow);
    }
    for (std::size_t column = 1; row > 0 && column < here.size(); ++column) {
      Sums window = above[column - 1];
      window += above[column];
      window += here[column - 1];
      window += here[column];
      sum += similarity(window);
    }
  }
  return sum / (static_cast<double>(rows - 1) * (columns - 1));
}

}  // namespace bench
