#include "option_values.h"

#include <cmath>
#include <limits>

#include "options.h"

namespace vxrecord {
namespace {

constexpr double kMillisecondsPerSecond = 1000.0;
constexpr double kMostSeconds = 1e9;

template <typename Number>
Number parseNumber(std::string_view option, std::string_view text) {
  if (const auto number = vxapps::wholeNumber<Number>(text)) {
    return *number;
  }
  throw UsageError(std::string(option) + " takes a whole number from 0 to " +
                   std::to_string(std::numeric_limits<Number>::max()) + ", not " + quoted(text));
}

}  // namespace

std::uint32_t parseNumber32(std::string_view option, std::string_view text) {
  return parseNumber<std::uint32_t>(option, text);
}

std::uint64_t parseNumber64(std::string_view option, std::string_view text) {
  return parseNumber<std::uint64_t>(option, text);
}

std::int64_t parseSeconds(std::string_view option, std::string_view text, bool zeroIsAllowed) {
  const auto seconds = vxapps::wholeNumber<double>(text);
  const bool isFine = seconds && std::isfinite(*seconds) && *seconds <= kMostSeconds &&
                      (*seconds > 0 || (zeroIsAllowed && *seconds == 0));
  if (!isFine) {
    throw UsageError(std::string(option) + " takes a number of seconds such as 2.5, " +
                     (zeroIsAllowed ? "0 or more" : "more than 0") + ", not " + quoted(text));
  }
  return std::llround(*seconds * kMillisecondsPerSecond);
}

PixelFormat parsePixelFormat(std::string_view text) {
  if (const auto format = pixelFormatNamed(text)) {
    return *format;
  }
  throw UsageError("unknown pixel format " + quoted(text) +
                   "; --pixel-format takes one of: " + pixelFormatNames());
}

// A name that holds a folder would let a recording land outside the storage folder.
std::string parseFilename(std::string_view text) {
  if (text.empty() || text == "." || text == ".." || text.find('/') != std::string_view::npos) {
    throw UsageError("--filename takes a name without a folder, not " + quoted(text) +
                     "; the folder is given with --storage-path");
  }
  return std::string(text);
}

std::string parseFolder(std::string_view text) {
  if (text.empty()) {
    throw UsageError("--storage-path takes a folder, not an empty text");
  }
  return std::string(text);
}

}  // namespace vxrecord
