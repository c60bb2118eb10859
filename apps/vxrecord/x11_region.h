// Which parts of the screen are read.
#pragma once

#include <cstdint>
#include <vector>

namespace vxrecord {

/// Pixels from (x, y) on. One without width or height is empty.
struct Rect {
  int x = 0;
  int y = 0;
  int width = 0;
  int height = 0;

  bool isEmpty() const { return width <= 0 || height <= 0; }
  std::int64_t pixels() const { return isEmpty() ? 0 : std::int64_t{width} * height; }
  friend bool operator==(const Rect&, const Rect&) = default;
};

/// What lies in both; empty when nothing does.
Rect intersectionOf(const Rect& a, const Rect& b);
/// The smallest rectangle around both; an empty one adds nothing.
Rect boundsOf(const Rect& a, const Rect& b);

/// The cheapest way to bring a picture up to date.
struct ReadPlan {
  /// Whole rows of the picture, which the server can write where they belong. Empty: `parts`.
  Rect rows;
  /// Rectangles that are read elsewhere and copied from there.
  std::vector<Rect> parts;
};

/// `damage` is what has changed, `visible` the part of the screen that the picture shows.
/// `readsRowsInPlace` when rows of `visible` are rows of the picture as well.
ReadPlan planReading(const std::vector<Rect>& damage, const Rect& visible, bool readsRowsInPlace);

}  // namespace vxrecord
