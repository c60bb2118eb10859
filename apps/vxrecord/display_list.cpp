#include "display_list.h"

#include <xcb/xcb.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string_view>

#include "command_words.h"

namespace vxrecord {
namespace {

std::string textOfError(int error) {
  switch (error) {
    case XCB_CONN_CLOSED_PARSE_ERR:
      return "it is not the name of a display";
    case XCB_CONN_CLOSED_INVALID_SCREEN:
      return "it has no such screen";
    default:
      return "it does not answer, or this user may not use it (xhost, XAUTHORITY)";
  }
}

void takeAnswer(const X11Answer& answer, DisplayState& display) {
  if (!answer.connection) {
    display.trouble = "its server does not answer";
    return;
  }
  if (const int error = xcb_connection_has_error(answer.connection.get())) {
    display.trouble = textOfError(error);
    return;
  }
  display.width = answer.screen().width_in_pixels;
  display.height = answer.screen().height_in_pixels;
}

void askForSizes(std::vector<DisplayState>& displays, std::chrono::milliseconds patience) {
  std::vector<X11Attempt> attempts;
  for (const DisplayState& display : displays) {
    attempts.emplace_back(display.name);
  }
  const auto end = std::chrono::steady_clock::now() + patience;
  for (std::size_t i = 0; i < displays.size(); ++i) {
    takeAnswer(attempts[i].answerBy(end), displays[i]);
  }
}

/// The numbers of "X0", "X1", ... in order.
std::set<int> displayNumbers(const std::string& folder) {
  std::set<int> numbers;
  std::error_code failed;
  for (const auto& entry : std::filesystem::directory_iterator(folder, failed)) {
    const std::string name = entry.path().filename().string();
    const auto number = vxapps::wholeNumber<int>(std::string_view(name).substr(1));
    if (name.starts_with('X') && number && *number >= 0) {
      numbers.insert(*number);
    }
  }
  return numbers;
}

/// ":0" of ":0.1" and "unix:0.0".
std::string withoutScreen(std::string_view name) {
  const std::size_t colon = name.rfind(':');
  const std::size_t dot = colon == std::string_view::npos ? colon : name.find('.', colon);
  std::string display(name.substr(0, dot));
  return display.starts_with("unix:") ? display.substr(4) : display;
}

}  // namespace

std::vector<DisplayState> findDisplays(const std::string& socketFolder,
                                       std::chrono::milliseconds patience) {
  std::vector<DisplayState> displays;
  for (const int number : displayNumbers(socketFolder)) {
    displays.emplace_back().name = ":" + std::to_string(number);
  }
  const char* ours = std::getenv("DISPLAY");
  if (ours && *ours != '\0') {
    const std::string name = withoutScreen(ours);
    auto found = std::find_if(displays.begin(), displays.end(),
                              [&](const DisplayState& display) { return display.name == name; });
    if (found == displays.end()) {
      found = displays.insert(displays.end(), DisplayState{ours, 0, 0, {}, false});
    }
    found->isOurs = true;
  }
  askForSizes(displays, patience);
  return displays;
}

std::string asLines(const std::vector<DisplayState>& displays) {
  std::string lines;
  for (const DisplayState& display : displays) {
    lines += "x11:" + display.name + "  ";
    lines += display.trouble.empty()
                 ? std::to_string(display.width) + "x" + std::to_string(display.height)
                 : display.trouble;
    lines += display.isOurs ? "  (DISPLAY)\n" : "\n";
  }
  return lines;
}

}  // namespace vxrecord
