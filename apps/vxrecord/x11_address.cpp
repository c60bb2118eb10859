#include "x11_address.h"

#include <charconv>

#include "input.h"

namespace vxrecord {
namespace {

constexpr unsigned kLargestCoordinate = 32767;  // of the X protocol
constexpr unsigned kMostFramesASecond = 1000;   // times are milliseconds

/// Takes a number and the one character behind it off the front of `text`.
bool takeNumber(std::string_view& text, char follower, unsigned& number) {
  const char* end = text.data() + text.size();
  const auto [position, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc{} || number > kLargestCoordinate) {
    return false;
  }
  text.remove_prefix(static_cast<std::size_t>(position - text.data()));
  if (follower == '\0') {
    return text.empty();
  }
  if (text.empty() || text.front() != follower) {
    return false;
  }
  text.remove_prefix(1);
  return true;
}

bool readArea(std::string_view text, DisplayAddress::Area& area) {
  return takeNumber(text, ',', area.x) && takeNumber(text, ',', area.y) &&
         takeNumber(text, 'x', area.width) && takeNumber(text, '\0', area.height) &&
         area.width > 0 && area.height > 0;
}

bool readRate(std::string_view text, unsigned& rate) {
  return takeNumber(text, '\0', rate) && rate > 0 && rate <= kMostFramesASecond;
}

/// Cuts `text` before the last `mark` and returns what stands behind it; none without a mark.
std::optional<std::string_view> cutOff(std::string_view& text, char mark) {
  const std::size_t found = text.rfind(mark);
  if (found == std::string_view::npos) {
    return std::nullopt;
  }
  const std::string_view behind = text.substr(found + 1);
  text = text.substr(0, found);
  return behind;
}

}  // namespace

DisplayAddress parseDisplayAddress(std::string_view text) {
  DisplayAddress address;
  std::string_view rest = text;
  bool isFine = true;
  if (const auto rate = cutOff(rest, '@')) {
    isFine = readRate(*rate, address.framesPerSecond);
  }
  if (const auto area = cutOff(rest, '+')) {
    isFine = isFine && readArea(*area, *(address.area = DisplayAddress::Area{}));
  }
  address.display = rest;
  if (!isFine || rest.find(':') == std::string_view::npos) {
    throw InputError("\"x11:" + std::string(text) +
                     "\" is not a display; write x11::0 for display :0, x11::0+X,Y,WxH for a part "
                     "of it, and @FPS behind it for fewer frames a second");
  }
  return address;
}

}  // namespace vxrecord
