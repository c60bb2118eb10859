#include "platform/avfoundation/video_settings.h"

#include "VXVideoRecorder/platform/AVFoundation.h"

namespace vx {
namespace {

constexpr double kLargestSide = 16384;  // what H.264 encoders offer

NSError unusable(std::string_view key, const std::string& why) {
  return NSError(AVFoundationErrorDomain, AVErrorInvalidOutputSettings,
                 "The video settings cannot be used: " + std::string(key) + " " + why);
}

bool textIs(const NSDictionary& settings, std::string_view key, std::string_view expected) {
  const Object* value = settings.objectForKey(key);
  return value && value->string() && *value->string() == expected;
}

Status readSide(const NSDictionary& settings, std::string_view key, int& out) {
  const Object* value = settings.objectForKey(key);
  const double side = value && value->number() ? value->number()->doubleValue() : 0;
  if (!(side >= 1 && side <= kLargestSide)) {
    return unusable(key, "must be between 1 and 16384 pixels.");
  }
  out = static_cast<int>(side);
  return Status::success();
}

Status readPositive(const NSDictionary& settings, std::string_view key, int& out) {
  const Object* value = settings.objectForKey(key);
  out = value && value->number() ? value->number()->intValue() : 0;
  return out > 0 ? Status::success() : Status(unusable(key, "must be a positive number."));
}

Status readCompression(const NSDictionary& settings, VideoEncoderSettings& out) {
  const Object* value = settings.objectForKey(AVVideoCompressionPropertiesKey);
  const NSDictionary* compression = value ? value->dictionary() : nullptr;
  if (!compression) {
    return unusable(AVVideoCompressionPropertiesKey, "is missing.");
  }
  if (!textIs(*compression, AVVideoProfileLevelKey, AVVideoProfileLevelH264HighAutoLevel)) {
    return unusable(AVVideoProfileLevelKey, "must name the High profile with automatic level.");
  }
  if (Status status = readPositive(*compression, AVVideoAverageBitRateKey, out.averageBitRate);
      !status) {
    return status;
  }
  if (Status status =
          readPositive(*compression, AVVideoMaxKeyFrameIntervalKey, out.maxKeyFrameInterval);
      !status) {
    return status;
  }
  return readPositive(*compression, AVVideoExpectedSourceFrameRateKey, out.expectedSourceFrameRate);
}

int roundedUpToEven(int side) { return side + side % 2; }

}  // namespace

Status readVideoSettings(const NSDictionary& settings, VideoTrackSettings& out) {
  if (!textIs(settings, AVVideoCodecKey, AVVideoCodecH264)) {
    return unusable(AVVideoCodecKey, "must be H.264.");
  }
  if (!textIs(settings, AVVideoScalingModeKey, AVVideoScalingModeResizeAspect)) {
    return unusable(AVVideoScalingModeKey, "must be the fit with the aspect kept.");
  }
  if (Status status = readSide(settings, AVVideoWidthKey, out.width); !status) {
    return status;
  }
  if (Status status = readSide(settings, AVVideoHeightKey, out.height); !status) {
    return status;
  }
  out.encoder.width = roundedUpToEven(out.width);
  out.encoder.height = roundedUpToEven(out.height);
  return readCompression(settings, out.encoder);
}

}  // namespace vx
