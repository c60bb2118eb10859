// Geometry: sizes in pixels and affine transforms. Thread: any; no call blocks.
#pragma once

#pragma GCC visibility push(default)

namespace vx {

struct CGSize {
  double width = 0;
  double height = 0;
  friend bool operator==(const CGSize&, const CGSize&) = default;
};

constexpr CGSize CGSizeMake(double width, double height) { return {width, height}; }

/// The matrix [a b 0; c d 0; tx ty 1]: x' = a*x + c*y + tx, y' = b*x + d*y + ty.
struct CGAffineTransform {
  double a = 1, b = 0, c = 0, d = 1, tx = 0, ty = 0;
  friend bool operator==(const CGAffineTransform&, const CGAffineTransform&) = default;
};

inline constexpr CGAffineTransform CGAffineTransformIdentity{};

/// A rotation by `angle` radians: with y pointing down, as in pictures, clockwise.
CGAffineTransform CGAffineTransformMakeRotation(double angle);

}  // namespace vx

#pragma GCC visibility pop
