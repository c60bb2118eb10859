#include "platform/avfoundation/encoder/picture_detail.h"

#include <algorithm>
#include <array>
#include <cstdlib>

namespace vx {
namespace {

constexpr int kBlock = 16;
constexpr int kHalf = kBlock / 2;
constexpr int kStep = 3;  // one block in so many, in each direction

/// A block at half its resolution, with one column and one row of what lies before it.
using HalfBlock = std::array<std::array<int, kHalf + 1>, kHalf + 1>;

HalfBlock halfBlockAt(const PlanarPicture& picture, int column, int row) {
  const std::ptrdiff_t pitch = picture.bytesPerRow[0];
  HalfBlock half;
  for (int y = 0; y <= kHalf; ++y) {
    for (int x = 0; x <= kHalf; ++x) {
      const std::uint8_t* pixels =
          picture.planes[0] + (row + 2 * y - 2) * pitch + column + 2 * x - 2;
      half[y][x] = (pixels[0] + pixels[1] + pixels[pitch] + pixels[pitch + 1] + 2) / 4;
    }
  }
  return half;
}

int remainderOf(const HalfBlock& half) {
  int fromLeft = 0;
  int fromAbove = 0;
  for (int y = 1; y <= kHalf; ++y) {
    for (int x = 1; x <= kHalf; ++x) {
      fromLeft += std::abs(half[y][x] - half[y][x - 1]);
      fromAbove += std::abs(half[y][x] - half[y - 1][x]);
    }
  }
  return std::min(fromLeft, fromAbove);
}

}  // namespace

double detailOf(const PlanarPicture& picture) {
  double sum = 0;
  int count = 0;
  for (int row = kBlock; row + kBlock <= picture.height; row += kStep * kBlock) {
    for (int column = kBlock; column + kBlock <= picture.width; column += kStep * kBlock) {
      sum += remainderOf(halfBlockAt(picture, column, row));
      ++count;
    }
  }
  return count == 0 ? 0 : sum / count;
}

}  // namespace vx
