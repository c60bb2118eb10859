#include "x11_region.h"

#include <algorithm>

namespace vxrecord {
namespace {

// Prices in pixels that the server copies. A part is copied twice, and a request costs about as
// much as copying this many pixels.
constexpr std::int64_t kPriceOfRequest = 4096;
constexpr std::int64_t kCopiesOfPart = 2;
// More pieces than this are not worth sorting out.
constexpr std::size_t kMostPieces = 64;

std::int64_t priceOfPart(const Rect& part) {
  return kPriceOfRequest + kCopiesOfPart * part.pixels();
}

/// Joins two parts as long as reading them as one is cheaper.
void joinNeighbours(std::vector<Rect>& parts) {
  for (std::size_t i = 0; i < parts.size(); ++i) {
    for (std::size_t j = i + 1; j < parts.size();) {
      const Rect both = boundsOf(parts[i], parts[j]);
      if (priceOfPart(both) > priceOfPart(parts[i]) + priceOfPart(parts[j])) {
        ++j;
        continue;
      }
      parts[i] = both;
      parts.erase(parts.begin() + static_cast<std::ptrdiff_t>(j));
      j = i + 1;  // the larger part may reach others now
    }
  }
}

}  // namespace

Rect intersectionOf(const Rect& a, const Rect& b) {
  const int left = std::max(a.x, b.x);
  const int top = std::max(a.y, b.y);
  const int right = std::min(a.x + a.width, b.x + b.width);
  const int bottom = std::min(a.y + a.height, b.y + b.height);
  if (a.isEmpty() || b.isEmpty() || right <= left || bottom <= top) {
    return {};
  }
  return {left, top, right - left, bottom - top};
}

Rect boundsOf(const Rect& a, const Rect& b) {
  if (a.isEmpty() || b.isEmpty()) {
    return a.isEmpty() ? b : a;
  }
  const int left = std::min(a.x, b.x);
  const int top = std::min(a.y, b.y);
  return {left, top, std::max(a.x + a.width, b.x + b.width) - left,
          std::max(a.y + a.height, b.y + b.height) - top};
}

ReadPlan planReading(const std::vector<Rect>& damage, const Rect& visible, bool readsRowsInPlace) {
  ReadPlan plan;
  Rect bounds;
  for (const Rect& rect : damage) {
    const Rect part = intersectionOf(rect, visible);
    if (!part.isEmpty()) {
      plan.parts.push_back(part);
      bounds = boundsOf(bounds, part);
    }
  }
  if (plan.parts.size() > kMostPieces) {
    plan.parts = {bounds};
  }
  joinNeighbours(plan.parts);
  std::int64_t price = 0;
  for (const Rect& part : plan.parts) {
    price += priceOfPart(part);
  }
  const Rect rows = {visible.x, bounds.y, visible.width, bounds.height};
  if (readsRowsInPlace && !plan.parts.empty() && kPriceOfRequest + rows.pixels() <= price) {
    plan.rows = rows;
    plan.parts.clear();
  }
  return plan;
}

}  // namespace vxrecord
