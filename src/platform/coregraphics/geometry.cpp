#include "VXVideoRecorder/platform/CoreGraphics.h"

#include <cmath>

namespace vx {

CGAffineTransform CGAffineTransformMakeRotation(double angle) {
  const double sine = std::sin(angle);
  const double cosine = std::cos(angle);
  return {cosine, sine, -sine, cosine, 0, 0};
}

}  // namespace vx
