// The values of options, each read to its end.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "pixel_format.h"

namespace vxrecord {

/// Errors: all throw UsageError, which names the option and what it takes.
std::uint32_t parseNumber32(std::string_view option, std::string_view text);
std::uint64_t parseNumber64(std::string_view option, std::string_view text);
/// In milliseconds.
std::int64_t parseSeconds(std::string_view option, std::string_view text, bool zeroIsAllowed);
PixelFormat parsePixelFormat(std::string_view text);
std::string parseFilename(std::string_view text);
std::string parseFolder(std::string_view text);

}  // namespace vxrecord
