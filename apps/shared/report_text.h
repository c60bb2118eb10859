// The words and the JSON that the programs tell about recordings in.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "VXVideoRecorder/VXRecordingRepair.h"

namespace vxapps {

const char* nameOf(VXRecordingState state);

/// One number in the way of printf.
std::string printed(const char* format, double number);
/// "1 frame", "2 frames".
std::string counted(std::uint64_t count, const char* one, const char* many);
/// 1500 as "1.500 s".
std::string secondsOf(std::int64_t milliseconds);

/// `text` with U+FFFD in place of the bytes that are not UTF-8.
std::string asUtf8(std::string_view text);
/// `text` as a JSON text with its quotes; bytes that are not UTF-8 as above.
std::string jsonText(std::string_view text);
/// The same; null where there is none.
std::string jsonTextOrNull(const std::optional<std::string>& text);

}  // namespace vxapps
