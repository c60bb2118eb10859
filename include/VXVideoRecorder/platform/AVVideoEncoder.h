// Which H.264 encoder the writers of this process use.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#pragma GCC visibility push(default)

namespace vx {

/// An encoder that this build can call.
struct AVVideoEncoderDescription {
  std::string name;         ///< what a person types: "x264", "openh264", "h264_vaapi"
  std::string description;  ///< one line
  bool isHardware = false;  ///< codes on a device that this machine may or may not have
  std::string licenceNote;  ///< what those who ship a program with this encoder have to heed
};

/// The choice of a video encoder. It holds for the whole process, and for writers that are started
/// after it was made; those that run keep theirs.
/// Thread: any.
class AVVideoEncoder {
 public:
  /// The name that stands for a choice: each hardware encoder is tried in turn and has to code one
  /// picture; when none can, the build's software encoder is used.
  static constexpr std::string_view kAuto = "auto";

  /// Every encoder of this build, the preferred software encoder first. A hardware encoder is
  /// listed whether or not the machine has the device; `isUsable` tells.
  static const std::vector<AVVideoEncoderDescription>& availableEncoders();

  /// The name set last; at first the one that the build was configured with.
  static std::string preferredEncoderName();
  /// Makes `name` (of `availableEncoders`, or `kAuto`) the choice. False for any other name, which
  /// changes nothing.
  static bool setPreferredEncoderName(std::string_view name);

  /// Whether this machine can use the encoder of this name: it is opened and codes one picture. For
  /// `kAuto` always true. Blocks for as long as that takes, up to a second for hardware.
  static bool isUsable(std::string_view name);

  AVVideoEncoder() = delete;
};

}  // namespace vx

#pragma GCC visibility pop
