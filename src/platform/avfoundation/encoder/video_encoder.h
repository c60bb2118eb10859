// What the writer needs of a video encoder, whichever library is behind it.
#pragma once

#include "platform/avfoundation/coded_video.h"
#include "platform/foundation/status.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <vector>

namespace vx {

/// One 8-bit 4:2:0 picture with even width and height; the planes belong to the caller.
struct PlanarPicture {
  int width = 0;  // pixels of luma
  int height = 0;
  std::array<const std::uint8_t*, 3> planes{};  // Y, Cb, Cr
  std::array<int, 3> bytesPerRow{};
};

struct VideoEncoderSettings {
  int width = 0;  // even
  int height = 0;
  int averageBitRate = 0;           // bits per second
  int maxKeyFrameInterval = 0;      // frames
  int expectedSourceFrameRate = 0;  // frames per second
  ColourTags colour;
};

/// One coded picture: NAL units, each behind its length in 4 bytes, big-endian. Valid until the
/// encoder is called again.
struct AccessUnit {
  std::span<const std::uint8_t> bytes;
  bool isKeyFrame = false;
};

/// The levels of care that an encoder offers while it runs, the fastest first.
struct EncoderSpeeds {
  std::vector<double> relativeCosts;  // ascending
  int firstLevel = 0;                 // where nothing is known of the load
};

/// The finest quantizer: what is finer is not seen, only stored.
inline constexpr int kLowestQuantizer = 10;

/// When a picture is shown, and what is asked of it.
struct PictureRequest {
  std::int64_t timeMs = 0;      // presentation time
  std::int64_t durationMs = 0;  // until the next picture
  bool forceKeyFrame = false;   // asks for an IDR picture
};

/// Codes pictures in order, each at once: nothing that was encoded waits inside.
/// Thread: one at a time.
class VideoEncoder {
 public:
  virtual ~VideoEncoder() = default;
  virtual Status open(const VideoEncoderSettings& settings) = 0;
  virtual const ParameterSets& parameterSets() const = 0;
  virtual Status encode(const PlanarPicture& picture, const PictureRequest& request,
                        AccessUnit& accessUnit) = 0;
  /// How an opened encoder's speed can follow the load. Without levels it stays as it is.
  virtual EncoderSpeeds speeds() const { return {}; }
  /// The first level as it is now: it may depend on the encoders that share the cores.
  virtual int firstSpeed() const { return speeds().firstLevel; }
  /// For the pictures from the next one on; an index into the costs of `speeds`.
  virtual void setSpeed(int /*level*/) {}
};

using VideoEncoderFactory = std::function<std::unique_ptr<VideoEncoder>()>;

/// libx264, in a build that has it.
std::unique_ptr<VideoEncoder> makeX264Encoder();
/// libopenh264, in a build that has it.
std::unique_ptr<VideoEncoder> makeOpenH264Encoder();

}  // namespace vx
