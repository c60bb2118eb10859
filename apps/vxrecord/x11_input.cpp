#include "x11_input.h"

#include <charconv>

#include "media_input.h"

namespace vxrecord {
namespace {

constexpr const char* kFramesPerSecond = "30";

/// Takes a number and the one character behind it off the front of `text`.
bool takeNumber(std::string_view& text, char follower, unsigned& number) {
  const char* end = text.data() + text.size();
  const auto [position, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc{}) {
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

}  // namespace

DisplayAddress parseDisplayAddress(std::string_view text) {
  DisplayAddress address;
  const std::size_t plus = text.find('+');
  address.display = text.substr(0, plus);
  bool isFine = address.display.find(':') != std::string::npos;
  if (plus != std::string_view::npos) {
    isFine = isFine && readArea(text.substr(plus + 1), *(address.area = DisplayAddress::Area{}));
  }
  if (!isFine) {
    throw InputError("\"x11:" + std::string(text) +
                     "\" is not a display; write x11::0 for display :0, or x11::0+X,Y,WxH for a "
                     "part of it");
  }
  return address;
}

std::unique_ptr<Input> openDisplay(std::string_view text) {
  const DisplayAddress address = parseDisplayAddress(text);
  MediaAddress media;
  media.url = address.display;
  media.format = "x11grab";
  media.options = {{"framerate", kFramesPerSecond}, {"draw_mouse", "1"}};
  media.isLive = true;
  media.shownName = "the display " + address.display;
  media.advice =
      "is an X server running there, may this user use it (xhost, XAUTHORITY), and "
      "does the area lie on its screen?";
  if (address.area) {
    const DisplayAddress::Area& area = *address.area;
    media.options.emplace_back("grab_x", std::to_string(area.x));
    media.options.emplace_back("grab_y", std::to_string(area.y));
    media.options.emplace_back("video_size",
                               std::to_string(area.width) + "x" + std::to_string(area.height));
  }
  return openMedia(media);
}

}  // namespace vxrecord
