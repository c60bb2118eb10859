#include "platform/avfoundation/encoder/frame_converter.h"

#include "VXVideoRecorder/platform/AVFoundation.h"
#include "platform/avfoundation/encoder/planar_conversion.h"

#include <libyuv/scale.h>
#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

namespace vx {

namespace {

constexpr std::size_t kPlaneCount = 3;
constexpr std::array<std::uint8_t, kPlaneCount> kBlack = {16, 128, 128};

constexpr int roundedUpToEven(int value) { return value + value % 2; }
constexpr int halved(int value) { return (value + 1) / 2; }
constexpr int planeSide(int side, std::size_t plane) { return plane == 0 ? side : halved(side); }

/// A part of a picture, at even places and with even sides.
struct Area {
  int x = 0, y = 0, width = 0, height = 0;
  friend bool operator==(const Area&, const Area&) = default;
};

/// A 4:2:0 picture of its own, in one block that follows the size it is asked for.
class OwnPicture {
 public:
  /// Every byte of new memory is zero.
  void setSize(int width, int height) {
    _width = width;
    _height = height;
    const std::size_t luma = std::size_t(rowBytes(0)) * std::size_t(height);
    const std::size_t chroma = std::size_t(rowBytes(1)) * std::size_t(halved(height));
    const std::size_t needed = luma + 2 * chroma;
    if (needed > _memory.size() || needed < _memory.size() / kTolerance) {
      std::vector<std::uint8_t>().swap(_memory);  // before the new block, not beside it
      _memory.resize(needed);
    }
    _target.planes = {_memory.data(), _memory.data() + luma, _memory.data() + luma + chroma};
    _target.bytesPerRow = {rowBytes(0), rowBytes(1), rowBytes(1)};
  }
  const PlanarTarget& target() const { return _target; }
  PlanarPicture picture() const {
    return {_width,
            _height,
            {_target.planes[0], _target.planes[1], _target.planes[2]},
            _target.bytesPerRow};
  }
  PlanarTarget targetAt(const Area& area) const {
    PlanarTarget part = _target;
    for (std::size_t i = 0; i < kPlaneCount; ++i) {
      const int x = i == 0 ? area.x : area.x / 2;
      const int y = i == 0 ? area.y : area.y / 2;
      part.planes[i] += std::ptrdiff_t{y} * part.bytesPerRow[i] + x;
    }
    return part;
  }
  void fillBlack() {
    for (std::size_t i = 0; i < kPlaneCount; ++i) {
      std::memset(_target.planes[i], kBlack[i],
                  std::size_t(_target.bytesPerRow[i]) * std::size_t(planeSide(_height, i)));
    }
  }

 private:
  static constexpr std::size_t kTolerance = 4;  // a block this many times too large is given back
  static constexpr int kRowAlignment = 64;      // bytes

  int rowBytes(std::size_t plane) const {
    return (planeSide(_width, plane) + kRowAlignment - 1) / kRowAlignment * kRowAlignment;
  }

  int _width = 0;
  int _height = 0;
  std::vector<std::uint8_t> _memory;
  PlanarTarget _target;
};

PlanarPicture planesOf(CVPixelBufferRef buffer) {
  PlanarPicture picture;
  picture.width = static_cast<int>(CVPixelBufferGetWidth(buffer));
  picture.height = static_cast<int>(CVPixelBufferGetHeight(buffer));
  for (std::size_t i = 0; i < kPlaneCount; ++i) {
    picture.planes[i] =
        static_cast<const std::uint8_t*>(CVPixelBufferGetBaseAddressOfPlane(buffer, i));
    picture.bytesPerRow[i] = static_cast<int>(CVPixelBufferGetBytesPerRowOfPlane(buffer, i));
  }
  return picture;
}

PackedPicture packedPictureOf(CVPixelBufferRef buffer) {
  return {CVPixelBufferGetPixelFormatType(buffer), static_cast<int>(CVPixelBufferGetWidth(buffer)),
          static_cast<int>(CVPixelBufferGetHeight(buffer)),
          static_cast<const std::uint8_t*>(CVPixelBufferGetBaseAddress(buffer)),
          static_cast<int>(CVPixelBufferGetBytesPerRow(buffer))};
}

void copyPlanes(const PlanarPicture& from, const PlanarTarget& to) {
  for (std::size_t i = 0; i < kPlaneCount; ++i) {
    for (int y = 0; y < planeSide(from.height, i); ++y) {
      std::memcpy(to.planes[i] + std::ptrdiff_t{y} * to.bytesPerRow[i],
                  from.planes[i] + std::ptrdiff_t{y} * from.bytesPerRow[i],
                  std::size_t(planeSide(from.width, i)));
    }
  }
}

// The scaler takes sides of at most 32768 pixels; a buffer's may be twice as long.
constexpr int kLongestScaledSide = 32768;

bool isTooLongToScale(const PlanarPicture& picture) {
  return picture.width > kLongestScaledSide || picture.height > kLongestScaledSide;
}

// Every second pixel along the sides that are too long.
PlanarPicture thinned(const PlanarPicture& from, OwnPicture& memory) {
  const int stepX = from.width > kLongestScaledSide ? 2 : 1;
  const int stepY = from.height > kLongestScaledSide ? 2 : 1;
  memory.setSize(from.width / stepX, from.height / stepY);
  const PlanarTarget& target = memory.target();
  for (int plane = 0; plane < 3; ++plane) {
    const int width = planeSide(from.width / stepX, plane);
    const int height = planeSide(from.height / stepY, plane);
    const int lastX = planeSide(from.width, plane) - 1;
    const int lastY = planeSide(from.height, plane) - 1;
    for (int y = 0; y < height; ++y) {
      const std::uint8_t* source =
          from.planes[plane] + std::ptrdiff_t{std::min(y * stepY, lastY)} * from.bytesPerRow[plane];
      std::uint8_t* row = target.planes[plane] + std::ptrdiff_t{y} * target.bytesPerRow[plane];
      for (int x = 0; x < width; ++x) {
        row[x] = source[std::min(x * stepX, lastX)];
      }
    }
  }
  return memory.picture();
}

// Each pixel the mean of four, of what is left when sides are cut down to a multiple of four.
PlanarPicture halvedPicture(const PlanarPicture& from, OwnPicture& memory) {
  const int width = from.width / 4 * 2;
  const int height = from.height / 4 * 2;
  memory.setSize(width, height);
  const PlanarTarget& target = memory.target();
  for (std::size_t i = 0; i < kPlaneCount; ++i) {
    const int planeWidth = planeSide(width, i);
    const int planeHeight = planeSide(height, i);
    libyuv::ScalePlane(from.planes[i], from.bytesPerRow[i], 2 * planeWidth, 2 * planeHeight,
                       target.planes[i], target.bytesPerRow[i], planeWidth, planeHeight,
                       libyuv::kFilterBox);
  }
  return memory.picture();
}

// The scaler's mean of many pixels is too dark: its divisor has 16 bits, 2 of 255 short at 24 x 24
// pixels and 44 short at 160 x 160. So a picture is halved until few are left.
constexpr int kMostPixelsPerMean = 4;      // along each side
constexpr std::size_t kMostHalvings = 14;  // 32768 pixels to 2
using Halvings = std::array<OwnPicture, kMostHalvings>;

PlanarPicture reduced(PlanarPicture from, const Area& area, Halvings& memories) {
  for (std::size_t round = 0; from.width / area.width > kMostPixelsPerMean &&
                              from.height / area.height > kMostPixelsPerMean;
       ++round) {
    from = halvedPicture(from, memories[round]);
  }
  return from;
}

// An odd side's chroma is complete; luma repeats its last column and row.
void padLuma(const PlanarTarget& target, int width, int height) {
  std::uint8_t* luma = target.planes[0];
  const std::ptrdiff_t bytesPerRow = target.bytesPerRow[0];
  if (width % 2 != 0) {
    for (int y = 0; y < height; ++y) {
      luma[y * bytesPerRow + width] = luma[y * bytesPerRow + width - 1];
    }
  }
  if (height % 2 != 0) {
    std::memcpy(luma + height * bytesPerRow, luma + (height - 1) * bytesPerRow,
                std::size_t(roundedUpToEven(width)));
  }
}

/// Where a picture of `width` x `height` lies within the track, its aspect kept.
Area fittedArea(int width, int height, int trackWidth, int trackHeight) {
  const double scale =
      std::min(double(trackWidth) / double(width), double(trackHeight) / double(height));
  const auto side = [&](int length, int trackLength) {
    const int scaled = static_cast<int>(std::lround(length * scale));
    return std::clamp(roundedUpToEven(scaled), 2, roundedUpToEven(trackLength));
  };
  Area area;
  area.width = side(width, trackWidth);
  area.height = side(height, trackHeight);
  area.x = (roundedUpToEven(trackWidth) - area.width) / 4 * 2;
  area.y = (roundedUpToEven(trackHeight) - area.height) / 4 * 2;
  return area;
}

// Every pixel counts when a picture shrinks; the mean is kept in 16 bits, so not of too many rows.
libyuv::FilterMode filterFor(const PlanarPicture& from, const Area& area) {
  constexpr int kMaxRowsPerMean = 128;
  return from.height / area.height < kMaxRowsPerMean ? libyuv::kFilterBox : libyuv::kFilterBilinear;
}

bool scale(const PlanarPicture& from, const Area& area, const PlanarTarget& to) {
  return libyuv::I420Scale(from.planes[0], from.bytesPerRow[0], from.planes[1], from.bytesPerRow[1],
                           from.planes[2], from.bytesPerRow[2], from.width, from.height,
                           to.planes[0], to.bytesPerRow[0], to.planes[1], to.bytesPerRow[1],
                           to.planes[2], to.bytesPerRow[2], area.width, area.height,
                           filterFor(from, area)) == 0;
}

NSError failure(std::string text) {
  return NSError(AVFoundationErrorDomain, AVErrorEncodeFailed, std::move(text));
}

}  // namespace

struct FrameConverter::Scratch {
  OwnPicture track;    // the picture handed out when it is not the buffer's own
  OwnPicture source;   // a packed picture of another size, before it is scaled
  OwnPicture thinned;  // a picture with sides too long for the scaler, every second pixel of it
  Halvings halved;     // a picture much larger than the track, on its way down
  std::vector<std::uint8_t> rowMemory;
  Area shown;  // where `track` is not black; nowhere while it holds no fitted picture
};

FrameConverter::FrameConverter(int trackWidth, int trackHeight)
    : _trackWidth(trackWidth), _trackHeight(trackHeight), _scratch(std::make_unique<Scratch>()) {}

FrameConverter::~FrameConverter() = default;

Status FrameConverter::convert(CVPixelBufferRef buffer, PlanarPicture& picture) {
  if (!buffer) {
    return failure("There is no picture to convert.");
  }
  const bool hasTrackSize = CVPixelBufferGetWidth(buffer) == std::size_t(_trackWidth) &&
                            CVPixelBufferGetHeight(buffer) == std::size_t(_trackHeight);
  try {
    return hasTrackSize ? convertSameSize(buffer, picture) : convertFitted(buffer, picture);
  } catch (const std::bad_alloc&) {
    return NSError(AVFoundationErrorDomain, AVErrorOutOfMemory,
                   "There is not enough memory to convert a picture. Record a smaller one.");
  }
}

Status FrameConverter::convertSameSize(CVPixelBufferRef buffer, PlanarPicture& picture) {
  const bool isPlanar = CVPixelBufferIsPlanar(buffer);
  if (isPlanar && _trackWidth % 2 == 0 && _trackHeight % 2 == 0) {
    picture = planesOf(buffer);
    return Status::success();
  }
  OwnPicture& track = _scratch->track;
  track.setSize(roundedUpToEven(_trackWidth), roundedUpToEven(_trackHeight));
  _scratch->shown = {};
  if (isPlanar) {
    copyPlanes(planesOf(buffer), track.target());
  } else if (!convertToPlanar(packedPictureOf(buffer), track.target(), _scratch->rowMemory)) {
    return failure("The picture's format cannot be converted.");
  }
  padLuma(track.target(), _trackWidth, _trackHeight);
  picture = track.picture();
  return Status::success();
}

Status FrameConverter::convertFitted(CVPixelBufferRef buffer, PlanarPicture& picture) {
  PlanarPicture from;
  if (CVPixelBufferIsPlanar(buffer)) {
    from = planesOf(buffer);
  } else {
    const PackedPicture packed = packedPictureOf(buffer);
    _scratch->source.setSize(packed.width, packed.height);
    if (!convertToPlanar(packed, _scratch->source.target(), _scratch->rowMemory)) {
      return failure("The picture's format cannot be converted.");
    }
    from = _scratch->source.picture();
  }
  OwnPicture& track = _scratch->track;
  track.setSize(roundedUpToEven(_trackWidth), roundedUpToEven(_trackHeight));
  const Area area = fittedArea(from.width, from.height, _trackWidth, _trackHeight);
  if (area != _scratch->shown) {
    track.fillBlack();
    _scratch->shown = area;
  }
  if (isTooLongToScale(from)) {
    from = thinned(from, _scratch->thinned);
  }
  from = reduced(from, area, _scratch->halved);
  if (!scale(from, area, track.targetAt(area))) {
    _scratch->shown = {};
    return failure("The picture cannot be scaled to the size of the recording.");
  }
  picture = track.picture();
  return Status::success();
}

}  // namespace vx
